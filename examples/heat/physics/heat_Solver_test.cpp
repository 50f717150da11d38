#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"
#include "examples/heat/physics/heat_Solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <set>
#include <string>
#include <vector>

namespace {

using Mapping = std::function<heat_Vector(double, double)>;

// The unit square, divided into columns x rows rectangles of two triangles each and mapped into space.
heat_MeshData Grid(int columns, int rows, Mapping const& map) {
  heat_MeshData mesh;
  for (int j = 0; j <= rows; ++j) {
    for (int i = 0; i <= columns; ++i) {
      mesh.nodes.push_back(map(static_cast<double>(i) / columns, static_cast<double>(j) / rows));
      mesh.nodeTags.push_back(static_cast<int>(mesh.nodes.size()));
    }
  }
  for (int j = 0; j < rows; ++j) {
    for (int i = 0; i < columns; ++i) {
      int const a = j * (columns + 1) + i;
      int const c = a + columns + 1;
      mesh.triangles.push_back({a, a + 1, c + 1});
      mesh.triangles.push_back({a, c + 1, c});
    }
  }
  mesh.regions.assign(mesh.triangles.size(), 1);
  return mesh;
}

Mapping Rectangle(double width, double height) {
  return [=](double x, double y) { return heat_Vector{x * width, y * height, 0}; };
}

std::vector<int> NodesWhere(heat_MeshData const& mesh, std::function<bool(heat_Vector const&)> const& test) {
  std::vector<int> nodes;
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i) {
    if (test(mesh.nodes[i])) nodes.push_back(static_cast<int>(i));
  }
  return nodes;
}

std::vector<heat_Edge> EdgesWhere(heat_MeshData const& mesh,
                                  std::function<bool(heat_Vector const&)> const& test) {
  std::vector<heat_Edge> edges;
  for (auto const& edge : heat_BoundaryEdges(mesh)) {
    if (test(mesh.nodes[static_cast<std::size_t>(edge[0])]) &&
        test(mesh.nodes[static_cast<std::size_t>(edge[1])])) {
      edges.push_back(edge);
    }
  }
  return edges;
}

std::vector<int> AllTriangles(heat_MeshData const& mesh) {
  std::vector<int> all(mesh.triangles.size());
  std::iota(all.begin(), all.end(), 0);
  return all;
}

heat_Problem Of(double conductivity, double thickness, double source = 0) {
  heat_Problem problem;
  problem.materials.push_back({"steel", conductivity, thickness, source});
  return problem;
}

heat_Solution Solved(heat_MeshData const& mesh, heat_Problem const& problem) {
  return heat_Solver(mesh, problem).Solve();
}

double LargestError(heat_MeshData const& mesh, heat_Solution const& solution,
                    std::function<double(heat_Vector const&)> const& exact) {
  double worst = 0;
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i) {
    worst = std::max(worst, std::abs(solution.temperature[i] - exact(mesh.nodes[i])));
  }
  return worst;
}

// One fixed temperature per boundary node, with values from a field.
void HoldBoundary(heat_MeshData const& mesh, std::function<double(heat_Vector const&)> const& field,
                  heat_Problem& problem) {
  std::set<int> nodes;
  for (auto const& edge : heat_BoundaryEdges(mesh)) nodes.insert(edge[0]);
  for (auto const node : nodes) {
    problem.fixedTemperatures.push_back({"edge", {node}, field(mesh.nodes[static_cast<std::size_t>(node)])});
  }
}

// The error of a cooling fin of a given number of elements against T = cosh(m (L - x)) / cosh(m L).
double FinError(int columns) {
  constexpr double length = 0.1, thickness = 0.002, conductivity = 45, film = 60;
  auto const mesh = Grid(columns, columns / 4, Rectangle(length, 0.025));
  auto problem = Of(conductivity, thickness);
  problem.fixedTemperatures.push_back(
      {"root", NodesWhere(mesh, [](auto const& p) { return p[0] == 0; }), 100});
  problem.faceConvections.push_back({"front", AllTriangles(mesh), film, 20});
  problem.faceConvections.push_back({"back", AllTriangles(mesh), film, 20});
  double const m = std::sqrt(2 * film / (conductivity * thickness));
  auto const solution = Solved(mesh, problem);
  EXPECT_LT(std::abs(solution.Imbalance()), 1e-10 * solution.convectedHeat);
  return LargestError(mesh, solution, [=](auto const& p) {
    return 20 + 80 * std::cosh(m * (length - p[0])) / std::cosh(m * length);
  });
}

