#include "platform/atr/atr_NaturalOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/atr/atr_KeyOrder.h"
#include "platform/omni/omi_Btree.h"
#include "platform/omni/omi_BtreeIterator.h"
#include "tests/support/Seeds.h"

namespace {

int Sign(int order) {
  return (order > 0) - (order < 0);
}
int Order(std::string const& a, std::string const& b) {
  return Sign(strnatcmp(a.c_str(), b.c_str()));
}

void ExpectAscending(std::vector<std::string> const& texts) {
  for (std::size_t i = 0; i < texts.size(); ++i)
    for (std::size_t k = 0; k < texts.size(); ++k)
      EXPECT_EQ(Order(texts[i], texts[k]), Sign(static_cast<int>(i) - static_cast<int>(k)))
          << '"' << texts[i] << "\" and \"" << texts[k] << '"';
}

TEST(atr_NaturalOrderTest, NumbersCompareByTheirValue) {
  ExpectAscending({"part1", "part2", "part9", "part10", "part19", "part20", "part100"});
}

TEST(atr_NaturalOrderTest, NumbersCompareAnywhereInTheText) {
  ExpectAscending({"2a3", "2a10", "2b1", "10a1", "a", "a1b2c9", "a1b2c10", "a1b10c1"});
}

TEST(atr_NaturalOrderTest, NumbersOfAnyLengthCompare) {
  std::string const nines(400, '9');
  std::string const zeros(400, '0');
  ExpectAscending({"18446744073709551615", "18446744073709551616", nines, "1" + zeros, "2" + nines});
}

TEST(atr_NaturalOrderTest, TextWithoutNumbersComparesByItsBytes) {
  ExpectAscending({"", "A", "B", "a", "ab", "b"});
}

TEST(atr_NaturalOrderTest, PrefixComesFirst) {
  ExpectAscending({"", "1", "1a", "1a2", "1a2b", "12"});
}

TEST(atr_NaturalOrderTest, DigitAndOtherByteCompareAsBytes) {
  ExpectAscending({"a b", "a/", "a0", "a9", "a:", "aA", "ab"});
}

TEST(atr_NaturalOrderTest, HighBytesCompareAsUnsigned) {
  ExpectAscending({"a", "z", "\x7F", "\x80", "\xC3\xA4", "\xFF"});
  EXPECT_EQ(Order("1\xE4", "1z"), 1);
}

TEST(atr_NaturalOrderTest, LeadingZerosDoNotChangeTheValue) {
  ExpectAscending({"a007", "a8", "a009", "a10", "a0011"});
  ExpectAscending({"a01b", "a1c", "a001d"});
}

TEST(atr_NaturalOrderTest, TextsThatDifferOnlyInLeadingZerosAreOrderedByTheirBytes) {
  ExpectAscending({"a001", "a01", "a1"});
  ExpectAscending({"a0", "a00", "a000"});
  ExpectAscending({"01a1", "1a01", "1a1"});
}

TEST(atr_NaturalOrderTest, LeadingZerosDecideOnlyWhenAllElseIsEqual) {
  EXPECT_EQ(Order("a1x", "a01y"), -1); // by bytes "a01y" would come first
  EXPECT_EQ(Order("a1b2", "a01b1"), 1);
}

/// Short texts of few different bytes, so that many are nearly equal.
std::vector<std::string> RandomTexts(unsigned int seed, std::size_t count) {
  std::mt19937 random(seed);
  std::string const bytes = "001129/:a\xE4";
  std::vector<std::string> texts{""};
  while (texts.size() < count) {
    std::string text;
    for (auto length = random() % 7; length > 0; --length) text += bytes[random() % bytes.size()];
    texts.push_back(text);
  }
  return texts;
}

/// The order, defined another way: a text is a sequence of bytes and numbers, and a number is ordered among
/// bytes as its digits are.
int ReferenceOrder(std::string const& a, std::string const& b) {
  auto const split = [](std::string const& text) {
    std::vector<std::pair<int, long long>> parts;
    bool inNumber = false;
    for (char const c : text) {
      bool const isDigit = c >= '0' && c <= '9';
      if (isDigit && inNumber)
        parts.back().second = parts.back().second * 10 + (c - '0');
      else
        parts.emplace_back(isDigit ? '0' : static_cast<unsigned char>(c), isDigit ? c - '0' : 0);
      inNumber = isDigit;
    }
    return parts;
  };
  auto const partsOfA = split(a);
  auto const partsOfB = split(b);
  if (partsOfA != partsOfB) return partsOfA < partsOfB ? -1 : 1;
  return Sign(a.compare(b));
}

class atr_NaturalOrderModel : public testing::TestWithParam<unsigned int> {};

TEST_P(atr_NaturalOrderModel, MatchesTheReference) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  auto const texts = RandomTexts(GetParam(), 700);
  for (auto const& a : texts)
    for (auto const& b : texts)
      ASSERT_EQ(Order(a, b), ReferenceOrder(a, b)) << '"' << a << "\" and \"" << b << '"';
}

TEST_P(atr_NaturalOrderModel, OnlyEqualTextsAreEqual) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  auto const texts = RandomTexts(GetParam(), 1000);
  for (auto const& a : texts)
    for (auto const& b : texts) ASSERT_EQ(Order(a, b) == 0, a == b) << '"' << a << "\" and \"" << b << '"';
}

