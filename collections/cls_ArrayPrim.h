#pragma once

#include "collections/cls_ArrayPrimBuffer.h"
#include "collections/cls_PTrie.h"
#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_PC.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/cow/cow_CountedHld.h"
#include "platform/kvl_Export.h"

/// Growable array of primitive values that belongs to a persistent object and can be far larger than memory.
/// Elements live in blocks of 2048. Use a plain container for what fits in memory and is saved as a whole.
///
/// *In memory* (no agent) all blocks stay. *Associated* with a store (read from one, written to one, or
/// copied from an associated array) the array talks to storage through a list agent: a block is read when an
/// element of it is first touched, and touching an element of another block first writes back every changed
/// block and drops it, so that one block stays in memory. A reference to an element is valid until another
/// one is touched.
///
/// It is a handle, not a value: copies share blocks and agent, and a write through one is seen by the others,
/// but not a change of the size. The last holder of an agent flushes it and deletes it.
///
/// Saving and undoing. When a save or a transaction that tied the array to its list is undone, a back end
/// puts it back: in memory, with its identity and elements (see sto_Transaction::Rollback). References to
/// elements are not valid after that. An array that belongs to one store and is saved in another stays with
/// the first; whether the other copies it is up to the back end (sto_Store does).
///
/// Memory. Destroying an array releases none of its blocks. Meant: other holders of the trie may still be
/// there. An owner that wants the memory back calls Release (associated) or DropBlocks (in memory) first.
///
/// Invariants: 1. Element i lies in the block that starts at i rounded down to a multiple of 2048. 2. A block
/// is dirty when an element of it may have been changed through Get or Append and it has not been written
/// since.
///
/// Misuse prints its message to the standard error stream, without line end, and goes on; where that means
/// going on with a block or an agent that is not there, the process fails. Errors of the store pass through
/// every operation that reads or writes a block.
///
/// `T` is int, float, double, bool (one byte each) or cow_String. Counts and indexes are in elements. The
/// order of the virtual operations is frozen. Thread rule: the array, its agent and its blocks belong to one
/// thread.
template <class T> class cls_ArrayPrim : public cls_PC {
 public:
  using Buffer = cls_ArrayPrimBuffer<T>;

  /// An empty array in memory, with a fresh identity.
  cls_ArrayPrim();

  /// Shares the other's blocks and agent, and has its identity.
  cls_ArrayPrim(cls_ArrayPrim const& other);

  /// Opens the array that the visitor's object is. Reads no element yet.
  explicit cls_ArrayPrim(cls_ReadVisitor const& visitor);

  /// Writes back and lets go of the agent. Releases no block; see Memory above.
  ~cls_ArrayPrim() override;

  /// Lets go of the own agent, then shares the other's blocks and agent, and takes its identity.
  cls_ArrayPrim& operator=(cls_ArrayPrim const& other);

  /// Writes every changed block to the agent, and tells it where the flush ends. Does nothing in memory, or
  /// when the stored list is read-only. A changed block that lies wholly beyond the size stays changed.
  void Flush() const override;

  /// Lets go of the agent and leaves the ring of the store. When no other holder was left, changes are
  /// flushed first and the array gets a fresh identity: it no longer stands for the stored list. Only the
  /// blocks that are in memory remain.
  void Detach() override;

  /// Stores the array through a visitor: once, however often it is called. See DBWriteBody.
  virtual void DBWrite(cls_WriteVisitor const& visitor) const;

  virtual unsigned int DynTypeId() const;

  /// Associates an array in memory with a new stored list and writes its blocks there, in ascending order; an
  /// empty array takes the length of what the list already has. Does nothing when it is associated already.
  /// The visitor must be started.
  void DBWriteBody(cls_WriteVisitor const& visitor) const;

  /// Writes back every changed block and drops all blocks. Does nothing in memory.
  void Release() const;

  /// Deletes all blocks of an array in memory, also those that its copies see, and makes it empty. Does
  /// nothing when the array is associated. For an owner that destroys the array, or its last copy, and wants
  /// the memory back.
  void DropBlocks();

  /// When another session has changed the stored list: takes its length, drops every block (changed ones are
  /// written first), and returns 1. Otherwise, and in memory, 0.
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

  /// Adds a run at the end, straight to storage: the block in memory does not see it. Meant. The array must
  /// be associated.
  void AppendBlock(T const* values, int count);

  /// The element at `index`, in 0 .. Size(): the slot after the last one is there too.
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

  /// A run of elements that lie next to each other in memory.
  struct Run {
    T const* m_Values;
    int m_Count;
  };
  /// The elements from `index` on to the end of its block or of the array: for loops at the speed of a plain
  /// array. Empty at the end and outside. Valid until another block is touched.
  [[nodiscard]] Run ConstGetRun(int index) const {
    if (index < 0 || index >= m_Size) return {nullptr, 0};
    int const inBlock = Buffer::ElementCount - (index & Buffer::SlotMask);
    int const inArray = m_Size - index;
    return {&GetBuffer(index)->At(index), inBlock < inArray ? inBlock : inArray};
  }

  /// The class under which every array is stored, whatever its elements.
  static constexpr unsigned int TypeId() noexcept { return cls_InternalListTypeId; }

  [[nodiscard]] cls_Uid const& Uid() const noexcept { return m_Uid; }
  /// Whether the array has a list agent.
  [[nodiscard]] bool IsAssociated() const noexcept { return m_Agent != nullptr; }

  /// The resident blocks. Once a holder is associated, one block in hand must be the only one.
  struct Trie : cls_PTrie<int, Buffer, 1> {
    bool m_IsPaged = false;
  };

  /// For back ends: the resident blocks, shared with the array's copies. When a holder registers, its
  /// agent finds there what the array had before its blocks are written and evicted.
  [[nodiscard]] cow_CountedHld<Trie> const& Blocks() const noexcept { return m_Blocks; }

 protected:
  /// The block of an index, made or read when it is not in memory, after all other blocks of an associated
  /// array are evicted. Null for an index below 0 or above the size. The size itself is accepted: that is
  /// where the next element goes. `className` stands in messages.
  Buffer* GetBuffer(int index, char const* className = "cls_ArrayPrim") const {
    // One branch for both ends: either number is negative when its end is passed.
    if (((static_cast<long long>(m_Size) - index) | index) < 0) [[unlikely]]
      return nullptr;
    Trie const& trie = *m_Blocks.Ptr();
    // Of an associated array the block in hand is the only one (FindBuffer sees to it), so nothing is
    // evicted.
    if (trie.IsInHand(Buffer::StartOf(index))) [[likely]]
      return const_cast<Buffer*>(&trie.HandValue());
    return FindBuffer(index, className);
  }

  /// Lets go of what this array holds and shares the other's, without a word to the old agent but the dropped
  /// reference, and none to the ring. What cls_2dArrayPrim's assignment is.
  void ShareUnregistered(cls_ArrayPrim const& other);

  void AppendBlockAs(T const* values, int count, char const* className);

  static void ReportRange(char const* operation, char const* className = "cls_ArrayPrim");

 private:
  [[nodiscard]] Buffer* FindBuffer(int index, char const* className) const;
  /// A new block for an index, with its elements from storage unless it is about to get its first.
  [[nodiscard]] Buffer MakeBlock(int index, int start, char const* className) const;
  /// Writes back and drops every block but the one of `keptIndex` (-1 for none).
  void EvictBlocks(int keptIndex) const;
  void WriteBlock(int start, Buffer const& buffer) const;
  /// How many elements of the block that starts at `start` the array has; not positive beyond the size.
  [[nodiscard]] int CountIn(int start) const noexcept;

  /// Takes a reference on an agent and registers with it. When that raises, the array has no agent.
  void Hold(cls_AgentListPrim<T>* agent) const;
  /// Drops the reference; true when the array was the last holder and has flushed and deleted the agent.
  bool LetGo() const;

  // Associating is writing, and objects write themselves when they are const.
  cow_CountedHld<Trie> m_Blocks;
  mutable cls_AgentListPrim<T>* m_Agent = nullptr;
  mutable int m_Size = 0;
  cls_Uid m_Uid;
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
