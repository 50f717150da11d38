#include "store/session/sto_ChangeCheck.h"

#include <algorithm>
#include <string_view>

#include "platform/omni/omi_BtreeIterator.h"
#include "store/format/sto_TypeNames.h"
#include "store/session/sto_ReadableTypes.h"

namespace {

/// The field that an attribute belongs to: a value of several attributes has them under dotted names.
std::string_view FieldOf(std::string_view attribute) noexcept {
  return attribute.substr(0, attribute.find('.'));
}

sto_AttributeRow const* Find(sto_ClassRow const& row, std::string_view attribute) {
  auto const found = std::ranges::find(row.m_Attributes, attribute, &sto_AttributeRow::m_Name);
  return found == row.m_Attributes.end() ? nullptr : &*found;
}

/// What an attribute of today is read from: what is stored under its name, or under an earlier one; null if the
/// stored version does not have it.
sto_AttributeRow const* SourceOf(cls_ClassChanges::Attribute const* said, std::string_view attribute,
                                 sto_ClassRow const& stored) {
  sto_AttributeRow const* source = Find(stored, attribute);
  if (said == nullptr) return source;
  for (std::string const& name : said->m_EarlierNames)
    if (source == nullptr) source = Find(stored, name);
  return source;
}

/// Whether a stored version has all attributes of the field that an attribute belongs to.
bool HasWholeField(cls_ClassMetadata const& newest, std::string_view attribute, sto_ClassRow const& stored) {
  for (omi_BtreeIterator i(newest.GetAttributes()); !i.IsDone(); i.Next())
    if (FieldOf(i.Key().View()) == FieldOf(attribute) && Find(stored, i.Key().View()) == nullptr)
      return false;
  return true;
}

std::string BaseName(unsigned int classId) {
  return classId == cls_ClassMetadata::RootClassId ? "no base class"
                                                   : "base class " + sto_ClassIdText(classId);
}

std::string InVersion(sto_ClassRow const& stored) {
  return " in version " + std::to_string(stored.m_Version) + " of the store";
}

/// What is wrong if a stored attribute is read as another type; empty if it can be.
std::string TypeProblem(sto_AttributeRow const& source, cls_AttributeType type, cls_CollectionType collection,
                        sto_ClassRow const& stored) {
  auto const storedCollection = static_cast<cls_CollectionType>(source.m_CollectionType);
  if (sto_CanReadAs(static_cast<cls_AttributeType>(source.m_Type), storedCollection, type, collection))
    return {};
  return InVersion(stored) + " is " + sto_DeclarationText(source.m_Type, source.m_CollectionType) +
         ", which cannot be read as " + sto_DeclarationText(type, collection) +
         ". Give the field a new name with kvl::Since, and take the old one with kvl::Dropped and its old type.";
}

/// What is wrong with an attribute of today's class; empty if nothing is.
std::string ProblemOfToday(cls_ClassChanges const& changes, cls_ClassMetadata const& newest,
                           cls_AttributeMetadata const& today, sto_ClassRow const& stored) {
  std::string_view const attribute = today.m_Name.View();
  cls_ClassChanges::Attribute const* const said = changes.Find(attribute);
  bool const isYounger = said != nullptr && said->m_Since > stored.m_Version;
  if (isYounger && HasWholeField(newest, attribute, stored))
    return "attribute " + std::string(attribute) + " is there" + InVersion(stored) +
           ", although kvl::Since says version " + std::to_string(said->m_Since) +
           ". If it is another field than it was then, give it a name that the class never had.";
  sto_AttributeRow const* const source = SourceOf(said, attribute, stored);
  if (source == nullptr && (isYounger || (said != nullptr && said->m_MayBeMissing))) return {};
  if (source == nullptr)
    return "attribute " + std::string(attribute) + " is not there" + InVersion(stored) +
           ". Say with kvl::Since which version of the class added it, or with kvl::Was what it was called.";
  std::string const problem = TypeProblem(*source, today.m_Type, today.m_CollectionType, stored);
  return problem.empty() ? problem : "attribute " + source->m_Name + problem;
}

/// What is wrong with a stored attribute that today's class does not have; empty if nothing is.
std::string ProblemOfEarlier(cls_ClassChanges const& changes, sto_AttributeRow const& attribute,
                             sto_ClassRow const& stored) {
  if (!changes.Reads(attribute.m_Name))
    return InVersion(stored) +
           " is read by no field. Say with kvl::Was which field it became, or that it is kvl::Dropped.";
  cls_ClassChanges::DroppedAttribute const* const dropped = changes.FindDropped(attribute.m_Name);
  if (dropped == nullptr || !dropped->m_HasType) return {};
  if (!dropped->m_Unit.empty() && !attribute.m_Unit.empty() && dropped->m_Unit != attribute.m_Unit)
    return " is in " + attribute.m_Unit + InVersion(stored) + ", and kvl::Dropped takes it in " +
           dropped->m_Unit + ". Take it in the unit that it has.";
  return TypeProblem(attribute, dropped->m_Type, dropped->m_CollectionType, stored);
}

std::string UnitAdvice(std::string const& stored, std::string const& today) {
  return "Stored numbers are not converted. Keep the unit in the store with kvl::As, or give the field a new name with "
         "kvl::Since and convert what kvl::Dropped gets. If both are names of one unit, say kvl::Unit(\"" +
         today + "\").Was(\"" + stored + "\") in a new version.";
}

std::string AboutAttribute(std::string const& text, std::string_view attribute, std::string const& problem) {
  return text + "attribute " + std::string(attribute) + problem;
}

} // namespace

