#pragma once

#include "persist/backend/cls_WriteCollectionBase.h"
#include "platform/cow/cow_String.h"

/// Builder of a stored list of primitives. The list is empty when its builder is made, and complete when the
/// builder is deleted; the elements must then be a whole number of rows, as
/// cls_MementoWrite::MakeWriteListPrim says.
/// `T` is bool, cow_String, float, double, unsigned int or int.
template <class T> class cls_WriteListPrim : public cls_WriteCollectionBase {
 public:
  /// Adds `count` elements at the end.
  /* 2 */ virtual void AppendRun(int count, T const* elements) = 0;

  /// Adds one element at the end.
  /* 3 */ virtual void Append(T const& element) = 0;
};

extern template class KVL_EXPORT cls_WriteListPrim<bool>;
extern template class KVL_EXPORT cls_WriteListPrim<cow_String>;
extern template class KVL_EXPORT cls_WriteListPrim<float>;
extern template class KVL_EXPORT cls_WriteListPrim<double>;
extern template class KVL_EXPORT cls_WriteListPrim<unsigned int>;
extern template class KVL_EXPORT cls_WriteListPrim<int>;
