#pragma once

#include <utility>

#include "describe/dsc_Identity.h"
#include "persist/visitors/cls_ReadVisitor.h"

/// The objects of this thread whose class is described without a macro, and that are being built and have not read their
/// fields yet. One that is still there when it is built has a reading constructor that does not call ReadFields. That
/// is noticed when the field or the load that it belongs to has been read, or else when it is saved.
///
/// An object is known by the address of its identity. There is room for a few: more than one at a time are objects that
/// are built inside each other's member initialisers, or belong to a class that forgets it, of which one is enough.
/// Cost: a few calls for each object. Thread rule: as the objects. Errors: std::bad_alloc from Begin.
class KVL_EXPORT dsc_Unread {
 public:
  /// An object of class `className` has been built down to its base classes. The load of the visitor checks at its end
  /// that its fields were read.
  static void Begin(cls_ReadVisitor const& visitor, void const* identity, char const* className);
  /// Its fields are read now, or it is gone.
  static void End(void const* identity) noexcept;
  static void Moved(void const* from, void const* to) noexcept;
  static void Copied(void const* from, void const* to) noexcept;
  /// Raises nex_TextException if the object has not read its fields.
  static void Check(void const* identity);

  [[nodiscard]] static int Count() noexcept;
  /// Raises nex_TextException if there are more than that, and forgets them. REQUIRES: there were as many before, and
  /// objects that began to be built since are built.
  static void CheckCount(int count);
};

/// An identity that takes the note about its object along.
class dsc_UnreadIdentity : public dsc_Identity {
 public:
  dsc_UnreadIdentity() noexcept = default;
  dsc_UnreadIdentity(dsc_UnreadIdentity const& other) : dsc_Identity(other) {
    dsc_Unread::Copied(&other, this);
  }
  dsc_UnreadIdentity(dsc_UnreadIdentity&& other) noexcept : dsc_Identity(std::move(other)) {
    dsc_Unread::Moved(&other, this);
  }
  dsc_UnreadIdentity& operator=(dsc_UnreadIdentity const& other) {
    dsc_Identity::operator=(other);
    dsc_Unread::Copied(&other, this);
    return *this;
  }
  dsc_UnreadIdentity& operator=(dsc_UnreadIdentity&& other) noexcept {
    dsc_Identity::operator=(std::move(other));
    dsc_Unread::Moved(&other, this);
    return *this;
  }
  ~dsc_UnreadIdentity() { dsc_Unread::End(this); }
};
