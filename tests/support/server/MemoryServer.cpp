#include "tests/support/server/MemoryServer.h"

#include <algorithm>
#include <stdexcept>

#include "store/base/sto_Exception.h"

namespace {

/// The version of a row that a view sees; null if there is none, or it is removed.
sto_Bytes const* Seen(MemoryServer::Versions const& versions, sto_ServerView const& view,
                      std::int64_t* draft = nullptr) {
  for (auto version = versions.rbegin(); version != versions.rend(); ++version)
    if (view.Sees(version->first)) {
      if (draft != nullptr) *draft = version->first;
      return version->second ? &*version->second : nullptr;
    }
  return nullptr;
}

std::optional<sto_Bytes> CopyOf(std::optional<sto_ByteView> const& data) {
  if (!data) return std::nullopt;
  return sto_Bytes(data->begin(), data->end());
}

} // namespace

MemoryLink::~MemoryLink() {
  std::scoped_lock const lock(m_Server->m_Mutex);
  m_Server->m_Pins.erase(this);
}

sto_ServerView MemoryLink::NewestView() const {
  sto_ServerView view;
  view.m_Head = m_Server->m_Head;
  if (m_Server->m_Trap == MemoryServer::Trap::ReadsOpenDrafts) return view;
  for (std::int64_t const number : m_Server->m_Uncommitted)
    if (number <= m_Server->m_Head) view.m_Open.push_back(number);
  return view;
}

void MemoryLink::Collect(MemoryServer::Draft const& draft) {
  auto const collect = [this](MemoryServer::Versions& versions) {
    // A version goes if each reader, and whoever comes, sees a later one.
    sto_ServerView const newest = NewestView();
    auto const isReplaced = [&](std::int64_t number) {
      auto const seesLater = [&](sto_ServerView const& view) {
        for (auto later = versions.upper_bound(number); later != versions.end(); ++later)
          if (view.Sees(later->first)) return true;
        return false;
      };
      return seesLater(newest) &&
             std::ranges::all_of(m_Server->m_Pins, [&](auto const& pin) { return seesLater(pin.second); });
    };
    while (!versions.empty() && isReplaced(versions.begin()->first)) versions.erase(versions.begin());
  };
  for (MemoryServer::Key const& key : draft.m_Rows) collect(m_Server->m_Rows[key]);
  for (std::string const& name : draft.m_Named) collect(m_Server->m_Named[name]);
}

sto_ServerState MemoryLink::ReadState(std::optional<std::string_view> named) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  sto_ServerState state;
  state.m_View = NewestView();
  m_Server->m_Pins[this] = state.m_View;
  state.m_View.m_Save = static_cast<std::int64_t>(m_Server->m_Saves.size());
  state.m_EndOfIds = m_Server->m_EndOfIds;
  state.m_Sum = m_Server->m_Sum;
  state.m_HasIndexes = m_Server->m_HasIndexes;
  if (!named) return state;
  auto const found = m_Server->m_Named.find(*named);
  sto_Bytes const* const row = found == m_Server->m_Named.end() ? nullptr : Seen(found->second, state.m_View);
  if (row != nullptr) state.m_Named = *row;
  return state;
}

void MemoryLink::ReadRows(sto_RowTable table, std::span<std::int64_t const> keys, sto_ServerView const& view,
                          sto_RowSink& sink) {
  for (std::int64_t const key : keys) {
    sto_Bytes row;
    std::int64_t draft = 0;
    {
      std::scoped_lock const lock(m_Server->m_Mutex);
      auto const found = m_Server->m_Rows.find({static_cast<char>(table), key});
      if (found == m_Server->m_Rows.end()) continue;
      sto_Bytes const* const seen = Seen(found->second, view, &draft);
      if (seen == nullptr) continue;
      row = *seen;
    }
    if (!sink.Take(key, draft, row)) return;
  }
}

void MemoryLink::ScanRows(sto_RowTable table, std::int64_t first, std::int64_t last, std::size_t limit,
                          sto_ServerView const& view, sto_RowSink& sink) {
  std::vector<std::tuple<std::int64_t, std::int64_t, sto_Bytes>> rows;
  {
    std::scoped_lock const lock(m_Server->m_Mutex);
    for (auto at = m_Server->m_Rows.lower_bound({static_cast<char>(table), first});
         at != m_Server->m_Rows.end() && at->first <= MemoryServer::Key{static_cast<char>(table), last} &&
         rows.size() < limit;
         ++at) {
      std::int64_t draft = 0;
      if (sto_Bytes const* const seen = Seen(at->second, view, &draft))
        rows.emplace_back(at->first.second, draft, *seen);
    }
  }
  for (auto const& [key, draft, row] : rows)
    if (!sink.Take(key, draft, row)) return;
}

