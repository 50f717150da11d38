#include "store/format/sto_RecordBuilder.h"

#include <algorithm>
#include <string>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_NestedValue.h"

namespace {

/// So many fields are searched one by one.
constexpr std::size_t FewFields = 24;

} // namespace

void sto_RecordBuilder::Reset() noexcept {
  m_PartCount = 0;
  m_FieldCount = 0;
  m_List.reset();
  m_Map.reset();
  m_Elements.clear();
  m_Nested.clear();
}

void sto_RecordBuilder::RaiseFull(std::size_t count, char const* what) const {
  sto_Raise(sto_ErrorKind::Full, "Object " + std::to_string(m_Parts.front().m_Id) + " would have more than " +
                                     std::to_string(count) + what + ", which is the limit of one object.");
}

std::size_t sto_RecordBuilder::AddOtherPart(unsigned int classId, int version, std::int64_t id) {
  if (m_PartCount == sto_Format::MaxParts) RaiseFull(sto_Format::MaxParts, " parts of base classes");
  if (m_PartCount == m_Parts.size()) m_Parts.emplace_back();
  Part& part = m_Parts[m_PartCount];
  part.m_ClassId = classId;
  part.m_Version = version;
  part.m_Id = id;
  part.m_Bytes.clear();
  if (!part.m_Index.empty()) part.m_Index.clear();
  GoAlong(part);
  return m_PartCount++;
}

void sto_RecordBuilder::GoAlong(Part& part) {
  Part const* const before = m_PartCount == 0 ? nullptr : &m_Parts[m_PartCount - 1];
  part.m_First = part.m_Next = part.m_End = nullptr;
  part.m_IsAlong = part.m_IsOpen = false;
  m_PreparedCount = std::min(m_PreparedCount, m_PartCount);
  if (m_Expected != nullptr && (before == nullptr || before->m_IsAlong)) {
    sto_Shape const& shape = m_Expected->m_Shape;
    bool const isThere = m_PartCount < shape.m_Parts.size();
    sto_ShapePart const* const expected = isThere ? &shape.m_Parts[m_PartCount] : nullptr;
    if (isThere && expected->m_ClassId == part.m_ClassId && expected->m_Version == part.m_Version) {
      if (part.m_Fields.size() < expected->m_FieldCount) part.m_Fields.resize(expected->m_FieldCount);
      part.m_First = part.m_Next = before == nullptr ? shape.m_Fields.data() : before->m_End;
      part.m_End = part.m_First + expected->m_FieldCount;
      part.m_IsAlong = true;
      if (m_PreparedCount == m_PartCount) ++m_PreparedCount;
      return;
    }
  }
  part.m_Fields.clear();
}

void sto_RecordBuilder::Depart(Part& part) {
  if (!part.m_IsAlong) return;
  std::size_t const count = CountAlong(part);
  part.m_Fields.resize(count);
  for (std::size_t i = 0; i < count; ++i) part.m_Fields[i].m_Described = part.m_First[i];
  if (part.m_IsOpen) part.m_Fields.back().m_Described.m_Code = 0;
  part.m_First = part.m_Next = part.m_End = nullptr;
  part.m_IsAlong = part.m_IsOpen = false;
  m_PreparedCount = 0;
  UpdateIndex(part);
}

void sto_RecordBuilder::DepartAll() {
  for (Part& part : std::span(m_Parts).first(m_PartCount)) Depart(part);
}

bool sto_RecordBuilder::IsAlongToEnd() const noexcept {
  sto_Shape const& shape = m_Expected->m_Shape;
  // All prepared parts went along.
  if (m_PartCount != shape.m_Parts.size() || m_PreparedCount < m_PartCount) return false;
  std::int64_t follows = m_Parts.front().m_Id;
  bool doPartsFollow = true;
  for (Part const& part : std::span(m_Parts).first(m_PartCount)) {
    if (part.m_Next != part.m_End) return false;
    doPartsFollow = doPartsFollow && part.m_Id == follows++;
  }
  if (doPartsFollow != shape.m_PartsFollow) return false;
  return m_List || m_Map ? shape.m_Content == Content() : shape.m_Content.m_Kind == sto_Format::ContentNone;
}

