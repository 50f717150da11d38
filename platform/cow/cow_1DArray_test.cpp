#include "platform/cow/cow_1DArray.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>

#include "platform/cow/cow_String.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/CountedValue.h"

namespace {

template <class T> cow_1DArray<T> Numbered(int length) {
  cow_1DArray<T> array(length);
  for (int i = 0; i < length; ++i) array.Get(i).m_Value = i;
  return array;
}

template <class T> void ExpectNumbered(cow_1DArray<T> const& array, int length) {
  ASSERT_EQ(array.Length(), length);
  for (int i = 0; i < length; ++i) ASSERT_EQ(array.ConstGet(i).m_Value, i);
}

class cow_1DArrayTest : public testing::Test {
 protected:
  void SetUp() override {
    CountedValue::ResetCounts();
    CopyOnlyValue::ResetCounts();
  }
  void TearDown() override {
    EXPECT_EQ(CountedValue::s_Alive, 0);
    EXPECT_EQ(CopyOnlyValue::s_Alive, 0);
  }
};

TEST_F(cow_1DArrayTest, EmptyArrayAllocatesNothing) {
  AllocationProbe const probe;
  cow_1DArray<int> const array;
  cow_1DArray<int> const copy(array);
  cow_1DArray<int> const none(0);
  EXPECT_EQ(array.Length(), 0);
  EXPECT_EQ(array.ConstData(), nullptr);
  EXPECT_EQ(none.Length(), 0);
  EXPECT_EQ(probe.Count(), 0);
}

TEST_F(cow_1DArrayTest, IsOnePointerWide) {
  EXPECT_EQ(sizeof(cow_1DArray<double>), sizeof(void*));
}

TEST_F(cow_1DArrayTest, NewElementsAreValueInitialised) {
  cow_1DArray<int> const numbers(100);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(numbers.ConstGet(i), 0);
  cow_1DArray<int*> const pointers(10);
  for (int i = 0; i < 10; ++i) ASSERT_EQ(pointers.ConstGet(i), nullptr);
  cow_1DArray<cow_String> const texts(10);
  for (int i = 0; i < 10; ++i) ASSERT_FALSE(texts.ConstGet(i).HasText());
}

TEST_F(cow_1DArrayTest, RefusesANegativeLength) {
  EXPECT_THROW(cow_1DArray<int>(-1), std::length_error);
  cow_1DArray<int> array(3);
  EXPECT_THROW(array.Grow(-1), std::length_error);
  EXPECT_EQ(array.Length(), 3);
}

TEST_F(cow_1DArrayTest, AllocatesOnceForAllElements) {
  AllocationProbe const probe;
  cow_1DArray<double> const array(1000);
  EXPECT_EQ(probe.Count(), 1);
}

TEST_F(cow_1DArrayTest, CopiesShareTheElementsWithoutCopying) {
  AllocationProbe const probe;
  auto const array = Numbered<CountedValue>(50);
  cow_1DArray<CountedValue> const copy(array);
  cow_1DArray<CountedValue> assigned;
  assigned = copy;
  EXPECT_TRUE(assigned.SharesStorageWith(array));
  EXPECT_EQ(assigned.ConstData(), array.ConstData());
  ExpectNumbered(assigned, 50);
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_EQ(probe.Count(), 1);
}

TEST_F(cow_1DArrayTest, ReadingASharingArrayCopiesNothing) {
  auto const array = Numbered<CountedValue>(50);
  cow_1DArray<CountedValue> const copy(array);
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(copy.PartialArrayConstGet(i).m_Value, i);
    ASSERT_EQ(&copy.ConstGet(i), array.ConstData() + i);
  }
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_TRUE(copy.SharesStorageWith(array));
}

TEST_F(cow_1DArrayTest, FirstWriteOfASharingArrayCopiesEachElementOnce) {
  auto const array = Numbered<CountedValue>(50);
  cow_1DArray<CountedValue> copy(array);
  copy.Get(7).m_Value = -7;
  EXPECT_EQ(CountedValue::s_Copies, 50);
  copy.Get(8).m_Value = -8;
  EXPECT_EQ(CountedValue::s_Copies, 50);
  ExpectNumbered(array, 50);
  EXPECT_EQ(copy.ConstGet(7).m_Value, -7);
  EXPECT_EQ(copy.ConstGet(9).m_Value, 9);
  EXPECT_FALSE(copy.SharesStorageWith(array));
}

