#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/kvl_Export.h"

/// How the saves of one transaction last reached an object. The back end fills it in; it is what a save needs
/// to write each object once, and to notice two objects in memory that have one identity.
struct cls_Visit {
  void const* m_Address = nullptr; ///< of the object in memory; null when it is not known
  std::int64_t m_Holder = 0;       ///< the id of the object that holds it; 0 for a root
  std::int64_t m_Save : 63 = 0;    ///< the number of the save; 0 if none has reached it
  bool m_IsWritten : 1 = false;    ///< whether its record is complete
};
static_assert(sizeof(cls_Visit) == 24);

/// The visits of a transaction, in blocks of neighbouring ids. Each owner of a block has a pointer to it;
/// Reset takes back all blocks and sets these pointers to null. Used by cls_IdentityMap. Thread rule: one
/// thread.
class KVL_EXPORT cls_Visits {
 public:
  static constexpr std::size_t IdsInBlock = 31;

  struct Block {
    Block** m_Owner = nullptr; // the owner's pointer to the block; null once the owner is destroyed
    std::array<cls_Visit, IdsInBlock> m_Visits;
  };

  cls_Visits() = default;
  cls_Visits(cls_Visits const&) = delete;
  cls_Visits& operator=(cls_Visits const&) = delete;
  ~cls_Visits() { Reset(); }

  /// Gives out an empty block: sets `owner`, which must not move, to it. Throws std::bad_alloc; then nothing
  /// has changed.
  void Take(Block*& owner);

  /// The owner of a block is about to be destroyed. `block` may be null.
  static void Leave(Block* block) noexcept {
    if (block != nullptr) block->m_Owner = nullptr;
  }

  /// Takes all blocks back, and sets their owners' pointers to null. Keeps the memory of a few.
  void Reset() noexcept;

 private:
  static constexpr std::size_t BlocksInChunk = 32;
  using Chunk = std::array<Block, BlocksInChunk>;

  std::vector<std::unique_ptr<Chunk>> m_Chunks;
  std::size_t m_Count = 0;     // of the blocks that are given out
  std::size_t m_UsedCount = 0; // of those that were given out since their chunk was made
};
