#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/sto_HolderSlot.h"
#include "store/sto_Record.h"
#include "store/sto_Session.h"
#include "store/sto_StoredBlocks.h"

/// What the list agents of all element types have in common: the stored list's header, who holds the agent,
/// and its life beside the session. Internal to the module.
///
/// A list has one agent a session, which all containers of that list share. It outlives saves and
/// transactions; when the session closes, its containers are detached, and an agent that somebody still holds
/// raises Unavailable at every operation.
///
/// Invariants: 1. The header in memory is the stored one as the latest transaction saw it, plus what this
/// session has written since (m_IsPending). 2. What fails while the last holder lets go is kept by the
/// session, because that happens in destructors.
class sto_ListAgentBase {
 public:
  /// Not registered with the session; see Register.
  sto_ListAgentBase(sto_Session& session, std::int64_t id, std::uint8_t elementType);
  sto_ListAgentBase(sto_ListAgentBase const&) = delete;
  sto_ListAgentBase& operator=(sto_ListAgentBase const&) = delete;
  virtual ~sto_ListAgentBase();

  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  [[nodiscard]] std::uint8_t ElementType() const noexcept { return m_ElementType; }

  /// Makes the agent the session's one for the list.
  void Register();

  /// A list that is made now. It is stored with the next pending records.
  void StartNew(int sizeHint);
  /// A list that is stored; `record` is its object. Damaged, WrongClass for one of another element type.
  void Open(std::shared_ptr<sto_Record const> const& record);

  /// Lets every container write back what it has.
  void FlushHolders();
  /// Writes the list's record if it has changed.
  void WriteRecord();
  /// The work of a transaction is undone: containers drop what they have, and a list whose id is `firstNewId`
  /// or later was never there, so that they are detached. May delete the agent.
  void DropUncommitted(std::int64_t firstNewId) noexcept;
  /// Whether this save has written to the list.
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
  [[nodiscard]] std::string Describe() const { return "The list of object " + std::to_string(m_Id); }

  /// Reads the header again when another session has committed. In a transaction.
  void Synchronise();
  /// Notes that elements were written, and that there are `count` now.
  void NoteWritten(int count);
  /// Stores an inline list in blocks. In a write transaction.
  void MoveOutOfRecord();

  void Hold(cls_PC* holder);
  void Release() noexcept;
  [[nodiscard]] std::vector<cls_PC*> Holders() const;
  /// Makes a container of this agent forget its elements and take the stored size.
  virtual void RefreshHolder(cls_PC* holder) = 0;

  sto_StoredBlocks& Blocks() noexcept { return m_Blocks; }

  int m_Count = 0;
  int m_SizeHint = 0;
  int m_References = 0;
  bool m_IsDropping = false; // writes are ignored
  std::int64_t m_Change = 0; // how often the list was written, counted in its record
  std::int64_t m_SeenChange = 0;
  std::shared_ptr<sto_Record const> m_InlineRecord; // holds the elements of an inline list
  sto_ByteView m_Inline;

 private:
  void TakeHeader(sto_Record const& record);

  sto_Session* m_Session;
  std::string m_Location;
  std::int64_t m_Id;
  std::uint8_t m_ElementType;
  int m_Width = 1;
  bool m_IsRegistered = false;
  bool m_IsPending = false;
  std::int64_t m_State = -1; // the store's change counter when the header was read
  std::int64_t m_WrittenInSave = 0;
  sto_StoredBlocks m_Blocks;
  std::vector<std::unique_ptr<sto_HolderSlot>> m_Slots;
};
