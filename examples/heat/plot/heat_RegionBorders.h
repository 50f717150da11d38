#pragma once

#include "examples/heat/mesh/heat_MeshData.h"

#include <vector>

// The borders between the regions of a mesh, each as a course from node to node, so that they can be drawn in
// one stroke. A course ends where the mesh does and where more than two pieces of border meet; a ring repeats
// its first node. A mesh without regions has none.
std::vector<std::vector<int>> heat_RegionBorders(heat_MeshData const& mesh);
