#include "metadata/cls_ClassNotes.h"

cls_ClassNotes& cls_ClassNotes::Note(std::string_view name, std::string_view text) {
  m_Notes[std::string(name)] = text;
  return *this;
}

cls_ClassNotes& cls_ClassNotes::Note(std::string_view attribute, std::string_view name,
                                     std::string_view text) {
  Of(attribute).m_Notes[std::string(name)] = text;
  return *this;
}

cls_ClassNotes& cls_ClassNotes::Unit(std::string_view attribute, std::string_view unit) {
  Of(attribute).m_Unit = unit;
  return *this;
}

cls_ClassNotes& cls_ClassNotes::Default(std::string_view attribute, std::string_view text) {
  Of(attribute).m_Default = text;
  return *this;
}

cls_ClassNotes& cls_ClassNotes::Enumerator(std::string_view attribute, std::string_view name,
                                           std::int64_t value) {
  Of(attribute).m_Enumerators[std::string(name)] = value;
  return *this;
}

cls_ClassNotes& cls_ClassNotes::Compress(std::string_view attribute, bool compresses) {
  Of(attribute).m_Compress = compresses;
  return *this;
}

cls_ClassNotes& cls_ClassNotes::MayBeAbsent(std::string_view attribute) {
  Of(attribute).m_MayBeAbsent = true;
  return *this;
}

cls_ClassNotes& cls_ClassNotes::Index(std::string_view attribute) {
  Of(attribute).m_IsIndexed = true;
  return *this;
}

cls_ClassNotes::Attribute const* cls_ClassNotes::Find(std::string_view attribute) const noexcept {
  auto const found = m_Attributes.find(attribute);
  return found == m_Attributes.end() ? nullptr : &found->second;
}