// The error of a ring of inner radius 1 and outer radius 3 against T = 100 (1 - log r / log 3).
double RingError(int across) {
  constexpr double pi = 3.14159265358979323846;
  auto const mesh = Grid(across, 6 * across, [](double r, double turn) {
    return heat_Vector{(1 + 2 * r) * std::cos(pi / 2 * turn), (1 + 2 * r) * std::sin(pi / 2 * turn), 0};
  });
  auto const radiusIs = [](double wanted) {
    return [=](heat_Vector const& p) { return std::abs(heat_Length(p) - wanted) < 1e-12; };
  };
  auto problem = Of(10, 0.5);
  problem.fixedTemperatures.push_back({"inside", NodesWhere(mesh, radiusIs(1)), 100});
  problem.fixedTemperatures.push_back({"outside", NodesWhere(mesh, radiusIs(3)), 0});
  auto const solution = Solved(mesh, problem);
  double const exactHeat = 10 * 0.5 * (pi / 2) * 100 / std::log(3.0);
  EXPECT_NEAR(solution.fixedHeat[0], exactHeat, exactHeat * 0.3 / (across * across));
  EXPECT_NEAR(solution.fixedHeat[0], -solution.fixedHeat[1], exactHeat * 1e-12);
  return LargestError(mesh, solution,
                      [](auto const& p) { return 100 * (1 - std::log(heat_Length(p)) / std::log(3.0)); });
}

} // namespace

TEST(heat_Solver, ALinearFieldIsExactOnTheBracket) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto const field = [](heat_Vector const& p) { return 40 + 300 * p[0] - 200 * p[1]; };
  auto problem = Of(50, 0.006);
  HoldBoundary(mesh, field, problem);
  auto const solution = Solved(mesh, problem);
  EXPECT_LT(LargestError(mesh, solution, field), 1e-12 * 60);
  for (auto const& flux : solution.flux) {
    EXPECT_NEAR(flux[0], -15000, 1e-7);
    EXPECT_NEAR(flux[1], 10000, 1e-7);
    EXPECT_NEAR(flux[2], 0, 1e-7);
  }
  EXPECT_LT(solution.residual, 1e-14);
}

TEST(heat_Solver, ALinearFieldIsExactOnATiltedPlate) {
  heat_Vector const u{0.6, 0, 0.8};
  heat_Vector const v{0.64, 0.6, -0.48}; // unit vectors at right angles
  auto const mesh = Grid(7, 5, [&](double x, double y) {
    double const bentX = x + 0.05 * std::sin(7 * y) * x * (1 - x);
    return heat_Vector{bentX * u[0] + y * v[0], bentX * u[1] + y * v[1], bentX * u[2] + y * v[2]};
  });
  auto const field = [&](heat_Vector const& p) { return 3 + 2 * heat_Dot(p, u) - heat_Dot(p, v); };
  auto problem = Of(2, 0.1);
  HoldBoundary(mesh, field, problem);
  auto const solution = Solved(mesh, problem);
  EXPECT_LT(LargestError(mesh, solution, field), 1e-13);
  for (auto const& flux : solution.flux) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      EXPECT_NEAR(flux[axis], -2 * (2 * u[axis] - v[axis]), 1e-11);
    }
  }
}

