#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The object that has a root name.
struct sto_RootTarget {
  std::int64_t m_Id;
  unsigned int m_ClassId; ///< its class when it got the name; 0 in stores before format 4

  friend bool operator==(sto_RootTarget const& a, sto_RootTarget const& b) noexcept = default;
};

/// The root names of a store in SQLite.
///
/// From format 4 on each row has a checksum. A damaged name could lead a search astray, so that another name
/// seems to be missing. A name that is not found is therefore taken as missing only if its neighbours fit
/// their checksums: whatever leads the search astray is one of them.
///
/// Changed names are kept in memory and written in order of their bytes before the commit, because table root
/// is ordered by them: written one by one, each would touch a page of its own.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteRoots {
 public:
  /// REQUIRES: the arguments live as long as this object.
  sto_SqliteRoots(sto_SqliteConnection& connection, sto_SqliteChanges& changes);

  /// Call when the version of the store's format was read. `uuid`: the store's, from format 4 on.
  void Use(std::int64_t formatVersion, sto_ByteView uuid);
  /// Call when a transaction begins or is undone: forgets what was not written.
  void Drop() noexcept;
  /// Writes what has changed. Damaged. REQUIRES, if anything has: the store has the present format.
  void Flush();

  /// Sets the mark, after writing what has changed if that is much. Nothing is written until it is removed.
  void SetMark();
  void RemoveMark() noexcept;
  /// Undoes the changes since the mark, and removes it. Allocates nothing.
  void GoBackToMark() noexcept;

  /// The object under a name. Damaged.
  [[nodiscard]] std::optional<sto_RootTarget> Find(std::string_view name);
  void Set(std::string_view name, sto_RootTarget const& target) { Change(name, target); }
  /// False when there is no such name.
  bool Remove(std::string_view name);
  /// False when there is no root `from`. REQUIRES: there is no root `to`.
  bool Rename(std::string_view from, std::string_view to);
  /// All roots in ascending order of their names' bytes.
  [[nodiscard]] std::vector<sto_RootRow> All();
  /// Those whose names begin with `prefix`, in the same order. Reads their rows and the two beside them. Damaged.
  [[nodiscard]] std::vector<sto_RootRow> From(std::string_view prefix);
  /// Whether the open transaction has changed what a name stands for. REQUIRES: the present format.
  [[nodiscard]] bool HasChanged(std::string_view name);

 private:
  using Pending = std::map<std::string, std::optional<sto_RootTarget>, std::less<>>;
  struct Noted {
    Pending::iterator m_At;
    bool m_IsAdded;                         // there was no entry before
    std::optional<sto_RootTarget> m_Before; // what it was
  };
  /// A row of the table.
  struct Row {
    std::string m_Name;
    sto_RootTarget m_Target;
  };
  /// What a search for a name in the table has found.
  struct Found {
    std::optional<sto_RootTarget> m_Target; // empty: the table does not have the name
    std::optional<std::string> m_Next;      // then the next name that it has; empty: there is none
  };

  /// Notes what a name stands for; empty: it is removed.
  void Change(std::string_view name, std::optional<sto_RootTarget> target);
  /// Looks for a name in the table. Damaged.
  [[nodiscard]] Found Search(std::string_view name);
  [[nodiscard]] std::optional<sto_RootTarget> FindOld(std::string_view name);
  /// The present row of a statement. Damaged if it does not fit its checksum.
  [[nodiscard]] Row RowOf(sto_SqliteStatement::Use const& use);
  /// The stored roots of From, without those that have changed.
  [[nodiscard]] std::vector<sto_RootRow> StoredFrom(std::string_view prefix);
  /// Damaged if the row before a name is not where it belongs: then a search may have gone astray.
  void CheckBefore(std::string_view name);
  [[nodiscard]] std::int64_t ChecksumOf(std::string_view name, sto_RootTarget const& target);
  void Write(std::string_view name, std::optional<sto_RootTarget> const& before,
             std::optional<sto_RootTarget> const& target);
  [[noreturn]] void RaiseAstray(std::string_view name, std::string const& found) const;

  sto_SqliteConnection& m_Connection;
  sto_SqliteChanges& m_Noted;
  sto_SqliteStatement m_FindOld, m_From, m_Before, m_Set, m_Remove;
  std::optional<sto_RowChecksum> m_Checksum; // from format 4 on
  Pending m_Pending;                         // what the file does not have yet
  bool m_HasMark = false;
  std::vector<Noted> m_Changes; // since the mark, in the order in which they were made
};
