#include "bench/oo7/oo7_Oo1Rows.h"

#include <algorithm>

namespace {

constexpr int PartTypes = 10;
constexpr int PartCoordinates = 100'000; // x, y, and the lengths of connections
constexpr int Days = 3650;

int DrawTarget(int id, int parts, oo7_Random& random) {
  if (random(10) == 0) return random(parts) + 1;
  int const window = std::max(parts / 100, 1);
  int const first = std::clamp(id - window / 2, 1, parts - window + 1);
  return first + random(window);
}

} // namespace

std::vector<oo7_Oo1Part> oo7_Oo1DrawDatabase(int parts) {
  oo7_Random random;
  std::vector<oo7_Oo1Part> rows;
  rows.reserve(static_cast<std::size_t>(parts));
  for (int id = 1; id <= parts; ++id) rows.push_back(oo7_Oo1DrawPart(id, parts, random));
  return rows;
}

oo7_Oo1Part oo7_Oo1DrawPart(int id, int parts, oo7_Random& random) {
  oo7_Oo1Part row;
  row.m_Id = id;
  row.m_Type = random(PartTypes);
  row.m_X = random(PartCoordinates);
  row.m_Y = random(PartCoordinates);
  row.m_BuildDate = random(Days);
  row.m_Connections.resize(oo7_Oo1ConnectionsPerPart);
  for (oo7_Oo1Connection& connection : row.m_Connections) {
    connection.m_From = id;
    connection.m_To = DrawTarget(id, parts, random);
    connection.m_Type = random(PartTypes);
    connection.m_Length = random(PartCoordinates);
  }
  return row;
}
