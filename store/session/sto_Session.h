#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>

#include "store/base/sto_ErrorKind.h"
#include "store/base/sto_SourceLine.h"
#include "store/driver/sto_Driver.h"
#include "store/session/sto_Catalogue.h"
#include "store/session/sto_ChangeNotes.h"
#include "store/session/sto_Collections.h"
#include "store/session/sto_IdentityMap.h"
#include "store/session/sto_Keeping.h"
#include "store/session/sto_KeptBytes.h"
#include "store/session/sto_LoadedObjects.h"
#include "store/session/sto_OpenBlob.h"
#include "store/session/sto_OpenProxy.h"
#include "store/session/sto_RecordCache.h"
#include "store/session/sto_Save.h"
#include "store/sto_Options.h"

class cls_FieldHandle;

/// One open store: its transactions, the ids that they give out, the failure that is kept, and the life of it
/// all. The other things that mementos and agents share are parts of it with a class each. Internal to the
/// module.
///
/// Invariants: 1. Writing happens inside a write transaction only. 2. A failure that happened in a destructor
/// is kept and raised by the next operation, by the end of the save, or by the commit. 3. Work that is undone
/// leaves no tie behind: the ids it gave out are untied, and no agent, blob or proxy has one of them. 4.
/// Rolling back, undoing a save and closing allocate nothing here and cannot fail.
///
/// Order across the classes:
/// - A save is ended or undone by whoever began it: sto_Store::SaveWith, sto_CopyRoot, or for elements the
///   sto_ElementSave, which the mementos of the elements own together; the last one ends it in its destructor.
///   A rollback ends a save that is still going on.
/// - The record of an object is written when its last memento or builder is deleted (sto_RecordInProgress),
///   which is before the save ends. The record of an open collection is written by its agent: when a save
///   begins and ends, when the record is read, when the last holder lets go, and before the commit.
/// - Undoing goes: the storage; identities that are about to be lost (NoteIdentity); the ids and their ties;
///   the notes; blobs; collections. The last step puts back what arrays had, and needs the others done.
/// - An agent of a collection belongs to its containers: the last one that lets go deletes it. It deletes
///   itself when none is left at the moment in which it is undone or the session closes. So the walks of
///   sto_Collections survive removals.
///
/// Thread rule: one thread.
class sto_Session {
 public:
  sto_Session(std::string location, std::unique_ptr<sto_Driver> driver, cls_ClassRegistrar const& registrar,
              sto_Options const& options = {});
  ~sto_Session();
  sto_Session(sto_Session const&) = delete;
  sto_Session& operator=(sto_Session const&) = delete;

  [[nodiscard]] std::string const& Location() const noexcept { return m_Location; }
  [[nodiscard]] sto_Driver& Driver() noexcept { return *m_Driver; }
  [[nodiscard]] sto_Catalogue& Catalogue() noexcept { return m_Catalogue; }
  [[nodiscard]] sto_Catalogue const& Catalogue() const noexcept { return m_Catalogue; }
  [[nodiscard]] sto_IdentityMap& Identities() noexcept { return m_Identities; }
  [[nodiscard]] sto_LoadedObjects& Loaded() noexcept { return *m_Loaded; }
  /// The same for a scope, which may outlive the session.
  [[nodiscard]] std::shared_ptr<sto_LoadedObjects> const& SharedLoaded() const noexcept { return m_Loaded; }
  [[nodiscard]] sto_Save& Save() noexcept { return m_Save; }
  [[nodiscard]] sto_Save const& Save() const noexcept { return m_Save; }
  [[nodiscard]] sto_RecordCache& Records() noexcept { return m_Records; }
  [[nodiscard]] sto_Collections& Collections() noexcept { return m_Collections; }
  [[nodiscard]] std::unordered_set<sto_OpenBlob*>& OpenBlobs() noexcept { return m_OpenBlobs; }
  [[nodiscard]] std::unordered_set<sto_OpenProxy*>& OpenProxies() noexcept { return m_OpenProxies; }
  [[nodiscard]] sto_ChangeNotes& Changes() noexcept { return m_Changes; }
  [[nodiscard]] sto_KeptBytes& KeptBytes() noexcept { return m_KeptBytes; }
  /// Whether slips of the program's classes are looked for; see sto_Options.
  [[nodiscard]] bool IsStrict() const noexcept { return m_IsStrict; }

  /// A pointer to the session, null when it has ended. For agents that may outlive it.
  [[nodiscard]] std::shared_ptr<sto_Session*> const& Self() const noexcept { return m_Self; }

  // --- transactions

  [[nodiscard]] bool InTransaction() const noexcept { return m_InTransaction; }
  /// When a failure has undone the open transaction, so that only Rollback is left: raises that failure if
  /// nobody has heard of it yet, otherwise Unavailable.
  void CheckTransaction();
  [[nodiscard]] bool IsWriting() const noexcept { return m_IsWriting; }
  /// ReadOnly when the store is; Misuse when a transaction is open.
  void Begin(bool forWriting, sto_Keeping keeping = sto_Keeping::Nothing);
  /// The number of the latest write transaction.
  [[nodiscard]] std::int64_t TransactionNumber() const noexcept { return m_TransactionNumber; }
  /// Raises a kept failure first; the transaction stays open when it fails.
  void Commit();
  void Rollback() noexcept;

