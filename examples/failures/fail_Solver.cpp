#include "examples/failures/fail_Solver.h"

#include "errors/nex_AssertException.h"
#include "errors/nex_Cast.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_TextException.h"
#include "examples/failures/fail_LoadTable.h"
#include "examples/failures/fail_Message.h"

#include <algorithm>
#include <cmath>

// Throws nex_AssertException, with the condition's text, if the condition is false.
#define FAIL_ASSERT(condition)                                                                               \
  do {                                                                                                       \
    if (!(condition)) nex_AssertException(cow_String(#condition)).Throw("fail_Solver", __LINE__);            \
  } while (false)

namespace {

double Largest(std::vector<double> const& values) {
  double largest = 0;
  for (double const value : values) largest = std::max(largest, std::abs(value));
  return largest;
}

} // namespace

void fail_Solver::Run() {
  NumberNodes();
  for (auto const& element : m_Truss.elements) m_Members.push_back(MemberOf(*element));
  FindLargestChange();
  std::vector<double> const loadFactors =
      m_Control.loadTablePath.empty() ? m_Control.loadFactors : fail_LoadTable::Read(m_Control.loadTablePath);
  fail_Equations equations(m_EquationCount, m_Control.memoryLimitBytes);
  for (double const loadFactor : loadFactors) RunStep(equations, loadFactor, loadFactors.size());
}

void fail_Solver::NumberNodes() {
  for (fail_Node const& node : m_Truss.nodes) {
    m_NodeIndexes.emplace(node.number, m_NodeIndexes.size());
    for (bool const isFixed : {node.isFixedX, node.isFixedY})
      m_EquationOf.push_back(isFixed ? -1 : static_cast<int>(m_EquationCount++));
    m_LoadSize = std::max({m_LoadSize, std::abs(node.loadX), std::abs(node.loadY)});
  }
  FAIL_ASSERT(m_NodeIndexes.size() == m_Truss.nodes.size());
  m_Displacements.assign(m_EquationOf.size(), 0.0);
}

fail_Solver::Member fail_Solver::MemberOf(fail_Element const& element) const {
  nex_canDynamicCastRef(fail_Bar::TypeId(), element.DynTypeId(), "fail_Solver", __LINE__);
  auto const& bar = static_cast<fail_Bar const&>(element);
  Member member{};
  for (std::size_t end = 0; end < 2; ++end) member.nodes[end] = NodeIndex(bar, bar.Nodes()[end]);
  fail_Node const& first = m_Truss.nodes[member.nodes[0]];
  fail_Node const& second = m_Truss.nodes[member.nodes[1]];
  member.dx = second.x - first.x;
  member.dy = second.y - first.y;
  member.stiffness = bar.Stiffness();
  double const length = std::hypot(member.dx, member.dy);
  FAIL_ASSERT(length > 0);
  member.length = length;
  return member;
}

std::size_t fail_Solver::NodeIndex(fail_Element const& element, int number) const {
  auto const found = m_NodeIndexes.find(number);
  if (found == m_NodeIndexes.end())
    nex_InvalidObjException(fail_Message("Element %s names node %s, which the truss does not have.",
                                         {fail_Text(element.Number()), fail_Text(number)}))
        .Throw("fail_Solver", __LINE__);
  return found->second;
}

void fail_Solver::FindLargestChange() {
  if (m_Members.empty()) return;
  auto const shortest =
      std::min_element(m_Members.begin(), m_Members.end(),
                       [](Member const& a, Member const& b) { return a.length < b.length; });
  m_LargestChange = shortest->length / 20;
}

void fail_Solver::RunStep(fail_Equations& equations, double loadFactor, std::size_t stepCount) {
  for (int iteration = 0;; ++iteration) {
    std::vector<double> const force = OutOfBalance(loadFactor);
    double const residual = Largest(force);
    if (residual <= m_Control.tolerance * m_LoadSize) {
      m_Steps.push_back({loadFactor, iteration, m_Displacements});
      return;
    }
    CountIteration(iteration, loadFactor, stepCount, residual);
    Assemble(equations);
    Move(equations.Solve(force));
  }
}

// Call before another iteration: throws if it is not allowed.
void fail_Solver::CountIteration(int iteration, double loadFactor, std::size_t stepCount, double residual) {
  std::size_t const step = m_Steps.size() + 1;
  if (iteration == m_Control.iterationsPerStep)
    nex_TextException(
        fail_Message("Load step %s of %s, load factor %s: no equilibrium after %s iterations, residual %s N.",
                     {fail_Text(step), fail_Text(stepCount), fail_Text(loadFactor), fail_Text(iteration),
                      fail_Text(residual)}))
        .Throw("fail_Solver", __LINE__);
  if (m_IterationCount == m_Control.iterationBudget)
    nex_ExitException(
        {fail_Message("The budget of %s iterations is used up in load step %s of %s.",
                      {fail_Text(m_Control.iterationBudget), fail_Text(step), fail_Text(stepCount)}),
         BudgetExitCode})
        .Throw("fail_Solver", __LINE__);
  ++m_IterationCount;
}

fail_Solver::Deformed fail_Solver::Deform(Member const& member) const {
  std::size_t const first = 2 * member.nodes[0];
  std::size_t const second = 2 * member.nodes[1];
  double const dx = member.dx + m_Displacements[second] - m_Displacements[first];
  double const dy = member.dy + m_Displacements[second + 1] - m_Displacements[first + 1];
  double const square = member.length * member.length;
  double const strain = (dx * dx + dy * dy - square) / (2 * square);
  return {dx, dy, member.stiffness * strain / member.length};
}

// The load minus what the bars carry, for each equation.
std::vector<double> fail_Solver::OutOfBalance(double loadFactor) const {
  std::vector<double> force(m_EquationCount);
  auto const add = [&](std::size_t component, double value) {
    if (m_EquationOf[component] >= 0) force[static_cast<std::size_t>(m_EquationOf[component])] += value;
  };
  for (std::size_t i = 0; i < m_Truss.nodes.size(); ++i) {
    add(2 * i, loadFactor * m_Truss.nodes[i].loadX);
    add(2 * i + 1, loadFactor * m_Truss.nodes[i].loadY);
  }
  for (Member const& member : m_Members) {
    Deformed const now = Deform(member);
    for (std::size_t end = 0; end < 2; ++end) {
      double const sign = end == 0 ? 1 : -1;
      add(2 * member.nodes[end], sign * now.forcePerLength * now.dx);
      add(2 * member.nodes[end] + 1, sign * now.forcePerLength * now.dy);
    }
  }
  return force;
}

// The tangent of a bar: [k -k; -k k] with k = EA/L^3 d d^T + (force per length) I, d from end to end.
void fail_Solver::Assemble(fail_Equations& equations) const {
  equations.Clear();
  for (Member const& member : m_Members) {
    Deformed const now = Deform(member);
    double const material = member.stiffness / (member.length * member.length * member.length);
    std::array<double, 2> const d{now.dx, now.dy};
    for (std::size_t a = 0; a < 4; ++a) {
      for (std::size_t b = 0; b < 4; ++b) {
        int const row = m_EquationOf[2 * member.nodes[a / 2] + a % 2];
        int const column = m_EquationOf[2 * member.nodes[b / 2] + b % 2];
        if (row < 0 || column < 0) continue;
        double const k = material * d[a % 2] * d[b % 2] + (a % 2 == b % 2 ? now.forcePerLength : 0);
        equations.Add(static_cast<std::size_t>(row), static_cast<std::size_t>(column),
                      a / 2 == b / 2 ? k : -k);
      }
    }
  }
}

void fail_Solver::Move(std::vector<double> const& change) {
  double const largest = Largest(change);
  double const scale = largest > m_LargestChange ? m_LargestChange / largest : 1;
  for (std::size_t i = 0; i < m_EquationOf.size(); ++i)
    if (m_EquationOf[i] >= 0) m_Displacements[i] += scale * change[static_cast<std::size_t>(m_EquationOf[i])];
}
