#include "tests/support/StoreFaultVfs.h"

#include <sqlite3.h>
#include <unistd.h>

#include <csignal>
#include <new>
#include <stdexcept>

namespace {

std::int64_t s_StepsLeft = 0;
StoreFaultVfs::Fault s_Fault = StoreFaultVfs::Fault::None;
bool s_HasStruck = false;
bool s_IsReadOnly = false;

/// What the next operation meets.
StoreFaultVfs::Fault NextStep() {
  if (s_Fault == StoreFaultVfs::Fault::None || --s_StepsLeft != 0) return StoreFaultVfs::Fault::None;
  s_HasStruck = true;
  return s_Fault;
}

[[noreturn]] void Die() {
  raise(SIGKILL);
  _exit(99);
}

/// Makes the result of an operation: the real one's, or the fault.
template <class Real> int Run(int errorCode, Real real) {
  switch (NextStep()) {
  case StoreFaultVfs::Fault::Kill:
    Die();
  case StoreFaultVfs::Fault::IoError:
    return errorCode;
  case StoreFaultVfs::Fault::Full:
    return SQLITE_FULL;
  default:
    return real();
  }
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
  switch (NextStep()) {
  case StoreFaultVfs::Fault::Kill:
    Methods(file).xWrite(Real(file), data, size / 2, offset);
    Die();
  case StoreFaultVfs::Fault::IoError:
    return SQLITE_IOERR_WRITE;
  case StoreFaultVfs::Fault::Full:
    return SQLITE_FULL;
  default:
    return Methods(file).xWrite(Real(file), data, size, offset);
  }
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

// Version 1 on purpose: no mapping into memory, so that every write passes here.
sqlite3_io_methods const s_Methods{1,
                                   Close,
                                   Read,
                                   Write,
                                   Truncate,
                                   Sync,
                                   FileSize,
                                   Lock,
                                   Unlock,
                                   CheckReservedLock,
                                   FileControl,
                                   SectorSize,
                                   DeviceCharacteristics,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr};

sqlite3_vfs* s_RealVfs = nullptr;
sqlite3_vfs s_Vfs{};

int Open(sqlite3_vfs*, char const* name, sqlite3_file* file, int flags, int* outFlags) {
  auto* const wrapper = reinterpret_cast<File*>(file);
  wrapper->m_Base.pMethods = nullptr;
  if (s_IsReadOnly) flags = (flags & ~SQLITE_OPEN_READWRITE & ~SQLITE_OPEN_CREATE) | SQLITE_OPEN_READONLY;
  wrapper->m_Real = reinterpret_cast<sqlite3_file*>(wrapper + 1);
  int const code = Run(SQLITE_CANTOPEN,
                       [&] { return s_RealVfs->xOpen(s_RealVfs, name, wrapper->m_Real, flags, outFlags); });
  if (code == SQLITE_OK) wrapper->m_Base.pMethods = &s_Methods;
  return code;
}

int Delete(sqlite3_vfs*, char const* name, int syncFolder) {
  return Run(SQLITE_IOERR_DELETE, [&] { return s_RealVfs->xDelete(s_RealVfs, name, syncFolder); });
}

} // namespace

StoreFaultVfs::StoreFaultVfs() {
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
