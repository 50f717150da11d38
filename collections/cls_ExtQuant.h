#pragma once

#include "persist/identity/thr_ThreadSingleton.h"
#include "platform/cow/cow_Btree.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// The calling thread's extent quanta: allocation sizes, in rows, that client code asks for when it lays out
/// tables. Reached through thr_ThreadSingleton<cls_ExtQuant>::Instance().
///
/// Setting EXTENT_QUANTUM_OVERRIDE to anything, even empty, lets a user override a quantum with the
/// environment variable of its name. Each thread reads the switch once. The first look-up of a name chooses
/// its value, prints it to the standard output and keeps it. Thread rule: each thread has its own.
class KVL_EXPORT cls_ExtQuant : public thr_ThreadSingleton<cls_ExtQuant> {
 public:
  static constexpr int DestructLevel = 3;

  /// The quantum of a name: the value that this thread chose before; otherwise the environment's (as atoi
  /// reads it, if that is at least 1); otherwise `defaultQuantum`. Without the switch, always
  /// `defaultQuantum`.
  int ExtentQuantum(cow_String const& name, int defaultQuantum);

  int ExtentQuantumConstTiny();   ///< EXTENT_QUANTUM_TINY, 4
  int ExtentQuantumConstSmall();  ///< EXTENT_QUANTUM_SMALL, 512
  int ExtentQuantumConstMedium(); ///< EXTENT_QUANTUM_MEDIUM, 1024
  int ExtentQuantumConstLarge();  ///< EXTENT_QUANTUM_LARGE, 2048
  int ExtentQuantumConstHuge();   ///< EXTENT_QUANTUM_HUGE, 4096

 private:
  friend class thr_ThreadSingleton<cls_ExtQuant>;
  friend class thr_ThreadSingletonBase<cls_ExtQuant>;

  enum State : int { Off = 0, Active = 1, NotLookedAt = 2 };

  cls_ExtQuant() { SetDestructLevel(); }
  ~cls_ExtQuant() = default;

  State m_State = NotLookedAt;        // set by this thread's first look-up
  cow_Btree<cow_String, int> m_Cache; // the value of each name; filled by ExtentQuantum
};

extern template class thr_ThreadSingletonBase<cls_ExtQuant>;
extern template class thr_ThreadSingleton<cls_ExtQuant>;
