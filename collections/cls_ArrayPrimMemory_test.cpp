#include "collections/cls_ArrayPrim.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/support/backend/ArrayCases.h"
#include "tests/support/backend/StoredList.h"

// Arrays that are not associated with a store.

namespace {

template <class T> class ArrayPrimMemory : public ::testing::Test {
 protected:
  ~ArrayPrimMemory() override { m_Array.DropBlocks(); }

  void Fill(int count) { FillTo(m_Array, count); }
  static void FillTo(cls_ArrayPrim<T>& array, int count) {
    while (array.Size() < count) array.Append(Element(array.Size()));
  }
  static T Element(int number) { return NumberedElement<T>(number); }
  /// An element that differs from the one of this number.
  static T Other(int number) {
    if constexpr (std::is_same_v<T, bool>)
      return !Element(number);
    else
      return Element(number + 1000000);
  }
  static void ExpectElements(cls_ArrayPrim<T> const& array, int count) {
    for (int i = 0; i < count; ++i) ASSERT_EQ(array.ConstGet(i), Element(i)) << i;
  }

  OpenArray<T> m_Array;
};

template <class T>
constexpr bool LooksUpBlocksByIndexAlone =
    std::is_same_v<decltype(&OpenArray<T>::GetBuffer),
                   cls_ArrayPrimBuffer<T>* (cls_ArrayPrim<T>::*)(int) const>;
static_assert(LooksUpBlocksByIndexAlone<int> && LooksUpBlocksByIndexAlone<cow_String>);

TYPED_TEST_SUITE(ArrayPrimMemory, NumbersBitsAndTexts);

} // namespace

TYPED_TEST(ArrayPrimMemory, StartsEmptyUnderAFreshIdentity) {
  cls_ArrayPrim<TypeParam> const other;
  EXPECT_EQ(this->m_Array.Size(), 0);
  EXPECT_FALSE(this->m_Array.IsAssociated());
  EXPECT_NE(this->m_Array.Uid().Entry(), other.Uid().Entry());
  EXPECT_EQ(this->m_Array.Next(), &this->m_Array);
}

TYPED_TEST(ArrayPrimMemory, EveryElementTypeHasTheTypeIdOfLists) {
  EXPECT_EQ(cls_ArrayPrim<TypeParam>::TypeId(), 0x230001U);
  EXPECT_EQ(this->m_Array.DynTypeId(), 0x230001U);
}

TYPED_TEST(ArrayPrimMemory, AppendedElementsReadBackAcrossBlocks) {
  for (int i = 0; i < 5000; ++i) {
    this->m_Array.Append(this->Element(i));
    ASSERT_EQ(this->m_Array.Size(), i + 1);
  }
  this->ExpectElements(this->m_Array, 5000);
}

TYPED_TEST(ArrayPrimMemory, GetWritesThroughItsReferenceAndToNoOtherElement) {
  this->Fill(4097);
  for (int const index : {0, 1, 2047, 2048, 4095, 4096}) {
    this->m_Array.Get(index) = this->Other(index);
    EXPECT_EQ(this->m_Array.ConstGet(index), this->Other(index));
    this->m_Array.Get(index) = this->Element(index);
  }
  this->ExpectElements(this->m_Array, 4097);
}

TYPED_TEST(ArrayPrimMemory, ConstGetAndGetReturnTheSameSlot) {
  this->Fill(2050);
  for (int const index : {0, 2047, 2048, 2049})
    EXPECT_EQ(&this->m_Array.ConstGet(index), &this->m_Array.Get(index));
}

TYPED_TEST(ArrayPrimMemory, SlotAfterTheLastElementIsValidAndNotCounted) {
  for (int const size : {0, 1, 2047, 2048, 2049, 4096}) {
    this->Fill(size);
    this->m_Array.Get(size) = this->Other(size);
    EXPECT_EQ(this->m_Array.Size(), size);
    EXPECT_EQ(this->m_Array.ConstGet(size), this->Other(size));
    this->m_Array.SetLength(size + 1);
    EXPECT_EQ(this->m_Array.ConstGet(size), this->Other(size));
    this->m_Array.SetLength(size);
  }
}

