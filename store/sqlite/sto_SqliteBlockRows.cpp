#include "store/sqlite/sto_SqliteBlockRows.h"

#include <algorithm>
#include <limits>
#include <utility>

using Row = sto_BlockRow;

// --- rows in the file

bool sto_SqliteBlockRows::Seeker::GoTo(std::int64_t row) {
  if (row == m_Row && m_Blob.IsOpen()) return true; // a failure closes it
  m_Row = NoRow;
  if (!m_Blob.Seek(row)) return false;
  std::byte start[Row::DirectoryBytes] = {};
  std::size_t const size = m_Blob.SizeBytes();
  std::span<std::byte> const there = std::span(start).first(std::min(size, sizeof start));
  m_Blob.Read(0, there);
  m_Directory.Read(there, size);
  m_Row = row;
  return true;
}

sto_SqliteBlobPart sto_SqliteBlockRows::Seeker::Seek(std::int64_t key) {
  if (!GoTo(Row::RowOf(key))) return {};
  auto const [offset, size] = m_Directory.Find(Row::SlotOf(key));
  return {size == 0 ? nullptr : &m_Blob, offset, size};
}

bool sto_SqliteBlockRows::Seeker::ReadRow(std::int64_t row, sto_Bytes& data) {
  bool const isThere = GoTo(row);
  if (isThere) m_Blob.Read(data);
  return isThere;
}

void sto_SqliteBlockRows::Seeker::Close() noexcept {
  m_Blob.Close();
  m_Row = NoRow;
}

// --- rows in memory

sto_SqliteBlockRows::sto_SqliteBlockRows(sto_SqliteConnection& connection)
    : m_Connection(connection), m_Reader(connection, false), m_Writer(connection, true),
      m_WriteRow(connection, "REPLACE INTO block(key, data) VALUES(?, ?)"),
      m_DeleteRows(connection, "DELETE FROM block WHERE key BETWEEN ? AND ?"),
      m_FindRows(connection, "SELECT key FROM block WHERE key BETWEEN ? AND ? ORDER BY key"),
      m_HasRow(connection, "SELECT EXISTS(SELECT 1 FROM block WHERE key BETWEEN ? AND ?)"),
      m_NextRow(connection, "SELECT key FROM block WHERE key >= ? ORDER BY key LIMIT 1") {}

void sto_SqliteBlockRows::Begin() noexcept {
  Drop();
  m_GreatestRow.reset();
  std::ranges::fill(m_NewRows, NoRow);
}

void sto_SqliteBlockRows::Close() noexcept {
  m_Reader.Close();
  m_Writer.Close();
}

void sto_SqliteBlockRows::Drop() noexcept {
  Close();
  m_Pending.clear();
  m_FullRow = NoRow;
  std::ranges::fill(m_NewRows, NoRow);
}

void sto_SqliteBlockRows::Flush() {
  while (!m_Pending.empty()) { // in order, because neighbouring rows share pages
    Write(m_Pending.begin()->first, m_Pending.begin()->second);
    m_Pending.erase(m_Pending.begin());
  }
}

sto_ByteView sto_SqliteBlockRows::FindPending(std::int64_t key) const noexcept {
  auto const found = m_Pending.find(Row::RowOf(key));
  return found == m_Pending.end() ? sto_ByteView() : found->second.Find(Row::SlotOf(key));
}

bool sto_SqliteBlockRows::MayHaveFrom(std::int64_t key) {
  if (!m_GreatestRow) m_GreatestRow = m_Connection.QueryInteger("SELECT coalesce(max(key), -1) FROM block");
  std::int64_t const row = Row::RowOf(key);
  return row <= *m_GreatestRow || m_Pending.lower_bound(row) != m_Pending.end();
}

sto_BlockRow& sto_SqliteBlockRows::Load(std::int64_t key) {
  std::int64_t const row = Row::RowOf(key);
  if (auto const found = m_Pending.find(row); found != m_Pending.end()) return found->second;
  if (m_FullRow != NoRow) WriteFullRow();
  if (m_Pending.size() >= MaxPending) Flush();
  sto_Bytes stored;
  if (MayHaveFrom(key) && m_Reader.ReadRow(row, stored))
    return m_Pending.try_emplace(row, stored).first->second;
  m_Spare.Clear();
  return m_Pending.try_emplace(row, std::exchange(m_Spare, Row())).first->second;
}

void sto_SqliteBlockRows::Put(std::int64_t key, sto_ByteView block) {
  int const slot = Row::SlotOf(key);
  Load(key).Put(slot, block);
  // The blocks of a list are mostly written in order. The row is written before the next one is begun, and not now:
  // if that fails, this block is not the one that was not written.
  if (slot == Row::Blocks - 1) m_FullRow = Row::RowOf(key);
}

void sto_SqliteBlockRows::WriteFullRow() {
  auto const found = m_Pending.find(m_FullRow);
  if (found != m_Pending.end()) {
    Write(found->first, found->second);
    m_Spare = std::move(found->second);
    m_Pending.erase(found);
  }
  m_FullRow = NoRow;
}

