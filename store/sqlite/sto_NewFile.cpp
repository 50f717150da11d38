#include "store/sqlite/sto_NewFile.h"

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

#include "store/base/sto_Exception.h"
#include "store/sqlite/sto_FileSystem.h"
#include "store/sqlite/sto_SqliteFile.h"

namespace {

/// A name beside another one, random so that no other program chooses it.
std::string NameBeside(std::string const& location, std::string const& verb) {
  std::uint64_t number = 0;
  sqlite3_randomness(static_cast<int>(sizeof number), &number);
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
  std::string name = location;
  name += '.';
  name += verb;
  name += '-';
  return name += digits;
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

} // namespace

void sto_RestrictAs(std::string const& source, std::string const& copy) noexcept {
  struct stat from {};
  struct stat to {};
  if (stat(source.c_str(), &from) != 0 || stat(copy.c_str(), &to) != 0) return;
  constexpr mode_t Own = S_IRUSR | S_IWUSR;
  chmod(copy.c_str(), ((from.st_mode & to.st_mode) | Own) & 0777);
}

sto_NewFile::sto_NewFile(std::string const& location, Words words) : m_Location(location), m_Words(words) {
  sto_SqliteFile::CheckNewLocation(location);
  if (std::string const network = sto_NetworkFileSystem(location); !network.empty())
    sto_Raise(sto_ErrorKind::Unavailable,
              location + ": On a network file system (" + network +
                  ") file locks are unreliable, so no store can be created there. Copy to a "
                  "local disk, and move the closed copy.");
  CheckFree();
  m_Temporary = NameBeside(location, words.m_Verb);
}

void sto_NewFile::RaiseConflict() const {
  sto_Raise(sto_ErrorKind::Conflict,
            m_Location + ": The file exists already; choose a free name for " + m_Words.m_Noun + ".");
}

void sto_NewFile::RaiseSystem(int error) const {
  if (error == EEXIST) RaiseConflict();
  bool const isFull = error == ENOSPC || error == EDQUOT;
  std::string noun = m_Words.m_Noun;
  noun.front() = 'T';
  sto_Raise(isFull ? sto_ErrorKind::Full : sto_ErrorKind::Unavailable,
            m_Location + ": " + noun +
                " could not be given its name: " + std::generic_category().message(error) + ".");
}

// A deleted store has left a journal or a log that SQLite would apply to the new file.
void sto_NewFile::CheckFree() const {
  if (sto_SqliteFile::IsThere(m_Location)) RaiseConflict();
  bool const hasJournal = sto_SqliteFile::HasJournal(m_Location);
  if (hasJournal || sto_SqliteFile::HasLog(m_Location))
    sto_Raise(sto_ErrorKind::Conflict,
              m_Location + (hasJournal ? "-journal" : "-wal") +
                  ": A store that is gone has left this file, which would damage a copy "
                  "beside it; delete the file, or choose another name for " +
                  m_Words.m_Noun + ".");
}

void sto_NewFile::Publish() {
  CheckFree();
  if (int const error = Rename(m_Temporary, m_Location)) RaiseSystem(error);
  m_Temporary.clear();
  if (int const error = SyncFolderOf(m_Location)) {
    unlink(m_Location.c_str()); // a reported failure must leave no file
    RaiseSystem(error);
  }
}

void sto_NewFile::Remove() noexcept {
  if (m_Temporary.empty()) return;
  try {
    std::error_code ignored; // the journal is removed last: until then it shows that the file is not a store
    for (char const* const suffix : {"", "-wal", "-shm", "-journal"})
      std::filesystem::remove(m_Temporary + suffix, ignored);
  } catch (std::bad_alloc const&) {
    unlink(m_Temporary.c_str());
  }
}
