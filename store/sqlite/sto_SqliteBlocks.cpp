#include "store/sqlite/sto_SqliteBlocks.h"

#include <algorithm>
#include <string>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"

namespace {

/// No sound store reaches this place. A row there would leave no place for the next block.
constexpr std::int64_t MaxPlace = std::int64_t{1} << 62;

/// Writes a whole run of blocks with one statement.
std::string const& WriteRunSql() {
  static std::string const sql = [] {
    std::string text = "REPLACE INTO block(key, data) VALUES(?, ?)";
    for (std::size_t i = 1; i < sto_SqliteBlocks::RunBlocks; ++i) text += ", (?, ?)";
    return text;
  }();
  return sql;
}

} // namespace

sto_SqliteBlocks::sto_SqliteBlocks(sto_SqliteConnection& connection, sto_SqliteChanges& changes)
    : m_Connection(connection), m_Noted(changes), m_ReadBlock(connection, "block", false),
      m_ReadMoved(connection, "moved_block", false), m_WriteBlock(connection, "block", true),
      m_WriteMoved(connection, "moved_block", true),
      m_HasRow(connection, "SELECT 1 FROM block WHERE key = ?"),
      m_AnyRow(connection, "SELECT EXISTS(SELECT 1 FROM block)"),
      m_WriteRow(connection, "REPLACE INTO block(key, data) VALUES(?, ?)"),
      m_WriteRun(connection, WriteRunSql().c_str()),
      m_DeleteRows(connection, "DELETE FROM block WHERE key BETWEEN ? AND ?"),
      m_ReadRows(connection, "SELECT key, data, 0 FROM block WHERE key BETWEEN ? AND ? ORDER BY key"),
      m_FindPlace(connection, "SELECT place FROM block_place WHERE key = ?"),
      m_SetPlace(connection, "REPLACE INTO block_place(key, place) VALUES(?, ?)"),
      m_DeletePlaces(connection, "DELETE FROM block_place WHERE key BETWEEN ? AND ?"),
      m_AddMoved(connection, "INSERT INTO moved_block(place, data) VALUES(?, ?)"),
      m_DeleteMoved(connection, "DELETE FROM moved_block WHERE place = ?"),
      m_DeleteMovedOf(connection, "DELETE FROM moved_block WHERE place IN "
                                  "(SELECT place FROM block_place WHERE key BETWEEN ? AND ?)"),
      m_LastPlace(connection, "SELECT max(place) FROM moved_block"),
      m_ReadAllRows(
          connection,
          "SELECT key, data, 0 FROM block WHERE key BETWEEN ?1 AND ?2 UNION ALL "
          "SELECT block_place.key, moved_block.data, 1 FROM block_place JOIN moved_block USING(place) "
          "WHERE block_place.key BETWEEN ?1 AND ?2 ORDER BY 1") {}

void sto_SqliteBlocks::Begin(bool hasPlaces, bool mayMove) noexcept {
  m_StoreHasPlaces = hasPlaces;
  m_AnyRows.reset();
  m_GreatestKey.reset();
  m_AnyPlaces.reset();
  m_MayMove = mayMove && hasPlaces;
  m_FirstNewPlace = m_NextPlace = 0;
  m_Pending = {};
  m_SinceMark = {};
  std::ranges::fill(m_NewKeys, 0);
}

void sto_SqliteBlocks::Close() noexcept {
  m_ReadBlock.Close();
  m_ReadMoved.Close();
  m_WriteBlock.Close();
  m_WriteMoved.Close();
}

void sto_SqliteBlocks::FinishTransaction() {
  Close();
  for (std::int64_t const key : m_Pending.m_OldBlocks) // in order, because neighbouring rows share pages
    sto_SqliteStatement::Use(m_DeleteRows).Bind(1, key).Bind(2, key).Step();
  std::ranges::sort(m_Pending.m_OldPlaces);
  for (std::int64_t const place : m_Pending.m_OldPlaces)
    sto_SqliteStatement::Use(m_DeleteMoved).Bind(1, place).Step();
  m_Pending = {}; // a commit that fails may be tried again
  m_SinceMark = {};
}

