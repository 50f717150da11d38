#pragma once

#include "persist/cls_AgentListPrim.h"
#include "store/sto_ListAgentBase.h"
#include "store/sto_ListCodec.h"

/// The open line between a bulk array and its stored list. Internal to the module; see sto_OpenAgent.
///
/// Runs may have any alignment and length. Each run is one transaction when none is open: open one around
/// many. Reading in order reads ahead (sto_StoredBlocks). A run that begins beyond the end fills the gap with
/// zeros or strings without text.
template <class T> class sto_ListAgent final : public cls_AgentListPrim<T>, public sto_ListAgentBase {
 public:
  using Codec = sto_ElementCodec<T>;

  sto_ListAgent(sto_Session& session, std::int64_t id) : sto_ListAgentBase(session, id, Codec::ElementType) {}

  /// The session's agent of a list, made when there is none. `record` is null for a list that is not stored.
  static sto_ListAgent* OfStored(sto_Session& session, std::int64_t id, sto_RecordRef const& record);
  /// The session's agent of a list that is being saved.
  static sto_ListAgent* OfSaved(sto_Session& session, std::int64_t id, int sizeHint);

  int Count() override { return m_Count; }
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

 protected:
  void RefreshHolder(cls_PC* holder) override;

 private:
  static sto_ListAgent* Find(sto_Session& session, std::int64_t id);

  /// How many elements block `index` has.
  [[nodiscard]] int CountIn(int index) const noexcept;
  [[nodiscard]] int BlockCount() const noexcept;
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
};

extern template class sto_ListAgent<bool>;
extern template class sto_ListAgent<cow_String>;
extern template class sto_ListAgent<float>;
extern template class sto_ListAgent<double>;
extern template class sto_ListAgent<unsigned int>;
extern template class sto_ListAgent<int>;
