#pragma once

#include "examples/heat/mesh/heat_InputError.h"
#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/plot/heat_LeftOut.h"
#include "examples/heat/program/heat_Progress.h"

#include <string>
#include <string_view>

// Reads triangle meshes from files in the ASCII form of the Gmsh format MSH 4.1, as the Gmsh reference manual
// describes it: the sections $MeshFormat, $Entities (which may be missing), $Nodes and $Elements. Other
// sections are passed over. Coordinates are taken as metres.
//
// The mesh consists of the three-node triangles (element type 2) of the file. If it has none but has
// four-node tetrahedra (type 4), the triangles are the faces that belong to exactly one tetrahedron, turned
// so that they run counter-clockwise seen from outside. The triangles keep the order of the file, the nodes
// too; nodes that no triangle uses are left out, and all other elements. Who wants to tell of that asks for a
// heat_LeftOut.
//
// Whatever is wrong throws heat_InputError with the line at fault: a file that cannot be read, is no such
// mesh or ends early, counts that contradict each other or the size of the file, unknown or repeated node
// tags, coordinates that are not finite, triangles without area, tetrahedra without volume, faces shared by
// more than two tetrahedra, elements of other kinds where triangles or tetrahedra are needed (quadrangles,
// curved elements), no triangles at all.
class heat_MshReader {
 public:
  // Reads a file. path is also the name in complaints.
  static heat_MeshData ReadFile(std::string const& path, heat_ProgressCall const& progress = {},
                                heat_LeftOut* leftOut = nullptr);

  // Reads the text of a file that is called name in complaints.
  static heat_MeshData ReadText(std::string_view text, std::string const& name,
                                heat_ProgressCall const& progress = {}, heat_LeftOut* leftOut = nullptr);
};
