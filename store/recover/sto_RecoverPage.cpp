#include "store/recover/sto_RecoverPage.h"

#include <algorithm>

namespace {

/// How much of a payload is in the page.
std::size_t LocalBytes(std::size_t usable, std::uint64_t payload, bool isTableLeaf) noexcept {
  std::size_t const most = isTableLeaf ? usable - 35 : (usable - 12) * 64 / 255 - 23;
  if (payload <= most) return static_cast<std::size_t>(payload);
  std::size_t const least = (usable - 12) * 32 / 255 - 23;
  std::size_t const local = least + static_cast<std::size_t>((payload - least) % (usable - 4));
  return local <= most ? local : least;
}

} // namespace

bool sto_TakeBigVarint(sto_ByteView& bytes, std::uint64_t& value) noexcept {
  value = 0;
  for (std::size_t i = 0; i < 9; ++i) {
    if (i >= bytes.size()) return false;
    auto const byte = std::to_integer<std::uint64_t>(bytes[i]);
    value = i == 8 ? value << 8 | byte : value << 7 | (byte & 0x7F);
    if (i == 8 || byte < 0x80) {
      bytes = bytes.subspan(i + 1);
      return true;
    }
  }
  return false;
}

sto_RecoverPage::sto_RecoverPage(sto_ByteView usable, bool isFirst) noexcept
    : m_Bytes(usable), m_Start(isFirst ? 100 : 0) {
  sto_ByteView const header = usable.subspan(m_Start);
  auto const kind = static_cast<Kind>(header[0]);
  if (kind != InnerIndex && kind != InnerTable && kind != LeafIndex && kind != LeafTable) return;
  std::size_t const headerBytes = kind == InnerIndex || kind == InnerTable ? 12 : 8;
  m_CellCount = sto_BigEndian16(header.subspan(3));
  if (m_Start + headerBytes + 2 * m_CellCount > usable.size()) {
    m_CellCount = 0;
    return;
  }
  m_Kind = kind;
  if (IsInner()) m_Right = sto_BigEndian32(header.subspan(8));
}

std::optional<sto_RecoverCell> sto_RecoverPage::Cell(std::size_t index) const noexcept {
  std::size_t const pointers = m_Start + (IsInner() ? 12 : 8);
  std::size_t const offset = sto_BigEndian16(m_Bytes.subspan(pointers + 2 * index));
  if (offset < pointers + 2 * m_CellCount || offset >= m_Bytes.size()) return std::nullopt;
  return CellAt(m_Bytes, offset, m_Kind);
}

std::optional<sto_RecoverCell> sto_RecoverPage::CellAt(sto_ByteView usable, std::size_t offset,
                                                       Kind kind) noexcept {
  sto_ByteView bytes = usable.subspan(offset);
  sto_RecoverCell cell;
  if (kind == InnerIndex || kind == InnerTable) {
    if (bytes.size() < 4) return std::nullopt;
    cell.m_Left = sto_BigEndian32(bytes);
    bytes = bytes.subspan(4);
  }
  std::uint64_t rowId = 0;
  if (kind != InnerTable && !sto_TakeBigVarint(bytes, cell.m_PayloadBytes)) return std::nullopt;
  if ((kind == InnerTable || kind == LeafTable) && !sto_TakeBigVarint(bytes, rowId)) return std::nullopt;
  cell.m_RowId = static_cast<std::int64_t>(rowId);
  if (kind == InnerTable) {
    cell.m_SizeBytes = usable.size() - offset - bytes.size();
    return cell;
  }
  constexpr std::uint64_t MaxPayload = 1'000'000'000; // SQLite's own limit
  if (cell.m_PayloadBytes == 0 || cell.m_PayloadBytes > MaxPayload) return std::nullopt;
  std::size_t const local = LocalBytes(usable.size(), cell.m_PayloadBytes, kind == LeafTable);
  bool const overflows = local < cell.m_PayloadBytes;
  if (bytes.size() < local + (overflows ? 4 : 0)) return std::nullopt;
  cell.m_HasRow = true;
  cell.m_Local = bytes.first(local);
  if (overflows) cell.m_Overflow = sto_BigEndian32(bytes.subspan(local));
  cell.m_SizeBytes = usable.size() - offset - bytes.size() + local + (overflows ? 4 : 0);
  return cell;
}

bool sto_RecoverPage::LooksFull() const noexcept {
  if (m_Kind == None || m_CellCount == 0) return false;
  bool hasLate = false;
  std::size_t const pointers = m_Start + (IsInner() ? 12 : 8);
  for (std::size_t i = 0; i < m_CellCount; ++i) {
    if (!Cell(i)) return false;
    hasLate = hasLate || sto_BigEndian16(m_Bytes.subspan(pointers + 2 * i)) >= m_Bytes.size() / 2;
  }
  return hasLate;
}

bool sto_RecoverPage::IsWhole() const noexcept {
  constexpr std::size_t MinCellBytes = 4;
  sto_ByteView const header = m_Bytes.subspan(m_Start);
  std::size_t const start = sto_BigEndian16(header.subspan(5));
  std::size_t const content = start == 0 ? 65536 : start;
  if (content > m_Bytes.size()) return false;
  std::size_t used = std::to_integer<std::size_t>(header[7]); // bytes too few for a list of free ones
  for (std::size_t i = 0; i < m_CellCount; ++i) {
    std::optional<sto_RecoverCell> const cell = Cell(i);
    if (!cell) return false;
    used += std::max(cell->m_SizeBytes, MinCellBytes);
  }
  std::size_t previous = 0;
  for (std::size_t free = sto_BigEndian16(header.subspan(1)); free != 0;) {
    if (free <= previous || free + 4 > m_Bytes.size()) return false;
    used += sto_BigEndian16(m_Bytes.subspan(free + 2));
    previous = free;
    free = sto_BigEndian16(m_Bytes.subspan(free));
  }
  return used == m_Bytes.size() - content;
}