std::size_t sto_RecordBuilder::IndexOf(Part const& part, sto_FieldKey const& key) noexcept {
  if (part.m_Fields.size() <= FewFields) {
    auto const found = std::ranges::find_if(
        part.m_Fields, [&key](Field const& field) { return field.m_Described.m_Key == key; });
    return found == part.m_Fields.end() ? NotThere : static_cast<std::size_t>(found - part.m_Fields.begin());
  }
  auto const found = part.m_Index.find(key);
  return found == part.m_Index.end() ? NotThere : found->second;
}

void sto_RecordBuilder::UpdateIndex(Part& part) {
  if (part.m_Fields.size() <= FewFields) return;
  for (std::size_t i = part.m_Index.size(); i < part.m_Fields.size(); ++i)
    part.m_Index.emplace(part.m_Fields[i].m_Described.m_Key, i);
}

sto_ValueBytes& sto_RecordBuilder::StartOtherField(Part& part, sto_ShapeField const& field) {
  // The code of a collection follows its object.
  if (part.m_Next != part.m_End && !part.m_IsOpen && field.m_Code == 0 &&
      *part.m_Next == sto_ShapeField{field.m_Key, field.m_Tag, part.m_Next->m_Code}) {
    StartNext(part);
    --part.m_Next;
    part.m_IsOpen = true;
    return part.m_Bytes;
  }
  DepartAll();
  if (std::size_t const earlier = IndexOf(part, field.m_Key); earlier != NotThere) DropField(part, earlier);
  if (m_FieldCount >= sto_Format::MaxFields) RaiseFull(sto_Format::MaxFields, " attributes");
  part.m_Fields.push_back({field, part.m_Bytes.size()});
  ++m_FieldCount;
  UpdateIndex(part);
  return part.m_Bytes;
}

void sto_RecordBuilder::AddObject(std::size_t part, sto_FieldKey const& key, std::uint8_t tag,
                                  std::int64_t id, std::uint8_t code) {
  if (m_Parts[part].m_IsOpen) DepartAll(); // it may be the open field once more
  sto_ValueWriter(StartField(part, key, tag, code)).ZigZag(sto_Distance(m_Parts.front().m_Id, id));
}

void sto_RecordBuilder::AddNested(std::size_t part, sto_FieldKey const& key, sto_NestedType const& type,
                                  sto_ByteView value) {
  std::int64_t const object = m_Parts.front().m_Id;
  if (!type.IsForField() || !sto_IsNestedValue(type, value, object))
    sto_Raise(sto_ErrorKind::Misuse,
              "A nested value of object " + std::to_string(object) + " does not have its type.");
  Depart(m_Parts[part]); // the expected shape may have another type under the same key
  sto_ValueWriter(StartField(part, key, sto_Format::Nested)).Raw(value.data(), value.size());
  auto const known = std::ranges::find_if(
      m_Nested, [&](NestedField const& field) { return field.m_Part == part && field.m_Key == key; });
  if (known == m_Nested.end())
    m_Nested.push_back({part, key, &type});
  else
    known->m_Type = &type;
}

void sto_RecordBuilder::AddDecoded(std::size_t part, sto_FieldKey const& key, sto_Field const& field,
                                   std::int64_t id) {
  switch (field.m_Tag) {
  case sto_Format::NoText:
    return AddText(part, key, std::nullopt);
  case sto_Format::Text:
    return AddText(part, key, field.m_Payload);
  case sto_Format::Bytes:
    return AddBytes(part, key, field.m_Payload);
  case sto_Format::Object:
  case sto_Format::Reference:
    return AddObject(part, key, field.m_Tag, id, field.m_Code);
  case sto_Format::Nested:
    return AddNested(part, key, *field.m_Type, field.m_Payload);
  default:
    sto_ValueWriter(StartField(part, key, field.m_Tag)).Raw(field.m_Payload.data(), field.m_Payload.size());
  }
}

