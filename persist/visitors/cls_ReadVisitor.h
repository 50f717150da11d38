#pragma once

#include "persist/backend/cls_MementoRead.h"
#include "persist/visitors/cls_PlainScalar.h"
#include "platform/atr/atr_String.h"
#include "platform/kvl_Export.h"

/// What a persisted class reads itself from: a thin front end over the memento of one stored object.
///
///     Bolt::Bolt(cls_ReadVisitor const& visitor)
///         : Part(cls_ReadVisitor(visitor)),                  // a copy reads the base-class part
///           m_Length(visitor.Read(cls_FieldHandle(0, "m_Length"_cow), 0.0)),
///           m_Thread(cls_ReadVisitor(visitor, cls_FieldHandle(1, "m_Thread"_cow))),
///           m_Uid(visitor.GetUid()) {}
///
/// Take it by reference. A constructor or function that takes it by value gets a copy, which reads the
/// base-class part, where the fields of the object are absent: every value is then its default. Type adapters
/// and the database module refuse at compile time a class whose reading constructor does that; functions are
/// not checked.
///
/// A visitor without memento reads nothing. The visitor owns its memento when the memento needs deletion.
/// Cost: on the stack, no allocation of its own; each access is one virtual call.
/// Thread rule: one thread. Errors: what the back end raises passes through.
class KVL_EXPORT cls_ReadVisitor {
 public:
  /// Reads the object of `memento`, which may be null.
  explicit cls_ReadVisitor(cls_MementoRead* memento) noexcept : m_Memento(memento) {}

  /// Reads the base-class part of what `other` reads. Intentional: a derived class copies its visitor for its
  /// base.
  cls_ReadVisitor(cls_ReadVisitor const& other)
      : m_Memento(other.m_Memento == nullptr ? nullptr : other.m_Memento->Clone()) {}

  /// Reads the object that a field of the parent's object holds.
  cls_ReadVisitor(cls_ReadVisitor const& parent, cls_FieldHandle const& field)
      : m_Memento(parent.m_Memento == nullptr ? nullptr : parent.m_Memento->MakeFieldReadObj(field)) {}

  ~cls_ReadVisitor() {
    if (m_Memento != nullptr && m_Memento->NeedsDeletion()) delete m_Memento;
  }

  cls_ReadVisitor& operator=(cls_ReadVisitor const&) = delete;

  /// The memento, null when the visitor reads nothing.
  [[nodiscard]] cls_MementoRead* Memento() const noexcept { return m_Memento; }

  /// Nonzero when the object has the field; 0 without memento.
  [[nodiscard]] int FieldIsPresent(cls_FieldHandle const& field) const;

  /// Nonzero when the field holds data; 0 without memento.
  [[nodiscard]] int DataIsPresent(cls_FieldHandle const& field) const;

  /// The name of the database; no text without memento.
  [[nodiscard]] cow_String DbId() const;

  /// The identity of the stored object; without memento, a new one at each call.
  [[nodiscard]] cls_Uid const GetUid() const; // const by value: part of the exported interface

  /// The stored text, or the default if the field is absent or there is no memento.
  [[nodiscard]] cow_String Read(cls_FieldHandle const& field, cow_String const& defaultValue) const;

  /// The same for a translatable string; the stored text is taken verbatim, without calling the translator.
  [[nodiscard]] atr_String Read(cls_FieldHandle const& field, atr_String const& defaultValue) const;

  /// The other scalars: bool, float, double and the integers that a memento reads. The default if the field
  /// is absent or there is no memento.
  template <cls_PlainScalar T>
  [[nodiscard]] T Read(cls_FieldHandle const& field, T const& defaultValue) const {
    return m_Memento == nullptr ? defaultValue : m_Memento->Read(field, defaultValue);
  }

  /// An enumeration, as int; 0 without memento. The back end decides what an absent field returns.
  [[nodiscard]] int ReadEnum(cls_FieldHandle const& field) const {
    return m_Memento == nullptr ? 0 : m_Memento->ReadEnum(field);
  }

  // The memento's operations for collection cursors and agents, under the same names and with the same
  // ownership; see cls_MementoRead. Null without memento.

  [[nodiscard]] cls_ReadMapInt2Obj* MakeReadMapInt2Obj() const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeReadMapInt2Obj();
  }
  [[nodiscard]] cls_ReadMapString2Obj* MakeReadMapString2Obj() const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeReadMapString2Obj();
  }
  template <class T> [[nodiscard]] cls_ReadListPrim<T>* MakeReadListPrim(T* tag) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeReadListPrim(tag);
  }
  template <class T> [[nodiscard]] cls_ReadMapInt2Prim<T>* MakeReadMapInt2Prim(T* tag) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeReadMapInt2Prim(tag);
  }
  template <class T> [[nodiscard]] cls_ReadMapString2Prim<T>* MakeReadMapString2Prim(T* tag) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeReadMapString2Prim(tag);
  }
  [[nodiscard]] cls_ReadListObj* MakeReadListObj() const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeReadListObj();
  }
  [[nodiscard]] cls_ReadIntTableInt* MakeReadIntTableInt() const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeReadIntTableInt();
  }
  [[nodiscard]] cls_ReadListObj* MakeFieldReadListObj(cls_FieldHandle const& field) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeFieldReadListObj(field);
  }
  [[nodiscard]] cls_ReadMapInt2Obj* MakeFieldReadMapInt2Obj(cls_FieldHandle const& field) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeFieldReadMapInt2Obj(field);
  }
  [[nodiscard]] cls_ReadMapString2Obj* MakeFieldReadMapString2Obj(cls_FieldHandle const& field) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeFieldReadMapString2Obj(field);
  }
  [[nodiscard]] cls_ReadIntTableInt* MakeFieldReadIntTableInt(cls_FieldHandle const& field) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeFieldReadIntTableInt(field);
  }
  [[nodiscard]] cls_AgentListObj* MakeAgentListObj() const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeAgentListObj();
  }
  template <class K> [[nodiscard]] cls_AgentMapKey2Obj<K>* MakeAgentMapKey2Obj(K* tag) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeAgentMapKey2Obj(tag);
  }
  template <class T> [[nodiscard]] cls_AgentListPrim<T>* MakeAgentListPrim(T* tag) const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeAgentListPrim(tag);
  }
  [[nodiscard]] cls_AgentBlob* MakeAgentBlob() const {
    return m_Memento == nullptr ? nullptr : m_Memento->MakeAgentBlob();
  }

 private:
  cls_MementoRead* m_Memento;
};
