#include "store/sqlite/sto_SqliteCheckTables.h"

#include <utility>
#include <vector>

#include "store/format/sto_ChangeList.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_TypeNames.h"
#include "store/sqlite/sto_SqliteColumns.h"
#include "store/sqlite/sto_SqliteHeader.h"

namespace {

/// Adds the columns before `checksumColumn` to a checksum; returns whether the row fits the one it has.
bool Fits(sto_RowChecksum& checksum, sto_SqliteStatement::Use const& use, int checksumColumn) {
  checksum.Begin();
  for (int column = 0; column < checksumColumn; ++column) sto_AddColumn(checksum, use, column);
  return use.TypeOf(checksumColumn) == sto_SqliteType::Integer &&
         use.Integer(checksumColumn) == checksum.Value();
}

std::string Describe(sto_SqliteStoredClass const& row) {
  return "class " + row.m_Name + " (" + sto_ClassIdText(static_cast<unsigned int>(row.m_ClassId)) +
         ") version " + std::to_string(row.m_Version);
}

constexpr char DoesNotFit[] = " does not fit its checksum.";

} // namespace

sto_SqliteCheckTables::sto_SqliteCheckTables(sto_SqliteConnection& connection, std::int64_t formatVersion,
                                             sto_ByteView uuid, sto_SqliteFindings& findings,
                                             sto_StorageVisitor& visitor, sto_SqliteChanges& sum)
    : m_Connection(connection), m_FormatVersion(formatVersion), m_Uuid(uuid), m_Findings(findings),
      m_Visitor(visitor), m_Sum(sum) {}

bool sto_SqliteCheckTables::HasChecksums() const noexcept {
  return m_FormatVersion > sto_Format::VersionWithoutShapes;
}

bool sto_SqliteCheckTables::Read() {
  bool isWhole = m_Findings.Try(sto_CheckKind::Header, "meta", [this] { ReadHeader(); });
  auto const read = [&](char const* table, void (sto_SqliteCheckTables::*act)()) {
    isWhole = m_Findings.Try(sto_CheckKind::Structure, table, [&] { (this->*act)(); }) && isWhole;
  };
  if (HasChecksums()) read("save", &sto_SqliteCheckTables::ReadLog);
  read("class", &sto_SqliteCheckTables::ReadClasses);
  read("name", &sto_SqliteCheckTables::ReadNames);
  if (HasChecksums()) {
    read("shape", &sto_SqliteCheckTables::ReadShapes);
    read("enumerator", &sto_SqliteCheckTables::ReadEnumerators);
    read("note", &sto_SqliteCheckTables::ReadNotes);
    read("index_name", &sto_SqliteCheckTables::ReadIndexes);
  }
  read("root", &sto_SqliteCheckTables::ReadRoots);
  return isWhole;
}

void sto_SqliteCheckTables::ReadHeader() {
  if (HasChecksums()) {
    static_cast<void>(sto_ReadSqliteHeader(m_Connection));
    return;
  }
  sto_SqliteStatement statement(m_Connection, "SELECT value FROM meta WHERE key = 'next_object_id'");
  sto_SqliteStatement::Use use(statement);
  if (!use.Step() || use.TypeOf(0) != sto_SqliteType::Integer || use.Integer(0) < 1)
    m_Findings.Add(sto_CheckKind::Header, "meta", 0,
                   "The store's next object id is missing or invalid in table meta.");
}

void sto_SqliteCheckTables::ReadLog() {
  sto_SqliteStatement statement(m_Connection,
                                "SELECT no, at, program, note, next_object_id, changed, sum, checksum "
                                "FROM save ORDER BY no");
  sto_SqliteStatement::Use use(statement);
  bool isEmpty = true;
  for (use.AllowAllRows(); use.Step(); isEmpty = false) TakeSave(use);
  if (isEmpty) m_Findings.Add(sto_CheckKind::Log, "save", 0, "The log of saves is empty.");
}

void sto_SqliteCheckTables::CheckOrder(std::int64_t number) {
  std::int64_t const expected = m_LastSave + 1;
  if (number == expected) return;
  std::string text = "Save " + std::to_string(number) + " is not in its place in the log.";
  if (number == expected + 1) text = "Save " + std::to_string(expected) + " is missing in the log.";
  if (number > expected + 1)
    text = "Saves " + std::to_string(expected) + " to " + std::to_string(number - 1) +
           " are missing in the log.";
  m_Findings.Add(sto_CheckKind::Log, "save", number, std::move(text));
}

