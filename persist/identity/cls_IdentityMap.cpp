#include "persist/identity/cls_IdentityMap.h"

#include <utility>

namespace {

/// A search that meets more ties of other maps asks for an index.
constexpr int FewTies = 8;

} // namespace

cls_IdentityOwner::~cls_IdentityOwner() = default;

cls_IdentityMap::Tie::~Tie() {
  UnLink();
}

void cls_IdentityMap::Tie::operator delete(Tie* tie, std::destroying_delete_t) noexcept {
  Page& page = tie->InPage();
  std::size_t const slot = tie->Slot();
  cls_IdentityMap& map = page.m_Map;
  if (map.m_IsIndexed) map.m_Index.erase(tie->m_Entry);
  tie->~Tie();
  page.m_Used &= ~(1U << slot);
  --map.m_Count;
  if (page.m_Used == 0) map.DropPage(page);
}

cls_Visit& cls_IdentityMap::Tie::Visit() const {
  Page& page = InPage();
  if (page.m_Visits == nullptr) page.m_Map.m_Visits.Take(page.m_Visits);
  return page.m_Visits->m_Visits[Slot()];
}

cls_IdentityMap::~cls_IdentityMap() {
  DropFrom(0);
}

cls_IdentityMap::Page* cls_IdentityMap::FindPage(std::int64_t number) noexcept {
  auto const found = m_Segments.find(number / PagesInSegment);
  if (found == m_Segments.end()) return nullptr;
  Page* const page = found->second.m_Pages[static_cast<std::size_t>(number % PagesInSegment)];
  if (page != nullptr) m_Latest = page;
  return page;
}

cls_IdentityMap::Page& cls_IdentityMap::MakePage(std::int64_t number) {
  Segment& segment = m_Segments[number / PagesInSegment];
  m_Latest = new (m_Memory.Take()) Page(*this, number * IdsInPage);
  segment.m_Pages[static_cast<std::size_t>(number % PagesInSegment)] = m_Latest;
  ++segment.m_Count;
  return *m_Latest;
}

void cls_IdentityMap::DropPage(Page& page) noexcept {
  std::int64_t const number = page.m_FirstId / IdsInPage;
  auto const found = m_Segments.find(number / PagesInSegment);
  Segment& segment = found->second;
  segment.m_Pages[static_cast<std::size_t>(number % PagesInSegment)] = nullptr;
  if (m_Latest == &page) m_Latest = nullptr;
  cls_Visits::Leave(page.m_Visits);
  m_Memory.GiveBack(&page);
  if (--segment.m_Count == 0) m_Segments.erase(found);
}

cls_IdentityMap::Tie* cls_IdentityMap::Find(cls_Uid const& uid) noexcept {
  if (m_IsIndexed) {
    auto const found = m_Index.find(uid.Entry());
    return found == m_Index.end() ? nullptr : found->second;
  }
  cls_HistoryEntry* const anchor = &uid.Entry()->m_History;
  int foreign = 0;
  Tie* found = nullptr;
  for (cls_HistoryEntry* entry = anchor->Next(); entry != anchor; entry = entry->Next()) {
    if (typeid(*entry) != typeid(Tie)) continue;
    Tie* const tie = static_cast<Tie*>(entry);
    if (&tie->InPage().m_Map == this) {
      found = tie;
      break;
    }
    ++foreign;
  }
  if (foreign > FewTies) MakeIndex();
  return found;
}

void cls_IdentityMap::MakeIndex() noexcept {
  try {
    m_Index.reserve(m_Count);
    for (auto const& [number, segment] : m_Segments)
      for (Page* const page : segment.m_Pages)
        for (std::size_t slot = 0; page != nullptr && slot < static_cast<std::size_t>(IdsInPage); ++slot)
          if (page->Has(slot)) m_Index.emplace(page->At(slot)->m_Entry, page->At(slot));
    m_IsIndexed = true;
  } catch (std::bad_alloc const&) {
    m_Index.clear(); // the next search tries again
  }
}

void cls_IdentityMap::AddToIndex(Page& page, std::size_t slot, cls_UidCatalogEntry const* entry) {
  try {
    m_Index.emplace(entry, page.At(slot));
  } catch (...) {
    if (page.m_Used == 0) DropPage(page);
    throw;
  }
}

cls_IdentityMap::Tie& cls_IdentityMap::Add(cls_Uid const& uid, std::int64_t id) {
  return TieIn(PageWith(id), uid, id);
}

cls_IdentityMap::Tie& cls_IdentityMap::TieIn(Page* found, cls_Uid const& uid, std::int64_t id) {
  Page& page = found != nullptr ? *found : MakePage(id / IdsInPage);
  auto const slot = static_cast<std::size_t>(id - page.m_FirstId);
  if (m_IsIndexed) AddToIndex(page, slot, uid.Entry());
  Tie* const tie = new (page.m_Ties + slot * sizeof(Tie)) Tie(uid.Entry());
  page.m_Used |= 1U << slot;
  page.m_Roots &= ~(1U << slot);
  if (page.m_Visits != nullptr) page.m_Visits->m_Visits[slot] = {};
  ++m_Count;
  return *tie; // owned by the identity's ring
}

cls_UidCatalogEntry* cls_IdentityMap::EntryOf(std::int64_t id) noexcept {
  Page* const page = PageWith(id);
  auto const slot = static_cast<std::size_t>(page == nullptr ? 0 : id - page->m_FirstId);
  return page != nullptr && page->Has(slot) ? page->At(slot)->m_Entry : nullptr;
}

void cls_IdentityMap::NoteRoot(std::int64_t id) noexcept {
  Page* const page = PageWith(id);
  auto const slot = static_cast<std::size_t>(page == nullptr ? 0 : id - page->m_FirstId);
  if (page != nullptr && page->Has(slot)) page->m_Roots |= 1U << slot;
}

cls_Uid cls_IdentityMap::IdentityOf(std::int64_t id) {
  Page* page = PageWith(id);
  auto const slot = static_cast<std::size_t>(page == nullptr ? 0 : id - page->m_FirstId);
  if (page != nullptr && page->Has(slot)) return cls_Uid(page->At(slot)->m_Entry);
  cls_Uid uid;
  TieIn(page, uid, id);
  return uid;
}

void cls_IdentityMap::DropFrom(std::int64_t firstId, std::int64_t endId) noexcept {
  constexpr std::int64_t IdsInSegment = IdsInPage * PagesInSegment;
  for (auto entry = m_Segments.begin(); entry != m_Segments.end();) {
    auto const& [number, segment] = *entry++; // a segment is freed with its last page
    if ((number + 1) * IdsInSegment <= firstId || number * IdsInSegment >= endId) continue;
    int left = segment.m_Count;
    for (std::size_t i = 0; left > 0; ++i) {
      Page* const page = segment.m_Pages[i];
      if (page == nullptr) continue;
      --left; // dropping the page may free the segment
      DropFromPage(*page, firstId, endId);
    }
  }
}

void cls_IdentityMap::DropFromPage(Page& page, std::int64_t firstId, std::int64_t endId) noexcept {
  std::int64_t const firstInPage = page.m_FirstId;
  unsigned int used = page.m_Used; // the page is freed with its last tie
  for (std::size_t slot = 0; used != 0; ++slot, used >>= 1) {
    std::int64_t const id = firstInPage + static_cast<std::int64_t>(slot);
    if ((used & 1) != 0 && id >= firstId && id < endId) delete page.At(slot);
  }
}
