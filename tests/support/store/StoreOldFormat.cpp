#include "tests/support/store/StoreOldFormat.h"

#include <map>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tests/support/store/StoreNumbers.h"

namespace {

/// The bytes of a fixed-size value by tag, 0 for the others.
constexpr std::size_t FixedSizes[] = {0, 0, 0, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8, 4, 0, 0, 0};

/// How many bytes of a shape follow the kind of the content: the types of keys and elements.
int TypesOfContent(int kind) {
  return kind == 3 ? 2 : kind == 0 || kind == 4 ? 0 : 1;
}

constexpr int InRecord = 1, InBlocks = 2, HasFixedIds = 5; // kinds of content
constexpr int OfObjects = 7;                               // a type of elements

/// The elements of a list of objects in a record or block, eight bytes an id.
StoreBytes WithFixedIds(std::int64_t list, StoreBytes const& elements) {
  StoreNumbers numbers(elements);
  StoreBytes ids;
  for (std::int64_t id = list; numbers.Left() != 0;) {
    std::int64_t const element = numbers.Varint();
    std::int64_t const zigZag = element - 1;
    if (element != 0) id += (zigZag & 1) != 0 ? -(zigZag / 2) - 1 : zigZag / 2;
    StorePutFixed(ids, element == 0 ? 0 : static_cast<std::uint64_t>(id), 8);
  }
  return ids;
}

/// Whether blocks of an object, if it has any, are those of a list of objects with distances.
bool HasBlocksOfDistances(StoreBytes const& shape) {
  return shape.size() > 2 && shape[shape.size() - 2] == std::byte{InBlocks} &&
         shape.back() == std::byte{OfObjects};
}

/// A block as old formats have it, without the codec. `list`: of a list of objects with distances, 0 for others.
StoreBytes OldBlock(std::int64_t key, StoreBytes const& block, std::int64_t list) {
  constexpr std::size_t EndBytes = 9;
  StoreBytes content(block.begin(), block.end() - EndBytes);
  if (block[content.size()] != std::byte{0}) throw std::runtime_error("a compressed block");
  return WithChecksum(key, list == 0 ? content : WithFixedIds(list, content));
}

/// Gives each block a row, and its old form. Those that have moved stay where they are. `idLists`: the lists of
/// objects with distances.
void UnpackBlocks(SqlFile& file, std::set<std::int64_t> const& idLists) {
  std::vector<std::pair<std::string, StoreBytes>> blocks;
  auto const old = [&](std::string const& key, StoreBytes const& block) {
    std::int64_t const list = std::stoll(key) / 1048576;
    return OldBlock(std::stoll(key), block, idLists.contains(list) ? list : 0);
  };
  for (std::string const& key : file.Texts("SELECT CAST(key AS TEXT) FROM stored_block"))
    blocks.emplace_back(key, old(key, file.Blob("SELECT data FROM stored_block WHERE key = " + key)));
  file.Run("DELETE FROM block");
  for (auto const& [key, block] : blocks) file.Run("INSERT INTO block VALUES(" + key + ", ?)", block);
  for (std::string const& key : file.Texts("SELECT CAST(key AS TEXT) FROM block_place")) {
    std::string const where = " WHERE place = (SELECT place FROM block_place WHERE key = " + key + ")";
    file.Run("UPDATE moved_block SET data = ?" + where,
             old(key, file.Blob("SELECT data FROM moved_block" + where)));
  }
}

/// The shape with which a record begins.
StoreBytes ShapeAtTheStart(StoreBytes const& record) {
  StoreNumbers numbers(record);
  static_cast<void>(numbers.U8());
  for (std::int64_t parts = numbers.Varint(); parts > 0; --parts) {
    static_cast<void>(numbers.Varint());
    static_cast<void>(numbers.ZigZag());
    for (std::int64_t fields = numbers.Varint(); fields > 0; --fields) {
      if (numbers.Varint() == 0) static_cast<void>(numbers.ZigZag());
      if (numbers.U8() == 15) static_cast<void>(numbers.U8());
    }
  }
  static_cast<void>(numbers.Raw(static_cast<std::size_t>(TypesOfContent(numbers.U8()))));
  return numbers.Before();
}

/// Reads a shape and the values of one object side by side.
class Converter {
 public:
  Converter(std::int64_t id, StoreBytes const& shape, StoreBytes const& values)
      : m_Id(id), m_Shape(shape), m_Values(values) {}

