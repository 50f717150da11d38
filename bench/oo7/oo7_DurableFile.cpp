#include "bench/oo7/oo7_DurableFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "bench/bench_Program.h"

void oo7_DurableFile::Rename(std::string const& from, std::string const& to) {
  std::filesystem::rename(from, to);
  std::filesystem::path const folder = std::filesystem::path(to).parent_path();
  bench_PlainFile::Synchronise(folder.empty() ? "." : folder.string());
}

void oo7_DurableFile::Evict(std::string const& path) {
  int const file = ::open(path.c_str(), O_RDONLY);
  bench_Require(file >= 0 && ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) == 0,
                "evicting a file from the cache");
  ::close(file);
}
