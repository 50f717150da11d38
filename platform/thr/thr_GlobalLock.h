#pragma once

#include <mutex>

#include "platform/kvl_Export.h"
#include "platform/omni/omi_Singleton.h"

/// The process-wide lock. Reached through omi_Singleton<thr_GlobalLock>::Instance(), from any thread at any
/// time: unlike other singletons, it is made as a function-local static and never destroyed.
class KVL_EXPORT thr_GlobalLock {
 public:
  void Lock() { m_Mutex.lock(); }
  void Unlock() { m_Mutex.unlock(); }

  /// Holds the lock for a scope.
  class Guard {
   public:
    Guard();
    ~Guard();
    Guard(Guard const&) = delete;
    Guard& operator=(Guard const&) = delete;
  };

 private:
  std::mutex m_Mutex;
};

template <> class KVL_EXPORT omi_Singleton<thr_GlobalLock> {
 public:
  static thr_GlobalLock& Instance();
};
