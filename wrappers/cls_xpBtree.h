#pragma once

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_BtreeIterator.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// Persisted keyed tree: a copy-on-write tree from cow_String to unsigned int with an identity, stored as one
/// map object (class 0x230002) of its entries in ascending order of the keys.
///
/// It is a value with all of the tree's operations: copying shares the entries and keeps the identity;
/// assigning a container of the platform gives it a new identity, so that the new value is stored as a new
/// object; assigning another wrapper of this class takes the identity of that one; changing entries in place
/// keeps the own. Thread rule: one thread. Errors: those of the visitor's back end, std::bad_alloc.
class KVL_EXPORT cls_xpBtreeString2Uint : public cow_Btree<cow_String, unsigned int> {
 public:
  /// The stored tree and its identity. If stored entries repeat a key, the first is kept.
  explicit cls_xpBtreeString2Uint(cls_ReadVisitor const& visitor);

  /// A tree that shares these entries, under an identity.
  cls_xpBtreeString2Uint(cow_Btree<cow_String, unsigned int> const& tree, cls_Uid const& uid) noexcept
      : cow_Btree(tree), m_Uid(uid) {}

  /// An empty tree under a fresh identity.
  cls_xpBtreeString2Uint() = default;

  /// Writes the entries. Intentional: also if StartWrite reports the object as already written.
  void DBWrite(cls_WriteVisitor const& visitor) const;

  /// Shares the entries of `source` under a fresh identity. Does nothing if `source` is this object.
  cls_xpBtreeString2Uint& operator=(cow_Btree<cow_String, unsigned int> const& source);

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }

 private:
  cls_Uid m_Uid;
};
