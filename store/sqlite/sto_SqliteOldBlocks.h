#pragma once

#include <cstdint>
#include <span>

#include "store/driver/sto_Driver.h"
#include "store/sqlite/sto_SqliteBlob.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// Reads the blocks of a store of the formats 1 to 3, in the form of the present format: each is a row, or a moved
/// row, and ends in its checksum. Those of the present format have a byte for the codec before it; so nothing is
/// hashed again.
///
/// REQUIRES, for every operation: an open transaction. Thread rule: one thread.
class sto_SqliteOldBlocks {
 public:
  /// `hasPlaces`: the store has the tables of moved blocks.
  sto_SqliteOldBlocks(sto_SqliteConnection& connection, bool hasPlaces);

  void Close() noexcept;
  [[nodiscard]] bool Read(std::int64_t key, sto_Bytes& data);
  [[nodiscard]] bool ReadInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end);
  /// Returns false if the sink has ended the reading.
  bool ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink);
  [[nodiscard]] bool Has(std::int64_t key) { return Seek(key) != nullptr; }

  /// A block as the present format has it.
  static void Convert(sto_Bytes& data);

 private:
  /// The reader that found the block, at its row; null if there is no such block.
  [[nodiscard]] sto_SqliteBlob* Seek(std::int64_t key);

  bool m_HasPlaces;
  sto_SqliteBlob m_ReadBlock, m_ReadMoved;
  sto_SqliteStatement m_FindPlace;
};
