#include "tools/kvlstore/emit/kvs_EmitPlan.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

#include "metadata/cls_CollectionType.h"
#include "store/session/sto_ReadableTypes.h"
#include "tools/kvlstore/emit/kvs_EmitText.h"

namespace {

constexpr unsigned int NoBase = 1;

kvs_Attribute const* Find(kvs_ClassVersion const& version, std::string_view name) {
  auto const found = std::ranges::find(version.m_Attributes, name, &kvs_Attribute::m_Name);
  return found == version.m_Attributes.end() ? nullptr : &*found;
}

/// "version 1", "versions 1, 2 and 4"
std::string VersionsText(std::vector<int> const& versions) {
  std::string text = versions.size() == 1 ? "version" : "versions";
  for (std::size_t i = 0; i < versions.size(); ++i) {
    text += i == 0 ? " " : i + 1 == versions.size() ? " and " : ", ";
    text += std::to_string(versions[i]);
  }
  return text;
}

void Add(kvs_Seen& to, kvs_Seen const& more) {
  to.m_Kinds.insert(more.m_Kinds.begin(), more.m_Kinds.end());
  to.m_Classes.insert(more.m_Classes.begin(), more.m_Classes.end());
  to.m_RowSizes.insert(more.m_RowSizes.begin(), more.m_RowSizes.end());
  to.m_Objects += more.m_Objects;
  to.m_MostElements = std::max(to.m_MostElements, more.m_MostElements);
}

/// The attribute for the further lists of a sto_Array.
kvs_Attribute const* MoreOf(kvs_ClassVersion const& version, kvs_Attribute const& attribute) {
  kvs_Attribute const* const more = Find(version, attribute.m_Name + ".more");
  bool const isIt = more != nullptr && more->m_Type == ATTR_OBJECT && more->m_Collection == COLLECTION_OBJ &&
                    attribute.m_Collection / 10 * 10 == COLLECTION_LIST;
  return isIt ? more : nullptr;
}

bool IsMore(kvs_ClassVersion const& version, kvs_Attribute const& attribute) {
  constexpr std::string_view Suffix = ".more";
  std::string_view const name = attribute.m_Name;
  if (!name.ends_with(Suffix)) return false;
  kvs_Attribute const* const first = Find(version, name.substr(0, name.size() - Suffix.size()));
  return first != nullptr && MoreOf(version, *first) == &attribute;
}

/// Whether an attribute is declared as a member of a described class in its place is.
bool IsAlike(kvs_Attribute const& stored, int number, int type, int collection) {
  return stored.m_Number == number && stored.m_Type == type && stored.m_Collection == collection &&
         stored.m_TypeArg == 1;
}

class ClassPlanner {
 public:
  ClassPlanner(kvs_EmitModel const& model, kvs_PlannedClass& planned) : m_Model(model), m_Planned(planned) {}

  void PlanMembers(bool isStoreDescribed) {
    m_IsStoreDescribed = isStoreDescribed;
    kvs_ClassVersion const& newest = m_Planned.m_Class->Newest();
    for (kvs_Attribute const& attribute : newest.m_Attributes)
      if (!IsMore(newest, attribute)) AddMember(newest, attribute, false);
    AddDropped();
    PlanVersion();
  }

 private:
  void AddDropped() {
    auto const& versions = m_Planned.m_Class->m_Versions;
    std::set<std::string> known;
    for (kvs_Attribute const& each : versions.back().m_Attributes) known.insert(each.m_Name);
    for (auto version = versions.rbegin(); version != versions.rend(); ++version)
      for (kvs_Attribute const& each : version->m_Attributes)
        if (known.insert(each.m_Name).second && !IsMore(*version, each)) AddMember(*version, each, true);
  }

