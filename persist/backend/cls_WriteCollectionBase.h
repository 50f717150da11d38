#pragma once

#include "platform/kvl_Export.h"

/// Root of the builders of stored collections. The comment before each operation of a builder is its virtual
/// slot. A collection is complete when its builder is deleted. Thread rule: as the memento that made it.
class KVL_EXPORT cls_WriteCollectionBase {
 public:
  cls_WriteCollectionBase() = default;
  cls_WriteCollectionBase(cls_WriteCollectionBase const&) = delete;
  cls_WriteCollectionBase& operator=(cls_WriteCollectionBase const&) = delete;

  /* 0 */ virtual ~cls_WriteCollectionBase();

  /// Whether the receiver deletes the builder; true unless the back end keeps it.
  /* 1 */ virtual bool NeedsDeletion() const;
};
