#pragma once

#include "platform/kvl_Export.h"

/// Root of the cursors over stored collections. The comment before each operation of a cursor is its virtual
/// slot. Thread rule: as the memento that made the cursor.
class KVL_EXPORT cls_ReadCollectionBase {
 public:
  cls_ReadCollectionBase() = default;
  cls_ReadCollectionBase(cls_ReadCollectionBase const&) = delete;
  cls_ReadCollectionBase& operator=(cls_ReadCollectionBase const&) = delete;

  /* 0 */ virtual ~cls_ReadCollectionBase();

  /// Whether the receiver deletes the cursor; see cls_DeleteWhenNeeded.h.
  /* 1 */ virtual bool NeedsDeletion() const;
};
