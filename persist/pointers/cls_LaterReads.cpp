#include "persist/pointers/cls_LaterReads.h"

#include <algorithm>
#include <new>

#include "persist/backend/cls_ReadObjects.h"
#include "persist/pointers/cls_LaterOrder.h"
#include "persist/pointers/cls_ObjectSource.h"

namespace {

/// Moves a place in an object along with the object's owner, or forgets it if the owner is gone.
void MoveAlong(void*& place, void const*& owner, void const* to) noexcept {
  place = to == nullptr ? nullptr
                        : static_cast<std::byte*>(place) +
                              (reinterpret_cast<std::intptr_t>(to) - reinterpret_cast<std::intptr_t>(owner));
  owner = to;
}

/// The same read for a copy of the owner's object.
cls_LaterReads::Read CopyOf(cls_LaterReads::Read read, void const* to) {
  MoveAlong(read.m_Target, read.m_Owner, to);
  read.m_IsCopy = true;
  return read;
}

/// The read or call with a number; null if it is done.
template <class T> T* FindNumber(std::vector<T>& all, std::uint64_t number) noexcept {
  auto const found = std::lower_bound(all.begin(), all.end(), number,
                                      [](T const& each, std::uint64_t than) { return each.m_Number < than; });
  return found == all.end() || found->m_Number != number ? nullptr : &*found;
}

} // namespace

constinit std::atomic<int> cls_LaterReads::s_HaveOwners = 0;

std::shared_ptr<void> cls_FindLoaded(cls_HeldObject const& held, std::type_info const& type) {
  cls_LoadedObjects const& loaded = held.m_Source->Source().Loaded();
  cls_LoadedObjects::Entry const* const entry = loaded.Find(held.m_Id);
  return entry != nullptr && loaded.IsOfThisLoad(*entry, type) ? entry->m_Object : nullptr;
}

cls_NamesElements* cls_NamesElements::Of(cls_ReadListObj* list) noexcept {
  return dynamic_cast<cls_NamesElements*>(list);
}

void cls_LaterReads::Finish(Mark const& mark) {
  if (!HasAdded(mark)) return;
  cls_LaterOrder reads(m_Reads, mark.m_Reads);
  cls_LaterOrder references(m_References, mark.m_References);
  auto const fillReads = [&] {
    while (reads.More()) Fill(m_Reads[reads.Next()]);
  };
  fillReads();
  bool const outer = std::exchange(m_FillsReferences, true);
  while (references.More()) {
    Fill(m_References[references.Next()]);
    fillReads();
  }
  m_FillsReferences = outer;
  ForgetReads(mark); // all are filled: a call may save the objects
  for (std::size_t i = mark.m_Calls; i < m_Calls.size(); ++i) {
    Call const call = m_Calls[i];
    m_Calls[i].m_Owner = nullptr; // it is done: a copy of the object that is made from now on needs no call
    if (call.m_Object != nullptr) call.m_Call(call.m_Object, call.m_Argument);
  }
  Forget(mark);
}

void cls_LaterReads::Fill(Read& read) {
  if (read.m_Target == nullptr) return;
  Filling const filling(*this, read); // a copy, because building the object may add more
  read.m_Owner = nullptr;             // from now on the copy follows the owner
  filling.m_Read.m_Fill(filling.m_Read);
}

void cls_LaterReads::Sweep() {
  if (m_Loads != 1 || m_FillsReferences) return;
  for (Read& read : m_References) {
    if (read.m_Target == nullptr || read.m_SharedAs == nullptr ||
        cls_FindLoaded(read.m_Held, *read.m_SharedAs) == nullptr)
      continue;
    Fill(read);
    read.m_Target = nullptr;
  }
  std::erase_if(m_References, [](Read const& read) { return read.m_Target == nullptr; });
  m_SweepAt = std::max(FirstSweep, 2 * m_References.size());
}

void cls_LaterReads::ForgetReads(Mark const& mark) noexcept {
  m_Reads.erase(m_Reads.begin() + static_cast<std::ptrdiff_t>(mark.m_Reads), m_Reads.end());
  m_References.erase(m_References.begin() + static_cast<std::ptrdiff_t>(mark.m_References),
                     m_References.end());
}

void cls_LaterReads::Forget(Mark const& mark) noexcept {
  ForgetReads(mark);
  m_Calls.erase(m_Calls.begin() + static_cast<std::ptrdiff_t>(mark.m_Calls), m_Calls.end());
}

