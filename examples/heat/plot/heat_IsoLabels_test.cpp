#include "examples/heat/plot/heat_IsoLabels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace {

// Two triangles that cover a rectangle with a constant value.
void AddRectangle(heat_Pixel const& low, heat_Pixel const& high, double value, double depth,
                  std::vector<heat_SeenTriangle>& triangles) {
  heat_Pixel const right{high[0], low[1]};
  heat_Pixel const left{low[0], high[1]};
  std::array<double, 3> const values{value, value, value};
  std::array<double, 3> const depths{depth, depth, depth};
  triangles.push_back({{low, right, high}, values, depths});
  triangles.push_back({{low, high, left}, values, depths});
}

// A sheet of 400 by 400 pixels with the value 1 everywhere, so that a line can be visible anywhere.
std::vector<heat_SeenTriangle> Sheet() {
  std::vector<heat_SeenTriangle> triangles;
  AddRectangle({0, 0}, {400, 400}, 1, 0, triangles);
  return triangles;
}

std::vector<heat_IsoLabel> Placed(std::vector<heat_IsoLine> const& lines,
                                  heat_SeenField const& seen = heat_SeenField(Sheet())) {
  std::size_t levels = 0;
  for (auto const& line : lines) levels = std::max(levels, line.level + 1);
  return heat_PlaceLabels(lines, std::vector<heat_IsoLevel>(levels, {1, 40}), 10, 0.01, seen);
}

} // namespace

TEST(heat_SeenField, ValueIsThatOfTheNearestTriangle) {
  auto triangles = Sheet();
  AddRectangle({100, 100}, {200, 200}, 2, 5, triangles);
  AddRectangle({150, 150}, {250, 250}, 3, -5, triangles);
  heat_SeenField const seen(triangles);
  EXPECT_EQ(seen.At({50, 50}), 1);
  EXPECT_EQ(seen.At({150, 120}), 2);
  EXPECT_EQ(seen.At({190, 190}), 2);
  EXPECT_EQ(seen.At({240, 240}), 1);
  EXPECT_EQ(seen.At({401, 50}), std::nullopt);
  EXPECT_EQ(seen.At({-3000, 1e9}), std::nullopt);
  EXPECT_EQ(heat_SeenField(std::vector<heat_SeenTriangle>()).At({0, 0}), std::nullopt);
}

TEST(heat_SeenField, ValueIsLinearInATriangle) {
  heat_SeenTriangle const triangle{{heat_Pixel{0, 0}, {100, 0}, {0, 100}}, {0, 10, 20}, {0, 0, 0}};
  heat_SeenField const seen(std::vector<heat_SeenTriangle>{triangle});
  EXPECT_NEAR(*seen.At({50, 25}), 10, 1e-12);
  EXPECT_EQ(seen.At({60, 60}), std::nullopt);
}

TEST(heat_IsoLabels, LabelIsInTheMiddleOfItsLine) {
  auto const labels = Placed({{0, {{100, 200}, {300, 200}}}});
  ASSERT_EQ(labels.size(), 1u);
  EXPECT_EQ(labels[0].centre, (heat_Pixel{200, 200}));
  EXPECT_EQ(labels[0].angle, 0);
}

TEST(heat_IsoLabels, NoLabelIsUpsideDown) {
  for (int degree = 0; degree < 360; degree += 15) {
    double const angle = degree * 3.14159265358979 / 180;
    heat_Pixel const reach{100 * std::cos(angle), 100 * std::sin(angle)};
    auto const labels = Placed({{0, {{200 - reach[0], 200 - reach[1]}, {200 + reach[0], 200 + reach[1]}}}});
    ASSERT_EQ(labels.size(), 1u) << degree;
    EXPECT_GE(labels[0].angle, -90.0001);
    EXPECT_LE(labels[0].angle, 90.0001);
    EXPECT_NEAR(std::sin(labels[0].angle * 3.14159265358979 / 180 - angle), 0, 1e-6); // along the line
  }
}

