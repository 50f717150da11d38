#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <span>

#include "store/driver/sto_Driver.h"
#include "store/sqlite/sto_SqliteBlockRows.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteMovedBlocks.h"

/// The blocks of a store in SQLite.
///
/// A block is in a row of table block, together with its neighbours, until it is overwritten in a way that would
/// change many pages; then it moves to a row of its own in table moved_block. The old content stays in the shared
/// row, unused. When more than half of a row has moved, the rest moves too, and the row is deleted: so there is
/// never more room unused than used. A block that is too long for a shared row has a row of its own from the
/// beginning.
///
/// Why: a page that is overwritten in place is copied to the rollback journal first, a page that the file did
/// not use before is not. So overwriting many blocks costs no more than writing them anew, and the file
/// reuses the room of the old rows for the next writes.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteBlocks {
 public:
  /// How many blocks one transaction overwrites in place before it begins to move them. A small change to a
  /// large list writes one or two pages a block and moves nothing.
  static constexpr int MaxInPlace = 32;

  /// A longer block does not share its row with others.
  static constexpr std::size_t MaxSharedBytes = 65536;

  /// REQUIRES: the arguments live as long as this object.
  sto_SqliteBlocks(sto_SqliteConnection& connection, sto_SqliteChanges& changes);

  /// Call when a transaction begins. `mayMove`: moving blocks is cheaper than overwriting them in place; with a
  /// write-ahead log it is not.
  void Begin(bool mayMove) noexcept;
  /// Writes what is in memory and deletes the rows that were replaced; call just before COMMIT.
  void FinishTransaction();
  /// Call before SQLite sets the mark: writes what is in memory.
  void SetMark();
  /// Call when SQLite has gone back to the mark. Allocates nothing: memory may have run out.
  void ReturnToMark() noexcept;
  /// Closes the open byte strings. They would keep the transaction open, or show the state before a change.
  void Close() noexcept;
  /// Call when the transaction is rolled back.
  void Drop() noexcept;

  [[nodiscard]] bool Read(std::int64_t key, sto_Bytes& data);
  [[nodiscard]] bool ReadInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end);
  /// Returns false if the sink has ended the reading.
  bool ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink);
  [[nodiscard]] bool Has(std::int64_t key);
  /// Whether there may be blocks with keys from `first` to `last`: if not, deleting them would do nothing.
  [[nodiscard]] bool HasAny(std::int64_t first, std::int64_t last);
  void Write(std::int64_t key, sto_ByteView data);
  void Overwrite(std::int64_t key, sto_ByteView data);
  void Delete(std::int64_t first, std::int64_t last);

 private:
  /// A block, wherever it is.
  struct Found {
    std::int64_t m_Place = 0; // of a moved block
    sto_SqliteBlobPart m_Part;
    sto_ByteView m_Pending; // of a row in memory; m_Part is empty then

    [[nodiscard]] bool IsThere() const noexcept { return static_cast<bool>(m_Part) || !m_Pending.empty(); }
    [[nodiscard]] std::size_t SizeBytes() const noexcept {
      return m_Pending.empty() ? m_Part.m_Size : m_Pending.size();
    }
    void Read(std::size_t offset, std::span<std::byte> data) const;
  };
  [[nodiscard]] Found Find(std::int64_t key, bool forWriting = false);

  /// The term of a block in the sum over the store; that of nothing if it is not there.
  [[nodiscard]] static sto_ContentSum TermOf(std::int64_t key, Found const& found);
  /// The terms of all blocks with keys from `first` to `last`, which are about to be deleted.
  [[nodiscard]] sto_ContentSum TermsOf(std::int64_t first, std::int64_t last);
  /// Puts a block into its shared row, or into a new row of its own. `oldPlace`: that of its old row, or 0.
  void Put(std::int64_t key, std::int64_t oldPlace, sto_ByteView data);
  /// Gives a block a new row of its own.
  void Move(std::int64_t key, std::int64_t oldPlace, sto_ByteView data);
  /// Overwrites what differs; does nothing if nothing does.
  void OverwriteInPlace(std::int64_t key, sto_SqliteBlobPart const& part, sto_ByteView data);
  /// Deletes rows of which more than half has moved; the rest moves, too.
  void TidyLeftRows();

  sto_SqliteChanges& m_Noted;
  sto_SqliteBlockRows m_Rows;
  sto_SqliteMovedBlocks m_Moved;
  bool m_MayMove = false; // set by Begin
  // Of the open transaction; Begin resets them.
  int m_InPlace = 0; // how many blocks were overwritten in place
  int m_InPlaceAtMark = 0;
  std::set<std::int64_t> m_LeftRows; // the rows that blocks have moved from; some may have been undone
  sto_Bytes m_OldContent;            // scratch: the stored content that a new one is compared with
};
