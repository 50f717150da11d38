#include "examples/truss/trs_System.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

namespace {

double Largest(trs_System::Vector const& values) {
  double largest = 0;
  for (double const value : values) largest = std::max(largest, std::abs(value));
  return largest;
}

} // namespace

trs_System::trs_System(trs_Truss const& truss)
    : m_Truss(truss), m_Masses(2 * truss.m_Joints.size()), m_IsFixed(m_Masses.size()) {
  std::unordered_map<trs_Joint const*, std::size_t> unknowns;
  for (auto const& joint : truss.m_Joints) {
    std::size_t const unknown = 2 * unknowns.size();
    unknowns.emplace(joint.get(), unknown);
    m_Masses[unknown] = m_Masses[unknown + 1] = joint->m_Mass;
  }
  for (auto const& member : truss.m_Members) {
    auto const& [start, end] = member->m_Ends;
    double const length = member->Length();
    if (!(length > 0)) throw std::runtime_error("member " + member->Name() + " has no length");
    if (!unknowns.contains(start.get()) || !unknowns.contains(end.get()))
      throw std::runtime_error("member " + member->Name() + " ends at a joint that the truss does not have");
    m_Elements.push_back({member.get(), unknowns.at(start.get()), unknowns.at(end.get()),
                          (end->m_At.x - start->m_At.x) / length, (end->m_At.y - start->m_At.y) / length});
    for (std::size_t const unknown : {m_Elements.back().m_Start, m_Elements.back().m_End})
      for (std::size_t const axis : {0, 1}) m_Masses[unknown + axis] += member->Mass() / 2;
  }
  for (trs_Support const& support : truss.m_Supports) {
    auto const unknown = 2 * static_cast<std::size_t>(support.joint) + static_cast<std::size_t>(support.axis);
    if (support.joint < 0 || unknown >= m_IsFixed.size())
      throw std::runtime_error("there is no joint " + std::to_string(support.joint) + " to support");
    m_IsFixed[unknown] = true;
  }
}

trs_System::Vector trs_System::Loads(trs_LoadCase const& loadCase) const {
  Vector loads(m_Masses.size());
  for (auto const& [joint, force] : loadCase.m_Forces) {
    if (joint < 0 || joint >= Size() / 2)
      throw std::runtime_error("there is no joint " + std::to_string(joint) + " to load");
    auto const unknown = 2 * static_cast<std::size_t>(joint);
    loads[unknown] = loadCase.m_Factor.value_or(1) * force.x;
    loads[unknown + 1] = loadCase.m_Factor.value_or(1) * force.y;
  }
  return loads;
}

trs_System::Vector trs_System::OutOfBalance(Vector const& loads, Vector const& displacements) const {
  Vector force = loads;
  for (Element const& element : m_Elements) {
    double const tension = element.m_Member->Force(element.Elongation(displacements));
    force[element.m_Start] += tension * element.m_X;
    force[element.m_Start + 1] += tension * element.m_Y;
    force[element.m_End] -= tension * element.m_X;
    force[element.m_End + 1] -= tension * element.m_Y;
  }
  return force;
}

trs_System::Vector trs_System::MemberForces(Vector const& displacements) const {
  Vector forces;
  forces.reserve(m_Elements.size());
  for (Element const& element : m_Elements)
    forces.push_back(element.m_Member->Force(element.Elongation(displacements)));
  return forces;
}

// The lower half. Rows and columns of fixed unknowns are those of the unit matrix.
std::vector<trs_System::Vector> trs_System::Stiffness(Vector const& displacements) const {
  std::vector<Vector> stiffness(m_Masses.size(), Vector(m_Masses.size()));
  for (Element const& element : m_Elements) {
    double const tangent = element.m_Member->Tangent(element.Elongation(displacements));
    std::size_t const unknowns[] = {element.m_Start, element.m_Start + 1, element.m_End, element.m_End + 1};
    double const direction[] = {-element.m_X, -element.m_Y, element.m_X, element.m_Y};
    for (std::size_t i = 0; i < 4; ++i)
      for (std::size_t j = 0; j < 4; ++j)
        if (unknowns[j] <= unknowns[i] && !m_IsFixed[unknowns[i]] && !m_IsFixed[unknowns[j]])
          stiffness[unknowns[i]][unknowns[j]] += tangent * direction[i] * direction[j];
  }
  for (std::size_t i = 0; i < stiffness.size(); ++i)
    if (m_IsFixed[i]) stiffness[i][i] = 1;
  return stiffness;
}

