#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_ConstMapIterator.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// Persisted map: a copy-on-write map from cow_String with an identity, stored as one map object (class
/// 0x230002) of its entries in ascending order of the keys.
///
/// It is a value with all of the map's operations: copying shares the entries and keeps the identity;
/// assigning a container of the platform gives it a new identity, so that the new value is stored as a new
/// object; assigning another wrapper of this class takes the identity of that one; changing entries in place
/// keeps the own. `T` is float or cow_String. Thread rule: one thread. Errors: those of the visitor's back
/// end, std::bad_alloc.
template <class T> class cls_xpMap : public cow_Map<cow_String, T> {
 public:
  /// The stored map and its identity. If stored entries repeat a key, the last is kept.
  explicit cls_xpMap(cls_ReadVisitor const& visitor);

  /// A map that shares these entries, under an identity.
  cls_xpMap(cow_Map<cow_String, T> const& map, cls_Uid const& uid) noexcept
      : cow_Map<cow_String, T>(map), m_Uid(uid) {}

  /// An empty map under a fresh identity.
  cls_xpMap() = default;

  /// Writes the entries. Intentional: also if StartWrite reports the object as already written.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the entries of `source` under a fresh identity. Does nothing if `source` is this object.
  cls_xpMap& operator=(cow_Map<cow_String, T> const& source);

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cls_Uid m_Uid;
};

using cls_xpMapString2Float = cls_xpMap<float>;
using cls_xpMapString2String = cls_xpMap<cow_String>;

extern template class KVL_EXPORT cls_xpMap<float>;
extern template class KVL_EXPORT cls_xpMap<cow_String>;
