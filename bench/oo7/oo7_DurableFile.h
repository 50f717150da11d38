#pragma once

#include <string>

#include "bench/bench_PlainFile.h"

/// A file that is replaced as a whole, durably: a crash leaves the old content or the new one.
class oo7_DurableFile {
 public:
  /// Calls `write` with a stream to the new content.
  template <class Write> static void Replace(std::string const& path, Write write) {
    std::string const temporary = path + ".new";
    bench_PlainFile::Save(temporary, write);
    Rename(temporary, path);
  }

  /// Takes a file that is durable out of the system's cache, so that the next reader gets it from the disk.
  static void Evict(std::string const& path);

 private:
  static void Rename(std::string const& from, std::string const& to);
};
