#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "persist/identity/cls_IdentityMap.h"
#include "persist/pointers/cls_ObjectSource.h"
#include "store/base/sto_ErrorKind.h"
#include "store/base/sto_Meter.h"
#include "store/base/sto_SourceLine.h"
#include "store/driver/sto_Driver.h"
#include "store/format/sto_BlockCodec.h"
#include "store/session/sto_Catalogue.h"
#include "store/session/sto_ChangeNotes.h"
#include "store/session/sto_Collections.h"
#include "store/session/sto_Indexes.h"
#include "store/session/sto_Keeping.h"
#include "store/session/sto_KeptBytes.h"
#include "store/session/sto_MementoPool.h"
#include "store/session/sto_NewIds.h"
#include "store/session/sto_OpenBlob.h"
#include "store/session/sto_OpenProxy.h"
#include "store/session/sto_ProcessMark.h"
#include "store/session/sto_RecordCache.h"
#include "store/session/sto_Residents.h"
#include "store/session/sto_Save.h"
#include "store/session/sto_VerifiedBlocks.h"
#include "store/sto_Options.h"

class cls_FieldHandle;
class sto_ElementRead;

/// One open store: its transactions, the ids they give out, the kept failure, and the lifetime of all parts.
/// Everything else that mementos and agents share is a part with a class of its own. Internal to the module.
///
/// Invariants:
/// 1. Writing happens only inside a write transaction.
/// 2. A failure in a destructor is kept, and raised by the next operation, the end of the save, or the
///    commit.
/// 3. Undone work leaves no tie behind: the ids it gave out are untied, and no usable agent, blob or proxy
///    has one of them.
/// 4. Rolling back and undoing a save allocate nothing here and cannot fail.
///
/// Order across the classes:
/// - Who ends a save: the code that began it also ends or undoes it. For objects this is sto_Store::SaveWith,
///   for copies sto_CopyRoot, for elements sto_ElementSave. The mementos of the elements share the
///   sto_ElementSave; it ends the save in its destructor, after the last of them. A rollback ends a save that
///   is still running.
/// - When an object's record is written: when its last memento or builder is deleted (sto_RecordInProgress),
///   which must be before the save ends.
/// - When the record of an open collection is written: its agent writes a pending record when the record is
///   read, when the garbage collector starts, when the last holder lets go, when the agent of a list or map of
///   objects is deleted, and before the commit. A list of values writes it also when a save begins or ends.
///   One of objects does not, so that it is written once a commit; it undoes a save in memory instead.
/// - Undoing: first the storage; then residents (sto_Residents), which take objects in memory back; then NoteIdentity for collections that are about to be lost; then the ids
///   with their ties, proxies and loaded objects; then the change notes; then blobs; last the collections,
///   which restore what arrays had and rely on all earlier steps.
/// - Who deletes a collection's agent: the last container that lets go of it. If no container holds it when
///   its collection is lost or the session closes, it deletes itself. Exception: an agent of a list or map of
///   objects that was never referenced belongs to the program that got it, which deletes it. The walks of
///   sto_Collections survive such removals.
///
/// Thread rule: the thread that made the session. Begin and CheckTransaction raise Misuse in another one, and in a
/// child process that was forked later. There the session leaves the file alone also when it is destroyed.
class sto_Session final : public cls_ObjectSource, public cls_IdentityOwner, public cls_LaterSource {
 public:
  sto_Session(std::string location, std::unique_ptr<sto_Driver> driver, cls_ClassRegistrar const& registrar,
              sto_Options const& options = {});
  ~sto_Session() override;
  sto_Session(sto_Session const&) = delete;
  sto_Session& operator=(sto_Session const&) = delete;

