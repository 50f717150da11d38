#include "collections/cls_ArrayPrimBuffer.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <type_traits>
#include <utility>

#include "tests/support/HeapCount.h"

namespace {

template <class T> class ArrayPrimBuffer : public ::testing::Test {};
using ElementTypes = ::testing::Types<int, float, double, bool, cow_String>;
TYPED_TEST_SUITE(ArrayPrimBuffer, ElementTypes);

/// An element value that is not the default.
template <class T> T Sample() {
  if constexpr (std::is_same_v<T, cow_String>)
    return "sample"_cow;
  else
    return static_cast<T>(1);
}

using Strings = cls_ArrayPrimBuffer<cow_String>;

/// The characters of a string that only count how many strings share them. The test holds references of its
/// own, so that no string frees it.
struct SharedText {
  static constexpr int Own = 1000000;
  cow_StringBuffer m_Buffer{Own, 4, "text"};

  /// How many strings share the text.
  [[nodiscard]] int Sharers() const { return m_Buffer.m_Count - Own; }

  /// Fills the block with strings that share the text.
  void Fill(Strings const& block) {
    for (int i = 0; i < Strings::ElementCount; ++i) {
      m_Buffer.m_Count.fetch_add(1); // for the string made here
      block.At(i) = cow_String(m_Buffer);
    }
  }
};

} // namespace

TYPED_TEST(ArrayPrimBuffer, BlockHas2048ElementsOfAnyType) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  static_assert(Buffer::ElementCount == 2048);
  Buffer const block = Buffer::Make();
  for (int i = 0; i < 2048; ++i) block.At(i) = TypeParam();
  block.At(2047) = Sample<TypeParam>();
  EXPECT_EQ(block.Values()[2047], Sample<TypeParam>());
  EXPECT_EQ(block.Values()[2046], TypeParam());
}

TEST(ArrayPrimBufferStrings, DefaultConstructorIsExported) {
  EXPECT_NE(dlsym(RTLD_DEFAULT, "_ZN19cls_ArrayPrimBufferI10cow_StringEC1Ev"), nullptr);
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "_ZN19cls_ArrayPrimBufferIiEC1Ev"), nullptr);
  Strings const block;
  EXPECT_EQ(block.UseCount(), 1U);
  EXPECT_FALSE(block.IsDirty());
  for (int i = 0; i < Strings::ElementCount; ++i) ASSERT_EQ(block.At(i), "");
}

TYPED_TEST(ArrayPrimBuffer, BlockStartsWhereTheLowElevenBitsAreClear) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  EXPECT_EQ(Buffer::StartOf(0), 0);
  EXPECT_EQ(Buffer::StartOf(2047), 0);
  EXPECT_EQ(Buffer::StartOf(2048), 2048);
  EXPECT_EQ(Buffer::StartOf(6143), 4096);
  EXPECT_EQ(Buffer::StartOf(6144), 6144);
  EXPECT_EQ(Buffer::StartOf(INT_MAX), INT_MAX - 2047);
}

TYPED_TEST(ArrayPrimBuffer, ElementIsInTheSlotOfItsLowElevenBits) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer const block = Buffer::Make();
  EXPECT_EQ(&block.At(0), block.Values());
  EXPECT_EQ(&block.At(2047), block.Values() + 2047);
  EXPECT_EQ(&block.At(2048), block.Values());
  EXPECT_EQ(&block.At(4096 + 77), block.Values() + 77);
  EXPECT_EQ(&block.At(INT_MAX), block.Values() + 2047);
}

TYPED_TEST(ArrayPrimBuffer, NewBlockIsCleanAndHasOneHandle) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer const block = Buffer::Make();
  EXPECT_EQ(block.UseCount(), 1U);
  EXPECT_FALSE(block.IsDirty());
}

