#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_ListExtra.h"
#include "store/format/sto_Shape.h"
#include "store/format/sto_StoredRecord.h"

// Object records: what is stored of one object.
//
// A record has parts, one for each class of the object: its own class first, then its base class, that class's
// base, and so on. Each part has its class, the version that wrote it, an id, and fields. After the fields
// comes the content, if the object is a collection: a list, a map or an int table.
//
// Records of one class mostly differ in their values only. So the classes, versions, names and types are in a
// shape (sto_Shape.h), which the store has once, and a record is a row of values:
//
//     record := [id of base part]*  value*  content
//
// docs/store-format.md has the whole grammar. Three properties matter to the code:
//
// - The shape says the type of each value, so that every record can be walked without its class. Checking,
//   copying and collecting need that.
// - A field is found by the number of its name, not by its place. Programs may write attributes in any order,
//   leave some out, and add new ones: that makes another shape.
// - Decoding copies nothing: parts and fields are views of the record's bytes.
//
// sto_Record reads records, sto_RecordBuilder (its own header) makes them. Formats 1 to 3 had records that
// describe themselves; sto_OldRecord.h reads those.

/// One field of a decoded record.
struct sto_Field {
  sto_FieldKey m_Key;
  std::uint8_t m_Tag = 0;
  std::uint8_t m_Code = 0;                // of an object in a field: the type of the collection
  std::int64_t m_ObjectId = 0;            // of an object or a reference
  sto_ByteView m_Payload;                 // of another value, without its length
  sto_NestedType const* m_Type = nullptr; // of a nested value; its payload is a sto_NestedValue
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
  bool m_HasFixedIds = false; // a list of objects in blocks that an older format has written
  sto_ByteView m_Inline;      // the encoded elements, if they are in the record
  sto_ListExtra m_Extra{};    // views the record's bytes
};

/// The header of an object's map or int table.
struct sto_MapHeader {
  bool m_IsTable = false; ///< from int to int, both as zigzags
  std::uint8_t m_KeyType = 0;
  std::uint8_t m_ElementType = 0;
  int m_Count = 0;
  bool m_InChunks = false; ///< the entries are in blocks
  /// The encoded entries; of a map in chunks, its directory (sto_ChunkDirectory.h). In a decoded record, they
  /// have been checked.
  sto_ByteView m_Entries;
};

/// A stored object, decoded into views of its bytes. One record can decode any number of objects, one after
/// the other; it keeps its memory. Internal to the module. Thread rule: one thread.
class sto_Record {
 public:
  sto_Record() = default;
  sto_Record(sto_Record const&) = delete; // it views itself
  sto_Record& operator=(sto_Record const&) = delete;

  /// The record for Decode; fill it in first.
  [[nodiscard]] sto_StoredRecord& Stored() noexcept { return m_Stored; }
  [[nodiscard]] sto_StoredRecord const& Stored() const noexcept { return m_Stored; }

  /// Checks and decodes the stored record as that of object `id`. The bytes are not trusted. `shape`: the
  /// shape with the record's number, which stays unchanged until the next Decode with another; null if it has
  /// none. On failure, returns false, says in `problem` what is wrong, and the record must not be used until
  /// the next Decode.
  [[nodiscard]] bool Decode(std::int64_t id, sto_Shape const* shape, std::string& problem);
  /// The same, with a shape that stays as it is. If the record before had it too, what the shape says of each
  /// field is there already.
  [[nodiscard]] bool DecodeAs(std::int64_t id, std::shared_ptr<sto_NumberedShape> const& shape,
                              std::string& problem) {
    if (m_Prepared != shape) {
      m_Prepared = shape;
      m_IsPrepared = false;
    }
    bool const isDecoded = Decode(id, &shape->m_Shape, problem);
    m_IsDecodedAs = true;
    return isDecoded;
  }

  /// The shape that DecodeAs has used; null after Decode.
  [[nodiscard]] sto_NumberedShape const* Shape() const noexcept {
    return m_IsDecodedAs ? m_Prepared.get() : nullptr;
  }

  /// The class of the object; also after a failed Decode, if it was known.
  [[nodiscard]] unsigned int ClassId() const noexcept { return m_ClassId; }

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
  /// Copies to the parts and fields what a shape says of them.
  void Prepare(sto_Shape const& shape);
  [[nodiscard]] bool IsPrepared(sto_Shape const& shape) const noexcept {
    return m_IsPrepared && &m_Prepared->m_Shape == &shape;
  }
  /// Notes an id; false if no object can have it.
  [[nodiscard]] bool TakeId(std::uint64_t id) noexcept;
  [[nodiscard]] bool DecodeAll(sto_ByteReader reader, std::int64_t id, sto_Shape const& shape);
  [[nodiscard]] bool DecodeParts(sto_ByteReader& reader, std::int64_t id, sto_Shape const& shape);
  [[nodiscard]] bool DecodeField(sto_ByteReader& reader, std::int64_t id, std::uint8_t tag, sto_Field& field);
  [[nodiscard]] bool DecodeNested(sto_ByteReader& reader, std::int64_t id, sto_Field& field);
  [[nodiscard]] bool DecodeContent(sto_ByteReader& reader, sto_ShapeContent const& content);
  [[nodiscard]] bool DecodeList(sto_ByteReader& reader, sto_ShapeContent const& content);
  [[nodiscard]] bool DecodeObjectIds(sto_ByteView elements, int count);
  [[nodiscard]] bool DecodeMap(sto_ByteReader& reader, sto_ShapeContent const& content);

  sto_StoredRecord m_Stored;
  sto_Shape m_OwnShape;                          // of a record that describes itself
  sto_Bytes m_Converted;                         // the values of a record of an older format
  std::shared_ptr<sto_NumberedShape> m_Prepared; // see DecodeAs
  bool m_IsPrepared = false;                     // m_Parts and m_Fields have what it says
  bool m_IsDecodedAs = false;
  unsigned int m_ClassId = 0;
  std::vector<sto_Part> m_Parts;
  std::vector<sto_Field> m_Fields;            // of all parts
  sto_NestedType const* m_NextType = nullptr; // while fields are decoded: of the next nested value
  std::optional<sto_ListHeader> m_List;
  std::optional<sto_MapHeader> m_Map;
  std::int64_t m_GreatestId = 0;
  bool m_HasChangedBase = false;
  bool m_IsIdentityTaken = false;
};
