#include "describe/dsc_AttributeList.h"

#include <algorithm>

#include "platform/omni/omi_BtreeIterator.h"

dsc_AttributeList::dsc_AttributeList(char const* className)
    : m_Metadata(cow_String(std::string_view(className)), NoClass, 1, nullptr,
                 cls_ClassMetadata::RootClassId) {}

std::vector<cls_AttributeMetadata> dsc_AttributeList::InOrder() const {
  std::vector<cls_AttributeMetadata> attributes;
  attributes.reserve(m_Metadata.GetAttributes().Count());
  for (omi_BtreeIterator i(m_Metadata.GetAttributes()); !i.IsDone(); i.Next())
    attributes.push_back(i.Value());
  std::ranges::sort(attributes, {}, &cls_AttributeMetadata::m_FieldId);
  return attributes;
}

std::string_view dsc_AttributeList::UnitOf(std::string_view attribute) const {
  cls_ClassNotes const* const notes = m_Registrar.FindNotes(NoClass, m_Metadata.Version());
  cls_ClassNotes::Attribute const* const said = notes == nullptr ? nullptr : notes->Find(attribute);
  return said == nullptr ? std::string_view() : std::string_view(said->m_Unit);
}
