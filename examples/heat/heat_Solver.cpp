#include "examples/heat/heat_Solver.h"

#include <Eigen/SparseCholesky>
#include <Eigen/SparseCore>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>

using Matrix = Eigen::SparseMatrix<double>;
using Vector = Eigen::VectorXd;
using Triplets = std::vector<Eigen::Triplet<double>>;

namespace {

std::size_t At(int index) {
  return static_cast<std::size_t>(index);
}

heat_Material const& MaterialOf(heat_Problem const& problem, std::size_t triangle) {
  return problem.materials[problem.materialOf.empty() ? 0 : At(problem.materialOf[triangle])];
}

// The edge vectors of a triangle, each opposite to the node with its number.
std::array<heat_Vector, 3> OppositeEdges(heat_MeshData const& mesh, std::array<int, 3> const& triangle) {
  auto const& a = mesh.nodes[At(triangle[0])];
  auto const& b = mesh.nodes[At(triangle[1])];
  auto const& c = mesh.nodes[At(triangle[2])];
  return {heat_Minus(c, b), heat_Minus(a, c), heat_Minus(b, a)};
}

double Area(heat_MeshData const& mesh, std::array<int, 3> const& triangle) {
  return heat_Length(heat_AreaVector(mesh, triangle));
}

// The area of boundary edges: length times thickness.
class EdgeAreas {
 public:
  EdgeAreas(heat_MeshData const& mesh, heat_Problem const& problem) : m_Mesh(mesh), m_Problem(problem) {
    if (problem.edgeConvections.empty() && problem.edgeFluxes.empty()) return;
    for (auto const& side : heat_BoundarySides(mesh)) {
      m_Triangles[std::minmax(side.edge[0], side.edge[1])] = At(side.triangle);
    }
  }

  double operator()(heat_Edge const& edge) const {
    auto const triangle = m_Triangles.at(std::minmax(edge[0], edge[1]));
    auto const length = heat_Length(heat_Minus(m_Mesh.nodes[At(edge[1])], m_Mesh.nodes[At(edge[0])]));
    return length * MaterialOf(m_Problem, triangle).thickness;
  }

 private:
  heat_MeshData const& m_Mesh;
  heat_Problem const& m_Problem;
  std::map<std::pair<int, int>, std::size_t> m_Triangles;
};

// Collects the matrix K and the right-hand side f of all nodes, fixed or not.
class Assembly {
 public:
  Assembly(heat_MeshData const& mesh, heat_Problem const& problem, EdgeAreas const& areas)
      : m_Mesh(mesh), m_Problem(problem), m_Load(Vector::Zero(static_cast<Eigen::Index>(mesh.nodes.size()))) {
    m_Triplets.reserve(18 * mesh.triangles.size());
    for (std::size_t t = 0; t < mesh.triangles.size(); ++t) AddConduction(t);
    for (auto const& convection : problem.faceConvections) AddFaces(convection);
    for (auto const& convection : problem.edgeConvections) {
      for (auto const& edge : convection.edges) {
        AddConvection(edge, areas(edge) / 6, convection.film, convection.ambient);
      }
    }
    for (auto const& flux : problem.edgeFluxes) {
      for (auto const& edge : flux.edges) AddHeat(edge, flux.flux * areas(edge));
    }
  }

  Matrix Stiffness() const {
    Matrix matrix(m_Load.size(), m_Load.size());
    matrix.setFromTriplets(m_Triplets.begin(), m_Triplets.end());
    return matrix;
  }

  Vector const& Load() const { return m_Load; }
  double AppliedHeat() const { return m_AppliedHeat; }

