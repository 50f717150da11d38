#include "store/format/sto_RowChecksum.h"

#include "store/format/sto_Checksum.h"

namespace {

enum Type : std::uint8_t { OtherType = 0, IntegerType = 1, TextType = 2, BytesType = 3 };

std::uint64_t SeedOf(sto_ByteView uuid, std::string_view table) {
  sto_Bytes bytes(uuid.begin(), uuid.end());
  sto_ByteWriter(bytes).Raw(table.data(), table.size());
  return sto_Checksum(0, bytes);
}

} // namespace

sto_RowChecksum::sto_RowChecksum(sto_ByteView uuid, std::string_view table) : m_Seed(SeedOf(uuid, table)) {}

sto_RowChecksum& sto_RowChecksum::Integer(std::int64_t value) {
  sto_ByteWriter writer(m_Row);
  writer.U8(IntegerType);
  writer.Number(value);
  return *this;
}

sto_RowChecksum& sto_RowChecksum::Text(std::string_view text) {
  sto_ByteWriter writer(m_Row);
  writer.U8(TextType);
  writer.Varint(text.size());
  writer.Raw(text.data(), text.size());
  return *this;
}

sto_RowChecksum& sto_RowChecksum::Bytes(sto_ByteView bytes) {
  sto_ByteWriter writer(m_Row);
  writer.U8(BytesType);
  writer.Varint(bytes.size());
  writer.Raw(bytes.data(), bytes.size());
  return *this;
}

sto_RowChecksum& sto_RowChecksum::Other() {
  sto_ByteWriter(m_Row).U8(OtherType);
  return *this;
}

std::int64_t sto_RowChecksum::Value() const noexcept {
  return static_cast<std::int64_t>(sto_Checksum(m_Seed, m_Row));
}
