#pragma once

#include "persist/adapters/cls_AbsTypeAdapter.h"

/// Class metadata of a concrete persisted class `T`: writes, deletes and builds objects of it.
/// `T` has a constructor from `cls_ReadVisitor const&`, besides what cls_AbsTypeAdapter asks.
template <class T> class cls_TypeAdapter : public cls_AbsTypeAdapter<T> {
 public:
  cls_TypeAdapter(cow_String const& name, int version, unsigned int baseClassId)
      : cls_AbsTypeAdapter<T>(name, version, baseClassId) {}

  ~cls_TypeAdapter() override = default;

  /// A new `T`, read from `reader`; the caller's. What the constructor throws passes.
  void* Ctor(cls_ReadVisitor const& reader) const override { return new T(reader); }
};
