#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "store/format/sto_Record.h"
#include "store/format/sto_ValueBytes.h"

/// Builds the record of one object: add its parts, the object's own class first, then fields and content in
/// any order, then Values. Reset starts the next object and keeps the memory. See sto_Record.h for what a
/// record is.
///
/// Objects of one class mostly write the same fields in the same order. Each part goes along the expected
/// shape: a field that comes next there takes a comparison. The first other field makes all parts depart from
/// it; from then on they have lists of fields of their own.
///
/// Internal to the module. Thread rule: one thread.
class sto_RecordBuilder {
 public:
  /// Starts the next object.
  void Reset() noexcept;
  /// Says which shape the object will probably have, or null if that is not known. REQUIRES: no part was
  /// added yet.
  void Expect(std::shared_ptr<sto_NumberedShape const> const& shape) noexcept {
    if (m_Expected == shape) return;
    m_Expected = shape;
    m_PreparedCount = 0;
  }
  /// Whether the object has the expected shape. REQUIRES: `shape` is not null.
  [[nodiscard]] bool HasExpected(sto_NumberedShape const* shape) const noexcept {
    return m_Expected.get() == shape && IsAlongToEnd();
  }

  /// Adds a part and returns its index. Full, naming the object, beyond sto_Format::MaxParts.
  std::size_t AddPart(unsigned int classId, int version, std::int64_t id) {
    if (m_PartCount >= m_PreparedCount) return AddOtherPart(classId, version, id);
    Part& part = m_Parts[m_PartCount];
    if (part.m_ClassId != classId || part.m_Version != version) return AddOtherPart(classId, version, id);
    part.m_Id = id;
    part.m_Next = part.m_First;
    part.m_IsOpen = false;
    part.m_Bytes.clear();
    return m_PartCount++;
  }

  /// Starts a field of a part, replacing one with the same key. The caller appends the value to the returned
  /// bytes before it calls anything else; for texts, byte strings and objects use the operations below. Full,
  /// naming the object, beyond sto_Format::MaxFields. REQUIRES: an index that AddPart returned for this object.
  sto_ValueBytes& StartField(std::size_t part, sto_FieldKey const& key, std::uint8_t tag,
                             std::uint8_t code = 0) {
    Part& to = m_Parts[part];
    if (to.m_Next == to.m_End || *to.m_Next != sto_ShapeField{key, tag, code})
      return StartOtherField(to, {key, tag, code});
    return StartNext(to);
  }
  /// Adds a string; std::nullopt: a string without text.
  void AddText(std::size_t part, sto_FieldKey const& key, sto_ByteView text) {
    sto_ValueWriter(StartField(part, key, sto_Format::Text)).Sized(text.size() + 1, text);
  }
  void AddText(std::size_t part, sto_FieldKey const& key, std::nullopt_t) {
    sto_ValueWriter(StartField(part, key, sto_Format::Text)).U8(0);
  }
  void AddBytes(std::size_t part, sto_FieldKey const& key, sto_ByteView bytes) {
    sto_ValueWriter(StartField(part, key, sto_Format::Bytes)).Sized(bytes.size(), bytes);
  }
  /// Adds an object or, by `tag`, a reference.
  void AddObject(std::size_t part, sto_FieldKey const& key, std::uint8_t tag, std::int64_t id,
                 std::uint8_t code = 0);
  /// Adds a nested value; sto_NestedWriter encodes it. Misuse, naming the object, if it is not along the type,
  /// or the type has a leaf as its root. REQUIRES: the type lives until Reset, or until the field is replaced.
  void AddNested(std::size_t part, sto_FieldKey const& key, sto_NestedType const& type, sto_ByteView value);
  /// Adds a field as a decoded record of the same object has it. `id`: of the object, if the field has one. For
  /// a nested value, AddNested applies.
  void AddDecoded(std::size_t part, sto_FieldKey const& key, sto_Field const& field, std::int64_t id);

  [[nodiscard]] bool HasField(std::size_t part, sto_FieldKey const& key) const noexcept;
  [[nodiscard]] std::size_t PartCount() const noexcept { return m_PartCount; }
  [[nodiscard]] unsigned int ClassOfPart(std::size_t part) const noexcept { return m_Parts[part].m_ClassId; }

  /// Sets the collection code of an object field. False when the part has no field with this key. REQUIRES:
  /// the field holds an object.
  bool SetCollectionCode(std::size_t part, sto_FieldKey const& key, std::uint8_t code);

  /// Sets the content; a later one replaces an earlier one. `elements`: the encoded elements of an inline
  /// list, empty for a list in blocks. `entries`: the encoded entries of a map or int table, or the directory
  /// of one in chunks. The header's extents are copied.
  void SetList(sto_ListHeader const& header, sto_Bytes elements);
  void SetMap(sto_MapHeader const& header, sto_Bytes entries);

  [[nodiscard]] bool HasList() const noexcept { return m_List.has_value(); }
  [[nodiscard]] bool HasMap() const noexcept { return m_Map.has_value(); }

  /// Whether a decoded record has the same classes in the same versions as this one.
  [[nodiscard]] bool HasClassesOf(sto_Record const& other) const noexcept;
  /// Whether a decoded record has the same list or map. For a list in blocks, only the headers are compared.
  [[nodiscard]] bool HasContentOf(sto_Record const& other) const noexcept;

