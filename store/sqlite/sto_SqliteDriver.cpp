#include "store/sqlite/sto_SqliteDriver.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/sqlite/sto_SqliteCopy.h"
#include "store/sqlite/sto_SqliteSchemaCheck.h"
#include "store/sqlite/sto_SqliteUpgrade.h"

sto_SqliteDriver::LogFolder::~LogFolder() {
  if (!m_Path.empty()) sto_FoldSqliteLog(m_Path);
}

std::unique_ptr<sto_Driver> sto_SqliteDriver::Create(std::string const& path, sto_Options const& options) {
  sto_SqliteOpening opening{sto_CreateSqlite(path, options), std::nullopt};
  return std::unique_ptr<sto_Driver>(new sto_SqliteDriver(std::move(opening), false, options));
}

std::unique_ptr<sto_Driver> sto_SqliteDriver::Open(std::string const& path, bool readOnly,
                                                   sto_Options const& options) {
  readOnly = readOnly || options.m_AtSave != 0;
  std::unique_ptr<sto_SqliteDriver> driver(
      new sto_SqliteDriver(sto_OpenSqlite(path, readOnly, options), readOnly, options));
  if (!readOnly) driver->BringUpToDate(options.m_Upgrade);
  return driver;
}

std::unique_ptr<sto_Driver> sto_SqliteDriver::OpenUnfinished(std::string const& path,
                                                             std::string const& program) {
  sto_Options options;
  options.m_Program = program;
  std::unique_ptr<sto_SqliteDriver> driver(
      new sto_SqliteDriver(sto_OpenSqlite(path, false, options, true), false, options));
  driver->BringUpToDate(true);
  return driver;
}

