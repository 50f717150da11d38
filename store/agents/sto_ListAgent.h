#pragma once

#include <type_traits>

#include "persist/backend/cls_AgentListPrim.h"
#include "store/agents/sto_KeptBlocks.h"
#include "store/agents/sto_ListAgentBase.h"
#include "store/format/sto_ElementCodec.h"

/// Nothing to keep: for element types that no bulk array has.
struct sto_NoKeptBlocks {};

/// The open line between a bulk array and its stored list. Internal to the module; see sto_CollectionAgent.
///
/// Runs may have any alignment and length. Each run is one transaction when none is open: open one around
/// many. Reading in order reads ahead (sto_StoredBlocks). A run that begins beyond the end fills the gap with
/// zeros or strings without text; but the save that makes a list writes it from 0 on without gaps.
///
/// What arrays hold in memory is kept from the beginning of a save or a transaction, and put back when the
/// work is undone: an array that was in memory is in memory again, whole; one that was associated has the
/// size and the unwritten elements that it had then, and reads the others again.
template <class T> class sto_ListAgent final : public cls_AgentListPrim<T>, public sto_ListAgentBase {
 public:
  using Codec = sto_ElementCodec<T>;

  sto_ListAgent(sto_Session& session, std::int64_t id) : sto_ListAgentBase(session, id, Codec::ElementType) {}

  ~sto_ListAgent() override { ForgetKeptAtBegin(); }

  /// "list of double", for messages.
  [[nodiscard]] static std::string Kind();
  [[nodiscard]] std::string What() const override { return Kind(); }

  /// The session's agent of a list, made when there is none. `record` is null for a list that is not stored.
  static sto_ListAgent* OfStored(sto_Session& session, std::int64_t id, sto_RecordRef const& record);
  /// The session's agent of a list that is being saved.
  static sto_ListAgent* OfSaved(sto_Session& session, std::int64_t id, int sizeHint);

  int Count() override;
  int SizeHint() override { return m_SizeHint; }
  bool Changed() override { return AskChanged(); }
  void EndFlush() override { EndOfFlush(); }
  void WriteRun(int firstIndex, int count, T const* values) override;
  int ReadRun(int firstIndex, int count, T* destination) override;
  void AddReference() override { ++m_References; }
  void DropReference() override { Release(); }
  bool StillReferenced() override { return m_References > 0; }
  bool ReadOnly() override { return IsReadOnly(); }
  void RegisterHolder(cls_PC* holder) override { Hold(holder); }

  /// Of arrays that share blocks the longest first: a shorter one would mark them as written.
  void FlushHolders() override;
  void CheckWhole() const override;
  [[nodiscard]] bool HasUnwrittenHolders() const noexcept override;
  bool CopyInto(sto_ListTarget& target, void const* container) override;

 protected:
  void NoteHolder(cls_PC& holder, sto_HolderSlot& slot) override;
  void KeepAtBegin(sto_Keeping keeping) override;
  void KeepAtMark() override;
  void ForgetKeptAtBegin() noexcept override;
  void ForgetKeptAtMark() noexcept override;
  void PutBackAtBegin(bool isGone) noexcept override;
  void PutBackAtMark() noexcept override;
  bool RefreshHolders(bool isSeen) override;

 private:
  /// Whether cls_ArrayPrim has instances of T.
  static constexpr bool IsArrayElement = !std::is_same_v<T, unsigned int>;
  using KeptBlocks = typename std::conditional_t<IsArrayElement, std::type_identity<sto_KeptBlocks<T>>,
                                                 std::type_identity<sto_NoKeptBlocks>>::type;

  /// What the agent was handed out for last; the container that registers next was handed it.
  enum class Purpose { Copying, Reading, Saving };

  /// Calls `act` with each bulk array that is registered, and its slot.
  template <class Act> void ForEachArray(Act act) const;
  /// Misuse when an array that is about to be stored does not have all its elements in memory.
  void CheckInMemory(cls_ArrayPrim<T> const& array) const;
  /// Keeps all blocks of an array that is in memory.
  void KeepInMemory(cls_ArrayPrim<T> const& array);
  /// How an array that registers now goes back when the open transaction is undone.
  [[nodiscard]] sto_HolderSlot::Before BeforeOf(cls_ArrayPrim<T> const& array, Purpose purpose) const;
  void PutBack(KeptBlocks& blocks, sto_HolderSlot::Before sto_HolderSlot::*at, bool isGone) noexcept;
  /// Conflict when the container whose elements `values` are has not seen a change by another session.
  void CheckSeen(int firstIndex, T const* values) const;

  /// How many elements block `index` has.
  [[nodiscard]] int CountIn(int index) const noexcept;
  void Write(int firstIndex, int count, T const* values);
  /// Writes `count` elements at `offset` of block `index`; the others stay.
  void WriteIntoBlock(int index, int offset, int count, T const* values);
  /// Writes whole blocks behind the list's last one, as many as `count` has and at most RunBlocks; returns
  /// how many elements that are, none when the run does not begin there.
  int WriteNewBlocks(int firstIndex, int count, T const* values);
  void CheckBlockBytes(sto_Bytes const& content) const;
  /// Decodes `count` elements from `offset` on of a block that has `blockCount`.
  void Decode(int index, sto_ByteView content, int blockCount, int offset, int count, T* destination) const;
  [[noreturn]] void RaiseDamaged(int index) const;
  /// Of the elements from `first` on, which `count` an array shows: its own where they are in memory, stored
  /// ones otherwise.
  void Collect(cls_ArrayPrim<T> const* array, int first, int count, T* destination);

  Purpose m_Purpose = Purpose::Copying;
  KeptBlocks m_KeptAtBegin;
  KeptBlocks m_KeptAtMark;
  std::int64_t m_KeptBytes = 0; // of arrays that were in memory when the transaction began
};

extern template class sto_ListAgent<bool>;
extern template class sto_ListAgent<cow_String>;
extern template class sto_ListAgent<float>;
extern template class sto_ListAgent<double>;
extern template class sto_ListAgent<unsigned int>;
extern template class sto_ListAgent<int>;
