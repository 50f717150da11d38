#pragma once

#include "platform/kvl_Export.h"

/// Root of the builders of stored collections. The comment before each operation of a builder is its virtual
/// slot. A collection is complete when its builder is deleted. A builder does not throw then: what fails is
/// kept, and raised by the save's next operation or its end. The memento that made it may be deleted before.
/// Thread rule: as the memento that made it.
class KVL_EXPORT cls_WriteCollectionBase {
 public:
  cls_WriteCollectionBase() = default;
  cls_WriteCollectionBase(cls_WriteCollectionBase const&) = delete;
  cls_WriteCollectionBase& operator=(cls_WriteCollectionBase const&) = delete;

  /* 0 */ virtual ~cls_WriteCollectionBase();

  /// Whether the receiver deletes the builder; see cls_DeleteWhenNeeded.h.
  /* 1 */ virtual bool NeedsDeletion() const;
};
