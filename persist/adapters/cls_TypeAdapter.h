#pragma once

#include "persist/adapters/cls_AbsTypeAdapter.h"
#include "persist/visitors/cls_ReadsByValue.h"

/// Class metadata of a concrete persisted class `T`: writes, deletes and builds objects of it.
/// REQUIRES: what cls_AbsTypeAdapter requires, and a constructor of `T` from `cls_ReadVisitor const&`.
template <class T> class cls_TypeAdapter : public cls_AbsTypeAdapter<T> {
 public:
  cls_TypeAdapter(cow_String const& name, int version, unsigned int baseClassId)
      : cls_AbsTypeAdapter<T>(name, version, baseClassId) {}

  ~cls_TypeAdapter() override = default;

  /// Builds a new `T` from `reader`; the caller deletes it. Exceptions of the constructor pass through.
  void* Ctor(cls_ReadVisitor const& reader) const override {
    static_assert(
        !cls_ReadsByValue<T>,
        "The reading constructor takes its cls_ReadVisitor by value, which reads the base-class part: "
        "take cls_ReadVisitor const&.");
    return new T(reader);
  }
};
