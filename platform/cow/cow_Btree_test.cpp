#include "platform/cow/cow_Btree.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/cow/cow_BtreeIterator.h"
#include "platform/cow/cow_String.h"
#include "tests/support/CountedValue.h"
#include "tests/support/Seeds.h"

namespace {

using Tree = cow_Btree<cow_String, CountedValue>;
using Iterator = cow_BtreeIterator<cow_String, CountedValue>;
using Entries = std::vector<std::pair<std::string, int>>;

Entries Rest(Iterator& iterator) {
  Entries entries;
  for (; !iterator.IsDone(); iterator.Next())
    entries.emplace_back(iterator.Key().View(), iterator.Value().m_Value);
  return entries;
}
Entries All(Tree const& tree) {
  Iterator iterator(tree);
  return Rest(iterator);
}

class cow_BtreeTest : public testing::Test {
 protected:
  void SetUp() override { CountedValue::ResetCounts(); }
  void TearDown() override {
    CountedValue::ResetCounts();
    EXPECT_EQ(CountedValue::s_Alive, 0);
  }

  /// "a" to "c" with 1 to 3; no copies counted yet.
  static Tree Three() {
    Tree tree;
    EXPECT_TRUE(tree.InsertUnlessMember("b"_cow, CountedValue(2)));
    EXPECT_TRUE(tree.InsertUnlessMember("c"_cow, CountedValue(3)));
    EXPECT_TRUE(tree.InsertUnlessMember("a"_cow, CountedValue(1)));
    CountedValue::ResetCounts();
    return tree;
  }
};

TEST_F(cow_BtreeTest, EmptyTreeFindsNothing) {
  Tree tree;
  EXPECT_EQ(tree.Count(), 0);
  EXPECT_EQ(tree.ConstFind("a"_cow), nullptr);
  EXPECT_EQ(tree.Find("a"_cow), nullptr);
  EXPECT_FALSE(tree.IsMember("a"_cow));
  EXPECT_FALSE(tree.Remove("a"_cow));
  EXPECT_TRUE(Iterator(tree).IsDone());
}

TEST_F(cow_BtreeTest, InsertedEntryIsFoundUnderItsKey) {
  Tree tree;
  EXPECT_TRUE(tree.InsertUnlessMember("a"_cow, CountedValue(1)));
  Tree::Node const* const node = tree.ConstFind("a"_cow);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->first, "a"_cow);
  EXPECT_EQ(node->second.m_Value, 1);
  EXPECT_TRUE(tree.IsMember("a"_cow));
  EXPECT_FALSE(tree.IsMember("b"_cow));
  EXPECT_EQ(tree.Count(), 1);
}

TEST_F(cow_BtreeTest, InsertKeepsAnExistingEntry) {
  Tree tree = Three();
  EXPECT_FALSE(tree.InsertUnlessMember("a"_cow, CountedValue(9)));
  EXPECT_EQ(tree.ConstFind("a"_cow)->second.m_Value, 1);
  EXPECT_EQ(tree.Count(), 3);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_BtreeTest, IterationAscendsByTheBytesOfTheKeys) {
  Tree tree;
  for (char const* const key : {"b", "\xC3\xA4", "B", "a10", "a2", ""})
    tree.InsertUnlessMember(cow_String(key), CountedValue(0));
  EXPECT_EQ(All(tree), (Entries{{"", 0}, {"B", 0}, {"a10", 0}, {"a2", 0}, {"b", 0}, {"\xC3\xA4", 0}}));
}

TEST_F(cow_BtreeTest, NoTextAndEmptyTextAreOneKey) {
  Tree tree;
  EXPECT_TRUE(tree.InsertUnlessMember(cow_String(), CountedValue(1)));
  EXPECT_FALSE(tree.InsertUnlessMember(""_cow, CountedValue(2)));
  EXPECT_EQ(tree.ConstFind(""_cow)->second.m_Value, 1);
}

