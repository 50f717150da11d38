#include "platform/omni/omi_Btree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/omni/omi_BtreeIterator.h"
#include "tests/support/CountedValue.h"

namespace {

using UintTree = omi_Btree<unsigned int, CountedValue>;
using Keys = std::vector<unsigned int>;

/// "key:height", then the children in brackets if there are any, "-" for an absent one.
std::string ShapeOf(UintTree::Node const* node) {
  if (node == nullptr) return "-";
  std::string text = std::to_string(node->Key()) + ":" + std::to_string(node->Height());
  if (node->Left() != nullptr || node->Right() != nullptr)
    text += "(" + ShapeOf(node->Left()) + "," + ShapeOf(node->Right()) + ")";
  return text;
}
std::string ShapeOf(UintTree const& tree) {
  return ShapeOf(tree.Root());
}

/// Each key with ten times the key as its value.
void Fill(UintTree& tree, std::initializer_list<unsigned int> keys) {
  for (unsigned int const key : keys) ASSERT_TRUE(tree.Insert(key, CountedValue(static_cast<int>(key * 10))));
}

Keys Walk(UintTree const& tree) {
  Keys keys;
  for (omi_BtreeIterator<unsigned int, CountedValue> i(tree); !i.IsDone(); i.Next()) keys.push_back(i.Key());
  return keys;
}

std::map<unsigned int, UintTree::Node const*> Addresses(UintTree const& tree) {
  std::map<unsigned int, UintTree::Node const*> addresses;
  for (omi_BtreeIterator<unsigned int, CountedValue> i(tree); !i.IsDone(); i.Next())
    addresses[i.Key()] = &i.Current();
  return addresses;
}

class omi_BtreeTest : public testing::Test {
 protected:
  void SetUp() override { CountedValue::ResetCounts(); }
  void TearDown() override {
    CountedValue::ResetCounts();
    EXPECT_EQ(CountedValue::s_Alive, 0);
  }
};

TEST_F(omi_BtreeTest, EmptyTreeHoldsOnlyTheDefaultValue) {
  UintTree tree;
  EXPECT_EQ(tree.Count(), 0U);
  EXPECT_EQ(tree.Root(), nullptr);
  EXPECT_EQ(tree.ConstFind(1), nullptr);
  EXPECT_EQ(tree.Find(1), nullptr);
  EXPECT_FALSE(tree.IsMember(1));
  EXPECT_FALSE(tree.Remove(1));
  EXPECT_TRUE(tree.Verify());
  EXPECT_EQ(CountedValue::s_Alive, 1);
}

TEST_F(omi_BtreeTest, MissReturnsTheDefaultValue) {
  UintTree tree;
  EXPECT_EQ(&tree.ConstGet(1), &tree.DefaultValue());
  EXPECT_EQ(tree.DefaultValue().m_Value, 0);
  Fill(tree, {1});
  EXPECT_EQ(tree.ConstGet(1).m_Value, 10);
  EXPECT_EQ(&tree.ConstGet(2), &tree.DefaultValue());
}

TEST_F(omi_BtreeTest, InsertAddsCopiesOfKeyAndValue) {
  UintTree tree;
  unsigned int key = 5;
  CountedValue value(50);
  EXPECT_TRUE(tree.Insert(key, value));
  key = 6;
  value.m_Value = 60;
  EXPECT_EQ(tree.Count(), 1U);
  ASSERT_NE(tree.ConstFind(5), nullptr);
  EXPECT_EQ(tree.ConstFind(5)->Key(), 5U);
  EXPECT_EQ(tree.ConstFind(5)->Value().m_Value, 50);
  EXPECT_EQ(CountedValue::s_Copies, 1);
}

TEST_F(omi_BtreeTest, InsertKeepsTheFirstValueOfAKey) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  for (unsigned int const key : {4U, 2U, 6U}) {
    EXPECT_FALSE(tree.Insert(key, CountedValue(99)));
    EXPECT_EQ(tree.ConstGet(key).m_Value, static_cast<int>(key * 10));
  }
  EXPECT_EQ(tree.Count(), 3U);
  EXPECT_EQ(CountedValue::s_Copies, 3);
  EXPECT_EQ(ShapeOf(tree), "4:1(2:0,6:0)");
}