TEST_P(atr_NaturalOrderModel, IsAntisymmetric) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  auto const texts = RandomTexts(GetParam(), 1000);
  for (auto const& a : texts)
    for (auto const& b : texts) ASSERT_EQ(Order(a, b), -Order(b, a)) << '"' << a << "\" and \"" << b << '"';
}

TEST_P(atr_NaturalOrderModel, IsTransitive) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  auto const texts = RandomTexts(GetParam(), 150);
  for (auto const& a : texts)
    for (auto const& b : texts) {
      if (Order(a, b) > 0) continue;
      for (auto const& c : texts) {
        if (Order(b, c) > 0) continue;
        ASSERT_LE(Order(a, c), 0) << '"' << a << "\", \"" << b << "\", \"" << c << '"';
      }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, atr_NaturalOrderModel, testing::ValuesIn(Seeds({1U, 20260101U})));

using KeyOrder = omi_KeyOrder<cow_String>;
using Names = std::vector<std::string>;

/// The order of names is process-wide, so each test restores it.
class atr_KeyOrderTest : public testing::Test {
 protected:
  void TearDown() override { atr_setNaturalOrder(false); }

  static Names Walk(Names const& names) {
    omi_Btree<cow_String, int> tree;
    for (std::string const& name : names) EXPECT_TRUE(tree.Insert(cow_String(name), 0)) << name;
    EXPECT_TRUE(tree.Verify());
    Names walked;
    for (omi_BtreeIterator<cow_String, int> i(tree); !i.IsDone(); i.Next())
      walked.emplace_back(i.Key().View());
    return walked;
  }
};

TEST_F(atr_KeyOrderTest, OrderOfBytesIsTheDefault) {
  EXPECT_FALSE(atr_getNaturalOrder());
}

TEST_F(atr_KeyOrderTest, ChosenOrderIsReported) {
  atr_setNaturalOrder(true);
  EXPECT_TRUE(atr_getNaturalOrder());
  atr_setNaturalOrder(false);
  EXPECT_FALSE(atr_getNaturalOrder());
}

TEST_F(atr_KeyOrderTest, NamesAscendByTheirBytes) {
  EXPECT_EQ(Walk({"part10", "part2", "a", "\xC3\xA4", "part1", "B"}),
            (Names{"B", "a", "part1", "part10", "part2", "\xC3\xA4"}));
}

TEST_F(atr_KeyOrderTest, NamesAscendInNaturalOrderIfChosen) {
  atr_setNaturalOrder(true);
  EXPECT_EQ(Walk({"part10", "part2", "a", "\xC3\xA4", "part1", "B", "part02"}),
            (Names{"B", "a", "part1", "part02", "part2", "part10", "\xC3\xA4"}));
}

TEST_F(atr_KeyOrderTest, SmallerNameGoesLeft) {
  EXPECT_LT(KeyOrder::Direction("a"_cow, "b"_cow), 0);
  EXPECT_GT(KeyOrder::Direction("b"_cow, "a"_cow), 0);
  EXPECT_LT(KeyOrder::Direction("a10"_cow, "a9"_cow), 0);
  EXPECT_LT(KeyOrder::Direction("a"_cow, "aa"_cow), 0);
  EXPECT_LT(KeyOrder::Direction("z"_cow, cow_String("\x80")), 0);
  atr_setNaturalOrder(true);
  EXPECT_LT(KeyOrder::Direction("a9"_cow, "a10"_cow), 0);
  EXPECT_GT(KeyOrder::Direction("a10"_cow, "a9"_cow), 0);
  EXPECT_LT(KeyOrder::Direction("z"_cow, cow_String("\x80")), 0);
}

TEST_F(atr_KeyOrderTest, NoTextIsTheEmptyNameInBothOrders) {
  for (bool const natural : {false, true}) {
    atr_setNaturalOrder(natural);
    EXPECT_EQ(KeyOrder::Direction(cow_String(), ""_cow), 0);
    EXPECT_EQ(KeyOrder::Direction(""_cow, cow_String()), 0);
    EXPECT_EQ(KeyOrder::Direction(cow_String(), cow_String()), 0);
    EXPECT_LT(KeyOrder::Direction(cow_String(), "a"_cow), 0);
    EXPECT_GT(KeyOrder::Direction("a"_cow, cow_String()), 0);
  }
}

TEST_F(atr_KeyOrderTest, EqualNamesInDifferentBuffersAreTheSameKeyInBothOrders) {
  for (bool const natural : {false, true}) {
    atr_setNaturalOrder(natural);
    EXPECT_EQ(KeyOrder::Direction(cow_String("a007"), "a007"_cow), 0);
    EXPECT_NE(KeyOrder::Direction("a007"_cow, "a7"_cow), 0);
  }
}

TEST_F(atr_KeyOrderTest, ManyNamesAreFoundInBothOrders) {
  for (bool const natural : {false, true}) {
    atr_setNaturalOrder(natural);
    Names names = RandomTexts(7, 2000);
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    omi_Btree<cow_String, std::size_t> tree;
    for (std::size_t i = 0; i < names.size(); ++i) ASSERT_TRUE(tree.Insert(cow_String(names[i]), i));
    EXPECT_TRUE(tree.Verify());
    for (std::size_t i = 0; i < names.size(); ++i) {
      ASSERT_NE(tree.ConstFind(cow_String(names[i])), nullptr) << names[i];
      EXPECT_EQ(tree.ConstGet(cow_String(names[i])), i);
    }
  }
}

} // namespace
