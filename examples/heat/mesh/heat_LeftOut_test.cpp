#include "examples/heat/mesh/heat_LeftOut.h"
#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"

#include <gtest/gtest.h>

#include <string>

namespace {

heat_LeftOut LeftOutOf(std::string const& name) {
  heat_LeftOut leftOut;
  heat_MshReader::ReadFile(heat_DataFile(name), {}, &leftOut);
  return leftOut;
}

// A mesh of four nodes in a plane and one above it, with the given blocks of elements.
heat_LeftOut LeftOutOfElements(std::string const& header, std::string const& blocks) {
  heat_LeftOut leftOut;
  heat_MshReader::ReadText("$MeshFormat\n4.1 0 8\n$EndMeshFormat\n"
                           "$Nodes\n1 5 1 5\n2 1 0 5\n1\n2\n3\n4\n5\n"
                           "0 0 0\n1 0 0\n1 1 0\n0 1 0\n0 0 1\n$EndNodes\n"
                           "$Elements\n" +
                               header + "\n" + blocks + "$EndElements\n",
                           "text", {}, &leftOut);
  return leftOut;
}

constexpr char const* TwoTriangles = "2 1 2 2\n1 1 2 3\n2 1 3 4\n";

} // namespace

TEST(heat_LeftOut, NothingHasNoText) {
  EXPECT_TRUE(heat_LeftOut().IsNothing());
  EXPECT_EQ(heat_LeftOut().Text(), "");
}

TEST(heat_LeftOut, EveryKindIsCountedInPlainWords) {
  heat_LeftOut const leftOut{{{1, 2}, {3, 1}, {4, 3}, {5, 1}, {15, 1}, {29, 1}, {92, 4}}, 1, 1};
  EXPECT_EQ(leftOut.Text(),
            "2 lines, 1 quadrangle, 3 tetrahedra, 1 hexahedron, 1 point, 1 element of type 29, "
            "4 elements of type 92, the inside of 1 tetrahedron, 1 node that no triangle uses");
}

TEST(heat_LeftOut, MeshOfNothingButTrianglesLeavesOnlyItsNodesOut) {
  EXPECT_EQ(LeftOutOfElements("1 2 1 2", TwoTriangles).Text(), "1 node that no triangle uses");
}

TEST(heat_LeftOut, MixedMeshIsCounted) {
  heat_LeftOut const leftOut = LeftOutOf("mixed.msh");
  EXPECT_FALSE(leftOut.IsNothing());
  EXPECT_EQ(leftOut.Text(), "2 lines, 1 tetrahedron, 1 point, 1 node that no triangle uses");
}

TEST(heat_LeftOut, VolumesBesideTrianglesAreCounted) {
  EXPECT_EQ(
      LeftOutOfElements("3 4 1 4", std::string(TwoTriangles) + "3 1 7 1\n3 1 2 3 4 5\n3 2 4 1\n4 1 2 3 5\n")
          .Text(),
      "1 tetrahedron, 1 pyramid, 1 node that no triangle uses");
}

TEST(heat_LeftOut, OfTetrahedraTheSurfaceIsComputedAndSurfaceElementsAreLeftOut) {
  EXPECT_EQ(LeftOutOfElements("2 2 1 2", "2 1 3 1\n1 1 2 3 4\n3 1 4 1\n2 1 2 3 5\n").Text(),
            "1 quadrangle, the inside of 1 tetrahedron, 1 node that no triangle uses");
  // The file has 2857 nodes, of which 1274 are on the surface.
  EXPECT_EQ(LeftOutOf("block.msh").Text(),
            "the inside of 13391 tetrahedra, 1583 nodes that no triangle uses");
}

TEST(heat_LeftOut, WhatEveryMeshOfAPlateHasIsCountedToo) {
  EXPECT_EQ(LeftOutOf("bracket.msh").Text(), "159 lines, 25 points, 5 nodes that no triangle uses");
}
