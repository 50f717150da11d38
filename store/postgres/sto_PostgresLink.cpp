#include "store/postgres/sto_PostgresLink.h"

#include <algorithm>
#include <limits>
#include <random>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_ChangeList.h"
#include "store/postgres/sto_PostgresSchema.h"

namespace {

struct Table {
  char const* m_Name;
  int m_ExtentBits;
};
Table TableOf(sto_RowTable table) noexcept {
  switch (table) {
  case sto_RowTable::Pack:
    return {"kvl.pack", sto_PostgresSchema::PackExtentBits};
  case sto_RowTable::Record:
    return {"kvl.record", sto_PostgresSchema::RecordExtentBits};
  case sto_RowTable::Block:
    break;
  }
  return {"kvl.block", sto_PostgresSchema::BlockExtentBits};
}

/// A sum over a store as a decimal number of PostgreSQL: its halves.
std::string Halves(sto_ContentSum const& sum) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  sum.Write(writer);
  sto_ByteReader reader(bytes);
  auto const low = reader.Number<std::uint64_t>(), high = reader.Number<std::uint64_t>();
  return std::to_string(high) + " " + std::to_string(low);
}
sto_ContentSum SumOf(std::string const& high, std::string const& low) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  writer.Number(static_cast<std::uint64_t>(std::stoull(low)));
  writer.Number(static_cast<std::uint64_t>(std::stoull(high)));
  sto_ByteReader reader(bytes);
  return sto_ContentSum::Read(reader);
}

std::string ArrayText(std::vector<std::int64_t> const& numbers) {
  std::string text = "{";
  for (std::int64_t const number : numbers) {
    if (text.size() > 1) text += ',';
    text += std::to_string(number);
  }
  return text + "}";
}

sto_Bytes Copy(sto_ByteView bytes) {
  return {bytes.begin(), bytes.end()};
}

sto_ByteView TokenOf(sto_ServerDraft const& draft) noexcept {
  return std::as_bytes(std::span(draft.m_Token));
}

/// A random one (RFC 4122).
void MakeUuid(std::array<std::byte, 16>& uuid) {
  std::random_device random;
  for (std::byte& part : uuid) part = static_cast<std::byte>(random() & 0xFF);
  uuid[6] = (uuid[6] & std::byte{0x0F}) | std::byte{0x40};
  uuid[8] = (uuid[8] & std::byte{0x3F}) | std::byte{0x80};
}

/// The newest row under a key that a view sees. $1: the store, $2: the head, $3: the open drafts.
std::string NewestOf(Table const& table, std::string const& key, char const* what) {
  return "SELECT " + std::string(what) + " FROM " + table.m_Name +
         " r WHERE r.store_id = $1 AND r.extent = " + key + " >> " + std::to_string(table.m_ExtentBits) +
         " AND r.key = " + key + " AND r.draft <= $2 AND r.draft <> ALL($3) ORDER BY r.draft DESC LIMIT 1";
}

/// The newest rows of a range. $4 and $5: its ends.
std::string NewestIn(Table const& table, char const* what) {
  std::string const bits = std::to_string(table.m_ExtentBits);
  return "SELECT DISTINCT ON (r.extent, r.key) " + std::string(what) + " FROM " + table.m_Name +
         " r WHERE r.store_id = $1 AND r.extent BETWEEN $4 >> " + bits + " AND $5 >> " + bits +
         " AND r.key BETWEEN $4 AND $5 AND r.draft <= $2 AND r.draft <> ALL($3) "
         "ORDER BY r.extent, r.key, r.draft DESC";
}

} // namespace

// --- making and opening

sto_PostgresLink::sto_PostgresLink(sto_PostgresPlace const& place) : m_Connection(place.m_Uri, place.m_Name) {
  MakeUuid(m_Session);
}

