#include "persist/pointers/cls_LaterPointers.h"

bool cls_HasObject(cls_ReadVisitor const& visitor) noexcept {
  cls_StoredObject* const stored = cls_StoredObject::Of(visitor.Memento());
  return stored == nullptr || stored->StoredAt().m_Id != 0;
}

cls_LaterPlace::cls_LaterPlace(cls_ReadVisitor const& visitor) noexcept
    : m_Memento(visitor.Memento()), m_Source(nullptr) {
  cls_StoredObject* const stored = cls_StoredObject::Of(m_Memento);
  if (stored == nullptr) return;
  cls_ObjectSource* const source = stored->StoredAt().m_Source;
  if (source != nullptr && source->Loaded().Later().IsOn()) m_Source = source;
}

cls_LaterReads* cls_LaterPlace::Reads() const noexcept {
  return m_Source == nullptr ? nullptr : &m_Source->Loaded().Later();
}

bool cls_LaterPlace::Leave(cls_FieldHandle const& field, cls_LaterReads::Read read) const {
  if (m_Source == nullptr || m_Source->Later() == nullptr) return false;
  read.m_Held = m_Source->Later()->HeldIn(*m_Memento, field);
  if (read.m_Held.m_Source == nullptr) return false;
  m_Source->Loaded().Later().Add(std::move(read));
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
