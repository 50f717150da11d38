#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "store/format/sto_Codec.h"

class sto_Session;

/// The sealed blocks of one stored list or blob: reads and writes them by index. The only place where a
/// block's key is computed and its checksum appended or checked. Internal to the module.
///
/// A look into the storage from outside of a transaction costs several times what the block costs, so there
/// blocks that are asked for one after the other are read ahead. Inside a longer transaction they are not:
/// the storage maps the file, and the system reads ahead by itself.
///
/// Memory: at most ReadAheadBlocks blocks and one. Every operation but ReadKept needs an open transaction.
/// Errors: Damaged for a block that is missing or does not fit its checksum; those of the driver. Thread
/// rule: the thread of the session.
class sto_StoredBlocks {
 public:
  /// How many blocks are read at once when they are read in order: 256 KiB of doubles.
  static constexpr int ReadAheadBlocks = 16;

  sto_StoredBlocks(sto_Session& session, std::int64_t listId) noexcept
      : m_Session(session), m_ListId(listId) {}

  /// The content of block `index`. Valid until the next operation.
  [[nodiscard]] sto_ByteView Read(int index);

  /// The same for a caller that reports damage itself: empty for a block that is missing or damaged.
  [[nodiscard]] std::optional<sto_ByteView> TryRead(int index);

  /// Reads the content of a block, all of it, straight to `content`, which is as large.
  void ReadInto(int index, std::span<std::byte> content);

  /// As Read, with those behind it when the one before it was read last. The list has `blockCount` blocks.
  [[nodiscard]] sto_ByteView ReadAhead(int index, int blockCount);

  /// The content of a block that was read ahead and that nobody has changed since, without transaction; empty
  /// when there is none.
  [[nodiscard]] sto_ByteView ReadKept(int index);

  /// Calls `take` with each block of `first` to `last`, in order, in one pass over the storage.
  template <class Take> void ReadRun(int first, int last, Take take) {
    struct Context {
      Take& m_Take;
    } context{take};
    int const next = Pass(first, last, &context, [](void* untyped, int index, sto_ByteView content) {
      static_cast<Context*>(untyped)->m_Take(index, content);
    });
    if (next <= last) RaiseDamaged(next);
  }

  /// Whether a block is stored. Whether it can be read shows when it is read.
  [[nodiscard]] bool Has(int index);

  /// Whether all blocks of a list of `count` elements of at least `minBytes` bytes each are stored. Call it
  /// before making room for as many elements as a list says it has.
  [[nodiscard]] bool HasList(int count, std::size_t minBytes);

  /// Whether a block is stored, undamaged, with this content.
  [[nodiscard]] bool Holds(int index, sto_ByteView content);

  /// Writes the content of a block, of one that `isThere` in its place; `content` gets its checksum appended.
  void Write(int index, sto_Bytes& content, bool isThere);

  /// Writes the contents of `contents.size()` blocks from `first` on, none of which is there, in one pass;
  /// each gets its checksum appended.
  void WriteNew(int first, std::span<sto_Bytes> contents);

  /// Deletes the blocks from `first` on.
  void DeleteFrom(int first);

  /// Deletes all blocks of the objects with ids from `firstId` to `lastId`, both included.
  static void DeleteOf(sto_Session& session, std::int64_t firstId, std::int64_t lastId);

  /// Forgets what was read ahead.
  void Forget() noexcept;

 private:
  using TakeBlock = void (*)(void* context, int index, sto_ByteView content);
  /// Takes blocks up to the first that is missing or damaged; returns which one that is, last + 1 for none.
  int Pass(int first, int last, void* context, TakeBlock take);
  [[nodiscard]] sto_ByteView Kept(int index) const noexcept;
  [[noreturn]] void RaiseDamaged(int index) const;

  sto_Session& m_Session;
  std::int64_t m_ListId;
  int m_NextIndex = 0; // the block that reading in order would ask for
  int m_FirstKept = 0;
  int m_KeptCount = 0;
  std::int64_t m_KeptState = 0; // the store's change counter when the kept blocks were read
  std::vector<sto_Bytes> m_Kept;
  sto_Bytes m_Block; // the one read last
};
