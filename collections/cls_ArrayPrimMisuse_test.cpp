#include "collections/cls_ArrayPrim.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/backend/ArrayCases.h"
#include "tests/support/backend/StoredList.h"

// What arrays print when they are misused, and that the process then fails.

namespace {

std::string const ConstGetRange = Only("In cls_ArrayPrim::ConstGet() Index out of range.");
std::string const GetRange = Only("In cls_ArrayPrim::Get() Index out of range.");
std::string const MissingAgent = Only("In cls_ArrayPrim::GetBuffer() Missing agent.");
std::string const NotAssociated =
    Only("cls_ArrayPrim::AppendBlock: Collection must be associated with a database for this method.");

template <class T> class ArrayPrimMisuseDeathTest : public ::testing::Test {
 protected:
  ~ArrayPrimMisuseDeathTest() override { m_Array.DropBlocks(); }

  void Fill(int count) {
    while (m_Array.Size() < count) m_Array.Append(NumberedElement<T>(m_Array.Size()));
  }
  /// Reads and uses an element.
  static void Use(cls_ArrayPrim<T> const& array, int index) {
    if (array.ConstGet(index) == NumberedElement<T>(12345)) s_Used = 1;
  }

  cls_ArrayPrim<T> m_Array;
  static inline int volatile s_Used = 0;
};

TYPED_TEST_SUITE(ArrayPrimMisuseDeathTest, NumbersBitsAndTexts);

} // namespace

TYPED_TEST(ArrayPrimMisuseDeathTest, ConstGetOutOfRange) {
  this->Fill(3);
  for (int const index : {-1, 4, 2048, -2147483647 - 1, 2147483647})
    EXPECT_DEATH(this->Use(this->m_Array, index), ConstGetRange) << index;
}

TYPED_TEST(ArrayPrimMisuseDeathTest, GetOutOfRange) {
  this->Fill(3);
  for (int const index : {-1, 4, 2048, -2147483647 - 1, 2147483647})
    EXPECT_DEATH(this->m_Array.Get(index) = TypeParam(), GetRange) << index;
}

TYPED_TEST(ArrayPrimMisuseDeathTest, GetOutOfRangeOfAnEmptyArray) {
  EXPECT_DEATH(this->m_Array.Get(1) = TypeParam(), GetRange);
  EXPECT_DEATH(this->Use(this->m_Array, -1), ConstGetRange);
}

TYPED_TEST(ArrayPrimMisuseDeathTest, GetPastTheSlotAfterAFullBlock) {
  this->Fill(2048);
  EXPECT_DEATH(this->m_Array.Get(2049) = TypeParam(), GetRange);
}

TYPED_TEST(ArrayPrimMisuseDeathTest, GetOfAnElementPastAShortenedEnd) {
  this->Fill(3000);
  this->m_Array.SetLength(10);
  EXPECT_DEATH(this->m_Array.Get(11) = TypeParam(), GetRange);
  EXPECT_DEATH(this->Use(this->m_Array, 2999), ConstGetRange);
}

TYPED_TEST(ArrayPrimMisuseDeathTest, OutOfRangeOfAnAssociatedArray) {
  StoredList<TypeParam> list(10);
  cls_ArrayPrim<TypeParam> array{cls_ReadVisitor(new StoredListReader<TypeParam>(list))};
  EXPECT_DEATH(array.Get(11) = TypeParam(), GetRange);
  EXPECT_DEATH(this->Use(array, -1), ConstGetRange);
}

TYPED_TEST(ArrayPrimMisuseDeathTest, ElementThatWasNeverInMemory) {
  this->m_Array.SetLength(10);
  EXPECT_DEATH(this->Use(this->m_Array, 3), MissingAgent);
  EXPECT_DEATH(this->m_Array.Get(0) = TypeParam(), MissingAgent);
  EXPECT_DEATH(this->m_Array.Append(TypeParam()), MissingAgent);
}

TYPED_TEST(ArrayPrimMisuseDeathTest, BlockThatWasNotResidentAtDetach) {
  StoredList<TypeParam> list(5000);
  cls_ArrayPrim<TypeParam> array{cls_ReadVisitor(new StoredListReader<TypeParam>(list))};
  this->Use(array, 4096);
  array.Detach();
  EXPECT_DEATH(this->Use(array, 4095), MissingAgent);
  EXPECT_DEATH(array.Get(0) = TypeParam(), MissingAgent);
  array.DropBlocks();
}

TYPED_TEST(ArrayPrimMisuseDeathTest, CopyWhoseBlocksWereDropped) {
  this->Fill(10);
  cls_ArrayPrim<TypeParam> copy(this->m_Array);
  copy.DropBlocks();
  EXPECT_DEATH(this->Use(this->m_Array, 3), MissingAgent);
}

TYPED_TEST(ArrayPrimMisuseDeathTest, AppendBlockInMemory) {
  TypeParam const values[2] = {};
  EXPECT_DEATH(this->m_Array.AppendBlock(values, 2), NotAssociated);
  this->Fill(3);
  EXPECT_DEATH(this->m_Array.AppendBlock(values, 0), NotAssociated);
}

TYPED_TEST(ArrayPrimMisuseDeathTest, AppendBlockAfterDetach) {
  StoredList<TypeParam> list(10);
  cls_ArrayPrim<TypeParam> array{cls_ReadVisitor(new StoredListReader<TypeParam>(list))};
  array.Detach();
  TypeParam const values[2] = {};
  EXPECT_DEATH(array.AppendBlock(values, 2), NotAssociated);
}

TEST(ArrayPrimMisuse, NothingIsPrintedAtTheBounds) {
  cls_ArrayPrim<int> array;
  ::testing::internal::CaptureStderr();
  array.Get(0) = 1;
  for (int i = 0; i < 2048; ++i) array.Append(i);
  array.Get(2048) = 1;
  EXPECT_EQ(array.ConstGet(0), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  array.DropBlocks();
}
