#include "examples/heat/mesh/heat_MshReader.h"
#include "examples/heat/mesh/heat_TestFiles.h"
#include "examples/heat/plot/heat_Svg.h"
#include "examples/heat/plot/heat_SvgPlot.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <limits>
#include <locale>
#include <regex>
#include <string>
#include <vector>

namespace {

// A tag without its path data, which is too long for a regular expression.
std::string WithoutCourse(std::string const& tag) {
  auto const start = tag.find(" d=\"");
  if (start == std::string::npos) return tag;
  auto const stop = tag.find_first_not_of("-Mlz0123456789. ", start + 4);
  return tag.substr(0, start + 4) + (stop == std::string::npos ? std::string() : tag.substr(stop));
}

// Returns what is wrong with the text, or an empty string if it is well-formed XML of the kind our documents
// use: a declaration, nested elements, quoted attributes that appear once each, known entities.
std::string XmlFault(std::string const& text) {
  std::string const declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  if (text.rfind(declaration, 0) != 0) return "no declaration";
  static std::regex const tag(R"re(^<(/?)([a-z]+)((?:\s+[A-Za-z][-A-Za-z0-9]*="[^"<]*")*)\s*(/?)>)re");
  static std::regex const entity(R"re(^&(amp|lt|gt|quot|#39);)re");
  static std::regex const attribute(R"re(([A-Za-z][-A-Za-z0-9]*)=")re");
  std::vector<std::string> open;
  std::size_t roots = 0;
  for (std::size_t at = declaration.size(); at < text.size(); ++at) {
    auto const rest = [&](std::size_t most) { return text.substr(at, most); };
    if (text[at] == '&' && !std::regex_search(rest(8), entity)) return "bare ampersand: " + rest(20);
    if (text[at] == '>') return "bare > : " + rest(20);
    if (text[at] != '<') {
      if (open.empty() && text[at] != '\n') return "text outside: " + rest(20);
      continue;
    }
    auto const end = text.find('>', at);
    if (end == std::string::npos) return "open tag";
    auto const whole = text.substr(at, end - at + 1);
    auto const shortened = WithoutCourse(whole);
    std::smatch match;
    if (!std::regex_search(shortened, match, tag)) return "bad tag: " + shortened.substr(0, 60);
    std::vector<std::string> names;
    auto const attributes = match[3].str();
    for (std::sregex_iterator i(attributes.begin(), attributes.end(), attribute), last; i != last; ++i) {
      for (auto const& name : names) {
        if (name == (*i)[1].str()) return "attribute twice: " + shortened;
      }
      names.push_back((*i)[1].str());
    }
    if (match[1].length() > 0) {
      if (open.empty() || open.back() != match[2].str()) return "unmatched " + shortened;
      open.pop_back();
    } else if (match[4].length() == 0) {
      if (open.empty()) ++roots;
      open.push_back(match[2].str());
    }
    at = end;
  }
  if (!open.empty()) return "not closed: " + open.back();
  return roots == 1 ? "" : "not one root";
}

std::size_t Count(std::string const& text, std::string const& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

heat_MeshData Grid(int side, double bulge) {
  heat_MeshData mesh;
  for (int j = 0; j <= side; ++j) {
    for (int i = 0; i <= side; ++i) {
      double const x = static_cast<double>(i) / side;
      double const y = static_cast<double>(j) / side;
      mesh.nodes.push_back({x, y, bulge * std::sin(3 * x) * std::sin(3 * y)});
      mesh.nodeTags.push_back(static_cast<int>(mesh.nodes.size()));
    }
  }
  for (int j = 0; j < side; ++j) {
    for (int i = 0; i < side; ++i) {
      int const a = j * (side + 1) + i;
      int const c = a + side + 2;
      mesh.triangles.push_back({a, a + 1, c});
      mesh.triangles.push_back({a, c, c - 1});
    }
  }
  mesh.regions.assign(mesh.triangles.size(), 1);
  return mesh;
}

std::vector<double> Waves(heat_MeshData const& mesh) {
  std::vector<double> values;
  for (auto const& p : mesh.nodes) values.push_back(50 + 40 * std::sin(9 * p[0]) * std::cos(7 * p[1] + p[2]));
  return values;
}

std::vector<double> Heights(heat_MeshData const& mesh, std::size_t axis) {
  std::vector<double> values;
  for (auto const& p : mesh.nodes) values.push_back(100 * p[axis]);
  return values;
}

// A locale with decimal commas.
struct Commas : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

} // namespace