TEST_F(omi_BtreeTest, InsertThatFailsChangesNothing) {
  UintTree tree;
  Fill(tree, {1, 2, 3});
  std::string const before = ShapeOf(tree);
  CountedValue::s_FailAtCopy = CountedValue::s_Copies + 1;
  EXPECT_THROW(tree.Insert(4, CountedValue(40)), std::runtime_error);
  EXPECT_EQ(ShapeOf(tree), before);
  EXPECT_EQ(tree.Count(), 3U);
  EXPECT_FALSE(tree.IsMember(4));
  EXPECT_TRUE(tree.Verify());
}

TEST_F(omi_BtreeTest, FoundValueCanBeWritten) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  tree.Find(2)->Value().m_Value = 77;
  EXPECT_EQ(tree.ConstGet(2).m_Value, 77);
  EXPECT_EQ(tree.ConstGet(4).m_Value, 40);
}

TEST_F(omi_BtreeTest, ChainOfThreeIsNotRotated) {
  UintTree ascending;
  Fill(ascending, {1, 2, 3});
  EXPECT_EQ(ShapeOf(ascending), "1:2(-,2:1(-,3:0))");
  UintTree descending;
  Fill(descending, {3, 2, 1});
  EXPECT_EQ(ShapeOf(descending), "3:2(2:1(1:0,-),-)");
}

TEST_F(omi_BtreeTest, FourthAscendingKeyRotatesLeft) {
  UintTree tree;
  Fill(tree, {1, 2, 3, 4});
  EXPECT_EQ(ShapeOf(tree), "2:2(1:0,3:1(-,4:0))");
}

TEST_F(omi_BtreeTest, FourthDescendingKeyRotatesRight) {
  UintTree tree;
  Fill(tree, {4, 3, 2, 1});
  EXPECT_EQ(ShapeOf(tree), "3:2(2:1(1:0,-),4:0)");
}

TEST_F(omi_BtreeTest, SingleRotationToTheLeftMovesTheInnerSubtree) {
  UintTree tree;
  Fill(tree, {1, 4, 3});
  EXPECT_EQ(ShapeOf(tree), "1:2(-,4:1(3:0,-))");
  Fill(tree, {2});
  EXPECT_EQ(ShapeOf(tree), "4:3(1:2(-,3:1(2:0,-)),-)");
}

TEST_F(omi_BtreeTest, SingleRotationToTheRightMovesTheInnerSubtree) {
  UintTree tree;
  Fill(tree, {4, 1, 2});
  EXPECT_EQ(ShapeOf(tree), "4:2(1:1(-,2:0),-)");
  Fill(tree, {3});
  EXPECT_EQ(ShapeOf(tree), "1:3(-,4:2(2:1(-,3:0),-))");
}

TEST_F(omi_BtreeTest, RemainingLeanIsRotatedByTheNextInsertionBelow) {
  UintTree tree;
  Fill(tree, {1, 4, 3, 2, 5});
  EXPECT_EQ(ShapeOf(tree), "1:3(-,4:2(3:1(2:0,-),5:0))");
}

TEST_F(omi_BtreeTest, RotatesBelowTheRootToo) {
  UintTree tree;
  Fill(tree, {10, 5, 20, 4, 21, 22});
  EXPECT_EQ(ShapeOf(tree), "10:3(5:1(4:0,-),20:2(-,21:1(-,22:0)))");
  Fill(tree, {23});
  EXPECT_EQ(ShapeOf(tree), "10:3(5:1(4:0,-),21:2(20:0,22:1(-,23:0)))");
}

