#include "examples/truss/trs_Bridge.h"

#include "examples/truss/trs_System.h"

#include <algorithm>

trs_Truss trs_MakeBridge(int bayCount, trs_MakeBar makeBar) {
  constexpr double Bay = 5, Track = 2500, Gravity = 9.81, Axle = 80e3; // m, kg, m/s2, N
  double const height = std::max(4.0, bayCount * Bay / 10);
  trs_Truss truss;
  std::vector<int> lower, upper;
  for (int i = 0; i <= bayCount; ++i) {
    bool const isEnd = i == 0 || i == bayCount;
    lower.push_back(truss.Add("L" + std::to_string(i), {i * Bay, 0}, isEnd ? Track / 2 : Track));
    upper.push_back(isEnd ? lower.back() : truss.Add("U" + std::to_string(i), {i * Bay, height}));
  }
  int const anchor = truss.Add("A", {(bayCount + 1) * Bay, 0});

  auto const steel = std::make_shared<trs_Material>("steel", 210e9, 7850);
  auto const rope = std::make_shared<trs_Material>("rope", 160e9, 7850);
  auto const bar = [&](int start, int end, double area) {
    truss.m_Members.push_back(makeBar(truss.Between(start, end), steel, area));
  };
  auto const cable = [&](int start, int end) {
    auto made = std::make_shared<trs_Cable>(truss.Between(start, end), rope, 1.5e-3);
    truss.m_Members.push_back(made);
    return made;
  };
  for (std::size_t i = 0; i + 1 < lower.size(); ++i) {
    bool const isEnd = i == 0 || i + 2 == lower.size();
    if (i != 0) bar(lower[i], upper[i], 3e-3);
    bar(lower[i], lower[i + 1], 5e-3);
    bar(upper[i], upper[i + 1], 7e-3);
    if (isEnd) continue;
    auto const rising = cable(lower[i], upper[i + 1]);
    auto const falling = cable(upper[i], lower[i + 1]);
    rising->m_Counter = falling;
    falling->m_Counter = rising;
  }
  truss.m_Members.push_back(std::make_shared<trs_Spring>(truss.Between(lower.back(), anchor), 2e6));

  using Axis = trs_Support::Axis;
  truss.m_Supports = {
      {0, Axis::X}, {0, Axis::Y}, {lower.back(), Axis::Y}, {anchor, Axis::X}, {anchor, Axis::Y}};
  trs_LoadCase& weight = truss.m_Cases["weight"];
  trs_System const system(truss);
  for (int i = 0; i < anchor; ++i)
    weight.m_Forces[i].y = -Gravity * system.Masses()[2 * static_cast<std::size_t>(i)];
  trs_LoadCase& train = truss.m_Cases["train"];
  train.m_Nature = trs_Nature::Variable;
  train.m_Factor = 1.45;
  for (int i = 1; i <= bayCount / 2; ++i) train.m_Forces[lower[static_cast<std::size_t>(i)]].y = -Axle;
  return truss;
}
