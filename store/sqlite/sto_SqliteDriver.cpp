#include "store/sqlite/sto_SqliteDriver.h"

#include <sqlite3.h>

#include <map>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/sqlite/sto_SqliteCopy.h"
#include "store/sqlite/sto_SqliteSchema.h"

sto_SqliteDriver::LogFolder::~LogFolder() {
  if (!m_Path.empty()) sto_FoldSqliteLog(m_Path);
}

std::unique_ptr<sto_Driver> sto_SqliteDriver::Create(std::string const& path, sto_Options const& options) {
  sto_SqliteOpening opening{sto_CreateSqlite(path, options), std::nullopt};
  return std::unique_ptr<sto_Driver>(new sto_SqliteDriver(std::move(opening), false));
}

std::unique_ptr<sto_Driver> sto_SqliteDriver::Open(std::string const& path, bool readOnly,
                                                   sto_Options const& options) {
  return std::unique_ptr<sto_Driver>(new sto_SqliteDriver(sto_OpenSqlite(path, readOnly, options), readOnly));
}

sto_SqliteDriver::sto_SqliteDriver(sto_SqliteOpening opening, bool readOnly)
    : m_Connection(std::move(opening.m_Connection)), m_FixedState(opening.m_FixedState),
      m_IsReadOnly(readOnly), m_Transaction(*m_Connection),
      m_ChangeCounter(*m_Connection, "PRAGMA data_version"),
      m_GetMeta(*m_Connection, "SELECT value FROM meta WHERE key = ?"),
      m_SetMeta(*m_Connection, "REPLACE INTO meta(key, value) VALUES(?, ?)"),
      m_WriteClass(*m_Connection,
                   "REPLACE INTO class(class_id, version, name, base_class_id) VALUES(?, ?, ?, ?)"),
      m_AddName(*m_Connection, "INSERT INTO name(id, text) VALUES(?, ?)"),
      m_HasLog(!m_FixedState && m_Connection->QueryText("PRAGMA journal_mode") == "wal"),
      m_Objects(*m_Connection, m_Mark), m_Roots(*m_Connection), m_Blocks(*m_Connection),
      m_Mark(m_Transaction, m_Objects, m_Roots, m_Blocks) {
  if (m_HasLog && m_IsReadOnly) m_LogFolder.m_Path = m_Connection->FullPath();
}

