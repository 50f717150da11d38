#pragma once

/// One process-wide instance of `T`, made at the first call of Instance().
///
/// `T` derives from omi_Singleton<T>. After the instance is deleted, the next Instance() makes a new one. The
/// pointer is set before anything of `T` is constructed, so `T`'s constructor may call Instance(). Thread
/// rule: the first Instance() runs during single-threaded start-up; there is no lock.
template <class T> class omi_Singleton {
 public:
  omi_Singleton(omi_Singleton const&) = delete;
  omi_Singleton& operator=(omi_Singleton const&) = delete;

  /// The instance; makes it if there is none.
  static T& Instance() {
    if (s_Instance == nullptr) new T;
    return *s_Instance;
  }

  /// The instance, or null if there is none.
  static T* InstanceIfAny() noexcept { return s_Instance; }

 protected:
  omi_Singleton() noexcept { s_Instance = static_cast<T*>(this); }
  ~omi_Singleton() { s_Instance = nullptr; }

 private:
  static inline T* s_Instance = nullptr;
};
