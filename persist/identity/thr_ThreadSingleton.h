#pragma once

#include "platform/kvl_Export.h"

/// What the singletons of one type share: how many threads have one, and the slot in which each finds its own.
/// Compiled once, so that this header, which every persisted class includes, needs no lock, no registry and no
/// header of the standard library. Thread rule: from any thread.
class KVL_EXPORT thr_ThreadSingletonCount {
 public:
  /// The value of the calling thread's slot, null when it has none. Takes no lock.
  [[nodiscard]] void* Instance() noexcept;
  /// How many threads have an instance.
  [[nodiscard]] int UserCount() noexcept;
  /// The index of the thread-local slot, -1 while no thread has an instance.
  [[nodiscard]] int Slot() noexcept;

  /// Counts the calling thread in and sets its slot; the first user allocates the slot. Throws what
  /// thr_TlsAlloc throws; nothing has changed then.
  void Bind(void* instance);
  /// Clears the calling thread's slot and counts it out; the last user frees the slot.
  void Unbind() noexcept;

  /// See thr_ThrSingletonRegistry.
  static void Register(bool (*finalizer)());
  static void SetDestructLevel(bool (*finalizer)(), int level);

 private:
  int m_UserCount = 0; // both are read and written as atomics
  int m_Slot = -1;
};

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
  static T* Instance() noexcept { return static_cast<T*>(s_Count.Instance()); }

  /// How many threads have an instance.
  static int UserCount() noexcept { return s_Count.UserCount(); }

  /// The index of the thread-local slot, -1 while no thread has an instance. For diagnostics.
  static int Slot() noexcept { return s_Count.Slot(); }

  /// Destroys the calling thread's instance. Returns true if there was one.
  static bool Finalize() {
    T* const instance = Instance();
    delete instance;
    return instance != nullptr;
  }

 protected:
  /// Binds the instance under construction to the calling thread.
  thr_ThreadSingletonBase() { s_Count.Bind(static_cast<T*>(this)); }

  /// Unbinds the instance; also runs when the constructor of `T` throws.
  ~thr_ThreadSingletonBase() { s_Count.Unbind(); }

 private:
  static inline constinit thr_ThreadSingletonCount s_Count;
};

/// Like the base, but makes the instance when a thread first uses it.
/// The library that owns `T` instantiates this explicitly, so that the process has one count and one slot.
template <class T> class KVL_EXPORT thr_ThreadSingleton : public thr_ThreadSingletonBase<T> {
 public:
  /// The calling thread's instance. Makes it, and registers it for the thread's end, if there is none.
  static T& Instance() {
    if (T* const instance = thr_ThreadSingletonBase<T>::Instance()) return *instance;
    thr_ThreadSingletonCount::Register(&thr_ThreadSingletonBase<T>::Finalize);
    return *new T;
  }

 protected:
  /// Orders the type's finaliser among the others. `T`'s constructor calls this last.
  static void SetDestructLevel() {
    thr_ThreadSingletonCount::SetDestructLevel(&thr_ThreadSingletonBase<T>::Finalize, T::DestructLevel);
  }
};