TEST(heat_Solver, AGivenFlowMakesALinearField) {
  auto const mesh = Grid(6, 4, Rectangle(0.3, 0.1));
  auto problem = Of(15, 0.004);
  problem.fixedTemperatures.push_back(
      {"left", NodesWhere(mesh, [](auto const& p) { return p[0] == 0; }), 10});
  problem.edgeFluxes.push_back({"right", EdgesWhere(mesh, [](auto const& p) { return p[0] == 0.3; }), 2000});
  auto const solution = Solved(mesh, problem);
  EXPECT_LT(LargestError(mesh, solution, [](auto const& p) { return 10 + 2000 / 15.0 * p[0]; }), 1e-12 * 50);
  EXPECT_NEAR(solution.appliedHeat, 2000 * 0.1 * 0.004, 1e-14);
  ASSERT_EQ(solution.fixedHeat.size(), 1u);
  EXPECT_NEAR(solution.fixedHeat[0], -solution.appliedHeat, 1e-12);
}

TEST(heat_Solver, ConvectionAtTheEndOfARodIsExact) {
  auto const mesh = Grid(5, 2, Rectangle(0.5, 0.2));
  auto problem = Of(3, 0.01);
  problem.fixedTemperatures.push_back(
      {"left", NodesWhere(mesh, [](auto const& p) { return p[0] == 0; }), 80});
  problem.edgeConvections.push_back(
      {"right", EdgesWhere(mesh, [](auto const& p) { return p[0] == 0.5; }), 12, 20});
  auto const solution = Solved(mesh, problem);
  double const flux = 60 / (0.5 / 3 + 1 / 12.0); // two resistances in series
  EXPECT_LT(LargestError(mesh, solution, [=](auto const& p) { return 80 - flux / 3 * p[0]; }), 1e-11);
  EXPECT_NEAR(solution.convectedHeat, flux * 0.2 * 0.01, 1e-12);
  EXPECT_NEAR(solution.fixedHeat[0], solution.convectedHeat, 1e-12);
}

TEST(heat_Solver, ASourceHeatsASlabToAParabola) {
  auto const mesh = Grid(10, 3, Rectangle(0.2, 0.06));
  auto problem = Of(4, 0.02, 50000);
  auto const ends = [](auto const& p) { return p[0] == 0 || p[0] == 0.2; };
  problem.fixedTemperatures.push_back({"ends", NodesWhere(mesh, ends), 0});
  auto const solution = Solved(mesh, problem);
  EXPECT_NEAR(solution.appliedHeat, 50000 * 0.2 * 0.06 * 0.02, 1e-12);
  EXPECT_LT(std::abs(solution.Imbalance()), 1e-11);
  EXPECT_LT(LargestError(mesh, solution, [](auto const& p) { return 50000 / 8.0 * p[0] * (0.2 - p[0]); }),
            1.0);
}

TEST(heat_Solver, TheFinConvergesWithTheSquareOfTheElementSize) {
  double const coarse = FinError(8);
  double const middle = FinError(16);
  double const fine = FinError(32);
  EXPECT_LT(coarse, 1.0);
  EXPECT_NEAR(std::log2(coarse / middle), 2, 0.15);
  EXPECT_NEAR(std::log2(middle / fine), 2, 0.1);
}

TEST(heat_Solver, TheRingConvergesWithTheSquareOfTheElementSize) {
  double const coarse = RingError(8);
  double const middle = RingError(16);
  double const fine = RingError(32);
  EXPECT_LT(coarse, 1.0);
  EXPECT_NEAR(std::log2(coarse / middle), 2, 0.25);
  EXPECT_NEAR(std::log2(middle / fine), 2, 0.15);
}

TEST(heat_Solver, TwoMaterialsShareTheDropByTheirResistances) {
  auto const mesh = Grid(8, 2, Rectangle(0.8, 0.2));
  auto problem = Of(1, 0.1);
  problem.materials.push_back({"copper", 3, 0.1, 0});
  for (auto const& t : mesh.triangles) {
    double middle = 0;
    for (auto const node : t) middle += mesh.nodes[static_cast<std::size_t>(node)][0] / 3;
    problem.materialOf.push_back(middle < 0.4 ? 0 : 1);
  }
  problem.fixedTemperatures.push_back(
      {"left", NodesWhere(mesh, [](auto const& p) { return p[0] == 0; }), 40});
  problem.fixedTemperatures.push_back(
      {"right", NodesWhere(mesh, [](auto const& p) { return p[0] == 0.8; }), 0});
  auto const solution = Solved(mesh, problem);
  auto const exact = [](auto const& p) { return p[0] <= 0.4 ? 40 - 75 * p[0] : 10 - 25 * (p[0] - 0.4); };
  EXPECT_LT(LargestError(mesh, solution, exact), 1e-12 * 40);
}

