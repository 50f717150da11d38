#include "examples/heat/mesh/heat_TestFiles.h"
#include "examples/heat/plot/heat_HistoryPlot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

std::size_t CountOf(std::string const& text, std::string const& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

bool Contains(std::string const& text, std::string const& part) {
  return text.find(part) != std::string::npos;
}

std::string MessageOf(std::vector<double> const& seconds, std::vector<heat_Curve> const& curves) {
  try {
    heat_DrawHistory(seconds, curves);
  } catch (heat_PlotError const& error) {
    return error.what();
  }
  return "nothing is wrong";
}

} // namespace

TEST(heat_HistoryPlot, ShowsCurvesAxesLegendAndUnits) {
  heat_HistoryOptions options;
  options.subtitle = "plate.msh";
  auto const svg =
      heat_DrawHistory({0, 50, 100}, {{"node 3", {20, 60, 70}}, {"node 14", {20, 30, 40}}}, options);
  EXPECT_EQ(svg.substr(0, 5), "<?xml");
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
  EXPECT_EQ(CountOf(svg, "<path "), 2u);
  for (char const* const text : {">Transient heat conduction<", ">plate.msh<", ">Time (s)<",
                                 ">Temperature (\u00B0C)<", ">node 3<", ">node 14<", ">100<", ">20<", ">70<"})
    EXPECT_TRUE(Contains(svg, text)) << text;
}

TEST(heat_HistoryPlot, PlacesValuesOnTheirAxes) {
  // `rise` runs from the lower left corner of the plot to the upper right one; `flat` is halfway up.
  auto const svg = heat_DrawHistory({0, 10}, {{"rise", {0, 10}}, {"flat", {5, 5}}});
  EXPECT_TRUE(Contains(svg, "d=\"M92 436l620-340\"")) << svg;
  EXPECT_TRUE(Contains(svg, "d=\"M92 266l620 0\"")) << svg;
}

TEST(heat_HistoryPlot, TakesTheUnitOfTimeThatSuitsTheSpan) {
  auto const unitOf = [](double span) {
    auto const svg = heat_DrawHistory({0, span}, {{"a", {1, 2}}});
    auto const at = svg.find(">Time (") + 7;
    return svg.substr(at, svg.find(')', at) - at);
  };
  EXPECT_EQ(unitOf(300), "s");
  EXPECT_EQ(unitOf(301), "min");
  EXPECT_EQ(unitOf(4 * 3600 + 1), "h");
  EXPECT_EQ(unitOf(3 * 86400 + 1), "d");
}

TEST(heat_HistoryPlot, ACurveWithoutChangeIsALevelLineInARangeOfItsOwn) {
  auto const svg = heat_DrawHistory({0, 10}, {{"flat", {20, 20}}});
  EXPECT_TRUE(Contains(svg, "d=\"M92 266l620 0\"")) << svg; // halfway up
}

TEST(heat_HistoryPlot, CurvesDifferInColourAndDashes) {
  std::vector<heat_Curve> const curves(heat_MostCurves, {"a", {1, 2}});
  auto const svg = heat_DrawHistory({0, 1}, curves);
  for (char const* const colour : {"#d55e00", "#009e73", "#0072b2", "#cc79a7", "#e69f00", "#56b4e9"})
    EXPECT_EQ(CountOf(svg, colour), 2u) << colour; // the curve and its legend
  for (char const* const dashes : {"\"none\"", "\"9 4\"", "\"3 3\"", "\"12 4 3 4\"", "\"6 6\"", "\"1 3\""})
    EXPECT_EQ(CountOf(svg, "stroke-dasharray=" + std::string(dashes)), 2u) << dashes;
}

TEST(heat_HistoryPlot, EscapesTexts) {
  auto const svg = heat_DrawHistory({0, 1}, {{"a<b & c", {1, 2}}});
  EXPECT_TRUE(Contains(svg, ">a&lt;b &amp; c<"));
}

TEST(heat_HistoryPlot, RefusesWhatCannotBePlotted) {
  EXPECT_EQ(MessageOf({0, 1}, {{"a", {1, 2}}}), "nothing is wrong");
  EXPECT_TRUE(Contains(MessageOf({0}, {{"a", {1}}}), "two moments"));
  EXPECT_TRUE(Contains(MessageOf({0, 1}, {}), "0 curves"));
  std::vector<heat_Curve> const many(heat_MostCurves + 1, {"a", {1, 2}});
  EXPECT_TRUE(Contains(MessageOf({0, 1}, many), "7 curves"));
  EXPECT_TRUE(Contains(MessageOf({0, 1}, {{"a", {1, 2, 3}}}), "3 values at 2 moments"));
  EXPECT_TRUE(Contains(MessageOf({0, 1}, {{"a", {1, std::nan("")}}}), "not a finite number"));
  EXPECT_TRUE(Contains(MessageOf({0, HUGE_VAL}, {{"a", {1, 2}}}), "not a finite number"));
  EXPECT_TRUE(Contains(MessageOf({1, 0}, {{"a", {1, 2}}}), "ascending"));
  EXPECT_TRUE(Contains(MessageOf({1, 1}, {{"a", {1, 2}}}), "ascending"));
}

TEST(heat_HistoryPlot, AFileIsReplacedAsAWholeOrNotAtAll) {
  auto const path = (std::filesystem::temp_directory_path() / "heat_HistoryPlot_test.svg").string();
  heat_WritePlot(path, "one");
  heat_WritePlot(path, "other");
  EXPECT_EQ(heat_TextOf(path), "other");
  EXPECT_FALSE(std::filesystem::exists(path + ".part"));
  std::filesystem::remove(path);
  EXPECT_THROW(heat_WritePlot("/nowhere/at/all.svg", "one"), heat_PlotError);
}