  /// Changes whenever another session commits. Sampled when the open, or latest, transaction began.
  [[nodiscard]] std::int64_t ChangeCounter() const noexcept { return m_ChangeCounter; }

  /// Writes what containers have changed and not written, in one transaction of its own, if there is anything
  /// to write. When it raises, containers have what they had. Misuse while a transaction is open.
  void Close();

  // --- ids

  /// The tie of an identity, with a new object id when it has none.
  [[nodiscard]] sto_IdentityMap::Tie& TieOf(cls_Uid const& uid);
  /// An object id for an object that has no identity in this program. Full when there are none left.
  [[nodiscard]] std::int64_t TakeId();
  /// The id that is given out next.
  [[nodiscard]] std::int64_t NextId() const noexcept { return m_NextId; }
  /// The ids from `firstId` on were given out in work that is undone: unties them, forgets what is known of
  /// the catalogue, and gives them out again.
  void TakeBackIds(std::int64_t firstId) noexcept;

  /// Whether an object id has been given out.
  [[nodiscard]] bool IsGivenOut(std::int64_t id) const noexcept { return id > 0 && id < m_NextId; }
  /// Whether an object's id was given out in the open transaction: a rollback removes the object.
  [[nodiscard]] bool IsNewInTransaction(std::int64_t id) const noexcept {
    return m_IsWriting && id >= m_FirstIdOfTransaction;
  }

  // --- the catalogue, within the open transaction

  /// A class that is to be written, described in the store. Misuse for an undeclared class.
  [[nodiscard]] sto_ClassInUse& ClassToWrite(unsigned int classId);
  [[nodiscard]] sto_FieldKey KeyToWrite(cls_FieldHandle const& field);
  /// The key of a field, none when the store has never seen the name.
  [[nodiscard]] std::optional<sto_FieldKey> KeyToRead(cls_FieldHandle const& field);

  // --- errors

  /// Raises with the store's name before the message.
  [[noreturn]] void Raise(sto_ErrorKind kind, std::string const& message,
                          sto_SourceLine line = sto_SourceLine::Current()) const;

  /// Keeps a failure that happened where none can be raised; the first one stays.
  void Keep(std::exception_ptr failure) noexcept;
  /// Raises a kept failure, once.
  void RaiseKept() {
    if (m_Kept != nullptr) RethrowKept();
  }
  /// The work in which a failure was kept is undone.
  void ForgetKept() noexcept { m_Kept = nullptr; }

  /// While it lives, a kept failure waits: what a destructor does is not to fail for what failed before.
  class KeptAside {
   public:
    explicit KeptAside(sto_Session& session) noexcept
        : m_Session(session), m_Kept(std::exchange(session.m_Kept, nullptr)), m_KeptIn(session.m_KeptIn) {}
    KeptAside(KeptAside const&) = delete;
    KeptAside& operator=(KeptAside const&) = delete;
    ~KeptAside() {
      if (m_Kept == nullptr) return;
      m_Session.m_Kept = std::move(m_Kept); // the first one stays
      m_Session.m_KeptIn = m_KeptIn;
    }

   private:
    sto_Session& m_Session;
    std::exception_ptr m_Kept;
    std::int64_t m_KeptIn;
  };

 private:
  /// Misuse in another thread than the session's, and when the program's registrar is gone.
  void CheckUse() const;
  void EndTransaction() noexcept;
  [[noreturn]] void RethrowKept();

  std::shared_ptr<sto_Session*> m_Self = std::make_shared<sto_Session*>(this);
  std::thread::id m_Thread = std::this_thread::get_id();
  std::shared_ptr<bool const> m_RegistrarLives;
  std::string m_Location;
  std::unique_ptr<sto_Driver> m_Driver;
  sto_Catalogue m_Catalogue;
  sto_IdentityMap m_Identities;
  std::shared_ptr<sto_LoadedObjects> m_Loaded = std::make_shared<sto_LoadedObjects>();
  sto_Save m_Save;
  sto_RecordCache m_Records;
  sto_Collections m_Collections;
  std::unordered_set<sto_OpenBlob*> m_OpenBlobs;
  std::unordered_set<sto_OpenProxy*> m_OpenProxies;
  sto_ChangeNotes m_Changes;
  sto_KeptBytes m_KeptBytes;
  bool m_IsStrict;

  bool m_InTransaction = false;
  bool m_IsWriting = false;
  sto_Keeping m_Keeping = sto_Keeping::Nothing; // of the open write transaction
  std::int64_t m_TransactionNumber = 0;
  std::int64_t m_ChangeCounter = -1;
  std::int64_t m_NextId = 1;
  std::int64_t m_FirstIdOfTransaction = 1;
  std::exception_ptr m_Kept;
  std::int64_t m_KeptIn = 0; // the number of the write transaction that was open when it happened, or 0
};
