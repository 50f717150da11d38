#pragma once

#include <cstdint>
#include <string>

#include "persist/identity/cls_Uid.h"
#include "store/format/sto_Record.h"
#include "store/session/sto_Keeping.h"

/// Receives a list that is copied from another session. Internal to the module.
class sto_ListTarget {
 public:
  /// Writes the next block of the list, whose elements have a type of sto_Format; `elements` is sealed.
  virtual void WriteBlock(sto_Bytes& elements, std::uint8_t elementType) = 0;
  /// Completes a list whose elements are all in blocks. `unit`: of its elements, or empty.
  virtual void CompleteList(sto_ListHeader header, std::string_view unit) = 0;

 protected:
  ~sto_ListTarget() = default;
};

/// A collection that a session has open: what the session, its saves and the records in progress need from
/// its agent, which implements this. sto_Session.h describes the order of the calls. Internal to the module.
/// Thread rule: the thread of the session.
class sto_OpenCollection {
 public:
  /// `id` is 0 for a collection that is not stored.
  explicit sto_OpenCollection(std::int64_t id) noexcept : m_Id(id) {}
  sto_OpenCollection(sto_OpenCollection const&) = delete;
  sto_OpenCollection& operator=(sto_OpenCollection const&) = delete;
  virtual ~sto_OpenCollection() = default;

  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  /// Whether the collection was made in work that was undone. Its agent then only remembers that containers
  /// still hold elements of it.
  [[nodiscard]] bool IsLost() const noexcept { return m_IsLost; }

  /// "list of double", for messages.
  [[nodiscard]] virtual std::string What() const = 0;
  /// The store, for messages.
  [[nodiscard]] virtual std::string const& Where() const noexcept = 0;
  /// Whether a lost collection had this identity.
  [[nodiscard]] virtual bool WasUnder(cls_UidCatalogEntry const* entry) const noexcept = 0;
  [[noreturn]] virtual void RaiseLost() const = 0;
  /// Whether the container at an address holds the agent.
  [[nodiscard]] virtual bool IsHeldBy(void const* container) const noexcept = 0;

  /// Reads the record again if another session has committed. NotFound if the collection no longer exists.
  /// REQUIRES: an open transaction.
  virtual void Synchronise() = 0;
  /// Writes the collection's record if it has changed.
  void WriteRecord() {
    if (m_IsPending) WritePendingRecord();
  }
  /// Lets every container write its unwritten changes.
  virtual void FlushHolders() = 0;
  /// Whether a container has unwritten changes.
  [[nodiscard]] virtual bool HasUnwrittenHolders() const noexcept = 0;
  /// Copies the elements, as the containers show them, to an object of another session; false for a kind that
  /// cannot be copied like this. `container` is the address of the container to copy from, or null.
  /// REQUIRES: the other session is saving.
  virtual bool CopyInto(sto_ListTarget& target, void const* container) = 0;

  // --- transactions and saves

  /// A transaction begins that restores whatever containers have now: keeps it.
  virtual void KeepForRollback() = 0;
  /// A save begins or ends. Writes the record, unless the agent can undo the changes of a save in memory.
  virtual void WriteForMark() = 0;
  /// The transaction, or the save, can no longer be undone: forgets what was kept.
  virtual void ForgetBegin() noexcept = 0;
  virtual void ForgetMark() noexcept = 0;
  /// Misuse if the ending save made the collection and a container could not write all its elements.
  virtual void CheckWhole() const = 0;
  /// Called before ids are untied: a collection that is about to be lost keeps its identity.
  virtual void NoteIdentity(bool isRollback) noexcept = 0;
  /// The storage has undone the work of a save, or of a transaction. May delete the agent.
  virtual void UndoSave() noexcept = 0;
  virtual void UndoTransaction(sto_Keeping kept) noexcept = 0;
  /// The session ends: flushes and detaches the containers. May delete the agent.
  virtual void CloseSession() noexcept = 0;

 protected:
  virtual void WritePendingRecord() = 0;

  bool m_IsPending = false; ///< the record has changed since it was written; set by the agent
  bool m_IsLost = false;    ///< set by the agent when the work that made the collection is undone

 private:
  friend class sto_Collections;

  std::int64_t m_Id;
  sto_OpenCollection* m_Next = nullptr; // in the chain of sto_Collections
  sto_OpenCollection* m_Previous = nullptr;
  int m_TouchedAt = -1; // where it is among the touched ones of sto_Collections; -1: it is not
};