TYPED_TEST(ArrayPrimMemory, ElementAfterAFullBlockMakesASecondBlock) {
  this->Fill(2048);
  auto* const first = this->m_Array.GetBuffer(0);
  EXPECT_EQ(this->m_Array.GetBuffer(2047), first);
  this->m_Array.Append(this->Element(2048));
  auto* const second = this->m_Array.GetBuffer(2048);
  EXPECT_NE(second, first);
  EXPECT_EQ(&this->m_Array.ConstGet(2048), second->Values());
  EXPECT_EQ(this->m_Array.GetBuffer(2049), second);
  EXPECT_EQ(this->m_Array.GetBuffer(0), first);
  EXPECT_EQ(&this->m_Array.ConstGet(2047), first->Values() + 2047);
}

TYPED_TEST(ArrayPrimMemory, HasNoBlockOutsideItsSize) {
  this->Fill(3);
  for (int const index : {-1, -2048, -2147483647 - 1, 4, 2048, 2147483647})
    EXPECT_EQ(this->m_Array.GetBuffer(index), nullptr) << index;
  EXPECT_NE(this->m_Array.GetBuffer(3), nullptr);
}

TYPED_TEST(ArrayPrimMemory, AllBlocksStayWhereTheyAre) {
  this->Fill(7000);
  std::vector<TypeParam const*> places;
  for (int i = 0; i < 7000; i += 500) places.push_back(&this->m_Array.ConstGet(i));
  for (int i = 0; i < 7000; i += 700) this->m_Array.Get((i * 31) % 7000) = this->Element((i * 31) % 7000);
  for (int i = 0; i < 7000; i += 500)
    EXPECT_EQ(&this->m_Array.ConstGet(i), places[static_cast<std::size_t>(i / 500)]);
  this->ExpectElements(this->m_Array, 7000);
}

TYPED_TEST(ArrayPrimMemory, AppendAndGetMarkABlockAndConstGetDoesNot) {
  static_cast<void>(this->m_Array.ConstGet(0));
  auto* const block = this->m_Array.GetBuffer(0);
  EXPECT_FALSE(block->IsDirty());
  this->m_Array.Append(this->Element(0));
  EXPECT_TRUE(block->IsDirty());
  block->SetDirty(false);
  EXPECT_EQ(this->m_Array.ConstGet(0), this->Element(0));
  EXPECT_FALSE(block->IsDirty());
  static_cast<void>(this->m_Array.Get(0));
  EXPECT_TRUE(block->IsDirty());
}

TYPED_TEST(ArrayPrimMemory, GetMarksNoOtherBlock) {
  this->Fill(2049);
  auto* const first = this->m_Array.GetBuffer(0);
  auto* const second = this->m_Array.GetBuffer(2048);
  first->SetDirty(false);
  second->SetDirty(false);
  static_cast<void>(this->m_Array.Get(2048));
  EXPECT_FALSE(first->IsDirty());
  EXPECT_TRUE(second->IsDirty());
}

TYPED_TEST(ArrayPrimMemory, SetLengthMovesNoElement) {
  this->Fill(3000);
  this->m_Array.SetLength(10);
  EXPECT_EQ(this->m_Array.Size(), 10);
  EXPECT_EQ(this->m_Array.GetBuffer(11), nullptr);
  this->m_Array.SetLength(3000);
  this->ExpectElements(this->m_Array, 3000);
}

TYPED_TEST(ArrayPrimMemory, AppendAfterShorteningOverwrites) {
  this->Fill(3000);
  this->m_Array.SetLength(2048);
  this->m_Array.Append(this->Other(2048));
  EXPECT_EQ(this->m_Array.Size(), 2049);
  this->m_Array.SetLength(3000);
  EXPECT_EQ(this->m_Array.ConstGet(2048), this->Other(2048));
  EXPECT_EQ(this->m_Array.ConstGet(2049), this->Element(2049));
  this->ExpectElements(this->m_Array, 2048);
}

// --- Copies.

TYPED_TEST(ArrayPrimMemory, CopyHasTheSizeAndTheIdentity) {
  this->Fill(3000);
  cls_ArrayPrim<TypeParam> const copy(this->m_Array);
  EXPECT_EQ(copy.Size(), 3000);
  EXPECT_EQ(copy.Uid().Entry(), this->m_Array.Uid().Entry());
  EXPECT_FALSE(copy.IsAssociated());
  EXPECT_EQ(copy.Next(), &copy);
}

TYPED_TEST(ArrayPrimMemory, CopySeesWritesThroughTheOther) {
  this->Fill(3000);
  cls_ArrayPrim<TypeParam> copy(this->m_Array);
  this->m_Array.Get(5) = this->Other(5);
  EXPECT_EQ(copy.ConstGet(5), this->Other(5));
  copy.Get(2500) = this->Other(2500);
  EXPECT_EQ(this->m_Array.ConstGet(2500), this->Other(2500));
  EXPECT_EQ(&copy.ConstGet(0), &this->m_Array.ConstGet(0));
}

