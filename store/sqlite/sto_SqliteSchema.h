#pragma once

#include <cstdint>

/// The tables of a store in SQLite, as docs/store-format.md describes them.
namespace sto_SqliteSchema {

/// Is in the file's header and tells a store from other SQLite files: "KVLS".
inline constexpr std::int64_t ApplicationId = 0x4B564C53;

/// The default page size: large enough that a block of numbers takes two pages instead of five.
inline constexpr int PageBytes = 16384;

/// Added by format 2.
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
inline constexpr char PackTables[] = R"(
CREATE TABLE pack(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE moved_block(place INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE block_place(key INTEGER PRIMARY KEY, place INTEGER NOT NULL);
)";

inline constexpr char Tables[] = R"(
CREATE TABLE meta(key TEXT PRIMARY KEY, value) WITHOUT ROWID;
CREATE TABLE class(
  class_id INTEGER NOT NULL,
  version INTEGER NOT NULL,
  name TEXT NOT NULL,
  base_class_id INTEGER NOT NULL,
  PRIMARY KEY(class_id, version)) WITHOUT ROWID;
CREATE TABLE name(id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE);
CREATE TABLE root(name TEXT PRIMARY KEY, object_id INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, record BLOB NOT NULL);
CREATE TABLE block(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
)";

} // namespace sto_SqliteSchema
