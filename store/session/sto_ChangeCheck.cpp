#include "store/session/sto_ChangeCheck.h"

#include <algorithm>
#include <string_view>

#include "platform/omni/omi_BtreeIterator.h"
#include "store/format/sto_TypeNames.h"

namespace {

/// The field that an attribute belongs to: a value of several attributes has them under dotted names.
std::string_view FieldOf(std::string_view attribute) noexcept {
  return attribute.substr(0, attribute.find('.'));
}

bool Has(sto_ClassRow const& row, std::string_view attribute) {
  return std::ranges::find(row.m_Attributes, attribute, &sto_AttributeRow::m_Name) != row.m_Attributes.end();
}

bool HasField(sto_ClassRow const& row, std::string_view field) {
  return std::ranges::any_of(row.m_Attributes, [field](sto_AttributeRow const& attribute) {
    return FieldOf(attribute.m_Name) == field;
  });
}

/// Whether it is said where the value of an attribute comes from that the earlier version does not have.
bool IsSaid(cls_ClassChanges const& changes, std::string_view attribute, sto_ClassRow const& stored) {
  cls_ClassChanges::Attribute const* said = changes.Find(attribute);
  if (said == nullptr) said = changes.Find(FieldOf(attribute));
  if (said == nullptr) return false;
  return said->m_Since > stored.m_Version ||
         std::ranges::any_of(said->m_EarlierNames,
                             [&stored](std::string const& name) { return HasField(stored, FieldOf(name)); });
}

std::string BaseName(unsigned int classId) {
  return classId == cls_ClassMetadata::RootClassId ? "no base class"
                                                   : "base class " + sto_ClassIdText(classId);
}

std::string AboutAttribute(std::string const& text, std::string_view attribute, std::string const& problem) {
  return text + "attribute " + std::string(attribute) + problem;
}

} // namespace

std::string sto_ChangeProblem(cls_ClassChanges const& changes, cls_ClassMetadata const& newest,
                              sto_ClassRow const& stored) {
  std::string const name(newest.Name().View());
  std::string const inVersion = " in version " + std::to_string(stored.m_Version) + " of the store";
  std::string const text = "Class " + name + ": ";
  if (stored.m_Name != name && !changes.HadName(stored.m_Name))
    return text + "it is called " + stored.m_Name + inVersion +
           ". If that is the same class, say kvl::ClassWas(\"" + stored.m_Name + "\").";
  if (stored.m_BaseClassId != newest.BaseClassId() && !changes.HadBase(stored.m_BaseClassId))
    return text + "it has " + BaseName(stored.m_BaseClassId) + inVersion + ", and " +
           BaseName(newest.BaseClassId()) + " today. Say kvl::BaseWas, or register a reader of that version.";
  for (omi_BtreeIterator i(newest.GetAttributes()); !i.IsDone(); i.Next()) {
    std::string_view const attribute = i.Key().View();
    if (!Has(stored, attribute) && !IsSaid(changes, attribute, stored))
      return AboutAttribute(text, attribute,
                            " is not there" + inVersion +
                                ". Say with kvl::Since which version of the class added it, or "
                                "with kvl::Was what it was called.");
  }
  for (sto_AttributeRow const& attribute : stored.m_Attributes)
    if (newest.FindAttribute(cow_String(std::string_view(attribute.m_Name))) == nullptr &&
        !changes.Reads(attribute.m_Name) && !changes.Reads(FieldOf(attribute.m_Name)))
      return AboutAttribute(text, attribute.m_Name,
                            inVersion + " is read by no field. Say with kvl::Was which field it "
                                        "became, or that it is kvl::Dropped.");
  return {};
}
