#include "platform/atr/atr_String.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>

#include "tests/support/AllocationProbe.h"

namespace {

TEST(atr_String, DefaultHasNoText) {
  atr_String const text;
  EXPECT_FALSE(text.HasText());
  EXPECT_EQ(text.Length(), 0);
  EXPECT_EQ(text.Chars(), nullptr);
  EXPECT_STREQ(text.CharsOrEmpty(), "");
}

TEST(atr_String, NullPointerGivesNoText) {
  EXPECT_FALSE(atr_String(static_cast<char const*>(nullptr)).HasText());
  EXPECT_FALSE(atr_StringBase(static_cast<char const*>(nullptr)).HasText());
}

TEST(atr_String, EmptyTextIsText) {
  EXPECT_TRUE(atr_String("").HasText());
  EXPECT_EQ(atr_String(""), atr_String());
}

TEST(atr_String, TakesTheDigitsOfANumber) {
  EXPECT_EQ(atr_StringBase(0), "0");
  EXPECT_EQ(atr_StringBase(17), "17");
  EXPECT_EQ(atr_StringBase(-1), "-1");
  EXPECT_EQ(atr_StringBase(std::numeric_limits<int>::max()), "2147483647");
  EXPECT_EQ(atr_StringBase(std::numeric_limits<int>::min()), "-2147483648");
}

TEST(atr_String, SharesTheCharactersOfACowString) {
  cow_String const source("shared");
  atr_String const text(source);
  EXPECT_TRUE(text.AsCow().SharesBufferWith(source));
  EXPECT_TRUE(atr_String(text).AsCow().SharesBufferWith(source));
  EXPECT_TRUE(atr_String(atr_StringBase(source)).AsCow().SharesBufferWith(source));
}

TEST(atr_String, LiteralNeverAllocates) {
  AllocationProbe const probe;
  atr_String const text("literal"_cow);
  atr_String const copy(text);
  EXPECT_EQ(copy, "literal");
  EXPECT_EQ(probe.Count(), 0);
}

TEST(atr_String, AppendAddsAtTheEndAndKeepsCopies) {
  atr_String text("Exit code: ");
  atr_String const other(text);
  text.Append(atr_StringBase(3));
  EXPECT_EQ(text, "Exit code: 3");
  EXPECT_EQ(other, "Exit code: ");
}

TEST(atr_String, AppendOfNoTextToNoTextIsNoText) {
  atr_String text;
  text.Append(atr_StringBase());
  EXPECT_FALSE(text.HasText());
  text.Append(atr_StringBase(""));
  EXPECT_TRUE(text.HasText());
}

TEST(atr_String, AppendsItself) {
  atr_String text("ab");
  text.Append(text);
  EXPECT_EQ(text, "abab");
}

TEST(atr_String, AppendWithoutMemoryChangesNothing) {
  atr_String text("kept");
  atr_StringBase const more("lost");
  AllocationProbe probe;
  probe.FailAt(1);
  EXPECT_THROW(text.Append(more), std::bad_alloc);
  EXPECT_EQ(text, "kept");
}

TEST(atr_String, KeepsEmbeddedNulls) {
  std::string_view const bytes("a\0b", 3);
  atr_String text{cow_String(bytes)};
  text.Append(atr_StringBase(cow_String(bytes)));
  EXPECT_EQ(text.View(), std::string_view("a\0ba\0b", 6));
}

} // namespace
