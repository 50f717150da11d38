#include "store/server/sto_ServerNamed.h"

#include <algorithm>
#include <utility>

void sto_ServerNamed::Begin(sto_ServerView const& view) noexcept {
  Drop();
  m_View = &view;
  m_ReadName.clear();
}

void sto_ServerNamed::SetRead(std::string name, std::optional<sto_Bytes> row) {
  m_ReadName = std::move(name);
  m_ReadRow = std::move(row);
}

std::optional<sto_Bytes> sto_ServerNamed::Read(std::string const& name) {
  if (auto const* const changed = m_Changed.Find(name)) return *changed;
  if (name == m_ReadName) return m_ReadRow;
  SetRead(name, m_Link.ReadNamed({&name, 1}, *m_View).front());
  return m_ReadRow;
}

bool sto_ServerNamed::HasChanged(std::string const& name) {
  auto const* const changed = m_Changed.Find(name);
  if (changed == nullptr) return false;
  return m_Link.ReadNamed({&name, 1}, *m_View).front() != *changed;
}

std::vector<sto_NamedRow> sto_ServerNamed::Scan(sto_NameRange const& range, std::size_t limit) {
  auto changed = m_Changed.All().lower_bound(range.m_First);
  auto const end = range.m_End.empty() ? m_Changed.All().end() : m_Changed.All().lower_bound(range.m_End);
  if (changed == end) return m_Link.ScanNamed(range, limit, *m_View);
  // Each removed row takes the place of one that is asked for.
  auto const removed = static_cast<std::size_t>(
      std::count_if(changed, end, [](auto const& each) { return !each.second.has_value(); }));
  std::size_t const most =
      limit > std::numeric_limits<std::size_t>::max() - removed ? limit : limit + removed;
  std::vector<sto_NamedRow> rows;
  auto const takeChanged = [&](std::string const* before) {
    for (; changed != end && (before == nullptr || changed->first < *before); ++changed)
      if (changed->second) rows.push_back({changed->first, *changed->second});
  };
  std::vector<sto_NamedRow> stored = m_Link.ScanNamed(range, most, *m_View);
  for (sto_NamedRow& row : stored) {
    takeChanged(&row.m_Name);
    if (m_Changed.Find(row.m_Name) == nullptr) rows.push_back(std::move(row));
  }
  takeChanged(nullptr);
  if (rows.size() > limit) rows.resize(limit);
  return rows;
}

sto_ServerNamed::Changes sto_ServerNamed::FindChanges() {
  Changes changes;
  std::vector<std::string> names;
  for (auto const& [name, row] : m_Changed.All()) names.push_back(name);
  if (names.empty()) return changes;
  std::vector<std::optional<sto_Bytes>> const before = m_Link.ReadNamed(names, *m_View);
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::optional<sto_Bytes> const& now = *m_Changed.Find(names[i]);
    if (before[i] == now) continue;
    if (before[i]) changes.m_Removed += m_Rows.TermOf(names[i], *before[i]);
    if (now) changes.m_Added += m_Rows.TermOf(names[i], *now);
    changes.m_Names.push_back(std::move(names[i]));
  }
  return changes;
}

bool sto_ServerNamed::Merge(std::vector<std::string> const& names, sto_ServerView const& newest,
                            Changes& changes) {
  if (names.empty()) return true;
  std::vector<std::optional<sto_Bytes>> const before = m_Link.ReadNamed(names, *m_View);
  std::vector<std::optional<sto_Bytes>> const theirs = m_Link.ReadNamed(names, newest);
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::optional<sto_Bytes> const& ours = *m_Changed.Find(names[i]);
    if (theirs[i] == before[i]) continue; // another name of the same unit has changed
    if (theirs[i] != ours) return false;
    if (before[i]) changes.m_Removed -= m_Rows.TermOf(names[i], *before[i]);
    if (ours) changes.m_Added -= m_Rows.TermOf(names[i], *ours);
    std::erase(changes.m_Names, names[i]);
  }
  return true;
}

void sto_ServerNamed::ForEachRow(Changes const& changes,
                                 std::function<void(sto_NamedChange const&)> const& send) const {
  for (std::string const& name : changes.m_Names) {
    auto const& row = *m_Changed.Find(name);
    send({name, row ? std::optional<sto_ByteView>(*row) : std::nullopt});
  }
}
