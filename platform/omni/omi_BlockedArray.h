#pragma once

#include <algorithm>
#include <cstdio>
#include <type_traits>
#include <vector>

/// Sparse array indexed by the whole range of unsigned int. It keeps blocks of BlockSize entries, in
/// ascending order, and only those that are used: scattered indexes cost one block each, however far apart
/// they are.
///
/// Copying copies every entry. Thread rule: any number of threads may read while none writes.
template <class T> class omi_BlockedArray {
  static_assert(!std::is_same_v<T, bool>, "entries must have addresses");

 public:
  static constexpr unsigned int BlockShift = 8;
  static constexpr unsigned int BlockSize = 1U << BlockShift;
  /// The bits of an index that give its place in its block.
  static constexpr unsigned int BlockMask = BlockSize - 1;

  /// The entry at `index`; null if its block does not exist. It does not move until its block is removed.
  [[nodiscard]] T const* ConstFind(unsigned int index) const noexcept {
    auto const block = LowerBound(index);
    if (block == m_Blocks.end() || block->m_Number != index >> BlockShift) return nullptr;
    return &block->m_Entries[index & BlockMask];
  }
  [[nodiscard]] T* Find(unsigned int index) noexcept { return const_cast<T*>(ConstFind(index)); }

  /// The entry at `index`; makes its block, of value-initialised entries, if it does not exist.
  /// Throws std::bad_alloc, and then changes nothing.
  [[nodiscard]] T& Get(unsigned int index) {
    auto block = LowerBound(index);
    if (block == m_Blocks.end() || block->m_Number != index >> BlockShift)
      block = m_Blocks.insert(block, Block{index >> BlockShift, std::vector<T>(BlockSize)});
    return m_Blocks[static_cast<std::size_t>(block - m_Blocks.begin())].m_Entries[index & BlockMask];
  }

  /// Removes the block of `index`, if it exists, with all its entries.
  void RemoveBlock(unsigned int index) noexcept {
    auto const block = LowerBound(index);
    if (block != m_Blocks.end() && block->m_Number == index >> BlockShift) m_Blocks.erase(block);
  }

  /// The BlockSize entries of the block of `index`. If that does not exist, moves `index` to the beginning of
  /// the next existing block. Null, and `index` unchanged, if there is none.
  [[nodiscard]] T const* ConstFindBlock(unsigned int& index) const noexcept {
    auto const block = LowerBound(index);
    if (block == m_Blocks.end()) return nullptr;
    index = std::max(index, block->m_Number << BlockShift);
    return block->m_Entries.data();
  }

  [[nodiscard]] unsigned int BlockCount() const noexcept {
    return static_cast<unsigned int>(m_Blocks.size());
  }

  /// Prints every block to the standard output: its first and last index as signed numbers, then the bytes of
  /// its entries as they are in memory, eight entries a line. For diagnostics.
  void Dump() const {
    for (Block const& block : m_Blocks) {
      unsigned int const first = block.m_Number << BlockShift;
      std::printf("Block indices= %d - %d\n", static_cast<int>(first), static_cast<int>(first + BlockMask));
      for (unsigned int i = 0; i < BlockSize; ++i) {
        DumpBytes(block.m_Entries[i]);
        std::fputs(i % 8 == 7 ? "\n" : "|", stdout);
      }
      std::fputs("\n", stdout);
    }
  }

 private:
  friend struct omni_LayoutAccess;

  struct Block {
    unsigned int m_Number; // the first index, shifted right
    std::vector<T> m_Entries;
  };

  static void DumpBytes(T const& entry) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&entry);
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      // Intentional: the sign is extended, so a byte of 0x80 or more is printed as eight digits, "ffffff" and
      // its own two. Comparisons of dumps rely on it.
      int const extended = bytes[i] < 0x80 ? bytes[i] : bytes[i] - 0x100;
      std::printf("%02x", static_cast<unsigned int>(extended));
    }
  }

  /// The block of `index`, or the first one after it.
  [[nodiscard]] auto LowerBound(unsigned int index) const noexcept {
    return std::lower_bound(m_Blocks.begin(), m_Blocks.end(), index >> BlockShift,
                            [](Block const& block, unsigned int number) { return block.m_Number < number; });
  }

  std::vector<Block> m_Blocks; // ascending by number
};
