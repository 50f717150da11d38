#include "store/recover/sto_RecoverTrees.h"

#include <algorithm>
#include <utility>

namespace {

/// The pages with numbers in the header of the file.
constexpr std::size_t FirstTrunkOffset = 32, FreeCountOffset = 36;

/// More of a row that cannot be read is not made up for with zeros: no row with several blocks lacks more.
constexpr std::uint64_t MaxGap = 1 << 20;

std::int64_t SignedNumber(sto_ByteView bytes) noexcept {
  std::uint64_t value = std::to_integer<std::uint8_t>(bytes[0]) >= 0x80 ? ~std::uint64_t{0} : 0;
  for (std::byte const byte : bytes) value = value << 8 | std::to_integer<std::uint64_t>(byte);
  return static_cast<std::int64_t>(value);
}

/// The value of a serial type, taken from the values of a row; false if there are not enough bytes.
bool TakeValue(std::uint64_t type, sto_ByteView& bytes, sto_RecoverValue& value) noexcept {
  constexpr std::size_t Sizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0, 0, 0};
  std::uint64_t const size = type < 12 ? Sizes[type] : (type - 12) / 2;
  if (size > bytes.size()) return false;
  sto_ByteView const own = bytes.first(static_cast<std::size_t>(size));
  bytes = bytes.subspan(static_cast<std::size_t>(size));
  value = {};
  if (type >= 12) {
    value.m_Type = type % 2 == 0 ? sto_RecoverValue::Bytes : sto_RecoverValue::Text;
    value.m_Bytes = own;
  } else if (type >= 1 && type <= 6) {
    value.m_Type = sto_RecoverValue::Integer;
    value.m_Number = SignedNumber(own);
  } else if (type == 8 || type == 9) {
    value.m_Type = sto_RecoverValue::Integer;
    value.m_Number = static_cast<std::int64_t>(type - 8);
  } else if (type != 0) {
    value.m_Type = sto_RecoverValue::Other;
  }
  return true;
}

} // namespace

sto_RecoverTrees::sto_RecoverTrees(sto_RecoverFile const& file, std::function<void()> step)
    : m_File(file), m_Step(std::move(step)), m_States(std::size_t{file.PageCount()} + 1, Unknown) {
  FindFreePages();
}

void sto_RecoverTrees::FindFreePages() {
  m_AreFreePagesKnown = m_File.HasHeader() && ReadFreePages();
  if (!m_AreFreePagesKnown) std::ranges::fill(m_States, Unknown); // a damaged list may name used pages
}

bool sto_RecoverTrees::ReadFreePages() {
  std::uint64_t const expected = m_File.HeaderNumber(FreeCountOffset);
  std::uint64_t found = 0;
  sto_Bytes trunk;
  Page number = m_File.HeaderNumber(FirstTrunkOffset);
  auto const free = [&](Page page) {
    ++found;
    if (page > m_File.PageCount()) return page <= m_File.ExpectedPages(); // cut off with the end of the file
    if (page < 2 || m_States[page] != Unknown) return false;
    m_States[page] = Free;
    return true;
  };
  while (number != 0) {
    if (!free(number) || !m_File.Read(number, trunk)) return false;
    sto_ByteView const usable = sto_ByteView(trunk).first(m_File.UsableBytes());
    std::size_t const count = sto_BigEndian32(usable.subspan(4));
    if (count > usable.size() / 4 - 2) return false;
    for (std::size_t i = 0; i < count; ++i)
      if (!free(sto_BigEndian32(usable.subspan(8 + 4 * i)))) return false;
    number = sto_BigEndian32(usable);
  }
  return found == expected;
}

bool sto_RecoverTrees::Claim(Page page) {
  if (page == 0 || page > m_File.PageCount()) return false;
  if (m_IsPeeking) return true;
  if (m_States[page] != Unknown) return false;
  m_States[page] = Used;
  return true;
}

void sto_RecoverTrees::Walk(Page root, bool hasRowIds, sto_RecoverRows& rows) {
  WalkPage(root, hasRowIds, 0, {Least, Greatest}, rows);
}