sto_SqliteDriver::sto_SqliteDriver(sto_SqliteOpening opening, bool readOnly, sto_Options const& options)
    : m_Connection(std::move(opening.m_Connection)), m_FixedState(opening.m_FixedState),
      m_IsReadOnly(readOnly), m_AtSave(options.m_AtSave), m_Program(options.m_Program),
      m_Transaction(*m_Connection), m_ChangeCounter(*m_Connection, "PRAGMA data_version"),
      m_GetMeta(*m_Connection, "SELECT value FROM meta WHERE key = ?"),
      m_HasLog(!m_FixedState && m_Connection->QueryText("PRAGMA journal_mode") == "wal"),
      m_Saves(*m_Connection), m_Catalogue(*m_Connection, m_Changes), m_Notes(*m_Connection, m_Changes),
      m_Objects(*m_Connection, m_Mark, m_Changes), m_Roots(*m_Connection, m_Changes),
      m_Blocks(*m_Connection, m_Changes), m_Indexes(*m_Connection, m_Mark),
      m_Mark(m_Transaction, m_Objects, m_Roots, m_Blocks, m_Indexes, m_Changes) {
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

void sto_SqliteDriver::CheckPlace() const {
  if (m_HasLog && m_Connection->HasMoved()) m_Connection->RaiseMoved();
}

sto_Begun sto_SqliteDriver::Begin(sto_BeginRequest const& request) {
  bool const forWriting = request.m_ForWriting;
  CheckFixedState();
  if (forWriting) CheckPlace();
  m_Transaction.Begin(forWriting);
  m_GivesOutIds = forWriting;
  try {
    CheckHeader();
    CheckSave();
    if (forWriting && !IsOld()) sto_CheckSqliteWriting(*m_Connection, m_Header);
    m_Mark.Forget();
    m_Save = {};
    if (!IsOld()) m_Save.m_Number = m_Saves.ReadNewest().m_Number + 1;
    m_Objects.Begin(forWriting, m_Save.m_Number);
    if (IsOld()) m_OldObjects->Drop();
    m_Roots.Drop();
    m_Indexes.Drop();
    m_Blocks.Begin(!m_HasLog);
    m_Save.m_NextObjectId = NextObjectId();
    m_Objects.SetFirstNewId(m_Save.m_NextObjectId);
    m_Changes.Begin(m_Save.m_NextObjectId, IsOld() ? sto_ContentSum() : m_Saves.ReadNewest().m_Sum);
    m_Note.clear();
    m_IsSaveWritten = false;
    m_NewestSave = IsOld() ? 0 : m_Save.m_Number - 1;
    m_CountedBefore = sqlite3_total_changes64(m_Connection->Handle());
    return {m_CheckedAt, m_Save.m_NextObjectId, request.m_Root ? FindRoot(*request.m_Root) : std::nullopt,
            m_Indexes.AreThere()};
  } catch (...) {
    Rollback();
    throw;
  }
}

void sto_SqliteDriver::CheckHeader() {
  std::int64_t const counter = ChangeCounter();
  if (counter == m_CheckedAt) return;
  m_Saves.Forget();
  ReadHeader();
  m_CheckedAt = counter; // last: reading may fail
}

void sto_SqliteDriver::CheckSave() {
  if (m_AtSave == 0) return;
  std::int64_t const newest = IsOld() ? 0 : m_Saves.ReadNewest().m_Number;
  if (newest == m_AtSave) return;
  sto_Raise(sto_ErrorKind::NotFound,
            m_Connection->Path() + ": The state of save " + std::to_string(m_AtSave) + " is not there: " +
                (newest == 0 ? "a store of an older format has no saves."
                             : "the store has that of save " + std::to_string(newest) +
                                   ", and a file keeps the newest state only."));
}

void sto_SqliteDriver::ReadHeader() {
  m_FormatVersion = m_Connection->QueryInteger("PRAGMA user_version");
  sto_CheckSqliteVersion(*m_Connection, m_FormatVersion);
  m_OldObjects.reset();
  m_OldBlocks.reset();
  bool const isPresent = m_FormatVersion > sto_Format::VersionWithoutShapes;
  m_Header = isPresent ? sto_ReadSqliteHeader(*m_Connection) : sto_SqliteHeader();
  sto_CheckSqliteTables(*m_Connection, m_Header);
  m_Saves.Use(m_Header.m_Uuid);
  m_Catalogue.Use(m_FormatVersion, m_Header.m_Uuid);
  m_Notes.Use(m_FormatVersion, m_Header.m_Uuid);
  m_Roots.Use(m_FormatVersion, m_Header.m_Uuid);
  m_Indexes.Use(m_Header.m_Uuid, m_Header.m_HasIndexes);
  if (isPresent) return;
  sto_SqliteObjectTables tables;
  if (m_FormatVersion <= sto_Format::VersionWithoutPacks) tables.m_Pack.clear();
  m_OldObjects.emplace(*m_Connection, tables);
  m_OldBlocks.emplace(*m_Connection, !tables.m_Pack.empty());
}

void sto_SqliteDriver::BringUpToDate(bool mayUpgrade) {
  ReadHeader();
  if (!IsOld()) return;
  if (!mayUpgrade)
    sto_Raise(sto_ErrorKind::ReadOnly,
              m_Connection->Path() + ": The store has format " + std::to_string(m_FormatVersion) +
                  ", which this program reads and does not write. Open it for reading, or with "
                  "sto_Options::m_Upgrade to bring it to format " +
                  std::to_string(sto_Format::Version) +
                  ", which older programs cannot read; sto_Store::CopyTo makes a copy for them first.");
  m_Transaction.Begin(true);
  try {
    ReadHeader(); // another program may have upgraded it
    if (IsOld()) sto_UpgradeSqlite(*m_Connection, m_FormatVersion, m_Objects, m_Blocks, m_Changes, m_Program);
    m_Transaction.Commit();
  } catch (...) {
    Rollback();
    throw;
  }
  m_Transaction.PrepareAgain();
  ReadHeader();
}

void sto_SqliteDriver::Commit() {
  m_Transaction.CheckOpen(); // without a transaction, what is written would be durable at once
  m_Objects.EndScan();
  m_Objects.Flush();
  m_Roots.Flush();
  m_Indexes.Flush();
  m_Blocks.FinishTransaction();
  if (m_OldBlocks) m_OldBlocks->Close();
  WriteSave();
  if (m_IsSaveWritten) CheckPlace();
  m_Transaction.Commit();
  if (m_IsSaveWritten) {
    m_Saves.Keep(m_Save);
    m_NewestSave = m_Save.m_Number;
  }
  ForgetOtherTables();
  CheckFixedState(); // if it changed, the transaction may have read parts of two states
}

void sto_SqliteDriver::NoteOtherTables() noexcept {
  m_HasOtherTables = true;
  m_CheckedAt = -1; // read the header again when the next transaction begins
  m_Header.m_HasIndexes = m_Indexes.AreThere();
}

void sto_SqliteDriver::ForgetOtherTables() noexcept {
  if (std::exchange(m_HasOtherTables, false)) m_Transaction.PrepareAgain();
}

bool sto_SqliteDriver::HasChanges() const noexcept {
  return m_Changes.HasOther() || sqlite3_total_changes64(m_Connection->Handle()) != m_CountedBefore;
}

void sto_SqliteDriver::WriteSave() {
  if (!m_GivesOutIds || !HasChanges()) return;
  m_Save.m_Sum = m_Changes.Sum();
  m_Saves.Write(m_Save, m_Program, m_Note, m_Changes.List());
  m_IsSaveWritten = true;
}

void sto_SqliteDriver::SetNote(std::string_view note) {
  m_Transaction.CheckOpen();
  m_Note = note;
}

std::vector<sto_SaveEntry> sto_SqliteDriver::Saves(std::int64_t first) {
  m_Transaction.CheckUndone();
  return IsOld() ? std::vector<sto_SaveEntry>() : m_Saves.Read(first);
}

std::optional<sto_SaveEntry> sto_SqliteDriver::LastChange(std::string_view root, std::int64_t id) {
  m_Transaction.CheckUndone();
  if (IsOld() || m_Changes.Has(id) || m_Roots.HasChanged(root)) return std::nullopt;
  return m_Saves.LastChange(root, id);
}

std::optional<sto_ChangeList> sto_SqliteDriver::ChangedSince(std::int64_t save) {
  m_Transaction.CheckUndone();
  return IsOld() ? std::nullopt : m_Saves.ReadChanges(save);
}

void sto_SqliteDriver::Rollback() noexcept {
  if (m_IsSaveWritten) m_Saves.Forget(); // a commit that failed in its very last step may be durable
  m_IsSaveWritten = false;
  m_Mark.Forget();
  m_Objects.Drop();
  m_Roots.Drop();
  m_Indexes.Drop();
  m_Blocks.Drop();
  if (m_OldBlocks) m_OldBlocks->Close();
  m_Transaction.Rollback();
  if (m_Transaction.IsUndone()) ForgetOtherTables();
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

std::int64_t sto_SqliteDriver::OldNextObjectId() {
  sto_SqliteStatement::Use use(m_GetMeta);
  if (!use.Bind(1, std::string_view("next_object_id")).Step() || use.Integer(0) < 1)
    sto_Raise(sto_ErrorKind::Damaged,
              m_Connection->Path() + ": The store's next object id is missing or invalid.");
  return use.Integer(0);
}

std::int64_t sto_SqliteDriver::NextObjectId() {
  std::int64_t const next = IsOld() ? OldNextObjectId() : m_Saves.ReadNewest().m_NextObjectId;
  // Checked for writing only: a damaged pack may seem to have objects that never existed, and the others can
  // still be read.
  if (std::int64_t const greatest = m_GivesOutIds ? m_Objects.GreatestId() : 0; greatest >= next)
    sto_Raise(sto_ErrorKind::Damaged, m_Connection->Path() + ": The store's next object id, " +
                                          std::to_string(next) + ", is not after object " +
                                          std::to_string(greatest) + ".");
  return next;
}

sto_IdRange sto_SqliteDriver::TakeIds(std::int64_t /*count*/) {
  m_Transaction.CheckOpen();
  return {m_Save.m_NextObjectId, std::max(m_Save.m_NextObjectId, sto_Format::MaxObjectId + 1)};
}

void sto_SqliteDriver::SetIdsUsed(std::int64_t end) {
  m_Transaction.CheckOpen();
  m_Save.m_NextObjectId = std::max(m_Save.m_NextObjectId, end);
  m_Changes.Other();
}

std::vector<sto_ClassRow> sto_SqliteDriver::Classes() {
  m_Transaction.CheckUndone();
  return m_Catalogue.Classes();
}
void sto_SqliteDriver::WriteClass(sto_ClassRow const& row) {
  BeforeWriting();
  m_Catalogue.WriteClass(row);
}
std::vector<sto_EnumeratorRow> sto_SqliteDriver::Enumerators() {
  m_Transaction.CheckUndone();
  return m_Notes.Enumerators();
}
void sto_SqliteDriver::AddEnumerator(sto_EnumeratorRow const& row) {
  BeforeWriting();
  m_Notes.AddEnumerator(row);
}
std::vector<sto_NoteRow> sto_SqliteDriver::Notes() {
  m_Transaction.CheckUndone();
  return m_Notes.Notes();
}
void sto_SqliteDriver::WriteNote(sto_NoteRow const& row) {
  BeforeWriting();
  m_Notes.WriteNote(row);
}
std::vector<sto_NameRow> sto_SqliteDriver::Names() {
  m_Transaction.CheckUndone();
  return m_Catalogue.Names();
}
void sto_SqliteDriver::AddName(sto_NameRow const& row) {
  BeforeWriting();
  m_Catalogue.AddName(row);
}
std::vector<sto_ShapeRow> sto_SqliteDriver::Shapes() {
  m_Transaction.CheckUndone();
  return m_Catalogue.Shapes();
}
void sto_SqliteDriver::AddShape(sto_ShapeRow const& row) {
  BeforeWriting();
  m_Catalogue.AddShape(row);
}

bool sto_SqliteDriver::ReadObject(std::int64_t id, sto_StoredRecord& record) {
  m_Transaction.CheckUndone();
  return IsOld() ? m_OldObjects->Read(id, record) : m_Objects.Read(id, record);
}
void sto_SqliteDriver::ReadObjects(std::span<std::int64_t const> ids, sto_ObjectSink& sink) {
  sto_StoredRecord record;
  for (std::int64_t const id : ids)
    if (ReadObject(id, record)) sink.Take(id, record);
}
bool sto_SqliteDriver::HasObject(std::int64_t id) {
  m_Transaction.CheckUndone();
  return IsOld() ? m_OldObjects->Has(id) : m_Objects.Has(id);
}
bool sto_SqliteDriver::WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values) {
  m_Transaction.CheckOpen();
  return m_Objects.Write(id, shape, values);
}
void sto_SqliteDriver::DeleteObject(std::int64_t id) {
  m_Transaction.CheckOpen();
  m_Objects.Delete(id);
}
std::vector<std::int64_t> sto_SqliteDriver::ObjectIds(std::int64_t first, std::int64_t last) {
  m_Transaction.CheckUndone();
  return IsOld() ? m_OldObjects->Ids(first, last) : m_Objects.Ids(first, last);
}
std::int64_t sto_SqliteDriver::ObjectCount() {
  m_Transaction.CheckUndone();
  return IsOld() ? m_OldObjects->Count() : m_Objects.Count();
}

std::int64_t sto_SqliteDriver::ObjectsFrom(std::int64_t first, std::vector<sto_ObjectShape>& objects) {
  m_Transaction.CheckUndone();
  return IsOld() ? m_OldObjects->From(first, objects) : m_Objects.From(first, objects);
}

std::vector<sto_IndexRow> sto_SqliteDriver::Indexes() {
  m_Transaction.CheckUndone();
  return m_Indexes.All();
}
void sto_SqliteDriver::AddIndex(sto_IndexRow const& row) {
  BeforeWriting();
  NoteOtherTables(); // first: it may fail in between
  m_Indexes.Add(row);
  NoteOtherTables();
}
void sto_SqliteDriver::DropIndex(std::int64_t number) {
  BeforeWriting();
  NoteOtherTables();
  m_Indexes.Remove(number);
  NoteOtherTables();
}
void sto_SqliteDriver::AddToIndex(std::int64_t number, sto_IndexEntry const& entry) {
  m_Transaction.CheckOpen();
  m_Indexes.AddEntry(number, entry);
}
void sto_SqliteDriver::RemoveFromIndex(std::int64_t number, sto_IndexEntry const& entry) {
  m_Transaction.CheckOpen();
  m_Indexes.RemoveEntry(number, entry);
}
void sto_SqliteDriver::RemoveFromIndexes(std::int64_t id) {
  m_Transaction.CheckOpen();
  m_Indexes.RemoveEntriesOf(id);
}
bool sto_SqliteDriver::FindInIndex(sto_IndexRange const& range, std::size_t limit,
                                   std::vector<sto_IndexEntry>& found) {
  m_Transaction.CheckUndone();
  return m_Indexes.Find(range, limit, found);
}

bool sto_SqliteDriver::ReadBlock(std::int64_t key, sto_Bytes& data) {
  m_Transaction.CheckUndone();
  return m_OldBlocks ? m_OldBlocks->Read(key, data) : m_Blocks.Read(key, data);
}
bool sto_SqliteDriver::ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  m_Transaction.CheckUndone();
  return m_OldBlocks ? m_OldBlocks->ReadInto(key, data, end) : m_Blocks.ReadInto(key, data, end);
}
void sto_SqliteDriver::ReadBlocks(std::span<sto_KeyRange const> ranges, sto_BlockSink& sink) {
  m_Transaction.CheckUndone();
  for (auto const& [first, last] : ranges)
    if (!(m_OldBlocks ? m_OldBlocks->ReadRange(first, last, sink) : m_Blocks.ReadRange(first, last, sink)))
      return;
}
bool sto_SqliteDriver::HasBlocks(std::int64_t first, std::int64_t last) {
  m_Transaction.CheckUndone();
  for (std::int64_t key = first; key <= last; ++key)
    if (!(m_OldBlocks ? m_OldBlocks->Has(key) : m_Blocks.Has(key))) return false;
  return true;
}
void sto_SqliteDriver::WriteBlock(std::int64_t key, sto_ByteView data) {
  BeforeWriting();
  m_Blocks.Write(key, data);
}
void sto_SqliteDriver::WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) {
  BeforeWriting();
  for (sto_Bytes const& block : blocks) m_Blocks.Write(first++, block);
}
void sto_SqliteDriver::OverwriteBlock(std::int64_t key, sto_ByteView data) {
  BeforeWriting();
  m_Blocks.Overwrite(key, data);
}
void sto_SqliteDriver::DeleteBlocks(std::int64_t first, std::int64_t last) {
  m_Transaction.CheckOpen();
  if (!m_Blocks.HasAny(first, last)) return; // most objects have none: they need no mark in the file
  BeforeWriting();
  m_Blocks.Delete(first, last);
}

