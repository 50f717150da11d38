#include "store/session/sto_Session.h"

#include <cassert>
#include <utility>

#include "persist/visitors/cls_FieldHandle.h"
#include "store/base/sto_Exception.h"

sto_Session::sto_Session(std::string location, std::unique_ptr<sto_Driver> driver,
                         cls_ClassRegistrar const& registrar, sto_Options const& options)
    : m_RegistrarLives(registrar.Lifetime()), m_Location(std::move(location)), m_Driver(std::move(driver)),
      m_Catalogue(registrar, m_Location), m_Identities(this), m_Save(*this, m_NewIds),
      m_Residents(new sto_Residents(*this, m_Location)), m_Records(*this, *m_Driver), m_Indexes(*this),
      m_KeptBytes(*this, options.m_MaxKeptBytes), m_IsStrict(options.m_Strict),
      m_Compresses(options.m_Compress) {
  OffersLater(*this);
}

sto_Session::~sto_Session() {
  assert(std::this_thread::get_id() == m_Thread && "A store is closed by the thread that opened it.");
  Rollback();
  try {
    if (m_Process.IsHere() && !m_Driver->IsReadOnly()) Close();
  } catch (...) { // each container then writes what it can by itself, in CloseSession
  }
  m_IsClosing = true;
  m_Residents->Close(); // their objects may have arrays, which let go of their lists
  m_Collections.ForEach([](sto_OpenCollection& each) { each.CloseSession(); });
  *m_Self = nullptr;
  // Closing the connection in a child would undo what the parent has not committed, and write to its file.
  if (!m_Process.IsHere()) static_cast<void>(m_Driver.release());
}

std::optional<std::int64_t> sto_Session::Begin(bool forWriting, sto_Keeping keeping,
                                               std::optional<std::string_view> root) {
  CheckUse();
  if (m_InTransaction) Raise(sto_ErrorKind::Misuse, "A transaction is open already.");
  if (forWriting && m_Driver->IsReadOnly())
    Raise(sto_ErrorKind::ReadOnly, "The store is open for reading only.");
  sto_Begun const begun = m_Driver->Begin({forWriting, root});
  m_InTransaction = true;
  try {
    NoteForeignChanges(begun.m_ChangeCounter);
    m_NewIds.Begin(begun.m_EndOfIds);
    m_Indexes.Begin(begun.m_HasIndexes);
    // What a single operation or save may change is kept when it is touched first. What the program may
    // change in a longer transaction, in memory, is seen by nobody.
    if (forWriting && keeping == sto_Keeping::Copies)
      m_Collections.ForEach([](sto_OpenCollection& each) { each.KeepForRollback(); });
  } catch (...) {
    Rollback(); // m_IsWriting is still false: there is nothing to restore yet
    m_Collections.ForEach([](sto_OpenCollection& each) { each.ForgetBegin(); });
    m_Collections.ForgetTouched();
    throw;
  }
  m_Keeping = keeping;
  if (forWriting) ++m_TransactionNumber;
  m_IsWriting = forWriting; // from now on a rollback takes back ids and restores containers
  return begun.m_Root;
}

void sto_Session::NoteForeignChanges(std::int64_t counter) {
  std::int64_t const newest = m_Driver->NewestSave();
  // A commit that failed in its very last step may have made a save, which is no longer this session's work.
  if (counter == m_ChangeCounter && newest == m_SeenSave) return;
  m_Catalogue.Forget();
  m_Indexes.Forget();
  m_VerifiedBlocks.Clear();
  bool const isFirst = m_ChangeCounter == -1;
  bool const isAnyOpen = !m_Collections.IsEmpty() || !m_OpenBlobs.empty();
  if (!isAnyOpen) m_Changes.ForgetVersions([](std::int64_t) { return false; });
  bool const isAnyResident = m_Residents->IsUsed();
  if ((isAnyOpen || isAnyResident) && !isFirst) {
    if (std::optional<sto_ChangeList> const changes = m_Driver->ChangedSince(m_SeenSave)) {
      for (std::int64_t const id : changes->m_Objects) m_Changes.NoteForeign(id);
      for (std::int64_t const id : changes->m_Lists) m_Changes.NoteForeign(id);
      m_Residents->NoteForeign(*changes);
      ForgetUnusedVersions();
    } else {
      m_Changes.NoteForeignUnknown();
      m_Residents->NoteForeignUnknown();
    }
  }
  m_SeenSave = newest;
  m_ChangeCounter = counter; // last: reading may fail
}

