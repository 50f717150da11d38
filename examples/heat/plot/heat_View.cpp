#include "examples/heat/plot/heat_View.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <set>

namespace {

using Cell = std::array<long, 3>;

heat_Field Clustered(heat_MeshData const& mesh, std::vector<double> const& values, double cellSize) {
  heat_Field field;
  std::map<Cell, int> indexOf;
  std::vector<int> moved;
  std::vector<double> weights;
  auto const low = heat_BoundingBox(mesh).low;
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i) {
    Cell cell{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      cell[axis] = std::lround((mesh.nodes[i][axis] - low[axis]) / cellSize);
    }
    auto const [place, isNew] = indexOf.try_emplace(cell, static_cast<int>(weights.size()));
    auto const index = static_cast<std::size_t>(place->second);
    if (isNew) {
      field.mesh.nodes.push_back({});
      field.values.push_back(0);
      weights.push_back(0);
    }
    moved.push_back(place->second);
    for (std::size_t axis = 0; axis < 3; ++axis) field.mesh.nodes[index][axis] += mesh.nodes[i][axis];
    field.values[index] += values[i];
    weights[index] += 1;
  }
  for (std::size_t i = 0; i < weights.size(); ++i) {
    field.mesh.nodes[i] = heat_Scaled(field.mesh.nodes[i], 1 / weights[i]);
    field.values[i] /= weights[i];
  }
  std::set<std::array<int, 3>> seen;
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
    auto triangle = mesh.triangles[t];
    for (auto& node : triangle) node = moved[static_cast<std::size_t>(node)];
    if (triangle[0] == triangle[1] || triangle[1] == triangle[2] || triangle[2] == triangle[0]) continue;
    std::rotate(triangle.begin(), std::min_element(triangle.begin(), triangle.end()), triangle.end());
    if (!seen.insert(triangle).second) continue;
    field.mesh.triangles.push_back(triangle);
    field.mesh.regions.push_back(mesh.regions.empty() ? 0 : mesh.regions[t]);
  }
  return field;
}

} // namespace

heat_View heat_ViewFrom(heat_Vector const& direction) {
  heat_View view;
  view.toViewer = heat_Scaled(direction, 1 / heat_Length(direction));
  auto const right = heat_Cross({0, 0, 1}, view.toViewer);
  view.right = heat_Scaled(right, 1 / heat_Length(right));
  view.up = heat_Cross(view.toViewer, view.right);
  return view;
}

std::vector<heat_Pixel> heat_Frame::Places(heat_Course const& course) const {
  std::vector<heat_Pixel> pixels;
  pixels.reserve(course.size());
  for (auto const& point : course) pixels.push_back(Place(point));
  return pixels;
}

heat_Field heat_Coarsened(heat_MeshData const& mesh, std::vector<double> const& values,
                          std::size_t mostTriangles) {
  if (mesh.triangles.size() <= mostTriangles) return {mesh, values};
  auto const size = heat_Diagonal(heat_BoundingBox(mesh));
  double cells = 1024; // grid cells along the diagonal
  auto field = Clustered(mesh, values, size / cells);
  while (field.mesh.triangles.size() > mostTriangles && cells > 2) {
    cells /= 1.25;
    field = Clustered(mesh, values, size / cells);
  }
  return field;
}
