#include "store/format/sto_Record.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "store/format/sto_Checksum.h"
#include "store/format/sto_MapWalk.h"

namespace {

/// The fewest bytes that a part, a field and an entry of a map take. A count that the rest of the record
/// cannot hold is refused before memory is taken for it.
constexpr std::size_t MinPartBytes = 4;
constexpr std::size_t MinFieldBytes = 2;
constexpr std::size_t MinEntryBytes = 2;

constexpr std::int64_t MaxInt = std::numeric_limits<int>::max();

/// The size of a value of fixed size in bytes; -1 for other values.
int FixedSize(std::uint8_t tag) {
  switch (tag) {
  case sto_Format::NoText:
    return 0;
  case sto_Format::Bool:
  case sto_Format::Int8:
    return 1;
  case sto_Format::Int16:
  case sto_Format::UInt16:
    return 2;
  case sto_Format::Int32:
  case sto_Format::UInt32:
  case sto_Format::Float:
  case sto_Format::Enum:
    return 4;
  case sto_Format::Int64:
  case sto_Format::UInt64:
  case sto_Format::Double:
    return 8;
  default:
    return -1;
  }
}

bool IsElementType(std::uint8_t type) {
  return type >= sto_Format::ElementBool && type <= sto_Format::ElementObject;
}

bool IsMapElementType(std::uint8_t type) {
  return IsElementType(type) && type != sto_Format::ElementBool;
}

bool IsInt(std::int64_t value) {
  return value >= std::numeric_limits<int>::min() && value <= MaxInt;
}

} // namespace

bool sto_Record::Decode(std::int64_t id, unsigned int classId, std::string& problem) {
  problem.clear();
  m_FieldCount = 0;
  m_List.reset();
  m_Map.reset();
  m_GreatestId = 0;
  m_HasChangedBase = false;
  m_IsIdentityTaken = false;
  sto_ByteView view(m_Bytes);
  if (!sto_Unseal(static_cast<std::uint64_t>(id), view))
    problem = "its checksum does not fit";
  else if (!DecodeAll(sto_ByteReader(view)))
    problem = "its record cannot be read";
  else if (m_Parts.front().m_ClassId != classId || m_Parts.front().m_Id != id)
    problem = "its record belongs to another object";
  else
    return true;
  return false;
}

bool sto_Record::DecodeAll(sto_ByteReader reader) {
  if (reader.U8() != sto_Format::RecordForm || !DecodeParts(reader)) return false;
  switch (reader.U8()) {
  case sto_Format::ContentNone:
    break;
  case sto_Format::ContentInlineList:
    if (!DecodeList(reader, false)) return false;
    break;
  case sto_Format::ContentBlockList:
    if (!DecodeList(reader, true)) return false;
    break;
  case sto_Format::ContentMap:
    if (!DecodeMap(reader, false)) return false;
    break;
  case sto_Format::ContentIntTable:
    if (!DecodeMap(reader, true)) return false;
    break;
  default:
    return false;
  }
  return !reader.Failed() && reader.Remaining() == 0;
}

bool sto_Record::TakeId(std::uint64_t id) noexcept {
  if (id == 0 || id > static_cast<std::uint64_t>(sto_Format::MaxObjectId)) return false;
  m_GreatestId = std::max(m_GreatestId, static_cast<std::int64_t>(id));
  return true;
}

bool sto_Record::DecodeParts(sto_ByteReader& reader) {
  std::uint64_t const partCount = reader.Varint();
  if (partCount == 0 || partCount > reader.Remaining() / MinPartBytes || partCount > sto_Format::MaxParts)
    return false;
  m_Parts.resize(static_cast<std::size_t>(partCount));
  m_FieldCounts.resize(m_Parts.size());
  for (std::size_t i = 0; i < m_Parts.size(); ++i)
    if (!DecodePart(reader, m_Parts[i], m_FieldCounts[i])) return false;
  sto_Field const* first = m_Fields.data();
  for (std::size_t i = 0; i < m_Parts.size(); first += m_FieldCounts[i], ++i)
    m_Parts[i].m_Fields = {first, m_FieldCounts[i]};
  return !reader.Failed();
}