sto_PostgresLink::~sto_PostgresLink() {
  m_Connection.Rollback();
  try {
    m_Connection.Execute("DELETE FROM kvl.pin WHERE store_id = $1 AND session = $2",
                         sto_PostgresParameters().Integer(m_Store).Bytes(m_Session));
  } catch (...) { // its lease will end
  }
}

std::unique_ptr<sto_PostgresLink> sto_PostgresLink::Create(std::string const& location) {
  sto_PostgresPlace const place = sto_PostgresPlace::Of(location);
  std::unique_ptr<sto_PostgresLink> link(new sto_PostgresLink(place));
  link->m_Connection.ExecuteAll(sto_PostgresSchema::Make);
  MakeUuid(link->m_Uuid);
  sto_PostgresRows const made = link->m_Connection.Execute(
      "WITH made AS (INSERT INTO kvl.store(name, uuid) VALUES($1, $2) ON CONFLICT DO NOTHING RETURNING store_id), "
      "head AS (INSERT INTO kvl.head(store_id, save_no) SELECT store_id, 1 FROM made), "
      "save AS (INSERT INTO kvl.save SELECT store_id, 1, 0, (extract(epoch from clock_timestamp()) * 1000)::int8, "
      "'', '', 1, $3 FROM made) SELECT store_id FROM made",
      sto_PostgresParameters()
          .Text(place.m_Store)
          .Bytes(link->m_Uuid)
          .Bytes(Copy(std::array<std::byte, 3>{})));
  if (made.Count() == 0)
    sto_Raise(sto_ErrorKind::Conflict, place.m_Name + ": There is a store of this name already.");
  link->m_Store = made.Integer(0, 0);
  return link;
}

std::unique_ptr<sto_PostgresLink> sto_PostgresLink::Open(std::string const& location) {
  sto_PostgresPlace const place = sto_PostgresPlace::Of(location);
  std::unique_ptr<sto_PostgresLink> link(new sto_PostgresLink(place));
  link->ReadStore(place.m_Store);
  return link;
}

void sto_PostgresLink::ReadStore(std::string const& name) {
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT (SELECT max(version) FROM kvl.format), s.store_id, s.uuid FROM kvl.store s WHERE s.name = $1",
      sto_PostgresParameters().Text(name));
  if (rows.Count() == 0) sto_Raise(sto_ErrorKind::NotFound, Name() + ": There is no store of this name.");
  if (std::int64_t const version = rows.Integer(0, 0); version > sto_PostgresSchema::Format)
    sto_Raise(sto_ErrorKind::NewerFormat, Name() + ": The tables have format " + std::to_string(version) +
                                              "; this program knows up to " +
                                              std::to_string(sto_PostgresSchema::Format) + ".");
  m_Store = rows.Integer(0, 1);
  sto_ByteView const uuid = rows.Bytes(0, 2);
  if (uuid.size() != m_Uuid.size())
    sto_Raise(sto_ErrorKind::Damaged, Name() + ": The store's uuid is damaged.");
  std::ranges::copy(uuid, m_Uuid.begin());
}

// --- reading

sto_ServerState sto_PostgresLink::ReadState(std::optional<std::string_view> named) {
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT head, open, save_no, end_of_ids, sum_high, sum_low, has_indexes, data "
      "FROM kvl.read_state($1, $2, $3)",
      sto_PostgresParameters().Integer(m_Store).Bytes(m_Session).Bytes(sto_AsBytes(named.value_or(""))));
  if (rows.Count() == 0) sto_Raise(sto_ErrorKind::NotFound, Name() + ": The store was removed.");
  sto_ServerState state;
  state.m_View = {rows.Integer(0, 0), rows.Integers(0, 1)};
  state.m_Save = rows.Integer(0, 2);
  state.m_EndOfIds = rows.Integer(0, 3);
  state.m_Sum = SumOf(rows.Text(0, 4), rows.Text(0, 5));
  state.m_HasIndexes = rows.Boolean(0, 6);
  if (named && !rows.IsNull(0, 7)) state.m_Named = Copy(rows.Bytes(0, 7));
  return state;
}

