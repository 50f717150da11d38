#include "persist/pointers/cls_LaterPointers.h"

cls_LaterPlace::cls_LaterPlace(cls_ReadVisitor const& visitor) noexcept
    : m_Memento(visitor.Memento()), m_Source(nullptr) {
  cls_StoredObject* const stored = cls_StoredObject::Of(m_Memento);
  if (stored == nullptr) return;
  cls_ObjectSource* const source = stored->StoredAt().m_Source;
  if (source != nullptr && source->Loaded().Later().IsOn()) m_Source = source;
}

bool cls_LaterPlace::Leave(cls_FieldHandle const& field, void* target,
                           void (*fill)(cls_LaterReads::Read const& read)) const {
  if (m_Source == nullptr || m_Source->Later() == nullptr) return false;
  cls_HeldObject held = m_Source->Later()->HeldIn(*m_Memento, field);
  if (held.m_Source == nullptr) return false;
  m_Source->Loaded().Later().Add({std::move(held), target, fill});
  return true;
}

bool cls_LaterPlace::Leave(cls_LaterReads::Read const& read) {
  cls_LaterReads& later = read.m_Held.m_Source->LaterReads();
  if (!later.IsOn()) return false;
  later.Add(read);
  return true;
}

bool cls_LaterPlace::Leave(cls_LaterReads::Call const& call) const {
  if (m_Source == nullptr) return false;
  m_Source->Loaded().Later().AddCall(call);
  return true;
}