sto_SqliteDriver::~sto_SqliteDriver() {
  Rollback();
  // Copy what no reader needs any more from the log to the file, so that nothing is left to do for the last
  // session that closes, which may be one that cannot write.
  if (m_HasLog && !m_IsReadOnly)
    sqlite3_wal_checkpoint_v2(m_Connection->Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

void sto_SqliteDriver::CheckFixedState() const {
  if (m_FixedState && sto_SqliteFile::StateOf(*m_Connection) != *m_FixedState)
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Connection->Path() + ": Another program has changed the store, which is read here without "
                                     "locks; open it again.");
}

void sto_SqliteDriver::Begin(bool forWriting) {
  CheckFixedState();
  m_Transaction.Begin(forWriting);
  m_GivesOutIds = forWriting;
  try {
    if (!m_IsPresentFormat) {
      m_FormatVersion =
          m_Connection->QueryInteger("PRAGMA user_version"); // another session may have upgraded
      m_IsPresentFormat = m_FormatVersion == sto_Format::Version;
      if (forWriting && !m_IsPresentFormat) Upgrade(); // may be undone, so the next transaction asks again
    }
    bool const hasPacks = m_FormatVersion > sto_Format::VersionWithoutPacks;
    m_Mark.Forget();
    m_Objects.Begin(hasPacks);
    m_Roots.Drop();
    m_Blocks.Begin(hasPacks, !m_HasLog);
    m_Objects.SetFirstNewId(
        NextObjectId()); // a deferred transaction sees a fixed state from its first read on
  } catch (...) {
    Rollback();
    throw;
  }
}

void sto_SqliteDriver::Upgrade() {
  m_HasUpgraded = true;
  if (m_FormatVersion <= sto_Format::VersionWithoutAttributes)
    m_Connection->Execute(sto_SqliteSchema::AttributeTable);
  if (m_FormatVersion <= sto_Format::VersionWithoutPacks) m_Connection->Execute(sto_SqliteSchema::PackTables);
  m_Connection->Execute(("PRAGMA user_version = " + std::to_string(sto_Format::Version)).c_str());
  m_FormatVersion = sto_Format::Version;
}

void sto_SqliteDriver::Commit() {
  m_Transaction.CheckOpen(); // without a transaction, what is written would be durable at once
  m_Objects.Flush();
  m_Roots.Flush();
  m_Blocks.FinishTransaction();
  m_Transaction.Commit();
  m_HasUpgraded = false;
  CheckFixedState(); // if it changed, the transaction may have read parts of two states
}

void sto_SqliteDriver::Rollback() noexcept {
  m_Mark.Forget();
  m_Objects.Drop();
  m_Roots.Drop();
  m_Blocks.Close();
  m_Transaction.Rollback();
  if (std::exchange(m_HasUpgraded, false) && !m_Transaction.IsOpen()) m_Transaction.PrepareAgain();
}

bool sto_SqliteDriver::IsInTransaction() const noexcept {
  return m_Transaction.IsOpen();
}

void sto_SqliteDriver::SetMark() {
  m_Transaction.CheckOpen();
  m_Mark.Set();
}
void sto_SqliteDriver::ReleaseMark() {
  m_Mark.Release();
}
void sto_SqliteDriver::RollbackToMark() {
  m_Mark.GoBack();
}

void sto_SqliteDriver::BeforeWriting() {
  m_Transaction.CheckOpen();
  m_Mark.BeforeWriting();
}

std::int64_t sto_SqliteDriver::ChangeCounter() {
  m_Transaction.CheckUndone();
  sto_SqliteStatement::Use use(m_ChangeCounter);
  return use.Step() ? use.Integer(0) : 0;
}

std::int64_t sto_SqliteDriver::NextObjectId() {
  m_Transaction.CheckUndone();
  sto_SqliteStatement::Use use(m_GetMeta);
  if (!use.Bind(1, std::string_view("next_object_id")).Step() || use.Integer(0) < 1)
    sto_Raise(sto_ErrorKind::Damaged,
              m_Connection->Path() + ": The store's next object id is missing or invalid.");
  // Checked for writing only: a damaged pack may seem to have objects that never existed, and the others can
  // still be read.
  if (std::int64_t const greatest = m_GivesOutIds ? m_Objects.GreatestId() : 0; greatest >= use.Integer(0))
    sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store's next object id, " +
                                          std::to_string(use.Integer(0)) + ", is not after object " +
                                          std::to_string(greatest) + ".");
  return use.Integer(0);
}

void sto_SqliteDriver::SetNextObjectId(std::int64_t id) {
  BeforeWriting();
  sto_SqliteStatement::Use(m_SetMeta).Bind(1, std::string_view("next_object_id")).Bind(2, id).Step();
}

std::vector<sto_ClassRow> sto_SqliteDriver::Classes() {
  m_Transaction.CheckUndone();
  sto_SqliteStatement statement(*m_Connection, "SELECT class_id, version, name, base_class_id FROM class");
  sto_SqliteStatement::Use use(statement);
  std::vector<sto_ClassRow> rows;
  for (use.AllowAllRows(); use.Step();)
    rows.push_back({static_cast<unsigned int>(use.Integer(0)),
                    static_cast<int>(use.Integer(1)),
                    use.Text(2),
                    static_cast<unsigned int>(use.Integer(3)),
                    {}});
  if (m_FormatVersion > sto_Format::VersionWithoutAttributes) ReadAttributes(rows);
  return rows;
}

void sto_SqliteDriver::ReadAttributes(std::vector<sto_ClassRow>& classes) {
  std::map<std::pair<std::int64_t, std::int64_t>, sto_ClassRow*> byVersion;
  for (sto_ClassRow& row : classes) byVersion[{row.m_ClassId, row.m_Version}] = &row;
  // One statement for all classes, so that its count of steps ends it on a damaged tree.
  sto_SqliteStatement statement(*m_Connection,
                                "SELECT class_id, version, name, field_id, type, type_arg, collection_type "
                                "FROM attribute ORDER BY class_id, version, name");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    auto const found = byVersion.find({use.Integer(0), use.Integer(1)});
    if (found == byVersion.end()) continue;
    found->second->m_Attributes.push_back(
        {use.Text(2), static_cast<int>(use.Integer(3)), static_cast<int>(use.Integer(4)),
         static_cast<unsigned int>(use.Integer(5)), static_cast<int>(use.Integer(6))});
  }
}

