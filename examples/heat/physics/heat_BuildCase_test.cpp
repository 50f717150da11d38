#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"
#include "examples/heat/physics/heat_BuildCase.h"
#include "examples/heat/physics/heat_Solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

double Least(heat_Solution const& solution) {
  return *std::min_element(solution.temperature.begin(), solution.temperature.end());
}

double Most(heat_Solution const& solution) {
  return *std::max_element(solution.temperature.begin(), solution.temperature.end());
}

// Two triangles that rest on a point.
heat_MeshData Kite() {
  heat_MeshData mesh;
  mesh.nodes = {{0, 0, 0}, {1, 1, 0}, {0, 2, 0}, {-1, 1, 0}};
  mesh.nodeTags = {1, 2, 3, 4};
  mesh.triangles = {{0, 1, 3}, {1, 2, 3}};
  mesh.regions = {1, 1};
  return mesh;
}

} // namespace

TEST(heat_BuildCase, TheBracketStandsOnItsHotFeet) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto const problem = heat_BuildCase(mesh);
  ASSERT_EQ(problem.fixedTemperatures.size(), 1u);
  auto const& base = problem.fixedTemperatures[0];
  EXPECT_GT(base.nodes.size(), 4u);
  for (auto const node : base.nodes) EXPECT_EQ(mesh.nodes[static_cast<std::size_t>(node)][1], 0);
  ASSERT_EQ(problem.faceConvections.size(), 2u);
  EXPECT_EQ(problem.faceConvections[0].triangles.size(), mesh.triangles.size());
  ASSERT_EQ(problem.edgeConvections.size(), 1u);
  // The feet are two rows of edges.
  EXPECT_EQ(problem.edgeConvections[0].edges.size() + base.nodes.size() - 2, heat_BoundaryEdges(mesh).size());
  auto const solution = heat_Solver(mesh, problem).Solve();
  EXPECT_EQ(Most(solution), 120);
  EXPECT_GT(Least(solution), 20);
  EXPECT_LT(Least(solution), 100);
  EXPECT_GT(solution.fixedHeat[0], 0);
  EXPECT_LT(std::abs(solution.Imbalance()), 1e-9 * solution.convectedHeat);
  EXPECT_LT(solution.residual, 1e-14);
}

TEST(heat_BuildCase, TheBlockStandsOnItsHotFloorUnderACoolant) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("block.msh"));
  auto const problem = heat_BuildCase(mesh);
  for (auto const node : problem.fixedTemperatures.at(0).nodes) {
    EXPECT_EQ(mesh.nodes[static_cast<std::size_t>(node)][2], 0);
  }
  EXPECT_TRUE(problem.edgeConvections.empty());
  ASSERT_EQ(problem.faceConvections.size(), 2u);
  double top = 0;
  for (auto const t : problem.faceConvections[1].triangles) {
    top += heat_AreaVector(mesh, mesh.triangles[static_cast<std::size_t>(t)])[2];
  }
  EXPECT_NEAR(top, 1, 1e-12);
  double walls = 0;
  for (auto const t : problem.faceConvections[0].triangles) {
    walls += heat_Length(heat_AreaVector(mesh, mesh.triangles[static_cast<std::size_t>(t)]));
  }
  EXPECT_NEAR(walls, 6 - 1 - 0.75, 1e-12); // all but the top and the floor
  auto const solution = heat_Solver(mesh, problem).Solve();
  EXPECT_EQ(Most(solution), 120);
  EXPECT_GT(Least(solution), 5);
  EXPECT_LT(Least(solution), 60);
  EXPECT_LT(std::abs(solution.Imbalance()), 1e-9 * solution.convectedHeat);
}

TEST(heat_BuildCase, APartOnAPointIsHeldInABand) {
  auto const mesh = Kite();
  auto const problem = heat_BuildCase(mesh);
  EXPECT_EQ(problem.fixedTemperatures.at(0).nodes, (std::vector<int>{0}));
  EXPECT_NO_THROW(heat_CheckProblem(mesh, problem));
  auto fine = mesh;
  fine.nodes.push_back({0.02, 0.02, 0});
  fine.nodeTags.push_back(5);
  fine.triangles = {{0, 4, 3}, {4, 1, 3}, {1, 2, 3}};
  fine.regions = {1, 1, 1};
  EXPECT_EQ(heat_BuildCase(fine).fixedTemperatures.at(0).nodes, (std::vector<int>{0, 4}));
}

TEST(heat_BuildCase, TheOptionsSetTheNumbers) {
  heat_CaseOptions options;
  options.baseTemperature = 60;
  options.airTemperature = -10;
  options.airFilm = 7;
  options.conductivity = 200;
  options.thickness = 0.003;
  auto const problem = heat_BuildCase(Kite(), options);
  EXPECT_EQ(problem.fixedTemperatures.at(0).temperature, 60);
  EXPECT_EQ(problem.faceConvections.at(1).ambient, -10);
  EXPECT_EQ(problem.edgeConvections.at(0).film, 7);
  EXPECT_EQ(problem.materials.at(0).conductivity, 200);
  EXPECT_EQ(problem.materials.at(0).thickness, 0.003);
  EXPECT_EQ(heat_BuildCase(Kite()).materials.at(0).thickness, 2.0 / 25);
}

TEST(heat_BuildCase, AMeshTurnedUprightGivesTheSameSolution) {
  auto flat = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto upright = flat;
  for (auto& node : upright.nodes) node = {node[0], 0.5, node[1]};
  auto const first = heat_Solver(flat, heat_BuildCase(flat)).Solve();
  auto const problem = heat_BuildCase(upright);
  auto const second = heat_Solver(upright, problem).Solve();
  for (std::size_t i = 0; i < first.temperature.size(); ++i) {
    ASSERT_NEAR(first.temperature[i], second.temperature[i], 1e-9);
  }
}
