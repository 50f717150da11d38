#include "examples/heat/plot/heat_RegionBorders.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <utility>

namespace {

using Key = std::pair<int, int>; // an edge: lower node first

// The edges that triangles of different regions share.
std::set<Key> BorderEdges(heat_MeshData const& mesh) {
  std::map<Key, int> regionAt;
  std::set<Key> borders;
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
    auto const& triangle = mesh.triangles[t];
    for (std::size_t side = 0; side < 3; ++side) {
      Key const edge = std::minmax(triangle[side], triangle[(side + 1) % 3]);
      auto const [place, isNew] = regionAt.try_emplace(edge, mesh.regions[t]);
      if (!isNew && place->second != mesh.regions[t]) borders.insert(edge);
    }
  }
  return borders;
}

class Chains {
 public:
  explicit Chains(std::set<Key> edges) : m_Edges(std::move(edges)) {
    for (auto const& [a, b] : m_Edges) {
      m_Neighbours[a].push_back(b);
      m_Neighbours[b].push_back(a);
    }
  }

  std::vector<std::vector<int>> All() {
    for (auto const& [node, neighbours] : m_Neighbours)
      if (neighbours.size() != 2)
        for (auto const next : neighbours) Follow(node, next);
    while (!m_Edges.empty()) Follow(m_Edges.begin()->first, m_Edges.begin()->second); // only rings are left
    return std::move(m_Courses);
  }

 private:
  // Follows a course from one node to the next, unless that edge is already used.
  void Follow(int node, int next) {
    std::vector<int> course{node};
    while (m_Edges.erase(std::minmax(node, next)) > 0) {
      course.push_back(next);
      auto const& neighbours = m_Neighbours.at(next);
      if (neighbours.size() != 2) break;
      auto const other = neighbours[0] == node ? neighbours[1] : neighbours[0];
      node = next;
      next = other;
    }
    if (course.size() > 1) m_Courses.push_back(std::move(course));
  }

  std::set<Key> m_Edges; // edges not yet used
  std::map<int, std::vector<int>> m_Neighbours;
  std::vector<std::vector<int>> m_Courses;
};

} // namespace

std::vector<std::vector<int>> heat_RegionBorders(heat_MeshData const& mesh) {
  if (mesh.regions.empty()) return {};
  return Chains(BorderEdges(mesh)).All();
}