void sto_SqliteBlockRows::Write(std::int64_t row, sto_BlockRow& content) {
  Close();
  if (content.IsEmpty()) return DeleteRows(row, row);
  sto_SqliteStatement::Use(m_WriteRow).Bind(1, row).Bind(2, content.Stored()).Step();
  if (m_GreatestRow) m_GreatestRow = std::max(*m_GreatestRow, row);
  NoteNew(row);
}

void sto_SqliteBlockRows::NoteNew(std::int64_t row) noexcept {
  if (std::ranges::find(m_NewRows, row) != std::end(m_NewRows)) return;
  m_NewRows[m_NextNewRow] = row;
  m_NextNewRow = (m_NextNewRow + 1) % std::size(m_NewRows);
}

bool sto_SqliteBlockRows::IsNew(std::int64_t key) const noexcept {
  return IsPending(key) || std::ranges::find(m_NewRows, Row::RowOf(key)) != std::end(m_NewRows);
}

bool sto_SqliteBlockRows::IsLast(std::int64_t key) {
  if (!m_Reader.Seek(key)) return false;
  for (int slot = Row::SlotOf(key) + 1; slot < Row::Blocks; ++slot)
    if (m_Reader.Directory().Find(slot).m_Size != 0) return false;
  return true;
}

// --- ranges of keys

bool sto_SqliteBlockRows::HasAny(std::int64_t first, std::int64_t last) {
  if (!MayHaveFrom(first)) return false;
  auto const pending = m_Pending.lower_bound(Row::RowOf(first));
  if (pending != m_Pending.end() && pending->first <= last) return true;
  sto_SqliteStatement::Use use(m_HasRow);
  return use.Bind(1, Row::RowOf(first)).Bind(2, last).Step() && use.Integer(0) != 0;
}

std::int64_t sto_SqliteBlockRows::NextFrom(std::int64_t key) {
  std::int64_t next = std::numeric_limits<std::int64_t>::max();
  if (!MayHaveFrom(key)) return next;
  std::int64_t const row = Row::RowOf(key);
  if (auto const pending = m_Pending.lower_bound(row); pending != m_Pending.end()) next = pending->first;
  if (sto_SqliteStatement::Use use(m_NextRow); use.Bind(1, row).Step()) next = std::min(next, use.Integer(0));
  return next;
}

std::vector<std::int64_t> sto_SqliteBlockRows::RowsOf(std::int64_t first, std::int64_t last) {
  std::vector<std::int64_t> rows;
  if (!MayHaveFrom(first)) return rows;
  sto_SqliteStatement::Use use(m_FindRows);
  for (use.Bind(1, Row::RowOf(first)).Bind(2, last).AllowRange(Row::RowOf(first), last); use.Step();)
    rows.push_back(use.Integer(0));
  return rows;
}

std::vector<std::int64_t> sto_SqliteBlockRows::PendingRowsOf(std::int64_t first, std::int64_t last) const {
  std::vector<std::int64_t> rows;
  for (auto each = m_Pending.lower_bound(Row::RowOf(first)); each != m_Pending.end() && each->first <= last;
       ++each)
    rows.push_back(each->first);
  return rows;
}

void sto_SqliteBlockRows::Cut(std::int64_t row, std::int64_t first, std::int64_t last) {
  for (int slot = 0; slot < Row::Blocks; ++slot) {
    std::int64_t const key = row + slot;
    if (key < first || key > last) continue;
    bool const isThere = IsPending(key) ? !FindPending(key).empty() : static_cast<bool>(m_Reader.Seek(key));
    if (isThere) Load(key).Put(slot, {});
  }
}

void sto_SqliteBlockRows::Delete(std::int64_t first, std::int64_t last) {
  if (!MayHaveFrom(first)) return;
  // Rows that keep some of their blocks are at the ends of the range.
  std::int64_t const firstRow = Row::RowOf(first), lastRow = Row::RowOf(last);
  bool const cutsFirst = first != firstRow, cutsLast = last != lastRow + Row::Blocks - 1;
  if (cutsFirst || (cutsLast && firstRow == lastRow)) Cut(firstRow, first, last);
  if (cutsLast && firstRow != lastRow) Cut(lastRow, first, last);
  if (firstRow == lastRow && (cutsFirst || cutsLast)) return;
  std::int64_t const firstWhole = cutsFirst ? firstRow + Row::Blocks : firstRow;
  std::int64_t const lastWhole = cutsLast ? lastRow - Row::Blocks : lastRow;
  for (std::int64_t const row : PendingRowsOf(firstWhole, lastWhole)) m_Pending.erase(row);
  DeleteRows(firstWhole, lastWhole);
}

void sto_SqliteBlockRows::DeleteRows(std::int64_t first, std::int64_t last) {
  Close();
  sto_SqliteStatement::Use(m_DeleteRows).Bind(1, first).Bind(2, last).AllowRange(first, last).Step();
}
