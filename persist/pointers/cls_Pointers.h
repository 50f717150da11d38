#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <utility>

#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/pointers/cls_ObjectToBuild.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_ReadsByValue.h"
#include "persist/visitors/cls_WriteVisitor.h"

// Reading objects that are held through pointers. A reading constructor calls:
//
//     Part::Part(cls_ReadVisitor const& visitor)
//         : m_Failure(cls_ReadOwned<nex_Exception>(visitor, FailureField())),  // a std::unique_ptr
//           m_Material(cls_ReadShared<Material>(visitor, MaterialField())),    // a std::shared_ptr
//           m_Assembly(cls_ReadShared<Assembly>(visitor, AssemblyField())) {}  // a std::weak_ptr
//
// Use cls_ReadOwned for an object that only this member holds. Use cls_ReadShared for one that others may
// also hold, or that leads back to this object: in one load each stored object becomes one object in memory.
//
// Who builds the object:
// - A class with a static TypeId() is built by the metadata of the stored class and version, or of the next
//   registered version above it. The object may be of a class derived from the requested one. REQUIRES: the
//   requested class then has a virtual destructor (checked) and is the first base of the derived class, so
//   that both have the same address (not checked).
// - Metadata without a constructor function leaves the building to the requested class.
// - A class without TypeId() is built by its own constructor, unchecked.
//
// Cycles: a pointer that leads back gets an object whose constructor has not finished. Keep the pointer, but
// do not look into the object yet. This needs the object's address before the object is built, so in a cycle
// an object must be requested as exactly its own class, registered with cls_TypeAdapter. A cycle of owning
// pointers is never freed: make one of them a weak_ptr. Such an object lies inside a larger shared block, so
// shared_from_this() does not work in its class.
//
// Back ends: all of this needs a reading memento that derives from cls_StoredObject. Over a back end whose
// mementos do not, each pointer gets an object of its own, built by the requested class and unchecked; a cycle
// is then read without end.
//
// Errors, for all reading functions here: the faults of cls_BuildFault, in the words of the back end (the
// store raises WrongClass for OtherClass, and Misuse for all others); whatever the constructors and the back
// end raise. Thread rule: as the visitor.

template <class T>
concept cls_HasTypeId = requires {
  T::TypeId();
};

/// A class whose adapter builds it with its own constructor from a visitor.
template <class T>
concept cls_IsAdaptable = cls_HasTypeId<T> && std::is_constructible_v<T, cls_ReadVisitor const&> &&
    requires(T const& object, cls_WriteVisitor const& visitor) {
  object.DBWrite(visitor);
};

// The functions down to cls_BuildsItself are called by the templates below; programs do not call them.

/// Refuses to compile a class whose reading constructor would read the base-class part instead of the object.
template <class T> constexpr void cls_CheckReadsByReference() {
  static_assert(
      !cls_ReadsByValue<T> && !cls_ReadsByValue<T, std::nullptr_t>,
      "The reading constructor takes its cls_ReadVisitor by value, which reads the base-class part: "
      "take cls_ReadVisitor const&.");
}

/// Builds a new object with T's constructor from a visitor, or from a visitor and an owner's identity (null
/// is passed). Null for a class that has neither, such as an abstract class.
template <class T> [[nodiscard]] std::unique_ptr<T> cls_ConstructItself(cls_ReadVisitor const& visitor) {
  cls_CheckReadsByReference<T>();
  if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&>)
    return std::unique_ptr<T>(new T(visitor));
  else if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&, std::nullptr_t>)
    return std::unique_ptr<T>(new T(visitor, nullptr));
  else
    return nullptr;
}

template <class T> [[nodiscard]] cls_ClassMetadata const* cls_MetadataAs(cls_ObjectToBuild const& stored) {
  if constexpr (cls_HasTypeId<T>)
    return stored.FindMetadata(T::TypeId(), std::has_virtual_destructor_v<T>);
  else
    return nullptr;
}

/// Whether an object is built by T's own constructor: there is no metadata, it is the adapter of T, or it is
/// metadata of T's class without a constructor function.
template <class T>
[[nodiscard]] bool cls_BuildsItself(cls_ClassMetadata const* metadata, cls_ObjectToBuild const& stored) {
  if (metadata == nullptr) return true;
  if constexpr (cls_HasTypeId<T>) {
    if (metadata->ClassId() != T::TypeId())
      return false; // a derived class, which only its metadata can build
    if constexpr (cls_IsAdaptable<T>)
      if (typeid(*metadata) == typeid(cls_TypeAdapter<T>)) return true;
    if (dynamic_cast<cls_AbsTypeAdapter<T> const*>(metadata) != nullptr) return false;
    return stored.LeavesBuilding(*metadata, T::TypeId());
  }
  return true;
}

