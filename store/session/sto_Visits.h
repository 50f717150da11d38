#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// How the saves of one transaction last reached an object.
struct sto_Visit {
  void const* m_Address = nullptr; ///< of the object in memory; null when it is not known
  std::int64_t m_Holder = 0;       ///< the id of the object that holds it; 0 for a root
  std::int64_t m_Save : 63 = 0;    ///< the number of the save; 0 if none has reached it
  bool m_IsWritten : 1 = false;    ///< whether its record is complete
};
static_assert(sizeof(sto_Visit) == 24);

/// The visits of a transaction, in blocks of neighbouring ids. Each owner of a block has a pointer to it;
/// Reset takes back all blocks and sets these pointers to null. Internal to the module. Thread rule: one
/// thread.
class sto_Visits {
 public:
  static constexpr std::size_t IdsInBlock = 31;

  struct Block {
    Block** m_Owner = nullptr; // the owner's pointer to the block; null once the owner is destroyed
    std::array<sto_Visit, IdsInBlock> m_Visits;
  };

  sto_Visits() = default;
  sto_Visits(sto_Visits const&) = delete;
  sto_Visits& operator=(sto_Visits const&) = delete;
  ~sto_Visits() { Reset(); }

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
  std::size_t m_Count = 0; // of the blocks that are given out
};
