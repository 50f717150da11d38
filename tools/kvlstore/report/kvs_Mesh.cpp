#include "tools/kvlstore/report/kvs_Mesh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace {

using Face = std::array<std::int32_t, 4>; // -1 at the end of a triangle

struct Side {
  Face m_Sorted;
  Face m_Face;
  std::size_t m_Cell;
};

constexpr std::array<Face, 4> TetrahedronFaces = {
    {{0, 2, 1, -1}, {0, 1, 3, -1}, {1, 2, 3, -1}, {2, 0, 3, -1}}};
constexpr std::array<Face, 6> HexahedronFaces = {
    {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}}};

bool IsPlaced(std::array<double, 3> const& point) noexcept {
  return std::ranges::all_of(point, [](double x) { return std::isfinite(x); });
}

/// Makes the elements of a drawing from the cells of a mesh.
class Elements {
 public:
  Elements(kvs_Mesh const& mesh, kvs_Drawing& drawing) : m_Mesh(mesh), m_Drawing(drawing) {
    m_Drawing.m_HasPointValues = !mesh.m_Values.empty() && mesh.m_Values.size() == mesh.m_Points.size();
    m_HasCellValues = !mesh.m_Values.empty() && !m_Drawing.m_HasPointValues;
    m_Numbers.assign(mesh.m_Points.size(), -1);
  }

  void AddCells(std::size_t corners) {
    std::size_t const cells = m_Mesh.m_Cells.size() / corners;
    for (std::size_t cell = 0; cell < cells; ++cell) {
      std::int32_t const* const points = &m_Mesh.m_Cells[cell * corners];
      if (corners == 2)
        Add({points[0], points[1], points[1]}, cell);
      else
        AddFace({points[0], points[1], points[2], corners == 4 ? points[3] : -1}, cell);
    }
  }

  /// The faces that only one cell has.
  template <std::size_t Count> void AddSurface(std::size_t corners, std::array<Face, Count> const& faces) {
    std::vector<Side> sides;
    sides.reserve(m_Mesh.m_Cells.size() / corners * Count);
    for (std::size_t first = 0; first + corners <= m_Mesh.m_Cells.size(); first += corners)
      for (Face const& face : faces) sides.push_back(SideOf(face, first, first / corners));
    std::ranges::sort(sides, {}, [](Side const& side) { return std::pair(side.m_Sorted, side.m_Cell); });
    for (std::size_t i = 0; i < sides.size();) {
      std::size_t end = i + 1;
      while (end < sides.size() && sides[end].m_Sorted == sides[i].m_Sorted) ++end;
      if (end == i + 1) AddFace(sides[i].m_Face, sides[i].m_Cell);
      i = end;
    }
  }

 private:
  [[nodiscard]] Side SideOf(Face const& face, std::size_t first, std::size_t cell) const {
    Side side{{}, {-1, -1, -1, -1}, cell};
    for (std::size_t i = 0; i < face.size(); ++i)
      if (face[i] >= 0) side.m_Face[i] = m_Mesh.m_Cells[first + static_cast<std::size_t>(face[i])];
    side.m_Sorted = side.m_Face;
    std::ranges::sort(side.m_Sorted);
    return side;
  }
  void AddFace(Face const& face, std::size_t cell) {
    Add({face[0], face[1], face[2]}, cell);
    if (face[3] >= 0) Add({face[0], face[2], face[3]}, cell);
  }
  void Add(std::array<std::int32_t, 3> element, std::size_t cell) {
    for (std::int32_t const point : element)
      if (!IsPlaced(m_Mesh.m_Points[static_cast<std::size_t>(point)])) return;
    for (std::int32_t& point : element) point = NumberOf(static_cast<std::size_t>(point));
    m_Drawing.m_Elements.push_back(element);
    if (m_HasCellValues) m_Drawing.m_Values.push_back(m_Mesh.m_Values[cell]);
  }
  /// The number of a point in the drawing, which has only those that it needs.
  std::int32_t NumberOf(std::size_t point) {
    if (m_Numbers[point] < 0) {
      m_Numbers[point] = static_cast<std::int32_t>(m_Drawing.m_Points.size());
      m_Drawing.m_Points.push_back(m_Mesh.m_Points[point]);
      if (m_Drawing.m_HasPointValues) m_Drawing.m_Values.push_back(m_Mesh.m_Values[point]);
    }
    return m_Numbers[point];
  }

  kvs_Mesh const& m_Mesh;
  kvs_Drawing& m_Drawing;
  bool m_HasCellValues = false;
  std::vector<std::int32_t> m_Numbers; // -1: not in the drawing yet
};

/// Joins the points that are in one cell of a grid.
class Joined {
 public:
  Joined(kvs_Drawing const& fine, std::array<double, 3> const& low, double size) {
    m_Drawing.m_Corners = fine.m_Corners;
    m_Drawing.m_HasPointValues = fine.m_HasPointValues;
    m_Drawing.m_IsCoarser = true;
    for (std::size_t i = 0; i < fine.m_Points.size(); ++i) AddPoint(fine, i, low, size);
    for (std::size_t i = 0; i < m_Weights.size(); ++i) {
      for (double& x : m_Drawing.m_Points[i]) x /= m_Weights[i];
      if (fine.m_HasPointValues)
        m_Drawing.m_Values[i] = m_ValueWeights[i] > 0 ? m_Drawing.m_Values[i] / m_ValueWeights[i]
                                                      : std::numeric_limits<double>::quiet_NaN();
    }
    for (std::size_t i = 0; i < fine.m_Elements.size(); ++i) AddElement(fine, i);
  }

