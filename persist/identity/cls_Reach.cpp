#include "persist/identity/cls_Reach.h"

namespace {

/// Whether two addresses are both known and differ.
bool AreTwo(void const* one, void const* other) noexcept {
  return one != nullptr && other != nullptr && one != other;
}

} // namespace

void cls_Reach::BeginSave(std::int64_t number, std::string_view const* root) {
  m_Saves.push_back({root == nullptr ? std::string() : std::string(*root), root != nullptr});
  m_Save = number;
  m_Replaced.clear();
  m_Compared.clear();
  m_ComparesAll = false;
  m_OtherContent = 0;
}

void cls_Reach::UndoSave() noexcept {
  for (auto const& [visit, before] : m_Replaced) *visit = before;
  m_Replaced.clear();
  if (!m_Saves.empty()) m_Saves.back().m_HasRoot = false;
}

void cls_Reach::RenameRoot(std::string_view from, std::string_view to) {
  for (SaveOfTransaction& save : m_Saves)
    if (save.m_HasRoot && save.m_Root == from) save.m_Root = to;
}

void cls_Reach::RemoveRoot(std::string_view root) noexcept {
  for (SaveOfTransaction& save : m_Saves)
    if (save.m_Root == root) save.m_HasRoot = false;
}

void cls_Reach::Reset() noexcept {
  m_Saves.clear();
  m_Replaced.clear();
  m_Compared.clear();
}

cls_Reach::SaveOfTransaction const* cls_Reach::Find(std::int64_t save) const noexcept {
  std::int64_t const first = m_Save - static_cast<std::int64_t>(m_Saves.size()) + 1;
  return save < first || save > m_Save ? nullptr : &m_Saves[static_cast<std::size_t>(save - first)];
}

std::string const& cls_Reach::RootOf(std::int64_t save) const noexcept {
  static std::string const none;
  SaveOfTransaction const* const found = Find(save);
  return found == nullptr ? none : found->m_Root;
}

bool cls_Reach::WasUnderOtherRoot(cls_Visit const& before, Occurrence const& occurrence) const noexcept {
  SaveOfTransaction const* const earlier = Find(before.m_Save);
  SaveOfTransaction const& now = m_Saves.back();
  return earlier != nullptr && earlier->m_HasRoot && now.m_HasRoot && earlier->m_Root != now.m_Root &&
         AreTwo(before.m_Address, occurrence.m_Address);
}

cls_Reach::Meeting cls_Reach::Meet(cls_IdentityMap::Tie const& tie, Occurrence const& occurrence,
                                   bool isNew) {
  cls_Visit& visit = tie.Visit();
  Meeting meeting;
  if (visit.m_Save == m_Save) {
    bool const isFurther = visit.m_IsWritten && AreTwo(visit.m_Address, occurrence.m_Address) &&
                           m_Compared.emplace(tie.Id(), occurrence.m_Address).second;
    meeting.m_IsWritten = isFurther;
    if (!isFurther) return meeting;
    meeting.m_Comparing = cls_Comparing::ThisSave;
    meeting.m_Before = visit;
    return meeting;
  }
  if (visit.m_Save != 0) {
    if (WasUnderOtherRoot(visit, occurrence)) meeting.m_Comparing = cls_Comparing::OtherRoot;
    m_Replaced.emplace_back(&visit, visit);
    meeting.m_Before = visit;
  }
  if (m_ComparesAll && !isNew && meeting.m_Comparing == cls_Comparing::Nothing)
    meeting.m_Comparing = cls_Comparing::SecondName;
  visit = {occurrence.m_Address, occurrence.m_Holder, m_Save, false};
  meeting.m_Visit = &visit;
  return meeting;
}

cls_Reach::Meeting cls_Reach::MeetCollection(cls_IdentityMap::Tie const& tie, Occurrence const& occurrence,
                                             bool isNew) {
  Meeting meeting = Meet(tie, occurrence, isNew);
  if (meeting.m_IsWritten && meeting.m_Comparing != cls_Comparing::ThisSave) return meeting;
  return {};
}
