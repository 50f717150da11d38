#include "examples/heat/plot/heat_Contours.h"

#include "examples/heat/mesh/heat_MeshData.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

heat_PlanePoint Between(heat_PlanePoint const& a, heat_PlanePoint const& b, double share) {
  return {a[0] + share * (b[0] - a[0]), a[1] + share * (b[1] - a[1])};
}

// Clips a convex polygon to where sign * (value - level) is not negative.
void Clip(std::vector<std::pair<heat_PlanePoint, double>>& polygon, double level, double sign) {
  std::vector<std::pair<heat_PlanePoint, double>> kept;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    auto const& [here, value] = polygon[i];
    auto const& [next, nextValue] = polygon[(i + 1) % polygon.size()];
    bool const inside = sign * (value - level) >= 0;
    if (inside) kept.push_back(polygon[i]);
    if (inside == (sign * (nextValue - level) >= 0)) continue;
    kept.emplace_back(Between(here, next, (level - value) / (nextValue - value)), level);
  }
  polygon = std::move(kept);
}

} // namespace

heat_Contours::heat_Contours(std::vector<heat_PlanePoint> points, std::vector<double> values,
                             std::vector<std::array<int, 3>> triangles)
    : m_Points(std::move(points)), m_Values(std::move(values)), m_Triangles(std::move(triangles)) {
  heat_MeshData mesh;
  for (auto const& point : m_Points) mesh.nodes.push_back({point[0], point[1], 0});
  for (auto& triangle : m_Triangles) {
    if (heat_AreaVector(mesh, triangle)[2] < 0) std::swap(triangle[1], triangle[2]);
  }
  mesh.triangles = m_Triangles;
  m_Boundary = heat_BoundaryEdges(mesh);
}

heat_Contours::Key heat_Contours::KeyOf(int a, int b) {
  return static_cast<Key>(std::min(a, b)) << 32 | static_cast<Key>(std::max(a, b));
}

heat_PlanePoint heat_Contours::PointOf(Key key, double level) const {
  auto const a = static_cast<std::size_t>(key >> 32);
  auto const b = static_cast<std::size_t>(key & 0xFFFFFFFFu);
  if (a == b) return m_Points[a];
  return Between(m_Points[a], m_Points[b], (level - m_Values[a]) / (m_Values[b] - m_Values[a]));
}

// A counter-clockwise walk around the inner part leaves it at one cut and returns at another.
void heat_Contours::AddCut(std::array<int, 3> const& triangle, double level,
                           std::vector<Segment>& segments) const {
  Segment segment{};
  bool crosses = false;
  for (std::size_t side = 0; side < 3; ++side) {
    auto const a = triangle[side];
    auto const b = triangle[(side + 1) % 3];
    if (IsInside(a, level) == IsInside(b, level)) continue;
    (IsInside(a, level) ? segment.from : segment.to) = KeyOf(a, b);
    crosses = true;
  }
  if (crosses) segments.push_back(segment);
}

void heat_Contours::AddSide(int from, int to, double level, std::vector<Segment>& segments) const {
  bool const first = IsInside(from, level);
  bool const last = IsInside(to, level);
  if (!first && !last) return;
  segments.push_back({first ? KeyOf(from, from) : KeyOf(from, to), last ? KeyOf(to, to) : KeyOf(from, to)});
}

// Joins segments where one ends and another begins: open courses first, then closed ones.
std::vector<heat_Course> heat_Contours::Chained(std::vector<Segment> segments, double level) const {
  std::sort(segments.begin(), segments.end(), [](Segment const& a, Segment const& b) {
    return std::pair(a.from, a.to) < std::pair(b.from, b.to);
  });
  std::vector<Key> ends;
  ends.reserve(segments.size());
  for (auto const& segment : segments) ends.push_back(segment.to);
  std::sort(ends.begin(), ends.end());
  std::vector<bool> used(segments.size(), false);
  std::vector<heat_Course> courses;
  auto const nextOf = [&](Key key) {
    auto place = std::lower_bound(segments.begin(), segments.end(), key,
                                  [](Segment const& segment, Key from) { return segment.from < from; });
    while (place != segments.end() && place->from == key &&
           used[static_cast<std::size_t>(place - segments.begin())]) {
      ++place;
    }
    bool const found = place != segments.end() && place->from == key;
    return found ? static_cast<std::size_t>(place - segments.begin()) : segments.size();
  };
  auto const follow = [&](std::size_t start) {
    heat_Course course{PointOf(segments[start].from, level)};
    for (auto i = start; i < segments.size(); i = nextOf(segments[i].to)) {
      used[i] = true;
      course.push_back(PointOf(segments[i].to, level));
    }
    courses.push_back(std::move(course));
  };
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (!used[i] && !std::binary_search(ends.begin(), ends.end(), segments[i].from)) follow(i);
  }
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (!used[i]) follow(i);
  }
  return courses;
}

std::vector<heat_Course> heat_Contours::Outlines(double level) const {
  std::vector<Segment> segments;
  for (auto const& triangle : m_Triangles) AddCut(triangle, level, segments);
  for (auto const& edge : m_Boundary) AddSide(edge[0], edge[1], level, segments);
  auto outlines = Chained(std::move(segments), level);
  for (auto& outline : outlines) {
    if (outline.size() > 1 && outline.front() == outline.back()) outline.pop_back();
  }
  return outlines;
}

std::vector<heat_Course> heat_Contours::Lines(double level) const {
  std::vector<Segment> segments;
  for (auto const& triangle : m_Triangles) AddCut(triangle, level, segments);
  return Chained(std::move(segments), level);
}

heat_Course heat_BandOfTriangle(std::array<heat_PlanePoint, 3> const& corners,
                                std::array<double, 3> const& values, double low, double high) {
  std::vector<std::pair<heat_PlanePoint, double>> polygon;
  for (std::size_t i = 0; i < 3; ++i) polygon.emplace_back(corners[i], values[i]);
  Clip(polygon, low, 1);
  Clip(polygon, high, -1);
  heat_Course course;
  for (auto const& [point, value] : polygon) course.push_back(point);
  return course;
}
