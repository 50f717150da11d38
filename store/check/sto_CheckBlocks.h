#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "store/check/sto_CheckResults.h"
#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_ChunkDirectory.h"
#include "store/format/sto_Record.h"

/// Compares the blocks of a store with the lists and blobs that they belong to: Add each list and blob, Begin, Take
/// all blocks in ascending order, End. The only place of the check that knows what is in blocks. Memory: 24 bytes
/// for each list in blocks and each blob, and the directories of maps in chunks. Thread rule: one thread.
class sto_CheckBlocks {
 public:
  /// What the blocks need of the objects.
  struct Objects {
    /// The name of an object's class.
    std::function<std::string(std::int64_t id)> m_ClassOf;
    /// Whether an object could not be read: then nobody knows what its blocks are.
    std::function<bool(std::int64_t id)> m_IsUnknown;
    /// Called with each object that a list of objects holds.
    std::function<void(std::int64_t list, std::int64_t element)> m_Hold;
  };

  /// REQUIRES: `results` lives as long as this object.
  sto_CheckBlocks(sto_CheckResults& results, Objects objects);

  /// A list whose elements are in blocks.
  void AddList(std::int64_t id, sto_ListHeader const& list);
  void AddBlob(std::int64_t id, std::int64_t sizeBytes);
  /// A map in chunks, with what is known of its directory.
  void AddMap(std::int64_t id, sto_MapHeader const& map, sto_ChunkDirectory const& directory);

  void Begin();
  void Take(std::int64_t key, sto_ByteView data);
  void End();

 private:
  static constexpr std::uint8_t BytesOfBlob = 0xFF;
  static constexpr std::uint8_t ChunksOfMap = 0xFE;
  struct Owner {
    std::int64_t m_Id;
    std::int64_t m_Count;       // elements, bytes of a blob, or the index of a map in m_Maps
    std::uint8_t m_ElementType; // BytesOfBlob for a blob, ChunksOfMap for a map
    bool m_HasFixedIds;

    [[nodiscard]] std::int64_t BlockCount() const noexcept;
    /// How many elements or bytes a block has.
    [[nodiscard]] int CountIn(int block) const noexcept;
  };
  /// A map in chunks.
  struct Map {
    sto_MapHeader m_Header;
    std::vector<sto_Chunk> m_Blocks; // chunks and pages, ascending by number; m_Count of a page is 0
  };
  /// A run of blocks without owner.
  struct Orphans {
    std::int64_t m_Id = 0;
    std::int64_t m_First = 0, m_Count = 0; // m_Count 0: there is none
  };

  /// Reports what is missing of the owners before `id`.
  void FinishBefore(std::int64_t id);
  void ReportMissing(Owner const& owner, std::int64_t first, std::int64_t end);
  /// Reports what is missing of a map before a block.
  void ReportMissing(Owner const& owner, Map const& map, std::int64_t before);
  void TakeOfMap(Owner const& owner, int block, sto_ByteView data, bool isSound);
  [[nodiscard]] bool IsChunk(std::int64_t id, Map const& map, sto_Chunk const& chunk, sto_ByteView content);
  void TakeOrphan(std::int64_t id, std::int64_t block);
  void ReportOrphans();
  /// `content`: empty if it cannot be restored.
  void CheckContent(Owner const& owner, int block, std::optional<sto_ByteView> content);
  [[nodiscard]] bool HasElements(Owner const& owner, sto_ByteView content, int count);
  void Report(sto_CheckKind kind, std::int64_t id, std::int64_t block, std::string const& text);
  [[nodiscard]] std::string Describe(std::int64_t id) const;

  sto_CheckResults& m_Results;
  Objects m_Objects;
  std::vector<Owner> m_Owners; // ascending by id after Begin
  std::size_t m_At = 0;        // the owner of the blocks that are passing
  std::int64_t m_Next = 0;     // its next block; of a map the index in m_Blocks
  std::vector<Map> m_Maps;
  Orphans m_Orphans;
  sto_BlockCodec m_Codec;
  sto_Bytes m_Restored;            // scratch: the content of a compressed block
  std::vector<std::int64_t> m_Ids; // scratch
};

/// The bytes of an element of a list, 0 if they differ.
[[nodiscard]] std::size_t sto_FixedBytes(std::uint8_t elementType) noexcept;

/// Whether elements that follow each other in a list's record or in a block are `count` elements of a type.
[[nodiscard]] bool sto_AreElements(sto_ByteView content, std::uint8_t elementType, int count);
