#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "store/sqlite/sto_SqliteBlob.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// Blocks that have a row of their own: table moved_block has them by place, table block_place has the place of a
/// block. Such a block counts, and not one under its key in table block.
///
/// A row that is replaced stays until FinishTransaction: its pages need not be copied to the journal then.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteMovedBlocks {
 public:
  struct Entry {
    std::int64_t m_Key;
    std::int64_t m_Place;
  };

  explicit sto_SqliteMovedBlocks(sto_SqliteConnection& connection);

  /// Call when a transaction begins.
  void Begin() noexcept;
  void Close() noexcept;
  /// Deletes the rows that were replaced in this transaction; call just before COMMIT.
  void FinishTransaction();
  void SetMark() noexcept { m_ReplacedAtMark = m_Replaced.size(); }
  /// Call when SQLite has gone back to the mark. Allocates nothing: memory may have run out.
  void ReturnToMark() noexcept;

  /// Whether there may be such blocks with this key or greater ones. Asks the file once in a transaction.
  [[nodiscard]] bool MayHaveFrom(std::int64_t key);
  /// Whether there are any with keys from `first` to `last`, both included.
  [[nodiscard]] bool HasAny(std::int64_t first, std::int64_t last);
  /// The first moved block from a key on; the greatest number if there is none.
  [[nodiscard]] std::int64_t NextFrom(std::int64_t key);
  /// The place of a block; 0 if it has none.
  [[nodiscard]] std::int64_t Find(std::int64_t key);
  /// The block at a place; null if it is missing.
  [[nodiscard]] sto_SqliteBlob* Seek(std::int64_t place) {
    return m_Reader.Seek(place) ? &m_Reader : nullptr;
  }
  [[nodiscard]] sto_SqliteBlob* SeekToWrite(std::int64_t place) {
    return m_Writer.Seek(place) ? &m_Writer : nullptr;
  }
  /// Whether this transaction has made a place.
  [[nodiscard]] bool IsNew(std::int64_t place) const noexcept {
    return m_FirstNewPlace != 0 && place >= m_FirstNewPlace;
  }
  /// Gives a block a new place. `oldPlace`: the one that it has, or 0. Damaged if no place can be given.
  void Add(std::int64_t key, std::int64_t oldPlace, sto_ByteView data);
  /// Deletes a block that has a place.
  void Drop(std::int64_t key, std::int64_t place);
  /// The blocks with keys from `first` to `last`, both included, ascending.
  [[nodiscard]] std::vector<Entry> EntriesOf(std::int64_t first, std::int64_t last);
  /// Deletes the blocks with keys from `first` to `last`.
  void Delete(std::int64_t first, std::int64_t last);

 private:
  /// Whether the list that a block belongs to has any. Remembers the list that it was asked for last.
  [[nodiscard]] bool AnyOfList(std::int64_t key);
  [[nodiscard]] std::int64_t NextPlace();
  void MakeRoomForReplaced();

  sto_SqliteConnection& m_Connection;
  sto_SqliteBlob m_Reader, m_Writer;
  sto_SqliteStatement m_Find, m_FindRange, m_AnyInRange, m_Next, m_Set, m_DeleteRange, m_AddRow, m_DeleteRow,
      m_DeleteRowsOf, m_LastPlace;
  // Of the open transaction; Begin resets them.
  std::optional<std::int64_t> m_GreatestKey; // no block has a greater one; empty: not asked yet
  std::int64_t m_List = -1;                  // the list that AnyOfList was asked for last; -1: none
  bool m_AnyOfList = false;                  // its answer
  std::int64_t m_FirstNewPlace = 0;          // 0: none was given yet
  std::int64_t m_NextPlace = 0;
  std::vector<std::int64_t> m_Replaced; // the places to delete at the commit
  std::size_t m_ReplacedAtMark = 0;
};
