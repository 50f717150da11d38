#include "store/agents/sto_CollectionAgent.h"

#include <algorithm>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_CollectionFields.h"
#include "store/session/sto_OwnTransaction.h"

sto_CollectionAgent::sto_CollectionAgent(sto_Session& session, std::int64_t id)
    : sto_OpenCollection(id), m_Session(&session), m_Location(session.Location()) {}

sto_CollectionAgent::~sto_CollectionAgent() {
  if (m_Session == nullptr) return;
  if (m_IsRegistered)
    m_Session->Collections().Remove(*this);
  else
    m_Session->Collections().Untouch(*this);
}

void sto_CollectionAgent::Register() {
  m_Session->Collections().Add(*this);
  m_IsRegistered = true;
}

sto_Session& sto_CollectionAgent::Session() const {
  if (m_IsLost) RaiseLost();
  if (m_Session == nullptr)
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Location + ": " + Describe() + " cannot be reached any more: its store was closed.");
  return *m_Session;
}

void sto_CollectionAgent::RaiseLost() const {
  sto_Raise(sto_ErrorKind::Unavailable, m_Location + ": " + Describe() +
                                            " was made in work that was undone: its elements are not in the "
                                            "store any more and not in memory. Make it anew.");
}

void sto_CollectionAgent::RaiseStale() const {
  Session().Raise(sto_ErrorKind::Conflict,
                  Describe() + " was changed by another session since it was looked at here. Load its object "
                               "again, or refresh it, and repeat the change.");
}

void sto_CollectionAgent::KeepFailure() const noexcept {
  if (m_Session != nullptr) m_Session->Keep(std::current_exception());
}

void sto_CollectionAgent::StartNew(int sizeHint) {
  m_SizeHint = sizeHint;
  m_ReadAtChange = m_Session->ChangeCounter();
  m_Session->Changes().NoteMade(Id(), m_Session->Save().Number());
  m_MadeInTransaction = m_Session->TransactionNumber();
  m_MadeInSave = m_Session->Save().Number();
  NoteChanged();
}

void sto_CollectionAgent::TakeStored(sto_RecordRef const& record) {
  TakeRecord(record, true);
  m_SeenChange = m_Change;
  if (sto_ChangeNotes::ListAtBegin const* const before = m_Session->Changes().FindAtBegin(Id());
      before != nullptr) {
    m_AtBegin = {before->m_Change, before->m_Change, m_Session->TransactionNumber(), false};
    if (before->m_IsMade) m_MadeInTransaction = m_Session->TransactionNumber();
    m_MadeInSave = before->m_MadeInSave;
  }
  // Also for a collection that no agent made: a plain list, or a copy from another store.
  if (m_Session->IsNewInTransaction(Id())) m_MadeInTransaction = m_Session->TransactionNumber();
  if (m_Session->Save().IsGoingOn() && m_Session->Save().IsNew(Id()))
    m_MadeInSave = m_Session->Save().Number();
}

void sto_CollectionAgent::TakeRecord(sto_RecordRef const& record, bool isFirst) {
  if (m_Session->IsWriting()) m_Session->Collections().NoteTouched(*this); // it may read what is undone later
  sto_Part const& part = record->Parts().front();
  std::int64_t const change = m_Session->Changes().Version(Id());
  m_IsTakingForeign = !isFirst && change != m_Change;
  int const count = TakeContent(record);
  m_SizeHint = sto_CollectionFields::SizeHint.Read(part).value_or(count);
  m_Change = change;
  if (m_IsTakingForeign) ++m_Foreign;
  m_ReadAtChange = m_Session->ChangeCounter();
  if (IsInSave()) m_ReadInSave = m_Session->Save().Number();
}

void sto_CollectionAgent::Synchronise() {
  sto_Session& session = Session();
  if (m_ReadAtChange == session.ChangeCounter() || Id() == 0) return;
  sto_RecordRef const record = session.Records().Read(Id());
  if (record == nullptr)
    session.Raise(sto_ErrorKind::NotFound, Describe() + " is not in the store any more.");
  TakeRecord(record, false);
}

