#include "store/sqlite/sto_SqliteDriver.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "store/sqlite/sto_SqliteSchema.h"
#include "store/sto_Exception.h"
#include "store/sto_Format.h"

namespace {

/// How every connection talks to its file, after which the file's contents cannot turn against the program.
void Configure(sto_SqliteConnection& connection) {
  sqlite3_db_config(connection.Handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(connection.Handle(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  connection.Execute("PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA;"
                     "PRAGMA mmap_size = 1099511627776; PRAGMA temp_store = MEMORY;");
}

void CheckFormat(sto_SqliteConnection& connection) {
  if (connection.QueryInteger("PRAGMA application_id") != sto_SqliteSchema::ApplicationId)
    sto_Raise(sto_ErrorKind::NotFound, connection.Path() + ": This is not a store.");
  std::int64_t const version = connection.QueryInteger("PRAGMA user_version");
  if (version > sto_Format::Version)
    sto_Raise(sto_ErrorKind::NewerFormat,
              connection.Path() + ": The store has format version " + std::to_string(version) +
                  "; this program reads up to version " + std::to_string(sto_Format::Version) + ".");
  constexpr char CountTables[] = "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND "
                                 "name IN ('meta', 'class', 'name', 'root', 'object', 'block', 'attribute')";
  std::int64_t const tableCount = version == sto_Format::VersionWithoutAttributes ? 6 : 7;
  if (version < 1 || connection.QueryInteger(CountTables) != tableCount)
    sto_Raise(sto_ErrorKind::Damaged, connection.Path() + ": The store's header or tables are damaged.");
}

std::int64_t SizeOf(sto_SqliteConnection& connection) {
  return connection.QueryInteger("PRAGMA page_count") * connection.QueryInteger("PRAGMA page_size");
}

/// SQLite fills a last page that was cut short with zeros, and some zeros look like rows.
void CheckSize(sto_SqliteConnection& connection) {
  auto const expected = static_cast<std::uintmax_t>(SizeOf(connection));
  std::error_code error;
  std::uintmax_t const actual = std::filesystem::file_size(connection.Path(), error);
  if (!error && actual < expected)
    sto_Raise(sto_ErrorKind::Damaged, connection.Path() + ": The file is cut short: it has " +
                                          std::to_string(actual) + " of " + std::to_string(expected) +
                                          " bytes.");
}

void SetFormatVersion(sto_SqliteConnection& connection) {
  connection.Execute(("PRAGMA user_version = " + std::to_string(sto_Format::Version)).c_str());
}

void MakeTables(sto_SqliteConnection& connection) {
  connection.Execute(("PRAGMA page_size = " + std::to_string(sto_SqliteSchema::PageBytes)).c_str());
  connection.Execute("BEGIN EXCLUSIVE");
  connection.Execute(("PRAGMA application_id = " + std::to_string(sto_SqliteSchema::ApplicationId)).c_str());
  SetFormatVersion(connection);
  connection.Execute(sto_SqliteSchema::Tables);
  connection.Execute(sto_SqliteSchema::AttributeTable);
  connection.Execute("INSERT INTO meta VALUES('next_object_id', 1)");
  connection.Execute("COMMIT");
}

bool IsThere(std::string const& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

/// Makes an empty file; false when something is there already, also when another program was faster.
bool MakeFile(std::string const& path) {
  if (std::FILE* const file = std::fopen(path.c_str(), "wbx")) {
    std::fclose(file);
    return true;
  }
  int const error = errno;
  if (error == EEXIST || IsThere(path)) return false;
  sto_Raise(sto_ErrorKind::Unavailable,
            path + ": The file cannot be made: " + std::generic_category().message(error) + ".");
}

bool IsEmptyFile(std::string const& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) && std::filesystem::file_size(path, error) == 0 &&
         !error;
}

} // namespace

std::unique_ptr<sto_Driver> sto_SqliteDriver::Create(std::string const& path) {
  bool const isOurs = MakeFile(path);
  if (!isOurs && !IsEmptyFile(path)) sto_Raise(sto_ErrorKind::Conflict, path + ": The file exists already.");
  try {
    auto connection = std::make_unique<sto_SqliteConnection>(path, SQLITE_OPEN_READWRITE);
    Configure(*connection);
    MakeTables(*connection);
    return std::unique_ptr<sto_Driver>(new sto_SqliteDriver(std::move(connection), false));
  } catch (...) {
    std::error_code ignored;
    if (isOurs) {
      std::filesystem::remove(path, ignored);
      std::filesystem::remove(path + "-journal", ignored);
    }
    throw;
  }
}

std::unique_ptr<sto_Driver> sto_SqliteDriver::Open(std::string const& path, bool readOnly) {
  if (!IsThere(path)) sto_Raise(sto_ErrorKind::NotFound, path + ": There is no such file.");
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    sto_Raise(sto_ErrorKind::NotFound, path + ": This is not a store.");
  auto connection =
      std::make_unique<sto_SqliteConnection>(path, readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
  CheckFormat(*connection);
  CheckSize(*connection);
  Configure(*connection);
  bool const cannotWrite = sqlite3_db_readonly(connection->Handle(), "main") != 0;
  if (cannotWrite && !readOnly) sto_Raise(sto_ErrorKind::ReadOnly, path + ": The file may not be written.");
  return std::unique_ptr<sto_Driver>(new sto_SqliteDriver(std::move(connection), readOnly));
}

sto_SqliteDriver::sto_SqliteDriver(std::unique_ptr<sto_SqliteConnection> connection, bool readOnly)
    : m_Connection(std::move(connection)), m_IsReadOnly(readOnly),
      m_ReadObject(*m_Connection, "SELECT class_id, record FROM object WHERE id = ?"),
      m_HasObject(*m_Connection, "SELECT 1 FROM object WHERE id = ?"),
      m_GreatestId(*m_Connection, "SELECT max(id) FROM object"),
      m_WriteObject(*m_Connection, "REPLACE INTO object(id, class_id, record) VALUES(?, ?, ?)"),
      m_ReadBlocks(*m_Connection, "SELECT key, data FROM block WHERE key BETWEEN ? AND ? ORDER BY key"),
      m_HasBlock(*m_Connection, "SELECT 1 FROM block WHERE key = ?"),
      m_WriteBlock(*m_Connection, "REPLACE INTO block(key, data) VALUES(?, ?)"),
      m_DeleteBlocks(*m_Connection, "DELETE FROM block WHERE key BETWEEN ? AND ?"),
      m_FindRoot(*m_Connection, "SELECT object_id FROM root WHERE name = ?"),
      m_SetRoot(*m_Connection, "REPLACE INTO root(name, object_id) VALUES(?, ?)"),
      m_RemoveRoot(*m_Connection, "DELETE FROM root WHERE name = ?"),
      m_ChangeCounter(*m_Connection, "PRAGMA data_version"),
      m_GetMeta(*m_Connection, "SELECT value FROM meta WHERE key = ?"),
      m_SetMeta(*m_Connection, "REPLACE INTO meta(key, value) VALUES(?, ?)"),
      m_WriteClass(*m_Connection,
                   "REPLACE INTO class(class_id, version, name, base_class_id) VALUES(?, ?, ?, ?)"),
      m_AddName(*m_Connection, "INSERT INTO name(id, text) VALUES(?, ?)"),
      m_FormatVersion(m_Connection->QueryInteger("PRAGMA user_version")), m_ReadBlob(*m_Connection, false),
      m_WriteBlob(*m_Connection, true) {}

void sto_SqliteDriver::Begin(bool forWriting) {
  m_Connection->Execute(forWriting ? "BEGIN IMMEDIATE" : "BEGIN");
  try {
    if (m_FormatVersion < sto_Format::Version) {
      m_FormatVersion = m_Connection->QueryInteger("PRAGMA user_version");
      if (forWriting && m_FormatVersion < sto_Format::Version) Upgrade();
    }
    if (!forWriting) NextObjectId(); // a deferred transaction sees a fixed state only from its first read on
  } catch (...) {
    Rollback();
    throw;
  }
}

void sto_SqliteDriver::Upgrade() {
  m_Connection->Execute(sto_SqliteSchema::AttributeTable);
  SetFormatVersion(*m_Connection);
}

void sto_SqliteDriver::Commit() {
  CloseBlobs();
  m_Connection->Execute("COMMIT");
}

void sto_SqliteDriver::Rollback() noexcept {
  CloseBlobs();
  if (IsInTransaction()) sqlite3_exec(m_Connection->Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

bool sto_SqliteDriver::IsInTransaction() const noexcept {
  return sqlite3_get_autocommit(m_Connection->Handle()) == 0;
}

void sto_SqliteDriver::CheckTransaction() const {
  if (!IsInTransaction())
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Connection->Path() + ": The transaction was undone by a failure; roll it back.");
}

void sto_SqliteDriver::SetMark() {
  CheckTransaction();
  CloseBlobs(); // one that is open for writing is a statement in progress
  m_Connection->Execute("SAVEPOINT mark");
}
void sto_SqliteDriver::ReleaseMark() {
  m_Connection->Execute("RELEASE mark");
}
void sto_SqliteDriver::RollbackToMark() {
  CloseBlobs();
  if (IsInTransaction()) m_Connection->Execute("ROLLBACK TO mark; RELEASE mark");
}

std::int64_t sto_SqliteDriver::ChangeCounter() {
  sto_SqliteStatement::Use use(m_ChangeCounter);
  return use.Step() ? use.Integer(0) : 0;
}

std::int64_t sto_SqliteDriver::NextObjectId() {
  sto_SqliteStatement::Use use(m_GetMeta);
  if (!use.Bind(1, std::string_view("next_object_id")).Step() || use.Integer(0) < 1)
    sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store does not say its next object id.");
  sto_SqliteStatement::Use greatest(m_GreatestId);
  if (greatest.Step() && greatest.Integer(0) >= use.Integer(0))
    sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store's next object id, " +
                                          std::to_string(use.Integer(0)) + ", is not after object " +
                                          std::to_string(greatest.Integer(0)) + ".");
  return use.Integer(0);
}

void sto_SqliteDriver::SetNextObjectId(std::int64_t id) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_SetMeta).Bind(1, std::string_view("next_object_id")).Bind(2, id).Step();
}

std::vector<sto_ClassRow> sto_SqliteDriver::Classes() {
  sto_SqliteStatement statement(*m_Connection, "SELECT class_id, version, name, base_class_id FROM class");
  sto_SqliteStatement::Use use(statement);
  std::vector<sto_ClassRow> rows;
  while (use.Step())
    rows.push_back({static_cast<unsigned int>(use.Integer(0)),
                    static_cast<int>(use.Integer(1)),
                    use.Text(2),
                    static_cast<unsigned int>(use.Integer(3)),
                    {}});
  if (HasAttributes())
    for (sto_ClassRow& row : rows) row.m_Attributes = Attributes(row.m_ClassId, row.m_Version);
  return rows;
}

bool sto_SqliteDriver::HasAttributes() {
  // The open transaction may have upgraded the store, or another session before it.
  return m_FormatVersion == sto_Format::Version ||
         m_Connection->QueryInteger("PRAGMA user_version") == sto_Format::Version;
}

std::vector<sto_AttributeRow> sto_SqliteDriver::Attributes(unsigned int classId, int version) {
  sto_SqliteStatement statement(*m_Connection,
                                "SELECT name, field_id, type, type_arg, collection_type FROM attribute "
                                "WHERE class_id = ? AND version = ? ORDER BY name");
  sto_SqliteStatement::Use use(statement);
  use.Bind(1, std::int64_t{classId}).Bind(2, std::int64_t{version});
  std::vector<sto_AttributeRow> rows;
  while (use.Step())
    rows.push_back({use.Text(0), static_cast<int>(use.Integer(1)), static_cast<int>(use.Integer(2)),
                    static_cast<unsigned int>(use.Integer(3)), static_cast<int>(use.Integer(4))});
  return rows;
}

void sto_SqliteDriver::WriteClass(sto_ClassRow const& row) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_WriteClass)
      .Bind(1, std::int64_t{row.m_ClassId})
      .Bind(2, std::int64_t{row.m_Version})
      .Bind(3, std::string_view(row.m_Name))
      .Bind(4, std::int64_t{row.m_BaseClassId})
      .Step();
  sto_SqliteStatement statement(*m_Connection,
                                "REPLACE INTO attribute(class_id, version, name, field_id, type, type_arg, "
                                "collection_type) VALUES(?, ?, ?, ?, ?, ?, ?)");
  for (sto_AttributeRow const& attribute : row.m_Attributes)
    sto_SqliteStatement::Use(statement)
        .Bind(1, std::int64_t{row.m_ClassId})
        .Bind(2, std::int64_t{row.m_Version})
        .Bind(3, std::string_view(attribute.m_Name))
        .Bind(4, std::int64_t{attribute.m_FieldId})
        .Bind(5, std::int64_t{attribute.m_Type})
        .Bind(6, std::int64_t{attribute.m_TypeArg})
        .Bind(7, std::int64_t{attribute.m_CollectionType})
        .Step();
}

