#include "platform/thr/thr_ThrSingletonRegistry.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>

template class thr_GlobalSingleton<thr_ThrSingletonRegistry>;

namespace {

thr_ThrSingletonRegistry& Registry() {
  return thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance();
}

/// How many times the finalisers are repeated at a thread's end while they keep making new instances.
constexpr int MaxPasses = 16;

/// A thread-local value whose destructor the system calls at every kind of thread end, after the destructors
/// of the language's thread_local objects, so that those may still hold identities.
class ThreadEnd {
 public:
  ThreadEnd() {
    if (int const error = pthread_key_create(&m_Key, [](void*) { Registry().FinalizeThread(); }))
      throw std::system_error(error, std::generic_category(), "pthread_key_create");
  }

  void Watch() {
    if (pthread_getspecific(m_Key) != nullptr) return;
    if (int const error = pthread_setspecific(m_Key, this))
      throw std::system_error(error, std::generic_category(), "pthread_setspecific");
  }

 private:
  pthread_key_t m_Key{};
};

/// Runs the finalisers at process exit on the thread that exits: the system does not destroy its keys.
struct ProcessExit {
  ProcessExit() = default;
  ProcessExit(ProcessExit const&) = delete;
  ProcessExit& operator=(ProcessExit const&) = delete;
  ~ProcessExit() { Registry().FinalizeThread(); }
};

void WatchThisThread() {
  static ThreadEnd& threadEnd = *new ThreadEnd;
  threadEnd.Watch();
  static ProcessExit const processExit;
}

} // namespace

void thr_ThrSingletonRegistry::Register(Finalizer finalizer) {
  WatchThisThread();
  std::lock_guard const lock(m_Mutex);
  bool const known = std::any_of(m_Entries.begin(), m_Entries.end(),
                                 [&](Entry const& entry) { return entry.m_Finalizer == finalizer; });
  if (!known) m_Entries.push_back({finalizer, 0});
}

void thr_ThrSingletonRegistry::SetDestructLevel(Finalizer finalizer, int level) {
  std::lock_guard const lock(m_Mutex);
  for (Entry& entry : m_Entries)
    if (entry.m_Finalizer == finalizer) entry.m_Level = level;
  std::stable_sort(m_Entries.begin(), m_Entries.end(),
                   [](Entry const& a, Entry const& b) { return a.m_Level > b.m_Level; });
}

int thr_ThrSingletonRegistry::DestructLevel(Finalizer finalizer) const {
  std::lock_guard const lock(m_Mutex);
  for (Entry const& entry : m_Entries)
    if (entry.m_Finalizer == finalizer) return entry.m_Level;
  return -1;
}

void thr_ThrSingletonRegistry::FinalizeThread() {
  for (int pass = 0; pass < MaxPasses && RunOnce(); ++pass) {
  }
}

bool thr_ThrSingletonRegistry::RunOnce() {
  std::vector<Entry> entries;
  {
    // A finaliser may register further types, so it runs without the lock.
    std::lock_guard const lock(m_Mutex);
    entries = m_Entries;
  }
  bool destroyed = false;
  for (Entry const& entry : entries) destroyed = entry.m_Finalizer() || destroyed;
  return destroyed;
}
