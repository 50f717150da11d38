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
  explicit Verifier(sto_SqliteConnection const& connection) noexcept : m_Connection(connection) {}

  void Find(sto_CheckFinding&& finding) override { Raise(finding.m_Text); }
  void TakeRecord(std::int64_t id, sto_StoredRecord& record) override {
    if (!record.m_IsSound)
      Raise("The record of object " + std::to_string(id) + " does not fit its checksum.");
  }
  void TakeBlock(std::int64_t key, sto_ByteView data) override {
    if (!sto_BlockCodec::IsSound(key, data))
      Raise("A block of object " + std::to_string(key >> sto_Format::BlockIndexBits) +
            " does not fit its checksum.");
  }
  [[noreturn]] void Raise(std::string const& problem) const {
    sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": " + problem);
  }

 private:
  sto_SqliteConnection const& m_Connection;
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
    m_Blocks.FinishTransaction();
    pending = {m_Save.m_Number, m_Changes.Sum()};
  }
  return std::make_unique<sto_SqliteCheck>(*m_Connection, m_FormatVersion, m_Header.m_Uuid, pending, visitor);
}

void sto_SqliteDriver::VerifyRows() {
  Verifier verifier(*m_Connection);
  std::unique_ptr<sto_StorageWalk> const walk = NewWalk(verifier);
  walk->Tables();
  walk->Objects();
  walk->Records();
  walk->Blocks();
  if (walk->IsSumRight() != true) verifier.Raise("The sum over the store is not that of its newest save.");
}

void sto_SqliteDriver::Compact() {
  Begin({.m_ForWriting = true});
  try {
    sto_SqliteCompact::ReturnMovedBlocks(*m_Connection);
    m_Blocks.Begin(false); // what it knew of moved blocks is over
    VerifyRows();
    m_Transaction.Commit(); // without an entry in the log: the content is the same
  } catch (...) {
    Rollback();
    throw;
  }
  m_Blocks.Close();
  m_Transaction.PrepareAgain(); // SQLite forgets statements when it writes the file anew
  sto_SqliteCompact::WriteAnew(*m_Connection);
  Begin({});
  try {
    VerifyRows();
  } catch (...) {
    Rollback();
    throw;
  }
  Rollback();
}