void sto_CollectionAgent::NoteTouched() {
  m_Session->Collections().NoteTouched(*this);
  std::int64_t const transaction = m_Session->TransactionNumber();
  if (m_Session->Keeping() == sto_Keeping::Handles && m_TouchedInTransaction != transaction) {
    static_cast<void>(KeepAtBegin(sto_Keeping::Handles));
    m_TouchedInTransaction = transaction;
  }
  if (IsInSave() && m_TouchedInSave != m_Session->Save().Number()) {
    ForgetKeptAtMark(); // left over from a failure here
    KeepAtMark();
    m_TouchedInSave = m_Session->Save().Number();
  }
}

void sto_CollectionAgent::PrepareChange() {
  NoteTouched();
  std::int64_t const transaction = m_Session->TransactionNumber();
  if (m_AtBegin.m_Of != transaction) {
    m_Session->Changes().NoteAtBegin(Id(), KnownCount(), m_Change);
    m_AtBegin = {m_Change, m_SeenChange, transaction, false};
  }
  if (IsInSave() && m_AtMark.m_Of != m_Session->Save().Number())
    m_AtMark = {m_Change, m_SeenChange, m_Session->Save().Number(), m_IsPending};
}

bool sto_CollectionAgent::WasPendingAtMark() const noexcept {
  return m_AtMark.m_Of == m_Session->Save().Number() ? m_AtMark.m_IsPending : m_IsPending;
}

void sto_CollectionAgent::MarkChanged() noexcept {
  if (m_IsPending) return;
  m_IsPending = true;
  std::int64_t const before = std::exchange(m_Change, m_Session->Changes().NewVersion());
  if (m_SeenChange == before) m_SeenChange = m_Change; // an earlier unseen change stays unseen
}

void sto_CollectionAgent::CheckWriting() const {
  if (!Session().IsWriting())
    Session().Raise(sto_ErrorKind::Misuse,
                    Describe() +
                        " is written in a transaction that only reads, or while an object is being loaded.");
}

void sto_CollectionAgent::WritePendingRecord() {
  if (IsInSave()) PrepareChange(); // undoing the save undoes this, too
  sto_ClassInUse& inUse = m_Session->ClassToWrite(StoredClassId());
  cls_ClassMetadata const& metadata = inUse.Metadata();
  sto_RecordBuilder builder;
  builder.AddPart(metadata.ClassId(), metadata.Version(), Id());
  sto_CollectionFields::SizeHint.Write(builder, m_SizeHint);
  PutContent(builder);
  auto const [shape, values] = m_Session->ToWrite(builder, &inUse);
  if (values.size() > sto_Format::MaxValueBytes)
    m_Session->Raise(sto_ErrorKind::Full, Describe() + " takes " + std::to_string(values.size()) +
                                              " bytes; at most " + std::to_string(sto_Format::MaxValueBytes) +
                                              " can be stored.");
  m_Session->WriteObject(Id(), {shape, values});
  m_Session->Changes().SetVersion(Id(), m_Change);
  m_IsPending = false;
}

bool sto_CollectionAgent::IsMadeInSave() const noexcept {
  return m_Session->Save().IsGoingOn() && m_MadeInSave == m_Session->Save().Number();
}

bool sto_CollectionAgent::IsMadeInTransaction() const noexcept {
  return m_Session->IsWriting() && m_MadeInTransaction == m_Session->TransactionNumber();
}

bool sto_CollectionAgent::AskChanged() {
  sto_OwnTransaction const transaction(Session(), false);
  Synchronise();
  NoteShown();
  bool const isChanged = RefreshHolders(m_SeenChange == m_Change);
  m_SeenChange = m_Change;
  return isChanged;
}

bool sto_CollectionAgent::IsReadOnly() const {
  if (IsClosed()) return true;
  if (m_IsLost) return IsLettingGo(); // a flush must raise, except when the array is being destroyed anyway
  return Id() == 0 || m_Session->Driver().IsReadOnly();
}

void sto_CollectionAgent::EndOfFlush() {
  if (m_IsLost || IsClosed() || !IsLettingGo() || !m_Session->IsWriting()) return;
  try {
    WriteRecord();
  } catch (...) {
    KeepFailure();
  }
}

void sto_CollectionAgent::Hold(cls_PC* holder) {
  sto_HolderSlot& slot = m_Holders.FreeSlot();
  slot.m_SeenForeign = m_Foreign;
  slot.m_AtBegin = slot.m_AtMark = {};
  slot.m_HeldInTransaction = slot.m_HeldInSave = 0;
  slot.m_Array = ArrayOf(*holder);
  if (m_Session != nullptr && !m_IsLost) {
    if (m_Session->IsWriting()) {
      NoteTouched();
      slot.m_HeldInTransaction = m_Session->TransactionNumber();
      slot.m_HeldInSave = IsInSave() ? m_Session->Save().Number() : 0;
    }
    NoteHolder(*holder, slot);
  }
  slot.Link(holder);
}

