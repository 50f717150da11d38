#pragma once

#include "persist/identity/cls_Uid.h"
#include "persist/identity/thr_ThreadSingleton.h"
#include "platform/cow/cow_COW.h"
#include "platform/kvl_Export.h"

/// The calling thread's shared constants. Reached through thr_ThreadSingleton<cls_Static>::Instance().
///
/// It holds an identity, so it is destroyed before the identity catalogue (destruct level 4 against 2).
/// Thread rule: each thread has its own; the constants must not cross threads.
class KVL_EXPORT cls_Static : public thr_ThreadSingleton<cls_Static> {
 public:
  static constexpr int DestructLevel = 4;

  /// The null integer holder: counted, holding no integer. For callers that must pass a holder but have no
  /// payload. Owned by this object.
  [[nodiscard]] cow_COW<int, cow_Direct<int>> const* ConstIntCOW() const noexcept { return m_NullInteger; }

  /// The thread's constant identity: the same at every call, different in every thread.
  [[nodiscard]] cls_Uid const& ConstUid() const noexcept { return m_Uid; }

 private:
  friend class thr_ThreadSingleton<cls_Static>;
  friend class thr_ThreadSingletonBase<cls_Static>;

  cls_Static();
  ~cls_Static();

  cow_COW<int, cow_Direct<int>>* m_NullInteger;
  cls_Uid m_Uid;
};

extern template class thr_ThreadSingletonBase<cls_Static>;
extern template class thr_ThreadSingleton<cls_Static>;