template <class T> [[nodiscard]] std::unique_ptr<T> cls_Construct(cls_ObjectToBuild const& stored) {
  cls_ClassMetadata const* const metadata = cls_MetadataAs<T>(stored);
  if (cls_BuildsItself<T>(metadata, stored)) return cls_ConstructItself<T>(stored.Visitor());
  return std::unique_ptr<T>(static_cast<T*>(stored.Build(*metadata)));
}

/// Builds a new object from what the visitor reads, for one owner.
template <class T> [[nodiscard]] std::unique_ptr<T> cls_Construct(cls_ReadVisitor const& visitor) {
  if constexpr (cls_HasTypeId<T>)
    return cls_Construct<T>(cls_ObjectToBuild(visitor));
  else
    return cls_ConstructItself<T>(visitor);
}

/// The same for the object that a load begins with. A pointer that leads back to it is an error, because no
/// other object can hold it. For a back end's loading function, which begins a cls_OneLoad before it.
template <class T> [[nodiscard]] std::unique_ptr<T> cls_ConstructRoot(cls_ReadVisitor const& visitor) {
  cls_ObjectToBuild const stored(visitor);
  stored.HoldUnshared(typeid(T));
  return cls_Construct<T>(stored);
}

/// Reads the object that a field holds, for one owner; null if the field is absent or its object is not
/// stored.
template <class T>
[[nodiscard]] std::unique_ptr<T> cls_ReadOwned(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  if (parent.DataIsPresent(field) == 0) return nullptr;
  return cls_Construct<T>(cls_ReadVisitor(parent, field));
}

/// Builds a shared object whose address is known before its construction, so that a cycle can lead back to
/// it.
template <class T> [[nodiscard]] std::shared_ptr<T> cls_ConstructInPlace(cls_ObjectToBuild const& stored) {
  cls_CheckReadsByReference<T>();
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
  stored.HoldShared(typeid(T), object, cls_HasTypeId<T> ? cls_BuiltAs::Itself : cls_BuiltAs::Unchecked);
  try {
    if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&>)
      new (room->m_Memory) T(stored.Visitor());
    else
      new (room->m_Memory) T(stored.Visitor(), nullptr);
  } catch (...) {
    stored.Forget();
    throw;
  }
  room->m_IsBuilt = true;
  return object;
}

/// Builds a shared object through its metadata.
template <class T>
[[nodiscard]] std::shared_ptr<T> cls_ConstructByMetadata(cls_ClassMetadata const& metadata,
                                                         cls_ObjectToBuild const& stored) {
  stored.HoldUnfinished(typeid(T));
  try {
    std::shared_ptr<T> object(static_cast<T*>(stored.Build(metadata)));
    stored.HoldShared(typeid(T), object, cls_BuiltAs::ByMetadata);
    return object;
  } catch (...) {
    stored.Forget();
    throw;
  }
}

/// The shared object that the visitor reads: the one that this load has already made, or a new one.
template <class T> [[nodiscard]] std::shared_ptr<T> cls_ConstructShared(cls_ReadVisitor const& visitor) {
  cls_ObjectToBuild const stored(visitor);
  cls_ClassMetadata const* const metadata = cls_MetadataAs<T>(stored);
  bool const isItself = cls_BuildsItself<T>(metadata, stored);
  cls_BuiltAs const askedAs = metadata == nullptr ? cls_BuiltAs::Unchecked
                              : isItself          ? cls_BuiltAs::Itself
                                                  : cls_BuiltAs::ByMetadata;
  if (std::shared_ptr<void> found = stored.FindShared(typeid(T), askedAs))
    return std::static_pointer_cast<T>(found);
  if (!isItself) return cls_ConstructByMetadata<T>(*metadata, stored);
  if constexpr (std::is_abstract_v<T>)
    return nullptr;
  else
    return cls_ConstructInPlace<T>(stored);
}

/// Reads the shared object that a field holds; null if the field is absent or its object is not stored.
template <class T>
[[nodiscard]] std::shared_ptr<T> cls_ReadShared(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  if (parent.DataIsPresent(field) == 0) return nullptr;
  return cls_ConstructShared<T>(cls_ReadVisitor(parent, field));
}

/// A whole load: the object that the visitor reads becomes a new object with one owner (cls_ConstructRoot).
/// For a back end's loading function.
template <class T>
[[nodiscard]] std::unique_ptr<T> cls_LoadOwned(cls_ObjectSource& source, cls_ReadVisitor const& visitor) {
  cls_OneLoad load(source.Loaded());
  std::unique_ptr<T> object = cls_ConstructRoot<T>(visitor);
  load.Complete();
  return object;
}

/// The same for an object that its own graph may lead back to.
template <class T>
[[nodiscard]] std::shared_ptr<T> cls_LoadShared(cls_ObjectSource& source, cls_ReadVisitor const& visitor) {
  cls_OneLoad load(source.Loaded());
  std::shared_ptr<T> object = cls_ConstructShared<T>(visitor);
  load.Complete();
  return object;
}