std::optional<std::int64_t> sto_SqliteDriver::FindRoot(std::string_view name) {
  m_Transaction.CheckUndone();
  std::optional<sto_RootTarget> const target = m_Roots.Find(name);
  return target ? std::optional(target->m_Id) : std::nullopt;
}
void sto_SqliteDriver::SetRoot(std::string_view name, std::int64_t id, unsigned int classId) {
  m_Transaction.CheckOpen();
  m_Roots.Set(name, {id, classId});
}
bool sto_SqliteDriver::RemoveRoot(std::string_view name) {
  m_Transaction.CheckOpen();
  return m_Roots.Remove(name);
}
bool sto_SqliteDriver::RenameRoot(std::string_view from, std::string_view to) {
  m_Transaction.CheckOpen();
  return m_Roots.Rename(from, to);
}
std::vector<sto_RootRow> sto_SqliteDriver::Roots() {
  m_Transaction.CheckUndone();
  return m_Roots.All();
}
std::vector<sto_RootRow> sto_SqliteDriver::RootsFrom(std::string_view prefix) {
  m_Transaction.CheckUndone();
  return m_Roots.From(prefix);
}

std::int64_t sto_SqliteDriver::SizeBytes() {
  m_Transaction.CheckUndone();
  return m_Connection->SizeBytes();
}

