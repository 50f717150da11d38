#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/mesh/heat_ProgressCall.h"
#include "examples/heat/physics/heat_Problem.h"

#include <memory>
#include <vector>

// A solved problem.
struct heat_Solution {
  std::vector<double> temperature; // of each node [K] or [deg C]
  std::vector<heat_Vector> flux;   // of each triangle, constant in it [W/m^2]
  std::vector<double> fixedHeat;   // heat that each fixed temperature supplies to the body [W]
  double appliedHeat = 0;          // heat that sources and given flows supply to the body [W]
  double convectedHeat = 0;        // heat that leaves the body by convection [W]
  double residual = 0;             // see heat_Solver::Residual

  // Heat supplied minus heat lost [W]: zero except for rounding.
  double Imbalance() const;
};

// Steady heat conduction, div(k grad T) + q = 0, with linear triangles that may lie anywhere in space: a
// plate, or the shell of a body. The temperature is constant across the thickness.
//
// The element matrices are the textbook ones of the Galerkin method. With e_i the edge vector opposite to
// node i, A the area and t the thickness: conduction k t (e_i . e_j) / (4 A); convection h A/12 (1 +
// delta_ij) on a face and h t L/6 (1 + delta_ij) on an edge of length L; heat is shared equally among the
// nodes. Fixed temperatures are eliminated with their columns, which keeps the matrix symmetric and positive
// definite; it is factored by a sparse Cholesky decomposition, and the solution gets one step of iterative
// refinement.
//
// The computation is sequential and in a fixed order, so the same input gives the same bits.
class heat_Solver {
 public:
  // Checks the problem (see heat_CheckProblem) and assembles. Keeps references: both must outlive the solver
  // and stay unchanged.
  heat_Solver(heat_MeshData const& mesh, heat_Problem const& problem);
  heat_Solver(heat_Solver const&) = delete;
  heat_Solver& operator=(heat_Solver const&) = delete;
  ~heat_Solver();

  // Throws heat_ProblemError if the matrix cannot be factored.
  heat_Solution Solve(heat_ProgressCall const& progress = {}) const;

  // How well a temperature field, one value per node, satisfies K T = f: the largest |K T - f| of a free node
  // divided by the largest sum of absolute values of its terms, or the largest relative deviation from a
  // fixed temperature if that is larger. About 1e-15 for a solution; for a wrong field, about the relative
  // error of the temperatures; infinite if a value is not finite. Throws heat_ProblemError if the number of
  // values is wrong.
  double Residual(std::vector<double> const& temperature) const;

 private:
  struct System;

  heat_MeshData const& m_Mesh;
  heat_Problem const& m_Problem;
  std::unique_ptr<System> m_System;
};