void sto_PostgresLink::ReadRows(sto_RowTable table, std::span<std::int64_t const> keys,
                                sto_ServerView const& view, sto_RowSink& sink) {
  if (keys.empty()) return;
  std::string const sql = "SELECT k, r.draft, r.data FROM unnest($4::int8[]) AS k CROSS JOIN LATERAL (" +
                          NewestOf(TableOf(table), "k", "r.draft, r.data") +
                          ") r WHERE r.data IS NOT NULL AND kvl.holds($1, $2)";
  sto_PostgresRows const rows = m_Connection.Execute(
      sql.c_str(),
      sto_PostgresParameters().Integer(m_Store).Integer(view.m_Head).Integers(view.m_Open).Integers(keys));
  for (int i = 0; i < rows.Count(); ++i)
    if (!sink.Take(rows.Integer(i, 0), rows.Integer(i, 1), rows.Bytes(i, 2))) return;
}

void sto_PostgresLink::ScanRows(sto_RowTable table, std::int64_t first, std::int64_t last, std::size_t limit,
                                sto_ServerView const& view, sto_RowSink& sink) {
  std::string const sql = "SELECT key, draft, data FROM (" +
                          NewestIn(TableOf(table), "r.key, r.draft, r.data") +
                          ") t WHERE data IS NOT NULL AND kvl.holds($1, $2) LIMIT $6";
  constexpr std::size_t Most = 4096; // of which one answer is made
  while (first <= last && limit > 0) {
    std::size_t const wanted = std::min(limit, Most);
    sto_PostgresRows const rows =
        m_Connection.Execute(sql.c_str(), sto_PostgresParameters()
                                              .Integer(m_Store)
                                              .Integer(view.m_Head)
                                              .Integers(view.m_Open)
                                              .Integer(first)
                                              .Integer(last)
                                              .Integer(static_cast<std::int64_t>(wanted)));
    for (int i = 0; i < rows.Count(); ++i)
      if (!sink.Take(rows.Integer(i, 0), rows.Integer(i, 1), rows.Bytes(i, 2))) return;
    auto const count = static_cast<std::size_t>(rows.Count());
    if (count < wanted) return;
    limit -= count;
    first = rows.Integer(rows.Count() - 1, 0) + 1;
  }
}

std::vector<std::int64_t> sto_PostgresLink::ScanKeys(sto_RowTable table, std::int64_t first,
                                                     std::int64_t last, sto_ServerView const& view) {
  std::string const sql = "SELECT key FROM (" +
                          NewestIn(TableOf(table), "r.key, r.data IS NOT NULL AS is_there") +
                          ") t WHERE is_there AND kvl.holds($1, $2)";
  sto_PostgresRows const rows = m_Connection.Execute(sql.c_str(), sto_PostgresParameters()
                                                                      .Integer(m_Store)
                                                                      .Integer(view.m_Head)
                                                                      .Integers(view.m_Open)
                                                                      .Integer(first)
                                                                      .Integer(last));
  std::vector<std::int64_t> keys;
  for (int i = 0; i < rows.Count(); ++i) keys.push_back(rows.Integer(i, 0));
  return keys;
}

std::vector<std::optional<sto_Bytes>> sto_PostgresLink::ReadNamed(std::span<std::string const> names,
                                                                  sto_ServerView const& view) {
  std::vector<std::optional<sto_ByteView>> keys;
  for (std::string const& name : names) keys.emplace_back(sto_AsBytes(name));
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT k.place, r.data FROM unnest($4::bytea[]) WITH ORDINALITY AS k(name, place) CROSS JOIN LATERAL ("
      "SELECT n.data FROM kvl.named n WHERE n.store_id = $1 AND n.name = k.name AND n.draft <= $2 "
      "AND n.draft <> ALL($3) ORDER BY n.draft DESC LIMIT 1) r WHERE r.data IS NOT NULL AND kvl.holds($1, $2)",
      sto_PostgresParameters().Integer(m_Store).Integer(view.m_Head).Integers(view.m_Open).ManyBytes(keys));
  std::vector<std::optional<sto_Bytes>> found(names.size());
  for (int i = 0; i < rows.Count(); ++i)
    found[static_cast<std::size_t>(rows.Integer(i, 0) - 1)] = Copy(rows.Bytes(i, 1));
  return found;
}

