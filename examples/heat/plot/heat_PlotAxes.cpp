#include "examples/heat/plot/heat_PlotAxes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

namespace {

constexpr auto axisStyle = "stroke=\"#444\" stroke-width=\"0.8\"";
constexpr double tickLength = 5;
constexpr double textSize = 12.5;
constexpr double pixelsPerTick = 62;
constexpr double sheetGap = 14; // between a sheet and its axes

struct Unit {
  char const* name;
  double perMetre;
};

Unit UnitFor(heat_Box const& box) {
  auto const extent = heat_Minus(box.high, box.low);
  return *std::max_element(extent.begin(), extent.end()) < 1 ? Unit{"mm", 1000} : Unit{"m", 1};
}

// Centres a text around a place beside an object, moved `outward` so that they do not touch.
void PlaceText(heat_Pixel const& from, heat_Pixel const& outward, double distance, std::string const& text,
               heat_Svg& svg) {
  char const* anchor = outward[0] > 0.35 ? "start" : outward[0] < -0.35 ? "end" : "middle";
  heat_Pixel const place{from[0] + outward[0] * distance,
                         from[1] + outward[1] * distance + textSize * (0.35 + 0.4 * outward[1])};
  svg.Text(place, text,
           "font-size=\"" + heat_Svg::Number(textSize) + "\" text-anchor=\"" + std::string(anchor) + "\"");
}

double LengthOf(heat_Axis const& axis) {
  return std::hypot(axis.to[0] - axis.from[0], axis.to[1] - axis.from[1]);
}

std::string NameOf(std::size_t axis, Unit const& unit) {
  return std::string(1, static_cast<char>('x' + axis)) + " (" + unit.name + ")";
}

heat_Pixel Unitary(heat_Pixel const& direction) {
  auto const length = std::hypot(direction[0], direction[1]);
  return {direction[0] / length, direction[1] / length};
}

// The axis along an edge of the box that starts at the given corner.
heat_Axis AxisAlong(std::size_t along, heat_Vector corner, heat_Box const& box, heat_View const& view,
                    heat_Frame const& frame) {
  auto const unit = UnitFor(box);
  heat_Axis axis{};
  corner[along] = box.low[along];
  axis.from = frame.Place(view.Project(corner));
  corner[along] = box.high[along];
  axis.to = frame.Place(view.Project(corner));
  axis.low = box.low[along] * unit.perMetre;
  axis.high = box.high[along] * unit.perMetre;
  axis.name = NameOf(along, unit);
  return axis;
}

// The direction perpendicular to a line, turned so that it points away from a place.
heat_Pixel AwayFrom(heat_Pixel const& place, heat_Axis const& axis) {
  auto const along = Unitary({axis.to[0] - axis.from[0], axis.to[1] - axis.from[1]});
  heat_Pixel const across{-along[1], along[0]};
  auto const side = across[0] * (axis.from[0] - place[0]) + across[1] * (axis.from[1] - place[1]);
  return side >= 0 ? across : heat_Pixel{-across[0], -across[1]};
}

} // namespace

heat_Ticks heat_TicksOf(heat_Axis const& axis) {
  auto const count = std::max(2, static_cast<int>(LengthOf(axis) / pixelsPerTick) + 1);
  return heat_TicksFor(axis.low, axis.high, count);
}

void heat_DrawAxis(heat_Axis const& axis, double nameDistance, heat_Svg& svg) {
  svg.Line(axis.from, axis.to, axisStyle);
  if (axis.high > axis.low && LengthOf(axis) > 1) {
    auto const ticks = heat_TicksOf(axis);
    for (auto const value : ticks.values) {
      auto const share = (value - axis.low) / (axis.high - axis.low);
      heat_Pixel const place{axis.from[0] + share * (axis.to[0] - axis.from[0]),
                             axis.from[1] + share * (axis.to[1] - axis.from[1])};
      svg.Line(place, {place[0] + tickLength * axis.outward[0], place[1] + tickLength * axis.outward[1]},
               axisStyle);
      PlaceText(place, axis.outward, tickLength + 4, heat_NumberText(value, ticks.decimals), svg);
    }
  }
  heat_Pixel const middle{(axis.from[0] + axis.to[0]) / 2, (axis.from[1] + axis.to[1]) / 2};
  PlaceText(middle, axis.outward, nameDistance, axis.name, svg);
}

void heat_DrawUprightName(heat_Pixel const& place, std::string const& name, heat_Svg& svg) {
  svg.Text(place, name,
           "font-size=\"" + heat_Svg::Number(textSize) + "\" text-anchor=\"middle\" transform=\"rotate(-90 " +
               heat_Svg::Number(place[0]) + " " + heat_Svg::Number(place[1]) + ")\"");
}

void heat_DrawSheetAxes(heat_Box const& box, heat_Frame const& frame, heat_Svg& svg) {
  auto const unit = UnitFor(box);
  auto const left = frame.corner[0];
  auto const right = left + frame.Width();
  auto const top = frame.corner[1];
  auto const bottom = top + frame.Height();
  auto const x = bottom + sheetGap;
  auto const y = left - sheetGap;
  heat_DrawAxis({{left, x},
                 {right, x},
                 {0, 1},
                 box.low[0] * unit.perMetre,
                 box.high[0] * unit.perMetre,
                 NameOf(0, unit)},
                32, svg);
  heat_Axis upright{{y, bottom}, {y, top}, {-1, 0}, box.low[1] * unit.perMetre, box.high[1] * unit.perMetre,
                    ""};
  heat_DrawAxis(upright, 0, svg);
  heat_DrawUprightName({y - 46, (top + bottom) / 2}, NameOf(1, unit), svg);
}

void heat_DrawBodyAxes(heat_Box const& box, heat_View const& view, heat_Frame const& frame, heat_Svg& svg) {
  auto const centre = frame.Place(view.Project(
      heat_Scaled({box.low[0] + box.high[0], box.low[1] + box.high[1], box.low[2] + box.high[2]}, 0.5)));
  heat_Vector nearest{};
  for (std::size_t axis = 0; axis < 3; ++axis)
    nearest[axis] = view.toViewer[axis] > 0 ? box.high[axis] : box.low[axis];
  bool const fromAbove = view.toViewer[2] > 0;
  nearest[2] = fromAbove ? box.low[2] : box.high[2];
  heat_Vector leftmost = nearest;
  for (std::size_t axis = 0; axis < 2; ++axis)
    leftmost[axis] = view.right[axis] > 0 ? box.low[axis] : box.high[axis];
  for (std::size_t along = 0; along < 3; ++along) {
    if (box.high[along] <= box.low[along]) continue;
    auto axis = AxisAlong(along, along == 2 ? leftmost : nearest, box, view, frame);
    axis.outward = AwayFrom(centre, axis);
    for (auto* end : {&axis.from, &axis.to}) {
      for (std::size_t i = 0; i < 2; ++i) (*end)[i] += 7 * axis.outward[i];
    }
    heat_DrawAxis(axis, 40, svg);
  }
}
