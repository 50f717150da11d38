#pragma once

#include <algorithm>
#include <cstdio>
#include <type_traits>
#include <vector>

/// Sparse array indexed by the whole range of unsigned int. It keeps blocks of BlockSize entries, in
/// ascending order, and only those that were asked for: scattered indexes cost one block each, however far
/// apart.
///
/// Copying copies every entry. Thread rule: any number of threads may read while none writes.
template <class T> class omi_BlockedArray {
  static_assert(!std::is_same_v<T, bool>, "entries need addresses");

 public:
  static constexpr unsigned int BlockShift = 8;
  static constexpr unsigned int BlockSize = 1U << BlockShift;
  /// The bits of an index that say where in its block it is.
  static constexpr unsigned int BlockMask = BlockSize - 1;

  /// The entry at `index`, null when its block is not there. It stays where it is until its block is removed.
  [[nodiscard]] T const* ConstFind(unsigned int index) const noexcept {
    auto const block = LowerBound(index);
    if (block == m_Blocks.end() || block->m_Number != index >> BlockShift) return nullptr;
    return &block->m_Entries[index & BlockMask];
  }
  [[nodiscard]] T* Find(unsigned int index) noexcept { return const_cast<T*>(ConstFind(index)); }

  /// The entry at `index`; a block that is not there is made, of value-initialised entries.
  /// Throws std::bad_alloc and then changes nothing.
  [[nodiscard]] T& Get(unsigned int index) {
    auto block = LowerBound(index);
    if (block == m_Blocks.end() || block->m_Number != index >> BlockShift)
      block = m_Blocks.insert(block, Block{index >> BlockShift, std::vector<T>(BlockSize)});
    return m_Blocks[static_cast<std::size_t>(block - m_Blocks.begin())].m_Entries[index & BlockMask];
  }

  /// Drops the block of `index`, if it is there, with all its entries.
  void RemoveBlock(unsigned int index) noexcept {
    auto const block = LowerBound(index);
    if (block != m_Blocks.end() && block->m_Number == index >> BlockShift) m_Blocks.erase(block);
  }

  /// The BlockSize entries of the block of `index`. When that is not there, `index` goes on to the beginning
  /// of the next block that is. Null, and `index` unchanged, when there is none.
  [[nodiscard]] T const* ConstFindBlock(unsigned int& index) const noexcept {
    auto const block = LowerBound(index);
    if (block == m_Blocks.end()) return nullptr;
    index = std::max(index, block->m_Number << BlockShift);
    return block->m_Entries.data();
  }

  [[nodiscard]] unsigned int BlockCount() const noexcept {
    return static_cast<unsigned int>(m_Blocks.size());
  }

  /// Writes every block to the standard output: its first and last index as signed numbers, then the bytes of
  /// its entries as they lie in memory, eight entries a line. For diagnosis.
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
  struct Block {
    unsigned int m_Number; // the first index, shifted right
    std::vector<T> m_Entries;
  };

  static void DumpBytes(T const& entry) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&entry);
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      // The sign is extended on purpose: a byte of 0x80 or more is written as eight digits, "ffffff" before
      // its own two. Those who compare dumps rely on it.
      int const extended = bytes[i] < 0x80 ? bytes[i] : bytes[i] - 0x100;
      std::printf("%02x", static_cast<unsigned int>(extended));
    }
  }

  /// The block of `index` or the first one behind it.
  [[nodiscard]] auto LowerBound(unsigned int index) const noexcept {
    return std::lower_bound(m_Blocks.begin(), m_Blocks.end(), index >> BlockShift,
                            [](Block const& block, unsigned int number) { return block.m_Number < number; });
  }

  std::vector<Block> m_Blocks; // ascending by number
};
