#include "store/sqlite/sto_SqliteCopy.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/sqlite/sto_FileSystem.h"
#include "store/sqlite/sto_SqliteFile.h"
#include "store/sqlite/sto_SqliteOpening.h"

namespace {

/// A name beside another one, random so that no other program chooses it.
std::string NameBeside(std::string const& location) {
  std::uint64_t number = 0;
  sqlite3_randomness(static_cast<int>(sizeof number), &number);
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
  return location + ".copying-" + digits;
}

/// Renames a file unless something has the new name. Returns the system's error number, 0 for success.
int Rename(std::string const& from, std::string const& to) noexcept {
#ifdef RENAME_NOREPLACE
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
#endif
  // Where the system cannot do that: make a second name, which never replaces another either.
  if (link(from.c_str(), to.c_str()) != 0) return errno;
  return unlink(from.c_str()) == 0 ? 0 : errno;
}

/// Makes the names in a file's folder durable. Returns the system's error number, 0 for success.
int SyncFolderOf(std::string const& path) {
  std::string const folder = std::filesystem::path(path).parent_path().string();
  int const descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return errno;
  int const error = fsync(descriptor) == 0 ? 0 : errno;
  close(descriptor);
  return error == EINVAL || error == ENOTSUP ? 0 : error; // the file system cannot do it for folders
}

/// If others may not read the file, they may not read its copy either.
void RestrictAs(std::string const& source, std::string const& copy) noexcept {
  struct stat from {};
  struct stat to {};
  if (stat(source.c_str(), &from) != 0 || stat(copy.c_str(), &to) != 0) return;
  constexpr mode_t Own = S_IRUSR | S_IWUSR;
  chmod(copy.c_str(), ((from.st_mode & to.st_mode) | Own) & 0777);
}

/// SQLite's copy of a database to another one.
class Backup {
 public:
  Backup(sto_SqliteConnection& target, sto_SqliteConnection& source)
      : m_Handle(sqlite3_backup_init(target.Handle(), "main", source.Handle(), "main")) {
    if (m_Handle == nullptr) target.Raise(sqlite3_extended_errcode(target.Handle()));
  }
  Backup(Backup const&) = delete;
  Backup& operator=(Backup const&) = delete;
  ~Backup() { static_cast<void>(Finish()); }

  /// Copies so many pages, all if -1; false at the end, and after a failure, which Finish returns.
  bool Step(int pages) noexcept { return sqlite3_backup_step(m_Handle, pages) == SQLITE_OK; }
  /// Copies all pages, and counts them.
  void StepAll(sto_Meter& meter) {
    bool goesOn = Step(0); // finds out how many there are
    int const total = sqlite3_backup_pagecount(m_Handle);
    meter.Begin(total);
    meter.BeginPart(total);
    for (int done = 0; goesOn;) {
      goesOn = Step(PagesAtOnce);
      int const now = total - sqlite3_backup_remaining(m_Handle);
      int const error = errno;
      for (; done < now; ++done) meter.Step();
      errno = error;
    }
  }
  /// Ends the copy; returns SQLite's result code.
  int Finish() noexcept {
    sqlite3_backup* const handle = std::exchange(m_Handle, nullptr);
    return handle == nullptr ? SQLITE_OK : sqlite3_backup_finish(handle);
  }

 private:
  static constexpr int PagesAtOnce = 64;

  sqlite3_backup* m_Handle;
};

[[noreturn]] void RaiseCopyConflict(std::string const& location) {
  sto_Raise(sto_ErrorKind::Conflict,
            location + ": The file exists already; choose a free name for the copy.");
}

/// Conflict if anything has the name, or a journal or a log is beside it. A deleted store has left that, and SQLite
/// would apply it to the copy.
void CheckFree(std::string const& location) {
  if (sto_SqliteFile::IsThere(location)) RaiseCopyConflict(location);
  bool const hasJournal = sto_SqliteFile::HasJournal(location);
  if (hasJournal || sto_SqliteFile::HasLog(location))
    sto_Raise(sto_ErrorKind::Conflict,
              location + (hasJournal ? "-journal" : "-wal") +
                  ": A store that is gone has left this file, which would damage a copy "
                  "beside it; delete the file, or choose another name for the copy.");
}

[[noreturn]] void RaiseSystem(std::string const& location, int error) {
  if (error == EEXIST) RaiseCopyConflict(location);
  bool const isFull = error == ENOSPC || error == EDQUOT;
  sto_Raise(isFull ? sto_ErrorKind::Full : sto_ErrorKind::Unavailable,
            location + ": The copy could not be given its name: " + std::generic_category().message(error) +
                ".");
}

} // namespace

sto_SqliteCopy::sto_SqliteCopy(sto_SqliteConnection& source, std::string const& location, sto_Meter* meter)
    : m_Location(location) {
  sto_SqliteFile::CheckNewLocation(location);
  if (std::string const network = sto_NetworkFileSystem(location); !network.empty())
    sto_Raise(sto_ErrorKind::Unavailable,
              location + ": On a network file system (" + network +
                  ") file locks are unreliable, so no store can be created there. Copy to a "
                  "local disk, and move the closed copy.");
  CheckFree(location);
  m_Temporary = NameBeside(location);
  try {
    Make(source, meter);
  } catch (...) {
    Remove();
    throw;
  }
}

void sto_SqliteCopy::Make(sto_SqliteConnection& source, sto_Meter* meter) {
  sto_SqliteConnection::Opening opening{SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0, false};
  opening.m_NameInMessages = m_Location;
  m_Target = std::make_unique<sto_SqliteConnection>(m_Temporary, opening);
  RestrictAs(source.FullPath(), m_Temporary);
  sto_BeginSqlite(*m_Target);
  Backup backup(*m_Target, source);
  errno = 0;
  if (meter == nullptr)
    backup.Step(-1);
  else
    backup.StepAll(*meter);
  int const error = errno; // before ending the backup, which may change it
  int const code = backup.Finish();
  errno = error;
  if (code != SQLITE_OK) m_Target->Raise(code);
}

void sto_SqliteCopy::Publish() {
  m_Target.reset();
  CheckFree(m_Location);
  if (int const error = Rename(m_Temporary, m_Location)) RaiseSystem(m_Location, error);
  m_Temporary.clear();
  if (int const error = SyncFolderOf(m_Location)) {
    unlink(m_Location.c_str()); // a reported failure must leave no copy
    RaiseSystem(m_Location, error);
  }
}

void sto_SqliteCopy::Remove() noexcept {
  m_Target.reset();
  if (m_Temporary.empty()) return;
  try {
    std::error_code ignored; // the journal is removed last: until then it shows that the file is not a store
    for (char const* const suffix : {"", "-journal"}) std::filesystem::remove(m_Temporary + suffix, ignored);
  } catch (std::bad_alloc const&) {
    unlink(m_Temporary.c_str());
  }
}