void sto_SqliteDriver::WriteClass(sto_ClassRow const& row) {
  BeforeWriting();
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
  m_Transaction.CheckUndone();
  sto_SqliteStatement statement(*m_Connection, "SELECT id, text FROM name");
  sto_SqliteStatement::Use use(statement);
  std::vector<sto_NameRow> rows;
  for (use.AllowAllRows(); use.Step();) {
    // No sound store reaches this number. A row there would leave no number for the next name.
    if (use.Integer(0) < 1 || use.Integer(0) > sto_Format::MaxObjectId)
      sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store's attribute names are damaged.");
    rows.push_back({use.Integer(0), use.Text(1)});
  }
  return rows;
}

void sto_SqliteDriver::AddName(sto_NameRow const& row) {
  BeforeWriting();
  sto_SqliteStatement::Use(m_AddName).Bind(1, row.m_Id).Bind(2, std::string_view(row.m_Text)).Step();
}

bool sto_SqliteDriver::ReadObject(std::int64_t id, unsigned int& classId, sto_Bytes& record) {
  m_Transaction.CheckUndone();
  return m_Objects.Read(id, classId, record);
}
bool sto_SqliteDriver::HasObject(std::int64_t id) {
  m_Transaction.CheckUndone();
  return m_Objects.Has(id);
}
bool sto_SqliteDriver::WriteObject(std::int64_t id, unsigned int classId, sto_ByteView record) {
  m_Transaction.CheckOpen();
  return m_Objects.Write(id, classId, record);
}
void sto_SqliteDriver::DeleteObject(std::int64_t id) {
  m_Transaction.CheckOpen();
  m_Objects.Delete(id);
}
std::vector<std::int64_t> sto_SqliteDriver::ObjectIds(std::int64_t first, std::int64_t last) {
  m_Transaction.CheckUndone();
  return m_Objects.Ids(first, last);
}
std::int64_t sto_SqliteDriver::ObjectCount() {
  m_Transaction.CheckUndone();
  return m_Objects.Count();
}

bool sto_SqliteDriver::ReadBlock(std::int64_t key, sto_Bytes& data) {
  m_Transaction.CheckUndone();
  return m_Blocks.Read(key, data);
}
bool sto_SqliteDriver::ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  m_Transaction.CheckUndone();
  return m_Blocks.ReadInto(key, data, end);
}
void sto_SqliteDriver::ReadBlocks(std::int64_t first, std::int64_t last, sto_BlockSink& sink) {
  m_Transaction.CheckUndone();
  m_Blocks.ReadRange(first, last, sink);
}
bool sto_SqliteDriver::HasBlock(std::int64_t key) {
  m_Transaction.CheckUndone();
  return m_Blocks.Has(key);
}
void sto_SqliteDriver::WriteBlock(std::int64_t key, sto_ByteView data) {
  BeforeWriting();
  m_Blocks.Write(key, data);
}
void sto_SqliteDriver::WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) {
  BeforeWriting();
  m_Blocks.WriteRange(first, blocks);
}
void sto_SqliteDriver::OverwriteBlock(std::int64_t key, sto_ByteView data) {
  BeforeWriting();
  m_Blocks.Overwrite(key, data);
}
void sto_SqliteDriver::DeleteBlocks(std::int64_t first, std::int64_t last) {
  BeforeWriting();
  m_Blocks.Delete(first, last);
}

std::optional<std::int64_t> sto_SqliteDriver::FindRoot(std::string_view name) {
  m_Transaction.CheckUndone();
  return m_Roots.Find(name);
}
void sto_SqliteDriver::SetRoot(std::string_view name, std::int64_t id) {
  m_Transaction.CheckOpen();
  m_Roots.Set(name, id);
}
bool sto_SqliteDriver::RemoveRoot(std::string_view name) {
  m_Transaction.CheckOpen();
  return m_Roots.Remove(name);
}
bool sto_SqliteDriver::RenameRoot(std::string_view from, std::string_view to) {
  m_Transaction.CheckOpen();
  return m_Roots.Rename(from, to);
}
std::vector<std::string> sto_SqliteDriver::Roots() {
  m_Transaction.CheckUndone();
  return m_Roots.Names();
}

std::int64_t sto_SqliteDriver::SizeBytes() {
  m_Transaction.CheckUndone();
  return m_Connection->SizeBytes();
}

void sto_SqliteDriver::CopyTo(std::string const& location) {
  m_Transaction.CheckUndone();
  sto_SqliteCopy copy(*m_Connection, location);
  CheckFixedState(); // otherwise the copy may mix two states
  copy.Publish();
}