 private:
  void AddConduction(std::size_t t) {
    auto const& triangle = m_Mesh.triangles[t];
    auto const& material = MaterialOf(m_Problem, t);
    auto const edges = OppositeEdges(m_Mesh, triangle);
    auto const area = Area(m_Mesh, triangle);
    auto const factor = material.conductivity * material.thickness / (4 * area);
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t j = 0; j < 3; ++j) {
        m_Triplets.emplace_back(triangle[i], triangle[j], factor * heat_Dot(edges[i], edges[j]));
      }
    }
    AddHeat(triangle, material.heatSource * material.thickness * area);
  }

  void AddFaces(heat_FaceConvection const& convection) {
    for (auto const t : convection.triangles) {
      auto const& triangle = m_Mesh.triangles[At(t)];
      AddConvection(triangle, Area(m_Mesh, triangle) / 12, convection.film, convection.ambient);
    }
  }

  // share is the integral of the product of the shape functions of two different nodes.
  template <std::size_t Corners>
  void AddConvection(std::array<int, Corners> const& nodes, double share, double film, double ambient) {
    for (std::size_t i = 0; i < Corners; ++i) {
      for (std::size_t j = 0; j < Corners; ++j) {
        m_Triplets.emplace_back(nodes[i], nodes[j], film * share * (i == j ? 2 : 1));
      }
      m_Load[nodes[i]] += film * share * static_cast<double>(Corners + 1) * ambient;
    }
  }

  template <std::size_t Corners> void AddHeat(std::array<int, Corners> const& nodes, double heat) {
    for (auto const node : nodes) m_Load[node] += heat / static_cast<double>(Corners);
    m_AppliedHeat += heat;
  }

  heat_MeshData const& m_Mesh;
  heat_Problem const& m_Problem;
  Triplets m_Triplets;
  Vector m_Load;
  double m_AppliedHeat = 0;
};

// Which nodes are free, and the values of the others.
struct Fixing {
  std::vector<int> row;   // of a free node in the reduced matrix; -1 for a fixed one
  std::vector<int> owner; // index of the condition that holds a node, -1 for a free one
  Vector value;           // of fixed nodes, 0 for free ones
  int freeCount = 0;
};

Fixing FixingOf(heat_MeshData const& mesh, heat_Problem const& problem) {
  Fixing fixing;
  fixing.row.assign(mesh.nodes.size(), -1);
  fixing.owner.assign(mesh.nodes.size(), -1);
  fixing.value = Vector::Zero(static_cast<Eigen::Index>(mesh.nodes.size()));
  for (std::size_t i = 0; i < problem.fixedTemperatures.size(); ++i) {
    for (auto const node : problem.fixedTemperatures[i].nodes) {
      if (fixing.owner[At(node)] < 0) fixing.owner[At(node)] = static_cast<int>(i);
      fixing.value[node] = problem.fixedTemperatures[i].temperature;
    }
  }
  for (std::size_t node = 0; node < fixing.row.size(); ++node) {
    if (fixing.owner[node] < 0) fixing.row[node] = fixing.freeCount++;
  }
  return fixing;
}

Matrix Reduced(Matrix const& full, Fixing const& fixing) {
  Triplets triplets;
  triplets.reserve(static_cast<std::size_t>(full.nonZeros()));
  for (int column = 0; column < full.outerSize(); ++column) {
    if (fixing.row[At(column)] < 0) continue;
    for (Matrix::InnerIterator entry(full, column); entry; ++entry) {
      auto const row = fixing.row[At(static_cast<int>(entry.row()))];
      if (row >= 0) triplets.emplace_back(row, fixing.row[At(column)], entry.value());
    }
  }
  Matrix reduced(fixing.freeCount, fixing.freeCount);
  reduced.setFromTriplets(triplets.begin(), triplets.end());
  return reduced;
}

Vector FreeOf(Vector const& all, Fixing const& fixing) {
  Vector values(fixing.freeCount);
  for (Eigen::Index node = 0; node < all.size(); ++node) {
    if (fixing.row[At(static_cast<int>(node))] >= 0)
      values[fixing.row[At(static_cast<int>(node))]] = all[node];
  }
  return values;
}

void AddFree(Vector const& values, Fixing const& fixing, Vector& all) {
  for (Eigen::Index node = 0; node < all.size(); ++node) {
    auto const row = fixing.row[At(static_cast<int>(node))];
    if (row >= 0) all[node] += values[row];
  }
}

