#include "store/sqlite/sto_SqliteFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "store/base/sto_Exception.h"

namespace {

/// The size of a file that SQLite keeps beside another. It is beside the file itself, not beside a link to
/// it.
std::uintmax_t SizeBeside(std::string const& path, char const* suffix) {
  std::error_code error;
  std::filesystem::path const file = std::filesystem::weakly_canonical(path, error);
  return sto_SqliteFile::SizeOf((error ? path : file.string()) + suffix);
}

} // namespace

namespace sto_SqliteFile {

bool IsThere(std::string const& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

bool IsRegular(std::string const& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

std::uintmax_t SizeOf(std::string const& path) {
  std::error_code error;
  std::uintmax_t const size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

bool HasLog(std::string const& path) {
  return SizeBeside(path, "-wal") > 0;
}

bool HasJournal(std::string const& path) {
  return SizeBeside(path, "-journal") > 0;
}

void CheckLocation(std::string const& path) {
  std::size_t const nul = path.find('\0');
  if (nul != std::string::npos)
    sto_Raise(sto_ErrorKind::Misuse, path.substr(0, nul) + ": The location continues after a NUL character, "
                                                           "which no file name can have.");
}

void CheckNewLocation(std::string const& path) {
  CheckLocation(path);
  for (char const* const suffix : {"-journal", "-wal", "-shm"})
    if (path.ends_with(suffix))
      sto_Raise(sto_ErrorKind::Misuse, path + ": A store cannot have a name that ends with " + suffix +
                                           ": SQLite keeps a file of that name beside another store.");
}

void CheckOptions(std::string const& path, sto_Options const& options) {
  if (options.m_AtSave < 0)
    sto_Raise(sto_ErrorKind::Misuse,
              path + ": There is no save of number " + std::to_string(options.m_AtSave) + ".");
  if (options.m_BusyMilliseconds < 0)
    sto_Raise(sto_ErrorKind::Misuse, path + ": Waiting for another session cannot take " +
                                         std::to_string(options.m_BusyMilliseconds) + " milliseconds.");
}

bool IsForLog(sto_SqliteConnection::Header const& header) {
  return header[18] == std::byte{2} && header[19] == std::byte{2};
}

State StateOf(sto_SqliteConnection const& connection) {
  State state;
  struct stat file {};
  std::string const path = connection.FullPath();
  if (stat(path.c_str(), &file) == 0) {
    state.m_Device = file.st_dev;
    state.m_Number = file.st_ino;
    state.m_Size = static_cast<std::uint64_t>(file.st_size);
    state.m_Seconds = file.st_mtim.tv_sec;
    state.m_Nanoseconds = file.st_mtim.tv_nsec;
  }
  sto_SqliteConnection::Header const header = connection.ReadHeader();
  std::copy_n(header.begin() + 24, state.m_ChangeCounter.size(), state.m_ChangeCounter.begin());
  state.m_HasLogOrJournal = HasLog(path) || HasJournal(path);
  return state;
}

} // namespace sto_SqliteFile
