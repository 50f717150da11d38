#pragma once

#include <cassert>

#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/visitors/cls_PlainScalar.h"
#include "platform/atr/atr_String.h"
#include "platform/kvl_Export.h"

/// What a persisted class writes itself to: a thin front end over the memento of one object.
///
///     void Bolt::DBWrite(cls_WriteVisitor const& visitor) const {
///       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
///       Part::DBWrite(cls_WriteVisitor(visitor, Part::TypeId()));     // the base-class part first
///       visitor.Write(cls_FieldHandle(0, "m_Length"_cow), m_Length);
///       m_Thread.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(1, "m_Thread"_cow), nullptr, &m_Thread));
///     }
///
/// Invariants:
/// 1. A visitor is unstarted (no memento) or started. StartWrite starts it; it never becomes unstarted again.
/// 2. It owns its memento exactly when the memento needs deletion at the visitor's end.
/// 3. It never owns its parent, request or object, which must outlive it.
///
/// Cost: on the stack, no allocation of its own; each access is one virtual call.
/// Thread rule: one thread. Errors: what the back end raises passes through. Writing through an unstarted
/// visitor, or starting one whose parent is unstarted, fails an assertion (without assertions it uses a null
/// memento): call StartWrite first, and check its result.
class KVL_EXPORT cls_WriteVisitor {
 public:
  /// The base class ID of a visitor that is not for a base-class part.
  static constexpr unsigned int NoBase = 1;

  /// Writes the object of `memento`: started at once.
  explicit cls_WriteVisitor(cls_MementoWrite* memento) noexcept : m_Memento(memento) {}

  /// Writes one element of an object collection, started through `request`.
  cls_WriteVisitor(cls_AgentRequest const& request, void const* object) noexcept
      : m_Object(object), m_Request(&request) {}

  /// Writes the object that a field of the parent's object holds. `cow` is its copy-on-write holder, or null.
  /// `object` is the address of the object, by which a back end can tell a copy with the same identity; null
  /// when it is not known.
  cls_WriteVisitor(cls_WriteVisitor const& parent, cls_FieldHandle const& field,
                   cow_COW<int, cow_Direct<int>> const* cow, void const* object) noexcept
      : m_Parent(&parent), m_Field(field), m_Cow(cow), m_Object(object) {}

  /// Writes the base-class part `baseClassId` of the parent's object.
  cls_WriteVisitor(cls_WriteVisitor const& parent, unsigned int baseClassId) noexcept
      : m_Parent(&parent), m_BaseClassId(baseClassId) {}

  /// Closes the shared-pointer bracket, and deletes the memento if this visitor owns it.
  ~cls_WriteVisitor();

  cls_WriteVisitor(cls_WriteVisitor const&) = delete;
  cls_WriteVisitor& operator=(cls_WriteVisitor const&) = delete;

  /// Begins to write an object of class `classId` and identity `uid`; every DBWrite calls it first.
  /// Returns 1 when there is something to write to, 0 when the object is not to be written (again).
  /// On a started visitor it returns 1 and does nothing. A visitor for a base-class part writes the class
  /// it was made with and ignores `classId`.
  int StartWrite(unsigned int classId, cls_Uid const& uid) const;

  /// Brackets the object with StartSharedPtrOutput and EndSharedPtrOutput. Set it before StartWrite.
  void SetSharedPtrOutput(bool shared) noexcept { m_SharedPtrOutput = shared; }

  /// The memento, null while unstarted.
  [[nodiscard]] cls_MementoWrite* Memento() const noexcept { return m_Memento; }

  /// Whether a DBWrite that gets this visitor begins an object of its own: the visitor is not started, and not for
  /// the base-class part of an object of another class.
  [[nodiscard]] bool BeginsObject() const noexcept { return m_Memento == nullptr && m_BaseClassId == NoBase; }

  /// Nonzero when the field is present; 0 while unstarted.
  [[nodiscard]] int FieldIsPresent(cls_FieldHandle const& field) const;

  /// Lets the back end check the collection type of the field that this visitor writes. Does nothing for a
  /// visitor without parent, without a parent's memento or without a field name.
  void CheckCollectionType(cls_CollectionType type) const;

  /// A translatable string, as plain text; "no text" is written as empty text. REQUIRES: started.
  void Write(cls_FieldHandle const& field, atr_String const& value) const;

  void Write(cls_FieldHandle const& field, cow_String const& value) const { Started().Write(field, value); }

  /// The other scalars: bool, float, double and the integers that a memento writes. REQUIRES: started.
  template <cls_PlainScalar T> void Write(cls_FieldHandle const& field, T const& value) const {
    Started().Write(field, value);
  }

