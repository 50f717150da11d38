#include "store/postgres/sto_PostgresLink.h"

#include <algorithm>
#include <limits>
#include <random>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_ChangeList.h"
#include "store/postgres/sto_PostgresCall.h"
#include "store/postgres/sto_PostgresSchema.h"
#include "store/postgres/sto_PostgresSum.h"

namespace {

char const* NameOf(sto_RowTable table) noexcept {
  switch (table) {
  case sto_RowTable::Pack:
    return "pack";
  case sto_RowTable::Record:
    return "record";
  case sto_RowTable::Block:
    break;
  }
  return "block";
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

/// The units in a list such as "p12 l7".
std::vector<sto_ConflictUnit> ConflictsOf(std::string const& list) {
  std::vector<sto_ConflictUnit> units;
  for (std::size_t at = 0; at < list.size(); at = std::min(list.find(' ', at), list.size() - 1) + 1)
    units.push_back({static_cast<sto_ConflictUnit::Kind>(list[at]), std::stoll(list.substr(at + 1))});
  return units;
}

/// A random one (RFC 4122).
void MakeUuid(std::array<std::byte, 16>& uuid) {
  std::random_device random;
  for (std::byte& part : uuid) part = static_cast<std::byte>(random() & 0xFF);
  uuid[6] = (uuid[6] & std::byte{0x0F}) | std::byte{0x40};
  uuid[8] = (uuid[8] & std::byte{0x3F}) | std::byte{0x80};
}

} // namespace

// --- making and opening

sto_PostgresLink::sto_PostgresLink(sto_PostgresPlace const& place, sto_Options const& options)
    : m_Connection(place.m_Uri, place.m_Name, options.m_AnswerMilliseconds),
      m_Wait(std::to_string(std::max(1, options.m_BusyMilliseconds))) {
  if (options.m_BusyMilliseconds < 0 || options.m_AnswerMilliseconds < 0)
    sto_Raise(sto_ErrorKind::Misuse, place.m_Name + ": The options have a negative number of milliseconds.");
  MakeUuid(m_Session);
}

sto_PostgresLink::~sto_PostgresLink() {
  m_Connection.Rollback();
  if (m_KnownSave == 0 || !m_Connection.IsConnected()) return;
  try {
    m_Connection.Execute("SELECT kvl.unpin($1, $2)",
                         sto_PostgresParameters().Integer(m_Store).Bytes(m_Session));
  } catch (...) { // its lease will end
  }
}

std::unique_ptr<sto_PostgresLink> sto_PostgresLink::Create(std::string const& location,
                                                           sto_Options const& options) {
  sto_PostgresPlace const place = sto_PostgresPlace::Of(location);
  std::unique_ptr<sto_PostgresLink> link(new sto_PostgresLink(place, options));
  if (!link->HasTables()) link->m_Connection.ExecuteAll(sto_PostgresSchema::TextOfMake());
  MakeUuid(link->m_Uuid);
  sto_PostgresRows const made = link->m_Connection.Execute(
      "SELECT kvl.make_store($1, $2)", sto_PostgresParameters().Text(place.m_Store).Bytes(link->m_Uuid));
  if (made.IsNull(0, 0))
    sto_Raise(sto_ErrorKind::Conflict, place.m_Name + ": There is a store of this name already.");
  link->m_Store = made.Integer(0, 0);
  return link;
}

std::unique_ptr<sto_PostgresLink> sto_PostgresLink::Open(std::string const& location, bool readOnly,
                                                         sto_Options const& options) {
  sto_PostgresPlace const place = sto_PostgresPlace::Of(location);
  std::unique_ptr<sto_PostgresLink> link(new sto_PostgresLink(place, options));
  link->ReadStore(place.m_Store, readOnly);
  return link;
}

void sto_PostgresLink::Remove(std::string const& location, sto_Options const& options) {
  std::unique_ptr<sto_PostgresLink> const link = Open(location, false, options);
  link->m_Connection.Execute("SELECT kvl.remove_store($1)", sto_PostgresParameters().Integer(link->m_Store));
}

void sto_PostgresLink::Rename(std::string const& name) {
  m_Connection.Execute("SELECT kvl.rename_store($1, $2)",
                       sto_PostgresParameters().Integer(m_Store).Text(name));
}

bool sto_PostgresLink::HasTables() {
  std::string ignored;
  constexpr std::string_view NoSuchTable = "42P01";
  std::optional<sto_PostgresRows> const rows =
      m_Connection.ExecuteAll("SELECT max(version) FROM kvl.format", NoSuchTable, &ignored);
  if (!rows) return false;
  std::int64_t const version = rows->IsNull(0, 0) ? 0 : rows->Number(0, 0);
  constexpr int Known = sto_PostgresSchema::Format;
  if (version > Known)
    sto_Raise(sto_ErrorKind::NewerFormat, Name() + ": The tables have format " + std::to_string(version) +
                                              "; this program knows up to " + std::to_string(Known) + ".");
  if (version < Known)
    sto_Raise(sto_ErrorKind::Damaged,
              Name() + ": The tables have format " + std::to_string(version) + ", which never was one.");
  return true;
}

void sto_PostgresLink::ReadStore(std::string const& name, bool readOnly) {
  if (!HasTables()) sto_Raise(sto_ErrorKind::NotFound, Name() + ": There are no stores in this database.");
  sto_PostgresRows const rows =
      m_Connection.Execute("SELECT store_id, uuid, may_write, writer::text FROM kvl.find_store($1)",
                           sto_PostgresParameters().Text(name));
  if (rows.Count() == 0)
    sto_Raise(sto_ErrorKind::NotFound,
              Name() + ": There is no store of this name, or the user may not see it.");
  m_Store = rows.Integer(0, 0);
  if (!readOnly && !rows.Boolean(0, 2))
    sto_Raise(sto_ErrorKind::ReadOnly,
              Name() +
                  ": The user may only read this store. Whoever owns it can allow more "
                  "with GRANT " +
                  rows.Text(0, 3) + ".");
  sto_ByteView const uuid = rows.Bytes(0, 1);
  if (uuid.size() != m_Uuid.size())
    sto_Raise(sto_ErrorKind::Damaged, Name() + ": The store's uuid is damaged.");
  std::ranges::copy(uuid, m_Uuid.begin());
}

// --- reading

sto_PostgresParameters sto_PostgresLink::Seen(sto_ServerView const& view) const {
  return std::move(sto_PostgresParameters()
                       .Integer(m_Store)
                       .Integer(view.m_Head)
                       .Integers(view.m_Open)
                       .Integer(view.m_Save));
}

void sto_PostgresLink::CheckHistory(std::int64_t newest, std::optional<sto_ByteView> known) const {
  if (m_KnownSave == 0 || (known && std::ranges::equal(*known, m_KnownToken))) return;
  sto_Raise(
      sto_ErrorKind::Unavailable,
      Name() + ": The server's newest save is " + std::to_string(newest) +
          ", and this session has seen save " + std::to_string(m_KnownSave) +
          ", which the server does not have: it is a standby that lags behind, or one that was promoted "
          "without the last saves, or a backup that was restored. Open the store again to work with what it has.");
}

sto_ServerState sto_PostgresLink::ReadState(std::optional<std::string_view> named) {
  sto_PostgresRows const rows = m_Connection.Read(
      "SELECT head, open, save_no, end_of_ids, sum_high, sum_low, has_indexes, data, token, "
      "known_token FROM kvl.read_state($1, $2, $3, $4)",
      sto_PostgresParameters()
          .Integer(m_Store)
          .Bytes(m_Session)
          .Bytes(sto_AsBytes(named.value_or("")))
          .Integer(m_KnownSave));
  if (rows.Count() == 0) sto_Raise(sto_ErrorKind::NotFound, Name() + ": The store was removed.");
  sto_ServerState state;
  state.m_View = {rows.Integer(0, 0), rows.Integers(0, 1), rows.Integer(0, 2)};
  CheckHistory(state.m_View.m_Save, rows.IsNull(0, 9) ? std::nullopt : std::optional(rows.Bytes(0, 9)));
  state.m_EndOfIds = rows.Integer(0, 3);
  state.m_Sum = sto_SumOfHalves(rows.Text(0, 4), rows.Text(0, 5));
  state.m_HasIndexes = rows.Boolean(0, 6);
  if (named && !rows.IsNull(0, 7)) state.m_Named = Copy(rows.Bytes(0, 7));
  m_KnownSave = state.m_View.m_Save;
  m_KnownToken = Copy(rows.Bytes(0, 8));
  return state;
}

void sto_PostgresLink::ReadRows(sto_RowTable table, std::span<std::int64_t const> keys,
                                sto_ServerView const& view, sto_RowSink& sink) {
  if (keys.empty()) return;
  std::string const sql =
      std::string("SELECT key, draft, data FROM kvl.read_") + NameOf(table) + "($1, $2, $3, $4, $5)";
  sto_PostgresRows const rows = m_Connection.Read(sql, Seen(view).Integers(keys));
  for (int i = 0; i < rows.Count(); ++i)
    if (!sink.Take(rows.Integer(i, 0), rows.Integer(i, 1), rows.Bytes(i, 2))) return;
}

void sto_PostgresLink::ScanRows(sto_RowTable table, std::int64_t first, std::int64_t last, std::size_t limit,
                                sto_ServerView const& view, sto_RowSink& sink) {
  std::string const sql =
      std::string("SELECT key, draft, data FROM kvl.scan_") + NameOf(table) + "($1, $2, $3, $4, $5, $6, $7)";
  constexpr std::size_t Most = 4096; // of which one answer is made
  while (first <= last && limit > 0) {
    std::size_t const wanted = std::min(limit, Most);
    sto_PostgresRows const rows = m_Connection.Read(
        sql, Seen(view).Integer(first).Integer(last).Integer(static_cast<std::int64_t>(wanted)));
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
  std::string const sql =
      std::string("SELECT key FROM kvl.keys_of_") + NameOf(table) + "($1, $2, $3, $4, $5, $6)";
  sto_PostgresRows const rows = m_Connection.Read(sql, Seen(view).Integer(first).Integer(last));
  std::vector<std::int64_t> keys;
  keys.reserve(static_cast<std::size_t>(rows.Count()));
  for (int i = 0; i < rows.Count(); ++i) keys.push_back(rows.Integer(i, 0));
  return keys;
}

std::vector<std::optional<sto_Bytes>> sto_PostgresLink::ReadNamed(std::span<std::string const> names,
                                                                  sto_ServerView const& view) {
  std::vector<std::optional<sto_ByteView>> keys;
  for (std::string const& name : names) keys.emplace_back(sto_AsBytes(name));
  sto_PostgresRows const rows = m_Connection.Read(
      "SELECT place, data FROM kvl.read_named($1, $2, $3, $4, $5)", Seen(view).ManyBytes(keys));
  std::vector<std::optional<sto_Bytes>> found(names.size());
  for (int i = 0; i < rows.Count(); ++i)
    found[static_cast<std::size_t>(rows.Integer(i, 0) - 1)] = Copy(rows.Bytes(i, 1));
  return found;
}

std::vector<sto_NamedRow> sto_PostgresLink::ScanNamed(sto_NameRange const& range, std::size_t limit,
                                                      sto_ServerView const& view) {
  auto const most = static_cast<std::int64_t>(
      std::min<std::size_t>(limit, static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max())));
  sto_PostgresRows const rows = m_Connection.Read(
      "SELECT name, data FROM kvl.scan_named($1, $2, $3, $4, $5, $6, $7)",
      Seen(view).Bytes(sto_AsBytes(range.m_First)).Bytes(sto_AsBytes(range.m_End)).Integer(most));
  std::vector<sto_NamedRow> found;
  found.reserve(static_cast<std::size_t>(rows.Count()));
  for (int i = 0; i < rows.Count(); ++i) found.push_back({rows.Text(i, 0), Copy(rows.Bytes(i, 1))});
  return found;
}

std::vector<sto_SaveEntry> sto_PostgresLink::Saves(std::int64_t first) {
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT save_no, at, program, note, next_object_id, changed FROM kvl.saves_from($1, $2)",
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
      "SELECT kvl.take_ids($1, $2, $3, $4)",
      sto_PostgresParameters().Integer(m_Store).Integer(first).Integer(count).Text(m_Wait));
  return rows.Integer(0, 0) - count;
}