  [[nodiscard]] std::string const& Location() const noexcept { return m_Location; }
  [[nodiscard]] sto_Driver& Driver() noexcept { return *m_Driver; }
  [[nodiscard]] sto_Catalogue& Catalogue() noexcept { return m_Catalogue; }
  [[nodiscard]] sto_Catalogue const& Catalogue() const noexcept { return m_Catalogue; }
  [[nodiscard]] cls_IdentityMap& Identities() noexcept { return m_Identities; }
  /// The running load of single elements; the mementos of its elements own it.
  [[nodiscard]] std::weak_ptr<sto_ElementRead>& ElementRead() noexcept { return m_ElementRead; }
  [[nodiscard]] sto_Save& Save() noexcept { return m_Save; }
  [[nodiscard]] sto_Save const& Save() const noexcept { return m_Save; }
  [[nodiscard]] sto_RecordCache& Records() noexcept { return m_Records; }
  [[nodiscard]] sto_Indexes& Indexes() noexcept { return m_Indexes; }
  [[nodiscard]] sto_MementoPool& Mementos() noexcept { return m_Mementos.Pool(); }
  [[nodiscard]] sto_Collections& Collections() noexcept { return m_Collections; }
  [[nodiscard]] std::unordered_set<sto_OpenBlob*>& OpenBlobs() noexcept { return m_OpenBlobs; }
  [[nodiscard]] std::unordered_set<sto_OpenProxy*>& OpenProxies() noexcept { return m_OpenProxies; }
  /// The objects that are referred to by id.
  [[nodiscard]] sto_Residents& Residents() noexcept { return *m_Residents; }
  /// Writes what the open write transaction has in memory only, except the unwritten changes of arrays: for what looks at
  /// the store as a whole. Does nothing in a transaction that only reads.
  void WriteChanges();
  /// The same for changed objects only. Does nothing while an object is being saved or loaded, either.
  void WriteChangedObjects() {
    if (m_IsWriting && !m_Save.IsGoingOn() && !Loaded().InLoad()) m_Residents->WriteChanged();
  }
  [[nodiscard]] sto_ChangeNotes& Changes() noexcept { return m_Changes; }
  [[nodiscard]] sto_KeptBytes& KeptBytes() noexcept { return m_KeptBytes; }
  [[nodiscard]] sto_BlockCodec& BlockCodec() noexcept { return m_BlockCodec; }
  [[nodiscard]] sto_VerifiedBlocks& VerifiedBlocks() noexcept { return m_VerifiedBlocks; }
  /// Whether the blocks of a list or blob are compressed when they are written: as the program says of the attribute
  /// that holds it, otherwise as sto_Options::m_Compress.
  [[nodiscard]] bool Compresses(std::int64_t id) const noexcept {
    if (m_CompressionOf.empty()) return m_Compresses;
    auto const said = m_CompressionOf.find(id);
    return said == m_CompressionOf.end() ? m_Compresses : said->second;
  }
  /// Notes which attribute holds a collection. `classId`: of the part that has the attribute.
  void NoteHolder(std::int64_t id, unsigned int classId, std::string_view attribute) {
    if (m_Catalogue.Classes().HasNotes()) NoteCompression(id, classId, attribute);
  }
  /// Whether the session looks for mistakes in the program's classes; see sto_Options::m_Strict.
  [[nodiscard]] bool IsStrict() const noexcept { return m_IsStrict; }

  /// Whether the session ends now: containers are detached because of that, and not because work is undone.
  [[nodiscard]] bool IsClosing() const noexcept { return m_IsClosing; }

  /// What the running operation counts its work with; null if it has no progress function. See sto_MeterScope.
  [[nodiscard]] sto_Meter* Meter() const noexcept { return m_Meter; }
  void SetMeter(sto_Meter* meter) noexcept { m_Meter = meter; }
  /// Misuse in a progress function of this session.
  void RefuseInProgress() const {
    if (m_Meter != nullptr && m_Meter->IsInCall()) RaiseInProgress();
  }

  /// Points to the session, and to null once the session has ended. For objects that may outlive it.
  [[nodiscard]] std::shared_ptr<sto_Session*> const& Self() const noexcept { return m_Self; }

  // --- transactions