  StoreBytes Convert() {
    bool const doPartsFollow = m_Shape.U8() != 0;
    StorePutVarint(m_Old, 1);
    std::int64_t const parts = m_Shape.Varint();
    StorePutVarint(m_Old, parts);
    for (std::int64_t i = 0; i < parts; ++i) {
      std::int64_t const id = m_Id + i + (i == 0 || doPartsFollow ? 0 : m_Values.ZigZag());
      StorePutVarint(m_Old, m_Shape.Varint());
      StorePutZigZag(m_Old, m_Shape.ZigZag());
      StorePutVarint(m_Old, id);
      std::int64_t const fields = m_Shape.Varint();
      StorePutVarint(m_Old, fields);
      for (std::int64_t field = 0; field < fields; ++field) Field();
    }
    Content();
    return WithChecksum(m_Id, m_Old);
  }

 private:
  void Field() {
    std::int64_t const name = m_Shape.Varint();
    StorePutVarint(m_Old, name);
    if (name == 0) StorePutZigZag(m_Old, m_Shape.ZigZag());
    int const tag = m_Shape.U8();
    if (tag != 2) m_Old.push_back(static_cast<std::byte>(tag));
    if (std::size_t const size = FixedSizes[tag]; size != 0) return StorePut(m_Old, m_Values.Raw(size));
    if (tag == 14 || tag == 15) {
      StorePutFixed(m_Old, static_cast<std::uint64_t>(m_Id + m_Values.ZigZag()), 8);
      if (tag == 15) m_Old.push_back(static_cast<std::byte>(m_Shape.U8()));
      return;
    }
    std::int64_t size = m_Values.Varint();
    if (tag == 2) m_Old.push_back(static_cast<std::byte>(size == 0 ? 1 : 2));
    if (tag == 2 && size-- == 0) return;
    StorePutVarint(m_Old, size);
    StorePut(m_Old, m_Values.Raw(static_cast<std::size_t>(size)));
  }

  void Content() {
    int const kind = m_Shape.U8();
    m_Old.push_back(static_cast<std::byte>(kind == HasFixedIds ? InBlocks : kind));
    int type = 0;
    for (int left = TypesOfContent(kind); left > 0; --left)
      m_Old.push_back(static_cast<std::byte>(type = m_Shape.U8()));
    if (kind == InRecord && type == OfObjects) {
      StorePutZigZag(m_Old, m_Values.ZigZag()); // the row width
      StorePutVarint(m_Old, m_Values.Varint());
      StorePut(m_Old, WithFixedIds(m_Id, m_Values.Rest()));
    } else {
      StorePut(m_Old, m_Values.Rest());
    }
  }

  std::int64_t m_Id;
  StoreNumbers m_Shape, m_Values;
  StoreBytes m_Old;
};

std::int64_t ClassOf(StoreBytes const& oldRecord) {
  StoreNumbers numbers(oldRecord);
  static_cast<void>(numbers.U8());
  static_cast<void>(numbers.Varint());
  return numbers.Varint();
}

// Written out, and not taken from the module: it must stay what old programs have made.
constexpr char OldCatalogue[] = R"(
CREATE TABLE class(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  name TEXT NOT NULL,
  base_class_id INTEGER NOT NULL,
  PRIMARY KEY(class_id, version)) WITHOUT ROWID;
CREATE TABLE name(id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE);
CREATE TABLE root(name TEXT PRIMARY KEY, object_id INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO class SELECT class_id, version, name, base_class_id FROM new_class;
INSERT INTO name SELECT id, text FROM new_name;
INSERT INTO root SELECT name, object_id FROM new_root;
DROP TABLE new_class; DROP TABLE new_name; DROP TABLE new_root;
DROP TABLE enumerator; DROP TABLE note;
)";
constexpr char OldAttributes[] = R"(
ALTER TABLE attribute RENAME TO new_attribute;
CREATE TABLE attribute(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  name TEXT NOT NULL,
  field_id INTEGER NOT NULL,
  type INTEGER NOT NULL,
  type_arg INTEGER NOT NULL,
  collection_type INTEGER NOT NULL,
  PRIMARY KEY(class_id, version, name)) WITHOUT ROWID;
INSERT INTO attribute SELECT class_id, version, name, field_id, type, type_arg, collection_type FROM new_attribute;
DROP TABLE new_attribute;
)";

