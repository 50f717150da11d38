#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/physics/heat_Problem.h"

#include <memory>
#include <vector>

// Transient heat conduction, rho c dT/dt = div(k grad T) + q, on the triangles and with the conditions of
// heat_Solver, which do not change with time.
//
// Steps of equal length by the implicit Euler method: stable for any length, an error of first order in it.
// The capacity is lumped at the nodes, so that the neighbours of a suddenly heated node are not cooled by it
// in the first short steps. The matrix C/dt + K is factored once. A step solves for the change of the field,
// (C/dt + K) dT = f - K T, whose right-hand side vanishes at the steady solution: rounding does not keep the
// field away from it.
//
// A step depends on nothing but the field it starts from, and computes in a fixed order: a run that is
// continued from a stored field takes the same bits as one that was never interrupted.
//
// Memory: the matrices and a few fields, however many steps there are. One thread.
class heat_TransientSolver {
 public:
  // Checks, assembles and factors; timeStep in seconds. Needs mesh and problem no more afterwards.
  // heat_ProblemError for what heat_CheckProblem refuses, a material without density or specific heat, or a
  // time step that is not above zero.
  heat_TransientSolver(heat_MeshData const& mesh, heat_Problem const& problem, double timeStep);
  heat_TransientSolver(heat_TransientSolver const&) = delete;
  heat_TransientSolver& operator=(heat_TransientSolver const&) = delete;
  ~heat_TransientSolver();

  // A field of one temperature, but for the nodes that are held at theirs.
  std::vector<double> StartField(double temperature) const;

  // Takes a field, one value for each node, one time step further. Fixed nodes get their temperatures.
  // heat_ProblemError if the number of values is wrong.
  void Step(std::vector<double>& temperature) const;

 private:
  struct System;
  std::unique_ptr<System> m_System;
};