TYPED_TEST(ArrayPrimBuffer, NewBlockIsOneAllocation) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  long long const before = HeapCount();
  Buffer const block = Buffer::Make();
  Buffer const copy(block); // NOLINT(performance-unnecessary-copy-initialization)
  long long const after = HeapCount();
  EXPECT_EQ(after - before, 1);
}

TYPED_TEST(ArrayPrimBuffer, CopySharesTheBlock) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer const block = Buffer::Make();
  {
    Buffer const copy(block);
    EXPECT_EQ(copy.Values(), block.Values());
    EXPECT_EQ(copy.UseCount(), 2U);
    EXPECT_EQ(block.UseCount(), 2U);
    copy.At(5) = Sample<TypeParam>();
    copy.SetDirty(true);
  }
  EXPECT_EQ(block.UseCount(), 1U);
  EXPECT_EQ(block.At(5), Sample<TypeParam>());
  EXPECT_TRUE(block.IsDirty());
}

TYPED_TEST(ArrayPrimBuffer, DirtyFlagIsSetAndCleared) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer const block = Buffer::Make();
  block.SetDirty(true);
  EXPECT_TRUE(block.IsDirty());
  block.SetDirty(true);
  EXPECT_TRUE(block.IsDirty());
  block.SetDirty(false);
  EXPECT_FALSE(block.IsDirty());
  EXPECT_EQ(block.UseCount(), 1U);
}

TYPED_TEST(ArrayPrimBuffer, AssignmentDropsTheOwnBlockAndSharesTheOther) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer handle = Buffer::Make();
  Buffer const old(handle);
  Buffer const other = Buffer::Make();
  EXPECT_EQ(&(handle = other), &handle);
  EXPECT_EQ(handle.Values(), other.Values());
  EXPECT_EQ(other.UseCount(), 2U);
  EXPECT_EQ(old.UseCount(), 1U);
}

TYPED_TEST(ArrayPrimBuffer, AssignmentLeavesDirtyFlagsWithTheirBlocks) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer handle = Buffer::Make();
  Buffer const old(handle);
  Buffer const other = Buffer::Make();
  handle.SetDirty(true);
  handle = other;
  EXPECT_FALSE(handle.IsDirty());
  EXPECT_TRUE(old.IsDirty());
}

TYPED_TEST(ArrayPrimBuffer, AssignmentToItselfKeepsTheCount) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer handle = Buffer::Make();
  Buffer const& same = handle;
  handle.At(1) = Sample<TypeParam>();
  EXPECT_EQ(&(handle = same), &handle);
  EXPECT_EQ(handle.UseCount(), 1U);
  EXPECT_EQ(handle.At(1), Sample<TypeParam>());
  Buffer const copy(handle);
  handle = same;
  EXPECT_EQ(copy.UseCount(), 2U);
}

TYPED_TEST(ArrayPrimBuffer, AssignmentBetweenHandlesOfOneBlockKeepsTheCount) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer handle = Buffer::Make();
  Buffer const copy(handle);
  handle.At(1) = Sample<TypeParam>();
  EXPECT_EQ(&(handle = copy), &handle);
  EXPECT_EQ(handle.UseCount(), 2U);
  EXPECT_EQ(handle.Values(), copy.Values());
  EXPECT_EQ(copy.At(1), Sample<TypeParam>());
}

TYPED_TEST(ArrayPrimBuffer, AssignmentOverTheLastHandleFreesTheBlock) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer const other = Buffer::Make();
  for (int i = 0; i < 1000; ++i) { // the leak sanitizer finds a block that is not freed
    Buffer handle = Buffer::Make();
    handle = other;
  }
  EXPECT_EQ(other.UseCount(), 1U);
}

TYPED_TEST(ArrayPrimBuffer, MoveTakesTheBlock) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer handle = Buffer::Make();
  TypeParam const* const values = handle.Values();
  Buffer const taken(std::move(handle));
  EXPECT_EQ(taken.Values(), values);
  EXPECT_EQ(taken.UseCount(), 1U);
  EXPECT_EQ(handle.UseCount(), 0U); // NOLINT(bugprone-use-after-move)
}