// Cholesky's method, from the first entry of each row that is not 0: joints that are near each other in the list
// make it fast.
trs_System::Vector trs_System::SolveLinear(std::vector<Vector> lower, Vector right) const {
  std::vector<std::size_t> first(lower.size());
  auto const product = [&](std::size_t i, std::size_t j) {
    double sum = 0;
    for (std::size_t k = std::max(first[i], first[j]); k < j; ++k) sum += lower[i][k] * lower[j][k];
    return sum;
  };
  for (std::size_t i = 0; i < lower.size(); ++i) {
    while (first[i] < i && lower[i][first[i]] == 0) ++first[i];
    for (std::size_t j = first[i]; j < i; ++j) lower[i][j] = (lower[i][j] - product(i, j)) / lower[j][j];
    double const rest = lower[i][i] - product(i, i);
    if (!(rest > 1e-10 * lower[i][i]))
      throw std::runtime_error("joint " + m_Truss.m_Joints[i / 2]->m_Name + " is free to move");
    lower[i][i] = std::sqrt(rest);
  }
  for (std::size_t i = 0; i < lower.size(); ++i) {
    for (std::size_t k = first[i]; k < i; ++k) right[i] -= lower[i][k] * right[k];
    right[i] /= lower[i][i];
  }
  for (std::size_t i = lower.size(); i-- > 0;) {
    right[i] /= lower[i][i];
    for (std::size_t k = first[i]; k < i; ++k) right[k] -= lower[i][k] * right[i];
  }
  return right;
}

trs_System::Vector trs_System::Solve(Vector const& loads) const {
  Vector displacements(m_Masses.size());
  double scale = 0;
  for (int iteration = 0; iteration < 50; ++iteration) {
    Vector force = OutOfBalance(loads, displacements);
    for (std::size_t i = 0; i < force.size(); ++i)
      if (m_IsFixed[i]) force[i] = 0;
    scale = std::max(scale, Largest(force));
    if (Largest(force) <= 1e-9 * scale) return displacements;
    Vector const change = SolveLinear(Stiffness(displacements), std::move(force));
    for (std::size_t i = 0; i < change.size(); ++i) displacements[i] += change[i];
  }
  throw std::runtime_error("no equilibrium after 50 iterations");
}

double trs_System::StableStep() const {
  Vector stiffness(m_Masses.size());
  for (Element const& element : m_Elements)
    for (std::size_t const unknown : {element.m_Start, element.m_End})
      stiffness[unknown] += 2 * element.m_Member->Tangent(0);
  double highest = 0; // the square of the frequency
  for (std::size_t i = 0; i < stiffness.size(); i += 2) {
    if (m_IsFixed[i] && m_IsFixed[i + 1]) continue;
    if (!(m_Masses[i] > 0))
      throw std::runtime_error("joint " + m_Truss.m_Joints[i / 2]->m_Name + " has no mass");
    highest = std::max(highest, stiffness[i] / m_Masses[i]);
  }
  if (highest == 0) throw std::runtime_error("nothing can move");
  return 0.9 * 2 / std::sqrt(highest);
}

std::unique_ptr<trs_Solution> trs_Solve(trs_Truss const& truss) {
  trs_System const system(truss);
  auto solution = std::make_unique<trs_Solution>();
  auto const columns = static_cast<int>(truss.m_Cases.size());
  solution->m_Forces = cow_2DArray<double>(static_cast<int>(truss.m_Members.size()), columns);
  solution->m_Displacements = cow_2DArray<double>(system.Size(), columns);
  for (auto const& [name, loadCase] : truss.m_Cases) {
    auto const column = static_cast<int>(solution->m_Cases.size());
    solution->m_Cases.push_back(name);
    auto const displacements = system.Solve(system.Loads(loadCase));
    for (int row = 0; double const value : displacements)
      solution->m_Displacements.Get(row++, column) = value;
    for (int row = 0; double const force : system.MemberForces(displacements))
      solution->m_Forces.Get(row++, column) = force;
  }
  return solution;
}

trs_Stepper::trs_Stepper(trs_System const& system, trs_System::Vector loads, trs_Run const& run)
    : m_System(system), m_Loads(std::move(loads)), m_Before(m_Loads.size()), m_Now(m_Loads.size()) {
  for (int i = 0; i < run.m_Width; ++i) {
    auto const unknown = static_cast<std::size_t>(i);
    if (run.LastStep() > 0) m_Before[unknown] = run.At(run.LastStep() - 1, i);
    m_Now[unknown] = run.At(run.LastStep(), i);
  }
}

void trs_Stepper::Step(trs_Run& run) {
  bool const isFirst = run.LastStep() == 0;
  double const drag = run.m_Damping * run.m_Step / 2;
  trs_System::Vector next(m_Now.size());
  trs_System::Vector const force = m_System.OutOfBalance(m_Loads, m_Now);
  for (std::size_t i = 0; i < next.size(); ++i) {
    if (m_System.IsFixed(i)) continue;
    double const moved = run.m_Step * run.m_Step * force[i] / m_System.Masses()[i];
    next[i] = isFirst ? moved / 2 : (2 * m_Now[i] - (1 - drag) * m_Before[i] + moved) / (1 + drag);
  }
  run.m_History.Append(next);
  m_Before = std::exchange(m_Now, std::move(next));
}