heat_Vector FluxIn(heat_MeshData const& mesh, heat_Problem const& problem, std::size_t t,
                   Vector const& values) {
  auto const& triangle = mesh.triangles[t];
  auto const edges = OppositeEdges(mesh, triangle);
  auto const areaVector = heat_AreaVector(mesh, triangle);
  auto const area = heat_Length(areaVector);
  heat_Vector gradient{};
  for (std::size_t i = 0; i < 3; ++i) {
    auto const turned = heat_Cross(areaVector, edges[i]);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      gradient[axis] += values[triangle[i]] * turned[axis] / (2 * area * area);
    }
  }
  return heat_Scaled(gradient, -MaterialOf(problem, t).conductivity);
}

template <std::size_t Corners> double Mean(std::array<int, Corners> const& nodes, Vector const& values) {
  double sum = 0;
  for (auto const node : nodes) sum += values[node];
  return sum / static_cast<double>(Corners);
}

} // namespace

struct heat_Solver::System {
  System(heat_MeshData const& mesh, heat_Problem const& problem) : areas(mesh, problem) {
    Assembly const assembly(mesh, problem, areas);
    stiffness = assembly.Stiffness();
    load = assembly.Load();
    appliedHeat = assembly.AppliedHeat();
    fixing = FixingOf(mesh, problem);
  }

  double ConvectedHeat(heat_MeshData const& mesh, heat_Problem const& problem, Vector const& values) const {
    double heat = 0;
    for (auto const& convection : problem.faceConvections) {
      for (auto const t : convection.triangles) {
        auto const& triangle = mesh.triangles[At(t)];
        heat += convection.film * Area(mesh, triangle) * (Mean(triangle, values) - convection.ambient);
      }
    }
    for (auto const& convection : problem.edgeConvections) {
      for (auto const& edge : convection.edges) {
        heat += convection.film * areas(edge) * (Mean(edge, values) - convection.ambient);
      }
    }
    return heat;
  }

  // Solves for the free nodes; the fixed ones keep their values.
  Vector Temperatures(heat_ProgressCall const& progress) const {
    Vector values = fixing.value;
    if (fixing.freeCount == 0) return values;
    Eigen::SimplicialLLT<Matrix> factor;
    auto const reduced = Reduced(stiffness, fixing);
    factor.analyzePattern(reduced);
    if (progress) progress(0.2);
    factor.factorize(reduced);
    if (factor.info() != Eigen::Success) {
      throw heat_ProblemError("the matrix of the problem cannot be factored: it is not positive definite");
    }
    for (int step = 0; step < 2; ++step) {
      if (progress) progress(0.8 + 0.1 * step);
      Vector const missing = FreeOf(load - stiffness * values, fixing);
      AddFree(factor.solve(missing), fixing, values);
    }
    return values;
  }

  EdgeAreas areas;
  Matrix stiffness; // all nodes
  Vector load;      // all nodes, without what fixed temperatures put in
  double appliedHeat = 0;
  Fixing fixing;
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
  Vector const values = m_System->Temperatures(progress);
  heat_Solution solution;
  solution.temperature.assign(values.begin(), values.end());
  solution.residual = Residual(solution.temperature);
  solution.flux.reserve(m_Mesh.triangles.size());
  for (std::size_t t = 0; t < m_Mesh.triangles.size(); ++t) {
    solution.flux.push_back(FluxIn(m_Mesh, m_Problem, t, values));
  }
  Vector const reaction = m_System->stiffness * values - m_System->load;
  solution.fixedHeat.assign(m_Problem.fixedTemperatures.size(), 0.0);
  for (Eigen::Index node = 0; node < reaction.size(); ++node) {
    auto const owner = m_System->fixing.owner[At(static_cast<int>(node))];
    if (owner >= 0) solution.fixedHeat[At(owner)] += reaction[node];
  }
  solution.appliedHeat = m_System->appliedHeat;
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
  auto const& system = *m_System;
  Vector const values =
      Eigen::Map<Vector const>(temperature.data(), static_cast<Eigen::Index>(temperature.size()));
  Vector const rest = system.stiffness * values - system.load;
  Vector const terms = system.stiffness.cwiseAbs() * values.cwiseAbs() + system.load.cwiseAbs();
  double worstFree = 0;
  double worstFixed = 0;
  for (Eigen::Index node = 0; node < values.size(); ++node) {
    if (system.fixing.row[At(static_cast<int>(node))] >= 0) {
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