  [[nodiscard]] bool InTransaction() const noexcept { return m_InTransaction; }
  /// Misuse without a transaction: a load, or something that was made in it, goes on after the transaction is over.
  void RequireTransaction() const {
    if (!m_InTransaction) RaiseOver();
  }
  /// What the open write transaction restores in containers when it is rolled back.
  [[nodiscard]] sto_Keeping Keeping() const noexcept { return m_Keeping; }
  /// Raises if a failure has undone the open transaction, which can then only be rolled back: the kept
  /// failure if there is one, otherwise Unavailable. Misuse in another thread, and if the program's registrar
  /// has been destroyed.
  void CheckTransaction();
  [[nodiscard]] bool IsWriting() const noexcept { return m_IsWriting; }
  /// Begins a transaction, and searches a root in the same request to the storage; returns its object, empty if
  /// there is no such root. ReadOnly if the store is; Misuse if a transaction is open; Busy. If it raises, no
  /// transaction is open.
  std::optional<std::int64_t> Begin(bool forWriting, sto_Keeping keeping = sto_Keeping::Nothing,
                                    std::optional<std::string_view> root = {});
  /// The number of the latest write transaction.
  [[nodiscard]] std::int64_t TransactionNumber() const noexcept { return m_TransactionNumber; }
  /// Commits the open transaction. Raises a kept failure first. Misuse without a transaction and during a
  /// save. If it raises, the transaction is still open.
  void Commit();
  /// Undoes the open transaction in the store and in memory; does nothing if none is open.
  void Rollback() noexcept;
  /// The same for the program. In a progress function the transaction is undone when the operation ends.
  void RollbackForProgram() noexcept;

  /// Changes whenever another session commits. Sampled when the current (or latest) transaction began.
  [[nodiscard]] std::int64_t ChangeCounter() const noexcept { return m_ChangeCounter; }

  /// Writes the unwritten changes of containers, if any, in a transaction of its own. The session stays open.
  /// If it raises, the containers still have their changes. Misuse while a transaction is open.
  void Close();

  // --- ids

  /// The tie of an identity. Ties it to a new object id if it has none. Full if no ids are left.
  [[nodiscard]] cls_IdentityMap::Tie& TieOf(cls_Uid const& uid);
  /// Gives out an id for an object without an identity in this program. Full if no ids are left.
  [[nodiscard]] std::int64_t TakeId();
  /// The ids that the open write transaction, or the latest one, has given out.
  [[nodiscard]] sto_NewIds const& NewIds() const noexcept { return m_NewIds; }
  /// The ids that were given out since NewIds().Next() was `firstId` belong to work that is now undone: unties
  /// them, ends proxies of their objects, forgets the catalogue, and allows the ids to be given out again.
  void TakeBackIds(std::int64_t firstId) noexcept;

  /// Every id that an object of the store can have is smaller.
  [[nodiscard]] std::int64_t EndOfIds() const noexcept { return m_NewIds.End(); }
  /// Whether an object of the store can have an id.
  [[nodiscard]] bool IsGivenOut(std::int64_t id) const noexcept { return id > 0 && id < EndOfIds(); }
  /// Whether an object is stored, as the open transaction shows it. Writes the pending record of an open
  /// collection first. REQUIRES: an open transaction.
  [[nodiscard]] bool IsStored(std::int64_t id);
  /// The same, and it was not deleted (sto_DeletedObjects.h).
  [[nodiscard]] bool IsThere(std::int64_t id);
  /// Whether an object's id was given out in the open transaction, so that a rollback removes the object.
  [[nodiscard]] bool IsNewInTransaction(std::int64_t id) const noexcept {
    return m_IsWriting && m_NewIds.Has(id);
  }

  // --- the catalogue. REQUIRES: an open transaction; for the first two, an open write transaction.

