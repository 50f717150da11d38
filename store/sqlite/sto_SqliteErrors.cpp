#include "store/sqlite/sto_SqliteErrors.h"

#include <sqlite3.h>

#include <algorithm>
#include <iterator>

#include "store/base/sto_Exception.h"

namespace {

struct ErrorRow {
  int m_Code; ///< a primary code also covers those of its extended codes that have no row
  sto_ErrorKind m_Kind;
  char const* m_Advice;
};

constexpr char Retry[] = "Another program is writing to the store: try again, or wait longer "
                         "(sto_Options::m_BusyMilliseconds).";
constexpr char RetryCommit[] = "Another program is reading the store and must finish before this one can "
                               "commit: commit again, or wait longer (sto_Options::m_BusyMilliseconds).";
constexpr char Repair[] = "A program that ended abnormally has left a journal or a log beside the file: "
                          "open the store once for writing and close it.";
constexpr char Restore[] = "The file is damaged: restore a copy.";

constexpr ErrorRow Rows[] = {
    {SQLITE_BUSY, sto_ErrorKind::Busy, Retry},
    {SQLITE_LOCKED, sto_ErrorKind::Busy,
     "This program uses the store elsewhere and blocks this use: end the other one, and try again."},
    {SQLITE_PROTOCOL, sto_ErrorKind::Unavailable,
     "Other programs keep the store's log from being opened: try again."},
    {SQLITE_READONLY, sto_ErrorKind::ReadOnly,
     "The file is not writable: change its permissions, or open it with sto_Mode::ReadOnly."},
    {SQLITE_READONLY_DIRECTORY, sto_ErrorKind::ReadOnly,
     "The folder is not writable, and the journal is created there: change its permissions, or open the "
     "store with sto_Mode::ReadOnly."},
    {SQLITE_READONLY_ROLLBACK, sto_ErrorKind::ReadOnly, Repair},
    {SQLITE_READONLY_RECOVERY, sto_ErrorKind::ReadOnly, Repair},
    {SQLITE_READONLY_CANTINIT, sto_ErrorKind::ReadOnly, Repair},
    {SQLITE_READONLY_CANTLOCK, sto_ErrorKind::ReadOnly,
     "The folder is not writable, and the log's shared memory is created there: change its permissions, or "
     "open the store once for writing and close it."},
    {SQLITE_READONLY_DBMOVED, sto_ErrorKind::ReadOnly,
     "The file was moved or removed while it was open: put it back, and open the store again."},
    {SQLITE_FULL, sto_ErrorKind::Full, "Make room on the medium, and try again."},
    {SQLITE_TOOBIG, sto_ErrorKind::Full, "A single value is too large to be stored: split it."},
    {SQLITE_CORRUPT, sto_ErrorKind::Damaged, Restore},
    {SQLITE_INTERRUPT, sto_ErrorKind::Damaged, Restore},
    {SQLITE_NOTADB, sto_ErrorKind::NotFound, "Check the name; if it is right, restore a copy."},
    {SQLITE_CONSTRAINT, sto_ErrorKind::Conflict,
     "The store already has what is being written, which does not happen in a sound store: restore a copy."},
    {SQLITE_MISUSE, sto_ErrorKind::Misuse,
     "The store was misused: it may be used by one thread at a time, and not after it was closed."},
    {SQLITE_PERM, sto_ErrorKind::Unavailable, "Check the permissions of the file and its folder."},
    {SQLITE_AUTH, sto_ErrorKind::Unavailable, "Check the permissions of the file and its folder."},
    {SQLITE_CANTOPEN, sto_ErrorKind::Unavailable,
     "Check that the folder exists, the permissions of the file and its folder, and how many files the program "
     "has open."},
    {SQLITE_IOERR, sto_ErrorKind::Unavailable,
     "The system could not read or write: check the medium and the connection to it. What was committed "
     "before is not affected; open the store again to see its contents."},
    {SQLITE_NOLFS, sto_ErrorKind::Unavailable,
     "The file system does not allow a file of this size: move the store to another one."},
    {SQLITE_SCHEMA, sto_ErrorKind::Unavailable,
     "Another program has changed the tables: open the store again."},
};

ErrorRow const* Find(int code) noexcept {
  auto const found = std::ranges::find(Rows, code, &ErrorRow::m_Code);
  return found == std::end(Rows) ? nullptr : found;
}

} // namespace

sto_SqliteError sto_SqliteErrorOf(int code, bool isWriting) noexcept {
  int const primary = code & 0xFF;
  if (primary == SQLITE_BUSY && isWriting) return {sto_ErrorKind::Busy, RetryCommit};
  ErrorRow const* row = Find(code);
  if (row == nullptr) row = Find(primary);
  if (row == nullptr)
    return {sto_ErrorKind::Unavailable, "Open the store again; if that does not help, restore a copy."};
  return {row->m_Kind, row->m_Advice};
}

sto_SqliteError sto_SqliteFull() noexcept {
  return sto_SqliteErrorOf(SQLITE_FULL);
}

void sto_RaiseNoStore(std::string const& path, sto_SourceLine line) {
  auto const [kind, advice] = sto_SqliteErrorOf(SQLITE_NOTADB);
  sto_Raise(kind, path + ": This is not a store. " + advice, line);
}

void sto_RaiseNotWritable(std::string const& path, sto_SourceLine line) {
  auto const [kind, advice] = sto_SqliteErrorOf(SQLITE_READONLY);
  sto_Raise(kind, path + ": " + advice, line);
}