void sto_RecordBuilder::DropField(Part& part, std::size_t index) {
  std::size_t const first = part.m_Fields[index].m_Offset;
  std::size_t const last =
      index + 1 < part.m_Fields.size() ? part.m_Fields[index + 1].m_Offset : part.m_Bytes.size();
  part.m_Bytes.Erase(first, last);
  part.m_Fields.erase(part.m_Fields.begin() + static_cast<std::ptrdiff_t>(index));
  --m_FieldCount;
  for (std::size_t i = index; i < part.m_Fields.size(); ++i) part.m_Fields[i].m_Offset -= last - first;
  part.m_Index.clear();
  UpdateIndex(part);
}

bool sto_RecordBuilder::HasField(std::size_t partIndex, sto_FieldKey const& key) const noexcept {
  Part const& part = m_Parts[partIndex];
  if (!part.m_IsAlong) return IndexOf(part, key) != NotThere;
  // Mostly the latest field is asked for.
  for (std::size_t i = CountAlong(part); i > 0; --i)
    if (part.m_First[i - 1].m_Key == key) return true;
  return false;
}

bool sto_RecordBuilder::SetCollectionCode(std::size_t partIndex, sto_FieldKey const& key, std::uint8_t code) {
  Part& part = m_Parts[partIndex];
  if (part.m_IsOpen && part.m_Next->m_Key == key && part.m_Next->m_Code == code) {
    ++part.m_Next;
    part.m_IsOpen = false;
    return true;
  }
  DepartAll();
  std::size_t const index = IndexOf(part, key);
  if (index == NotThere) return false;
  part.m_Fields[index].m_Described.m_Code = code;
  return true;
}

void sto_RecordBuilder::SetList(sto_ListHeader const& header, sto_Bytes elements) {
  m_List = header;
  sto_ByteView const extents = header.m_Extra.EncodedExtents();
  m_Extents.assign(extents.begin(), extents.end());
  m_List->m_Extra.MoveExtents(m_Extents);
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
                        m_List->m_Count == list.m_Count && m_List->m_InBlocks == list.m_InBlocks &&
                        m_List->m_Extra == list.m_Extra;
    return isSame && (list.m_InBlocks || std::ranges::equal(m_Elements, list.m_Inline));
  }
  if (!m_Map) return true;
  sto_MapHeader const& map = *other.Map();
  return m_Map->m_IsTable == map.m_IsTable && m_Map->m_KeyType == map.m_KeyType &&
         m_Map->m_InChunks == map.m_InChunks && m_Map->m_Count == map.m_Count &&
         m_Map->m_ElementType == map.m_ElementType && std::ranges::equal(m_Elements, map.m_Entries);
}

sto_ShapeContent sto_RecordBuilder::Content() const noexcept {
  if (m_List) {
    std::uint8_t const kind =
        m_List->m_HasFixedIds ? sto_Format::ContentFixedIds
        : m_List->m_InBlocks  ? (HasMore() ? sto_Format::ContentBlocksWithMore : sto_Format::ContentBlockList)
        : HasMore()           ? sto_Format::ContentListWithMore
                              : sto_Format::ContentInlineList;
    return {kind, 0, m_List->m_ElementType};
  }
  if (!m_Map) return {};
  bool const inChunks = m_Map->m_InChunks;
  if (m_Map->m_IsTable)
    return {inChunks ? sto_Format::ContentTableInChunks : sto_Format::ContentIntTable, 0, 0};
  return {inChunks ? sto_Format::ContentMapInChunks : sto_Format::ContentMap, m_Map->m_KeyType,
          m_Map->m_ElementType};
}

