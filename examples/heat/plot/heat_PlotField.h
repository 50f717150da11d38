#pragma once

#include "examples/heat/plot/heat_Scale.h"
#include "examples/heat/plot/heat_Svg.h"
#include "examples/heat/plot/heat_View.h"

#include <string>
#include <vector>

// How the values of a field are shown.
struct heat_Shades {
  heat_Bands bands;          // one colour each
  std::vector<double> lines; // levels of iso-lines
  int decimals = 0;          // of the levels written at the lines
  std::string unit;          // of the levels written at the lines
  bool meshLines = true;     // drawn if they are not too close together

  // The colour of a band as "#rrggbb", darkened by the factor.
  std::string Colour(int band, double factor = 1) const;

  // The band that contains a value; the first or last one for a value outside.
  int BandOf(double value) const;

  // Whether the colour at a value is so light that drawing on it must be dark.
  bool IsLightAt(double value) const;

  // The text of a level at its line.
  std::string Label(double level) const;
};

// The styles of an iso-line and of a border between regions. A border is drawn twice, once in each style.
std::string heat_IsoLineStyle(bool onLight);
inline constexpr auto heat_BorderUnderStyle = "fill=\"none\" stroke=\"#101018\" stroke-width=\"2.2\"";
inline constexpr auto heat_BorderStyle =
    "fill=\"none\" stroke=\"#fff\" stroke-width=\"1.4\" stroke-dasharray=\"6 5\"";

// Draws a field on a mesh in a plane of constant z, seen from above, with borders between regions and labels
// on the iso-lines. Every band is one area, so the picture has no seams.
void heat_DrawSheet(heat_Field const& field, heat_Frame const& frame, heat_Shades const& shades,
                    heat_Svg& svg);

// Draws a field on a surface in space: the farthest triangles first, then the visible parts of the iso-lines
// with their labels. Triangles of a closed surface that face away are left out.
void heat_DrawBody(heat_Field const& field, heat_View const& view, heat_Frame const& frame,
                   heat_Shades const& shades, heat_Svg& svg);
