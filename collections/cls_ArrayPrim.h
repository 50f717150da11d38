#pragma once

#include "collections/cls_ArrayPrimBuffer.h"
#include "collections/cls_PTrie.h"
#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_Complex.h"
#include "persist/backend/cls_PC.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_CountedHld.h"
#include "platform/kvl_Export.h"

/// Growable array of primitive values that belongs to a persistent object and can be far larger than memory.
/// Elements are kept in blocks of 2048. For data that fits in memory and is saved as a whole, use a plain
/// container instead.
///
/// *In memory* (no agent) all blocks stay in memory. *Associated* with a store (read from one, written to
/// one, or copied from an associated array) the array reads and writes storage through a list agent: a block
/// is read when one of its elements is first touched. Touching an element of another block first writes back
/// every changed block and drops it, so that one block stays in memory. A reference to an element is valid
/// until another element is touched.
///
/// It is a handle, not a value: copies share blocks and agent. A write through one copy is seen by the
/// others, a change of the size is not. The last holder of an agent flushes it and deletes it.
///
/// Saving and undoing. When a save or a transaction that associated the array with its list is undone, a back
/// end restores the array: in memory, with its identity and elements (see sto_Transaction::Rollback).
/// References to elements are then invalid. An array that belongs to one store and is saved in another stays
/// with the first; the back end decides whether the other store gets a copy (with sto_Store it does).
///
/// Memory. Intentional: destroying an array frees none of its blocks, because other holders of the trie may
/// still use them. An owner that wants the memory back calls Release (associated) or DropBlocks (in memory)
/// first.
///
/// Invariants:
/// 1. Element i is in the block that starts at i rounded down to a multiple of 2048.
/// 2. A block is dirty if an element of it may have been changed through Get or Append since it was last
///    written.
///
/// Misuse prints its message to the standard error stream, without line end, and continues; if that means
/// using a missing block or agent, the process crashes. Errors of the store pass through every operation that
/// reads or writes a block.
///
/// `T` is int, float, double, bool (one byte each) or cow_String; where the back end has agents for them, also unsigned
/// int, an integer of 64 bits or cls_Complex. Counts and indexes are in elements. The order of the virtual operations is frozen. Thread rule: the array, its agent and its blocks belong to one
/// thread.
template <class T> class cls_ArrayPrim : public cls_PC {
 public:
  using Buffer = cls_ArrayPrimBuffer<T>;

  /// An empty array in memory, with a fresh identity.
  cls_ArrayPrim();

  /// Shares the other's blocks and agent, and takes its identity.
  cls_ArrayPrim(cls_ArrayPrim const& other);

  /// Opens the array that the visitor's object is. Reads no element yet.
  explicit cls_ArrayPrim(cls_ReadVisitor const& visitor);

  /// Writes back and drops the agent. Frees no block; see Memory above.
  ~cls_ArrayPrim() override;

  /// Drops the own agent, then shares the other's blocks and agent, and takes its identity.
  cls_ArrayPrim& operator=(cls_ArrayPrim const& other);

  /// Writes every changed block to the agent and reports the end of the flush to it. Does nothing in memory,
  /// or if the stored list is read-only. A changed block that lies wholly beyond the size stays changed.
  void Flush() const override;

  /// Drops the agent and leaves the store's ring. If this was the last holder, changes are flushed first, and
  /// the array gets a fresh identity: it no longer represents the stored list. Only the blocks that are in
  /// memory remain.
  void Detach() override;

  /// Stores the array through a visitor; repeated calls store it once. See DBWriteBody.
  virtual void DBWrite(cls_WriteVisitor const& visitor) const;

  virtual unsigned int DynTypeId() const;

  /// Associates an array in memory with a new stored list and writes its changed blocks there, in ascending
  /// order. An empty array takes the length of the stored list. Does nothing if the array is already
  /// associated.
  ///
  /// Blocks of an array that was detached may be unchanged. Its new list gets them only if the back end calls
  /// MarkBlocks when the array registers (sto_Store does, and cls_KeepArray).
  ///
  /// An array of more than one block that was detached lacks most of its elements. Not checked: the list would
  /// have zeros for them. A back end refuses such an array when it registers (sto_Store does); see
  /// FirstMissing.
  /// REQUIRES: the visitor is started.
  void DBWriteBody(cls_WriteVisitor const& visitor) const;

  /// Writes back every changed block and drops all blocks. Does nothing in memory.
  void Release() const;

  /// Deletes all blocks of an array in memory, including those shared with its copies, and makes it empty.
  /// Does nothing if the array is associated. For an owner that destroys the array, or its last copy, and
  /// wants the memory back.
  void DropBlocks();

  /// If another session changed the stored list, takes its length, drops every block (changed ones are
  /// written first) and returns 1. Otherwise, and in memory, returns 0.
  int Refresh();

  [[nodiscard]] int Size() const noexcept { return m_Size; }

  /// Sets the size and nothing else: blocks and storage stay as they are.
  void SetLength(int size) noexcept { m_Size = size; }

  /// Adds an element at the end.
  void Append(T const& value) {
    Buffer const& buffer = *GetBuffer(m_Size);
    buffer.At(m_Size) = value;
    buffer.SetDirty(true);
    ++m_Size;
  }

  /// Adds a run at the end, directly in storage. Intentional: the block in memory does not get it.
  /// REQUIRES: the array is associated.
  void AppendBlock(T const* values, int count);

  /// The element at `index`, in 0 .. Size(): the slot after the last element is valid too.
  [[nodiscard]] T const& ConstGet(int index) const {
    Buffer const* const buffer = GetBuffer(index);
    if (buffer == nullptr) [[unlikely]]
      ReportRange("ConstGet");
    return buffer->At(index);
  }

  /// The same for writing; marks the block as changed. Writing through the reference later needs no further
  /// call.
  [[nodiscard]] T& Get(int index) {
    Buffer const* const buffer = GetBuffer(index);
    if (buffer == nullptr) [[unlikely]]
      ReportRange("Get");
    buffer->SetDirty(true);
    return buffer->At(index);
  }

  /// Elements that are contiguous in memory.
  struct Run {
    T const* m_Values;
    int m_Count;
  };
  /// The elements from `index` to the end of its block or of the array, for loops as fast as over a plain
  /// array. Empty at the end and out of range. Valid until another block is touched.
  [[nodiscard]] Run ConstGetRun(int index) const {
    if (index < 0 || index >= m_Size) return {nullptr, 0};
    int const inBlock = Buffer::ElementCount - (index & Buffer::SlotMask);
    int const inArray = m_Size - index;
    return {&GetBuffer(index)->At(index), inBlock < inArray ? inBlock : inArray};
  }

  /// The class under which every array is stored, for all element types.
  static constexpr unsigned int TypeId() noexcept { return cls_InternalListTypeId; }

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }
  /// Whether the array has a list agent.
  [[nodiscard]] bool IsAssociated() const noexcept { return m_Agent != nullptr; }

  /// The resident blocks. Once a holder is associated, a last found block must be the only one.
  struct Trie : cls_PTrie<int, Buffer, 1> {
    bool m_IsPaged = false;
  };

  /// For back ends: the resident blocks, shared with the array's copies. When a holder registers, its agent
  /// finds here what the array had before, until its blocks are written and evicted.
  [[nodiscard]] cow_CountedHld<Trie> const& Blocks() const noexcept { return m_Blocks; }

  /// For back ends: the index of the first element that is not in memory; Size() if all are. An agent that was
  /// made for writing refuses its first holder if that lacks elements: they are lost.
  [[nodiscard]] int FirstMissing() const;

  /// For back ends: marks all resident blocks within the size as changed, so that the next Flush or eviction
  /// writes them. An agent that was made for writing calls it when its first holder registers and the list is
  /// empty: what the array has in memory may be unchanged since it was in another list. Thread rule: the
  /// thread of the array and its copies, which share the blocks.
  void MarkBlocks() const;

 protected:
  /// Null in memory.
  [[nodiscard]] cls_AgentListPrim<T>* Agent() const noexcept { return m_Agent; }

  /// The block of an index. Makes or reads it if it is not in memory; in an associated array, evicts all
  /// other blocks first. Null for an index below 0 or above the size. Intentional: the size itself is
  /// accepted, because the next element goes there.
  Buffer* GetBuffer(int index) const { return GetBufferAs(index, "cls_ArrayPrim"); }

  /// The same for a derived class; messages contain `className`.
  Buffer* GetBufferAs(int index, char const* className) const {
    // One branch for both ends: either number is negative when its end is passed.
    if (((static_cast<long long>(m_Size) - index) | index) < 0) [[unlikely]]
      return nullptr;
    Trie const& trie = *m_Blocks.Ptr();
    // In an associated array the last found block is the only one (FindBuffer ensures it): nothing to evict.
    if (trie.IsLastFound(Buffer::StartOf(index))) [[likely]]
      return const_cast<Buffer*>(&trie.LastFoundValue());
    return FindBuffer(index, className);
  }

  /// Drops what this array holds and shares the other's. The old agent only loses a reference; the ring does
  /// not change. Implements cls_2dArrayPrim's assignment.
  void ShareUnregistered(cls_ArrayPrim const& other);

  void AppendBlockAs(T const* values, int count, char const* className);

  static void ReportRange(char const* operation, char const* className = "cls_ArrayPrim");

 private:
  [[nodiscard]] Buffer* FindBuffer(int index, char const* className) const;
  /// Adds the block of an index and reads its elements, unless it is about to get its first one. If the read
  /// throws, the block is not added.
  [[nodiscard]] Buffer const* AddBlock(int index, int start, char const* className) const;
  void ReadBlock(int start, Buffer const& block, char const* className) const;
  /// Writes back and drops every block except the one of `keptIndex` (-1: drops all).
  void EvictBlocks(int keptIndex) const;
  void WriteBlock(int start, Buffer const& buffer) const;
  /// How many elements of the block that starts at `start` are in the array; not positive beyond the size.
  [[nodiscard]] int CountIn(int start) const noexcept;

  /// Takes a reference on an agent and registers with it. If that throws, the array has no agent.
  void Hold(cls_AgentListPrim<T>* agent) const;
  /// Drops the reference. Returns true if the array was the last holder: it has flushed and deleted the
  /// agent.
  bool LetGo() const;

  // Mutable: DBWrite associates the array, and DBWrite is const. Assignment changes all of them.
  cow_CountedHld<Trie> m_Blocks;                   // shared with the copies; filled and evicted on access
  mutable cls_AgentListPrim<T>* m_Agent = nullptr; // set by Hold; null in memory and after Detach
  mutable int m_Size = 0;                          // also set from the stored list by DBWriteBody and Refresh
  cls_Uid m_Uid;                                   // made fresh by Detach of the last holder
};

using cls_ArrayPrimInt = cls_ArrayPrim<int>;
using cls_ArrayPrimFloat = cls_ArrayPrim<float>;
using cls_ArrayPrimDouble = cls_ArrayPrim<double>;
using cls_ArrayPrimBool = cls_ArrayPrim<bool>;
using cls_ArrayPrimString = cls_ArrayPrim<cow_String>;

extern template class KVL_EXPORT cls_ArrayPrim<int>;
extern template class KVL_EXPORT cls_ArrayPrim<float>;
extern template class KVL_EXPORT cls_ArrayPrim<double>;
extern template class KVL_EXPORT cls_ArrayPrim<bool>;
extern template class KVL_EXPORT cls_ArrayPrim<cow_String>;
extern template class KVL_EXPORT cls_ArrayPrim<unsigned int>;
extern template class KVL_EXPORT cls_ArrayPrim<long long>;
extern template class KVL_EXPORT cls_ArrayPrim<unsigned long long>;
extern template class KVL_EXPORT cls_ArrayPrim<cls_Complex<float>>;
extern template class KVL_EXPORT cls_ArrayPrim<cls_Complex<double>>;
