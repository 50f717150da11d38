#pragma once

#include <fstream>
#include <string>
#include <vector>

/// A file that is written once through a stream and then synchronised.
class bench_PlainFile {
 public:
  /// Calls `write` with a stream to a new file; returns when the content is durable.
  template <class Write> static void Save(std::string const& path, Write write) {
    std::vector<char> buffer(BufferBytes);
    {
      std::ofstream stream;
      stream.rdbuf()->pubsetbuf(buffer.data(), BufferBytes);
      stream.open(path, std::ios::binary | std::ios::trunc);
      write(stream);
    }
    Synchronise(path);
  }

  /// Returns when what was written to the file, or folder, is durable.
  static void Synchronise(std::string const& path);

  /// Calls `read` with a stream from the file.
  template <class Read> static void Load(std::string const& path, Read read) {
    std::vector<char> buffer(BufferBytes);
    std::ifstream stream;
    stream.rdbuf()->pubsetbuf(buffer.data(), BufferBytes);
    stream.open(path, std::ios::binary);
    read(stream);
  }

 private:
  static constexpr int BufferBytes = 1 << 18; // faster than the library's default
};