TEST_F(cow_1DArrayTest, WriteOfASoleOwnerCopiesNothing) {
  auto array = Numbered<CountedValue>(50);
  { cow_1DArray<CountedValue> const copy(array); }
  CountedValue const* const data = array.ConstData();
  array.Get(0).m_Value = 1;
  EXPECT_EQ(array.ConstData(), data);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_1DArrayTest, GrowingASoleOwnerMovesTheElements) {
  auto array = Numbered<CountedValue>(50);
  CountedValue::ResetCounts();
  array.Grow(80);
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_EQ(CountedValue::s_Moves, 50);
  EXPECT_EQ(CountedValue::s_Defaults, 30);
  ASSERT_EQ(array.Length(), 80);
  for (int i = 0; i < 80; ++i) ASSERT_EQ(array.ConstGet(i).m_Value, i < 50 ? i : 0);
}

TEST_F(cow_1DArrayTest, GrowingASharingArrayCopiesEachElementOnce) {
  auto const array = Numbered<CountedValue>(50);
  cow_1DArray<CountedValue> copy(array);
  copy.Grow(80);
  EXPECT_EQ(CountedValue::s_Copies, 50);
  EXPECT_EQ(CountedValue::s_Moves, 0);
  ExpectNumbered(array, 50);
  EXPECT_EQ(copy.Length(), 80);
}

TEST_F(cow_1DArrayTest, GrowingToTheSameOrASmallerLengthDoesNothing) {
  auto array = Numbered<CountedValue>(50);
  cow_1DArray<CountedValue> const copy(array);
  array.Grow(50);
  array.Grow(10);
  array.Grow(0);
  EXPECT_TRUE(array.SharesStorageWith(copy));
  ExpectNumbered(array, 50);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_1DArrayTest, ClearDropsOnlyItsOwnShare) {
  auto array = Numbered<CountedValue>(5);
  cow_1DArray<CountedValue> const copy(array);
  array.Clear();
  EXPECT_EQ(array.Length(), 0);
  EXPECT_EQ(array.ConstData(), nullptr);
  ExpectNumbered(copy, 5);
  array.Clear();
  EXPECT_EQ(array.Length(), 0);
}

TEST_F(cow_1DArrayTest, LastShareDestroysTheElements) {
  {
    auto const array = Numbered<CountedValue>(5);
    cow_1DArray<CountedValue> const copy(array);
    EXPECT_EQ(CountedValue::s_Alive, 5);
  }
  EXPECT_EQ(CountedValue::s_Alive, 0);
}

TEST_F(cow_1DArrayTest, MovingLeavesAnEmptyArray) {
  auto array = Numbered<CountedValue>(5);
  cow_1DArray<CountedValue> const target(std::move(array));
  EXPECT_EQ(array.Length(), 0); // NOLINT(bugprone-use-after-move): what moving leaves is what is tested
  ExpectNumbered(target, 5);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_1DArrayTest, AssigningToItselfChangesNothing) {
  auto array = Numbered<CountedValue>(5);
  cow_1DArray<CountedValue>& alias = array;
  array = alias;
  ExpectNumbered(array, 5);
  array = std::move(alias);
  ExpectNumbered(array, 5);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_1DArrayTest, SwapExchangesTheElements) {
  auto a = Numbered<CountedValue>(5);
  cow_1DArray<CountedValue> b;
  a.Swap(b);
  EXPECT_EQ(a.Length(), 0);
  ExpectNumbered(b, 5);
}

TEST_F(cow_1DArrayTest, ElementsAreContiguousAndAligned) {
  struct alignas(16) Wide {
    double m_Values[2] = {1, 2};
  };
  cow_1DArray<Wide> const array(3);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.ConstData()) % 16, 0U);
  EXPECT_EQ(&array.ConstGet(2), array.ConstData() + 2);
  cow_1DArray<char> const chars(3);
  EXPECT_EQ(&chars.ConstGet(2), chars.ConstData() + 2);
}

