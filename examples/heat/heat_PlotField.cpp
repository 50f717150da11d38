#include "examples/heat/heat_PlotField.h"

#include "examples/heat/heat_ColourMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>

namespace {

constexpr auto meshStyle = "fill=\"none\" stroke=\"#fff\" stroke-opacity=\"0.22\" stroke-width=\"0.5\"";
constexpr auto isoStyle = "fill=\"none\" stroke=\"#fff\" stroke-opacity=\"0.75\" stroke-width=\"0.9\"";
constexpr auto borderStyle =
    "fill=\"none\" stroke=\"#fff\" stroke-opacity=\"0.6\" stroke-width=\"0.9\" stroke-dasharray=\"5 3\"";
constexpr auto outlineStyle = "fill=\"none\" stroke=\"#101018\" stroke-width=\"1.3\" "
                              "stroke-linejoin=\"round\" stroke-linecap=\"round\"";

constexpr double shortestEdge = 3; // of mesh lines, on average [pixels]
constexpr double sharpest = 0.82;  // cosine of the angle from which an edge is drawn

using EdgeKey = std::pair<int, int>;
using EdgeUses = std::map<EdgeKey, std::vector<std::size_t>>; // the triangles at each edge

EdgeUses UsesOf(heat_MeshData const& mesh) {
  EdgeUses uses;
  for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
    auto const& triangle = mesh.triangles[t];
    for (std::size_t side = 0; side < 3; ++side) {
      uses[std::minmax(triangle[side], triangle[(side + 1) % 3])].push_back(t);
    }
  }
  return uses;
}

std::vector<heat_PlanePoint> Projected(heat_MeshData const& mesh, heat_View const& view) {
  std::vector<heat_PlanePoint> points;
  points.reserve(mesh.nodes.size());
  for (auto const& node : mesh.nodes) points.push_back(view.Project(node));
  return points;
}

bool AreEdgesLongEnough(heat_MeshData const& mesh, heat_Frame const& frame) {
  double area = 0;
  for (auto const& triangle : mesh.triangles) area += heat_Length(heat_AreaVector(mesh, triangle));
  auto const each =
      area * frame.scale * frame.scale / static_cast<double>(std::max<std::size_t>(1, mesh.triangles.size()));
  return std::sqrt(2 * each) > shortestEdge;
}

// Mesh lines, and the borders between regions.
void DrawSheetEdges(heat_MeshData const& mesh, std::vector<heat_PlanePoint> const& points,
                    heat_Frame const& frame, bool meshLines, heat_Svg& svg) {
  heat_SvgPath inner;
  heat_SvgPath border;
  for (auto const& [edge, triangles] : UsesOf(mesh)) {
    if (triangles.size() < 2) continue;
    auto const course = frame.Places(
        {points[static_cast<std::size_t>(edge.first)], points[static_cast<std::size_t>(edge.second)]});
    bool const isBorder = !mesh.regions.empty() && mesh.regions[triangles[0]] != mesh.regions[triangles[1]];
    if (isBorder) {
      border.Add(course, false);
    } else if (meshLines) {
      inner.Add(course, false);
    }
  }
  svg.Path(inner, meshStyle);
  svg.Path(border, borderStyle);
}

// A surface in space, prepared for drawing.
class Body {
 public:
  Body(heat_Field const& field, heat_View const& view, heat_Frame const& frame, heat_Shades const& shades)
      : m_Field(field), m_View(view), m_Frame(frame), m_Shades(shades), m_Points(Projected(field.mesh, view)),
        m_Uses(UsesOf(field.mesh)), m_MeshLines(shades.meshLines && AreEdgesLongEnough(field.mesh, frame)) {
    for (auto const& triangle : field.mesh.triangles) {
      auto const normal = heat_AreaVector(field.mesh, triangle);
      auto const length = heat_Length(normal);
      m_Normals.push_back(length > 0 ? heat_Scaled(normal, 1 / length) : heat_Vector{});
    }
    m_IsClosed =
        std::all_of(m_Uses.begin(), m_Uses.end(), [](auto const& use) { return use.second.size() == 2; });
    SortByDepth();
    SortEdges();
  }

  void Draw(heat_Svg& svg) const {
    svg.OpenGroup(
        "fill=\"currentColor\" stroke=\"currentColor\" stroke-width=\"0.5\" stroke-linejoin=\"round\"");
    for (auto const t : m_Order) {
      DrawBands(t, svg);
      DrawLines(t, svg);
      DrawEdges(m_Rank[t], svg);
    }
    svg.CloseGroup();
  }

 private:
  static constexpr std::size_t hidden = std::numeric_limits<std::size_t>::max();

