#pragma once

#include <string>
#include <vector>

#include "tools/kvlstore/plot/kvs_Curve.h"

/// What is written at the axes.
struct kvs_PlotLabels {
  std::string m_X;
  std::string m_Y;
};

/// Round numbers for an axis from `low` to `high`, about `count` of them, ascending; all between the two.
[[nodiscard]] std::vector<double> kvs_Ticks(double low, double high, int count);

/// A curve as an SVG document, which has its own background and shows the same in dark surroundings. `width`, `height` in
/// pixels; 0: 800 and 450. REQUIRES: the curve has points.
[[nodiscard]] std::string kvs_DrawSvg(kvs_Curve const& curve, kvs_PlotLabels const& labels, int width,
                                      int height);

/// A curve in Braille characters, which have eight dots each. `width`, `height` in characters; 0: 72 and 18. REQUIRES: the
/// curve has points.
[[nodiscard]] std::string kvs_DrawText(kvs_Curve const& curve, kvs_PlotLabels const& labels, int width,
                                       int height);
