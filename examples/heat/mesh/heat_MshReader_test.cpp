#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/mesh/heat_MshFile.h"
#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using Edge = std::pair<int, int>;

std::map<Edge, int> DirectedUses(heat_MeshData const& mesh) {
  std::map<Edge, int> uses;
  for (auto const& t : mesh.triangles) {
    for (std::size_t side = 0; side < 3; ++side) ++uses[{t[side], t[(side + 1) % 3]}];
  }
  return uses;
}

std::size_t EdgeCount(heat_MeshData const& mesh) {
  std::set<Edge> edges;
  for (auto const& [edge, count] : DirectedUses(mesh)) edges.insert(std::minmax(edge.first, edge.second));
  return edges.size();
}

double AreaOf(heat_MeshData const& mesh) {
  double area = 0;
  for (auto const& t : mesh.triangles) area += heat_Length(heat_AreaVector(mesh, t));
  return area;
}

// By the divergence theorem; positive if the triangles run counter-clockwise seen from outside.
double EnclosedVolume(heat_MeshData const& mesh) {
  double volume = 0;
  for (auto const& t : mesh.triangles) {
    volume += heat_Dot(heat_AreaVector(mesh, t), mesh.nodes[static_cast<std::size_t>(t[0])]) / 3;
  }
  return volume;
}

std::string const header = "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n";

std::string OneTetrahedron(std::string const& nodes) {
  return header + "$Nodes\n1 4 1 4\n3 1 0 4\n1\n2\n3\n4\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n$EndNodes\n" +
         "$Elements\n1 1 1 1\n3 7 4 1\n1 " + nodes + "\n$EndElements\n";
}

} // namespace

TEST(heat_MshReader, ReadsTheBracket) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  // The file has 787 nodes; the centres of its five arcs belong to no triangle.
  ASSERT_EQ(mesh.nodes.size(), 782u);
  ASSERT_EQ(mesh.nodeTags.size(), 782u);
  for (auto const centre : {4, 9, 15, 20, 23})
    EXPECT_EQ(std::count(mesh.nodeTags.begin(), mesh.nodeTags.end(), centre), 0);
  ASSERT_EQ(mesh.triangles.size(), 1449u);
  ASSERT_EQ(mesh.regions.size(), 1449u);
  EXPECT_EQ(std::count(mesh.regions.begin(), mesh.regions.end(), 22), 382);
  EXPECT_EQ(std::count(mesh.regions.begin(), mesh.regions.end(), 24), 1067);
  EXPECT_EQ(mesh.nodeTags.front(), 1);
  EXPECT_EQ(mesh.nodes.front(), (heat_Vector{-0.075, 0, 0}));
  EXPECT_TRUE(heat_IsFlat(mesh));
  auto const box = heat_BoundingBox(mesh);
  EXPECT_EQ(box.low, (heat_Vector{-0.075, 0, 0}));
  EXPECT_EQ(box.high, (heat_Vector{0.075, 0.15, 0}));
  EXPECT_NEAR(heat_Diagonal(box), 0.15 * std::sqrt(2.0), 1e-15);
}

TEST(heat_MshReader, TheBracketIsOneSheetWithoutHoles) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  // The Euler characteristic of a disc is 1.
  EXPECT_EQ(mesh.nodes.size() + mesh.triangles.size() - EdgeCount(mesh), 1u);
  auto const edges = heat_BoundaryEdges(mesh);
  EXPECT_EQ(edges.size(), 2 * EdgeCount(mesh) - 3 * mesh.triangles.size());
  // The edges form loops: every node is the end of as many edges as it is the start of.
  std::map<int, int> balance;
  for (auto const& edge : edges) {
    ++balance[edge[0]];
    --balance[edge[1]];
  }
  for (auto const& [node, value] : balance) EXPECT_EQ(value, 0) << "node " << node;
  // The area within the boundary equals that of the triangles.
  double inside = 0;
  for (auto const& edge : edges) {
    inside += heat_Cross(mesh.nodes[static_cast<std::size_t>(edge[0])],
                         mesh.nodes[static_cast<std::size_t>(edge[1])])[2] /
              2;
  }
  EXPECT_NEAR(std::abs(inside), AreaOf(mesh), 1e-14);
}

TEST(heat_MshReader, TheBlocksSurfaceIsClosedAndTurnedOutward) {
  auto const path = heat_DataFile("block.msh");
  auto const mesh = heat_MshReader::ReadFile(path);
  ASSERT_FALSE(mesh.triangles.empty());
  EXPECT_TRUE(heat_BoundaryEdges(mesh).empty());
  EXPECT_FALSE(heat_IsFlat(mesh));
  auto const uses = DirectedUses(mesh);
  for (auto const& [edge, count] : uses) {
    ASSERT_EQ(count, 1);
    ASSERT_TRUE(uses.contains({edge.second, edge.first}));
  }
  EXPECT_EQ(mesh.nodes.size() + mesh.triangles.size() - EdgeCount(mesh), 2u);
  EXPECT_EQ(2 * EdgeCount(mesh), 3 * mesh.triangles.size());
  // A cube of one metre with one eighth cut out.
  EXPECT_NEAR(EnclosedVolume(mesh), 0.875, 1e-12);
  EXPECT_NEAR(AreaOf(mesh), 6.0, 1e-12);
}