std::vector<sto_NamedRow> sto_PostgresLink::ScanNamed(sto_NameRange const& range, std::size_t limit,
                                                      sto_ServerView const& view) {
  auto const most = static_cast<std::int64_t>(
      std::min<std::size_t>(limit, static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max())));
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT name, data FROM (SELECT DISTINCT ON (n.name) n.name, n.data FROM kvl.named n WHERE n.store_id = $1 "
      "AND n.name >= $4 AND n.name < $5 AND n.draft <= $2 AND n.draft <> ALL($3) ORDER BY n.name, n.draft DESC) t "
      "WHERE data IS NOT NULL AND kvl.holds($1, $2) LIMIT $6",
      sto_PostgresParameters()
          .Integer(m_Store)
          .Integer(view.m_Head)
          .Integers(view.m_Open)
          .Bytes(sto_AsBytes(range.m_First))
          .Bytes(sto_AsBytes(range.m_End))
          .Integer(most));
  std::vector<sto_NamedRow> found;
  for (int i = 0; i < rows.Count(); ++i) found.push_back({rows.Text(i, 0), Copy(rows.Bytes(i, 1))});
  return found;
}

std::vector<sto_SaveEntry> sto_PostgresLink::Saves(std::int64_t first) {
  sto_PostgresRows const rows =
      m_Connection.Execute("SELECT save_no, at, program, note, next_object_id, changed FROM kvl.save "
                           "WHERE store_id = $1 AND save_no >= $2 ORDER BY save_no",
                           sto_PostgresParameters().Integer(m_Store).Integer(first));
  std::vector<sto_SaveEntry> entries;
  for (int i = 0; i < rows.Count(); ++i) {
    sto_SaveEntry entry{rows.Integer(i, 0),
                        rows.Integer(i, 1),
                        rows.Text(i, 2),
                        rows.Text(i, 3),
                        rows.Integer(i, 4),
                        {},
                        {},
                        {}};
    sto_ChangeList changes;
    if (!sto_DecodeChanges(rows.Bytes(i, 5), changes))
      sto_Raise(sto_ErrorKind::Damaged, Name() + ": Table save is damaged: the changes of save " +
                                            std::to_string(entry.m_Number) + " are not a list of changes.");
    entry.m_Objects = std::move(changes.m_Objects);
    entry.m_Lists = std::move(changes.m_Lists);
    entry.m_Roots = std::move(changes.m_Roots);
    entries.push_back(std::move(entry));
  }
  return entries;
}

// --- ids

std::int64_t sto_PostgresLink::TakeIds(std::int64_t first, std::int64_t count) {
  sto_PostgresRows const rows = m_Connection.Execute(
      "UPDATE kvl.head SET end_of_taken = greatest(end_of_taken, end_of_ids, $2) + $3 WHERE store_id = $1 "
      "RETURNING end_of_taken",
      sto_PostgresParameters().Integer(m_Store).Integer(first).Integer(count));
  return rows.Integer(0, 0) - count;
}

void sto_PostgresLink::GiveBackIds(std::int64_t first, std::int64_t end) noexcept {
  try {
    m_Connection.Execute("UPDATE kvl.head SET end_of_taken = $2 WHERE store_id = $1 AND end_of_taken = $3",
                         sto_PostgresParameters().Integer(m_Store).Integer(first).Integer(end));
  } catch (...) { // they are lost, which does no harm
  }
}

// --- saving

