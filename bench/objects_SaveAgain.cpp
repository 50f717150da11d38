#include "bench/objects_SaveAgain.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>

namespace {

double SecondsOfSave(objects_Contender& contender) {
  auto const start = std::chrono::steady_clock::now();
  contender.Save();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The bytes that this process has passed to write calls.
double WrittenBytes() {
  std::ifstream io("/proc/self/io");
  std::string key;
  for (double value = 0; io >> key >> value;)
    if (key == "wchar:") return value;
  objects_Require(false, "reading /proc/self/io");
  return 0;
}

/// What changes if a file is written, or if a journal appears beside it. Intentional: it does not open the file.
/// To close it again would drop this process's locks on it.
struct Trace {
  explicit Trace(std::string const& path) {
    objects_Require(::stat(path.c_str(), &m_File) == 0, "looking at " + path);
    objects_Require(::stat(std::filesystem::path(path).parent_path().c_str(), &m_Folder) == 0, "the folder");
  }
  friend bool operator==(Trace const& one, Trace const& other) {
    auto const isSame = [](timespec const& left, timespec const& right) {
      return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
    };
    return one.m_File.st_size == other.m_File.st_size && isSame(one.m_File.st_mtim, other.m_File.st_mtim) &&
           isSame(one.m_Folder.st_mtim, other.m_Folder.st_mtim);
  }

  struct stat m_File = {};
  struct stat m_Folder = {};
};

} // namespace

void objects_SaveAgain::Measure(objects_Contender& contender, std::string const& path) {
  contender.Prepare(path);
  m_First.push_back(SecondsOfSave(contender));
  Trace const before(path);
  double const written = WrittenBytes();
  m_Again.push_back(SecondsOfSave(contender));
  m_WrittenBytes = WrittenBytes() - written;
  m_IsTouched = m_IsTouched || !(before == Trace(path));
  contender.Close();
  std::filesystem::remove(path);
}
