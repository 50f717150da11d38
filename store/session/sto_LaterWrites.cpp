#include "store/session/sto_LaterWrites.h"

#include <algorithm>

#include "persist/pointers/cls_LaterOrder.h"

void sto_LaterWrites::WriteAll(sto_Session& session) {
  if (m_IsWriting || !m_IsUsed) return; // an object of this save may begin to end it
  m_IsWriting = true;
  cls_LaterOrder order(m_Objects, 0);
  while (m_IsWriting && order.More()) { // writing an object may roll back, which forgets all
    sto_LaterWrite const object = std::move(m_Objects[order.Next()]);
    sto_WriteLaterObject(session, object); // may add more
    if (object.m_Object.m_Object.use_count() == 1) m_Kept.push_back(object.m_Object.m_Object);
  }
  Clear();
}

void sto_LaterWrites::ClearAll() noexcept {
  m_IsUsed = m_IsWriting = false;
  std::ranges::fill(m_Known, Known());
  std::vector<sto_LaterWrite>().swap(m_Objects);
  m_Kept.clear();
}
