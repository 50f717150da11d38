#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The objects of one version of a class in a store.
struct sto_ClassStat {
  unsigned int m_ClassId = 0;
  int m_Version = 0;
  std::string m_Name; ///< empty if the store does not describe the class
  std::int64_t m_Objects = 0;
  std::int64_t m_RecordBytes = 0; ///< of their records, as stored
};

/// A list, a map or a blob that is stored in blocks. Short ones are in the record of their object.
struct sto_ArrayStat {
  std::int64_t m_ObjectId = 0;
  /// The root whose object it is, or the root and the attribute of its object that holds it: "plate.m_History".
  /// Empty if it is held deeper in the graph.
  std::string m_Name;
  std::string m_ElementType;       ///< "double", "objects" ...; "bytes" of a blob; "map from int to double"
  std::int64_t m_Count = 0;        ///< elements, or bytes of a blob
  std::int64_t m_Rows = 0;         ///< rows of the file that hold its blocks
  std::int64_t m_StoredBytes = 0;  ///< of its blocks in the file
  std::int64_t m_ContentBytes = 0; ///< of its elements, before compression; 0 for a map
};

/// What takes room in a store. A plain value. See sto_Store::Stat.
struct sto_Stat {
  std::vector<sto_ClassStat> m_Classes; ///< ascending by class ID and version
  std::vector<sto_ArrayStat> m_Arrays;  ///< the largest by m_StoredBytes, the largest first
  std::int64_t m_ArrayCount = 0;        ///< of all lists and maps in blocks
  std::int64_t m_ArrayBytes = 0;        ///< their blocks in the file
  std::int64_t m_BlobCount = 0;
  std::int64_t m_BlobBytes = 0; ///< their blocks in the file
  std::int64_t m_Roots = 0;
  std::int64_t m_Saves = 0;    ///< rows of the log
  std::int64_t m_LogBytes = 0; ///< of their values
  std::int64_t m_CatalogueBytes = 0;
  std::int64_t m_IndexBytes = 0; ///< entries of indexes
  std::int64_t m_FileBytes = 0;  ///< the size of the store on its medium
  std::int64_t m_FreeBytes = 0;  ///< pages of the file that nothing uses; Compact gives them back
  /// Pages in use. More than the sum of what they hold: pages are not full.
  [[nodiscard]] std::int64_t LiveBytes() const noexcept { return m_FileBytes - m_FreeBytes; }
};
