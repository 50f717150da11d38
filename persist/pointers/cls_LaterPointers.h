#pragma once

#include <memory>
#include <optional>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_RootRequest.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/pointers/cls_LaterReads.h"
#include "persist/pointers/cls_LaterWrites.h"
#include "persist/pointers/cls_Pointers.h"

// Pointers whose objects may be written and read after their holders: from a certain depth on, and where they lead
// back. A chain, a ring or a web of objects takes the same stack however long it is; objects behind cls_ReadShared and
// cls_ReadOwned are nested instead, and their depth is limited. Pointers may also lead back to objects whose classes
// are polymorphic.
//
//     void Link::DBWrite(cls_WriteVisitor const& visitor) const {
//       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
//       cls_WriteLater(visitor, NextField(), m_Next);            // a std::shared_ptr<Link>
//     }
//     Link::Link(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
//       cls_ReadLater(visitor, NextField(), m_Next);             // in the body: it sets m_Next later
//     }
//
// Reading: a pointer is null until the object that it leads to is built, which may be at once, and is before the load
// returns. So a reading constructor must not follow it; cls_AfterLoad calls a function when the graph is whole. REQUIRES: the
// pointer stays where it is until then: the object that has it must not be a temporary one that is moved.
// Outside of a load (cls_OneLoad), and over a back end that cannot do this, the object is read at once.
//
// Writing: the object is written at once or before the save ends, from what it is then; a pointer that owns it keeps it
// alive until then, another one (cls_WriteLater for an address) must not be the last thing that leads to a temporary
// object. Over a back end that cannot do this, the object is written at once. A null pointer writes no field.
// REQUIRES: its class has TypeId(); its DBWrite returns if StartWrite gives 0, and writes nothing before StartWrite.
// Arrays are written at once.
//
// Classes, derived classes and errors are as in cls_Pointers.h. Thread rule: as the visitor.

/// What cls_LaterWrite needs of an object; empty if its DBWrite writes nothing. Used by the functions below.
template <class T>
[[nodiscard]] std::optional<cls_LaterWrite> cls_DescribeLater(std::shared_ptr<T const> const& object) {
  static_assert(
      cls_HasTypeId<T>,
      "An object that may be written later needs a class with TypeId(); write a value wrapper at once.");
  std::optional<cls_LaterWrite> described;
  cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid,
                                    void const*) -> cls_MementoWrite* {
    described = cls_LaterWrite{classId, uid, object, [](void const* later, cls_WriteVisitor const& visitor) {
                                 static_cast<T const*>(later)->DBWrite(visitor);
                               }};
    return nullptr; // it is not written yet
  });
  cls_WriteVisitor const visitor(request, object.get());
  object->DBWrite(visitor);
  return described;
}

/// Writes a field that holds what `object` points to; does nothing for a null pointer.
template <class T>
void cls_WriteLater(cls_WriteVisitor const& parent, cls_FieldHandle const& field,
                    std::shared_ptr<T> const& object) {
  if (object == nullptr) return;
  if (cls_WritesLater* const later = cls_WritesLater::Of(parent.Memento());
      later != nullptr && later->IsDeep()) {
    auto described = cls_DescribeLater<T>(object);
    if (!described || later->HoldLater(field, *std::move(described))) return;
  }
  object->DBWrite(cls_WriteVisitor(parent, field, nullptr, object.get()));
}
/// The same for an object that this pointer does not keep alive.
template <class T>
void cls_WriteLater(cls_WriteVisitor const& parent, cls_FieldHandle const& field, T const* object) {
  cls_WriteLater(parent, field, std::shared_ptr<T const>(std::shared_ptr<T const>(), object));
}
template <class T>
void cls_WriteLater(cls_WriteVisitor const& parent, cls_FieldHandle const& field,
                    std::unique_ptr<T> const& object) {
  cls_WriteLater(parent, field, static_cast<T const*>(object.get()));
}

