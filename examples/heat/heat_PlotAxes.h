#pragma once

#include "examples/heat/heat_MeshData.h"
#include "examples/heat/heat_Svg.h"
#include "examples/heat/heat_View.h"

// Axes with round lengths, in mm if the box is smaller than a metre in all directions, otherwise in m.

// Below and to the left of a frame that shows the box from above.
void heat_DrawSheetAxes(heat_Box const& box, heat_Frame const& frame, heat_Svg& svg);

// Along three edges of the box: two at the bottom towards the viewer, one upright at the left.
void heat_DrawBodyAxes(heat_Box const& box, heat_View const& view, heat_Frame const& frame, heat_Svg& svg);