void sto_SqliteBlocks::SetMark() {
  Close(); // an open byte string is a statement in progress
  m_SinceMark.m_Changes.clear();
  m_SinceMark.m_OldPlacesBefore = m_Pending.m_OldPlaces.size();
  m_SinceMark.m_InPlaceBefore = m_Pending.m_InPlace;
}

void sto_SqliteBlocks::ReturnToMark() noexcept {
  for (; !m_SinceMark.m_Changes.empty(); m_SinceMark.m_Changes.pop_back())
    if (SinceMark::Change& change = m_SinceMark.m_Changes.back(); change.m_Removed.empty())
      m_Pending.m_OldBlocks.erase(change.m_Key);
    else
      m_Pending.m_OldBlocks.insert(std::move(change.m_Removed));
  auto const kept =
      m_Pending.m_OldPlaces.begin() + static_cast<std::ptrdiff_t>(m_SinceMark.m_OldPlacesBefore);
  m_Pending.m_OldPlaces.erase(kept, m_Pending.m_OldPlaces.end());
  m_Pending.m_InPlace = m_SinceMark.m_InPlaceBefore;
  std::ranges::fill(m_NewKeys, 0);
}

bool sto_SqliteBlocks::AnyRows() {
  if (!m_AnyRows) {
    sto_SqliteStatement::Use use(m_AnyRow);
    m_AnyRows = use.Step() && use.Integer(0) != 0;
  }
  return *m_AnyRows;
}

bool sto_SqliteBlocks::AnyPlaces() {
  if (!m_AnyPlaces)
    m_AnyPlaces =
        m_StoreHasPlaces && m_Connection.QueryInteger("SELECT EXISTS(SELECT 1 FROM block_place)") != 0;
  return *m_AnyPlaces;
}

std::int64_t sto_SqliteBlocks::FindPlace(std::int64_t key) {
  if (!AnyPlaces()) return 0;
  sto_SqliteStatement::Use use(m_FindPlace);
  return use.Bind(1, key).Step() ? use.Integer(0) : 0;
}

sto_SqliteBlob* sto_SqliteBlocks::Seek(std::int64_t key) {
  if (!m_Pending.m_OldBlocks.contains(key) && m_ReadBlock.Seek(key)) return &m_ReadBlock;
  std::int64_t const place = FindPlace(key);
  return place != 0 && m_ReadMoved.Seek(place) ? &m_ReadMoved : nullptr;
}

bool sto_SqliteBlocks::Read(std::int64_t key, sto_Bytes& data) {
  sto_SqliteBlob* const blob = Seek(key);
  if (blob != nullptr) blob->Read(data);
  return blob != nullptr;
}

bool sto_SqliteBlocks::ReadInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  sto_SqliteBlob* const blob = Seek(key);
  if (blob == nullptr || blob->SizeBytes() != data.size() + end.size()) return false;
  blob->Read(0, data);
  blob->Read(data.size(), end);
  return true;
}

void sto_SqliteBlocks::ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink) {
  sto_SqliteStatement::Use use(AnyPlaces() ? m_ReadAllRows : m_ReadRows);
  use.Bind(1, first).Bind(2, last).AllowRange(first, last);
  while (use.Step()) {
    bool const isOld = use.Integer(2) == 0 && m_Pending.m_OldBlocks.contains(use.Integer(0));
    if (!isOld && !sink.Take(use.Integer(0), use.Bytes(1))) return;
  }
}

bool sto_SqliteBlocks::Has(std::int64_t key) {
  if (!m_Pending.m_OldBlocks.contains(key) && sto_SqliteStatement::Use(m_HasRow).Bind(1, key).Step())
    return true;
  return FindPlace(key) != 0;
}

void sto_SqliteBlocks::PrepareWrite(std::int64_t key) {
  m_Noted.Block(key);
  RemoveFromSum(key);
  DropPlace(key);
  DropOldBlocks(key, key);
}