/// Appends what `object` points to to a list. `later` is what the list's builder offers (cls_AppendsLater::Of).
/// False, and nothing is appended, for a null pointer that the builder cannot write. The object must write itself:
/// its DBWrite calls StartWrite.
template <class T>
[[nodiscard]] bool cls_AppendLater(cls_WriteListObj& list, cls_AppendsLater* later,
                                   std::shared_ptr<T> const& object) {
  if (object == nullptr) {
    if (later != nullptr) later->AppendNull();
    return later != nullptr;
  }
  if (later != nullptr && later->IsDeep()) {
    auto described = cls_DescribeLater<T>(object);
    if (!described) return false;
    if (later->AppendLater(*std::move(described))) return true;
  }
  cls_RootRequest const request([&list](unsigned int classId, cls_Uid const& uid, void const* address) {
    return list.MakeWriteObjWithPtr(classId, uid, address);
  });
  cls_WriteVisitor const visitor(request, object.get());
  object->DBWrite(visitor);
  return request.IsStarted();
}

/// Whether a visitor reads an object, and not an element without one. True if its back end cannot say.
[[nodiscard]] KVL_EXPORT bool cls_HasObject(cls_ReadVisitor const& visitor) noexcept;

/// The shared object that a pointer leads to: the one that the running load has built, or a new one. Null for a reference
/// whose object is missing.
template <class Object>
[[nodiscard]] std::shared_ptr<Object> cls_ConstructSharedHeld(cls_HeldObject const& held) {
  if (std::shared_ptr<void> found = cls_FindLoaded(held, typeid(Object)))
    return std::static_pointer_cast<Object>(std::move(found));
  cls_MementoRead* const memento = held.m_Source->MakeReadObj(held);
  return memento == nullptr ? nullptr : cls_ConstructShared<Object>(cls_ReadVisitor(memento));
}

/// Fills a pointer to T that was left for later. T may be const; `Object` is not.
template <class T, class Object = std::remove_cv_t<T>> struct cls_FillPointer {
  static void Shared(cls_LaterReads::Read const& read) {
    Set<std::shared_ptr<T>>(read, cls_ConstructSharedHeld<Object>(read.m_Held));
  }
  static void Weak(cls_LaterReads::Read const& read) {
    Set<std::weak_ptr<T>>(read, cls_ConstructSharedHeld<Object>(read.m_Held));
  }
  static void Owned(cls_LaterReads::Read const& read) {
    Set<std::unique_ptr<T>>(read, cls_Construct<Object>(VisitorOf(read)));
  }

  /// The memento of the object that the pointer leads to.
  [[nodiscard]] static cls_ReadVisitor VisitorOf(cls_LaterReads::Read const& read) {
    return cls_ReadVisitor(read.m_Held.m_Source->MakeReadObj(read.m_Held));
  }

 private:
  template <class Pointer, class Built> static void Set(cls_LaterReads::Read const& read, Built object) {
    if (read.m_Target != nullptr) *static_cast<Pointer*>(read.m_Target) = std::move(object);
  }
};

/// What the functions below need to know of a visitor. Programs do not use it.
class KVL_EXPORT cls_LaterPlace {
 public:
  explicit cls_LaterPlace(cls_ReadVisitor const& visitor) noexcept;

  /// What the visitor's load has still to do; null if no load runs, or everything is read at once.
  [[nodiscard]] cls_LaterReads* Reads() const noexcept;
  /// Leaves the pointer for later that a field's object belongs to; false if it is to be read at once. If it shares an
  /// object that the load has built already, it is filled. Sets what `read` holds. REQUIRES: the field has an object.
  [[nodiscard]] bool Leave(cls_FieldHandle const& field, cls_LaterReads::Read read) const;
  /// The same for a pointer to an element.
  [[nodiscard]] static bool Leave(cls_LaterReads::Read read);
  /// Leaves a pointer for later, or fills it, whose field refers to an object that may be missing. False, and nothing is
  /// done, if the field is not known to be such a one, for example because it is absent.
  [[nodiscard]] bool LeaveReference(cls_FieldHandle const& field, cls_LaterReads::Read read) const;
  /// Leaves a call for the end of the load; false if no load runs that could make it.
  [[nodiscard]] bool Leave(cls_LaterReads::Call const& call) const;
  /// The object, or part of it, that the visitor reads; no source if no load runs, or nothing can be left.
  [[nodiscard]] cls_HeldObject Self() const;

