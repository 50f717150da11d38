#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "store/recover/sto_RecoverTrees.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The tables of a store, and SQLite's index of the texts of names.
enum class sto_RecoverTable : std::uint8_t {
  Meta,
  Block,
  Class,
  Name,
  Root,
  Shape,
  Object,
  Save,
  Attribute,
  Enumerator,
  Note,
  Pack,
  MovedBlock,
  BlockPlace,
  IndexName,
  IndexEntry,
  NameIndex,
  Count ///< how many there are; also: none of them
};

/// Where the trees of the tables are in a file, and which format it has. Thread rule: a plain value.
class sto_RecoverTables {
 public:
  using Table = sto_RecoverTable;
  using Page = sto_RecoverTrees::Page;

  /// The name in SQLite's table of tables.
  [[nodiscard]] static std::string_view Name(Table table) noexcept;
  [[nodiscard]] static bool HasRowIds(Table table) noexcept;
  /// The tables that a row can be of, by the number and the types of its values.
  [[nodiscard]] static std::vector<Table> Fits(sto_RecoverRow const& row, bool isOld);
  /// Whether it can be a row of a table.
  [[nodiscard]] static bool Fits(Table table, sto_RecoverRow const& row, bool isOld) noexcept;

  /// Reads SQLite's table of tables in page 1.
  void Read(sto_RecoverTrees& trees);
  /// How many tables with the statements of a store were found.
  [[nodiscard]] int Known() const noexcept { return m_Known; }
  /// Whether tables were found that are not those of a store of this module's formats.
  [[nodiscard]] bool HasOthers() const noexcept { return m_HasOthers; }
  /// The format that the statements are of; 0 if none was found.
  [[nodiscard]] int Version() const noexcept { return m_Version; }
  void SetVersion(int version) noexcept { m_Version = version; }
  /// Whether all tables of the present format were found, except those of features.
  [[nodiscard]] bool HasAllOfPresentFormat() const noexcept;
  /// The root page of a table's tree; 0 if it is not known.
  [[nodiscard]] Page RootOf(Table table) const noexcept { return m_Roots[static_cast<std::size_t>(table)]; }

  /// Whether a page is the root page of a tree.
  [[nodiscard]] bool HasRoot(Page page) const noexcept;

  /// Where the trees are in a store that was made with a format and not changed since.
  [[nodiscard]] static sto_RecoverTables Usual(int version, std::size_t pageBytes);

 private:
  void Take(std::string_view name, std::int64_t root, std::string_view sql);

  std::array<Page, static_cast<std::size_t>(Table::Count)> m_Roots{};
  int m_Known = 0, m_Version = 0;
  bool m_HasOthers = false;
};
