#include "store/sqlite/sto_SqliteOpening.h"

#include <sqlite3.h>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/sqlite/sto_FileSystem.h"
#include "store/sqlite/sto_SqliteErrors.h"
#include "store/sqlite/sto_SqliteHeader.h"
#include "store/sqlite/sto_SqliteSchemaCheck.h"

namespace {

/// Damaged for a file that is shorter than its header says. SQLite would fill a last page that is cut short
/// with zeros, and some zeros look like rows.
void CheckSize(sto_SqliteConnection& connection) {
  if (sto_SqliteFile::HasLog(connection.FullPath())) return; // the log may hold the newest pages
  auto const expected = static_cast<std::uintmax_t>(connection.SizeBytes());
  std::uintmax_t const actual = sto_SqliteFile::SizeOf(connection.FullPath());
  if (actual >= expected) return;
  sto_Raise(sto_ErrorKind::Damaged, connection.Path() + ": The file is cut short: it has " +
                                        std::to_string(actual) + " of " + std::to_string(expected) +
                                        " bytes.");
}

/// Raises unless the file is a store that this program can use.
void Check(sto_SqliteConnection& connection, bool forWriting) {
  sto_BeginSqlite(connection);
  connection.Execute("BEGIN"); // so that everything read is of one state
  sto_CheckSqliteSchema(connection);
  CheckSize(connection);
  if (sto_ReadSqliteIdentity(connection).m_FormatVersion > sto_Format::VersionWithoutShapes) {
    sto_SqliteHeader const header = sto_ReadSqliteHeader(connection);
    sto_CheckSqliteTables(connection, header);
    if (forWriting) sto_CheckSqliteWriting(connection, header);
  }
  connection.Execute("COMMIT");
  sto_ConfigureSqlite(connection);
}

std::unique_ptr<sto_SqliteConnection> Connect(std::string const& path, sto_Options const& options, int flags,
                                              bool isImmutable, bool isUnfinished = false) {
  sto_SqliteConnection::Opening opening{flags, options.m_BusyMilliseconds, isImmutable};
  opening.m_IsUnfinished = isUnfinished;
  return std::make_unique<sto_SqliteConnection>(path, opening);
}

/// Opens a store without locks. `reason`: why it is not opened in the ordinary way.
sto_SqliteOpening OpenWithoutLocks(std::string const& path, sto_Options const& options,
                                   std::string const& reason) {
  sto_SqliteOpening opened{Connect(path, options, SQLITE_OPEN_READONLY, true), std::nullopt};
  opened.m_FixedState = sto_SqliteFile::StateOf(*opened.m_Connection);
  if (opened.m_FixedState->m_HasLogOrJournal)
    sto_Raise(sto_ErrorKind::Unavailable,
              path + ": " + reason +
                  ", so only a store that is closed can be read; this one has a log or a journal beside it.");
  Check(*opened.m_Connection, false);
  if (sto_SqliteFile::StateOf(*opened.m_Connection) != *opened.m_FixedState)
    sto_Raise(sto_ErrorKind::Unavailable, path + ": Another program writes to the store while it is opened.");
  return opened;
}

/// Whether opening failed because no log can be created here, though none is needed.
bool CanDoWithoutLog(sto_SqliteConnection const& connection, int code) {
  int const primary = code & 0xFF;
  return (primary == SQLITE_CANTOPEN || primary == SQLITE_READONLY) &&
         sto_SqliteFile::IsForLog(connection.ReadHeader()) &&
         !sto_SqliteFile::HasLog(connection.FullPath()) && !sto_SqliteFile::HasJournal(connection.FullPath());
}

} // namespace

void sto_BeginSqlite(sto_SqliteConnection& connection) {
  // First, because SQLite may have to undo what a crash has left, and so write, before it can read.
  connection.Execute("PRAGMA synchronous = EXTRA");
}

void sto_ConfigureSqlite(sto_SqliteConnection& connection) {
  // The journal mode is not set here: the file keeps it. Deleted rows are not overwritten with zeros, as some
  // builds of SQLite do by default: that would make a deletion as expensive as a write.
  connection.Execute("PRAGMA secure_delete = OFF; PRAGMA mmap_size = 1099511627776;"
                     "PRAGMA temp_store = MEMORY;");
}

sto_SqliteOpening sto_OpenSqlite(std::string const& path, bool readOnly, sto_Options const& options,
                                 bool isUnfinished) {
  sto_SqliteFile::CheckLocation(path);
  sto_SqliteFile::CheckOptions(path, options);
  if (!sto_SqliteFile::IsThere(path)) sto_Raise(sto_ErrorKind::NotFound, path + ": There is no such file.");
  if (!sto_SqliteFile::IsRegular(path)) sto_RaiseNoStore(path);
  if (std::string const network = sto_NetworkFileSystem(path); !network.empty()) {
    std::string const reason = "On a network file system (" + network + ") file locks are unreliable";
    if (!readOnly)
      sto_Raise(sto_ErrorKind::Unavailable,
                path + ": " + reason + ", so a store there can be read, but not written.");
    return OpenWithoutLocks(path, options, reason);
  }
  auto connection =
      Connect(path, options, readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE, false, isUnfinished);
  try {
    Check(*connection, !readOnly);
  } catch (sto_Exception const&) {
    if (!readOnly || !CanDoWithoutLog(*connection, sqlite3_extended_errcode(connection->Handle()))) throw;
    connection.reset();
    return OpenWithoutLocks(path, options, "A write-ahead log cannot be created here");
  }
  bool const cannotWrite = sqlite3_db_readonly(connection->Handle(), "main") != 0;
  if (cannotWrite && !readOnly) sto_RaiseNotWritable(path);
  return {std::move(connection), std::nullopt};
}

void sto_FoldSqliteLog(std::string const& path) noexcept {
  try {
    if (!sto_SqliteFile::IsRegular(path)) return;
    sto_SqliteConnection connection(path, {SQLITE_OPEN_READWRITE, 0, false});
    if (sqlite3_db_readonly(connection.Handle(), "main") != 0) return;
    sto_BeginSqlite(connection);
    if (connection.QueryText("PRAGMA journal_mode") != "wal") return;
    // The last session that closes also takes the log away; this is for when it is not the last.
    sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  } catch (...) { // the next session will do it
  }
}
