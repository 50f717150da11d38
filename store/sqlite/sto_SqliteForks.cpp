#include "store/sqlite/sto_SqliteForks.h"

#include <pthread.h>
#include <sqlite3.h>

#include <mutex>
#include <new>
#include <utility>

namespace {

using sto_SqliteForks::Known;

/// Locked while the process forks, so that the child finds the list whole.
class List {
 public:
  List() {
    if (pthread_atfork([] { Get().m_Mutex.lock(); }, [] { Get().m_Mutex.unlock(); },
                       [] { Get().Inherit(); }) != 0)
      throw std::bad_alloc();
  }
  /// Lives as long as the process: it may fork while it ends.
  static List& Get() {
    static List& list = *new List;
    return list;
  }

  std::mutex m_Mutex;
  std::list<Known> m_Known;

 private:
  void Inherit() noexcept {
    for (Known& each : m_Known) each.m_IsInherited = true;
    m_Mutex.unlock();
  }
};

void GiveUpLocks(sqlite3* handle) noexcept {
  sqlite3_file* const file = sto_FileOfSqlite(handle);
  if (file == nullptr) return;
  sqlite3_io_methods const& methods = *file->pMethods;
  if (methods.iVersion >= 2 && methods.xShmUnmap != nullptr) methods.xShmUnmap(file, 0);
  methods.xUnlock(file, SQLITE_LOCK_NONE);
}

} // namespace

sqlite3_file* sto_FileOfSqlite(sqlite3* handle) noexcept {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(handle, "main", SQLITE_FCNTL_FILE_POINTER, static_cast<void*>(&file));
  return file == nullptr || file->pMethods == nullptr ? nullptr : file;
}

sto_SqliteForks::Entry::Entry(sqlite3* const& handle) {
  List& list = List::Get();
  std::lock_guard const lock(list.m_Mutex);
  m_Place = list.m_Known.insert(list.m_Known.end(), Known{&handle});
}

sto_SqliteForks::Entry::~Entry() {
  List& list = List::Get();
  std::lock_guard const lock(list.m_Mutex);
  list.m_Known.erase(m_Place);
}

void sto_SqliteForks::GiveUpInherited() noexcept {
  List& list = List::Get();
  std::lock_guard const lock(list.m_Mutex);
  for (Known& each : list.m_Known)
    if (std::exchange(each.m_IsInherited, false) && *each.m_Handle != nullptr) GiveUpLocks(*each.m_Handle);
}
