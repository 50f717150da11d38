#pragma once

#include <array>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "store/base/sto_ErrorKind.h"
#include "store/base/sto_SourceLine.h"
#include "store/driver/sto_Driver.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/format/sto_RecordRef.h"
#include "store/session/sto_Catalogue.h"
#include "store/session/sto_IdentityMap.h"
#include "store/session/sto_LoadedObjects.h"
#include "store/session/sto_Reach.h"
#include "store/sto_Options.h"

class cls_FieldHandle;
class sto_BlobAgent;
class sto_ElementRead;
class sto_ElementSave;
class sto_AgentProxy;
class sto_CollectionAgent;

/// What a transaction keeps at its beginning of the elements that bulk arrays have in memory and have not
/// written, so that a rollback can put them back. The numbers say how much can happen to them meanwhile.
enum class sto_Keeping {
  Nothing, ///< a single operation: no block is changed in memory before it ends
  Handles, ///< a save: blocks are written and evicted, but nobody is to change elements
  Copies,  ///< a transaction of the program's, in which everything can happen
};

/// What the mementos of one open store share: the driver, the identity map, the catalogue, and the state of
/// the save or load that is going on. Internal to the module.
///
/// Invariants: 1. Writing happens inside a write transaction only. 2. A failure that happened in a destructor
/// is kept and raised by the next operation, by the end of the save, or by the commit. 3. Work that is undone
/// leaves no tie behind: the ids it gave out are untied, and no agent, blob or proxy has one of them. 4.
/// Rolling back, undoing a save and closing allocate nothing here and cannot fail.
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
  /// Whether slips of the program's classes are looked for; see sto_Options.
  [[nodiscard]] bool IsStrict() const noexcept { return m_IsStrict; }

  /// Where the session stands; null when it has ended. For agents that may outlive it.
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

  /// A number that was another before the latest other session committed. As of the beginning of the open, or
  /// latest, transaction.
  [[nodiscard]] std::int64_t ChangeCounter() const noexcept { return m_ChangeCounter; }

  // --- agents of lists and maps

  /// The agent of a collection, null when it has none.
  [[nodiscard]] sto_CollectionAgent* FindAgent(std::int64_t collectionId) const noexcept;
  void AddAgent(sto_CollectionAgent& agent);
  void RemoveAgent(sto_CollectionAgent& agent) noexcept;
  /// The agent's id is not its any more; the agent stays in the session.
  void ForgetAgentId(sto_CollectionAgent const& agent) noexcept;
  /// The collections that agents have open, with their records written.
  [[nodiscard]] std::vector<std::int64_t> OpenCollections();
  /// The agent of a collection that was lost with an identity; null when there is none.
  [[nodiscard]] sto_CollectionAgent* FindLost(cls_UidCatalogEntry const* entry) noexcept;
  /// The agents of blobs.
  [[nodiscard]] std::unordered_set<sto_BlobAgent*>& OpenBlobs() noexcept { return m_OpenBlobs; }
  /// The proxies of stored objects.
  [[nodiscard]] std::unordered_set<sto_AgentProxy*>& OpenProxies() noexcept { return m_OpenProxies; }

  /// Notes which change of a blob this session has written last: no agent of it is to take that for another
  /// session's.
  void NoteBlobChange(std::int64_t id, std::int64_t change) {
    m_BlobChanges.insert_or_assign(id, BlobChange{change, m_TransactionNumber, m_SaveNumber});
  }
  [[nodiscard]] bool IsOwnBlobChange(std::int64_t id, std::int64_t change) const noexcept {
    auto const found = m_BlobChanges.find(id);
    return found != m_BlobChanges.end() && found->second.m_Change == change;
  }

  /// What a list was when the open transaction began.
  struct ListAtBegin {
    int m_Count = 0;
    std::int64_t m_Change = 0;
    bool m_IsMade = false; // in this transaction: it was not there
    std::int64_t m_MadeInSave = 0;
  };
  [[nodiscard]] ListAtBegin const* FindAtBegin(std::int64_t id) const noexcept;
  /// Notes how many elements and changes a list had, before it is changed for the first time in the
  /// transaction.
  void NoteAtBegin(std::int64_t id, int count, std::int64_t change) {
    m_ListsAtBegin.try_emplace(id, ListAtBegin{count, change, false, 0});
  }
  void NoteMade(std::int64_t id) {
    m_ListsAtBegin.insert_or_assign(id, ListAtBegin{0, 0, true, m_SaveNumber});
  }

  /// Full when so many more bytes of arrays in memory would have to be kept until the transaction ends than
  /// the options allow; `describe` names what is saved.
  template <class Describe> void CheckKeptBytes(std::int64_t more, Describe describe) const {
    if (more > m_MaxKeptBytes - m_KeptBytes) RaiseKeptBytes(more, describe());
  }
  void AddKeptBytes(std::int64_t bytes) noexcept { m_KeptBytes += bytes; }
  /// Lets every container that is tied to a collection write back what it has. In a write transaction.
  void FlushHolders();
  /// Does that in one transaction of its own, if there is anything to write. When it raises, containers have
  /// what they had. Misuse while a transaction is open.
  void Close();

  /// The save, and the load, of single elements that are going on; the mementos of elements keep them.
  [[nodiscard]] std::weak_ptr<sto_ElementSave>& ElementSave() noexcept { return m_ElementSave; }
  [[nodiscard]] std::weak_ptr<sto_ElementRead>& ElementRead() noexcept { return m_ElementRead; }

  // --- one save

  /// Starts a save under a root name, or of an element: its objects are written once each. A save that fails
  /// is undone as a whole.
  void BeginSave(std::string_view const* root = nullptr);
  void EndSave();
  void UndoSave() noexcept;

  [[nodiscard]] bool InSave() const noexcept { return m_InSave; }

  /// The number of the latest save.
  [[nodiscard]] std::int64_t SaveNumber() const noexcept { return m_SaveNumber; }

  /// Misuse when no save is going on.
  void CheckSave() const;

  /// An object of the save failed: the save can only be undone, even when nobody passes the failure on.
  void MarkIncomplete() noexcept { m_IsIncomplete = true; }

  /// The tie of an identity, with a new object id when it has none.
  [[nodiscard]] sto_IdentityMap::Tie& TieOf(cls_Uid const& uid);

  /// An object id for an object that has no identity in this program. Full when there are none left.
  [[nodiscard]] std::int64_t TakeId();

  /// Whether an object id has been given out.
  [[nodiscard]] bool IsGivenOut(std::int64_t id) const noexcept { return id > 0 && id < m_NextId; }

  /// What the saves of the transaction have met.
  [[nodiscard]] sto_Reach& Reach() noexcept { return m_Reach; }

  /// Whether the object's id was given out in this save, so that nothing of it can be in the store yet.
  [[nodiscard]] bool IsNewInSave(std::int64_t id) const noexcept { return id >= m_FirstIdOfSave; }

  /// Whether an object's id was given out in the open transaction: the object goes with it.
  [[nodiscard]] bool IsNewInTransaction(std::int64_t id) const noexcept {
    return m_IsWriting && id >= m_FirstIdOfTransaction;
  }

  /// Compares the collection written under an id with the one that was written under it in this save before,
  /// if any: two different values cannot stand under one identity. Raises Conflict; `what` says what they
  /// are.
  void CheckSameCollection(std::int64_t id, std::uint64_t hash, char const* what = "lists");

  /// A class that is to be written, described in the store. Misuse for an undeclared class.
  [[nodiscard]] sto_ClassInUse& ClassToWrite(unsigned int classId);

  [[nodiscard]] sto_FieldKey KeyToWrite(cls_FieldHandle const& field);

  /// A builder for the record of one object, and its way back: builders keep their memory, so that most
  /// objects are written without any allocation for their records.
  [[nodiscard]] std::unique_ptr<sto_RecordBuilder> TakeBuilder();
  void ReturnBuilder(std::unique_ptr<sto_RecordBuilder> builder) noexcept;

  // --- reading

  /// The key of a field, none when the store has never seen the name.
  [[nodiscard]] std::optional<sto_FieldKey> KeyToRead(cls_FieldHandle const& field);

  /// Reads and decodes an object; null when there is none. Damaged when its bytes do not fit, or the store's
  /// catalogue does not describe what it has; NewerFormat when a newer version of its class wrote it than
  /// this program declares.
  [[nodiscard]] sto_RecordRef ReadRecord(std::int64_t id);

  /// A record for a short look; whoever needs one next overwrites it.
  [[nodiscard]] sto_Record& Scratch() noexcept { return m_Scratch; }

  // --- errors

  /// Raises with the store's name before the message.
  [[noreturn]] void Raise(sto_ErrorKind kind, std::string const& message,
                          sto_SourceLine line = sto_SourceLine::Current()) const;

  /// Keeps a failure that happened where none can be raised; the first one stays.
  void Keep(std::exception_ptr failure) noexcept;
  /// Raises a kept failure, once.
  void RaiseKept();

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
  /// A record that nobody uses, or a new one. Kept ones keep their memory.
  [[nodiscard]] sto_RecordRef& SpareRecord();
  /// Misuse in another thread than the session's, and when the program's registrar is gone.
  void CheckUse() const;
  /// Damaged when a part of an object does not fit the store's catalogue; NewerFormat.
  void CheckPart(std::int64_t id, unsigned int classId, sto_Part const& part);
  void DropNewTies(std::int64_t firstNewId) noexcept;
  void WriteAgentRecords();
  [[noreturn]] void RaiseKeptBytes(std::int64_t more, std::string const& what) const;
  void EndTransaction() noexcept;

  /// Calls `act` with each agent there is; a step with one of them may end others, and begin another walk.
  template <class Act> void ForEachAgent(Act act);

  /// A walk over the agents, and the one that it is part of.
  struct Walk {
    sto_CollectionAgent* m_Next;
    Walk* m_Outer;
  };

  std::shared_ptr<sto_Session*> m_Self = std::make_shared<sto_Session*>(this);
  std::thread::id m_Thread = std::this_thread::get_id();
  std::shared_ptr<bool const> m_RegistrarLives;
  std::string m_Location;
  std::unique_ptr<sto_Driver> m_Driver;
  sto_Catalogue m_Catalogue;
  sto_IdentityMap m_Identities;
  sto_Reach m_Reach;
  std::shared_ptr<sto_LoadedObjects> m_Loaded = std::make_shared<sto_LoadedObjects>();
  std::unordered_map<std::int64_t, sto_CollectionAgent*> m_Agents;
  sto_CollectionAgent* m_FirstAgent = nullptr; // of the chain of all, also those of lost collections
  Walk* m_Walk = nullptr;                      // the innermost one that is going on
  std::unordered_set<sto_BlobAgent*> m_OpenBlobs;
  std::unordered_set<sto_AgentProxy*> m_OpenProxies;
  std::unordered_map<std::int64_t, ListAtBegin> m_ListsAtBegin; // those that the transaction has changed
  struct BlobChange {
    std::int64_t m_Change;
    std::int64_t m_Transaction;
    std::int64_t m_Save;
  };
  std::unordered_map<std::int64_t, BlobChange> m_BlobChanges;
  bool m_IsStrict;
  std::int64_t m_MaxKeptBytes;
  std::int64_t m_KeptBytes = 0;
  std::weak_ptr<sto_ElementSave> m_ElementSave;
  std::weak_ptr<sto_ElementRead> m_ElementRead;

  bool m_InTransaction = false;
  bool m_IsWriting = false;
  bool m_InSave = false;
  bool m_IsIncomplete = false;
  sto_Keeping m_Keeping = sto_Keeping::Nothing; // of the open write transaction
  std::int64_t m_TransactionNumber = 0;
  std::int64_t m_ChangeCounter = -1;
  std::int64_t m_NextId = 1;
  std::int64_t m_FirstIdOfTransaction = 1;
  std::int64_t m_FirstIdOfSave = 1;
  std::int64_t m_SaveNumber = 0;
  std::unordered_map<std::int64_t, std::uint64_t> m_ListsOfSave;
  std::exception_ptr m_Kept;
  std::int64_t m_KeptIn = 0; // the number of the write transaction that was open when it happened, 0 for none
  std::array<sto_RecordRef, 8> m_Records; // those that reads have used last
  std::size_t m_NextRecord = 0;
  sto_Record m_Scratch;
  std::vector<std::unique_ptr<sto_RecordBuilder>> m_Builders; // that nobody uses
};
