#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// How an object was reached last by the saves of one transaction.
struct sto_Visit {
  void const* m_Address = nullptr; ///< of the object in memory; null when it is not known
  std::int64_t m_Holder = 0;       ///< the id of the object that holds it; 0 for a root
  std::int64_t m_Save : 63 = 0;    ///< the number of the save; 0 when none has
  bool m_IsWritten : 1 = false;    ///< whether its record is complete
};
static_assert(sizeof(sto_Visit) == 24);

/// The visits of a transaction, in blocks of neighbouring ids. Whoever owns a block keeps a pointer to it,
/// and that becomes null when the blocks are given up together. Internal to the module. Thread rule: one
/// thread.
class sto_Visits {
 public:
  static constexpr std::size_t IdsInBlock = 31;

  struct Block {
    Block** m_Owner = nullptr; // the owner's pointer to the block; null when the owner is gone
    std::array<sto_Visit, IdsInBlock> m_Visits;
  };

  sto_Visits() = default;
  sto_Visits(sto_Visits const&) = delete;
  sto_Visits& operator=(sto_Visits const&) = delete;
  ~sto_Visits() { Reset(); }

  /// Sets an owner's pointer to an empty block. Throws std::bad_alloc; nothing has changed then.
  void Take(Block*& owner);

  /// The owner of a block goes.
  static void Leave(Block* block) noexcept {
    if (block != nullptr) block->m_Owner = nullptr;
  }

  /// Takes all blocks back, and sets their owners' pointers to null. Keeps the memory of a few.
  void Reset() noexcept;

 private:
  static constexpr std::size_t BlocksInChunk = 32;
  using Chunk = std::array<Block, BlocksInChunk>;

  std::vector<std::unique_ptr<Chunk>> m_Chunks;
  std::size_t m_Count = 0; // of the blocks that are given out
};
