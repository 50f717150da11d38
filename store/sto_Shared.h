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

// Reading objects that are held through pointers. A reading constructor calls:
//
//     Part::Part(cls_ReadVisitor const& visitor)
//         : m_Failure(sto_ReadOwned<nex_Exception>(visitor, FailureField())),  // a std::unique_ptr
//           m_Material(sto_ReadShared<Material>(visitor, MaterialField())),    // a std::shared_ptr
//           m_Assembly(sto_ReadShared<Assembly>(visitor, AssemblyField())) {}  // a std::weak_ptr
//
// Use sto_ReadOwned for an object that only this member holds. Use sto_ReadShared for one that others may
// also hold, or that leads back to this object: in one load each stored object becomes one object in memory.
//
// Who builds the object:
// - A class with a static TypeId() is built through the registrar, by the metadata of the stored class and
//   version, or of the next registered version above it. The object may be of a class derived from the
//   requested one. REQUIRES: the requested class then has a virtual destructor (Misuse) and is the first base
//   of the derived class, so that both have the same address (not checked).
// - Metadata without a constructor function leaves the building to the requested class.
// - A class without TypeId() is built by its own constructor, unchecked.
//
// Cycles: a pointer that leads back gets an object whose constructor has not finished. Keep the pointer, but
// do not look into the object yet. This needs the object's address before the object is built, so in a cycle
// an object must be requested as exactly its own class, registered with cls_TypeAdapter. A cycle of owning
// pointers is never freed: make one of them a weak_ptr. Such an object lies inside a larger shared block, so
// shared_from_this() does not work in its class.
//
// Errors, for all reading functions here: WrongClass if the stored object is not of the requested class or
// one derived from it; Misuse if its class is not declared or cannot be built; whatever the constructors and
// the store raise. Thread rule: as the store.

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

// The functions down to sto_ForgetShared are called by the templates below; programs do not call them.

/// The metadata that builds the visitor's object when class `typeId` is requested; null if the visitor reads
/// no stored object. WrongClass if the object's class is not `typeId` and does not derive from it. Misuse if
/// its class is not declared, or is a derived class and `takesDerived` is false.
KVL_EXPORT cls_ClassMetadata const* sto_FindMetadata(cls_ReadVisitor const& visitor, unsigned int typeId,
                                                     bool takesDerived);
/// Builds the visitor's object with `metadata`; the caller owns it. Misuse if `metadata` has no constructor
/// function. REQUIRES: the visitor reads a stored object.
KVL_EXPORT void* sto_Build(cls_ClassMetadata const& metadata, cls_ReadVisitor const& visitor);

/// Whether `metadata` leaves the building of an object to the requested C++ class. False for a derived class.
/// Misuse if `metadata` is the adapter of another C++ class. REQUIRES: the visitor reads a stored object, and
/// `metadata` is not the adapter of the requested class.
KVL_EXPORT bool sto_LeavesBuilding(cls_ClassMetadata const& metadata, cls_ReadVisitor const& visitor,
                                   unsigned int typeId);

/// The object that this load has already made of the visitor's stored object; null if it has not. Misuse if
/// that object cannot be shared, or was requested as another C++ class and cannot be both: one of the classes
/// has no TypeId, or each was taken for the object's exact class.
KVL_EXPORT std::shared_ptr<void> sto_FindShared(cls_ReadVisitor const& visitor, std::type_index type,
                                                sto_BuiltAs askedAs);
/// Registers an object for the rest of the load, so that later fields find it.
KVL_EXPORT void sto_HoldShared(cls_ReadVisitor const& visitor, std::type_index type,
                               std::shared_ptr<void> object, sto_BuiltAs builtAs);
/// Registers an object as having one owner. A pointer that leads back to it is then an error instead of an
/// endless load. Misuse if the load scope already has the object.
KVL_EXPORT void sto_HoldUnshared(cls_ReadVisitor const& visitor, std::type_index type);
/// Registers an object as being built by its metadata: its address is not known until it is finished.
KVL_EXPORT void sto_HoldUnfinished(cls_ReadVisitor const& visitor, std::type_index type);
/// Forgets an object whose construction failed, and all objects whose construction began after it.
KVL_EXPORT void sto_ForgetShared(cls_ReadVisitor const& visitor) noexcept;

/// Refuses to compile a class whose reading constructor would read the base-class part instead of the object.
template <class T> constexpr void sto_CheckReadsByReference() {
  static_assert(
      !cls_ReadsByValue<T> && !cls_ReadsByValue<T, std::nullptr_t>,
      "The reading constructor takes its cls_ReadVisitor by value, which reads the base-class part: "
      "take cls_ReadVisitor const&.");
}

/// Builds a new object with T's constructor from a visitor, or from a visitor and an owner's identity (null
/// is passed). Null for a class that has neither, such as an abstract class.
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

/// Whether the visitor's object is built by T's own constructor: there is no metadata, it is the adapter of
/// T, or it is metadata of T's class without a constructor function.
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

/// Builds a new object from what the visitor reads, for one owner.
template <class T> [[nodiscard]] std::unique_ptr<T> sto_Construct(cls_ReadVisitor const& visitor) {
  cls_ClassMetadata const* const metadata = sto_MetadataAs<T>(visitor);
  if (sto_BuildsItself<T>(metadata, visitor)) return sto_ConstructItself<T>(visitor);
  return std::unique_ptr<T>(static_cast<T*>(sto_Build(*metadata, visitor)));
}

/// Reads the object that a field holds, for one owner; null if the field is absent or its object is not
/// stored.
template <class T>
[[nodiscard]] std::unique_ptr<T> sto_ReadOwned(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  if (parent.DataIsPresent(field) == 0) return nullptr;
  return sto_Construct<T>(cls_ReadVisitor(parent, field));
}

/// Builds a shared object whose address is known before its construction, so that a cycle can lead back to
/// it.
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

/// The shared object that the visitor reads: the one that this load has already made, or a new one.
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

/// Reads the shared object that a field holds; null if the field is absent or its object is not stored.
template <class T>
[[nodiscard]] std::shared_ptr<T> sto_ReadShared(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  if (parent.DataIsPresent(field) == 0) return nullptr;
  return sto_ConstructShared<T>(cls_ReadVisitor(parent, field));
}