/// Puts the records of at most 1024 bytes into packs of 64 ids.
void Pack(SqlFile& file, std::map<std::int64_t, StoreBytes> const& records) {
  std::map<std::int64_t, std::map<std::int64_t, StoreBytes>> packs;
  for (auto const& [id, record] : records)
    if (record.size() <= 1024) packs[id / 64][id % 64] = record;
  for (auto const& [key, members] : packs) {
    std::uint64_t present = 0;
    StoreBytes entries;
    StoreBytes content;
    for (auto const& [slot, record] : members) {
      present |= std::uint64_t{1} << slot;
      StorePutVarint(entries, ClassOf(record));
      StorePutVarint(entries, static_cast<std::int64_t>(record.size()));
      StorePut(content, record);
    }
    StoreBytes pack;
    StorePutFixed(pack, present, 8);
    StorePut(pack, entries);
    StorePut(pack, content);
    file.Run("INSERT INTO pack VALUES(" + std::to_string(key) + ", ?)", pack);
  }
}

std::map<std::int64_t, StoreBytes> OldRecords(SqlFile& file) {
  file.Unpack();
  std::set<std::int64_t> idLists;
  std::map<std::int64_t, StoreBytes> records;
  for (std::string const& id : file.Texts("SELECT CAST(id AS TEXT) FROM object")) {
    StoreRow row = file.Row(std::stoll(id));
    StoreBytes const shape = row.m_Shape == 0 ? ShapeAtTheStart(row.m_Values) : file.Shape(row.m_Shape);
    if (row.m_Shape == 0)
      row.m_Values.erase(row.m_Values.begin(),
                         row.m_Values.begin() + static_cast<std::ptrdiff_t>(shape.size()));
    if (HasBlocksOfDistances(shape)) idLists.insert(std::stoll(id));
    records[std::stoll(id)] = OldRecordOf(std::stoll(id), shape, row.m_Values);
  }
  UnpackBlocks(file, idLists);
  file.Run("DROP VIEW stored_block"); // or no table can be renamed
  return records;
}

} // namespace

StoreBytes OldRecordOf(std::int64_t id, StoreBytes const& shape, StoreBytes const& values) {
  return Converter(id, shape, values).Convert();
}

void MakeStoreOfOldFormat(std::string const& path, int format) {
  SqlFile file(path);
  file.Run("BEGIN");
  std::map<std::int64_t, StoreBytes> const records = OldRecords(file);
  bool const hasPacks = format >= 3;
  if (!hasPacks)
    file.Run("INSERT INTO block SELECT key, data FROM block_place JOIN moved_block USING(place);"
             "DROP TABLE moved_block; DROP TABLE block_place; DROP TABLE pack");
  file.Run(format < 2 ? "DROP TABLE attribute" : OldAttributes);
  file.Run("DELETE FROM meta;"
           "INSERT INTO meta SELECT 'next_object_id', next_object_id FROM save ORDER BY no DESC LIMIT 1;"
           "DROP TABLE save;"
           "ALTER TABLE class RENAME TO new_class; ALTER TABLE name RENAME TO new_name;"
           "ALTER TABLE root RENAME TO new_root");
  file.Run(OldCatalogue);
  file.Run("DROP TABLE shape; DROP TABLE object;"
           "CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, record BLOB NOT NULL)");
  for (auto const& [id, record] : records)
    if (!hasPacks || record.size() > 1024)
      file.Run("INSERT INTO object VALUES(" + std::to_string(id) + ", " + std::to_string(ClassOf(record)) +
                   ", ?)",
               record);
  if (hasPacks) Pack(file, records);
  file.Run("PRAGMA user_version = " + std::to_string(format) + "; COMMIT; VACUUM");
}
