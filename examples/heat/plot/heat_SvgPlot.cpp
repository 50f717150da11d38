#include "examples/heat/plot/heat_SvgPlot.h"

#include "examples/heat/plot/heat_PlotAxes.h"
#include "examples/heat/plot/heat_PlotField.h"
#include "examples/heat/plot/heat_RegionBorders.h"
#include "examples/heat/plot/heat_Scale.h"
#include "examples/heat/plot/heat_Svg.h"
#include "examples/heat/plot/heat_View.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr std::size_t mostSheetTriangles = 200000;
constexpr std::size_t mostBodyTriangles = 12000;
constexpr int fewestBands = 32;
constexpr int mostBarTicks = 9;

// The layout, in pixels.
constexpr double largestWidth = 620, largestHeight = 560;   // largest size of the field
constexpr double smallestWidth = 320, smallestHeight = 240; // smallest room for the field
constexpr double leftMargin = 92, topMargin = 108, bottomMargin = 78;
constexpr double barGap = 64, barWidth = 20, barRoom = 96, keyGap = 30;
constexpr std::size_t longestTitle = 52, longestName = 40, longestUnit = 8; // characters

void Check(heat_MeshData const& mesh, std::vector<double> const& temperature) {
  if (mesh.triangles.empty()) throw heat_PlotError("there is nothing to plot: the mesh has no triangles");
  if (temperature.size() != mesh.nodes.size()) {
    throw heat_PlotError("cannot plot " + std::to_string(temperature.size()) + " temperatures on " +
                         std::to_string(mesh.nodes.size()) + " nodes");
  }
  if (!std::all_of(temperature.begin(), temperature.end(), [](double x) { return std::abs(x) < 1e30; })) {
    throw heat_PlotError("cannot plot a temperature that is not a finite number of reasonable size");
  }
}

// The part of the projection plane that the mesh occupies, and the scale to fit it.
heat_Frame FrameFor(heat_MeshData const& mesh, heat_View const& view) {
  heat_Frame frame;
  auto const box = heat_BoundingBox(mesh);
  for (int corner = 0; corner < 8; ++corner) {
    heat_Vector const point{(corner & 1) != 0 ? box.high[0] : box.low[0],
                            (corner & 2) != 0 ? box.high[1] : box.low[1],
                            (corner & 4) != 0 ? box.high[2] : box.low[2]};
    auto const place = view.Project(point);
    for (std::size_t axis = 0; axis < 2; ++axis) {
      frame.low[axis] = corner == 0 ? place[axis] : std::min(frame.low[axis], place[axis]);
      frame.high[axis] = corner == 0 ? place[axis] : std::max(frame.high[axis], place[axis]);
    }
  }
  frame.scale =
      std::min(largestWidth / (frame.high[0] - frame.low[0]), largestHeight / (frame.high[1] - frame.low[1]));
  frame.corner = {leftMargin, topMargin};
  return frame;
}

std::string Subtitle(heat_MeshData const& mesh, std::vector<double> const& temperature,
                     heat_Bands const& bands, heat_PlotOptions const& options) {
  auto const [low, high] = std::minmax_element(temperature.begin(), temperature.end());
  auto const decimals = std::max(1, 1 - static_cast<int>(std::floor(std::log10(bands.step))));
  auto const separator = " \u00B7 ";
  return (options.meshName.empty() ? std::string()
                                   : heat_Shortened(options.meshName, longestName) + separator) +
         std::to_string(mesh.nodes.size()) + " nodes, " + std::to_string(mesh.triangles.size()) +
         " triangles" + separator + "min " + heat_NumberText(*low, decimals) + ", max " +
         heat_NumberText(*high, decimals) + (options.unit.empty() ? "" : " " + options.unit);
}

void DrawBar(heat_Pixel const& corner, double height, heat_Shades const& shades, heat_Ticks const& ticks,
             heat_PlotOptions const& options, heat_Svg& svg) {
  auto const& bands = shades.bands;
  auto const place = [&](double value) {
    return corner[1] + height * (bands.High() - value) / (bands.High() - bands.Level(0));
  };
  for (int band = 0; band < bands.count; ++band) {
    // Each extends to the bottom end, so that there is no gap between two.
    auto const top = place(bands.Level(bands.count - band));
    svg.Rectangle({corner[0], top}, barWidth, corner[1] + height - top,
                  "fill=\"" + shades.Colour(bands.count - 1 - band) + "\"");
  }
  svg.Rectangle(corner, barWidth, height, "fill=\"none\" stroke=\"#444\" stroke-width=\"0.8\"");
  for (auto const value : ticks.values) {
    auto const y = place(value);
    svg.Line({corner[0] + barWidth, y}, {corner[0] + barWidth + 5, y},
             "stroke=\"#444\" stroke-width=\"0.8\"");
    svg.Text({corner[0] + barWidth + 9, y + 4.3}, heat_NumberText(value, ticks.decimals),
             "font-size=\"12.5\"");
  }
  auto const unit = options.unit.empty() ? std::string() : " (" + options.unit + ")";
  svg.Text({corner[0] + barWidth + barRoom - 10, corner[1] - 16}, heat_Shortened(options.quantity, 14) + unit,
           "font-size=\"13\" text-anchor=\"end\"");
}

