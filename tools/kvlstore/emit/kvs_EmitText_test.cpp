#include "tools/kvlstore/emit/kvs_EmitText.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(EmitText, LiteralsOfCppKeepWhatIsShown) {
  EXPECT_EQ(kvs_CppLiteral("mm2"), "\"mm2\"");
  EXPECT_EQ(kvs_CppLiteral("\xC2\xB5m, \xC2\xB0"
                           "C"),
            "\"\xC2\xB5m, \xC2\xB0"
            "C\"");
}

TEST(EmitText, LiteralsOfCppEscapeWhatWouldEndThem) {
  EXPECT_EQ(kvs_CppLiteral("a\"b\\c\n"), R"("a\"b\\c\012")");
  EXPECT_EQ(kvs_CppLiteral("?\?/"), R"("\?\?/")");
  EXPECT_EQ(kvs_CppLiteral(std::string("\0001", 2)), R"("\0001")"); // octal numbers have three digits at most
}

TEST(EmitText, LiteralsOfCppEscapeBytesThatAreNoUtf8) {
  EXPECT_EQ(kvs_CppLiteral("\xFF"), R"("\377")");
  EXPECT_EQ(kvs_CppLiteral("\xC0\x80"), R"("\300\200")");                 // too long a form
  EXPECT_EQ(kvs_CppLiteral("\xED\xA0\x80"), R"("\355\240\200")");         // half of a pair
  EXPECT_EQ(kvs_CppLiteral("\xE2\x80\xAE"), R"("\342\200\256")");         // turns the direction
  EXPECT_EQ(kvs_CppLiteral("\xE2\x82"), R"("\342\202")");                 // is cut
  EXPECT_EQ(kvs_CppLiteral("\xF4\x90\x80\x80"), R"("\364\220\200\200")"); // above the last one
}

TEST(EmitText, LiteralsOfPythonEscape) {
  EXPECT_EQ(kvs_PythonLiteral("a\"b\\c\n"), R"("a\"b\\c\U0000000A")");
  EXPECT_EQ(kvs_PythonLiteral("\xFF"), R"("\udcff")");
}

TEST(EmitText, CommentsHaveOneLineThatNothingGoesOnFrom) {
  EXPECT_EQ(kvs_CommentText("a\r\nb\tc"), "a  b c");
  EXPECT_EQ(kvs_CommentText("a\\"), "a/");
  EXPECT_EQ(kvs_CommentText("a?\?/"), "a? ?/");    // a trigraph
  EXPECT_EQ(kvs_CommentText("\xE2\x80\xA8"), "?"); // a line end of Unicode
  EXPECT_LT(kvs_CommentText(std::string(5000, 'x')).size(), 320U);
}

TEST(EmitText, IdentifiersHaveLettersDigitsAndSingleUnderscores) {
  EXPECT_EQ(kvs_Identifier("m_Start.x"), "m_Start_x");
  EXPECT_EQ(kvs_Identifier("a::b<c>"), "a_b_c_");
  EXPECT_EQ(kvs_Identifier("__reserved"), "reserved");
  EXPECT_EQ(kvs_Identifier("0"), "x0");
  EXPECT_EQ(kvs_Identifier(""), "x");
  EXPECT_EQ(kvs_Identifier("\xC3\xA4*/"), "x");
}

TEST(EmitText, TakenAreKeywordsMacrosAndNamesOfTheLibrary) {
  for (char const* const name : {"class", "concept", "NULL", "errno", "EOF", "SIGTERM", "M_PI", "INT_MAX",
                                 "std", "kvl", "sto_Ref", "KVL_F", "TypeId", "Describe", "linux"})
    EXPECT_TRUE(kvs_IsTakenInCpp(name)) << name;
  for (char const* const name : {"m_Length", "Part", "E", "Eccentric", "RED"})
    EXPECT_FALSE(kvs_IsTakenInCpp(name)) << name;
  for (char const* const name : {"None", "lambda", "field", "str"})
    EXPECT_TRUE(kvs_IsTakenInPython(name)) << name;
  EXPECT_FALSE(kvs_IsTakenInPython("m_Length"));
}

} // namespace