TEST(heat_Solver, AClosedShellInAFluidTakesItsTemperature) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("block.msh"));
  auto problem = Of(20, 0.01);
  problem.faceConvections.push_back({"air", AllTriangles(mesh), 10, 23.5});
  auto const solution = Solved(mesh, problem);
  EXPECT_LT(LargestError(mesh, solution, [](auto const&) { return 23.5; }), 1e-9);
  EXPECT_LT(std::abs(solution.Imbalance()), 1e-8);
}

TEST(heat_Solver, TheSameInputGivesTheSameBits) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("block.msh"));
  auto problem = Of(20, 0.01);
  problem.fixedTemperatures.push_back(
      {"floor", NodesWhere(mesh, [](auto const& p) { return p[2] == 0; }), 120});
  problem.faceConvections.push_back({"air", AllTriangles(mesh), 10, 20});
  auto const first = Solved(mesh, problem);
  auto const second = Solved(mesh, problem);
  EXPECT_EQ(first.temperature, second.temperature);
  EXPECT_EQ(first.flux, second.flux);
  EXPECT_EQ(first.fixedHeat, second.fixedHeat);
  EXPECT_EQ(first.residual, second.residual);
  EXPECT_GT(first.fixedHeat[0], 0);
  EXPECT_LT(std::abs(first.Imbalance()), 1e-10 * first.convectedHeat);
}

TEST(heat_Solver, TheResidualTellsASolutionFromADamagedOne) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto problem = Of(50, 0.006);
  problem.fixedTemperatures.push_back(
      {"base", NodesWhere(mesh, [](auto const& p) { return p[1] == 0; }), 120});
  problem.faceConvections.push_back({"air", AllTriangles(mesh), 25, 20});
  heat_Solver const solver(mesh, problem);
  auto const solution = solver.Solve();
  EXPECT_LT(solution.residual, 1e-14);
  EXPECT_EQ(solver.Residual(solution.temperature), solution.residual);
  for (std::size_t node = 0; node < mesh.nodes.size(); node += 13) {
    auto damaged = solution.temperature;
    damaged[node] += 1e-4;
    EXPECT_GT(solver.Residual(damaged), 1e-8) << node;
    damaged[node] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isinf(solver.Residual(damaged)));
  }
  EXPECT_THROW(solver.Residual(std::vector<double>(786)), heat_ProblemError);
}

TEST(heat_Solver, AllNodesFixedIsSolvedToo) {
  auto const mesh = Grid(1, 1, Rectangle(1, 1));
  auto problem = Of(1, 1);
  problem.fixedTemperatures.push_back({"left", {0, 2}, 10});
  problem.fixedTemperatures.push_back({"right", {1, 3}, 0});
  auto const solution = Solved(mesh, problem);
  EXPECT_EQ(solution.temperature, (std::vector<double>{10, 0, 10, 0}));
  EXPECT_NEAR(solution.fixedHeat[0], 10, 1e-12);
  EXPECT_EQ(solution.residual, 0);
}

TEST(heat_Solver, ReportsProgressUpToTheEnd) {
  auto const mesh = Grid(3, 3, Rectangle(1, 1));
  auto problem = Of(1, 1);
  problem.fixedTemperatures.push_back({"corner", {0}, 10});
  std::vector<double> shares;
  heat_Solver(mesh, problem).Solve([&](double share) { shares.push_back(share); });
  ASSERT_GE(shares.size(), 3u);
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_EQ(shares.back(), 1.0);
}
