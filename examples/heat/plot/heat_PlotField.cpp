#include "examples/heat/plot/heat_PlotField.h"

#include "examples/heat/plot/heat_ColourMap.h"
#include "examples/heat/plot/heat_IsoLabels.h"
#include "examples/heat/plot/heat_RegionBorders.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>

namespace {

constexpr auto meshStyle = "fill=\"none\" stroke=\"#fff\" stroke-opacity=\"0.22\" stroke-width=\"0.5\"";
constexpr auto outlineStyle = "fill=\"none\" stroke=\"#101018\" stroke-width=\"1.3\" "
                              "stroke-linejoin=\"round\" stroke-linecap=\"round\"";

constexpr auto dark = "#240b36";     // lines and labels on light colours
constexpr auto light = "#fff";       // lines and labels on dark colours
constexpr double labelSize = 11;     // font size [pixels]
constexpr double labelHeight = 10;   // with ascenders and descenders [pixels]
constexpr double letterWidth = 0.58; // width of a letter, relative to the font size, with some room

constexpr double shortestEdge = 3; // shortest average length of mesh lines that are drawn [pixels]
constexpr double sharpest = 0.82;  // cosine of the smallest angle at which an edge is drawn

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
  auto const course = [&](std::vector<int> const& nodes) {
    heat_Course places;
    for (auto const node : nodes) places.push_back(points[static_cast<std::size_t>(node)]);
    return frame.Places(places);
  };
  if (meshLines) {
    heat_SvgPath inner;
    for (auto const& [edge, triangles] : UsesOf(mesh))
      if (triangles.size() > 1) inner.Add(course({edge.first, edge.second}), false);
    svg.Path(inner, meshStyle);
  }
  heat_SvgPath border;
  for (auto const& nodes : heat_RegionBorders(mesh)) border.Add(course(nodes), false);
  svg.Path(border, heat_BorderUnderStyle);
  svg.Path(border, heat_BorderStyle);
}

// How much the field may differ from the level where a line is visible.
double ToleranceOf(heat_Shades const& shades) {
  return 1e-3 * (shades.bands.High() - shades.bands.low);
}

// Writes a level on its line and interrupts the line there.
void DrawLabel(heat_IsoLabel const& label, double width, heat_Shades const& shades, heat_Svg& svg) {
  auto const level = shades.lines[label.level];
  auto const text = shades.Label(level);
  auto const around = "\"" + shades.Colour(shades.BandOf(level)) + "\"";
  auto const& centre = label.centre;
  auto const turned = "transform=\"rotate(" + heat_Svg::Number(label.angle) + " " +
                      heat_Svg::Number(centre[0]) + " " + heat_Svg::Number(centre[1]) + ")\" ";
  auto const style = "font-size=\"" + heat_Svg::Number(labelSize) + "\" text-anchor=\"middle\" " + turned;
  heat_Pixel const place{centre[0], centre[1] + 0.36 * labelSize};
  svg.Line({centre[0] - width / 2, centre[1]}, {centre[0] + width / 2, centre[1]},
           turned + "stroke=" + around + " stroke-width=\"4\"");
  svg.Text(place, text,
           style + "fill=" + around + " stroke=" + around + " stroke-width=\"3\" stroke-linejoin=\"round\"");
  svg.Text(place, text, style + "fill=\"" + (shades.IsLightAt(level) ? dark : light) + "\"");
}