std::vector<sto_NameRow> sto_SqliteDriver::Names() {
  sto_SqliteStatement statement(*m_Connection, "SELECT id, text FROM name");
  sto_SqliteStatement::Use use(statement);
  std::vector<sto_NameRow> rows;
  while (use.Step()) {
    // Beyond this no store gets; a row there would leave no number for the next name.
    if (use.Integer(0) < 1 || use.Integer(0) > sto_Format::MaxObjectId)
      sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store's attribute names are damaged.");
    rows.push_back({use.Integer(0), use.Text(1)});
  }
  return rows;
}

void sto_SqliteDriver::AddName(sto_NameRow const& row) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_AddName).Bind(1, row.m_Id).Bind(2, std::string_view(row.m_Text)).Step();
}

bool sto_SqliteDriver::ReadObject(std::int64_t id, unsigned int& classId, sto_Bytes& record) {
  sto_SqliteStatement::Use use(m_ReadObject);
  if (!use.Bind(1, id).Step()) return false;
  classId = static_cast<unsigned int>(use.Integer(0));
  sto_ByteView const bytes = use.Bytes(1);
  record.assign(bytes.begin(), bytes.end());
  return true;
}

bool sto_SqliteDriver::HasObject(std::int64_t id) {
  return sto_SqliteStatement::Use(m_HasObject).Bind(1, id).Step();
}

