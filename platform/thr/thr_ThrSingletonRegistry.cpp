#include "platform/thr/thr_ThrSingletonRegistry.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <system_error>

#include "platform/kvl_Loaded.h"

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

std::atomic<bool> s_IsUsed = false;

/// Runs the finalisers at process exit on the thread that exits: the system does not destroy its keys.
struct ProcessExit {
  ProcessExit() = default;
  ProcessExit(ProcessExit const&) = delete;
  ProcessExit& operator=(ProcessExit const&) = delete;
  ~ProcessExit() {
    if (s_IsUsed) Registry().FinalizeThread();
  }
};

// Built when this library is loaded, before every static object of a program or plug-in that uses it. So
// those are destroyed earlier, and may hold identities until then. The priority says the same inside one
// program that this library is linked into.
[[gnu::init_priority(101)]] ProcessExit const s_ProcessExit;

void WatchThisThread() {
  static ThreadEnd& threadEnd = *new ThreadEnd;
  threadEnd.Watch();
  s_IsUsed = true;
}

/// The system will call code of this library, and the registry will call the finaliser, when threads end that
/// know nothing of plug-ins.
void KeepLoaded(thr_ThrSingletonRegistry::Finalizer finalizer) {
  kvl_KeepLoaded(&s_ProcessExit);
  kvl_KeepLoaded(reinterpret_cast<void const*>(finalizer));
}

} // namespace

void thr_ThrSingletonRegistry::Register(Finalizer finalizer) {
  if (DestructLevel(finalizer) == -1) KeepLoaded(finalizer); // without the lock: see kvl_KeepLoaded
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
