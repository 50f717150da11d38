#include "collections/cls_PTrie.h"

#include <gtest/gtest.h>

#include <climits>
#include <initializer_list>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "collections/cls_ArrayPrimBuffer.h"
#include "persist/identity/cls_Uid.h"
#include "tests/support/CountedValue.h"
#include "tests/support/HeapCount.h"
#include "tests/support/OnThread.h"

namespace {

template <class K> using TrieOf = cls_PTrie<K, CountedValue, sizeof(K) / sizeof(unsigned int)>;
using Trie = TrieOf<int>;
using Trie64 = TrieOf<long long>;
using Branch = Trie::Branch;

/// The slot that the calling thread's next branch will get. Tests reach branches through it, because a trie
/// does not expose its nodes.
void* NextSlot() {
  cls_PTrieHeap& pool = thr_ThreadSingleton<cls_PTrieHeap>::Instance();
  void* const slot = pool.GetNode(sizeof(Branch));
  pool.FreeNode(slot);
  return slot;
}

/// Makes `key` the scratch key of an empty trie.
template <class AnyTrie, class K> void SetScratch(AnyTrie& empty, K key) {
  empty.Remove(key);
}

/// Whether a walk down from `node` by the bits of `scratchKey` ends at the leaf of `key`.
template <class K> bool Leads(typename TrieOf<K>::Node const* node, K scratchKey, K key) {
  TrieOf<K> empty;
  SetScratch(empty, scratchKey);
  return node->Locate(empty, key) != nullptr;
}

/// The bits that, when set, lead from `node` to the leaf of `key`. If that leaf is on the set side of `node`,
/// just the bit that `node` tests.
template <class K> std::vector<int> BitsThatLead(void* node, K key) {
  auto const* const branch = static_cast<typename TrieOf<K>::Branch const*>(node);
  std::vector<int> bits;
  for (int bit = 0; bit < TrieOf<K>::Node::Done; ++bit)
    if (Leads<K>(branch, static_cast<K>(std::make_unsigned_t<K>{1} << bit), key)) bits.push_back(bit);
  return bits;
}

template <class AnyTrie> void InsertKeys(AnyTrie& trie, std::initializer_list<int> keys) {
  for (int const key : keys) trie.Insert(key, CountedValue(key));
}

using Keys = std::vector<int>;

template <class K> std::vector<K> KeysOf(TrieOf<K> const& trie) {
  std::vector<K> keys;
  cls_PTrieIter<K, CountedValue, TrieOf<K>::Node::Done / 32> iter(trie);
  for (iter.First(); iter.IsDone() == 0; iter.Next()) keys.push_back(iter.CurrentKey());
  return keys;
}

/// Counts the values that are alive; each test must leave as many as it found.
class PTrie : public ::testing::Test {
 protected:
  PTrie() : m_AliveBefore(CountedValue::s_Alive) { CountedValue::ResetCounts(); }
  ~PTrie() override {
    m_Trie.Clear();
    EXPECT_EQ(Alive(), 0);
    CountedValue::ResetCounts();
  }

  [[nodiscard]] int Alive() const { return CountedValue::s_Alive - m_AliveBefore; }

  int m_AliveBefore;
  Trie m_Trie;
};

using PTrieStructure = PTrie;
using PTrieLastFound = PTrie;
using PTrieIteration = PTrie;

} // namespace

// --- Insertion, look-up, removal.

TEST_F(PTrie, StartsEmpty) {
  EXPECT_EQ(m_Trie.Count(), 0U);
  EXPECT_EQ(m_Trie.Contains(0), 0);
  EXPECT_EQ(m_Trie.ConstGetPtr(0), nullptr);
  EXPECT_TRUE(m_Trie.Verify());
}

TEST_F(PTrie, InsertAddsACopyOfTheValueAndReturnsIt) {
  CountedValue const value(7);
  CountedValue const& stored = m_Trie.Insert(4096, value);
  EXPECT_NE(&stored, &value);
  EXPECT_EQ(stored.m_Value, 7);
  EXPECT_EQ(CountedValue::s_Copies, 1);
  EXPECT_EQ(Alive(), 2);
  EXPECT_EQ(m_Trie.Count(), 1U);
  EXPECT_EQ(m_Trie.ConstGetPtr(4096), &stored);
  EXPECT_EQ(&m_Trie.ConstGet(4096), &stored);
}