TYPED_TEST(ArrayPrimMemory, CopyKeepsItsOwnSize) {
  this->Fill(2048);
  cls_ArrayPrim<TypeParam> copy(this->m_Array);
  copy.Append(this->Element(2048));
  EXPECT_EQ(copy.Size(), 2049);
  EXPECT_EQ(this->m_Array.Size(), 2048);
  this->m_Array.SetLength(2049);
  EXPECT_EQ(this->m_Array.ConstGet(2048), this->Element(2048));
}

TYPED_TEST(ArrayPrimMemory, CopyOfAnEmptyArraySharesLaterAppends) {
  cls_ArrayPrim<TypeParam> copy(this->m_Array);
  this->Fill(10);
  EXPECT_EQ(copy.Size(), 0);
  copy.SetLength(10);
  this->ExpectElements(copy, 10);
}

TYPED_TEST(ArrayPrimMemory, ElementsOutliveTheCopyTheyWereAppendedTo) {
  {
    cls_ArrayPrim<TypeParam> copy(this->m_Array);
    this->FillTo(copy, 3000);
  }
  this->m_Array.SetLength(3000);
  this->ExpectElements(this->m_Array, 3000);
}

TYPED_TEST(ArrayPrimMemory, AssignmentSharesBlocksAndTakesSizeAndIdentity) {
  this->Fill(3000);
  cls_ArrayPrim<TypeParam> target;
  EXPECT_EQ(&(target = this->m_Array), &target);
  EXPECT_EQ(target.Size(), 3000);
  EXPECT_EQ(target.Uid().Entry(), this->m_Array.Uid().Entry());
  target.Get(2999) = this->Other(2999);
  EXPECT_EQ(this->m_Array.ConstGet(2999), this->Other(2999));
}

TYPED_TEST(ArrayPrimMemory, AssignmentToItselfChangesNothing) {
  this->Fill(3000);
  RingNode ring;
  ring.Link(&this->m_Array);
  auto* const entry = this->m_Array.Uid().Entry();
  auto const& same = this->m_Array;
  this->m_Array = same;
  EXPECT_EQ(this->m_Array.Uid().Entry(), entry);
  EXPECT_EQ(this->m_Array.Next(), &ring);
  EXPECT_EQ(this->m_Array.Size(), 3000);
  this->ExpectElements(this->m_Array, 3000);
}

TYPED_TEST(ArrayPrimMemory, AssignmentResetsOnlyTheTargetsLinks) {
  RingNode ring;
  ring.Link(&this->m_Array);
  OpenArray<TypeParam> const other;
  this->m_Array = other;
  EXPECT_EQ(this->m_Array.Next(), &this->m_Array);
  EXPECT_EQ(ring.Next(), &this->m_Array);
}

// --- Dropping and keeping blocks.

TYPED_TEST(ArrayPrimMemory, DropBlocksDeletesTheBlocksOfAllCopies) {
  this->Fill(3000);
  OpenArray<TypeParam> copy(this->m_Array);
  cls_ArrayPrimBuffer<TypeParam> const first(*this->m_Array.GetBuffer(0));
  cls_ArrayPrimBuffer<TypeParam> const second(*copy.GetBuffer(2048));
  EXPECT_EQ(first.UseCount(), 2U);
  copy.DropBlocks();
  EXPECT_EQ(first.UseCount(), 1U);
  EXPECT_EQ(second.UseCount(), 1U);
  EXPECT_EQ(copy.Size(), 0);
  EXPECT_EQ(this->m_Array.Size(), 3000);
}

TYPED_TEST(ArrayPrimMemory, ArrayCanBeFilledAgainAfterDropBlocks) {
  this->Fill(3000);
  this->m_Array.DropBlocks();
  EXPECT_EQ(this->m_Array.Size(), 0);
  EXPECT_EQ(this->m_Array.ConstGetRun(0).m_Count, 0);
  this->Fill(2049);
  this->ExpectElements(this->m_Array, 2049);
  this->m_Array.DropBlocks();
  this->m_Array.DropBlocks();
  EXPECT_EQ(this->m_Array.Size(), 0);
}

