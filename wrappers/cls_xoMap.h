#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_ConstMapIterator.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"
#include "wrappers/cls_xp1DArrayList.h"

/// Persisted map of objects: a copy-on-write map with an identity, stored as one map object (class 0x230002).
/// Each value is written as an object of its own, under its own identity, in ascending order of the keys. For
/// values that are plain numbers or texts, use cls_xpMap, which does not make an object for each.
///
/// It is a value with all of the map's operations: copying shares the entries and keeps the identity;
/// assigning a container of the platform gives it a new identity, so that the new value is stored as a new
/// object; assigning another wrapper of this class takes the identity of that one; changing entries in place
/// keeps the own. Values copied by a copy or a write of the map keep their identities and share their
/// elements. Made for <cow_String, cls_xp1DArrayListFloat>. Thread rule: one thread. Errors: those of the
/// visitor's back end, std::bad_alloc.
template <class K, class V> class cls_xoMap : public cow_Map<K, V> {
 public:
  /// The stored map and its identity; each value has its stored identity and no owner. If stored entries
  /// repeat a key, the last is kept.
  explicit cls_xoMap(cls_ReadVisitor const& visitor);

  /// A map that shares these entries, under an identity.
  cls_xoMap(cow_Map<K, V> const& map, cls_Uid const& uid) noexcept : cow_Map<K, V>(map), m_Uid(uid) {}

  /// An empty map under a fresh identity.
  cls_xoMap() = default;

  /// Writes the entries. Intentional: also if StartWrite reports the object as already written.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the entries of `source` under a fresh identity. Does nothing if `source` is this object.
  cls_xoMap& operator=(cow_Map<K, V> const& source);

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cls_Uid m_Uid;
};

extern template class KVL_EXPORT cls_xoMap<cow_String, cls_xp1DArrayListFloat>;
