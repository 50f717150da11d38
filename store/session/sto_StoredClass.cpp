#include "store/session/sto_StoredClass.h"

#include <algorithm>

#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_TagFits.h"

namespace {

constexpr std::uint32_t AllTags = ~std::uint32_t{0};

constexpr std::uint32_t Bit(sto_Format::ValueTag tag) noexcept {
  return std::uint32_t{1} << tag;
}

/// The types that the value of an attribute may have, by the rules that also apply when it is written.
std::uint32_t TagsOf(sto_AttributeRow const& attribute) noexcept {
  if (attribute.m_CollectionType != COLLECTION_NONE) return Bit(sto_Format::Object);
  std::uint32_t tags = 0;
  for (int tag = sto_Format::NoText; tag <= sto_Format::LastTag; ++tag)
    if (sto_TagFits(static_cast<sto_Format::ValueTag>(tag), static_cast<cls_AttributeType>(attribute.m_Type)))
      tags |= Bit(static_cast<sto_Format::ValueTag>(tag));
  return tags;
}

} // namespace

void sto_StoredClass::Describe(std::vector<sto_AttributeRow> attributes) {
  m_Row.m_Attributes = std::move(attributes);
  m_Known.clear();
}

std::string sto_StoredClass::TakeUnits(std::vector<sto_AttributeRow> const& declared, bool& isChanged) {
  for (bool const isTaking : {false, true}) // nothing is taken if anything contradicts
    for (std::size_t i = 0; i < declared.size(); ++i) {
      sto_AttributeRow& known = m_Row.m_Attributes[i];
      bool const hasUnit = !declared[i].m_Unit.empty() && declared[i].m_Unit != known.m_Unit;
      bool const hasDefault = declared[i].m_Default && declared[i].m_Default != known.m_Default;
      if ((hasUnit && !known.m_Unit.empty()) || (hasDefault && known.m_Default)) return known.m_Name;
      isChanged = isChanged || hasUnit || hasDefault;
      if (isTaking && hasUnit) known.m_Unit = declared[i].m_Unit;
      if (isTaking && hasDefault) known.m_Default = declared[i].m_Default;
    }
  return {};
}

bool sto_StoredClass::FindKnown(sto_Field const& field, std::size_t& next) const noexcept {
  auto const from = m_Known.begin() + static_cast<std::ptrdiff_t>(next);
  auto const fits = [&](Known const& known) { return known.Fits(field); };
  auto found = std::find_if(from, m_Known.end(), fits);
  if (found == m_Known.end()) {
    found = std::find_if(m_Known.begin(), from, fits);
    if (found == from) return false;
  }
  next = static_cast<std::size_t>(found - m_Known.begin());
  return true;
}

std::string sto_StoredClass::Describe() const {
  return "class " + m_Row.m_Name + " version " + std::to_string(m_Row.m_Version);
}

std::string sto_StoredClass::Resolve(Known& known, std::string_view name) const {
  if (known.m_Key.m_NameId == 0) return ResolveNumber(known);
  if (name.empty())
    return "table name does not have name " + std::to_string(known.m_Key.m_NameId) + ", which it uses";
  known.m_Tags = AllTags;
  if (m_Row.m_Attributes.empty()) return {}; // format 1 did not describe attributes
  auto const attribute = std::ranges::find(m_Row.m_Attributes, name, &sto_AttributeRow::m_Name);
  if (attribute == m_Row.m_Attributes.end())
    return "it has attribute " + std::string(name) + ", which table attribute does not have for " +
           Describe();
  known.m_Tags = TagsOf(*attribute);
  return {};
}

std::string sto_StoredClass::ResolveNumber(Known& known) const {
  int const number = known.m_Key.m_FieldId;
  if (sto_IsCollectionClass(m_Row.m_ClassId)) {
    if (sto_CollectionFields::IsNumber(number))
      known.m_Tags = Bit(sto_Format::Int32) | Bit(sto_Format::Int64);
  } else if (m_Row.m_Attributes.empty()) {
    known.m_Tags = AllTags;
  }
  for (sto_AttributeRow const& attribute : m_Row.m_Attributes)
    if (attribute.m_FieldId == number) known.m_Tags |= TagsOf(attribute);
  if (known.m_Tags != 0) return {};
  return "it has attribute number " + std::to_string(number) + ", which table attribute does not have for " +
         Describe();
}

std::string sto_StoredClass::TypeProblem(Known const& known, std::string_view name) const {
  return "it has attribute " +
         (name.empty() ? "number " + std::to_string(known.m_Key.m_FieldId) : std::string(name)) +
         " as another type than table attribute says for " + Describe();
}
