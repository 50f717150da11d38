#include "bench/objects_PlainFile.h"

#include <fcntl.h>
#include <unistd.h>

#include "bench/objects_Contender.h"

void objects_PlainFile::Synchronise(std::string const& path) {
  int const file = ::open(path.c_str(), O_RDWR);
  objects_Require(file >= 0 && ::fsync(file) == 0, "synchronising " + path);
  ::close(file);
}
