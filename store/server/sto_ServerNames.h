#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RowChecksum.h"
#include "store/server/sto_ServerLink.h"

// The named rows of a store on a server: what each kind of name begins with, and what a row has.
//
//     row := value*  checksum:8          the values as in sto_RowChecksum.h; so a row has the same term in the sum over
//                                        the store as in a file
//
//     "c" class:4 version:4              class id, version, name, base class, of each attribute name, field id, type,
//                                        argument, collection type, unit, default value or nothing
//     "n" number:8                       number, attribute name
//     "s" number:8                       number, shape
//     "e" class:4 version:4 attribute 0 name        class, version, attribute, name, value
//     "t" class:4 version:4 attribute 0 name        class, version, attribute, name, text: a note
//     "r" name                           name, object's id, class
//     "x" number:8                       number, class, names: an index
//     "i" number:8 key 0 0 id:8          number, key, id: an entry of an index; a 0 of the key is 0 255
//
// Numbers in names are big-endian, so that the order of the names is that of the numbers.

enum class sto_NamedKind : char {
  Class = 'c',
  Name = 'n',
  Shape = 's',
  Enumerator = 'e',
  Note = 't',
  Root = 'r',
  Index = 'x',
  IndexEntry = 'i',
};

/// All names of a kind.
[[nodiscard]] sto_NameRange sto_NamesOf(sto_NamedKind kind);
/// All names that begin with `prefix`.
[[nodiscard]] sto_NameRange sto_NamesFrom(std::string prefix);

[[nodiscard]] std::string sto_NameOf(sto_ClassRow const& row);
[[nodiscard]] std::string sto_NameOf(sto_NameRow const& row);
[[nodiscard]] std::string sto_NameOf(sto_ShapeRow const& row);
[[nodiscard]] std::string sto_NameOf(sto_EnumeratorRow const& row);
[[nodiscard]] std::string sto_NameOf(sto_NoteRow const& row);
[[nodiscard]] std::string sto_NameOfRoot(std::string_view root);
[[nodiscard]] std::string sto_NameOfIndex(std::int64_t number);
/// What the names of all entries of an index begin with.
[[nodiscard]] std::string sto_EntriesOfIndex(std::int64_t number);
[[nodiscard]] std::string sto_NameOfEntry(std::int64_t number, sto_IndexEntry const& entry);
/// What the names of all entries of an index with one key begin with.
[[nodiscard]] std::string sto_EntriesWithKey(std::int64_t number, std::string_view key);

/// Root, object and class.
struct sto_ServerRoot {
  std::string m_Name;
  std::int64_t m_Id = 0;
  unsigned int m_ClassId = 0;
};
struct sto_ServerEntry {
  std::int64_t m_Number = 0;
  sto_IndexEntry m_Entry;
};

/// Encodes named rows, and decodes them from bytes that are not trusted: a row that is not sound raises nothing and
/// gives false. Thread rule: one thread.
class sto_ServerRows {
 public:
  explicit sto_ServerRows(sto_ByteView uuid);

  [[nodiscard]] sto_Bytes Encode(sto_ClassRow const& row);
  [[nodiscard]] sto_Bytes Encode(sto_NameRow const& row);
  [[nodiscard]] sto_Bytes Encode(sto_ShapeRow const& row);
  [[nodiscard]] sto_Bytes Encode(sto_EnumeratorRow const& row);
  [[nodiscard]] sto_Bytes Encode(sto_NoteRow const& row);
  [[nodiscard]] sto_Bytes Encode(sto_ServerRoot const& row);
  [[nodiscard]] sto_Bytes Encode(sto_IndexRow const& row);
  [[nodiscard]] sto_Bytes Encode(sto_ServerEntry const& row);

  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_ClassRow& row);
  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_NameRow& row);
  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_ShapeRow& row);
  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_EnumeratorRow& row);
  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_NoteRow& row);
  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_ServerRoot& row);
  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_IndexRow& row);
  [[nodiscard]] bool Decode(sto_ByteView bytes, sto_ServerEntry& row);

  /// The term of a row in the sum over the store; none for indexes.
  [[nodiscard]] sto_ContentSum TermOf(std::string_view name, sto_ByteView bytes);

 private:
  class Reader;
  [[nodiscard]] sto_Bytes Seal() const;
  [[nodiscard]] sto_RowChecksum& Begin() { return m_Row.Begin(); }

  std::uint64_t m_Seed;
  sto_RowChecksum m_Row;
};
