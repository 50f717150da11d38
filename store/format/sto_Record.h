#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Format.h"

// Object records: what is stored of one object.
//
// A record is a list of parts, one for each class of the object: its own class first, then its base class,
// that class's base, and so on. Each part has its class, the version that wrote it, an id, and fields. After
// the parts comes the content, if the object is a collection: a list, a map or an int table. The checksum
// ends the record.
//
//     record := form  part+  content  checksum
//     part   := class version id  field*
//     field  := key  tag  value
//
// docs/store-format.md has the whole grammar. Three properties matter to the code:
//
// - A field says the type of its value (the tag), so that every record can be walked without its class.
//   Checking, copying and collecting need that.
// - A field is found by the number of its name, not by its place. Programs may write attributes in any order,
//   leave some out, and add new ones.
// - Decoding copies nothing: parts and fields are views of the record's bytes.
//
// sto_Record reads records, sto_RecordBuilder (its own header) makes them.

/// The key of a field: the number of its name in the store's dictionary or, if that is 0, its field number.
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
  sto_ByteView m_Payload; // the value without its length; for an object, the id and the collection code
};

/// One class level of a decoded record.
struct sto_Part {
  unsigned int m_ClassId = 0;
  int m_Version = 0;
  std::int64_t m_Id = 0;
  std::span<sto_Field const> m_Fields;
};

/// The header of an object's list.
struct sto_ListHeader {
  std::uint8_t m_ElementType = 0;
  int m_Width = 1;
  int m_Count = 0;
  bool m_InBlocks = false;
  sto_ByteView m_Inline; // the encoded elements, if they are in the record
};

/// The header of an object's map or int table.
struct sto_MapHeader {
  bool m_IsTable = false; ///< from int to int, both as zigzags
  std::uint8_t m_KeyType = 0;
  std::uint8_t m_ElementType = 0;
  int m_Count = 0;
  sto_ByteView m_Entries; // in a decoded record, every key and value has been checked
};

/// A stored object, decoded into views of its bytes. One record can decode any number of objects, one after
/// the other; it keeps its memory. Internal to the module. Thread rule: one thread.
class sto_Record {
 public:
  sto_Record() = default;
  sto_Record(sto_Record const&) = delete; // it views itself
  sto_Record& operator=(sto_Record const&) = delete;

  /// The bytes for Decode; fill them in first.
  [[nodiscard]] sto_Bytes& Bytes() noexcept { return m_Bytes; }

  /// Checks and decodes the bytes of object `id` of class `classId`. The bytes are not trusted. On failure,
  /// returns false, says in `problem` what is wrong, and the record must not be used until the next Decode.
  [[nodiscard]] bool Decode(std::int64_t id, unsigned int classId, std::string& problem);
  /// The same for other bytes.
  [[nodiscard]] bool Decode(std::int64_t id, unsigned int classId, sto_Bytes bytes, std::string& problem) {
    m_Bytes = std::move(bytes);
    return Decode(id, classId, problem);
  }

  [[nodiscard]] std::vector<sto_Part> const& Parts() const noexcept { return m_Parts; }
  [[nodiscard]] std::optional<sto_ListHeader> const& List() const noexcept { return m_List; }
  [[nodiscard]] std::optional<sto_MapHeader> const& Map() const noexcept { return m_Map; }
  /// Whether some part was written when its class had another base class than the program's newest version
  /// has. Set by whoever decoded the record, cleared by Decode.
  [[nodiscard]] bool HasChangedBase() const noexcept { return m_HasChangedBase; }
  void NoteChangedBase() noexcept { m_HasChangedBase = true; }
  /// Whether the object's identity has been taken. Cleared by Decode.
  [[nodiscard]] bool IsIdentityTaken() const noexcept { return m_IsIdentityTaken; }
  void NoteIdentityTaken() noexcept { m_IsIdentityTaken = true; }
  /// The greatest id in the record: of its parts, references, objects in fields, and elements.
  [[nodiscard]] std::int64_t GreatestId() const noexcept { return m_GreatestId; }

 private:
  /// Notes an id; false if no object can have it.
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
  std::vector<sto_Field> m_Fields; // of all parts; may be longer, because earlier objects needed more
  std::size_t m_FieldCount = 0;
  std::vector<std::size_t> m_FieldCounts;
  std::optional<sto_ListHeader> m_List;
  std::optional<sto_MapHeader> m_Map;
  std::int64_t m_GreatestId = 0;
  bool m_HasChangedBase = false;
  bool m_IsIdentityTaken = false;
};
