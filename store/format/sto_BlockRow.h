#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Format.h"

/// Several stored blocks as one row of a table: those whose keys have the same quotient by sto_Format::BlocksInRow.
///
///     row := end:4 bytes {BlocksInRow} block*
///
/// `end` is where a block ends, counted from the end of the directory; a block that is not there ends where the
/// one before it does. The directory needs no checksum: a block has its own, bound to its key, so one that is
/// looked for in the wrong place is damaged, and never another block.
///
/// Thread rule: a plain value.
class sto_BlockRow {
 public:
  static constexpr int Blocks = sto_Format::BlocksInRow;
  static constexpr std::size_t DirectoryBytes = Blocks * sizeof(std::uint32_t);

  /// The key of the row that has a block: that of its first block.
  [[nodiscard]] static constexpr std::int64_t RowOf(std::int64_t key) noexcept { return key & ~Mask; }
  /// Where in its row a block is.
  [[nodiscard]] static constexpr int SlotOf(std::int64_t key) noexcept {
    return static_cast<int>(key & Mask);
  }

  /// A part of a row.
  struct Place {
    std::size_t m_Offset = 0;
    std::size_t m_Size = 0; // 0: there is no such block
  };

  /// The directory of a stored row.
  class Directory {
   public:
    /// Reads the directory at the start of a row of `rowBytes` bytes. Entries that are impossible stand for blocks
    /// that are not there.
    void Read(sto_ByteView start, std::size_t rowBytes) noexcept;
    /// Where a block is, counted from the start of the row.
    [[nodiscard]] Place Find(int slot) const noexcept { return m_Places[static_cast<std::size_t>(slot)]; }

   private:
    std::array<Place, Blocks> m_Places{};
  };

  /// A row without blocks.
  sto_BlockRow() : m_Bytes(DirectoryBytes) {}
  /// A stored row.
  explicit sto_BlockRow(sto_ByteView stored);

  /// A block; empty if it is not there. Valid until the row changes.
  [[nodiscard]] sto_ByteView Find(int slot) const noexcept;
  /// Puts a block, replacing the one that is there; an empty one removes it.
  void Put(int slot, sto_ByteView block);
  [[nodiscard]] bool IsEmpty() const noexcept { return m_Bytes.size() == DirectoryBytes; }
  /// Removes all blocks and keeps the memory.
  void Clear() noexcept {
    m_Ends = {};
    m_Bytes.resize(DirectoryBytes);
  }
  /// The row as it is stored. Valid until the row changes.
  [[nodiscard]] sto_ByteView Stored() noexcept;

 private:
  static constexpr std::int64_t Mask = Blocks - 1;
  static_assert((Blocks & Mask) == 0);

  [[nodiscard]] std::size_t StartOf(int slot) const noexcept {
    return DirectoryBytes + (slot == 0 ? 0 : m_Ends[static_cast<std::size_t>(slot) - 1]);
  }

  std::array<std::uint32_t, Blocks> m_Ends{};
  sto_Bytes m_Bytes; // room for the directory, then the blocks
};
