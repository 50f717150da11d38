#include "examples/heat/physics/heat_Problem.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <numeric>
#include <set>
#include <utility>

namespace {

constexpr double absoluteZero = -273.15; // [deg C]

[[noreturn]] void Fail(std::string const& message) {
  throw heat_ProblemError(message);
}

void CheckIndex(int index, std::size_t count, std::string const& what) {
  if (index < 0 || static_cast<std::size_t>(index) >= count) {
    Fail(what + " has index " + std::to_string(index) + ", but there are " + std::to_string(count));
  }
}

void CheckTemperature(double temperature, std::string const& owner) {
  if (!std::isfinite(temperature)) Fail(owner + ": the temperature is not a finite number");
  if (temperature < absoluteZero) Fail(owner + ": the temperature is below absolute zero");
}

void CheckFilm(double film, std::string const& owner) {
  if (!std::isfinite(film) || film < 0) Fail(owner + ": the film coefficient must be zero or more");
}

void CheckMesh(heat_MeshData const& mesh) {
  if (mesh.triangles.empty()) Fail("the mesh has no triangles");
  for (auto const& node : mesh.nodes) {
    bool const finite = std::all_of(node.begin(), node.end(), [](double x) { return std::isfinite(x); });
    if (!finite) Fail("a node of the mesh has a coordinate that is not a finite number");
  }
  std::vector<bool> used(mesh.nodes.size(), false);
  for (auto const& triangle : mesh.triangles) {
    for (auto const node : triangle) {
      CheckIndex(node, mesh.nodes.size(), "a node of a triangle");
      used[static_cast<std::size_t>(node)] = true;
    }
    auto const area = heat_Length(heat_AreaVector(mesh, triangle));
    if (!std::isfinite(area) || !(area > 0)) Fail("a triangle of the mesh has no area");
  }
  auto const lonely = std::find(used.begin(), used.end(), false);
  if (lonely != used.end()) {
    Fail("node " + std::to_string(lonely - used.begin()) + " of the mesh belongs to no triangle");
  }
}

void CheckMaterials(heat_MeshData const& mesh, heat_Problem const& problem) {
  if (problem.materials.empty()) Fail("the problem has no material");
  for (auto const& material : problem.materials) {
    auto const owner = "material '" + material.name + "'";
    if (!std::isfinite(material.conductivity) || !(material.conductivity > 0)) {
      Fail(owner + ": the conductivity must be greater than zero");
    }
    if (!std::isfinite(material.thickness) || !(material.thickness > 0)) {
      Fail(owner + ": the thickness must be greater than zero");
    }
    if (!std::isfinite(material.heatSource)) Fail(owner + ": the heat source is not a finite number");
  }
  if (problem.materialOf.empty()) return;
  if (problem.materialOf.size() != mesh.triangles.size()) {
    Fail("the problem names a material for " + std::to_string(problem.materialOf.size()) +
         " triangles, the mesh has " + std::to_string(mesh.triangles.size()));
  }
  for (auto const material : problem.materialOf) {
    CheckIndex(material, problem.materials.size(), "the material of a triangle");
  }
}

void CheckFixed(heat_MeshData const& mesh, heat_Problem const& problem) {
  std::map<int, heat_FixedTemperature const*> owners;
  for (auto const& fixed : problem.fixedTemperatures) {
    auto const owner = "fixed temperature '" + fixed.name + "'";
    CheckTemperature(fixed.temperature, owner);
    for (auto const node : fixed.nodes) {
      CheckIndex(node, mesh.nodes.size(), owner + ": a node");
      auto const [place, isNew] = owners.try_emplace(node, &fixed);
      if (!isNew && place->second->temperature != fixed.temperature) {
        Fail(owner + ": node " + std::to_string(node) + " is held at another temperature by '" +
             place->second->name + "'");
      }
    }
  }
}

using EdgeSet = std::set<std::pair<int, int>>;

EdgeSet AllBoundaryEdges(heat_MeshData const& mesh) {
  EdgeSet edges;
  for (auto const& edge : heat_BoundaryEdges(mesh)) edges.insert(std::minmax(edge[0], edge[1]));
  return edges;
}

void CheckEdges(std::vector<heat_Edge> const& edges, EdgeSet const& boundary, std::string const& owner) {
  EdgeSet seen;
  for (auto const& edge : edges) {
    auto const fail = [&](char const* fault) {
      Fail(owner + ": the edge between nodes " + std::to_string(edge[0]) + " and " + std::to_string(edge[1]) +
           fault);
    };
    std::pair<int, int> const key = std::minmax(edge[0], edge[1]);
    if (!boundary.contains(key)) fail(" is not on the boundary of the mesh");
    if (!seen.insert(key).second) fail(" is named twice");
  }
}

void CheckEdgeConditions(heat_MeshData const& mesh, heat_Problem const& problem) {
  if (problem.edgeConvections.empty() && problem.edgeFluxes.empty()) return;
  auto const boundary = AllBoundaryEdges(mesh);
  for (auto const& convection : problem.edgeConvections) {
    auto const owner = "edge convection '" + convection.name + "'";
    CheckFilm(convection.film, owner);
    CheckTemperature(convection.ambient, owner);
    CheckEdges(convection.edges, boundary, owner);
  }
  for (auto const& flux : problem.edgeFluxes) {
    auto const owner = "edge flux '" + flux.name + "'";
    if (!std::isfinite(flux.flux)) Fail(owner + ": the flux is not a finite number");
    CheckEdges(flux.edges, boundary, owner);
  }
}

void CheckFaceConditions(heat_MeshData const& mesh, heat_Problem const& problem) {
  for (auto const& convection : problem.faceConvections) {
    auto const owner = "face convection '" + convection.name + "'";
    CheckFilm(convection.film, owner);
    CheckTemperature(convection.ambient, owner);
    std::vector<bool> seen(mesh.triangles.size(), false);
    for (auto const triangle : convection.triangles) {
      CheckIndex(triangle, mesh.triangles.size(), owner + ": a triangle");
      if (seen[static_cast<std::size_t>(triangle)]) {
        Fail(owner + ": triangle " + std::to_string(triangle) + " is named twice");
      }
      seen[static_cast<std::size_t>(triangle)] = true;
    }
  }
}

// The connected parts of a mesh, as a forest with one root per part.
class Parts {
 public:
  explicit Parts(heat_MeshData const& mesh) : m_Parent(mesh.nodes.size()) {
    std::iota(m_Parent.begin(), m_Parent.end(), std::size_t{0});
    for (auto const& triangle : mesh.triangles) {
      Join(triangle[0], triangle[1]);
      Join(triangle[0], triangle[2]);
    }
  }

