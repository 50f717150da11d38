#include "persist/pointers/cls_LaterPointers.h"

namespace {

/// Whether a pointer leads back to an object that is not finished yet. `entry`: of the object, null if there is none.
bool IsUnfinished(cls_LoadedObjects::Entry const* entry) noexcept {
  return entry != nullptr && entry->m_Object == nullptr && entry->m_WhyNot == cls_BuildFault::IsUnfinished;
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

bool cls_LaterPlace::LeaveReference(cls_FieldHandle const& field, cls_LaterReads::Read read) const {
  if (m_Source == nullptr || m_Source->Later() == nullptr) return false;
  read.m_Held = m_Source->Later()->HeldIn(*m_Memento, field);
  if (read.m_Held.m_Source == nullptr || !read.m_Held.m_IsReference) return false;
  if (!Leave(read)) read.m_Fill(read);
  return true;
}

cls_HeldObject cls_LaterPlace::Self() const {
  if (m_Source == nullptr || m_Source->Later() == nullptr) return {};
  return m_Source->Later()->Self(*m_Memento);
}

bool cls_LaterPlace::Leave(cls_LaterReads::Read read) {
  cls_LoadedObjects& loaded = read.m_Held.m_Source->Source().Loaded();
  cls_LaterReads& later = loaded.Later();
  if (!later.IsOn()) return false;
  int const depth = std::exchange(read.m_Held.m_Depth, 0); // what is left begins anew
  cls_LoadedObjects::Entry const* const entry = loaded.Find(read.m_Held.m_Id);
  if (read.m_SharedAs != nullptr && entry != nullptr && loaded.IsOfThisLoad(*entry, *read.m_SharedAs)) {
    read.m_Fill(read); // which finds the object
    return true;
  }
  if (read.m_Held.m_IsReference && entry == nullptr && later.AddReference(read)) return true;
  if (depth < cls_LaterReads::MaxNested && !IsUnfinished(entry)) return false;
  later.Add(std::move(read));
  return true;
}

bool cls_LaterPlace::Leave(cls_LaterReads::Call const& call) const {
  if (m_Source == nullptr) return false;
  m_Source->Loaded().Later().AddCall(call);
  return true;
}
