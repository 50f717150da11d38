#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/physics/heat_Problem.h"

#include <memory>
#include <vector>

// Transient heat conduction, rho c dT/dt = div(k grad T) + q, with the triangles and conditions of
// heat_Solver. The conditions are constant in time.
//
// The implicit Euler method with steps of equal length: stable for any length, with a first-order error. The
// capacity is lumped at the nodes; otherwise the first short steps would cool the neighbours of a suddenly
// heated node. The matrix C/dt + K is factored once. A step solves for the change of the field, (C/dt + K) dT
// = f - K T. Its right-hand side vanishes at the steady solution, so rounding does not stop the field short
// of it.
//
// A step depends only on the field it starts from and computes in a fixed order: continuing a run from a
// stored field gives the same bits as a run without interruption.
//
// Memory: the matrices and a few fields, independent of the number of steps. One thread.
class heat_TransientSolver {
 public:
  // Checks, assembles and factors; timeStep in seconds. Mesh and problem are not needed afterwards. Throws
  // heat_ProblemError for problems that heat_CheckProblem refuses, for a material without density or specific
  // heat, and for a time step that is not above zero.
  heat_TransientSolver(heat_MeshData const& mesh, heat_Problem const& problem, double timeStep);
  heat_TransientSolver(heat_TransientSolver const&) = delete;
  heat_TransientSolver& operator=(heat_TransientSolver const&) = delete;
  ~heat_TransientSolver();

  // A field of uniform temperature, except for nodes held at their own.
  std::vector<double> StartField(double temperature) const;

  // Advances a field, one value per node, by one time step. Fixed nodes are set to their temperatures. Throws
  // heat_ProblemError if the number of values is wrong.
  void Step(std::vector<double>& temperature) const;

 private:
  struct System;
  std::unique_ptr<System> m_System;
};
