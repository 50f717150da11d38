#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"
#include "examples/heat/plot/heat_Contours.h"
#include "examples/heat/plot/heat_View.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// Positive for a counter-clockwise outline.
double AreaIn(heat_Course const& outline) {
  double area = 0;
  for (std::size_t i = 0; i < outline.size(); ++i) {
    auto const& a = outline[i];
    auto const& b = outline[(i + 1) % outline.size()];
    area += (a[0] * b[1] - a[1] * b[0]) / 2;
  }
  return area;
}

double AreaIn(std::vector<heat_Course> const& outlines) {
  double area = 0;
  for (auto const& outline : outlines) area += AreaIn(outline);
  return area;
}

struct Plane {
  std::vector<heat_PlanePoint> points;
  std::vector<double> values;
  std::vector<std::array<int, 3>> triangles;

  heat_Contours Contours() const { return {points, values, triangles}; }
};

// The bracket with a smooth field.
Plane Bracket() {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  Plane plane;
  for (auto const& node : mesh.nodes) {
    plane.points.push_back({node[0], node[1]});
    plane.values.push_back(std::sin(40 * node[0]) + 10 * node[1]);
  }
  plane.triangles = mesh.triangles;
  return plane;
}

// The unit square around its centre: value one there, zero at the corners.
Plane Pyramid() {
  return {{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0.5, 0.5}},
          {0, 0, 0, 0, 1},
          {{0, 1, 4}, {1, 4, 2}, {2, 3, 4}, {3, 4, 0}}}; // two of them clockwise
}

} // namespace

TEST(heat_Contours, ARegionOfAPyramidIsASquare) {
  auto const contours = Pyramid().Contours();
  auto const outlines = contours.Outlines(0.5);
  ASSERT_EQ(outlines.size(), 1u);
  EXPECT_EQ(outlines[0].size(), 4u);
  EXPECT_NEAR(AreaIn(outlines[0]), 0.25, 1e-15);
  auto const lines = contours.Lines(0.5);
  ASSERT_EQ(lines.size(), 1u);
  ASSERT_EQ(lines[0].size(), 5u);
  EXPECT_EQ(lines[0].front(), lines[0].back());
  EXPECT_NEAR(AreaIn(contours.Outlines(-infinity)), 1, 1e-15);
  EXPECT_TRUE(contours.Outlines(1.5).empty());
  EXPECT_TRUE(contours.Lines(-1).empty());
}

TEST(heat_Contours, AHoleIsAnOutlineTheOtherWayRound) {
  auto pyramid = Pyramid();
  for (auto& value : pyramid.values) value = -value;
  auto const outlines = pyramid.Contours().Outlines(-0.5);
  ASSERT_EQ(outlines.size(), 2u);
  EXPECT_LT(AreaIn(outlines[0]) * AreaIn(outlines[1]), 0);
  EXPECT_NEAR(AreaIn(outlines), 0.75, 1e-15);
}

TEST(heat_Contours, OutlinesEncloseWhatTheBandsOfTheTrianglesCover) {
  auto const plane = Bracket();
  auto const contours = plane.Contours();
  for (int step = 0; step < 22; ++step) {
    double const level = -1.2 + 0.173 * step;
    double area = 0;
    for (auto const& t : plane.triangles) {
      std::array<heat_PlanePoint, 3> corners{};
      std::array<double, 3> values{};
      for (std::size_t i = 0; i < 3; ++i) {
        corners[i] = plane.points[static_cast<std::size_t>(t[i])];
        values[i] = plane.values[static_cast<std::size_t>(t[i])];
      }
      area += std::abs(AreaIn(heat_BandOfTriangle(corners, values, level, infinity)));
    }
    EXPECT_NEAR(AreaIn(contours.Outlines(level)), area, 1e-14) << level;
  }
}

TEST(heat_Contours, BandsOfATriangleAddUpToIt) {
  std::array<heat_PlanePoint, 3> const corners{{{0, 0}, {2, 0}, {0, 3}}};
  std::array<double, 3> const values{1, 5, 3};
  double area = 0;
  for (int band = 0; band < 6; ++band) area += AreaIn(heat_BandOfTriangle(corners, values, band, band + 1));
  EXPECT_NEAR(area, 3, 1e-14);
  EXPECT_TRUE(heat_BandOfTriangle(corners, values, 6, 7).empty());
  EXPECT_NEAR(AreaIn(heat_BandOfTriangle(corners, values, 0, 9)), 3, 1e-15);
}

TEST(heat_View, IsAParallelProjection) {
  auto const view = heat_ViewFrom({-1, -2, 0.7});
  for (auto const& a : {view.right, view.up, view.toViewer}) EXPECT_NEAR(heat_Length(a), 1, 1e-15);
  EXPECT_NEAR(heat_Dot(view.right, view.up), 0, 1e-15);
  EXPECT_NEAR(heat_Dot(view.right, view.toViewer), 0, 1e-15);
  EXPECT_GT(view.up[2], 0);
  EXPECT_NEAR(heat_Dot(heat_Cross(view.right, view.up), view.toViewer), 1, 1e-15);
}

TEST(heat_View, CoarseningKeepsTheShape) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("block.msh"));
  std::vector<double> values;
  for (auto const& node : mesh.nodes) values.push_back(node[2]);
  auto const same = heat_Coarsened(mesh, values, mesh.triangles.size());
  EXPECT_EQ(same.mesh.triangles, mesh.triangles);
  auto const coarse = heat_Coarsened(mesh, values, 600);
  EXPECT_LE(coarse.mesh.triangles.size(), 600u);
  EXPECT_GT(coarse.mesh.triangles.size(), 200u);
  auto const area = [](heat_MeshData const& m) {
    double sum = 0;
    for (auto const& t : m.triangles) sum += heat_Length(heat_AreaVector(m, t));
    return sum;
  };
  EXPECT_NEAR(area(coarse.mesh), area(mesh), 0.15 * area(mesh));
  for (std::size_t i = 0; i < coarse.values.size(); ++i)
    EXPECT_NEAR(coarse.values[i], coarse.mesh.nodes[i][2], 1e-12);
}

TEST(heat_View, CoarseningMergesWhatLiesUponEachOther) {
  heat_MeshData soup;
  std::vector<double> values;
  for (int i = 0; i < 500; ++i) {
    double const shift = 1e-6 * i;
    for (auto const& p : {heat_Vector{shift, 0, 0}, heat_Vector{1, shift, 0}, heat_Vector{0, 1, shift}}) {
      soup.nodes.push_back(p);
      values.push_back(p[0]);
    }
    soup.triangles.push_back({3 * i, 3 * i + 1, 3 * i + 2});
  }
  auto const coarse = heat_Coarsened(soup, values, 100);
  EXPECT_GE(coarse.mesh.triangles.size(), 1u);
  EXPECT_LE(coarse.mesh.triangles.size(), 100u);
  EXPECT_EQ(coarse.values.size(), coarse.mesh.nodes.size());
}
