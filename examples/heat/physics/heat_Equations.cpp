#include "examples/heat/physics/heat_Equations.h"

#include <algorithm>
#include <array>

namespace {

using Triplets = std::vector<Eigen::Triplet<double>>;

std::size_t At(int index) {
  return static_cast<std::size_t>(index);
}

// Collects the matrix K and the right-hand side f for all nodes, fixed or free.
class Assembly {
 public:
  Assembly(heat_MeshData const& mesh, heat_Problem const& problem, heat_EdgeAreas const& areas)
      : m_Mesh(mesh), m_Problem(problem),
        m_Load(heat_Column::Zero(static_cast<Eigen::Index>(mesh.nodes.size()))) {
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

  heat_Matrix Stiffness() const {
    heat_Matrix matrix(m_Load.size(), m_Load.size());
    matrix.setFromTriplets(m_Triplets.begin(), m_Triplets.end());
    return matrix;
  }

  heat_Column const& Load() const { return m_Load; }
  double AppliedHeat() const { return m_AppliedHeat; }

 private:
  void AddConduction(std::size_t t) {
    auto const& triangle = m_Mesh.triangles[t];
    auto const& material = heat_MaterialAt(m_Problem, t);
    auto const edges = heat_OppositeEdges(m_Mesh, triangle);
    auto const area = heat_AreaOf(m_Mesh, triangle);
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
      AddConvection(triangle, heat_AreaOf(m_Mesh, triangle) / 12, convection.film, convection.ambient);
    }
  }

  // share is the integral of the product of two different nodes' shape functions.
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
  heat_Column m_Load;
  double m_AppliedHeat = 0;
};

heat_Fixing FixingOf(heat_MeshData const& mesh, heat_Problem const& problem) {
  heat_Fixing fixing;
  fixing.row.assign(mesh.nodes.size(), -1);
  fixing.owner.assign(mesh.nodes.size(), -1);
  fixing.value = heat_Column::Zero(static_cast<Eigen::Index>(mesh.nodes.size()));
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

} // namespace

heat_Material const& heat_MaterialAt(heat_Problem const& problem, std::size_t triangle) {
  return problem.materials[problem.materialOf.empty() ? 0 : At(problem.materialOf[triangle])];
}

double heat_AreaOf(heat_MeshData const& mesh, std::array<int, 3> const& triangle) {
  return heat_Length(heat_AreaVector(mesh, triangle));
}

std::array<heat_Vector, 3> heat_OppositeEdges(heat_MeshData const& mesh, std::array<int, 3> const& triangle) {
  auto const& a = mesh.nodes[At(triangle[0])];
  auto const& b = mesh.nodes[At(triangle[1])];
  auto const& c = mesh.nodes[At(triangle[2])];
  return {heat_Minus(c, b), heat_Minus(a, c), heat_Minus(b, a)};
}

heat_EdgeAreas::heat_EdgeAreas(heat_MeshData const& mesh, heat_Problem const& problem)
    : m_Mesh(mesh), m_Problem(problem) {
  if (problem.edgeConvections.empty() && problem.edgeFluxes.empty()) return;
  for (auto const& side : heat_BoundarySides(mesh)) {
    m_Triangles[std::minmax(side.edge[0], side.edge[1])] = At(side.triangle);
  }
}

double heat_EdgeAreas::operator()(heat_Edge const& edge) const {
  auto const triangle = m_Triangles.at(std::minmax(edge[0], edge[1]));
  auto const length = heat_Length(heat_Minus(m_Mesh.nodes[At(edge[1])], m_Mesh.nodes[At(edge[0])]));
  return length * heat_MaterialAt(m_Problem, triangle).thickness;
}

heat_Matrix heat_Fixing::Reduced(heat_Matrix const& full) const {
  Triplets triplets;
  triplets.reserve(static_cast<std::size_t>(full.nonZeros()));
  for (int column = 0; column < full.outerSize(); ++column) {
    if (row[At(column)] < 0) continue;
    for (heat_Matrix::InnerIterator entry(full, column); entry; ++entry) {
      auto const reducedRow = row[At(static_cast<int>(entry.row()))];
      if (reducedRow >= 0) triplets.emplace_back(reducedRow, row[At(column)], entry.value());
    }
  }
  heat_Matrix reduced(freeCount, freeCount);
  reduced.setFromTriplets(triplets.begin(), triplets.end());
  return reduced;
}

heat_Column heat_Fixing::FreeOf(heat_Column const& all) const {
  heat_Column values(freeCount);
  for (Eigen::Index node = 0; node < all.size(); ++node) {
    auto const place = row[At(static_cast<int>(node))];
    if (place >= 0) values[place] = all[node];
  }
  return values;
}

void heat_Fixing::AddFree(heat_Column const& values, heat_Column& all) const {
  for (Eigen::Index node = 0; node < all.size(); ++node) {
    auto const place = row[At(static_cast<int>(node))];
    if (place >= 0) all[node] += values[place];
  }
}

heat_Equations::heat_Equations(heat_MeshData const& mesh, heat_Problem const& problem)
    : areas(mesh, problem) {
  Assembly const assembly(mesh, problem, areas);
  stiffness = assembly.Stiffness();
  load = assembly.Load();
  appliedHeat = assembly.AppliedHeat();
  fixing = FixingOf(mesh, problem);
}

heat_Column heat_LumpedCapacity(heat_MeshData const& mesh, heat_Problem const& problem) {
  heat_Column capacity = heat_Column::Zero(static_cast<Eigen::Index>(mesh.nodes.size()));
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
    auto const& triangle = mesh.triangles[t];
    auto const& material = heat_MaterialAt(problem, t);
    auto const volume = heat_AreaOf(mesh, triangle) * material.thickness;
    for (auto const node : triangle) capacity[node] += material.density * material.specificHeat * volume / 3;
  }
  return capacity;
}
