#include "store/format/sto_OldRecord.h"

#include <limits>
#include <optional>
#include <utility>

#include "store/format/sto_Checksum.h"
#include "store/format/sto_FixedValueBytes.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_RecordBuilder.h"

namespace {

/// The fewest bytes that a part and a field take. A count that the rest of the record cannot hold is refused
/// before memory is taken for it.
constexpr std::size_t LeastPartBytes = 4;
constexpr std::size_t LeastFieldBytes = 2;

constexpr std::uint64_t MaxElements = std::numeric_limits<int>::max();

bool IsId(std::uint64_t id) noexcept {
  return id != 0 && id <= static_cast<std::uint64_t>(sto_Format::MaxObjectId);
}

/// The bytes of a value; 0 if they vary, or the older formats do not have the tag.
std::size_t FixedSize(std::uint8_t tag) noexcept {
  return tag > sto_Format::LastOldTag ? 0 : sto_FixedValueBytes(tag);
}

bool IsElementType(std::uint8_t type) noexcept {
  return type >= sto_Format::ElementBool && type <= sto_Format::LastOldElementType;
}

/// Reads one record and builds it again.
class Converter {
 public:
  explicit Converter(sto_ByteView record) noexcept : m_Reader(record) {}

  [[nodiscard]] bool Convert() {
    return m_Reader.U8() == sto_Format::RecordForm && Parts() && Content() && !m_Reader.Failed() &&
           m_Reader.Remaining() == 0;
  }
  [[nodiscard]] bool IsOf(std::int64_t id, unsigned int classId) const noexcept {
    return m_FirstId == id && m_Builder.ClassOfPart(0) == classId;
  }
  [[nodiscard]] sto_RecordBuilder& Built() noexcept { return m_Builder; }

 private:
  bool Parts() {
    std::uint64_t const count = m_Reader.Varint();
    if (count == 0 || count > m_Reader.Remaining() / LeastPartBytes || count > sto_Format::MaxParts)
      return false;
    for (std::uint64_t i = 0; i < count; ++i)
      if (!Part()) return false;
    return true;
  }

  bool Part() {
    std::uint64_t const classId = m_Reader.Varint();
    std::int64_t const version = m_Reader.ZigZag();
    std::uint64_t const id = m_Reader.Varint();
    std::uint64_t const count = m_Reader.Varint();
    if (m_Reader.Failed() || classId > std::numeric_limits<unsigned int>::max() ||
        !std::in_range<int>(version) || !IsId(id) || count > m_Reader.Remaining() / LeastFieldBytes ||
        count > sto_Format::MaxFields - m_FieldCount)
      return false;
    m_FieldCount += static_cast<std::size_t>(count);
    std::size_t const part = m_Builder.AddPart(static_cast<unsigned int>(classId), static_cast<int>(version),
                                               static_cast<std::int64_t>(id));
    if (part == 0) m_FirstId = static_cast<std::int64_t>(id);
    for (std::uint64_t i = 0; i < count; ++i)
      if (!Field(part)) return false;
    return true;
  }

  bool Field(std::size_t part) {
    sto_FieldKey key;
    if (!sto_DecodeKey(m_Reader, key) || m_Builder.HasField(part, key)) return false;
    std::uint8_t const tag = m_Reader.U8();
    if (std::size_t const size = FixedSize(tag); size != 0) {
      Raw(m_Builder.StartField(part, key, tag), m_Reader.Raw(size));
      return !m_Reader.Failed();
    }
    switch (tag) {
    case sto_Format::NoText:
      m_Builder.AddText(part, key, std::nullopt);
      return true;
    case sto_Format::Text:
      m_Builder.AddText(part, key, m_Reader.Raw(m_Reader.Varint()));
      return !m_Reader.Failed();
    case sto_Format::Bytes:
      m_Builder.AddBytes(part, key, m_Reader.Raw(m_Reader.Varint()));
      return !m_Reader.Failed();
    case sto_Format::Reference:
    case sto_Format::Object: {
      auto const held = m_Reader.Number<std::uint64_t>();
      std::uint8_t const code = tag == sto_Format::Object ? m_Reader.U8() : std::uint8_t{0};
      if (!IsId(held)) return false;
      m_Builder.AddObject(part, key, tag, static_cast<std::int64_t>(held), code);
      return !m_Reader.Failed();
    }
    default:
      return false;
    }
  }