void sto_PostgresLink::GiveBackIds(std::int64_t first, std::int64_t end) noexcept {
  try {
    m_Connection.Execute("SELECT kvl.give_back_ids($1, $2, $3, $4)",
                         sto_PostgresParameters().Integer(m_Store).Integer(first).Integer(end).Text(m_Wait));
  } catch (...) { // they are lost, which does no harm
  }
}

// --- saving

sto_ServerDraft sto_PostgresLink::OpenDraft() {
  std::random_device random;
  sto_ServerDraft draft;
  for (std::uint64_t& part : draft.m_Token) part = std::uint64_t{random()} << 32 | random();
  sto_PostgresRows const rows =
      m_Connection.Execute("SELECT kvl.open_draft($1, $2, $3)",
                           sto_PostgresParameters().Integer(m_Store).Bytes(TokenOf(draft)).Text(m_Wait));
  draft.m_Number = rows.Integer(0, 0);
  return draft;
}

void sto_PostgresLink::BeginSending(sto_ServerDraft const& draft) {
  if (m_Sending == draft.m_Number) {
    if (m_Connection.IsInTransaction()) return;
    sto_Raise(sto_ErrorKind::Unavailable, Name() + ": The connection has broken while a save was sent.");
  }
  m_Connection.Rollback();
  ForgetSent();
  m_Connection.Queue("BEGIN");
  m_Sending = draft.m_Number;
  m_Connection.Queue("SELECT set_config('lock_timeout', $1, true), "
                     "set_config('idle_in_transaction_session_timeout', '60s', true), "
                     "pg_advisory_xact_lock(kvl.sending($2, $3))",
                     sto_PostgresParameters().Text(m_Wait).Integer(m_Store).Integer(draft.m_Number));
}

