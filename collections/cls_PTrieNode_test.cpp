#include "collections/cls_PTrieNode.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

#include "collections/cls_PTrie.h"
#include "tests/support/CountedValue.h"

namespace {

using Trie = cls_PTrie<int, CountedValue, 1>;
using Node = Trie::Node;
using Branch = Trie::Branch;
using Leaf = Trie::Leaf;
using Iter = Trie::Iter;

/// A node that logs its operations and returns preset results.
class LoggedNode : public Node {
 public:
  LoggedNode(std::string& log, char const* name) : m_Log(log), m_Name(name) {}
  ~LoggedNode() override { m_Log += "~" + m_Name + " "; }

  CountedValue const* Locate(Trie const&, int const& key) const override {
    Log("Locate", key);
    return m_Found;
  }
  int Insert(Trie&, int const& key, CountedValue const&) override {
    Log("Insert", key);
    return m_Bit;
  }
  Node* Remove(Trie&, int const& key) override {
    Log("Remove", key);
    return m_Replacement;
  }
  int Next(Iter&) const override {
    m_Log += m_Name + ".Next ";
    return m_Moves;
  }

  CountedValue const* m_Found = nullptr;
  int m_Bit = Node::Done;
  Node* m_Replacement = this;
  int m_Moves = 0;

 private:
  void Log(char const* operation, int key) const {
    m_Log += m_Name + "." + operation + "(" + std::to_string(key) + ") ";
  }

  std::string& m_Log;
  std::string m_Name;
};

/// A branch on bit 5 over two logged nodes, and a trie for the scratch key.
class PTrieBranch : public ::testing::Test {
 protected:
  PTrieBranch() : m_Branch(new Branch(5, m_Set, m_Clear)) {}

  /// Makes `key` the scratch key; the trie is empty.
  void SetScratch(int key) { m_Trie.Remove(key); }

  std::string TakeLog() { return std::exchange(m_Log, {}); }

  int m_AliveBefore = CountedValue::s_Alive;
  std::string m_Log;
  Trie m_Trie;
  LoggedNode* m_Set = new LoggedNode(m_Log, "set");
  LoggedNode* m_Clear = new LoggedNode(m_Log, "clear");
  Branch* m_Branch;
};

} // namespace

TEST(PTrieNode, IsAnInterface) {
  static_assert(std::has_virtual_destructor_v<Node> && std::is_abstract_v<Node>);
}

TEST(PTrieNode, AddsNoDataToItsTable) {
  EXPECT_EQ(sizeof(Node), sizeof(void*));
}

TEST(PTrieNode, DoneIsPastTheLastBit) {
  EXPECT_EQ(Node::Done, 32);
  EXPECT_EQ((cls_PTrieNode<long long, int, 2>::Done), 64);
}

TEST(PTrieImage, CriticalBitIsTheHighestThatDiffers) {
  using Image = cls_PTrieImage<long long, 2>;
  unsigned int const zero[2] = {0, 0};
  for (int bit = 0; bit < 64; ++bit) {
    long long const key = static_cast<long long>((2ULL << bit) - 1); // this bit and all below it
    unsigned int image[2];
    Image::Copy(key, image);
    EXPECT_EQ(Image::CriticalBit(image, zero), bit);
    EXPECT_EQ(Image::CriticalBit(zero, image), bit);
    EXPECT_EQ(Image::CriticalBit(image, image), -1);
    EXPECT_TRUE(Image::Test(image, bit));
    EXPECT_FALSE(bit < 63 && Image::Test(image, bit + 1));
  }
}

TEST(PTrieImage, OfAnIntIsItsTwosComplement) {
  unsigned int image[1];
  cls_PTrieImage<int, 1>::Copy(-2, image);
  EXPECT_EQ(image[0], 0xFFFFFFFEU);
}

TEST_F(PTrieBranch, DestructionDeletesBothChildrenAndFreesTheSlot) {
  void* const slot = m_Branch;
  delete static_cast<Node*>(m_Branch); // through the base
  EXPECT_EQ(TakeLog(), "~set ~clear ");
  void* const next = Branch::operator new(sizeof(Branch));
  EXPECT_EQ(next, slot);
  Branch::operator delete(next);
}

TEST_F(PTrieBranch, DestructionSkipsNullChildren) {
  delete m_Branch;
  TakeLog();
  delete new Branch(0, new LoggedNode(m_Log, "set"), nullptr);
  delete new Branch(0, nullptr, new LoggedNode(m_Log, "clear"));
  delete new Branch(0, nullptr, nullptr);
  EXPECT_EQ(TakeLog(), "~set ~clear ");
}

