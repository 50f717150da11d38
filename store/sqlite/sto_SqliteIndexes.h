#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteMark.h"

/// The indexes of a store in SQLite: tables index_name and index_entry, which only a store with indexes has.
///
/// Changes of entries are kept in memory and written in the order of the table, many at once: written one by one,
/// each would touch a page of its own. Going back to a mark drops those that were made since.
///
/// Each entry has a checksum. A damaged entry could lead a search astray, so that others seem to be missing: a search
/// therefore also reads the entries before and after the range, and all of them must fit.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteIndexes {
 public:
  /// REQUIRES: the arguments live as long as this object; `mark` may be constructed after it.
  sto_SqliteIndexes(sto_SqliteConnection& connection, sto_SqliteMark& mark);

  /// Call when the header was read. `uuid`: the store's. `areThere`: the store has the tables.
  void Use(sto_ByteView uuid, bool areThere);
  [[nodiscard]] bool AreThere() const noexcept { return m_AreThere; }

  /// Forgets the changes that were not written.
  void Drop() noexcept;
  /// Writes the changes.
  void Flush();

  void SetMark() noexcept { m_AtMark = m_Changes.size(); }
  void RemoveMark() noexcept { m_AtMark = 0; }
  /// Undoes the changes since the mark that are in memory, and removes the mark. Allocates nothing.
  void GoBackToMark() noexcept {
    m_Changes.resize(m_AtMark);
    m_AtMark = 0;
  }
  /// Writes the changes that were made before the mark; the later ones stay in memory. REQUIRES: the mark is in memory
  /// still.
  void WriteStateAtMark();

  [[nodiscard]] std::vector<sto_IndexRow> All();
  /// Makes the tables with the first index.
  void Add(sto_IndexRow const& row);
  /// Removes the tables with the last one.
  void Remove(std::int64_t number);

  void AddEntry(std::int64_t number, sto_IndexEntry const& entry) { Change(number, entry, true); }
  void RemoveEntry(std::int64_t number, sto_IndexEntry const& entry) { Change(number, entry, false); }
  void RemoveEntriesOf(std::int64_t id);
  [[nodiscard]] bool Find(sto_IndexRange const& range, std::size_t limit, std::vector<sto_IndexEntry>& found);

 private:
  /// What becomes of an entry. Only the last change of one counts.
  struct Noted {
    std::int64_t m_Index;
    sto_IndexEntry m_Entry;
    bool m_IsThere;
  };
  /// A row of table index_entry.
  struct Row {
    std::int64_t m_Index = 0;
    sto_IndexEntry m_Entry;
  };

  void Change(std::int64_t number, sto_IndexEntry const& entry, bool isThere);
  /// Writes the first changes in the order of the table, and forgets them.
  void Write(std::size_t count);
  void Write(Noted const& change);
  /// The present row of a statement. Damaged if it does not fit its checksum.
  [[nodiscard]] Row RowOf(sto_SqliteStatement::Use const& use);
  /// Damaged if the row before a place is not where it belongs.
  void CheckBefore(Row const& place);
  [[nodiscard]] std::int64_t ChecksumOf(std::int64_t number, sto_IndexEntry const& entry);
  [[noreturn]] void RaiseDamaged(std::string const& problem) const;

  sto_SqliteConnection& m_Connection;
  sto_SqliteMark& m_Mark;
  sto_SqliteStatement m_Add, m_Remove, m_From, m_Before;
  std::optional<sto_RowChecksum> m_NameChecksum, m_EntryChecksum;
  bool m_AreThere = false;
  std::vector<Noted> m_Changes; // what the file does not have yet, in the order in which it was made
  std::size_t m_AtMark = 0;     // how many there were at the mark, if one is set
};

/// The checksum of a row of table index_entry.
[[nodiscard]] std::int64_t sto_IndexEntryChecksum(sto_RowChecksum& checksum, std::int64_t number,
                                                  sto_IndexEntry const& entry);
