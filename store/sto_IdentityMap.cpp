#include "store/sto_IdentityMap.h"

#include <typeinfo>
#include <utility>

sto_IdentityMap::Tie::Tie(Page& page, cls_UidCatalogEntry* entry, std::int64_t id) noexcept
    : m_Page(page), m_Entry(entry), m_Id(id) {
  Link(&entry->m_History);
}

sto_IdentityMap::Tie::~Tie() {
  UnLink();
}

void sto_IdentityMap::Tie::operator delete(Tie* tie, std::destroying_delete_t) noexcept {
  Page& page = tie->m_Page;
  std::size_t const place = PlaceOf(tie->m_Id);
  tie->~Tie();
  page.m_Used &= ~(1U << place);
  sto_IdentityMap& map = page.m_Map;
  --map.m_Count;
  if (page.m_Used != 0) return;
  if (map.m_Latest == &page) map.m_Latest = nullptr;
  map.m_Pages.erase(page.m_Number);
}

sto_IdentityMap::~sto_IdentityMap() {
  DropFrom(0);
}

sto_IdentityMap::Page* sto_IdentityMap::FindPage(std::int64_t number) const noexcept {
  if (m_Latest != nullptr && m_Latest->m_Number == number) return m_Latest;
  auto const found = m_Pages.find(number);
  if (found == m_Pages.end()) return nullptr;
  return m_Latest = found->second.get();
}

sto_IdentityMap::Page& sto_IdentityMap::MakePage(std::int64_t number) {
  auto page = std::make_unique<Page>(*this, number);
  m_Latest = page.get();
  m_Pages.emplace(number, std::move(page));
  return *m_Latest;
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
  Tie* const tie = new (page.m_Ties + place * sizeof(Tie)) Tie(page, uid.Entry(), id);
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
  // A page goes with its last tie, which takes its entry out of the table.
  for (auto entry = m_Pages.begin(); entry != m_Pages.end();) {
    Page& page = *(entry++)->second;
    unsigned int used = page.m_Used;
    if ((page.m_Number + 1) * IdsInPage <= firstId) continue;
    for (std::size_t place = 0; used != 0; ++place, used >>= 1)
      if ((used & 1) != 0 && page.m_Number * IdsInPage + static_cast<std::int64_t>(place) >= firstId)
        delete page.At(place);
  }
}
