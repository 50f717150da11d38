#pragma once

#include <cstdint>
#include <vector>

#include "store/format/sto_Format.h"

/// The tables of a store in SQLite, as docs/store-format.md describes them.
namespace sto_SqliteSchema {

/// Is in the file's header and tells a store from other SQLite files: "KVLS".
inline constexpr std::int64_t ApplicationId = 0x4B564C53;

/// Is there instead while a store is being made: whoever finds the file then finds no store. "KVLU".
inline constexpr std::int64_t UnfinishedId = 0x4B564C55;

/// The default page size: large enough that a block of numbers takes two pages instead of five.
inline constexpr int PageBytes = 16384;

/// The tables that all formats have. In a row of table block, formats 1 to 3 have one block.
inline constexpr char CommonTables[] = R"(
CREATE TABLE meta(key TEXT PRIMARY KEY, value) WITHOUT ROWID;
)";
inline constexpr char BlockTable[] = R"(
CREATE TABLE block(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
)";

/// Of the formats 1 to 3.
inline constexpr char OldTables[] = R"(
CREATE TABLE class(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  name TEXT NOT NULL,
  base_class_id INTEGER NOT NULL,
  PRIMARY KEY(class_id, version)) WITHOUT ROWID;
CREATE TABLE name(id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE);
CREATE TABLE root(name TEXT PRIMARY KEY, object_id INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, record BLOB NOT NULL);
)";

/// Of the formats 2 and 3.
inline constexpr char AttributeTable[] = R"(
CREATE TABLE attribute(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  name TEXT NOT NULL,
  field_id INTEGER NOT NULL,
  type INTEGER NOT NULL,
  type_arg INTEGER NOT NULL,
  collection_type INTEGER NOT NULL,
  PRIMARY KEY(class_id, version, name)) WITHOUT ROWID;
)";

/// Added by format 3.
inline constexpr char PackTable[] = R"(
CREATE TABLE pack(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
)";
inline constexpr char MovedBlockTables[] = R"(
CREATE TABLE moved_block(place INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE block_place(key INTEGER PRIMARY KEY, place INTEGER NOT NULL);
)";

/// Of format 4.
inline constexpr char Tables[] = R"(
CREATE TABLE class(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  name TEXT NOT NULL,
  base_class_id INTEGER NOT NULL,
  checksum INTEGER NOT NULL,
  PRIMARY KEY(class_id, version)) WITHOUT ROWID;
CREATE TABLE name(id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE, checksum INTEGER NOT NULL);
CREATE TABLE root(
  name TEXT PRIMARY KEY,
  object_id INTEGER NOT NULL,
  class_id INTEGER NOT NULL,
  checksum INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE shape(id INTEGER PRIMARY KEY, data BLOB NOT NULL, checksum INTEGER NOT NULL);
CREATE TABLE object(id INTEGER PRIMARY KEY, record BLOB NOT NULL);
CREATE TABLE save(
  no INTEGER PRIMARY KEY,
  at INTEGER NOT NULL,
  program TEXT,
  note TEXT,
  next_object_id INTEGER NOT NULL,
  changed BLOB,
  sum BLOB,
  checksum INTEGER NOT NULL);
CREATE TABLE attribute(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  name TEXT NOT NULL,
  field_id INTEGER NOT NULL,
  type INTEGER NOT NULL,
  type_arg INTEGER NOT NULL,
  collection_type INTEGER NOT NULL,
  unit TEXT NOT NULL,
  default_value TEXT,
  PRIMARY KEY(class_id, version, name)) WITHOUT ROWID;
CREATE TABLE enumerator(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  attribute TEXT NOT NULL,
  name TEXT NOT NULL,
  value INTEGER NOT NULL,
  checksum INTEGER NOT NULL,
  PRIMARY KEY(class_id, version, attribute, name)) WITHOUT ROWID;
CREATE TABLE note(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  attribute TEXT NOT NULL,
  name TEXT NOT NULL,
  text TEXT NOT NULL,
  checksum INTEGER NOT NULL,
  PRIMARY KEY(class_id, version, attribute, name)) WITHOUT ROWID;
)";

/// Of format 4, only in a store with the feature sto_Format::IndexesFeature.
inline constexpr char IndexTables[] = R"(
CREATE TABLE index_name(
  no INTEGER NOT NULL,
  place INTEGER NOT NULL,
  class_id INTEGER NOT NULL,
  name TEXT NOT NULL,
  checksum INTEGER NOT NULL,
  PRIMARY KEY(no, place)) WITHOUT ROWID;
CREATE TABLE index_entry(
  no INTEGER NOT NULL,
  key BLOB NOT NULL,
  id INTEGER NOT NULL,
  checksum INTEGER NOT NULL,
  PRIMARY KEY(no, key, id)) WITHOUT ROWID;
)";

/// The statements that make the tables of a format, each a part of the texts above. Without those of features.
[[nodiscard]] inline std::vector<char const*> TablesOf(std::int64_t version) {
  std::vector<char const*> tables{CommonTables, BlockTable};
  bool const hasShapes = version > sto_Format::VersionWithoutShapes;
  tables.push_back(hasShapes ? Tables : OldTables);
  if (!hasShapes && version > sto_Format::VersionWithoutAttributes) tables.push_back(AttributeTable);
  if (version > sto_Format::VersionWithoutPacks) tables.insert(tables.end(), {PackTable, MovedBlockTables});
  return tables;
}

} // namespace sto_SqliteSchema
