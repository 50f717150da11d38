#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/sqlite/sto_SqliteBlob.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The blocks of a store in SQLite.
///
/// A block is a row of table block under its own key, until it is overwritten together with many others. Then
/// its new content goes to a new row of table moved_block, table block_place gets the place of that row, and
/// the old row is deleted when the transaction commits.
///
/// Why: a page that is overwritten in place is copied to the rollback journal first, a page that the file did
/// not use before is not. So overwriting many blocks costs no more than writing them anew, and the file
/// reuses the room of the old rows for the next writes.
///
/// Invariant: a committed block is in one row only. Within a transaction, rows marked for deletion
/// (m_Pending) are never read.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteBlocks {
 public:
  /// How many blocks one transaction overwrites in place before it begins to move them. A small change to a
  /// large list writes one or two pages a block and moves nothing.
  static constexpr int MaxInPlace = 32;

  /// How many blocks WriteRange writes with one statement.
  static constexpr std::size_t RunBlocks = 16;

  /// REQUIRES: the arguments live as long as this object.
  sto_SqliteBlocks(sto_SqliteConnection& connection, sto_SqliteChanges& changes);

  /// Call when a transaction begins. `hasPlaces`: the store has the tables of moved blocks. `mayMove`: moving
  /// blocks is cheaper than overwriting them in place; with a write-ahead log it is not.
  void Begin(bool hasPlaces, bool mayMove) noexcept;
  /// Deletes the rows that were replaced in this transaction; call just before COMMIT.
  void FinishTransaction();
  void SetMark();
  /// Call when SQLite has gone back to the mark. Allocates nothing: memory may have run out.
  void ReturnToMark() noexcept;
  /// Closes the open byte strings. They would keep the transaction open, or show the state before a change.
  void Close() noexcept;

  [[nodiscard]] bool Read(std::int64_t key, sto_Bytes& data);
  [[nodiscard]] bool ReadInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end);
  void ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink);
  [[nodiscard]] bool Has(std::int64_t key);
  void Write(std::int64_t key, sto_ByteView data);
  /// Writes blocks with the keys `first`, `first` + 1 and so on.
  void WriteRange(std::int64_t first, std::span<sto_Bytes const> blocks);
  void Overwrite(std::int64_t key, sto_ByteView data);
  void Delete(std::int64_t first, std::int64_t last);

 private:
  using Keys = std::set<std::int64_t>;

  /// What remains to be done before the commit.
  struct Pending {
    Keys m_OldBlocks;                      // rows of table block to delete
    std::vector<std::int64_t> m_OldPlaces; // rows of table moved_block to delete
    int m_InPlace = 0;                     // how many blocks were overwritten in place
  };

  /// How to go back to the mark. Every save sets a mark, so setting one copies nothing.
  struct SinceMark {
    struct Change {
      std::int64_t m_Key;
      Keys::node_type
          m_Removed; // the entry of m_OldBlocks that was removed, to be put back; empty: one was added
    };
    std::vector<Change> m_Changes; // in the order in which they were made
    std::size_t m_OldPlacesBefore = 0;
    int m_InPlaceBefore = 0;
  };

  /// The reader that found the block, at its row; null when there is no such block.
  [[nodiscard]] sto_SqliteBlob* Seek(std::int64_t key);
  /// Whether table block has any rows.
  [[nodiscard]] bool AnyRows();
  /// Whether the store has any moved blocks.
  [[nodiscard]] bool AnyPlaces();
  /// The place of a moved block; 0 for a block that was not moved.
  [[nodiscard]] std::int64_t FindPlace(std::int64_t key);
  /// Deletes a moved block's row and its place.
  void DropPlace(std::int64_t key);
  /// Call before a block is written anew: its old rows and places are dropped.
  void PrepareWrite(std::int64_t key);
  [[nodiscard]] bool IsNew(std::int64_t key) const noexcept;
  void NoteNew(std::int64_t key) noexcept;
  /// Returns whether anything differed.
  bool OverwriteInPlace(sto_SqliteBlob& blob, sto_ByteView data);
  /// Takes the blocks with keys from `first` to `last`, which are about to be deleted, out of the sum.
  void RemoveFromSum(std::int64_t first, std::int64_t last);
  /// The same for a block that is about to be replaced, if it is there.
  void RemoveFromSum(std::int64_t key);
  void RemoveFromSum(std::int64_t key, sto_SqliteBlob& blob);
  /// Marks a row of table block for deletion at the commit.
  void AddOldBlock(std::int64_t key);
  /// Unmarks the rows of table block with keys from `first` to `last`.
  void DropOldBlocks(std::int64_t first, std::int64_t last);
  void Move(std::int64_t key, std::int64_t oldPlace, sto_ByteView data);

  sto_SqliteConnection& m_Connection;
  sto_SqliteChanges& m_Noted;
  sto_SqliteBlob m_ReadBlock, m_ReadMoved, m_WriteBlock, m_WriteMoved;
  sto_SqliteStatement m_HasRow, m_AnyRow, m_WriteRow, m_WriteRun, m_DeleteRows, m_ReadRows;
  // These need the tables of moved blocks, which stores of older formats do not have.
  sto_SqliteStatement m_FindPlace, m_SetPlace, m_DeletePlaces, m_AddMoved, m_DeleteMoved, m_DeleteMovedOf,
      m_LastPlace, m_ReadAllRows;

  // Set by Begin.
  bool m_StoreHasPlaces = false; // the store has the tables of moved blocks
  bool m_MayMove = false;
  // Of the open transaction: Begin resets them, writing and deleting change them, ReturnToMark goes back.
  std::optional<bool> m_AnyRows;             // see AnyRows; empty: not asked yet
  std::optional<std::int64_t> m_GreatestKey; // no row of table block has a greater one; empty: not asked yet
  std::optional<bool> m_AnyPlaces;           // whether table block_place has rows; empty: not asked yet
  std::int64_t m_FirstNewPlace = 0;          // 0: nothing was moved yet
  std::int64_t m_NextPlace = 0;
  Pending m_Pending;
  SinceMark m_SinceMark;
  std::int64_t m_NewKeys[16] = {}; // the rows that this transaction wrote last
  std::size_t m_NextNewKey = 0;
  sto_Bytes m_OldContent; // scratch: the stored content that a new one is compared with
};
