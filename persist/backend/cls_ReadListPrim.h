#pragma once

#include "persist/backend/cls_ReadCollectionBase.h"
#include "platform/cow/cow_String.h"

/// Cursor over a stored list of primitives, from its first element on.
/// `T` is bool, cow_String, float, double, unsigned int or int.
template <class T> class cls_ReadListPrim : public cls_ReadCollectionBase {
 public:
  /// The number of elements in the list.
  /* 2 */ virtual int Count() = 0;

  /// The row width that the writer was given: 1 for one-dimensional values, the column count for tables.
  /* 3 */ virtual int RowWidth() = 0;

  /// Nonzero while elements remain.
  /* 4 */ virtual int More() = 0;

  /// Copies up to `count` elements to `destination` and moves past them; returns how many were copied.
  /* 5 */ virtual int NextRun(int count, T* destination) = 0;

  /// The next element. REQUIRES: More().
  /* 6 */ virtual T Next() = 0;
};

extern template class KVL_EXPORT cls_ReadListPrim<bool>;
extern template class KVL_EXPORT cls_ReadListPrim<cow_String>;
extern template class KVL_EXPORT cls_ReadListPrim<float>;
extern template class KVL_EXPORT cls_ReadListPrim<double>;
extern template class KVL_EXPORT cls_ReadListPrim<unsigned int>;
extern template class KVL_EXPORT cls_ReadListPrim<int>;