void cls_LaterReads::End(Mark const& mark) noexcept {
  --m_Loads;
  if (HasAdded(mark)) Forget(mark);
  bool const wasUsed = m_Reads.capacity() + m_References.capacity() + m_Calls.capacity() != 0;
  if (m_Loads == 0 && wasUsed) {
    ForgetOwners();
    m_Reads.shrink_to_fit();
    m_References.shrink_to_fit();
    m_SweepAt = FirstSweep;
    m_FillsReferences = false;
    m_Calls.shrink_to_fit();
  }
}

cls_LaterReads*& cls_LaterReads::Chain() noexcept {
  static thread_local cls_LaterReads* t_First = nullptr;
  return t_First;
}

void cls_LaterReads::BeginOwners() noexcept {
  m_HasOwners = true;
  m_NextInChain = Chain();
  Chain() = this;
  ++s_HaveOwners;
}

void cls_LaterReads::ForgetOwners() noexcept {
  if (!m_HasOwners) return;
  m_HasOwners = false;
  m_ByOwner.clear();
  m_LastIndexed = m_LastNumber;
  cls_LaterReads** at = &Chain();
  while (*at != this) at = &(*at)->m_NextInChain;
  *at = m_NextInChain;
  --s_HaveOwners;
}

void cls_LaterReads::IndexOwners() {
  auto const add = [this](auto const& all) {
    for (auto each = all.rbegin(); each != all.rend() && each->m_Number > m_LastIndexed; ++each)
      if (each->m_Owner != nullptr) m_ByOwner.emplace(each->m_Owner, each->m_Number);
  };
  add(m_Reads);
  add(m_References);
  add(m_Calls);
  m_LastIndexed = m_LastNumber;
}

template <class Act> void cls_LaterReads::ForEachOf(void const* owner, Act act) const {
  auto const [first, last] = m_ByOwner.equal_range(owner);
  for (auto each = first; each != last; ++each) act(each->second);
}

void cls_LaterReads::MoveOne(std::uint64_t number, void const* from, void const* to) noexcept {
  for (std::vector<Read>* const reads : {&m_Reads, &m_References})
    if (Read* const read = FindNumber(*reads, number); read != nullptr && read->m_Owner == from)
      MoveAlong(read->m_Target, read->m_Owner, to);
  if (Call* const call = FindNumber(m_Calls, number); call != nullptr && call->m_Owner == from)
    MoveAlong(call->m_Object, call->m_Owner, to);
}

void cls_LaterReads::MoveOwner(void const* from, void const* to) noexcept {
  for (cls_LaterReads* each = Chain(); each != nullptr; each = each->m_NextInChain) {
    for (Filling* filling = each->m_Filling; filling != nullptr; filling = filling->m_Outer)
      if (filling->m_Read.m_Owner == from) MoveAlong(filling->m_Read.m_Target, filling->m_Read.m_Owner, to);
    try {
      each->IndexOwners();
    } catch (std::bad_alloc const&) { // then look at each; what is indexed twice is found once
      for (std::uint64_t number = 1; number <= each->m_LastNumber; ++number) each->MoveOne(number, from, to);
      continue;
    }
    // A node that changes its key needs no memory, and there is room for it where it was.
    while (auto node = each->m_ByOwner.extract(from)) {
      each->MoveOne(node.mapped(), from, to);
      if (to == nullptr) continue;
      node.key() = to;
      each->m_ByOwner.insert(std::move(node));
    }
  }
}

void cls_LaterReads::CopyOne(std::uint64_t number, void const* from, void const* to) {
  for (std::vector<Read>* const reads : {&m_Reads, &m_References})
    if (Read const* const read = FindNumber(*reads, number); read != nullptr && read->m_Owner == from)
      Add(*reads, CopyOf(*read, to));
  if (Call const* const call = FindNumber(m_Calls, number); call != nullptr && call->m_Owner == from) {
    Call copy = *call;
    MoveAlong(copy.m_Object, copy.m_Owner, to);
    AddCall(copy);
  }
}

void cls_LaterReads::CopyOwner(void const* from, void const* to) {
  for (cls_LaterReads* each = Chain(); each != nullptr; each = each->m_NextInChain) {
    for (Filling const* filling = each->m_Filling; filling != nullptr; filling = filling->m_Outer)
      if (filling->m_Read.m_Owner == from) each->Add(CopyOf(filling->m_Read, to));
    each->IndexOwners();
    each->ForEachOf(from, [&](std::uint64_t number) { each->CopyOne(number, from, to); });
  }
}
