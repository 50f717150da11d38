#pragma once

#include "persist/backend/cls_ReadCollectionBase.h"
#include "platform/cow/cow_String.h"

/// Cursor over a stored map from int to a primitive, in the order in which the entries were written.
/// `T` is cow_String, float, double, unsigned int or int.
///
///     while (reader.More()) { T value = reader.Next(); int key; reader.Key(key); ... }
template <class T> class cls_ReadMapInt2Prim : public cls_ReadCollectionBase {
 public:
  /// The number of entries.
  /* 2 */ virtual int Count() = 0;

  /// Nonzero while entries remain.
  /* 3 */ virtual int More() = 0;

  /// Moves to the next entry and returns its value. REQUIRES: More().
  /* 4 */ virtual T Next() = 0;

  /// The key of the entry whose value Next returned last.
  /* 5 */ virtual void Key(int& key) = 0;
};

/// The same for a map from cow_String to a primitive.
template <class T> class cls_ReadMapString2Prim : public cls_ReadCollectionBase {
 public:
  /* 2 */ virtual int Count() = 0;
  /* 3 */ virtual int More() = 0;
  /* 4 */ virtual T Next() = 0;
  /* 5 */ virtual void Key(cow_String& key) = 0;
};

extern template class KVL_EXPORT cls_ReadMapInt2Prim<cow_String>;
extern template class KVL_EXPORT cls_ReadMapInt2Prim<float>;
extern template class KVL_EXPORT cls_ReadMapInt2Prim<double>;
extern template class KVL_EXPORT cls_ReadMapInt2Prim<unsigned int>;
extern template class KVL_EXPORT cls_ReadMapInt2Prim<int>;
extern template class KVL_EXPORT cls_ReadMapString2Prim<cow_String>;
extern template class KVL_EXPORT cls_ReadMapString2Prim<float>;
extern template class KVL_EXPORT cls_ReadMapString2Prim<double>;
extern template class KVL_EXPORT cls_ReadMapString2Prim<unsigned int>;
extern template class KVL_EXPORT cls_ReadMapString2Prim<int>;
