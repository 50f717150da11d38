#include "platform/cow/cow_COW.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>

#include "tests/support/AllocationProbe.h"
#include "tests/support/CountedValue.h"

namespace {

struct Shape {
  virtual ~Shape() = default;
  virtual Shape* Copy() const = 0;
  virtual int Sides() const = 0;
  int m_Mark = 0;
  static inline int s_Clones = 0;
};
struct Square : Shape {
  Square* Copy() const override {
    ++s_Clones;
    return new Square(*this);
  }
  int Sides() const override { return 4; }
};
struct Unclonable : Shape {
  Shape* Copy() const override { throw std::runtime_error("no clone"); }
  int Sides() const override { return 0; }
};

using Held = cow_COW<CountedValue, cow_Direct<CountedValue>>;
using HeldShape = cow_COW<Shape, cow_Virtual<Shape>>;

class cow_COWTest : public testing::Test {
 protected:
  void SetUp() override {
    CountedValue::ResetCounts();
    Shape::s_Clones = 0;
  }
  void TearDown() override { EXPECT_EQ(CountedValue::s_Alive, 0); }
};

TEST_F(cow_COWTest, DefaultHoldsNothingWithACountOfOne) {
  Held const holder;
  EXPECT_TRUE(holder.IsNull());
  EXPECT_EQ(holder.ConstPtr(), nullptr);
  EXPECT_EQ(holder.UseCount(), 1);
}

TEST_F(cow_COWTest, HolderOfNullCountsItself) {
  cow_COW<int, cow_Direct<int>> const holder(static_cast<int*>(nullptr));
  EXPECT_TRUE(holder.IsNull());
  EXPECT_EQ(holder.UseCount(), 1);
}

TEST_F(cow_COWTest, SharingAndReadingCopiesNothing) {
  Held const holder(new CountedValue(7));
  Held const copy(holder);
  Held third;
  third = copy;
  EXPECT_EQ(holder.UseCount(), 3);
  EXPECT_EQ(third.ConstGet().m_Value, 7);
  EXPECT_EQ(third.ConstPtr(), holder.ConstPtr());
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_COWTest, WritingASoleHolderCopiesNothing) {
  Held holder(new CountedValue(7));
  CountedValue const* const object = holder.ConstPtr();
  holder.Get().m_Value = 8;
  EXPECT_EQ(holder.ConstPtr(), object);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_COWTest, FirstWriteOfASharingHolderCopiesOnce) {
  Held const holder(new CountedValue(7));
  Held copy(holder);
  copy.Get().m_Value = 8;
  copy.Get().m_Value = 9;
  EXPECT_EQ(CountedValue::s_Copies, 1);
  EXPECT_EQ(holder.ConstGet().m_Value, 7);
  EXPECT_EQ(copy.ConstGet().m_Value, 9);
  EXPECT_EQ(holder.UseCount(), 1);
  EXPECT_EQ(copy.UseCount(), 1);
}

TEST_F(cow_COWTest, WriteAfterTheOthersAreGoneCopiesNothing) {
  Held holder(new CountedValue(7));
  { Held const copy(holder); }
  holder.Get().m_Value = 8;
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_COWTest, VirtualPolicyClonesTheMostDerivedClass) {
  HeldShape const holder(new Square);
  HeldShape copy(holder);
  copy.Get().m_Mark = 5;
  EXPECT_EQ(Shape::s_Clones, 1);
  EXPECT_NE(dynamic_cast<Square const*>(copy.ConstPtr()), nullptr);
  EXPECT_EQ(copy.ConstGet().Sides(), 4);
  EXPECT_EQ(holder.ConstGet().m_Mark, 0);
}

TEST_F(cow_COWTest, VirtualPolicyAcceptsACopyThatReturnsTheRootType) {
  struct Triangle : Shape {
    Shape* Copy() const override { return new Triangle(*this); }
    int Sides() const override { return 3; }
  };
  using HeldTriangle = cow_COW<Triangle, cow_Virtual<Triangle>>;
  HeldTriangle const holder(new Triangle);
  HeldTriangle copy(holder);
  copy.Get().m_Mark = 5;
  EXPECT_EQ(copy.ConstGet().Sides(), 3);
  EXPECT_EQ(holder.ConstGet().m_Mark, 0);
}

TEST_F(cow_COWTest, VirtualPolicyClonesOnlyWhenShared) {
  HeldShape holder(new Square);
  holder.Get().m_Mark = 1;
  HeldShape copy(holder);
  EXPECT_EQ(copy.ConstGet().m_Mark, 1);
  EXPECT_EQ(Shape::s_Clones, 0);
  holder.Get().m_Mark = 2;
  EXPECT_EQ(Shape::s_Clones, 1);
  copy.Get().m_Mark = 3; // it is the only holder of the first object now
  EXPECT_EQ(Shape::s_Clones, 1);
}

TEST_F(cow_COWTest, KeepsItsShareWhenTheCloneFails) {
  HeldShape const holder(new Unclonable);
  HeldShape copy(holder);
  EXPECT_THROW((void)copy.Get(), std::runtime_error);
  EXPECT_EQ(copy.ConstPtr(), holder.ConstPtr());
  EXPECT_EQ(holder.UseCount(), 2);
}

TEST_F(cow_COWTest, KeepsItsShareWhenThereIsNoMemoryForTheCount) {
  Held const holder(new CountedValue(7));
  Held copy(holder);
  AllocationProbe probe;
  probe.FailAt(1);
  EXPECT_THROW((void)copy.Get(), std::bad_alloc);
  EXPECT_EQ(copy.ConstPtr(), holder.ConstPtr());
  EXPECT_EQ(holder.UseCount(), 2);
  EXPECT_EQ(CountedValue::s_Alive, 1);
}

TEST_F(cow_COWTest, DirectPolicyUsesTheCopyConstructor) {
  CountedValue const value(11);
  std::unique_ptr<CountedValue> const copy(cow_Direct<CountedValue>::Copy(value));
  EXPECT_EQ(copy->m_Value, 11);
  EXPECT_EQ(CountedValue::s_Copies, 1);
}

} // namespace
