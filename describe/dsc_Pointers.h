#pragma once

#include <memory>

#include "describe/dsc_Stored.h"
#include "persist/pointers/cls_Pointers.h"

// Members that are or hold objects of persisted classes, whether described or written by hand.

/// A class whose objects write themselves.
template <class T>
concept dsc_IsPersisted = cls_HasTypeId<T> && requires(T const& object, cls_WriteVisitor const& visitor) {
  object.DBWrite(visitor);
};

/// A class that says who its objects are.
template <class T>
concept dsc_HasUid = requires(T const& object) {
  { object.Uid() } -> std::convertible_to<cls_Uid const&>;
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

template <class T> constexpr void dsc_CheckPersisted() {
  static_assert(
      dsc_IsPersisted<T>,
      "the object behind this pointer cannot be stored: its class needs KVL_PERSISTED, or TypeId and "
      "DBWrite by hand, and must be defined here");
}

/// The object that a visitor reads, for a std::unique_ptr or a std::shared_ptr.
template <dsc_IsOwner Pointer> [[nodiscard]] Pointer dsc_Construct(cls_ReadVisitor const& visitor) {
  using Object = std::remove_cv_t<typename Pointer::element_type>;
  if constexpr (dsc_HoldingOf<Pointer> == dsc_Holding::Unique)
    return cls_Construct<Object>(visitor);
  else
    return cls_ConstructShared<Object>(visitor);
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
      pointer->DBWrite(cls_WriteVisitor(out.m_Visitor, Name::Handle(at.m_Number), nullptr, pointer.get()));
    }
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& pointer) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    if (in.m_Visitor.DataIsPresent(field) == 0)
      pointer = nullptr;
    else
      pointer = dsc_Construct<T>(cls_ReadVisitor(in.m_Visitor, field));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<Object>(); }
};

/// A weak pointer is a reference: it names an object that something else holds and stores.
template <dsc_IsWeak T> struct dsc_Stored<T> : dsc_OneField<0> {
  using Object = std::remove_cv_t<typename T::element_type>;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<Object>();
    static_assert(
        dsc_HasUid<Object>,
        "a std::weak_ptr names its object, so the object's class needs `cls_Uid const& Uid() const`");
    to.Add<Name>(at, ATTR_REFERENCE, COLLECTION_NONE);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& pointer) {
    if (auto const object = pointer.lock())
      out.m_Visitor.Memento()->WriteReference(Name::Handle(at.m_Number), object->Uid());
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& pointer) {
    pointer = cls_ReadShared<Object>(in.m_Visitor, Name::Handle(at.m_Number));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<Object>(); }
};

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
    if (in.m_Visitor.DataIsPresent(field) != 0) object = T(cls_ReadVisitor(in.m_Visitor, field));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<T>(); }
};
