#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/plot/heat_Scale.h"
#include "examples/heat/plot/heat_Svg.h"
#include "examples/heat/plot/heat_View.h"

#include <string>

// An axis from one pixel to another, with round values at its ticks and its labels on one side.
struct heat_Axis {
  heat_Pixel from;
  heat_Pixel to;
  heat_Pixel outward; // unit vector towards the side of the labels
  double low;         // the values at its ends
  double high;
  std::string name;
};

// The ticks of an axis whose end values differ: as many as fit its length.
heat_Ticks heat_TicksOf(heat_Axis const& axis);

// Draws an axis, with its name at the given distance from its middle.
void heat_DrawAxis(heat_Axis const& axis, double nameDistance, heat_Svg& svg);

// The name of an upright axis, rotated along it; place is its middle.
void heat_DrawUprightName(heat_Pixel const& place, std::string const& name, heat_Svg& svg);

// Axes with round lengths, in mm if the box is smaller than a metre in all directions, otherwise in m.

// Below and to the left of a frame that shows the box from above.
void heat_DrawSheetAxes(heat_Box const& box, heat_Frame const& frame, heat_Svg& svg);

// Along three edges of the box: two at the bottom facing the viewer, and the upright one at the left.
void heat_DrawBodyAxes(heat_Box const& box, heat_View const& view, heat_Frame const& frame, heat_Svg& svg);
