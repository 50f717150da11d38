#include "platform/cow/cow_1DArrayList.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "platform/cow/cow_1DArrayIter.h"
#include "platform/cow/cow_List.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/CountedValue.h"

namespace {

cow_1DArrayList<CountedValue> Numbered(int count, int storage = 0) {
  cow_1DArrayList<CountedValue> list(storage);
  for (int i = 0; i < count; ++i) list.Append(CountedValue(i));
  CountedValue::ResetCounts();
  return list;
}

void ExpectNumbered(cow_1DArrayList<CountedValue> const& list, int count) {
  ASSERT_EQ(list.Count(), count);
  for (int i = 0; i < count; ++i) ASSERT_EQ(list.ConstGet(i).m_Value, i);
}

class cow_1DArrayListTest : public testing::Test {
 protected:
  void SetUp() override { CountedValue::ResetCounts(); }
  void TearDown() override { EXPECT_EQ(CountedValue::s_Alive, 0); }
};

TEST_F(cow_1DArrayListTest, DefaultUsesNothingAndAllocatesNothing) {
  AllocationProbe const probe;
  cow_1DArrayList<int> const list;
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.ConstData(), nullptr);
  EXPECT_EQ(probe.Count(), 0);
}

TEST_F(cow_1DArrayListTest, StorageLengthIsNotTheCount) {
  cow_1DArrayList<int> const list(20);
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.Storage().Length(), 20);
}

TEST_F(cow_1DArrayListTest, AppendsAfterTheUsedElements) {
  cow_1DArrayList<int> list(5);
  list.Append(7);
  list.Append(8);
  EXPECT_EQ(list.Count(), 2);
  EXPECT_EQ(list.ConstGet(0), 7);
  EXPECT_EQ(list.ConstGet(1), 8);
  EXPECT_EQ(list.ConstData()[1], 8);
  EXPECT_EQ(list.Storage().Length(), 5);
}

TEST_F(cow_1DArrayListTest, DoublesTheStorageWhenItIsFull) {
  AllocationProbe const probe;
  cow_1DArrayList<int> list;
  for (int i = 0; i < 1 << 16; ++i) {
    int const before = list.Storage().Length();
    list.Append(i);
    if (list.Storage().Length() != before && before != 0) {
      ASSERT_EQ(i, before);
      ASSERT_EQ(list.Storage().Length(), 2 * before);
    }
  }
  EXPECT_LE(probe.Count(), 17);
  for (int i = 0; i < 1 << 16; ++i) ASSERT_EQ(list.ConstGet(i), i);
}

TEST_F(cow_1DArrayListTest, AppendsOneOfItsOwnElements) {
  cow_1DArrayList<CountedValue> list = Numbered(8); // full, so that appending replaces the storage
  ASSERT_EQ(list.Storage().Length(), 8);
  list.Append(list.ConstGet(3));
  EXPECT_EQ(list.ConstGet(8).m_Value, 3);
  EXPECT_EQ(list.ConstGet(3).m_Value, 3);
}

TEST_F(cow_1DArrayListTest, AppendToASoleOwnerCopiesOnlyTheNewElement) {
  cow_1DArrayList<CountedValue> list = Numbered(8);
  CountedValue const element(8);
  list.Append(element);
  EXPECT_EQ(CountedValue::s_Copies, 1);
  list.Append(element);
  EXPECT_EQ(CountedValue::s_Copies, 2);
}

TEST_F(cow_1DArrayListTest, SharingAndReadingCopiesNothing) {
  cow_1DArrayList<CountedValue> const list = Numbered(20);
  cow_1DArrayList<CountedValue> const copy(list);
  ExpectNumbered(copy, 20);
  EXPECT_EQ(copy.ConstData(), list.ConstData());
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_1DArrayListTest, FirstWriteOfASharingListCopiesEachElementOnce) {
  cow_1DArrayList<CountedValue> const list = Numbered(20, 20);
  cow_1DArrayList<CountedValue> copy(list);
  copy.Get(4).m_Value = -4;
  copy.Get(5).m_Value = -5;
  EXPECT_EQ(CountedValue::s_Copies, 20);
  ExpectNumbered(list, 20);
  EXPECT_EQ(copy.ConstGet(4).m_Value, -4);
}

