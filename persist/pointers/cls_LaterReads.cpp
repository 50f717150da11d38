#include "persist/pointers/cls_LaterReads.h"

#include "persist/backend/cls_ReadObjects.h"

namespace {

/// Reads that are done are dropped once there are so many of them, and more than those that are left.
constexpr std::size_t ManyReads = 4096;

} // namespace

constinit std::atomic<int> cls_LaterReads::s_HaveOwners = 0;

cls_NamesElements* cls_NamesElements::Of(cls_ReadListObj* list) noexcept {
  return dynamic_cast<cls_NamesElements*>(list);
}

void cls_LaterReads::Finish(Mark const& mark) {
  std::size_t next = mark.m_Reads;
  while (next < m_Reads.size()) {
    Fill(m_Reads[next++]);
    std::size_t const done = next - mark.m_Reads;
    if (done < ManyReads || done < m_Reads.size() - next) continue;
    auto const first = m_Reads.begin() + static_cast<std::ptrdiff_t>(mark.m_Reads);
    m_Reads.erase(first, first + static_cast<std::ptrdiff_t>(done));
    next = mark.m_Reads;
  }
  for (std::size_t i = mark.m_Calls; i < m_Calls.size(); ++i) {
    Call const call = m_Calls[i];
    if (call.m_Object != nullptr) call.m_Call(call.m_Object, call.m_Argument);
  }
  Forget(mark);
}

void cls_LaterReads::Fill(Read const& read) {
  if (read.m_Target == nullptr) return;
  Filling const filling(*this, read); // a copy, because building the object may add more
  filling.m_Read.m_Fill(filling.m_Read);
}

void cls_LaterReads::Forget(Mark const& mark) noexcept {
  m_Reads.erase(m_Reads.begin() + static_cast<std::ptrdiff_t>(mark.m_Reads), m_Reads.end());
  m_Calls.erase(m_Calls.begin() + static_cast<std::ptrdiff_t>(mark.m_Calls), m_Calls.end());
}

void cls_LaterReads::End(Mark const& mark) noexcept {
  --m_Loads;
  Forget(mark);
  if (m_Loads == 0) {
    ForgetOwners();
    m_Reads.shrink_to_fit();
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
  cls_LaterReads** at = &Chain();
  while (*at != this) at = &(*at)->m_NextInChain;
  *at = m_NextInChain;
  --s_HaveOwners;
}

void cls_LaterReads::MoveOwner(void const* from, void const* to) noexcept {
  // Where the same place of the object is now; null if it is gone.
  auto const moved = [&](void* place) -> void* {
    if (to == nullptr) return nullptr;
    return static_cast<std::byte*>(place) +
           (reinterpret_cast<std::intptr_t>(to) - reinterpret_cast<std::intptr_t>(from));
  };
  auto const moveRead = [&](Read& read) {
    if (read.m_Owner != from) return;
    if (to == nullptr || read.m_IsInOwner) read.m_Target = moved(read.m_Target);
    read.m_Owner = to;
  };
  for (cls_LaterReads* each = Chain(); each != nullptr; each = each->m_NextInChain) {
    for (Filling* filling = each->m_Filling; filling != nullptr; filling = filling->m_Outer)
      moveRead(filling->m_Read);
    for (Read& read : each->m_Reads) moveRead(read);
    for (Call& call : each->m_Calls) {
      if (call.m_Owner != from) continue;
      call.m_Object = moved(call.m_Object);
      call.m_Owner = to;
    }
  }
}
