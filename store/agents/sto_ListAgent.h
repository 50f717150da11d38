#pragma once

#include <type_traits>

#include "persist/backend/cls_AgentListPrim.h"
#include "store/agents/sto_KeptBlocks.h"
#include "store/agents/sto_ListAgentBase.h"
#include "store/format/sto_ElementCodec.h"

/// The agent between bulk arrays and their stored list. Internal to the module; see sto_CollectionAgent.
///
/// Runs may have any alignment and length. Each run is a transaction of its own if none is open, so open one
/// around many runs. Reading in order reads ahead (sto_StoredBlocks). A run that begins beyond the end fills
/// the gap with zeros or strings without text. The save that makes a list must write it from 0 on without
/// gaps.
///
/// The agent keeps what arrays hold in memory, and restores it if a save or a transaction is undone. An array
/// that was in memory is then in memory again, complete. An array that was associated has its old size and its
/// unwritten elements again, and reads the other elements again: those of the moment when a transaction of the
/// program began, or when a save first touched the list. (A program may have thousands of arrays open, so a
/// save does not look at each when it begins.)
template <class T> class sto_ListAgent final : public cls_AgentListPrim<T>, public sto_ListAgentBase {
 public:
  using Codec = sto_ElementCodec<T>;

  sto_ListAgent(sto_Session& session, std::int64_t id) : sto_ListAgentBase(session, id, Codec::ElementType) {}

  ~sto_ListAgent() override { ForgetKeptAtBegin(); }

  /// "list of double", for messages.
  [[nodiscard]] static std::string Kind();
  [[nodiscard]] std::string What() const override { return Kind(); }

  /// See sto_AgentOfStored and sto_AgentOfSaved.
  static sto_ListAgent* OfStored(sto_Session& session, std::int64_t id, sto_RecordRef const& record);
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

  /// Of arrays that share blocks, flushes the longest first: a shorter one would mark the blocks as written.
  void FlushHolders() override;
  void CheckWhole() const override;
  [[nodiscard]] bool HasUnwrittenHolders() const noexcept override;
  bool CopyInto(sto_ListTarget& target, void const* container) override;

 protected:
  [[nodiscard]] void* ArrayOf(cls_PC& holder) const noexcept override;
  void NoteHolder(cls_PC& holder, sto_HolderSlot& slot) override;
  bool KeepAtBegin(sto_Keeping keeping) override;
  void KeepAtMark() override;
  void ForgetKeptAtBegin() noexcept override;
  void ForgetKeptAtMark() noexcept override;
  void PutBackAtBegin(bool isGone) noexcept override;
  void PutBackAtMark() noexcept override;
  bool RefreshHolders(bool isSeen) override;

 private:
  using KeptBlocks = sto_KeptBlocks<T>;

  /// What the agent was last requested for. The next container that registers is the one that requested it.
  enum class Purpose { Copying, Reading, Saving };

  /// Calls `act` with each bulk array that is registered, and its slot.
  template <class Act> void ForEachArray(Act act) const;
  /// Misuse if an array that is about to be stored does not have all its elements in memory.
  void CheckInMemory(cls_ArrayPrim<T> const& array) const;
  /// Keeps all blocks of an array that is in memory.
  void KeepInMemory(cls_ArrayPrim<T> const& array);
  /// The state that a newly registered array gets if the open transaction is undone.
  [[nodiscard]] sto_HolderSlot::Before BeforeOf(cls_ArrayPrim<T> const& array, Purpose purpose) const;
  void PutBack(KeptBlocks& blocks, sto_HolderSlot::Before sto_HolderSlot::*at, bool isGone) noexcept;
  /// Conflict if the container that `values` belong to has not seen a change by another session.
  void CheckSeen(int firstIndex, T const* values) const;

  /// How many elements block `index` has.
  [[nodiscard]] int CountIn(int index) const noexcept;
  void Write(int firstIndex, int count, T const* values);
  /// Writes `count` elements at `offset` of block `index`; the others stay.
  void WriteIntoBlock(int index, int offset, int count, T const* values);
  /// Appends full blocks to the list: as many as `count` elements fill, at most RunBlocks. Returns how many
  /// elements it wrote; 0 if the run does not begin at the end of the last block.
  int WriteNewBlocks(int firstIndex, int count, T const* values);
  void CheckBlockBytes(sto_Bytes const& content) const;
  /// Decodes `count` elements, from `offset` on, of a block that has `blockCount` elements.
  void Decode(int index, sto_ByteView content, int blockCount, int offset, int count, T* destination) const;
  [[noreturn]] void RaiseDamaged(int index) const;
  /// Copies `count` elements from `first` on, as an array shows them: those in memory, otherwise the stored
  /// ones.
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
extern template class sto_ListAgent<long long>;
extern template class sto_ListAgent<unsigned long long>;
extern template class sto_ListAgent<cls_Complex<float>>;
extern template class sto_ListAgent<cls_Complex<double>>;
