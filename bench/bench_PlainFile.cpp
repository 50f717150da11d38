#include "bench/bench_PlainFile.h"

#include <fcntl.h>
#include <unistd.h>

#include "bench/bench_Program.h"

void bench_PlainFile::Synchronise(std::string const& path) {
  int const file = ::open(path.c_str(), O_RDONLY);
  bench_Require(file >= 0 && ::fsync(file) == 0, "synchronising a file");
  ::close(file);
}
