#pragma once

/// One process-wide instance of `T`, made at the first call of Instance().
///
/// `T` derives from omi_Singleton<T>; whoever deletes the instance makes the next Instance() build a new one.
/// The pointer is set before anything of `T` is constructed, so `T`'s constructor may itself ask for
/// Instance(). Thread rule: the first Instance() runs during single-threaded start-up; there is no lock.
template <class T> class omi_Singleton {
 public:
  omi_Singleton(omi_Singleton const&) = delete;
  omi_Singleton& operator=(omi_Singleton const&) = delete;

  /// The instance, made when there is none.
  static T& Instance() {
    if (s_Instance == nullptr) new T;
    return *s_Instance;
  }

  /// The instance, or null when there is none.
  static T* InstanceIfAny() noexcept { return s_Instance; }

 protected:
  omi_Singleton() noexcept { s_Instance = static_cast<T*>(this); }
  ~omi_Singleton() { s_Instance = nullptr; }

 private:
  static inline T* s_Instance = nullptr;
};
