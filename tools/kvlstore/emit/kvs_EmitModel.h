#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "store/inspect/sto_Inspection.h"

// What is known about the classes of a store: what it says about them, and what its objects show. Plain values.

/// What the stored objects have in an attribute.
struct kvs_Seen {
  std::set<std::string> m_Kinds;    ///< as sto_InspectedField::m_Kind
  std::set<unsigned int> m_Classes; ///< of the objects that it leads to, also from a list or map
  std::set<std::int64_t>
      m_RowSizes;                  ///< elements in a row of its lists that are not empty; 1 for one dimension
  std::int64_t m_Objects = 0;      ///< that have something in it
  std::int64_t m_MostElements = 0; ///< of its lists
};

/// One attribute of a class version.
struct kvs_Attribute {
  std::string m_Name;
  int m_Number = -1;
  int m_Type = 0; ///< cls_AttributeType; 0 if the store does not say it
  unsigned int m_TypeArg = 1;
  int m_Collection = 0; ///< cls_CollectionType
  std::string m_Unit = {};
  std::optional<std::string> m_Default = {};
  std::vector<sto_EnumeratorDescription> m_Enumerators = {};
  std::vector<sto_NoteDescription> m_Notes = {};
  kvs_Seen m_Seen = {};
};

struct kvs_ClassVersion {
  int m_Version = 0;
  std::string m_Name;
  unsigned int m_BaseId = 1;  ///< 1 if there is none
  std::int64_t m_Objects = 0; ///< that have a part of this version, also those of derived classes
  bool m_IsDescribed = true;  ///< the store says which attributes it has
  std::vector<kvs_Attribute> m_Attributes; ///< in the order of their numbers
  std::vector<sto_NoteDescription> m_Notes;
};

struct kvs_EmitClass {
  unsigned int m_Id = 0;
  std::vector<kvs_ClassVersion> m_Versions; ///< ascending, never empty
  std::int64_t m_Objects = 0;               ///< of this class, without those of derived ones

  [[nodiscard]] kvs_ClassVersion const& Newest() const noexcept { return m_Versions.back(); }
};

struct kvs_EmitModel {
  std::string m_Store;                  ///< its name, for the comment at the top; no path
  std::vector<kvs_EmitClass> m_Classes; ///< ascending by class ID; none of the library's own
  std::vector<sto_InspectedRoot> m_Roots;

  /// Null if there is no such class.
  [[nodiscard]] kvs_EmitClass const* Find(unsigned int classId) const noexcept;
};

/// Whether a class belongs to the library: lists, maps, blobs, texts, exceptions.
[[nodiscard]] bool kvs_IsLibraryClass(unsigned int classId) noexcept;

/// "0x640001"
[[nodiscard]] std::string kvs_ClassIdText(unsigned int classId);
