#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"
#include "examples/heat/physics/heat_BuildCase.h"
#include "examples/heat/physics/heat_Solver.h"
#include "examples/heat/physics/heat_TransientSolver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

namespace {

constexpr double conductivity = 40, thickness = 0.01, density = 8000, specificHeat = 500;
constexpr double alpha = conductivity / (density * specificHeat);
constexpr double length = 0.2; // of the strips

// A rectangle of columns x 2 cells of two triangles each.
heat_MeshData Strip(int columns) {
  heat_MeshData mesh;
  for (int j = 0; j <= 2; ++j)
    for (int i = 0; i <= columns; ++i) mesh.nodes.push_back({length * i / columns, length * j / columns, 0});
  for (int j = 0; j < 2; ++j) {
    for (int i = 0; i < columns; ++i) {
      int const a = j * (columns + 1) + i;
      int const c = a + columns + 1;
      mesh.triangles.push_back({a, a + 1, c + 1});
      mesh.triangles.push_back({a, c + 1, c});
    }
  }
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i) mesh.nodeTags.push_back(static_cast<int>(i) + 1);
  mesh.regions.assign(mesh.triangles.size(), 1);
  return mesh;
}

heat_Problem Steel() {
  heat_Problem problem;
  problem.materials = {{"steel", conductivity, thickness, 0, density, specificHeat}};
  return problem;
}

// Both ends of a strip are held at zero.
heat_Problem HeldAtBothEnds(heat_MeshData const& mesh) {
  heat_Problem problem = Steel();
  problem.fixedTemperatures = {{"ends", {}, 0}};
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i)
    if (mesh.nodes[i][0] == 0 || mesh.nodes[i][0] == length)
      problem.fixedTemperatures[0].nodes.push_back(static_cast<int>(i));
  return problem;
}

// The first eigenmode of a strip that is held at both ends.
std::vector<double> Mode(heat_MeshData const& mesh) {
  std::vector<double> field;
  for (auto const& node : mesh.nodes)
    field.push_back(node[0] == length ? 0 : 100 * std::sin(std::numbers::pi * node[0] / length));
  return field;
}

// The decay rate of the mode on a grid with cells of this size; in the limit alpha (pi / length)^2 [1/s].
double ModeRate(double cell) {
  return 2 * alpha / (cell * cell) * (1 - std::cos(std::numbers::pi * cell / length));
}

double LargestDifference(std::vector<double> const& a, std::vector<double> const& b) {
  double largest = 0;
  for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
  return largest;
}

// The difference between the crest of the mode and its value after decay at the given rate [1/s].
double ModeError(int columns, double time, int steps, double rate) {
  auto const mesh = Strip(columns);
  heat_TransientSolver const solver(mesh, HeldAtBothEnds(mesh), time / steps);
  auto field = Mode(mesh);
  for (int i = 0; i < steps; ++i) solver.Step(field);
  return *std::max_element(field.begin(), field.end()) - 100 * std::exp(-rate * time);
}

std::string MessageOf(heat_MeshData const& mesh, heat_Problem const& problem, double timeStep) {
  try {
    heat_TransientSolver const solver(mesh, problem, timeStep);
  } catch (heat_ProblemError const& error) {
    return error.what();
  }
  return "nothing is wrong";
}

} // namespace

TEST(heat_TransientSolver, AnEigenmodeDecaysByTheSameFactorInEachStep) {
  double const timeStep = 5;
  int const columns = 20;
  auto const mesh = Strip(columns);
  heat_TransientSolver const solver(mesh, HeldAtBothEnds(mesh), timeStep);
  auto const mode = Mode(mesh);
  auto field = mode;
  double factor = 1;
  for (int i = 0; i < 200; ++i) {
    solver.Step(field);
    factor /= 1 + ModeRate(length / columns) * timeStep;
    for (std::size_t node = 0; node < field.size(); ++node)
      ASSERT_NEAR(field[node], factor * mode[node], 1e-11) << "step " << i + 1 << " node " << node;
  }
}

TEST(heat_TransientSolver, TheErrorIsOfFirstOrderInTheTimeStep) {
  int const columns = 20;
  double const time = 200;                        // the mode has lost about two fifths by then
  double const rate = ModeRate(length / columns); // both include the error of the mesh
  double const fine = ModeError(columns, time, 800, rate);
  EXPECT_NEAR(ModeError(columns, time, 400, rate) / fine, 2, 0.01);
  EXPECT_NEAR(ModeError(columns, time, 200, rate) / fine, 4, 0.02);
  EXPECT_GT(fine, 0.005);
  EXPECT_LT(fine, 0.02);
}

TEST(heat_TransientSolver, TheErrorIsOfSecondOrderInTheMeshSize) {
  // The steps are so short that only the error of the mesh remains.
  double const rate = alpha * std::pow(std::numbers::pi / length, 2);
  double const fine = ModeError(16, 200, 40000, rate);
  EXPECT_NEAR(ModeError(8, 200, 40000, rate) / fine, 4, 0.15);
  EXPECT_LT(fine, 0.15);
}

TEST(heat_TransientSolver, APlateInAirCoolsAsALump) {
  auto const mesh = Strip(10);
  auto problem = Steel();
  problem.faceConvections = {{"air", {}, 15, 20}};
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t)
    problem.faceConvections[0].triangles.push_back(static_cast<int>(t));
  double const timeStep = 30;
  heat_TransientSolver const solver(mesh, problem, timeStep);
  auto field = solver.StartField(200);
  double excess = 180;
  for (int i = 0; i < 500; ++i) {
    solver.Step(field);
    excess /= 1 + 15 / (density * specificHeat * thickness) * timeStep;
    for (double const value : field) ASSERT_NEAR(value, 20 + excess, 1e-10) << "step " << i + 1;
  }
  EXPECT_NEAR(excess, 180 * std::exp(-15 / (density * specificHeat * thickness) * timeStep * 500), 0.5);
}