TEST_F(cow_1DArrayTest, ArrayOfArraysIsShallowlyCopied) {
  cow_1DArray<cow_1DArray<int>> outer(2);
  outer.Get(0).Grow(3);
  cow_1DArray<cow_1DArray<int>> copy(outer);
  copy.Get(0).Get(1) = 5;
  EXPECT_EQ(outer.ConstGet(0).ConstGet(1), 0);
  EXPECT_EQ(copy.ConstGet(0).ConstGet(1), 5);
}

// The sanitizers' allocators end the process instead of returning null for an absurd size; this size is
// refused before they are called.
TEST_F(cow_1DArrayTest, RefusesALengthWhoseSizeOverflows) {
  struct Huge {
    char m_Bytes[1ULL << 33];
  };
  cow_1DArray<Huge> array;
  EXPECT_THROW(array.Grow(std::numeric_limits<int>::max()), std::bad_alloc);
  EXPECT_EQ(array.Length(), 0);
}

// Every operation that copies elements fails at its first copy, its second, and so on, until it succeeds.
// After each failure the arrays must be unchanged and nothing may leak.
template <class T, class Operation> int FailAtEveryCopy(Operation operation) {
  int failures = 0;
  for (int step = 1;; ++step) {
    auto const array = Numbered<T>(10);
    cow_1DArray<T> copy(array);
    T::ResetCounts();
    T::s_FailAtCopy = step;
    bool failed = false;
    try {
      operation(copy);
    } catch (std::runtime_error const&) {
      failed = true;
    }
    T::ResetCounts();
    ExpectNumbered(array, 10);
    if (!failed) return failures;
    ++failures;
    EXPECT_TRUE(copy.SharesStorageWith(array)) << "step " << step;
    EXPECT_EQ(T::s_Alive, 10) << "step " << step;
  }
}

TEST_F(cow_1DArrayTest, WriteThatFailsAtAnyCopyChangesNothing) {
  EXPECT_EQ(FailAtEveryCopy<CountedValue>([](auto& array) { array.Get(3).m_Value = 0; }), 10);
}

TEST_F(cow_1DArrayTest, GrowthThatFailsAtAnyCopyChangesNothing) {
  EXPECT_EQ(FailAtEveryCopy<CountedValue>([](auto& array) { array.Grow(30); }), 10);
}

TEST_F(cow_1DArrayTest, FailedGrowthOfASoleOwnerThatMustCopyChangesNothing) {
  int failures = 0;
  for (int step = 1;; ++step) {
    auto array = Numbered<CopyOnlyValue>(10);
    CopyOnlyValue::ResetCounts();
    CopyOnlyValue::s_FailAtCopy = step;
    CopyOnlyValue const* const data = array.ConstData();
    bool failed = false;
    try {
      array.Grow(30);
    } catch (std::runtime_error const&) {
      failed = true;
    }
    if (!failed) break;
    ++failures;
    EXPECT_EQ(array.ConstData(), data);
    ExpectNumbered(array, 10);
    EXPECT_EQ(CopyOnlyValue::s_Alive, 10);
  }
  EXPECT_EQ(failures, 10);
}

TEST_F(cow_1DArrayTest, FailedConstructionOfANewElementChangesNothing) {
  struct Fragile {
    Fragile() {
      if (++Made() == 5) throw std::runtime_error("no element");
    }
    static int& Made() {
      static int made = 0;
      return made;
    }
  };
  Fragile::Made() = 0;
  cow_1DArray<Fragile> array(3);
  Fragile const* const data = array.ConstData();
  EXPECT_THROW(array.Grow(10), std::runtime_error);
  EXPECT_EQ(array.ConstData(), data);
  EXPECT_EQ(array.Length(), 3);
}

TEST_F(cow_1DArrayTest, MissingMemoryChangesNothing) {
  auto const array = Numbered<CountedValue>(10);
  cow_1DArray<CountedValue> copy(array);
  {
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW((void)copy.Get(1), std::bad_alloc);
  }
  {
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW(copy.Grow(11), std::bad_alloc);
  }
  EXPECT_TRUE(copy.SharesStorageWith(array));
  ExpectNumbered(array, 10);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

} // namespace
