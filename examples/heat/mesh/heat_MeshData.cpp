#include "examples/heat/mesh/heat_MeshData.h"

#include <algorithm>
#include <cstddef>

namespace {

struct Use {
  int low;
  int high;
  std::size_t place; // 3 * triangle + side
};

bool SameEdge(Use const& a, Use const& b) {
  return a.low == b.low && a.high == b.high;
}

std::vector<Use> SortedUses(heat_MeshData const& mesh) {
  std::vector<Use> uses;
  uses.reserve(3 * mesh.triangles.size());
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
    for (std::size_t side = 0; side < 3; ++side) {
      auto const [low, high] = std::minmax(mesh.triangles[t][side], mesh.triangles[t][(side + 1) % 3]);
      uses.push_back({low, high, 3 * t + side});
    }
  }
  std::sort(uses.begin(), uses.end(), [](Use const& a, Use const& b) {
    if (a.low != b.low) return a.low < b.low;
    if (a.high != b.high) return a.high < b.high;
    return a.place < b.place;
  });
  return uses;
}

} // namespace

std::vector<heat_BoundarySide> heat_BoundarySides(heat_MeshData const& mesh) {
  auto const uses = SortedUses(mesh);
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < uses.size(); ++i) {
    bool const before = i > 0 && SameEdge(uses[i - 1], uses[i]);
    bool const after = i + 1 < uses.size() && SameEdge(uses[i], uses[i + 1]);
    if (!before && !after) places.push_back(uses[i].place);
  }
  std::sort(places.begin(), places.end());
  std::vector<heat_BoundarySide> sides;
  sides.reserve(places.size());
  for (auto const place : places) {
    auto const& triangle = mesh.triangles[place / 3];
    sides.push_back({{triangle[place % 3], triangle[(place + 1) % 3]}, static_cast<int>(place / 3)});
  }
  return sides;
}

std::vector<heat_Edge> heat_BoundaryEdges(heat_MeshData const& mesh) {
  std::vector<heat_Edge> edges;
  for (auto const& side : heat_BoundarySides(mesh)) edges.push_back(side.edge);
  return edges;
}

heat_Box heat_BoundingBox(heat_MeshData const& mesh) {
  if (mesh.nodes.empty()) return {};
  heat_Box box{mesh.nodes.front(), mesh.nodes.front()};
  for (auto const& node : mesh.nodes) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      box.low[axis] = std::min(box.low[axis], node[axis]);
      box.high[axis] = std::max(box.high[axis], node[axis]);
    }
  }
  return box;
}

double heat_Diagonal(heat_Box const& box) {
  return heat_Length(heat_Minus(box.high, box.low));
}

heat_Vector heat_AreaVector(heat_MeshData const& mesh, std::array<int, 3> const& triangle) {
  auto const& corner = mesh.nodes[static_cast<std::size_t>(triangle[0])];
  auto const first = heat_Minus(mesh.nodes[static_cast<std::size_t>(triangle[1])], corner);
  auto const second = heat_Minus(mesh.nodes[static_cast<std::size_t>(triangle[2])], corner);
  return heat_Scaled(heat_Cross(first, second), 0.5);
}

bool heat_IsFlat(heat_MeshData const& mesh) {
  auto const box = heat_BoundingBox(mesh);
  return box.high[2] - box.low[2] <= 1e-9 * heat_Diagonal(box);
}
