#pragma once

#include "examples/heat/plot/heat_PlotFile.h"

#include <string>
#include <vector>

// A quantity at one place over time.
struct heat_Curve {
  std::string name;           // for the legend, UTF-8
  std::vector<double> values; // one per moment
};

// The texts of a plot over time besides its curves. All are UTF-8.
struct heat_HistoryOptions {
  std::string title = "Transient heat conduction";
  std::string subtitle;
  std::string quantity = "Temperature";
  std::string unit = "\u00B0C";
};

// Draws curves over time as an SVG 1.1 document, independent of the locale: axes with round values (time in
// s, min, h or days, depending on the span), a grid, and a legend. The curves differ in colour and in dashes.
//
// seconds: the moments, ascending, at least two. Throws heat_PlotError if there are fewer, if there is no
// curve or more than heat_MostCurves, if a curve has a different number of values, or if a number is not
// finite or larger than 1e30.
std::string heat_DrawHistory(std::vector<double> const& seconds, std::vector<heat_Curve> const& curves,
                             heat_HistoryOptions const& options = {});

inline constexpr std::size_t heat_MostCurves = 6;
