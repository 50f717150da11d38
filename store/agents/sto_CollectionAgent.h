#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "persist/identity/cls_Uid.h"
#include "store/agents/sto_HolderSlot.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/format/sto_RecordRef.h"
#include "store/session/sto_Session.h"

/// What the agents of all kinds of collections have in common: when the record is read and written, who holds
/// the agent, and how it outlives its session. Internal to the module. Thread rule: the thread of the
/// session.
///
/// A session has one agent for a collection; all containers of that collection share it. It outlives saves
/// and transactions. When the session closes, the containers are detached; an agent that is still held then
/// raises Unavailable at every operation. So does a lost agent, whose collection was made in undone work. It
/// stays registered only to remember that its containers still hold elements. sto_Session.h says who deletes
/// an agent.
///
/// Invariants:
/// 1. The agent knows the collection as the latest transaction saw it in the store, plus what this session
///    has changed since (m_IsPending).
/// 2. A failure while the last holder lets go is kept by the session, because it happens in a destructor.
/// 3. Undoing allocates nothing and cannot fail: everything it needs was kept when the work began. What must
///    be read again is read by the next operation.
/// 4. Changes by other sessions are counted (m_Foreign); a container that has not seen them cannot write.
class sto_CollectionAgent : public sto_OpenCollection {
 public:
  /// Does not register the agent with the session; see Register. `id` is 0 for a collection that is not
  /// stored.
  sto_CollectionAgent(sto_Session& session, std::int64_t id);
  ~sto_CollectionAgent() override;

  /// Registers the agent as the session's agent of the collection.
  void Register();

  /// Starts a new collection. Its record is pending afterwards. REQUIRES: a running save.
  void StartNew(int sizeHint);
  /// Takes over a stored collection; `record` is its object's. Damaged; WrongClass if it is of another kind.
  void TakeStored(sto_RecordRef const& record);

  void Synchronise() final;
  void FlushHolders() override;
  void KeepForRollback() final;
  void WriteForMark() final {
    if (!UndoesInMemory()) WriteRecord();
  }
  void ForgetMark() noexcept final { ForgetKeptAtMark(); }
  void ForgetBegin() noexcept final;
  void NoteIdentity(bool isRollback) noexcept final;
  void UndoSave() noexcept final;
  void UndoTransaction(sto_Keeping kept) noexcept final;
  void CheckWhole() const override {}
  [[nodiscard]] bool HasUnwrittenHolders() const noexcept override { return false; }
  void CloseSession() noexcept final;
  [[nodiscard]] std::string const& Where() const noexcept final { return m_Location; }
  [[nodiscard]] bool WasUnder(cls_UidCatalogEntry const* entry) const noexcept final {
    return m_IsLost && m_Identity && m_Identity->Entry() == entry;
  }
  [[noreturn]] void RaiseLost() const final;
  [[nodiscard]] bool IsHeldBy(void const* container) const noexcept final;
  bool CopyInto(sto_ListTarget&, void const*) override { return false; }

 protected:
  /// The session. Unavailable if it is closed, and for a lost collection.
  [[nodiscard]] sto_Session& Session() const;
  /// The session, without these checks. REQUIRES: not IsClosed.
  [[nodiscard]] sto_Session& Home() const noexcept { return *m_Session; }
  [[nodiscard]] bool IsClosed() const noexcept { return m_Session == nullptr; }
  [[nodiscard]] bool IsLettingGo() const noexcept { return m_References == 0; }
  /// "The list of object 7".
  [[nodiscard]] virtual std::string Describe() const = 0;
  /// Lets the session keep the exception that is being handled, because it cannot be raised here.
  void KeepFailure() const noexcept;

  /// Notes that the open write transaction touches the collection. The first time in a save or transaction,
  /// keeps what containers have now. Throws std::bad_alloc.
  void NoteTouched();
  /// Call before anything of the collection changes, in memory or in the store: keeps what undoing needs and
  /// marks the record as pending.
  void NoteChanged() {
    PrepareChange();
    MarkChanged();
  }
  /// The first half of NoteChanged, which can fail; then nothing has changed.
  void PrepareChange();
  /// The second half. REQUIRES: PrepareChange has succeeded.
  void MarkChanged() noexcept;
  /// Misuse outside a write transaction.
  void CheckWriting() const;
  /// Raises Conflict: another session has changed the collection since it was read here.
  [[noreturn]] void RaiseStale() const;
  /// How many changes by other sessions this one has seen.
  [[nodiscard]] std::int64_t Foreign() const noexcept { return m_Foreign; }
  /// Whether the record must be read again because work was undone.
  [[nodiscard]] bool IsOutdated() const noexcept { return m_ReadAtChange == -1; }
  [[nodiscard]] bool IsMadeInSave() const noexcept;
  [[nodiscard]] bool IsMadeInTransaction() const noexcept;

