#include "store/recover/sto_RecoverTables.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>

#include "store/format/sto_Format.h"
#include "store/sqlite/sto_SqliteSchema.h"

namespace {

/// A table, and what its rows have: n null (the row id), i integer, t text, b bytes, o text or null, v anything.
struct Described {
  std::string_view m_Name;
  bool m_HasRowIds;
  std::string_view m_Values,
      m_OldValues; // now, and in the formats without shapes; empty: there is no such table
};

constexpr Described All[] = {
    {"meta", false, "tv", "tv"},
    {"block", true, "nb", "nb"},
    {"class", false, "iitii", "iiti"},
    {"name", true, "nti", "nt"},
    {"root", false, "tiii", "ti"},
    {"shape", true, "nbi", ""},
    {"object", true, "nb", "nib"},
    {"save", true, "niooivvi", ""},
    {"attribute", false, "iitiiiito", "iitiiii"},
    {"enumerator", false, "iittii", ""},
    {"note", false, "iittti", ""},
    {"pack", true, "nb", "nb"},
    {"moved_block", true, "nb", "nb"},
    {"block_place", true, "ni", "ni"},
    {"index_name", false, "iiiti", ""},
    {"index_entry", false, "ibii", ""},
    {"sqlite_autoindex_name_1", false, "ti", "ti"},
};
static_assert(std::size(All) == static_cast<std::size_t>(sto_RecoverTable::Count));

Described const& Of(sto_RecoverTable table) noexcept {
  return All[static_cast<std::size_t>(table)];
}

bool Fits(sto_RecoverValue const& value, char letter) noexcept {
  switch (letter) {
  case 'n':
    return value.m_Type == sto_RecoverValue::Null;
  case 'i':
    return value.m_Type == sto_RecoverValue::Integer;
  case 't':
    return value.m_Type == sto_RecoverValue::Text;
  case 'b':
    return value.m_Type == sto_RecoverValue::Bytes;
  case 'o':
    return value.m_Type == sto_RecoverValue::Text || value.m_Type == sto_RecoverValue::Null;
  default:
    return true;
  }
}

std::string StatementOf(char const* statements, std::string_view name) {
  std::string_view const text = statements;
  std::string const start = "CREATE TABLE " + std::string(name) + "(";
  std::size_t const at = text.find(start);
  if (at == std::string_view::npos) return {};
  return std::string(text.substr(at, text.find(';', at) - at));
}

/// Whether a statement makes a table of a format.
bool IsOf(int version, std::string_view name, std::string_view sql) {
  std::vector<char const*> tables = sto_SqliteSchema::TablesOf(version);
  if (version == sto_Format::Version) tables.push_back(sto_SqliteSchema::IndexTables);
  return std::ranges::any_of(tables, [&](char const* text) { return StatementOf(text, name) == sql; });
}

} // namespace

std::string_view sto_RecoverTables::Name(Table table) noexcept {
  return Of(table).m_Name;
}

bool sto_RecoverTables::HasRowIds(Table table) noexcept {
  return Of(table).m_HasRowIds;
}

bool sto_RecoverTables::Fits(Table table, sto_RecoverRow const& row, bool isOld) noexcept {
  std::string_view const letters = isOld ? Of(table).m_OldValues : Of(table).m_Values;
  if (letters.empty() || row.m_HasRowId != Of(table).m_HasRowIds || row.m_Values.size() != letters.size())
    return false;
  for (std::size_t i = 0; i < letters.size(); ++i)
    if (!::Fits(row.m_Values[i], letters[i])) return false;
  return true;
}

std::vector<sto_RecoverTable> sto_RecoverTables::Fits(sto_RecoverRow const& row, bool isOld) {
  std::vector<Table> tables;
  for (std::size_t i = 0; i < std::size(All); ++i)
    if (Fits(static_cast<Table>(i), row, isOld)) tables.push_back(static_cast<Table>(i));
  return tables;
}

bool sto_RecoverTables::HasRoot(Page page) const noexcept {
  return std::ranges::find(m_Roots, page) != m_Roots.end();
}

bool sto_RecoverTables::HasAllOfPresentFormat() const noexcept {
  constexpr auto End = static_cast<std::ptrdiff_t>(Table::IndexName);
  return m_Version == sto_Format::Version &&
         std::all_of(m_Roots.begin(), m_Roots.begin() + End, [](Page root) { return root != 0; });
}

void sto_RecoverTables::Take(std::string_view name, std::int64_t root, std::string_view sql) {
  auto const* const table = std::ranges::find(All, name, &Described::m_Name);
  if (table == std::end(All)) {
    if (!name.starts_with("sqlite_stat")) m_HasOthers = true;
    return;
  }
  auto const index = static_cast<std::size_t>(table - std::begin(All));
  bool const isIndex = static_cast<Table>(index) == Table::NameIndex;
  int of = 0;
  for (int version = 1; version <= sto_Format::Version; ++version)
    if (!isIndex && IsOf(version, name, sql)) of = version; // the newest, as most tables are of several
  if (!isIndex && of == 0) {
    m_HasOthers = true;
    return;
  }
  if (root > 1) m_Roots[index] = static_cast<Page>(root);
  if (isIndex) return;
  ++m_Known;
  // A table that each format changed, or added, tells the version.
  auto const has = [&](Table which) { return static_cast<Table>(index) == which; };
  if (has(Table::Shape) || (has(Table::Class) && of == sto_Format::Version)) m_Version = sto_Format::Version;
  if (has(Table::Pack)) m_Version = std::max(m_Version, 3);
  if (has(Table::Attribute)) m_Version = std::max(m_Version, of == sto_Format::Version ? of : 2);
  m_Version = std::max(m_Version, 1);
}

void sto_RecoverTables::Read(sto_RecoverTrees& trees) {
  struct Schema final : sto_RecoverRows {
    explicit Schema(sto_RecoverTables& tables) : m_Tables(tables) {}
    bool Take(sto_RecoverRow const& row) override { // type, name, tbl_name, rootpage, sql
      auto const& values = row.m_Values;
      if (values.size() != 5 || values[1].m_Type != sto_RecoverValue::Text) return false;
      if (values[3].m_Type != sto_RecoverValue::Integer) return false;
      m_Tables.Take(sto_AsText(values[1].m_Bytes), values[3].m_Number, sto_AsText(values[4].m_Bytes));
      return true;
    }
    void Miss(std::int64_t, std::int64_t) override {}
    sto_RecoverTables& m_Tables;
  } schema(*this);
  trees.Walk(1, true, schema);
}

sto_RecoverTables sto_RecoverTables::Usual(int version, std::size_t pageBytes) {
  sto_RecoverTables tables;
  sqlite3* handle = nullptr;
  if (sqlite3_open(":memory:", &handle) == SQLITE_OK) {
    std::string const pageSize =
        "PRAGMA page_size = " + std::to_string(pageBytes); // the statements take pages, too
    sqlite3_exec(handle, pageSize.c_str(), nullptr, nullptr, nullptr);
    for (char const* const sql : sto_SqliteSchema::TablesOf(version))
      sqlite3_exec(handle, sql, nullptr, nullptr, nullptr);
    sqlite3_exec(
        handle, "SELECT name, rootpage, sql FROM sqlite_schema",
        [](void* made, int, char** values, char**) {
          static_cast<sto_RecoverTables*>(made)->Take(values[0], std::atoll(values[1]),
                                                      values[2] == nullptr ? "" : values[2]);
          return 0;
        },
        &tables, nullptr);
  }
  sqlite3_close(handle);
  tables.m_Version = version;
  return tables;
}
