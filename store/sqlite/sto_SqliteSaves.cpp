#include "store/sqlite/sto_SqliteSaves.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <limits>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/sqlite/sto_SqliteColumns.h"

namespace {

/// Now, in milliseconds since the beginning of 1970, UTC.
std::int64_t Now() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

constexpr int ColumnsBeforeChecksum = 7;

} // namespace

sto_SqliteSaves::sto_SqliteSaves(sto_SqliteConnection& connection)
    : m_Connection(connection),
      m_ReadNewest(connection,
                   "SELECT no, at, program, note, next_object_id, changed, sum, checksum FROM save "
                   "ORDER BY no DESC LIMIT 1"),
      m_Write(connection, "REPLACE INTO save(no, at, program, note, next_object_id, changed, sum, checksum) "
                          "VALUES(?, ?, ?, ?, ?, ?, ?, ?)") {}

void sto_SqliteSaves::Use(sto_ByteView uuid) {
  m_Checksum.emplace(uuid, "save");
}

void sto_SqliteSaves::Check(sto_SqliteStatement::Use const& use) {
  m_Checksum->Begin();
  for (int column = 0; column < ColumnsBeforeChecksum; ++column) sto_AddColumn(*m_Checksum, use, column);
  if (m_Checksum->Value() != use.Integer(ColumnsBeforeChecksum))
    sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": Table save is damaged: the row of save " +
                                          std::to_string(use.Integer(0)) + " does not fit its checksum.");
}

sto_SqliteSaves::Newest const& sto_SqliteSaves::ReadNewest() {
  if (m_Newest) return *m_Newest;
  sto_SqliteStatement::Use use(m_ReadNewest);
  if (!use.Step())
    sto_Raise(sto_ErrorKind::Damaged,
              m_Connection.Path() +
                  ": Table save is damaged: the newest save, with the store's next object id, "
                  "is missing.");
  Check(use);
  sto_ByteReader bytes(use.Bytes(6));
  sto_ContentSum const sum = sto_ContentSum::Read(bytes);
  if (use.Integer(0) < 1 || use.Integer(4) < 1 || bytes.Failed() || bytes.Remaining() != 0)
    sto_Raise(sto_ErrorKind::Damaged,
              m_Connection.Path() +
                  ": Table save is damaged: the newest save has an invalid number or sum, or "
                  "the store's next object id in it is invalid.");
  m_Newest = Newest{use.Integer(0), use.Integer(4), sum};
  return *m_Newest;
}

sto_SaveEntry sto_SqliteSaves::EntryOf(sto_SqliteStatement::Use const& use) {
  Check(use);
  sto_SaveEntry entry{use.Integer(0), use.Integer(1), use.Text(2), use.Text(3), use.Integer(4), {}, {}, {}};
  sto_ChangeList changes;
  if (!sto_DecodeChanges(use.Bytes(5), changes))
    sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": Table save is damaged: the changes of save " +
                                          std::to_string(entry.m_Number) + " are not a list of changes.");
  entry.m_Objects = std::move(changes.m_Objects);
  entry.m_Lists = std::move(changes.m_Lists);
  entry.m_Roots = std::move(changes.m_Roots);
  return entry;
}

std::vector<sto_SaveEntry> sto_SqliteSaves::Read(std::int64_t first) {
  std::vector<sto_SaveEntry> entries;
  sto_SqliteStatement statement(
      m_Connection, "SELECT no, at, program, note, next_object_id, changed, sum, checksum FROM save "
                    "WHERE no >= ? ORDER BY no");
  sto_SqliteStatement::Use use(statement);
  // From the first one on also what a damaged number has moved before it.
  std::int64_t const from = first <= 1 ? std::numeric_limits<std::int64_t>::min() : first;
  for (use.Bind(1, from).AllowAllRows(); use.Step();) entries.push_back(EntryOf(use));
  return entries;
}

std::optional<sto_SaveEntry> sto_SqliteSaves::LastChange(std::string_view root, std::int64_t id) {
  sto_SqliteStatement statement(
      m_Connection, "SELECT no, at, program, note, next_object_id, changed, sum, checksum FROM save "
                    "ORDER BY no DESC");
  sto_SqliteStatement::Use use(statement);
  std::optional<sto_SaveEntry> later; // the save after the present row's
  for (use.AllowAllRows(); use.Step();) {
    sto_SaveEntry entry = EntryOf(use);
    if (entry.m_NextObjectId <= id) return later; // it has made the object
    if (std::ranges::binary_search(entry.m_Objects, id) || std::ranges::binary_search(entry.m_Lists, id) ||
        std::ranges::find(entry.m_Roots, root) != entry.m_Roots.end())
      return entry;
    later = std::move(entry);
  }
  return later;
}

std::optional<sto_ChangeList> sto_SqliteSaves::ReadChanges(std::int64_t save) {
  sto_ChangeList all;
  for (sto_SaveEntry& entry : Read(save + 1)) {
    if (entry.m_Number != ++save) return std::nullopt;
    std::ranges::move(entry.m_Objects, std::back_inserter(all.m_Objects));
    std::ranges::move(entry.m_Lists, std::back_inserter(all.m_Lists));
    std::ranges::move(entry.m_Roots, std::back_inserter(all.m_Roots));
  }
  if (save != ReadNewest().m_Number) return std::nullopt;
  sto_SortChanges(all);
  return all;
}

void sto_SqliteSaves::Write(Newest const& row, std::string_view program, std::string_view note,
                            sto_ChangeList const& changes) {
  m_Changes.clear();
  sto_EncodeChanges(changes, m_Changes);
  std::size_t const size = m_Changes.size();
  sto_ByteWriter sum(m_Changes); // one buffer: GCC takes the growth of a short one for an overflow
  row.m_Sum.Write(sum);
  sto_ByteView const changed = sto_ByteView(m_Changes).first(size);
  sto_ByteView const sumBytes = sto_ByteView(m_Changes).subspan(size);
  std::int64_t const at = Now();
  m_Checksum->Begin().Integer(row.m_Number).Integer(at).Text(program).Text(note);
  m_Checksum->Integer(row.m_NextObjectId).Bytes(changed).Bytes(sumBytes);
  sto_SqliteStatement::Use(m_Write)
      .Bind(1, row.m_Number)
      .Bind(2, at)
      .Bind(3, program)
      .Bind(4, note)
      .Bind(5, row.m_NextObjectId)
      .Bind(6, changed)
      .Bind(7, sumBytes)
      .Bind(8, m_Checksum->Value())
      .Step();
}
