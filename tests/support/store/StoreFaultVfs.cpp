#include "tests/support/store/StoreFaultVfs.h"

#include "tests/support/store/StoreVfsForward.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <new>

namespace {

using Forward = StoreVfsForward;

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

using File = StoreVfsFile;

int Write(sqlite3_file* file, void const* data, int size, sqlite3_int64 offset) {
  return Run(
      SQLITE_IOERR_WRITE,
      [&] { return Forward::RealMethods(file).xWrite(Forward::Real(file), data, size, offset); },
      [&] { Forward::RealMethods(file).xWrite(Forward::Real(file), data, size / 2, offset); });
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  return Run(SQLITE_IOERR_TRUNCATE,
             [&] { return Forward::RealMethods(file).xTruncate(Forward::Real(file), size); });
}
int Sync(sqlite3_file*, int) {
  return Run(SQLITE_IOERR_FSYNC, [] { return SQLITE_OK; });
}
constexpr sqlite3_io_methods MethodsOf(int version) {
  sqlite3_io_methods methods = Forward::Methods(version);
  methods.xWrite = Write;
  methods.xTruncate = Truncate;
  methods.xSync = Sync;
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

int Delete(sqlite3_vfs*, char const* name, int) {
  return Run(SQLITE_IOERR_DELETE, [&] { return s_RealVfs->xDelete(s_RealVfs, name, 0); });
}

} // namespace

StoreFaultVfs::StoreFaultVfs(bool sharesMemory) {
  s_SharesMemory = sharesMemory;
  s_RealVfs = InstallStoreVfs<File>(s_Vfs, "store-fault", Open, Delete);
  Disarm();
}

StoreFaultVfs::~StoreFaultVfs() {
  RemoveStoreVfs(s_Vfs, s_RealVfs);
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
