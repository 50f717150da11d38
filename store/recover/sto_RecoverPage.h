#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "store/format/sto_Codec.h"

/// Big-endian numbers, as SQLite has them. REQUIRES: enough bytes.
[[nodiscard]] constexpr std::uint32_t sto_BigEndian16(sto_ByteView bytes) noexcept {
  return std::to_integer<std::uint32_t>(bytes[0]) << 8 | std::to_integer<std::uint32_t>(bytes[1]);
}
[[nodiscard]] constexpr std::uint32_t sto_BigEndian32(sto_ByteView bytes) noexcept {
  return sto_BigEndian16(bytes) << 16 | sto_BigEndian16(bytes.subspan(2));
}

/// Takes a number of SQLite's from the beginning of bytes: seven bits a byte, the highest first, and eight in the ninth
/// byte. False if there are not enough bytes.
[[nodiscard]] bool sto_TakeBigVarint(sto_ByteView& bytes, std::uint64_t& value) noexcept;

/// One cell of a page of SQLite's trees.
struct sto_RecoverCell {
  std::uint32_t m_Left = 0;    ///< of an inner page: the child before the cell
  bool m_HasRow = false;       ///< the cell has a row, or its beginning
  std::int64_t m_RowId = 0;    ///< of a table with row ids
  std::size_t m_SizeBytes = 0; ///< in the page
  std::uint64_t m_PayloadBytes = 0;
  sto_ByteView m_Local;         ///< the part of the payload that is in the page
  std::uint32_t m_Overflow = 0; ///< the page with the next part; 0: there is none
};

/// A page of SQLite's trees, read as the public description of the file format says, without trust. A view of the
/// page's bytes. Thread rule: any thread.
class sto_RecoverPage {
 public:
  enum Kind : std::uint8_t { None = 0, InnerIndex = 2, InnerTable = 5, LeafIndex = 10, LeafTable = 13 };

  /// `isFirst`: it is page 1, where the file's header comes first.
  sto_RecoverPage(sto_ByteView usable, bool isFirst) noexcept;

  /// What the page says that it is; None if its header cannot be one of a tree's page.
  [[nodiscard]] Kind What() const noexcept { return m_Kind; }
  [[nodiscard]] bool IsInner() const noexcept { return m_Kind == InnerIndex || m_Kind == InnerTable; }
  [[nodiscard]] bool HasRowIds() const noexcept { return m_Kind == InnerTable || m_Kind == LeafTable; }
  [[nodiscard]] std::size_t CellCount() const noexcept { return m_CellCount; }
  /// Of an inner page: the last child.
  [[nodiscard]] std::uint32_t Right() const noexcept { return m_Right; }
  /// A cell; empty if it cannot be one.
  [[nodiscard]] std::optional<sto_RecoverCell> Cell(std::size_t index) const noexcept;
  /// Whether all that is used in the page belongs to cells: otherwise some are missing in its directory.
  [[nodiscard]] bool IsWhole() const noexcept;
  /// Whether all cells can be cells, and some are in the second half, where a page is filled first.
  [[nodiscard]] bool LooksFull() const noexcept;

  /// Reads the cell of a leaf at an offset. `hasRowIds`: of which kind of leaf.
  [[nodiscard]] static std::optional<sto_RecoverCell> CellAt(sto_ByteView usable, std::size_t offset,
                                                             Kind kind) noexcept;

 private:
  sto_ByteView m_Bytes;
  std::size_t m_Start = 0; // of the header
  Kind m_Kind = None;
  std::size_t m_CellCount = 0;
  std::uint32_t m_Right = 0;
};

/// A value of a row.
struct sto_RecoverValue {
  enum Type : std::uint8_t { Null, Integer, Text, Bytes, Other };
  Type m_Type = Null;
  std::int64_t m_Number = 0;
  sto_ByteView m_Bytes; ///< of a text or of bytes
};
