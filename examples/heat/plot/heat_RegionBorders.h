#pragma once

#include "examples/heat/mesh/heat_MeshData.h"

#include <vector>

// The borders between the regions of a mesh, as courses from node to node, each drawn in one stroke. A course
// ends at the mesh boundary and where more than two borders meet; a ring repeats its first node. A mesh with
// a single region has none.
std::vector<std::vector<int>> heat_RegionBorders(heat_MeshData const& mesh);
