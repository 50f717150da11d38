#include "examples/heat/physics/heat_BuildCase.h"

#include <algorithm>
#include <cstddef>

namespace {

// Marks the nodes in the base or at the top.
class Levels {
 public:
  explicit Levels(heat_MeshData const& mesh) : m_Mesh(mesh), m_Up(heat_IsFlat(mesh) ? 1 : 2) {
    auto const box = heat_BoundingBox(mesh);
    auto const slack = 1e-6 * heat_Diagonal(box);
    m_Base = box.low[m_Up] + slack;
    m_Top = box.high[m_Up] - slack;
    if (!BaseHasEdge()) m_Base = box.low[m_Up] + 0.02 * (box.high[m_Up] - box.low[m_Up]);
  }

  bool IsBase(int node) const { return m_Mesh.nodes[static_cast<std::size_t>(node)][m_Up] <= m_Base; }
  bool IsTop(int node) const { return m_Mesh.nodes[static_cast<std::size_t>(node)][m_Up] >= m_Top; }

 private:
  bool BaseHasEdge() const {
    return std::any_of(m_Mesh.triangles.begin(), m_Mesh.triangles.end(), [&](auto const& triangle) {
      return std::count_if(triangle.begin(), triangle.end(), [&](int node) { return IsBase(node); }) >= 2;
    });
  }

  heat_MeshData const& m_Mesh;
  std::size_t m_Up;
  double m_Base = 0;
  double m_Top = 0;
};

heat_Material MaterialFor(heat_MeshData const& mesh, heat_CaseOptions const& options) {
  auto const box = heat_BoundingBox(mesh);
  auto const extent = heat_Minus(box.high, box.low);
  auto const largest = *std::max_element(extent.begin(), extent.end());
  auto const thickness = options.thickness > 0 ? options.thickness : largest / 25;
  return {"steel", options.conductivity, thickness, 0, options.density, options.specificHeat};
}

heat_FixedTemperature BaseOf(heat_MeshData const& mesh, Levels const& levels,
                             heat_CaseOptions const& options) {
  heat_FixedTemperature base{"base", {}, options.baseTemperature};
  for (std::size_t node = 0; node < mesh.nodes.size(); ++node) {
    if (levels.IsBase(static_cast<int>(node))) base.nodes.push_back(static_cast<int>(node));
  }
  return base;
}

void AddSheetCooling(heat_MeshData const& mesh, Levels const& levels, std::vector<heat_Edge> const& edges,
                     heat_CaseOptions const& options, heat_Problem& problem) {
  heat_FaceConvection front{"front in air", {}, options.airFilm, options.airTemperature};
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t) front.triangles.push_back(static_cast<int>(t));
  auto back = front;
  back.name = "back in air";
  problem.faceConvections = {front, back};
  heat_EdgeConvection rim{"rim in air", {}, options.airFilm, options.airTemperature};
  for (auto const& edge : edges) {
    if (!levels.IsBase(edge[0]) || !levels.IsBase(edge[1])) rim.edges.push_back(edge);
  }
  if (!rim.edges.empty()) problem.edgeConvections = {rim};
}

void AddBodyCooling(heat_MeshData const& mesh, Levels const& levels, heat_CaseOptions const& options,
                    heat_Problem& problem) {
  heat_FaceConvection walls{"walls in air", {}, options.airFilm, options.airTemperature};
  heat_FaceConvection top{"top under coolant", {}, options.coolantFilm, options.coolantTemperature};
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
    auto const& triangle = mesh.triangles[t];
    auto const all = [&](auto test) { return std::all_of(triangle.begin(), triangle.end(), test); };
    if (all([&](int node) { return levels.IsBase(node); })) continue;
    bool const isTop = all([&](int node) { return levels.IsTop(node); });
    (isTop ? top : walls).triangles.push_back(static_cast<int>(t));
  }
  for (auto* convection : {&walls, &top}) {
    if (!convection->triangles.empty()) problem.faceConvections.push_back(std::move(*convection));
  }
}

} // namespace

heat_Problem heat_BuildCase(heat_MeshData const& mesh, heat_CaseOptions const& options) {
  heat_Problem problem;
  problem.materials = {MaterialFor(mesh, options)};
  if (mesh.nodes.empty()) return problem;
  Levels const levels(mesh);
  problem.fixedTemperatures = {BaseOf(mesh, levels, options)};
  auto const edges = heat_BoundaryEdges(mesh);
  if (edges.empty()) {
    AddBodyCooling(mesh, levels, options, problem);
  } else {
    AddSheetCooling(mesh, levels, edges, options, problem);
  }
  return problem;
}
