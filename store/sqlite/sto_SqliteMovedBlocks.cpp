#include "store/sqlite/sto_SqliteMovedBlocks.h"

#include <algorithm>
#include <limits>

#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockKey.h"

namespace {

/// No sound store reaches this place. A row there would leave no place for the next block.
constexpr std::int64_t MaxPlace = std::int64_t{1} << 62;

constexpr std::int64_t NoList = -1;

} // namespace

sto_SqliteMovedBlocks::sto_SqliteMovedBlocks(sto_SqliteConnection& connection)
    : m_Connection(connection), m_Reader(connection, "moved_block", false),
      m_Writer(connection, "moved_block", true),
      m_Find(connection, "SELECT place FROM block_place WHERE key = ?"),
      m_FindRange(connection, "SELECT key, place FROM block_place WHERE key BETWEEN ? AND ? ORDER BY key"),
      m_AnyInRange(connection, "SELECT EXISTS(SELECT 1 FROM block_place WHERE key BETWEEN ? AND ?)"),
      m_Next(connection, "SELECT key FROM block_place WHERE key >= ? ORDER BY key LIMIT 1"),
      m_Set(connection, "REPLACE INTO block_place(key, place) VALUES(?, ?)"),
      m_DeleteRange(connection, "DELETE FROM block_place WHERE key BETWEEN ? AND ?"),
      m_AddRow(connection, "INSERT INTO moved_block(place, data) VALUES(?, ?)"),
      m_DeleteRow(connection, "DELETE FROM moved_block WHERE place = ?"),
      m_DeleteRowsOf(connection, "DELETE FROM moved_block WHERE place IN "
                                 "(SELECT place FROM block_place WHERE key BETWEEN ? AND ?)"),
      m_LastPlace(connection, "SELECT max(place) FROM moved_block") {}

void sto_SqliteMovedBlocks::Begin() noexcept {
  Close();
  m_GreatestKey.reset();
  m_List = NoList;
  m_FirstNewPlace = m_NextPlace = 0;
  m_Replaced.clear();
  m_ReplacedAtMark = 0;
}

void sto_SqliteMovedBlocks::Close() noexcept {
  m_Reader.Close();
  m_Writer.Close();
}

void sto_SqliteMovedBlocks::FinishTransaction() {
  std::ranges::sort(m_Replaced); // neighbouring rows share pages
  for (std::int64_t const place : m_Replaced) sto_SqliteStatement::Use(m_DeleteRow).Bind(1, place).Step();
  m_Replaced.clear(); // a commit that fails may be tried again
  m_ReplacedAtMark = 0;
}

void sto_SqliteMovedBlocks::ReturnToMark() noexcept {
  m_Replaced.erase(m_Replaced.begin() + static_cast<std::ptrdiff_t>(m_ReplacedAtMark), m_Replaced.end());
  m_List = NoList;
}

bool sto_SqliteMovedBlocks::MayHaveFrom(std::int64_t key) {
  if (!m_GreatestKey)
    m_GreatestKey = m_Connection.QueryInteger("SELECT coalesce(max(key), -1) FROM block_place");
  return key <= *m_GreatestKey;
}

bool sto_SqliteMovedBlocks::HasAny(std::int64_t first, std::int64_t last) {
  if (!MayHaveFrom(first)) return false;
  sto_SqliteStatement::Use use(m_AnyInRange);
  return use.Bind(1, first).Bind(2, last).Step() && use.Integer(0) != 0;
}

std::int64_t sto_SqliteMovedBlocks::NextFrom(std::int64_t key) {
  constexpr std::int64_t None = std::numeric_limits<std::int64_t>::max();
  if (!MayHaveFrom(key)) return None;
  sto_SqliteStatement::Use use(m_Next);
  return use.Bind(1, key).Step() ? use.Integer(0) : None;
}

bool sto_SqliteMovedBlocks::AnyOfList(std::int64_t key) {
  std::int64_t const list = key >> sto_Format::BlockIndexBits;
  if (list == m_List) return m_AnyOfList;
  m_AnyOfList = HasAny(sto_BlockKey(list, 0), sto_LastBlockKey(list));
  m_List = list; // last: the statement may fail
  return m_AnyOfList;
}

std::int64_t sto_SqliteMovedBlocks::Find(std::int64_t key) {
  if (!AnyOfList(key)) return 0;
  sto_SqliteStatement::Use use(m_Find);
  return use.Bind(1, key).Step() ? use.Integer(0) : 0;
}

std::int64_t sto_SqliteMovedBlocks::NextPlace() {
  if (m_FirstNewPlace == 0) {
    sto_SqliteStatement::Use last(m_LastPlace);
    std::int64_t const greatest = last.Step() ? last.Integer(0) : 0;
    if (greatest < 0 || greatest > MaxPlace)
      sto_Raise(sto_ErrorKind::Damaged,
                m_Connection.Path() + ": The store's places of moved blocks are damaged.");
    m_FirstNewPlace = m_NextPlace = greatest + 1;
  }
  return m_NextPlace++;
}

void sto_SqliteMovedBlocks::Add(std::int64_t key, std::int64_t oldPlace, sto_ByteView data) {
  Close();
  std::int64_t const place = NextPlace();
  MakeRoomForReplaced();
  sto_SqliteStatement::Use(m_AddRow).Bind(1, place).Bind(2, data).Step();
  sto_SqliteStatement::Use(m_Set).Bind(1, key).Bind(2, place).Step();
  if (m_GreatestKey) m_GreatestKey = std::max(*m_GreatestKey, key);
  m_List = NoList;
  if (oldPlace != 0) m_Replaced.push_back(oldPlace); // last: until then, the old block counts
}

/// Makes room for another place, so that noting it later cannot fail.
void sto_SqliteMovedBlocks::MakeRoomForReplaced() {
  if (m_Replaced.size() == m_Replaced.capacity()) m_Replaced.reserve(2 * m_Replaced.size() + 16);
}

void sto_SqliteMovedBlocks::Drop(std::int64_t key, std::int64_t place) {
  Close();
  MakeRoomForReplaced();
  sto_SqliteStatement::Use(m_DeleteRange).Bind(1, key).Bind(2, key).Step();
  m_Replaced.push_back(place);
}

std::vector<sto_SqliteMovedBlocks::Entry> sto_SqliteMovedBlocks::EntriesOf(std::int64_t first,
                                                                           std::int64_t last) {
  std::vector<Entry> entries;
  if (!MayHaveFrom(first)) return entries;
  sto_SqliteStatement::Use use(m_FindRange);
  for (use.Bind(1, first).Bind(2, last).AllowRange(first, last); use.Step();)
    entries.push_back({use.Integer(0), use.Integer(1)});
  return entries;
}

void sto_SqliteMovedBlocks::Delete(std::int64_t first, std::int64_t last) {
  if (!MayHaveFrom(first)) return;
  Close();
  sto_SqliteStatement::Use(m_DeleteRowsOf).Bind(1, first).Bind(2, last).AllowRange(first, last).Step();
  sto_SqliteStatement::Use(m_DeleteRange).Bind(1, first).Bind(2, last).AllowRange(first, last).Step();
  m_List = NoList;
}
