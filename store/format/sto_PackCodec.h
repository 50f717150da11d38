#pragma once

#include <array>
#include <cstdint>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Format.h"

// Packs: the records of objects whose ids have the same quotient by sto_Format::IdsInPack.
//
//     pack   := header  record*
//     header := present:4  save  shapeCount shape{shapeCount}  [index:1]*  end:2*  checksum:4
//     record := values  checksum:4
//
// The checksum of the header is seeded with the pack's key, that of a record with the object's id. So one
// record is read and checked without its neighbours, and a pack is written again without checking them: each
// keeps its own checksum.

/// Where the record of one object is in a pack.
struct sto_PackEntry {
  std::uint32_t m_Offset = 0;    ///< in the records
  std::uint32_t m_SizeBytes = 0; ///< with the checksum; 0: the pack does not have the object
  std::uint32_t m_Shape = 0;     ///< the number of its shape, sto_Format::OwnShape for its own

  friend bool operator==(sto_PackEntry const& a, sto_PackEntry const& b) noexcept = default;
};
using sto_PackEntries = std::array<sto_PackEntry, sto_Format::IdsInPack>;

/// The pack and the entry of an object.
[[nodiscard]] constexpr std::int64_t sto_PackOf(std::int64_t id) noexcept {
  return id / sto_Format::IdsInPack;
}
[[nodiscard]] constexpr std::size_t sto_SlotOf(std::int64_t id) noexcept {
  return static_cast<std::size_t>(id % sto_Format::IdsInPack);
}

/// A decoded pack.
struct sto_DecodedPack {
  std::uint32_t m_Present = 0; ///< bit i: the i-th object is there
  std::int64_t m_Save = 0;     ///< the save that has written the pack
  sto_PackEntries m_Entries;
  sto_ByteView m_Records; ///< a view of the decoded bytes
};

/// Decodes a pack from bytes that are not trusted. Does not look at the records. False if it is damaged.
[[nodiscard]] bool sto_DecodePack(std::int64_t key, sto_ByteView data, sto_DecodedPack& pack) noexcept;

/// Encodes a pack into `data`, replacing what it has. `records` holds the records of the entries in any
/// order. REQUIRES: at least one entry has an object; the records take less than 64 KiB together.
void sto_EncodePack(std::int64_t key, std::int64_t save, sto_PackEntries const& entries, sto_ByteView records,
                    sto_Bytes& data);

/// Which objects a pack has, from its first bytes; bit i: the i-th.
[[nodiscard]] std::uint32_t sto_PresentIn(sto_ByteView data) noexcept;

/// The checksum of a record in a pack, or of a pack's header.
[[nodiscard]] std::uint32_t sto_PackedChecksum(std::int64_t owner, sto_ByteView bytes) noexcept;
