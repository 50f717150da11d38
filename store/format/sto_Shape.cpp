#include "store/format/sto_Shape.h"

#include <limits>

namespace {

constexpr std::uint8_t PartsFollowFlag = 1;
/// The fewest bytes that a part and a field take. A count that the rest of the bytes cannot hold is refused
/// before memory is taken for it.
constexpr std::size_t MinPartBytes = 3;
constexpr std::size_t MinFieldBytes = 2;

bool IsInt(std::int64_t value) noexcept {
  return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

bool IsMapKind(std::uint8_t kind) noexcept {
  return kind == sto_Format::ContentMap || kind == sto_Format::ContentMapInChunks;
}
bool IsKnownKind(std::uint8_t kind) noexcept {
  return kind <= sto_Format::ContentTableInChunks;
}
bool IsListKind(std::uint8_t kind) noexcept {
  return kind == sto_Format::ContentInlineList || kind == sto_Format::ContentBlockList ||
         kind == sto_Format::ContentFixedIds || kind == sto_Format::ContentListWithMore ||
         kind == sto_Format::ContentBlocksWithMore;
}

} // namespace

void sto_Shape::Encode(sto_Bytes& bytes) const {
  sto_ByteWriter writer(bytes);
  writer.U8(m_PartsFollow ? PartsFollowFlag : 0);
  writer.Varint(m_Parts.size());
  auto field = m_Fields.begin();
  auto type = m_Types.begin();
  for (sto_ShapePart const& part : m_Parts) {
    writer.Varint(part.m_ClassId);
    writer.ZigZag(part.m_Version);
    writer.Varint(part.m_FieldCount);
    for (auto const end = field + static_cast<std::ptrdiff_t>(part.m_FieldCount); field != end; ++field) {
      sto_EncodeKey(writer, field->m_Key);
      writer.U8(field->m_Tag);
      if (field->m_Tag == sto_Format::Object) writer.U8(field->m_Code);
      if (field->m_Tag == sto_Format::Nested) (type++)->Encode(bytes);
    }
  }
  writer.U8(m_Content.m_Kind);
  if (IsMapKind(m_Content.m_Kind)) writer.U8(m_Content.m_KeyType);
  if (IsMapKind(m_Content.m_Kind) || IsListKind(m_Content.m_Kind)) writer.U8(m_Content.m_ElementType);
}

bool sto_Shape::Decode(sto_ByteReader& reader) {
  m_Parts.clear();
  m_Fields.clear();
  m_Types.clear();
  std::uint8_t const flags = reader.U8();
  m_PartsFollow = (flags & PartsFollowFlag) != 0;
  std::uint64_t const count = reader.Varint();
  if ((flags & ~PartsFollowFlag) != 0 || count == 0 || count > reader.Remaining() / MinPartBytes ||
      count > sto_Format::MaxParts)
    return false;
  for (std::uint64_t i = 0; i < count; ++i) {
    std::uint64_t const classId = reader.Varint();
    std::int64_t const version = reader.ZigZag();
    std::uint64_t const fieldCount = reader.Varint();
    if (classId > std::numeric_limits<unsigned int>::max() || !IsInt(version) ||
        !DecodeFields(reader, fieldCount))
      return false;
    m_Parts.push_back({static_cast<unsigned int>(classId), static_cast<int>(version),
                       static_cast<std::size_t>(fieldCount)});
  }
  return DecodeContent(reader) && !reader.Failed();
}

bool sto_Shape::DecodeFields(sto_ByteReader& reader, std::uint64_t count) {
  if (count > reader.Remaining() / MinFieldBytes || count > sto_Format::MaxFields - m_Fields.size())
    return false;
  for (std::uint64_t i = 0; i < count; ++i) {
    sto_ShapeField field;
    if (!sto_DecodeKey(reader, field.m_Key)) return false;
    field.m_Tag = reader.U8();
    if (field.m_Tag < sto_Format::Text || field.m_Tag > sto_Format::LastTag) return false;
    if (field.m_Tag == sto_Format::Object) field.m_Code = reader.U8();
    if (field.m_Tag == sto_Format::Nested && !m_Types.emplace_back().Decode(reader)) return false;
    m_Fields.push_back(field);
  }
  return !reader.Failed();
}

bool sto_Shape::DecodeContent(sto_ByteReader& reader) {
  m_Content = {};
  m_Content.m_Kind = reader.U8();
  if (!IsKnownKind(m_Content.m_Kind)) return false;
  if (IsMapKind(m_Content.m_Kind)) {
    m_Content.m_KeyType = reader.U8();
    m_Content.m_ElementType = reader.U8();
    return sto_IsKeyType(m_Content.m_KeyType) && sto_IsElementType(m_Content.m_ElementType);
  }
  if (!IsListKind(m_Content.m_Kind)) return true;
  m_Content.m_ElementType = reader.U8();
  return sto_IsElementType(m_Content.m_ElementType);
}
