#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/plot/heat_PlotFile.h"

#include <string>
#include <vector>

// What a plot says besides the field. All texts are UTF-8.
struct heat_PlotOptions {
  std::string title = "Steady heat conduction";
  std::string meshName; // for the line below the title
  std::string quantity = "Temperature";
  std::string unit = "\u00B0C";
  bool meshLines = true;
  heat_Vector viewFrom{-0.55, -1.0, 0.62}; // where the viewer of a body stands; not along z
};

// Pictures of a temperature field as SVG 1.1 documents, independent of the locale.
//
// A mesh that lies flat in a plane of constant z is seen from above; any other is drawn in parallel
// projection, closed surfaces without the triangles that face away. The field is linear in each triangle and
// appears as bands of equal height with exact borders, with iso-lines at the ticks of the colour bar, which
// carry their values; borders between the regions of a flat mesh are dashed and do not look like them; axes
// are in mm for meshes below a metre, otherwise in m, with the same scale in all directions. Large meshes are
// coarsened for the picture, which keeps the document below a few megabytes.
class heat_SvgPlot {
 public:
  // The document. temperature has one value per node, less than 1e30 in size; heat_PlotError otherwise, or
  // for a mesh without triangles.
  static std::string Draw(heat_MeshData const& mesh, std::vector<double> const& temperature,
                          heat_PlotOptions const& options = {});

  // Draws to a file, which is replaced only when the document is complete. heat_PlotError if it cannot be
  // written.
  static void WriteFile(std::string const& path, heat_MeshData const& mesh,
                        std::vector<double> const& temperature, heat_PlotOptions const& options = {});
};