TEST(heat_TransientSolver, WhatAnInsulatedStepStoresIsWhatTheSourcePutsIn) {
  // With almost no convection the whole body warms up by q t / (rho c).
  auto const mesh = Strip(6);
  auto problem = Steel();
  problem.materials[0].heatSource = 1e5;
  problem.faceConvections = {{"almost vacuum", {0}, 1e-9, 0}};
  heat_TransientSolver const solver(mesh, problem, 10);
  auto field = solver.StartField(20);
  for (int i = 0; i < 100; ++i) solver.Step(field);
  for (double const value : field) EXPECT_NEAR(value, 20 + 1e5 * 1000 / (density * specificHeat), 1e-6);
}

TEST(heat_TransientSolver, TendsToTheSteadySolution) {
  for (char const* const name : {"bracket.msh", "block.msh"}) {
    auto const mesh = heat_MshReader::ReadFile(heat_DataFile(name));
    auto const problem = heat_BuildCase(mesh);
    heat_Solver const steady(mesh, problem);
    auto const goal = steady.Solve().temperature;
    heat_TransientSolver const solver(mesh, problem, 1000);
    auto field = solver.StartField(20);
    double before = LargestDifference(field, goal);
    EXPECT_GT(before, 10) << name;
    for (int i = 0; i < 3000; ++i) solver.Step(field);
    EXPECT_LT(LargestDifference(field, goal), 1e-10) << name;
    EXPECT_LT(steady.Residual(field), 1e-14) << name;
  }
}

TEST(heat_TransientSolver, ASteadyFieldStaysWhereItIs) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto const problem = heat_BuildCase(mesh);
  auto const steady = heat_Solver(mesh, problem).Solve().temperature;
  auto field = steady;
  heat_TransientSolver const solver(mesh, problem, 0.01);
  for (int i = 0; i < 100; ++i) solver.Step(field);
  EXPECT_LT(LargestDifference(field, steady), 1e-10);
}

TEST(heat_TransientSolver, AShortStepAfterAShockKeepsAllTemperaturesBetweenTheExtremes) {
  auto const mesh = Strip(20);
  auto problem = HeldAtBothEnds(mesh);
  problem.fixedTemperatures[0].temperature = 120;
  heat_TransientSolver const solver(mesh, problem, 1e-3);
  auto field = solver.StartField(20);
  for (int i = 0; i < 50; ++i) {
    solver.Step(field);
    EXPECT_GE(*std::min_element(field.begin(), field.end()), 20 - 1e-12);
    EXPECT_LE(*std::max_element(field.begin(), field.end()), 120 + 1e-12);
  }
}

TEST(heat_TransientSolver, ARunContinuedBySolversOfItsOwnHasTheSameBits) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto const problem = heat_BuildCase(mesh);
  heat_TransientSolver const solver(mesh, problem, 1);
  auto whole = solver.StartField(20);
  for (int i = 0; i < 60; ++i) solver.Step(whole);
  auto parts = solver.StartField(20);
  for (int part = 0; part < 6; ++part) {
    heat_TransientSolver const again(mesh, problem, 1);
    for (int i = 0; i < 10; ++i) again.Step(parts);
  }
  EXPECT_EQ(std::memcmp(whole.data(), parts.data(), whole.size() * sizeof(double)), 0);
}

TEST(heat_TransientSolver, StartsWithTheFixedNodesAtTheirTemperature) {
  auto const mesh = Strip(4);
  heat_TransientSolver const solver(mesh, HeldAtBothEnds(mesh), 1);
  EXPECT_EQ(solver.StartField(20),
            (std::vector<double>{0, 20, 20, 20, 0, 0, 20, 20, 20, 0, 0, 20, 20, 20, 0}));
}

TEST(heat_TransientSolver, AProblemWithAllNodesHeldStaysThere) {
  auto const mesh = Strip(2);
  auto problem = Steel();
  problem.fixedTemperatures = {{"all", std::vector<int>(mesh.nodes.size()), 70}};
  std::iota(problem.fixedTemperatures[0].nodes.begin(), problem.fixedTemperatures[0].nodes.end(), 0);
  heat_TransientSolver const solver(mesh, problem, 1);
  std::vector<double> field(mesh.nodes.size(), 5);
  solver.Step(field);
  EXPECT_EQ(field, std::vector<double>(mesh.nodes.size(), 70));
}

TEST(heat_TransientSolver, RefusesMaterialsWithoutCapacityAndInvalidTimeSteps) {
  auto const mesh = Strip(2);
  auto const good = HeldAtBothEnds(mesh);
  EXPECT_EQ(MessageOf(mesh, good, 1), "nothing is wrong");
  for (double const step : {0.0, -1.0, std::numeric_limits<double>::infinity(), std::nan("")})
    EXPECT_EQ(MessageOf(mesh, good, step), "the time step must be greater than zero");
  auto problem = good;
  problem.materials[0].density = 0;
  EXPECT_EQ(MessageOf(mesh, problem, 1), "material 'steel': the density must be greater than zero");
  problem = good;
  problem.materials[0].specificHeat = -1;
  EXPECT_EQ(MessageOf(mesh, problem, 1), "material 'steel': the specific heat must be greater than zero");
  problem = good;
  problem.materials[0].conductivity = 0;
  EXPECT_EQ(MessageOf(mesh, problem, 1), "material 'steel': the conductivity must be greater than zero");
  std::vector<double> field(3);
  EXPECT_THROW(heat_TransientSolver(mesh, good, 1).Step(field), heat_ProblemError);
}
