#include "examples/heat/physics/heat_Solver.h"

#include "examples/heat/physics/heat_Equations.h"

#include <Eigen/SparseCholesky>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace {

std::size_t Slot(int index) {
  return static_cast<std::size_t>(index);
}

heat_Vector FluxIn(heat_MeshData const& mesh, heat_Problem const& problem, std::size_t t,
                   heat_Column const& values) {
  auto const& triangle = mesh.triangles[t];
  auto const edges = heat_OppositeEdges(mesh, triangle);
  auto const areaVector = heat_AreaVector(mesh, triangle);
  auto const area = heat_Length(areaVector);
  heat_Vector gradient{};
  for (std::size_t i = 0; i < 3; ++i) {
    auto const turned = heat_Cross(areaVector, edges[i]);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      gradient[axis] += values[triangle[i]] * turned[axis] / (2 * area * area);
    }
  }
  return heat_Scaled(gradient, -heat_MaterialAt(problem, t).conductivity);
}

template <std::size_t Corners> double Mean(std::array<int, Corners> const& nodes, heat_Column const& values) {
  double sum = 0;
  for (auto const node : nodes) sum += values[node];
  return sum / static_cast<double>(Corners);
}

} // namespace

struct heat_Solver::System {
  System(heat_MeshData const& mesh, heat_Problem const& problem) : equations(mesh, problem) {}

  double ConvectedHeat(heat_MeshData const& mesh, heat_Problem const& problem,
                       heat_Column const& values) const {
    double heat = 0;
    for (auto const& convection : problem.faceConvections) {
      for (auto const t : convection.triangles) {
        auto const& triangle = mesh.triangles[Slot(t)];
        heat += convection.film * heat_AreaOf(mesh, triangle) * (Mean(triangle, values) - convection.ambient);
      }
    }
    for (auto const& convection : problem.edgeConvections) {
      for (auto const& edge : convection.edges) {
        heat += convection.film * equations.areas(edge) * (Mean(edge, values) - convection.ambient);
      }
    }
    return heat;
  }

  // Solves for the free nodes; the fixed ones keep their values.
  heat_Column Temperatures(heat_ProgressCall const& progress) const {
    auto const& fixing = equations.fixing;
    heat_Column values = fixing.value;
    if (fixing.freeCount == 0) return values;
    Eigen::SimplicialLLT<heat_Matrix> factor;
    auto const reduced = fixing.Reduced(equations.stiffness);
    factor.analyzePattern(reduced);
    if (progress) progress(0.2);
    factor.factorize(reduced);
    if (factor.info() != Eigen::Success) {
      throw heat_ProblemError("the matrix of the problem cannot be factored: it is not positive definite");
    }
    for (int step = 0; step < 2; ++step) {
      if (progress) progress(0.8 + 0.1 * step);
      heat_Column const missing = fixing.FreeOf(equations.load - equations.stiffness * values);
      fixing.AddFree(factor.solve(missing), values);
    }
    return values;
  }

  heat_Equations equations;
};

double heat_Solution::Imbalance() const {
  double sum = appliedHeat - convectedHeat;
  for (auto const heat : fixedHeat) sum += heat;
  return sum;
}

heat_Solver::heat_Solver(heat_MeshData const& mesh, heat_Problem const& problem)
    : m_Mesh(mesh), m_Problem(problem) {
  heat_CheckProblem(mesh, problem);
  m_System = std::make_unique<System>(mesh, problem);
}

heat_Solver::~heat_Solver() = default;

heat_Solution heat_Solver::Solve(heat_ProgressCall const& progress) const {
  heat_Column const values = m_System->Temperatures(progress);
  heat_Solution solution;
  solution.temperature.assign(values.begin(), values.end());
  solution.residual = Residual(solution.temperature);
  solution.flux.reserve(m_Mesh.triangles.size());
  for (std::size_t t = 0; t < m_Mesh.triangles.size(); ++t) {
    solution.flux.push_back(FluxIn(m_Mesh, m_Problem, t, values));
  }
  heat_Column const reaction = m_System->equations.stiffness * values - m_System->equations.load;
  solution.fixedHeat.assign(m_Problem.fixedTemperatures.size(), 0.0);
  for (Eigen::Index node = 0; node < reaction.size(); ++node) {
    auto const owner = m_System->equations.fixing.owner[Slot(static_cast<int>(node))];
    if (owner >= 0) solution.fixedHeat[Slot(owner)] += reaction[node];
  }
  solution.appliedHeat = m_System->equations.appliedHeat;
  solution.convectedHeat = m_System->ConvectedHeat(m_Mesh, m_Problem, values);
  if (progress) progress(1.0);
  return solution;
}

double heat_Solver::Residual(std::vector<double> const& temperature) const {
  if (temperature.size() != m_Mesh.nodes.size()) {
    throw heat_ProblemError("the temperature field has " + std::to_string(temperature.size()) +
                            " values, the mesh has " + std::to_string(m_Mesh.nodes.size()) + " nodes");
  }
  auto const isFinite = [](double value) { return std::isfinite(value); };
  if (!std::all_of(temperature.begin(), temperature.end(), isFinite)) {
    return std::numeric_limits<double>::infinity();
  }
  auto const& system = m_System->equations;
  heat_Column const values =
      Eigen::Map<heat_Column const>(temperature.data(), static_cast<Eigen::Index>(temperature.size()));
  heat_Column const rest = system.stiffness * values - system.load;
  heat_Column const terms = system.stiffness.cwiseAbs() * values.cwiseAbs() + system.load.cwiseAbs();
  double worstFree = 0;
  double worstFixed = 0;
  for (Eigen::Index node = 0; node < values.size(); ++node) {
    if (system.fixing.row[Slot(static_cast<int>(node))] >= 0) {
      worstFree = std::max(worstFree, std::abs(rest[node]));
    } else {
      worstFixed = std::max(worstFixed, std::abs(values[node] - system.fixing.value[node]));
    }
  }
  auto const termScale = terms.maxCoeff();
  auto const valueScale = std::max(values.cwiseAbs().maxCoeff(), system.fixing.value.cwiseAbs().maxCoeff());
  return std::max(termScale > 0 ? worstFree / termScale : worstFree,
                  valueScale > 0 ? worstFixed / valueScale : worstFixed);
}