  // The common part of the agent interfaces' operations.
  [[nodiscard]] bool AskChanged();
  [[nodiscard]] bool IsReadOnly() const;
  /// Normally the record is written before the commit. If the last holder has let go, this is the last chance
  /// to write it, so it is written here.
  void EndOfFlush();
  /// Registers a container. If it raises, the container is not registered.
  void Hold(cls_PC* holder);
  void Release() noexcept;
  /// Calls `act` with each container and its slot.
  template <class Act> void ForEachHolder(Act act) const { m_Holders.ForEach(act); }
  [[nodiscard]] int HolderCount() const noexcept { return m_Holders.Count(); }

  /// The class under which the collection is stored.
  [[nodiscard]] virtual unsigned int StoredClassId() const = 0;
  /// Takes over the content of a stored collection; returns the number of its elements. WrongClass, Damaged.
  virtual int TakeContent(sto_RecordRef const& record) = 0;
  /// Puts the collection into its new record, and writes to blocks what the record does not contain.
  virtual void PutContent(sto_RecordBuilder& builder) = 0;
  /// Forgets what was read ahead.
  virtual void ForgetBlocks() noexcept {}
  /// How many elements the agent knows the collection to have.
  [[nodiscard]] virtual int KnownCount() const noexcept = 0;

  /// Whether the changes of a save are undone in memory. If not, the collection is written when a save
  /// begins, and read again after one is undone.
  [[nodiscard]] virtual bool UndoesInMemory() const noexcept { return false; }
  /// Undoes in memory what the running save has changed. Allocates nothing.
  virtual void UndoInMemory() noexcept {}
  /// Whether the record was pending when the running save began.
  [[nodiscard]] bool WasPendingAtMark() const noexcept;
  [[nodiscard]] bool IsInSave() const noexcept { return m_Session->Save().IsGoingOn(); }

  // For bulk arrays, which hold elements in memory. Other containers hold none, so there is nothing to do.
  virtual void NoteHolder(cls_PC&, sto_HolderSlot&) {}
  /// The container as the agent's own kind of bulk array; null if it is another kind of container.
  [[nodiscard]] virtual void* ArrayOf(cls_PC&) const noexcept { return nullptr; }
  /// Returns whether it has kept blocks, which ForgetKeptAtBegin then frees.
  virtual bool KeepAtBegin(sto_Keeping) { return false; }
  virtual void KeepAtMark() {}
  virtual void ForgetKeptAtBegin() noexcept {}
  virtual void ForgetKeptAtMark() noexcept {}
  virtual void PutBackAtBegin(bool) noexcept {}
  virtual void PutBackAtMark() noexcept {}
  /// Updates containers that have not seen a change by another session. Conflict if one of them has unwritten
  /// changes; then nothing is done. Returns whether the asking container must read again. `isSeen`: the
  /// stored collection has not changed since the last time a container asked.
  virtual bool RefreshHolders(bool isSeen) { return !isSeen; }
  /// Called when an operation shows the current collection.
  virtual void NoteShown() noexcept {}
  /// Whether the agent may delete itself if nothing refers to it. False for collections of objects, whose
  /// agents can be used without references.
  [[nodiscard]] virtual bool IsOwnedByHolders() const noexcept { return true; }

  /// Whether TakeContent is taking a change by another session. Set by TakeRecord.
  bool m_IsTakingForeign = false;
  int m_SizeHint = 0;   // set by StartNew and TakeRecord
  int m_References = 0; // changed by AddReference, Release and, for its own duration, by undoing and closing

 private:
  void WritePendingRecord() final;

  /// What undoing restores in the agent itself.
  struct State {
    std::int64_t m_Change = 0;
    std::int64_t m_SeenChange = 0;
    std::int64_t m_Of = 0; // the number of the transaction or save that had this state when it began
    bool m_IsPending = false;
  };

  void TakeRecord(sto_RecordRef const& record, bool isFirst);
  void Restore(State const& before) noexcept;
  /// Forgets what is known about the stored collection, because it may have been undone.
  void Outdate() noexcept;
  /// Turns the agent into a lost one: its collection was made in undone work. May delete the agent.
  void Lose() noexcept;

  sto_Session* m_Session; // null once the session has closed
  std::string m_Location;
  bool m_IsRegistered = false;
  std::int64_t m_Change = 0; // the collection's version (sto_ChangeNotes); the next one while it is pending
  std::int64_t m_SeenChange = 0;    // the value of m_Change that AskChanged last reported
  std::int64_t m_Foreign = 0;       // changes by other sessions; counted up by TakeRecord
  std::int64_t m_ReadAtChange = -1; // the store's change counter when the record was read
  State m_AtBegin;
  State m_AtMark;
  // The transaction and the save in which the collection was touched first; see NoteTouched.
  std::int64_t m_TouchedInTransaction = 0;
  std::int64_t m_TouchedInSave = 0;
  std::int64_t m_MadeInTransaction = 0; // the number of the transaction that made the collection
  std::int64_t m_MadeInSave = 0;        // the number of the save that made it
  std::int64_t m_ReadInSave = 0;        // the number of the save in which the record was read last
  std::optional<cls_Uid> m_Identity;    // of a lost collection
  cls_Holders<sto_HolderSlot> m_Holders;
};
