#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_1DArrayList.h"
#include "platform/kvl_Export.h"

/// Persisted array list: a growing copy-on-write array with an identity, stored as one list object (class
/// 0x230001) of its Count() used elements in index order.
///
/// It is a value: copying shares the elements and keeps the identity. Assigning a container of the platform
/// gives it a new identity, so that the new value is stored as a new object. Assigning another wrapper of
/// this class takes the identity of that one, and changing elements in place keeps the own: two wrappers of
/// one identity are one stored object. `T` is double, float, int, cow_String or unsigned int. Thread rule:
/// one thread. Errors: those of the visitor's back end, std::bad_alloc.
template <class T> class cls_xp1DArrayList : public cow_1DArrayList<T> {
 public:
  /// The stored list and its identity. `ownerUid` (not owned, may be null) is only kept, and copied
  /// with the wrapper; it is never used or written.
  cls_xp1DArrayList(cls_ReadVisitor const& visitor, cls_Uid* ownerUid);

  /// An empty list with storage for `length` elements, under a fresh identity.
  explicit cls_xp1DArrayList(int length) : cow_1DArrayList<T>(length) {}

  /// An empty list under a fresh identity.
  cls_xp1DArrayList() = default;

  /// Writes the used elements. Intentional: also if StartWrite reports the object as already written.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the elements of `source` under a fresh identity. Does nothing if `source` is this object.
  cls_xp1DArrayList& operator=(cow_1DArrayList<T> const& source);

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }
  [[nodiscard]] cls_Uid* OwnerUid() const noexcept { return m_OwnerUid; }

 private:
  cls_Uid m_Uid;
  cls_Uid* m_OwnerUid = nullptr;
};

using cls_xp1DArrayListDouble = cls_xp1DArrayList<double>;
using cls_xp1DArrayListFloat = cls_xp1DArrayList<float>;
using cls_xp1DArrayListInt = cls_xp1DArrayList<int>;
using cls_xp1DArrayListString = cls_xp1DArrayList<cow_String>;
using cls_xp1DArrayListUint = cls_xp1DArrayList<unsigned int>;

extern template class KVL_EXPORT cls_xp1DArrayList<double>;
extern template class KVL_EXPORT cls_xp1DArrayList<float>;
extern template class KVL_EXPORT cls_xp1DArrayList<int>;
extern template class KVL_EXPORT cls_xp1DArrayList<cow_String>;
extern template class KVL_EXPORT cls_xp1DArrayList<unsigned int>;

/// A wrapper that shares the container's elements, under a fresh identity.
KVL_EXPORT cls_xp1DArrayListDouble cls_xp1DArrayListDoubleFromCow(cow_1DArrayList<double> const& source);
KVL_EXPORT cls_xp1DArrayListFloat cls_xp1DArrayListFloatFromCow(cow_1DArrayList<float> const& source);
KVL_EXPORT cls_xp1DArrayListInt cls_xp1DArrayListIntFromCow(cow_1DArrayList<int> const& source);
KVL_EXPORT cls_xp1DArrayListString cls_xp1DArrayListStringFromCow(cow_1DArrayList<cow_String> const& source);
KVL_EXPORT cls_xp1DArrayListUint cls_xp1DArrayListUintFromCow(cow_1DArrayList<unsigned int> const& source);