  static void Raw(sto_ValueBytes& bytes, sto_ByteView value) {
    sto_ValueWriter(bytes).Raw(value.data(), value.size());
  }

  bool Content() {
    std::uint8_t const kind = m_Reader.U8();
    switch (kind) {
    case sto_Format::ContentNone:
      return true;
    case sto_Format::ContentInlineList:
    case sto_Format::ContentBlockList:
      return List(kind == sto_Format::ContentBlockList);
    case sto_Format::ContentMap:
    case sto_Format::ContentIntTable:
      return Map(kind == sto_Format::ContentIntTable);
    default:
      return false;
    }
  }

  sto_Bytes Rest() {
    sto_ByteView const rest = m_Reader.Raw(m_Reader.Remaining());
    return {rest.begin(), rest.end()};
  }

  bool List(bool inBlocks) {
    sto_ListHeader list;
    list.m_InBlocks = inBlocks;
    list.m_ElementType = m_Reader.U8();
    std::int64_t const width = m_Reader.ZigZag();
    std::uint64_t const count = m_Reader.Varint();
    if (m_Reader.Failed() || !IsElementType(list.m_ElementType) || !std::in_range<int>(width) ||
        count > MaxElements)
      return false;
    list.m_Width = static_cast<int>(width);
    list.m_Count = static_cast<int>(count);
    if (list.m_ElementType == sto_Format::ElementObject) return ObjectList(list);
    m_Builder.SetList(list, inBlocks ? sto_Bytes() : Rest());
    return true;
  }

  bool ObjectList(sto_ListHeader list) {
    list.m_HasFixedIds = list.m_InBlocks; // the blocks stay as they are
    std::vector<std::int64_t> ids;
    int const count = list.m_InBlocks ? 0 : list.m_Count;
    if (count > sto_Format::BlockElementCount || !sto_DecodeIds(Rest(), count, m_FirstId, true, ids))
      return false;
    sto_Bytes elements;
    sto_ByteWriter writer(elements);
    sto_IdEncoder encoder(m_FirstId);
    for (std::int64_t const id : ids) encoder.Put(writer, id);
    m_Builder.SetList(list, std::move(elements));
    return true;
  }

  bool Map(bool isTable) {
    sto_MapHeader map;
    map.m_IsTable = isTable;
    map.m_KeyType = isTable ? static_cast<std::uint8_t>(sto_Format::KeyInt) : m_Reader.U8();
    map.m_ElementType = isTable ? static_cast<std::uint8_t>(sto_Format::ElementInt) : m_Reader.U8();
    std::uint64_t const count = m_Reader.Varint();
    bool const isKeyType = map.m_KeyType >= sto_Format::KeyInt && map.m_KeyType <= sto_Format::LastOldKeyType;
    bool const isElementType =
        IsElementType(map.m_ElementType) && map.m_ElementType != sto_Format::ElementBool;
    if (m_Reader.Failed() || !isKeyType || !isElementType || count > MaxElements) return false;
    map.m_Count = static_cast<int>(count);
    m_Builder.SetMap(map, Rest());
    return true;
  }

  sto_ByteReader m_Reader;
  sto_RecordBuilder m_Builder;
  std::int64_t m_FirstId = 0;
  std::size_t m_FieldCount = 0;
};

} // namespace

bool sto_ConvertOldRecord(std::int64_t id, sto_StoredRecord const& stored, sto_Shape& shape,
                          sto_Bytes& values, std::string& problem) {
  sto_ByteView record(stored.m_Bytes);
  if (!sto_Unseal(static_cast<std::uint64_t>(id), record)) {
    problem = "its checksum does not fit";
    return false;
  }
  Converter converter(record);
  if (!converter.Convert()) {
    problem = "its record cannot be read";
    return false;
  }
  if (!converter.IsOf(id, stored.m_ClassId)) {
    problem = "its record belongs to another object";
    return false;
  }
  shape = converter.Built().Shape();
  values = converter.Built().Values();
  return true;
}
