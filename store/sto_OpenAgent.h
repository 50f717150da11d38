#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/sto_HolderSlot.h"
#include "store/sto_Record.h"
#include "store/sto_Session.h"

/// What the agents of all kinds of collections have in common: when their record is read and written, who
/// holds the agent, and its life beside the session. Internal to the module.
///
/// A collection has one agent a session, which all containers of that collection share. It outlives saves and
/// transactions; when the session closes, its containers are detached, and an agent that somebody still holds
/// raises Unavailable at every operation.
///
/// Invariants: 1. What the agent knows of the collection is what is stored as the latest transaction saw it,
/// plus what this session has written since (m_IsPending). 2. What fails while the last holder lets go is
/// kept by the session, because that happens in destructors.
class sto_OpenAgent {
 public:
  /// Not registered with the session; see Register. `id` is 0 for a collection that is not stored.
  sto_OpenAgent(sto_Session& session, std::int64_t id);
  sto_OpenAgent(sto_OpenAgent const&) = delete;
  sto_OpenAgent& operator=(sto_OpenAgent const&) = delete;
  virtual ~sto_OpenAgent();

  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  /// "list of double", for messages.
  [[nodiscard]] virtual std::string What() const = 0;

  /// Makes the agent the session's one for the collection.
  void Register();

  /// A collection that is made now. It is stored with the next pending records.
  void StartNew(int sizeHint);
  /// A collection that is stored; `record` is its object. Damaged, WrongClass for one of another kind.
  void Open(sto_RecordRef const& record);

  /// Reads the record again when another session has committed. In a transaction. NotFound when the
  /// collection is not there any more.
  void Synchronise();
  /// Lets every container write back what it has.
  void FlushHolders();
  /// Writes the collection's record if it has changed.
  void WriteRecord();
  /// The work of a transaction is undone: containers drop what they have, and a collection whose id is
  /// `firstNewId` or later was never there, so that they are detached. May delete the agent.
  void DropUncommitted(std::int64_t firstNewId) noexcept;
  /// Whether this save has written to the collection.
  [[nodiscard]] bool WasWrittenIn(std::int64_t saveNumber) const noexcept {
    return m_WrittenInSave == saveNumber;
  }
  /// The session ends: containers are flushed and detached. May delete the agent.
  void CloseSession() noexcept;

 protected:
  /// The session; Unavailable when it is closed.
  [[nodiscard]] sto_Session& Session() const;
  [[nodiscard]] bool IsClosed() const noexcept { return m_Session == nullptr; }
  [[nodiscard]] bool IsLettingGo() const noexcept { return m_References == 0; }
  /// Whether what is written now is ignored, because it is being undone or the session ends.
  [[nodiscard]] bool IsDropping() const noexcept { return m_IsDropping; }
  /// "The list of object 7".
  [[nodiscard]] virtual std::string Describe() const = 0;

  /// Notes that the collection was written.
  void NoteChanged();
  /// Misuse outside of a write transaction.
  void CheckWriting() const;

  // What the agents of all interfaces answer.
  [[nodiscard]] bool AskChanged();
  [[nodiscard]] bool IsReadOnly() const;
  /// The record is written with the transaction; a holder that has let go leaves no later chance.
  void EndOfFlush();
  void Hold(cls_PC* holder);
  void Release() noexcept;
  [[nodiscard]] std::vector<cls_PC*> Holders() const;

  /// The class under which the collection is stored.
  [[nodiscard]] virtual unsigned int StoredClassId() const = 0;
  /// Takes what a stored collection has, and returns how many elements those are. WrongClass, Damaged.
  virtual int TakeContent(sto_RecordRef const& record) = 0;
  /// Puts the collection into its new record, and writes what does not stand there.
  virtual void PutContent(sto_RecordBuilder& builder) = 0;
  /// Forgets what was read ahead.
  virtual void ForgetBlocks() noexcept {}
  /// The collection was never there: it has no elements.
  virtual void Empty() noexcept = 0;
  /// Makes a container of this agent forget its elements and take the stored size.
  virtual void RefreshHolder(cls_PC* holder) = 0;

  int m_SizeHint = 0;
  int m_References = 0;

 private:
  void TakeRecord(sto_RecordRef const& record);

  sto_Session* m_Session;
  std::string m_Location;
  std::int64_t m_Id;
  bool m_IsRegistered = false;
  bool m_IsPending = false;
  bool m_IsDropping = false;
  std::int64_t m_Change = 0; // how often the collection was written, counted in its record
  std::int64_t m_SeenChange = 0;
  std::int64_t m_State = -1; // the store's change counter when the record was read
  std::int64_t m_WrittenInSave = 0;
  std::vector<std::unique_ptr<sto_HolderSlot>> m_Slots;
};
