#include "store/sqlite/sto_SqliteBlocks.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_Format.h"

using Row = sto_BlockRow;

sto_SqliteBlocks::sto_SqliteBlocks(sto_SqliteConnection& connection, sto_SqliteChanges& changes)
    : m_Noted(changes), m_Rows(connection), m_Moved(connection) {}

void sto_SqliteBlocks::Begin(bool mayMove) noexcept {
  m_Rows.Begin();
  m_Moved.Begin();
  m_MayMove = mayMove;
  m_InPlace = m_InPlaceAtMark = 0;
  m_LeftRows.clear();
}

void sto_SqliteBlocks::Close() noexcept {
  m_Rows.Close();
  m_Moved.Close();
}

void sto_SqliteBlocks::Drop() noexcept {
  m_Rows.Drop();
  m_Moved.Close();
}

void sto_SqliteBlocks::FinishTransaction() {
  m_Rows.Flush();
  TidyLeftRows();
  Close();
  m_Moved.FinishTransaction();
}

void sto_SqliteBlocks::SetMark() {
  m_Rows.Flush();
  Close(); // an open byte string is a statement in progress
  m_Moved.SetMark();
  m_InPlaceAtMark = m_InPlace;
}

void sto_SqliteBlocks::ReturnToMark() noexcept {
  m_Rows.Drop();
  m_Moved.ReturnToMark();
  m_InPlace = m_InPlaceAtMark;
}

// --- reading

void sto_SqliteBlocks::Found::Read(std::size_t offset, std::span<std::byte> data) const {
  if (m_Pending.empty())
    m_Part.Read(offset, data);
  else
    std::ranges::copy(m_Pending.subspan(offset, data.size()), data.begin());
}

sto_SqliteBlocks::Found sto_SqliteBlocks::Find(std::int64_t key, bool forWriting) {
  if (std::int64_t const place = m_Moved.Find(key); place != 0) {
    sto_SqliteBlob* const blob = forWriting ? m_Moved.SeekToWrite(place) : m_Moved.Seek(place);
    if (blob == nullptr) return {place, {}, {}};
    return {place, {blob, 0, blob->SizeBytes()}, {}};
  }
  if (m_Rows.IsPending(key)) return {0, {}, m_Rows.FindPending(key)};
  return {0, forWriting ? m_Rows.SeekToWrite(key) : m_Rows.Seek(key), {}};
}

bool sto_SqliteBlocks::Read(std::int64_t key, sto_Bytes& data) {
  Found const found = Find(key);
  if (!found.IsThere()) return false;
  data.resize(found.SizeBytes());
  found.Read(0, data);
  return true;
}

bool sto_SqliteBlocks::ReadInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  Found const found = Find(key);
  if (!found.IsThere() || found.SizeBytes() != data.size() + end.size()) return false;
  found.Read(0, data);
  found.Read(data.size(), end);
  return true;
}

bool sto_SqliteBlocks::ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink) {
  sto_Bytes data;
  std::int64_t row = Row::RowOf(first);
  while (row <= last) {
    bool isEmpty = true;
    for (int slot = 0; slot < Row::Blocks; ++slot) {
      std::int64_t const key = row + slot;
      if (key < first || key > last || !Read(key, data)) continue;
      isEmpty = false;
      if (!sink.Take(key, data)) return false;
    }
    row += Row::Blocks;
    if (!isEmpty) continue;
    std::int64_t const next = std::min(m_Rows.NextFrom(row), m_Moved.NextFrom(row));
    if (next > last || next == std::numeric_limits<std::int64_t>::max()) return true;
    row = Row::RowOf(next);
  }
  return true;
}

bool sto_SqliteBlocks::Has(std::int64_t key) {
  return Find(key).IsThere();
}

bool sto_SqliteBlocks::HasAny(std::int64_t first, std::int64_t last) {
  return m_Rows.HasAny(first, last) || m_Moved.HasAny(first, last);
}

// --- writing

// The sum is changed last: if something fails, the block is as it was, and a transaction can go on.

void sto_SqliteBlocks::Write(std::int64_t key, sto_ByteView data) {
  bool const mayBeThere = m_Rows.MayHaveFrom(key) || m_Moved.MayHaveFrom(key);
  Found const found = mayBeThere ? Find(key) : Found(); // not for a new list
  sto_ContentSum const before = TermOf(key, found);
  m_Noted.Block(key);
  Put(key, found.m_Place, data);
  m_Noted.ReplaceBlocks(before, sto_SqliteChanges::BlockTerm(key, data));
}

void sto_SqliteBlocks::Put(std::int64_t key, std::int64_t oldPlace, sto_ByteView data) {
  if (data.size() > MaxSharedBytes) return Move(key, oldPlace, data);
  m_Rows.Put(key, data);
  if (oldPlace != 0) m_Moved.Drop(key, oldPlace); // last: until then, the old block counts
}

