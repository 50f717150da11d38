#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <utility>

#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_ReadsByValue.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/kvl_Export.h"
#include "store/base/sto_BuiltAs.h"

// Objects on the way in that are reached through pointers. A reading constructor takes
//
//     Part::Part(cls_ReadVisitor const& visitor)
//         : m_Failure(sto_ReadOwned<nex_Exception>(visitor, cls_FieldHandle(0, "m_Failure"_cow))),  //
//         unique_ptr
//           m_Material(sto_ReadShared<Material>(visitor, cls_FieldHandle(1, "m_Material"_cow))),    //
//           shared_ptr m_Owner(sto_ReadShared<Assembly>(visitor, cls_FieldHandle(2, "m_Owner"_cow))) {} // a
//           weak_ptr
//
// sto_ReadOwned for an object that only this member holds, sto_ReadShared for one that others may hold too,
// or that leads back: in one load every stored object becomes one object in memory.
//
// What is built. A class with a static TypeId() is built through the registrar: the metadata of the stored
// class and version, or of the next version above it, builds the object, which may be of a class derived from
// the one asked for. The asked-for class then has a virtual destructor and is the first base of the derived
// one, so that both have one address. Metadata without constructor function leaves the building to the class
// that is asked for. A class without TypeId() is built by its own constructor, unchecked.
//
// Cycles. A pointer that leads back gets an object whose constructor has not finished: keep it, do not look
// into it yet. That needs the object's address before it is built, so in a cycle an object is asked for as
// its very class, which is registered with cls_TypeAdapter. A cycle of owning pointers is never freed: let
// one of them be a weak_ptr. Such an object shares the ownership of the memory it stands in, so
// shared_from_this() does not work in its class.

template <class T>
concept sto_HasTypeId = requires {
  T::TypeId();
};

/// A class whose adapter builds it with its own constructor from a visitor.
template <class T>
concept sto_IsAdaptable = sto_HasTypeId<T> && std::is_constructible_v<T, cls_ReadVisitor const&> &&
    requires(T const& object, cls_WriteVisitor const& visitor) {
  object.DBWrite(visitor);
};

/// The metadata that builds the visitor's object where class `typeId` is asked for; null when the visitor
/// stands on no stored object. WrongClass when the object is of a class that is not `typeId` and does not
/// derive from it; Misuse when its class is not declared, or is a derived one and `takesDerived` is not set.
KVL_EXPORT cls_ClassMetadata const* sto_FindMetadata(cls_ReadVisitor const& visitor, unsigned int typeId,
                                                     bool takesDerived);
/// Builds the visitor's object with `metadata`. Misuse when that cannot build objects.
KVL_EXPORT void* sto_Build(cls_ClassMetadata const& metadata, cls_ReadVisitor const& visitor);

/// Whether `metadata`, which is not the adapter of the asked-for C++ class, leaves the building of an object
/// of that very class to it. Misuse when it is the adapter of another C++ class, whose objects these are not.
KVL_EXPORT bool sto_LeavesBuilding(cls_ClassMetadata const& metadata, cls_ReadVisitor const& visitor,
                                   unsigned int typeId);

/// The object that this load has made of the visitor's stored object before, null when it has not. Misuse
/// when it cannot be shared, or when the two classes are not the same and one object cannot be of both:
/// either has no TypeId, or each is the object's very class.
KVL_EXPORT std::shared_ptr<void> sto_FindShared(cls_ReadVisitor const& visitor, std::type_index type,
                                                sto_BuiltAs askedAs);
/// Makes an object known for the rest of the load.
KVL_EXPORT void sto_HoldShared(cls_ReadVisitor const& visitor, std::type_index type,
                               std::shared_ptr<void> object, sto_BuiltAs builtAs);
/// Makes known that the object has one owner, so that a way back to it is an error and not an endless load.
KVL_EXPORT void sto_HoldUnshared(cls_ReadVisitor const& visitor, std::type_index type);
/// Makes known that the object is being built where nobody knows.
KVL_EXPORT void sto_HoldUnfinished(cls_ReadVisitor const& visitor, std::type_index type);
/// Forgets an object whose construction failed, and those that were built within it.
KVL_EXPORT void sto_ForgetShared(cls_ReadVisitor const& visitor) noexcept;

/// Refuses to compile a class that would read the base-class part instead of itself.
template <class T> constexpr void sto_CheckReadsByReference() {
  static_assert(
      !cls_ReadsByValue<T> && !cls_ReadsByValue<T, std::nullptr_t>,
      "The reading constructor takes its cls_ReadVisitor by value, which reads the base-class part: "
      "take cls_ReadVisitor const&.");
}

/// A new object, read by T's own constructor from a visitor (or from a visitor and an owner's identity, given
/// none); null for a class that has neither, as an abstract one.
template <class T> [[nodiscard]] std::unique_ptr<T> sto_ConstructItself(cls_ReadVisitor const& visitor) {
  sto_CheckReadsByReference<T>();
  if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&>)
    return std::unique_ptr<T>(new T(visitor));
  else if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&, std::nullptr_t>)
    return std::unique_ptr<T>(new T(visitor, nullptr));
  else
    return nullptr;
}