TEST_F(PTrie, InsertReturnsTheNewValueForEveryBranchPosition) {
  for (int const key : {4096, 6144, 0, 5120, 1 << 20, -1, 4097}) { // above the root, at leaves, in between
    CountedValue const& stored = m_Trie.Insert(key, CountedValue(key));
    EXPECT_EQ(stored.m_Value, key);
    EXPECT_EQ(m_Trie.ConstGetPtr(key), &stored);
  }
  EXPECT_EQ(m_Trie.Count(), 7U);
  EXPECT_TRUE(m_Trie.Verify());
}

TEST_F(PTrie, InsertOfAnExistingKeyAssignsToItsLeaf) {
  InsertKeys(m_Trie, {1, 2, 3});
  CountedValue const* const before = m_Trie.ConstGetPtr(2);
  CountedValue const value(22);
  int const alive = Alive();
  CountedValue::ResetCounts();
  long long const heap = HeapCount();
  CountedValue const& stored = m_Trie.Insert(2, value);
  EXPECT_EQ(HeapCount(), heap);
  EXPECT_EQ(&stored, before);
  EXPECT_EQ(stored.m_Value, 22);
  EXPECT_EQ(CountedValue::s_Copies, 1); // the assignment
  EXPECT_EQ(Alive(), alive);
  EXPECT_EQ(m_Trie.Count(), 3U);
  EXPECT_EQ(m_Trie.ConstGet(1).m_Value, 1);
  EXPECT_EQ(m_Trie.ConstGet(3).m_Value, 3);
}

TEST_F(PTrie, InsertOfTheOnlyKeyAssignsToo) {
  CountedValue const* const before = &m_Trie.Insert(0, CountedValue(1));
  EXPECT_EQ(&m_Trie.Insert(0, CountedValue(2)), before);
  EXPECT_EQ(before->m_Value, 2);
  EXPECT_EQ(m_Trie.Count(), 1U);
  EXPECT_EQ(Alive(), 1);
}

TEST_F(PTrie, InsertCopiesTheValue) {
  InsertKeys(m_Trie, {1});
  EXPECT_EQ(m_Trie.Insert(2, m_Trie.ConstGet(1)).m_Value, 1);
  EXPECT_EQ(m_Trie.Insert(1, m_Trie.ConstGet(1)).m_Value, 1);
  EXPECT_EQ(m_Trie.Count(), 2U);
}

TEST_F(PTrie, FailedCopyOfAValueLeavesTheTrieUnchanged) {
  InsertKeys(m_Trie, {1, 4096});
  CountedValue const value(5);
  for (int const key : {0, 4097, 1 << 20, 1}) { // the last one is an assignment
    CountedValue::ResetCounts();
    CountedValue::s_FailAtCopy = 1;
    EXPECT_THROW(m_Trie.Insert(key, value), std::runtime_error);
    EXPECT_EQ(KeysOf(m_Trie), Keys({1, 4096}));
    EXPECT_EQ(m_Trie.ConstGet(1).m_Value, 1);
    EXPECT_TRUE(m_Trie.Verify());
  }
}

