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
// whether another session has replaced it; size and time, whether another program has written into it.
class jsl_File {
 public:
  jsl_File(std::string const& path, bool isNew)
      : m_Path(std::filesystem::weakly_canonical(path)), m_Read(Open(m_Path, isNew ? "wxe" : "re")),
        m_Status(isNew ? StatusOf(m_Read) : Status()) {}
  std::string Name() const { return m_Path.string(); }
  bool IsReplaced() const {
    struct stat now {};
    Check(::stat(m_Path.c_str(), &now) == 0, "cannot be found");
    return now.st_ino != m_Status.st_ino || now.st_size != m_Status.st_size ||
           now.st_mtim.tv_sec != m_Status.st_mtim.tv_sec || now.st_mtim.tv_nsec != m_Status.st_mtim.tv_nsec;
  }
  // Hands the content to `take`. If that raises an exception, the file counts as not read.
  template <class Take> void Read(Take take) {
    Opened file = Open(m_Path, "re");
    struct stat const status = StatusOf(file);
    std::string content(static_cast<std::size_t>(status.st_size), ' ');
    Check(std::fread(content.data(), 1, content.size(), file.get()) == content.size(), "cannot be read");
    take(content);
    m_Read.swap(file);
    m_Status = status;
  }
  // False, and nothing is written, if another session has replaced the file.
  bool Replace(std::string const& content) {
    Opened const locked = Open(m_Path, "r+e"); // may be written; no other session replaces it now
    if ((m_Status.st_mode & 0222) == 0) jsl_Raise(Name() + " is read-only.");
    Check(::flock(::fileno(locked.get()), LOCK_EX) == 0, "cannot be locked");
    if (IsReplaced()) return false;
    Opened const folder = Open(m_Path.parent_path(), "re");
    std::string const beside = Name() + ".new";
    Opened file = Open(beside, "we");
    Check(::fchmod(::fileno(file.get()), m_Status.st_mode & 07777) == 0, "cannot be given its mode");
    bool const isWritten = std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    Check(isWritten && std::fflush(file.get()) == 0 && ::fsync(::fileno(file.get())) == 0,
          "cannot be written");
    struct stat const status = StatusOf(file);
    Check(std::rename(beside.c_str(), m_Path.c_str()) == 0, "cannot be replaced");
    m_Read.swap(file);
    m_Status = status;
    static_cast<void>(::fsync(::fileno(folder.get()))); // it is too late for an exception
    return true;
  }

 private:
  using Status = struct stat;
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
  Status m_Status; // of the file as it was read or written
};
