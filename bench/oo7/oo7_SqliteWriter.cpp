#include "bench/oo7/oo7_SqliteWriter.h"

#include "bench/oo7/oo7_Texts.h"

namespace {

// The connections out of an atom are one after the other in the file, and so are the components of an assembly.
constexpr char Tables[] = R"(
  CREATE TABLE module (id INTEGER PRIMARY KEY, type TEXT, build_date INTEGER, design_root INTEGER);
  CREATE TABLE manual (module_id INTEGER PRIMARY KEY, title TEXT, length INTEGER, text TEXT);
  CREATE TABLE complex_assembly (id INTEGER PRIMARY KEY, type TEXT, build_date INTEGER, super_id INTEGER);
  CREATE TABLE base_assembly (id INTEGER PRIMARY KEY, type TEXT, build_date INTEGER, super_id INTEGER);
  CREATE TABLE component (base_id INTEGER, is_shared INTEGER, nr INTEGER, part_id INTEGER,
                          PRIMARY KEY (base_id, is_shared, nr)) WITHOUT ROWID;
  CREATE TABLE composite_part (id INTEGER PRIMARY KEY, type TEXT, build_date INTEGER, root_id INTEGER);
  CREATE TABLE document (id INTEGER PRIMARY KEY, title TEXT, text TEXT);
  CREATE TABLE atomic_part (id INTEGER PRIMARY KEY, type TEXT, build_date INTEGER, x INTEGER, y INTEGER,
                            doc_id INTEGER, part_id INTEGER);
  CREATE TABLE connection (from_id INTEGER, nr INTEGER, to_id INTEGER, type TEXT, length INTEGER,
                           PRIMARY KEY (from_id, nr)) WITHOUT ROWID;
)";
constexpr char Indexes[] = R"(
  CREATE INDEX complex_super ON complex_assembly (super_id);
  CREATE INDEX base_super ON base_assembly (super_id);
  CREATE INDEX component_part ON component (part_id, is_shared);
  CREATE INDEX document_title ON document (title);
  CREATE INDEX atom_date ON atomic_part (build_date);
  CREATE INDEX atom_part ON atomic_part (part_id);
  CREATE INDEX connection_to ON connection (to_id);
)";

} // namespace

void oo7_SqliteWriter::WriteDatabase(oo7_Rows const& rows) {
  m_File.Run(Tables);
  oo7_ModuleRow const& module = rows.m_Module;
  m_Module.Run(module.m_Id, oo7_TypeText(module.m_Type), module.m_BuildDate);
  std::string const text = oo7_ManualText(module.m_Id, rows.m_Parameters.m_ManualBytes);
  m_Manual.Run(module.m_Id, oo7_ManualTitle(module.m_Id), static_cast<int>(text.size()), text);
  for (oo7_AssemblyRow const& row : module.m_Assemblies) AddAssembly(row);
  for (oo7_CompositeRow const& row : rows.m_Composites) AddComposite(rows.m_Parameters, row);
  m_File.Run(Indexes);
}

void oo7_SqliteWriter::AddComposite(oo7_Parameters const& parameters, oo7_CompositeRow const& row) {
  m_Composite.Run(row.m_Id, oo7_TypeText(row.m_Type), row.m_BuildDate, row.m_Atoms.front().m_Id);
  m_Document.Run(row.m_Id, oo7_DocumentTitle(row.m_Id),
                 oo7_DocumentText(row.m_Id, parameters.m_DocumentBytes));
  for (oo7_AtomRow const& atom : row.m_Atoms)
    m_Atom.Run(atom.m_Id, oo7_TypeText(atom.m_Type), atom.m_BuildDate, atom.m_X, atom.m_Y, atom.m_DocId,
               row.m_Id);
  int number = 0;
  for (oo7_ConnectionRow const& connection : row.m_Connections)
    m_Connection.Run(connection.m_From, ++number, connection.m_To, oo7_TypeText(connection.m_Type),
                     connection.m_Length);
}

void oo7_SqliteWriter::AddComponent(int base, bool isShared, int part) {
  m_Component.Run(base, isShared ? 1 : 0, part);
}

void oo7_SqliteWriter::AddAssembly(oo7_AssemblyRow const& row) {
  oo7_SqliteQuery& table = row.m_IsBase ? m_Base : m_Complex;
  table.Run(row.m_Id, oo7_TypeText(row.m_Type), row.m_BuildDate, row.m_Super);
  for (int const part : row.m_Private) AddComponent(row.m_Id, false, part);
  for (int const part : row.m_Shared) AddComponent(row.m_Id, true, part);
}
