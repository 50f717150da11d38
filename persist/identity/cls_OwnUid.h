#pragma once

#include <new>

#include "persist/identity/cls_Uid.h"

/// The identity of an object whose copies are separate objects: a copy gets a fresh identity. (A member of
/// type cls_Uid gives the copy the identity of its original.) Use it in a class whose objects are copied as
/// values and stored: with one identity, a copy and its original would be stored as one object.
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
/// - A copy is a new object. Assigning from another object changes the content, but not the identity.
/// - Members that have identities of their own (a wrapper, another object by value) keep those of the
///   original.
/// - A move takes the identity along with the content, also into an object that is assigned to. So an object
///   that a vector shifts stays stored as the same object. The moved-from object is a new object.
/// - A class with a declared destructor has no moves unless it declares them. Without moves, a vector that
///   shifts its elements copies them, and so makes new objects.
///
/// Cost, errors, thread rule: as cls_Uid. Moving does not throw: if there is no memory for the fresh identity
/// of the moved-from object, that object keeps sharing the old one.
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
  /// Takes the identity of a stored object; for a constructor that cannot do so in its initializer list.
  cls_OwnUid& operator=(cls_Uid const& uid) noexcept {
    m_Uid = uid;
    return *this;
  }

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }
  operator cls_Uid const&() const noexcept { return m_Uid; } // so it passes where a cls_Uid is expected

  /// Becomes a fresh identity in place; see cls_Uid.
  void NewUid() { m_Uid.NewUid(); }

 private:
  void Renew() noexcept {
    try {
      m_Uid.NewUid();
    } catch (std::bad_alloc const&) { // keeps sharing the identity, as a copied cls_Uid would
    }
  }

  cls_Uid m_Uid;
};

static_assert(sizeof(cls_OwnUid) == sizeof(void*));
