#include "store/format/sto_Record.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "store/format/sto_ChunkDirectory.h"
#include "store/format/sto_FixedValueBytes.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/format/sto_NestedWalk.h"
#include "store/format/sto_OldRecord.h"

namespace {

/// The fewest bytes that an entry of a map takes. A count that the rest of the record cannot hold is refused
/// before memory is taken for it.
constexpr std::size_t MinEntryBytes = 2;

constexpr std::int64_t MaxInt = std::numeric_limits<int>::max();

} // namespace

bool sto_Record::Decode(std::int64_t id, sto_Shape const* shape, std::string& problem) {
  problem.clear();
  m_List.reset();
  m_Map.reset();
  m_GreatestId = 0;
  m_HasChangedBase = false;
  m_IsIdentityTaken = m_IsDecodedAs = false;
  m_ClassId = shape == nullptr ? m_Stored.m_ClassId : shape->m_Parts.front().m_ClassId;
  sto_ByteReader reader(m_Stored.m_Bytes);
  if (m_Stored.m_Shape == sto_StoredRecord::SelfDescribed) {
    m_IsPrepared = false;
    if (!sto_ConvertOldRecord(id, m_Stored, m_OwnShape, m_Converted, problem)) return false;
    reader = sto_ByteReader(m_Converted);
    shape = &m_OwnShape;
  } else if (!m_Stored.m_IsSound) {
    problem = "its checksum does not fit";
    return false;
  } else if (m_Stored.m_Shape == sto_Format::OwnShape) {
    shape = m_OwnShape.Decode(reader) ? &m_OwnShape : nullptr;
  }
  if (shape != nullptr) m_ClassId = shape->m_Parts.front().m_ClassId;
  if (shape != nullptr && DecodeAll(reader, id, *shape)) return true;
  problem = "its record cannot be read";
  return false;
}

bool sto_Record::DecodeAll(sto_ByteReader reader, std::int64_t id, sto_Shape const& shape) {
  return DecodeParts(reader, id, shape) && DecodeContent(reader, shape.m_Content) && !reader.Failed() &&
         reader.Remaining() == 0;
}

bool sto_Record::DecodeContent(sto_ByteReader& reader, sto_ShapeContent const& content) {
  switch (content.m_Kind) {
  case sto_Format::ContentNone:
    return true;
  case sto_Format::ContentInlineList:
  case sto_Format::ContentBlockList:
  case sto_Format::ContentFixedIds:
  case sto_Format::ContentListWithMore:
  case sto_Format::ContentBlocksWithMore:
    return DecodeList(reader, content);
  default:
    return DecodeMap(reader, content);
  }
}

bool sto_Record::TakeId(std::uint64_t id) noexcept {
  if (id == 0 || id > static_cast<std::uint64_t>(sto_Format::MaxObjectId)) return false;
  m_GreatestId = std::max(m_GreatestId, static_cast<std::int64_t>(id));
  return true;
}

bool sto_Record::DecodeField(sto_ByteReader& reader, std::int64_t id, std::uint8_t tag, sto_Field& field) {
  switch (tag) {
  case sto_Format::Text: {
    std::uint64_t const size = reader.Varint();
    field.m_Tag = size == 0 ? sto_Format::NoText : sto_Format::Text;
    field.m_Payload = reader.Raw(size == 0 ? 0 : size - 1);
    break;
  }
  case sto_Format::Bytes:
    field.m_Payload = reader.Raw(reader.Varint());
    break;
  case sto_Format::Nested:
    return DecodeNested(reader, id, field);
  default: // an object or a reference
    field.m_Payload = {};
    field.m_ObjectId = sto_FromDistance(id, reader.ZigZag());
    if (!TakeId(static_cast<std::uint64_t>(field.m_ObjectId))) return false;
  }
  return !reader.Failed();
}

bool sto_Record::DecodeNested(sto_ByteReader& reader, std::int64_t id, sto_Field& field) {
  field.m_Type = m_NextType++;
  auto const take = [this](std::uint8_t, std::int64_t held, sto_ByteView) {
    return TakeId(static_cast<std::uint64_t>(held));
  };
  std::byte const* const start = reader.Position();
  if (!sto_NestedWalk(*field.m_Type, id, take).Pass(reader)) return false;
  field.m_Payload = {start, reader.Position()};
  return true;
}

void sto_Record::Prepare(sto_Shape const& shape) {
  m_IsPrepared = false;
  m_Parts.resize(shape.m_Parts.size());
  m_Fields.resize(shape.m_Fields.size());
  for (std::size_t i = 0; i < m_Fields.size(); ++i) {
    sto_ShapeField const& described = shape.m_Fields[i];
    m_Fields[i] = {described.m_Key, described.m_Tag, described.m_Code, 0, {}, nullptr};
  }
  auto field = m_Fields.begin();
  for (std::size_t i = 0; i < m_Parts.size(); ++i) {
    sto_ShapePart const& part = shape.m_Parts[i];
    m_Parts[i] = {part.m_ClassId, part.m_Version, 0, {field, part.m_FieldCount}};
    field += static_cast<std::ptrdiff_t>(part.m_FieldCount);
  }
  m_IsPrepared = m_Prepared != nullptr && &m_Prepared->m_Shape == &shape;
}