void sto_PostgresLink::ForgetSent() noexcept {
  m_Sending = 0;
  for (std::vector<std::int64_t>& keys : m_SentKeys) keys.clear();
  m_SentNames.clear();
}

void sto_PostgresLink::Send(sto_ServerDraft const& draft, std::span<sto_NumberedChange const> rows) {
  BeginSending(draft);
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
    std::string const sql = std::string("SELECT kvl.send_") + NameOf(table) + "($1, $2, $3, $4)";
    m_Connection.Queue(
        sql.c_str(),
        sto_PostgresParameters().Integer(m_Store).Integer(draft.m_Number).Integers(keys).ManyBytes(data));
  }
}

void sto_PostgresLink::SendNamed(sto_ServerDraft const& draft, std::span<sto_NamedChange const> rows) {
  BeginSending(draft);
  std::vector<std::optional<sto_ByteView>> names, data;
  for (sto_NamedChange const& row : rows) {
    names.emplace_back(sto_AsBytes(row.m_Name));
    m_SentNames.emplace_back(row.m_Name);
    data.push_back(row.m_Data);
  }
  m_Connection.Queue(
      "SELECT kvl.send_named($1, $2, $3, $4)",
      sto_PostgresParameters().Integer(m_Store).Integer(draft.m_Number).ManyBytes(names).ManyBytes(data));
}

