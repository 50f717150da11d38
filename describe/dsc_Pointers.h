#pragma once

#include <memory>
#include <type_traits>
#include <typeinfo>

#include "describe/dsc_Stored.h"
#include "persist/pointers/cls_LaterPointers.h"
#include "persist/pointers/cls_Pointers.h"

// Members that are or hold objects of persisted classes, whether described or written by hand.

/// A class whose objects write themselves.
template <class T>
concept dsc_IsPersisted = cls_HasTypeId<T> && !cls_NeedsStartedVisitor<T> &&
                          requires(T const& object, cls_WriteVisitor const& visitor) {
  object.DBWrite(visitor);
};

enum class dsc_Holding { None, Unique, Shared, Weak };

template <class T> inline constexpr dsc_Holding dsc_HoldingOf = dsc_Holding::None;
template <class T> inline constexpr dsc_Holding dsc_HoldingOf<std::unique_ptr<T>> = dsc_Holding::Unique;
template <class T> inline constexpr dsc_Holding dsc_HoldingOf<std::shared_ptr<T>> = dsc_Holding::Shared;
template <class T> inline constexpr dsc_Holding dsc_HoldingOf<std::weak_ptr<T>> = dsc_Holding::Weak;

template <class T>
concept dsc_IsOwner = dsc_HoldingOf<T>
== dsc_Holding::Unique || dsc_HoldingOf<T> == dsc_Holding::Shared;

template <class T>
concept dsc_IsWeak = dsc_HoldingOf<T>
== dsc_Holding::Weak;

/// A pointer in a container: one that owns its object, or a weak one.
template <class T>
concept dsc_IsPointer = dsc_IsOwner<T> || dsc_IsWeak<T>;

/// What owns the object that a pointer leads to, as long as it is used: for a weak pointer a std::shared_ptr.
template <dsc_IsOwner T> [[nodiscard]] T const& dsc_ToOwner(T const& pointer) noexcept {
  return pointer;
}
template <dsc_IsWeak T> [[nodiscard]] auto dsc_ToOwner(T const& pointer) noexcept {
  return pointer.lock();
}
/// What a container of pointers is declared with. Weak ones are stored as objects, but an owner's list must not be read
/// as one of them: nothing would hold the objects then.
template <class T>
inline constexpr cls_AttributeType dsc_ObjectsType = dsc_IsWeak<T> ? ATTR_REFERENCE : ATTR_OBJECT;

template <dsc_IsPointer T>
using dsc_OwnerOf = std::remove_cvref_t<decltype(dsc_ToOwner(std::declval<T const&>()))>;

template <class T> constexpr void dsc_CheckPersisted() {
  static_assert(
      dsc_IsPersisted<T>,
      "the object behind this pointer cannot be stored: its class needs KVL_PERSISTED, or TypeId and "
      "DBWrite by hand, and must be defined here");
}

/// The object that a visitor reads, for a std::unique_ptr or a std::shared_ptr. REQUIRES: there is one.
template <dsc_IsOwner Pointer> [[nodiscard]] Pointer dsc_ConstructStored(cls_ReadVisitor const& visitor) {
  using Object = std::remove_cv_t<typename Pointer::element_type>;
  if constexpr (dsc_HoldingOf<Pointer> == dsc_Holding::Unique)
    return cls_Construct<Object>(visitor);
  else
    return cls_ConstructShared<Object>(visitor);
}

/// The same; null for an element without an object.
template <dsc_IsOwner Pointer> [[nodiscard]] Pointer dsc_Construct(cls_ReadVisitor const& visitor) {
  if (!cls_HasObject(visitor)) return nullptr;
  return dsc_ConstructStored<Pointer>(visitor);
}

/// The class of the object behind a pointer that is one of several; null for the only owner.
template <dsc_IsPointer Pointer> [[nodiscard]] std::type_info const* dsc_SharedAs() noexcept {
  if constexpr (dsc_HoldingOf<Pointer> == dsc_Holding::Unique)
    return nullptr;
  else
    return &typeid(std::remove_cv_t<typename Pointer::element_type>);
}

/// Leaves a pointer that is a member of the object for later, if its object is not to be built inside its holder
/// (cls_LaterReads). False for a pointer elsewhere, or if the back end cannot do that. A pointer that shares an object
/// which the load has built already is set to it.
template <class Pointer>
[[nodiscard]] bool dsc_LeaveForLater(dsc_In const& in, cls_FieldHandle const& field, Pointer& pointer,
                                     void (*fill)(cls_LaterReads::Read const&)) {
  return in.m_Bytes.Has(&pointer) &&
         cls_LaterPlace(in.m_Visitor)
             .Leave(field, {{}, &pointer, fill, &in.m_Identity, 0, dsc_SharedAs<Pointer>()});
}

/// The same for a pointer whose field refers to an object that may be missing; false also if the field does not.
template <class Pointer>
[[nodiscard]] bool dsc_LeaveReference(dsc_In const& in, cls_FieldHandle const& field, Pointer& pointer,
                                      void (*fill)(cls_LaterReads::Read const&)) {
  return in.m_Bytes.Has(&pointer) &&
         cls_LaterPlace(in.m_Visitor)
             .LeaveReference(field, {{}, &pointer, fill, &in.m_Identity, 0, dsc_SharedAs<Pointer>()});
}

