#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/driver/sto_Driver.h"
#include "store/server/sto_ServerBlocks.h"
#include "store/server/sto_ServerIds.h"
#include "store/server/sto_ServerLink.h"
#include "store/server/sto_ServerNamed.h"
#include "store/server/sto_ServerObjects.h"
#include "store/sto_Options.h"

/// A store on a server, which many sessions write beside each other. docs/server.md describes the protocol.
///
/// A transaction sees the state at its beginning, and holds nothing on the server. What it writes stays in memory until
/// it commits. A commit raises Conflict if another session has changed the same objects, lists or roots since; changes
/// of different objects that share a row are merged.
///
/// A commit whose answer is lost is resolved with the server: it is committed, or given up for ever. If the server
/// cannot be reached for that, Commit raises Unavailable and can be called again; the next call, or the next
/// transaction, resolves it.
class sto_ServerDriver final : public sto_Driver {
 public:
  sto_ServerDriver(std::unique_ptr<sto_ServerLink> link, bool readOnly, sto_Options const& options);
  ~sto_ServerDriver() override;

  [[nodiscard]] bool IsReadOnly() const noexcept override { return m_IsReadOnly; }
  [[nodiscard]] std::size_t RecordsAhead() const noexcept override { return NetworkRecords; }
  sto_Begun Begin(sto_BeginRequest const& request) override;
  void Commit() override;
  void Rollback() noexcept override;
  [[nodiscard]] bool IsInTransaction() const noexcept override { return m_IsOpen; }
  void SetMark() override;
  void ReleaseMark() override;
  void RollbackToMark() override;
  void SetNote(std::string_view note) override { m_Note = note; }
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
  /// What the open transaction sends when it commits.
  struct Changes {
    sto_ServerObjects::Changes m_Objects;
    sto_ServerBlocks::Changes m_Blocks;
    sto_ServerNamed::Changes m_Named;
    [[nodiscard]] bool AreNone() const noexcept;
  };
  [[nodiscard]] Changes FindChanges();
  [[nodiscard]] sto_ServerSave SaveOf(Changes const& changes) const;
  void Send(Changes const& changes, sto_ServerDraft const& draft);
  /// Sends and commits; merges what others have changed. Raises Conflict.
  void CommitChanges();
  /// Takes over what others have changed of packs in which this transaction has changed other objects, and leaves out
  /// what they have described in the same way. Raises Conflict if they changed the same, or anything else.
  void Merge(sto_ServerSave& save, Changes& changes, std::vector<sto_ConflictUnit> const& conflicts);
  [[noreturn]] void RaiseConflict(sto_Conflicts conflicts, std::string const& also);
  /// The commit has succeeded.
  void Finish(std::int64_t save);
  /// Finds out what became of the draft whose commit got no answer; true if it is committed.
  [[nodiscard]] bool ResolveDoubt();
  void EndTransaction() noexcept;
  void RequireOpen() const;
  [[noreturn]] void RaiseUnfit(std::string const& what) const;
  template <class Row> [[nodiscard]] std::vector<Row> AllOf(sto_NamedKind kind, char const* table);
  template <class Row> void WriteNamed(Row const& row) { m_Named.Write(sto_NameOf(row), m_Rows.Encode(row)); }
  [[nodiscard]] std::optional<sto_ServerRoot> RootOf(std::string_view name);

  std::unique_ptr<sto_ServerLink> m_Link;
  bool m_IsReadOnly;
  std::int64_t m_AtSave;
  std::string m_Program;
  sto_ServerRows m_Rows;
  sto_ServerObjects m_Objects;
  sto_ServerBlocks m_Blocks;
  sto_ServerNamed m_Named;
  sto_ServerIds m_Ids;
  std::int64_t m_NewestSave = 0;
  std::int64_t m_Counter = 0;
  std::int64_t m_KnownSave =
      -1; // the newest save when the counter was changed last, or that this session has made
  std::optional<sto_ServerDraft> m_Doubt; // a commit of it got no answer

  // Of the open transaction.
  bool m_IsOpen = false, m_IsWriting = false;
  sto_ServerState m_State;
  std::string m_Note;
  bool m_HasIndexes = false;
  bool m_NeedsAll = false; // it has regarded all objects
  bool m_HasUsedIds = false;
  std::exception_ptr m_Refused; // the conflict of an earlier Commit
};
