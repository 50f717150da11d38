#include "store/format/sto_PackCodec.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "store/format/sto_Checksum.h"

namespace {

constexpr std::size_t MaxEntries = sto_Format::IdsInPack;
static_assert(MaxEntries == 32, "the present objects are bits of a 32-bit number");
static_assert(MaxEntries * sto_Format::MaxPackedBytes <= std::numeric_limits<std::uint16_t>::max());

/// The shapes that occur in a pack, each once.
class ShapeNumbers {
 public:
  std::uint8_t Add(std::uint32_t shape) noexcept {
    if (m_Count > 0 && m_Numbers[m_Latest] == shape) return m_Latest;
    auto const end = m_Numbers.begin() + m_Count;
    auto const found = std::find(m_Numbers.begin(), end, shape);
    if (found == end) m_Numbers[m_Count++] = shape;
    return m_Latest = static_cast<std::uint8_t>(found - m_Numbers.begin());
  }
  [[nodiscard]] std::span<std::uint32_t const> All() const noexcept { return {m_Numbers.data(), m_Count}; }

 private:
  std::array<std::uint32_t, MaxEntries> m_Numbers;
  std::size_t m_Count = 0;
  std::uint8_t m_Latest = 0; // that was asked for last
};

bool DecodeShapes(sto_ByteReader& reader, std::span<std::uint32_t> shapes) noexcept {
  for (std::uint32_t& shape : shapes) {
    std::uint64_t const number = reader.Varint();
    if (number > std::numeric_limits<std::uint32_t>::max()) return false;
    shape = static_cast<std::uint32_t>(number);
  }
  return !reader.Failed();
}

} // namespace

std::uint32_t sto_PackedChecksum(std::int64_t owner, sto_ByteView bytes) noexcept {
  return static_cast<std::uint32_t>(sto_Checksum(static_cast<std::uint64_t>(owner), bytes));
}

std::uint32_t sto_PresentIn(sto_ByteView data) noexcept {
  return sto_ByteReader(data).Number<std::uint32_t>();
}

bool sto_DecodePack(std::int64_t key, sto_ByteView data, sto_DecodedPack& pack) noexcept {
  sto_ByteReader reader(data);
  pack.m_Present = reader.Number<std::uint32_t>();
  std::uint64_t const save = reader.Varint();
  pack.m_Save = static_cast<std::int64_t>(save);
  std::uint64_t const shapeCount = reader.Varint();
  auto const count = static_cast<std::size_t>(std::popcount(pack.m_Present));
  if (count == 0 || shapeCount == 0 || shapeCount > count) return false;
  std::array<std::uint32_t, MaxEntries> shapes;
  if (!DecodeShapes(reader, std::span(shapes).first(static_cast<std::size_t>(shapeCount)))) return false;
  sto_ByteReader indexes(shapeCount > 1 ? reader.Raw(count) : sto_ByteView());
  std::size_t begin = 0;
  for (std::size_t slot = 0; slot < MaxEntries; ++slot) {
    sto_PackEntry& entry = pack.m_Entries[slot];
    entry = {};
    if ((pack.m_Present >> slot & 1) == 0) continue;
    std::size_t const end = reader.Number<std::uint16_t>();
    std::size_t const index = shapeCount > 1 ? indexes.U8() : 0;
    if (end < begin + sto_Format::PackedChecksumBytes || index >= shapeCount) return false;
    entry = {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end - begin), shapes[index]};
    begin = end;
  }
  auto const headerBytes = static_cast<std::size_t>(reader.Position() - data.data());
  auto const checksum = reader.Number<std::uint32_t>();
  if (reader.Failed() || checksum != sto_PackedChecksum(key, data.first(headerBytes)) ||
      begin != reader.Remaining())
    return false;
  pack.m_Records = reader.Raw(begin);
  return true;
}

void sto_EncodePack(std::int64_t key, std::int64_t save, sto_PackEntries const& entries, sto_ByteView records,
                    sto_Bytes& data) {
  std::uint32_t present = 0;
  ShapeNumbers shapes;
  std::array<std::uint8_t, MaxEntries> indexes;
  std::size_t count = 0;
  for (std::size_t slot = 0; slot < entries.size(); ++slot) {
    if (entries[slot].m_SizeBytes == 0) continue;
    present |= std::uint32_t{1} << slot;
    indexes[count++] = shapes.Add(entries[slot].m_Shape);
  }
  auto const bits = sto_ToLittleEndian(present);
  data.resize(sizeof bits);
  std::memcpy(data.data(), &bits, sizeof bits);
  sto_ByteWriter writer(data);
  writer.Varint(static_cast<std::uint64_t>(save));
  writer.Varint(shapes.All().size());
  for (std::uint32_t const shape : shapes.All()) writer.Varint(shape);
  if (shapes.All().size() > 1) writer.Raw(indexes.data(), count);
  std::array<std::uint16_t, MaxEntries> ends;
  std::size_t end = 0;
  std::size_t ended = 0;
  bool isInOrder = true;
  for (sto_PackEntry const& entry : entries) {
    if (entry.m_SizeBytes == 0) continue;
    isInOrder = isInOrder && entry.m_Offset == entries[std::countr_zero(present)].m_Offset + end;
    ends[ended++] = sto_ToLittleEndian(static_cast<std::uint16_t>(end += entry.m_SizeBytes));
  }
  writer.Raw(ends.data(), ended * sizeof ends.front());
  writer.Number(sto_PackedChecksum(key, data));
  // Objects are mostly saved in the order of their ids.
  if (isInOrder) return writer.Raw(records.data() + entries[std::countr_zero(present)].m_Offset, end);
  for (sto_PackEntry const& entry : entries)
    if (entry.m_SizeBytes != 0) writer.Raw(records.data() + entry.m_Offset, entry.m_SizeBytes);
}
