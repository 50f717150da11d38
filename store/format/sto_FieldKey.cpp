#include "store/format/sto_FieldKey.h"

#include <limits>
#include <utility>

void sto_EncodeKey(sto_ByteWriter& writer, sto_FieldKey const& key) {
  writer.Varint(static_cast<std::uint64_t>(key.m_NameId));
  if (key.m_NameId == 0) writer.ZigZag(key.m_FieldId);
}

bool sto_DecodeKey(sto_ByteReader& reader, sto_FieldKey& key) noexcept {
  std::uint64_t const nameId = reader.Varint();
  if (nameId > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return false;
  key.m_NameId = static_cast<std::int64_t>(nameId);
  if (nameId != 0) return true;
  std::int64_t const fieldId = reader.ZigZag();
  key.m_FieldId = static_cast<int>(fieldId);
  return std::in_range<int>(fieldId);
}
