#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "store/format/sto_BlockRow.h"
#include "store/sqlite/sto_SqliteBlob.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// A part of a byte string in the file: a block. Valid until the byte string is closed or goes to another row.
struct sto_SqliteBlobPart {
  sto_SqliteBlob* m_Blob = nullptr; ///< null: there is no such block
  std::size_t m_Offset = 0;
  std::size_t m_Size = 0;

  [[nodiscard]] explicit operator bool() const noexcept { return m_Blob != nullptr; }
  /// Reads all of it.
  void Read(sto_Bytes& data) const {
    data.resize(m_Size);
    m_Blob->Read(m_Offset, data);
  }
  /// Reads, or overwrites, some of it. REQUIRES: that lies within it.
  void Read(std::size_t offset, std::span<std::byte> data) const { m_Blob->Read(m_Offset + offset, data); }
  void Write(std::size_t offset, sto_ByteView data) const { m_Blob->Write(m_Offset + offset, data); }
};

/// The rows of table block, each of several blocks. See sto_BlockRow.
///
/// Rows that are being written are in memory until they are full or the transaction ends, so that each is
/// written once although its blocks come one by one, of many lists in turn.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteBlockRows {
 public:
  /// At most so many rows are in memory.
  static constexpr std::size_t MaxPending = 64;

  explicit sto_SqliteBlockRows(sto_SqliteConnection& connection);

  /// Call when a transaction begins.
  void Begin() noexcept;
  /// Closes the open byte strings. They would keep the transaction open, or show the state before a change.
  void Close() noexcept;
  /// Forgets the rows in memory, which are undone.
  void Drop() noexcept;
  /// Writes the rows in memory.
  void Flush();

  /// A block of a row in memory; empty if the row is not there, or lacks the block.
  [[nodiscard]] sto_ByteView FindPending(std::int64_t key) const noexcept;
  /// Whether the row of a block is in memory.
  [[nodiscard]] bool IsPending(std::int64_t key) const noexcept {
    return m_Pending.contains(sto_BlockRow::RowOf(key));
  }
  /// A block in the file. REQUIRES: its row is not in memory.
  [[nodiscard]] sto_SqliteBlobPart Seek(std::int64_t key) { return m_Reader.Seek(key); }
  [[nodiscard]] sto_SqliteBlobPart SeekToWrite(std::int64_t key) { return m_Writer.Seek(key); }
  /// Whether a row may have a block with this key or a greater one. Asks the file once in a transaction.
  [[nodiscard]] bool MayHaveFrom(std::int64_t key);

  /// Puts a block into its row; an empty one removes it.
  void Put(std::int64_t key, sto_ByteView block);
  /// Whether the row of a block is one that this transaction has written.
  [[nodiscard]] bool IsNew(std::int64_t key) const noexcept;
  /// Whether a block is the last one of its row. REQUIRES: its row is in the file, and not in memory.
  [[nodiscard]] bool IsLast(std::int64_t key);

  /// Whether a row has, or had, blocks with keys from `first` to `last`, both included.
  [[nodiscard]] bool HasAny(std::int64_t first, std::int64_t last);
  /// The first row that may have blocks from a key on; the greatest number if there is none.
  [[nodiscard]] std::int64_t NextFrom(std::int64_t key);
  /// The keys of the rows in the file that have blocks with keys from `first` to `last`, both included.
  [[nodiscard]] std::vector<std::int64_t> RowsOf(std::int64_t first, std::int64_t last);
  /// The keys of the rows in memory that have such blocks.
  [[nodiscard]] std::vector<std::int64_t> PendingRowsOf(std::int64_t first, std::int64_t last) const;
  /// Deletes the blocks with keys from `first` to `last`.
  void Delete(std::int64_t first, std::int64_t last);
  /// Deletes a row of the file. REQUIRES: it is not in memory.
  void DeleteRow(std::int64_t row) { DeleteRows(row, row); }

 private:
  static constexpr std::int64_t NoRow = -1; // no row has this key

  /// Finds blocks in the rows of the file, and remembers the directory of the row that it was at last.
  class Seeker {
   public:
    Seeker(sto_SqliteConnection& connection, bool forWriting) noexcept
        : m_Blob(connection, "block", forWriting) {}
    [[nodiscard]] sto_SqliteBlobPart Seek(std::int64_t key);
    /// Reads a whole row; false if there is none.
    [[nodiscard]] bool ReadRow(std::int64_t row, sto_Bytes& data);
    [[nodiscard]] sto_BlockRow::Directory const& Directory() const noexcept { return m_Directory; }
    void Close() noexcept;

   private:
    [[nodiscard]] bool GoTo(std::int64_t row);

    sto_SqliteBlob m_Blob;
    std::int64_t m_Row = NoRow;
    sto_BlockRow::Directory m_Directory;
  };

  /// The row of a block, in memory.
  [[nodiscard]] sto_BlockRow& Load(std::int64_t key);
  void Write(std::int64_t row, sto_BlockRow& content);
  void WriteFullRow();
  /// Removes some blocks of one row.
  void Cut(std::int64_t row, std::int64_t first, std::int64_t last);
  void DeleteRows(std::int64_t first, std::int64_t last);
  void NoteNew(std::int64_t row) noexcept;

  sto_SqliteConnection& m_Connection;
  Seeker m_Reader, m_Writer;
  sto_SqliteStatement m_WriteRow, m_DeleteRows, m_FindRows, m_HasRow, m_NextRow;
  std::map<std::int64_t, sto_BlockRow> m_Pending; // by the rows' keys
  std::int64_t m_FullRow = NoRow;                 // a row in memory whose last block was put
  sto_BlockRow m_Spare;                           // the memory of a row that was written
  // Of the open transaction; Begin resets them.
  std::optional<std::int64_t> m_GreatestRow; // no row has a greater key; empty: not asked yet
  std::int64_t m_NewRows[16] = {};           // the keys of the rows that were written last
  std::size_t m_NextNewRow = 0;
};
