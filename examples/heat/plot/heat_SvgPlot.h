#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/plot/heat_PlotFile.h"

#include <string>
#include <vector>

// The texts and settings of a plot besides the field. All texts are UTF-8.
struct heat_PlotOptions {
  std::string title = "Steady heat conduction";
  std::string meshName; // for the line below the title
  std::string quantity = "Temperature";
  std::string unit = "\u00B0C";
  bool meshLines = true;
  heat_Vector viewFrom{-0.55, -1.0, 0.62}; // direction from a body to the viewer; not along z
};

// Pictures of a temperature field as SVG 1.1 documents, independent of the locale.
//
// A mesh in a plane of constant z is seen from above; any other is drawn in parallel projection, closed
// surfaces without the triangles that face away. The field is linear in each triangle. It is shown as bands
// of equal height with exact borders, and as iso-lines, labelled with their values, at the ticks of the
// colour bar. Borders between the regions of a flat mesh are dashed, to distinguish them from iso-lines. Axes
// are in mm for meshes below a metre, otherwise in m, with the same scale in all directions. Large meshes are
// coarsened for the picture, which keeps the document below a few megabytes.
class heat_SvgPlot {
 public:
  // Returns the document. temperature has one value per node, less than 1e30 in size. Throws heat_PlotError
  // otherwise, or for a mesh without triangles.
  static std::string Draw(heat_MeshData const& mesh, std::vector<double> const& temperature,
                          heat_PlotOptions const& options = {});

  // Draws to a file, which is replaced only when the document is complete. Throws heat_PlotError if it cannot
  // be written.
  static void WriteFile(std::string const& path, heat_MeshData const& mesh,
                        std::vector<double> const& temperature, heat_PlotOptions const& options = {});
};
