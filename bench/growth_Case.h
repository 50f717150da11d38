#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

/// One measured figure: what it is, how long it took in seconds, and for how many units of work.
struct growth_Figure {
  std::string m_What;
  double m_Seconds;
  double m_Units;
};

/// Something whose cost a unit must not grow with its size.
struct growth_Case {
  std::string m_Name; // "so many map entries"
  std::vector<int> m_Sizes;
  /// Measures one size; files go to the folder.
  std::function<std::vector<growth_Figure>(int size, std::string const& folder)> m_Measure;
};

/// The seconds that `work` takes.
template <class Work> double growth_SecondsOf(Work work) {
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Ends the program, naming what failed, unless `works`.
void growth_Require(bool works, char const* what);

// The cases, by what grows.
growth_Case growth_Objects();
growth_Case growth_Roots();
growth_Case growth_Memory();
growth_Case growth_Classes();
growth_Case growth_Fields();
growth_Case growth_Arrays();
growth_Case growth_MapEntries();
growth_Case growth_Elements();
growth_Case growth_Stores();
