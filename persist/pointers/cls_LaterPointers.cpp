#include "persist/pointers/cls_LaterPointers.h"

namespace {

/// Whether an object is built inside its holder; see cls_LaterReads.
bool IsBuiltNow(cls_LoadedObjects const& loaded, cls_HeldObject const& held) noexcept {
  if (held.m_Depth >= cls_LaterReads::MaxNested) return false;
  cls_LoadedObjects::Entry const* const entry = loaded.Find(held.m_Id);
  return entry == nullptr || entry->m_Object != nullptr || entry->m_WhyNot != cls_BuildFault::IsUnfinished;
}

} // namespace

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
  return read.m_Held.m_Source != nullptr && Leave(std::move(read));
}

cls_HeldObject cls_LaterPlace::Self() const {
  if (m_Source == nullptr || m_Source->Later() == nullptr) return {};
  return m_Source->Later()->Self(*m_Memento);
}

bool cls_LaterPlace::Leave(cls_LaterReads::Read read) {
  cls_LoadedObjects& loaded = read.m_Held.m_Source->Source().Loaded();
  if (!loaded.Later().IsOn() || IsBuiltNow(loaded, read.m_Held)) return false;
  read.m_Held.m_Depth = 0;
  loaded.Later().Add(std::move(read));
  return true;
}

bool cls_LaterPlace::Leave(cls_LaterReads::Call const& call) const {
  if (m_Source == nullptr) return false;
  m_Source->Loaded().Later().AddCall(call);
  return true;
}
