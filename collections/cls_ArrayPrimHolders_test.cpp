#include "collections/cls_ArrayPrim.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/backend/ArrayCases.h"
#include "tests/support/backend/StoredList.h"

// Arrays that share an agent, and how they drop it.

namespace {

using Array = cls_ArrayPrim<int>;

/// Counts the flushes that go through the virtual table.
class FlushCounted : public Array {
 public:
  using Array::Array;
  void Flush() const override {
    ++m_Flushes;
    Array::Flush();
  }
  mutable int m_Flushes = 0;
};

class ArrayPrimHolders : public ::testing::Test {
 protected:
  static int Element(int number) { return NumberedElement<int>(number); }

  static cls_ReadVisitor Reader(StoredList<int>& list) {
    return cls_ReadVisitor(new StoredListReader<int>(list));
  }
  Lines Calls() { return m_List.TakeCalls(); }
  /// Gives an array two blocks that are in memory only; the first one was written, and is unchanged since.
  void MakeDetached(Array& array) {
    for (int i = 0; i < 2047; ++i) array.Append(Element(i));
    m_List.m_Elements.clear();
    StoreAs(array, m_List);
    array.Append(Element(2047));
    array.Flush();
    array.Detach();
    for (int i = 2048; i < 2050; ++i) array.Append(Element(i));
  }
  static Lines Writes(StoredList<int>& list) {
    Lines writes;
    for (std::string const& call : list.TakeCalls())
      if (call.starts_with("WriteRun")) writes.push_back(call);
    return writes;
  }
  /// Drops the blocks, and the calls that this makes.
  void Drop(Array const& array) {
    array.Release();
    Calls();
  }

  StoredList<int> m_List{5000};
};

} // namespace

// --- Copies.

TEST_F(ArrayPrimHolders, CopyHoldsTheAgentToo) {
  Array array(Reader(m_List));
  Calls();
  Array copy(array);
  EXPECT_EQ(Calls(), Lines({"AddReference", "RegisterHolder"}));
  EXPECT_EQ(m_List.m_Holders, std::vector<cls_PC*>({&array, &copy}));
  EXPECT_EQ(m_List.m_References, 2);
  EXPECT_EQ(copy.Size(), 5000);
  EXPECT_TRUE(copy.IsAssociated());
  EXPECT_EQ(copy.Uid().Entry(), m_List.m_Uid.Entry());
}

TEST_F(ArrayPrimHolders, CopySharesTheResidentBlock) {
  Array array(Reader(m_List));
  array.Get(7) = 70;
  Array const copy(array);
  Calls();
  EXPECT_EQ(copy.ConstGet(7), 70);
  EXPECT_EQ(&copy.ConstGet(8), &array.ConstGet(8));
  EXPECT_EQ(Calls(), Lines());
  EXPECT_EQ(copy.ConstGet(2048), Element(2048));
  EXPECT_EQ(Calls(), Lines({"WriteRun(0, 2048)", "ReadRun(2048, 2048)"}));
  EXPECT_EQ(array.ConstGet(2049), Element(2049));
  EXPECT_EQ(Calls(), Lines());
  Drop(array);
}

TEST_F(ArrayPrimHolders, DestroyingACopyOnlyDropsAReference) {
  Array array(Reader(m_List));
  array.Get(7) = 70;
  {
    Array const copy(array);
    Calls();
  }
  EXPECT_EQ(Calls(), LetGoOfAnother);
  EXPECT_EQ(m_List.m_Elements[7], Element(7));
  EXPECT_EQ(array.ConstGet(7), 70);
  Drop(array);
}

TEST_F(ArrayPrimHolders, DestroyingTheLastHolderFlushesAndDeletesTheAgent) {
  auto array = std::make_unique<Array>(Reader(m_List));
  auto copy = std::make_unique<Array>(*array);
  array.reset();
  EXPECT_EQ(m_List.m_LiveAgents, 1);
  Drop(*copy);
  copy.reset();
  EXPECT_EQ(Calls(), LetGoOfTheLast);
  EXPECT_EQ(m_List.m_LiveAgents, 0);
  EXPECT_EQ(m_List.m_References, 0);
}

