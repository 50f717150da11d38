#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "store/format/sto_Codec.h"

class sto_Session;

/// The sealed blocks of one stored list, map or blob: reads and writes them by index. The only place where a
/// block's key is computed, and its content sealed, checked, compressed or restored. Internal to the module.
///
/// A block that the session has found sound is not checked again until it may have changed.
///
/// Opening a transaction for one block costs several times as much as reading the block. So ReadAhead, for
/// blocks that are read in order with a transaction each, reads several at once. A longer transaction does
/// not need it: the storage maps the file, and the operating system reads ahead.
///
/// REQUIRES: an open transaction (a write transaction to write), except for ReadKept and Forget. Errors:
/// Damaged for a block that is missing or has a wrong checksum; those of the driver. Memory: at most
/// ReadAheadBlocks + 2 blocks. Thread rule: the thread of the session.
class sto_StoredBlocks {
 public:
  /// How many blocks ReadAhead reads at once: 256 KiB of doubles.
  static constexpr int ReadAheadBlocks = 16;

  /// `elementBytes`: the size of an element, 1 if they differ; for compression.
  sto_StoredBlocks(sto_Session& session, std::int64_t listId, std::size_t elementBytes = 1) noexcept;

  /// Whether blocks are compressed from now on. At first as sto_Session::Compresses says.
  void SetCompresses(bool compresses) noexcept { m_Compresses = compresses; }

  /// The content of block `index`. Valid until the next operation.
  [[nodiscard]] sto_ByteView Read(int index);

  /// The same for a caller that reports damage itself: empty for a block that is missing or damaged.
  [[nodiscard]] std::optional<sto_ByteView> TryRead(int index);

  /// Reads the whole content of a block to `content`. Damaged if the block has another size.
  void ReadInto(int index, std::span<std::byte> content);

  /// As Read, but also reads later blocks if the previous block was read last. The list has `blockCount`
  /// blocks.
  [[nodiscard]] sto_ByteView ReadAhead(int index, int blockCount);

  /// The content of a block that was read ahead and has not changed since; empty if there is none. Needs no
  /// transaction.
  [[nodiscard]] sto_ByteView ReadKept(int index);

  /// Calls `take` with each block from `first` to `last`, in order, in one pass over the storage.
  template <class Take> void ReadRun(int first, int last, Take take) {
    struct Context {
      Take& m_Take;
    } context{take};
    int const next = Pass(first, last, &context, [](void* untyped, int index, sto_ByteView content) {
      static_cast<Context*>(untyped)->m_Take(index, content);
    });
    if (next <= last) RaiseDamaged(next);
  }

  /// The contents of a few blocks, read in one request; empty for one that is missing or damaged.
  [[nodiscard]] std::vector<sto_Bytes> ReadMany(std::span<int const> indexes);

  /// Whether a block is stored. Does not check its content.
  [[nodiscard]] bool Has(int index);

  /// Whether all blocks of a list of `count` elements of at least `minBytes` bytes each are stored. Call it
  /// before allocating memory for a stored count, which may be damaged. Lists of a few blocks are checked
  /// less strictly.
  [[nodiscard]] bool HasList(int count, std::size_t minBytes);

  /// Whether a block is stored, undamaged, with this content.
  [[nodiscard]] bool Holds(int index, sto_ByteView content);

  /// Writes a block; `isThere`: it replaces an existing one. `content` is sealed.
  void Write(int index, sto_Bytes& content, bool isThere);

  /// Writes new blocks from `first` on, in one pass. Each of `contents` is sealed.
  /// REQUIRES: none of the blocks exists.
  void WriteNew(int first, std::span<sto_Bytes> contents);

  /// Deletes the blocks from `first` to `last`, both included.
  void Delete(int first, int last);

  /// Deletes the blocks from `first` on.
  void DeleteFrom(int first);

  /// Deletes all blocks of the objects with ids from `firstId` to `lastId`, both included.
  static void DeleteOf(sto_Session& session, std::int64_t firstId, std::int64_t lastId);

  /// Forgets what was read ahead.
  void Forget() noexcept;

 private:
  using TakeBlock = void (*)(void* context, int index, sto_ByteView content);
  /// Takes blocks up to the first that is missing or damaged; returns its index, last + 1 if all were taken.
  int Pass(int first, int last, void* context, TakeBlock take);
  [[nodiscard]] sto_ByteView Kept(int index) const noexcept;
  /// The content of a stored block; empty if it is damaged. Valid until the next operation.
  [[nodiscard]] std::optional<sto_ByteView> Open(std::int64_t key, sto_ByteView stored);
  /// Turns the content of a block into what is stored.
  void Seal(std::int64_t key, sto_Bytes& content);
  /// Reads an uncompressed block to `content`; false if it is missing, damaged or compressed.
  [[nodiscard]] bool ReadPlain(std::int64_t key, std::span<std::byte> content);
  /// Counts blocks for a progress function.
  void CountRead() const;
  void CountWritten(std::size_t blocks) const;
  [[noreturn]] void RaiseDamaged(int index) const;

  sto_Session& m_Session;
  std::int64_t m_ListId;
  int m_NextIndex = 0; // the block after the one read last
  int m_FirstKept = 0;
  int m_KeptCount = 0;
  std::int64_t m_KeptState = 0; // the store's change counter when the kept blocks were read
  std::vector<sto_Bytes> m_Kept;
  sto_Bytes m_Block;    // the block read last without reading ahead, as it is stored
  sto_Bytes m_Restored; // its content, or that of a block of a run, if it is compressed
  std::size_t m_ElementBytes;
  bool m_Compresses;
  bool m_WasCompressed = false; // what ReadInto read last
};
