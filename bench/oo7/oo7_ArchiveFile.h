#pragma once

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <memory>
#include <string>

#include "bench/oo7/oo7_DurableFile.h"

/// A library in a binary archive of Boost.Serialization, as oo7_Graph wants it. Each save writes a new archive.
template <class Library> class oo7_ArchiveFile {
 public:
  void Create(std::string const& path, std::unique_ptr<Library> library) {
    m_Path = path;
    Save(*library, false);
  }
  std::unique_ptr<Library> Open(std::string const& path) {
    m_Path = path;
    auto library = std::make_unique<Library>();
    bench_PlainFile::Load(path, [&](std::ifstream& stream) {
      boost::archive::binary_iarchive archive(stream);
      archive >> *library;
    });
    return library;
  }
  void Close(std::unique_ptr<Library>) {}
  void Save(Library const& library, bool) {
    oo7_DurableFile::Replace(m_Path, [&](std::ofstream& stream) {
      boost::archive::binary_oarchive archive(stream);
      archive << library;
    });
  }

 private:
  std::string m_Path;
};
