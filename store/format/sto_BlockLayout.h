#pragma once

#include <algorithm>
#include <cstdint>

#include "store/format/sto_Format.h"

/// How the items of one object are cut into blocks: `Size` items a block, numbered from 0; the last block is
/// as short as the number of items makes it. A layout is a number of items; it allocates nothing.
///
/// `Number` counts items and must be able to hold every count. Thread rule: any thread.
template <class Number, Number Size> class sto_BlockLayout {
 public:
  static constexpr Number BlockSize = Size;
  /// The most items that one object can have: its blocks share the keys of one object id.
  static constexpr std::int64_t MaxCount = (std::int64_t{1} << sto_Format::BlockIndexBits) * Size;

  /// Items of a run that lie in one block.
  struct Piece {
    int m_Block;
    Number m_Offset; ///< of the first one in the block
    Number m_Count;
  };

  /// The block that holds an item. REQUIRES: 0 <= item < MaxCount.
  [[nodiscard]] static constexpr int BlockOf(Number item) noexcept { return static_cast<int>(item / Size); }
  /// The place of an item in its block. REQUIRES: 0 <= item.
  [[nodiscard]] static constexpr Number OffsetOf(Number item) noexcept { return item % Size; }
  /// The first item of a block. REQUIRES: a block that BlockOf returns.
  [[nodiscard]] static constexpr Number FirstOf(int block) noexcept { return block * Size; }
  /// The part of the run of `count` items from `first` on that lies in the block of `first`. Walk a run piece
  /// by piece. REQUIRES: 0 <= first, 0 <= count, and first + count fits Number.
  [[nodiscard]] static constexpr Piece FirstPiece(Number first, Number count) noexcept {
    Number const offset = OffsetOf(first);
    return {BlockOf(first), offset, std::min<Number>(Size - offset, count)};
  }

  /// The layout of `count` items. REQUIRES: 0 <= count <= MaxCount.
  constexpr explicit sto_BlockLayout(Number count) noexcept : m_Count(count) {}

  [[nodiscard]] constexpr int BlockCount() const noexcept {
    return static_cast<int>(m_Count / Size + (m_Count % Size != 0 ? 1 : 0));
  }
  /// How many items a block has; 0 for a block behind the last one. REQUIRES: 0 <= block.
  [[nodiscard]] constexpr Number CountIn(int block) const noexcept {
    auto const before = std::int64_t{block} * Size;
    return static_cast<Number>(std::clamp<std::int64_t>(m_Count - before, 0, Size));
  }

 private:
  Number m_Count;
};

/// The elements of a list, whatever their type.
using sto_ListLayout = sto_BlockLayout<int, sto_Format::BlockElementCount>;
/// The bytes of a blob.
using sto_BlobLayout = sto_BlockLayout<std::int64_t, sto_Format::BlobBlockBytes>;
