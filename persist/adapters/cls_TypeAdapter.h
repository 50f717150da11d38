#pragma once

#include "persist/adapters/cls_AbsTypeAdapter.h"
#include "persist/visitors/cls_ReadsByValue.h"

/// Class metadata of a concrete persisted class `T`: writes, deletes and builds objects of it.
/// `T` has a constructor from `cls_ReadVisitor const&`, besides what cls_AbsTypeAdapter asks.
template <class T> class cls_TypeAdapter : public cls_AbsTypeAdapter<T> {
 public:
  cls_TypeAdapter(cow_String const& name, int version, unsigned int baseClassId)
      : cls_AbsTypeAdapter<T>(name, version, baseClassId) {}

  ~cls_TypeAdapter() override = default;

  /// A new `T`, read from `reader`; the caller's. What the constructor throws passes.
  void* Ctor(cls_ReadVisitor const& reader) const override {
    static_assert(
        !cls_ReadsByValue<T>,
        "The reading constructor takes its cls_ReadVisitor by value, which reads the base-class part: "
        "take cls_ReadVisitor const&.");
    return new T(reader);
  }
};