TEST(heat_SvgPlot, TheBracketIsAWellFormedDocument) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  heat_PlotOptions options;
  options.meshName = "bracket.msh";
  auto const svg = heat_SvgPlot::Draw(mesh, Heights(mesh, 1), options);
  EXPECT_EQ(XmlFault(svg), "");
  EXPECT_NE(svg.find("bracket.msh \u00B7 782 nodes, 1449 triangles \u00B7 min 0.00, max 15.00 \u00B0C"),
            std::string::npos);
  EXPECT_NE(svg.find(">Temperature (\u00B0C)<"), std::string::npos);
  EXPECT_NE(svg.find(">x (mm)<"), std::string::npos);
  EXPECT_NE(svg.find(">y (mm)<"), std::string::npos);
  EXPECT_NE(svg.find(">\u221260<"), std::string::npos);
  EXPECT_EQ(svg.find("nan"), std::string::npos);
  EXPECT_EQ(svg.find("inf"), std::string::npos);
  EXPECT_LT(svg.size(), 300000u);
}

TEST(heat_SvgPlot, TheBracketHasEveryColourOfItsBar) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto const svg = heat_SvgPlot::Draw(mesh, Heights(mesh, 1));
  std::regex const bar("<rect [^>]*fill=\"(#[0-9a-f]{6})\"");
  std::size_t bands = 0;
  for (std::sregex_iterator i(svg.begin(), svg.end(), bar), last; i != last; ++i, ++bands) {
    EXPECT_NE(svg.find("<path fill=\"" + (*i)[1].str() + "\""), std::string::npos) << (*i)[1];
  }
  EXPECT_GE(bands, 32u);
}

TEST(heat_SvgPlot, IsothermsCarryTheirValuesAndTheUnit) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  heat_PlotOptions options;
  options.unit = "K";
  auto const svg = heat_SvgPlot::Draw(mesh, Heights(mesh, 1), options); // 0 to 15
  for (char const* const label : {">2 K<", ">4 K<", ">6 K<", ">8 K<", ">10 K<", ">12 K<", ">14 K<"})
    EXPECT_GE(Count(svg, label), 2u) << label; // each is drawn twice: an outline to set it off, then the text
  EXPECT_EQ(Count(svg, ">16 K<"), 0u);
  options.unit = "";
  EXPECT_NE(heat_SvgPlot::Draw(mesh, Heights(mesh, 1), options).find(">14<"), std::string::npos);
}

TEST(heat_SvgPlot, IsothermsOfABodyCarryTheirValues) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("block.msh"));
  auto const svg = heat_SvgPlot::Draw(mesh, Heights(mesh, 2)); // 0 to 100
  EXPECT_EQ(XmlFault(svg), "");
  for (char const* const label : {">20 \u00B0C<", ">40 \u00B0C<", ">60 \u00B0C<", ">80 \u00B0C<"})
    EXPECT_GE(Count(svg, label), 2u) << label;
}

TEST(heat_SvgPlot, NoLabelIsUpsideDown) {
  auto const mesh = Grid(40, 0);
  auto const svg = heat_SvgPlot::Draw(mesh, Waves(mesh));
  std::regex const turned("rotate\\((-?[0-9.]+) ");
  std::size_t labels = 0;
  for (std::sregex_iterator i(svg.begin(), svg.end(), turned), last; i != last; ++i, ++labels)
    EXPECT_LE(std::abs(std::stod((*i)[1].str())), 90) << (*i)[0];
  EXPECT_GT(labels, 10u);
}