// The key to the two kinds of lines on a sheet with regions.
void DrawKey(heat_Pixel const& corner, heat_Svg& svg) {
  constexpr double sample = 28, rowHeight = 19;
  auto const row = [&](double y, char const* text) {
    svg.Text({corner[0] + sample + 8, y + 4.3}, text, "font-size=\"12.5\"");
  };
  auto const right = corner[0] + sample;
  svg.Line(corner, {right, corner[1]}, heat_IsoLineStyle(true));
  row(corner[1], "isotherm");
  auto const y = corner[1] + rowHeight;
  svg.Line({corner[0], y}, {right, y}, heat_BorderUnderStyle);
  svg.Line({corner[0], y}, {right, y}, heat_BorderStyle);
  row(y, "region border");
}

heat_Shades ShadesFor(std::vector<double> const& temperature, heat_Ticks& ticks,
                      heat_PlotOptions const& options) {
  auto const [low, high] = std::minmax_element(temperature.begin(), temperature.end());
  heat_Shades shades;
  shades.bands = heat_BandsFor(*low, *high, fewestBands);
  shades.meshLines = options.meshLines;
  shades.unit = heat_Shortened(options.unit, longestUnit);
  ticks = heat_TicksFor(shades.bands.low, shades.bands.High(), mostBarTicks);
  shades.decimals = ticks.decimals;
  for (auto const value : ticks.values) {
    if (value > *low && value < *high) shades.lines.push_back(value);
  }
  return shades;
}

} // namespace

std::string heat_SvgPlot::Draw(heat_MeshData const& mesh, std::vector<double> const& temperature,
                               heat_PlotOptions const& options) {
  Check(mesh, temperature);
  bool const isFlat = heat_IsFlat(mesh);
  auto const view = isFlat ? heat_View() : heat_ViewFrom(options.viewFrom);
  auto frame = FrameFor(mesh, view);
  auto const roomWidth = std::max(frame.Width(), smallestWidth);
  auto const roomHeight = std::max(frame.Height(), smallestHeight);
  frame.corner[0] += (roomWidth - frame.Width()) / 2;
  frame.corner[1] += (roomHeight - frame.Height()) / 2;
  auto const width = leftMargin + roomWidth + barGap + barWidth + barRoom;
  auto const height = topMargin + roomHeight + bottomMargin;

  heat_Ticks ticks;
  auto const shades = ShadesFor(temperature, ticks, options);
  heat_Svg svg(width, height);
  svg.Rectangle({0, 0}, width, height, "fill=\"#fff\"");
  svg.OpenGroup("fill=\"#222\"");
  svg.Text({28, 40}, heat_Shortened(options.title, longestTitle), "font-size=\"20\" font-weight=\"bold\"");
  svg.Text({28, 63}, Subtitle(mesh, temperature, shades.bands, options), "font-size=\"13\" fill=\"#555\"");
  auto const barHeight = std::min(roomHeight, 420.0);
  DrawBar({leftMargin + roomWidth + barGap, topMargin + (roomHeight - barHeight) / 2}, barHeight, shades,
          ticks, options, svg);
  if (isFlat) {
    heat_DrawSheetAxes(heat_BoundingBox(mesh), frame, svg);
    if (!heat_RegionBorders(mesh).empty())
      DrawKey({leftMargin + roomWidth + barGap - 24, topMargin + roomHeight + keyGap}, svg);
  } else {
    heat_DrawBodyAxes(heat_BoundingBox(mesh), view, frame, svg);
  }
  svg.CloseGroup();
  auto const field = heat_Coarsened(mesh, temperature, isFlat ? mostSheetTriangles : mostBodyTriangles);
  if (isFlat) {
    heat_DrawSheet(field, frame, shades, svg);
  } else {
    heat_DrawBody(field, view, frame, shades, svg);
  }
  return svg.Document();
}

void heat_SvgPlot::WriteFile(std::string const& path, heat_MeshData const& mesh,
                             std::vector<double> const& temperature, heat_PlotOptions const& options) {
  heat_WritePlot(path, Draw(mesh, temperature, options));
}
