#include "persist/pointers/cls_StoredObject.h"

#include "persist/backend/cls_MementoRead.h"
#include "persist/pointers/cls_DeclaredTypes.h"

namespace {

constinit cls_DeclaredTypes s_Types;

} // namespace

cls_StoredMementoTypeBase::cls_StoredMementoTypeBase(std::type_info const& type,
                                                     std::ptrdiff_t offset) noexcept
    : m_Type(&type) {
  s_Types.Add(type, offset);
}

cls_StoredMementoTypeBase::~cls_StoredMementoTypeBase() {
  s_Types.Remove(*m_Type);
}

void cls_StoredObject::NoteBuiltByMetadata() {}

cls_StoredObject* cls_StoredObject::Of(cls_MementoRead* memento) noexcept {
  return s_Types.Find<cls_StoredObject>(memento);
}

cls_StoredObject::Place cls_ForwardedObject::StoredAt() noexcept {
  return m_Object == nullptr ? Place() : m_Object->StoredAt();
}

void cls_ForwardedObject::NoteBuiltByMetadata() {
  if (m_Object != nullptr) m_Object->NoteBuiltByMetadata();
}