TEST(heat_SvgPlot, RegionBordersDoNotLookLikeIsotherms) {
  auto mesh = Grid(10, 0);
  auto const dashed = [](std::string const& svg) { return Count(svg, "stroke-dasharray"); };
  auto const values = Heights(mesh, 0);
  std::string const plain = heat_SvgPlot::Draw(mesh, values);
  EXPECT_EQ(dashed(plain), 0u); // iso-lines are not dashed
  EXPECT_EQ(plain.find("region border"), std::string::npos);
  for (std::size_t t = 0; t < 100; ++t) mesh.regions[t] = 2;
  std::string const divided = heat_SvgPlot::Draw(mesh, values);
  EXPECT_EQ(dashed(divided), 2u); // in the picture and in the key
  // Each border is one stroke, because every stroke starts its dashes anew.
  std::smatch border;
  ASSERT_TRUE(
      std::regex_search(divided, border, std::regex("<path [^>]*stroke-dasharray=[^>]* d=\"([^\"]*)\"")));
  EXPECT_EQ(Count(border[1].str(), "M"), 1u) << border[1];
  EXPECT_NE(divided.find(">region border<"), std::string::npos);
  EXPECT_NE(divided.find(">isotherm<"), std::string::npos);
}

TEST(heat_SvgPlot, TheBlockIsAWellFormedDocumentWithoutHiddenTriangles) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("block.msh"));
  std::vector<double> const uniform(mesh.nodes.size(), 23.5);
  heat_PlotOptions options;
  auto const svg = heat_SvgPlot::Draw(mesh, uniform, options);
  EXPECT_EQ(XmlFault(svg), "");
  std::size_t facing = 0;
  for (auto const& t : mesh.triangles) {
    if (heat_Dot(heat_AreaVector(mesh, t), options.viewFrom) > 1e-9) ++facing;
  }
  EXPECT_EQ(Count(svg, "<path color="), facing); // one band each
  EXPECT_LT(facing, mesh.triangles.size() * 3 / 4);
  EXPECT_NE(svg.find(">z (m)<"), std::string::npos);
}

TEST(heat_SvgPlot, AnOpenSurfaceShowsBothSides) {
  auto const mesh = Grid(6, 0.2);
  auto turned = mesh;
  for (auto& t : turned.triangles) std::swap(t[1], t[2]);
  std::vector<double> const uniform(mesh.nodes.size(), 1);
  EXPECT_EQ(Count(heat_SvgPlot::Draw(mesh, uniform), "<path color="), mesh.triangles.size());
  EXPECT_EQ(Count(heat_SvgPlot::Draw(turned, uniform), "<path color="), mesh.triangles.size());
}

TEST(heat_SvgPlot, MarkupInTextsIsEscaped) {
  auto const mesh = Grid(1, 0);
  heat_PlotOptions options;
  options.title = "<b> & \"q\" 'a'\x01\n";
  options.meshName = "bad\xff name ]]>";
  options.quantity = "T<1>";
  options.unit = "&K";
  auto const svg = heat_SvgPlot::Draw(mesh, {0, 1, 2, 3}, options);
  EXPECT_EQ(XmlFault(svg), "");
  EXPECT_NE(svg.find("&lt;b&gt; &amp; &quot;q&quot; &#39;a&#39; <"), std::string::npos);
  EXPECT_NE(svg.find("bad? name ]]&gt;"), std::string::npos);
}

TEST(heat_SvgPlot, LongTextsAreShortened) {
  heat_PlotOptions options;
  for (int i = 0; i < 300; ++i) options.title += "\u00E4";
  auto const svg = heat_SvgPlot::Draw(Grid(1, 0), {0, 1, 2, 3}, options);
  EXPECT_EQ(XmlFault(svg), "");
  EXPECT_NE(svg.find("\u00E4\u2026<"), std::string::npos);
  EXPECT_LT(Count(svg, "\u00E4"), 60u);
}

TEST(heat_SvgPlot, TheLocaleMakesNoDifference) {
  auto const mesh = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  auto const values = Waves(mesh);
  auto const plain = heat_SvgPlot::Draw(mesh, values);
  auto const before = std::locale::global(std::locale(std::locale::classic(), new Commas));
  auto const other = heat_SvgPlot::Draw(mesh, values);
  auto const again = heat_MshReader::ReadFile(heat_DataFile("bracket.msh"));
  std::locale::global(before);
  EXPECT_EQ(plain, other);
  EXPECT_EQ(again.nodes, mesh.nodes);
}

