#include "store/session/sto_Reach.h"

namespace {

/// Whether two addresses are both known and differ.
bool AreTwo(void const* one, void const* other) noexcept {
  return one != nullptr && other != nullptr && one != other;
}

} // namespace

void sto_Reach::BeginSave(std::int64_t number, std::string_view const* root) {
  m_Saves.push_back({root == nullptr ? std::string() : std::string(*root), root != nullptr});
  m_Save = number;
  m_Replaced.clear();
  m_Compared.clear();
  m_ComparesAll = false;
  m_OtherContent = 0;
}

void sto_Reach::UndoSave() noexcept {
  for (auto const& [visit, before] : m_Replaced) *visit = before;
  m_Replaced.clear();
  if (!m_Saves.empty()) m_Saves.back().m_HasRoot = false;
}

void sto_Reach::RenameRoot(std::string_view from, std::string_view to) {
  for (SaveOfTransaction& save : m_Saves)
    if (save.m_HasRoot && save.m_Root == from) save.m_Root = to;
}

void sto_Reach::RemoveRoot(std::string_view root) noexcept {
  for (SaveOfTransaction& save : m_Saves)
    if (save.m_Root == root) save.m_HasRoot = false;
}

void sto_Reach::Reset() noexcept {
  m_Saves.clear();
  m_Replaced.clear();
  m_Compared.clear();
}

sto_Reach::SaveOfTransaction const* sto_Reach::Find(std::int64_t save) const noexcept {
  std::int64_t const first = m_Save - static_cast<std::int64_t>(m_Saves.size()) + 1;
  return save < first || save > m_Save ? nullptr : &m_Saves[static_cast<std::size_t>(save - first)];
}

std::string const& sto_Reach::RootOf(std::int64_t save) const noexcept {
  static std::string const none;
  SaveOfTransaction const* const found = Find(save);
  return found == nullptr ? none : found->m_Root;
}

bool sto_Reach::WasUnderOtherRoot(sto_Visit const& before, Occurrence const& occurrence) const noexcept {
  SaveOfTransaction const* const earlier = Find(before.m_Save);
  SaveOfTransaction const& now = m_Saves.back();
  return earlier != nullptr && earlier->m_HasRoot && now.m_HasRoot && earlier->m_Root != now.m_Root &&
         AreTwo(before.m_Address, occurrence.m_Address);
}

sto_Reach::Meeting sto_Reach::Meet(sto_IdentityMap::Tie const& tie, Occurrence const& occurrence,
                                   bool isNew) {
  sto_Visit& visit = tie.Visit();
  Meeting meeting;
  if (visit.m_Save == m_Save) {
    bool const isFurther = visit.m_IsWritten && AreTwo(visit.m_Address, occurrence.m_Address) &&
                           m_Compared.emplace(tie.Id(), occurrence.m_Address).second;
    meeting.m_IsWritten = isFurther;
    if (!isFurther) return meeting;
    meeting.m_Comparing = sto_Comparing::ThisSave;
    meeting.m_Before = visit;
    return meeting;
  }
  if (visit.m_Save != 0) {
    if (WasUnderOtherRoot(visit, occurrence)) meeting.m_Comparing = sto_Comparing::OtherRoot;
    m_Replaced.emplace_back(&visit, visit);
    meeting.m_Before = visit;
  }
  if (m_ComparesAll && !isNew && meeting.m_Comparing == sto_Comparing::Nothing)
    meeting.m_Comparing = sto_Comparing::SecondName;
  visit = {occurrence.m_Address, occurrence.m_Holder, m_Save, false};
  meeting.m_Visit = &visit;
  return meeting;
}

sto_Reach::Meeting sto_Reach::MeetCollection(sto_IdentityMap::Tie const& tie, Occurrence const& occurrence,
                                             bool isNew) {
  Meeting meeting = Meet(tie, occurrence, isNew);
  if (meeting.m_IsWritten && meeting.m_Comparing != sto_Comparing::ThisSave) return meeting;
  return {};
}
