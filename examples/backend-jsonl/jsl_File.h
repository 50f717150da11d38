#pragma once

#include "errors/nex_TextException.h"

#include <cerrno>
#include <filesystem>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

[[noreturn]] inline void jsl_Raise(std::string const& text) {
  nex_TextException(atr_String(text.c_str())).Throw("jsl_File", __LINE__);
}

// A file that is read and replaced as a whole. Replacing is atomic: the new content goes to a file beside it,
// which is renamed when it is on the disk. Whatever fails before, the old file is still there.
//
// The file that was read stays open. So no new file gets its number (inode), and comparing the numbers tells
// whether another session has replaced it.
class jsl_File {
 public:
  // A new file is empty, and must not exist.
  jsl_File(std::string const& path, bool isNew)
      : m_Path(std::filesystem::absolute(path)), m_Read(Open(m_Path, isNew ? "wxe" : "re")) {}
  std::string Name() const { return m_Path.string(); }
  bool IsReplaced() const {
    struct stat now {};
    Check(::stat(m_Path.c_str(), &now) == 0, "cannot be found");
    return now.st_ino != StatusOf(m_Read).st_ino;
  }
  std::string Read() {
    m_Read = Open(m_Path, "re");
    std::string content(static_cast<std::size_t>(StatusOf(m_Read).st_size), ' ');
    Check(std::fread(content.data(), 1, content.size(), m_Read.get()) == content.size(), "cannot be read");
    return content;
  }
  void Replace(std::string const& content) {
    Opened const locked = Open(m_Path, "re"); // so that no other session replaces it now
    Check(::flock(::fileno(locked.get()), LOCK_EX) == 0, "cannot be locked");
    if (IsReplaced()) jsl_Raise(Name() + " was changed by another session; nothing is written.");
    std::string const beside = Name() + ".new";
    Opened file = Open(beside, "we");
    bool const isWritten = std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    Check(isWritten && std::fflush(file.get()) == 0 && ::fsync(::fileno(file.get())) == 0,
          "cannot be written");
    Check(std::rename(beside.c_str(), m_Path.c_str()) == 0, "cannot be replaced");
    m_Read.swap(file);
    Opened const folder = Open(m_Path.parent_path(), "re");
    Check(::fsync(::fileno(folder.get())) == 0, "may be lost at a power failure");
  }

 private:
  using Opened = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  Opened Open(std::filesystem::path const& path, char const* mode) const {
    Opened file(std::fopen(path.c_str(), mode), std::fclose);
    Check(file != nullptr, "cannot be opened");
    return file;
  }
  struct stat StatusOf(Opened const& file) const {
    struct stat status {};
    Check(::fstat(::fileno(file.get()), &status) == 0, "cannot be read");
    return status;
  }
  void Check(bool isDone, char const* failure) const {
    if (!isDone) jsl_Raise(Name() + " " + failure + ": " + std::generic_category().message(errno) + ".");
  }

  std::filesystem::path m_Path;
  Opened m_Read;
};
