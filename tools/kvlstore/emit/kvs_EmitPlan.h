#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/kvlstore/emit/kvs_EmitShape.h"

// What is emitted for the classes of a store: which classes in which order, with which members. The same for all languages,
// except for the identifiers.

struct kvs_Member {
  kvs_Attribute
      m_Attribute; ///< of the newest version that has it, with what objects of all versions have in it
  kvs_Shape m_Shape;
  std::string m_Identifier;
  std::string m_EnumIdentifier; ///< of the enumeration; empty if it has none
  int m_Since = 0;              ///< the first version that has it, if earlier ones do not
  bool m_MayBeMissing = false;  ///< versions have it, and later ones do not, and later ones do
  bool m_IsDropped = false;     ///< the newest version does not have it
  std::string m_Versions;       ///< of a dropped one: which have it, in words
  std::string m_OtherUnits;     ///< if versions have it in different units: which, in words
  bool m_IsOptional = false;    ///< a value that objects do not have, although their versions have it
  bool m_HasMore = false;       ///< another attribute belongs to it: that for more lists of an array
};

/// An attribute that is left out.
struct kvs_LeftOut {
  std::string m_Name;
  std::string m_Why;
};

struct kvs_PlannedClass {
  kvs_EmitClass const* m_Class = nullptr;
  std::string m_Identifier;
  std::string m_StoredName;
  int m_Version = 0;                 ///< that of the store, or the next one
  std::string m_WhyRaised;           ///< why it is the next one; empty if it is not
  unsigned int m_BaseId = 0;         ///< 0: none that is emitted
  bool m_IsBase = false;             ///< others derive from it, or did
  std::vector<kvs_Member> m_Members; ///< dropped ones last
  std::vector<kvs_LeftOut> m_LeftOut;
  std::vector<std::string> m_EarlierNames;
  std::vector<unsigned int> m_EarlierBases; ///< 1: none
};

struct kvs_EmitPlan {
  std::vector<kvs_PlannedClass> m_Classes; ///< base classes first

  /// Null for a class that is not emitted.
  [[nodiscard]] kvs_PlannedClass const* Find(unsigned int classId) const noexcept;
};

/// What a language says about identifiers.
struct kvs_Language {
  bool (*m_IsTaken)(std::string_view identifier);
  bool m_HidesBaseMembers; ///< a class cannot have a member with the name of one of its base classes
};

/// The model must outlive the plan.
[[nodiscard]] kvs_EmitPlan kvs_MakePlan(kvs_EmitModel const& model, kvs_Language const& language);

/// Makes identifiers that no two things in a scope have.
class kvs_NameScope {
 public:
  explicit kvs_NameScope(kvs_Language const& language) : m_Language(language) {}
  /// The identifier for a name; with underscores or a number if it is taken.
  [[nodiscard]] std::string Take(std::string_view name);
  /// Marks an identifier as taken.
  void Block(std::string identifier) { m_Taken.insert(std::move(identifier)); }

 private:
  kvs_Language m_Language;
  std::set<std::string> m_Taken;
};