  std::array<heat_PlanePoint, 3> Corners(std::size_t t) const {
    auto const& n = m_Field.mesh.triangles[t];
    return {Point(n[0]), Point(n[1]), Point(n[2])};
  }
  std::array<double, 3> Values(std::size_t t) const {
    auto const& n = m_Field.mesh.triangles[t];
    return {Value(n[0]), Value(n[1]), Value(n[2])};
  }
  heat_PlanePoint const& Point(int node) const { return m_Points[static_cast<std::size_t>(node)]; }
  double Value(int node) const { return m_Field.values[static_cast<std::size_t>(node)]; }

  void SortByDepth() {
    std::vector<std::pair<double, std::size_t>> depths;
    for (std::size_t t = 0; t < m_Normals.size(); ++t) {
      if (m_IsClosed && heat_Dot(m_Normals[t], m_View.toViewer) <= 1e-6) continue;
      double depth = 0;
      for (auto const node : m_Field.mesh.triangles[t]) {
        depth += m_View.Depth(m_Field.mesh.nodes[static_cast<std::size_t>(node)]);
      }
      depths.emplace_back(depth, t);
    }
    std::sort(depths.begin(), depths.end());
    m_Rank.assign(m_Normals.size(), hidden);
    for (auto const& [depth, t] : depths) {
      m_Rank[t] = m_Order.size();
      m_Order.push_back(t);
    }
  }

  // Lit from the viewer's upper left.
  double Light(std::size_t t) const {
    heat_Vector direction{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      direction[axis] = m_View.toViewer[axis] + 0.9 * m_View.up[axis] - 0.7 * m_View.right[axis];
    }
    auto const cosine = heat_Dot(m_Normals[t], direction) / heat_Length(direction);
    return 0.84 + 0.16 * std::clamp(m_IsClosed ? cosine : std::abs(cosine), 0.0, 1.0);
  }

  void DrawBands(std::size_t t, heat_Svg& svg) const {
    auto const corners = Corners(t);
    auto const values = Values(t);
    auto const [low, high] = std::minmax_element(values.begin(), values.end());
    auto const& bands = m_Shades.bands;
    auto const bandOf = [&](double value) {
      return std::clamp(static_cast<int>(std::floor((value - bands.low) / bands.step)), 0, bands.count - 1);
    };
    auto const first = bandOf(*low);
    auto const last = bandOf(*high);
    for (int band = first; band <= last; ++band) {
      constexpr auto infinite = std::numeric_limits<double>::infinity();
      heat_SvgPath path;
      path.Add(m_Frame.Places(first == last
                                  ? heat_Course(corners.begin(), corners.end())
                                  : heat_BandOfTriangle(corners, values,
                                                        band == first ? -infinite : bands.Level(band),
                                                        band == last ? infinite : bands.Level(band + 1))),
               true);
      svg.Path(path, "color=\"" + m_Shades.Colour(band, Light(t)) + "\"");
    }
  }

  void DrawLines(std::size_t t, heat_Svg& svg) const {
    auto const corners = Corners(t);
    auto const values = Values(t);
    heat_SvgPath path;
    for (auto const level : m_Shades.lines) {
      heat_Course cuts;
      for (std::size_t side = 0; side < 3; ++side) {
        auto const next = (side + 1) % 3;
        if ((values[side] >= level) == (values[next] >= level)) continue;
        auto const share = (level - values[side]) / (values[next] - values[side]);
        cuts.push_back({corners[side][0] + share * (corners[next][0] - corners[side][0]),
                        corners[side][1] + share * (corners[next][1] - corners[side][1])});
      }
      path.Add(m_Frame.Places(cuts), false);
    }
    svg.Path(path, isoStyle);
  }

  // An edge is drawn after the last of the triangles that touch it, which would otherwise cover a part of its
  // width; but if one of these covers the edge itself, only after those that it belongs to.
  void SortEdges() {
    std::vector<std::vector<std::size_t>> at(m_Points.size());
    for (auto const t : m_Order) {
      for (auto const node : m_Field.mesh.triangles[t]) at[static_cast<std::size_t>(node)].push_back(t);
    }
    m_Edges.resize(m_Order.size());
    for (auto const& [edge, users] : m_Uses) {
      std::size_t own = hidden;
      for (auto const user : users) {
        if (m_Rank[user] != hidden) own = own == hidden ? m_Rank[user] : std::max(own, m_Rank[user]);
      }
      if (own == hidden) continue;
      auto rank = own;
      for (auto const& [from, to] : {edge, EdgeKey(edge.second, edge.first)}) {
        for (auto const t : at[static_cast<std::size_t>(from)]) {
          rank =
              rank == hidden || (m_Rank[t] > own && Covers(t, from, to)) ? hidden : std::max(rank, m_Rank[t]);
        }
      }
      m_Edges[rank == hidden ? own : rank].push_back(&edge);
    }
  }

