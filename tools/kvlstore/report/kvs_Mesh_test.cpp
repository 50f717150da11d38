#include "tools/kvlstore/report/kvs_Mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using Place = std::array<double, 3>;

/// A grid of hexahedra, `side` in each direction.
kvs_Mesh Cube(int side) {
  kvs_Mesh mesh;
  for (int z = 0; z <= side; ++z)
    for (int y = 0; y <= side; ++y)
      for (int x = 0; x <= side; ++x) {
        mesh.m_Points.push_back(Place{1.0 * x, 1.0 * y, 1.0 * z});
        mesh.m_Values.push_back(x);
      }
  int const row = side + 1;
  for (int z = 0; z < side; ++z)
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        int const a = (z * row + y) * row + x;
        int const above = a + row * row;
        for (int const point :
             {a, a + 1, a + row + 1, a + row, above, above + 1, above + row + 1, above + row})
          mesh.m_Cells.push_back(point);
      }
  return mesh;
}

TEST(kvs_Mesh, TrianglesAreDrawnAsTheyAre) {
  kvs_Mesh const mesh{{Place{0, 0, 0}, Place{1, 0, 0}, Place{0, 1, 0}}, {0, 1, 2}, {5}};
  kvs_Drawing const drawing = kvs_Draw(mesh, kvs_CellKind::Triangles, 10);
  ASSERT_EQ(drawing.m_Elements.size(), 1U);
  EXPECT_EQ(drawing.m_Points, mesh.m_Points);
  EXPECT_FALSE(drawing.m_HasPointValues);
  EXPECT_EQ(drawing.m_Values, mesh.m_Values);
  EXPECT_FALSE(drawing.m_IsCoarser);
}

TEST(kvs_Mesh, QuadrilateralsAreTwoTriangles) {
  kvs_Mesh const mesh{{Place{0, 0, 0}, Place{1, 0, 0}, Place{1, 1, 0}, Place{0, 1, 0}}, {0, 1, 2, 3}, {7}};
  kvs_Drawing const drawing = kvs_Draw(mesh, kvs_CellKind::Quadrilaterals, 10);
  EXPECT_EQ(drawing.m_Elements.size(), 2U);
  EXPECT_EQ(drawing.m_Values, (std::vector<double>{7, 7}));
}

TEST(kvs_Mesh, OnlyTheSurfaceOfBodiesIsDrawn) {
  kvs_Drawing const cube = kvs_Draw(Cube(3), kvs_CellKind::Hexahedra, 1000);
  EXPECT_EQ(cube.m_Elements.size(), 6U * 9 * 2);
  EXPECT_EQ(cube.m_Points.size(), 56U); // of 64, without the inner ones
  EXPECT_EQ(cube.m_Values.size(), 56U);
  kvs_Mesh const two{{Place{0, 0, 0}, Place{1, 0, 0}, Place{0, 1, 0}, Place{0, 0, 1}, Place{1, 1, 1}},
                     {0, 1, 2, 3, 1, 2, 3, 4},
                     {}};
  EXPECT_EQ(kvs_Draw(two, kvs_CellKind::Tetrahedra, 100).m_Elements.size(), 6U);
}

TEST(kvs_Mesh, AFineMeshIsDrawnCoarser) {
  kvs_Drawing const drawing = kvs_Draw(Cube(20), kvs_CellKind::Hexahedra, 1000);
  EXPECT_TRUE(drawing.m_IsCoarser);
  EXPECT_LE(drawing.m_Elements.size(), 1000U);
  EXPECT_GE(drawing.m_Elements.size(), 200U);
  EXPECT_EQ(drawing.m_Values.size(), drawing.m_Points.size());
  for (std::size_t i = 0; i < drawing.m_Points.size(); ++i)
    EXPECT_NEAR(drawing.m_Values[i], drawing.m_Points[i][0], 1e-9); // the value is x
}

TEST(kvs_Mesh, CellsAtPointsWithoutPlaceAreLeftOut) {
  constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
  kvs_Mesh const mesh{{Place{0, 0, 0}, Place{1, 0, 0}, Place{NaN, 1, 0}}, {0, 1, 1, 2}, {}};
  EXPECT_EQ(kvs_Draw(mesh, kvs_CellKind::Lines, 10).m_Elements.size(), 1U);
}

TEST(kvs_Mesh, KnowsKindsOfCells) {
  EXPECT_EQ(kvs_CornersOf(kvs_CellKindOf("tetrahedra")), 4U);
  EXPECT_EQ(kvs_CornersOf(kvs_CellKindOf("hexahedra")), 8U);
  EXPECT_EQ(kvs_CellKindOf("circles"), kvs_CellKind::None);
}

} // namespace