TEST_F(omi_BtreeTest, RegistrySizedTreesStayShallow) {
  UintTree ascending;
  for (unsigned int key = 0; key < 1000; ++key) ascending.Insert(key, CountedValue(0));
  EXPECT_LE(ascending.Root()->Height(), 12);
  EXPECT_TRUE(ascending.Verify());
  UintTree descending;
  for (unsigned int key = 1000; key > 0; --key) descending.Insert(key, CountedValue(0));
  EXPECT_LE(descending.Root()->Height(), 12);
  EXPECT_TRUE(descending.Verify());
}

TEST_F(omi_BtreeTest, RemovingTheOnlyNodeLeavesAnEmptyTree) {
  UintTree tree;
  Fill(tree, {1});
  EXPECT_TRUE(tree.Remove(1));
  EXPECT_EQ(tree.Count(), 0U);
  EXPECT_EQ(tree.Root(), nullptr);
  EXPECT_FALSE(tree.Remove(1));
  EXPECT_EQ(CountedValue::s_Alive, 1);
  Fill(tree, {2});
  EXPECT_EQ(ShapeOf(tree), "2:0");
}

TEST_F(omi_BtreeTest, RemovingAnAbsentKeyChangesNothing) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  for (unsigned int const key : {1U, 3U, 5U, 7U}) EXPECT_FALSE(tree.Remove(key));
  EXPECT_EQ(ShapeOf(tree), "4:1(2:0,6:0)");
  EXPECT_EQ(tree.Count(), 3U);
}

TEST_F(omi_BtreeTest, RemovingALeafLowersTheHeightsAbove) {
  UintTree tree;
  Fill(tree, {4, 2, 6, 1});
  EXPECT_EQ(ShapeOf(tree), "4:2(2:1(1:0,-),6:0)");
  EXPECT_TRUE(tree.Remove(1));
  EXPECT_EQ(ShapeOf(tree), "4:1(2:0,6:0)");
  EXPECT_EQ(tree.Count(), 3U);
}

TEST_F(omi_BtreeTest, RemovingANodeWithOneChildLinksTheChild) {
  UintTree tree;
  Fill(tree, {4, 2, 6, 1, 7});
  EXPECT_TRUE(tree.Remove(2));
  EXPECT_EQ(ShapeOf(tree), "4:2(1:0,6:1(-,7:0))");
  EXPECT_TRUE(tree.Remove(6));
  EXPECT_EQ(ShapeOf(tree), "4:1(1:0,7:0)");
}

TEST_F(omi_BtreeTest, RemovingARootWithOneChildMakesTheChildTheRoot) {
  UintTree right;
  Fill(right, {1, 2});
  EXPECT_TRUE(right.Remove(1));
  EXPECT_EQ(ShapeOf(right), "2:0");
  UintTree left;
  Fill(left, {2, 1});
  EXPECT_TRUE(left.Remove(2));
  EXPECT_EQ(ShapeOf(left), "1:0");
}

TEST_F(omi_BtreeTest, RemovedNodeWithTwoChildrenIsReplacedByTheLeftmostOfItsRight) {
  UintTree tree;
  Fill(tree, {4, 2, 6, 1, 3, 5, 7});
  EXPECT_EQ(ShapeOf(tree), "4:2(2:1(1:0,3:0),6:1(5:0,7:0))");
  EXPECT_TRUE(tree.Remove(4));
  EXPECT_EQ(ShapeOf(tree), "5:2(2:1(1:0,3:0),6:1(-,7:0))");
  EXPECT_TRUE(tree.Remove(5)); // now the leftmost is the right child itself
  EXPECT_EQ(ShapeOf(tree), "6:2(2:1(1:0,3:0),7:0)");
  EXPECT_TRUE(tree.Remove(2)); // below the root
  EXPECT_EQ(ShapeOf(tree), "6:2(3:1(1:0,-),7:0)");
}

TEST_F(omi_BtreeTest, RightSubtreeOfTheReplacingNodeIsLinkedToItsFormerParent) {
  UintTree tree;
  Fill(tree, {4, 2, 9, 1, 6, 10, 7});
  EXPECT_EQ(ShapeOf(tree), "4:3(2:1(1:0,-),9:2(6:1(-,7:0),10:0))");
  EXPECT_TRUE(tree.Remove(4));
  EXPECT_EQ(ShapeOf(tree), "6:2(2:1(1:0,-),9:1(7:0,10:0))");
}

