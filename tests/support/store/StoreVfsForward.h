#pragma once

#include <sqlite3.h>

#include <stdexcept>

/// What the test file systems share: a file that passes each call on to a file of the real file system. The wrappers
/// begin with a StoreVfsFile, take StoreVfsForward::Methods() and replace the calls that they watch.
struct StoreVfsFile {
  sqlite3_file m_Base;
  sqlite3_file* m_Real; // in the memory behind the wrapper
};

class StoreVfsForward {
 public:
  static sqlite3_file* Real(sqlite3_file* file) noexcept {
    return reinterpret_cast<StoreVfsFile*>(file)->m_Real;
  }
  static sqlite3_io_methods const& RealMethods(sqlite3_file* file) noexcept { return *Real(file)->pMethods; }

  /// Version 1, or 2 with the shared memory of a write-ahead log.
  /// Intentional: no version with memory mapping, so that every write is seen.
  static constexpr sqlite3_io_methods Methods(int version) {
    sqlite3_io_methods methods{};
    methods.iVersion = version;
    methods.xClose = &Forward<&sqlite3_io_methods::xClose>::Call;
    methods.xRead = &Forward<&sqlite3_io_methods::xRead>::Call;
    methods.xWrite = &Forward<&sqlite3_io_methods::xWrite>::Call;
    methods.xTruncate = &Forward<&sqlite3_io_methods::xTruncate>::Call;
    methods.xSync = &Forward<&sqlite3_io_methods::xSync>::Call;
    methods.xFileSize = &Forward<&sqlite3_io_methods::xFileSize>::Call;
    methods.xLock = &Forward<&sqlite3_io_methods::xLock>::Call;
    methods.xUnlock = &Forward<&sqlite3_io_methods::xUnlock>::Call;
    methods.xCheckReservedLock = &Forward<&sqlite3_io_methods::xCheckReservedLock>::Call;
    methods.xFileControl = &Forward<&sqlite3_io_methods::xFileControl>::Call;
    methods.xSectorSize = &Forward<&sqlite3_io_methods::xSectorSize>::Call;
    methods.xDeviceCharacteristics = &Forward<&sqlite3_io_methods::xDeviceCharacteristics>::Call;
    methods.xShmMap = &Forward<&sqlite3_io_methods::xShmMap>::Call;
    methods.xShmLock = &Forward<&sqlite3_io_methods::xShmLock>::Call;
    methods.xShmBarrier = &Forward<&sqlite3_io_methods::xShmBarrier>::Call;
    methods.xShmUnmap = &Forward<&sqlite3_io_methods::xShmUnmap>::Call;
    return methods;
  }

 private:
  template <auto Member> struct Forward;
  template <class Result, class... Arguments,
            Result (*sqlite3_io_methods::*Member)(sqlite3_file*, Arguments...)>
  struct Forward<Member> {
    static Result Call(sqlite3_file* file, Arguments... arguments) {
      return (RealMethods(file).*Member)(Real(file), arguments...);
    }
  };
};

/// Makes `vfs` the default file system: the real one with another name, and with these two operations on files of
/// type `File`, a StoreVfsFile. Returns the real one.
template <class File>
sqlite3_vfs* InstallStoreVfs(sqlite3_vfs& vfs, char const* name, decltype(sqlite3_vfs::xOpen) open,
                             decltype(sqlite3_vfs::xDelete) remove) {
  sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
  vfs = *real;
  vfs.zName = name;
  vfs.szOsFile = static_cast<int>(sizeof(File)) + real->szOsFile;
  vfs.pNext = nullptr;
  vfs.xOpen = open;
  vfs.xDelete = remove;
  if (sqlite3_vfs_register(&vfs, 1) != SQLITE_OK) throw std::runtime_error("sqlite3_vfs_register");
  return real;
}
/// Makes the real one the default again.
inline void RemoveStoreVfs(sqlite3_vfs& vfs, sqlite3_vfs* real) {
  sqlite3_vfs_unregister(&vfs);
  sqlite3_vfs_register(real, 1);
}