TYPED_TEST(ArrayPrimMemory, DestructionFreesNoBlock) {
  // Static, so that the blocks stay reachable to the end of the program.
  static cls_ArrayPrimBuffer<TypeParam>* s_Left;
  {
    OpenArray<TypeParam> array;
    this->FillTo(array, 10);
    s_Left = array.GetBuffer(0);
  }
  EXPECT_EQ(s_Left->UseCount(), 1U);
  EXPECT_TRUE(s_Left->IsDirty());
  for (int i = 0; i < 10; ++i) EXPECT_EQ(s_Left->At(i), this->Element(i));
}

TYPED_TEST(ArrayPrimMemory, FlushReleaseAndRefreshDoNothing) {
  this->Fill(3000);
  auto* const first = this->m_Array.GetBuffer(0);
  auto* const second = this->m_Array.GetBuffer(2048);
  this->m_Array.Flush();
  this->m_Array.Release();
  EXPECT_EQ(this->m_Array.Refresh(), 0);
  EXPECT_EQ(this->m_Array.Size(), 3000);
  EXPECT_EQ(this->m_Array.GetBuffer(0), first);
  EXPECT_EQ(this->m_Array.GetBuffer(2048), second);
  EXPECT_TRUE(first->IsDirty());
  EXPECT_TRUE(second->IsDirty());
  this->ExpectElements(this->m_Array, 3000);
}

TYPED_TEST(ArrayPrimMemory, DetachOnlyLeavesTheRing) {
  this->Fill(3000);
  RingNode ring;
  ring.Link(&this->m_Array);
  auto* const entry = this->m_Array.Uid().Entry();
  this->m_Array.Detach();
  EXPECT_EQ(ring.Next(), &ring);
  EXPECT_EQ(this->m_Array.Next(), &this->m_Array);
  EXPECT_EQ(this->m_Array.Uid().Entry(), entry);
  EXPECT_EQ(this->m_Array.Size(), 3000);
  this->ExpectElements(this->m_Array, 3000);
}

TYPED_TEST(ArrayPrimMemory, DestructionLeavesTheRing) {
  RingNode ring;
  {
    cls_ArrayPrim<TypeParam> array;
    ring.Link(&array);
    EXPECT_EQ(ring.Next(), &array);
  }
  EXPECT_EQ(ring.Next(), &ring);
}

// --- Runs.

TYPED_TEST(ArrayPrimMemory, RunsEndAtTheirBlockAndAtTheSize) {
  this->Fill(5000);
  for (auto const& [index, count] :
       {std::pair(0, 2048), {1, 2047}, {2047, 1}, {2048, 2048}, {4095, 1}, {4096, 904}, {4999, 1}}) {
    auto const run = this->m_Array.ConstGetRun(index);
    EXPECT_EQ(run.m_Count, count) << index;
    EXPECT_EQ(run.m_Values, &this->m_Array.ConstGet(index)) << index;
  }
}

TYPED_TEST(ArrayPrimMemory, RunThatEndsWithTheLastBlockIsWhole) {
  this->Fill(4096);
  EXPECT_EQ(this->m_Array.ConstGetRun(2048).m_Count, 2048);
  EXPECT_EQ(this->m_Array.ConstGetRun(4095).m_Count, 1);
}

TYPED_TEST(ArrayPrimMemory, RunsOutsideAreEmpty) {
  this->Fill(3000);
  for (int const index : {-1, -2147483647 - 1, 3000, 3001, 4096, 2147483647}) {
    auto const run = this->m_Array.ConstGetRun(index);
    EXPECT_EQ(run.m_Count, 0) << index;
    EXPECT_EQ(run.m_Values, nullptr) << index;
  }
}

TYPED_TEST(ArrayPrimMemory, RunsReturnEveryElementOnce) {
  this->Fill(5000);
  int index = 0;
  for (auto run = this->m_Array.ConstGetRun(0); run.m_Count > 0; run = this->m_Array.ConstGetRun(index))
    for (int i = 0; i < run.m_Count; ++i, ++index) ASSERT_EQ(run.m_Values[i], this->Element(index));
  EXPECT_EQ(index, 5000);
}

TYPED_TEST(ArrayPrimMemory, RunsMarkNoBlock) {
  this->Fill(10);
  auto* const block = this->m_Array.GetBuffer(0);
  block->SetDirty(false);
  static_cast<void>(this->m_Array.ConstGetRun(3));
  EXPECT_FALSE(block->IsDirty());
}

TEST(ArrayPrimMemoryString, NewSlotsHaveNoText) {
  cls_ArrayPrim<cow_String> array;
  array.Append("first"_cow);
  array.SetLength(2048);
  for (int i = 1; i < 2048; ++i) ASSERT_FALSE(array.ConstGet(i).HasText()) << i;
  array.DropBlocks();
}