void sto_SqliteDriver::WriteObject(std::int64_t id, unsigned int classId, sto_ByteView record) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_WriteObject).Bind(1, id).Bind(2, std::int64_t{classId}).Bind(3, record).Step();
}

std::int64_t sto_SqliteDriver::ObjectCount() {
  return m_Connection->QueryInteger("SELECT count(*) FROM object");
}

bool sto_SqliteDriver::ReadBlock(std::int64_t key, sto_Bytes& data) {
  if (!m_ReadBlob.Seek(key)) return false;
  m_ReadBlob.Read(data);
  return true;
}

bool sto_SqliteDriver::ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  if (!m_ReadBlob.Seek(key) || m_ReadBlob.SizeBytes() != data.size() + end.size()) return false;
  m_ReadBlob.Read(0, data);
  m_ReadBlob.Read(data.size(), end);
  return true;
}

void sto_SqliteDriver::ReadBlocks(std::int64_t first, std::int64_t last, sto_BlockSink& sink) {
  sto_SqliteStatement::Use use(m_ReadBlocks);
  use.Bind(1, first).Bind(2, last);
  while (use.Step() && sink.Take(use.Integer(0), use.Bytes(1))) {
  }
}

bool sto_SqliteDriver::HasBlock(std::int64_t key) {
  return sto_SqliteStatement::Use(m_HasBlock).Bind(1, key).Step();
}

