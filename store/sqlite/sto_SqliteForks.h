#pragma once

#include <list>

struct sqlite3;
struct sqlite3_file;

/// The file of a connection's database; null if it has none.
[[nodiscard]] sqlite3_file* sto_FileOfSqlite(sqlite3* handle) noexcept;

/// The connections of this process, and those that it has inherited from its parent because it was forked.
///
/// SQLite notes once for all connections of a process which locks they have on a file. After a fork these notes say
/// what the parent has, while the system has given the child no lock. A connection that the child opened would rely on
/// them: it would read while the parent writes, or write to a log that the parent has removed. So whoever opens a
/// connection first gives up what inherited ones seem to have. That touches no file, and no lock of the parent. An
/// inherited connection is not used any more, nor closed.
///
/// Thread rule: any.
namespace sto_SqliteForks {

/// A connection that may be inherited. SQLite's handle may change while it lives.
struct Known {
  sqlite3* const* m_Handle;
  bool m_IsInherited = false; // and has not been given up
};

/// Lists a connection, as long as it lives. REQUIRES: the handle outlives it; it is null, or of an open connection.
class Entry {
 public:
  /// Throws std::bad_alloc.
  explicit Entry(sqlite3* const& handle);
  Entry(Entry const&) = delete;
  Entry& operator=(Entry const&) = delete;
  ~Entry();

 private:
  std::list<Known>::iterator m_Place;
};

/// Call before a connection is opened.
void GiveUpInherited() noexcept;

} // namespace sto_SqliteForks
