#pragma once

#include "examples/failures/fail_Equations.h"
#include "examples/failures/fail_Truss.h"

#include <array>
#include <map>
#include <vector>

// A load step in equilibrium.
struct fail_Step {
  double loadFactor = 0;
  int iterations = 0;
  std::vector<double> displacements; // x and y of each node, in the order of the nodes [m]
};

// Static equilibrium of plane trusses under large displacements, one load step after the other.
//
// Bars strain after Green, e = (l^2 - L^2) / (2 L^2) with the length l now and L at first, and stay elastic.
// Each load step is solved by Newton's method with the full tangent. No displacement changes by more than a
// twentieth of the shortest bar in one iteration, so that the iterates stay near the equilibrium that they
// come from: beyond the limit point of a snap-through there is none near, and the step does not converge.
//
// What can go wrong is raised as an exception of the nex_ family, each for a reason of its own; the load
// steps up to there are kept. Numerics alone: nothing here knows of stores.
class fail_Solver {
 public:
  // How a run ends whose budget of iterations is used up.
  static constexpr int BudgetExitCode = 3;

  // Keeps references: both must outlive the solver unchanged.
  fail_Solver(fail_Truss const& truss, fail_Control const& control) : m_Truss(truss), m_Control(control) {}
  fail_Solver(fail_Solver const&) = delete;
  fail_Solver& operator=(fail_Solver const&) = delete;

  // Runs all load steps. To be called once.
  //
  //   nex_BadCastException       an element is no bar
  //   nex_InvalidObjException    an element names a node that the truss does not have
  //   nex_AssertException        a bar has no length
  //   nex_SystemErrorException   the load table cannot be read
  //   nex_OutOfMemoryException   the stiffness matrix does not fit into the memory limit
  //   nex_ExitException          the budget of iterations is used up
  //   nex_TextException          a load step does not converge; the truss is a mechanism; the table is wrong
  void Run();

  // The load steps that have converged, also after a failure.
  std::vector<fail_Step> const& Steps() const { return m_Steps; }

 private:
  struct Member {
    std::array<std::size_t, 2> nodes; // their indexes
    double dx;                        // from the first to the second, at first [m]
    double dy;
    double length;
    double stiffness; // [N]
  };
  struct Deformed {
    double dx; // from the first to the second node, now [m]
    double dy;
    double forcePerLength; // what it is to be multiplied by for the force on the second node [N/m]
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
  std::vector<int> m_EquationOf;            // of x and y of each node, -1 where it is held
  std::size_t m_EquationCount = 0;
  std::vector<Member> m_Members;
  double m_LoadSize = 0;      // largest component of the reference load [N]
  double m_LargestChange = 0; // of a displacement in one iteration [m]
  std::vector<double> m_Displacements;
  int m_IterationCount = 0;
  std::vector<fail_Step> m_Steps;
};