bool sto_Record::DecodePart(sto_ByteReader& reader, sto_Part& part, std::size_t& fieldCount) {
  std::uint64_t const classId = reader.Varint();
  std::int64_t const version = reader.ZigZag();
  std::uint64_t const id = reader.Varint();
  std::uint64_t const count = reader.Varint();
  if (reader.Failed() || classId > std::numeric_limits<unsigned int>::max() || version > MaxInt ||
      version < std::numeric_limits<int>::min() || !TakeId(id) ||
      count > reader.Remaining() / MinFieldBytes || count > sto_Format::MaxFields - m_FieldCount)
    return false;
  part = {static_cast<unsigned int>(classId), static_cast<int>(version), static_cast<std::int64_t>(id), {}};
  fieldCount = static_cast<std::size_t>(count);
  for (std::size_t i = 0; i < fieldCount; ++i) {
    if (m_FieldCount == m_Fields.size()) m_Fields.emplace_back(); // the count may be a lie
    if (!DecodeField(reader, m_Fields[m_FieldCount++])) return false;
  }
  return true;
}

bool sto_Record::DecodeField(sto_ByteReader& reader, sto_Field& field) {
  std::uint64_t const nameId = reader.Varint();
  if (nameId > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return false;
  field.m_Key.m_NameId = static_cast<std::int64_t>(nameId);
  if (nameId == 0) {
    std::int64_t const fieldId = reader.ZigZag();
    if (!IsInt(fieldId)) return false;
    field.m_Key.m_FieldId = static_cast<int>(fieldId);
  }
  field.m_Tag = reader.U8();
  if (int const size = FixedSize(field.m_Tag); size >= 0) {
    field.m_Payload = reader.Raw(static_cast<std::uint64_t>(size));
    return !reader.Failed();
  }
  switch (field.m_Tag) {
  case sto_Format::Text:
  case sto_Format::Bytes:
    field.m_Payload = reader.Raw(reader.Varint());
    break;
  case sto_Format::Reference:
    field.m_Payload = reader.Raw(8);
    if (!TakeId(sto_ByteReader(field.m_Payload).Number<std::uint64_t>())) return false;
    break;
  case sto_Format::Object:
    field.m_Payload = reader.Raw(9);
    if (!TakeId(sto_ByteReader(field.m_Payload).Number<std::uint64_t>())) return false;
    break;
  default:
    return false;
  }
  return !reader.Failed();
}

bool sto_Record::DecodeList(sto_ByteReader& reader, bool inBlocks) {
  sto_ListHeader list;
  list.m_ElementType = reader.U8();
  std::int64_t const width = reader.ZigZag();
  std::uint64_t const count = reader.Varint();
  list.m_InBlocks = inBlocks;
  if (reader.Failed() || !IsElementType(list.m_ElementType) || width > MaxInt ||
      width < std::numeric_limits<int>::min() || count > static_cast<std::uint64_t>(MaxInt))
    return false;
  list.m_Width = static_cast<int>(width);
  list.m_Count = static_cast<int>(count);
  if (!inBlocks) {
    if (count > static_cast<std::uint64_t>(sto_Format::BlockElementCount)) return false;
    list.m_Inline = reader.Raw(reader.Remaining());
    if (list.m_ElementType == sto_Format::ElementObject && !DecodeObjectIds(list.m_Inline, list.m_Count))
      return false;
  }
  m_List = list;
  return true;
}

bool sto_Record::DecodeObjectIds(sto_ByteView elements, int count) {
  sto_ByteReader reader(elements);
  for (int i = 0; i < count; ++i)
    if (std::uint64_t const id = reader.Number<std::uint64_t>(); id != 0 && !TakeId(id)) return false;
  return !reader.Failed() && reader.Remaining() == 0;
}

bool sto_Record::DecodeMap(sto_ByteReader& reader, bool isTable) {
  sto_MapHeader map;
  map.m_IsTable = isTable;
  map.m_KeyType = sto_Format::KeyInt;
  map.m_ElementType = sto_Format::ElementInt;
  if (!isTable) {
    map.m_KeyType = reader.U8();
    map.m_ElementType = reader.U8();
  }
  std::uint64_t const count = reader.Varint();
  bool const isKeyType = map.m_KeyType == sto_Format::KeyInt || map.m_KeyType == sto_Format::KeyString;
  if (reader.Failed() || !isKeyType || !IsMapElementType(map.m_ElementType) ||
      count > static_cast<std::uint64_t>(MaxInt) || count > reader.Remaining() / MinEntryBytes)
    return false;
  map.m_Count = static_cast<int>(count);
  map.m_Entries = reader.Raw(reader.Remaining());
  // All entries are checked here, once; cursors rely on it.
  sto_MapWalk walk(map);
  bool const holdsObjects = map.m_ElementType == sto_Format::ElementObject;
  while (walk.Next())
    if (holdsObjects && !TakeId(walk.ObjectId())) return false;
  if (!walk.IsComplete()) return false;
  m_Map = map;
  return true;
}