std::string sto_ChangeProblem(cls_ClassChanges const& changes, cls_ClassMetadata const& newest,
                              sto_ClassRow const& stored) {
  std::string const name(newest.Name().View());
  std::string const inVersion = InVersion(stored);
  std::string const text = "Class " + name + ": ";
  if (stored.m_Name != name && !changes.HadName(stored.m_Name))
    return text + "it is called " + stored.m_Name + inVersion +
           ". If that is the same class, say kvl::ClassWas(\"" + stored.m_Name + "\").";
  if (stored.m_BaseClassId != newest.BaseClassId() && !changes.HadBase(stored.m_BaseClassId))
    return text + "it has " + BaseName(stored.m_BaseClassId) + inVersion + ", and " +
           BaseName(newest.BaseClassId()) + " today. Say kvl::BaseWas, or register a reader of that version.";
  for (omi_BtreeIterator i(newest.GetAttributes()); !i.IsDone(); i.Next())
    if (std::string const problem = ProblemOfToday(changes, newest, i.Value(), stored); !problem.empty())
      return text + problem;
  for (sto_AttributeRow const& attribute : stored.m_Attributes)
    if (newest.FindAttribute(cow_String(std::string_view(attribute.m_Name))) == nullptr)
      if (std::string const problem = ProblemOfEarlier(changes, attribute, stored); !problem.empty())
        return AboutAttribute(text, attribute.m_Name, problem);
  return {};
}

std::string sto_UnitProblem(cls_ClassChanges const& changes, cls_ClassMetadata const& newest,
                            cls_ClassNotes const& notes, sto_ClassRow const& stored) {
  for (auto const& [attribute, noted] : notes.OfAttributes()) {
    cls_ClassChanges::Attribute const* const said = changes.Find(attribute);
    sto_AttributeRow const* const source = SourceOf(said, attribute, stored);
    if (source == nullptr || source->m_Unit.empty() || noted.m_Unit.empty() || source->m_Unit == noted.m_Unit)
      continue;
    bool const isOneUnit = said != nullptr && std::ranges::find(said->m_EarlierUnits, source->m_Unit) !=
                                                  said->m_EarlierUnits.end();
    if (isOneUnit && stored.m_Version != newest.Version()) continue;
    return "Class " + std::string(newest.Name().View()) + ": attribute " + source->m_Name + " is in " +
           source->m_Unit + InVersion(stored) + ", and in " + noted.m_Unit + " today. " +
           (isOneUnit ? "A version has one name of a unit: give the class a new version."
                      : UnitAdvice(source->m_Unit, noted.m_Unit));
  }
  return {};
}