// Writes the levels at their lines.
void DrawLabels(std::vector<heat_IsoLine> const& lines, heat_Shades const& shades, heat_SeenField const& seen,
                heat_Svg& svg) {
  std::vector<heat_IsoLevel> levels;
  for (auto const level : shades.lines) {
    auto const text = shades.Label(level);
    auto const letters = std::count_if(text.begin(), text.end(),
                                       [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
    levels.push_back({level, letterWidth * labelSize * static_cast<double>(letters)});
  }
  for (auto const& label : heat_PlaceLabels(lines, levels, labelHeight, ToleranceOf(shades), seen))
    DrawLabel(label, levels[label.level].width, shades, svg);
}

void DrawLines(std::vector<heat_IsoLine> const& lines, heat_Shades const& shades, heat_Svg& svg) {
  for (bool const onLight : {false, true}) {
    heat_SvgPath path;
    for (auto const& line : lines)
      if (shades.IsLightAt(shades.lines[line.level]) == onLight) path.Add(line.course, false);
    svg.Path(path, heat_IsoLineStyle(onLight));
  }
}

std::vector<heat_SeenTriangle>
SheetTriangles(heat_Field const& field, std::vector<heat_PlanePoint> const& points, heat_Frame const& frame) {
  std::vector<heat_SeenTriangle> triangles;
  triangles.reserve(field.mesh.triangles.size());
  for (auto const& nodes : field.mesh.triangles) {
    heat_SeenTriangle triangle{};
    for (std::size_t i = 0; i < 3; ++i) {
      auto const node = static_cast<std::size_t>(nodes[i]);
      triangle.corners[i] = frame.Place(points[node]);
      triangle.values[i] = field.values[node];
    }
    triangles.push_back(triangle);
  }
  return triangles;
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
      DrawEdges(m_Rank[t], svg);
    }
    svg.CloseGroup();
    DrawLevels(svg);
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
    auto const first = m_Shades.BandOf(*low);
    auto const last = m_Shades.BandOf(*high);
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

  void DrawLevels(heat_Svg& svg) const {
    std::vector<std::array<int, 3>> visible;
    std::vector<heat_SeenTriangle> seen;
    for (auto const t : m_Order) {
      visible.push_back(m_Field.mesh.triangles[t]);
      heat_SeenTriangle triangle{{}, Values(t), {}};
      for (std::size_t i = 0; i < 3; ++i) {
        auto const node = static_cast<std::size_t>(visible.back()[i]);
        triangle.corners[i] = m_Frame.Place(m_Points[node]);
        triangle.depths[i] = m_View.Depth(m_Field.mesh.nodes[node]);
      }
      seen.push_back(triangle);
    }
    heat_Contours const contours(m_Points, m_Field.values, std::move(visible));
    heat_SeenField const field(std::move(seen));
    std::vector<heat_IsoLine> lines;
    for (std::size_t i = 0; i < m_Shades.lines.size(); ++i)
      for (auto const& line : contours.Lines(m_Shades.lines[i]))
        for (auto& stretch :
             heat_SeenStretches(m_Frame.Places(line), m_Shades.lines[i], ToleranceOf(m_Shades), field))
          lines.push_back({i, std::move(stretch)});
    DrawLines(lines, m_Shades, svg);
    DrawLabels(lines, m_Shades, field, svg);
  }

  // An edge is drawn after the last triangle that touches it, which would otherwise cover part of its width.
  // If one of them hides the edge itself, the edge is drawn after the last triangle it belongs to.
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

  // Whether an edge that starts at a corner of a triangle continues into the triangle in the picture.
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
  std::vector<std::vector<EdgeKey const*>> m_Edges; // edges to be drawn after the triangle of that rank
};

} // namespace

std::string heat_Shades::Colour(int band, double factor) const {
  return heat_Hex(heat_Shaded(heat_ColourOf((band + 0.5) / bands.count), factor));
}

int heat_Shades::BandOf(double value) const {
  return std::clamp(static_cast<int>(std::floor((value - bands.low) / bands.step)), 0, bands.count - 1);
}

bool heat_Shades::IsLightAt(double value) const {
  return value - bands.low > (bands.High() - bands.low) / 2;
}

std::string heat_Shades::Label(double level) const {
  return heat_NumberText(level, decimals) + (unit.empty() ? "" : " " + unit);
}

std::string heat_IsoLineStyle(bool onLight) {
  return "fill=\"none\" stroke=\"" + std::string(onLight ? dark : light) +
         "\" stroke-opacity=\"0.85\" stroke-width=\"1\"";
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
  std::vector<heat_IsoLine> lines;
  for (std::size_t i = 0; i < shades.lines.size(); ++i)
    for (auto const& line : contours.Lines(shades.lines[i])) lines.push_back({i, frame.Places(line)});
  DrawLines(lines, shades, svg);
  heat_SvgPath outline;
  for (auto const& course : contours.Outlines(everywhere)) outline.Add(frame.Places(course), true);
  svg.Path(outline, outlineStyle);
  DrawLabels(lines, shades, heat_SeenField(SheetTriangles(field, points, frame)), svg);
}

void heat_DrawBody(heat_Field const& field, heat_View const& view, heat_Frame const& frame,
                   heat_Shades const& shades, heat_Svg& svg) {
  Body(field, view, frame, shades).Draw(svg);
}