TEST(heat_IsoLabels, LabelsOfLinesCloseTogetherDoNotOverlap) {
  std::vector<heat_IsoLine> lines;
  for (std::size_t i = 0; i < 5; ++i) {
    double const y = 200 + 4.0 * static_cast<double>(i);
    lines.push_back({i, {{10, y}, {390, y}}});
  }
  auto const labels = Placed(lines);
  ASSERT_EQ(labels.size(), 5u);
  for (std::size_t i = 0; i < labels.size(); ++i)
    for (std::size_t j = 0; j < i; ++j)
      EXPECT_TRUE(std::abs(labels[i].centre[0] - labels[j].centre[0]) > 40 ||
                  std::abs(labels[i].centre[1] - labels[j].centre[1]) > 10)
          << i << ", " << j;
}

TEST(heat_IsoLabels, LabelIsOmittedWhereThereIsNoRoomForIt) {
  EXPECT_EQ(Placed({{0, {{180, 200}, {220, 200}}}, {1, {{180, 201}, {220, 201}}}}).size(), 1u);
}

TEST(heat_IsoLabels, LabelKeepsAwayFromABend) {
  auto const labels = Placed({{0, {{20, 200}, {200, 200}, {200, 380}}}});
  ASSERT_EQ(labels.size(), 1u);
  EXPECT_TRUE(labels[0].centre[0] < 180 || labels[0].centre[1] > 220);
}

TEST(heat_IsoLabels, LabelIsWhereTheLineIsSeen) {
  auto triangles = Sheet();
  AddRectangle({120, 0}, {400, 400}, 30, 5, triangles); // nearer, and with another value
  auto const labels = Placed({{0, {{10, 200}, {390, 200}}}}, heat_SeenField(triangles));
  ASSERT_EQ(labels.size(), 1u);
  EXPECT_LT(labels[0].centre[0], 100);
  AddRectangle({0, 0}, {121, 400}, 30, 5, triangles);
  EXPECT_TRUE(Placed({{0, {{10, 200}, {390, 200}}}}, heat_SeenField(triangles)).empty());
}

TEST(heat_IsoLabels, LineIsCutWhereItIsNotSeen) {
  auto triangles = Sheet();
  AddRectangle({100, 0}, {200, 400}, 30, 5, triangles);
  heat_SeenField const seen(triangles);
  std::vector<heat_Pixel> const course{{10, 200}, {50, 200}, {300, 200}, {300, 380}};
  auto const stretches = heat_SeenStretches(course, 1, 0.01, seen);
  ASSERT_EQ(stretches.size(), 2u);
  ASSERT_EQ(stretches[0].size(), 3u);
  EXPECT_EQ(stretches[0][0], course[0]);
  EXPECT_EQ(stretches[0][1], course[1]);
  EXPECT_NEAR(stretches[0][2][0], 100, 2);
  ASSERT_EQ(stretches[1].size(), 3u);
  EXPECT_NEAR(stretches[1][0][0], 200, 2);
  EXPECT_EQ(stretches[1][1], course[2]);
  EXPECT_EQ(stretches[1][2], course[3]);
  EXPECT_TRUE(heat_SeenStretches(course, 2, 0.01, seen).empty());
  EXPECT_TRUE(heat_SeenStretches({}, 1, 0.01, seen).empty());
}

TEST(heat_IsoLabels, LongLinesOfALevelGetALabelEachAndShortOnesOnlyTheFirst) {
  EXPECT_EQ(Placed({{0, {{10, 100}, {390, 100}}}, {0, {{10, 300}, {390, 300}}}}).size(), 2u);
  EXPECT_EQ(Placed({{0, {{10, 100}, {390, 100}}}, {0, {{10, 300}, {50, 300}}}}).size(), 1u);
  EXPECT_EQ(Placed({{0, {{10, 300}, {50, 300}}}}).size(), 1u);
  EXPECT_TRUE(Placed({{0, {{10, 300}, {14, 300}}}}).empty()); // too short for a label
}

TEST(heat_IsoLabels, RingsAndPointsAreLines) {
  heat_IsoLine ring{0, {}};
  for (int i = 0; i <= 36; ++i)
    ring.course.push_back({200 + 80 * std::cos(i * 0.174532925), 200 + 80 * std::sin(i * 0.174532925)});
  EXPECT_EQ(Placed({ring}).size(), 1u);
  EXPECT_TRUE(Placed({{0, {{200, 200}}}, {1, {}}, {2, {{200, 200}, {200, 200}}}}).empty());
}
