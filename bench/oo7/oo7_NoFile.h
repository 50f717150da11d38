#pragma once

#include <memory>
#include <string>
#include <utility>

/// A library that only memory has, as oo7_Graph wants it. It stays there between sessions.
template <class Library> class oo7_NoFile {
 public:
  void Create(std::string const&, std::unique_ptr<Library> library) { m_Library = std::move(library); }
  std::unique_ptr<Library> Open(std::string const&) { return std::move(m_Library); }
  void Close(std::unique_ptr<Library> library) { m_Library = std::move(library); }
  void Save(Library const&, bool) {}

 private:
  std::unique_ptr<Library> m_Library;
};
