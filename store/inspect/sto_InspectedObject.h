#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/inspect/sto_InspectedValue.h"

// Objects as sto_Inspection returns them. Plain values: they own what they have, and outlive the inspection and the store.

/// One field of a stored object.
struct sto_InspectedField {
  std::string m_Name; ///< empty if it is not known: the field has a number only, and the store no description
  int m_Number = -1;  ///< -1: none
  /// In words: "double", "32-bit integer", "string", "enumeration", "bytes", "reference", "struct" ... For an object that
  /// the field holds what that is: "object", "list of double", "map from string to int", "blob", "deleted object",
  /// "missing object".
  std::string m_Kind;
  std::string m_Unit;                      ///< empty if the store knows none
  std::optional<std::string> m_Default;    ///< as a text, if the store knows one
  std::optional<std::string> m_Enumerator; ///< the name of the value, if the store knows it
  sto_InspectedValue m_Value;
};

/// What one class of an object has: the object's own class, or one of its base classes.
struct sto_InspectedPart {
  unsigned int m_ClassId = 0;
  std::string m_ClassName; ///< "class 0x650001" if the store knows no name
  int m_Version = 0;       ///< of the class when it wrote the object
  std::int64_t m_Id = 0;   ///< of a base class it is no id of an object, but references may name it
  std::vector<sto_InspectedField> m_Fields; ///< in the order in which they are stored
};

/// What an object has beside its fields.
enum class sto_InspectedContent { None, List, Map, Blob };

/// One stored object.
struct sto_InspectedObject {
  std::int64_t m_Id = 0;
  std::string m_Kind; ///< as that of a field that holds the object
  sto_InspectedContent m_Content = sto_InspectedContent::None;
  std::int64_t m_Count = 0; ///< elements of a list, entries of a map, bytes of a blob
  bool m_IsDeleted = false; ///< it is only what remains of a deleted object
  std::vector<sto_InspectedPart>
      m_Parts; ///< the own class first, then its base class, and so on; never empty

  [[nodiscard]] unsigned int ClassId() const noexcept { return m_Parts.front().m_ClassId; }
  [[nodiscard]] std::string const& ClassName() const noexcept { return m_Parts.front().m_ClassName; }
  [[nodiscard]] int Version() const noexcept { return m_Parts.front().m_Version; }
};

/// A root name.
struct sto_InspectedRoot {
  std::string m_Name;
  std::int64_t m_Id = 0;      ///< of its object
  unsigned int m_ClassId = 0; ///< of the object; 0 if it is missing or cannot be read
  std::string m_ClassName;    ///< as in sto_InspectedPart; empty if the class ID is 0
};
