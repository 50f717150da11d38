#include "examples/heat/plot/heat_RegionBorders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

// Squares of two triangles each, in rows from below; `regions` lists their regions in that order. Node i + 4
// * j is at (i, j).
heat_MeshData Squares(std::vector<int> const& regions) {
  heat_MeshData mesh;
  int const rows = static_cast<int>(regions.size()) / 3;
  for (int j = 0; j <= rows; ++j)
    for (int i = 0; i <= 3; ++i) mesh.nodes.push_back({1.0 * i, 1.0 * j, 0});
  for (int j = 0; j < rows; ++j) {
    for (int i = 0; i < 3; ++i) {
      int const a = i + 4 * j;
      mesh.triangles.push_back({a, a + 1, a + 5});
      mesh.triangles.push_back({a, a + 5, a + 4});
      for (int k = 0; k < 2; ++k) mesh.regions.push_back(regions[static_cast<std::size_t>(i + 3 * j)]);
    }
  }
  return mesh;
}

using Courses = std::vector<std::vector<int>>;

} // namespace

TEST(heat_RegionBorders, OneRegionHasNone) {
  EXPECT_EQ(heat_RegionBorders(Squares({1, 1, 1, 1, 1, 1})), Courses());
  auto mesh = Squares({1, 2, 3});
  mesh.regions.clear();
  EXPECT_EQ(heat_RegionBorders(mesh), Courses());
}

TEST(heat_RegionBorders, BorderAcrossTheMeshIsOneCourse) {
  EXPECT_EQ(heat_RegionBorders(Squares({1, 2, 2, 1, 2, 2, 1, 2, 2})), (Courses{{1, 5, 9, 13}}));
}

TEST(heat_RegionBorders, RegionInsideAnotherHasARing) {
  auto const courses = heat_RegionBorders(Squares({1, 1, 1, 1, 2, 1, 1, 1, 1}));
  ASSERT_EQ(courses.size(), 1u);
  EXPECT_EQ(courses[0].size(), 5u);
  EXPECT_EQ(courses[0].front(), courses[0].back());
  for (int const node : {5, 6, 9, 10}) EXPECT_NE(std::count(courses[0].begin(), courses[0].end(), node), 0);
}

TEST(heat_RegionBorders, CoursesEndWhereThreeRegionsMeet) {
  auto const courses = heat_RegionBorders(Squares({1, 2, 2, 1, 3, 3}));
  EXPECT_EQ(courses, (Courses{{1, 5}, {5, 6, 7}, {5, 9}}));
}
