#pragma once

#include <atomic>

#include "platform/kvl_Export.h"
#include "platform/thr/thr_GlobalLock.h"
#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "platform/thr/thr_ThreadSlot.h"

/// The calling thread's instance of `T`, found through one thread-local slot index that all threads share.
///
/// REQUIRES: `T` derives from thr_ThreadSingleton<T> and has a default constructor and a constant
/// `DestructLevel`. The slot exists while any thread has an instance: the first instance allocates it, the
/// end of the last one frees it.
///
/// Thread rule: each thread sees only its own instance. The global lock is held around the user count and the
/// slot, never while `T` is constructed or destroyed.
template <class T> class KVL_EXPORT thr_ThreadSingletonBase {
 public:
  thr_ThreadSingletonBase(thr_ThreadSingletonBase const&) = delete;
  thr_ThreadSingletonBase& operator=(thr_ThreadSingletonBase const&) = delete;

  /// The calling thread's instance, null when it has none; never makes one.
  static T* Instance() noexcept {
    if (s_UserCount.load(std::memory_order_relaxed) < 1) return nullptr;
    return static_cast<T*>(thr_TlsGetValue(s_Slot.load(std::memory_order_relaxed)));
  }

  /// How many threads have an instance.
  static int UserCount() noexcept { return s_UserCount.load(); }

  /// The index of the thread-local slot, -1 while no thread has an instance. For diagnostics.
  static int Slot() noexcept { return s_Slot.load(); }

  /// Destroys the calling thread's instance. Returns true if there was one.
  static bool Finalize() {
    T* const instance = Instance();
    delete instance;
    return instance != nullptr;
  }

 protected:
  /// Binds the instance under construction to the calling thread.
  thr_ThreadSingletonBase() {
    {
      thr_GlobalLock::Guard const guard;
      if (s_UserCount.load() == 0) s_Slot = thr_TlsAlloc();
      s_UserCount.fetch_add(1);
    }
    thr_TlsSetValue(s_Slot, static_cast<T*>(this));
  }

  /// Unbinds the instance; also runs when the constructor of `T` throws.
  ~thr_ThreadSingletonBase() {
    thr_TlsSetValue(s_Slot, nullptr);
    thr_GlobalLock::Guard const guard;
    if (s_UserCount.fetch_sub(1) == 1) thr_TlsFree(s_Slot.exchange(-1));
  }

 private:
  static inline std::atomic<int> s_UserCount = 0;
  static inline std::atomic<int> s_Slot = -1;
};

/// Like the base, but makes the instance when a thread first uses it.
/// The library that owns `T` instantiates this explicitly, so that the process has one count and one slot.
template <class T> class KVL_EXPORT thr_ThreadSingleton : public thr_ThreadSingletonBase<T> {
 public:
  /// The calling thread's instance. Makes it, and registers it for the thread's end, if there is none.
  static T& Instance() {
    if (T* const instance = thr_ThreadSingletonBase<T>::Instance()) return *instance;
    thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().Register(&thr_ThreadSingletonBase<T>::Finalize);
    return *new T;
  }

 protected:
  /// Orders the type's finaliser among the others. `T`'s constructor calls this last.
  static void SetDestructLevel() {
    thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().SetDestructLevel(
        &thr_ThreadSingletonBase<T>::Finalize, T::DestructLevel);
  }
};
