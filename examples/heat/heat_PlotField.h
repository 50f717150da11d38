#pragma once

#include "examples/heat/heat_Scale.h"
#include "examples/heat/heat_Svg.h"
#include "examples/heat/heat_View.h"

#include <string>
#include <vector>

// How the values of a field are shown.
struct heat_Shades {
  heat_Bands bands;          // one colour each
  std::vector<double> lines; // levels of iso-lines
  bool meshLines = true;     // where they do not lie too close

  // The colour of a band as "#rrggbb", darkened by the factor.
  std::string Colour(int band, double factor = 1) const;
};

// Draws a field on a mesh that lies flat in a plane of constant z, seen from above. Every band is one area,
// so the picture has no seams.
void heat_DrawSheet(heat_Field const& field, heat_Frame const& frame, heat_Shades const& shades,
                    heat_Svg& svg);

// Draws a field on a surface in space, the farthest triangles first. Triangles of a closed surface that face
// away are left out.
void heat_DrawBody(heat_Field const& field, heat_View const& view, heat_Frame const& frame,
                   heat_Shades const& shades, heat_Svg& svg);
