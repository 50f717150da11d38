#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "store/format/sto_Record.h"

/// Builds the record of one object: add its parts, the object's own class first, then fields and content in
/// any order, then Finish. Reset starts the next object and keeps the memory. See sto_Record.h for what a
/// record is. Internal to the module. Thread rule: one thread.
class sto_RecordBuilder {
 public:
  /// Starts the next object.
  void Reset() noexcept;

  /// Adds a part and returns its index. Full, naming the object, beyond sto_Format::MaxParts.
  std::size_t AddPart(unsigned int classId, int version, std::int64_t id);

  /// Starts a field of a part, replacing one with the same key. The caller appends the value to the returned
  /// bytes before it calls anything else; for texts, byte strings and objects use the operations below. Full,
  /// naming the object, beyond sto_Format::MaxFields. REQUIRES: an index that AddPart returned for this object.
  sto_Bytes& StartField(std::size_t part, sto_FieldKey const& key, std::uint8_t tag, std::uint8_t code = 0);
  /// Adds a string; none: a string without text.
  void AddText(std::size_t part, sto_FieldKey const& key, std::optional<sto_ByteView> text);
  void AddBytes(std::size_t part, sto_FieldKey const& key, sto_ByteView bytes);
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
  /// list, empty for a list in blocks. The header's extents are copied. `entries`: the encoded entries of a map or int table.
  void SetList(sto_ListHeader const& header, sto_Bytes elements);
  void SetMap(sto_MapHeader const& header, sto_Bytes entries);

  [[nodiscard]] bool HasList() const noexcept { return m_List.has_value(); }
  [[nodiscard]] bool HasMap() const noexcept { return m_Map.has_value(); }

  /// Whether a decoded record has the same classes in the same versions as this one.
  [[nodiscard]] bool HasClassesOf(sto_Record const& other) const noexcept;
  /// Whether a decoded record has the same list or map. For a list in blocks, only the headers are compared.
  [[nodiscard]] bool HasContentOf(sto_Record const& other) const noexcept;

  /// Whether the object has this shape.
  [[nodiscard]] bool HasShape(sto_Shape const& shape) const noexcept;
  /// The shape of the object.
  [[nodiscard]] sto_Shape Shape() const;
  /// The record: the values, without a checksum. Valid until the builder is used again.
  [[nodiscard]] sto_Bytes const& Values();
  /// The record of an object whose shape has no number: it begins with the shape.
  [[nodiscard]] sto_Bytes const& ValuesWithShape();

  /// About how many bytes of memory the builder holds.
  [[nodiscard]] std::size_t Capacity() const noexcept {
    std::size_t bytes = m_Output.capacity() + m_Elements.capacity();
    for (Part const& part : m_Parts)
      bytes += part.m_Bytes.capacity() + part.m_Fields.capacity() * sizeof(Field);
    return bytes;
  }

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
    unsigned int m_ClassId;
    int m_Version;
    std::int64_t m_Id;
    std::vector<Field> m_Fields;
    sto_Bytes m_Bytes;
    std::unordered_map<sto_FieldKey, std::size_t, KeyHash> m_Index; // of the fields, if there are many
  };

  static constexpr std::size_t NotThere = static_cast<std::size_t>(-1);
  /// The index of a field of a part, NotThere if it has none with this key.
  [[nodiscard]] static std::size_t IndexOf(Part const& part, sto_FieldKey const& key) noexcept;
  /// Adds the fields that the part's index lacks, if it needs one.
  static void UpdateIndex(Part& part);
  void DropField(Part& part, std::size_t index);
  [[noreturn]] void RaiseFull(std::size_t count, char const* what) const;
  [[nodiscard]] sto_ShapeContent Content() const noexcept;
  [[nodiscard]] bool DoPartsFollow() const noexcept;
  void PutValues();
  [[nodiscard]] bool HasMore() const noexcept { return !m_List->m_HasFixedIds && !m_List->m_Extra.IsEmpty(); }
  [[nodiscard]] sto_NestedType const& TypeOf(std::size_t part, sto_FieldKey const& key) const noexcept;
  [[nodiscard]] bool HasTypesOf(sto_Shape const& shape) const noexcept;

  struct NestedField {
    std::size_t m_Part;
    sto_FieldKey m_Key;
    sto_NestedType const* m_Type;
  };

  std::vector<Part> m_Parts;
  std::vector<NestedField> m_Nested; // may have more: fields that were replaced by others
  std::size_t m_PartCount = 0;       // in use; the others keep their memory for later objects
  std::size_t m_FieldCount = 0;      // of all parts
  std::optional<sto_ListHeader> m_List;
  std::optional<sto_MapHeader> m_Map;
  sto_Bytes m_Elements; // of the list or the map
  sto_Bytes m_Extents;  // of the list
  sto_Bytes m_Output;
};
