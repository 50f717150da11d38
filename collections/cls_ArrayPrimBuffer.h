#pragma once

#include <concepts>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// Counted handle on one block of a bulk array: 2048 elements of any type, and a flag that says whether one
/// of them was changed since the block was last written to storage.
///
/// `T` is a number, bool, cls_Complex or cow_String. Thread rule: plain counts; an array and its blocks belong
/// to one thread at a time.
template <class T> class cls_ArrayPrimBuffer {
 public:
  static constexpr int ElementCount = 2048;
  static constexpr int SlotMask = ElementCount - 1;

  /// The first index of the block that element `index` lies in.
  [[nodiscard]] static constexpr int StartOf(int index) noexcept { return index & ~SlotMask; }

  /// A handle on a new block: not dirty, strings without text, plain elements uninitialised.
  [[nodiscard]] static cls_ArrayPrimBuffer Make() {
    if constexpr (std::same_as<T, cow_String>)
      return cls_ArrayPrimBuffer();
    else
      return cls_ArrayPrimBuffer(new Block);
  }

  /// The same, for strings only. Exported by the library.
  KVL_EXPORT cls_ArrayPrimBuffer() requires std::same_as<T, cow_String>;

  /// Shares the other's block. REQUIRES: the other has one.
  cls_ArrayPrimBuffer(cls_ArrayPrimBuffer const& other) noexcept : m_Block(other.m_Block) {
    ++m_Block->m_RefCount;
  }
  /// Leaves the other without a block: it can only be assigned over or destroyed.
  cls_ArrayPrimBuffer(cls_ArrayPrimBuffer&& other) noexcept : m_Block(other.m_Block) {
    other.m_Block = nullptr;
  }
  ~cls_ArrayPrimBuffer() { Release(); }

  /// Drops the own block, then shares the other's. Intentional: assigning from a handle without a block ends
  /// the process at once with exit status 0, without a message.
  cls_ArrayPrimBuffer& operator=(cls_ArrayPrimBuffer const& other) {
    if (this == &other) return *this;
    bool const isSame = m_Block == other.m_Block;
    if (isSame && m_Block != nullptr) return *this;
    Release();
    m_Block = other.m_Block;
    if (m_Block == nullptr) std::exit(0); // NOLINT(concurrency-mt-unsafe)
    ++m_Block->m_RefCount;
    return *this;
  }

  /// A handle on a new block with the same elements and dirty flag.
  [[nodiscard]] cls_ArrayPrimBuffer Clone() const {
    cls_ArrayPrimBuffer clone(new Block);
    clone.TakeValues(*this);
    clone.SetDirty(IsDirty());
    return clone;
  }
  /// Copies the elements of another block into this one. Allocates nothing.
  void TakeValues(cls_ArrayPrimBuffer const& other) const noexcept {
    if constexpr (std::is_trivially_copyable_v<T>) // plain elements may be uninitialised: copy their bytes
      std::memcpy(m_Block->m_Values, other.m_Block->m_Values, sizeof m_Block->m_Values);
    else
      for (int i = 0; i < ElementCount; ++i) m_Block->m_Values[i] = other.m_Block->m_Values[i];
  }

  // The block is shared: a const handle also gives write access to its elements.
  [[nodiscard]] T* Values() const noexcept { return m_Block->m_Values; }
  [[nodiscard]] T& At(int index) const noexcept { return m_Block->m_Values[index & SlotMask]; }
  [[nodiscard]] bool IsDirty() const noexcept { return m_Block->m_Dirty != 0; }
  void SetDirty(bool dirty) const noexcept { m_Block->m_Dirty = dirty ? 1 : 0; }

  /// How many handles share the block; 0 for a handle without one.
  [[nodiscard]] unsigned int UseCount() const noexcept {
    return m_Block == nullptr ? 0 : m_Block->m_RefCount;
  }

 private:
  struct Block {
    Block() noexcept {} // intentional: plain elements stay uninitialised, for speed

    unsigned int m_RefCount = 1;
    unsigned char m_Dirty = 0;
    T m_Values[ElementCount];
  };

  explicit cls_ArrayPrimBuffer(Block* block) noexcept : m_Block(block) {}

  void Release() noexcept {
    if (m_Block != nullptr && --m_Block->m_RefCount == 0) DeleteBlock(m_Block);
  }

  /// Not inlined, for the reason that cow_CountedHld gives.
  [[gnu::noinline]] static void DeleteBlock(Block* block) noexcept { delete block; }

  Block* m_Block;
};

template <class T>
cls_ArrayPrimBuffer<T>::cls_ArrayPrimBuffer() requires std::same_as<T, cow_String> : m_Block(new Block) {}

extern template cls_ArrayPrimBuffer<cow_String>::cls_ArrayPrimBuffer();