TEST_F(cow_BtreeTest, RemoveRemovesOneEntry) {
  Tree tree = Three();
  EXPECT_TRUE(tree.Remove("b"_cow));
  EXPECT_FALSE(tree.Remove("b"_cow));
  EXPECT_EQ(All(tree), (Entries{{"a", 1}, {"c", 3}}));
  EXPECT_EQ(CountedValue::s_Alive, 2);
}

TEST_F(cow_BtreeTest, RemoveAcceptsTheKeyOfItsOwnEntry) {
  Tree tree = Three();
  EXPECT_TRUE(tree.Remove(tree.ConstFind("b"_cow)->first));
  EXPECT_EQ(All(tree), (Entries{{"a", 1}, {"c", 3}}));
  Tree const copy(tree);
  EXPECT_TRUE(tree.Remove(tree.ConstFind("a"_cow)->first));
  EXPECT_EQ(All(tree), (Entries{{"c", 3}}));
  EXPECT_EQ(All(copy), (Entries{{"a", 1}, {"c", 3}}));
}

TEST_F(cow_BtreeTest, ClearEmptiesOnlyThisTree) {
  Tree tree = Three();
  Tree const copy(tree);
  tree.Clear();
  EXPECT_EQ(tree.Count(), 0);
  EXPECT_EQ(copy.Count(), 3);
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_TRUE(tree.InsertUnlessMember("z"_cow, CountedValue(26)));
  EXPECT_EQ(All(copy), (Entries{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST_F(cow_BtreeTest, CopyingAndReadingCopiesNoEntry) {
  Tree const tree = Three();
  Tree const copy(tree);
  Tree third;
  third = copy;
  EXPECT_TRUE(third.SharesStorageWith(tree));
  EXPECT_EQ(third.ConstFind("a"_cow), tree.ConstFind("a"_cow));
  EXPECT_EQ(All(third), All(tree));
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_BtreeTest, WritingASoleOwnerCopiesNoEntry) {
  Tree tree = Three();
  Tree::Node const* const node = tree.ConstFind("a"_cow);
  tree.Find("a"_cow)->m_Value = 10;
  EXPECT_TRUE(tree.Remove("c"_cow));
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_TRUE(tree.InsertUnlessMember("d"_cow, CountedValue(4)));
  EXPECT_EQ(CountedValue::s_Copies, 1); // the value of the new entry
  EXPECT_EQ(tree.ConstFind("a"_cow), node);
  EXPECT_EQ(node->second.m_Value, 10);
}

TEST_F(cow_BtreeTest, FirstWriteOfASharingTreeCopiesEachEntryOnce) {
  Tree const tree = Three();
  Tree copy(tree);
  copy.Find("a"_cow)->m_Value = 10;
  EXPECT_EQ(CountedValue::s_Copies, 3);
  copy.Find("b"_cow)->m_Value = 20;
  EXPECT_EQ(CountedValue::s_Copies, 3);
  EXPECT_FALSE(copy.SharesStorageWith(tree));
  EXPECT_EQ(All(tree), (Entries{{"a", 1}, {"b", 2}, {"c", 3}}));
  EXPECT_EQ(All(copy), (Entries{{"a", 10}, {"b", 20}, {"c", 3}}));
}

TEST_F(cow_BtreeTest, InsertionIntoASharingTreeKeepsTheOthers) {
  Tree const tree = Three();
  Tree copy(tree);
  EXPECT_TRUE(copy.InsertUnlessMember("d"_cow, CountedValue(4)));
  EXPECT_EQ(tree.Count(), 3);
  EXPECT_EQ(copy.Count(), 4);
  EXPECT_EQ(tree.ConstFind("d"_cow), nullptr);
}

TEST_F(cow_BtreeTest, RemovalFromASharingTreeKeepsTheOthers) {
  Tree const tree = Three();
  Tree copy(tree);
  EXPECT_TRUE(copy.Remove("a"_cow));
  EXPECT_EQ(tree.Count(), 3);
  EXPECT_EQ(copy.Count(), 2);
}

TEST_F(cow_BtreeTest, OperationsThatChangeNothingKeepTreesShared) {
  Tree const tree = Three();
  Tree copy(tree);
  EXPECT_FALSE(copy.InsertUnlessMember("a"_cow, CountedValue(9)));
  EXPECT_FALSE(copy.Remove("z"_cow));
  EXPECT_EQ(copy.Find("z"_cow), nullptr);
  EXPECT_TRUE(copy.SharesStorageWith(tree));
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_BtreeTest, WriteAfterTheOthersAreGoneCopiesNothing) {
  Tree tree = Three();
  { Tree const copy(tree); }
  tree.Find("a"_cow)->m_Value = 10;
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_BtreeTest, LastTreeReleasesTheEntries) {
  {
    Tree tree = Three();
    auto* const copy = new Tree(tree);
    tree.Clear();
    EXPECT_EQ(CountedValue::s_Alive, 3);
    delete copy;
    EXPECT_EQ(CountedValue::s_Alive, 0);
  }
}

TEST_F(cow_BtreeTest, AssignmentToItselfKeepsTheEntries) {
  Tree tree = Three();
  Tree const& same = tree;
  tree = same;
  EXPECT_EQ(All(tree), (Entries{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST_F(cow_BtreeTest, MovingTakesTheEntriesWithoutACopy) {
  Tree tree = Three();
  Tree moved(std::move(tree));
  Tree assigned;
  assigned.InsertUnlessMember("z"_cow, CountedValue(26));
  CountedValue::ResetCounts();
  assigned = std::move(moved);
  EXPECT_EQ(All(assigned), (Entries{{"a", 1}, {"b", 2}, {"c", 3}}));
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_EQ(CountedValue::s_Alive, 3);
}

TEST_F(cow_BtreeTest, SwapExchangesTheEntries) {
  Tree tree = Three();
  Tree other;
  other.Swap(tree);
  EXPECT_EQ(tree.Count(), 0);
  EXPECT_EQ(other.Count(), 3);
}

TEST_F(cow_BtreeTest, KeepsItsShareWhenTheCopyFails) {
  Tree const tree = Three();
  Tree copy(tree);
  for (int step = 1; step <= 3; ++step) {
    CountedValue::ResetCounts();
    CountedValue::s_FailAtCopy = step;
    EXPECT_THROW(copy.Remove("a"_cow), std::runtime_error);
    EXPECT_TRUE(copy.SharesStorageWith(tree));
    EXPECT_EQ(CountedValue::s_Alive, 3);
  }
  CountedValue::ResetCounts();
  EXPECT_TRUE(copy.Remove("a"_cow));
  EXPECT_EQ(tree.Count(), 3);
}

TEST_F(cow_BtreeTest, InsertThatFailsAddsNothing) {
  Tree tree = Three();
  CountedValue::s_FailAtCopy = 1;
  EXPECT_THROW(tree.InsertUnlessMember("d"_cow, CountedValue(4)), std::runtime_error);
  EXPECT_EQ(All(tree), (Entries{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST_F(cow_BtreeTest, IteratorSeesTheOldContent) {
  Tree tree = Three();
  Iterator iterator(tree);
  iterator.Next();
  tree.Find("b"_cow)->m_Value = 20;
  tree.InsertUnlessMember("d"_cow, CountedValue(4));
  tree.Remove("c"_cow);
  EXPECT_EQ(Rest(iterator), (Entries{{"b", 2}, {"c", 3}}));
  iterator.First();
  EXPECT_EQ(Rest(iterator), (Entries{{"a", 1}, {"b", 2}, {"c", 3}}));
  EXPECT_EQ(All(tree), (Entries{{"a", 1}, {"b", 20}, {"d", 4}}));
}

TEST_F(cow_BtreeTest, IteratorOutlivesItsTree) {
  auto* const tree = new Tree(Three());
  Iterator iterator(*tree);
  delete tree;
  EXPECT_EQ(Rest(iterator), (Entries{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST_F(cow_BtreeTest, CopyOfAnIteratorMovesOnItsOwn) {
  Tree const tree = Three();
  Iterator iterator(tree);
  iterator.Next();
  Iterator copy(iterator);
  iterator.Next();
  EXPECT_EQ(Rest(copy), (Entries{{"b", 2}, {"c", 3}}));
  EXPECT_EQ(Rest(iterator), (Entries{{"c", 3}}));
}

TEST_F(cow_BtreeTest, DestroyedIteratorLeavesASoleOwner) {
  Tree tree = Three();
  EXPECT_EQ(All(tree).size(), 3U);
  tree.Find("a"_cow)->m_Value = 10;
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

class cow_BtreeModel : public testing::TestWithParam<unsigned int> {};

// Random steps on trees that share their entries in many ways, each with a std::map that shares nothing, and
// on iterators, which keep the entries of the moment when they were made.
TEST_P(cow_BtreeModel, TreesAndIteratorsMatchMaps) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  using Numbers = cow_Btree<unsigned int, int>;
  using Model = std::map<unsigned int, int>;
  struct Walk {
    cow_BtreeIterator<unsigned int, int> m_Walk;
    Model m_Expected;
  };
  std::mt19937 random(GetParam());
  auto const below = [&random](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
  auto const same = [](cow_BtreeIterator<unsigned int, int> i, Model const& expected) {
    Model seen;
    for (i.First(); !i.IsDone(); i.Next()) seen.emplace_hint(seen.end(), i.Key(), i.Value());
    return seen == expected;
  };
  std::vector<Numbers> trees(6);
  std::vector<Model> models(6);
  std::vector<Walk> walks;
  for (int step = 0; step < 300'000; ++step) {
    bool const grows = step / 20'000 % 2 == 0;
    std::size_t const a = below(trees.size());
    std::size_t const b = below(trees.size());
    auto const key = static_cast<unsigned int>(below(300));
    std::size_t const choice = below(1000);
    if (choice < 20) {
      trees[a] = trees[b];
      models[a] = models[b];
    } else if (choice < 22) {
      trees[a].Clear();
      models[a].clear();
    } else if (choice < 30) {
      trees[a].Swap(trees[b]);
      std::swap(models[a], models[b]);
    } else if (choice < 40) {
      if (walks.size() == 10) walks.erase(walks.begin());
      walks.push_back({cow_BtreeIterator<unsigned int, int>(trees[a]), models[a]});
    } else if (choice < 240) {
      auto const* const node = trees[a].ConstFind(key);
      auto const expected = models[a].find(key);
      ASSERT_EQ(node != nullptr, expected != models[a].end()) << "step " << step;
      if (node != nullptr) {
        ASSERT_EQ(*node, *expected) << "step " << step;
      }
    } else if (choice < 340) {
      int* const value = trees[a].Find(key);
      ASSERT_EQ(value != nullptr, models[a].count(key) == 1) << "step " << step;
      if (value != nullptr) *value = models[a][key] = step;
    } else if ((choice < 800) == grows) {
      ASSERT_EQ(trees[a].InsertUnlessMember(key, step), models[a].emplace(key, step).second)
          << "step " << step;
    } else {
      ASSERT_EQ(trees[a].Remove(key), models[a].erase(key) > 0) << "step " << step;
    }
    ASSERT_EQ(trees[a].Count(), static_cast<int>(models[a].size())) << "step " << step;
    if (step % 500 != 0) continue;
    for (std::size_t i = 0; i < trees.size(); ++i)
      ASSERT_TRUE(same(cow_BtreeIterator<unsigned int, int>(trees[i]), models[i])) << "step " << step;
    for (Walk const& walk : walks) ASSERT_TRUE(same(walk.m_Walk, walk.m_Expected)) << "step " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, cow_BtreeModel, testing::ValuesIn(Seeds({1U, 20260101U})));

} // namespace
