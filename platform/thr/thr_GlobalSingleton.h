#pragma once

/// One process-wide instance of `T`, made at the first call, without a race, and never destroyed.
/// The library that owns `T` instantiates this explicitly, so that the process has one.
template <class T> class thr_GlobalSingleton {
 public:
  static T& Instance() {
    static T& instance = *new T;
    return instance;
  }
};