/// An object behind an owning pointer is held by the field, which is absent for a null pointer.
template <dsc_IsOwner T> struct dsc_Stored<T> : dsc_OneField<0> {
  using Object = std::remove_cv_t<typename T::element_type>;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<Object>();
    to.Add<Name>(at, ATTR_OBJECT, COLLECTION_NONE);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& pointer) {
    if constexpr (dsc_IsPersisted<Object>) {
      if (pointer == nullptr) return;
      cls_FieldHandle const field = Name::Handle(at.m_Number);
      if (out.m_Bytes.Has(&pointer))
        cls_WriteLater(out.m_Visitor, field, pointer);
      else
        pointer->DBWrite(cls_WriteVisitor(out.m_Visitor, field, nullptr, pointer.get()));
    }
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& pointer) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    pointer = nullptr;
    if (in.m_Visitor.DataIsPresent(field) == 0 || dsc_LeaveForLater(in, field, pointer, Fill())) return;
    pointer = dsc_Construct<T>(cls_ReadVisitor(in.m_Visitor, field));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<Object>(); }

 private:
  static constexpr auto Fill() {
    if constexpr (dsc_HoldingOf<T> == dsc_Holding::Unique)
      return &cls_FillPointer<typename T::element_type, Object>::Owned;
    else
      return &cls_FillPointer<typename T::element_type, Object>::Shared;
  }
};

/// Writes the name of the object that a weak pointer leads to; nothing if there is none. The name is the identity under
/// which the object begins to write itself, so it is never that of a base class's part.
template <dsc_IsWeak T>
void dsc_WriteReference(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const& pointer) {
  using Object = std::remove_cv_t<typename T::element_type>;
  if constexpr (dsc_IsPersisted<Object>)
    if (auto const object = pointer.lock())
      if (auto const described = cls_DescribeLater<Object>(object))
        visitor.Memento()->WriteReference(field, described->m_Uid);
}

/// A weak pointer is a reference: it names an object that something else holds and stores.
template <dsc_IsWeak T> struct dsc_Stored<T> : dsc_OneField<0> {
  using Object = std::remove_cv_t<typename T::element_type>;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<Object>();
    to.Add<Name>(at, ATTR_REFERENCE, COLLECTION_NONE);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& pointer) {
    dsc_WriteReference(out.m_Visitor, Name::Handle(at.m_Number), pointer);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& pointer) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    pointer.reset();
    if (dsc_LeaveReference(in, field, pointer, Fill) || in.m_Visitor.DataIsPresent(field) == 0 ||
        dsc_LeaveForLater(in, field, pointer, Fill))
      return;
    pointer = cls_ConstructShared<Object>(cls_ReadVisitor(in.m_Visitor, field));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<Object>(); }

 private:
  static constexpr auto Fill = &cls_FillPointer<typename T::element_type, Object>::Weak;
};

/// What a visitor's load has still to do; null if no load runs.
[[nodiscard]] inline cls_LaterReads* dsc_LaterOf(cls_ReadVisitor const& visitor) noexcept {
  return cls_LaterPlace(visitor).Reads();
}

/// A new object whose pointers are there.
template <class T> [[nodiscard]] T dsc_ConstructAtOnce(cls_ReadVisitor const& visitor) {
  cls_LaterReads::AtOnce const atOnce(dsc_LaterOf(visitor));
  return T(visitor);
}
/// A new object that will be moved. What is left for later finds a described one where it is then (dsc_Identity).
template <class T> [[nodiscard]] T dsc_ConstructToMove(cls_ReadVisitor const& visitor) {
  if constexpr (requires { typename T::kvl_Level; })
    return T(visitor);
  else
    return dsc_ConstructAtOnce<T>(visitor);
}

/// Refuses a stored object of another class than T, which would be read as a T with the fields that have the same names.
template <class T> void dsc_CheckStoredClass(cls_ReadVisitor const& visitor, dsc_Where const& where) {
  unsigned int const stored = visitor.Memento()->ClassId();
  if (stored != T::TypeId() && stored != cls_ClassMetadata::RootClassId) // which an absent object has
    dsc_RaiseClass(where, stored, T::TypeId());
}

/// An object by value is held by the field. It is read into a new object, which is moved into the member.
template <dsc_IsPersisted T>
requires std::is_constructible_v<T, cls_ReadVisitor const&>
struct dsc_Stored<T> : dsc_OneField<0> {
  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    to.Add<Name>(at, ATTR_OBJECT, COLLECTION_NONE);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& object) {
    object.DBWrite(cls_WriteVisitor(out.m_Visitor, Name::Handle(at.m_Number), nullptr, &object));
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& object) {
    cls_CheckReadsByReference<T>();
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    if (in.m_Visitor.DataIsPresent(field) == 0) return;
    cls_ReadVisitor const visitor(in.m_Visitor, field);
    dsc_CheckStoredClass<T>(visitor, in.Where<Name>());
    object = dsc_ConstructToMove<T>(visitor);
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<T>(); }
};
