#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What a store knows about a class version: plain values. See sto_Store::Describe.

/// A note that a program has made: cls_ClassNotes::Note.
struct sto_NoteDescription {
  std::string m_Name;
  std::string m_Text;

  friend bool operator==(sto_NoteDescription const& a, sto_NoteDescription const& b) = default;
};

/// A name for a value of an attribute.
struct sto_EnumeratorDescription {
  std::string m_Name;
  std::int64_t m_Value = 0;

  friend bool operator==(sto_EnumeratorDescription const& a, sto_EnumeratorDescription const& b) = default;
};

/// One attribute, as the program declared it.
struct sto_AttributeDescription {
  std::string m_Name;
  int m_FieldId = -1;                                   ///< -1: no number
  int m_Type = 0;                                       ///< cls_AttributeType
  unsigned int m_TypeArg = 0;                           ///< as given
  int m_CollectionType = 0;                             ///< cls_CollectionType
  std::string m_Unit;                                   ///< empty if none is known
  std::optional<std::string> m_Default;                 ///< as a text
  std::vector<sto_EnumeratorDescription> m_Enumerators; ///< ascending by name
  std::vector<sto_NoteDescription> m_Notes;             ///< ascending by name
};

/// One version of a class that has written to the store.
struct sto_ClassDescription {
  unsigned int m_ClassId = 0;
  int m_Version = 0;
  std::string m_Name;
  unsigned int m_BaseClassId = 0;                     ///< 1 if there is none
  std::vector<sto_AttributeDescription> m_Attributes; ///< ascending by name
  std::vector<sto_NoteDescription> m_Notes;           ///< ascending by name
};
