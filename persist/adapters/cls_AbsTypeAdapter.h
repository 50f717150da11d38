#pragma once

#include "metadata/cls_ClassMetadata.h"

/// Class metadata of an abstract persisted class `T` that also writes and deletes objects of it, for whoever
/// has an untyped pointer. Objects are never built through it; use cls_TypeAdapter<T> for a class that can
/// be.
///
/// `T` has `static unsigned int TypeId()` and `DBWrite(cls_WriteVisitor const&) const`. Where these and the
/// destructor are virtual, objects of derived classes are written and deleted as what they are.
///
/// Adds no data and no virtual operation to cls_ClassMetadata. Thread rule: as cls_ClassMetadata.
template <class T> class cls_AbsTypeAdapter : public cls_ClassMetadata {
 public:
  /// Describes `version` of class `T`. A base class ID of 1 means that no base class is persisted.
  cls_AbsTypeAdapter(cow_String const& name, int version, unsigned int baseClassId)
      : cls_ClassMetadata(name, T::TypeId(), version, nullptr, baseClassId) {}

  ~cls_AbsTypeAdapter() override = default;

  /// Writes `object`, which is a `T`. What `T::DBWrite` throws passes.
  void DBWrite(void const* object, cls_WriteVisitor const& writer) const override {
    static_cast<T const*>(object)->DBWrite(writer);
  }

  /// Deletes `object`, which is a `T` made with new; ignores null.
  void Delete(void* object) const override { delete static_cast<T*>(object); }
};
