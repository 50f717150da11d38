#pragma once

#include "persist/backend/cls_WriteCollectionBase.h"
#include "platform/cow/cow_String.h"

/// Builder of a stored map from int to a primitive; the entries keep the order in which they are inserted.
/// `T` is cow_String, float, double, unsigned int or int.
template <class T> class cls_WriteMapInt2Prim : public cls_WriteCollectionBase {
 public:
  /* 2 */ virtual void Insert(int const& key, T const& value) = 0;
};

/// The same for a map from cow_String to a primitive.
template <class T> class cls_WriteMapString2Prim : public cls_WriteCollectionBase {
 public:
  /* 2 */ virtual void Insert(cow_String const& key, T const& value) = 0;
};

extern template class KVL_EXPORT cls_WriteMapInt2Prim<cow_String>;
extern template class KVL_EXPORT cls_WriteMapInt2Prim<float>;
extern template class KVL_EXPORT cls_WriteMapInt2Prim<double>;
extern template class KVL_EXPORT cls_WriteMapInt2Prim<unsigned int>;
extern template class KVL_EXPORT cls_WriteMapInt2Prim<int>;
extern template class KVL_EXPORT cls_WriteMapString2Prim<cow_String>;
extern template class KVL_EXPORT cls_WriteMapString2Prim<float>;
extern template class KVL_EXPORT cls_WriteMapString2Prim<double>;
extern template class KVL_EXPORT cls_WriteMapString2Prim<unsigned int>;
extern template class KVL_EXPORT cls_WriteMapString2Prim<int>;
