#pragma once

#include <memory>
#include <optional>

#include "store/driver/sto_Driver.h"
#include "store/driver/sto_WalkMeter.h"
#include "store/sqlite/sto_SqliteBlocks.h"
#include "store/sqlite/sto_SqliteCatalogue.h"
#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteFile.h"
#include "store/sqlite/sto_SqliteHeader.h"
#include "store/sqlite/sto_SqliteIndexes.h"
#include "store/sqlite/sto_SqliteMark.h"
#include "store/sqlite/sto_SqliteNotes.h"
#include "store/sqlite/sto_SqliteObjects.h"
#include "store/sqlite/sto_SqliteOldBlocks.h"
#include "store/sqlite/sto_SqliteOldObjects.h"
#include "store/sqlite/sto_SqliteOpening.h"
#include "store/sqlite/sto_SqliteRoots.h"
#include "store/sqlite/sto_SqliteSaves.h"
#include "store/sqlite/sto_SqliteTransaction.h"
#include "store/sto_Options.h"

/// A store in one SQLite file. docs/store-format.md describes the tables, and the reasons for page size,
/// journal and keys.
///
/// Durability: a rollback journal (or a write-ahead log, see sto_Options) with full synchronisation; the
/// folder is synchronised too when the journal is deleted. So a committed transaction survives the loss of
/// power, as long as the medium keeps what it has acknowledged.
class sto_SqliteDriver : public sto_Driver {
 public:
  /// Creates a store. Conflict when something exists under the name, except an empty file or the leftover of
  /// a creation that was killed (a header of a store or of an empty database, without tables). If several
  /// programs create one store at the same time, one succeeds and the others get Conflict. A failure leaves
  /// no new file behind. With a write-ahead log, a kill in the last moment may leave a complete store without
  /// that log. Misuse for a location with a NUL character and for invalid options; Full; Unavailable, also on
  /// a network file system.
  static std::unique_ptr<sto_Driver> Create(std::string const& path, sto_Options const& options);

  /// Opens the store in an existing file. NotFound: no file, or no store in it. NewerFormat. Damaged:
  /// something in the file does not belong in a store. Misuse for a location with a NUL character and for
  /// invalid options. Unavailable, also for writing on a network file system. Options that are for Create
  /// only are ignored. At a save (sto_Options::m_AtSave) the driver only reads. A store of an older format
  /// can only be read; opening it for writing raises ReadOnly, unless the options say that it is to be
  /// upgraded.
  static std::unique_ptr<sto_Driver> Open(std::string const& path, bool readOnly,
                                          sto_Options const& options = {});

  /// Opens a store that is being made (sto_SqliteSchema::UnfinishedId) for writing; one of an older format is brought
  /// to the present one.
  static std::unique_ptr<sto_Driver> OpenUnfinished(std::string const& path, std::string const& program);

  ~sto_SqliteDriver() override;

