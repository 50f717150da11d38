#include "store/sto_IdentityMap.h"

#include <typeinfo>

sto_IdentityMap::Tie::Tie(sto_IdentityMap& map, cls_UidCatalogEntry* entry, std::int64_t id)
    : m_Map(map), m_Entry(entry), m_Id(id) {
  m_Map.m_Ties.emplace(id, this);
  Link(&entry->m_History);
}

sto_IdentityMap::Tie::~Tie() {
  UnLink();
  m_Map.m_Ties.erase(m_Id);
}

sto_IdentityMap::~sto_IdentityMap() {
  DropFrom(0);
}

sto_IdentityMap::Tie* sto_IdentityMap::Find(cls_Uid const& uid) const noexcept {
  cls_HistoryEntry* const anchor = &uid.Entry()->m_History;
  for (cls_HistoryEntry* entry = anchor->Next(); entry != anchor; entry = entry->Next()) {
    if (typeid(*entry) != typeid(Tie)) continue;
    Tie* const tie = static_cast<Tie*>(entry);
    if (&tie->m_Map == this) return tie;
  }
  return nullptr;
}

sto_IdentityMap::Tie& sto_IdentityMap::Add(cls_Uid const& uid, std::int64_t id) {
  return *new Tie(*this, uid.Entry(), id); // owned by the identity's ring
}

cls_Uid sto_IdentityMap::IdentityOf(std::int64_t id) {
  if (auto const found = m_Ties.find(id); found != m_Ties.end()) return cls_Uid(found->second->m_Entry);
  cls_Uid uid;
  Add(uid, id);
  return uid;
}

void sto_IdentityMap::DropFrom(std::int64_t firstId) noexcept {
  for (auto entry = m_Ties.begin(); entry != m_Ties.end();) {
    Tie* const tie = (entry++)->second; // a tie takes itself out of the map
    if (tie->m_Id >= firstId) delete tie;
  }
}