TEST_F(ArrayPrimHolders, LastHolderWritesChangedBlocks) {
  Array inMemory; // keeps the block alive after the associated array
  for (int i = 0; i < 10; ++i) inMemory.Append(i);
  m_List.m_Elements.clear();
  {
    Array const array(inMemory);
    StoreAs(array, m_List);
    inMemory.Get(5) = 50;
    Calls();
  }
  EXPECT_EQ(Calls(), Lines({"DropReference", "StillReferenced", "ReadOnly", "WriteRun(0, 10)", "EndFlush",
                            "deleted"}));
  EXPECT_EQ(m_List.m_Elements[5], 50);
  inMemory.DropBlocks();
}

TEST_F(ArrayPrimHolders, LastHolderOfAReadOnlyListWritesNothing) {
  {
    Array const array(Reader(m_List));
    m_List.m_ReadOnly = true;
    Calls();
  }
  EXPECT_EQ(Calls(), Lines({"DropReference", "StillReferenced", "ReadOnly", "deleted"}));
  EXPECT_EQ(m_List.m_Flushes, 0);
}

TEST_F(ArrayPrimHolders, ArrayInMemoryMakesNoCall) {
  Array inMemory;
  { Array const copy(inMemory); }
  inMemory.Detach();
  EXPECT_EQ(m_List.m_MadeAgents, 0);
}

// --- Failures.

TEST_F(ArrayPrimHolders, AgentOfAnArrayThatCannotBeOpenedIsDeleted) {
  for (char const* const call : {"Count", "RegisterHolder"}) {
    m_List.m_FailingCall = call;
    EXPECT_THROW(Array(Reader(m_List)), BackEndFailure) << call;
    EXPECT_EQ(m_List.m_LiveAgents, 0) << call;
  }
}

TEST_F(ArrayPrimHolders, AgentOfAnArrayThatCannotBeRegisteredIsDeletedAndTheArrayStaysInMemory) {
  Array array;
  array.Append(5);
  m_List.m_FailingCall = "RegisterHolder";
  EXPECT_THROW(StoreAs(array, m_List), BackEndFailure);
  EXPECT_EQ(m_List.m_LiveAgents, 0);
  EXPECT_FALSE(array.IsAssociated());
  EXPECT_EQ(array.ConstGet(0), 5);
  array.DropBlocks();
}

TEST_F(ArrayPrimHolders, AgentOfACopyThatCannotBeRegisteredStaysWithTheOriginal) {
  Array const array(Reader(m_List));
  m_List.m_FailingCall = "RegisterHolder";
  EXPECT_THROW(Array{array}, BackEndFailure);
  EXPECT_EQ(m_List.m_LiveAgents, 1);
  EXPECT_EQ(m_List.m_References, 1);
  EXPECT_TRUE(array.IsAssociated());
}

// --- Detach.

TEST_F(ArrayPrimHolders, DetachOfTheLastHolderGivesAFreshIdentity) {
  Array array(Reader(m_List));
  RingNode ring;
  ring.Link(&array);
  Calls();
  array.Detach();
  EXPECT_EQ(Calls(), LetGoOfTheLast);
  EXPECT_FALSE(array.IsAssociated());
  EXPECT_NE(array.Uid().Entry(), m_List.m_Uid.Entry());
  EXPECT_EQ(array.Size(), 5000);
  EXPECT_EQ(ring.Next(), &ring);
  EXPECT_EQ(array.Next(), &array);
}

TEST_F(ArrayPrimHolders, DetachOfAnotherHolderKeepsTheIdentity) {
  Array array(Reader(m_List));
  Array copy(array);
  RingNode ring;
  ring.Link(&copy);
  Calls();
  copy.Detach();
  EXPECT_EQ(Calls(), LetGoOfAnother);
  EXPECT_FALSE(copy.IsAssociated());
  EXPECT_EQ(copy.Uid().Entry(), m_List.m_Uid.Entry());
  EXPECT_EQ(ring.Next(), &ring);
  EXPECT_TRUE(array.IsAssociated());
}