TEST_F(omi_BtreeTest, RemovalRotatesToTheRight) {
  UintTree tree;
  Fill(tree, {5, 3, 7, 2, 8, 1});
  EXPECT_EQ(ShapeOf(tree), "5:3(3:2(2:1(1:0,-),-),7:1(-,8:0))");
  EXPECT_TRUE(tree.Remove(8));
  EXPECT_EQ(ShapeOf(tree), "3:2(2:1(1:0,-),5:1(-,7:0))");
}

TEST_F(omi_BtreeTest, RemovalRotatesToTheLeft) {
  UintTree tree;
  Fill(tree, {4, 6, 2, 7, 1, 8});
  EXPECT_EQ(ShapeOf(tree), "4:3(2:1(1:0,-),6:2(-,7:1(-,8:0)))");
  EXPECT_TRUE(tree.Remove(1));
  EXPECT_EQ(ShapeOf(tree), "6:2(4:1(2:0,-),7:1(-,8:0))");
}

TEST_F(omi_BtreeTest, ReplacedRootIsRebalanced) {
  UintTree tree;
  Fill(tree, {5, 3, 7, 2, 8, 1});
  EXPECT_TRUE(tree.Remove(5)); // 7 replaces it and then leans to the left
  EXPECT_EQ(ShapeOf(tree), "3:2(2:1(1:0,-),7:1(-,8:0))");
}

TEST_F(omi_BtreeTest, PathToTheReplacingNodeIsRebalanced) {
  UintTree tree;
  Fill(tree, {10, 5, 20, 3, 7, 15, 25, 2, 4, 12, 23, 30, 35});
  EXPECT_EQ(ShapeOf(tree), "10:4(5:2(3:1(2:0,4:0),7:0),20:3(15:1(12:0,-),25:2(23:0,30:1(-,35:0))))");
  EXPECT_TRUE(tree.Remove(10)); // 12 replaces it, and then 20 leans to the right
  EXPECT_EQ(ShapeOf(tree), "12:3(5:2(3:1(2:0,4:0),7:0),25:2(20:1(15:0,23:0),30:1(-,35:0)))");
}

TEST_F(omi_BtreeTest, RemovalRelinksNodesAndCopiesNothing) {
  UintTree tree;
  Fill(tree, {4, 2, 9, 1, 6, 10, 7});
  auto addresses = Addresses(tree);
  CountedValue::ResetCounts();
  for (unsigned int const key : {4U, 9U, 2U, 10U}) {
    ASSERT_TRUE(tree.Remove(key));
    addresses.erase(key);
    EXPECT_EQ(Addresses(tree), addresses);
  }
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_EQ(CountedValue::s_Moves, 0);
}