TEST_F(PTrieBranch, LocateFollowsTheScratchKeysBit) {
  CountedValue const value;
  m_Set->m_Found = &value;
  SetScratch(32);
  EXPECT_EQ(m_Branch->Locate(m_Trie, 7), &value); // the key itself is not used
  SetScratch(~32);
  EXPECT_EQ(m_Branch->Locate(m_Trie, 7), nullptr);
  EXPECT_EQ(TakeLog(), "set.Locate(7) clear.Locate(7) ");
  delete m_Branch;
}

TEST_F(PTrieBranch, InsertReturnsABitThatBelongsAbove) {
  CountedValue const value;
  SetScratch(32);
  for (int const bit : {Node::Done, 31, 6}) {
    m_Set->m_Bit = bit;
    EXPECT_EQ(m_Branch->Insert(m_Trie, 7, value), bit);
  }
  SetScratch(0);
  EXPECT_EQ(m_Branch->Insert(m_Trie, 8, value), Node::Done);
  EXPECT_EQ(m_Trie.Count(), 0U);
  EXPECT_EQ(TakeLog(), "set.Insert(7) set.Insert(7) set.Insert(7) clear.Insert(8) ");
  delete m_Branch;
  EXPECT_EQ(TakeLog(), "~set ~clear "); // still the children
}

TEST_F(PTrieBranch, InsertReplacesTheFollowedChildWithANewBranch) {
  for (int const key : {32, 32 + 8}) { // the leaf on the clear side of the new branch, then on the set side
    if (key != 32) {
      m_Set = new LoggedNode(m_Log, "set");
      m_Branch = new Branch(5, m_Set, m_Clear = new LoggedNode(m_Log, "clear"));
    }
    m_Trie.Clear();
    SetScratch(key);
    m_Set->m_Bit = 3;
    EXPECT_EQ(m_Branch->Insert(m_Trie, key, CountedValue(9)), Node::Done);
    EXPECT_EQ(m_Trie.Count(), 1U);
    TakeLog();
    EXPECT_EQ(m_Branch->Locate(m_Trie, key)->m_Value, 9);
    EXPECT_EQ(TakeLog(), "");
    SetScratch(key ^ 8);
    EXPECT_EQ(m_Branch->Locate(m_Trie, key), nullptr);
    EXPECT_EQ(TakeLog(), "set.Locate(" + std::to_string(key) + ") ");
    delete m_Branch;
    EXPECT_EQ(TakeLog(), "~set ~clear ");
  }
  EXPECT_EQ(CountedValue::s_Alive, m_AliveBefore);
}

TEST_F(PTrieBranch, RemoveReturnsItselfWhenTheChildStays) {
  SetScratch(32);
  EXPECT_EQ(m_Branch->Remove(m_Trie, 7), m_Branch);
  SetScratch(0);
  EXPECT_EQ(m_Branch->Remove(m_Trie, 8), m_Branch);
  EXPECT_EQ(TakeLog(), "set.Remove(7) clear.Remove(8) ");
  delete m_Branch;
  EXPECT_EQ(TakeLog(), "~set ~clear ");
}

TEST_F(PTrieBranch, RemoveReplacesTheChildWithItsReplacement) {
  SetScratch(32);
  m_Set->m_Replacement = new LoggedNode(m_Log, "heir");
  EXPECT_EQ(m_Branch->Remove(m_Trie, 7), m_Branch);
  EXPECT_EQ(TakeLog(), "set.Remove(7) ~set ");
  m_Branch->Locate(m_Trie, 7);
  EXPECT_EQ(TakeLog(), "heir.Locate(7) ");
  delete m_Branch;
  EXPECT_EQ(TakeLog(), "~heir ~clear ");
}

TEST_F(PTrieBranch, RemoveReturnsTheSiblingOfARemovedChild) {
  SetScratch(32);
  m_Set->m_Replacement = nullptr;
  EXPECT_EQ(m_Branch->Remove(m_Trie, 7), m_Clear);
  EXPECT_EQ(TakeLog(), "set.Remove(7) ~set ");
  delete m_Branch; // deletes nothing below it
  EXPECT_EQ(TakeLog(), "");

  m_Set = new LoggedNode(m_Log, "set");
  m_Branch = new Branch(5, m_Set, m_Clear);
  SetScratch(0);
  m_Clear->m_Replacement = nullptr;
  EXPECT_EQ(m_Branch->Remove(m_Trie, 8), m_Set);
  EXPECT_EQ(TakeLog(), "clear.Remove(8) ~clear ");
  delete m_Branch;
  EXPECT_EQ(TakeLog(), "");
  delete m_Set;
}

