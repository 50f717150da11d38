#pragma once

#include <array>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "store/sto_Catalogue.h"
#include "store/sto_Driver.h"
#include "store/sto_ErrorKind.h"
#include "store/sto_IdentityMap.h"
#include "store/sto_LoadedObjects.h"
#include "store/sto_Place.h"
#include "store/sto_RecordRef.h"

class cls_FieldHandle;
class sto_BlobAgent;
class sto_ElementRead;
class sto_ElementSave;
class sto_OpenAgent;

/// What the mementos of one open store share: the driver, the identity map, the catalogue, and the state of
/// the save or load that is going on. Internal to the module.
///
/// Invariants: 1. Writing happens inside a write transaction only. 2. A failure that happened in a destructor
/// is kept and raised by the next operation, by the end of the save, or by the commit. 3. Work that is undone
/// leaves no tie behind: the ids it gave out are untied, and no agent of a blob has one of them.
///
/// Thread rule: one thread.
class sto_Session {
 public:
  sto_Session(std::string location, std::unique_ptr<sto_Driver> driver, cls_ClassRegistrar const& registrar);
  ~sto_Session();
  sto_Session(sto_Session const&) = delete;
  sto_Session& operator=(sto_Session const&) = delete;

  [[nodiscard]] std::string const& Location() const noexcept { return m_Location; }
  [[nodiscard]] sto_Driver& Driver() noexcept { return *m_Driver; }
  [[nodiscard]] sto_Catalogue& Catalogue() noexcept { return m_Catalogue; }
  [[nodiscard]] sto_IdentityMap& Identities() noexcept { return m_Identities; }
  [[nodiscard]] sto_LoadedObjects& Loaded() noexcept { return m_Loaded; }

  /// Where the session stands; null when it has ended. For agents that may outlive it.
  [[nodiscard]] std::shared_ptr<sto_Session*> const& Self() const noexcept { return m_Self; }

  // --- transactions

  [[nodiscard]] bool InTransaction() const noexcept { return m_InTransaction; }
  /// Unavailable when a failure has undone the open transaction, so that only Rollback is left.
  void CheckTransaction() const;
  [[nodiscard]] bool IsWriting() const noexcept { return m_IsWriting; }
  /// ReadOnly when the store is; Misuse when a transaction is open.
  void Begin(bool forWriting);
  /// Raises a kept failure first; the transaction stays open when it fails.
  void Commit();
  void Rollback() noexcept;

  /// A number that was another before the latest other session committed. As of the beginning of the open, or
  /// latest, transaction.
  [[nodiscard]] std::int64_t ChangeCounter() const noexcept { return m_ChangeCounter; }

  // --- agents of lists and maps

  /// The agent of a collection, null when it has none.
  [[nodiscard]] sto_OpenAgent* FindAgent(std::int64_t collectionId) const noexcept;
  void AddAgent(sto_OpenAgent& agent);
  void RemoveAgent(sto_OpenAgent const& agent) noexcept;
  /// The agents there are; a step with one of them may end others.
  [[nodiscard]] std::vector<std::int64_t> AgentIds() const;
  /// The agents of blobs.
  [[nodiscard]] std::unordered_set<sto_BlobAgent*>& OpenBlobs() noexcept { return m_OpenBlobs; }
  /// Lets every container that is tied to a collection write back what it has. In a write transaction.
  void FlushHolders();

  /// The save, and the load, of single elements that are going on; the mementos of elements keep them.
  [[nodiscard]] std::weak_ptr<sto_ElementSave>& ElementSave() noexcept { return m_ElementSave; }
  [[nodiscard]] std::weak_ptr<sto_ElementRead>& ElementRead() noexcept { return m_ElementRead; }

  // --- one save

  /// Starts a save: its objects are written once each. A save that fails is undone as a whole.
  void BeginSave();
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

  /// Whether the object has been reached in this save already; from now on it has.
  [[nodiscard]] bool WasReached(sto_IdentityMap::Tie& tie) noexcept;

  /// Whether the object's id was given out in this save, so that nothing of it can be in the store yet.
  [[nodiscard]] bool IsNewInSave(std::int64_t id) const noexcept { return id >= m_FirstIdOfSave; }

  /// Compares the collection written under an id with the one that was written under it in this save before,
  /// if any: two different values cannot stand under one identity. Raises Conflict; `what` says what they
  /// are.
  void CheckSameList(std::int64_t id, std::uint64_t hash, char const* what = "lists");

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

  // --- errors

  /// Raises with the store's name before the message.
  [[noreturn]] void Raise(sto_ErrorKind kind, std::string const& message,
                          sto_Place place = sto_Place::Current()) const;

  /// Keeps a failure that happened where none can be raised; the first one stays.
  void Keep(std::exception_ptr failure) noexcept;
  /// Raises a kept failure, once.
  void RaiseKept();

 private:
  /// A record that nobody uses, or a new one. Kept ones keep their memory.
  [[nodiscard]] sto_RecordRef& SpareRecord();
  /// Damaged when a part of an object does not fit the store's catalogue; NewerFormat.
  void CheckPart(std::int64_t id, unsigned int classId, sto_Part const& part);
  void DropNewTies(std::int64_t firstNewId) noexcept;
  void WriteAgentRecords();

  std::shared_ptr<sto_Session*> m_Self = std::make_shared<sto_Session*>(this);
  std::string m_Location;
  std::unique_ptr<sto_Driver> m_Driver;
  sto_Catalogue m_Catalogue;
  sto_IdentityMap m_Identities;
  sto_LoadedObjects m_Loaded;
  std::unordered_map<std::int64_t, sto_OpenAgent*> m_Agents;
  std::unordered_set<sto_BlobAgent*> m_OpenBlobs;
  std::weak_ptr<sto_ElementSave> m_ElementSave;
  std::weak_ptr<sto_ElementRead> m_ElementRead;

  bool m_InTransaction = false;
  bool m_IsWriting = false;
  bool m_InSave = false;
  bool m_IsIncomplete = false;
  std::int64_t m_ChangeCounter = -1;
  std::int64_t m_NextId = 1;
  std::int64_t m_FirstIdOfTransaction = 1;
  std::int64_t m_FirstIdOfSave = 1;
  std::int64_t m_SaveNumber = 0;
  std::unordered_map<std::int64_t, std::uint64_t> m_ListsOfSave;
  std::exception_ptr m_Kept;
  std::array<sto_RecordRef, 8> m_Records; // those that reads have used last
  std::size_t m_NextRecord = 0;
  std::vector<std::unique_ptr<sto_RecordBuilder>> m_Builders; // that nobody uses
};
