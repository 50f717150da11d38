#pragma once

#include <memory>
#include <string>

#include "store/sqlite/sto_SqliteConnection.h"

/// A copy of a store that is made page by page, under a name of its own beside the one that it is to have. It
/// gets that name when it is whole and on the medium: whoever looks there sees nothing, or a complete store.
///
/// SQLite's backup interface makes it. It reads within the transaction that the source has open, so the copy
/// is of one state and never begins again, however busy others are, and it needs no more memory than a cache
/// of pages. VACUUM INTO would leave out the free pages, but cannot run in a transaction, asks for the right
/// to attach files, which connections here do not have, does not synchronise what it writes, and drops the
/// write-ahead log.
///
/// A process that is killed leaves at most the file under the name of its own, with a journal by which
/// opening it finds no store there; in the last moment it may be a complete one.
class sto_SqliteCopy {
 public:
  /// Copies what the open read transaction of `source` sees. Conflict when something is under the name;
  /// Misuse for one with a NUL character; Full; Unavailable, also on a network file system.
  sto_SqliteCopy(sto_SqliteConnection& source, std::string const& location);
  sto_SqliteCopy(sto_SqliteCopy const&) = delete;
  sto_SqliteCopy& operator=(sto_SqliteCopy const&) = delete;
  /// Removes a copy that did not get its name.
  ~sto_SqliteCopy() { Remove(); }

  /// Gives the copy its name, durably. Conflict when something has it by now; Full, Unavailable: then there
  /// is no copy.
  void Publish();

 private:
  void Make(sto_SqliteConnection& source);
  void Remove() noexcept;

  std::string m_Location;
  std::string m_Temporary; // empty when there is no such file any more
  std::unique_ptr<sto_SqliteConnection> m_Target;
};
