#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockCodec.h"
#include "store/sqlite/sto_SqliteCheck.h"
#include "store/sqlite/sto_SqliteCompact.h"
#include "store/sqlite/sto_SqliteDriver.h"

// The parts of the driver that look at all rows of a store.

namespace {

/// Raises what a walk finds, and what does not fit its checksum.
class Verifier final : public sto_StorageVisitor {
 public:
  Verifier(sto_SqliteConnection const& connection, sto_WalkMeter& work) noexcept
      : m_Connection(connection), m_Work(work) {}

  void Find(sto_CheckFinding&& finding) override { Raise(finding.m_Text); }
  void TakeRecord(std::int64_t id, sto_StoredRecord& record) override {
    m_Work.Object();
    if (!record.m_IsSound)
      Raise("The record of object " + std::to_string(id) + " does not fit its checksum.");
  }
  void TakeBlock(std::int64_t key, sto_ByteView data) override {
    m_Work.Block(key);
    if (!sto_BlockCodec::IsSound(key, data))
      Raise("A block of object " + std::to_string(key >> sto_Format::BlockIndexBits) +
            " does not fit its checksum.");
  }
  void TakeIndexEntry(std::int64_t /*number*/, sto_IndexEntry const& entry, bool isSound) override {
    if (!isSound)
      Raise("The entry of object " + std::to_string(entry.m_Id) + " in an index does not fit its checksum.");
  }
  [[noreturn]] void Raise(std::string const& problem) const {
    sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": " + problem);
  }

 private:
  sto_SqliteConnection const& m_Connection;
  sto_WalkMeter& m_Work;
};

} // namespace

void sto_SqliteDriver::BeginWalk() {
  CheckFixedState();
  m_Transaction.Begin(false);
  m_GivesOutIds = false;
  try {
    try {
      CheckHeader();
      CheckSave();
    } catch (sto_Exception const& failure) {
      if (failure.Kind() != sto_ErrorKind::Damaged) throw; // otherwise the walk finds it
    }
    m_Mark.Forget();
    m_Objects.Begin(false, 0);
    if (m_OldObjects) m_OldObjects->Drop();
    m_Roots.Drop();
    m_Indexes.Drop();
    m_Blocks.Begin(false);
  } catch (...) {
    Rollback();
    throw;
  }
}

std::unique_ptr<sto_StorageWalk> sto_SqliteDriver::NewWalk(sto_StorageVisitor& visitor) {
  m_Transaction.CheckUndone();
  std::optional<sto_SqliteCheck::Pending> pending;
  m_Objects.EndScan();
  if (m_GivesOutIds) { // bring the file to the state that the transaction shows
    m_Objects.Flush();
    m_Roots.Flush();
    m_Indexes.Flush();
    m_Blocks.FinishTransaction();
    pending = {m_Save.m_Number, m_Changes.Sum()};
  }
  return std::make_unique<sto_SqliteCheck>(*m_Connection, m_FormatVersion, m_Header.m_Uuid, pending, visitor);
}

void sto_SqliteDriver::VerifyRows(sto_WalkMeter& work) {
  Verifier verifier(*m_Connection, work);
  std::unique_ptr<sto_StorageWalk> const walk = NewWalk(verifier);
  walk->Tables();
  walk->Objects();
  walk->Records();
  walk->Blocks();
  walk->IndexEntries();
  if (walk->IsSumRight() != true) verifier.Raise("The sum over the store is not that of its newest save.");
}

std::int64_t sto_SqliteDriver::BeginCompactWork(sto_Meter* meter) {
  if (meter == nullptr) return 0;
  sto_SqliteStatement statement(*m_Connection, "SELECT count(key) FROM block");
  sto_SqliteStatement::Use use(statement);
  std::int64_t const blockRows = use.AllowAllRows().Step() ? use.Integer(0) : 0;
  std::int64_t const rows = m_Objects.Count() + blockRows;
  meter->Begin(3 * rows); // verified, copied, verified again
  meter->BeginPart(rows);
  return rows;
}

void sto_SqliteDriver::Compact(sto_Meter* meter) {
  sto_WalkMeter work(meter);
  std::int64_t rows = 0;
  Begin({.m_ForWriting = true});
  try {
    rows = BeginCompactWork(meter);
    sto_SqliteCompact::ReturnMovedBlocks(*m_Connection);
    m_Blocks.Begin(false); // what it knew of moved blocks is over
    VerifyRows(work);
    m_Transaction.Commit(); // without an entry in the log: the content is the same
  } catch (...) {
    Rollback();
    if (meter != nullptr) meter->RaiseStopped(); // as it is, also if it looks like damage
    throw;
  }
  m_Blocks.Close();
  m_Transaction.PrepareAgain(); // SQLite forgets statements when it writes the file anew
  work.BeginPart(rows);
  sto_SqliteCompact::WriteAnew(*m_Connection, meter);
  if (meter != nullptr) meter->IgnoreAnswers();
  work.BeginPart(rows);
  Begin({});
  try {
    VerifyRows(work);
    if (meter != nullptr) meter->End();
  } catch (...) {
    Rollback();
    if (meter != nullptr) meter->RaiseStopped(); // as it is, also if it looks like damage
    throw;
  }
  Rollback();
}
