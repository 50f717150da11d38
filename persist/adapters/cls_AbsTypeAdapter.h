#pragma once

#include "metadata/cls_ClassMetadata.h"

/// Class metadata of an abstract persisted class `T` that can also write and delete objects of `T` through an
/// untyped pointer. It never builds an object: use cls_TypeAdapter<T> for a class that can be built.
///
/// REQUIRES: `T` has `static unsigned int TypeId()` and `DBWrite(cls_WriteVisitor const&) const`. If DBWrite
/// and the destructor are virtual, an object of a derived class is written and deleted as its own class.
///
/// Adds no data and no virtual operation to cls_ClassMetadata. Thread rule: as cls_ClassMetadata.
template <class T> class cls_AbsTypeAdapter : public cls_ClassMetadata {
 public:
  /// Describes `version` of class `T`. A base class ID of 1 means that no base class is persisted.
  cls_AbsTypeAdapter(cow_String const& name, int version, unsigned int baseClassId)
      : cls_ClassMetadata(name, T::TypeId(), version, nullptr, baseClassId) {}

  ~cls_AbsTypeAdapter() override = default;

  /// Writes `object`. REQUIRES: it is a `T`. Exceptions of `T::DBWrite` pass through.
  void DBWrite(void const* object, cls_WriteVisitor const& writer) const override {
    static_cast<T const*>(object)->DBWrite(writer);
  }

  /// Deletes `object`; ignores null. REQUIRES: it is a `T` made with new.
  void Delete(void* object) const override { delete static_cast<T*>(object); }
};
