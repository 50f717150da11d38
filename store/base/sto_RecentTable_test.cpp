#include "store/base/sto_RecentTable.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <utility>

namespace {

TEST(StoreRecentTable, NewTableHasNoAnswers) {
  sto_RecentTable<int const*> const table;
  EXPECT_EQ(table.Find(0, 0), nullptr); // also not for the key that an empty place would match
  EXPECT_EQ(table.Find(5), nullptr);
}

TEST(StoreRecentTable, AnswerIsFoundUnderItsWholeKeyOnly) {
  int answer = 0;
  sto_RecentTable<int const*> table;
  table.Keep(3, 4, &answer);
  EXPECT_EQ(table.Find(3, 4), &answer);
  EXPECT_EQ(table.Find(3, 5), nullptr);
  EXPECT_EQ(table.Find(4, 4), nullptr);
  EXPECT_EQ(table.Find(2, 11), nullptr); // which has the same place
}

TEST(StoreRecentTable, LaterKeyReplacesAnEarlierOneAtItsPlace) {
  sto_RecentTable<int, 64> table;
  table.Keep(1, 0, 10);
  table.Keep(0, 7, 20); // the same place
  EXPECT_EQ(table.Find(0, 7), 20);
  EXPECT_EQ(table.Find(1, 0), 0);
  table.Keep(0, 7, 30);
  EXPECT_EQ(table.Find(0, 7), 30);
}

TEST(StoreRecentTable, KeysThatFollowEachOtherDoNotReplaceEachOther) {
  sto_RecentTable<int, 64> classes;
  sto_RecentTable<int, 64> versions;
  for (unsigned int i = 0; i < 64; ++i) {
    classes.Keep(0x650000 + i, 1, static_cast<int>(i) + 1);
    versions.Keep(0x650000, i, static_cast<int>(i) + 1);
  }
  for (unsigned int i = 0; i < 64; ++i) {
    EXPECT_EQ(classes.Find(0x650000 + i, 1), static_cast<int>(i) + 1);
    EXPECT_EQ(versions.Find(0x650000, i), static_cast<int>(i) + 1);
  }
}

TEST(StoreRecentTable, ForgetLeavesNoAnswers) {
  sto_RecentTable<bool> table;
  table.Keep(1, 2, true);
  table.Forget();
  EXPECT_FALSE(table.Find(1, 2));
}

TEST(StoreRecentTable, AnswersAreNeverThoseOfOtherKeys) {
  sto_RecentTable<int, 8> table;
  std::map<std::pair<unsigned int, unsigned int>, int> all;
  std::mt19937 random(7);
  int found = 0;
  for (int step = 1; step < 5000; ++step) {
    unsigned int const first = random() % 20;
    unsigned int const second = random() % 20;
    if (int const answer = table.Find(first, second); answer != 0) {
      ++found;
      ASSERT_EQ(answer, (all[{first, second}]));
    }
    table.Keep(first, second, step);
    all[{first, second}] = step;
  }
  EXPECT_GT(found, 10);
}

} // namespace