TEST_F(PTrieBranch, NextVisitsTheClearSideFirst) {
  Iter iter(m_Trie);
  iter.First(); // on an empty trie: the iterator's key is 0
  m_Set->m_Moves = 1;
  EXPECT_EQ(m_Branch->Next(iter), 1);
  EXPECT_EQ(TakeLog(), "clear.Next set.Next ");
  m_Clear->m_Moves = 1;
  EXPECT_EQ(m_Branch->Next(iter), 1);
  EXPECT_EQ(TakeLog(), "clear.Next ");
  m_Set->m_Moves = m_Clear->m_Moves = 0;
  EXPECT_EQ(m_Branch->Next(iter), 0);
  EXPECT_EQ(TakeLog(), "clear.Next set.Next ");
  delete m_Branch;
}

TEST_F(PTrieBranch, NextSkipsTheClearSideOfAKeyOnTheSetSide) {
  Iter iter(m_Trie);
  iter.First();
  Leaf const leaf(32, CountedValue());
  EXPECT_EQ(leaf.Next(iter), 1);
  m_Clear->m_Moves = 1;
  EXPECT_EQ(m_Branch->Next(iter), 0);
  EXPECT_EQ(TakeLog(), "set.Next ");
  delete m_Branch;
}

TEST(PTrieLeaf, ComparesTheWholeKey) {
  Trie trie;
  Leaf const leaf(4096, CountedValue(3));
  ASSERT_NE(leaf.Locate(trie, 4096), nullptr);
  EXPECT_EQ(leaf.Locate(trie, 4096)->m_Value, 3);
  EXPECT_EQ(leaf.Locate(trie, 4097), nullptr);
  EXPECT_EQ(leaf.Locate(trie, 0), nullptr);
}

TEST(PTrieLeaf, InsertOfItsKeyAssigns) {
  Trie trie;
  Leaf leaf(4096, CountedValue(3));
  CountedValue const value(4);
  CountedValue::ResetCounts();
  EXPECT_EQ(leaf.Insert(trie, 4096, value), Node::Done);
  EXPECT_EQ(CountedValue::s_Copies, 1);
  EXPECT_EQ(leaf.Locate(trie, 4096)->m_Value, 4);
  EXPECT_EQ(trie.Count(), 0U);
}

TEST(PTrieLeaf, InsertOfAnotherKeyReturnsTheBitWhereTheScratchKeyDiffers) {
  Trie trie;
  Leaf leaf(4096, CountedValue(3));
  for (int const key : {4097, 6144, 0, -1}) {
    trie.Remove(key); // the scratch key
    int const expected = key == 4097 ? 0 : key == 6144 ? 11 : key == 0 ? 12 : 31;
    EXPECT_EQ(leaf.Insert(trie, key, CountedValue(9)), expected) << key;
    EXPECT_EQ(leaf.Locate(trie, 4096)->m_Value, 3);
  }
}

TEST(PTrieLeaf, RemoveOfItsKeyCountsDownAndLeavesDeletionToTheCaller) {
  Trie trie;
  trie.Insert(1, CountedValue());
  trie.Insert(2, CountedValue());
  Leaf leaf(4096, CountedValue(3));
  EXPECT_EQ(leaf.Remove(trie, 4097), &leaf);
  EXPECT_EQ(trie.Count(), 2U);
  EXPECT_EQ(leaf.Remove(trie, 4096), nullptr);
  EXPECT_EQ(trie.Count(), 1U);
  EXPECT_EQ(leaf.Locate(trie, 4096)->m_Value, 3);
  trie.Clear();
}

TEST(PTrieLeaf, NextEntersItThenLeavesIt) {
  Trie const trie;
  Iter iter(trie);
  iter.First();
  Leaf const leaf(-1, CountedValue(3));
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(leaf.Next(iter), 1);
    ASSERT_EQ(iter.IsDone(), 0);
    EXPECT_EQ(iter.CurrentKey(), -1);
    EXPECT_EQ(iter.CurrentValue().m_Value, 3);
    EXPECT_EQ(leaf.Next(iter), 0);
    EXPECT_EQ(iter.IsDone(), 1);
  }
}

TEST(PTrieLeaf, DestructionThroughTheBaseDestroysTheValue) {
  int const alive = CountedValue::s_Alive;
  Node* const leaf = new Leaf(1, CountedValue(3));
  EXPECT_EQ(CountedValue::s_Alive, alive + 1);
  delete leaf;
  EXPECT_EQ(CountedValue::s_Alive, alive);
}
