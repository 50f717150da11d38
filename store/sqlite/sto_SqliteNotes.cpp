#include "store/sqlite/sto_SqliteNotes.h"

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_TypeNames.h"

namespace {

/// The first three columns of both tables.
sto_OnAttribute KeyOf(sto_SqliteStatement::Use const& use) {
  return {static_cast<unsigned int>(use.Integer(0)), static_cast<int>(use.Integer(1)), use.Text(2)};
}

/// Whether the numbers in the file are not longer than a program's.
bool IsKey(sto_SqliteStatement::Use const& use, sto_OnAttribute const& key) {
  return use.Integer(0) == key.m_ClassId && use.Integer(1) == key.m_Version;
}

sto_SqliteStatement::Use& BindKey(sto_SqliteStatement::Use& use, sto_OnAttribute const& key,
                                  std::string const& name) {
  return use.Bind(1, key.m_ClassId)
      .Bind(2, key.m_Version)
      .Bind(3, std::string_view(key.m_Attribute))
      .Bind(4, std::string_view(name));
}

sto_RowChecksum& AddKey(sto_RowChecksum& checksum, sto_OnAttribute const& key, std::string const& name) {
  return checksum.Begin().Integer(key.m_ClassId).Integer(key.m_Version).Text(key.m_Attribute).Text(name);
}

} // namespace

sto_SqliteNotes::sto_SqliteNotes(sto_SqliteConnection& connection, sto_SqliteChanges& changes)
    : m_Connection(connection), m_Noted(changes),
      m_AddEnumerator(connection, "INSERT INTO enumerator(class_id, version, attribute, name, value, "
                                  "checksum) VALUES(?, ?, ?, ?, ?, ?)"),
      m_FindNote(connection, "SELECT text FROM note WHERE class_id = ? AND version = ? AND attribute = ? "
                             "AND name = ?"),
      m_WriteNote(connection, "REPLACE INTO note(class_id, version, attribute, name, text, checksum) "
                              "VALUES(?, ?, ?, ?, ?, ?)") {}

void sto_SqliteNotes::Use(std::int64_t formatVersion, sto_ByteView uuid) {
  m_Checksums.reset();
  if (formatVersion > sto_Format::VersionWithoutShapes) m_Checksums.emplace(uuid);
}

std::int64_t sto_SqliteNotes::ChecksumOf(sto_EnumeratorRow const& row) {
  return AddKey(m_Checksums->m_Enumerator, row.m_On, row.m_Name).Integer(row.m_Value).Value();
}

std::int64_t sto_SqliteNotes::ChecksumOf(sto_NoteRow const& row) {
  return AddKey(m_Checksums->m_Note, row.m_On, row.m_Name).Text(row.m_Text).Value();
}

void sto_SqliteNotes::RaiseUnfit(char const* table, sto_OnAttribute const& key,
                                 std::string const& name) const {
  sto_Raise(sto_ErrorKind::Damaged,
            m_Connection.Path() + ": The store's catalogue is damaged: the row of " + name + " for " +
                (key.m_Attribute.empty() ? "" : "attribute " + key.m_Attribute + " of ") + "class " +
                sto_ClassIdText(key.m_ClassId) + " version " + std::to_string(key.m_Version) + " in table " +
                table + " does not fit its checksum.");
}

std::vector<sto_EnumeratorRow> sto_SqliteNotes::Enumerators() {
  std::vector<sto_EnumeratorRow> rows;
  if (!m_Checksums) return rows;
  sto_SqliteStatement statement(m_Connection,
                                "SELECT class_id, version, attribute, name, value, checksum FROM enumerator");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    rows.push_back({KeyOf(use), use.Text(3), use.Integer(4)});
    sto_EnumeratorRow const& row = rows.back();
    if (!IsKey(use, row.m_On) || ChecksumOf(row) != use.Integer(5))
      RaiseUnfit("enumerator", row.m_On, row.m_Name);
  }
  return rows;
}

std::vector<sto_NoteRow> sto_SqliteNotes::Notes() {
  std::vector<sto_NoteRow> rows;
  if (!m_Checksums) return rows;
  sto_SqliteStatement statement(m_Connection,
                                "SELECT class_id, version, attribute, name, text, checksum FROM note");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    rows.push_back({KeyOf(use), use.Text(3), use.Text(4)});
    sto_NoteRow const& row = rows.back();
    if (!IsKey(use, row.m_On) || ChecksumOf(row) != use.Integer(5)) RaiseUnfit("note", row.m_On, row.m_Name);
  }
  return rows;
}

void sto_SqliteNotes::AddEnumerator(sto_EnumeratorRow const& row) {
  std::int64_t const checksum = ChecksumOf(row);
  m_Noted.AddRow("enumerator", m_Checksums->m_Enumerator.Row());
  sto_SqliteStatement::Use use(m_AddEnumerator);
  BindKey(use, row.m_On, row.m_Name).Bind(5, row.m_Value).Bind(6, checksum).Step();
}

void sto_SqliteNotes::WriteNote(sto_NoteRow const& row) {
  {
    sto_SqliteStatement::Use use(m_FindNote);
    if (BindKey(use, row.m_On, row.m_Name).Step()) {
      static_cast<void>(ChecksumOf(sto_NoteRow{row.m_On, row.m_Name, use.Text(0)}));
      m_Noted.RemoveRow("note", m_Checksums->m_Note.Row());
    }
  }
  std::int64_t const checksum = ChecksumOf(row);
  m_Noted.AddRow("note", m_Checksums->m_Note.Row());
  sto_SqliteStatement::Use use(m_WriteNote);
  BindKey(use, row.m_On, row.m_Name).Bind(5, std::string_view(row.m_Text)).Bind(6, checksum).Step();
}
