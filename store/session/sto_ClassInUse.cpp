#include "store/session/sto_ClassInUse.h"

#include "platform/omni/omi_BtreeIterator.h"

namespace {

bool IsSame(sto_ClassInUse::Attribute const& attribute, cls_FieldHandle const& field) noexcept {
  return attribute.m_Name == field.Name() &&
         (!field.Name().IsEmpty() || attribute.m_FieldId == field.FieldId());
}

} // namespace

sto_ClassInUse::Attribute const* sto_ClassInUse::Search(cls_FieldHandle const& field,
                                                        std::size_t& next) const noexcept {
  std::size_t const count = m_Attributes.size();
  // Most objects write the same attributes as the previous one, in the same order; some ask twice for one.
  if (next < count && IsSame(*m_Attributes[next], field)) return m_Attributes[next++].get();
  if (next > 0 && next <= count && IsSame(*m_Attributes[next - 1], field))
    return m_Attributes[next - 1].get();
  for (std::size_t index = 0; index < count; ++index) {
    if (!IsSame(*m_Attributes[index], field)) continue;
    next = index + 1;
    return m_Attributes[index].get();
  }
  return nullptr;
}

sto_NumberedShape const* sto_ClassInUse::SearchRecentShape(sto_RecordBuilder& builder) {
  for (std::size_t i = 0; i < m_RecentShapes.size(); ++i)
    if (m_RecentShapes[i] != nullptr && builder.HasShape(m_RecentShapes[i]->m_Shape)) {
      m_Latest = i;
      return m_RecentShapes[i].get();
    }
  return nullptr;
}

cls_AttributeMetadata const* sto_FindDeclaration(cls_ClassMetadata const& metadata,
                                                 cls_FieldHandle const& field) {
  if (!field.Name().IsEmpty()) return metadata.FindAttribute(field.Name());
  for (omi_BtreeIterator i(metadata.GetAttributes()); !i.IsDone(); i.Next())
    if (i.Value().m_FieldId == field.FieldId()) return &i.Value();
  return nullptr;
}

sto_ClassInUse::Attribute const& sto_ClassInUse::Add(cls_FieldHandle const& field, sto_FieldKey const& key,
                                                     cls_AttributeMetadata const& declared) {
  m_Attributes.push_back(
      std::make_unique<Attribute>(Attribute{field.Name(), field.FieldId(), key, &declared}));
  return *m_Attributes.back();
}

void sto_ClassInUse::Reset() noexcept {
  m_IsRecorded = false;
  m_Base = nullptr;
  m_Attributes.clear();
  m_RecentShapes.fill(nullptr);
}
