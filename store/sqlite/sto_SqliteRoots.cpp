#include "store/sqlite/sto_SqliteRoots.h"

#include <algorithm>

#include "store/base/sto_Exception.h"

namespace {

/// So many changed names are kept in memory, and those of one save.
constexpr std::size_t MaxPending = 4096;

} // namespace

sto_SqliteRoots::sto_SqliteRoots(sto_SqliteConnection& connection)
    : m_Connection(connection), m_Find(connection, "SELECT object_id, name FROM root WHERE name = ?"),
      m_Set(connection, "INSERT INTO root(name, object_id) VALUES(?, ?) ON CONFLICT(name) DO UPDATE "
                        "SET object_id = excluded.object_id WHERE object_id <> excluded.object_id"),
      m_Remove(connection, "DELETE FROM root WHERE name = ?") {}

void sto_SqliteRoots::Drop() noexcept {
  RemoveMark();
  m_Pending.clear();
}

void sto_SqliteRoots::Flush() {
  for (auto const& [name, id] : m_Pending)
    if (id)
      sto_SqliteStatement::Use(m_Set).Bind(1, std::string_view(name)).Bind(2, *id).Step();
    else
      sto_SqliteStatement::Use(m_Remove).Bind(1, std::string_view(name)).Step();
  Drop(); // last: a commit that fails may be tried again
}

void sto_SqliteRoots::SetMark() {
  if (m_Pending.size() >= MaxPending) Flush();
  m_HasMark = true;
}

void sto_SqliteRoots::RemoveMark() noexcept {
  m_HasMark = false;
  m_Changes.clear();
}

void sto_SqliteRoots::GoBackToMark() noexcept {
  for (; !m_Changes.empty(); m_Changes.pop_back())
    if (Noted const& change = m_Changes.back(); change.m_IsAdded)
      m_Pending.erase(change.m_At);
    else
      change.m_At->second = change.m_Before;
  m_HasMark = false;
}

std::optional<std::int64_t> sto_SqliteRoots::Find(std::string_view name) {
  if (auto const pending = m_Pending.find(name); pending != m_Pending.end()) return pending->second;
  sto_SqliteStatement::Use use(m_Find);
  if (!use.Bind(1, name).Step()) return std::nullopt;
  // In a damaged tree, whose rows are out of order, a search may find another row.
  if (use.Text(1) != name)
    sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": Table root is damaged: looking for root " +
                                          std::string(name) + " finds root " + use.Text(1) + ".");
  return use.Integer(0);
}

void sto_SqliteRoots::Change(std::string_view name, std::optional<std::int64_t> id) {
  if (!m_HasMark && m_Pending.size() >= MaxPending) Flush();
  auto const found = m_Pending.lower_bound(name);
  bool const isNew = found == m_Pending.end() || found->first != name;
  if (m_HasMark) m_Changes.push_back({found, isNew, isNew ? std::nullopt : found->second});
  if (!isNew) {
    found->second = id;
    return;
  }
  try {
    auto const added = m_Pending.emplace_hint(found, name, id);
    if (m_HasMark) m_Changes.back().m_At = added;
  } catch (...) {
    if (m_HasMark) m_Changes.pop_back();
    throw;
  }
}

bool sto_SqliteRoots::Remove(std::string_view name) {
  bool const isThere = Find(name).has_value();
  if (isThere) Change(name, std::nullopt);
  return isThere;
}

bool sto_SqliteRoots::Rename(std::string_view from, std::string_view to) {
  std::optional<std::int64_t> const id = Find(from);
  if (!id) return false;
  Change(to, id);
  Change(from, std::nullopt);
  return true;
}

std::vector<std::string> sto_SqliteRoots::Names() {
  std::vector<std::string> names;
  {
    sto_SqliteStatement statement(m_Connection, "SELECT name FROM root ORDER BY name");
    sto_SqliteStatement::Use use(statement);
    for (use.AllowAllRows(); use.Step();) {
      names.push_back(use.Text(0));
      if (m_Pending.contains(names.back())) names.pop_back();
    }
  }
  for (auto const& [name, id] : m_Pending)
    if (id) names.push_back(name);
  std::ranges::sort(names);
  return names;
}
