#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "persist/identity/cls_Uid.h"
#include "store/agents/sto_HolderSlot.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/format/sto_RecordRef.h"
#include "store/session/sto_Session.h"

/// What the agents of all kinds of collections have in common: when their record is read and written, who
/// holds the agent, and its life beside the session. Internal to the module.
///
/// A collection has one agent a session, which all containers of that collection share. It outlives saves and
/// transactions; when the session closes, its containers are detached, and an agent that somebody still holds
/// raises Unavailable at every operation. So does one whose collection was made in work that is undone: it is
/// lost, and stays in the session only so that what its containers hold cannot be forgotten.
///
/// Invariants: 1. What the agent knows of the collection is what is stored as the latest transaction saw it,
/// plus what this session has written since (m_IsPending). 2. What fails while the last holder lets go is
/// kept by the session, because that happens in destructors. 3. Undoing allocates nothing and cannot fail:
/// what it needs was kept when the work began; what has to be read again is read by the next operation.
/// 4. A change by another session is counted (m_Foreign); a container that has not seen it cannot write.
class sto_CollectionAgent : public sto_OpenCollection {
 public:
  /// Not registered with the session; see Register. `id` is 0 for a collection that is not stored.
  sto_CollectionAgent(sto_Session& session, std::int64_t id);
  ~sto_CollectionAgent() override;

  /// Makes the agent the session's one for the collection.
  void Register();

  /// A collection that is made now. It is stored with the next pending records.
  void StartNew(int sizeHint);
  /// A collection that is stored; `record` is its object. Damaged, WrongClass for one of another kind.
  void TakeStored(sto_RecordRef const& record);

  void Synchronise() final;
  void FlushHolders() override;
  void KeepForRollback(sto_Keeping keeping) final;
  void KeepForUndo() final;
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
  /// The session; Unavailable when it is closed, and for a lost collection.
  [[nodiscard]] sto_Session& Session() const;
  /// The same without a question, for what may not raise: not null unless IsClosed.
  [[nodiscard]] sto_Session& Home() const noexcept { return *m_Session; }
  [[nodiscard]] bool IsClosed() const noexcept { return m_Session == nullptr; }
  [[nodiscard]] bool IsLettingGo() const noexcept { return m_References == 0; }
  /// "The list of object 7".
  [[nodiscard]] virtual std::string Describe() const = 0;
  /// Keeps the failure that is being handled, as the session that may not raise it now.
  void KeepFailure() const noexcept;

  /// Notes that the collection is about to be written: before anything of it changes, here or in the store.
  void NoteChanged() {
    PrepareChange();
    MarkChanged();
  }
  /// The two halves: what can fail, and what cannot.
  void PrepareChange();
  void MarkChanged() noexcept;
  /// Misuse outside of a write transaction.
  void CheckWriting() const;
  /// Conflict: another session has changed the collection since it was looked at here.
  [[noreturn]] void RaiseStale() const;
  /// Changes by other sessions that this one has learnt of.
  [[nodiscard]] std::int64_t Foreign() const noexcept { return m_Foreign; }
  /// Whether what is known of the stored collection may be outdated.
  [[nodiscard]] bool IsOutdated() const noexcept { return m_ReadAtChange == -1; }
  [[nodiscard]] bool IsMadeInSave() const noexcept;
  [[nodiscard]] bool IsMadeInTransaction() const noexcept;

  // What the agents of all interfaces answer.
  [[nodiscard]] bool AskChanged();
  [[nodiscard]] bool IsReadOnly() const;
  /// The record is written with the transaction; a holder that has let go leaves no later chance.
  void EndOfFlush();
  /// When it raises, the container is not registered.
  void Hold(cls_PC* holder);
  void Release() noexcept;
  /// Calls `act` with each container and its slot.
  template <class Act> void ForEachHolder(Act act) const {
    for (std::unique_ptr<sto_HolderSlot> const& slot : m_Slots)
      if (cls_PC* const holder = slot->Holder()) act(*holder, *slot);
  }
  [[nodiscard]] int HolderCount() const noexcept;

  /// The class under which the collection is stored.
  [[nodiscard]] virtual unsigned int StoredClassId() const = 0;
  /// Takes what a stored collection has, and returns how many elements those are. WrongClass, Damaged.
  virtual int TakeContent(sto_RecordRef const& record) = 0;
  /// Puts the collection into its new record, and writes what does not stand there.
  virtual void PutContent(sto_RecordBuilder& builder) = 0;
  /// Forgets what was read ahead.
  virtual void ForgetBlocks() noexcept {}
  /// How many elements the collection has, as the agent knows.
  [[nodiscard]] virtual int KnownCount() const noexcept = 0;

  // What bulk arrays hold in memory. Other containers hold nothing that could be stale.
  virtual void NoteHolder(cls_PC&, sto_HolderSlot&) {}
  virtual void KeepAtBegin(sto_Keeping) {}
  virtual void KeepAtMark() {}
  virtual void ForgetKeptAtBegin() noexcept {}
  virtual void ForgetKeptAtMark() noexcept {}
  virtual void PutBackAtBegin(bool) noexcept {}
  virtual void PutBackAtMark() noexcept {}
  /// Brings containers up to date that have not seen a change by another session. Conflict, and nothing is
  /// done, when one of them has elements that it has not written. Returns whether whoever asks is to look
  /// again; `isSeen`: the stored collection is as it was when somebody asked last.
  virtual bool RefreshHolders(bool isSeen) { return !isSeen; }
  /// An operation shows the collection as it is now.
  virtual void NoteShown() noexcept {}
  /// Whether an agent that nobody refers to can go. Collections of objects are used without references.
  [[nodiscard]] virtual bool IsOwnedByHolders() const noexcept { return true; }

  /// The content that is being taken replaces one that this session knows, by another session's change.
  bool m_IsTakingForeign = false;
  /// Containers were tied to the collection in this transaction that were in memory before.
  bool m_HasNewHolders = false;

  int m_SizeHint = 0;
  int m_References = 0;

 private:
  void WritePendingRecord() final;

  /// What undoing restores of the agent itself.
  struct Standing {
    std::int64_t m_Change = 0;
    std::int64_t m_SeenChange = 0;
    std::int64_t m_Of = 0; // the number of the transaction or save at whose beginning that was so
  };

  void TakeRecord(sto_RecordRef const& record, bool isFirst);
  void Restore(Standing const& before) noexcept;
  /// What is known of the stored collection may be undone.
  void Outdate() noexcept;
  /// What is left of a collection that was made in undone work. May delete the agent.
  void Lose() noexcept;

  sto_Session* m_Session;
  std::string m_Location;
  bool m_IsRegistered = false;
  std::int64_t m_Change = 0; // how often the collection was written, counted in its record
  std::int64_t m_SeenChange = 0;
  std::int64_t m_Foreign = 0;
  std::int64_t m_ReadAtChange = -1; // the store's change counter when the record was read
  Standing m_AtBegin;
  Standing m_AtMark;
  std::int64_t m_MadeInTransaction = 0; // the number of the one that made the collection
  std::int64_t m_MadeInSave = 0;
  std::optional<cls_Uid> m_Identity; // of a lost collection
  std::vector<std::unique_ptr<sto_HolderSlot>> m_Slots;
};
