#include "examples/heat/plot/heat_OutputFile.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int mostLinks = 40; // as many as the system follows

[[noreturn]] void Fail(std::string const& path, std::string const& reason) {
  throw heat_OutputError(path + ": cannot be written: " + reason);
}

[[noreturn]] void FailBySystem(std::string const& path, int error) {
  Fail(path, std::generic_category().message(error));
}

char const* NameOf(fs::file_type type) {
  switch (type) {
  case fs::file_type::directory:
    return "a directory";
  case fs::file_type::character:
  case fs::file_type::block:
    return "a device";
  case fs::file_type::fifo:
    return "a pipe";
  case fs::file_type::socket:
    return "a socket";
  default:
    return "something else";
  }
}

fs::path FollowLinks(std::string const& path) {
  fs::path place = path;
  std::error_code code;
  for (int links = 0; fs::is_symlink(fs::symlink_status(place, code)); ++links) {
    if (links == mostLinks) FailBySystem(path, ELOOP);
    fs::path const next = fs::read_symlink(place, code);
    if (code) FailBySystem(path, code.value());
    place = next.is_absolute() ? next : place.parent_path() / next;
  }
  return place;
}

// A new file beside the target. It is deleted unless it has replaced the target.
class Draft {
 public:
  Draft(std::string path, std::string const& target)
      : m_Path(std::move(path)), m_Target(target), m_Name(target + "." + std::to_string(getpid()) + ".part") {
    // Exclusively: an existing file of this name is not ours.
    m_File = open(m_Name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (m_File < 0) FailBySystem(m_Path, errno);
  }
  ~Draft() {
    if (m_File >= 0) close(m_File);
    if (!m_IsInPlace) unlink(m_Name.c_str());
  }
  Draft(Draft const&) = delete;
  Draft& operator=(Draft const&) = delete;

  void KeepPermissions() const {
    struct stat old {};
    if (stat(m_Target.c_str(), &old) == 0) Check(fchmod(m_File, old.st_mode & 0777));
  }

  void Write(std::string const& contents) const {
    for (std::size_t done = 0; done < contents.size();) {
      auto const count = write(m_File, contents.data() + done, contents.size() - done);
      if (count < 0 && errno == EINTR) continue;
      Check(count < 0 ? -1 : 0);
      done += static_cast<std::size_t>(count);
    }
    Check(fsync(m_File)); // some file systems report a full disk only here
  }

  void TakePlace() {
    int const closed = close(m_File);
    m_File = -1;
    Check(closed);
    Check(rename(m_Name.c_str(), m_Target.c_str()));
    m_IsInPlace = true;
  }

 private:
  void Check(int result) const {
    if (result != 0) FailBySystem(m_Path, errno);
  }

  std::string m_Path; // as the caller gave it
  std::string m_Target;
  std::string m_Name;
  int m_File = -1;
  bool m_IsInPlace = false;
};

} // namespace

std::string heat_OutputTarget(std::string const& path) {
  if (path.empty()) throw heat_OutputError("the path of the output file is empty");
  fs::path const target = FollowLinks(path);
  std::error_code code;
  fs::file_status const status = fs::status(target, code);
  if (status.type() == fs::file_type::none) FailBySystem(path, code.value());
  if (status.type() == fs::file_type::not_found) {
    fs::path const folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    if (!target.has_filename() || !fs::exists(folder, code)) FailBySystem(path, ENOENT);
    if (!fs::is_directory(folder, code)) FailBySystem(path, ENOTDIR);
    if (access(folder.c_str(), W_OK | X_OK) != 0) FailBySystem(path, errno);
    return target.string();
  }
  if (status.type() != fs::file_type::regular) {
    std::string const what = std::string(NameOf(status.type())) + ", not a regular file";
    Fail(path, target == path ? "it is " + what : "it leads to " + target.string() + ", " + what);
  }
  if (access(target.c_str(), W_OK) != 0) FailBySystem(path, errno);
  return target.string();
}

void heat_WriteOutput(std::string const& path, std::string const& contents) {
  Draft draft(path, heat_OutputTarget(path));
  draft.KeepPermissions();
  draft.Write(contents);
  draft.TakePlace();
}
