#include "store/session/sto_StoredNotes.h"

void sto_StoredNotes::Load(sto_Driver& driver) {
  if (m_IsLoaded) return;
  Forget();
  for (sto_EnumeratorRow const& row : driver.Enumerators())
    m_Enumerators.try_emplace({row.m_On, row.m_Name}, row.m_Value);
  for (sto_NoteRow const& row : driver.Notes()) m_Notes.try_emplace({row.m_On, row.m_Name}, row.m_Text);
  m_IsLoaded = true;
}

void sto_StoredNotes::Forget() noexcept {
  m_IsLoaded = false;
  m_Enumerators.clear();
  m_Notes.clear();
}

std::optional<std::int64_t> sto_StoredNotes::ValueOf(sto_OnAttribute const& on,
                                                     std::string const& name) const {
  auto const found = m_Enumerators.find({on, name});
  if (found == m_Enumerators.end()) return std::nullopt;
  return found->second;
}

bool sto_StoredNotes::HasNote(sto_OnAttribute const& on, std::string const& name) const {
  return m_Notes.contains({on, name});
}

bool sto_StoredNotes::Add(sto_Driver& driver, sto_EnumeratorRow const& row) {
  if (!m_Enumerators.try_emplace({row.m_On, row.m_Name}, row.m_Value).second) return false;
  driver.AddEnumerator(row);
  return true;
}

bool sto_StoredNotes::Write(sto_Driver& driver, sto_NoteRow const& row) {
  auto const [place, isNew] = m_Notes.try_emplace({row.m_On, row.m_Name}, row.m_Text);
  if (!isNew && place->second == row.m_Text) return false;
  place->second = row.m_Text;
  driver.WriteNote(row);
  return true;
}
