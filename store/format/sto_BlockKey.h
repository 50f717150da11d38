#pragma once

#include "store/format/sto_Format.h"

/// The key of block `index` of the list with object id `listId`.
[[nodiscard]] constexpr std::int64_t sto_BlockKey(std::int64_t listId, int index) noexcept {
  return (listId << sto_Format::BlockIndexBits) + index;
}

/// The greatest key that a block of the list can have.
[[nodiscard]] constexpr std::int64_t sto_LastBlockKey(std::int64_t listId) noexcept {
  return (listId << sto_Format::BlockIndexBits) | ((std::int64_t{1} << sto_Format::BlockIndexBits) - 1);
}

static_assert(sto_BlockKey(sto_Format::MaxObjectId, 0) > 0);
