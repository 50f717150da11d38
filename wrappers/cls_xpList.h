#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_List.h"
#include "platform/kvl_Export.h"

/// Persisted list: a copy-on-write list with an identity, stored as one list object (class 0x230001) of its
/// elements in order.
///
/// It is a value: copying shares the elements and keeps the identity. Assigning a container of the platform
/// gives it a new identity, so that the new value is stored as a new object. Assigning another wrapper of
/// this class takes the identity of that one, and changing elements in place keeps the own: two wrappers of
/// one identity are one stored object. `T` is float, int or cow_String. Thread rule: one thread. Errors:
/// those of the visitor's back end, std::bad_alloc.
template <class T> class cls_xpList : public cow_List<T> {
 public:
  /// The stored list and its identity.
  explicit cls_xpList(cls_ReadVisitor const& visitor);

  /// A list that shares these elements, under an identity.
  cls_xpList(cow_List<T> const& list, cls_Uid const& uid) noexcept : cow_List<T>(list), m_Uid(uid) {}

  /// An empty list under a fresh identity.
  cls_xpList() = default;

  /// Writes the elements. Intentional: also if StartWrite reports the object as already written.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the elements of `source` under a fresh identity. Does nothing if `source` is this object.
  cls_xpList& operator=(cow_List<T> const& source);

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cls_Uid m_Uid;
};

using cls_xpListFloat = cls_xpList<float>;
using cls_xpListInt = cls_xpList<int>;
using cls_xpListString = cls_xpList<cow_String>;

extern template class KVL_EXPORT cls_xpList<float>;
extern template class KVL_EXPORT cls_xpList<int>;
extern template class KVL_EXPORT cls_xpList<cow_String>;

/// A wrapper that shares the container's elements, under a fresh identity.
KVL_EXPORT cls_xpListFloat cls_xpListFloatFromCow(cow_List<float> const& source);
KVL_EXPORT cls_xpListInt cls_xpListIntFromCow(cow_List<int> const& source);
KVL_EXPORT cls_xpListString cls_xpListStringFromCow(cow_List<cow_String> const& source);
