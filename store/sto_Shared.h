#pragma once

#include "persist/pointers/cls_LaterPointers.h"
#include "persist/pointers/cls_Pointers.h"

// Reading objects that are held through pointers: the functions of persist/pointers/cls_Pointers.h under the
// module's own names. That header says how objects are built, and what a cycle needs.
//
//     Part::Part(cls_ReadVisitor const& visitor)
//         : m_Failure(sto_ReadOwned<nex_Exception>(visitor, FailureField())),  // a std::unique_ptr
//           m_Material(sto_ReadShared<Material>(visitor, MaterialField())),    // a std::shared_ptr
//           m_Assembly(sto_ReadShared<Assembly>(visitor, AssemblyField())) {}  // a std::weak_ptr
//
// For graphs of any depth, sto_WriteLater and sto_ReadLater leave the objects for later: see
// persist/pointers/cls_LaterPointers.h for what they need.
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

/// cls_WriteLater: a field for what `object`, a pointer, leads to, which is written after its holder.
template <class Pointer>
void sto_WriteLater(cls_WriteVisitor const& parent, cls_FieldHandle const& field, Pointer const& object) {
  cls_WriteLater(parent, field, object);
}

/// cls_ReadLater: the object that a field holds, for a std::shared_ptr or a std::unique_ptr; `target` is set before the
/// load returns, and must stay where it is until then.
template <class Pointer>
void sto_ReadLater(cls_ReadVisitor const& parent, cls_FieldHandle const& field, Pointer& target) {
  cls_ReadLater(parent, field, target);
}

/// cls_AfterLoad: calls `call` with `object` and `argument` when the load's whole graph is there.
template <class T>
void sto_AfterLoad(cls_ReadVisitor const& visitor, T& object, int argument, void (*call)(void*, int)) {
  cls_AfterLoad(visitor, object, argument, call);
}
