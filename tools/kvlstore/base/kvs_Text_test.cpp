#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_Text.h"

namespace kvs_text_test {
namespace {

TEST(KvsText, PrintableHasNothingThatATerminalObeys) {
  EXPECT_EQ(kvs_Printable("plain \u00E4 \u20AC \U0001F600"), "plain \u00E4 \u20AC \U0001F600");
  EXPECT_EQ(kvs_Printable("\x1b[31m\x07\x7F"), "\\x1b[31m\\x07\\x7f");
  EXPECT_EQ(kvs_Printable("a\nb\tc\r\\"), "a\\nb\\tc\\x0d\\\\");
  EXPECT_EQ(kvs_Printable(std::string_view("\0a", 2)), "\\x00a");
  EXPECT_EQ(kvs_Printable("\u009B1m"), "\\xc2\\x9b1m"); // what ESC [ is in Latin-1
  EXPECT_EQ(kvs_Printable("\u202Etxt\u2066\u2028"), "\\xe2\\x80\\xaetxt\\xe2\\x81\\xa6\\xe2\\x80\\xa8");
  EXPECT_EQ(kvs_Printable(""), "");
  EXPECT_EQ(kvs_Quoted("say \"a\"\n"), "\"say \\\"a\\\"\\n\"");
}

TEST(KvsText, PrintableEscapesWhatIsNoUtf8) {
  for (std::string_view const bad :
       {"\xFF", "\x80", "\xC3", "\xC0\xAF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82", "\xC3("}) {
    std::string const shown = kvs_Printable(bad);
    for (char const c : shown) EXPECT_TRUE(c >= 0x20 && c < 0x7F) << shown;
    EXPECT_TRUE(shown.starts_with("\\x")) << shown;
  }
}

TEST(KvsText, PrintableOfAnyBytesIsPrintable) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    for (unsigned left = random() % 12; left > 0; --left) bytes += static_cast<char>(random() % 256);
    std::string const shown = kvs_Printable(bytes);
    for (char const c : shown) ASSERT_TRUE((static_cast<unsigned char>(c) >= 0x20) && c != 0x7F) << shown;
    std::string again = shown; // printable already, but for the backslashes
    std::erase(again, '\\');
    ASSERT_EQ(kvs_Printable(again), again);
  }
}

TEST(KvsText, BeginningEndsWhereACharacterEnds) {
  EXPECT_EQ(kvs_Beginning("abc", 3), "abc");
  EXPECT_EQ(kvs_Beginning("abcd", 3), "abc");
  EXPECT_EQ(kvs_Beginning("a\u20ACb", 3), "a");
  EXPECT_EQ(kvs_Beginning("a\u20ACb", 4), "a\u20AC");
  EXPECT_EQ(kvs_Beginning("\U0001F600x", 3), "");
  EXPECT_EQ(kvs_Beginning("\x80\x80\x80\x80\x80\x80", 5), "\x80\x80\x80\x80\x80"); // no UTF-8 anyway
  EXPECT_EQ(kvs_Beginning("abc", 0), "");
}