bool sto_RecordBuilder::HasShape(sto_Shape const& shape) {
  DepartAll();
  if (shape.m_Parts.size() != m_PartCount || shape.m_Fields.size() != m_FieldCount ||
      shape.m_PartsFollow != DoPartsFollow() || shape.m_Content != Content())
    return false;
  auto described = shape.m_Fields.begin();
  for (std::size_t i = 0; i < m_PartCount; ++i) {
    Part const& part = m_Parts[i];
    if (shape.m_Parts[i] != sto_ShapePart{part.m_ClassId, part.m_Version, part.m_Fields.size()}) return false;
    for (Field const& field : part.m_Fields)
      if (field.m_Described != *described++) return false;
  }
  return m_Nested.empty() || HasTypesOf(shape);
}

sto_NestedType const& sto_RecordBuilder::TypeOf(std::size_t part, sto_FieldKey const& key) const noexcept {
  return *std::ranges::find_if(m_Nested, [&](NestedField const& field) {
            return field.m_Part == part && field.m_Key == key;
          })->m_Type;
}

bool sto_RecordBuilder::HasTypesOf(sto_Shape const& shape) const noexcept {
  auto type = shape.m_Types.begin();
  for (std::size_t i = 0; i < m_PartCount; ++i)
    for (Field const& field : m_Parts[i].m_Fields)
      if (field.m_Described.m_Tag == sto_Format::Nested && TypeOf(i, field.m_Described.m_Key) != *type++)
        return false;
  return true;
}

sto_Shape sto_RecordBuilder::Shape() {
  DepartAll();
  sto_Shape shape;
  shape.m_PartsFollow = DoPartsFollow();
  shape.m_Content = Content();
  for (std::size_t i = 0; i < m_PartCount; ++i) {
    Part const& part = m_Parts[i];
    shape.m_Parts.push_back({part.m_ClassId, part.m_Version, part.m_Fields.size()});
    for (Field const& field : part.m_Fields) {
      shape.m_Fields.push_back(field.m_Described);
      if (field.m_Described.m_Tag == sto_Format::Nested)
        shape.m_Types.push_back(TypeOf(i, field.m_Described.m_Key));
    }
  }
  return shape;
}

template <class Writer> void sto_RecordBuilder::PutValues(Writer writer) const {
  bool const doPartsFollow = DoPartsFollow();
  std::int64_t follows = m_Parts.front().m_Id;
  for (std::size_t i = 0; i < m_PartCount; ++i, ++follows) {
    Part const& part = m_Parts[i];
    if (!doPartsFollow && i > 0) writer.ZigZag(sto_Distance(follows, part.m_Id));
    writer.Raw(part.m_Bytes.data(), part.m_Bytes.size());
  }
  if (m_List) {
    writer.ZigZag(m_List->m_Width);
    writer.Varint(static_cast<std::uint64_t>(m_List->m_Count));
    if (HasMore()) {
      writer.Varint(m_List->m_Extra.Flags());
      m_List->m_Extra.Put(writer);
    }
  } else if (m_Map) {
    writer.Varint(static_cast<std::uint64_t>(m_Map->m_Count));
  }
  writer.Raw(m_Elements.data(), m_Elements.size());
}

sto_ByteView sto_RecordBuilder::View() {
  if (m_PartCount == 1 && !m_List && !m_Map) {
    sto_ValueBytes const& bytes = m_Parts.front().m_Bytes;
    return {bytes.data(), bytes.size()};
  }
  m_Joined.clear();
  PutValues(sto_ValueWriter(m_Joined));
  return {m_Joined.data(), m_Joined.size()};
}

sto_Bytes const& sto_RecordBuilder::Values() {
  m_Output.clear();
  PutValues(sto_ByteWriter(m_Output));
  return m_Output;
}

sto_Bytes const& sto_RecordBuilder::ValuesWithShape() {
  m_Output.clear();
  Shape().Encode(m_Output);
  PutValues(sto_ByteWriter(m_Output));
  return m_Output;
}