sto_ServerDraft sto_PostgresLink::OpenDraft() {
  std::random_device random;
  sto_ServerDraft draft;
  for (std::uint64_t& part : draft.m_Token) part = std::uint64_t{random()} << 32 | random();
  sto_PostgresRows const rows = m_Connection.Execute(
      "WITH next AS (UPDATE kvl.head SET last_draft = last_draft + 1 WHERE store_id = $1 RETURNING last_draft) "
      "INSERT INTO kvl.draft(store_id, draft, token) SELECT $1, last_draft, $2 FROM next RETURNING draft",
      sto_PostgresParameters().Integer(m_Store).Bytes(TokenOf(draft)));
  draft.m_Number = rows.Integer(0, 0);
  return draft;
}

void sto_PostgresLink::BeginSending() {
  if (m_Connection.IsInTransaction()) return;
  ForgetSent();
  m_Connection.Execute("BEGIN");
}

void sto_PostgresLink::ForgetSent() noexcept {
  for (std::vector<std::int64_t>& keys : m_SentKeys) keys.clear();
  m_SentNames.clear();
}

void sto_PostgresLink::Send(sto_ServerDraft const& draft, std::span<sto_NumberedChange const> rows) {
  BeginSending();
  std::size_t place = 0;
  for (sto_RowTable const table : {sto_RowTable::Pack, sto_RowTable::Record, sto_RowTable::Block}) {
    std::vector<std::int64_t>& sent = m_SentKeys[place++];
    std::vector<std::int64_t> keys;
    std::vector<std::optional<sto_ByteView>> data;
    for (sto_NumberedChange const& row : rows) {
      if (row.m_Table != table) continue;
      keys.push_back(row.m_Key);
      data.push_back(row.m_Data);
    }
    if (keys.empty()) continue;
    sent.insert(sent.end(), keys.begin(), keys.end());
    std::string const sql = std::string("INSERT INTO ") + TableOf(table).m_Name + " SELECT $1, k >> " +
                            std::to_string(TableOf(table).m_ExtentBits) +
                            ", k, $2, d FROM unnest($3::int8[], $4::bytea[]) AS t(k, d)";
    m_Connection.Execute(
        sql.c_str(),
        sto_PostgresParameters().Integer(m_Store).Integer(draft.m_Number).Integers(keys).ManyBytes(data));
  }
}

void sto_PostgresLink::SendNamed(sto_ServerDraft const& draft, std::span<sto_NamedChange const> rows) {
  BeginSending();
  std::vector<std::optional<sto_ByteView>> names, data;
  for (sto_NamedChange const& row : rows) {
    names.emplace_back(sto_AsBytes(row.m_Name));
    m_SentNames.emplace_back(row.m_Name);
    data.push_back(row.m_Data);
  }
  m_Connection.Execute(
      "INSERT INTO kvl.named SELECT $1, n, $2, d FROM unnest($3::bytea[], $4::bytea[]) AS t(n, d)",
      sto_PostgresParameters().Integer(m_Store).Integer(draft.m_Number).ManyBytes(names).ManyBytes(data));
}