TEST_F(cow_1DArrayListTest, AppendToASharingListKeepsTheOther) {
  cow_1DArrayList<CountedValue> const list = Numbered(20, 40); // room in the shared storage
  cow_1DArrayList<CountedValue> copy(list);
  copy.Append(CountedValue(20));
  ExpectNumbered(list, 20);
  ExpectNumbered(copy, 21);
  cow_1DArrayList<CountedValue> third(list);
  third.Append(CountedValue(99));
  EXPECT_EQ(third.ConstGet(20).m_Value, 99);
  EXPECT_EQ(copy.ConstGet(20).m_Value, 20);
}

TEST_F(cow_1DArrayListTest, GrowStorageKeepsTheCount) {
  cow_1DArrayList<CountedValue> list = Numbered(3);
  list.GrowStorage(100);
  EXPECT_EQ(list.Storage().Length(), 100);
  ExpectNumbered(list, 3);
  EXPECT_EQ(CountedValue::s_Copies, 0);
  list.GrowStorage(1);
  EXPECT_EQ(list.Storage().Length(), 100);
}

TEST_F(cow_1DArrayListTest, TruncateUsesAtMostTheFirstElements) {
  cow_1DArrayList<CountedValue> list = Numbered(10);
  list.Truncate(20);
  ExpectNumbered(list, 10);
  list.Truncate(4);
  ExpectNumbered(list, 4);
  list.Append(CountedValue(4));
  ExpectNumbered(list, 5);
  list.Truncate(0);
  EXPECT_EQ(list.Count(), 0);
}

TEST_F(cow_1DArrayListTest, ClearDropsOnlyItsOwnShare) {
  cow_1DArrayList<CountedValue> list = Numbered(10);
  cow_1DArrayList<CountedValue> const copy(list);
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.Storage().Length(), 0);
  ExpectNumbered(copy, 10);
}

TEST_F(cow_1DArrayListTest, MovingLeavesAnEmptyUsableList) {
  cow_1DArrayList<CountedValue> list = Numbered(10);
  cow_1DArrayList<CountedValue> target(std::move(list));
  ExpectNumbered(target, 10);
  EXPECT_EQ(list.Count(), 0); // NOLINT(bugprone-use-after-move): what moving leaves is what is tested
  list.Append(CountedValue(0));
  ExpectNumbered(list, 1);
  list = std::move(target);
  ExpectNumbered(list, 10);
  EXPECT_EQ(target.Count(), 0);
  EXPECT_EQ(CountedValue::s_Copies, 1); // the one appended
}

// Appending fails at its first copy, its second, and so on, until it succeeds.
void AppendFailingAtEveryCopy(int count, int storage, bool shared, int expectedFailures) {
  CountedValue const element(count);
  int failures = 0;
  for (int step = 1;; ++step) {
    cow_1DArrayList<CountedValue> list = Numbered(count, storage);
    cow_1DArrayList<CountedValue> const other = shared ? list : cow_1DArrayList<CountedValue>();
    CountedValue::s_FailAtCopy = step;
    bool failed = false;
    try {
      list.Append(element);
    } catch (std::runtime_error const&) {
      failed = true;
    }
    CountedValue::ResetCounts();
    ExpectNumbered(list, failed ? count : count + 1);
    if (shared) ExpectNumbered(other, count);
    if (!failed) break;
    ++failures;
    if (shared) {
      EXPECT_TRUE(list.Storage().SharesStorageWith(other.Storage()));
    }
  }
  EXPECT_EQ(failures, expectedFailures);
}

TEST_F(cow_1DArrayListTest, AppendThatFailsAtAnyCopyChangesNothing) {
  AppendFailingAtEveryCopy(8, 8, false, 1);
  AppendFailingAtEveryCopy(8, 16, false, 1);
  AppendFailingAtEveryCopy(8, 8, true, 9);
  AppendFailingAtEveryCopy(8, 16, true, 17); // the new element and all sixteen of the shared storage
}

TEST_F(cow_1DArrayListTest, AppendWithoutMemoryChangesNothing) {
  for (bool const shared : {false, true}) {
    cow_1DArrayList<CountedValue> list = Numbered(8);
    cow_1DArrayList<CountedValue> const other = shared ? list : cow_1DArrayList<CountedValue>();
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW(list.Append(CountedValue(8)), std::bad_alloc);
    ExpectNumbered(list, 8);
    list.Append(CountedValue(8));
    ExpectNumbered(list, 9);
  }
}