  /// An enumeration, as int. REQUIRES: started.
  void WriteEnum(cls_FieldHandle const& field, int const& value) const { Started().WriteEnum(field, value); }

  // The memento's operations for collection builders and agents, under the same names and with the same
  // ownership; see cls_MementoWrite. REQUIRES: the visitor is started.

  [[nodiscard]] cls_WriteMapInt2Obj* MakeWriteMapInt2Obj() const { return Started().MakeWriteMapInt2Obj(); }
  [[nodiscard]] cls_WriteMapString2Obj* MakeWriteMapString2Obj() const {
    return Started().MakeWriteMapString2Obj();
  }
  template <class T> [[nodiscard]] cls_WriteListPrim<T>* MakeWriteListPrim(T const* tag, int width) const {
    return Started().MakeWriteListPrim(tag, width);
  }
  template <class T> [[nodiscard]] cls_WriteMapInt2Prim<T>* MakeWriteMapInt2Prim(T const* tag) const {
    return Started().MakeWriteMapInt2Prim(tag);
  }
  template <class T> [[nodiscard]] cls_WriteMapString2Prim<T>* MakeWriteMapString2Prim(T const* tag) const {
    return Started().MakeWriteMapString2Prim(tag);
  }
  [[nodiscard]] cls_WriteListObj* MakeWriteListObj() const { return Started().MakeWriteListObj(); }
  [[nodiscard]] cls_WriteIntTableInt* MakeWriteIntTableInt() const {
    return Started().MakeWriteIntTableInt();
  }
  [[nodiscard]] cls_WriteListObj* MakeFieldWriteListObj(cls_FieldHandle const& field,
                                                        cls_Uid const& uid) const {
    return Started().MakeFieldWriteListObj(field, uid);
  }
  [[nodiscard]] cls_WriteMapInt2Obj* MakeFieldWriteMapInt2Obj(cls_FieldHandle const& field,
                                                              cls_Uid const& uid) const {
    return Started().MakeFieldWriteMapInt2Obj(field, uid);
  }
  [[nodiscard]] cls_WriteMapString2Obj* MakeFieldWriteMapString2Obj(cls_FieldHandle const& field,
                                                                    cls_Uid const& uid) const {
    return Started().MakeFieldWriteMapString2Obj(field, uid);
  }
  [[nodiscard]] cls_WriteIntTableInt* MakeFieldWriteIntTableInt(cls_FieldHandle const& field,
                                                                cls_Uid const& uid) const {
    return Started().MakeFieldWriteIntTableInt(field, uid);
  }
  [[nodiscard]] cls_AgentListObj* MakeAgentListObj(int sizeHint) const {
    return Started().MakeAgentListObj(sizeHint);
  }
  template <class K>
  [[nodiscard]] cls_AgentMapKey2Obj<K>* MakeAgentMapKey2Obj(K const* tag, int sizeHint) const {
    return Started().MakeAgentMapKey2Obj(tag, sizeHint);
  }
  template <class T> [[nodiscard]] cls_AgentListPrim<T>* MakeAgentListPrim(T const* tag, int sizeHint) const {
    return Started().MakeAgentListPrim(tag, sizeHint);
  }
  [[nodiscard]] cls_AgentBlob* MakeAgentBlob() const { return Started().MakeAgentBlob(); }

 private:
  /// The memento of a started visitor.
  [[nodiscard]] cls_MementoWrite& Started() const noexcept {
    assert(m_Memento != nullptr && "DBWrite must call StartWrite first, and return when that gives 0.");
    return *m_Memento;
  }
  [[nodiscard]] cls_MementoWrite* MakeMemento(unsigned int classId, cls_Uid const& uid) const;

  cls_WriteVisitor const* m_Parent = nullptr;
  cls_FieldHandle m_Field;
  unsigned int m_BaseClassId = NoBase;
  cow_COW<int, cow_Direct<int>> const* m_Cow = nullptr;
  void const* m_Object = nullptr;
  bool m_SharedPtrOutput = false;
  mutable cls_MementoWrite* m_Memento = nullptr; // set by StartWrite, which runs on a const visitor
  cls_AgentRequest const* m_Request = nullptr;
};

/// Whether T::DBWrite leaves StartWrite to its caller, because it only adds fields to an object that is being
/// written. Whoever writes such an object by itself starts the visitor with T::TypeId() and object.Uid().
/// Specialised in the header of such a class, behind the class.
template <class T> inline constexpr bool cls_NeedsStartedVisitor = false;
