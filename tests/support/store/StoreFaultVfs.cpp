#include "tests/support/store/StoreFaultVfs.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <new>
#include <stdexcept>

namespace {

std::int64_t s_StepsLeft = 0;
StoreFaultVfs::Fault s_Fault = StoreFaultVfs::Fault::None;
bool s_HasStruck = false;
bool s_IsReadOnly = false;
bool s_SharesMemory = false;

/// What happens to the next operation.
StoreFaultVfs::Fault NextStep() {
  if (s_Fault == StoreFaultVfs::Fault::None || --s_StepsLeft != 0) return StoreFaultVfs::Fault::None;
  s_HasStruck = true;
  return s_Fault;
}

[[noreturn]] void Die() {
  raise(SIGKILL);
  _exit(99);
}

/// The result of an operation: the real one, or the fault.
template <class Real, class Half> int Run(int errorCode, Real real, Half half) {
  switch (NextStep()) {
  case StoreFaultVfs::Fault::Kill:
    half();
    Die();
  case StoreFaultVfs::Fault::IoError:
    return errorCode;
  case StoreFaultVfs::Fault::Full:
    return SQLITE_FULL;
  case StoreFaultVfs::Fault::NoSpace:
    errno = ENOSPC;
    return errorCode;
  case StoreFaultVfs::Fault::LateIoError:
    real();
    return errorCode;
  default:
    return real();
  }
}

template <class Real> int Run(int errorCode, Real real) {
  return Run(errorCode, real, [] {});
}

struct File {
  sqlite3_file m_Base;
  sqlite3_file* m_Real; // in the memory behind this
};

sqlite3_file* Real(sqlite3_file* file) {
  return reinterpret_cast<File*>(file)->m_Real;
}
sqlite3_io_methods const& Methods(sqlite3_file* file) {
  return *Real(file)->pMethods;
}

int Write(sqlite3_file* file, void const* data, int size, sqlite3_int64 offset) {
  return Run(
      SQLITE_IOERR_WRITE, [&] { return Methods(file).xWrite(Real(file), data, size, offset); },
      [&] { Methods(file).xWrite(Real(file), data, size / 2, offset); });
}

int Close(sqlite3_file* file) {
  return Methods(file).xClose(Real(file));
}
int Read(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
  return Methods(file).xRead(Real(file), data, size, offset);
}
int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  return Run(SQLITE_IOERR_TRUNCATE, [&] { return Methods(file).xTruncate(Real(file), size); });
}
int Sync(sqlite3_file* file, int flags) {
  return Run(SQLITE_IOERR_FSYNC, [&] { return Methods(file).xSync(Real(file), flags); });
}
int FileSize(sqlite3_file* file, sqlite3_int64* size) {
  return Methods(file).xFileSize(Real(file), size);
}
int Lock(sqlite3_file* file, int level) {
  return Methods(file).xLock(Real(file), level);
}
int Unlock(sqlite3_file* file, int level) {
  return Methods(file).xUnlock(Real(file), level);
}
int CheckReservedLock(sqlite3_file* file, int* result) {
  return Methods(file).xCheckReservedLock(Real(file), result);
}
int FileControl(sqlite3_file* file, int operation, void* argument) {
  return Methods(file).xFileControl(Real(file), operation, argument);
}
int SectorSize(sqlite3_file* file) {
  return Methods(file).xSectorSize(Real(file));
}
int DeviceCharacteristics(sqlite3_file* file) {
  return Methods(file).xDeviceCharacteristics(Real(file));
}

int ShmMap(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  return Methods(file).xShmMap(Real(file), region, size, extend, memory);
}
int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
  return Methods(file).xShmLock(Real(file), offset, count, flags);
}
void ShmBarrier(sqlite3_file* file) {
  Methods(file).xShmBarrier(Real(file));
}
int ShmUnmap(sqlite3_file* file, int remove) {
  return Methods(file).xShmUnmap(Real(file), remove);
}

