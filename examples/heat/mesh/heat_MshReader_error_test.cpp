#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Two triangles. The tests below refer to its lines by number.
std::vector<std::string> const square{"$MeshFormat",    // 1
                                      "4.1 0 8",        // 2
                                      "$EndMeshFormat", // 3
                                      "$Entities",      // 4
                                      "1 0 1 0",        // 5
                                      "1 0 0 0 0",      // 6
                                      "5 0 0 0 1 1 0 1 42 0",
                                      "$EndEntities",
                                      "$Nodes",        // 9
                                      "2 4 1 4",       // 10
                                      "0 1 0 1",       // 11
                                      "1",             // 12
                                      "0 0 0",         // 13
                                      "2 5 0 3",       // 14
                                      "2",             // 15
                                      "3",             // 16
                                      "4",             // 17
                                      "1 0 0",         // 18
                                      "1 1 0",         // 19
                                      "0 1 0",         // 20
                                      "$EndNodes",     // 21
                                      "$Elements",     // 22
                                      "2 3 1 3",       // 23
                                      "0 1 15 1",      // 24
                                      "1 1",           // 25
                                      "2 5 2 2",       // 26
                                      "2 1 2 3",       // 27
                                      "3 1 3 4",       // 28
                                      "$EndElements"}; // 29

std::string Joined(std::vector<std::string> const& lines) {
  std::string text;
  for (auto const& line : lines) text += line + "\n";
  return text;
}

struct Case {
  int line;        // the line of the square to replace
  std::string by;  // its replacement: several lines, or "-" to remove it
  int fault;       // the line that the error names
  std::string has; // part of the error text
};

void PrintTo(Case const& c, std::ostream* out) {
  *out << "line " << c.line << " <- " << c.by;
}

void ExpectFault(std::string_view text, int line, std::string const& part) {
  try {
    heat_MshReader::ReadText(text, "square.msh");
    FAIL() << "accepted";
  } catch (heat_InputError const& error) {
    std::string const what = error.what();
    EXPECT_EQ(error.Line(), line) << what;
    EXPECT_EQ(error.File(), "square.msh");
    EXPECT_NE(what.find(part), std::string::npos) << what;
    EXPECT_EQ(what.substr(0, what.find(' ')), "square.msh:" + std::to_string(line) + ":");
    EXPECT_EQ(what.find('\n'), std::string::npos);
  }
}

class Malformed : public testing::TestWithParam<Case> {};