TEST_F(PTrie, LookUpCopiesNothing) {
  InsertKeys(m_Trie, {0, 2048, 4096});
  CountedValue::ResetCounts();
  EXPECT_EQ(m_Trie.Contains(2048), 1);
  EXPECT_EQ(m_Trie.ConstGet(4096).m_Value, 4096);
  EXPECT_EQ(m_Trie.ConstGetPtr(0)->m_Value, 0);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(PTrie, LookUpOfAnAbsentKeyWithTheSameTestedBitsFindsNothing) {
  InsertKeys(m_Trie, {4096, 6144}); // bit 11 is the only one tested
  for (int const key : {0, 2048, 4097, 6145, 8192, 4096 | INT_MIN, -1, 1}) {
    EXPECT_EQ(m_Trie.Contains(key), 0) << key;
    EXPECT_EQ(m_Trie.ConstGetPtr(key), nullptr) << key;
  }
  EXPECT_EQ(m_Trie.Contains(4096), 1);
  EXPECT_EQ(m_Trie.Contains(6144), 1);
}

TEST_F(PTrie, TwoKeysCanDifferInAnyBit) {
  m_Trie.Insert(0, CountedValue(-1));
  for (int bit = 0; bit < 32; ++bit) m_Trie.Insert(static_cast<int>(1U << bit), CountedValue(bit));
  EXPECT_EQ(m_Trie.Count(), 33U);
  for (int bit = 0; bit < 32; ++bit) EXPECT_EQ(m_Trie.ConstGet(static_cast<int>(1U << bit)).m_Value, bit);
  EXPECT_EQ(m_Trie.ConstGet(0).m_Value, -1);
  EXPECT_TRUE(m_Trie.Verify());
}

TEST_F(PTrie, RemoveDestroysTheValueOfItsKeyOnly) {
  InsertKeys(m_Trie, {1, 2, 3});
  m_Trie.Remove(2);
  EXPECT_EQ(Alive(), 2);
  EXPECT_EQ(m_Trie.Count(), 2U);
  EXPECT_EQ(m_Trie.Contains(2), 0);
  EXPECT_EQ(KeysOf(m_Trie), Keys({1, 3}));
  EXPECT_EQ(m_Trie.ConstGet(3).m_Value, 3);
}

TEST_F(PTrie, RemoveLeavesTheOtherValuesWhereTheyAre) {
  InsertKeys(m_Trie, {0, 1, 4096, 6144, -1});
  CountedValue const* const kept = m_Trie.ConstGetPtr(4096);
  CountedValue::ResetCounts();
  for (int const key : {0, -1, 6144, 1}) m_Trie.Remove(key);
  EXPECT_EQ(m_Trie.ConstGetPtr(4096), kept);
  EXPECT_EQ(CountedValue::s_Copies + CountedValue::s_Moves, 0);
}

TEST_F(PTrie, RemoveOfTheOnlyKeyLeavesAnEmptyTrie) {
  InsertKeys(m_Trie, {5});
  m_Trie.Remove(5);
  EXPECT_EQ(m_Trie.Count(), 0U);
  EXPECT_EQ(m_Trie.Contains(5), 0);
  EXPECT_EQ(Alive(), 0);
  EXPECT_TRUE(m_Trie.Verify());
  InsertKeys(m_Trie, {6});
  EXPECT_EQ(KeysOf(m_Trie), Keys({6}));
}

TEST_F(PTrie, RemoveOfAnAbsentKeyChangesNothing) {
  InsertKeys(m_Trie, {4096});
  m_Trie.Remove(0);
  EXPECT_EQ(KeysOf(m_Trie), Keys({4096}));
  InsertKeys(m_Trie, {6144, 0});
  for (int const key : {4097, 6145, 2048, -1, 1}) m_Trie.Remove(key);
  EXPECT_EQ(m_Trie.Count(), 3U);
  EXPECT_EQ(KeysOf(m_Trie), Keys({0, 4096, 6144}));
  EXPECT_EQ(Alive(), 3);
}

TEST_F(PTrie, RemoveFromAnEmptyTrieDoesNothing) {
  m_Trie.Remove(0);
  m_Trie.Remove(-1);
  EXPECT_EQ(m_Trie.Count(), 0U);
  EXPECT_TRUE(m_Trie.Verify());
}

TEST_F(PTrie, RemoveOfAKeyReferenceIntoTheLeafWorks) {
  InsertKeys(m_Trie, {0, 1, 2, 3, -5});
  for (unsigned int count = 5; count > 0; --count) {
    cls_PTrieIter<int, CountedValue, 1> iter(m_Trie);
    iter.First();
    m_Trie.Remove(iter.CurrentKey());
    EXPECT_EQ(m_Trie.Count(), count - 1);
  }
}

TEST_F(PTrie, ClearDeletesEveryNodeAndTheTrieStaysUsable) {
  InsertKeys(m_Trie, {0, 1, 4096, -1});
  m_Trie.Clear();
  EXPECT_EQ(Alive(), 0);
  EXPECT_EQ(m_Trie.Count(), 0U);
  EXPECT_EQ(m_Trie.Contains(0), 0);
  EXPECT_TRUE(m_Trie.Verify());
  InsertKeys(m_Trie, {1, 2});
  EXPECT_EQ(KeysOf(m_Trie), Keys({1, 2}));
}

TEST_F(PTrie, ClearOfAnEmptyTrieDoesNothing) {
  m_Trie.Clear();
  m_Trie.Clear();
  EXPECT_EQ(m_Trie.Count(), 0U);
  EXPECT_TRUE(m_Trie.Verify());
}

TEST_F(PTrie, DestructionReleasesNothing) {
  void* const root = NextSlot();
  CountedValue const* kept = nullptr;
  {
    Trie trie;
    InsertKeys(trie, {1, 2, 3});
    trie.Remove(3);
    kept = trie.ConstGetPtr(2);
  }
  EXPECT_EQ(Alive(), 2);
  EXPECT_EQ(kept->m_Value, 2);
  EXPECT_NE(NextSlot(), root);
  EXPECT_TRUE(Leads(static_cast<Branch*>(root), 2, 2));
  delete static_cast<Branch*>(root); // the whole subtree
  EXPECT_EQ(Alive(), 0);
  EXPECT_EQ(NextSlot(), root);
}

TEST_F(PTrie, DestructionOfALoneLeafReleasesNothing) {
  static CountedValue const* s_Kept = nullptr; // keeps the leaf reachable
  {
    Trie trie;
    s_Kept = &trie.Insert(1, CountedValue(11));
  }
  EXPECT_EQ(Alive(), 1);
  EXPECT_EQ(s_Kept->m_Value, 11);
  m_AliveBefore = CountedValue::s_Alive; // the value stays alive
}

TEST_F(PTrie, VerifyDetectsAKeyInTheWrongPlace) {
  void* const root = NextSlot();
  InsertKeys(m_Trie, {4096, 6144});
  EXPECT_TRUE(m_Trie.Verify());
  m_Trie.Remove(4097); // only makes it the scratch key, which the next insertion follows
  static_cast<Branch*>(root)->Insert(m_Trie, 6145, CountedValue(0));
  EXPECT_FALSE(m_Trie.Verify());
}

TEST_F(PTrie, VerifyDetectsAWrongCount) {
  void* const root = NextSlot();
  InsertKeys(m_Trie, {4096, 6144});
  Trie other;
  SetScratch(other, 4097);
  static_cast<Branch*>(root)->Insert(other, 4097, CountedValue(0)); // counted in the other trie
  EXPECT_EQ(KeysOf(m_Trie), Keys({4096, 4097, 6144}));
  EXPECT_FALSE(m_Trie.Verify());
  EXPECT_FALSE(other.Verify());
}

// --- Structure: one branch for each critical bit.

TEST_F(PTrieStructure, LoneKeyHasNoBranch) {
  void* const slot = NextSlot();
  InsertKeys(m_Trie, {4096});
  EXPECT_EQ(NextSlot(), slot);
}

TEST_F(PTrieStructure, RootTestsTheHighestBitInWhichTheKeysDiffer) {
  void* const root = NextSlot();
  InsertKeys(m_Trie, {4096, 6144});
  EXPECT_EQ(BitsThatLead(root, 6144), std::vector<int>({11}));
  EXPECT_FALSE(Leads(static_cast<Branch*>(root), 2048, 4096));
  EXPECT_TRUE(Leads(static_cast<Branch*>(root), 0, 4096));
}

TEST_F(PTrieStructure, NewKeyCanGoOnTheClearSide) {
  void* const root = NextSlot();
  InsertKeys(m_Trie, {6144, 4096});
  EXPECT_EQ(BitsThatLead(root, 6144), std::vector<int>({11}));
  EXPECT_TRUE(Leads(static_cast<Branch*>(root), 0, 4096));
}

TEST_F(PTrieStructure, SignBitSeparatesZeroFromMinusOne) {
  void* const root = NextSlot();
  InsertKeys(m_Trie, {0, -1});
  EXPECT_EQ(BitsThatLead(root, -1), std::vector<int>({31}));
  EXPECT_EQ(KeysOf(m_Trie), Keys({0, -1}));
}

TEST_F(PTrieStructure, KeyThatDiffersInAHigherBitGoesAboveTheRoot) {
  void* const low = NextSlot();
  InsertKeys(m_Trie, {0, 1});
  void* const root = NextSlot();
  InsertKeys(m_Trie, {4096});
  EXPECT_EQ(BitsThatLead(root, 4096), std::vector<int>({12}));
  EXPECT_EQ(BitsThatLead(root, 1), std::vector<int>({0}));
  EXPECT_EQ(BitsThatLead(low, 1), std::vector<int>({0}));
}

TEST_F(PTrieStructure, OldRootCanGoOnTheSetSide) {
  InsertKeys(m_Trie, {4096, 4097});
  void* const root = NextSlot();
  InsertKeys(m_Trie, {0});
  EXPECT_TRUE(Leads(static_cast<Branch*>(root), 0, 0));
  EXPECT_TRUE(Leads(static_cast<Branch*>(root), 4096, 4096));
  EXPECT_TRUE(Leads(static_cast<Branch*>(root), 4097, 4097));
}

TEST_F(PTrieStructure, BranchIsInsertedWhereItsBitBelongs) {
  void* const root = NextSlot();
  InsertKeys(m_Trie, {0, 4096});
  void* const low = NextSlot();
  InsertKeys(m_Trie, {1});
  void* const middle = NextSlot();
  InsertKeys(m_Trie, {16});
  EXPECT_EQ(BitsThatLead(root, 4096), std::vector<int>({12}));
  EXPECT_EQ(BitsThatLead(root, 16), std::vector<int>({4}));
  EXPECT_EQ(BitsThatLead(middle, 16), std::vector<int>({4}));
  EXPECT_EQ(BitsThatLead(middle, 1), std::vector<int>({0}));
  EXPECT_EQ(BitsThatLead(low, 1), std::vector<int>({0}));
  EXPECT_FALSE(Leads(static_cast<Branch*>(middle), 4096, 4096));
  EXPECT_TRUE(m_Trie.Verify());
}

TEST_F(PTrieStructure, RemoveOfOneOfTwoKeysLeavesALoneLeaf) {
  for (int const removed : {4096, 6144}) {
    void* const root = NextSlot();
    InsertKeys(m_Trie, {4096, 6144});
    EXPECT_NE(NextSlot(), root);
    m_Trie.Remove(removed);
    EXPECT_EQ(NextSlot(), root); // returned to the pool
    EXPECT_EQ(m_Trie.Count(), 1U);
    EXPECT_EQ(KeysOf(m_Trie), Keys({4096 + 6144 - removed}));
    m_Trie.Clear();
  }
}

TEST_F(PTrieStructure, SurvivingSiblingReplacesTheBranch) {
  void* const low = NextSlot();
  InsertKeys(m_Trie, {0, 1});
  void* const root = NextSlot();
  InsertKeys(m_Trie, {4096});
  m_Trie.Remove(4096);
  EXPECT_EQ(NextSlot(), root);
  EXPECT_EQ(BitsThatLead(low, 1), std::vector<int>({0}));
  InsertKeys(m_Trie, {4096}); // above the branch that became the root
  EXPECT_EQ(BitsThatLead(root, 1), std::vector<int>({0}));
  m_Trie.Remove(0);
  EXPECT_EQ(NextSlot(), low);
  EXPECT_EQ(BitsThatLead(root, 4096), std::vector<int>({12}));
  EXPECT_TRUE(Leads(static_cast<Branch*>(root), 0, 1));
  EXPECT_EQ(KeysOf(m_Trie), Keys({1, 4096}));
}

TEST_F(PTrieStructure, ThereIsOneBranchFewerThanKeys) {
  OnThread([] {
    constexpr int Count = 100;
    Trie trie;
    cls_PTrieHeap& pool = thr_ThreadSingleton<cls_PTrieHeap>::Instance();
    std::vector<void*> slots(Count + 1);
    for (void*& slot : slots) slot = pool.GetNode(sizeof(Branch));
    for (auto slot = slots.rbegin(); slot != slots.rend(); ++slot) pool.FreeNode(*slot);
    for (int i = 0; i < Count; ++i) {
      EXPECT_EQ(NextSlot(), slots[static_cast<std::size_t>(i == 0 ? 0 : i - 1)]);
      trie.Insert(i * 37 - 1000, CountedValue(i));
      trie.Insert(i * 37 - 1000, CountedValue(i));
    }
    trie.Clear();
  });
}

TEST_F(PTrieStructure, BranchesOfAllKeyTypesHaveOneSize) {
  static_assert(sizeof(Branch) == sizeof(Trie64::Branch));
  static_assert(sizeof(Branch) == sizeof(cls_PTrieInternalNode<int, cls_Uid, 1>));
  static_assert(sizeof(Branch) == sizeof(cls_PTrieInternalNode<int, cls_ArrayPrimBuffer<double>, 1>));
  void* const first = NextSlot();
  InsertKeys(m_Trie, {1, 2});
  Trie64 wide;
  void* const second = NextSlot();
  wide.Insert(1, CountedValue(1));
  wide.Insert(2, CountedValue(2));
  m_Trie.Clear();
  EXPECT_EQ(NextSlot(), first);
  wide.Clear();
  EXPECT_EQ(NextSlot(), second);
}

// --- The last found key and value.

TEST_F(PTrieLastFound, IsTheKeyOfTheLatestLookUp) {
  InsertKeys(m_Trie, {1, 2});
  EXPECT_FALSE(m_Trie.IsLastFound(1));
  EXPECT_FALSE(m_Trie.IsLastFound(2));
  CountedValue const* const first = m_Trie.ConstGetPtr(1);
  ASSERT_TRUE(m_Trie.IsLastFound(1));
  EXPECT_EQ(&m_Trie.LastFoundValue(), first);
  EXPECT_EQ(m_Trie.Contains(2), 1);
  EXPECT_FALSE(m_Trie.IsLastFound(1));
  ASSERT_TRUE(m_Trie.IsLastFound(2));
  EXPECT_EQ(&m_Trie.LastFoundValue(), m_Trie.ConstGetPtr(2));
  EXPECT_EQ(&m_Trie.ConstGet(1), first);
  ASSERT_TRUE(m_Trie.IsLastFound(1));
  EXPECT_EQ(&m_Trie.LastFoundValue(), first);
}

TEST_F(PTrieLastFound, IsForgottenWhenItsKeyIsRemoved) {
  InsertKeys(m_Trie, {1, 2});
  EXPECT_EQ(m_Trie.Contains(1), 1);
  m_Trie.Remove(1);
  EXPECT_FALSE(m_Trie.IsLastFound(1));
  EXPECT_EQ(m_Trie.Contains(1), 0);
  m_Trie.Insert(1, CountedValue(11));
  EXPECT_EQ(m_Trie.ConstGet(1).m_Value, 11);
}

TEST_F(PTrieLastFound, SurvivesTheRemovalOfOtherKeys) {
  InsertKeys(m_Trie, {1, 2, 3});
  CountedValue const* const found = m_Trie.ConstGetPtr(2);
  for (int const key : {1, 3, 4}) {
    m_Trie.Remove(key);
    EXPECT_EQ(m_Trie.Contains(key), 0);
  }
  EXPECT_EQ(m_Trie.ConstGetPtr(2), found);
  EXPECT_EQ(found->m_Value, 2);
}

TEST_F(PTrieLastFound, IsForgottenAfterClear) {
  InsertKeys(m_Trie, {1, 2});
  EXPECT_EQ(m_Trie.Contains(1), 1);
  m_Trie.Clear();
  EXPECT_FALSE(m_Trie.IsLastFound(1));
  EXPECT_EQ(m_Trie.ConstGetPtr(1), nullptr);
  m_Trie.Insert(1, CountedValue(11));
  EXPECT_EQ(m_Trie.ConstGet(1).m_Value, 11);
}

TEST_F(PTrieLastFound, SeesTheValueThatInsertAssigned) {
  InsertKeys(m_Trie, {1, 2});
  CountedValue const* const found = m_Trie.ConstGetPtr(1);
  InsertKeys(m_Trie, {3});
  m_Trie.Insert(1, CountedValue(11));
  EXPECT_EQ(m_Trie.ConstGetPtr(1), found);
  EXPECT_EQ(m_Trie.ConstGet(1).m_Value, 11);
  EXPECT_EQ(m_Trie.ConstGet(3).m_Value, 3);
}

TEST_F(PTrieLastFound, IsNeverAnAbsentKey) {
  InsertKeys(m_Trie, {4096});
  EXPECT_EQ(m_Trie.Contains(4096), 1);
  EXPECT_EQ(m_Trie.Contains(4097), 0);
  EXPECT_FALSE(m_Trie.IsLastFound(4097));
  EXPECT_EQ(m_Trie.Contains(4096), 1);
}

// --- Iteration.

TEST_F(PTrieIteration, IsDoneAtOnceForAnEmptyTrie) {
  cls_PTrieIter<int, CountedValue, 1> iter(m_Trie);
  iter.First();
  EXPECT_EQ(iter.IsDone(), 1);
  iter.Next();
  EXPECT_EQ(iter.IsDone(), 1);
}

TEST_F(PTrieIteration, AscendsInTheUnsignedImage) {
  InsertKeys(m_Trie, {-1, 5, INT_MIN, 0, INT_MAX, -2, 1, 4096});
  EXPECT_EQ(KeysOf(m_Trie), Keys({0, 1, 5, 4096, INT_MAX, INT_MIN, -2, -1}));
}

TEST_F(PTrieIteration, ReturnsTheStoredKeyAndValue) {
  InsertKeys(m_Trie, {0, 7});
  cls_PTrieIter<int, CountedValue, 1> iter(m_Trie);
  iter.First();
  iter.Next();
  EXPECT_EQ(iter.IsDone(), 0);
  EXPECT_EQ(iter.CurrentKey(), 7);
  EXPECT_EQ(&iter.CurrentValue(), m_Trie.ConstGetPtr(7));
}

TEST_F(PTrieIteration, RestartsAfterTheEnd) {
  for (int const smallest : {0, 3}) {
    m_Trie.Clear();
    InsertKeys(m_Trie, {smallest, 4096, -1});
    cls_PTrieIter<int, CountedValue, 1> iter(m_Trie);
    iter.First();
    for (int round = 0; round < 3; ++round) {
      for (int const key : {smallest, 4096, -1}) {
        ASSERT_EQ(iter.IsDone(), 0);
        EXPECT_EQ(iter.CurrentKey(), key);
        iter.Next();
      }
      EXPECT_EQ(iter.IsDone(), 1);
      iter.Next();
    }
  }
}

TEST_F(PTrieIteration, RestartsForALoneKeyToo) {
  for (int const key : {0, 1, -1}) {
    m_Trie.Clear();
    InsertKeys(m_Trie, {key});
    cls_PTrieIter<int, CountedValue, 1> iter(m_Trie);
    iter.First();
    EXPECT_EQ(iter.CurrentKey(), key);
    iter.Next();
    EXPECT_EQ(iter.IsDone(), 1);
    iter.Next();
    ASSERT_EQ(iter.IsDone(), 0);
    EXPECT_EQ(iter.CurrentKey(), key);
  }
}

TEST_F(PTrieIteration, FirstRestartsFromAnyPosition) {
  InsertKeys(m_Trie, {1, 2, 3});
  cls_PTrieIter<int, CountedValue, 1> iter(m_Trie);
  for (int steps = 0; steps < 5; ++steps) {
    iter.First();
    EXPECT_EQ(iter.CurrentKey(), 1);
    for (int i = 0; i < steps; ++i) iter.Next();
  }
}

TEST_F(PTrieIteration, IteratorsDoNotDisturbEachOtherOrLookUps) {
  InsertKeys(m_Trie, {1, 2, 3, -1});
  cls_PTrieIter<int, CountedValue, 1> outer(m_Trie);
  Keys keys;
  for (outer.First(); outer.IsDone() == 0; outer.Next()) {
    EXPECT_EQ(m_Trie.Contains(2), 1);
    EXPECT_EQ(KeysOf(m_Trie).size(), 4U);
    keys.push_back(outer.CurrentKey());
  }
  EXPECT_EQ(keys, Keys({1, 2, 3, -1}));
}

TEST_F(PTrieIteration, TrieNextAdvancesTheIterator) {
  InsertKeys(m_Trie, {1, 2});
  cls_PTrieIter<int, CountedValue, 1> iter(m_Trie);
  iter.First();
  m_Trie.Next(iter);
  EXPECT_EQ(iter.CurrentKey(), 2);
  m_Trie.Next(iter);
  EXPECT_EQ(iter.IsDone(), 1);
}

// --- Other keys and values.

TEST_F(PTrie, KeysOfTwoWordsHaveSixtyFourBits) {
  Trie64 trie;
  long long const high = 1LL << 40;
  void* const root = NextSlot();
  trie.Insert(high + 5, CountedValue(1));
  trie.Insert(5, CountedValue(2));
  EXPECT_EQ(BitsThatLead(root, high + 5), std::vector<int>({40}));
  EXPECT_EQ(trie.Contains(high), 0);
  EXPECT_EQ(trie.ConstGet(5).m_Value, 2);
  trie.Remove(5);
  EXPECT_EQ(NextSlot(), root);
  EXPECT_EQ(KeysOf(trie), std::vector<long long>({high + 5}));
  trie.Clear();
}

TEST_F(PTrie, KeysOfTwoWordsCanDifferInEitherWord) {
  Trie64 trie;
  trie.Insert(0, CountedValue(-1));
  for (int bit = 0; bit < 64; ++bit) trie.Insert(static_cast<long long>(1ULL << bit), CountedValue(bit));
  EXPECT_EQ(trie.Count(), 65U);
  for (int bit = 0; bit < 64; ++bit)
    EXPECT_EQ(trie.ConstGet(static_cast<long long>(1ULL << bit)).m_Value, bit);
  EXPECT_TRUE(trie.Verify());
  for (int bit = 0; bit < 64; bit += 2) trie.Remove(static_cast<long long>(1ULL << bit));
  EXPECT_EQ(trie.Count(), 33U);
  EXPECT_TRUE(trie.Verify());
  trie.Clear();
}

TEST_F(PTrie, KeysOfTwoWordsAscendInTheUnsignedImage) {
  Trie64 trie;
  std::vector<long long> const sorted{0, 1, 0x80000000LL, 0x100000000LL, LLONG_MAX, LLONG_MIN, -1};
  for (std::size_t i = 0; i < sorted.size(); ++i) trie.Insert(sorted[i * 3 % sorted.size()], CountedValue(0));
  EXPECT_EQ(KeysOf(trie), sorted);
  trie.Clear();
}

TEST(PTrieValues, IdentitiesAreHeldUntilTheirLeafIsDeleted) {
  cls_PTrie<int, cls_Uid, 1> trie;
  cls_Uid const first;
  cls_Uid const second;
  EXPECT_EQ(trie.Insert(1, first).Entry(), first.Entry());
  trie.Insert(2, first);
  trie.Insert(2048, second);
  EXPECT_EQ(first.Entry()->m_RefCount, 3U);
  EXPECT_EQ(trie.Insert(2, second).Entry(), second.Entry());
  EXPECT_EQ(first.Entry()->m_RefCount, 2U);
  EXPECT_EQ(second.Entry()->m_RefCount, 3U);
  EXPECT_EQ(trie.ConstGet(1).Entry(), first.Entry());
  trie.Remove(1);
  EXPECT_EQ(first.Entry()->m_RefCount, 1U);
  trie.Clear();
  EXPECT_EQ(second.Entry()->m_RefCount, 1U);
}

TEST(PTrieValues, BlockHandlesShareTheirBlock) {
  using Buffer = cls_ArrayPrimBuffer<int>;
  cls_PTrie<int, Buffer, 1> trie;
  Buffer const block = Buffer::Make();
  Buffer const other = Buffer::Make();
  Buffer const& stored = trie.Insert(2048, block);
  EXPECT_EQ(stored.Values(), block.Values());
  EXPECT_EQ(block.UseCount(), 2U);
  EXPECT_EQ(&trie.Insert(2048, other), &stored);
  EXPECT_EQ(block.UseCount(), 1U);
  EXPECT_EQ(other.UseCount(), 2U);
  trie.Insert(0, block);
  trie.Remove(2048);
  EXPECT_EQ(other.UseCount(), 1U);
  trie.Clear();
  EXPECT_EQ(block.UseCount(), 1U);
}
