#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <initializer_list>
#include <system_error>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/sqlite/sto_FileSystem.h"
#include "store/sqlite/sto_SqliteErrors.h"
#include "store/sqlite/sto_SqliteHeader.h"
#include "store/sqlite/sto_SqliteOpening.h"
#include "store/sqlite/sto_SqliteSaves.h"
#include "store/sqlite/sto_SqliteSchema.h"
#include "store/sqlite/sto_SqliteSchemaCheck.h"

// Creating is exclusive. Whoever has SQLite's exclusive lock on the file finds out what the file is, and
// creates the tables in that one transaction, or removes the file if it holds nothing of value. Whoever gets
// the lock on a file that was removed meanwhile starts over. A creation that is killed leaves an empty file,
// or a journal with which the next creation empties it.
//
// A write-ahead log is switched on after the tables are created. Before, the file would hold only a
// meaningless header, and the tables would be in the log alone. A kill in between leaves a complete store
// without a log.

namespace {

/// Each program that creates or removes the file at the same time costs one attempt.
constexpr int MaxAttempts = 1000;

/// How long to wait for a file that another program has locked: an empty one is about to become a store, any
/// other exists already.
constexpr int EmptyWaitMilliseconds = 5000;
constexpr int FullWaitMilliseconds = 1000;

/// What a file holds.
enum class Contents {
  Nothing,  ///< no bytes
  Leftover, ///< of a creation that did not finish: a header, and no tables
  NoObject, ///< a store without content
  Value,    ///< anything else
};

[[noreturn]] void RaiseConflict(std::string const& path) {
  sto_Raise(sto_ErrorKind::Conflict, path + ": The file exists already.");
}

bool HasRows(sto_SqliteConnection& connection, char const* table) {
  return connection.QueryInteger((std::string("SELECT EXISTS(SELECT 1 FROM ") + table + ")").c_str()) != 0;
}

bool IsStoreWithoutObject(sto_SqliteConnection& connection) {
  try {
    sto_CheckSqliteSchema(connection);
  } catch (sto_Exception const&) {
    return false;
  }
  auto const tables = {"class", "name",        "root",        "object", "block",      "attribute",
                       "pack",  "moved_block", "block_place", "shape",  "enumerator", "note"};
  return sto_ReadSqliteIdentity(connection).m_FormatVersion == sto_Format::Version &&
         connection.QueryInteger("SELECT count(*) FROM save") == 1 &&
         std::ranges::none_of(tables, [&](char const* table) { return HasRows(connection, table); });
}

/// REQUIRES: nobody else can write.
Contents ContentsOf(sto_SqliteConnection& connection) {
  constexpr std::uintmax_t LeastPageBytes = 512; // SQLite treats a file of one byte as empty
  std::uintmax_t const bytes = sto_SqliteFile::SizeOf(connection.FullPath());
  if (bytes < LeastPageBytes) return bytes == 0 ? Contents::Nothing : Contents::Value;
  auto const [applicationId, version] = sto_ReadSqliteIdentity(connection);
  if (HasRows(connection, "sqlite_schema"))
    return IsStoreWithoutObject(connection) ? Contents::NoObject : Contents::Value;
  bool const isFresh =
      applicationId == 0 && version == 0 && connection.QueryInteger("PRAGMA schema_version") == 0;
  return isFresh || applicationId == sto_SqliteSchema::ApplicationId ? Contents::Leftover : Contents::Value;
}

/// Removes a file that holds nothing of value, with the files beside it. Returns whether it did.
bool RemoveWorthless(std::string const& path, std::initializer_list<Contents> worthless) noexcept {
  try {
    sto_SqliteConnection connection(path, {SQLITE_OPEN_READWRITE, FullWaitMilliseconds, false});
    // From the first access on, nobody else can use the file until this connection is closed; so a log needs
    // no shared memory.
    connection.Execute("PRAGMA locking_mode = EXCLUSIVE");
    sto_BeginSqlite(connection);
    auto const isWorthless = [&] {
      connection.Execute("BEGIN EXCLUSIVE");
      return !connection.HasMoved() &&
             std::ranges::find(worthless, ContentsOf(connection)) != worthless.end();
    };
    bool isSure = isWorthless();
    if (isSure && sto_SqliteFile::IsForLog(connection.ReadHeader())) {
      connection.Execute("COMMIT; PRAGMA journal_mode = DELETE");
      isSure = isWorthless();
    }
    if (!isSure) return false;
    std::string const file = connection.FullPath(); // not a link to it
    for (char const* const suffix : {"-journal", "-wal", "-shm", ""}) std::filesystem::remove(file + suffix);
    return true;
  } catch (...) {
    return false;
  }
}

std::unique_ptr<sto_SqliteConnection> Connect(std::string const& path, sto_Options const& options) {
  bool const isEmpty = sto_SqliteFile::SizeOf(path) == 0;
  int const wait =
      isEmpty ? std::max(options.m_BusyMilliseconds, EmptyWaitMilliseconds) : FullWaitMilliseconds;
  auto connection = std::make_unique<sto_SqliteConnection>(
      path, sto_SqliteConnection::Opening{SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, wait, false});
  if (sqlite3_db_readonly(connection->Handle(), "main") != 0) {
    if (!isEmpty) RaiseConflict(path);
    sto_RaiseNotWritable(path);
  }
  // Leave the log of a file that is not ours alone.
  if (sto_SqliteFile::HasLog(path))
    sqlite3_db_config(connection->Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  return connection;
}

/// Gets the exclusive lock, in a transaction. A file that cannot be locked or read belongs to someone else.
void Lock(sto_SqliteConnection& connection, sto_Options const& options) {
  try {
    sto_BeginSqlite(connection); // undoes what a crash has left
    connection.Execute(("PRAGMA page_size = " + std::to_string(options.m_PageBytes)).c_str());
    connection.Execute("BEGIN EXCLUSIVE");
  } catch (sto_Exception const& exception) {
    sto_ErrorKind const kind = exception.Kind();
    if (kind == sto_ErrorKind::Busy || kind == sto_ErrorKind::NotFound || kind == sto_ErrorKind::Damaged)
      RaiseConflict(connection.Path());
    throw;
  }
}

void MakeTables(sto_SqliteConnection& connection, sto_Options const& options) {
  for (char const* const pragma : {"application_id = ", "user_version = "}) {
    std::int64_t const value =
        pragma[0] == 'a' ? sto_SqliteSchema::ApplicationId : std::int64_t{sto_Format::Version};
    connection.Execute(("PRAGMA " + std::string(pragma) + std::to_string(value)).c_str());
  }
  for (char const* const tables : sto_SqliteSchema::TablesOf(sto_Format::Version)) connection.Execute(tables);
  sto_MakeSqliteHeader(connection);
  sto_SqliteSaves saves(connection);
  saves.Use(sto_ReadSqliteHeader(connection).m_Uuid);
  saves.Write({1, 1}, options.m_Program, {}, {});
  connection.Execute("COMMIT");
}

[[noreturn]] void RaiseNoLog(std::string const& path) {
  sto_Raise(sto_ErrorKind::Unavailable,
            path + ": A write-ahead log cannot be created here: the file system does not let "
                   "processes share memory.");
}

/// Asks for the log until other programs have stopped looking at the file: SQLite itself does not wait for
/// them.
std::string AskForLog(sto_SqliteConnection& connection) {
  constexpr int PauseMilliseconds = 5;
  for (int waited = 0;; waited += PauseMilliseconds) try {
      return connection.QueryText("PRAGMA journal_mode = WAL");
    } catch (sto_Exception const& exception) {
      if (exception.Kind() != sto_ErrorKind::Busy || waited > EmptyWaitMilliseconds) throw;
      sqlite3_sleep(PauseMilliseconds);
    }
}

void TurnOnLog(sto_SqliteConnection& connection) {
  if (AskForLog(connection) != "wal") RaiseNoLog(connection.Path());
  static_cast<void>(HasRows(connection, "root")); // creates the log
}

/// Creates the store in a locked, empty file.
void Fill(sto_SqliteConnection& connection, sto_Options const& options) {
  if (options.m_ReadersBesideWriter && !connection.CanShareMemory()) RaiseNoLog(connection.Path());
  MakeTables(connection, options);
  if (options.m_ReadersBesideWriter) TurnOnLog(connection);
  sto_ConfigureSqlite(connection);
  sqlite3_busy_timeout(connection.Handle(), options.m_BusyMilliseconds);
}

/// One attempt; null when another one should be made.
std::unique_ptr<sto_SqliteConnection> TryCreate(std::string const& path, sto_Options const& options) {
  bool const wasThere = sto_SqliteFile::IsThere(path);
  if (wasThere && !sto_SqliteFile::IsRegular(path)) RaiseConflict(path);
  std::unique_ptr<sto_SqliteConnection> connection = Connect(path, options);
  try {
    Lock(*connection, options);
    if (connection->HasMoved()) return nullptr;
    switch (ContentsOf(*connection)) {
    case Contents::Nothing:
      break;
    case Contents::Leftover:
      connection.reset();
      return RemoveWorthless(path, {Contents::Leftover}) || !sto_SqliteFile::IsThere(path)
                 ? nullptr
                 : (RaiseConflict(path), nullptr);
    default:
      RaiseConflict(path);
    }
    // If the file was not empty at first, the connection has taken its page size.
    if (connection->QueryInteger("PRAGMA page_size") != options.m_PageBytes) return nullptr;
    Fill(*connection, options);
    return connection;
  } catch (sto_Exception const& exception) {
    connection.reset();
    if (!wasThere && exception.Kind() != sto_ErrorKind::Conflict)
      RemoveWorthless(path, {Contents::Nothing, Contents::Leftover, Contents::NoObject});
    throw;
  } catch (...) {
    connection.reset();
    if (!wasThere) RemoveWorthless(path, {Contents::Nothing, Contents::Leftover, Contents::NoObject});
    throw;
  }
}

void CheckPageBytes(std::string const& path, int pageBytes) {
  if (pageBytes < 512 || pageBytes > 65536 || (pageBytes & (pageBytes - 1)) != 0)
    sto_Raise(sto_ErrorKind::Misuse, path + ": " + std::to_string(pageBytes) +
                                         " is not a page size: use a power of two from 512 to 65536.");
}

} // namespace

std::unique_ptr<sto_SqliteConnection> sto_CreateSqlite(std::string const& path, sto_Options const& options) {
  sto_SqliteFile::CheckNewLocation(path);
  sto_SqliteFile::CheckOptions(path, options);
  CheckPageBytes(path, options.m_PageBytes);
  if (std::string const network = sto_NetworkFileSystem(path); !network.empty())
    sto_Raise(sto_ErrorKind::Unavailable,
              path + ": On a network file system (" + network +
                  ") file locks are unreliable, so no store can be created there.");
  for (int attempt = 0; attempt < MaxAttempts; ++attempt)
    if (std::unique_ptr<sto_SqliteConnection> connection = TryCreate(path, options)) return connection;
  RaiseConflict(path);
}