TEST_F(ArrayPrimHolders, DetachFlushesChangedBlocks) {
  Array array(Reader(m_List));
  array.Get(4999) = 1;
  Calls();
  array.Detach();
  EXPECT_EQ(Calls(), Lines({"DropReference", "StillReferenced", "ReadOnly", "WriteRun(4096, 904)", "EndFlush",
                            "deleted"}));
  EXPECT_EQ(m_List.m_Elements[4999], 1);
  array.DropBlocks();
}

TEST_F(ArrayPrimHolders, ResidentBlockRemainsAfterDetach) {
  Array array(Reader(m_List));
  EXPECT_EQ(array.ConstGet(4096), Element(4096));
  array.Detach();
  Calls();
  for (int i = 4096; i < 5000; ++i) ASSERT_EQ(array.ConstGet(i), Element(i));
  array.Append(1);
  EXPECT_EQ(array.Size(), 5001);
  EXPECT_EQ(array.ConstGet(5000), 1);
  array.Flush();
  array.Release();
  EXPECT_EQ(array.Refresh(), 0);
  EXPECT_EQ(Calls(), Lines());
  array.DropBlocks();
}

TEST_F(ArrayPrimHolders, DetachedArrayWritesOnlyChangedBlocksToAnotherList) {
  StoredList<int> other;
  Array array;
  MakeDetached(array);
  StoreAs(array, other);
  EXPECT_EQ(Writes(other), Lines({"WriteRun(2048, 2)"}));
  array.Release();
}

TEST_F(ArrayPrimHolders, DetachedArrayIsWrittenWholeToAListThatMarksItsBlocks) {
  StoredList<int> other;
  other.m_AtRegister = [](cls_PC& holder) { dynamic_cast<Array&>(holder).MarkBlocks(); };
  Array array;
  MakeDetached(array);
  StoreAs(array, other);
  EXPECT_EQ(Writes(other), Lines({"WriteRun(0, 2048)", "WriteRun(2048, 2)"}));
  EXPECT_EQ(other.m_Elements, StoredList<int>(2050).m_Elements);
  array.Release();
  for (int i = 0; i < array.Size(); ++i) ASSERT_EQ(array.ConstGet(i), Element(i));
  array.Release();
}

TEST_F(ArrayPrimHolders, ElementsThatADetachedArrayLacksAreFound) {
  Array array;
  for (int i = 0; i < 5000; ++i) array.Append(i);
  EXPECT_EQ(array.FirstMissing(), 5000);
  m_List.m_Elements.clear();
  StoreAs(array, m_List);
  array.Detach(); // the last block is in memory
  EXPECT_EQ(array.FirstMissing(), 0);
  array.DropBlocks();
  EXPECT_EQ(array.FirstMissing(), 0);
  array.SetLength(7);
  EXPECT_EQ(array.FirstMissing(), 0);
  array.SetLength(0);
  for (int i = 0; i < 2048; ++i) array.Append(i);
  EXPECT_EQ(array.FirstMissing(), 2048);
  array.SetLength(2049);
  EXPECT_EQ(array.FirstMissing(), 2048);
  array.SetLength(-1);
  EXPECT_EQ(array.FirstMissing(), -1);
  array.DropBlocks();
}

TEST_F(ArrayPrimHolders, BlocksBeyondTheSizeOfADetachedArrayAreNotWritten) {
  StoredList<int> other;
  Array array(Reader(m_List));
  static_cast<void>(array.ConstGet(4096));
  array.Detach();
  array.SetLength(100);
  array.MarkBlocks();
  StoreAs(array, other);
  EXPECT_EQ(other.Count(), 0);
  array.Release();
}

TEST_F(ArrayPrimHolders, DetachTwiceDropsTheAgentOnce) {
  Array array(Reader(m_List));
  array.Detach();
  auto* const entry = array.Uid().Entry();
  Calls();
  array.Detach();
  EXPECT_EQ(Calls(), Lines());
  EXPECT_EQ(array.Uid().Entry(), entry);
}

TEST_F(ArrayPrimHolders, DetachedArrayCanBeStoredAgain) {
  Array array(Reader(m_List));
  array.SetLength(10);
  EXPECT_EQ(array.ConstGet(3), Element(3));
  array.Detach();
  array.Get(3) = 30;
  StoredList<int> other;
  StoreAs(array, other);
  EXPECT_EQ(other.Count(), 10);
  EXPECT_EQ(other.m_Elements[3], 30);
  EXPECT_EQ(other.m_Elements[9], Element(9));
  EXPECT_EQ(m_List.m_Elements[3], Element(3));
  array.Release();
  array.Detach();
}

