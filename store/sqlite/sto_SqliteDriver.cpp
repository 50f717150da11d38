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

std::string JournalMode(sto_SqliteConnection& connection) {
  sto_SqliteStatement statement(connection, "PRAGMA journal_mode");
  sto_SqliteStatement::Use use(statement);
  return use.Step() ? use.Text(0) : std::string();
}

/// How every connection talks to its file, after which the file's contents cannot turn against the program.
void Configure(sto_SqliteConnection& connection) {
  sqlite3_db_config(connection.Handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(connection.Handle(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  // Whether there is a write-ahead log is the file's own property. Rows that go are not overwritten with
  // zeros, as some builds of SQLite would: that makes a deletion cost as much as a write.
  connection.Execute("PRAGMA synchronous = EXTRA; PRAGMA secure_delete = OFF;"
                     "PRAGMA mmap_size = 1099511627776; PRAGMA temp_store = MEMORY;");
  if (JournalMode(connection) != "wal") connection.Execute("PRAGMA journal_mode = DELETE");
}

constexpr char const* TablesSince[] = {
    "'meta', 'class', 'name', 'root', 'object', 'block'",
    ", 'attribute'",
    ", 'pack', 'moved_block', 'block_place'",
};
constexpr std::int64_t TableCounts[] = {6, 7, 10};

/// Whether the tables of a format version are there.
bool HasTables(sto_SqliteConnection& connection, std::int64_t version) {
  std::string names;
  for (std::int64_t i = 0; i < version; ++i) names += TablesSince[i];
  std::string const count =
      "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name IN (" + names + ")";
  return connection.QueryInteger(count.c_str()) == TableCounts[version - 1];
}

void CheckFormat(sto_SqliteConnection& connection) {
  if (connection.QueryInteger("PRAGMA application_id") != sto_SqliteSchema::ApplicationId)
    sto_Raise(sto_ErrorKind::NotFound, connection.Path() + ": This is not a store.");
  std::int64_t const version = connection.QueryInteger("PRAGMA user_version");
  if (version > sto_Format::Version)
    sto_Raise(sto_ErrorKind::NewerFormat,
              connection.Path() + ": The store has format version " + std::to_string(version) +
                  "; this program reads up to version " + std::to_string(sto_Format::Version) + ".");
  if (version < 1 || !HasTables(connection, version))
    sto_Raise(sto_ErrorKind::Damaged, connection.Path() + ": The store's header or tables are damaged.");
}

std::int64_t SizeOf(sto_SqliteConnection& connection) {
  return connection.QueryInteger("PRAGMA page_count") * connection.QueryInteger("PRAGMA page_size");
}

/// SQLite fills a last page that was cut short with zeros, and some zeros look like rows.
void CheckSize(sto_SqliteConnection& connection) {
  if (JournalMode(connection) == "wal") return; // the log may hold the newest pages
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

void MakeTables(sto_SqliteConnection& connection, sto_Options const& options) {
  connection.Execute(("PRAGMA page_size = " + std::to_string(options.m_PageBytes)).c_str());
  if (options.m_ReadersBesideWriter) {
    connection.Execute("PRAGMA journal_mode = WAL");
    if (JournalMode(connection) != "wal") // SQLite says no more than this
      sto_Raise(sto_ErrorKind::Unavailable,
                connection.Path() +
                    ": There can be no write-ahead log here: the file system gives processes no "
                    "memory to share.");
  }
  connection.Execute("BEGIN EXCLUSIVE");
  connection.Execute(("PRAGMA application_id = " + std::to_string(sto_SqliteSchema::ApplicationId)).c_str());
  SetFormatVersion(connection);
  connection.Execute(sto_SqliteSchema::Tables);
  connection.Execute(sto_SqliteSchema::AttributeTable);
  connection.Execute(sto_SqliteSchema::PackTables);
  connection.Execute("INSERT INTO meta VALUES('next_object_id', 1)");
  connection.Execute("COMMIT");
}

bool IsThere(std::string const& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

void CheckOptions(std::string const& path, sto_Options const& options) {
  int const pageBytes = options.m_PageBytes;
  if (pageBytes < 512 || pageBytes > 65536 || (pageBytes & (pageBytes - 1)) != 0)
    sto_Raise(sto_ErrorKind::Misuse, path + ": " + std::to_string(pageBytes) +
                                         " is no page size: a power of two from 512 to 65536 is.");
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

std::unique_ptr<sto_Driver> sto_SqliteDriver::Create(std::string const& path, sto_Options const& options) {
  CheckOptions(path, options);
  bool const isOurs = MakeFile(path);
  if (!isOurs && !IsEmptyFile(path)) sto_Raise(sto_ErrorKind::Conflict, path + ": The file exists already.");
  try {
    auto connection = std::make_unique<sto_SqliteConnection>(path, SQLITE_OPEN_READWRITE);
    Configure(*connection);
    MakeTables(*connection, options);
    return std::unique_ptr<sto_Driver>(new sto_SqliteDriver(std::move(connection), false));
  } catch (...) {
    std::error_code ignored;
    if (isOurs) {
      for (char const* const suffix : {"", "-journal", "-wal", "-shm"})
        std::filesystem::remove(path + suffix, ignored);
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
      m_OpenMark(*m_Connection, "SAVEPOINT mark"), m_ReleaseMark(*m_Connection, "RELEASE mark"),
      m_FindRoot(*m_Connection, "SELECT object_id FROM root WHERE name = ?"),
      m_SetRoot(*m_Connection, "REPLACE INTO root(name, object_id) VALUES(?, ?)"),
      m_RemoveRoot(*m_Connection, "DELETE FROM root WHERE name = ?"),
      m_ChangeCounter(*m_Connection, "PRAGMA data_version"),
      m_GetMeta(*m_Connection, "SELECT value FROM meta WHERE key = ?"),
      m_SetMeta(*m_Connection, "REPLACE INTO meta(key, value) VALUES(?, ?)"),
      m_WriteClass(*m_Connection,
                   "REPLACE INTO class(class_id, version, name, base_class_id) VALUES(?, ?, ?, ?)"),
      m_AddName(*m_Connection, "INSERT INTO name(id, text) VALUES(?, ?)"),
      m_HasLog(JournalMode(*m_Connection) == "wal"), m_Objects(*m_Connection), m_Blocks(*m_Connection) {}

void sto_SqliteDriver::Begin(bool forWriting) {
  m_Connection->Execute(forWriting ? "BEGIN IMMEDIATE" : "BEGIN");
  m_GivesOutIds = forWriting;
  try {
    if (!m_IsPresentFormat) {
      m_FormatVersion =
          m_Connection->QueryInteger("PRAGMA user_version"); // another session may have upgraded
      m_IsPresentFormat = m_FormatVersion == sto_Format::Version;
      if (forWriting && !m_IsPresentFormat)
        Upgrade(); // may yet be undone, so the next transaction asks again
    }
    bool const hasPacks = m_FormatVersion > sto_Format::VersionWithoutPacks;
    m_Objects.Begin(hasPacks);
    m_Blocks.Begin(hasPacks, !m_HasLog);
    m_Objects.SetFirstNewId(
        NextObjectId()); // a deferred transaction sees a fixed state from its first read on
  } catch (...) {
    Rollback();
    throw;
  }
}

void sto_SqliteDriver::Upgrade() {
  if (m_FormatVersion <= sto_Format::VersionWithoutAttributes)
    m_Connection->Execute(sto_SqliteSchema::AttributeTable);
  if (m_FormatVersion <= sto_Format::VersionWithoutPacks) m_Connection->Execute(sto_SqliteSchema::PackTables);
  SetFormatVersion(*m_Connection);
  m_FormatVersion = sto_Format::Version;
}

void sto_SqliteDriver::Commit() {
  m_Objects.Flush();
  m_Blocks.FinishTransaction();
  m_Connection->Execute("COMMIT");
}

void sto_SqliteDriver::Rollback() noexcept {
  m_Objects.Drop();
  m_Blocks.Close();
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
  m_Objects.Flush();
  m_Blocks.SetMark();
  sto_SqliteStatement::Use(m_OpenMark).Step();
}
void sto_SqliteDriver::ReleaseMark() {
  m_Blocks.Close(); // one that is open for writing is a statement in progress
  sto_SqliteStatement::Use(m_ReleaseMark).Step();
}
void sto_SqliteDriver::RollbackToMark() {
  m_Objects.Drop();
  m_Blocks.Close();
  if (!IsInTransaction()) return;
  m_Connection->Execute("ROLLBACK TO mark; RELEASE mark");
  m_Blocks.ReturnToMark();
}

std::int64_t sto_SqliteDriver::ChangeCounter() {
  sto_SqliteStatement::Use use(m_ChangeCounter);
  return use.Step() ? use.Integer(0) : 0;
}

std::int64_t sto_SqliteDriver::NextObjectId() {
  sto_SqliteStatement::Use use(m_GetMeta);
  if (!use.Bind(1, std::string_view("next_object_id")).Step() || use.Integer(0) < 1)
    sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store does not say its next object id.");
  // A damaged pack may seem to have objects that the store never had; the others can still be read.
  if (std::int64_t const greatest = m_GivesOutIds ? m_Objects.GreatestId() : 0; greatest >= use.Integer(0))
    sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store's next object id, " +
                                          std::to_string(use.Integer(0)) + ", is not after object " +
                                          std::to_string(greatest) + ".");
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
  if (m_FormatVersion > sto_Format::VersionWithoutAttributes)
    for (sto_ClassRow& row : rows) row.m_Attributes = Attributes(row.m_ClassId, row.m_Version);
  return rows;
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
  return m_Objects.Read(id, classId, record);
}
bool sto_SqliteDriver::HasObject(std::int64_t id) {
  return m_Objects.Has(id);
}
void sto_SqliteDriver::WriteObject(std::int64_t id, unsigned int classId, sto_ByteView record) {
  CheckTransaction();
  m_Objects.Write(id, classId, record);
}
void sto_SqliteDriver::DeleteObject(std::int64_t id) {
  CheckTransaction();
  m_Objects.Delete(id);
}
std::vector<std::int64_t> sto_SqliteDriver::ObjectIds(std::int64_t first, std::int64_t last) {
  return m_Objects.Ids(first, last);
}
std::int64_t sto_SqliteDriver::ObjectCount() {
  return m_Objects.Count();
}

bool sto_SqliteDriver::ReadBlock(std::int64_t key, sto_Bytes& data) {
  return m_Blocks.Read(key, data);
}
bool sto_SqliteDriver::ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  return m_Blocks.ReadInto(key, data, end);
}
void sto_SqliteDriver::ReadBlocks(std::int64_t first, std::int64_t last, sto_BlockSink& sink) {
  m_Blocks.ReadRange(first, last, sink);
}
bool sto_SqliteDriver::HasBlock(std::int64_t key) {
  return m_Blocks.Has(key);
}
void sto_SqliteDriver::WriteBlock(std::int64_t key, sto_ByteView data) {
  CheckTransaction();
  m_Blocks.Write(key, data);
}
void sto_SqliteDriver::WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) {
  CheckTransaction();
  m_Blocks.WriteRange(first, blocks);
}
void sto_SqliteDriver::OverwriteBlock(std::int64_t key, sto_ByteView data) {
  CheckTransaction();
  m_Blocks.Overwrite(key, data);
}
void sto_SqliteDriver::DeleteBlocks(std::int64_t first, std::int64_t last) {
  CheckTransaction();
  m_Blocks.Delete(first, last);
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