  void AddMember(kvs_ClassVersion const& version, kvs_Attribute const& attribute, bool isDropped) {
    kvs_Member member;
    member.m_Attribute = attribute;
    member.m_Attribute.m_Seen = {};
    std::int64_t objects = 0; // that could have it
    member.m_IsDropped = isDropped;
    std::vector<int> having;
    for (kvs_ClassVersion const& each : m_Planned.m_Class->m_Versions)
      if (kvs_Attribute const* const same = Find(each, attribute.m_Name)) {
        Add(member.m_Attribute.m_Seen, same->m_Seen);
        having.push_back(each.m_Version);
        objects += each.m_Objects;
      }
    member.m_HasMore = MoreOf(version, attribute) != nullptr;
    member.m_Shape = kvs_ShapeOf(m_Model, member.m_Attribute, member.m_HasMore);
    std::string const problem = ProblemOf(member);
    if (!problem.empty()) {
      m_Planned.m_LeftOut.push_back({attribute.m_Name, problem});
      if (member.m_HasMore)
        m_Planned.m_LeftOut.push_back({attribute.m_Name + ".more", "as " + attribute.m_Name});
      return;
    }
    bool const isValue = member.m_Shape.m_Form == kvs_Form::Value || member.m_Shape.m_Form == kvs_Form::Enum;
    member.m_IsOptional =
        isDropped || (isValue && !attribute.m_Default && member.m_Attribute.m_Seen.m_Objects < objects);
    if (isDropped) member.m_Versions = VersionsText(having);
    SetUnits(member);
    if (!isDropped) SetSince(member);
    m_Planned.m_Members.push_back(std::move(member));
  }

  /// Why an attribute cannot be read; empty if it can be.
  [[nodiscard]] std::string ProblemOf(kvs_Member const& member) const {
    if (member.m_Shape.m_Form == kvs_Form::None) return member.m_Shape.m_Why;
    for (kvs_ClassVersion const& version : m_Planned.m_Class->m_Versions) {
      kvs_Attribute const* const stored = Find(version, member.m_Attribute.m_Name);
      if (stored != nullptr && stored->m_Type != 0 &&
          !sto_CanReadAs(static_cast<cls_AttributeType>(stored->m_Type),
                         static_cast<cls_CollectionType>(stored->m_Collection),
                         static_cast<cls_AttributeType>(member.m_Shape.m_Type),
                         static_cast<cls_CollectionType>(member.m_Shape.m_Collection)))
        return "version " + std::to_string(version.m_Version) + " of the class has another type in it";
    }
    return {};
  }

  void SetUnits(kvs_Member& member) const {
    std::map<std::string, std::vector<int>> versionsOf;
    for (kvs_ClassVersion const& version : m_Planned.m_Class->m_Versions)
      if (kvs_Attribute const* const stored = Find(version, member.m_Attribute.m_Name);
          stored && !stored->m_Unit.empty())
        versionsOf[stored->m_Unit].push_back(version.m_Version);
    if (versionsOf.size() < 2) return;
    for (auto const& [unit, versions] : versionsOf) {
      if (!member.m_OtherUnits.empty()) member.m_OtherUnits += "; ";
      member.m_OtherUnits.append(unit).append(" in ").append(VersionsText(versions));
    }
  }

  /// The first version with an attribute, if all earlier ones lack it.
  void SetSince(kvs_Member& member) const {
    int first = 0;
    int lastWithout = std::numeric_limits<int>::min();
    bool isLacked = false;
    bool isFound = false;
    for (kvs_ClassVersion const& version : m_Planned.m_Class->m_Versions) {
      bool const has = Find(version, member.m_Attribute.m_Name) != nullptr &&
                       (version.m_IsDescribed || !m_IsStoreDescribed);
      if (has && !isFound) first = version.m_Version;
      isFound = isFound || has;
      if (has) continue;
      isLacked = true;
      lastWithout = version.m_Version;
    }
    if (!isLacked) return;
    if (!isFound)
      first = NextVersion();
    else if (lastWithout > first)
      member.m_MayBeMissing = true;
    if (!member.m_MayBeMissing) member.m_Since = first;
  }

  [[nodiscard]] int NextVersion() const {
    int const newest = m_Planned.m_Class->Newest().m_Version;
    return newest == std::numeric_limits<int>::max() ? newest : newest + 1;
  }

