#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_1DArray.h"
#include "platform/kvl_Export.h"

/// Persisted fixed array: a copy-on-write array with an identity, stored as one list object (class 0x230001)
/// of its Length() elements in index order.
///
/// It is a value: copying shares the elements and keeps the identity. Assigning a container of the platform
/// gives it a new identity, so that the new value is stored as a new object. Assigning another wrapper of
/// this class takes the identity of that one, and changing elements in place keeps the own: two wrappers of
/// one identity are one stored object. `T` is double or int. Thread rule: one thread. Errors: those of the
/// visitor's back end, std::bad_alloc.
template <class T> class cls_xp1DArray : public cow_1DArray<T> {
 public:
  /// The stored array and its identity.
  explicit cls_xp1DArray(cls_ReadVisitor const& visitor);

  /// An array that shares these elements, under an identity.
  cls_xp1DArray(cow_1DArray<T> const& array, cls_Uid const& uid) noexcept
      : cow_1DArray<T>(array), m_Uid(uid) {}

  /// An empty array under a fresh identity.
  cls_xp1DArray() = default;

  /// Writes the elements. Intentional: also if StartWrite reports the object as already written.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the elements of `source` under a fresh identity. Does nothing if `source` is this object.
  cls_xp1DArray& operator=(cow_1DArray<T> const& source);

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cls_Uid m_Uid;
};

using cls_xp1DArrayDouble = cls_xp1DArray<double>;
using cls_xp1DArrayInt = cls_xp1DArray<int>;

extern template class KVL_EXPORT cls_xp1DArray<double>;
extern template class KVL_EXPORT cls_xp1DArray<int>;

/// A wrapper that shares the container's elements, under a fresh identity.
KVL_EXPORT cls_xp1DArrayDouble cls_xp1DArrayDoubleFromCow(cow_1DArray<double> const& source);
KVL_EXPORT cls_xp1DArrayInt cls_xp1DArrayIntFromCow(cow_1DArray<int> const& source);