sto_StoreInfo sto_SqliteDriver::Info() {
  m_Transaction.CheckUndone();
  sto_StoreInfo info;
  info.m_Format = static_cast<int>(m_FormatVersion);
  info.m_PageBytes = static_cast<int>(m_Connection->QueryInteger("PRAGMA page_size"));
  info.m_ReadersBesideWriter = m_HasLog;
  info.m_HasIndexes = m_Header.m_HasIndexes;
  info.m_SizeBytes = m_Connection->SizeBytes();
  info.m_EndOfIds = m_Save.m_NextObjectId;
  if (IsOld()) return info;
  info.m_Uuid = m_Header.UuidText();
  sto_SqliteSaves::Newest const& newest = m_Saves.ReadNewest();
  info.m_Sum = newest.m_Sum.Hex();
  std::vector<sto_SaveEntry> entries = m_Saves.Read(newest.m_Number);
  if (!entries.empty()) info.m_NewestSave = std::move(entries.back());
  return info;
}

void sto_SqliteDriver::CopyTo(std::string const& location, sto_Meter* meter) {
  m_Transaction.CheckUndone();
  sto_SqliteCopy copy(*m_Connection, location, meter);
  CheckFixedState(); // otherwise the copy may mix two states
  if (meter != nullptr) meter->End();
  copy.Publish();
}
