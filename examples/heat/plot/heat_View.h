#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/plot/heat_Contours.h"
#include "examples/heat/plot/heat_Svg.h"

#include <vector>

// A parallel projection: three orthogonal unit vectors.
struct heat_View {
  heat_Vector right{1, 0, 0};
  heat_Vector up{0, 1, 0};
  heat_Vector toViewer{0, 0, 1};

  heat_PlanePoint Project(heat_Vector const& point) const {
    return {heat_Dot(right, point), heat_Dot(up, point)};
  }
  double Depth(heat_Vector const& point) const { return heat_Dot(toViewer, point); } // larger is nearer
};

// The view from the given direction, which must not be vertical; z points up.
heat_View heat_ViewFrom(heat_Vector const& direction);

// Maps part of the projection plane to a drawing: equal scales in both directions, y flipped.
struct heat_Frame {
  heat_PlanePoint low{}; // lower corner of the part [m]
  heat_PlanePoint high{};
  heat_Pixel corner{}; // where its upper left corner is drawn
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

// A field of at most the given number of triangles (some thousands or more) that looks like the given one:
// nodes in the same grid cell are merged, values are averaged, and triangles that shrink or coincide are left
// out. The grid is as fine as the limit allows. A mesh within the limit is returned unchanged.
heat_Field heat_Coarsened(heat_MeshData const& mesh, std::vector<double> const& values,
                          std::size_t mostTriangles);
