#pragma once

#include <string>

#include "bench/oo7/oo7_Rows.h"
#include "bench/oo7/oo7_SqliteQuery.h"

/// Writes rows into the tables. Transactions are the caller's.
class oo7_SqliteWriter {
 public:
  explicit oo7_SqliteWriter(objects_SqliteFile& file) : m_File(file) {}

  /// Makes the tables, fills them, and makes the indexes then, which takes less time than filling them row by row.
  void WriteDatabase(oo7_Rows const& rows);

  void AddComposite(oo7_Parameters const& parameters, oo7_CompositeRow const& row);
  /// Adds a composite part to the private or shared ones of a base assembly.
  void AddComponent(int base, bool isShared, int part);

 private:
  void AddAssembly(oo7_AssemblyRow const& row);

  objects_SqliteFile& m_File;
  oo7_SqliteQuery m_Composite{m_File, "INSERT INTO composite_part VALUES (?, ?, ?, ?)"};
  oo7_SqliteQuery m_Document{m_File, "INSERT INTO document VALUES (?, ?, ?)"};
  oo7_SqliteQuery m_Atom{m_File, "INSERT INTO atomic_part VALUES (?, ?, ?, ?, ?, ?, ?)"};
  oo7_SqliteQuery m_Connection{m_File, "INSERT INTO connection VALUES (?, ?, ?, ?, ?)"};
  oo7_SqliteQuery m_Complex{m_File, "INSERT INTO complex_assembly VALUES (?, ?, ?, ?)"};
  oo7_SqliteQuery m_Base{m_File, "INSERT INTO base_assembly VALUES (?, ?, ?, ?)"};
  oo7_SqliteQuery m_Component{
      m_File, "INSERT INTO component VALUES (?1, ?2, (SELECT ifnull(max(nr), 0) + 1 FROM component "
              "WHERE base_id = ?1 AND is_shared = ?2), ?3)"};
  oo7_SqliteQuery m_Module{m_File, "INSERT INTO module VALUES (?, ?, ?, 1)"};
  oo7_SqliteQuery m_Manual{m_File, "INSERT INTO manual VALUES (?, ?, ?, ?)"};
};