void sto_SqliteBlocks::WriteRange(std::int64_t first, std::span<sto_Bytes const> blocks) {
  for (; blocks.size() >= RunBlocks; blocks = blocks.subspan(RunBlocks), first += RunBlocks) {
    sto_SqliteStatement::Use use(m_WriteRun);
    for (std::size_t i = 0; i < RunBlocks; ++i) {
      std::int64_t const key = first + static_cast<std::int64_t>(i);
      PrepareWrite(key);
      m_Noted.AddBlock(key, blocks[i]);
      use.Bind(static_cast<int>(2 * i + 1), key).Bind(static_cast<int>(2 * i + 2), sto_ByteView(blocks[i]));
      NoteNew(key);
    }
    use.Step();
  }
  for (sto_Bytes const& block : blocks) Write(first++, block);
}

void sto_SqliteBlocks::Write(std::int64_t key, sto_ByteView data) {
  PrepareWrite(key);
  m_Noted.AddBlock(key, data);
  sto_SqliteStatement::Use(m_WriteRow).Bind(1, key).Bind(2, data).Step();
  NoteNew(key);
}

void sto_SqliteBlocks::DropPlace(std::int64_t key) {
  std::int64_t const place = FindPlace(key);
  if (place == 0) return;
  m_ReadMoved.Close();
  m_WriteMoved.Close();
  sto_SqliteStatement::Use(m_DeleteMoved).Bind(1, place).Step();
  sto_SqliteStatement::Use(m_DeletePlaces).Bind(1, key).Bind(2, key).Step();
}

void sto_SqliteBlocks::NoteNew(std::int64_t key) noexcept {
  m_AnyRows = true;
  if (m_GreatestKey) m_GreatestKey = std::max(*m_GreatestKey, key);
  if (IsNew(key)) return;
  m_NewKeys[m_NextNewKey] = key;
  m_NextNewKey = (m_NextNewKey + 1) % std::size(m_NewKeys);
}

bool sto_SqliteBlocks::IsNew(std::int64_t key) const noexcept {
  return std::ranges::find(m_NewKeys, key) != std::end(m_NewKeys);
}

void sto_SqliteBlocks::Overwrite(std::int64_t key, sto_ByteView data) {
  sto_SqliteBlob* blob = nullptr;
  std::int64_t place = 0;
  if (!m_Pending.m_OldBlocks.contains(key) && m_WriteBlock.Seek(key)) {
    blob = &m_WriteBlock;
  } else {
    place = FindPlace(key);
    if (place != 0 && m_WriteMoved.Seek(place)) blob = &m_WriteMoved;
  }
  if (blob == nullptr || blob->SizeBytes() != data.size()) {
    Close();
    return Write(key, data);
  }
  bool const isNew = place == 0 ? IsNew(key) : m_FirstNewPlace != 0 && place >= m_FirstNewPlace;
  bool const isMoved = m_MayMove && !isNew && m_Pending.m_InPlace >= MaxInPlace;
  RemoveFromSum(key, *blob);
  if (isMoved) Move(key, place, data);
  if (isMoved || OverwriteInPlace(*blob, data)) m_Noted.Block(key);
  m_Noted.AddBlock(key, data);
  if (!isNew) ++m_Pending.m_InPlace;
}

bool sto_SqliteBlocks::OverwriteInPlace(sto_SqliteBlob& blob, sto_ByteView data) {
  // A block takes two pages, and each page that is written is copied to the journal. Mostly only one page
  // changes: the last one, because the checksum at the end always does.
  blob.Read(m_OldContent);
  std::size_t const content = data.size() - std::min(data.size(), sto_Format::ChecksumBytes);
  sto_ByteView const compared = data.first(content);
  auto const [first, inOld] = std::mismatch(compared.begin(), compared.end(), m_OldContent.begin());
  std::size_t const start = static_cast<std::size_t>(first - compared.begin());
  std::size_t end = content;
  while (end > start && data[end - 1] == m_OldContent[end - 1]) --end;
  if (end == start) return false;
  blob.Write(start, data.subspan(start, end - start));
  blob.Write(content, data.subspan(content));
  m_Noted.Other(); // SQLite does not count it
  return true;
}