void sto_Session::ForgetUnusedVersions() {
  std::unordered_set<std::int64_t> blobs;
  for (sto_OpenBlob const* const blob : m_OpenBlobs) blobs.insert(blob->Id());
  m_Changes.ForgetVersions(
      [&](std::int64_t id) { return m_Collections.Find(id) != nullptr || blobs.contains(id); });
}

void sto_Session::RaiseInProgress() const {
  Raise(sto_ErrorKind::Misuse, "The store is used by the progress function of one of its operations.");
}

void sto_Session::CheckUse() const {
  if (std::this_thread::get_id() != m_Thread)
    Raise(sto_ErrorKind::Misuse,
          "The store is used in another thread than the one that opened it. Each thread "
          "opens a store of its own.");
  if (!m_Process.IsHere())
    Raise(sto_ErrorKind::Misuse, "The store was opened before this process was forked, and belongs to its "
                                 "parent. A child opens a store of its own.");
  if (!*m_RegistrarLives)
    Raise(sto_ErrorKind::Misuse,
          "The class registrar that the store was opened with is gone: it must outlive the store.");
  RefuseInProgress();
}

void sto_Session::CheckTransaction() {
  CheckUse();
  if (!m_InTransaction || m_Driver->IsInTransaction()) return;
  RaiseKept();
  Raise(sto_ErrorKind::Unavailable, "The transaction was undone by a failure; roll it back.");
}

void sto_Session::RaiseOver() const {
  Raise(sto_ErrorKind::Misuse, "The transaction in which an object is being loaded is over.");
}

void sto_Session::Commit() {
  RaiseKept();
  if (!m_InTransaction) Raise(sto_ErrorKind::Misuse, "There is no transaction to commit.");
  if (m_Save.IsGoingOn()) Raise(sto_ErrorKind::Misuse, "Committing in the middle of a save.");
  CheckTransaction();
  if (m_IsWriting) m_Residents->WriteAllChanged();
  try {
    if (m_IsWriting) m_Collections.WriteRecords();
    if (m_IsWriting && m_NewIds.HasAny()) m_Driver->SetIdsUsed(m_NewIds.Next());
    m_Driver->Commit();
  } catch (sto_Exception const&) {
    throw;
  } catch (...) { // no memory: what was written so far may be half of something, which nobody may commit
    m_Driver->Rollback();
    throw;
  }
  m_SeenSave = m_Driver->NewestSave();
  bool const wasWriting = std::exchange(m_IsWriting, false);
  EndTransaction();
  if (!wasWriting) return;
  m_Collections.ForEachTouched([](sto_OpenCollection& each) { each.ForgetBegin(); });
  m_Collections.ForgetTouched();
  m_Residents->EndTransaction(true);
}

void sto_Session::WriteChanges() {
  if (!m_IsWriting) return;
  WriteChangedObjects();
  m_Collections.WriteRecords();
}

void sto_Session::EndTransaction() noexcept {
  m_InTransaction = m_IsWriting = false;
  m_Catalogue.EndTransaction();
  m_Changes.EndTransaction();
  m_Save.EndTransaction();
  m_Identities.ForgetVisits();
  m_Records.Ahead().Clear();
}

