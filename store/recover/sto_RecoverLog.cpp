#include "store/recover/sto_RecoverLog.h"

#include "store/format/sto_ChangeList.h"

void sto_RecoverLog::ReadChanges() {
  if (m_IsRead) return;
  m_Objects.clear();
  m_Lists.clear();
  m_Roots.clear();
  for (auto const& [number, entry] : m_Entries) {
    sto_ChangeList changes;
    if (!sto_DecodeChanges(entry.m_Changed, changes)) continue;
    for (std::int64_t const id : changes.m_Objects) m_Objects[id] = number;
    for (std::int64_t const id : changes.m_Lists) m_Lists[id] = number;
    for (std::string const& name : changes.m_Roots) ++m_Roots[name];
  }
  m_IsRead = true;
}

bool sto_RecoverLog::IsNewest(std::int64_t id, std::int64_t save) {
  ReadChanges();
  if (!IsWhole() || save < 1 || save > Newest()) return false;
  auto const found = m_Objects.find(id);
  return found == m_Objects.end() || found->second <= save;
}

bool sto_RecoverLog::IsListUnchanged(std::int64_t id) {
  ReadChanges();
  return IsWhole() && Newest() > 0 && !m_Lists.contains(id);
}

bool sto_RecoverLog::IsRootUnchanged(std::string_view name) {
  ReadChanges();
  auto const found = m_Roots.find(std::string(name));
  return IsWhole() && found != m_Roots.end() && found->second == 1;
}
