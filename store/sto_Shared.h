#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <utility>

#include "persist/cls_ReadVisitor.h"
#include "platform/kvl_Export.h"

// Shared objects and cycles on the way in. A class whose member may be held by others too, or leads back,
// reads it with sto_ReadShared:
//
//     Element::Element(cls_ReadVisitor const& visitor)
//         : m_Material(sto_ReadShared<Material>(visitor, cls_FieldHandle(0, "m_Material"_cow))),
//           m_Owner(sto_ReadShared<Part>(visitor, cls_FieldHandle(1, "m_Owner"_cow))) {}     // a weak_ptr
//
// In one load every stored object becomes one object in memory. On a cycle the pointer leads to an object
// whose constructor has not finished: keep it, do not look into it yet. A cycle of owning pointers is never
// freed, so let one of them be a weak_ptr. Such an object shares the ownership of the memory it stands in, so
// shared_from_this() does not work in its class.

/// Raises WrongClass when the visitor's object, if it is there, is of another class than `typeId`.
KVL_EXPORT void sto_CheckTypeId(cls_ReadVisitor const& visitor, unsigned int typeId);

/// The object that this load has made of the visitor's stored object before, null when it has not. Misuse
/// when it is of another type, or one that cannot be shared.
KVL_EXPORT std::shared_ptr<void> sto_FindShared(cls_ReadVisitor const& visitor, std::type_index type);
/// Makes an object known for the rest of the load.
KVL_EXPORT void sto_HoldShared(cls_ReadVisitor const& visitor, std::type_index type,
                               std::shared_ptr<void> object);
/// Makes known that the object has one owner, so that a way back to it is an error and not an endless load.
KVL_EXPORT void sto_HoldUnshared(cls_ReadVisitor const& visitor, std::type_index type);
/// Forgets an object whose construction failed, and those that were built within it.
KVL_EXPORT void sto_ForgetShared(cls_ReadVisitor const& visitor) noexcept;

template <class T> void sto_CheckClass(cls_ReadVisitor const& visitor) {
  if constexpr (requires { T::TypeId(); }) sto_CheckTypeId(visitor, T::TypeId());
}

/// A new object, read by T's constructor from a visitor (or from a visitor and an owner's identity, given
/// none).
template <class T> [[nodiscard]] std::unique_ptr<T> sto_Construct(cls_ReadVisitor const& visitor) {
  if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&>)
    return std::unique_ptr<T>(new T(visitor));
  else
    return std::unique_ptr<T>(new T(visitor, nullptr));
}

/// The shared object of what the visitor reads: the one that this load has made before, or a new one.
template <class T> [[nodiscard]] std::shared_ptr<T> sto_ConstructShared(cls_ReadVisitor const& visitor) {
  if (std::shared_ptr<void> found = sto_FindShared(visitor, typeid(T)))
    return std::static_pointer_cast<T>(found);
  sto_CheckClass<T>(visitor);
  // The address is known before the object is built, so that a cycle can lead back to it.
  struct Place {
    ~Place() {
      if (m_IsBuilt) Address()->~T();
    }
    T* Address() noexcept { return std::launder(reinterpret_cast<T*>(m_Memory)); }
    alignas(T) unsigned char m_Memory[sizeof(T)];
    bool m_IsBuilt = false;
  };
  auto const place = std::make_shared<Place>();
  std::shared_ptr<T> object(place, reinterpret_cast<T*>(place->m_Memory));
  sto_HoldShared(visitor, typeid(T), object);
  try {
    if constexpr (std::is_constructible_v<T, cls_ReadVisitor const&>)
      new (place->m_Memory) T(visitor);
    else
      new (place->m_Memory) T(visitor, nullptr);
  } catch (...) {
    sto_ForgetShared(visitor);
    throw;
  }
  place->m_IsBuilt = true;
  return object;
}

/// The shared object that a field holds; null when the field is absent, or its object is not stored.
template <class T>
[[nodiscard]] std::shared_ptr<T> sto_ReadShared(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  if (parent.DataIsPresent(field) == 0) return nullptr;
  return sto_ConstructShared<T>(cls_ReadVisitor(parent, field));
}
