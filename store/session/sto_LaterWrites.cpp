#include "store/session/sto_LaterWrites.h"

#include <algorithm>
#include <iterator>

namespace {

/// Objects that are written are dropped once there are so many of them, and more than those that are left.
constexpr std::size_t ManyObjects = 4096;

} // namespace

void sto_LaterWrites::WriteAll(sto_Session& session) {
  if (m_IsWriting || !m_IsUsed) return; // an object of this save may begin to end it
  m_IsWriting = true;
  std::size_t next = 0;
  while (next < m_Objects.size()) {
    sto_LaterWrite const object = std::move(m_Objects[next++]);
    sto_WriteLaterObject(session, object); // may add more
    if (object.m_Object.m_Object.use_count() == 1) m_Kept.push_back(object.m_Object.m_Object);
    if (next < ManyObjects || next < m_Objects.size() - next) continue;
    m_Objects.erase(m_Objects.begin(), m_Objects.begin() + static_cast<std::ptrdiff_t>(next));
    next = 0;
  }
  Clear();
}

void sto_LaterWrites::ClearAll() noexcept {
  m_IsUsed = m_IsWriting = false;
  std::ranges::fill(m_Known, Known());
  std::vector<sto_LaterWrite>().swap(m_Objects);
  m_Kept.clear();
}