TEST(heat_MshReader, TheBlocksSurfaceEnclosesItsTetrahedra) {
  auto const path = heat_DataFile("block.msh");
  auto const text = heat_TextOf(path);
  heat_MshScanner scanner(text, path, {});
  auto const file = heat_ReadSections(scanner);
  ASSERT_GT(file.tetrahedra.size(), 13000u);
  double volume = 0;
  for (auto const& cell : file.tetrahedra) {
    std::array<heat_Vector, 4> corners{};
    for (std::size_t i = 0; i < 4; ++i) corners[i] = file.points[static_cast<std::size_t>(cell.nodes[i])];
    volume +=
        std::abs(heat_Dot(heat_Cross(heat_Minus(corners[1], corners[0]), heat_Minus(corners[2], corners[0])),
                          heat_Minus(corners[3], corners[0]))) /
        6;
  }
  auto const mesh = heat_MshReader::ReadText(text, path);
  EXPECT_NEAR(EnclosedVolume(mesh), volume, 1e-12);
  EXPECT_LT(mesh.nodes.size(), file.points.size());
  std::set<int> used;
  for (auto const& t : mesh.triangles) used.insert(t.begin(), t.end());
  EXPECT_EQ(used.size(), mesh.nodes.size());
}

TEST(heat_MshReader, TurnsFacesOutwardWhicheverWayATetrahedronIsNumbered) {
  for (auto const* nodes : {"1 2 3 4", "1 3 2 4", "4 3 2 1", "2 1 3 4"}) {
    auto const mesh = heat_MshReader::ReadText(OneTetrahedron(nodes), "one.msh");
    ASSERT_EQ(mesh.triangles.size(), 4u);
    EXPECT_NEAR(EnclosedVolume(mesh), 1.0 / 6, 1e-15) << nodes;
    EXPECT_EQ(mesh.regions, (std::vector<int>{7, 7, 7, 7}));
  }
}

TEST(heat_MshReader, PrefersPhysicalTagsAndPassesOverUnknownSectionsAndUnusedNodes) {
  std::string const text =
      "$Comments\nanything $Nodes\n$EndComments\n" + header +
      "$PhysicalNames\n1\n2 42 \"plate\"\n$EndPhysicalNames\n"
      "$Entities\n1 0 1 0\n1 0 0 0 0\n5 0 0 0 1 1 0 1 42 0\n$EndEntities\n"
      "$Nodes\n2 5 10 900000000\n0 1 0 1\n900000000\n9 9 9\n"
      "2 5 1 4\n10\n20\n30\n40\n0 0 0 0 0\n1 0 0 1 0\n+1 1 0 1 1\n0 1e0 0 0 1\n$EndNodes\n"
      "$Elements\n3 5 1 5\n0 1 15 1\n1 900000000\n1 1 1 2\n2 10 20\n3 20 30\n"
      "2 5 2 2\n4 10 20 30\n5 10 30 40\n$EndElements\n"
      "$NodeData\n1\n\"T\"\n$EndNodeData\n";
  auto const mesh = heat_MshReader::ReadText(text, "plate.msh");
  EXPECT_EQ(mesh.nodeTags, (std::vector<int>{10, 20, 30, 40}));
  EXPECT_EQ(mesh.regions, (std::vector<int>{42, 42}));
  ASSERT_EQ(mesh.triangles.size(), 2u);
  EXPECT_EQ(mesh.triangles[1], (std::array<int, 3>{0, 2, 3}));
  EXPECT_EQ(mesh.nodes[2], (heat_Vector{1, 1, 0}));
  EXPECT_EQ(heat_BoundaryEdges(mesh), (std::vector<heat_Edge>{{0, 1}, {1, 2}, {2, 3}, {3, 0}}));
}

TEST(heat_MshReader, LineEndsOfOtherSystemsAndAMissingLastOneMakeNoDifference) {
  auto const text = heat_TextOf(heat_DataFile("bracket.msh"));
  auto const mesh = heat_MshReader::ReadText(text, "bracket.msh");
  std::string other;
  for (auto const c : text) other += c == '\n' ? std::string("\r\n\n") : std::string(1, c);
  auto const same = heat_MshReader::ReadText(other, "bracket.msh");
  EXPECT_EQ(same.nodes, mesh.nodes);
  EXPECT_EQ(same.triangles, mesh.triangles);
  auto const cut = heat_MshReader::ReadText(std::string_view(text).substr(0, text.size() - 1), "bracket.msh");
  EXPECT_EQ(cut.triangles, mesh.triangles);
}

TEST(heat_MshReader, ReportsProgressUpToTheEnd) {
  std::vector<double> shares;
  heat_MshReader::ReadFile(heat_DataFile("block.msh"), [&](double share) { shares.push_back(share); });
  ASSERT_GE(shares.size(), 2u);
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_GT(shares.front(), 0.0);
  EXPECT_EQ(shares.back(), 1.0);
}