bool sto_Record::DecodeParts(sto_ByteReader& reader, std::int64_t id, sto_Shape const& shape) {
  if (!IsPrepared(shape)) Prepare(shape);
  m_NextType = shape.m_Types.data();
  // Plain pointers stay in registers; what is not short is left to DecodeField.
  std::byte const* next = reader.Position();
  std::byte const* const end = next + reader.Remaining();
  sto_Field* field = m_Fields.data();
  sto_ShapeField const* described = shape.m_Fields.data();
  std::int64_t follows = id;
  for (sto_Part& part : m_Parts) {
    std::int64_t partId = follows;
    if (!shape.m_PartsFollow && follows != id) {
      sto_ByteReader other({next, end});
      partId = sto_FromDistance(follows, other.ZigZag());
      if (other.Failed()) return false;
      next = other.Position();
    }
    ++follows;
    if (!TakeId(static_cast<std::uint64_t>(partId))) return false;
    part.m_Id = partId;
    for (sto_Field const* const last = field + part.m_Fields.size(); field != last; ++field, ++described) {
      std::uint8_t const tag = described->m_Tag;
      std::size_t size = sto_FixedSizesOfTags[tag]; // the shape has known tags only
      if (size == 0) {
        if (tag != sto_Format::Text || next == end || *next == std::byte{0} || *next >= std::byte{0x80}) {
          sto_ByteReader other({next, end});
          if (!DecodeField(other, id, tag, *field)) return false;
          next = other.Position();
          continue;
        }
        size = std::to_integer<std::size_t>(*next++) - 1;
        field->m_Tag = sto_Format::Text;
      }
      if (static_cast<std::size_t>(end - next) < size) return false;
      field->m_Payload = {next, size};
      next += size;
    }
  }
  reader = sto_ByteReader({next, end});
  return true;
}

bool sto_Record::DecodeList(sto_ByteReader& reader, sto_ShapeContent const& content) {
  sto_ListHeader list;
  list.m_ElementType = content.m_ElementType;
  std::int64_t const width = reader.ZigZag();
  std::uint64_t const count = reader.Varint();
  bool const hasMore = content.m_Kind == sto_Format::ContentListWithMore ||
                       content.m_Kind == sto_Format::ContentBlocksWithMore;
  list.m_InBlocks =
      content.m_Kind != sto_Format::ContentInlineList && content.m_Kind != sto_Format::ContentListWithMore;
  list.m_HasFixedIds = content.m_Kind == sto_Format::ContentFixedIds;
  if (reader.Failed() || width > MaxInt || width < std::numeric_limits<int>::min() ||
      count > static_cast<std::uint64_t>(MaxInt))
    return false;
  list.m_Width = static_cast<int>(width);
  list.m_Count = static_cast<int>(count);
  if (hasMore) {
    std::uint64_t const flags = reader.Varint();
    if (flags == 0 || (flags & ~(sto_ListExtra::HasExtents | sto_ListExtra::HasUnit)) != 0 ||
        !list.m_Extra.Take(reader, flags, list.m_Count))
      return false;
  }
  if (!list.m_InBlocks) {
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
  sto_IdDecoder decoder(m_Parts.front().m_Id);
  for (int i = 0; i < count; ++i)
    if (std::int64_t const id = decoder.Next(reader); id != 0 && !TakeId(static_cast<std::uint64_t>(id)))
      return false;
  return !reader.Failed() && reader.Remaining() == 0;
}

bool sto_Record::DecodeMap(sto_ByteReader& reader, sto_ShapeContent const& content) {
  sto_MapHeader map;
  map.m_IsTable =
      content.m_Kind == sto_Format::ContentIntTable || content.m_Kind == sto_Format::ContentTableInChunks;
  map.m_InChunks =
      content.m_Kind == sto_Format::ContentMapInChunks || content.m_Kind == sto_Format::ContentTableInChunks;
  map.m_KeyType = map.m_IsTable ? static_cast<std::uint8_t>(sto_Format::KeyInt) : content.m_KeyType;
  map.m_ElementType =
      map.m_IsTable ? static_cast<std::uint8_t>(sto_Format::ElementInt) : content.m_ElementType;
  std::uint64_t const count = reader.Varint();
  if (reader.Failed() || count > static_cast<std::uint64_t>(MaxInt) ||
      (!map.m_InChunks && count > reader.Remaining() / MinEntryBytes))
    return false;
  map.m_Count = static_cast<int>(count);
  map.m_Entries = reader.Raw(reader.Remaining());
  if (map.m_InChunks) {
    if (!sto_DecodeDirectory(map)) return false;
    m_Map = map;
    return true;
  }
  // All entries are checked here, once; cursors rely on it.
  sto_MapWalk walk(map);
  bool const holdsObjects = map.m_ElementType == sto_Format::ElementObject;
  while (walk.Next())
    if (holdsObjects && !TakeId(walk.ObjectId())) return false;
  if (!walk.IsComplete()) return false;
  m_Map = map;
  return true;
}
