#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_2DArray.h"
#include "platform/kvl_Export.h"

/// Persisted table: a copy-on-write table with an identity, stored as one list object (class 0x230001) of its
/// elements row after row, whose row width is the number of columns.
///
/// It is a value: copying shares the elements and keeps the identity. Assigning a container of the platform
/// gives it a new identity, so that the new value is stored as a new object. Assigning another wrapper of
/// this class takes the identity of that one, and changing elements in place keeps the own: two wrappers of
/// one identity are one stored object. A table without rows or without columns is read back as 0 by 0. `T` is
/// float or int; double has its own class below. Thread rule: one thread. Errors: those of the visitor's back
/// end, std::bad_alloc.
template <class T> class cls_xp2DArray : public cow_2DArray<T> {
 public:
  /// `rows` by `columns` zeros under a fresh identity. Throws std::length_error when either is negative.
  cls_xp2DArray(int rows, int columns) : cow_2DArray<T>(rows, columns) {}

  /// The stored table and its identity. The number of rows is the list's count divided by its row width,
  /// truncated; without rows, also for a negative width, the table is 0 by 0. If the list returns fewer
  /// elements the rest is zero; further elements are not read.
  /// Errors: if a negative width or count gives rows, the container throws std::length_error. (sto_Store
  /// refuses them earlier with its own error, so this concerns other back ends.)
  explicit cls_xp2DArray(cls_ReadVisitor const& visitor);

  /// A table that shares these elements, under an identity.
  cls_xp2DArray(cow_2DArray<T> const& table, cls_Uid const& uid) noexcept
      : cow_2DArray<T>(table), m_Uid(uid) {}

  /// Writes the elements. Intentional: also if StartWrite reports the object as already written. Reads the
  /// shape again for each element, so a back end may change the table meanwhile.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the elements of `source` under a fresh identity. Does nothing if `source` is this object.
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

/// The table of double, which also keeps a pointer to an owner's identity.
class KVL_EXPORT cls_xp2DArrayDouble : public cls_xp2DArray<double> {
 public:
  cls_xp2DArrayDouble(int rows, int columns) : cls_xp2DArray(rows, columns) {}
  cls_xp2DArrayDouble(cow_2DArray<double> const& table, cls_Uid const& uid) noexcept
      : cls_xp2DArray(table, uid) {}

  /// The stored table and its identity. `ownerUid` (not owned, may be null) is only kept, and copied
  /// with the wrapper; it is never used or written.
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

/// A wrapper that shares the container's elements, under a fresh identity.
KVL_EXPORT cls_xp2DArrayDouble cls_xp2DArrayDoubleFromCow(cow_2DArray<double> const& source);
KVL_EXPORT cls_xp2DArrayFloat cls_xp2DArrayFloatFromCow(cow_2DArray<float> const& source);
KVL_EXPORT cls_xp2DArrayInt cls_xp2DArrayIntFromCow(cow_2DArray<int> const& source);
