#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "metadata/cls_AttributeMetadata.h"
#include "platform/kvl_Export.h"

/// What a program says about earlier versions of a class, so that a store can compare it with the versions that it
/// has: which attributes were added, renamed or dropped since, and which names and base classes the class had. A
/// store that is opened with it refuses a class whose changes are not all said. Described classes fill it in; a
/// class that is declared by hand may. Each attribute is named by its whole name.
///
///     registrar.ChangesOf(Bolt::TypeId()).Since("m_Head", 2).Was("m_Length", "m_Len").Dropped("m_Colour");
///
/// Thread rule: as cls_ClassRegistrar, which owns it.
class KVL_EXPORT cls_ClassChanges {
 public:
  struct Attribute {
    int m_Since = 0;                         ///< 0: nothing is said
    bool m_MayBeMissing = false;             ///< earlier versions may lack it
    std::vector<std::string> m_EarlierNames; ///< the latest first
    std::vector<std::string> m_EarlierUnits; ///< other names of its unit
  };
  struct DroppedAttribute {
    std::string m_Name;
    bool m_HasType = false; ///< otherwise any type is accepted
    cls_AttributeType m_Type{};
    cls_CollectionType m_CollectionType = COLLECTION_NONE;
    std::string m_Unit = {}; ///< in which its value is taken; empty: nothing is said
  };
  using Attributes = std::map<std::string, Attribute, std::less<>>; ///< by today's name

  /// The attribute exists since this version of the class.
  cls_ClassChanges& Since(std::string_view attribute, int version);
  /// Earlier versions may lack the attribute, and its value then follows from another one.
  cls_ClassChanges& MayBeMissing(std::string_view attribute);
  /// The attribute had another name, before those that were said already.
  cls_ClassChanges& Was(std::string_view attribute, std::string_view earlierName);
  /// The unit of the attribute had another name, and is the same unit.
  cls_ClassChanges& UnitWas(std::string_view attribute, std::string_view unit);
  /// Earlier versions had this attribute.
  cls_ClassChanges& Dropped(std::string_view attribute);
  /// The same for one whose value is read as this type, and taken in this unit.
  cls_ClassChanges& Dropped(std::string_view attribute, cls_AttributeType type, cls_CollectionType collection,
                            std::string_view unit = {});
  /// Earlier versions had this base class, which today's class can still read.
  cls_ClassChanges& BaseWas(unsigned int classId);
  /// Earlier versions had this name.
  cls_ClassChanges& ClassWas(std::string_view name);
  /// Where the class is declared in the sources, for messages: "Bolt.h:12".
  cls_ClassChanges& DeclaredAt(std::string_view place);

  /// Null if nothing is said about the attribute.
  [[nodiscard]] Attribute const* Find(std::string_view attribute) const noexcept;
  /// Null if the attribute is not said to be dropped.
  [[nodiscard]] DroppedAttribute const* FindDropped(std::string_view attribute) const noexcept;
  /// Whether an attribute of an earlier version is read: it is said to be dropped, or to be an earlier name.
  [[nodiscard]] bool Reads(std::string_view earlierName) const noexcept;
  [[nodiscard]] bool HadBase(unsigned int classId) const noexcept;
  [[nodiscard]] bool HadName(std::string_view name) const noexcept;
  /// Empty if it is not said.
  [[nodiscard]] std::string const& Place() const noexcept { return m_Place; }

 private:
  Attributes m_Attributes;
  std::vector<DroppedAttribute> m_Dropped;
  std::vector<unsigned int> m_Bases;
  std::vector<std::string> m_Names;
  std::string m_Place;
};
