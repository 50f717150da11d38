#pragma once

#include "examples/failures/fail_Equations.h"
#include "examples/failures/fail_Truss.h"

#include <array>
#include <map>
#include <vector>

// A load step that reached equilibrium.
struct fail_Step {
  double loadFactor = 0;
  int iterations = 0;
  std::vector<double> displacements; // x and y of each node, in the order of the nodes [m]
};

// Static equilibrium of plane trusses under large displacements, one load step after the other.
//
// Bars use Green's strain, e = (l^2 - L^2) / (2 L^2), with current length l and initial length L, and stay
// elastic. Each load step is solved by Newton's method with the full tangent. In one iteration no
// displacement changes by more than a twentieth of the shortest bar, so that iterates stay near the
// equilibrium they start from. Beyond the limit point of a snap-through there is no equilibrium nearby, and
// the step does not converge.
//
// Each kind of failure throws its own exception of the nex_ family; the load steps completed before it are
// kept. The solver does numerics only and knows nothing of stores.
class fail_Solver {
 public:
  // The exit value of a run that has used up its budget of iterations.
  static constexpr int BudgetExitCode = 3;

  // Keeps references: both must outlive the solver and stay unchanged.
  fail_Solver(fail_Truss const& truss, fail_Control const& control) : m_Truss(truss), m_Control(control) {}
  fail_Solver(fail_Solver const&) = delete;
  fail_Solver& operator=(fail_Solver const&) = delete;

  // Runs all load steps. Call it once.
  //
  // nex_BadCastException       an element is not a bar
  //   nex_InvalidObjException    an element names a node that the truss does not have
  //   nex_AssertException        a bar has no length
  //   nex_SystemErrorException   the load table cannot be read
  //   nex_OutOfMemoryException   the stiffness matrix does not fit into the memory limit
  //   nex_ExitException          the budget of iterations is used up
  // nex_TextException          a load step does not converge; the truss is a mechanism; the table is invalid
  void Run();

  // The load steps that converged, also after a failure.
  std::vector<fail_Step> const& Steps() const { return m_Steps; }

 private:
  struct Member {
    std::array<std::size_t, 2> nodes; // as indexes
    double dx;                        // from the first to the second, initially [m]
    double dy;
    double length;
    double stiffness; // [N]
  };
  struct Deformed {
    double dx; // from the first to the second node, currently [m]
    double dy;
    double forcePerLength; // times (dx, dy): the force on the second node [N/m]
  };

  void NumberNodes();
  Member MemberOf(fail_Element const& element) const;
  std::size_t NodeIndex(fail_Element const& element, int number) const;
  void FindLargestChange();

  void RunStep(fail_Equations& equations, double loadFactor, std::size_t stepCount);
  void CountIteration(int iteration, double loadFactor, std::size_t stepCount, double residual);
  std::vector<double> OutOfBalance(double loadFactor) const;
  void Assemble(fail_Equations& equations) const;
  void Move(std::vector<double> const& change);
  Deformed Deform(Member const& member) const;

  fail_Truss const& m_Truss;
  fail_Control const& m_Control;
  std::map<int, std::size_t> m_NodeIndexes; // by node number
  std::vector<int> m_EquationOf;            // for x and y of each node; -1 if fixed
  std::size_t m_EquationCount = 0;
  std::vector<Member> m_Members;
  double m_LoadSize = 0;      // largest component of the reference load [N]
  double m_LargestChange = 0; // of a displacement in one iteration [m]
  std::vector<double> m_Displacements;
  int m_IterationCount = 0;
  std::vector<fail_Step> m_Steps;
};