void sto_CollectionAgent::Release() noexcept {
  --m_References;
  m_Holders.Prune();
}

bool sto_CollectionAgent::IsHeldBy(void const* container) const noexcept {
  bool isHeld = false;
  m_Holders.ForEach([&](cls_PC const& holder, sto_HolderSlot const&) {
    isHeld = isHeld || dynamic_cast<void const*>(&holder) == container;
  });
  return isHeld;
}

void sto_CollectionAgent::FlushHolders() {
  m_Holders.Flush();
}

void sto_CollectionAgent::KeepForRollback() {
  if (!m_IsLost && KeepAtBegin(sto_Keeping::Copies)) m_Session->Collections().NoteTouched(*this);
}

void sto_CollectionAgent::ForgetBegin() noexcept {
  ForgetKeptAtMark();
  ForgetKeptAtBegin();
}

void sto_CollectionAgent::NoteIdentity(bool isRollback) noexcept {
  if (m_IsLost || m_Identity) return;
  bool const isGone = isRollback ? m_MadeInTransaction == m_Session->TransactionNumber()
                                 : m_MadeInSave == m_Session->Save().Number();
  if (cls_UidCatalogEntry* const entry = isGone ? m_Session->Identities().EntryOf(Id()) : nullptr)
    m_Identity.emplace(entry);
}

void sto_CollectionAgent::Restore(State const& before) noexcept {
  m_Change = before.m_Change;
  m_SeenChange = before.m_SeenChange;
}

void sto_CollectionAgent::Outdate() noexcept {
  m_IsPending = false;
  m_ReadAtChange = -1; // the next operation reads the record again
  ForgetBlocks();
}

void sto_CollectionAgent::UndoSave() noexcept {
  if (m_IsLost) return;
  std::int64_t const save = m_Session->Save().Number();
  bool const isWritten = m_AtMark.m_Of == save;
  if (!UndoesInMemory() || m_MadeInSave == save || m_ReadInSave == save) {
    Outdate();
  } else if (isWritten) {
    UndoInMemory();
    m_IsPending = m_AtMark.m_IsPending;
    ForgetBlocks();
  }
  if (isWritten) Restore(m_AtMark);
  m_AtMark.m_Of = 0;
  if (m_MadeInSave == save) {
    PutBackAtBegin(true); // the only image of what was in memory before the save
    return Lose();
  }
  if (m_TouchedInSave == save) PutBackAtMark();
  ForgetKeptAtMark();
}

void sto_CollectionAgent::UndoTransaction(sto_Keeping kept) noexcept {
  if (m_IsLost) return;
  std::int64_t const transaction = m_Session->TransactionNumber();
  bool const isWritten = m_AtBegin.m_Of == transaction;
  Outdate();
  if (isWritten) Restore(m_AtBegin);
  m_AtBegin.m_Of = m_AtMark.m_Of = 0;
  bool const isGone = m_MadeInTransaction == transaction;
  if (kept == sto_Keeping::Copies || (kept == sto_Keeping::Handles && m_TouchedInTransaction == transaction))
    PutBackAtBegin(isGone);
  ForgetBegin();
  if (isGone) Lose();
}

void sto_CollectionAgent::Lose() noexcept {
  ForgetBegin();
  m_IsLost = true;
  m_IsPending = false;
  m_Session->Collections().ForgetId(*this); // another object may get the id
  if (m_References == 0 && HolderCount() == 0 && IsOwnedByHolders()) delete this;
}

void sto_CollectionAgent::CloseSession() noexcept {
  try {
    FlushHolders();
  } catch (...) { // there is no one left to report it to; elements in memory stay there
  }
  ForgetBegin();
  // An agent that was never referenced belongs to the program that uses it.
  bool const isOurs = m_References > 0 || HolderCount() > 0 || IsOwnedByHolders();
  ++m_References; // so that meanwhile no container flushes again or deletes the agent
  if (!m_IsLost) m_Holders.Detach();
  m_Session->Collections().Remove(*this);
  m_IsRegistered = false;
  m_Session = nullptr;
  if (--m_References == 0 && isOurs) delete this;
}