TEST(heat_SvgPlot, LargeMeshesStayBelowAFewMegabytes) {
  for (double const bulge : {0.0, 0.3}) {
    auto const mesh = Grid(bulge > 0 ? 150 : 340, bulge);
    auto const svg = heat_SvgPlot::Draw(mesh, Waves(mesh));
    EXPECT_LT(svg.size(), 4000000u) << bulge;
    EXPECT_GT(svg.size(), 20000u) << bulge;
  }
}

TEST(heat_SvgPlot, OddFieldsAndShapesAreDrawn) {
  auto const mesh = Grid(3, 0);
  for (double const scale : {0.0, 1e-9, 1e-3, 1e12, -5.0}) {
    auto values = Waves(mesh);
    for (auto& value : values) value *= scale;
    auto const svg = heat_SvgPlot::Draw(mesh, values);
    EXPECT_EQ(XmlFault(svg), "") << scale;
    EXPECT_GT(Count(svg, "<path fill=\"#"), 0u) << scale;
  }
  for (heat_Vector const stretch : {heat_Vector{1, 1e-3, 1}, {1e-3, 1, 1}, {1e-6, 1e-6, 1}, {1e6, 1e6, 1}}) {
    auto shape = mesh;
    for (auto& p : shape.nodes) p = {p[0] * stretch[0] + 3, p[1] * stretch[1] - 7, 2};
    EXPECT_EQ(XmlFault(heat_SvgPlot::Draw(shape, Waves(shape))), "");
  }
}

TEST(heat_SvgPlot, WhatCannotBePlottedIsRejected) {
  auto const mesh = Grid(1, 0);
  EXPECT_THROW(heat_SvgPlot::Draw({}, {}), heat_PlotError);
  EXPECT_THROW(heat_SvgPlot::Draw(mesh, {1, 2, 3}), heat_PlotError);
  EXPECT_THROW(heat_SvgPlot::Draw(mesh, {1, 2, 3, std::nan("")}), heat_PlotError);
  EXPECT_THROW(heat_SvgPlot::Draw(mesh, {1, 2, 3, -std::numeric_limits<double>::infinity()}), heat_PlotError);
}

TEST(heat_SvgPlot, FilesAreReplacedAsAWhole) {
  auto const folder = std::filesystem::path(testing::TempDir()) / "heat_SvgPlot_test";
  std::filesystem::create_directories(folder);
  auto const path = (folder / "plot.svg").string();
  auto const mesh = Grid(2, 0);
  heat_SvgPlot::WriteFile(path, mesh, Waves(mesh));
  EXPECT_EQ(heat_TextOf(path), heat_SvgPlot::Draw(mesh, Waves(mesh)));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1); // no other file beside it
  try {
    heat_SvgPlot::WriteFile((folder / "no" / "plot.svg").string(), mesh, Waves(mesh));
    ADD_FAILURE();
  } catch (heat_PlotError const& error) {
    EXPECT_NE(std::string(error.what()).find("No such file or directory"), std::string::npos) << error.what();
  }
  EXPECT_THROW(heat_SvgPlot::WriteFile(folder.string(), mesh, Waves(mesh)), heat_PlotError);
  std::filesystem::remove_all(folder);
}

TEST(heat_Svg, NumbersAreShort) {
  EXPECT_EQ(heat_Svg::Number(0), "0");
  EXPECT_EQ(heat_Svg::Number(-0.001), "0");
  EXPECT_EQ(heat_Svg::Number(12.3), "12.3");
  EXPECT_EQ(heat_Svg::Number(-0.05), "-.05");
  EXPECT_EQ(heat_Svg::Number(1234567.891), "1234567.89");
  EXPECT_EQ(heat_Svg::Number(std::nan("")), "0");
}

TEST(heat_Svg, PathsLeaveOutWhatCannotBeSeen) {
  heat_SvgPath path;
  path.Add({{1, 1}, {1.001, 1.001}, {1, 0.999}}, false);
  path.Add({{1, 1}, {2, 1}, {1.001, 1}}, true);
  EXPECT_TRUE(path.IsEmpty());
  path.Add({{1, 1}, {2.5, 1}, {2.5, 1.001}, {2.5, -3}, {1, 1}}, true);
  EXPECT_EQ(path.Text(), "M1 1l1.5 0 0-4z");
}