TEST_F(omi_BtreeTest, InsertionMovesNoNode) {
  UintTree tree;
  Fill(tree, {1});
  UintTree::Node const* const first = tree.ConstFind(1);
  Fill(tree, {2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(tree.ConstFind(1), first);
}

TEST_F(omi_BtreeTest, RemovalReleasesTheValue) {
  UintTree tree;
  Fill(tree, {4, 2, 6, 1, 3, 5, 7});
  int alive = CountedValue::s_Alive;
  for (unsigned int const key : {1U, 4U, 6U, 2U, 7U, 5U, 3U}) {
    EXPECT_TRUE(tree.Remove(key));
    EXPECT_EQ(CountedValue::s_Alive, --alive);
  }
  EXPECT_EQ(alive, 1); // the default value
}

TEST_F(omi_BtreeTest, RemoveAcceptsTheKeyOfItsOwnNode) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  EXPECT_TRUE(tree.Remove(tree.ConstFind(4)->Key()));
  EXPECT_EQ(ShapeOf(tree), "6:1(2:0,-)");
}

TEST_F(omi_BtreeTest, DestructionReleasesEveryValue) {
  {
    UintTree tree;
    Fill(tree, {4, 2, 6, 1, 3, 5, 7});
    EXPECT_EQ(CountedValue::s_Alive, 8);
  }
  EXPECT_EQ(CountedValue::s_Alive, 0);
}

TEST_F(omi_BtreeTest, CopyHasTheSameShapeInItsOwnNodes) {
  UintTree tree;
  Fill(tree, {5, 3, 7, 2, 8, 1});
  CountedValue::ResetCounts();
  UintTree const copy(tree);
  EXPECT_EQ(ShapeOf(copy), ShapeOf(tree));
  EXPECT_EQ(copy.Count(), 6U);
  EXPECT_TRUE(copy.Verify());
  EXPECT_EQ(CountedValue::s_Copies, 7); // including the default value
  for (auto const& [key, node] : Addresses(tree)) EXPECT_NE(copy.ConstFind(key), node);
}

TEST_F(omi_BtreeTest, CopyAndOriginalChangeIndependently) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  UintTree copy(tree);
  tree.Remove(4);
  tree.Find(2)->Value().m_Value = 99;
  Fill(copy, {8});
  EXPECT_EQ(Walk(tree), (Keys{2, 6}));
  EXPECT_EQ(Walk(copy), (Keys{2, 4, 6, 8}));
  EXPECT_EQ(copy.ConstGet(2).m_Value, 20);
  EXPECT_EQ(tree.Count(), 2U);
  EXPECT_EQ(copy.Count(), 4U);
}

TEST_F(omi_BtreeTest, CopyOutlivesTheOriginal) {
  auto* const tree = new UintTree;
  Fill(*tree, {4, 2, 6});
  UintTree const copy(*tree);
  delete tree;
  EXPECT_EQ(Walk(copy), (Keys{2, 4, 6}));
  EXPECT_EQ(copy.ConstGet(6).m_Value, 60);
}

TEST_F(omi_BtreeTest, CopyOfAnEmptyTreeIsEmpty) {
  UintTree const tree;
  UintTree const copy(tree);
  EXPECT_EQ(copy.Root(), nullptr);
  EXPECT_EQ(copy.Count(), 0U);
}

TEST_F(omi_BtreeTest, AssignmentReplacesTheEntries) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  UintTree other;
  Fill(other, {1, 9});
  other = tree;
  EXPECT_EQ(ShapeOf(other), ShapeOf(tree));
  EXPECT_EQ(other.Count(), 3U);
  tree.Remove(2);
  EXPECT_EQ(Walk(other), (Keys{2, 4, 6}));
  EXPECT_EQ(CountedValue::s_Alive, 2 + 3 + 2);
}

TEST_F(omi_BtreeTest, AssignmentToItselfKeepsTheEntries) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  UintTree const& same = tree;
  tree = same;
  EXPECT_EQ(Walk(tree), (Keys{2, 4, 6}));
  EXPECT_EQ(tree.ConstGet(4).m_Value, 40);
}

TEST_F(omi_BtreeTest, CopyThatFailsAtAnyStepLeaksNothing) {
  UintTree tree;
  Fill(tree, {4, 2, 6, 1, 3, 5, 7});
  int const alive = CountedValue::s_Alive;
  for (int step = 1; step <= 8; ++step) { // the last is the default value
    CountedValue::ResetCounts();
    CountedValue::s_FailAtCopy = step;
    EXPECT_THROW(UintTree{tree}, std::runtime_error) << "step " << step;
    EXPECT_EQ(CountedValue::s_Alive, alive) << "step " << step;
  }
}

TEST_F(omi_BtreeTest, AssignmentThatFailsKeepsTheOldEntries) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  UintTree other;
  Fill(other, {1, 9});
  CountedValue::ResetCounts();
  CountedValue::s_FailAtCopy = 2;
  EXPECT_THROW(other = tree, std::runtime_error);
  EXPECT_EQ(Walk(other), (Keys{1, 9}));
  EXPECT_EQ(other.Count(), 2U);
}

