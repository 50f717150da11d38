#include "metadata/cls_ClassChanges.h"

#include <algorithm>

cls_ClassChanges& cls_ClassChanges::Since(std::string_view attribute, int version) {
  m_Attributes[std::string(attribute)].m_Since = version;
  return *this;
}

cls_ClassChanges& cls_ClassChanges::MayBeMissing(std::string_view attribute) {
  m_Attributes[std::string(attribute)].m_MayBeMissing = true;
  return *this;
}

cls_ClassChanges& cls_ClassChanges::Was(std::string_view attribute, std::string_view earlierName) {
  m_Attributes[std::string(attribute)].m_EarlierNames.emplace_back(earlierName);
  return *this;
}

cls_ClassChanges& cls_ClassChanges::UnitWas(std::string_view attribute, std::string_view unit) {
  m_Attributes[std::string(attribute)].m_EarlierUnits.emplace_back(unit);
  return *this;
}

cls_ClassChanges& cls_ClassChanges::Dropped(std::string_view attribute) {
  m_Dropped.push_back({std::string(attribute)});
  return *this;
}

cls_ClassChanges& cls_ClassChanges::Dropped(std::string_view attribute, cls_AttributeType type,
                                            cls_CollectionType collection, std::string_view unit) {
  m_Dropped.push_back({std::string(attribute), true, type, collection, std::string(unit)});
  return *this;
}

cls_ClassChanges& cls_ClassChanges::BaseWas(unsigned int classId) {
  m_Bases.push_back(classId);
  return *this;
}

cls_ClassChanges& cls_ClassChanges::ClassWas(std::string_view name) {
  m_Names.emplace_back(name);
  return *this;
}

cls_ClassChanges& cls_ClassChanges::DeclaredAt(std::string_view place) {
  m_Place = place;
  return *this;
}

cls_ClassChanges::Attribute const* cls_ClassChanges::Find(std::string_view attribute) const noexcept {
  auto const found = m_Attributes.find(attribute);
  return found == m_Attributes.end() ? nullptr : &found->second;
}

cls_ClassChanges::DroppedAttribute const*
cls_ClassChanges::FindDropped(std::string_view attribute) const noexcept {
  auto const found = std::ranges::find(m_Dropped, attribute, &DroppedAttribute::m_Name);
  return found == m_Dropped.end() ? nullptr : &*found;
}

bool cls_ClassChanges::Reads(std::string_view earlierName) const noexcept {
  return FindDropped(earlierName) != nullptr ||
         std::ranges::any_of(m_Attributes, [earlierName](auto const& entry) {
           return std::ranges::find(entry.second.m_EarlierNames, earlierName) !=
                  entry.second.m_EarlierNames.end();
         });
}

bool cls_ClassChanges::HadBase(unsigned int classId) const noexcept {
  return std::ranges::find(m_Bases, classId) != m_Bases.end();
}

bool cls_ClassChanges::HadName(std::string_view name) const noexcept {
  return std::ranges::find(m_Names, name) != m_Names.end();
}
