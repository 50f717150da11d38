#pragma once

#include "examples/truss/trs_Model.h"

// The equations of a truss with small displacements (McGuire, Gallagher and Ziemian, Matrix Structural Analysis,
// chapters 2 and 3). Unknowns are the displacements x and y of all joints, [ux0, uy0, ux1, ...]. Masses are lumped:
// each joint has half of each member that ends at it.
class trs_System {
 public:
  using Vector = std::vector<double>;

  // Throws std::runtime_error for a truss that makes no sense, with the joint or member. The truss must live longer.
  explicit trs_System(trs_Truss const& truss);

  int Size() const { return static_cast<int>(m_Masses.size()); }
  Vector const& Masses() const { return m_Masses; }
  bool IsFixed(std::size_t unknown) const { return m_IsFixed[unknown]; }

  // The loads of a case, multiplied by its factor. Throws std::runtime_error if it loads a joint that is not there.
  Vector Loads(trs_LoadCase const& loadCase) const;
  // Loads minus the forces of the members: 0 in equilibrium, except where the truss is supported.
  Vector OutOfBalance(Vector const& loads, Vector const& displacements) const;
  // The force in each member [N]; tension is positive.
  Vector MemberForces(Vector const& displacements) const;

  // The displacements in equilibrium, by Newton's method, which takes one step if no cable goes slack or taut.
  // Throws std::runtime_error if a joint is free to move.
  Vector Solve(Vector const& loads) const;

  // A time step that is stable for central differences: less than 2 / w, where w is above all frequencies. By
  // Gershgorin's theorem for blocks (Feingold and Varga, Pacific J. Math. 12, 1962), w^2 is at most the largest
  // sum of 2 k / m over the members at a joint.
  double StableStep() const;

 private:
  struct Element {
    trs_Member const* m_Member;
    std::size_t m_Start, m_End; // the first unknown of each joint
    double m_X, m_Y;            // direction
    double Elongation(Vector const& u) const {
      return (u[m_End] - u[m_Start]) * m_X + (u[m_End + 1] - u[m_Start + 1]) * m_Y;
    }
  };
  std::vector<Vector> Stiffness(Vector const& displacements) const;
  Vector SolveLinear(std::vector<Vector> stiffness, Vector right) const;

  trs_Truss const& m_Truss;
  std::vector<Element> m_Elements;
  Vector m_Masses; // for each unknown
  std::vector<bool> m_IsFixed;
};

// Solves all load cases.
std::unique_ptr<trs_Solution> trs_Solve(trs_Truss const& truss);

// The next row of a run, by central differences with lumped masses (Cook, Malkus, Plesha and Witt, Concepts and
// Applications of Finite Element Analysis, 4th edition, section 11.12). It depends on the last two rows only, which
// the history has: so nothing else is stored for a run to go on.
class trs_Stepper {
 public:
  trs_Stepper(trs_System const& system, trs_System::Vector loads, trs_Run const& run);
  // REQUIRES: a transaction is open, or the run is not in a store.
  void Step(trs_Run& run);

 private:
  trs_System const& m_System;
  trs_System::Vector m_Loads, m_Before, m_Now;
};
