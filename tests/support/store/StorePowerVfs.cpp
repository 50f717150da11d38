#include "tests/support/store/StorePowerVfs.h"

#include "tests/support/store/StoreVfsForward.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <new>

namespace {

using Forward = StoreVfsForward;

using Operation = StorePowerVfs::Operation;
using Kind = Operation::Kind;

std::int64_t s_StepsLeft = 0;
std::int64_t s_Steps = 0;
StorePowerVfs::Fault s_Fault = StorePowerVfs::Fault::None;
bool s_HasStruck = false;
bool s_IsRecording = false;
std::vector<Operation> s_Recorded;

StorePowerVfs::Fault NextStep() {
  ++s_Steps;
  if (s_Fault == StorePowerVfs::Fault::None || --s_StepsLeft != 0) return StorePowerVfs::Fault::None;
  s_HasStruck = true;
  return s_Fault;
}

[[noreturn]] void Die() {
  raise(SIGKILL);
  _exit(99);
}

/// The result of an operation: the real one, or the fault.
template <class Real> int Run(int errorCode, Real real) {
  switch (NextStep()) {
  case StorePowerVfs::Fault::Kill:
    Die();
  case StorePowerVfs::Fault::IoError:
    return errorCode;
  case StorePowerVfs::Fault::Full:
    return SQLITE_FULL;
  default:
    return real();
  }
}

struct File : StoreVfsFile {
  char m_Path[512];   // empty for a file without a name
  bool m_SyncsFolder; // the first synchronisation of a new journal also synchronises the folder
};

void Note(char const* path, Kind kind, std::int64_t offset = 0, void const* bytes = nullptr, int size = 0) {
  if (!s_IsRecording || path[0] == '\0') return;
  s_Recorded.push_back(
      {kind, path, offset, std::string(static_cast<char const*>(bytes), static_cast<std::size_t>(size))});
}
char const* PathOf(sqlite3_file* file) {
  return reinterpret_cast<File*>(file)->m_Path;
}

int Write(sqlite3_file* file, void const* data, int size, sqlite3_int64 offset) {
  switch (NextStep()) {
  case StorePowerVfs::Fault::Kill:
    Forward::RealMethods(file).xWrite(Forward::Real(file), data, size / 2, offset);
    Die();
  case StorePowerVfs::Fault::IoError:
    return SQLITE_IOERR_WRITE;
  case StorePowerVfs::Fault::Full:
    return SQLITE_FULL;
  default:
    Note(PathOf(file), Kind::Write, offset, data, size);
    return Forward::RealMethods(file).xWrite(Forward::Real(file), data, size, offset);
  }
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  return Run(SQLITE_IOERR_TRUNCATE, [&] {
    Note(PathOf(file), Kind::Truncate, size);
    return Forward::RealMethods(file).xTruncate(Forward::Real(file), size);
  });
}
int Sync(sqlite3_file* file, int flags) {
  return Run(SQLITE_IOERR_FSYNC, [&] {
    int const code = Forward::RealMethods(file).xSync(Forward::Real(file), flags);
    if (code != SQLITE_OK) return code;
    Note(PathOf(file), Kind::Sync);
    bool& syncsFolder = reinterpret_cast<File*>(file)->m_SyncsFolder;
    if (syncsFolder) Note(PathOf(file), Kind::SyncFolder);
    syncsFolder = false;
    return code;
  });
}
int FileControl(sqlite3_file* file, int operation, void* argument) {
  // Size hints could let the file grow without a write that we see.
  if (operation == SQLITE_FCNTL_SIZE_HINT || operation == SQLITE_FCNTL_CHUNK_SIZE) return SQLITE_OK;
  return Forward::RealMethods(file).xFileControl(Forward::Real(file), operation, argument);
}
constexpr sqlite3_io_methods s_Methods = [] {
  sqlite3_io_methods methods = Forward::Methods(2);
  methods.xWrite = Write;
  methods.xTruncate = Truncate;
  methods.xSync = Sync;
  methods.xFileControl = FileControl;
  return methods;
}();

sqlite3_vfs* s_RealVfs = nullptr;
sqlite3_vfs s_Vfs{};

/// Whether opening the file creates it. It may have been created just before, exclusively and without SQLite.
bool IsNew(char const* path) {
  struct stat status {};
  if (stat(path, &status) != 0) return true;
  return status.st_size == 0 && s_IsRecording &&
         std::none_of(s_Recorded.begin(), s_Recorded.end(),
                      [&](Operation const& operation) { return operation.m_Path == path; });
}

int Open(sqlite3_vfs*, char const* name, sqlite3_file* file, int flags, int* outFlags) {
  auto* const wrapper = new (file) File{};
  wrapper->m_Real = reinterpret_cast<sqlite3_file*>(wrapper + 1);
  std::string_view const path = name == nullptr ? "" : name;
  if (path.size() >= sizeof wrapper->m_Path) return SQLITE_CANTOPEN;
  std::copy(path.begin(), path.end(), wrapper->m_Path);
  bool const isNew = !path.empty() && IsNew(wrapper->m_Path);
  int const code = Run(SQLITE_CANTOPEN,
                       [&] { return s_RealVfs->xOpen(s_RealVfs, name, wrapper->m_Real, flags, outFlags); });
  if (code != SQLITE_OK) return code;
  wrapper->m_Base.pMethods = &s_Methods;
  if (isNew) {
    Note(wrapper->m_Path, Kind::Create);
    wrapper->m_SyncsFolder = (flags & (SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL)) != 0;
  }
  return code;
}

int Delete(sqlite3_vfs*, char const* name, int syncFolder) {
  return Run(SQLITE_IOERR_DELETE, [&] {
    int const code = s_RealVfs->xDelete(s_RealVfs, name, syncFolder);
    if (code == SQLITE_OK) {
      Note(name, Kind::Delete);
      if (syncFolder != 0) Note(name, Kind::SyncFolder);
    }
    return code;
  });
}

} // namespace

