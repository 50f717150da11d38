#pragma once

#include "persist/pointers/cls_Pointers.h"

// Reading objects that are held through pointers: the functions of persist/pointers/cls_Pointers.h under the
// module's own names. That header says how objects are built, and what a cycle needs.
//
//     Part::Part(cls_ReadVisitor const& visitor)
//         : m_Failure(sto_ReadOwned<nex_Exception>(visitor, FailureField())),  // a std::unique_ptr
//           m_Material(sto_ReadShared<Material>(visitor, MaterialField())),    // a std::shared_ptr
//           m_Assembly(sto_ReadShared<Assembly>(visitor, AssemblyField())) {}  // a std::weak_ptr
//
// Errors: WrongClass if the stored object is not of the requested class or one derived from it; Misuse if its
// class is not declared or cannot be built, and for the other mistakes that cls_BuildFault lists; whatever the
// constructors and the store raise. Thread rule: as the store.

/// cls_ReadOwned: the object that a field holds, for one owner; null if it is absent.
template <class T>
[[nodiscard]] std::unique_ptr<T> sto_ReadOwned(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  return cls_ReadOwned<T>(parent, field);
}

/// cls_ReadShared: the shared object that a field holds; null if it is absent.
template <class T>
[[nodiscard]] std::shared_ptr<T> sto_ReadShared(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  return cls_ReadShared<T>(parent, field);
}

/// cls_Construct: a new object from what the visitor reads, for one owner.
template <class T> [[nodiscard]] std::unique_ptr<T> sto_Construct(cls_ReadVisitor const& visitor) {
  return cls_Construct<T>(visitor);
}

/// cls_ConstructShared: the shared object that the visitor reads, which this load may have made already.
template <class T> [[nodiscard]] std::shared_ptr<T> sto_ConstructShared(cls_ReadVisitor const& visitor) {
  return cls_ConstructShared<T>(visitor);
}
