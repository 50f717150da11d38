#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/sqlite/sto_SqliteConnection.h"

/// The root names of a store in SQLite.
///
/// Changed names are kept in memory and written in order of their bytes before the commit, because table root
/// is ordered by them: written one by one, each would touch a page of its own.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteRoots {
 public:
  explicit sto_SqliteRoots(sto_SqliteConnection& connection);

  /// Call when a transaction begins or is undone: forgets what was not written.
  void Drop() noexcept;
  /// Writes what has changed.
  void Flush();

  /// Sets the mark, after writing what has changed if that is much. Nothing is written until it is removed.
  void SetMark();
  void RemoveMark() noexcept;
  /// Undoes the changes since the mark, and removes it. Allocates nothing.
  void GoBackToMark() noexcept;

  /// The object under a name. Damaged.
  [[nodiscard]] std::optional<std::int64_t> Find(std::string_view name);
  void Set(std::string_view name, std::int64_t id) { Change(name, id); }
  /// False when there is no such name.
  bool Remove(std::string_view name);
  /// False when there is no root `from`. REQUIRES: there is no root `to`.
  bool Rename(std::string_view from, std::string_view to);
  /// All names in ascending order of their bytes.
  [[nodiscard]] std::vector<std::string> Names();

 private:
  using Pending = std::map<std::string, std::optional<std::int64_t>, std::less<>>;
  struct Noted {
    Pending::iterator m_At;
    bool m_IsAdded;                       // there was no entry before
    std::optional<std::int64_t> m_Before; // what it was
  };

  /// Notes what a name stands for; empty: it is removed.
  void Change(std::string_view name, std::optional<std::int64_t> id);

  sto_SqliteConnection& m_Connection;
  sto_SqliteStatement m_Find, m_Set, m_Remove;
  Pending m_Pending; // what the file does not have yet
  bool m_HasMark = false;
  std::vector<Noted> m_Changes; // since the mark, in the order in which they were made
};
