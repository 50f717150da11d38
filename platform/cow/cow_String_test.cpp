#include "platform/cow/cow_String.h"

#include <gtest/gtest.h>

#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/AllocationProbe.h"

namespace {

constinit cow_String const s_BeforeMain(cow_ImmortalBuffer<"made by the compiler">);

TEST(cow_String, DefaultHasNoText) {
  cow_String const text;
  EXPECT_FALSE(text.HasText());
  EXPECT_EQ(text.Length(), 0);
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(text.Chars(), nullptr);
  EXPECT_STREQ(text.CharsOrEmpty(), "");
  EXPECT_EQ(text.View(), "");
}

TEST(cow_String, NullPointerGivesNoText) {
  EXPECT_FALSE(cow_String(static_cast<char const*>(nullptr)).HasText());
}

TEST(cow_String, EmptyTextIsTextWithoutCharacters) {
  for (cow_String const& text : {cow_String(""), cow_String(std::string_view()), ""_cow}) {
    EXPECT_TRUE(text.HasText());
    EXPECT_TRUE(text.IsEmpty());
    ASSERT_NE(text.Chars(), nullptr);
    EXPECT_STREQ(text.Chars(), "");
  }
}

TEST(cow_String, NoTextAndEmptyTextCompareEqual) {
  EXPECT_EQ(cow_String(), cow_String(""));
  EXPECT_EQ(cow_String(), ""_cow);
  EXPECT_EQ(cow_String() <=> cow_String(""), std::strong_ordering::equal);
  EXPECT_FALSE(cow_String().SharesBufferWith(cow_String("")));
}

TEST(cow_String, NoTextStaysNoTextWhenCopiedAndMoved) {
  cow_String const none;
  cow_String copy(none);
  EXPECT_FALSE(copy.HasText());
  copy = cow_String("x");
  copy = none;
  EXPECT_FALSE(copy.HasText());
}

TEST(cow_String, TakesTheCharactersUpToTheNull) {
  char source[] = "bolt\0nut";
  cow_String const text(source);
  source[0] = 'X';
  EXPECT_STREQ(text.Chars(), "bolt");
  EXPECT_EQ(text.Length(), 4);
}

TEST(cow_String, KeepsEmbeddedNullsOfAView) {
  std::string_view const view("a\0b", 3);
  cow_String const text(view);
  EXPECT_EQ(text.Length(), 3);
  EXPECT_EQ(text.View(), view);
  EXPECT_EQ(text.Chars()[3], '\0');
  EXPECT_FALSE(text == cow_String("a"));
}

TEST(cow_String, LiteralKeepsEmbeddedNulls) {
  EXPECT_EQ("a\0b"_cow.Length(), 3);
  EXPECT_EQ("a\0b"_cow.View(), std::string_view("a\0b", 3));
}

TEST(cow_String, TextOfAnyBytesIsKept) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
  EXPECT_EQ(cow_String(bytes).View(), bytes);
}

TEST(cow_String, IsOnePointerWide) {
  EXPECT_EQ(sizeof(cow_String), sizeof(void*));
}

TEST(cow_String, CopiesShareTheCharacters) {
  AllocationProbe const probe;
  cow_String const text("shared");
  EXPECT_EQ(probe.Count(), 1);
  std::vector<cow_String> const copies(100, text);
  for (cow_String const& copy : copies) {
    EXPECT_TRUE(copy.SharesBufferWith(text));
    EXPECT_EQ(copy.Chars(), text.Chars());
  }
  EXPECT_EQ(probe.Count(), 1);
}

TEST(cow_String, CopySurvivesTheOriginal) {
  cow_String copy;
  {
    cow_String const text("outlived");
    copy = text;
  }
  EXPECT_STREQ(copy.Chars(), "outlived");
}

TEST(cow_String, MovingLeavesNoText) {
  cow_String text("moved");
  char const* const chars = text.Chars();
  cow_String const target(std::move(text));
  EXPECT_FALSE(text.HasText()); // NOLINT(bugprone-use-after-move): what moving leaves is what is tested
  EXPECT_EQ(target.Chars(), chars);
}

