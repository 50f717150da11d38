#pragma once

#include <vector>

#include "bench/oo7/oo7_Random.h"

// The parts database of OO1, the forerunner of OO7 (Cattell, Skeen: Object Operations Benchmark, ACM TODS 17(1), 1992),
// as plain rows.

struct oo7_Oo1Connection {
  int m_From = 0; // ids of parts
  int m_To = 0;
  int m_Type = 0;
  int m_Length = 0;
};

struct oo7_Oo1Part {
  int m_Id = 0;
  int m_Type = 0;
  int m_X = 0;
  int m_Y = 0;
  int m_BuildDate = 0;
  std::vector<oo7_Oo1Connection> m_Connections; // those out of it
};

inline constexpr int oo7_Oo1SmallParts = 20'000;
inline constexpr int oo7_Oo1LargeParts = 200'000;
inline constexpr int oo7_Oo1ConnectionsPerPart = 3;

/// Draws a database of so many parts.
[[nodiscard]] std::vector<oo7_Oo1Part> oo7_Oo1DrawDatabase(int parts);

/// Draws a part, with connections to some of the first `parts` ones; nine of ten lead to one with an id like its own.
[[nodiscard]] oo7_Oo1Part oo7_Oo1DrawPart(int id, int parts, oo7_Random& random);
