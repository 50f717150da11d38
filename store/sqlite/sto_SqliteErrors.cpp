#include "store/sqlite/sto_SqliteErrors.h"

#include <sqlite3.h>

#include <algorithm>
#include <iterator>

#include "store/base/sto_Exception.h"

namespace {

struct Row {
  int m_Code; ///< a primary code is also for those of its extended ones that have no row
  sto_ErrorKind m_Kind;
  char const* m_Advice;
};

constexpr char Retry[] = "Another program is writing to the store: try again, or wait longer "
                         "(sto_Options::m_BusyMilliseconds).";
constexpr char RetryCommit[] = "Another program is reading the store, which has to end before this one can "
                               "commit: commit again, or wait longer (sto_Options::m_BusyMilliseconds).";
constexpr char Repair[] = "A program that did not end properly has left a journal or a log beside the file: "
                          "open the store once for writing and close it.";
constexpr char Restore[] = "The file is damaged: restore a copy.";

constexpr Row Rows[] = {
    {SQLITE_BUSY, sto_ErrorKind::Busy, Retry},
    {SQLITE_LOCKED, sto_ErrorKind::Busy,
     "Another use of the store in this program holds it: end that, and try again."},
    {SQLITE_PROTOCOL, sto_ErrorKind::Unavailable,
     "Other programs keep the store's log from being opened: try again."},
    {SQLITE_READONLY, sto_ErrorKind::ReadOnly,
     "The file may not be written: change its permissions, or open it with sto_Mode::ReadOnly."},
    {SQLITE_READONLY_DIRECTORY, sto_ErrorKind::ReadOnly,
     "The folder may not be written, and the journal belongs there: change its permissions, or open the "
     "store "
     "with sto_Mode::ReadOnly."},
    {SQLITE_READONLY_ROLLBACK, sto_ErrorKind::ReadOnly, Repair},
    {SQLITE_READONLY_RECOVERY, sto_ErrorKind::ReadOnly, Repair},
    {SQLITE_READONLY_CANTINIT, sto_ErrorKind::ReadOnly, Repair},
    {SQLITE_READONLY_CANTLOCK, sto_ErrorKind::ReadOnly,
     "The folder may not be written, and the log's memory belongs there: change its permissions, or open the "
     "store once for writing and close it."},
    {SQLITE_READONLY_DBMOVED, sto_ErrorKind::ReadOnly,
     "The file was moved or removed while it was open: put it back, and open the store again."},
    {SQLITE_FULL, sto_ErrorKind::Full, "Make room on the medium, and try again."},
    {SQLITE_TOOBIG, sto_ErrorKind::Full, "A single value is beyond what can be stored: divide it."},
    {SQLITE_CORRUPT, sto_ErrorKind::Damaged, Restore},
    {SQLITE_INTERRUPT, sto_ErrorKind::Damaged, Restore},
    {SQLITE_NOTADB, sto_ErrorKind::NotFound, "Look at the name; if it is the right one, restore a copy."},
    {SQLITE_CONSTRAINT, sto_ErrorKind::Conflict,
     "What is to be written is there already, which a sound store does not come to: restore a copy."},
    {SQLITE_MISUSE, sto_ErrorKind::Misuse,
     "The store is used in a way that it does not allow: by one thread at a time, and not after its end."},
    {SQLITE_PERM, sto_ErrorKind::Unavailable, "Look at the permissions of the file and its folder."},
    {SQLITE_AUTH, sto_ErrorKind::Unavailable, "Look at the permissions of the file and its folder."},
    {SQLITE_CANTOPEN, sto_ErrorKind::Unavailable,
     "Look whether the folder is there, and at the permissions of the file and its folder."},
    {SQLITE_IOERR, sto_ErrorKind::Unavailable,
     "The system could not read or write: look at the medium and the connection to it. What was committed "
     "before is not touched; open the store again to see what it has."},
    {SQLITE_NOLFS, sto_ErrorKind::Unavailable,
     "The file system takes no file of this size: move the store to another one."},
    {SQLITE_SCHEMA, sto_ErrorKind::Unavailable,
     "Another program has changed the tables: open the store again."},
};

Row const* Find(int code) noexcept {
  auto const found = std::ranges::find(Rows, code, &Row::m_Code);
  return found == std::end(Rows) ? nullptr : found;
}

} // namespace

sto_SqliteError sto_SqliteErrorOf(int code, bool isWriting) noexcept {
  int const primary = code & 0xFF;
  if (primary == SQLITE_BUSY && isWriting) return {sto_ErrorKind::Busy, RetryCommit};
  Row const* row = Find(code);
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