void sto_SqliteCheckTables::TakeSave(sto_SqliteStatement::Use const& use) {
  constexpr int ChecksumColumn = 7;
  sto_RowChecksum checksum(m_Uuid, "save");
  bool const isSound = Fits(checksum, use, ChecksumColumn);
  sto_SaveEntry save;
  save.m_Number = use.Integer(0);
  save.m_NextObjectId = use.Integer(4);
  std::string const row = "The row of save " + std::to_string(save.m_Number);
  CheckOrder(save.m_Number);
  m_LastSave = save.m_Number;
  m_SumInLog.reset();
  m_Visitor.TakeSave(save);
  if (!isSound) return m_Findings.Add(sto_CheckKind::Log, "save", save.m_Number, row + DoesNotFit);
  sto_ByteReader bytes(use.Bytes(6));
  sto_ContentSum const sum = sto_ContentSum::Read(bytes);
  sto_ChangeList changes;
  if (!bytes.Failed() && bytes.Remaining() == 0) m_SumInLog = sum;
  if (!m_SumInLog || !sto_DecodeChanges(use.Bytes(5), changes))
    m_Findings.Add(sto_CheckKind::Log, "save", save.m_Number, row + " has no sum, or no list of changes.");
  if (save.m_NextObjectId < m_NextObjectId)
    m_Findings.Add(sto_CheckKind::Log, "save", save.m_Number,
                   row + " has a smaller next object id than the save before.");
  m_NextObjectId = save.m_NextObjectId;
}

void sto_SqliteCheckTables::ReadClasses() {
  Classes classes;
  sto_SqliteStatement statement(m_Connection, sto_SqliteStoredClass::ReadClasses(HasChecksums()));
  {
    sto_SqliteStatement::Use use(statement);
    for (use.AllowAllRows(); use.Step();) {
      sto_SqliteStoredClass const stored = sto_SqliteStoredClass::Of(use);
      if (!classes.try_emplace({stored.m_ClassId, stored.m_Version}, stored).second)
        m_Findings.Add(sto_CheckKind::Catalogue, "class", stored.m_ClassId,
                       "Table class has " + Describe(stored) + " twice.");
    }
  }
  if (m_FormatVersion > sto_Format::VersionWithoutAttributes)
    m_Findings.Try(sto_CheckKind::Structure, "attribute", [&] { ReadAttributes(classes); });
  for (auto& [key, stored] : classes) {
    stored.SortAttributes();
    TakeClass(stored);
  }
}

void sto_SqliteCheckTables::ReadAttributes(Classes& classes) {
  sto_SqliteStatement statement(m_Connection, sto_SqliteStoredClass::ReadAttributes(HasChecksums()));
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    sto_SqliteStoredClass::Attribute attribute = sto_SqliteStoredClass::Attribute::Of(use);
    auto const found = classes.find({use.Integer(0), use.Integer(1)});
    if (found != classes.end())
      found->second.Add(std::move(attribute));
    else
      m_Findings.Add(sto_CheckKind::Catalogue, "attribute", use.Integer(0),
                     "Table attribute has attribute " + attribute.m_Name + " of class " +
                         sto_ClassIdText(static_cast<unsigned int>(use.Integer(0))) + " version " +
                         std::to_string(use.Integer(1)) + ", which is not in table class.");
  }
}

void sto_SqliteCheckTables::TakeClass(sto_SqliteStoredClass const& stored) {
  bool isSound = stored.m_HasRightTypes;
  if (HasChecksums()) {
    sto_RowChecksum checksum(m_Uuid, "class");
    stored.Encode(checksum);
    m_Sum.AddRow("class", checksum.Row());
    isSound = isSound && checksum.Value() == stored.m_Checksum;
  }
  if (!isSound)
    m_Findings.Add(sto_CheckKind::Catalogue, "class", stored.m_ClassId,
                   "The row of " + Describe(stored) +
                       " in table class, with its attributes in table attribute," + DoesNotFit);
  m_Visitor.TakeClass(stored.Row(), isSound);
}

void sto_SqliteCheckTables::ReadNames() {
  sto_SqliteStatement statement(m_Connection, HasChecksums() ? "SELECT id, text, checksum FROM name"
                                                             : "SELECT id, text FROM name");
  sto_SqliteStatement::Use use(statement);
  sto_RowChecksum checksum(m_Uuid, "name");
  for (use.AllowAllRows(); use.Step();) {
    bool isSound = use.TypeOf(1) == sto_SqliteType::Text;
    if (HasChecksums()) {
      isSound = Fits(checksum, use, 2) && isSound;
      m_Sum.AddRow("name", checksum.Row());
    }
    if (!isSound)
      m_Findings.Add(sto_CheckKind::Catalogue, "name", use.Integer(0),
                     "Row " + std::to_string(use.Integer(0)) + " of table name" + DoesNotFit);
    m_Visitor.TakeName({use.Integer(0), use.Text(1)}, isSound);
  }
}