  /// Whether the object has this shape.
  [[nodiscard]] bool HasShape(sto_Shape const& shape);
  /// The shape of the object.
  [[nodiscard]] sto_Shape Shape();
  /// The record: the values, without a checksum. Valid until the builder is used again.
  [[nodiscard]] sto_ByteView View();
  /// The same.
  [[nodiscard]] sto_Bytes const& Values();
  /// The record of an object whose shape has no number: it begins with the shape.
  [[nodiscard]] sto_Bytes const& ValuesWithShape();

  /// About how many bytes of memory the object takes.
  [[nodiscard]] std::size_t Size() const noexcept {
    std::size_t bytes = m_Elements.capacity() + m_FieldCount * sizeof(Field);
    for (std::size_t i = 0; i < m_PartCount; ++i) bytes += 2 * m_Parts[i].m_Bytes.size(); // and in the output
    return bytes;
  }

  /// The next of the spare builders; used by sto_SpareBuilders.
  sto_RecordBuilder* m_NextSpare = nullptr;

 private:
  struct Field {
    sto_ShapeField m_Described;
    std::size_t m_Offset; // of the value in the part's bytes
  };
  struct KeyHash {
    std::size_t operator()(sto_FieldKey const& key) const noexcept {
      return static_cast<std::size_t>(key.m_NameId != 0 ? 2 * key.m_NameId
                                                        : 2 * std::int64_t{key.m_FieldId} + 1);
    }
  };
  struct Part {
    unsigned int m_ClassId = 0;
    int m_Version = 0;
    std::int64_t m_Id = 0;
    // Fields of the expected shape, while the part goes along it; null afterwards.
    sto_ShapeField const* m_First = nullptr;
    sto_ShapeField const* m_Next = nullptr;
    sto_ShapeField const* m_End = nullptr;
    bool m_IsAlong = false;
    bool m_IsOpen = false;       // m_Next is written but for its collection code
    std::vector<Field> m_Fields; // while along, only the offsets count, and there may be more
    sto_ValueBytes m_Bytes;
    std::unordered_map<sto_FieldKey, std::size_t, KeyHash> m_Index; // of the fields, if there are many
  };

  static constexpr std::size_t NotThere = static_cast<std::size_t>(-1);
  /// The index of a field of a part, NotThere if it has none with this key.
  [[nodiscard]] static std::size_t IndexOf(Part const& part, sto_FieldKey const& key) noexcept;
  /// Adds the fields that the part's index lacks, if it needs one.
  static void UpdateIndex(Part& part);
  void DropField(Part& part, std::size_t index);

  /// Starts the field that the expected shape has next.
  sto_ValueBytes& StartNext(Part& part) {
    part.m_Fields[static_cast<std::size_t>(part.m_Next - part.m_First)].m_Offset = part.m_Bytes.size();
    ++part.m_Next;
    ++m_FieldCount;
    return part.m_Bytes;
  }
  sto_ValueBytes& StartOtherField(Part& part, sto_ShapeField const& field);
  /// How many of the expected fields a part has.
  [[nodiscard]] static std::size_t CountAlong(Part const& part) noexcept {
    return static_cast<std::size_t>(part.m_Next - part.m_First) + (part.m_IsOpen ? 1 : 0);
  }
  void Depart(Part& part);
  /// Leaves the expected shape.
  void DepartAll();
  [[nodiscard]] bool IsAlongToEnd() const noexcept;
  std::size_t AddOtherPart(unsigned int classId, int version, std::int64_t id);
  /// Lets a new part go along the expected shape, if it is the part that comes next there.
  void GoAlong(Part& part);
  [[noreturn]] void RaiseFull(std::size_t count, char const* what) const;
  [[nodiscard]] sto_ShapeContent Content() const noexcept;
  [[nodiscard]] bool DoPartsFollow() const noexcept {
    for (std::size_t i = 1; i < m_PartCount; ++i)
      if (m_Parts[i].m_Id != m_Parts.front().m_Id + static_cast<std::int64_t>(i)) return false;
    return true;
  }
  template <class Writer> void PutValues(Writer writer) const;
  [[nodiscard]] bool HasMore() const noexcept { return !m_List->m_HasFixedIds && !m_List->m_Extra.IsEmpty(); }
  [[nodiscard]] sto_NestedType const& TypeOf(std::size_t part, sto_FieldKey const& key) const noexcept;
  [[nodiscard]] bool HasTypesOf(sto_Shape const& shape) const noexcept;

  struct NestedField {
    std::size_t m_Part;
    sto_FieldKey m_Key;
    sto_NestedType const* m_Type;
  };

  std::shared_ptr<sto_NumberedShape const> m_Expected; // null: nothing is expected
  std::size_t m_PreparedCount = 0; // the first parts that went along it in the latest object too
  std::vector<Part> m_Parts;
  std::vector<NestedField> m_Nested; // may have more: fields that were replaced by others
  std::size_t m_PartCount = 0;       // in use; the others keep their memory for later objects
  std::size_t m_FieldCount = 0;      // of all parts
  std::optional<sto_ListHeader> m_List;
  std::optional<sto_MapHeader> m_Map;
  sto_Bytes m_Elements; // of the list or the map
  sto_Bytes m_Extents;  // of the list
  sto_Bytes m_Output;
  sto_ValueBytes m_Joined; // what View returns, if it is not in one piece
};
