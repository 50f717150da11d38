#include "store/sqlite/sto_SqliteCatalogue.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_TypeNames.h"
#include "store/sqlite/sto_SqliteColumns.h"

sto_SqliteCatalogue::sto_SqliteCatalogue(sto_SqliteConnection& connection, sto_SqliteChanges& changes)
    : m_Connection(connection), m_Noted(changes),
      m_HasClass(connection, "SELECT 1 FROM class WHERE class_id = ? AND version = ?"),
      m_WriteClass(connection, "REPLACE INTO class(class_id, version, name, base_class_id, checksum) "
                               "VALUES(?, ?, ?, ?, ?)"),
      m_WriteAttribute(connection,
                       "REPLACE INTO attribute(class_id, version, name, field_id, type, type_arg, "
                       "collection_type, unit, default_value) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)"),
      m_AddName(connection, "INSERT INTO name(id, text, checksum) VALUES(?, ?, ?)"),
      m_AddShape(connection, "INSERT INTO shape(id, data, checksum) VALUES(?, ?, ?)") {}

void sto_SqliteCatalogue::Use(std::int64_t formatVersion, sto_ByteView uuid) {
  m_FormatVersion = formatVersion;
  m_Checksums.reset();
  if (formatVersion > sto_Format::VersionWithoutShapes) m_Checksums.emplace(uuid);
}

void sto_SqliteCatalogue::RaiseUnfit(std::string const& row) const {
  sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": The store's catalogue is damaged: " + row +
                                        " does not fit its checksum.");
}

std::int64_t sto_SqliteCatalogue::ChecksumOf(sto_SqliteStoredClass const& row) {
  row.Encode(m_Checksums->m_Class);
  return m_Checksums->m_Class.Value();
}

std::vector<sto_SqliteStoredClass> sto_SqliteCatalogue::StoredClasses() {
  std::vector<sto_SqliteStoredClass> classes;
  {
    sto_SqliteStatement statement(m_Connection, sto_SqliteStoredClass::ReadClasses(m_Checksums.has_value()));
    sto_SqliteStatement::Use use(statement);
    for (use.AllowAllRows(); use.Step();) classes.push_back(sto_SqliteStoredClass::Of(use));
  }
  if (m_FormatVersion > sto_Format::VersionWithoutAttributes) ReadAttributes(classes);
  for (sto_SqliteStoredClass& row : classes) {
    row.SortAttributes();
    if (m_Checksums && ChecksumOf(row) != row.m_Checksum)
      RaiseUnfit("the row of class " + sto_ClassIdText(static_cast<unsigned int>(row.m_ClassId)) +
                 " version " + std::to_string(row.m_Version) +
                 " in table class, with its attributes in table attribute,");
  }
  return classes;
}

std::vector<sto_ClassRow> sto_SqliteCatalogue::Classes() {
  std::vector<sto_ClassRow> rows;
  for (sto_SqliteStoredClass const& row : StoredClasses()) rows.push_back(row.Row());
  return rows;
}

void sto_SqliteCatalogue::RemoveFromSum(sto_SqliteStoredClass const& replacement) {
  if (!sto_SqliteStatement::Use(m_HasClass)
           .Bind(1, replacement.m_ClassId)
           .Bind(2, replacement.m_Version)
           .Step())
    return;
  for (sto_SqliteStoredClass const& row : StoredClasses())
    if (row.m_ClassId == replacement.m_ClassId && row.m_Version == replacement.m_Version) {
      static_cast<void>(ChecksumOf(row));
      m_Noted.RemoveRow("class", m_Checksums->m_Class.Row());
    }
}

void sto_SqliteCatalogue::ReadAttributes(std::vector<sto_SqliteStoredClass>& classes) {
  std::map<std::pair<std::int64_t, std::int64_t>, sto_SqliteStoredClass*> byVersion;
  for (sto_SqliteStoredClass& row : classes) byVersion[{row.m_ClassId, row.m_Version}] = &row;
  // One statement for all classes, so that its count of steps ends it on a damaged tree.
  sto_SqliteStatement statement(m_Connection, sto_SqliteStoredClass::ReadAttributes(m_Checksums.has_value()));
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    auto const found = byVersion.find({use.Integer(0), use.Integer(1)});
    if (found != byVersion.end())
      found->second->Add(sto_SqliteStoredClass::Attribute::Of(use));
    else if (m_Checksums)
      sto_Raise(sto_ErrorKind::Damaged,
                m_Connection.Path() + ": The store's catalogue is damaged: table attribute has attribute " +
                    use.Text(2) + " of class " + sto_ClassIdText(static_cast<unsigned int>(use.Integer(0))) +
                    " version " + std::to_string(use.Integer(1)) + ", which is not in table class.");
  }
}