TEST_F(cow_1DArrayListTest, IteratorWalksTheUsedElementsInOrder) {
  cow_1DArrayList<CountedValue> const list = Numbered(5, 16);
  cow_1DArrayIter<CountedValue> walk(list.Storage(), list.Count());
  for (int pass = 0; pass < 2; ++pass) {
    int expected = 0;
    for (walk.First(); !walk.AtEnd(); walk.Next()) ASSERT_EQ(walk.ConstGet().m_Value, expected++);
    EXPECT_EQ(expected, 5);
  }
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_1DArrayListTest, IteratorStartsAtTheFirstElement) {
  cow_1DArrayList<CountedValue> const list = Numbered(2);
  cow_1DArrayIter<CountedValue> const walk(list.Storage(), list.Count());
  EXPECT_FALSE(walk.AtEnd());
  EXPECT_EQ(walk.ConstGet().m_Value, 0);
}

TEST_F(cow_1DArrayListTest, IteratorOverNothingIsAtItsEnd) {
  EXPECT_TRUE(cow_1DArrayIter<int>(cow_1DArray<int>(), 0).AtEnd());
  EXPECT_TRUE(cow_1DArrayIter<int>(cow_1DArray<int>(4), 0).AtEnd());
}

TEST_F(cow_1DArrayListTest, IteratorDoesNotSeeLaterWrites) {
  cow_1DArrayList<CountedValue> list = Numbered(3);
  cow_1DArrayIter<CountedValue> walk(list.Storage(), list.Count());
  list.Get(0).m_Value = 100;
  list.Append(CountedValue(3));
  list.Clear();
  int expected = 0;
  for (; !walk.AtEnd(); walk.Next()) ASSERT_EQ(walk.ConstGet().m_Value, expected++);
  EXPECT_EQ(expected, 3);
}

class cow_ListTest : public cow_1DArrayListTest {};

TEST_F(cow_ListTest, WalksInTheOrderOfAppending) {
  cow_List<int> list;
  EXPECT_EQ(list.Count(), 0);
  EXPECT_TRUE(list.Iterator().AtEnd());
  for (int i = 0; i < 100; ++i) list.Append(i * i);
  EXPECT_EQ(list.Count(), 100);
  int at = 0;
  for (auto walk = list.Iterator(); !walk.AtEnd(); walk.Next(), ++at) ASSERT_EQ(walk.ConstGet(), at * at);
  EXPECT_EQ(at, 100);
}

TEST_F(cow_ListTest, CopiesShareUntilOneIsWritten) {
  cow_List<CountedValue> list;
  for (int i = 0; i < 8; ++i) list.Append(CountedValue(i));
  CountedValue::ResetCounts();
  cow_List<CountedValue> copy(list);
  EXPECT_TRUE(copy.SharesStorageWith(list));
  EXPECT_EQ(copy.Iterator().ConstGet().m_Value, 0);
  EXPECT_EQ(CountedValue::s_Copies, 0);
  copy.Append(CountedValue(8));
  EXPECT_FALSE(copy.SharesStorageWith(list));
  EXPECT_EQ(CountedValue::s_Copies, 9);
  EXPECT_EQ(list.Count(), 8);
  EXPECT_EQ(copy.Count(), 9);
}

TEST_F(cow_ListTest, IteratorDoesNotSeeLaterAppends) {
  cow_List<int> list;
  list.Append(1);
  auto walk = list.Iterator();
  list.Append(2);
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(walk.ConstGet(), 1);
  walk.Next();
  EXPECT_TRUE(walk.AtEnd());
}

TEST_F(cow_ListTest, AppendWithoutMemoryChangesNothing) {
  cow_List<int> list;
  for (int i = 0; i < 8; ++i) list.Append(i);
  AllocationProbe probe;
  probe.FailAt(1);
  EXPECT_THROW(list.Append(8), std::bad_alloc);
  EXPECT_EQ(list.Count(), 8);
  list.Append(8);
  EXPECT_EQ(list.Count(), 9);
}

} // namespace
