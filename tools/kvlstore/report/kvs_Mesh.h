#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// A mesh with values, as a class's notes say what it is made of.
struct kvs_Mesh {
  std::vector<std::array<double, 3>> m_Points;
  std::vector<std::int32_t> m_Cells; ///< the points of each cell, one cell after the other
  std::vector<double> m_Values;      ///< one for each point, or for each cell; may be empty
};

/// What is drawn of a mesh: triangles, or lines.
struct kvs_Drawing {
  std::size_t m_Corners = 3; ///< of an element; 2: lines
  std::vector<std::array<double, 3>> m_Points;
  std::vector<std::array<std::int32_t, 3>> m_Elements; ///< the third one of a line is not used
  std::vector<double> m_Values;                        ///< one for each point, or for each element
  bool m_HasPointValues = false;
  bool m_IsCoarser = false; ///< than the mesh
};

enum class kvs_CellKind { None, Lines, Triangles, Quadrilaterals, Tetrahedra, Hexahedra };

/// The kind that a note names: "lines", "triangles", "quadrilaterals", "tetrahedra", "hexahedra".
[[nodiscard]] kvs_CellKind kvs_CellKindOf(std::string_view name) noexcept;
/// How many points a cell has; 0 for None.
[[nodiscard]] std::size_t kvs_CornersOf(kvs_CellKind kind) noexcept;

/// The lines or triangles of a mesh; of tetrahedra and hexahedra those of the surface. `most`: how many; a finer mesh is made
/// coarser by joining points that are close to each other. Cells at a point without place are left out.
/// REQUIRES: the cells are whole, and their points exist.
[[nodiscard]] kvs_Drawing kvs_Draw(kvs_Mesh const& mesh, kvs_CellKind kind, std::size_t most);