void sto_Session::Rollback() noexcept {
  if (!m_InTransaction) return;
  if (!m_Process.IsHere()) return; // the transaction is the parent's
  m_Driver->Rollback();
  m_VerifiedBlocks.Clear();
  bool const wasWriting = m_IsWriting;
  if (wasWriting) {
    m_Collections.ForEachTouched([](sto_OpenCollection& each) { each.NoteIdentity(true); });
    m_Residents->EndTransaction(false);
    TakeBackIds(0);
  }
  if (wasWriting) m_Changes.UndoTransaction(m_TransactionNumber);
  if (wasWriting) m_Indexes.Forget();
  EndTransaction();
  if (!wasWriting) return;
  if (m_KeptIn == m_TransactionNumber) m_Kept = nullptr; // the work that failed is undone
  for (sto_OpenBlob* const blob : m_OpenBlobs) blob->UndoTransaction();
  auto const undo = [this](sto_OpenCollection& each) { each.UndoTransaction(m_Keeping); };
  if (m_Keeping == sto_Keeping::Copies)
    m_Collections.ForEach(undo);
  else
    m_Collections.ForEachTouched(undo);
  m_Collections.ForgetTouched();
}

void sto_Session::RollbackForProgram() noexcept {
  if (m_Meter != nullptr && m_Meter->IsInCall())
    m_Meter->RollBackLater();
  else
    Rollback();
}

void sto_Session::Close() {
  RaiseKept();
  if (m_InTransaction)
    Raise(sto_ErrorKind::Misuse, "Closing the store while a transaction is open: commit or roll back first.");
  if (!m_Collections.HasUnwrittenHolders()) return;
  Begin(true, sto_Keeping::Handles);
  try {
    m_Collections.FlushHolders();
    Commit();
  } catch (...) {
    Rollback();
    throw;
  }
}

void sto_Session::TakeBackIds(std::int64_t firstId) noexcept {
  m_NewIds.ForEachSince(firstId, [this](std::int64_t first, std::int64_t end) {
    m_Identities.DropFrom(first, end);
    Loaded().Undo(first, end);
    m_Residents->Undo(first, end);
    std::erase_if(m_CompressionOf, [&](auto const& said) { return said.first >= first && said.first < end; });
  });
  for (sto_OpenProxy* const proxy : m_OpenProxies)
    if (m_NewIds.HasSince(firstId, proxy->Id())) proxy->End();
  m_NewIds.GoBackTo(firstId);
  m_Catalogue.ForgetWritten();
}

bool sto_Session::IsStored(std::int64_t id) {
  if (cls_LoadedObjects const& loaded = Loaded(); loaded.InLoad()) { // which has read what it has
    cls_LoadedObjects::Entry const* const entry = loaded.Find(id);
    if (entry != nullptr && !loaded.IsOfEarlierLoad(*entry)) return true;
  }
  if (sto_OpenCollection* const open = m_Collections.Find(id)) open->WriteRecord();
  return m_Records.Ahead().Has(id);
}

bool sto_Session::IsThere(std::int64_t id) {
  if (!IsStored(id)) return false;
  m_Catalogue.Load(*m_Driver);
  return !m_Catalogue.HasDeletedObjects() || m_Records.ClassOf(id) != sto_DeletedClassId;
}

cls_IdentityMap::Tie& sto_Session::TieOf(cls_Uid const& uid) {
  if (cls_IdentityMap::Tie* const tie = m_Identities.Find(uid)) return *tie;
  std::int64_t const id = TakeId();
  return m_Identities.Add(uid, id);
}

std::int64_t sto_Session::TakeId() {
  if (!m_NewIds.HasMore()) TakeRange();
  return m_NewIds.Take();
}

void sto_Session::TakeRange() {
  if (m_NewIds.GoOn()) return;
  sto_IdRange const range = m_Driver->TakeIds(sto_NewIds::IdsAtOnce);
  if (range.m_First >= range.m_End) Raise(sto_ErrorKind::Full, "The store has no object ids left.");
  m_NewIds.Add(range);
}