void sto_SqliteBlocks::Overwrite(std::int64_t key, sto_ByteView data) {
  Found const found = Find(key, true);
  bool const isSameSize = found.SizeBytes() == data.size();
  bool const isNew = found.m_Place == 0 ? m_Rows.IsNew(key) : m_Moved.IsNew(found.m_Place);
  // The last block of a row is mostly that of a list that grows.
  auto const staysInRow = [&] { return found.m_Place == 0 && (isNew || m_Rows.IsLast(key)); };
  if (!found.m_Part || (!isSameSize && (!m_MayMove || staysInRow()))) return Write(key, data);
  bool const isMoved = !isSameSize || (m_MayMove && !isNew && m_InPlace >= MaxInPlace);
  sto_ContentSum const before = TermOf(key, found);
  if (isMoved)
    Move(key, found.m_Place, data);
  else
    OverwriteInPlace(key, found.m_Part, data);
  m_Noted.ReplaceBlocks(before, sto_SqliteChanges::BlockTerm(key, data));
  if (!isNew && !isMoved) ++m_InPlace;
}

void sto_SqliteBlocks::OverwriteInPlace(std::int64_t key, sto_SqliteBlobPart const& part, sto_ByteView data) {
  // A block takes two pages, and each page that is written is copied to the journal. Mostly only one page
  // changes: the last one, because the checksum at the end always does.
  part.Read(m_OldContent);
  std::size_t const content = data.size() - std::min(data.size(), sto_Format::ChecksumBytes);
  sto_ByteView const compared = data.first(content);
  auto const [first, inOld] = std::mismatch(compared.begin(), compared.end(), m_OldContent.begin());
  std::size_t const start = static_cast<std::size_t>(first - compared.begin());
  std::size_t end = content;
  while (end > start && data[end - 1] == m_OldContent[end - 1]) --end;
  if (end == start) return;
  m_Noted.Block(key);
  part.Write(start, data.subspan(start, end - start));
  part.Write(content, data.subspan(content));
  m_Noted.Other(); // SQLite does not count it
}

void sto_SqliteBlocks::Move(std::int64_t key, std::int64_t oldPlace, sto_ByteView data) {
  Close();
  m_Noted.Block(key);
  if (oldPlace == 0) m_LeftRows.insert(Row::RowOf(key));
  m_Moved.Add(key, oldPlace, data);
}

void sto_SqliteBlocks::TidyLeftRows() {
  for (std::int64_t const row : m_LeftRows) {
    std::vector<sto_SqliteMovedBlocks::Entry> const moved = m_Moved.EntriesOf(row, row + (Row::Blocks - 1));
    std::vector<std::int64_t> used;
    int unused = 0;
    for (std::int64_t key = row; key < row + Row::Blocks; ++key) {
      if (!m_Rows.Seek(key)) continue;
      bool const hasMoved = std::ranges::any_of(moved, [&](auto const& entry) { return entry.m_Key == key; });
      if (hasMoved)
        ++unused;
      else
        used.push_back(key);
    }
    if (unused <= static_cast<int>(used.size())) continue;
    for (std::int64_t const key : used) {
      m_Rows.Seek(key).Read(m_OldContent);
      Close();
      m_Moved.Add(key, 0, m_OldContent);
    }
    m_Rows.DeleteRow(row);
  }
  m_LeftRows.clear(); // a commit that fails may be tried again
}

void sto_SqliteBlocks::Delete(std::int64_t first, std::int64_t last) {
  sto_ContentSum const before = TermsOf(first, last);
  m_Rows.Delete(first, last);
  m_Moved.Delete(first, last);
  m_Noted.ReplaceBlocks(before, {});
}

// --- the sum over the store

sto_ContentSum sto_SqliteBlocks::TermOf(std::int64_t key, Found const& found) {
  if (!found.IsThere()) return {};
  std::byte end[sto_BlockCodec::MaxEndBytes];
  std::size_t const size = std::min(found.SizeBytes(), sizeof end);
  found.Read(found.SizeBytes() - size, std::span(end).first(size));
  return sto_SqliteChanges::BlockTerm(key, std::span(end).first(size));
}

sto_ContentSum sto_SqliteBlocks::TermsOf(std::int64_t first, std::int64_t last) {
  std::vector<std::int64_t> rows = m_Rows.RowsOf(first, last);
  for (std::int64_t const row : m_Rows.PendingRowsOf(first, last)) rows.push_back(row);
  for (sto_SqliteMovedBlocks::Entry const& entry : m_Moved.EntriesOf(first, last))
    rows.push_back(Row::RowOf(entry.m_Key));
  std::ranges::sort(rows);
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  sto_ContentSum terms;
  for (std::int64_t const row : rows)
    for (int slot = 0; slot < Row::Blocks; ++slot) {
      std::int64_t const key = row + slot;
      Found const found = key < first || key > last ? Found() : Find(key);
      if (!found.IsThere()) continue;
      m_Noted.Block(key);
      terms += TermOf(key, found);
    }
  return terms;
}
