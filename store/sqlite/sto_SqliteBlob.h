#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "store/format/sto_Codec.h"

struct sqlite3_blob;
class sto_SqliteConnection;

/// Reads, or overwrites in place, the byte strings of one table. It needs no statement for each row: the
/// bytes are copied straight between the file's pages and the caller. Close it before the transaction ends;
/// an open one keeps the file locked. Thread rule: one thread.
class sto_SqliteBlob {
 public:
  /// `table` is a literal; its byte strings are in column data.
  sto_SqliteBlob(sto_SqliteConnection& connection, char const* table, bool forWriting) noexcept
      : m_Connection(connection), m_Table(table), m_ForWriting(forWriting) {}
  sto_SqliteBlob(sto_SqliteBlob const&) = delete;
  sto_SqliteBlob& operator=(sto_SqliteBlob const&) = delete;
  ~sto_SqliteBlob() { Close(); }

  /// Goes to a row; false when there is none. Damaged if the row claims more bytes than the store has.
  [[nodiscard]] bool Seek(std::int64_t key);
  /// The size of the row's byte string. REQUIRES, as reading and writing do: the last Seek returned true.
  [[nodiscard]] std::size_t SizeBytes() const noexcept;
  /// Reads all of it.
  void Read(sto_Bytes& data);
  /// Reads a part of it. REQUIRES: the part lies within the byte string.
  void Read(std::size_t offset, std::span<std::byte> data);
  /// Overwrites a part of it. REQUIRES: opened for writing, and the part lies within the byte string.
  void Write(std::size_t offset, sto_ByteView data);
  void Close() noexcept;
  [[nodiscard]] bool IsOpen() const noexcept { return m_Handle != nullptr; }

 private:
  /// Damaged for a row that claims more bytes than the store has, before anyone takes memory for them.
  void CheckSize(std::int64_t key);
  [[noreturn]] void RaiseClosed(int code);

  sto_SqliteConnection& m_Connection;
  char const* m_Table;
  bool m_ForWriting;
  sqlite3_blob* m_Handle = nullptr;
};