void sto_SqliteCheckTables::ReadShapes() {
  sto_SqliteStatement statement(m_Connection, "SELECT id, data, checksum FROM shape");
  sto_SqliteStatement::Use use(statement);
  sto_RowChecksum checksum(m_Uuid, "shape");
  for (use.AllowAllRows(); use.Step();) {
    bool const isSound = Fits(checksum, use, 2);
    m_Sum.AddRow("shape", checksum.Row());
    if (!isSound)
      m_Findings.Add(sto_CheckKind::Catalogue, "shape", use.Integer(0),
                     "Row " + std::to_string(use.Integer(0)) + " of table shape" + DoesNotFit);
    sto_ByteView const data = use.Bytes(1);
    m_Visitor.TakeShape({use.Integer(0), sto_Bytes(data.begin(), data.end())}, isSound);
  }
}

void sto_SqliteCheckTables::ReadEnumerators() {
  ReadNotesOf("enumerator", "SELECT class_id, version, attribute, name, value, checksum FROM enumerator",
              sto_SqliteType::Integer);
}

void sto_SqliteCheckTables::ReadNotes() {
  ReadNotesOf("note", "SELECT class_id, version, attribute, name, text, checksum FROM note",
              sto_SqliteType::Text);
}

void sto_SqliteCheckTables::ReadNotesOf(char const* table, char const* sql, sto_SqliteType valueType) {
  constexpr int ValueColumn = 4, ChecksumColumn = 5;
  sto_SqliteStatement statement(m_Connection, sql);
  sto_SqliteStatement::Use use(statement);
  sto_RowChecksum checksum(m_Uuid, table);
  for (use.AllowAllRows(); use.Step();) {
    bool const hasRightType = use.TypeOf(ValueColumn) == valueType;
    bool const isSound = Fits(checksum, use, ChecksumColumn) && hasRightType;
    m_Sum.AddRow(table, checksum.Row());
    if (isSound) continue;
    m_Findings.Add(sto_CheckKind::Catalogue, table, use.Integer(0),
                   "The row of " + use.Text(3) + " for class " +
                       sto_ClassIdText(static_cast<unsigned int>(use.Integer(0))) + " version " +
                       std::to_string(use.Integer(1)) + " in table " + table + DoesNotFit);
  }
}

void sto_SqliteCheckTables::ReadIndexes() {
  if (m_Connection.QueryInteger("SELECT count(*) FROM sqlite_schema WHERE name = 'index_name'") == 0) return;
  sto_SqliteStatement statement(
      m_Connection, "SELECT no, place, class_id, name, checksum FROM index_name ORDER BY no, place");
  sto_SqliteStatement::Use use(statement);
  sto_RowChecksum checksum(m_Uuid, "index_name");
  std::vector<std::pair<sto_IndexRow, bool>> rows; // and whether all of it is sound
  for (use.AllowAllRows(); use.Step();) {
    std::int64_t const number = use.Integer(0), place = use.Integer(1), classId = use.Integer(2);
    if (rows.empty() || rows.back().first.m_Number != number)
      rows.push_back({{number, static_cast<unsigned int>(classId), {}}, true});
    sto_IndexRow& row = rows.back().first;
    bool const isSound = Fits(checksum, use, 4) && row.m_ClassId == classId &&
                         place == static_cast<std::int64_t>(row.m_Names.size());
    row.m_Names.push_back(use.Text(3));
    if (isSound) continue;
    rows.back().second = false;
    m_Findings.Add(sto_CheckKind::Catalogue, "index_name", number,
                   "Row " + std::to_string(place) + " of index " + std::to_string(number) +
                       " in table index_name" + DoesNotFit);
  }
  for (auto const& [row, isSound] : rows) m_Visitor.TakeIndex(row, isSound);
}

void sto_SqliteCheckTables::ReadRoots() {
  sto_SqliteStatement statement(m_Connection, HasChecksums()
                                                  ? "SELECT name, object_id, class_id, checksum FROM root"
                                                  : "SELECT name, object_id, 0 FROM root");
  sto_SqliteStatement::Use use(statement);
  sto_RowChecksum checksum(m_Uuid, "root");
  std::optional<std::string> previous;
  for (use.AllowAllRows(); use.Step();) {
    bool isSound = use.TypeOf(0) == sto_SqliteType::Text && use.TypeOf(1) == sto_SqliteType::Integer;
    if (HasChecksums()) isSound = Fits(checksum, use, 3) && isSound;
    std::string const name = use.Text(0);
    auto const classId = static_cast<unsigned int>(use.Integer(2));
    m_Sum.AddRoot(name, use.Integer(1), classId);
    if (previous && name <= *previous)
      m_Findings.Add(sto_CheckKind::Structure, "root", 0,
                     "Root " + name + " is not in its place in table root.");
    previous = name;
    if (isSound) {
      m_Visitor.TakeRoot(name, use.Integer(1), classId);
      continue;
    }
    sto_CheckFinding finding;
    finding.m_Kind = sto_CheckKind::DamagedRow;
    finding.m_Table = "root";
    finding.m_Root = name;
    finding.m_Text = "The row of root " + name + " in table root" + DoesNotFit;
    m_Visitor.Find(std::move(finding));
  }
}
