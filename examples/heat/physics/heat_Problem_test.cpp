#include "examples/heat/physics/heat_Problem.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

struct Setup {
  heat_MeshData mesh;
  heat_Problem problem;
};

// Two separate squares of two triangles each, both in air.
Setup Sound() {
  Setup setup;
  setup.mesh.nodes = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {5, 0, 0}, {6, 0, 0}, {6, 1, 0}, {5, 1, 0}};
  setup.mesh.nodeTags = {1, 2, 3, 4, 5, 6, 7, 8};
  setup.mesh.triangles = {{0, 1, 2}, {0, 2, 3}, {4, 5, 6}, {4, 6, 7}};
  setup.mesh.regions = {1, 1, 2, 2};
  setup.problem.materials = {{"steel", 50, 0.01, 0}};
  setup.problem.materialOf = {0, 0, 0, 0};
  setup.problem.fixedTemperatures = {{"left", {0, 3}, 100}};
  setup.problem.edgeConvections = {{"rim", {{1, 2}}, 10, 20}};
  setup.problem.faceConvections = {{"air", {2, 3}, 10, 20}};
  setup.problem.edgeFluxes = {{"flame", {{5, 6}}, 1000}};
  return setup;
}

struct UnsoundCase {
  std::string has; // part of the error text
  std::function<void(Setup&)> damage;
};

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

std::vector<UnsoundCase> const unsoundCases{
    {"no triangles", [](Setup& s) { s.mesh.triangles.clear(); }},
    {"finite", [](Setup& s) { s.mesh.nodes[3][1] = nan; }},
    {"index 8", [](Setup& s) { s.mesh.triangles[1][1] = 8; }},
    {"index -1", [](Setup& s) { s.mesh.triangles[1][1] = -1; }},
    {"no area", [](Setup& s) { s.mesh.triangles[1][1] = 3; }},
    {"node 8 of the mesh belongs to no triangle",
     [](Setup& s) {
       s.mesh.nodes.push_back({9, 9, 9});
     }},
    {"no material", [](Setup& s) { s.problem.materials.clear(); }},
    {"'steel': the conductivity", [](Setup& s) { s.problem.materials[0].conductivity = 0; }},
    {"'steel': the conductivity", [](Setup& s) { s.problem.materials[0].conductivity = nan; }},
    {"'steel': the thickness", [](Setup& s) { s.problem.materials[0].thickness = -0.01; }},
    {"'steel': the thickness", [](Setup& s) { s.problem.materials[0].thickness = infinite; }},
    {"'steel': the heat source", [](Setup& s) { s.problem.materials[0].heatSource = nan; }},
    {"material for 3 triangles", [](Setup& s) { s.problem.materialOf.pop_back(); }},
    {"index 1", [](Setup& s) { s.problem.materialOf[2] = 1; }},
    {"'left': a node has index 8", [](Setup& s) { s.problem.fixedTemperatures[0].nodes[0] = 8; }},
    {"below absolute zero", [](Setup& s) { s.problem.fixedTemperatures[0].temperature = -274; }},
    {"finite", [](Setup& s) { s.problem.fixedTemperatures[0].temperature = infinite; }},
    {"held at another temperature by 'left'",
     [](Setup& s) {
       s.problem.fixedTemperatures.push_back({"corner", {3}, 90});
     }},
    {"'rim': the film", [](Setup& s) { s.problem.edgeConvections[0].film = -1; }},
    {"'rim': the temperature", [](Setup& s) { s.problem.edgeConvections[0].ambient = nan; }},
    {"not on the boundary",
     [](Setup& s) {
       s.problem.edgeConvections[0].edges[0] = {0, 2};
     }},
    {"not on the boundary",
     [](Setup& s) {
       s.problem.edgeConvections[0].edges[0] = {0, 99};
     }},
    {"named twice",
     [](Setup& s) {
       s.problem.edgeConvections[0].edges.push_back({2, 1});
     }},
    {"'air': the film", [](Setup& s) { s.problem.faceConvections[0].film = nan; }},
    {"'air': the temperature", [](Setup& s) { s.problem.faceConvections[0].ambient = -300; }},
    {"index 4", [](Setup& s) { s.problem.faceConvections[0].triangles[0] = 4; }},
    {"triangle 2 is named twice", [](Setup& s) { s.problem.faceConvections[0].triangles[1] = 2; }},
    {"'flame': the flux", [](Setup& s) { s.problem.edgeFluxes[0].flux = infinite; }},
    {"'flame': the edge",
     [](Setup& s) {
       s.problem.edgeFluxes[0].edges[0] = {4, 6};
     }},
    {"no unique solution: the part of the mesh around node 4",
     [](Setup& s) { s.problem.faceConvections.clear(); }},
    {"no unique solution", [](Setup& s) { s.problem.faceConvections[0].film = 0; }},
    {"no unique solution: the part of the mesh around node 0", [](Setup& s) {
       s.problem.fixedTemperatures.clear();
       s.problem.edgeConvections[0].film = 0;
     }}};

class Unsound : public testing::TestWithParam<std::size_t> {};

} // namespace

TEST(heat_Problem, ASoundOneIsAccepted) {
  auto setup = Sound();
  EXPECT_NO_THROW(heat_CheckProblem(setup.mesh, setup.problem));
  setup.problem.fixedTemperatures.push_back({"again", {3}, 100});
  setup.problem.materialOf.clear();
  EXPECT_NO_THROW(heat_CheckProblem(setup.mesh, setup.problem));
}

TEST_P(Unsound, IsRejectedWithTheReason) {
  auto const& param = unsoundCases[GetParam()];
  auto setup = Sound();
  param.damage(setup);
  try {
    heat_CheckProblem(setup.mesh, setup.problem);
    FAIL() << "accepted instead of: " << param.has;
  } catch (heat_ProblemError const& error) {
    EXPECT_NE(std::string(error.what()).find(param.has), std::string::npos) << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(heat_Problem, Unsound, testing::Range(std::size_t{0}, unsoundCases.size()));