template <class T> [[nodiscard]] cls_ClassMetadata const* sto_MetadataAs(cls_ReadVisitor const& visitor) {
  if constexpr (sto_HasTypeId<T>)
    return sto_FindMetadata(visitor, T::TypeId(), std::has_virtual_destructor_v<T>);
  else
    return nullptr;
}

/// Whether the visitor's object is built by T's own constructor: without metadata, with the adapter of T, or
/// with metadata of T's class that says nothing about it.
template <class T>
[[nodiscard]] bool sto_BuildsItself(cls_ClassMetadata const* metadata, cls_ReadVisitor const& visitor) {
  if (metadata == nullptr) return true;
  if constexpr (sto_HasTypeId<T>) {
    if (metadata->ClassId() != T::TypeId())
      return false; // a derived class, which only its metadata can build
    if constexpr (sto_IsAdaptable<T>)
      if (typeid(*metadata) == typeid(cls_TypeAdapter<T>)) return true;
    if (dynamic_cast<cls_AbsTypeAdapter<T> const*>(metadata) != nullptr) return false;
    return sto_LeavesBuilding(*metadata, visitor, T::TypeId());
  }
  return true;
}

/// A new object of what the visitor reads, for one owner.
template <class T> [[nodiscard]] std::unique_ptr<T> sto_Construct(cls_ReadVisitor const& visitor) {
  cls_ClassMetadata const* const metadata = sto_MetadataAs<T>(visitor);
  if (sto_BuildsItself<T>(metadata, visitor)) return sto_ConstructItself<T>(visitor);
  return std::unique_ptr<T>(static_cast<T*>(sto_Build(*metadata, visitor)));
}

/// The object that a field holds, for one owner; null when the field is absent, or its object is not stored.
template <class T>
[[nodiscard]] std::unique_ptr<T> sto_ReadOwned(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  if (parent.DataIsPresent(field) == 0) return nullptr;
  return sto_Construct<T>(cls_ReadVisitor(parent, field));
}

/// Builds a shared object whose address is known before, so that a cycle can lead back to it.
template <class T> [[nodiscard]] std::shared_ptr<T> sto_ConstructInPlace(cls_ReadVisitor const& visitor) {
  sto_CheckReadsByReference<T>();
  struct Room {
    ~Room() {
      if (m_IsBuilt) Address()->~T();
    }
    T* Address() noexcept { return std::launder(reinterpret_cast<T*>(m_Memory)); }
    alignas(T) unsigned char m_Memory[sizeof(T)];
    bool m_IsBuilt = false;
  };
  auto const room = std::make_shared<Room>();
  std::shared_ptr<T> object(room, reinterpret_cast<T*>(room->m_Memory));
  sto_HoldShared(visitor, typeid(T), object, sto_HasTypeId<T> ? sto_BuiltAs::Itself : sto_BuiltAs::Unchecked);
  try {
    if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&>)
      new (room->m_Memory) T(visitor);
    else
      new (room->m_Memory) T(visitor, nullptr);
  } catch (...) {
    sto_ForgetShared(visitor);
    throw;
  }
  room->m_IsBuilt = true;
  return object;
}

/// Builds a shared object through its metadata.
template <class T>
[[nodiscard]] std::shared_ptr<T> sto_ConstructByMetadata(cls_ClassMetadata const& metadata,
                                                         cls_ReadVisitor const& visitor) {
  sto_HoldUnfinished(visitor, typeid(T));
  try {
    std::shared_ptr<T> object(static_cast<T*>(sto_Build(metadata, visitor)));
    sto_HoldShared(visitor, typeid(T), object, sto_BuiltAs::ByMetadata);
    return object;
  } catch (...) {
    sto_ForgetShared(visitor);
    throw;
  }
}

/// The shared object of what the visitor reads: the one that this load has made before, or a new one.
template <class T> [[nodiscard]] std::shared_ptr<T> sto_ConstructShared(cls_ReadVisitor const& visitor) {
  cls_ClassMetadata const* const metadata = sto_MetadataAs<T>(visitor);
  bool const isItself = sto_BuildsItself<T>(metadata, visitor);
  sto_BuiltAs const askedAs = metadata == nullptr ? sto_BuiltAs::Unchecked
                              : isItself          ? sto_BuiltAs::Itself
                                                  : sto_BuiltAs::ByMetadata;
  if (std::shared_ptr<void> found = sto_FindShared(visitor, typeid(T), askedAs))
    return std::static_pointer_cast<T>(found);
  if (!isItself) return sto_ConstructByMetadata<T>(*metadata, visitor);
  if constexpr (std::is_abstract_v<T>)
    return nullptr;
  else
    return sto_ConstructInPlace<T>(visitor);
}

/// The shared object that a field holds; null when the field is absent, or its object is not stored.
template <class T>
[[nodiscard]] std::shared_ptr<T> sto_ReadShared(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  if (parent.DataIsPresent(field) == 0) return nullptr;
  return sto_ConstructShared<T>(cls_ReadVisitor(parent, field));
}
