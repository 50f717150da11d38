#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Format.h"

/// How one field is found: by the number of its name in the store's dictionary, or, where that is 0, by its
/// field number.
struct sto_FieldKey {
  std::int64_t m_NameId = 0;
  int m_FieldId = -1;

  friend bool operator==(sto_FieldKey const& a, sto_FieldKey const& b) noexcept {
    return a.m_NameId == b.m_NameId && (a.m_NameId != 0 || a.m_FieldId == b.m_FieldId);
  }
};

/// One field of a decoded record.
struct sto_Field {
  sto_FieldKey m_Key;
  std::uint8_t m_Tag = 0;
  sto_ByteView m_Payload; // without lengths; of an object field the id and the collection code
};

/// One class level of a decoded record: the object itself first, then its base-class part, and so on up.
struct sto_Part {
  unsigned int m_ClassId = 0;
  int m_Version = 0;
  std::int64_t m_Id = 0;
  std::span<sto_Field const> m_Fields;
};

/// The list that an object is.
struct sto_ListHeader {
  std::uint8_t m_ElementType = 0;
  int m_Width = 1;
  int m_Count = 0;
  bool m_InBlocks = false;
  sto_ByteView m_Inline; // the encoded elements, when they stand in the record
};

/// The map, or the int table, that an object is.
struct sto_MapHeader {
  bool m_IsTable = false; ///< from int to int, both as zigzags
  std::uint8_t m_KeyType = 0;
  std::uint8_t m_ElementType = 0;
  int m_Count = 0;
  sto_ByteView m_Entries; // of a decoded record: each key and each value was seen to fit
};

/// A stored object, decoded into views of its bytes. See docs/store-format.md for the grammar. It may be used
/// for one object after the other, and then keeps its memory.
class sto_Record {
 public:
  sto_Record() = default;
  sto_Record(sto_Record const&) = delete; // it views itself
  sto_Record& operator=(sto_Record const&) = delete;

  /// The bytes that Decode decodes, to be filled in before.
  [[nodiscard]] sto_Bytes& Bytes() noexcept { return m_Bytes; }

  /// Checks and decodes the bytes of object `id` of class `classId`. On failure returns false and says in
  /// `problem` what does not fit; nothing in the bytes is trusted, and nothing that was decoded may be used.
  [[nodiscard]] bool Decode(std::int64_t id, unsigned int classId, std::string& problem);
  /// The same of other bytes.
  [[nodiscard]] bool Decode(std::int64_t id, unsigned int classId, sto_Bytes bytes, std::string& problem) {
    m_Bytes = std::move(bytes);
    return Decode(id, classId, problem);
  }

  [[nodiscard]] std::vector<sto_Part> const& Parts() const noexcept { return m_Parts; }
  [[nodiscard]] std::optional<sto_ListHeader> const& List() const noexcept { return m_List; }
  [[nodiscard]] std::optional<sto_MapHeader> const& Map() const noexcept { return m_Map; }
  /// Whether some part was written over another base class than the program's newest version of its class
  /// has. Whoever has decoded the record knows; Decode forgets it.
  [[nodiscard]] bool HasChangedBase() const noexcept { return m_HasChangedBase; }
  void NoteChangedBase() noexcept { m_HasChangedBase = true; }
  /// Whether somebody has taken the identity of the object. Decode forgets it.
  [[nodiscard]] bool IsIdentityTaken() const noexcept { return m_IsIdentityTaken; }
  void NoteIdentityTaken() noexcept { m_IsIdentityTaken = true; }
  /// The greatest id of all parts, references, objects in fields and elements that stand in the record.
  [[nodiscard]] std::int64_t GreatestId() const noexcept { return m_GreatestId; }

 private:
  /// Notes an id; false for one that no object can have.
  [[nodiscard]] bool TakeId(std::uint64_t id) noexcept;
  [[nodiscard]] bool DecodeAll(sto_ByteReader reader);
  [[nodiscard]] bool DecodeParts(sto_ByteReader& reader);
  [[nodiscard]] bool DecodePart(sto_ByteReader& reader, sto_Part& part, std::size_t& fieldCount);
  [[nodiscard]] bool DecodeField(sto_ByteReader& reader, sto_Field& field);
  [[nodiscard]] bool DecodeList(sto_ByteReader& reader, bool inBlocks);
  [[nodiscard]] bool DecodeObjectIds(sto_ByteView elements, int count);
  [[nodiscard]] bool DecodeMap(sto_ByteReader& reader, bool isTable);

  sto_Bytes m_Bytes;
  std::vector<sto_Part> m_Parts;
  std::vector<sto_Field> m_Fields; // of all parts, and places that earlier objects have needed
  std::size_t m_FieldCount = 0;
  std::vector<std::size_t> m_FieldCounts;
  std::optional<sto_ListHeader> m_List;
  std::optional<sto_MapHeader> m_Map;
  std::int64_t m_GreatestId = 0;
  bool m_HasChangedBase = false;
  bool m_IsIdentityTaken = false;
};
