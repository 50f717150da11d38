#pragma once

#include "examples/heat/mesh/heat_Vector.h"

#include <array>
#include <vector>

// A mesh of three-node triangles in space: a flat plate or the surface of a body.
//
// Plain data, not validated. heat_MshReader only returns meshes in which every index is valid, every node
// belongs to a triangle and no triangle is degenerate; heat_Solver checks its input.
struct heat_MeshData {
  std::vector<heat_Vector> nodes; // coordinates [m]
  std::vector<int> nodeTags;      // the tag of each node in the file it came from; same length as nodes
  std::vector<std::array<int, 3>> triangles; // zero-based node indexes, counter-clockwise seen from outside
  std::vector<int> regions; // physical tag of each triangle, or geometric tag if there is none
};

// An edge between two nodes, zero-based indexes.
using heat_Edge = std::array<int, 2>;

// An axis-parallel box [m].
struct heat_Box {
  heat_Vector low{};
  heat_Vector high{};
};

// An edge used by exactly one triangle, in the direction in which it runs in that triangle.
struct heat_BoundarySide {
  heat_Edge edge;
  int triangle;
};

// All such edges, in the order of their triangles. A closed surface has none.
std::vector<heat_BoundarySide> heat_BoundarySides(heat_MeshData const& mesh);

// The boundary edges without their triangles.
std::vector<heat_Edge> heat_BoundaryEdges(heat_MeshData const& mesh);

// The bounding box of all nodes; both corners are the origin for a mesh without nodes.
heat_Box heat_BoundingBox(heat_MeshData const& mesh);

// The length of the bounding box's diagonal [m].
double heat_Diagonal(heat_Box const& box);

// Half the cross product of two sides: its direction is the triangle's normal, its length the area [m^2].
heat_Vector heat_AreaVector(heat_MeshData const& mesh, std::array<int, 3> const& triangle);

// Whether all nodes have the same z, within a billionth of the mesh's size.
bool heat_IsFlat(heat_MeshData const& mesh);