TEST(cow_String, AssigningAStringToItselfChangesNothing) {
  cow_String text("self");
  cow_String& alias = text;
  text = alias;
  EXPECT_STREQ(text.Chars(), "self");
  text = std::move(alias);
  EXPECT_STREQ(text.Chars(), "self");
}

TEST(cow_String, SwapExchangesTexts) {
  cow_String a("a");
  cow_String b;
  a.Swap(b);
  EXPECT_FALSE(a.HasText());
  EXPECT_EQ(b, "a");
}

TEST(cow_String, LiteralNeverAllocates) {
  AllocationProbe const probe;
  cow_String text = "literal"_cow;
  cow_String copy(text);
  copy = text;
  cow_String const moved(std::move(copy));
  EXPECT_EQ(moved.View(), "literal");
  EXPECT_EQ(s_BeforeMain.View(), "made by the compiler");
  EXPECT_EQ(probe.Count(), 0);
}

TEST(cow_String, SameLiteralIsOneBuffer) {
  EXPECT_TRUE("one"_cow.SharesBufferWith("one"_cow));
  EXPECT_FALSE("one"_cow.SharesBufferWith("two"_cow));
  EXPECT_FALSE("one"_cow.SharesBufferWith(cow_String("one")));
}

TEST(cow_String, LiteralsBufferIsNeverWritten) {
  cow_StringBuffer const& buffer = cow_ImmortalBuffer<"immortal">;
  cow_String const text = "immortal"_cow;
  std::vector<cow_String> copies(1000, text);
  EXPECT_EQ(buffer.m_Count.load(), cow_StringBuffer::Immortal);
  copies.clear();
  EXPECT_EQ(buffer.m_Count.load(), cow_StringBuffer::Immortal);
  EXPECT_EQ(text.Chars(), buffer.m_Chars);
}

TEST(cow_String, ImmortalBufferOfACallerIsUsedItself) {
  static cow_StringBuffer const buffer{cow_StringBuffer::Immortal, 3, "own"};
  cow_String text(buffer);
  cow_String const copy = text;
  EXPECT_EQ(copy.Chars(), buffer.m_Chars);
  text.Append("er");
  EXPECT_EQ(text, "owner");
  EXPECT_EQ(copy, "own");
  EXPECT_EQ(buffer.m_Count.load(), cow_StringBuffer::Immortal);
}

TEST(cow_String, AppendAddsAtTheEnd) {
  cow_String text("left");
  text.Append(" right");
  EXPECT_STREQ(text.Chars(), "left right");
  EXPECT_EQ(text.Length(), 10);
}

TEST(cow_String, AppendKeepsTheTextOfOtherStrings) {
  cow_String text("old");
  cow_String const other(text);
  text.Append("er");
  EXPECT_STREQ(text.Chars(), "older");
  EXPECT_STREQ(other.Chars(), "old");
  EXPECT_FALSE(text.SharesBufferWith(other));
}

TEST(cow_String, AppendAcceptsCharactersOfTheStringItself) {
  cow_String text("abc");
  text.Append(text.View());
  EXPECT_EQ(text, "abcabc");
  text.Append(text.View().substr(1, 2));
  EXPECT_EQ(text, "abcabcbc");
}

TEST(cow_String, AppendOfNothingToNoTextGivesEmptyText) {
  cow_String text;
  text.Append("");
  EXPECT_TRUE(text.HasText());
  EXPECT_TRUE(text.IsEmpty());
}

TEST(cow_String, AppendWithoutMemoryChangesNothing) {
  cow_String text("kept");
  char const* const chars = text.Chars();
  AllocationProbe probe;
  probe.FailAt(1);
  EXPECT_THROW(text.Append(" lost"), std::bad_alloc);
  EXPECT_EQ(text.Chars(), chars);
  EXPECT_STREQ(text.Chars(), "kept");
}