bool sto_RecoverTrees::Peek(Page root, bool hasRowIds, sto_RecoverRows& rows) {
  sto_Bytes bytes;
  m_IsPeeking = true;
  bool isLeaf = false;
  for (int depth = 0; depth < MaxDepth && m_File.Read(root, bytes); ++depth) {
    sto_RecoverPage const page(sto_ByteView(bytes).first(m_File.UsableBytes()), root == 1);
    if (page.What() == sto_RecoverPage::None || page.HasRowIds() != hasRowIds) break;
    if (!page.IsInner()) {
      isLeaf = true;
      WalkLeaf(page, {Least, Greatest}, rows);
      break;
    }
    std::optional<sto_RecoverCell> const cell = page.CellCount() > 0 ? page.Cell(0) : std::nullopt;
    root = cell ? cell->m_Left : page.Right();
  }
  m_IsPeeking = false;
  return isLeaf;
}

void sto_RecoverTrees::Miss(Keys keys, sto_RecoverRows& rows) {
  if (!m_IsPeeking) rows.Miss(keys.m_First, keys.m_Last);
}

void sto_RecoverTrees::WalkPage(Page number, bool hasRowIds, int depth, Keys keys, sto_RecoverRows& rows) {
  sto_Bytes bytes;
  bool isTree = depth < MaxDepth && Claim(number) && m_File.Read(number, bytes);
  if (isTree) {
    m_Step();
    sto_RecoverPage const page(sto_ByteView(bytes).first(m_File.UsableBytes()), number == 1);
    isTree = page.What() != sto_RecoverPage::None && page.HasRowIds() == hasRowIds;
    if (isTree && page.IsInner())
      WalkInner(page, depth, keys, rows);
    else if (isTree)
      WalkLeaf(page, keys, rows);
    if (isTree && page.IsWhole()) return;
  }
  m_LostPages += isTree ? 0 : 1;
  Miss(keys, rows);
  if (!bytes.empty() && !m_IsPeeking)
    SearchPage(sto_ByteView(bytes).first(m_File.UsableBytes()), hasRowIds, rows);
}

void sto_RecoverTrees::SearchPage(sto_ByteView page, bool hasRowIds, sto_RecoverRows& rows) {
  sto_RecoverPage::Kind const kind = hasRowIds ? sto_RecoverPage::LeafTable : sto_RecoverPage::LeafIndex;
  for (std::size_t offset = 8; offset < page.size(); ++offset) {
    std::optional<sto_RecoverCell> const cell = sto_RecoverPage::CellAt(page, offset, kind);
    if (!cell || cell->m_PayloadBytes < 4) continue;
    // The header of a row says how long it is itself, and has a byte for each value.
    auto const headerBytes = std::to_integer<std::size_t>(cell->m_Local[0]);
    if (headerBytes < 3 || headerBytes > 64 || headerBytes > cell->m_Local.size()) continue;
    bool const isTaken =
        ReadPayload(*cell) && Parse(m_Payload) && rows.TakeLoose({cell->m_RowId, hasRowIds, m_Values});
    if (isTaken)
      offset += cell->m_Local.size() - 1;
    else
      for (Page const claimed : m_Claimed) m_States[claimed] = Unknown;
  }
}

void sto_RecoverTrees::WalkInner(sto_RecoverPage const& page, int depth, Keys keys, sto_RecoverRows& rows) {
  std::int64_t first = keys.m_First;
  for (std::size_t i = 0; i < page.CellCount(); ++i) {
    std::optional<sto_RecoverCell> const cell = page.Cell(i);
    bool const isInOrder =
        cell && (!page.HasRowIds() || (cell->m_RowId >= first && cell->m_RowId <= keys.m_Last));
    if (!cell) { // the next cell says where the lost child ends
      std::optional<sto_RecoverCell> const next = i + 1 < page.CellCount() ? page.Cell(i + 1) : std::nullopt;
      Miss({first, next && page.HasRowIds() ? next->m_RowId : keys.m_Last}, rows);
      continue;
    }
    Keys const child = page.HasRowIds() && isInOrder ? Keys{first, cell->m_RowId} : Keys{first, keys.m_Last};
    WalkPage(cell->m_Left, page.HasRowIds(), depth + 1, child, rows);
    if (cell->m_HasRow && !TakeCell(*cell, false, rows)) Miss(keys, rows);
    if (page.HasRowIds() && isInOrder && cell->m_RowId != Greatest) first = cell->m_RowId + 1;
  }
  WalkPage(page.Right(), page.HasRowIds(), depth + 1, {first, keys.m_Last}, rows);
}