std::vector<Case> const cases{
    {1, "hello world", 1, "not a Gmsh mesh"},
    {1, "$Nodes", 1, "not a Gmsh mesh"},
    {2, "2.2 0 8", 2, "version"},
    {2, "4 0 8", 2, "version"},
    {2, "4.1 1 8", 2, "binary"},
    {2, "4.1 2 8", 2, "file type"},
    {2, "4.1 0 8 1", 2, "unexpected \"1\""},
    {2, "four 0 8", 2, "found \"four\""},
    {3, "oops", 3, "expected $EndMeshFormat"},
    {5, "1 0 1", 5, "the line ends"},
    {5, "1 0 -1 0", 5, "negative"},
    {5, "1 0 1000000 0", 5, "more than the rest of the file"},
    {6, "1 0 0", 6, "the line ends"},
    {7, "5 0 0 0 1 1 0 2 42 0", 7, "the line ends"},
    {7, "5 0 0 0 1 1 0 1 x 0", 7, "found \"x\""},
    {7, "5 0 0 0 1 1 0 1 42 99999999999", 7, "more than the rest of the file"},
    {8, "6 0 0 0 1 1 0 0 0", 8, "expected $EndEntities"},
    {9, "stray", 9, "expected a section"},
    {9, "$EndStray", 9, "misplaced"},
    {10, "2 5 1 4", 10, "announces 5 records, its blocks hold 4"},
    {10, "2 3 1 4", 14, "more records than the 3 of line 10"},
    {10, "1 4 1 4", 14, "expected $EndNodes"},
    {10, "3 4 1 4", 21, "found \"$EndNodes\""},
    {10, "2 4 1 3", 17, "outside the range from 1 to 3 of line 10"},
    {10, "2 4 2 4", 12, "outside the range"},
    {10, "2 -4 1 4", 10, "negative"},
    {10, "-2 4 1 4", 10, "negative"},
    {10, "2 4000000000000000000 1 4", 10, "more than the rest of the file"},
    {10, "2 99999999999999999999 1 4", 10, "out of range"},
    {10, "2 4 1 99999999999", 10, "outside the range"},
    {11, "7 1 0 1", 11, "outside the range"},
    {11, "0 1 2 1", 11, "parametric"},
    {11, "0 1 0 -1", 11, "negative"},
    {11, "0 1 0 1 1", 11, "unexpected"},
    {12, "1.5", 12, "found \"1.5\""},
    {12, "0", 12, "outside the range"},
    {12, "-1", 12, "outside the range"},
    {12, "1 2", 12, "unexpected \"2\""},
    {13, "nan 0 0", 13, "not a finite number"},
    {13, "0 -inf 0", 13, "not a finite number"},
    {13, "0 0 1e999", 13, "out of range"},
    {13, "0 0", 13, "the line ends"},
    {13, "0 0 0 0", 13, "unexpected"},
    {13, "0 0 0x10", 13, "found \"0x10\""},
    {14, "2 5 0 2", 17, "the line ends"},
    {14, "2 5 1 3", 18, "the line ends"},
    {15, "1", 15, "node tag 1 appears twice"},
    {17, "3", 17, "node tag 3 appears twice"},
    {18, "1", 18, "the line ends"},
    {20, "0 1 0\n0 2 0", 21, "expected $EndNodes"},
    {21, "$EndNode", 21, "expected $EndNodes"},
    {22, "$Nodes", 22, "a second section $Nodes"},
    {23, "2 4 1 4", 23, "announces 4 records, its blocks hold 3"},
    {23, "2 2 1 3", 26, "more records than the 2 of line 23"},
    {23, "1 3 1 3", 26, "expected $EndElements"},
    {23, "2 3 1 2", 28, "outside the range"},
    {23, "2 -3 1 3", 23, "negative"},
    {23, "2 3000000000 1 3", 23, "more than the rest of the file"},
    {23, "900000000 3 1 3", 23, "more than the rest of the file"},
    {24, "0 1 15 70000000", 24, "more than the rest of the file"},
    {25, "1 8", 25, "node 8, which is not in the file"},
    {26, "2 5 0 2", 26, "element type"},
    {26, "2 5 3 2", 27, "the line ends"},
    {26, "1 5 2 2", 26, "on an entity of dimension 1"},
    {26, "2 5 2 3", 26, "more records than the 3 of line 23"},
    {26, "2 5 2 1", 28, "expected $EndElements"},
    {27, "2 1 2", 27, "the line ends"},
    {27, "2 1 2 3 4", 27, "unexpected"},
    {27, "2 1 2 9", 27, "node 9, which is not in the file"},
    {27, "2 1 2 -3", 27, "outside the range"},
    {27, "2 1 2 2147483648", 27, "outside the range"},
    {27, "2 1 2 2", 27, "no area"},
    {19, "2 0 0", 27, "no area"},
    {19, "2 1e-14 0", 27, "no area"},
    {13, "1e300 1e300 0", 27, "too large"},
    {28, "$EndElements", 28, "found \"$EndElements\""},
    {29, "$EndElements\n$Elements", 30, "a second section $Elements"},
    {29, "-", 28, "the file ends inside section $Elements"},
    {29, "$EndElements\n$Comments", 30, "the file ends inside section $Comments"},
};

} // namespace

TEST_P(Malformed, NamesTheLineAtFault) {
  auto const& param = GetParam();
  auto lines = square;
  auto const place = lines.begin() + (param.line - 1);
  if (param.by == "-") {
    lines.erase(place);
  } else {
    *place = param.by;
  }
  ExpectFault(Joined(lines), param.fault, param.has);
}

INSTANTIATE_TEST_SUITE_P(heat_MshReader, Malformed, testing::ValuesIn(cases));

TEST(heat_MshReaderError, TheSquareOfTheseTestsIsFine) {
  auto const mesh = heat_MshReader::ReadText(Joined(square), "square.msh");
  EXPECT_EQ(mesh.nodes.size(), 4u);
  EXPECT_EQ(mesh.triangles.size(), 2u);
  EXPECT_EQ(mesh.regions, (std::vector<int>{42, 42}));
}

TEST(heat_MshReaderError, FilesThatCannotBeRead) {
  for (std::string const path : {"/nonexistent/plate.msh", "."}) {
    try {
      heat_MshReader::ReadFile(path);
      ADD_FAILURE() << path;
    } catch (heat_InputError const& error) {
      EXPECT_EQ(error.Line(), 0);
      EXPECT_EQ(std::string(error.what()).rfind(path + ": ", 0), 0u) << error.what();
    }
  }
}

