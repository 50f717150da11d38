#include "bench/oo7/oo7_Parameters.h"

#include <array>

#include "bench/bench_Program.h"

namespace {

oo7_Parameters Small(int connections) {
  return {"small" + std::to_string(connections), 20, connections, 2000, 100'000};
}

oo7_Parameters Medium(int connections) {
  return {"medium" + std::to_string(connections), 200, connections, 20'000, 1'000'000};
}

} // namespace

int oo7_Parameters::BaseAssemblies() const {
  int count = 1;
  for (int level = 1; level < m_Levels; ++level) count *= oo7_SubAssemblies;
  return count;
}

oo7_Parameters oo7_Parameters::Named(std::string_view name) {
  std::array const all = {oo7_Parameters{"tiny", 5, 3, 200, 2000, 20, 3},
                          Small(3),
                          Small(6),
                          Small(9),
                          Medium(3),
                          Medium(6),
                          Medium(9)};
  for (oo7_Parameters const& parameters : all)
    if (parameters.m_Name == name) return parameters;
  bench_Require(false, "there is no database of that name");
  return {};
}