TEST(cow_String, ConstructionReportsMissingMemory) {
  AllocationProbe probe;
  probe.FailAt(1);
  EXPECT_THROW(cow_String("text"), std::bad_alloc);
}

TEST(cow_String, RefusesTextBeyondTheLongest) {
  // Only the length is read before the refusal, so the view need not have that many characters.
  char const one = 'x';
  std::string_view const tooLong(&one, static_cast<std::size_t>(cow_String::MaxLength) + 1);
  AllocationProbe const probe;
  EXPECT_THROW(cow_String{tooLong}, std::length_error);
  cow_String text("short");
  long long const before = probe.Count();
  EXPECT_THROW(text.Append(std::string_view(&one, static_cast<std::size_t>(cow_String::MaxLength) - 4)),
               std::length_error);
  EXPECT_EQ(text, "short");
  EXPECT_EQ(probe.Count(), before);
}

TEST(cow_String, OrdersByBytes) {
  EXPECT_LT(cow_String("abc"), cow_String("abd"));
  EXPECT_LT(cow_String("ab"), cow_String("abc"));
  EXPECT_LT(cow_String(), cow_String("a"));
  EXPECT_LT(cow_String("Z"), cow_String("a"));
  EXPECT_GT(cow_String("\xC3\xA4"), cow_String("z"));
}

TEST(cow_String, ComparesWithPlainText) {
  EXPECT_TRUE(cow_String("abc") == "abc");
  EXPECT_FALSE(cow_String("abc") == "abcd");
  EXPECT_TRUE(cow_String() == "");
}

TEST(cow_String, MatchesAModelThroughRandomSteps) {
  constexpr unsigned int Seed = 20240611;
  SCOPED_TRACE(testing::Message() << "seed " << Seed);
  std::mt19937 random(Seed);
  std::vector<cow_String> texts(8);
  std::vector<std::string> model(8);
  auto const pick = [&] { return static_cast<std::size_t>(random() % 8); };
  for (int step = 0; step < 20000; ++step) {
    std::size_t const a = pick();
    std::size_t const b = pick();
    switch (random() % 5) {
    case 0:
      model[a] = std::string(random() % 20, static_cast<char>('a' + random() % 26));
      texts[a] = cow_String(model[a]);
      break;
    case 1:
      if (model[a].size() > 1000) break;
      texts[a].Append(texts[b].View());
      model[a] += std::string(model[b]);
      break;
    case 2:
      texts[a] = texts[b];
      model[a] = model[b];
      break;
    case 3:
      texts[a].Swap(texts[b]);
      std::swap(model[a], model[b]);
      break;
    default:
      texts[a] = cow_String();
      model[a].clear();
      break;
    }
    for (std::size_t i = 0; i < texts.size(); ++i) ASSERT_EQ(texts[i].View(), model[i]) << "step " << step;
  }
}

TEST(cow_String, BuffersAreSharedBetweenThreads) {
  std::string const expected(100, 'q');
  cow_String const text(expected);
  std::vector<std::thread> threads;
  std::vector<int> wrong(8, 0);
  for (std::size_t t = 0; t < wrong.size(); ++t)
    threads.emplace_back([own = text, &expected, &bad = wrong[t]]() mutable {
      for (int i = 0; i < 2000; ++i) {
        cow_String copy(own);
        cow_String grown(copy);
        grown.Append("!");
        copy = cow_String("other");
        own = cow_String(own);
        if (own != expected || grown.Length() != 101) ++bad;
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (int const bad : wrong) EXPECT_EQ(bad, 0);
  EXPECT_EQ(text, expected);
}

TEST(cow_String, LastOwnerInAnyThreadReleasesTheBuffer) {
  for (int round = 0; round < 200; ++round) {
    auto text = std::make_unique<cow_String>(std::string_view("released by whoever is last"));
    std::thread a([copy = *text] { EXPECT_EQ(copy.Length(), 27); });
    std::thread b([copy = *text] { EXPECT_EQ(copy.Length(), 27); });
    text.reset();
    a.join();
    b.join();
  }
}

} // namespace