sto_ServerOutcome sto_PostgresLink::Commit(sto_ServerSave const& save) {
  BeginSending();
  std::vector<std::string> kinds, opens;
  std::vector<std::int64_t> units, groups, heads;
  for (sto_ServerSave::Seen const& seen : save.m_Seen) {
    heads.push_back(seen.m_Base.m_Head);
    opens.push_back(ArrayText(seen.m_Base.m_Open));
    for (sto_ConflictUnit const& unit : seen.m_Units) {
      kinds.emplace_back(1, static_cast<char>(unit.m_Kind));
      units.push_back(unit.m_Number);
      groups.push_back(static_cast<std::int64_t>(heads.size()));
    }
  }
  sto_Bytes changed;
  sto_ChangeList list{save.m_Entry.m_Objects, save.m_Entry.m_Lists, save.m_Entry.m_Roots};
  sto_SortChanges(list);
  sto_EncodeChanges(list, changed);
  auto const halves = [](sto_ContentSum const& sum) {
    std::string const text = Halves(sum);
    std::size_t const space = text.find(' ');
    return std::pair(text.substr(0, space), text.substr(space + 1));
  };
  auto const [addedHigh, addedLow] = halves(save.m_Added);
  auto const [removedHigh, removedLow] = halves(save.m_Removed);
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT save_no, kind, unit FROM kvl.commit_draft($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, "
      "$11::numeric * 18446744073709551616 + $12::numeric, $13::numeric * 18446744073709551616 + $14::numeric, "
      "$15, $16, $17, $18, $19, $20)",
      sto_PostgresParameters()
          .Integer(m_Store)
          .Integer(save.m_Draft.m_Number)
          .Bytes(TokenOf(save.m_Draft))
          .Integer(save.m_BaseSave)
          .Boolean(save.m_NeedsAll)
          .Texts(kinds)
          .Integers(units)
          .Integers(groups)
          .Integers(heads)
          .Texts(opens)
          .Text(addedHigh)
          .Text(addedLow)
          .Text(removedHigh)
          .Text(removedLow)
          .Boolean(save.m_HasIndexes)
          .Integer(save.m_Entry.m_Milliseconds)
          .Text(save.m_Entry.m_Program)
          .Text(save.m_Entry.m_Note)
          .Integer(save.m_Entry.m_NextObjectId)
          .Bytes(changed));
  sto_ServerOutcome outcome;
  for (int i = 0; i < rows.Count(); ++i)
    if (rows.Integer(i, 0) != 0)
      outcome.m_Save = rows.Integer(i, 0);
    else
      outcome.m_Conflicts.push_back(
          {static_cast<sto_ConflictUnit::Kind>(rows.Text(i, 1).front()), rows.Integer(i, 2)});
  if (outcome.m_Save == 0) {
    m_Connection.Rollback();
    return outcome;
  }
  std::vector<std::optional<sto_ByteView>> names;
  for (std::string const& name : m_SentNames) names.emplace_back(sto_AsBytes(name));
  m_Connection.Execute("SELECT kvl.collect($1, $2, $3, $4, $5, $6)", sto_PostgresParameters()
                                                                         .Integer(m_Store)
                                                                         .Bytes(m_Session)
                                                                         .Integers(m_SentKeys[0])
                                                                         .Integers(m_SentKeys[1])
                                                                         .Integers(m_SentKeys[2])
                                                                         .ManyBytes(names));
  m_Connection.Execute("COMMIT");
  ForgetSent();
  return outcome;
}

std::int64_t sto_PostgresLink::GiveUp(sto_ServerDraft const& draft) {
  m_Connection.Rollback();
  // It waits for a commit that is still under way.
  m_Connection.Execute(
      "UPDATE kvl.draft SET state = 'a' WHERE store_id = $1 AND draft = $2 AND token = $3 AND state = 'p'",
      sto_PostgresParameters().Integer(m_Store).Integer(draft.m_Number).Bytes(TokenOf(draft)));
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT save_no FROM kvl.draft WHERE store_id = $1 AND draft = $2 AND token = $3 AND state = 'c'",
      sto_PostgresParameters().Integer(m_Store).Integer(draft.m_Number).Bytes(TokenOf(draft)));
  return rows.Count() == 0 ? 0 : rows.Integer(0, 0);
}

std::int64_t sto_PostgresLink::SizeBytes() {
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT (SELECT coalesce(sum(length(data)), 0) FROM kvl.pack WHERE store_id = $1)::int8 + "
      "(SELECT coalesce(sum(length(data)), 0) FROM kvl.record WHERE store_id = $1)::int8 + "
      "(SELECT coalesce(sum(length(data)), 0) FROM kvl.block WHERE store_id = $1)::int8",
      sto_PostgresParameters().Integer(m_Store));
  return rows.Integer(0, 0);
}