StorePowerVfs::StorePowerVfs() {
  s_RealVfs = InstallStoreVfs<File>(s_Vfs, "store-power", Open, Delete);
  Disarm();
}

StorePowerVfs::~StorePowerVfs() {
  RemoveStoreVfs(s_Vfs, s_RealVfs);
  Disarm();
  s_IsRecording = false;
  s_Recorded.clear();
}

void StorePowerVfs::StrikeAt(std::int64_t step, Fault fault) {
  s_StepsLeft = step;
  s_Steps = 0;
  s_Fault = fault;
  s_HasStruck = false;
}

bool StorePowerVfs::HasStruck() {
  return s_HasStruck;
}

void StorePowerVfs::Disarm() {
  s_Fault = Fault::None;
}

std::int64_t StorePowerVfs::Steps() {
  return s_Steps;
}

void StorePowerVfs::Record() {
  s_IsRecording = true;
  s_Recorded.clear();
}

std::vector<StorePowerVfs::Operation> const& StorePowerVfs::Recorded() {
  return s_Recorded;
}

StorePowerCut::StorePowerCut(std::map<std::string, std::string> files) {
  for (auto& [path, content] : files) {
    m_Names[path] = {static_cast<int>(m_Inodes.size())};
    m_Inodes.push_back({std::move(content), {}});
  }
}

void StorePowerCut::Apply(Operation const& operation) {
  if (operation.m_Kind == Kind::SyncFolder) {
    for (auto& [path, states] : m_Names) states.erase(states.begin(), states.end() - 1);
    return;
  }
  std::vector<int>& states = m_Names.emplace(operation.m_Path, std::vector<int>{-1}).first->second;
  if (operation.m_Kind == Kind::Create) {
    states.push_back(static_cast<int>(m_Inodes.size()));
    m_Inodes.emplace_back();
    return;
  }
  if (operation.m_Kind == Kind::Delete) return states.push_back(-1);
  if (states.back() < 0) return; // opened before the recording, and deleted
  Inode& inode = m_Inodes[static_cast<std::size_t>(states.back())];
  if (operation.m_Kind != Kind::Sync) return inode.m_Pending.push_back(operation);
  for (Operation const& pending : inode.m_Pending) Do(inode.m_Durable, pending);
  inode.m_Pending.clear();
}

void StorePowerCut::Do(std::string& content, Operation const& operation) {
  auto const offset = static_cast<std::size_t>(operation.m_Offset);
  if (operation.m_Kind == Kind::Truncate) return content.resize(std::min(offset, content.size()));
  content.resize(std::max(content.size(), offset + operation.m_Bytes.size()));
  std::copy(operation.m_Bytes.begin(), operation.m_Bytes.end(),
            content.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::string StorePowerCut::ContentAfter(Inode const& inode, std::mt19937& random, int sector) {
  std::string content = inode.m_Durable;
  unsigned int const mood = random() % 4; // keep all, drop all, or mix
  for (Operation const& pending : inode.m_Pending) {
    unsigned int const fate = mood < 2 ? mood : random() % 3;
    if (fate == 1) continue;
    if (fate == 0 || pending.m_Kind == Kind::Truncate) {
      Do(content, pending);
      continue;
    }
    for (std::size_t done = 0; done < pending.m_Bytes.size();) {
      auto const offset = static_cast<std::size_t>(pending.m_Offset) + done;
      auto const end = (offset / static_cast<std::size_t>(sector) + 1) * static_cast<std::size_t>(sector);
      std::size_t const size = std::min(pending.m_Bytes.size() - done, end - offset);
      if (random() % 2 == 0)
        Do(content, {Kind::Write, {}, static_cast<std::int64_t>(offset), pending.m_Bytes.substr(done, size)});
      done += size;
    }
  }
  return content;
}

std::map<std::string, std::string> StorePowerCut::Cut(std::mt19937& random, int sector) const {
  std::map<std::string, std::string> files;
  for (auto const& [path, states] : m_Names) {
    int const state = states[random() % states.size()];
    if (state >= 0) files[path] = ContentAfter(m_Inodes[static_cast<std::size_t>(state)], random, sector);
  }
  return files;
}
