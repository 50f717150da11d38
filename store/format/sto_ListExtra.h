#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "store/format/sto_Codec.h"

/// What the header of a list may have besides its row width and its count: the extents of an array, and a unit.
/// Flags before it say what there is.
///
///     extra   := [extents] [unit]
///     extents := rank:varint extent:varint{rank}   row by row: the last index runs fastest
///     unit    := nameId:varint                     a row of table name
///
/// A view of encoded extents, which must outlive it; nothing is allocated. Thread rule: a plain value.
class sto_ListExtra {
 public:
  static constexpr std::uint64_t HasExtents = 0x20;
  static constexpr std::uint64_t HasUnit = 0x40;
  static constexpr int MaxRank = 32;

  [[nodiscard]] bool IsEmpty() const noexcept { return m_Rank == 0 && m_UnitId == 0; }
  /// The flags of what there is.
  [[nodiscard]] std::uint64_t Flags() const noexcept {
    return (m_Rank == 0 ? 0 : HasExtents) | (m_UnitId == 0 ? 0 : HasUnit);
  }
  /// How many extents there are; 0 without extents.
  [[nodiscard]] int Rank() const noexcept { return m_Rank; }
  [[nodiscard]] std::vector<std::int64_t> Extents() const;
  /// Those behind the first: the extents of one row. None if a row has no elements, or more than a list can have: an
  /// empty array may say so.
  [[nodiscard]] std::vector<std::int64_t> Row() const;
  /// Their encoded form, without the rank.
  [[nodiscard]] sto_ByteView EncodedExtents() const noexcept { return m_Extents; }
  /// The number of the unit's name in the store's dictionary; 0 without a unit.
  [[nodiscard]] std::int64_t UnitId() const noexcept { return m_UnitId; }

  /// Encodes extents into `bytes`, replacing what is there, and refers to them. False, and nothing is changed,
  /// if there are more than MaxRank, or they are not those of `count` elements. None: takes the extents away.
  [[nodiscard]] bool SetExtents(std::span<std::int64_t const> extents, std::int64_t count, sto_Bytes& bytes);
  /// Refers to the same extents in other bytes.
  void MoveExtents(sto_ByteView extents) noexcept { m_Extents = extents; }
  void SetUnit(std::int64_t nameId) noexcept { m_UnitId = nameId; }

  /// Writes what the flags say, without them.
  template <class Writer> void Put(Writer& writer) const {
    if (m_Rank != 0) {
      writer.Varint(static_cast<std::uint64_t>(m_Rank));
      writer.Raw(m_Extents.data(), m_Extents.size());
    }
    if (m_UnitId != 0) writer.Varint(static_cast<std::uint64_t>(m_UnitId));
  }
  /// Reads what `flags` say, of a list of `count` elements, from bytes that are not trusted. Other flags are
  /// left to the caller. False if the bytes are damaged.
  [[nodiscard]] bool Take(sto_ByteReader& reader, std::uint64_t flags, std::int64_t count);

  friend bool operator==(sto_ListExtra const& a, sto_ListExtra const& b) noexcept;

 private:
  [[nodiscard]] bool TakeExtents(sto_ByteReader& reader, std::int64_t count);

  int m_Rank = 0;
  sto_ByteView m_Extents;
  std::int64_t m_UnitId = 0;
};