  /// A class for writing; describes it in the store if needed. Misuse for an undeclared class; Conflict if
  /// the store describes it differently.
  [[nodiscard]] sto_ClassInUse& ClassToWrite(unsigned int classId) {
    sto_ClassInUse* const latest = m_Catalogue.LatestToWrite();
    return latest != nullptr && latest->Metadata().ClassId() == classId ? *latest
                                                                        : SearchClassToWrite(classId);
  }
  /// The same for the base class of `derived`. REQUIRES: it has one.
  [[nodiscard]] sto_ClassInUse& BaseToWrite(sto_ClassInUse& derived) {
    if (derived.m_Base == nullptr) derived.m_Base = &SearchClassToWrite(derived.Metadata().BaseClassId());
    return *derived.m_Base;
  }
  /// The key of a field. Adds its name to the store's dictionary if it is new.
  [[nodiscard]] sto_FieldKey KeyToWrite(cls_FieldHandle const& field);
  /// The key of a field; empty if the store has never seen its name.
  [[nodiscard]] std::optional<sto_FieldKey> KeyToRead(cls_FieldHandle const& field);

  /// A record as the driver writes it. Valid until its builder changes.
  struct RecordToWrite {
    std::int64_t m_Shape;
    sto_ByteView m_Values;
  };
  /// Writes a record, and changes the object's entries in indexes; see sto_Driver::WriteObject.
  bool WriteObject(std::int64_t id, RecordToWrite const& record) {
    m_Records.Ahead().Forget(id);
    if (m_Indexes.AreThere()) [[unlikely]]
      return m_Indexes.WriteObject(id, record.m_Shape, record.m_Values);
    return m_Driver->WriteObject(id, record.m_Shape, record.m_Values);
  }
  /// Deletes an object, and its entries in indexes; see sto_Driver::DeleteObject.
  void DeleteObject(std::int64_t id) {
    if (m_Indexes.AreThere()) [[unlikely]]
      m_Indexes.DeleteObject(id);
    else
      m_Driver->DeleteObject(id);
  }
  /// The record of an object that has been built; describes its shape in the store if needed. `inUse`: the
  /// object's class, or null.
  [[nodiscard]] RecordToWrite ToWrite(sto_RecordBuilder& builder, sto_ClassInUse* inUse);

  // --- objects behind pointers

  [[nodiscard]] cls_ClassMetadata const* MetadataOf(unsigned int classId, int version) const override {
    return m_Catalogue.Classes().ForVersion(classId, version);
  }
  [[nodiscard]] bool IsDerived(unsigned int derived, unsigned int base) const override {
    return m_Catalogue.Classes().DerivesFrom(derived, base);
  }
  [[nodiscard]] std::string NameOf(unsigned int classId) const override {
    return m_Catalogue.ClassName(classId);
  }
  [[nodiscard]] std::string Describe(unsigned int classId) const override {
    return m_Catalogue.DescribeClass(classId);
  }
  [[nodiscard]] bool HasIdentity(std::int64_t id) noexcept override {
    return m_Identities.EntryOf(id) != nullptr;
  }
  [[noreturn]] void RaiseNotBuilt(cls_BuildFailure const& failure) const override;

  // Implemented in store/objects/, the layer above.
  [[nodiscard]] cls_HeldObject HeldIn(cls_MementoRead& memento, cls_FieldHandle const& field) override;
  [[nodiscard]] cls_HeldObject Self(cls_MementoRead& memento) override;
  [[nodiscard]] cls_MementoRead* MakeReadObj(cls_HeldObject const& held) override;
  [[nodiscard]] cls_ObjectSource& Source() noexcept override { return *this; }

  // --- errors

  /// Raises an error whose message begins with the store's name.
  [[noreturn]] void Raise(sto_ErrorKind kind, std::string const& message,
                          sto_SourceLine line = sto_SourceLine::Current()) const;

  /// Keeps a failure that cannot be raised where it happened. If one is kept already, that one stays.
  void Keep(std::exception_ptr failure) noexcept;
  /// Raises the kept failure, if any, and forgets it.
  void RaiseKept() {
    if (m_Kept != nullptr) RethrowKept();
  }
  /// Forgets the kept failure, because its work is undone.
  void ForgetKept() noexcept { m_Kept = nullptr; }

