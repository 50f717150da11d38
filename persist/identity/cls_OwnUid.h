#pragma once

#include <new>

#include "persist/identity/cls_Uid.h"

/// The identity of an object whose copies are other objects: a copy gets a fresh identity, where a member of
/// type cls_Uid gives it the identity of its original. Take it for a class whose objects are copied as values
/// and stored; stored with one identity, a copy and its original would be one object.
///
///     class Bolt {
///      public:
///       explicit Bolt(cls_ReadVisitor const& visitor) : ..., m_Uid(visitor.GetUid()) {}
///       void DBWrite(cls_WriteVisitor const& visitor) const {
///         if (!visitor.StartWrite(TypeId(), m_Uid)) return;
///         ...
///       cls_OwnUid m_Uid;
///     };
///
/// - A copy is a new object. Assigning a copy changes the content of the object, which stays the object that
///   it is.
/// - Members that have identities of their own (a wrapper, another object by value) keep those of the
/// original.
/// - A class with a declared destructor has no moves unless it declares them; without moves, what shifts it
///   copies it, and makes new objects.
/// - Moving takes the object along: its identity moves with its content, also into an object that is assigned
///   to, so that what a vector shifts stays stored under what it was. What was moved from is a new object.
///
/// Cost, errors, thread rule: as cls_Uid. Moving does not throw: when there is no memory for the fresh
/// identity of what was moved from, that keeps sharing the old one.
class cls_OwnUid {
 public:
  /// A fresh identity.
  cls_OwnUid() = default;
  /// The identity of a stored object, in its reading constructor.
  explicit cls_OwnUid(cls_Uid const& uid) noexcept : m_Uid(uid) {}

  /// A fresh identity.
  cls_OwnUid(cls_OwnUid const&) {}
  cls_OwnUid(cls_OwnUid&& other) noexcept : m_Uid(other.m_Uid) { other.Renew(); }
  ~cls_OwnUid() = default;

  /// Keeps its identity.
  cls_OwnUid& operator=(cls_OwnUid const&) noexcept { return *this; }
  cls_OwnUid& operator=(cls_OwnUid&& other) noexcept {
    if (this == &other) return *this;
    m_Uid = other.m_Uid;
    other.Renew();
    return *this;
  }
  /// Takes the identity of a stored object, where that cannot be done in the initializer list.
  cls_OwnUid& operator=(cls_Uid const& uid) noexcept {
    m_Uid = uid;
    return *this;
  }

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }
  operator cls_Uid const&() const noexcept { return m_Uid; } // wherever an identity is asked for

  /// Becomes a fresh identity in place; see cls_Uid.
  void NewUid() { m_Uid.NewUid(); }

 private:
  void Renew() noexcept {
    try {
      m_Uid.NewUid();
    } catch (std::bad_alloc const&) { // it shares the identity, as a copy with a cls_Uid would
    }
  }

  cls_Uid m_Uid;
};

static_assert(sizeof(cls_OwnUid) == sizeof(void*));
