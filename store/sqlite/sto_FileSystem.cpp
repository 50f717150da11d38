#include "store/sqlite/sto_FileSystem.h"

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

namespace {

constexpr unsigned long Fuse = 0x65735546;

constexpr std::array<std::pair<unsigned long, char const*>, 7> NetworkTypes{{
    {0x6969, "NFS"},
    {0x517B, "SMB"},
    {0xFF534D42, "CIFS"},
    {0xFE534D42, "SMB2"},
    {0x5346414F, "AFS"},
    {0x6B414653, "AFS"},
    {0x73757245, "Coda"},
}};

constexpr std::array<std::string_view, 8> NetworkFuseTypes{
    "fuse.sshfs",   "fuse.rclone",    "fuse.s3fs",     "fuse.davfs2",
    "fuse.gcsfuse", "fuse.curlftpfs", "fuse.smbnetfs", "fuse.gvfsd-fuse",
};

std::string ReadMounts() {
  std::ifstream file("/proc/self/mountinfo");
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string AskSystem(std::string const& path) {
  std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (folder.empty()) folder = ".";
  // Ask about the file itself if it exists: it may be a link, or a mount of its own.
  for (std::string const& each : {path, folder.string()}) {
    struct statfs system {};
    struct stat file {};
    if (statfs(each.c_str(), &system) != 0 || stat(each.c_str(), &file) != 0) continue;
    auto const type = static_cast<unsigned long>(system.f_type) & 0xFFFFFFFFUL;
    std::string const mountType =
        type == Fuse ? sto_MountTypeOf(ReadMounts(), major(file.st_dev), minor(file.st_dev)) : std::string();
    return sto_NetworkFileSystemOf(type, mountType);
  }
  return {};
}

std::atomic<sto_FileSystemQuery> s_Query{AskSystem};

} // namespace

std::string sto_NetworkFileSystem(std::string const& path) {
  return s_Query.load()(path);
}

sto_FileSystemQuery sto_SetFileSystemQuery(sto_FileSystemQuery query) noexcept {
  return s_Query.exchange(query == nullptr ? AskSystem : query);
}

std::string sto_NetworkFileSystemOf(unsigned long type, std::string const& mountType) {
  for (auto const& [number, name] : NetworkTypes)
    if (number == type) return name;
  bool const isNetwork = type == Fuse && std::ranges::find(NetworkFuseTypes, std::string_view(mountType)) !=
                                             NetworkFuseTypes.end();
  return isNetwork ? mountType.substr(mountType.find('.') + 1) : std::string();
}

std::string sto_MountTypeOf(std::string const& mounts, unsigned int major, unsigned int minor) {
  // Each line: id, parent, device, root, mount point, options, some optional fields, a hyphen, type, ...
  std::string const device = std::to_string(major) + ":" + std::to_string(minor);
  std::istringstream lines(mounts);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string id, parent, found;
    words >> id >> parent >> found;
    std::size_t const hyphen = line.find(" - ");
    if (found != device || hyphen == std::string::npos) continue;
    std::string type;
    std::istringstream(line.substr(hyphen + 3)) >> type;
    return type;
  }
  return {};
}
