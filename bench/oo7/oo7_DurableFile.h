#pragma once

#include <fstream>
#include <string>
#include <vector>

/// A file that is replaced as a whole, durably: a crash leaves the old content or the new one.
class oo7_DurableFile {
 public:
  /// Calls `write` with a stream to the new content.
  template <class Write> static void Replace(std::string const& path, Write write) {
    std::string const temporary = path + ".new";
    std::vector<char> buffer(BufferBytes);
    {
      std::ofstream stream;
      stream.rdbuf()->pubsetbuf(buffer.data(), BufferBytes);
      stream.open(temporary, std::ios::binary | std::ios::trunc);
      write(stream);
    }
    Synchronise(temporary);
    Rename(temporary, path);
  }

  /// Calls `read` with a stream from the file.
  template <class Read> static void Load(std::string const& path, Read read) {
    std::vector<char> buffer(BufferBytes);
    std::ifstream stream;
    stream.rdbuf()->pubsetbuf(buffer.data(), BufferBytes);
    stream.open(path, std::ios::binary);
    read(stream);
  }

  /// Takes a file that is durable out of the system's cache, so that the next reader gets it from the disk.
  static void Evict(std::string const& path);

 private:
  static void Synchronise(std::string const& path);
  static void Rename(std::string const& from, std::string const& to);

  static constexpr int BufferBytes = 1 << 18; // faster than the library's default
};
