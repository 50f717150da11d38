#include "persist/pointers/cls_LaterReads.h"

#include "persist/backend/cls_ReadObjects.h"

namespace {

/// Reads that are done are dropped once there are so many of them, and more than those that are left.
constexpr std::size_t ManyReads = 4096;

} // namespace

cls_NamesElements* cls_NamesElements::Of(cls_ReadListObj* list) noexcept {
  return dynamic_cast<cls_NamesElements*>(list);
}

void cls_LaterReads::Finish(Mark const& mark) {
  std::size_t next = mark.m_Reads;
  while (next < m_Reads.size()) {
    Read const read = m_Reads[next++]; // filling it may add more
    read.m_Fill(read);
    std::size_t const done = next - mark.m_Reads;
    if (done < ManyReads || done < m_Reads.size() - next) continue;
    auto const first = m_Reads.begin() + static_cast<std::ptrdiff_t>(mark.m_Reads);
    m_Reads.erase(first, first + static_cast<std::ptrdiff_t>(done));
    next = mark.m_Reads;
  }
  for (std::size_t i = mark.m_Calls; i < m_Calls.size(); ++i) {
    Call const call = m_Calls[i];
    call.m_Call(call.m_Object, call.m_Argument);
  }
  Forget(mark);
}

void cls_LaterReads::Forget(Mark const& mark) noexcept {
  m_Reads.erase(m_Reads.begin() + static_cast<std::ptrdiff_t>(mark.m_Reads), m_Reads.end());
  m_Calls.erase(m_Calls.begin() + static_cast<std::ptrdiff_t>(mark.m_Calls), m_Calls.end());
}

void cls_LaterReads::End(Mark const& mark) noexcept {
  --m_Loads;
  Forget(mark);
  if (m_Loads == 0) {
    m_Reads.shrink_to_fit();
    m_Calls.shrink_to_fit();
  }
}