void sto_SqliteDriver::WriteBlock(std::int64_t key, sto_ByteView data) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_WriteBlock).Bind(1, key).Bind(2, data).Step();
}

void sto_SqliteDriver::OverwriteBlock(std::int64_t key, sto_ByteView data) {
  CheckTransaction();
  if (!m_WriteBlob.Seek(key) || m_WriteBlob.SizeBytes() != data.size()) return WriteBlock(key, data);
  // A block takes two pages, and each page that is written goes through the journal: mostly one is enough.
  // The checksum at the end always changes.
  m_WriteBlob.Read(m_OldBlock);
  std::size_t const content = data.size() - std::min(data.size(), sto_Format::ChecksumBytes);
  auto const [first, inOld] = std::mismatch(data.begin(), data.begin() + content, m_OldBlock.begin());
  std::size_t const start = static_cast<std::size_t>(first - data.begin());
  std::size_t end = content;
  while (end > start && data[end - 1] == m_OldBlock[end - 1]) --end;
  if (end > start) m_WriteBlob.Write(start, data.subspan(start, end - start));
  if (end > start) m_WriteBlob.Write(content, data.subspan(content));
}

void sto_SqliteDriver::CloseBlobs() noexcept {
  m_ReadBlob.Close();
  m_WriteBlob.Close();
}

void sto_SqliteDriver::DeleteBlocks(std::int64_t first, std::int64_t last) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_DeleteBlocks).Bind(1, first).Bind(2, last).Step();
}

std::optional<std::int64_t> sto_SqliteDriver::FindRoot(std::string_view name) {
  sto_SqliteStatement::Use use(m_FindRoot);
  if (!use.Bind(1, name).Step()) return std::nullopt;
  return use.Integer(0);
}

void sto_SqliteDriver::SetRoot(std::string_view name, std::int64_t id) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_SetRoot).Bind(1, name).Bind(2, id).Step();
}

bool sto_SqliteDriver::RemoveRoot(std::string_view name) {
  CheckTransaction();
  sto_SqliteStatement::Use(m_RemoveRoot).Bind(1, name).Step();
  return sqlite3_changes(m_Connection->Handle()) > 0;
}

std::vector<std::string> sto_SqliteDriver::Roots() {
  sto_SqliteStatement statement(*m_Connection, "SELECT name FROM root ORDER BY name");
  sto_SqliteStatement::Use use(statement);
  std::vector<std::string> names;
  while (use.Step()) names.push_back(use.Text(0));
  return names;
}

std::int64_t sto_SqliteDriver::SizeBytes() {
  return SizeOf(*m_Connection);
}
