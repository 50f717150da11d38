#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/plot/heat_Contours.h"
#include "examples/heat/plot/heat_Svg.h"

#include <vector>

// A parallel projection: three directions of length one at right angles.
struct heat_View {
  heat_Vector right{1, 0, 0};
  heat_Vector up{0, 1, 0};
  heat_Vector toViewer{0, 0, 1};

  heat_PlanePoint Project(heat_Vector const& point) const {
    return {heat_Dot(right, point), heat_Dot(up, point)};
  }
  double Depth(heat_Vector const& point) const { return heat_Dot(toViewer, point); } // more is nearer
};

// The view of someone who stands in the given direction, not straight above or below; z points up.
heat_View heat_ViewFrom(heat_Vector const& direction);

// Where a part of the projection plane appears in a drawing; equal scales in both directions, y turned over.
struct heat_Frame {
  heat_PlanePoint low{}; // corners of the part [m]
  heat_PlanePoint high{};
  heat_Pixel corner{}; // where its upper left corner appears
  double scale = 1;    // pixels per metre

  double Width() const { return (high[0] - low[0]) * scale; }
  double Height() const { return (high[1] - low[1]) * scale; }
  heat_Pixel Place(heat_PlanePoint const& p) const {
    return {corner[0] + (p[0] - low[0]) * scale, corner[1] + (high[1] - p[1]) * scale};
  }
  std::vector<heat_Pixel> Places(heat_Course const& course) const;
};

// A mesh with a value for each node.
struct heat_Field {
  heat_MeshData mesh;
  std::vector<double> values;
};

// A field of at most the given number of triangles, some thousands or more, that looks like the given one:
// nodes that share a cell of a grid are moved together, values are averaged, triangles that shrink or
// coincide are left out. The grid is as fine as the limit allows. A mesh within the limit is returned as it
// is.
heat_Field heat_Coarsened(heat_MeshData const& mesh, std::vector<double> const& values,
                          std::size_t mostTriangles);