TEST(omi_KeyOrderTest, SignedDifferenceOrdersUnsignedKeys) {
  using Order = omi_KeyOrder<unsigned int>;
  EXPECT_EQ(Order::Direction(7, 7), 0);
  EXPECT_GT(Order::Direction(8, 7), 0);
  EXPECT_LT(Order::Direction(7, 8), 0);
  EXPECT_GT(Order::Direction(0x7FFFFFFFU, 0), 0);
  EXPECT_LT(Order::Direction(0xFFFFFFFFU, 0), 0);
  EXPECT_GT(Order::Direction(0, 0xFFFFFFFFU), 0);
  EXPECT_LT(Order::Direction(0x80000000U, 0), 0);
  EXPECT_LT(Order::Direction(0, 0x80000000U), 0); // exactly 2^31 apart: each goes left of the other
}

TEST(omi_BtreeIteratorTest, WalksInOrderAfterAnyOrderOfInsertion) {
  Keys keys{1, 2, 3, 4, 5, 6};
  do {
    UintTree tree;
    for (unsigned int const key : keys) tree.Insert(key, CountedValue(static_cast<int>(key)));
    ASSERT_EQ(Walk(tree), (Keys{1, 2, 3, 4, 5, 6}));
    ASSERT_TRUE(tree.Verify());
  } while (std::next_permutation(keys.begin(), keys.end()));
}

TEST(omi_BtreeIteratorTest, IsDoneAtOnceOnAnEmptyTree) {
  UintTree const tree;
  omi_BtreeIterator<unsigned int, CountedValue> i(tree);
  EXPECT_TRUE(i.IsDone());
  i.First();
  EXPECT_TRUE(i.IsDone());
}

TEST(omi_BtreeIteratorTest, ReturnsTheNodesThemselves) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  omi_BtreeIterator<unsigned int, CountedValue> i(tree);
  EXPECT_EQ(&i.Current(), tree.ConstFind(2));
  EXPECT_EQ(i.Key(), 2U);
  EXPECT_EQ(i.Value().m_Value, 20);
  i.Next();
  EXPECT_EQ(&i.Current(), tree.Root());
  i.Next();
  EXPECT_EQ(&i.Current(), tree.ConstFind(6));
  i.Next();
  EXPECT_TRUE(i.IsDone());
}

TEST(omi_BtreeIteratorTest, FirstRestartsFromAnyPosition) {
  UintTree tree;
  Fill(tree, {4, 2, 6, 1, 3, 5, 7});
  omi_BtreeIterator<unsigned int, CountedValue> i(tree);
  for (int steps = 0; steps <= 7; ++steps) {
    i.First();
    for (int step = 0; step < steps; ++step) i.Next();
    i.First();
    ASSERT_FALSE(i.IsDone());
    EXPECT_EQ(i.Key(), 1U);
  }
}

TEST(omi_BtreeIteratorTest, ClimbsBackThroughAChainOfRightChildren) {
  UintTree tree;
  Fill(tree, {10, 5, 20, 6, 21, 7});
  EXPECT_EQ(ShapeOf(tree), "10:3(5:2(-,6:1(-,7:0)),20:1(-,21:0))");
  EXPECT_EQ(Walk(tree), (Keys{5, 6, 7, 10, 20, 21}));
}

TEST(omi_BtreeIteratorTest, UnfinishedWalkReleasesItsPath) {
  UintTree tree;
  Fill(tree, {4, 2, 6, 1, 3, 5, 7});
  omi_BtreeIterator<unsigned int, CountedValue> i(tree);
  i.Next();
  EXPECT_EQ(i.Key(), 2U); // the leak sanitizer checks the rest
}

TEST(omi_BtreeIteratorTest, TwoIteratorsOverOneTreeAreIndependent) {
  UintTree tree;
  Fill(tree, {4, 2, 6});
  omi_BtreeIterator<unsigned int, CountedValue> a(tree);
  omi_BtreeIterator<unsigned int, CountedValue> b(tree);
  a.Next();
  a.Next();
  EXPECT_EQ(a.Key(), 6U);
  EXPECT_EQ(b.Key(), 2U);
}

} // namespace