TEST(KvsText, Numbers) {
  for (double const value : {0.1, 1.0, -2.5e-300, 1.7976931348623157e308, 5e-324, 1.0 / 3})
    EXPECT_EQ(std::strtod(kvs_Number(value).c_str(), nullptr), value);
  EXPECT_EQ(kvs_Number(0.1), "0.1");
  EXPECT_EQ(kvs_Number(-0.0), "-0");
  EXPECT_EQ(kvs_Number(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(kvs_Number(std::complex<double>(1.5, 2)), "1.5+2i");
  EXPECT_EQ(kvs_Number(std::complex<double>(-1, -0.25)), "-1-0.25i");
}

TEST(KvsText, CountsAndBytes) {
  EXPECT_EQ(kvs_Count(0), "0");
  EXPECT_EQ(kvs_Count(999), "999");
  EXPECT_EQ(kvs_Count(1000), "1,000");
  EXPECT_EQ(kvs_Count(1234567), "1,234,567");
  EXPECT_EQ(kvs_Count(-123), "-123");
  EXPECT_EQ(kvs_Count(-1234), "-1,234");
  EXPECT_EQ(kvs_Count(std::numeric_limits<std::int64_t>::min()), "-9,223,372,036,854,775,808");
  EXPECT_EQ(kvs_Count(1, "object"), "1 object");
  EXPECT_EQ(kvs_Count(0, "object"), "0 objects");
  EXPECT_EQ(kvs_Count(1234, "object"), "1,234 objects");
  EXPECT_EQ(kvs_Bytes(0), "0 B");
  EXPECT_EQ(kvs_Bytes(1023), "1023 B");
  EXPECT_EQ(kvs_Bytes(1024), "1.0 KiB");
  EXPECT_EQ(kvs_Bytes(14541), "14.2 KiB");
  EXPECT_EQ(kvs_Bytes((1 << 20) - 1), "1.0 MiB");
  EXPECT_EQ(kvs_Bytes(std::numeric_limits<std::int64_t>::max()), "8.0 EiB");
}

TEST(KvsText, Times) {
  EXPECT_EQ(kvs_Time(0), "1970-01-01 00:00:00.000 UTC");
  EXPECT_EQ(kvs_Time(1795457045123), "2026-11-23 18:04:05.123 UTC");
  EXPECT_EQ(kvs_Time(253402300799999), "9999-12-31 23:59:59.999 UTC");
  for (std::int64_t const odd :
       {std::int64_t{-1}, std::int64_t{253402300800000}, std::numeric_limits<std::int64_t>::max()})
    EXPECT_EQ(kvs_Time(odd), std::to_string(odd) + " ms after 1970");
}

TEST(KvsText, Patterns) {
  for (auto const& [text, pattern] : std::initializer_list<std::pair<char const*, char const*>>{
           {"", ""},
           {"", "*"},
           {"abc", "*"},
           {"abc", "a*c"},
           {"ac", "a*c"},
           {"abc", "?b?"},
           {"a/b", "*b"},
           {"b", "[a-c]"},
           {"d", "[!a-c]"},
           {"d", "[^a-c]"},
           {"]", "[]]"},
           {"-", "[a-]"},
           {"aXbXc", "*X*X*"},
           {"plate.m_Nodes[3].m_X", "plate.m_Nodes[3].m_X"},
           {"\u00E4", "?"},
           {"a\u20ACb", "a?b"},
           {"mississippi", "m*issip*"},
           {"a", "**a**"}})
    EXPECT_TRUE(kvs_Matches(text, pattern)) << text << " " << pattern;
  for (auto const& [text, pattern] :
       std::initializer_list<std::pair<char const*, char const*>>{{"a", ""},
                                                                  {"", "?"},
                                                                  {"abc", "a"},
                                                                  {"abc", "b*"},
                                                                  {"b", "[!a-c]"},
                                                                  {"d", "[a-c]"},
                                                                  {"d", "[a-"},
                                                                  {"abc", "*?d"},
                                                                  {"ab", "???"},
                                                                  {"\u00E4", "??"},
                                                                  {"a", "["},
                                                                  {"ABC", "abc"}})
    EXPECT_FALSE(kvs_Matches(text, pattern)) << text << " " << pattern;
}

TEST(KvsText, ManyStarsDoNotTakeLong) {
  std::string const text(5000, 'a');
  std::string pattern;
  for (int i = 0; i < 50; ++i) pattern += "*a";
  EXPECT_TRUE(kvs_Matches(text, pattern));
  EXPECT_FALSE(kvs_Matches(text, pattern + "b"));
}

TEST(KvsBarText, SaysHowFarItIs) {
  EXPECT_EQ(kvs_BarText("copying", {410, 1000}, 2), "copying  [########            ]  41 %  205/s  3 s left");
  EXPECT_EQ(kvs_BarText("copying", {1000, 1000}, 1),
            "copying  [####################]  100 %  1,000/s  0 s left");
  EXPECT_EQ(kvs_BarText("reading", {1234, 0, false}, 2), "reading  1,234  617/s");
  EXPECT_EQ(kvs_BarText("reading", {5, 0}, 1), "reading  5  5/s");
  EXPECT_EQ(kvs_BarText("x", {0, 10}, 1), "x  [                    ]  0 %  0/s");
  EXPECT_EQ(kvs_BarText("x", {20, 10}, 1),
            "x  [####################]  100 %  20/s  0 s left"); // it has grown
  EXPECT_EQ(kvs_BarText("x", {0, 10}, 0), "x  [                    ]  0 %  0/s");
  EXPECT_NE(kvs_BarText("x", {std::numeric_limits<std::int64_t>::max(), 10}, 1e-9), "");
}

} // namespace
} // namespace kvs_text_test
