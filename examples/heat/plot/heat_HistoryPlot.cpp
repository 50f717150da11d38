#include "examples/heat/plot/heat_HistoryPlot.h"

#include "examples/heat/plot/heat_PlotAxes.h"
#include "examples/heat/plot/heat_Scale.h"
#include "examples/heat/plot/heat_Svg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace {

// The layout, in pixels.
constexpr double plotWidth = 620, plotHeight = 340;
constexpr double leftMargin = 92, topMargin = 96, bottomMargin = 66, legendRoom = 180;
constexpr double axisGap = 6; // between the plot and its axes
constexpr int fewestBands = 5;
constexpr std::size_t longestTitle = 52, longestSubtitle = 100, longestName = 20; // characters

struct Style {
  char const* colour;
  char const* dashes;
};

// Colours that colour-blind people can tell apart, and dashes for prints without colour.
constexpr std::array<Style, heat_MostCurves> styles{{{"#d55e00", "none"},
                                                     {"#009e73", "9 4"},
                                                     {"#0072b2", "3 3"},
                                                     {"#cc79a7", "12 4 3 4"},
                                                     {"#e69f00", "6 6"},
                                                     {"#56b4e9", "1 3"}}};

struct TimeUnit {
  char const* name;
  double seconds;
};

TimeUnit UnitFor(double span) {
  if (span <= 300) return {"s", 1};
  if (span <= 4 * 3600) return {"min", 60};
  if (span <= 3 * 86400) return {"h", 3600};
  return {"d", 86400};
}

void Check(std::vector<double> const& seconds, std::vector<heat_Curve> const& curves) {
  auto const isUsable = [](double x) { return std::abs(x) < 1e30; };
  if (seconds.size() < 2) throw heat_PlotError("there is nothing to plot: a curve needs two moments");
  if (curves.empty() || curves.size() > heat_MostCurves)
    throw heat_PlotError("cannot plot " + std::to_string(curves.size()) + " curves, but 1 to " +
                         std::to_string(heat_MostCurves));
  bool usable = std::all_of(seconds.begin(), seconds.end(), isUsable);
  for (auto const& curve : curves) {
    if (curve.values.size() != seconds.size())
      throw heat_PlotError("cannot plot " + std::to_string(curve.values.size()) + " values at " +
                           std::to_string(seconds.size()) + " moments");
    usable = usable && std::all_of(curve.values.begin(), curve.values.end(), isUsable);
  }
  if (!usable) throw heat_PlotError("cannot plot a value that is not a finite number of reasonable size");
  if (!std::is_sorted(seconds.begin(), seconds.end()) || seconds.front() == seconds.back())
    throw heat_PlotError("cannot plot moments that are not in ascending order");
}

// The range of values of the plot, with round ends.
heat_Bands RangeOf(std::vector<heat_Curve> const& curves) {
  double low = curves.front().values.front();
  double high = low;
  for (auto const& curve : curves) {
    auto const [least, most] = std::minmax_element(curve.values.begin(), curve.values.end());
    low = std::min(low, *least);
    high = std::max(high, *most);
  }
  return heat_BandsFor(low, high, fewestBands);
}

// Maps values to positions in the drawing.
struct Area {
  heat_Axis time;
  heat_Axis value;

  double X(double moment) const {
    return time.from[0] + (moment - time.low) / (time.high - time.low) * (time.to[0] - time.from[0]);
  }
  double Y(double at) const {
    return value.from[1] + (at - value.low) / (value.high - value.low) * (value.to[1] - value.from[1]);
  }
};

void DrawGrid(Area const& area, heat_Svg& svg) {
  constexpr auto style = "stroke=\"#ddd\" stroke-width=\"0.8\"";
  auto const right = leftMargin + plotWidth;
  auto const bottom = topMargin + plotHeight;
  for (auto const moment : heat_TicksOf(area.time).values)
    svg.Line({area.X(moment), topMargin}, {area.X(moment), bottom}, style);
  for (auto const at : heat_TicksOf(area.value).values)
    svg.Line({leftMargin, area.Y(at)}, {right, area.Y(at)}, style);
}

std::string LineStyle(std::size_t curve) {
  return "fill=\"none\" stroke=\"" + std::string(styles[curve].colour) +
         "\" stroke-width=\"2\" stroke-linejoin=\"round\" stroke-dasharray=\"" + styles[curve].dashes + "\"";
}

void DrawLegend(std::vector<heat_Curve> const& curves, heat_Svg& svg) {
  auto const left = leftMargin + plotWidth + 22;
  for (std::size_t i = 0; i < curves.size(); ++i) {
    auto const y = topMargin + 12 + 24 * static_cast<double>(i);
    svg.Line({left, y}, {left + 30, y}, LineStyle(i));
    svg.Text({left + 38, y + 4.3}, heat_Shortened(curves[i].name, longestName), "font-size=\"12.5\"");
  }
}

} // namespace

std::string heat_DrawHistory(std::vector<double> const& seconds, std::vector<heat_Curve> const& curves,
                             heat_HistoryOptions const& options) {
  Check(seconds, curves);
  auto const unit = UnitFor(seconds.back() - seconds.front());
  auto const range = RangeOf(curves);
  auto const right = leftMargin + plotWidth;
  auto const bottom = topMargin + plotHeight;
  auto const quantity = options.quantity + (options.unit.empty() ? "" : " (" + options.unit + ")");
  Area const area{{{leftMargin, bottom + axisGap},
                   {right, bottom + axisGap},
                   {0, 1},
                   seconds.front() / unit.seconds,
                   seconds.back() / unit.seconds,
                   std::string("Time (") + unit.name + ")"},
                  {{leftMargin - axisGap, bottom},
                   {leftMargin - axisGap, topMargin},
                   {-1, 0},
                   range.low,
                   range.High(),
                   ""}};
  auto const width = right + legendRoom;
  auto const height = bottom + bottomMargin;
  heat_Svg svg(width, height);
  svg.Rectangle({0, 0}, width, height, "fill=\"#fff\"");
  svg.OpenGroup("fill=\"#222\"");
  svg.Text({28, 40}, heat_Shortened(options.title, longestTitle), "font-size=\"20\" font-weight=\"bold\"");
  svg.Text({28, 63}, heat_Shortened(options.subtitle, longestSubtitle), "font-size=\"13\" fill=\"#555\"");
  DrawGrid(area, svg);
  heat_DrawAxis(area.time, 36, svg);
  heat_DrawAxis(area.value, 0, svg);
  heat_DrawUprightName({leftMargin - 54, topMargin + plotHeight / 2}, quantity, svg);
  DrawLegend(curves, svg);
  svg.CloseGroup();
  for (std::size_t i = 0; i < curves.size(); ++i) {
    std::vector<heat_Pixel> course;
    course.reserve(seconds.size());
    for (std::size_t j = 0; j < seconds.size(); ++j)
      course.push_back({area.X(seconds[j] / unit.seconds), area.Y(curves[i].values[j])});
    heat_SvgPath path;
    path.Add(course, false);
    svg.Path(path, LineStyle(i));
  }
  return svg.Document();
}
