#pragma once

#include <memory>
#include <string>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/driver/sto_StorageWalk.h"

/// A driver that forwards to a real one, but fails at a chosen call without forwarding it. The failed call
/// does nothing and the transaction stays open, unless the plan says that the storage rolls it back, as
/// storages do when they are full. Rollback never fails.
class StoreFaultDriver : public sto_Driver {
 public:
  struct Plan {
    int m_CallsLeft = 0;                // the call that fails, from now; 0 if none fails
    bool m_UndoesTransaction = false;   // the failure also undoes the transaction
    bool m_RollbackToMarkFails = false; // in addition
    std::string m_FailedCall;           // the call that failed; empty if none has
    sto_Conflicts m_Conflicts{}; // unless empty, each Commit of what may write raises Conflict with them
  };
  static constexpr char Message[] = "the driver fails";

  StoreFaultDriver(std::unique_ptr<sto_Driver> real, Plan& plan) : m_Real(std::move(real)), m_Plan(plan) {}

  [[nodiscard]] bool IsReadOnly() const noexcept override { return m_Real->IsReadOnly(); }
  [[nodiscard]] std::size_t RecordsAhead() const noexcept override { return m_Real->RecordsAhead(); }
  sto_Begun Begin(sto_BeginRequest const& request) override {
    Step("Begin");
    m_IsWriting = request.m_ForWriting;
    return m_Real->Begin(request);
  }
  void Commit() override {
    Step("Commit");
    if (m_IsWriting && m_Plan.m_Conflicts != sto_Conflicts()) sto_RaiseConflict(Message, m_Plan.m_Conflicts);
    m_Real->Commit();
  }
  void Rollback() noexcept override { m_Real->Rollback(); }
  [[nodiscard]] bool IsInTransaction() const noexcept override { return m_Real->IsInTransaction(); }
  void SetMark() override {
    Step("SetMark");
    m_Real->SetMark();
  }
  void ReleaseMark() override {
    Step("ReleaseMark");
    m_Real->ReleaseMark();
  }
  void RollbackToMark() override {
    if (m_Plan.m_RollbackToMarkFails) Fail();
    m_Real->RollbackToMark();
  }
  void SetNote(std::string_view note) override {
    Step("SetNote");
    m_Real->SetNote(note);
  }
  std::vector<sto_SaveEntry> Saves(std::int64_t first) override {
    Step("Saves");
    return m_Real->Saves(first);
  }
  std::optional<sto_SaveEntry> LastChange(std::string_view root, std::int64_t id) override {
    Step("LastChange");
    return m_Real->LastChange(root, id);
  }
  std::int64_t NewestSave() const noexcept override { return m_Real->NewestSave(); }
  std::optional<sto_ChangeList> ChangedSince(std::int64_t save) override {
    Step("ChangedSince");
    return m_Real->ChangedSince(save);
  }
  std::int64_t ChangeCounter() override {
    Step("ChangeCounter");
    return m_Real->ChangeCounter();
  }
  sto_IdRange TakeIds(std::int64_t count) override {
    Step("TakeIds");
    return m_Real->TakeIds(count);
  }
  void SetIdsUsed(std::int64_t end) override {
    Step("SetIdsUsed");
    m_Real->SetIdsUsed(end);
  }
  std::vector<sto_ClassRow> Classes() override {
    Step("Classes");
    return m_Real->Classes();
  }
  void WriteClass(sto_ClassRow const& row) override {
    Step("WriteClass");
    m_Real->WriteClass(row);
  }
  std::vector<sto_EnumeratorRow> Enumerators() override {
    Step("Enumerators");
    return m_Real->Enumerators();
  }
  void AddEnumerator(sto_EnumeratorRow const& row) override {
    Step("AddEnumerator");
    m_Real->AddEnumerator(row);
  }
  std::vector<sto_NoteRow> Notes() override {
    Step("Notes");
    return m_Real->Notes();
  }
  void WriteNote(sto_NoteRow const& row) override {
    Step("WriteNote");
    m_Real->WriteNote(row);
  }
  std::vector<sto_NameRow> Names() override {
    Step("Names");
    return m_Real->Names();
  }
  void AddName(sto_NameRow const& row) override {
    Step("AddName");
    m_Real->AddName(row);
  }
  std::vector<sto_ShapeRow> Shapes() override {
    Step("Shapes");
    return m_Real->Shapes();
  }
  void AddShape(sto_ShapeRow const& row) override {
    Step("AddShape");
    m_Real->AddShape(row);
  }
  bool ReadObject(std::int64_t id, sto_StoredRecord& record) override {
    Step("ReadObject");
    return m_Real->ReadObject(id, record);
  }
  void ReadObjects(std::span<std::int64_t const> ids, sto_ObjectSink& sink) override {
    Step("ReadObjects");
    m_Real->ReadObjects(ids, sink);
  }
  bool HasObject(std::int64_t id) override {
    Step("HasObject");
    return m_Real->HasObject(id);
  }
  bool WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values) override {
    Step("WriteObject");
    return m_Real->WriteObject(id, shape, values);
  }
  std::int64_t ObjectCount() override {
    Step("ObjectCount");
    return m_Real->ObjectCount();
  }
  std::int64_t ObjectsFrom(std::int64_t first, std::vector<sto_ObjectShape>& objects) override {
    Step("ObjectsFrom");
    return m_Real->ObjectsFrom(first, objects);
  }
  std::vector<sto_IndexRow> Indexes() override {
    Step("Indexes");
    return m_Real->Indexes();
  }
  void AddIndex(sto_IndexRow const& row) override {
    Step("AddIndex");
    m_Real->AddIndex(row);
  }
  void DropIndex(std::int64_t number) override {
    Step("DropIndex");
    m_Real->DropIndex(number);
  }
  void AddToIndex(std::int64_t number, sto_IndexEntry const& entry) override {
    Step("AddToIndex");
    m_Real->AddToIndex(number, entry);
  }
  void RemoveFromIndex(std::int64_t number, sto_IndexEntry const& entry) override {
    Step("RemoveFromIndex");
    m_Real->RemoveFromIndex(number, entry);
  }
  void RemoveFromIndexes(std::int64_t id) override {
    Step("RemoveFromIndexes");
    m_Real->RemoveFromIndexes(id);
  }
  bool FindInIndex(sto_IndexRange const& range, std::size_t limit,
                   std::vector<sto_IndexEntry>& found) override {
    Step("FindInIndex");
    return m_Real->FindInIndex(range, limit, found);
  }
  void DeleteObject(std::int64_t id) override {
    Step("DeleteObject");
    m_Real->DeleteObject(id);
  }
  std::vector<std::int64_t> ObjectIds(std::int64_t first, std::int64_t last) override {
    Step("ObjectIds");
    return m_Real->ObjectIds(first, last);
  }
  bool ReadBlock(std::int64_t key, sto_Bytes& data) override {
    Step("ReadBlock");
    return m_Real->ReadBlock(key, data);
  }
  bool ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) override {
    Step("ReadBlockInto");
    return m_Real->ReadBlockInto(key, data, end);
  }
  void ReadBlocks(std::span<sto_KeyRange const> ranges, sto_BlockSink& sink) override {
    Step("ReadBlocks");
    m_Real->ReadBlocks(ranges, sink);
  }
  bool HasBlocks(std::int64_t first, std::int64_t last) override {
    Step("HasBlocks");
    return m_Real->HasBlocks(first, last);
  }
  void WriteBlock(std::int64_t key, sto_ByteView data) override {
    Step("WriteBlock");
    m_Real->WriteBlock(key, data);
  }
  void WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) override {
    Step("WriteBlocks");
    m_Real->WriteBlocks(first, blocks);
  }
  void OverwriteBlock(std::int64_t key, sto_ByteView data) override {
    Step("OverwriteBlock");
    m_Real->OverwriteBlock(key, data);
  }
  void DeleteBlocks(std::int64_t first, std::int64_t last) override {
    Step("DeleteBlocks");
    m_Real->DeleteBlocks(first, last);
  }
  std::optional<std::int64_t> FindRoot(std::string_view name) override {
    Step("FindRoot");
    return m_Real->FindRoot(name);
  }
  void SetRoot(std::string_view name, std::int64_t id, unsigned int classId) override {
    Step("SetRoot");
    m_Real->SetRoot(name, id, classId);
  }
  bool RemoveRoot(std::string_view name) override {
    Step("RemoveRoot");
    return m_Real->RemoveRoot(name);
  }
  bool RenameRoot(std::string_view from, std::string_view to) override {
    Step("RenameRoot");
    return m_Real->RenameRoot(from, to);
  }
  std::vector<sto_RootRow> Roots() override {
    Step("Roots");
    return m_Real->Roots();
  }
  std::vector<sto_RootRow> RootsFrom(std::string_view prefix) override {
    Step("RootsFrom");
    return m_Real->RootsFrom(prefix);
  }
  std::int64_t SizeBytes() override {
    Step("SizeBytes");
    return m_Real->SizeBytes();
  }
  sto_StoreInfo Info() override {
    Step("Info");
    return m_Real->Info();
  }
  void CopyTo(std::string const& location, sto_Meter* meter) override {
    Step("CopyTo");
    m_Real->CopyTo(location, meter);
  }
  void BeginWalk() override {
    Step("BeginWalk");
    m_Real->BeginWalk();
  }
  std::unique_ptr<sto_StorageWalk> NewWalk(sto_StorageVisitor& visitor) override {
    Step("NewWalk");
    return m_Real->NewWalk(visitor);
  }
  void Compact(sto_Meter* meter) override {
    Step("Compact");
    m_Real->Compact(meter);
  }

 protected:
  /// Each call that can fail begins with this.
  virtual void Step(char const* call) {
    if (m_Plan.m_CallsLeft == 0 || --m_Plan.m_CallsLeft != 0) return;
    m_Plan.m_FailedCall = call;
    if (m_Plan.m_UndoesTransaction) m_Real->Rollback();
    Fail();
  }

 private:
  [[noreturn]] static void Fail() { sto_Raise(sto_ErrorKind::Unavailable, Message); }

  std::unique_ptr<sto_Driver> m_Real;
  Plan& m_Plan;
  bool m_IsWriting = false; // the open transaction may
};