std::string sto_PostgresLink::CommitText(sto_ServerSave const& save) const {
  std::vector<std::int64_t> units, groups, heads;
  std::string kinds, opens;
  auto const append = [](std::string& list, std::string const& element) {
    list += (list.empty() ? "" : ",") + element;
  };
  for (sto_ServerSave::Seen const& seen : save.m_Seen) {
    heads.push_back(seen.m_Base.m_Head);
    append(opens, '"' + ArrayText(seen.m_Base.m_Open) + '"');
    for (sto_ConflictUnit const& unit : seen.m_Units) {
      append(kinds, {static_cast<char>(unit.m_Kind)});
      units.push_back(unit.m_Number);
      groups.push_back(static_cast<std::int64_t>(heads.size()));
    }
  }
  sto_Bytes changed;
  sto_ChangeList list{save.m_Entry.m_Objects, save.m_Entry.m_Lists, save.m_Entry.m_Roots};
  sto_SortChanges(list);
  sto_EncodeChanges(list, changed);
  sto_PostgresCall commit("kvl.commit_draft"), collect("kvl.collect");
  commit.Integer(m_Store)
      .Integer(save.m_Draft.m_Number)
      .Bytes(TokenOf(save.m_Draft))
      .Integer(save.m_BaseSave)
      .Boolean(save.m_NeedsAll)
      .Array(kinds)
      .Array(units)
      .Array(groups)
      .Array(heads)
      .Array(opens)
      .Sum(save.m_Added)
      .Sum(save.m_Removed)
      .Boolean(save.m_HasIndexes)
      .Integer(save.m_Entry.m_Milliseconds)
      .Bytes(sto_AsBytes(save.m_Entry.m_Program))
      .Bytes(sto_AsBytes(save.m_Entry.m_Note))
      .Integer(save.m_Entry.m_NextObjectId)
      .Bytes(changed);
  collect.Integer(m_Store).Bytes(m_Session);
  for (std::vector<std::int64_t> const& keys : m_SentKeys) collect.Array(keys);
  collect.Array(m_SentNames);
  return "SELECT " + commit.Text() + "; SELECT " + collect.Text() + "; COMMIT";
}

sto_ServerOutcome sto_PostgresLink::Commit(sto_ServerSave const& save) {
  BeginSending(save.m_Draft);
  sto_ServerOutcome outcome;
  std::string conflicts;
  std::optional<sto_PostgresRows> const rows = m_Connection.ExecuteAll(CommitText(save), "KVL03", &conflicts);
  ForgetSent();
  if (rows) {
    outcome.m_Save = rows->Number(0, 0);
    m_KnownSave = outcome.m_Save;
    m_KnownToken = Copy(TokenOf(save.m_Draft));
    return outcome;
  }
  m_Connection.Rollback();
  outcome.m_Conflicts = ConflictsOf(conflicts);
  return outcome;
}

std::int64_t sto_PostgresLink::GiveUp(sto_ServerDraft const& draft) {
  m_Connection.Rollback();
  ForgetSent();
  sto_PostgresRows const rows = m_Connection.Execute(
      "SELECT kvl.give_up($1, $2, $3, $4)",
      sto_PostgresParameters().Integer(m_Store).Integer(draft.m_Number).Bytes(TokenOf(draft)).Text(m_Wait));
  return rows.Integer(0, 0);
}

std::int64_t sto_PostgresLink::SizeBytes() {
  sto_PostgresRows const rows =
      m_Connection.Execute("SELECT kvl.size_of($1)", sto_PostgresParameters().Integer(m_Store));
  return rows.Integer(0, 0);
}
