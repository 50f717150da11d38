#pragma once

#include "examples/heat/plot/heat_Svg.h"

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

// A triangle in a drawing with the field at its corners; of two at one place the one with more depth is seen.
struct heat_SeenTriangle {
  std::array<heat_Pixel, 3> corners;
  std::array<double, 3> values;
  std::array<double, 3> depths;
};

// What of a field is seen where in a drawing.
class heat_SeenField {
 public:
  explicit heat_SeenField(std::vector<heat_SeenTriangle> triangles);

  // The value at a place; nothing beside all triangles.
  std::optional<double> At(heat_Pixel const& place) const;

 private:
  using Cell = std::array<std::size_t, 2>;

  Cell CellOf(heat_Pixel const& place) const; // the nearest one for a place outside

  std::vector<heat_SeenTriangle> m_Triangles;
  heat_Pixel m_Low{};
  Cell m_Size{1, 1};
  std::vector<std::vector<std::size_t>> m_Cells; // the triangles that may touch each cell, row by row
};

// The line of a level through a drawing.
struct heat_IsoLine {
  std::size_t level; // as an index
  std::vector<heat_Pixel> course;
};

// The stretches of a line of the given value that are seen, each to within a pixel or two: where the field
// differs from the value by more than the tolerance, something else is nearer.
std::vector<std::vector<heat_Pixel>> heat_SeenStretches(std::vector<heat_Pixel> const& course, double value,
                                                        double tolerance, heat_SeenField const& seen);

// A level as it is to be labelled.
struct heat_IsoLevel {
  double value;
  double width; // of its text, in pixels
};

// Where the middle of a label comes to be, and by how much it is turned: clockwise, from -90 to 90 degrees,
// so that no text is upside-down.
struct heat_IsoLabel {
  std::size_t level;
  heat_Pixel centre;
  double angle;
};

// Places labels on lines: in the middle of the line where that is possible, where the line runs straight and
// is seen, so that no two labels overlap. Each level gets one if there is room at all, long lines of one
// level get some each. height is that of the text; tolerance is by how much the field may differ from the
// level where a line is seen.
std::vector<heat_IsoLabel> heat_PlaceLabels(std::vector<heat_IsoLine> const& lines,
                                            std::vector<heat_IsoLevel> const& levels, double height,
                                            double tolerance, heat_SeenField const& seen);