void sto_SqliteBlocks::AddOldBlock(std::int64_t key) {
  m_SinceMark.m_Changes.push_back({key, {}});
  m_Pending.m_OldBlocks.insert(key);
}

void sto_SqliteBlocks::DropOldBlocks(std::int64_t first, std::int64_t last) {
  for (auto each = m_Pending.m_OldBlocks.lower_bound(first);
       each != m_Pending.m_OldBlocks.end() && *each <= last;) {
    m_SinceMark.m_Changes.push_back({*each, {}}); // first: it may fail
    m_SinceMark.m_Changes.back().m_Removed = m_Pending.m_OldBlocks.extract(each++);
  }
}

void sto_SqliteBlocks::Move(std::int64_t key, std::int64_t oldPlace, sto_ByteView data) {
  if (m_FirstNewPlace == 0) {
    sto_SqliteStatement::Use last(m_LastPlace);
    std::int64_t const greatest = last.Step() ? last.Integer(0) : 0;
    if (greatest < 0 || greatest > MaxPlace)
      sto_Raise(sto_ErrorKind::Damaged,
                m_Connection.Path() + ": The store's places of moved blocks are damaged.");
    m_FirstNewPlace = m_NextPlace = greatest + 1;
  }
  sto_SqliteStatement::Use(m_AddMoved).Bind(1, m_NextPlace).Bind(2, data).Step();
  sto_SqliteStatement::Use(m_SetPlace).Bind(1, key).Bind(2, m_NextPlace).Step();
  ++m_NextPlace;
  m_AnyPlaces = true;
  if (oldPlace == 0)
    AddOldBlock(key);
  else
    m_Pending.m_OldPlaces.push_back(oldPlace);
}

void sto_SqliteBlocks::RemoveFromSum(std::int64_t first, std::int64_t last) {
  if (!AnyRows() && !AnyPlaces()) return;
  sto_SqliteStatement::Use use(AnyPlaces() ? m_ReadAllRows : m_ReadRows);
  use.Bind(1, first).Bind(2, last).AllowRange(first, last);
  while (use.Step()) {
    if (use.Integer(2) == 0 && m_Pending.m_OldBlocks.contains(use.Integer(0))) continue;
    m_Noted.RemoveBlock(use.Integer(0), use.Bytes(1));
    m_Noted.Block(use.Integer(0));
  }
}

void sto_SqliteBlocks::RemoveFromSum(std::int64_t key, sto_SqliteBlob& blob) {
  std::byte end[sto_Format::ChecksumBytes];
  std::size_t const size = std::min(blob.SizeBytes(), sizeof end);
  blob.Read(blob.SizeBytes() - size, std::span(end).first(size));
  m_Noted.RemoveBlock(key, std::span(end).first(size));
}

void sto_SqliteBlocks::RemoveFromSum(std::int64_t key) {
  if (!m_GreatestKey) m_GreatestKey = m_Connection.QueryInteger("SELECT coalesce(max(key), -1) FROM block");
  if (key > *m_GreatestKey && !AnyPlaces()) return; // as in a new list
  sto_SqliteBlob* const blob = Seek(key);
  if (blob == nullptr) return;
  RemoveFromSum(key, *blob);
  m_ReadBlock.Close(); // the row is about to be replaced
  m_ReadMoved.Close();
}

void sto_SqliteBlocks::Delete(std::int64_t first, std::int64_t last) {
  Close();
  RemoveFromSum(first, last);
  if (AnyRows())
    sto_SqliteStatement::Use(m_DeleteRows).Bind(1, first).Bind(2, last).AllowRange(first, last).Step();
  DropOldBlocks(first, last);
  if (!AnyPlaces()) return;
  sto_SqliteStatement::Use(m_DeleteMovedOf).Bind(1, first).Bind(2, last).AllowRange(first, last).Step();
  sto_SqliteStatement::Use(m_DeletePlaces).Bind(1, first).Bind(2, last).AllowRange(first, last).Step();
}
