#pragma once

#include <cstdint>
#include <string>

class sto_SqliteBlocks;
class sto_SqliteChanges;
class sto_SqliteConnection;
class sto_SqliteObjects;

/// Brings a store of an older format to the present one: its records get shapes, its blocks share rows, and the
/// tables are made anew. Names, classes, roots and every id stay as they are. Damaged, naming the object, if a
/// record cannot be read. `program`: see sto_Options::m_Program. REQUIRES: an open write transaction, which the
/// caller commits, or undoes after a failure; `objects`, `blocks` and `changes` are those of the connection.
void sto_UpgradeSqlite(sto_SqliteConnection& connection, std::int64_t version, sto_SqliteObjects& objects,
                       sto_SqliteBlocks& blocks, sto_SqliteChanges& changes, std::string const& program);
