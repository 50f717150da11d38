#include "store/sto_IdentityMap.h"

#include <typeinfo>
#include <utility>

sto_IdentityMap::Tie::Tie(Page& page, cls_UidCatalogEntry* entry) noexcept : m_Page(page), m_Entry(entry) {
  Link(&entry->m_History);
}

sto_IdentityMap::Tie::~Tie() {
  UnLink();
}

void sto_IdentityMap::Tie::operator delete(Tie* tie, std::destroying_delete_t) noexcept {
  Page& page = tie->m_Page;
  std::size_t const place = PlaceOf(tie->Id());
  tie->~Tie();
  page.m_Used &= ~(1U << place);
  sto_IdentityMap& map = page.m_Map;
  --map.m_Count;
  if (page.m_Used == 0) map.DropPage(page.m_Number);
}

sto_IdentityMap::~sto_IdentityMap() {
  DropFrom(0);
}

sto_IdentityMap::Page* sto_IdentityMap::FindPage(std::int64_t number) const noexcept {
  if (m_Latest != nullptr && m_Latest->m_Number == number) return m_Latest;
  auto const found = m_Segments.find(number / PagesInSegment);
  if (found == m_Segments.end()) return nullptr;
  Page* const page = found->second.m_Pages[static_cast<std::size_t>(number % PagesInSegment)].get();
  if (page != nullptr) m_Latest = page;
  return page;
}

sto_IdentityMap::Page& sto_IdentityMap::MakePage(std::int64_t number) {
  auto page = std::make_unique<Page>(*this, number);
  Segment& segment = m_Segments[number / PagesInSegment];
  std::unique_ptr<Page>& place = segment.m_Pages[static_cast<std::size_t>(number % PagesInSegment)];
  place = std::move(page);
  ++segment.m_Count;
  return *(m_Latest = place.get());
}

void sto_IdentityMap::DropPage(std::int64_t number) noexcept {
  auto const found = m_Segments.find(number / PagesInSegment);
  Segment& segment = found->second;
  std::unique_ptr<Page>& page = segment.m_Pages[static_cast<std::size_t>(number % PagesInSegment)];
  if (m_Latest == page.get()) m_Latest = nullptr;
  page.reset();
  if (--segment.m_Count == 0) m_Segments.erase(found);
}

sto_IdentityMap::Tie* sto_IdentityMap::Find(cls_Uid const& uid) const noexcept {
  cls_HistoryEntry* const anchor = &uid.Entry()->m_History;
  for (cls_HistoryEntry* entry = anchor->Next(); entry != anchor; entry = entry->Next()) {
    if (typeid(*entry) != typeid(Tie)) continue;
    Tie* const tie = static_cast<Tie*>(entry);
    if (&tie->m_Page.m_Map == this) return tie;
  }
  return nullptr;
}

sto_IdentityMap::Tie& sto_IdentityMap::Add(cls_Uid const& uid, std::int64_t id) {
  Page* const found = FindPage(id / IdsInPage);
  Page& page = found != nullptr ? *found : MakePage(id / IdsInPage);
  std::size_t const place = PlaceOf(id);
  Tie* const tie = new (page.m_Ties + place * sizeof(Tie)) Tie(page, uid.Entry());
  page.m_Used |= 1U << place;
  ++m_Count;
  return *tie; // owned by the identity's ring
}

cls_Uid sto_IdentityMap::IdentityOf(std::int64_t id) {
  if (Page* const page = FindPage(id / IdsInPage); page != nullptr && page->Has(PlaceOf(id)))
    return cls_Uid(page->At(PlaceOf(id))->m_Entry);
  cls_Uid uid;
  Add(uid, id);
  return uid;
}

void sto_IdentityMap::DropFrom(std::int64_t firstId) noexcept {
  constexpr std::int64_t IdsInSegment = IdsInPage * PagesInSegment;
  for (auto entry = m_Segments.begin(); entry != m_Segments.end();) {
    auto const& [number, segment] = *entry++; // a segment goes with its last page
    if ((number + 1) * IdsInSegment <= firstId) continue;
    int left = segment.m_Count;
    for (std::size_t i = 0; left > 0; ++i) {
      Page* const page = segment.m_Pages[i].get();
      if (page == nullptr) continue;
      --left; // the page may take the segment with it
      DropFromPage(*page, firstId);
    }
  }
}

void sto_IdentityMap::DropFromPage(Page& page, std::int64_t firstId) noexcept {
  std::int64_t const firstInPage = page.m_Number * IdsInPage;
  unsigned int used = page.m_Used; // the page goes with its last tie
  for (std::size_t place = 0; used != 0; ++place, used >>= 1)
    if ((used & 1) != 0 && firstInPage + static_cast<std::int64_t>(place) >= firstId) delete page.At(place);
}
