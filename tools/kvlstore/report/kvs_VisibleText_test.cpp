#include "tools/kvlstore/report/kvs_VisibleText.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tools/kvlstore/report/kvs_Json.h"

namespace {

std::string JsonOf(std::string_view text) {
  std::ostringstream out;
  kvs_Json(out).Text(text);
  return out.str();
}

TEST(kvs_VisibleText, KeepsOrdinaryText) {
  for (char const* const text :
       {"", "plain", "Tr\u00E4ger \u2116 1", "\u65E5\u672C", "\U0001F529", "a\u200Db"})
    EXPECT_EQ(kvs_VisibleText(text), text);
}

TEST(kvs_VisibleText, ShowsWhatActs) {
  EXPECT_EQ(kvs_VisibleText(std::string_view("\0\t\n\x1b\x7f", 5)), "\u2400\u2409\u240A\u241B\u2421");
  EXPECT_EQ(kvs_VisibleText("\u0085\u202E\u2028\uFEFF"),
            "\u27E8U+0085\u27E9\u27E8U+202E\u27E9\u27E8U+2028\u27E9\u27E8U+FEFF\u27E9");
  EXPECT_EQ(kvs_VisibleText("\U000E0041"), "\u27E8U+E0041\u27E9");
}

TEST(kvs_VisibleText, ReplacesBytesThatAreNoUtf8) {
  for (char const* const bad : {"\xFF", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82", "\xF5\x80\x80\x80", "\x80"}) {
    std::string const visible = kvs_VisibleText(bad);
    EXPECT_EQ(visible.substr(0, 3), "\uFFFD");
    EXPECT_EQ(visible.size(), 3 * std::string_view(bad).size());
  }
}

TEST(kvs_VisibleText, CutsAtCharacters) {
  EXPECT_EQ(kvs_FirstBytes("abc", 2), "ab");
  EXPECT_EQ(kvs_FirstBytes("abc", 3), "abc");
  EXPECT_EQ(kvs_FirstBytes("a\u20AC", 3), "a");
  EXPECT_EQ(kvs_FirstBytes("a\u20AC", 4), "a\u20AC");
  EXPECT_EQ(kvs_FirstBytes("abc", -1), "");
}

TEST(kvs_VisibleText, EscapesForHtml) {
  EXPECT_EQ(kvs_HtmlText("<a href=\"x\">&'"), "&lt;a href=&quot;x&quot;&gt;&amp;&#39;");
}

TEST(kvs_Json, EscapesForScripts) {
  EXPECT_EQ(JsonOf("</script>&\"\\"), "\"\\u003c/script\\u003e\\u0026\\u0022\\u005c\"");
}

TEST(kvs_Json, CutsLongTexts) {
  EXPECT_EQ(JsonOf(std::string(1000, 'a')).size(), 1002U);
  EXPECT_EQ(JsonOf(std::string(2000000, 'a')), '"' + std::string(1000, 'a') + "\u2026\"");
}

TEST(kvs_Json, WritesNumbersThatAPageCanKeep) {
  std::ostringstream out;
  {
    kvs_Json json(out);
    json.Begin('[')
        .Int(9007199254740991)
        .Int(9007199254740992)
        .Int(-9007199254740993)
        .UInt(18446744073709551615U);
    json.Double(0.1).Float(0.1F).Double(-1.0 / 0.0).Rounded(0.0 / 0.0).Rounded(1.23456789e-7).End(']');
  }
  EXPECT_EQ(out.str(),
            "[9007199254740991,\"9007199254740992\",\"-9007199254740993\",\"18446744073709551615\",0.1,0.1,"
            "\"-Infinity\",null,1.23457e-07]");
}

TEST(kvs_Json, EndsWhatIsOpenAfterAFailure) {
  std::ostringstream out;
  {
    kvs_Json json(out);
    json.Begin('{').Key("a").Int(1);
    std::size_t const depth = json.Depth();
    json.Key("b").Begin('[').Begin('{').Key("c");
    json.EndTo(depth);
    json.Key("d").Bool(true).End('}');
  }
  EXPECT_EQ(out.str(), R"({"a":1,"b":[{"c":null}],"d":true})");
}

} // namespace