  /// The class has the version of the store if it declares just what that has; otherwise the next one.
  void PlanVersion() {
    kvs_ClassVersion const& newest = m_Planned.m_Class->Newest();
    m_Planned.m_Version = newest.m_Version;
    if (m_Planned.m_WhyRaised.empty()) m_Planned.m_WhyRaised = Difference(newest);
    if (m_Planned.m_WhyRaised.empty()) return;
    m_Planned.m_Version = NextVersion();
  }

  [[nodiscard]] std::string Difference(kvs_ClassVersion const& newest) const {
    for (kvs_LeftOut const& left : m_Planned.m_LeftOut)
      if (Find(newest, left.m_Name) != nullptr) return "attributes are left out";
    if (!newest.m_IsDescribed)
      return m_IsStoreDescribed && !newest.m_Attributes.empty() ? "the store does not describe this version"
                                                                : "";
    int number = 0;
    for (kvs_Member const& member : m_Planned.m_Members) {
      if (member.m_IsDropped) continue;
      kvs_Attribute const& stored = member.m_Attribute;
      if (!IsAlike(stored, number, member.m_Shape.m_Type, member.m_Shape.m_Collection))
        return stored.m_Number == number ? "the store declares " + stored.m_Name + " otherwise"
                                         : "the store numbers the attributes otherwise";
      ++number;
      if (member.m_Shape.m_Form != kvs_Form::Array) continue;
      kvs_Attribute const* const more = MoreOf(newest, stored);
      if (more == nullptr || !IsAlike(*more, number, ATTR_OBJECT, COLLECTION_OBJ))
        return "the store declares " + stored.m_Name + " otherwise";
      ++number;
    }
    return {};
  }

  kvs_EmitModel const& m_Model;
  kvs_PlannedClass& m_Planned;
  bool m_IsStoreDescribed = true;
};

/// "Coating" for "m_Coating"; the last part of a name with dots.
std::string EnumName(std::string_view attribute) {
  if (std::size_t const dot = attribute.rfind('.'); dot != std::string_view::npos)
    attribute.remove_prefix(dot + 1);
  if (attribute.starts_with("m_")) attribute.remove_prefix(2);
  std::string name = kvs_Identifier(attribute);
  if (name.front() >= 'a' && name.front() <= 'z') name.front() = static_cast<char>(name.front() - 'a' + 'A');
  return name;
}

class Planner {
 public:
  Planner(kvs_EmitModel const& model, kvs_Language const& language)
      : m_Model(model), m_Language(language), m_ClassNames(language) {}

  kvs_EmitPlan Plan() {
    for (kvs_EmitClass const& each : m_Model.m_Classes) Place(each);
    for (kvs_PlannedClass& each : m_Plan.m_Classes) NameClass(each);
    bool const isDescribed = std::ranges::any_of(m_Model.m_Classes, [](kvs_EmitClass const& each) {
      return std::ranges::any_of(each.m_Versions, &kvs_ClassVersion::m_IsDescribed);
    });
    for (kvs_PlannedClass& each : m_Plan.m_Classes) {
      ClassPlanner(m_Model, each).PlanMembers(isDescribed);
      NameMembers(each);
    }
    MarkBases();
    return std::move(m_Plan);
  }

 private:
  /// Puts a class behind its base classes. Where they lead back to it, which no program has written, it has none.
  void Place(kvs_EmitClass const& each) {
    if (m_Plan.Find(each.m_Id) != nullptr || !m_Open.insert(each.m_Id).second) return;
    kvs_PlannedClass planned;
    planned.m_Class = &each;
    unsigned int const base = each.Newest().m_BaseId;
    if (base != NoBase) {
      if (kvs_EmitClass const* const found = m_Model.Find(base)) Place(*found);
      if (m_Plan.Find(base) != nullptr)
        planned.m_BaseId = base;
      else
        planned.m_WhyRaised = "its base class is not emitted";
    }
    PlaceEarlierBases(each, planned);
    m_Open.erase(each.m_Id);
    m_Plan.m_Classes.push_back(std::move(planned));
  }

  void PlaceEarlierBases(kvs_EmitClass const& each, kvs_PlannedClass& planned) {
    unsigned int const today = planned.m_BaseId == 0 ? NoBase : planned.m_BaseId;
    for (kvs_ClassVersion const& version : each.m_Versions) {
      auto& bases = planned.m_EarlierBases;
      if (version.m_BaseId == today || std::ranges::find(bases, version.m_BaseId) != bases.end()) continue;
      bases.push_back(version.m_BaseId);
      if (kvs_EmitClass const* const found = m_Model.Find(version.m_BaseId)) Place(*found);
    }
  }

