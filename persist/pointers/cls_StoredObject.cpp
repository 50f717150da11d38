#include "persist/pointers/cls_StoredObject.h"

#include <array>
#include <atomic>
#include <mutex>

#include "persist/backend/cls_MementoRead.h"

namespace {

/// A declared type. Readers look at m_Offset only when m_Type is the type of a memento that they have; while
/// that lives, the entry is not changed.
struct DeclaredType {
  std::atomic<std::type_info const*> m_Type = nullptr;
  std::ptrdiff_t m_Offset = 0;
};

constinit std::array<DeclaredType, 8> s_Types;
constinit std::mutex s_TypesMutex; // held by those who change the table

} // namespace

cls_StoredMementoTypeBase::cls_StoredMementoTypeBase(std::type_info const& type,
                                                     std::ptrdiff_t offset) noexcept
    : m_Type(&type) {
  std::scoped_lock const lock(s_TypesMutex);
  for (DeclaredType& each : s_Types) {
    if (each.m_Type.load(std::memory_order_relaxed) != nullptr) continue;
    each.m_Offset = offset;
    each.m_Type.store(&type, std::memory_order_release);
    return;
  }
}

cls_StoredMementoTypeBase::~cls_StoredMementoTypeBase() {
  std::scoped_lock const lock(s_TypesMutex);
  for (DeclaredType& each : s_Types)
    if (each.m_Type.load(std::memory_order_relaxed) == m_Type) {
      each.m_Type.store(nullptr, std::memory_order_release);
      return;
    }
}

void cls_StoredObject::NoteBuiltByMetadata() {}

cls_StoredObject* cls_StoredObject::Of(cls_MementoRead* memento) noexcept {
  if (memento == nullptr) return nullptr;
  std::type_info const* const type = &typeid(*memento);
  for (DeclaredType const& each : s_Types)
    if (each.m_Type.load(std::memory_order_acquire) == type)
      return reinterpret_cast<cls_StoredObject*>(reinterpret_cast<std::byte*>(memento) + each.m_Offset);
  return dynamic_cast<cls_StoredObject*>(memento);
}

cls_StoredObject::Place cls_ForwardedObject::StoredAt() noexcept {
  return m_Object == nullptr ? Place() : m_Object->StoredAt();
}

void cls_ForwardedObject::NoteBuiltByMetadata() {
  if (m_Object != nullptr) m_Object->NoteBuiltByMetadata();
}