  /// Sets the kept failure aside while it lives, so that work in a destructor does not fail because of an
  /// earlier failure. Afterwards the earlier failure is kept again, replacing a later one.
  class KeptAside {
   public:
    explicit KeptAside(sto_Session& session) noexcept
        : m_Session(session), m_Kept(std::exchange(session.m_Kept, nullptr)), m_KeptIn(session.m_KeptIn) {}
    KeptAside(KeptAside const&) = delete;
    KeptAside& operator=(KeptAside const&) = delete;
    ~KeptAside() {
      if (m_Kept == nullptr) return;
      m_Session.m_Kept = std::move(m_Kept); // the first failure counts
      m_Session.m_KeptIn = m_KeptIn;
    }

   private:
    sto_Session& m_Session;
    std::exception_ptr m_Kept;
    std::int64_t m_KeptIn;
  };

 private:
  [[nodiscard]] sto_ClassInUse& SearchClassToWrite(unsigned int classId);
  /// Misuse in another thread than the session's, and if the program's registrar has been destroyed.
  void CheckUse() const;
  void EndTransaction() noexcept;
  [[noreturn]] void RethrowKept();
  /// Makes the storage hand out more ids. Full if none are left.
  void TakeRange();
  [[noreturn]] void RaiseOver() const;
  [[noreturn]] void RaiseInProgress() const;
  void NoteCompression(std::int64_t id, unsigned int classId, std::string_view attribute);
  /// Takes notice of what other sessions have committed since the last transaction. `counter`: the store's change
  /// counter now.
  void NoteForeignChanges(std::int64_t counter);
  void ForgetUnusedVersions();

  std::shared_ptr<sto_Session*> m_Self = std::make_shared<sto_Session*>(this);
  std::thread::id m_Thread = std::this_thread::get_id();
  sto_ProcessMark m_Process;
  std::shared_ptr<bool const> m_RegistrarLives;
  std::string m_Location;
  std::unique_ptr<sto_Driver> m_Driver;
  sto_Catalogue m_Catalogue;
  cls_IdentityMap m_Identities;
  sto_NewIds m_NewIds;
  std::weak_ptr<sto_ElementRead> m_ElementRead;
  sto_Save m_Save;
  struct LetGoOfResidents {
    void operator()(sto_Residents* residents) const noexcept { residents->LetGo(); }
  };
  std::unique_ptr<sto_Residents, LetGoOfResidents> m_Residents;
  sto_MementoPool::Owner m_Mementos;
  sto_RecordCache m_Records;
  sto_Indexes m_Indexes;
  sto_Collections m_Collections;
  std::unordered_set<sto_OpenBlob*> m_OpenBlobs;
  std::unordered_set<sto_OpenProxy*> m_OpenProxies;
  sto_ChangeNotes m_Changes;
  sto_KeptBytes m_KeptBytes;
  sto_BlockCodec m_BlockCodec;
  sto_VerifiedBlocks m_VerifiedBlocks;
  sto_Meter* m_Meter = nullptr;
  bool m_IsStrict;
  bool m_IsClosing = false; // set by the destructor
  bool m_Compresses;
  std::unordered_map<std::int64_t, bool>
      m_CompressionOf; // of lists and blobs about which the program says it

  // All set by Begin; the first two are cleared by EndTransaction.
  bool m_InTransaction = false;
  bool m_IsWriting = false;
  sto_Keeping m_Keeping = sto_Keeping::Nothing; // of the open write transaction
  std::int64_t m_TransactionNumber = 0;
  std::int64_t m_ChangeCounter = -1;
  std::int64_t m_SeenSave = -1; // the newest save that this session knows; -1: none yet

  std::exception_ptr m_Kept; // set by Keep; cleared when it is raised or its work is undone
  std::int64_t m_KeptIn = 0; // the number of the write transaction that was open when it happened, or 0
};