TYPED_TEST(ArrayPrimBuffer, HandleWithoutBlockCanBeAssignedOver) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer handle = Buffer::Make();
  Buffer const taken(std::move(handle));
  handle = taken; // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(handle.UseCount(), 2U);
  EXPECT_EQ(handle.Values(), taken.Values());
}

TYPED_TEST(ArrayPrimBuffer, AssignmentFromAHandleWithoutBlockEndsTheProcessQuietly) {
  using Buffer = cls_ArrayPrimBuffer<TypeParam>;
  Buffer empty = Buffer::Make();
  Buffer const taken(std::move(empty));
  Buffer handle = Buffer::Make();
  EXPECT_EXIT(handle = empty, ::testing::ExitedWithCode(0), "^$"); // NOLINT(bugprone-use-after-move)
  Buffer other = Buffer::Make();
  Buffer const rest(std::move(other));
  EXPECT_EXIT(other = empty, ::testing::ExitedWithCode(0), "^$"); // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(taken.UseCount(), 1U);
  EXPECT_EQ(rest.UseCount(), 1U);
}

TEST(ArrayPrimBufferStrings, DefaultConstructorMakesABlockOfStringsWithoutText) {
  Strings const block;
  EXPECT_EQ(block.UseCount(), 1U);
  EXPECT_FALSE(block.IsDirty());
  for (int i = 0; i < 2048; ++i) EXPECT_FALSE(block.At(i).HasText()) << i;
}

TEST(ArrayPrimBufferStrings, MadeBlockHasStringsWithoutText) {
  Strings const block = Strings::Make();
  for (int i = 0; i < 2048; ++i) EXPECT_FALSE(block.At(i).HasText()) << i;
}

TEST(ArrayPrimBufferStrings, OnlyStringsHaveADefaultConstructor) {
  static_assert(std::is_default_constructible_v<Strings>);
  static_assert(!std::is_default_constructible_v<cls_ArrayPrimBuffer<int>>);
  static_assert(!std::is_default_constructible_v<cls_ArrayPrimBuffer<float>>);
  static_assert(!std::is_default_constructible_v<cls_ArrayPrimBuffer<double>>);
  static_assert(!std::is_default_constructible_v<cls_ArrayPrimBuffer<bool>>);
}

TEST(ArrayPrimBufferStrings, LastHandleDestroysTheStrings) {
  SharedText text;
  std::optional<Strings> first(std::in_place);
  text.Fill(*first);
  EXPECT_EQ(text.Sharers(), 2048);
  std::optional<Strings> second(*first);
  EXPECT_EQ(text.Sharers(), 2048); // the block is shared, not its strings
  first.reset();
  EXPECT_EQ(text.Sharers(), 2048);
  second.reset();
  EXPECT_EQ(text.Sharers(), 0);
}

TEST(ArrayPrimBufferStrings, AssignmentOverTheLastHandleDestroysTheStrings) {
  SharedText text;
  Strings handle;
  text.Fill(handle);
  handle = Strings();
  EXPECT_EQ(text.Sharers(), 0);
  EXPECT_EQ(handle.UseCount(), 1U);
}

TEST(ArrayPrimBufferPlain, ElementsHaveTheSizesOfTheirTypes) {
  static_assert(sizeof(*cls_ArrayPrimBuffer<int>::Make().Values()) == 4);
  static_assert(sizeof(*cls_ArrayPrimBuffer<float>::Make().Values()) == 4);
  static_assert(sizeof(*cls_ArrayPrimBuffer<double>::Make().Values()) == 8);
  static_assert(sizeof(*cls_ArrayPrimBuffer<bool>::Make().Values()) == 1);
  static_assert(sizeof(Strings) == sizeof(void*));
}
