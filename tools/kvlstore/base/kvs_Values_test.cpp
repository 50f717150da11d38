#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Values.h"

namespace kvs_values_test {
namespace {

using nlohmann::json;

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double Nan = std::numeric_limits<double>::quiet_NaN();

std::string Json(sto_InspectedValue const& value, std::string_view kind = {}) {
  std::string text;
  kvs_AppendJson(text, value, kind);
  EXPECT_TRUE(json::accept(text)) << text;
  return text;
}
std::string JsonOf(double value) {
  return Json(sto_InspectedValue(value));
}
std::string JsonOfText(std::string const& text) {
  return Json(sto_InspectedValue(sto_InspectedText(text)));
}
sto_InspectedMember Member(std::string name, sto_InspectedValue value, std::string kind = {}) {
  return {std::move(name), std::move(kind), -1, std::move(value)};
}
sto_InspectedTree Tree(std::vector<sto_InspectedMember> members) {
  return {0, std::move(members)};
}

TEST(KvsValues, JsonOfNumbers) {
  for (double const value : {0.1, 1.0, 1e22, 5e-324, -1.7976931348623157e308, -0.0}) {
    double const read = json::parse(JsonOf(value)).get<double>();
    EXPECT_EQ(read, value);
    EXPECT_EQ(std::signbit(read), std::signbit(value));
  }
  EXPECT_EQ(JsonOf(Nan), "\"NaN\"");
  EXPECT_EQ(JsonOf(-Nan), "\"NaN\"");
  EXPECT_EQ(JsonOf(Inf), "\"Infinity\"");
  EXPECT_EQ(JsonOf(-Inf), "\"-Infinity\"");
  EXPECT_EQ(Json(std::complex<double>(1.5, -Inf)), "[1.5,\"-Infinity\"]");
  EXPECT_EQ(Json(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(Json(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(Json(true), "true");
}

TEST(KvsValues, JsonOfTexts) {
  EXPECT_EQ(Json(sto_InspectedText()), "null");
  EXPECT_EQ(JsonOfText(""), "\"\"");
  EXPECT_EQ(JsonOfText("\xFF"), "\"\uFFFD\"");
  EXPECT_EQ(json::parse(JsonOfText(std::string("a\0b", 3))).get<std::string>(), std::string("a\0b", 3));
  // A terminal shows JSON, too; a reader gets the same text.
  std::string const hostile = "\x1b[31m \x7F \u009B1m \u2028 \u202E \u2069 \"\\ \u00A0\u00E4\u20AC\u2030";
  std::string const shown = JsonOfText(hostile);
  EXPECT_EQ(shown,
            "\"\\u001b[31m \\u007f \\u009b1m \\u2028 \\u202e \\u2069 \\\"\\\\ \u00A0\u00E4\u20AC\u2030\"");
  EXPECT_EQ(json::parse(shown).get<std::string>(), hostile);
  EXPECT_EQ(kvs_SafeJson("\xE2"), "\xE2"); // does not read beyond the end
  EXPECT_EQ(kvs_SafeJson("\xC2"), "\xC2");
  EXPECT_EQ(kvs_SafeJson(""), "");
}

TEST(KvsValues, JsonOfTrees) {
  EXPECT_EQ(Json(sto_InspectedId{17}), "{\"object\":17}");
  EXPECT_EQ(Json(sto_InspectedId{}), "null");
  EXPECT_EQ(Json(std::vector<std::byte>{std::byte{0}, std::byte{0xAB}}), "\"00ab\"");
  EXPECT_EQ(Json(Tree({Member("x", 1.5), Member("y", std::int64_t{2})}), "struct"), "{\"x\":1.5,\"y\":2}");
  EXPECT_EQ(Json(Tree({Member("", 1.5), Member("", Tree({}), "struct")}), "tuple"), "[1.5,{}]");
  EXPECT_EQ(Json(Tree({Member("", std::int64_t{1}), Member("", true)}), "map"), "[[1,true]]");
  EXPECT_EQ(Json(Tree({}), "map"), "[]");
  EXPECT_EQ(Json(Tree({}), "optional"), "[]");
}

TEST(KvsValues, JsonOfElementsIsThatOfEach) {
  sto_InspectedElements const lists[] = {
      std::vector<bool>{true, false},
      std::vector<sto_InspectedText>{std::nullopt, "a"},
      std::vector<float>{0.1F, -0.0F, std::numeric_limits<float>::quiet_NaN(), 1e30F},
      std::vector<std::int8_t>{-128, 65},
      std::vector<std::uint8_t>{0, 255},
      std::vector<sto_InspectedId>{{0}, {3}},
      std::vector<std::complex<float>>{{0.5F, 2}},
      std::vector<double>{}};
  std::string const expected[] = {"true,false",
                                  "null,\"a\"",
                                  "0.1,-0.0,\"NaN\",1e+30",
                                  "-128,65",
                                  "0,255",
                                  "null,{\"object\":3}",
                                  "[0.5,2]",
                                  ""};
  for (std::size_t i = 0; i < std::size(lists); ++i) {
    std::string text;
    kvs_AppendElementsJson(text, lists[i]);
    EXPECT_EQ(text, expected[i]);
  }
  EXPECT_EQ(std::get<std::int64_t>(kvs_ElementOf(lists[3], 0)), -128);
  EXPECT_EQ(std::get<std::uint64_t>(kvs_ElementOf(lists[4], 1)), 255U);
}

TEST(KvsValues, TextsForPeople) {
  EXPECT_EQ(kvs_ValueText(sto_InspectedText()), "none");
  EXPECT_EQ(kvs_ValueText(sto_InspectedText("none")), "\"none\"");
  EXPECT_EQ(kvs_ValueText(sto_InspectedText("\x1b\"")), "\"\\x1b\\\"\"");
  EXPECT_EQ(kvs_ValueText(sto_InspectedText("a\u20AC\u20AC"), 5), "\"a\u20AC\"...");
  EXPECT_EQ(kvs_ValueText(sto_InspectedId{}), "none");
  EXPECT_EQ(kvs_ValueText(sto_InspectedId{17}), "#17");
  EXPECT_EQ(kvs_ValueText(Tree({Member("x", 1.0), Member("y", 2.0)})), "{x: 1, y: 2}");
  EXPECT_EQ(kvs_ValueText(Tree({Member("", 1.0)})), "[1]");
  EXPECT_EQ(kvs_ValueText(Tree({})), "[]");
  EXPECT_EQ(kvs_ValueText(std::vector<std::byte>(5, std::byte{0xCD}), 6), "cdcdcd...");
  std::vector<sto_InspectedMember> const many(1000, Member("", std::int64_t{7}));
  std::string const text = kvs_ValueText(Tree(many), 30);
  EXPECT_LT(text.size(), 40U);
  EXPECT_TRUE(text.ends_with("...")) << text;
}

TEST(KvsValues, FieldsHaveUnitsAndEnumerators) {
  sto_InspectedField field;
  field.m_Value = 2.5;
  EXPECT_EQ(kvs_FieldText(field), "2.5");
  field.m_Unit = "m\x1bm";
  EXPECT_EQ(kvs_FieldText(field), "2.5 m\\x1bm");
  field.m_Value = std::int64_t{7};
  field.m_Enumerator = "Ste\nel";
  EXPECT_EQ(kvs_FieldText(field), "Ste\\nel (7)");
}

} // namespace
} // namespace kvs_values_test
