#pragma once

#include <cstdint>

#include "store/format/sto_ChunkDirectory.h"
#include "store/session/sto_StoredBlocks.h"

/// The blocks of one stored map or int table in chunks. Internal to the module.
///
/// REQUIRES: an open transaction (a write transaction to write). Errors: Damaged for a block that is missing
/// or does not fit the directory, with the object and the number of the block; those of the driver. Thread
/// rule: the thread of the session.
class sto_MapChunks {
 public:
  sto_MapChunks(sto_Session& session, std::int64_t id) noexcept
      : m_Session(session), m_Id(id), m_Blocks(session, id) {}

  /// Reads the directory. `numbers`: empty; gets those of all blocks. REQUIRES: the header is that of a decoded
  /// record.
  [[nodiscard]] sto_ChunkDirectory ReadDirectory(sto_MapHeader const& map, sto_ChunkNumbers& numbers);

  /// The entries of a chunk, checked. Valid until the next operation. `map`: says their types.
  [[nodiscard]] sto_ByteView Read(sto_MapHeader const& map, sto_Chunk const& chunk);

  /// Writes a chunk or a page; `isThere`: it replaces an existing block. Full if there are too many.
  void Write(int number, sto_Bytes& content, bool isThere);
  void Delete(int number) { m_Blocks.Delete(number, number); }
  /// Deletes all blocks of the map.
  void DeleteAll() { m_Blocks.DeleteFrom(0); }

  /// Full if a map needs a block of this number.
  static void CheckNumber(sto_Session const& session, std::int64_t id, int number);

  [[noreturn]] void RaiseDamaged(int number) const;
  [[noreturn]] void RaiseDamagedDirectory() const;

 private:
  sto_Session& m_Session;
  std::int64_t m_Id;
  sto_StoredBlocks m_Blocks;
};

/// A header for the entries of one chunk alone.
[[nodiscard]] inline sto_MapHeader sto_MapOfChunk(sto_MapHeader map, int count,
                                                  sto_ByteView entries) noexcept {
  map.m_InChunks = false;
  map.m_Count = count;
  map.m_Entries = entries;
  return map;
}