std::vector<sto_NameRow> sto_SqliteCatalogue::Names() {
  sto_SqliteStatement statement(m_Connection, m_Checksums ? "SELECT id, text, checksum FROM name"
                                                          : "SELECT id, text FROM name");
  sto_SqliteStatement::Use use(statement);
  std::vector<sto_NameRow> rows;
  for (use.AllowAllRows(); use.Step();) {
    sto_NameRow row{use.Integer(0), use.Text(1)};
    if (m_Checksums &&
        m_Checksums->m_Name.Begin().Integer(row.m_Id).Text(row.m_Text).Value() != use.Integer(2))
      RaiseUnfit("row " + std::to_string(row.m_Id) + " of table name");
    // No sound store reaches this number. A row there would leave no number for the next name.
    if (row.m_Id < 1 || row.m_Id > sto_Format::MaxObjectId)
      sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": The store's attribute names are damaged.");
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<sto_ShapeRow> sto_SqliteCatalogue::Shapes() {
  std::vector<sto_ShapeRow> rows;
  if (!m_Checksums) return rows;
  sto_SqliteStatement statement(m_Connection, "SELECT id, data, checksum FROM shape");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    sto_ByteView const data = use.Bytes(1);
    if (m_Checksums->m_Shape.Begin().Integer(use.Integer(0)).Bytes(data).Value() != use.Integer(2))
      RaiseUnfit("row " + std::to_string(use.Integer(0)) + " of table shape");
    rows.push_back({use.Integer(0), sto_Bytes(data.begin(), data.end())});
  }
  return rows;
}

void sto_SqliteCatalogue::WriteClass(sto_ClassRow const& row) {
  sto_SqliteStoredClass const stored = sto_SqliteStoredClass::Of(row);
  RemoveFromSum(stored);
  std::int64_t const checksum = ChecksumOf(stored);
  m_Noted.AddRow("class", m_Checksums->m_Class.Row());
  sto_SqliteStatement::Use(m_WriteClass)
      .Bind(1, stored.m_ClassId)
      .Bind(2, stored.m_Version)
      .Bind(3, std::string_view(stored.m_Name))
      .Bind(4, stored.m_BaseClassId)
      .Bind(5, checksum)
      .Step();
  for (sto_SqliteStoredClass::Attribute const& attribute : stored.m_Attributes) {
    sto_SqliteStatement::Use use(m_WriteAttribute);
    use.Bind(1, stored.m_ClassId).Bind(2, stored.m_Version).Bind(3, std::string_view(attribute.m_Name));
    for (int i = 0; i < 4; ++i) use.Bind(4 + i, attribute.m_Numbers[static_cast<std::size_t>(i)]);
    use.Bind(8, std::string_view(attribute.m_Unit));
    if (attribute.m_Default) use.Bind(9, std::string_view(*attribute.m_Default));
    use.Step();
  }
}

void sto_SqliteCatalogue::AddName(sto_NameRow const& row) {
  std::int64_t const checksum = m_Checksums->m_Name.Begin().Integer(row.m_Id).Text(row.m_Text).Value();
  m_Noted.AddRow("name", m_Checksums->m_Name.Row());
  sto_SqliteStatement::Use(m_AddName)
      .Bind(1, row.m_Id)
      .Bind(2, std::string_view(row.m_Text))
      .Bind(3, checksum)
      .Step();
}

void sto_SqliteCatalogue::AddShape(sto_ShapeRow const& row) {
  std::int64_t const checksum = m_Checksums->m_Shape.Begin().Integer(row.m_Id).Bytes(row.m_Data).Value();
  m_Noted.AddRow("shape", m_Checksums->m_Shape.Row());
  sto_SqliteStatement::Use(m_AddShape)
      .Bind(1, row.m_Id)
      .Bind(2, sto_ByteView(row.m_Data))
      .Bind(3, checksum)
      .Step();
}
