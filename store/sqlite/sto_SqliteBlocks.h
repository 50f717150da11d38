#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/sqlite/sto_SqliteBlob.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The blocks of a store in SQLite.
///
/// A block is a row of table block under its own key until it is overwritten together with many others: then
/// its new content goes to a new row of table moved_block, table block_place says where, and the old row goes
/// when the transaction commits. New rows take pages that the file did not use before, which need no copy in
/// the rollback journal; pages that are overwritten in place do. So overwriting much costs what writing it
/// costs, and the file keeps the room of the old rows for what is written next.
///
/// Invariant: a committed block stands in one row only. In a transaction, a row that is to go (m_Pending) is
/// never looked at.
///
/// Every operation needs an open transaction. Thread rule: one thread.
class sto_SqliteBlocks {
 public:
  /// Blocks that one transaction overwrites in place before it begins to move them: a small change to a large
  /// list writes one or two pages a block, and moves nothing.
  static constexpr int MaxInPlace = 32;

  static constexpr std::size_t RunBlocks = 16;

  explicit sto_SqliteBlocks(sto_SqliteConnection& connection);

  /// A transaction begins. `hasPlaces`: the store has the tables of moved blocks. `mayMove`: whether
  /// overwriting in place costs more than moving does; with a write-ahead log it does not.
  void Begin(bool hasPlaces, bool mayMove) noexcept;
  /// Makes the tables hold what they shall after the commit.
  void FinishTransaction();
  void SetMark();
  /// After SQLite went back to the mark. Allocates nothing: memory may have run out.
  void ReturnToMark() noexcept;
  /// Closes what would keep the transaction open, or would see the state of before a change.
  void Close() noexcept;

  [[nodiscard]] bool Read(std::int64_t key, sto_Bytes& data);
  [[nodiscard]] bool ReadInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end);
  void ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink);
  [[nodiscard]] bool Has(std::int64_t key);
  void Write(std::int64_t key, sto_ByteView data);
  /// Writes the blocks with keys from `first` on, RunBlocks with each statement.
  void WriteRange(std::int64_t first, std::span<sto_Bytes const> blocks);
  void Overwrite(std::int64_t key, sto_ByteView data);
  void Delete(std::int64_t first, std::int64_t last);

 private:
  using Keys = std::set<std::int64_t>;

  /// What the end of the transaction has still to do.
  struct Pending {
    Keys m_OldBlocks;                      // keys of rows of table block that are to go
    std::vector<std::int64_t> m_OldPlaces; // of rows of table moved_block
    int m_InPlace = 0;                     // blocks that were overwritten in place
  };

  /// How to go back to the mark. There are as many marks as saves, so a mark copies nothing.
  struct SinceMark {
    struct Change {
      std::int64_t m_Key;
      Keys::node_type m_Removed; // what stood for the key in m_OldBlocks, and goes back there as it is
    };
    std::vector<Change> m_Changes; // in the order in which they were made
    std::size_t m_OldPlacesBefore = 0;
    int m_InPlaceBefore = 0;
  };

  /// Goes with one of the two readers to where the block is; null when there is no such block.
  [[nodiscard]] sto_SqliteBlob* Seek(std::int64_t key);
  /// Whether any block of the store is a moved one.
  [[nodiscard]] bool AnyPlaces();
  /// The place of a moved block; 0 for one that is not.
  [[nodiscard]] std::int64_t FindPlace(std::int64_t key);
  /// Forgets the place of a block, whose row of table moved_block goes.
  void DropPlace(std::int64_t key);
  /// Forgets what is known of a block that is about to be written anew.
  void PrepareWrite(std::int64_t key);
  [[nodiscard]] bool IsNew(std::int64_t key) const noexcept;
  void NoteNew(std::int64_t key) noexcept;
  void OverwriteInPlace(sto_SqliteBlob& blob, sto_ByteView data);
  /// The row of table block with a key is to go, or no more.
  void AddOldBlock(std::int64_t key);
  void DropOldBlocks(std::int64_t first, std::int64_t last);
  void Move(std::int64_t key, std::int64_t oldPlace, sto_ByteView data);
  [[nodiscard]] sto_SqliteStatement& Prepared(std::optional<sto_SqliteStatement>& statement, char const* sql);

  sto_SqliteConnection& m_Connection;
  sto_SqliteBlob m_ReadBlock, m_ReadMoved, m_WriteBlock, m_WriteMoved;
  sto_SqliteStatement m_HasRow, m_WriteRow, m_DeleteRows, m_ReadRows;
  // These need the tables of moved blocks, which a store of an older format has not.
  std::optional<sto_SqliteStatement> m_FindPlace, m_SetPlace, m_DeletePlaces, m_AddMoved, m_DeleteMoved,
      m_DeleteMovedOf, m_LastPlace, m_ReadAllRows, m_WriteRun;

  bool m_StoreHasPlaces = false; // the tables are there
  bool m_MayMove = false;
  std::optional<bool> m_AnyPlaces;  // whether table block_place has rows, once somebody asked
  std::int64_t m_FirstNewPlace = 0; // of this transaction; 0 while it has moved nothing
  std::int64_t m_NextPlace = 0;
  Pending m_Pending;
  SinceMark m_SinceMark;
  std::int64_t m_NewKeys[16] = {}; // the rows that were written last in this transaction
  std::size_t m_NextNewKey = 0;
  sto_Bytes m_OldContent; // what an overwritten block is compared with
};
