#include "examples/failures/fail_Cases.h"

#include <array>
#include <filesystem>

namespace {

constexpr double Stiffness = 2.1e8; // 10 cm^2 of steel [N]

void AddBar(fail_Truss& truss, int first, int second) {
  int const number = static_cast<int>(truss.elements.size()) + 1;
  truss.elements.push_back(std::make_shared<fail_Bar>(number, std::array<int, 2>{first, second}, Stiffness));
}

// Load factors 0.1, 0.2, ...
std::vector<double> Tenths(int count) {
  std::vector<double> factors;
  for (int i = 1; i <= count; ++i) factors.push_back(i / 10.0);
  return factors;
}

fail_Analysis TwoBarAnalysis(std::string const& name, int tenths) {
  fail_Analysis analysis{name, fail_Cases::TwoBarTruss(), {}};
  analysis.control.loadFactors = Tenths(tenths);
  return analysis;
}

// Loads up to 70 kN, below the limit load of 79.6 kN.
fail_Analysis BelowTheLimit() {
  return TwoBarAnalysis("below-the-limit", 7);
}

// Loads up to 100 kN; from the eighth step there is no equilibrium nearby.
fail_Analysis BeyondTheLimit() {
  return TwoBarAnalysis("beyond-the-limit", 10);
}

// A bar between two nodes at the same position, as a careless merge of two models leaves it.
fail_Analysis BarWithoutLength() {
  fail_Analysis analysis = TwoBarAnalysis("bar-without-length", 7);
  fail_Node twin = analysis.truss.nodes[1];
  twin.number = 4;
  twin.loadY = 0;
  analysis.truss.nodes.push_back(twin);
  AddBar(analysis.truss, 2, 4);
  return analysis;
}

// A spring under the apex; the solver only knows bars.
fail_Analysis SpringAmongBars() {
  fail_Analysis analysis = TwoBarAnalysis("spring-among-bars", 7);
  analysis.truss.elements.push_back(std::make_shared<fail_Spring>(3, 2, 5e4));
  return analysis;
}

// Fewer iterations than the seven steps need.
fail_Analysis TightBudget() {
  fail_Analysis analysis = TwoBarAnalysis("tight-budget", 7);
  analysis.control.iterationBudget = 12;
  return analysis;
}

// A bar to a node that does not exist.
fail_Analysis MissingNode() {
  fail_Analysis analysis = TwoBarAnalysis("missing-node", 7);
  AddBar(analysis.truss, 2, 17);
  return analysis;
}

// Load factors from a file, which may or may not exist.
fail_Analysis LoadTable(std::string const& folder) {
  fail_Analysis analysis = TwoBarAnalysis("load-table", 0);
  analysis.control.loadTablePath = (std::filesystem::path(folder) / "gusts.loads").string();
  return analysis;
}

// 1601 equations; their full matrix exceeds the run's limit of 16 MiB.
fail_Analysis LongGirder() {
  fail_Analysis analysis{"long-girder", fail_Cases::Girder(400), {}};
  analysis.control.loadFactors = {1.0};
  return analysis;
}

} // namespace

fail_Truss fail_Cases::TwoBarTruss() {
  fail_Truss truss;
  truss.nodes = {
      {1, -10, 0, true, true, 0, 0}, {2, 0, 1, false, false, 0, -1e5}, {3, 10, 0, true, true, 0, 0}};
  AddBar(truss, 1, 2);
  AddBar(truss, 2, 3);
  return truss;
}

fail_Truss fail_Cases::Girder(int panelCount) {
  fail_Truss truss;
  for (int i = 0; i <= panelCount; ++i) {
    bool const isLeft = i == 0;
    bool const isEnd = isLeft || i == panelCount;
    truss.nodes.push_back({2 * i + 1, double(i), 0, isLeft, isEnd, 0, isEnd ? 0 : -1e3});
    truss.nodes.push_back({2 * i + 2, double(i), 1, false, false, 0, 0});
  }
  for (int i = 0; i <= panelCount; ++i) {
    int const lower = 2 * i + 1;
    AddBar(truss, lower, lower + 1);
    if (i == panelCount) continue;
    AddBar(truss, lower, lower + 2);
    AddBar(truss, lower + 1, lower + 3);
    AddBar(truss, lower, lower + 3);
  }
  return truss;
}

std::vector<fail_Analysis> fail_Cases::All(std::string const& folder) {
  return {BelowTheLimit(), BeyondTheLimit(), BarWithoutLength(), SpringAmongBars(),
          TightBudget(),   MissingNode(),    LoadTable(folder),  LongGirder()};
}