sto_ClassInUse& sto_Session::SearchClassToWrite(unsigned int classId) {
  sto_ClassInUse* const inUse = m_Catalogue.ToWrite(*m_Driver, classId);
  if (inUse == nullptr)
    Raise(sto_ErrorKind::Misuse, "Class " + m_Catalogue.ClassName(classId) +
                                     " is not declared in the registrar that the store was opened with.");
  return *inUse;
}

sto_FieldKey sto_Session::KeyToWrite(cls_FieldHandle const& field) {
  if (field.Name().IsEmpty()) return {0, field.FieldId()};
  return {m_Catalogue.AddName(*m_Driver, field.Name().View()), field.FieldId()};
}

sto_Session::RecordToWrite sto_Session::ToWrite(sto_RecordBuilder& builder, sto_ClassInUse* inUse) {
  sto_NumberedShape const* const shape = m_Catalogue.ShapeToWrite(*m_Driver, builder, inUse);
  if (shape == nullptr) return {sto_Format::OwnShape, builder.ValuesWithShape()};
  return {shape->m_Number, builder.View()};
}

std::optional<sto_FieldKey> sto_Session::KeyToRead(cls_FieldHandle const& field) {
  if (field.Name().IsEmpty()) return sto_FieldKey{0, field.FieldId()};
  std::int64_t const nameId = m_Catalogue.FindName(*m_Driver, field.Name().View());
  if (nameId == 0) return std::nullopt;
  return sto_FieldKey{nameId, field.FieldId()};
}

void sto_Session::NoteCompression(std::int64_t id, unsigned int classId, std::string_view attribute) {
  sto_Classes const& classes = m_Catalogue.Classes();
  cls_ClassMetadata const* const newest = classes.Newest(classId);
  if (newest == nullptr) return;
  cls_ClassNotes const* const notes = classes.Notes(classId, newest->Version());
  cls_ClassNotes::Attribute const* const said = notes == nullptr ? nullptr : notes->Find(attribute);
  if (said != nullptr && said->m_Compress)
    m_CompressionOf.insert_or_assign(id, *said->m_Compress);
  else
    m_CompressionOf.erase(id); // of another attribute that held it, or of undone work that had the id
}

void sto_Session::Raise(sto_ErrorKind kind, std::string const& message, sto_SourceLine line) const {
  sto_Raise(kind, m_Location + ": " + message, line);
}

void sto_Session::RaiseNotBuilt(cls_BuildFailure const& failure) const {
  std::string const object = "Object " + std::to_string(failure.m_Id);
  switch (failure.m_Fault) {
  case cls_BuildFault::OtherClass:
    Raise(sto_ErrorKind::WrongClass, failure.m_Text);
  case cls_BuildFault::NotDeclared:
    Raise(sto_ErrorKind::Misuse, object + " is of class " + NameOf(failure.m_ClassId) +
                                     ", which is not declared in the registrar that the store was opened "
                                     "with.");
  case cls_BuildFault::OwnedInScope:
    Raise(sto_ErrorKind::Misuse, object + " was loaded for one owner in this load scope, and is there still: "
                                          "load it with LoadShared each time.");
  case cls_BuildFault::IsInScope:
    Raise(sto_ErrorKind::Misuse, object +
                                     " is in the load scope already, and Load would make a second object "
                                     "of it: load it with LoadShared.");
  default:
    Raise(sto_ErrorKind::Misuse, failure.m_Text);
  }
}

void sto_Session::Keep(std::exception_ptr failure) noexcept {
  if (m_Kept != nullptr) return;
  m_Kept = std::move(failure);
  m_KeptIn = m_IsWriting ? m_TransactionNumber : 0;
}

void sto_Session::RethrowKept() {
  std::rethrow_exception(std::exchange(m_Kept, nullptr));
}
