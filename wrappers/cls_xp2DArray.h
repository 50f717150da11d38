#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_2DArray.h"
#include "platform/kvl_Export.h"

/// Persisted table: a copy-on-write table with an identity, stored as one list object (class 0x230001) of its
/// elements row after row, whose row width is the number of columns.
///
/// It is a value: copying shares the elements and keeps the identity; assigning another container gives it a
/// new identity, so that a changed value is stored as a new object. A table without rows or without columns
/// comes back as one of no rows and no columns. `T` is float or int; double has a class of its own below.
/// Thread rule: one thread. Errors: of the visitor's back end, of allocation.
template <class T> class cls_xp2DArray : public cow_2DArray<T> {
 public:
  /// `rows` by `columns` zeros under a fresh identity. Throws std::length_error when either is negative.
  cls_xp2DArray(int rows, int columns) : cow_2DArray<T>(rows, columns) {}

  /// The stored table and its identity. It has as many rows as are full in the list's count (the quotient of
  /// count and row width, truncated) and is 0 by 0 where that gives no rows, also for a negative width. Where
  /// the list yields less than that the rest is zero; what it yields beyond is not taken.
  /// Errors: a negative width or count that gives rows is refused by the container, with std::length_error.
  /// sto_Store refuses a negative width or count with its own error before that, so the container's is what
  /// other back ends can meet.
  explicit cls_xp2DArray(cls_ReadVisitor const& visitor);

  /// A table of these elements (shared) under an identity.
  cls_xp2DArray(cow_2DArray<T> const& table, cls_Uid const& uid) noexcept
      : cow_2DArray<T>(table), m_Uid(uid) {}

  /// Writes the elements, whatever the visitor's StartWrite answers. The shape is looked at again for each
  /// element: a back end that changes the table meanwhile is followed, not overrun.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the elements of `source` under a fresh identity; the wrapper's own container changes nothing.
  cls_xp2DArray& operator=(cow_2DArray<T> const& source);

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cls_Uid m_Uid;
};

extern template class KVL_EXPORT cls_xp2DArray<double>;
extern template class KVL_EXPORT cls_xp2DArray<float>;
extern template class KVL_EXPORT cls_xp2DArray<int>;

using cls_xp2DArrayFloat = cls_xp2DArray<float>;
using cls_xp2DArrayInt = cls_xp2DArray<int>;

/// The table of double, which also knows an owner.
class KVL_EXPORT cls_xp2DArrayDouble : public cls_xp2DArray<double> {
 public:
  cls_xp2DArrayDouble(int rows, int columns) : cls_xp2DArray(rows, columns) {}
  cls_xp2DArrayDouble(cow_2DArray<double> const& table, cls_Uid const& uid) noexcept
      : cls_xp2DArray(table, uid) {}

  /// The stored table and its identity. `ownerUid` (not owned, may be null) is kept and copied with the
  /// wrapper, never used or written.
  cls_xp2DArrayDouble(cls_ReadVisitor const& visitor, cls_Uid* ownerUid)
      : cls_xp2DArray(visitor), m_OwnerUid(ownerUid) {}

  cls_xp2DArrayDouble& operator=(cow_2DArray<double> const& source) {
    cls_xp2DArray::operator=(source);
    return *this;
  }

  [[nodiscard]] cls_Uid* OwnerUid() const noexcept { return m_OwnerUid; }

 private:
  cls_Uid* m_OwnerUid = nullptr;
};

/// A wrapper of the container's elements (shared) under a fresh identity.
KVL_EXPORT cls_xp2DArrayDouble cls_xp2DArrayDoubleFromCow(cow_2DArray<double> const& source);
KVL_EXPORT cls_xp2DArrayFloat cls_xp2DArrayFloatFromCow(cow_2DArray<float> const& source);
KVL_EXPORT cls_xp2DArrayInt cls_xp2DArrayIntFromCow(cow_2DArray<int> const& source);
