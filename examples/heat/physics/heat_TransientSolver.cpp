#include "examples/heat/physics/heat_TransientSolver.h"

#include "examples/heat/physics/heat_Equations.h"

#include <Eigen/SparseCholesky>

#include <cmath>
#include <cstddef>

namespace {

void CheckTransient(heat_MeshData const& mesh, heat_Problem const& problem, double timeStep) {
  heat_CheckProblem(mesh, problem);
  if (!std::isfinite(timeStep) || !(timeStep > 0))
    throw heat_ProblemError("the time step must be greater than zero");
  auto const check = [](heat_Material const& material, double value, char const* what) {
    if (!std::isfinite(value) || !(value > 0))
      throw heat_ProblemError("material '" + material.name + "': the " + what + " must be greater than zero");
  };
  for (auto const& material : problem.materials) {
    check(material, material.density, "density");
    check(material, material.specificHeat, "specific heat");
  }
}

} // namespace

struct heat_TransientSolver::System {
  System(heat_MeshData const& mesh, heat_Problem const& problem, double timeStep) {
    heat_Equations equations(mesh, problem);
    fixing = std::move(equations.fixing);
    stiffness = std::move(equations.stiffness);
    load = std::move(equations.load);
    if (fixing.freeCount == 0) return;
    heat_Matrix matrix = fixing.Reduced(stiffness);
    heat_Column const capacity = fixing.FreeOf(heat_LumpedCapacity(mesh, problem));
    for (int row = 0; row < fixing.freeCount; ++row) matrix.coeffRef(row, row) += capacity[row] / timeStep;
    factor.compute(matrix);
    if (factor.info() != Eigen::Success)
      throw heat_ProblemError("the matrix of the problem cannot be factored: it is not positive definite");
  }

  void Hold(Eigen::Map<heat_Column>& values) const {
    for (Eigen::Index node = 0; node < values.size(); ++node)
      if (fixing.row[static_cast<std::size_t>(node)] < 0) values[node] = fixing.value[node];
  }

  heat_Fixing fixing;
  heat_Matrix stiffness;
  heat_Column load;
  Eigen::SimplicialLLT<heat_Matrix> factor;
};

heat_TransientSolver::heat_TransientSolver(heat_MeshData const& mesh, heat_Problem const& problem,
                                           double timeStep) {
  CheckTransient(mesh, problem, timeStep);
  m_System = std::make_unique<System>(mesh, problem, timeStep);
}

heat_TransientSolver::~heat_TransientSolver() = default;

std::vector<double> heat_TransientSolver::StartField(double temperature) const {
  std::vector<double> field(static_cast<std::size_t>(m_System->load.size()), temperature);
  Eigen::Map<heat_Column> values(field.data(), m_System->load.size());
  m_System->Hold(values);
  return field;
}

void heat_TransientSolver::Step(std::vector<double>& temperature) const {
  System const& system = *m_System;
  if (temperature.size() != static_cast<std::size_t>(system.load.size()))
    throw heat_ProblemError("the temperature field has " + std::to_string(temperature.size()) +
                            " values, the mesh has " + std::to_string(system.load.size()) + " nodes");
  Eigen::Map<heat_Column> values(temperature.data(), system.load.size());
  system.Hold(values);
  if (system.fixing.freeCount == 0) return;
  heat_Column all = values;
  heat_Column const missing = system.fixing.FreeOf(system.load - system.stiffness * all);
  system.fixing.AddFree(system.factor.solve(missing), all);
  values = all;
}
