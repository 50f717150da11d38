#include "store/sqlite/sto_SqliteRoots.h"

#include <algorithm>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/sqlite/sto_SqliteColumns.h"

namespace {

/// So many changed names are kept in memory, and those of one save.
constexpr std::size_t MaxPending = 4096;

} // namespace

sto_SqliteRoots::sto_SqliteRoots(sto_SqliteConnection& connection, sto_SqliteChanges& changes)
    : m_Connection(connection), m_Noted(changes),
      m_FindOld(connection, "SELECT object_id, name FROM root WHERE name = ?"),
      m_From(connection, "SELECT name, object_id, class_id, checksum FROM root WHERE name >= ? "
                         "ORDER BY name LIMIT 1"),
      m_Before(connection, "SELECT name, object_id, class_id, checksum FROM root WHERE name < ? "
                           "ORDER BY name DESC LIMIT 1"),
      m_Set(connection, "REPLACE INTO root(name, object_id, class_id, checksum) VALUES(?, ?, ?, ?)"),
      m_Remove(connection, "DELETE FROM root WHERE name = ?") {}

void sto_SqliteRoots::Use(std::int64_t formatVersion, sto_ByteView uuid) {
  m_Checksum.reset();
  if (formatVersion > sto_Format::VersionWithoutShapes) m_Checksum.emplace(uuid, "root");
}

void sto_SqliteRoots::Drop() noexcept {
  RemoveMark();
  m_Pending.clear();
}

void sto_SqliteRoots::Flush() {
  Found found;
  bool isGap = false; // the last search has found nothing: the table has no name up to m_Next
  for (auto const& [name, target] : m_Pending) { // ascending
    if (!isGap || (found.m_Next && name >= *found.m_Next)) found = Search(name);
    if (found.m_Target != target) Write(name, found.m_Target, target);
    isGap = !found.m_Target;
  }
  Drop(); // last: a commit that fails may be tried again
}

void sto_SqliteRoots::Write(std::string_view name, std::optional<sto_RootTarget> const& before,
                            std::optional<sto_RootTarget> const& target) {
  m_Noted.Root(name);
  if (before) m_Noted.RemoveRoot(name, before->m_Id, before->m_ClassId);
  if (target) m_Noted.AddRoot(name, target->m_Id, target->m_ClassId);
  if (target)
    sto_SqliteStatement::Use(m_Set)
        .Bind(1, name)
        .Bind(2, target->m_Id)
        .Bind(3, std::int64_t{target->m_ClassId})
        .Bind(4, ChecksumOf(name, *target))
        .Step();
  else
    sto_SqliteStatement::Use(m_Remove).Bind(1, name).Step();
}

std::int64_t sto_SqliteRoots::ChecksumOf(std::string_view name, sto_RootTarget const& target) {
  return m_Checksum->Begin().Text(name).Integer(target.m_Id).Integer(target.m_ClassId).Value();
}

sto_SqliteRoots::Row sto_SqliteRoots::RowOf(sto_SqliteStatement::Use const& use) {
  m_Checksum->Begin();
  for (int column = 0; column < 3; ++column) sto_AddColumn(*m_Checksum, use, column);
  Row row{use.Text(0), {use.Integer(1), static_cast<unsigned int>(use.Integer(2))}};
  if (use.Integer(3) != m_Checksum->Value())
    sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": Table root is damaged: the row of root " +
                                          row.m_Name + " does not fit its checksum.");
  return row;
}

sto_SqliteRoots::Found sto_SqliteRoots::Search(std::string_view name) {
  Found found;
  if (sto_SqliteStatement::Use use(m_From); use.Bind(1, name).Step()) {
    Row row = RowOf(use);
    if (row.m_Name < name) RaiseAstray(name, row.m_Name);
    if (row.m_Name == name) {
      found.m_Target = row.m_Target;
      return found;
    }
    found.m_Next = std::move(row.m_Name);
  }
  CheckBefore(name);
  return found;
}

