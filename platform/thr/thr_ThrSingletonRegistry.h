#pragma once

#include <mutex>
#include <vector>

#include "platform/kvl_Export.h"
#include "platform/thr/thr_GlobalSingleton.h"

/// Knows the finalisers of all per-thread singletons and runs them when a thread ends.
///
/// Reached through thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().
///
/// When a thread that registered a finaliser ends, in whatever way (return, pthread_exit, cancellation, or
/// calling exit), the finalisers run on it from the highest destruct level to the lowest, so a user of a
/// service is destroyed before the service. At a thread's end they run after the destructors of that thread's
/// thread_local objects. At process exit they run after the destructors of the static objects of every
/// program, library and plug-in that uses this one.
///
/// The library or plug-in that a finaliser belongs to stays loaded until the process ends, whoever unloads
/// it.
///
/// Thread rule: every operation may be called from any thread.
class KVL_EXPORT thr_ThrSingletonRegistry {
 public:
  /// Destroys the calling thread's instance of one type. Returns true if there was one.
  using Finalizer = bool (*)();

  thr_ThrSingletonRegistry() = default;
  thr_ThrSingletonRegistry(thr_ThrSingletonRegistry const&) = delete;
  thr_ThrSingletonRegistry& operator=(thr_ThrSingletonRegistry const&) = delete;

  /// Makes `finalizer` run when the calling thread ends. Registering it again, from this thread or another,
  /// does not change its level or run it twice. A new finaliser has level 0.
  void Register(Finalizer finalizer);

  /// Sets the destruct level of a registered finaliser; an unknown one is ignored.
  void SetDestructLevel(Finalizer finalizer, int level);

  /// The level of a registered finaliser, -1 if it is unknown.
  [[nodiscard]] int DestructLevel(Finalizer finalizer) const;

  /// Runs the finalisers on the calling thread now. An instance that a finaliser makes is destroyed too. An
  /// instance made afterwards is destroyed when the thread ends.
  void FinalizeThread();

 private:
  struct Entry {
    Finalizer m_Finalizer;
    int m_Level;
  };

  bool RunOnce();

  mutable std::mutex m_Mutex;
  std::vector<Entry> m_Entries; // from the highest level to the lowest, oldest first within a level
};

extern template class KVL_EXPORT thr_GlobalSingleton<thr_ThrSingletonRegistry>;