  void NameClass(kvs_PlannedClass& planned) {
    kvs_EmitClass const& from = *planned.m_Class;
    planned.m_Identifier = m_ClassNames.Take(from.Newest().m_Name);
    planned.m_StoredName = from.Newest().m_Name;
    // A program has each name once.
    for (int i = 2; !m_StoredNames.insert(planned.m_StoredName).second; ++i) {
      planned.m_StoredName = from.Newest().m_Name + " " + std::to_string(i);
      planned.m_WhyRaised = "another class has its name";
    }
    for (kvs_ClassVersion const& version : from.m_Versions) {
      auto& names = planned.m_EarlierNames;
      if (version.m_Name != planned.m_StoredName && std::ranges::find(names, version.m_Name) == names.end())
        names.push_back(version.m_Name);
    }
  }

  void NameMembers(kvs_PlannedClass& planned) {
    kvs_NameScope scope(m_Language);
    for (kvs_PlannedClass const& each : m_Plan.m_Classes) scope.Block(each.m_Identifier);
    if (m_Language.m_HidesBaseMembers)
      for (kvs_PlannedClass const* base = m_Plan.Find(planned.m_BaseId); base;
           base = m_Plan.Find(base->m_BaseId))
        for (kvs_Member const& member : base->m_Members) scope.Block(member.m_Identifier);
    for (kvs_Member& member : planned.m_Members)
      if (member.m_Shape.m_Form == kvs_Form::Enum) {
        std::string const name = EnumName(member.m_Attribute.m_Name);
        member.m_EnumIdentifier = m_Language.m_HidesBaseMembers
                                      ? m_ClassNames.Take(planned.m_Identifier + "_" + name)
                                      : scope.Take(name);
        scope.Block(member.m_EnumIdentifier);
      }
    for (kvs_Member& member : planned.m_Members)
      member.m_Identifier =
          scope.Take(member.m_IsDropped ? member.m_Attribute.m_Name + "_before" : member.m_Attribute.m_Name);
  }

  void MarkBases() {
    for (kvs_PlannedClass const& each : m_Plan.m_Classes)
      for (kvs_PlannedClass& base : m_Plan.m_Classes)
        if (base.m_Class->m_Id == each.m_BaseId) base.m_IsBase = true;
  }

  kvs_EmitModel const& m_Model;
  kvs_Language m_Language;
  kvs_EmitPlan m_Plan;
  kvs_NameScope m_ClassNames;
  std::set<unsigned int> m_Open;
  std::set<std::string> m_StoredNames;
};

} // namespace

kvs_PlannedClass const* kvs_EmitPlan::Find(unsigned int classId) const noexcept {
  auto const found =
      std::ranges::find(m_Classes, classId, [](kvs_PlannedClass const& each) { return each.m_Class->m_Id; });
  return found == m_Classes.end() ? nullptr : &*found;
}

std::string kvs_NameScope::Take(std::string_view name) {
  std::string wanted = kvs_Identifier(name);
  // One that begins as a macro does is taken whatever follows.
  if (m_Language.m_IsTaken(wanted) && m_Language.m_IsTaken(wanted + "_")) wanted.insert(0, "x_");
  std::string const joint = wanted.ends_with('_') ? "" : "_"; // two in a row are reserved
  std::string identifier = wanted;
  for (int i = 2; m_Language.m_IsTaken(identifier) || m_Taken.contains(identifier); ++i) {
    identifier = wanted + joint;
    if (i > 2 || joint.empty()) identifier += std::to_string(i);
    if (m_Language.m_IsTaken(identifier)) identifier.insert(0, "x_"); // as E_3 is, though E_ is not
  }
  m_Taken.insert(identifier);
  return identifier;
}

kvs_EmitPlan kvs_MakePlan(kvs_EmitModel const& model, kvs_Language const& language) {
  return Planner(model, language).Plan();
}
