#include "store/format/sto_Record.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Checksum.h"

namespace {

/// Fewest bytes that a part, a field and a map's entry take: a count beyond what the rest can hold is
/// refused.
constexpr std::size_t MinPartBytes = 4;
constexpr std::size_t MinFieldBytes = 2;
constexpr std::size_t MinEntryBytes = 2;

constexpr std::int64_t MaxInt = std::numeric_limits<int>::max();

/// Bytes of a value of fixed size, -1 for the others.
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

void SkipText(sto_ByteReader& reader) {
  if (std::uint64_t const length = reader.Varint(); length > 0) reader.Raw(length - 1);
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
  // Cursors rely on it: whatever stands in a map is seen here once.
  sto_ByteReader entries(map.m_Entries);
  for (int i = 0; i < map.m_Count; ++i)
    if (!DecodeEntry(entries, map)) return false;
  if (entries.Remaining() != 0) return false;
  m_Map = map;
  return true;
}

bool sto_Record::DecodeEntry(sto_ByteReader& reader, sto_MapHeader const& map) {
  if (map.m_KeyType == sto_Format::KeyString)
    SkipText(reader);
  else if (!IsInt(reader.ZigZag()))
    return false;
  if (map.m_IsTable) return IsInt(reader.ZigZag()) && !reader.Failed();
  switch (map.m_ElementType) {
  case sto_Format::ElementString:
    SkipText(reader);
    break;
  case sto_Format::ElementDouble:
    reader.Raw(8);
    break;
  case sto_Format::ElementObject:
    if (!TakeId(reader.Varint())) return false;
    break;
  default:
    reader.Raw(4);
  }
  return !reader.Failed();
}

void sto_RecordBuilder::Reset() noexcept {
  m_PartCount = 0;
  m_FieldCount = 0;
  m_List.reset();
  m_Map.reset();
  m_Elements.clear();
}

void sto_RecordBuilder::RaiseFull(std::size_t count, char const* what) const {
  sto_Raise(sto_ErrorKind::Full, "Object " + std::to_string(m_Parts.front().m_Id) + " would have more than " +
                                     std::to_string(count) + what + ", which is the limit of one object.");
}

std::size_t sto_RecordBuilder::AddPart(unsigned int classId, int version, std::int64_t id) {
  if (m_PartCount == sto_Format::MaxParts) RaiseFull(sto_Format::MaxParts, " parts of base classes");
  if (m_PartCount == m_Parts.size()) m_Parts.emplace_back();
  Part& part = m_Parts[m_PartCount];
  part.m_ClassId = classId;
  part.m_Version = version;
  part.m_Id = id;
  part.m_Fields.clear();
  part.m_Bytes.clear();
  return m_PartCount++;
}

sto_Bytes& sto_RecordBuilder::StartField(std::size_t partIndex, sto_FieldKey const& key) {
  Part& part = m_Parts[partIndex];
  for (std::size_t i = 0; i < part.m_Fields.size(); ++i)
    if (part.m_Fields[i].m_Key == key) {
      DropField(part, i);
      break;
    }
  if (m_FieldCount == sto_Format::MaxFields) RaiseFull(sto_Format::MaxFields, " attributes");
  part.m_Fields.push_back({key, part.m_Bytes.size()});
  ++m_FieldCount;
  sto_ByteWriter writer(part.m_Bytes);
  writer.Varint(static_cast<std::uint64_t>(key.m_NameId));
  if (key.m_NameId == 0) writer.ZigZag(key.m_FieldId);
  return part.m_Bytes;
}

void sto_RecordBuilder::DropField(Part& part, std::size_t index) {
  std::size_t const first = part.m_Fields[index].m_Offset;
  std::size_t const last =
      index + 1 < part.m_Fields.size() ? part.m_Fields[index + 1].m_Offset : part.m_Bytes.size();
  auto const at = [&](std::size_t offset) {
    return part.m_Bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  };
  part.m_Bytes.erase(at(first), at(last));
  part.m_Fields.erase(part.m_Fields.begin() + static_cast<std::ptrdiff_t>(index));
  --m_FieldCount;
  for (std::size_t i = index; i < part.m_Fields.size(); ++i) part.m_Fields[i].m_Offset -= last - first;
}

bool sto_RecordBuilder::HasField(std::size_t part, sto_FieldKey const& key) const noexcept {
  for (Field const& field : m_Parts[part].m_Fields)
    if (field.m_Key == key) return true;
  return false;
}

bool sto_RecordBuilder::SetCollectionCode(std::size_t partIndex, sto_FieldKey const& key, std::uint8_t code) {
  Part& part = m_Parts[partIndex];
  for (std::size_t i = 0; i < part.m_Fields.size(); ++i) {
    if (!(part.m_Fields[i].m_Key == key)) continue;
    // The code is the last byte of an object field.
    std::size_t const end =
        i + 1 < part.m_Fields.size() ? part.m_Fields[i + 1].m_Offset : part.m_Bytes.size();
    part.m_Bytes[end - 1] = std::byte{code};
    return true;
  }
  return false;
}

void sto_RecordBuilder::SetList(sto_ListHeader const& header, sto_Bytes elements) {
  m_List = header;
  m_Map.reset();
  m_Elements = std::move(elements);
}

void sto_RecordBuilder::SetMap(sto_MapHeader const& header, sto_Bytes entries) {
  m_Map = header;
  m_List.reset();
  m_Elements = std::move(entries);
}

bool sto_RecordBuilder::HasClassesOf(sto_Record const& other) const noexcept {
  return std::ranges::equal(std::span(m_Parts).first(m_PartCount), other.Parts(),
                            [](Part const& part, sto_Part const& stored) {
                              return part.m_ClassId == stored.m_ClassId && part.m_Version == stored.m_Version;
                            });
}

bool sto_RecordBuilder::HasContentOf(sto_Record const& other) const noexcept {
  if (HasList() != other.List().has_value() || HasMap() != other.Map().has_value()) return false;
  if (m_List) {
    sto_ListHeader const& list = *other.List();
    bool const isSame = m_List->m_ElementType == list.m_ElementType && m_List->m_Width == list.m_Width &&
                        m_List->m_Count == list.m_Count && m_List->m_InBlocks == list.m_InBlocks;
    return isSame && (list.m_InBlocks || std::ranges::equal(m_Elements, list.m_Inline));
  }
  if (!m_Map) return true;
  sto_MapHeader const& map = *other.Map();
  return m_Map->m_IsTable == map.m_IsTable && m_Map->m_KeyType == map.m_KeyType &&
         m_Map->m_ElementType == map.m_ElementType && std::ranges::equal(m_Elements, map.m_Entries);
}

void sto_RecordBuilder::PutContent(sto_ByteWriter& writer) const {
  if (m_List) {
    writer.U8(m_List->m_InBlocks ? sto_Format::ContentBlockList : sto_Format::ContentInlineList);
    writer.U8(m_List->m_ElementType);
    writer.ZigZag(m_List->m_Width);
    writer.Varint(static_cast<std::uint64_t>(m_List->m_Count));
  } else if (m_Map) {
    writer.U8(m_Map->m_IsTable ? sto_Format::ContentIntTable : sto_Format::ContentMap);
    if (!m_Map->m_IsTable) {
      writer.U8(m_Map->m_KeyType);
      writer.U8(m_Map->m_ElementType);
    }
    writer.Varint(static_cast<std::uint64_t>(m_Map->m_Count));
  } else {
    writer.U8(sto_Format::ContentNone);
    return;
  }
  writer.Raw(m_Elements.data(), m_Elements.size());
}

sto_Bytes const& sto_RecordBuilder::Finish(std::int64_t id) {
  m_Output.clear();
  sto_ByteWriter writer(m_Output);
  writer.U8(sto_Format::RecordForm);
  writer.Varint(m_PartCount);
  for (std::size_t i = 0; i < m_PartCount; ++i) {
    Part const& part = m_Parts[i];
    writer.Varint(part.m_ClassId);
    writer.ZigZag(part.m_Version);
    writer.Varint(static_cast<std::uint64_t>(part.m_Id));
    writer.Varint(part.m_Fields.size());
    writer.Raw(part.m_Bytes.data(), part.m_Bytes.size());
  }
  PutContent(writer);
  sto_Seal(static_cast<std::uint64_t>(id), m_Output);
  return m_Output;
}