// Intentional: no version with memory mapping, so that every write passes here.
constexpr sqlite3_io_methods MethodsOf(int version) {
  sqlite3_io_methods methods{};
  methods.iVersion = version;
  methods.xClose = Close;
  methods.xRead = Read;
  methods.xWrite = Write;
  methods.xTruncate = Truncate;
  methods.xSync = Sync;
  methods.xFileSize = FileSize;
  methods.xLock = Lock;
  methods.xUnlock = Unlock;
  methods.xCheckReservedLock = CheckReservedLock;
  methods.xFileControl = FileControl;
  methods.xSectorSize = SectorSize;
  methods.xDeviceCharacteristics = DeviceCharacteristics;
  methods.xShmMap = ShmMap;
  methods.xShmLock = ShmLock;
  methods.xShmBarrier = ShmBarrier;
  methods.xShmUnmap = ShmUnmap;
  return methods;
}
constexpr sqlite3_io_methods s_Methods = MethodsOf(1);
constexpr sqlite3_io_methods s_SharingMethods = MethodsOf(2);

sqlite3_vfs* s_RealVfs = nullptr;
sqlite3_vfs s_Vfs{};

int Open(sqlite3_vfs*, char const* name, sqlite3_file* file, int flags, int* outFlags) {
  auto* const wrapper = reinterpret_cast<File*>(file);
  wrapper->m_Base.pMethods = nullptr;
  if (s_IsReadOnly) flags = (flags & ~SQLITE_OPEN_READWRITE & ~SQLITE_OPEN_CREATE) | SQLITE_OPEN_READONLY;
  wrapper->m_Real = reinterpret_cast<sqlite3_file*>(wrapper + 1);
  wrapper->m_Real->pMethods = nullptr;
  int const code = Run(SQLITE_CANTOPEN,
                       [&] { return s_RealVfs->xOpen(s_RealVfs, name, wrapper->m_Real, flags, outFlags); });
  if (code == SQLITE_OK)
    wrapper->m_Base.pMethods = s_SharesMemory ? &s_SharingMethods : &s_Methods;
  else if (wrapper->m_Real->pMethods != nullptr)
    wrapper->m_Real->pMethods->xClose(wrapper->m_Real); // opened, but reported as failed
  return code;
}

int Delete(sqlite3_vfs*, char const* name, int syncFolder) {
  return Run(SQLITE_IOERR_DELETE, [&] { return s_RealVfs->xDelete(s_RealVfs, name, syncFolder); });
}

} // namespace

StoreFaultVfs::StoreFaultVfs(bool sharesMemory) {
  s_SharesMemory = sharesMemory;
  s_RealVfs = sqlite3_vfs_find(nullptr);
  s_Vfs = *s_RealVfs;
  s_Vfs.zName = "store-fault";
  s_Vfs.szOsFile = static_cast<int>(sizeof(File)) + s_RealVfs->szOsFile;
  s_Vfs.pNext = nullptr;
  s_Vfs.xOpen = Open;
  s_Vfs.xDelete = Delete;
  if (sqlite3_vfs_register(&s_Vfs, 1) != SQLITE_OK) throw std::runtime_error("sqlite3_vfs_register");
  Disarm();
}

StoreFaultVfs::~StoreFaultVfs() {
  sqlite3_vfs_unregister(&s_Vfs);
  sqlite3_vfs_register(s_RealVfs, 1);
  Disarm();
  s_IsReadOnly = false;
}

void StoreFaultVfs::StrikeAt(std::int64_t step, Fault fault) {
  s_StepsLeft = step;
  s_Fault = fault;
  s_HasStruck = false;
}

bool StoreFaultVfs::HasStruck() {
  return s_HasStruck;
}

void StoreFaultVfs::Disarm() {
  s_Fault = Fault::None;
}

void StoreFaultVfs::MakeReadOnly() {
  s_IsReadOnly = true;
}
