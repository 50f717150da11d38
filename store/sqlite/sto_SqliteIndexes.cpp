#include "store/sqlite/sto_SqliteIndexes.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/sqlite/sto_SqliteHeader.h"
#include "store/sqlite/sto_SqliteSchema.h"

namespace {

/// So many changes are kept in memory: about a megabyte.
constexpr std::size_t MaxChanges = 16384;

sto_ByteView BytesOf(std::string const& key) noexcept {
  return sto_AsBytes(key);
}

/// Refers to its arguments.
auto PlaceOf(std::int64_t const& number, sto_IndexEntry const& entry) noexcept {
  return std::tie(number, entry.m_Key, entry.m_Id);
}

} // namespace

std::int64_t sto_IndexEntryChecksum(sto_RowChecksum& checksum, std::int64_t number,
                                    sto_IndexEntry const& entry) {
  std::int64_t const whole =
      checksum.Begin().Integer(number).Bytes(BytesOf(entry.m_Key)).Integer(entry.m_Id).Value();
  return static_cast<std::int32_t>(whole & 0xFFFFFFFF); // rows are short: half of it is enough
}

sto_SqliteIndexes::sto_SqliteIndexes(sto_SqliteConnection& connection, sto_SqliteMark& mark)
    : m_Connection(connection), m_Mark(mark),
      m_Add(connection, "REPLACE INTO index_entry(no, key, id, checksum) VALUES(?, ?, ?, ?)"),
      m_Remove(connection, "DELETE FROM index_entry WHERE no = ? AND key = ? AND id = ?"),
      m_From(connection, "SELECT no, key, id, checksum FROM index_entry WHERE (no, key, id) > (?, ?, ?) "
                         "ORDER BY no, key, id"),
      m_Before(connection, "SELECT no, key, id, checksum FROM index_entry WHERE (no, key, id) <= (?, ?, ?) "
                           "ORDER BY no DESC, key DESC, id DESC LIMIT 1") {}

void sto_SqliteIndexes::Use(sto_ByteView uuid, bool areThere) {
  m_AreThere = areThere;
  m_NameChecksum.emplace(uuid, "index_name");
  m_EntryChecksum.emplace(uuid, "index_entry");
}

void sto_SqliteIndexes::Drop() noexcept {
  m_Changes.clear();
  m_AtMark = 0;
}

void sto_SqliteIndexes::RaiseDamaged(std::string const& problem) const {
  sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": An index is damaged: " + problem + ".");
}

// --- the changes

void sto_SqliteIndexes::Change(std::int64_t number, sto_IndexEntry const& entry, bool isThere) {
  if (m_Changes.size() >= MaxChanges) Flush();
  m_Changes.push_back({number, entry, isThere});
}

void sto_SqliteIndexes::WriteStateAtMark() {
  Write(m_AtMark);
}

void sto_SqliteIndexes::Flush() {
  // What was changed since the mark is written after a savepoint, whose making has written what was changed before.
  if (m_Mark.IsInMemory() && m_Changes.size() > m_AtMark) m_Mark.BeforeWriting();
  Write(m_Changes.size());
}

void sto_SqliteIndexes::Write(std::size_t count) {
  if (count == 0) return;
  std::vector<Noted const*> order;
  order.reserve(count);
  for (std::size_t i = 0; i < count; ++i) order.push_back(&m_Changes[i]);
  std::ranges::stable_sort(order, [](Noted const* a, Noted const* b) {
    return PlaceOf(a->m_Index, a->m_Entry) < PlaceOf(b->m_Index, b->m_Entry);
  });
  for (std::size_t i = 0; i < count; ++i) {
    bool const isLast = i + 1 == count || order[i]->m_Index != order[i + 1]->m_Index ||
                        order[i]->m_Entry != order[i + 1]->m_Entry;
    if (isLast) Write(*order[i]);
  }
  m_Changes.erase(m_Changes.begin(), m_Changes.begin() + static_cast<std::ptrdiff_t>(count));
  m_AtMark -= std::min(m_AtMark, count); // last: if something fails, it may be tried again
}

void sto_SqliteIndexes::Write(Noted const& change) {
  sto_SqliteStatement::Use use(change.m_IsThere ? m_Add : m_Remove);
  use.Bind(1, change.m_Index).Bind(2, BytesOf(change.m_Entry.m_Key)).Bind(3, change.m_Entry.m_Id);
  if (change.m_IsThere) use.Bind(4, ChecksumOf(change.m_Index, change.m_Entry));
  use.Step();
}

void sto_SqliteIndexes::RemoveEntriesOf(std::int64_t id) {
  Flush();
  m_Mark.BeforeWriting();
  sto_SqliteStatement remove(m_Connection, "DELETE FROM index_entry WHERE id = ?");
  sto_SqliteStatement::Use(remove).Bind(1, id).AllowAllRows().Step();
}

std::int64_t sto_SqliteIndexes::ChecksumOf(std::int64_t number, sto_IndexEntry const& entry) {
  return sto_IndexEntryChecksum(*m_EntryChecksum, number, entry);
}

// --- the indexes themselves

