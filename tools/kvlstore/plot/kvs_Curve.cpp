#include "tools/kvlstore/plot/kvs_Curve.h"

#include <algorithm>
#include <array>
#include <cmath>

kvs_Curve::kvs_Curve(std::int64_t count)
    : m_PerGroup(std::max<std::int64_t>(1, (count + Groups - 1) / Groups)) {
  m_Points.reserve(static_cast<std::size_t>(4 * Groups));
}

void kvs_Curve::Add(double x, double y) {
  ++m_Added;
  if (std::isfinite(x) && std::isfinite(y)) {
    m_Group.push_back({x, y, m_IsGap});
    m_IsGap = false;
  } else {
    ++m_NotFinite;
    m_IsGap = true;
  }
  if (++m_InGroup >= std::max<std::int64_t>(m_PerGroup, 4)) EndGroup();
}

void kvs_Curve::Finish() {
  EndGroup();
}

void kvs_Curve::EndGroup() {
  m_InGroup = 0;
  if (m_PerGroup <= 4) {
    m_Points.insert(m_Points.end(), m_Group.begin(), m_Group.end());
  } else if (!m_Group.empty()) {
    auto const byY = [](Point const& a, Point const& b) { return a.m_Y < b.m_Y; };
    auto const begin = m_Group.begin();
    std::array<std::ptrdiff_t, 4> kept{0, std::min_element(begin, m_Group.end(), byY) - begin,
                                       std::max_element(begin, m_Group.end(), byY) - begin,
                                       static_cast<std::ptrdiff_t>(m_Group.size()) - 1};
    std::sort(kept.begin(), kept.end());
    std::ptrdiff_t before = -1;
    for (std::ptrdiff_t const at : kept) {
      if (at == before) continue;
      Point point = begin[at];
      for (std::ptrdiff_t i = before + 1; i < at; ++i)
        point.m_IsAfterGap = point.m_IsAfterGap || begin[i].m_IsAfterGap;
      m_Points.push_back(point);
      before = at;
    }
  }
  m_Group.clear();
}
