#pragma once

#include "examples/heat/mesh/heat_InputError.h"
#include "examples/heat/mesh/heat_LeftOut.h"
#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/mesh/heat_ProgressCall.h"

#include <string>
#include <string_view>

// Reads triangle meshes from files in the ASCII form of the Gmsh format MSH 4.1, as described in the Gmsh
// reference manual: the sections $MeshFormat, $Entities (optional), $Nodes and $Elements. Other sections are
// skipped. Coordinates are in metres.
//
// The mesh consists of the three-node triangles (element type 2) of the file. If there are none but there are
// four-node tetrahedra (type 4), the triangles are the faces that belong to exactly one tetrahedron, turned
// so that they run counter-clockwise seen from outside. Triangles and nodes keep the order of the file. Nodes
// that no triangle uses and all other elements are left out; callers that want to report them pass a
// heat_LeftOut.
//
// Throws heat_InputError with the line of the error for: a file that cannot be read, is not such a mesh or
// ends early, counts that contradict each other or the size of the file, unknown or repeated node tags,
// coordinates that are not finite, triangles without area, tetrahedra without volume, faces shared by more
// than two tetrahedra, elements of other kinds where triangles or tetrahedra are needed (quadrangles, curved
// elements), and no triangles at all.
class heat_MshReader {
 public:
  // Reads a file. Error messages name it as `path`.
  static heat_MeshData ReadFile(std::string const& path, heat_ProgressCall const& progress = {},
                                heat_LeftOut* leftOut = nullptr);

  // Reads a text. Error messages name it as `name`.
  static heat_MeshData ReadText(std::string_view text, std::string const& name,
                                heat_ProgressCall const& progress = {}, heat_LeftOut* leftOut = nullptr);
};
