#include "platform/cow/cow_CountedHld.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

#include "tests/support/AllocationProbe.h"

namespace {

struct Base {
  virtual ~Base() { ++s_BaseGone; }
  static inline int s_BaseGone = 0;
};
struct Derived : Base {
  ~Derived() override { ++s_DerivedGone; }
  static inline int s_DerivedGone = 0;
};

class cow_CountedHldTest : public testing::Test {
 protected:
  void SetUp() override { Base::s_BaseGone = Derived::s_DerivedGone = 0; }
};

TEST_F(cow_CountedHldTest, DefaultHoldsNothingWithACountOfOne) {
  cow_CountedHld<Base> const holder;
  EXPECT_EQ(holder.Ptr(), nullptr);
  EXPECT_EQ(holder.UseCount(), 1);
}

TEST_F(cow_CountedHldTest, TakesOwnershipWithACountOfOne) {
  auto* const object = new Derived;
  cow_CountedHld<Base> const holder(object);
  EXPECT_EQ(holder.Ptr(), object);
  EXPECT_EQ(holder.UseCount(), 1);
}

TEST_F(cow_CountedHldTest, CopiesShareTheObjectAndTheCount) {
  cow_CountedHld<Base> const holder(new Derived);
  cow_CountedHld<Base> const copy(holder);
  EXPECT_EQ(copy.Ptr(), holder.Ptr());
  EXPECT_EQ(holder.UseCount(), 2);
  EXPECT_EQ(copy.UseCount(), 2);
}

TEST_F(cow_CountedHldTest, LastHolderDeletesThroughTheVirtualDestructor) {
  auto first = std::make_unique<cow_CountedHld<Base>>(new Derived);
  auto second = std::make_unique<cow_CountedHld<Base>>(*first);
  first.reset();
  EXPECT_EQ(Derived::s_DerivedGone, 0);
  EXPECT_EQ(second->UseCount(), 1);
  second.reset();
  EXPECT_EQ(Derived::s_DerivedGone, 1);
  EXPECT_EQ(Base::s_BaseGone, 1);
}

TEST_F(cow_CountedHldTest, AssignmentDropsTheOldObject) {
  cow_CountedHld<Base> a(new Derived);
  cow_CountedHld<Base> const b(new Base);
  a = b;
  EXPECT_EQ(Derived::s_DerivedGone, 1);
  EXPECT_EQ(a.Ptr(), b.Ptr());
  EXPECT_EQ(b.UseCount(), 2);
}

TEST_F(cow_CountedHldTest, AssigningToItselfChangesNothing) {
  cow_CountedHld<Base> holder(new Derived);
  cow_CountedHld<Base>& alias = holder;
  holder = alias;
  EXPECT_EQ(holder.UseCount(), 1);
  EXPECT_EQ(Derived::s_DerivedGone, 0);
  holder = std::move(alias);
  EXPECT_EQ(holder.UseCount(), 1);
  EXPECT_EQ(Derived::s_DerivedGone, 0);
}

TEST_F(cow_CountedHldTest, MovingTakesTheShare) {
  cow_CountedHld<Base> source(new Derived);
  Base* const object = source.Ptr();
  cow_CountedHld<Base> const target(std::move(source));
  EXPECT_EQ(target.Ptr(), object);
  EXPECT_EQ(target.UseCount(), 1);
  EXPECT_EQ(source.Ptr(), nullptr); // NOLINT(bugprone-use-after-move): what moving leaves is what is tested
  source = target;
  EXPECT_EQ(source.Ptr(), object);
  EXPECT_EQ(target.UseCount(), 2);
}

TEST_F(cow_CountedHldTest, SwapExchangesTheObjects) {
  cow_CountedHld<Base> a(new Derived);
  cow_CountedHld<Base> b;
  Base* const object = a.Ptr();
  a.Swap(b);
  EXPECT_EQ(a.Ptr(), nullptr);
  EXPECT_EQ(b.Ptr(), object);
}

TEST_F(cow_CountedHldTest, DeleteDestroysTheObjectAndReleasesTheCount) {
  cow_CountedHld<Base> holder(new Derived);
  holder.Delete();
  EXPECT_EQ(Derived::s_DerivedGone, 1);
  EXPECT_EQ(holder.Ptr(), nullptr);
  EXPECT_EQ(holder.UseCount(), 0);
}

TEST_F(cow_CountedHldTest, DeleteOfAnEmptyHolderReleasesOnlyTheCount) {
  cow_CountedHld<Base> holder;
  holder.Delete();
  EXPECT_EQ(Base::s_BaseGone, 0);
  EXPECT_EQ(holder.UseCount(), 0);
}

TEST_F(cow_CountedHldTest, DeletesTheObjectWhenThereIsNoMemoryForTheCount) {
  AllocationProbe probe;
  probe.FailAt(1);
  auto* const object = new Derived;
  EXPECT_THROW(cow_CountedHld<Base>{object}, std::bad_alloc);
  EXPECT_EQ(Derived::s_DerivedGone, 1);
}

TEST_F(cow_CountedHldTest, TakesOneCounterFromItsOwnAllocator) {
  AllocationProbe const probe;
  cow_CountedHld<Base> const holder;
  cow_CountedHld<Base> const copy(holder);
  EXPECT_EQ(probe.Count(), 1);
  EXPECT_EQ(probe.Bytes(), sizeof(cow_Counter));
  EXPECT_EQ(sizeof(cow_Counter), 4U);
  EXPECT_EQ(sizeof(holder), 2 * sizeof(void*));
}

} // namespace