std::vector<std::int64_t> MemoryLink::ScanKeys(sto_RowTable table, std::int64_t first, std::int64_t last,
                                               sto_ServerView const& view) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  std::vector<std::int64_t> keys;
  for (auto at = m_Server->m_Rows.lower_bound({static_cast<char>(table), first});
       at != m_Server->m_Rows.end() && at->first <= MemoryServer::Key{static_cast<char>(table), last}; ++at)
    if (Seen(at->second, view) != nullptr) keys.push_back(at->first.second);
  return keys;
}

std::vector<std::optional<sto_Bytes>> MemoryLink::ReadNamed(std::span<std::string const> names,
                                                            sto_ServerView const& view) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  std::vector<std::optional<sto_Bytes>> rows;
  for (std::string const& name : names) {
    auto const found = m_Server->m_Named.find(name);
    sto_Bytes const* const seen = found == m_Server->m_Named.end() ? nullptr : Seen(found->second, view);
    rows.push_back(seen == nullptr ? std::nullopt : std::optional(*seen));
  }
  return rows;
}

std::vector<sto_NamedRow> MemoryLink::ScanNamed(sto_NameRange const& range, std::size_t limit,
                                                sto_ServerView const& view) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  std::vector<sto_NamedRow> rows;
  for (auto at = m_Server->m_Named.lower_bound(range.m_First);
       at != m_Server->m_Named.end() && (range.m_End.empty() || at->first < range.m_End) &&
       rows.size() < limit;
       ++at)
    if (sto_Bytes const* const seen = Seen(at->second, view)) rows.push_back({at->first, *seen});
  return rows;
}

std::vector<sto_SaveEntry> MemoryLink::Saves(std::int64_t first) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  std::vector<sto_SaveEntry> entries;
  for (sto_SaveEntry const& entry : m_Server->m_Saves)
    if (entry.m_Number >= first) entries.push_back(entry);
  return entries;
}

std::int64_t MemoryLink::TakeIds(std::int64_t first, std::int64_t count) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  first = std::max({first, m_Server->m_EndOfTakenIds, m_Server->m_EndOfIds});
  m_Server->m_EndOfTakenIds = first + count;
  return first;
}

void MemoryLink::GiveBackIds(std::int64_t first, std::int64_t end) noexcept {
  std::scoped_lock const lock(m_Server->m_Mutex);
  if (m_Server->m_EndOfTakenIds == end) m_Server->m_EndOfTakenIds = first;
}

sto_ServerDraft MemoryLink::OpenDraft() {
  std::scoped_lock const lock(m_Server->m_Mutex);
  std::int64_t const number = ++m_Server->m_LastDraft;
  sto_ServerDraft draft{number, {m_Server->m_Token(), m_Server->m_Token()}};
  m_Server->m_Uncommitted.insert(number);
  m_Server->m_Drafts[draft.m_Number].m_Token = draft.m_Token;
  return draft;
}

void MemoryLink::Send(sto_ServerDraft const& draft, std::span<sto_NumberedChange const> rows) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  for (sto_NumberedChange const& row : rows) {
    MemoryServer::Key const key{static_cast<char>(row.m_Table), row.m_Key};
    m_Server->m_Rows[key][draft.m_Number] = CopyOf(row.m_Data);
    m_Server->m_Drafts[draft.m_Number].m_Rows.push_back(key);
  }
}

void MemoryLink::SendNamed(sto_ServerDraft const& draft, std::span<sto_NamedChange const> rows) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  for (sto_NamedChange const& row : rows) {
    m_Server->m_Named[std::string(row.m_Name)][draft.m_Number] = CopyOf(row.m_Data);
    m_Server->m_Drafts[draft.m_Number].m_Named.emplace_back(row.m_Name);
  }
}