void sto_SqliteRoots::CheckBefore(std::string_view name) {
  if (sto_SqliteStatement::Use use(m_Before); use.Bind(1, name).Step())
    if (Row const row = RowOf(use); row.m_Name >= name) RaiseAstray(name, row.m_Name);
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

std::optional<sto_RootTarget> sto_SqliteRoots::Find(std::string_view name) {
  if (auto const pending = m_Pending.find(name); pending != m_Pending.end()) return pending->second;
  return m_Checksum ? Search(name).m_Target : FindOld(name);
}

std::optional<sto_RootTarget> sto_SqliteRoots::FindOld(std::string_view name) {
  sto_SqliteStatement::Use use(m_FindOld);
  if (!use.Bind(1, name).Step()) return std::nullopt;
  if (use.Text(1) != name) RaiseAstray(name, use.Text(1));
  return sto_RootTarget{use.Integer(0), 0};
}

void sto_SqliteRoots::RaiseAstray(std::string_view name, std::string const& found) const {
  // In a damaged tree, whose rows are out of order, a search may find another row.
  sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": Table root is damaged: looking for root " +
                                        std::string(name) + " finds root " + found + ".");
}

void sto_SqliteRoots::Change(std::string_view name, std::optional<sto_RootTarget> target) {
  if (!m_HasMark && m_Pending.size() >= MaxPending) Flush();
  auto const found = m_Pending.lower_bound(name);
  bool const isNew = found == m_Pending.end() || found->first != name;
  if (m_HasMark) m_Changes.push_back({found, isNew, isNew ? std::nullopt : found->second});
  if (!isNew) {
    found->second = target;
    return;
  }
  try {
    auto const added = m_Pending.emplace_hint(found, name, target);
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
  std::optional<sto_RootTarget> const target = Find(from);
  if (!target) return false;
  Change(to, target);
  Change(from, std::nullopt);
  return true;
}

std::vector<sto_RootRow> sto_SqliteRoots::All() {
  std::vector<sto_RootRow> roots;
  {
    sto_SqliteStatement statement(m_Connection, m_Checksum
                                                    ? "SELECT name, object_id, class_id, checksum FROM root"
                                                    : "SELECT name, object_id FROM root");
    sto_SqliteStatement::Use use(statement);
    for (use.AllowAllRows(); use.Step();) {
      Row row = m_Checksum ? RowOf(use) : Row{use.Text(0), {use.Integer(1), 0}};
      if (!m_Pending.contains(row.m_Name))
        roots.push_back({std::move(row.m_Name), row.m_Target.m_Id, row.m_Target.m_ClassId});
    }
  }
  for (auto const& [name, target] : m_Pending)
    if (target) roots.push_back({name, target->m_Id, target->m_ClassId});
  std::ranges::sort(roots, {}, &sto_RootRow::m_Name);
  return roots;
}

std::vector<sto_RootRow> sto_SqliteRoots::StoredFrom(std::string_view prefix) {
  std::vector<sto_RootRow> roots;
  if (m_Checksum) CheckBefore(prefix);
  sto_SqliteStatement statement(
      m_Connection, m_Checksum
                        ? "SELECT name, object_id, class_id, checksum FROM root WHERE name >= ? ORDER BY name"
                        : "SELECT name, object_id FROM root WHERE name >= ? ORDER BY name");
  sto_SqliteStatement::Use use(statement);
  std::string before(prefix);
  for (use.Bind(1, prefix).AllowAllRows(); use.Step();) {
    Row row = m_Checksum ? RowOf(use) : Row{use.Text(0), {use.Integer(1), 0}};
    if (row.m_Name < before) RaiseAstray(before, row.m_Name);
    if (!row.m_Name.starts_with(prefix)) break; // names are ascending: no later one does
    before = row.m_Name;
    if (!m_Pending.contains(row.m_Name))
      roots.push_back({std::move(row.m_Name), row.m_Target.m_Id, row.m_Target.m_ClassId});
  }
  return roots;
}

std::vector<sto_RootRow> sto_SqliteRoots::From(std::string_view prefix) {
  std::vector<sto_RootRow> roots = StoredFrom(prefix);
  for (auto at = m_Pending.lower_bound(prefix); at != m_Pending.end() && at->first.starts_with(prefix); ++at)
    if (at->second) roots.push_back({at->first, at->second->m_Id, at->second->m_ClassId});
  std::ranges::sort(roots, {}, &sto_RootRow::m_Name);
  return roots;
}

bool sto_SqliteRoots::HasChanged(std::string_view name) {
  if (m_Noted.HasRoot(name)) return true;
  auto const pending = m_Pending.find(name);
  return pending != m_Pending.end() && pending->second != Search(name).m_Target;
}
