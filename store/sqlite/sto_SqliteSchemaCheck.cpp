#include "store/sqlite/sto_SqliteSchemaCheck.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/sqlite/sto_SqliteErrors.h"
#include "store/sqlite/sto_SqliteHeader.h"
#include "store/sqlite/sto_SqliteSchema.h"

namespace {

struct Table {
  std::string m_Name;
  std::string_view m_Sql; // as SQLite keeps it
  bool m_IsFound = false;
};

/// Adds the tables that a text of CREATE TABLE statements makes.
void AddTables(std::string_view statements, std::vector<Table>& tables) {
  constexpr std::string_view Start = "CREATE TABLE ";
  for (std::size_t at = statements.find(Start); at != std::string_view::npos;) {
    std::string_view const sql = statements.substr(at, statements.find(';', at) - at);
    std::string_view const named = sql.substr(Start.size());
    tables.push_back({std::string(named.substr(0, named.find('('))), sql});
    at = statements.find(Start, at + sql.size());
  }
}

std::vector<Table> TablesOf(std::int64_t formatVersion) {
  std::vector<Table> tables;
  for (char const* const statements : sto_SqliteSchema::TablesOf(formatVersion))
    AddTables(statements, tables);
  return tables;
}

[[noreturn]] void RaiseDamaged(sto_SqliteConnection const& connection, std::string const& what) {
  sto_Raise(sto_ErrorKind::Damaged,
            connection.Path() + ": The store's header or tables are damaged: " + what + ".");
}

/// One row of SQLite's own table of tables, indexes and so on.
struct Entry {
  std::string m_Type, m_Name, m_Table, m_Sql;
};

bool IsStatistics(Entry const& entry) {
  return entry.m_Type == "table" && entry.m_Name.starts_with("sqlite_stat") &&
         entry.m_Sql.starts_with("CREATE TABLE sqlite_stat");
}

/// Whether SQLite made an index by itself, for a table with unique values.
bool IsOwnIndex(Entry const& entry, std::vector<Table> const& tables) {
  return entry.m_Type == "index" && entry.m_Sql.empty() &&
         entry.m_Name.starts_with("sqlite_autoindex_" + entry.m_Table + "_") &&
         std::ranges::find(tables, entry.m_Table, &Table::m_Name) != tables.end();
}

[[noreturn]] void RaiseForeign(sto_SqliteConnection const& connection, Entry const& entry) {
  RaiseDamaged(connection, entry.m_Type + " " + entry.m_Name + " does not belong in a store");
}

/// Whether an entry may belong to a feature that this program does not know. Such tables are never read.
bool MayBeOfFeature(Entry const& entry) {
  bool const isOwnIndex = entry.m_Type == "index" && entry.m_Sql.empty() &&
                          entry.m_Name.starts_with("sqlite_autoindex_" + entry.m_Table + "_");
  return isOwnIndex || (entry.m_Type == "table" && entry.m_Table == entry.m_Name &&
                        entry.m_Sql.starts_with("CREATE TABLE "));
}

/// False if the entry is not of a table that this program knows, but may belong to a feature.
bool CheckEntry(sto_SqliteConnection const& connection, Entry const& entry, std::vector<Table>& tables) {
  if (IsStatistics(entry) || IsOwnIndex(entry, tables)) return true;
  auto const table = std::ranges::find(tables, entry.m_Name, &Table::m_Name);
  if (table == tables.end() && MayBeOfFeature(entry)) return false;
  if (entry.m_Type != "table" || table == tables.end() || entry.m_Table != entry.m_Name)
    RaiseForeign(connection, entry);
  if (entry.m_Sql != table->m_Sql) RaiseDamaged(connection, "table " + entry.m_Name + " was changed");
  table->m_IsFound = true;
  return true;
}

void RequireAll(sto_SqliteConnection const& connection, std::vector<Table> const& tables) {
  for (Table const& table : tables)
    if (!table.m_IsFound) RaiseDamaged(connection, "table " + table.m_Name + " is missing");
}

/// Damaged unless the tables that not every store has are those of the features that the header names. `others`: all
/// entries that are not of tables that every store has.
void CheckTablesOfFeatures(sto_SqliteConnection& connection, std::vector<Entry> const& others) {
  if (others.empty()) return; // whoever reads the header asks for the tables that it names
  std::vector<Table> tables;
  AddTables(sto_SqliteSchema::IndexTables, tables);
  sto_SqliteHeader const header = sto_ReadSqliteHeader(connection);
  for (Entry const& entry : others) {
    bool const isKnown = header.m_HasIndexes && CheckEntry(connection, entry, tables);
    if (!isKnown && header.m_UnknownToWrite.empty()) RaiseForeign(connection, entry);
  }
  if (header.m_HasIndexes) RequireAll(connection, tables);
}

} // namespace

sto_SqliteIdentity sto_ReadSqliteIdentity(sto_SqliteConnection& connection) {
  return {connection.QueryInteger("PRAGMA application_id"), connection.QueryInteger("PRAGMA user_version")};
}

void sto_CheckSqliteVersion(sto_SqliteConnection const& connection, std::int64_t version) {
  if (version > sto_Format::Version)
    sto_Raise(sto_ErrorKind::NewerFormat,
              connection.Path() + ": The store has format version " + std::to_string(version) +
                  "; this program reads up to version " + std::to_string(sto_Format::Version) + ".");
}

void sto_CheckSqliteSchema(sto_SqliteConnection& connection) {
  auto const [applicationId, version] = sto_ReadSqliteIdentity(connection);
  std::int64_t const expected =
      connection.IsUnfinished() ? sto_SqliteSchema::UnfinishedId : sto_SqliteSchema::ApplicationId;
  if (applicationId != expected) sto_RaiseNoStore(connection.Path());
  sto_CheckSqliteVersion(connection, version);
  if (version < 1) RaiseDamaged(connection, "there is no format version " + std::to_string(version));
  std::vector<Table> tables = TablesOf(version);
  std::vector<Entry> others; // than the tables that every store has
  sto_SqliteStatement statement(connection, "SELECT type, name, tbl_name, sql FROM sqlite_schema");
  for (sto_SqliteStatement::Use use(statement); use.Step();) {
    Entry entry{use.Text(0), use.Text(1), use.Text(2), use.Text(3)};
    if (!CheckEntry(connection, entry, tables)) others.push_back(std::move(entry));
  }
  RequireAll(connection, tables);
  if (version > sto_Format::VersionWithoutShapes)
    CheckTablesOfFeatures(connection, others);
  else if (!others.empty())
    RaiseForeign(connection, others.front());
}

void sto_CheckSqliteTables(sto_SqliteConnection& connection, sto_SqliteHeader const& header) {
  if (!header.m_HasIndexes) return;
  std::vector<Table> tables;
  AddTables(sto_SqliteSchema::IndexTables, tables);
  sto_SqliteStatement statement(connection, "SELECT name FROM sqlite_schema WHERE type = 'table'");
  for (sto_SqliteStatement::Use use(statement); use.Step();)
    if (auto const table = std::ranges::find(tables, use.Text(0), &Table::m_Name); table != tables.end())
      table->m_IsFound = true;
  RequireAll(connection, tables);
}