  [[nodiscard]] kvs_Drawing Take() { return std::move(m_Drawing); }
  [[nodiscard]] std::size_t Elements() const noexcept { return m_Drawing.m_Elements.size(); }

 private:
  void AddPoint(kvs_Drawing const& fine, std::size_t point, std::array<double, 3> const& low, double size) {
    std::array<std::int32_t, 3> cell{};
    for (std::size_t axis = 0; axis < 3; ++axis)
      cell[axis] = static_cast<std::int32_t>(std::lround((fine.m_Points[point][axis] - low[axis]) / size));
    auto const [place, isNew] = m_Cells.try_emplace(cell, static_cast<std::int32_t>(m_Weights.size()));
    if (isNew) {
      m_Drawing.m_Points.push_back({});
      m_Weights.push_back(0);
      m_ValueWeights.push_back(0);
      if (fine.m_HasPointValues) m_Drawing.m_Values.push_back(0);
    }
    m_Moved.push_back(place->second);
    auto const number = static_cast<std::size_t>(place->second);
    for (std::size_t axis = 0; axis < 3; ++axis)
      m_Drawing.m_Points[number][axis] += fine.m_Points[point][axis];
    m_Weights[number] += 1;
    if (!fine.m_HasPointValues || !std::isfinite(fine.m_Values[point])) return;
    m_Drawing.m_Values[number] += fine.m_Values[point];
    m_ValueWeights[number] += 1;
  }
  void AddElement(kvs_Drawing const& fine, std::size_t number) {
    std::array<std::int32_t, 3> element = fine.m_Elements[number];
    for (std::int32_t& point : element) point = m_Moved[static_cast<std::size_t>(point)];
    bool const isFlat = element[0] == element[1] ||
                        (fine.m_Corners == 3 && (element[1] == element[2] || element[2] == element[0]));
    std::array<std::int32_t, 3> sorted = element;
    std::ranges::sort(sorted);
    if (isFlat || !m_Seen.insert(sorted).second) return;
    m_Drawing.m_Elements.push_back(element);
    if (!fine.m_HasPointValues && !fine.m_Values.empty()) m_Drawing.m_Values.push_back(fine.m_Values[number]);
  }

  kvs_Drawing m_Drawing;
  std::map<std::array<std::int32_t, 3>, std::int32_t> m_Cells;
  std::vector<std::int32_t> m_Moved;
  std::vector<double> m_Weights;
  std::vector<double> m_ValueWeights;
  std::set<std::array<std::int32_t, 3>> m_Seen;
};

kvs_Drawing Coarser(kvs_Drawing fine, std::size_t most) {
  std::array<double, 3> low = fine.m_Points.front();
  std::array<double, 3> high = low;
  for (auto const& point : fine.m_Points)
    for (std::size_t axis = 0; axis < 3; ++axis) {
      low[axis] = std::min(low[axis], point[axis]);
      high[axis] = std::max(high[axis], point[axis]);
    }
  double const diagonal = std::hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]);
  if (!(diagonal > 0) || !std::isfinite(diagonal)) return {};
  // A surface that fills its box has about one element for each cell of a grid.
  double cells = std::max(4.0, 2 * std::sqrt(static_cast<double>(most)));
  while (cells > 2) {
    Joined joined(fine, low, diagonal / cells);
    if (joined.Elements() <= most) return joined.Take();
    cells /= 1.3;
  }
  return {};
}

} // namespace

kvs_CellKind kvs_CellKindOf(std::string_view name) noexcept {
  constexpr std::array<std::string_view, 6> Names = {"",           "lines",    "triangles", "quadrilaterals",
                                                     "tetrahedra", "hexahedra"};
  auto const found = std::ranges::find(Names, name);
  return found == Names.end() ? kvs_CellKind::None : static_cast<kvs_CellKind>(found - Names.begin());
}

std::size_t kvs_CornersOf(kvs_CellKind kind) noexcept {
  constexpr std::array<std::size_t, 6> Corners = {0, 2, 3, 4, 4, 8};
  return Corners[static_cast<std::size_t>(kind)];
}

kvs_Drawing kvs_Draw(kvs_Mesh const& mesh, kvs_CellKind kind, std::size_t most) {
  kvs_Drawing drawing;
  drawing.m_Corners = kind == kvs_CellKind::Lines ? 2 : 3;
  Elements elements(mesh, drawing);
  if (kind == kvs_CellKind::Tetrahedra)
    elements.AddSurface(kvs_CornersOf(kind), TetrahedronFaces);
  else if (kind == kvs_CellKind::Hexahedra)
    elements.AddSurface(kvs_CornersOf(kind), HexahedronFaces);
  else if (kind != kvs_CellKind::None)
    elements.AddCells(kvs_CornersOf(kind));
  return drawing.m_Elements.size() > most ? Coarser(std::move(drawing), most) : drawing;
}
