#pragma once

#include "store/format/sto_Format.h"

// Keys of blocks. The blocks of one object are neighbours in the table, and those of objects with
// neighbouring ids follow each other, so a list is read and deleted as one range of keys.
//
// Only sto_StoredBlocks computes keys; everything else names a block by its index.

/// The key of block `index` of the list, map or blob with object id `listId`.
/// REQUIRES: 0 <= listId <= MaxObjectId, 0 <= index < 2^BlockIndexBits.
[[nodiscard]] constexpr std::int64_t sto_BlockKey(std::int64_t listId, int index) noexcept {
  return (listId << sto_Format::BlockIndexBits) + index;
}

/// The greatest key that a block of the list can have. REQUIRES: 0 <= listId <= MaxObjectId.
[[nodiscard]] constexpr std::int64_t sto_LastBlockKey(std::int64_t listId) noexcept {
  return (listId << sto_Format::BlockIndexBits) | ((std::int64_t{1} << sto_Format::BlockIndexBits) - 1);
}

static_assert(sto_BlockKey(sto_Format::MaxObjectId, 0) > 0);
