#include "bench/bench_SaveAgain.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "bench/bench_Figures.h"

namespace {

void Require(bool works, std::string const& what) {
  if (works) return;
  std::perror(what.c_str());
  std::exit(1);
}

double SecondsOf(std::function<void()> const& save) {
  auto const start = std::chrono::steady_clock::now();
  save();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The bytes that this process has passed to write calls.
double WrittenBytes() {
  std::ifstream io("/proc/self/io");
  std::string key;
  for (double value = 0; io >> key >> value;)
    if (key == "wchar:") return value;
  Require(false, "reading /proc/self/io");
  return 0;
}

/// What changes if a file is written, or if a journal appears beside it. Intentional: it does not open the file.
/// To close it again would drop this process's locks on it.
struct Trace {
  explicit Trace(std::string const& path) {
    Require(::stat(path.c_str(), &m_File) == 0, "looking at " + path);
    Require(::stat(std::filesystem::path(path).parent_path().c_str(), &m_Folder) == 0, "the folder");
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

void bench_SaveAgain::Measure(std::string const& path, std::function<void()> const& save) {
  double const first = SecondsOf(save);
  Trace const before(path);
  double const written = WrittenBytes();
  m_Ratios.push_back(SecondsOf(save) / first);
  m_WrittenBytes = std::max(m_WrittenBytes, WrittenBytes() - written);
  m_IsTouched = m_IsTouched || !(before == Trace(path));
}

void bench_SaveAgain::Print(char const* what, std::string const& figure) const {
  std::vector<double> ratios = m_Ratios;
  std::ranges::sort(ratios);
  double const time = ratios[ratios.size() / 2];
  std::printf("  %-58s %6.2f\n  Saving it again writes %.0f bytes, journal included; file and journal %s.\n",
              what, time, m_WrittenBytes, m_IsTouched ? "were touched" : "stay untouched");
  bench_Figures::Print(figure + ".time", time, "ratio");
  bench_Figures::Print(figure + ".written", m_WrittenBytes, "bytes");
  bench_Figures::Print(figure + ".touched", m_IsTouched ? 1 : 0, "flag");
}