TEST(heat_MshReaderError, TextsThatAreNoMesh) {
  using namespace std::string_view_literals;
  ExpectFault(""sv, 1, "empty");
  ExpectFault(" \n\n"sv, 1, "empty");
  ExpectFault("\x7f"
              "ELF\x02\x01\0\0\n\0"sv,
              1, "binary file");
  ExpectFault("\n\nsolid cube\n"sv, 3, "not a Gmsh mesh");
  ExpectFault("$Comments\n$EndComments\n"sv, 2, "no $MeshFormat");
  ExpectFault("$MeshFormat\n4.1 1 8\n\1\0\0\0\n$EndMeshFormat\n"sv, 2, "binary MSH");
}

TEST(heat_MshReaderError, MissingSections) {
  auto const format = "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n";
  ExpectFault(format, 3, "before section $Nodes");
  ExpectFault(format + std::string("$Elements\n0 0 0 0\n$EndElements\n"), 4, "comes before $Nodes");
  ExpectFault(format + std::string("$Nodes\n0 0 0 0\n$EndNodes\n"), 6, "before section $Elements");
  ExpectFault(format + std::string("$Nodes\n0 0 0 0\n$EndNodes\n$Elements\n0 0 0 0\n$EndElements\n"), 7,
              "neither three-node triangles nor four-node tetrahedra");
}

TEST(heat_MshReaderError, OtherSurfaceElementsAreNotDroppedSilently) {
  auto lines = square;
  lines[22] = "3 4 1 4";
  lines[28] = "2 6 3 1\n4 1 2 3 4\n$EndElements";
  ExpectFault(Joined(lines), 30, "type 3");
}

TEST(heat_MshReaderError, TetrahedraThatDoNotMakeABody) {
  std::string const start =
      "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n$Nodes\n1 6 1 6\n3 1 0 6\n1\n2\n3\n4\n5\n6\n"
      "0 0 0\n1 0 0\n0 1 0\n0 0 1\n0 0 -1\n1 1 1\n$EndNodes\n$Elements\n";
  ExpectFault(start + "1 1 1 1\n3 1 4 1\n1 1 2 4 5\n$EndElements\n", 23, "no volume");
  ExpectFault(start + "1 3 1 3\n3 1 4 3\n1 1 2 3 4\n2 1 2 3 5\n3 1 2 3 6\n$EndElements\n", 25,
              "belongs to two others");
  ExpectFault(start + "2 2 1 2\n3 1 4 1\n1 1 2 3 4\n3 2 7 1\n2 1 2 3 4 5\n$EndElements\n", 25, "type 7");
}

TEST(heat_MshReaderError, TheBracketCutOffAnywhereIsRejected) {
  auto const text = heat_TextOf(heat_DataFile("bracket.msh"));
  auto const complete = text.rfind("$EndElements") + std::string("$EndElements").size();
  int lines = 1;
  for (std::size_t size = 0; size < complete; ++size) {
    if (size > 0 && text[size - 1] == '\n') ++lines;
    bool const atLineStart = size > 0 && text[size - 1] == '\n';
    if (!atLineStart && size % 31 != 0) continue;
    try {
      heat_MshReader::ReadText(std::string_view(text).substr(0, size), "bracket.msh");
      FAIL() << "accepted " << size << " bytes";
    } catch (heat_InputError const& error) {
      ASSERT_GE(error.Line(), 1);
      ASSERT_LE(error.Line(), lines) << error.what();
    }
  }
}

TEST(heat_MshReaderError, AnyDamagedByteIsReadOrRejectedButNeverFatal) {
  auto const text = Joined(square);
  std::size_t rejected = 0;
  for (std::size_t place = 0; place < text.size(); ++place) {
    for (auto const byte : {'\0', '\n', ' ', '-', '9', 'e', '$', '\xff'}) {
      auto damaged = text;
      damaged[place] = byte;
      try {
        heat_MshReader::ReadText(damaged, "square.msh");
      } catch (heat_InputError const& error) {
        EXPECT_GE(error.Line(), 1);
        ++rejected;
      }
    }
  }
  EXPECT_GT(rejected, text.size() * 4);
}

TEST(heat_MshReaderError, MissingFileNamesThePathAndTheReason) {
  try {
    heat_MshReader::ReadFile("no-such-bracket.msh");
    FAIL();
  } catch (heat_InputError const& error) {
    EXPECT_STREQ(error.what(), "no-such-bracket.msh: cannot be opened: No such file or directory");
  }
}
