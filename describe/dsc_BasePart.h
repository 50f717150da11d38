#pragma once

#include "persist/backend/cls_MementoRead.h"

/// Reads the part of the base class `baseClassId` in the object of which `derived` reads a part. That is usually
/// the next part. In an object of a time when the class had another base class (kvl::BaseWas), it is a later one,
/// or none: then it reads as absent, and the part below it is the next one. The receiver deletes the memento as
/// that of cls_MementoRead::Clone.
[[nodiscard]] KVL_EXPORT cls_MementoRead* dsc_ReadOtherBase(cls_MementoRead* next, unsigned int baseClassId);

[[nodiscard]] inline cls_MementoRead* dsc_ReadBase(cls_MementoRead& derived, unsigned int baseClassId) {
  cls_MementoRead* const next = derived.Clone();
  return next->ClassId() == baseClassId ? next : dsc_ReadOtherBase(next, baseClassId);
}
