#include "store/session/sto_Collections.h"

#include <utility>

void sto_Collections::Add(sto_OpenCollection& collection) {
  if (collection.Id() != 0) m_ById.emplace(collection.Id(), &collection);
  collection.m_Next = std::exchange(m_First, &collection);
  if (collection.m_Next != nullptr) collection.m_Next->m_Previous = &collection;
}

void sto_Collections::NoteTouched(sto_OpenCollection& collection) {
  if (collection.m_TouchedAt >= 0) return;
  m_Touched.push_back(&collection);
  collection.m_TouchedAt = static_cast<int>(m_Touched.size()) - 1;
}

void sto_Collections::ForgetTouched() noexcept {
  for (sto_OpenCollection* const collection : m_Touched)
    if (collection != nullptr) collection->m_TouchedAt = -1;
  m_Touched.clear();
}

void sto_Collections::Untouch(sto_OpenCollection& collection) noexcept {
  if (collection.m_TouchedAt >= 0) m_Touched[static_cast<std::size_t>(collection.m_TouchedAt)] = nullptr;
  collection.m_TouchedAt = -1;
}

void sto_Collections::Remove(sto_OpenCollection& collection) noexcept {
  ForgetId(collection);
  Untouch(collection);
  for (Walk* walk = m_Walk; walk != nullptr; walk = walk->m_Outer)
    if (walk->m_Next == &collection) walk->m_Next = collection.m_Next;
  (collection.m_Previous == nullptr ? m_First : collection.m_Previous->m_Next) = collection.m_Next;
  if (collection.m_Next != nullptr) collection.m_Next->m_Previous = collection.m_Previous;
  collection.m_Next = collection.m_Previous = nullptr;
}

void sto_Collections::ForgetId(sto_OpenCollection const& collection) noexcept {
  auto const found = m_ById.find(collection.Id());
  if (found != m_ById.end() && found->second == &collection) m_ById.erase(found);
}

sto_OpenCollection* sto_Collections::FindLost(cls_UidCatalogEntry const* entry) const noexcept {
  for (sto_OpenCollection* each = m_First; each != nullptr; each = each->m_Next)
    if (each->WasUnder(entry)) return each;
  return nullptr;
}

void sto_Collections::FlushHolders() {
  ForEach([](sto_OpenCollection& collection) { collection.FlushHolders(); });
}

bool sto_Collections::HasUnwrittenHolders() {
  bool hasUnwritten = false;
  ForEach([&](sto_OpenCollection& collection) {
    hasUnwritten = hasUnwritten || collection.HasUnwrittenHolders();
  });
  return hasUnwritten;
}

void sto_Collections::WriteRecords() {
  ForEachTouched([](sto_OpenCollection& collection) { collection.WriteRecord(); });
}

std::vector<std::int64_t> sto_Collections::StoredIds() {
  std::vector<std::int64_t> ids;
  ForEach([&](sto_OpenCollection& collection) {
    if (collection.IsLost()) return;
    collection.WriteRecord(); // a collection made in this transaction may have none yet
    ids.push_back(collection.Id());
  });
  return ids;
}
