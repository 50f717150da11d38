#pragma once

#include "examples/heat/plot/heat_Svg.h"

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

// A triangle in a drawing with the field at its corners; where two overlap, the one with more depth is
// visible.
struct heat_SeenTriangle {
  std::array<heat_Pixel, 3> corners;
  std::array<double, 3> values;
  std::array<double, 3> depths;
};

// Which values of a field are visible where in a drawing.
class heat_SeenField {
 public:
  explicit heat_SeenField(std::vector<heat_SeenTriangle> triangles);

  // The value at a place; none outside all triangles.
  std::optional<double> At(heat_Pixel const& place) const;

 private:
  using Cell = std::array<std::size_t, 2>;

  Cell CellOf(heat_Pixel const& place) const; // for a place outside, the nearest cell

  std::vector<heat_SeenTriangle> m_Triangles;
  heat_Pixel m_Low{};
  Cell m_Size{1, 1};
  std::vector<std::vector<std::size_t>> m_Cells; // row by row, the triangles that may touch each cell
};

// A line of constant level in a drawing.
struct heat_IsoLine {
  std::size_t level; // an index into the levels
  std::vector<heat_Pixel> course;
};

// The visible stretches of a line of the given value, to within a pixel or two. Where the visible field
// differs from the value by more than the tolerance, something nearer hides the line.
std::vector<std::vector<heat_Pixel>> heat_SeenStretches(std::vector<heat_Pixel> const& course, double value,
                                                        double tolerance, heat_SeenField const& seen);

// The text for a level.
struct heat_IsoLevel {
  double value;
  double width; // of the text, in pixels
};

// The centre of a label and its rotation: clockwise, from -90 to 90 degrees, so that no text is upside down.
struct heat_IsoLabel {
  std::size_t level;
  heat_Pixel centre;
  double angle;
};

// Places labels on lines so that no two overlap: if possible in the middle of a line, where the line is
// straight and visible. Each level gets at least one label if there is room at all; its long lines get one
// each. height is that of the text; tolerance is how much the field may differ from the level where a line is
// visible.
std::vector<heat_IsoLabel> heat_PlaceLabels(std::vector<heat_IsoLine> const& lines,
                                            std::vector<heat_IsoLevel> const& levels, double height,
                                            double tolerance, heat_SeenField const& seen);