void sto_RecoverTrees::WalkLeaf(sto_RecoverPage const& page, Keys keys, sto_RecoverRows& rows) {
  std::int64_t first = keys.m_First;
  bool isMissing = false, isOtherPage = false;
  for (std::size_t i = 0; i < page.CellCount(); ++i) {
    std::optional<sto_RecoverCell> const cell = page.Cell(i);
    bool const isTaken = cell && TakeCell(*cell, page.HasRowIds(), rows);
    if (!page.HasRowIds() || !isTaken) {
      isMissing = isMissing || !isTaken;
      continue;
    }
    // Rows of the table that do not belong here: the page has the bytes of another one.
    bool const isInOrder = cell->m_RowId >= first && cell->m_RowId <= keys.m_Last;
    isOtherPage = isOtherPage || !isInOrder;
    if (isMissing && cell->m_RowId > first) Miss({first, cell->m_RowId - 1}, rows);
    isMissing = false;
    if (isInOrder && cell->m_RowId < keys.m_Last) first = cell->m_RowId + 1;
  }
  if (isOtherPage)
    Miss(keys, rows);
  else if (isMissing)
    Miss({first, keys.m_Last}, rows);
}

void sto_RecoverTrees::WalkOrphans(sto_RecoverRows& rows) {
  sto_Bytes bytes;
  for (Page number = 1; number <= m_File.PageCount(); ++number) {
    if (m_States[number] != Unknown || !m_File.Read(number, bytes)) continue;
    m_Step();
    sto_RecoverPage const page(sto_ByteView(bytes).first(m_File.UsableBytes()), number == 1);
    if (page.What() == sto_RecoverPage::None || page.What() == sto_RecoverPage::InnerTable) continue;
    for (std::size_t i = 0; i < page.CellCount(); ++i)
      if (std::optional<sto_RecoverCell> const cell = page.Cell(i)) TakeCell(*cell, page.HasRowIds(), rows);
  }
}

bool sto_RecoverTrees::TakeCell(sto_RecoverCell const& cell, bool hasRowIds, sto_RecoverRows& rows) {
  if (!ReadPayload(cell) || !Parse(m_Payload)) return false;
  return rows.Take({cell.m_RowId, hasRowIds, m_Values});
}

// The chain of pages may be broken. SQLite mostly gives a row pages that follow each other, and a wrong page is found by
// the checksums. A row of several blocks is worth reading in part.
sto_RecoverFile::Page sto_RecoverTrees::NextOverflow(Page next, Page previous) const {
  auto const isUsable = [&](Page page) {
    return page > 1 && page <= m_File.PageCount() && (m_IsPeeking || m_States[page] == Unknown);
  };
  if (isUsable(next)) return next;
  return previous != 0 && isUsable(previous + 1) ? previous + 1 : 0;
}

bool sto_RecoverTrees::ReadPayload(sto_RecoverCell const& cell) {
  m_Payload.assign(cell.m_Local.begin(), cell.m_Local.end());
  m_Claimed.clear();
  std::size_t const inPage = m_File.UsableBytes() - 4;
  Page previous = 0;
  for (Page next = cell.m_Overflow; m_Payload.size() < cell.m_PayloadBytes;) {
    Page const page = NextOverflow(next, previous);
    if (page == 0 || !m_File.Read(page, m_OverflowPage)) break;
    if (!m_IsPeeking) {
      m_States[page] = Used;
      m_Claimed.push_back(page);
    }
    m_Step();
    sto_ByteView const bytes = m_OverflowPage;
    auto const size = std::min<std::uint64_t>(inPage, cell.m_PayloadBytes - m_Payload.size());
    sto_ByteView const part = bytes.subspan(4, static_cast<std::size_t>(size));
    m_Payload.insert(m_Payload.end(), part.begin(), part.end());
    next = sto_BigEndian32(bytes);
    previous = page;
  }
  if (cell.m_PayloadBytes - m_Payload.size() > MaxGap) return false;
  m_Payload.resize(static_cast<std::size_t>(cell.m_PayloadBytes));
  return true;
}

bool sto_RecoverTrees::Parse(sto_ByteView payload) {
  constexpr std::size_t MaxColumns = 16;
  m_Values.clear();
  sto_ByteView header = payload;
  std::uint64_t headerBytes = 0;
  if (!sto_TakeBigVarint(header, headerBytes) || headerBytes > payload.size()) return false;
  std::size_t const used = payload.size() - header.size();
  if (headerBytes < used) return false;
  sto_ByteView values = payload.subspan(static_cast<std::size_t>(headerBytes));
  header = header.first(static_cast<std::size_t>(headerBytes) - used);
  while (!header.empty()) {
    std::uint64_t type = 0;
    if (m_Values.size() == MaxColumns || !sto_TakeBigVarint(header, type)) return false;
    if (!TakeValue(type, values, m_Values.emplace_back())) return false;
  }
  return true;
}
