#include "store/base/sto_AnswerTable.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <utility>

namespace {

TEST(StoreAnswerTable, NewTableHasNoAnswers) {
  sto_AnswerTable<int const*> const table;
  EXPECT_EQ(table.Find(0, 0), nullptr);
  EXPECT_EQ(table.Find(5), nullptr);
}

TEST(StoreAnswerTable, AnswerIsFoundUnderItsWholeKeyOnly) {
  int answer = 0;
  sto_AnswerTable<int const*> table;
  table.Keep(3, 4, &answer);
  ASSERT_NE(table.Find(3, 4), nullptr);
  EXPECT_EQ(*table.Find(3, 4), &answer);
  EXPECT_EQ(table.Find(3, 5), nullptr);
  EXPECT_EQ(table.Find(4, 4), nullptr);
  EXPECT_EQ(table.Find(2, 11), nullptr); // which has the same place
  EXPECT_EQ(table.Find(0, 0), nullptr);  // what an unused entry holds
}

TEST(StoreAnswerTable, AnswerMayBeThatThereIsNothing) {
  sto_AnswerTable<int const*> pointers;
  pointers.Keep(1, 2, nullptr);
  ASSERT_NE(pointers.Find(1, 2), nullptr);
  EXPECT_EQ(*pointers.Find(1, 2), nullptr);
  sto_AnswerTable<bool> flags;
  flags.Keep(0, 0, false);
  ASSERT_NE(flags.Find(0, 0), nullptr);
  EXPECT_FALSE(*flags.Find(0, 0));
}

TEST(StoreAnswerTable, AllAnswersStayWhileItGrows) {
  sto_AnswerTable<int> table;
  for (unsigned int i = 0; i < 5000; ++i) table.Keep(0x650000 + i / 3, i % 3, static_cast<int>(i));
  for (unsigned int i = 0; i < 5000; ++i) {
    ASSERT_NE(table.Find(0x650000 + i / 3, i % 3), nullptr) << i;
    EXPECT_EQ(*table.Find(0x650000 + i / 3, i % 3), static_cast<int>(i));
  }
  EXPECT_EQ(table.Find(0x650000 + 5000, 0), nullptr);
}

TEST(StoreAnswerTable, ForgetLeavesNoAnswers) {
  sto_AnswerTable<bool> table;
  table.Keep(1, 2, true);
  table.Forget();
  EXPECT_EQ(table.Find(1, 2), nullptr);
  table.Keep(1, 2, false);
  EXPECT_FALSE(*table.Find(1, 2));
}

TEST(StoreAnswerTable, AgreesWithAMap) {
  sto_AnswerTable<int> table;
  std::map<std::pair<unsigned int, unsigned int>, int> all;
  std::mt19937 random(7);
  for (int step = 1; step < 20'000; ++step) {
    std::pair<unsigned int, unsigned int> const key(random() % 60 * 0x10000, random() % 60);
    int const* const answer = table.Find(key.first, key.second);
    ASSERT_EQ(answer != nullptr, all.contains(key));
    if (answer != nullptr) {
      ASSERT_EQ(*answer, all[key]);
    }
    table.Keep(key.first, key.second, step);
    all[key] = step;
    if (random() % 5000 != 0) continue;
    table.Forget();
    all.clear();
  }
}

} // namespace