  [[nodiscard]] bool IsReadOnly() const noexcept override { return m_IsReadOnly; }
  sto_Begun Begin(sto_BeginRequest const& request) override;
  void Commit() override;
  void Rollback() noexcept override;
  [[nodiscard]] bool IsInTransaction() const noexcept override;
  void SetMark() override;
  void ReleaseMark() override;
  void RollbackToMark() override;
  void SetNote(std::string_view note) override;
  std::vector<sto_SaveEntry> Saves(std::int64_t first) override;
  std::optional<sto_SaveEntry> LastChange(std::string_view root, std::int64_t id) override;
  std::int64_t NewestSave() const noexcept override { return m_NewestSave; }
  std::optional<sto_ChangeList> ChangedSince(std::int64_t save) override;
  std::int64_t ChangeCounter() override;
  sto_IdRange TakeIds(std::int64_t count) override;
  void SetIdsUsed(std::int64_t end) override;
  std::vector<sto_ClassRow> Classes() override;
  void WriteClass(sto_ClassRow const& row) override;
  std::vector<sto_EnumeratorRow> Enumerators() override;
  void AddEnumerator(sto_EnumeratorRow const& row) override;
  std::vector<sto_NoteRow> Notes() override;
  void WriteNote(sto_NoteRow const& row) override;
  std::vector<sto_NameRow> Names() override;
  void AddName(sto_NameRow const& row) override;
  std::vector<sto_ShapeRow> Shapes() override;
  void AddShape(sto_ShapeRow const& row) override;
  bool ReadObject(std::int64_t id, sto_StoredRecord& record) override;
  void ReadObjects(std::span<std::int64_t const> ids, sto_ObjectSink& sink) override;
  bool HasObject(std::int64_t id) override;
  bool WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values) override;
  void DeleteObject(std::int64_t id) override;
  std::vector<std::int64_t> ObjectIds(std::int64_t first, std::int64_t last) override;
  std::int64_t ObjectCount() override;
  std::int64_t ObjectsFrom(std::int64_t first, std::vector<sto_ObjectShape>& objects) override;
  std::vector<sto_IndexRow> Indexes() override;
  void AddIndex(sto_IndexRow const& row) override;
  void DropIndex(std::int64_t number) override;
  void AddToIndex(std::int64_t number, sto_IndexEntry const& entry) override;
  void RemoveFromIndex(std::int64_t number, sto_IndexEntry const& entry) override;
  void RemoveFromIndexes(std::int64_t id) override;
  bool FindInIndex(sto_IndexRange const& range, std::size_t limit,
                   std::vector<sto_IndexEntry>& found) override;
  bool ReadBlock(std::int64_t key, sto_Bytes& data) override;
  bool ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) override;
  void ReadBlocks(std::span<sto_KeyRange const> ranges, sto_BlockSink& sink) override;
  bool HasBlocks(std::int64_t first, std::int64_t last) override;
  void WriteBlock(std::int64_t key, sto_ByteView data) override;
  void WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) override;
  void OverwriteBlock(std::int64_t key, sto_ByteView data) override;
  void DeleteBlocks(std::int64_t first, std::int64_t last) override;
  std::optional<std::int64_t> FindRoot(std::string_view name) override;
  void SetRoot(std::string_view name, std::int64_t id, unsigned int classId) override;
  bool RemoveRoot(std::string_view name) override;
  bool RenameRoot(std::string_view from, std::string_view to) override;
  std::vector<sto_RootRow> Roots() override;
  std::vector<sto_RootRow> RootsFrom(std::string_view prefix) override;
  std::int64_t SizeBytes() override;
  sto_StoreInfo Info() override;
  void CopyTo(std::string const& location, sto_Meter* meter) override;
  void BeginWalk() override;
  std::unique_ptr<sto_StorageWalk> NewWalk(sto_StorageVisitor& visitor) override;
  void Compact(sto_Meter* meter) override;

 private:
  /// Folds the write-ahead log of a read-only session after its connection is closed.
  struct LogFolder {
    std::string m_Path; // empty: nothing to do
    ~LogFolder();
  };

  sto_SqliteDriver(sto_SqliteOpening opening, bool readOnly, sto_Options const& options);

  /// Call in each operation that writes to the file at once.
  void BeforeWriting();
  /// Raises Unavailable when a file that is read without locks has changed.
  void CheckFixedState() const;
  /// NotFound if the driver was opened at a save that is not the newest. REQUIRES: CheckHeader.
  void CheckSave();
  /// ReadOnly if the file is no longer the one under its name. SQLite looks at that itself when it makes a journal,
  /// but not when it writes to a log, and what it writes there would be lost.
  void CheckPlace() const;
  /// Damaged unless all rows fit their checksums, and the sum over the store is right. REQUIRES: an open
  /// transaction.
  void VerifyRows(sto_WalkMeter& work);
  /// Begins the count of the work of Compact, if anybody asks, and returns the size of each of its three parts.
  std::int64_t BeginCompactWork(sto_Meter* meter);
  /// Brings a store of an older format to the present one, or raises ReadOnly.
  void BringUpToDate(bool mayUpgrade);
  /// Reads the version and the header if another session has committed since: it may have upgraded the store,
  /// or used a feature that this program does not know.
  void CheckHeader();
  void ReadHeader();
  [[nodiscard]] std::int64_t OldNextObjectId();
  /// The next free object id. Damaged if it is in use; looked at for writing only.
  [[nodiscard]] std::int64_t NextObjectId();
  /// Whether the open transaction has changed anything.
  [[nodiscard]] bool HasChanges() const noexcept;
  /// Writes the log's entry of the open transaction, if it has changed anything.
  void WriteSave();
  /// The open transaction has made or removed tables, and changed the header.
  void NoteOtherTables() noexcept;
  /// Call when a transaction is over that may have done so.
  void ForgetOtherTables() noexcept;
  /// Whether the store has an older format.
  [[nodiscard]] bool IsOld() const noexcept { return m_OldObjects.has_value(); }

  LogFolder m_LogFolder; // first: it acts after everything else is destroyed
  std::unique_ptr<sto_SqliteConnection> m_Connection;
  std::optional<sto_SqliteFile::State> m_FixedState; // when opened, if the file is read without locks
  bool m_IsReadOnly;
  std::int64_t m_AtSave; // the save whose state is read; 0: the newest
  std::string m_Program; // in the log
  sto_SqliteTransaction m_Transaction;
  sto_SqliteStatement m_ChangeCounter, m_GetMeta;
  // Of the open transaction; Begin sets them.
  bool m_GivesOutIds = false;       // it may write
  std::int64_t m_CountedBefore = 0; // SQLite's count of changed rows then
  sto_SqliteSaves::Newest m_Save;   // the entry that the transaction will write
  std::string m_Note;               // in that entry
  bool m_IsSaveWritten = false;     // it is in the file, but not committed
  bool m_HasOtherTables = false;    // it has made or removed tables
  std::int64_t m_NewestSave = 0;    // see NewestSave; Begin and Commit set it
  // What the file's header says; ReadHeader sets them.
  std::int64_t m_FormatVersion = 0;
  sto_SqliteHeader m_Header;
  std::int64_t m_CheckedAt = -1; // the change counter then; -1: never
  // Of the session.
  bool m_HasLog; // the store has a write-ahead log: readers do not hinder a writer
  // They replace m_Objects and m_Blocks for a store of an older format.
  std::optional<sto_SqliteOldObjects> m_OldObjects;
  std::optional<sto_SqliteOldBlocks> m_OldBlocks;
  sto_SqliteSaves m_Saves;
  sto_SqliteChanges m_Changes;
  sto_SqliteCatalogue m_Catalogue;
  sto_SqliteNotes m_Notes;
  sto_SqliteObjects m_Objects;
  sto_SqliteRoots m_Roots;
  sto_SqliteBlocks m_Blocks;
  sto_SqliteIndexes m_Indexes;
  sto_SqliteMark m_Mark;
};