TEST_F(ArrayPrimHolders, DetachFlushesThroughTheVirtualTable) {
  FlushCounted array(Reader(m_List));
  FlushCounted copy(array);
  copy.Detach();
  EXPECT_EQ(copy.m_Flushes, 0);
  array.Detach();
  EXPECT_EQ(array.m_Flushes, 1);
}

// --- Assignment.

TEST_F(ArrayPrimHolders, AssignmentDropsTheOwnAgentAndHoldsTheOther) {
  StoredList<int> otherList{3000};
  Array array(Reader(m_List));
  Array const other(Reader(otherList));
  auto* const entry = other.Uid().Entry();
  Calls();
  otherList.TakeCalls();
  EXPECT_EQ(&(array = other), &array);
  EXPECT_EQ(Calls(), LetGoOfTheLast);
  EXPECT_EQ(otherList.TakeCalls(), Lines({"AddReference", "RegisterHolder"}));
  EXPECT_EQ(otherList.m_Holders.back(), &array);
  EXPECT_EQ(array.Size(), 3000);
  EXPECT_EQ(array.Uid().Entry(), entry);
  EXPECT_EQ(array.ConstGet(2999), Element(2999));
  array.Release();
}

TEST_F(ArrayPrimHolders, AssignmentWritesChangedBlocks) {
  Array inMemory;
  for (int i = 0; i < 10; ++i) inMemory.Append(i);
  m_List.m_Elements.clear();
  Array array(inMemory);
  StoreAs(array, m_List);
  inMemory.Get(5) = 50;
  Calls();
  array = Array();
  EXPECT_EQ(Calls(), Lines({"DropReference", "StillReferenced", "ReadOnly", "WriteRun(0, 10)", "EndFlush",
                            "deleted"}));
  EXPECT_EQ(m_List.m_Elements[5], 50);
  inMemory.DropBlocks();
}

TEST_F(ArrayPrimHolders, AssignmentBetweenHoldersOfOneAgentKeepsIt) {
  Array array(Reader(m_List));
  Array copy(array);
  copy.SetLength(3);
  Calls();
  copy = array;
  EXPECT_EQ(Calls(), Lines({"DropReference", "StillReferenced", "AddReference", "RegisterHolder"}));
  EXPECT_EQ(copy.Size(), 5000);
  EXPECT_EQ(m_List.m_References, 2);
}

TEST_F(ArrayPrimHolders, AssignmentFromMemoryEndsTheAssociation) {
  Array array(Reader(m_List));
  Array inMemory;
  inMemory.Append(1);
  Calls();
  array = inMemory;
  EXPECT_EQ(Calls(), LetGoOfTheLast);
  EXPECT_FALSE(array.IsAssociated());
  EXPECT_EQ(array.Size(), 1);
  EXPECT_EQ(array.ConstGet(0), 1);
  inMemory.DropBlocks();
}

TEST_F(ArrayPrimHolders, AssignmentToItselfMakesNoCall) {
  Array array(Reader(m_List));
  Calls();
  Array const& same = array;
  array = same;
  EXPECT_EQ(Calls(), Lines());
  EXPECT_TRUE(array.IsAssociated());
}

TEST_F(ArrayPrimHolders, AssignmentFlushesThroughTheVirtualTable) {
  FlushCounted array(Reader(m_List));
  Array const other;
  static_cast<Array&>(array) = other;
  EXPECT_EQ(array.m_Flushes, 1);
}

TEST_F(ArrayPrimHolders, AssignmentResetsOnlyTheTargetsLinks) {
  Array array(Reader(m_List));
  Array const other;
  RingNode ring;
  ring.Link(&array);
  array = other;
  EXPECT_EQ(array.Next(), &array);
  EXPECT_EQ(ring.Next(), &array);
}

TEST_F(ArrayPrimHolders, DestructionLeavesTheRing) {
  RingNode ring;
  {
    Array array(Reader(m_List));
    ring.Link(&array);
  }
  EXPECT_EQ(ring.Next(), &ring);
}