  // Whether an edge that starts at a corner of a triangle runs on into the triangle in the picture.
  bool Covers(std::size_t t, int from, int to) const {
    auto const& triangle = m_Field.mesh.triangles[t];
    if (std::find(triangle.begin(), triangle.end(), to) != triangle.end()) return false;
    auto const corner =
        static_cast<std::size_t>(std::find(triangle.begin(), triangle.end(), from) - triangle.begin());
    auto const turn = [&](int a, int b) {
      auto const& o = Point(from);
      auto const& p = Point(a);
      auto const& q = Point(b);
      return (p[0] - o[0]) * (q[1] - o[1]) - (p[1] - o[1]) * (q[0] - o[0]);
    };
    auto const first = triangle[(corner + 1) % 3];
    auto const second = triangle[(corner + 2) % 3];
    auto const whole = turn(first, second);
    return turn(first, to) * whole > 1e-6 * whole * whole && turn(to, second) * whole > 1e-6 * whole * whole;
  }

  bool IsSharp(std::vector<std::size_t> const& users) const {
    if (users.size() != 2 || m_Rank[users[0]] == hidden || m_Rank[users[1]] == hidden) return true;
    auto const cosine = heat_Dot(m_Normals[users[0]], m_Normals[users[1]]);
    return (m_IsClosed ? cosine : std::abs(cosine)) < sharpest;
  }

  void DrawEdges(std::size_t rank, heat_Svg& svg) const {
    heat_SvgPath inner;
    heat_SvgPath outline;
    for (auto const* edge : m_Edges[rank]) {
      auto const course = m_Frame.Places({Point(edge->first), Point(edge->second)});
      if (IsSharp(m_Uses.at(*edge))) {
        outline.Add(course, false);
      } else if (m_MeshLines) {
        inner.Add(course, false);
      }
    }
    svg.Path(inner, meshStyle);
    svg.Path(outline, outlineStyle);
  }

  heat_Field const& m_Field;
  heat_View const& m_View;
  heat_Frame const& m_Frame;
  heat_Shades const& m_Shades;
  std::vector<heat_PlanePoint> m_Points;
  EdgeUses m_Uses;
  bool m_MeshLines;
  bool m_IsClosed = false;
  std::vector<heat_Vector> m_Normals;
  std::vector<std::size_t> m_Order;                 // visible triangles, farthest first
  std::vector<std::size_t> m_Rank;                  // of each triangle in that order
  std::vector<std::vector<EdgeKey const*>> m_Edges; // to be drawn after the triangle of that rank
};

} // namespace

std::string heat_Shades::Colour(int band, double factor) const {
  return heat_Hex(heat_Shaded(heat_ColourOf((band + 0.5) / bands.count), factor));
}

void heat_DrawSheet(heat_Field const& field, heat_Frame const& frame, heat_Shades const& shades,
                    heat_Svg& svg) {
  heat_View const above;
  auto const points = Projected(field.mesh, above);
  heat_Contours const contours(points, field.values, field.mesh.triangles);
  auto const [low, high] = std::minmax_element(field.values.begin(), field.values.end());
  constexpr auto everywhere = -std::numeric_limits<double>::infinity();
  bool isFirst = true;
  for (int band = 0; band < shades.bands.count; ++band) {
    if (shades.bands.Level(band + 1) <= *low && band + 1 < shades.bands.count) continue;
    if (shades.bands.Level(band) > *high && !isFirst) break;
    heat_SvgPath area;
    for (auto const& outline : contours.Outlines(isFirst ? everywhere : shades.bands.Level(band))) {
      area.Add(frame.Places(outline), true);
    }
    svg.Path(area, "fill=\"" + shades.Colour(band) + "\"");
    isFirst = false;
  }
  DrawSheetEdges(field.mesh, points, frame, shades.meshLines && AreEdgesLongEnough(field.mesh, frame), svg);
  heat_SvgPath lines;
  for (auto const level : shades.lines) {
    for (auto const& line : contours.Lines(level)) lines.Add(frame.Places(line), false);
  }
  svg.Path(lines, isoStyle);
  heat_SvgPath outline;
  for (auto const& course : contours.Outlines(everywhere)) outline.Add(frame.Places(course), true);
  svg.Path(outline, outlineStyle);
}

void heat_DrawBody(heat_Field const& field, heat_View const& view, heat_Frame const& frame,
                   heat_Shades const& shades, heat_Svg& svg) {
  Body(field, view, frame, shades).Draw(svg);
}