std::vector<sto_IndexRow> sto_SqliteIndexes::All() {
  std::vector<sto_IndexRow> rows;
  if (!m_AreThere) return rows;
  sto_SqliteStatement statement(
      m_Connection, "SELECT no, place, class_id, name, checksum FROM index_name ORDER BY no, place");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    std::int64_t const number = use.Integer(0), place = use.Integer(1), classId = use.Integer(2);
    std::string name = use.Text(3);
    m_NameChecksum->Begin().Integer(number).Integer(place).Integer(classId).Text(name);
    std::string const row = "row " + std::to_string(place) + " of index " + std::to_string(number);
    if (m_NameChecksum->Value() != use.Integer(4))
      RaiseDamaged(row + " in table index_name does not fit its checksum");
    if (rows.empty() || rows.back().m_Number != number)
      rows.push_back({number, static_cast<unsigned int>(classId), {}});
    sto_IndexRow& index = rows.back();
    if (place != static_cast<std::int64_t>(index.m_Names.size()) || index.m_ClassId != classId)
      RaiseDamaged(row + " in table index_name is not in its place");
    index.m_Names.push_back(std::move(name));
  }
  return rows;
}

void sto_SqliteIndexes::Add(sto_IndexRow const& row) {
  if (!m_AreThere) {
    m_Connection.Execute(sto_SqliteSchema::IndexTables);
    sto_SetSqliteFeature(m_Connection, sto_Format::IndexesFeature, true);
    m_AreThere = true;
  }
  sto_SqliteStatement insert(
      m_Connection, "INSERT INTO index_name(no, place, class_id, name, checksum) VALUES(?, ?, ?, ?, ?)");
  for (std::size_t i = 0; i < row.m_Names.size(); ++i) {
    std::string_view const name = row.m_Names[i];
    auto const place = static_cast<std::int64_t>(i);
    m_NameChecksum->Begin().Integer(row.m_Number).Integer(place).Integer(row.m_ClassId).Text(name);
    sto_SqliteStatement::Use(insert)
        .Bind(1, row.m_Number)
        .Bind(2, place)
        .Bind(3, std::int64_t{row.m_ClassId})
        .Bind(4, name)
        .Bind(5, m_NameChecksum->Value())
        .Step();
  }
}

void sto_SqliteIndexes::Remove(std::int64_t number) {
  Flush();
  for (char const* const sql :
       {"DELETE FROM index_entry WHERE no = ?", "DELETE FROM index_name WHERE no = ?"}) {
    sto_SqliteStatement statement(m_Connection, sql);
    sto_SqliteStatement::Use(statement).Bind(1, number).AllowAllRows().Step();
  }
  if (m_Connection.QueryInteger("SELECT EXISTS(SELECT 1 FROM index_name)") != 0) return;
  m_Connection.Execute("DROP TABLE index_entry; DROP TABLE index_name");
  sto_SetSqliteFeature(m_Connection, sto_Format::IndexesFeature, false);
  m_AreThere = false;
}

// --- searching

sto_SqliteIndexes::Row sto_SqliteIndexes::RowOf(sto_SqliteStatement::Use const& use) {
  Row row;
  bool const hasRightTypes = use.TypeOf(0) == sto_SqliteType::Integer &&
                             use.TypeOf(1) == sto_SqliteType::Bytes &&
                             use.TypeOf(2) == sto_SqliteType::Integer;
  row.m_Index = use.Integer(0);
  row.m_Entry = {std::string(sto_AsText(use.Bytes(1))), use.Integer(2)};
  if (!hasRightTypes || use.Integer(3) != ChecksumOf(row.m_Index, row.m_Entry))
    RaiseDamaged("the entry of object " + std::to_string(row.m_Entry.m_Id) + " in index " +
                 std::to_string(row.m_Index) + ", in table index_entry, does not fit its checksum");
  return row;
}

void sto_SqliteIndexes::CheckBefore(Row const& place) {
  sto_SqliteStatement::Use use(m_Before);
  use.Bind(1, place.m_Index).Bind(2, BytesOf(place.m_Entry.m_Key)).Bind(3, place.m_Entry.m_Id);
  if (!use.Step()) return;
  Row const row = RowOf(use);
  if (PlaceOf(place.m_Index, place.m_Entry) < PlaceOf(row.m_Index, row.m_Entry))
    RaiseDamaged("the entries of table index_entry are not in their order");
}

bool sto_SqliteIndexes::Find(sto_IndexRange const& range, std::size_t limit,
                             std::vector<sto_IndexEntry>& found) {
  Flush();
  Row before{range.m_Index, range.m_After};
  CheckBefore(before);
  sto_SqliteStatement::Use use(m_From);
  use.Bind(1, range.m_Index).Bind(2, BytesOf(range.m_After.m_Key)).Bind(3, range.m_After.m_Id);
  for (use.AllowAllRows(); use.Step(); --limit) {
    Row row = RowOf(use);
    if (PlaceOf(row.m_Index, row.m_Entry) <= PlaceOf(before.m_Index, before.m_Entry))
      RaiseDamaged("the entries of table index_entry are not in their order");
    bool const isInRange =
        row.m_Index == range.m_Index && (!range.m_LastKey || row.m_Entry.m_Key <= *range.m_LastKey);
    if (!isInRange) return false;
    if (limit == 0) return true;
    found.push_back(row.m_Entry);
    before = std::move(row);
  }
  return false;
}