  std::size_t Root(int node) {
    auto place = static_cast<std::size_t>(node);
    while (m_Parent[place] != place) {
      m_Parent[place] = m_Parent[m_Parent[place]];
      place = m_Parent[place];
    }
    return place;
  }

 private:
  void Join(int a, int b) { m_Parent[Root(a)] = Root(b); }

  std::vector<std::size_t> m_Parent;
};

// Without a fixed temperature or convection, only temperature differences are determined.
void CheckIsDetermined(heat_MeshData const& mesh, heat_Problem const& problem) {
  Parts parts(mesh);
  std::vector<bool> determined(mesh.nodes.size(), false);
  for (auto const& fixed : problem.fixedTemperatures) {
    for (auto const node : fixed.nodes) determined[parts.Root(node)] = true;
  }
  for (auto const& convection : problem.edgeConvections) {
    if (convection.film == 0) continue;
    for (auto const& edge : convection.edges) determined[parts.Root(edge[0])] = true;
  }
  for (auto const& convection : problem.faceConvections) {
    if (convection.film == 0) continue;
    for (auto const triangle : convection.triangles) {
      determined[parts.Root(mesh.triangles[static_cast<std::size_t>(triangle)][0])] = true;
    }
  }
  for (std::size_t node = 0; node < mesh.nodes.size(); ++node) {
    if (determined[parts.Root(static_cast<int>(node))]) continue;
    Fail("the problem has no unique solution: the part of the mesh around node " + std::to_string(node) +
         " has neither a fixed temperature nor convection");
  }
}

} // namespace

void heat_CheckProblem(heat_MeshData const& mesh, heat_Problem const& problem) {
  CheckMesh(mesh);
  CheckMaterials(mesh, problem);
  CheckFixed(mesh, problem);
  CheckEdgeConditions(mesh, problem);
  CheckFaceConditions(mesh, problem);
  CheckIsDetermined(mesh, problem);
}