 private:
  cls_MementoRead* m_Memento;
  cls_ObjectSource* m_Source; // null if there is none, or no load is running
};

/// Sets `target` to the object that a field holds, for one of several holders: at once to null, and to the object
/// before the load returns. It stays null if the field is absent or its object is not stored.
template <class T>
void cls_ReadLater(cls_ReadVisitor const& parent, cls_FieldHandle const& field, std::shared_ptr<T>& target) {
  target = nullptr;
  if (parent.DataIsPresent(field) == 0) return;
  if (cls_LaterPlace(parent).Leave(
          field, {{}, &target, &cls_FillPointer<T>::Shared, nullptr, 0, &typeid(std::remove_cv_t<T>)}))
    return;
  target = cls_ConstructShared<T>(cls_ReadVisitor(parent, field));
}
/// The same for a pointer that holds nothing: it is empty after the load if nothing else holds the object.
template <class T>
void cls_ReadLater(cls_ReadVisitor const& parent, cls_FieldHandle const& field, std::weak_ptr<T>& target) {
  target.reset();
  cls_LaterReads::Read const read{{},      &target, &cls_FillPointer<T>::Weak,
                                  nullptr, 0,       &typeid(std::remove_cv_t<T>)};
  cls_LaterPlace const place(parent);
  if (place.LeaveReference(field, read) || parent.DataIsPresent(field) == 0 || place.Leave(field, read))
    return;
  target = cls_ConstructShared<T>(cls_ReadVisitor(parent, field));
}
/// The same for one owner.
template <class T>
void cls_ReadLater(cls_ReadVisitor const& parent, cls_FieldHandle const& field, std::unique_ptr<T>& target) {
  target = nullptr;
  if (parent.DataIsPresent(field) == 0) return;
  if (cls_LaterPlace(parent).Leave(field, {{}, &target, &cls_FillPointer<T>::Owned})) return;
  target = cls_Construct<T>(cls_ReadVisitor(parent, field));
}

/// Sets `target` to the next element of a list, as cls_ReadLater does; null for an element without an object. `names`
/// is what the list's cursor offers (cls_NamesElements::Of). REQUIRES: there is a next element.
template <class T>
void cls_ReadNextLater(cls_ReadListObj& list, cls_NamesElements* names, std::shared_ptr<T>& target) {
  target = nullptr;
  if (names != nullptr) {
    cls_HeldObject const held = names->NextHeld();
    if (held.m_Id == 0) return;
    cls_LaterReads::Read const read{held,    &target, &cls_FillPointer<T>::Shared,
                                    nullptr, 0,       &typeid(std::remove_cv_t<T>)};
    if (!cls_LaterPlace::Leave(read)) read.m_Fill(read);
    return;
  }
  cls_ReadVisitor const visitor(list.Next());
  if (cls_HasObject(visitor)) target = cls_ConstructShared<T>(visitor);
}

/// Calls `call` with `object` and `argument` when the load's whole graph is there; at once if no load runs. In a
/// constructor that is called for a base class, the object is then built as a whole, too.
template <class T>
void cls_AfterLoad(cls_ReadVisitor const& visitor, T& object, int argument, void (*call)(void*, int)) {
  if (!cls_LaterPlace(visitor).Leave(cls_LaterReads::Call{&object, argument, call})) call(&object, argument);
}