void MemoryLink::DropRows(std::int64_t number) {
  MemoryServer::Draft& draft = m_Server->m_Drafts[number];
  for (MemoryServer::Key const& key : draft.m_Rows) m_Server->m_Rows[key].erase(number);
  for (std::string const& name : draft.m_Named) m_Server->m_Named[name].erase(number);
  draft.m_Rows.clear();
  draft.m_Named.clear();
}

sto_ServerOutcome MemoryLink::Commit(sto_ServerSave const& save) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  MemoryServer& server = *m_Server;
  MemoryServer::Draft& draft = server.m_Drafts[save.m_Draft.m_Number];
  bool const isGivenUp = draft.m_State != 'p' && server.m_Trap != MemoryServer::Trap::CommitsWhatWasGivenUp;
  if (isGivenUp || draft.m_Token != save.m_Draft.m_Token)
    sto_Raise(sto_ErrorKind::Unavailable, m_Name + ": The save was given up, because its lease is over.");
  for (sto_ServerSave::Seen const& seen : save.m_Seen)
    if (save.m_Draft.m_Number <= seen.m_Base.m_Head)
      throw std::logic_error("a draft is older than what it has seen");
  sto_ServerOutcome outcome;
  auto const isSeen = [&](sto_ServerView const& view, sto_ConflictUnit const& unit) {
    auto const found = server.m_Changes.find(unit);
    if (server.m_Trap == MemoryServer::Trap::ForgetsOpenDrafts)
      return found == server.m_Changes.end() || found->second <= view.m_Head;
    return found == server.m_Changes.end() || view.Sees(found->second);
  };
  sto_ConflictUnit const all{sto_ConflictUnit::Kind::All, 0};
  for (sto_ServerSave::Seen const& seen : save.m_Seen)
    for (sto_ConflictUnit const& unit : seen.m_Units)
      if (!isSeen(seen.m_Base, unit)) outcome.m_Conflicts.push_back(unit);
  bool const isAlone = save.m_BaseSave == static_cast<std::int64_t>(server.m_Saves.size());
  if (!isSeen(save.m_Seen.front().m_Base, all) || (save.m_NeedsAll && !isAlone))
    outcome.m_Conflicts.push_back(all);
  if (!outcome.m_Conflicts.empty()) {
    DropRows(save.m_Draft.m_Number);
    return outcome;
  }
  for (sto_ServerSave::Seen const& seen : save.m_Seen)
    for (sto_ConflictUnit const& unit : seen.m_Units) server.m_Changes[unit] = save.m_Draft.m_Number;
  if (save.m_NeedsAll) server.m_Changes[all] = save.m_Draft.m_Number;
  server.m_Head = std::max(server.m_Head, save.m_Draft.m_Number);
  server.m_Sum += save.m_Added;
  server.m_Sum -= save.m_Removed;
  server.m_EndOfIds = std::max(server.m_EndOfIds, save.m_Entry.m_NextObjectId);
  server.m_HasIndexes = save.m_NeedsAll ? save.m_HasIndexes : server.m_HasIndexes;
  draft.m_State = 'c';
  server.m_Uncommitted.erase(save.m_Draft.m_Number);
  sto_SaveEntry entry = save.m_Entry;
  outcome.m_Save = entry.m_Number = static_cast<std::int64_t>(server.m_Saves.size()) + 1;
  entry.m_NextObjectId = server.m_EndOfIds;
  draft.m_Save = entry.m_Number;
  m_Server->m_Pins[this] = NewestView();
  Collect(draft);
  draft.m_Rows.clear();
  draft.m_Named.clear();
  server.m_Saves.push_back(std::move(entry));
  return outcome;
}

std::int64_t MemoryLink::GiveUp(sto_ServerDraft const& draft) {
  std::scoped_lock const lock(m_Server->m_Mutex);
  MemoryServer::Draft& stored = m_Server->m_Drafts[draft.m_Number];
  if (stored.m_State == 'c') return stored.m_Save;
  stored.m_State = 'a';
  DropRows(draft.m_Number);
  return 0;
}

std::int64_t MemoryLink::SizeBytes() {
  std::scoped_lock const lock(m_Server->m_Mutex);
  std::size_t bytes = 0;
  for (auto const& [key, versions] : m_Server->m_Rows)
    for (auto const& [draft, row] : versions) bytes += row ? row->size() : 0;
  return static_cast<std::int64_t>(bytes);
}
