#include "persist/backend/cls_HolderSlot.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

/// A container of an agent, as bulk arrays are.
class RingContainer : public cls_PC {
 public:
  ~RingContainer() override { Unlink(); }
  void Flush() const override { ++m_Flushes; }
  void Detach() override {
    ++m_Detaches;
    Unlink();
  }
  /// What an array does when another is assigned to it.
  void ForgetRing() { Reset(); }

  mutable int m_Flushes = 0;
  int m_Detaches = 0;
};

TEST(HolderSlot, IsFreeUntilAContainerIsLinked) {
  cls_HolderSlot slot;
  EXPECT_TRUE(slot.IsFree());
  EXPECT_EQ(slot.Holder(), nullptr);
  RingContainer container;
  slot.Link(&container);
  EXPECT_FALSE(slot.IsFree());
  EXPECT_EQ(slot.Holder(), &container);
}

TEST(HolderSlot, IsFreeAgainWhenTheContainerIsDestroyed) {
  cls_HolderSlot slot;
  {
    RingContainer container;
    slot.Link(&container);
  }
  EXPECT_TRUE(slot.IsFree());
}

TEST(HolderSlot, PruningForgetsAContainerThatForgotItsRing) {
  cls_HolderSlot slot;
  RingContainer container;
  slot.Link(&container);
  container.ForgetRing();
  EXPECT_FALSE(slot.IsFree()); // it still points at the container
  EXPECT_EQ(slot.Holder(), nullptr);
  slot.Prune();
  EXPECT_TRUE(slot.IsFree());
}

TEST(HolderSlot, PruningKeepsAContainer) {
  cls_HolderSlot slot;
  RingContainer container;
  slot.Link(&container);
  slot.Prune();
  EXPECT_EQ(slot.Holder(), &container);
}

TEST(HolderSlot, MayBeFlushedAndDetachedItself) {
  cls_HolderSlot slot;
  slot.Flush();
  slot.Detach();
  EXPECT_TRUE(slot.IsFree());
}

TEST(Holders, FlushAndDetachReachEachContainer) {
  cls_Holders<> holders;
  RingContainer first;
  RingContainer second;
  holders.Hold(&first);
  holders.Hold(&second);
  EXPECT_EQ(holders.Count(), 2);
  holders.Flush();
  EXPECT_EQ(first.m_Flushes, 1);
  EXPECT_EQ(second.m_Flushes, 1);
  holders.Detach();
  EXPECT_EQ(first.m_Detaches, 1);
  EXPECT_EQ(second.m_Detaches, 1);
  EXPECT_EQ(holders.Count(), 0);
}

TEST(Holders, AContainerThatForgotItsRingTakesNoOtherWithIt) {
  cls_Holders<> holders;
  RingContainer first;
  std::optional<RingContainer> second(std::in_place);
  RingContainer third;
  for (RingContainer* each : {&first, &*second, &third}) holders.Hold(each);
  second->ForgetRing();
  holders.Prune();
  second.reset(); // nothing refers to it any more
  EXPECT_EQ(holders.Count(), 2);
  holders.Flush();
  EXPECT_EQ(first.m_Flushes, 1);
  EXPECT_EQ(third.m_Flushes, 1);
}

TEST(Holders, AFreeSlotIsUsedAgain) {
  struct Slot : cls_HolderSlot {
    int m_Note = 0;
  };
  cls_Holders<Slot> holders;
  Slot& slot = holders.FreeSlot();
  RingContainer first;
  slot.Link(&first);
  EXPECT_NE(&holders.FreeSlot(), &slot);
  first.Detach();
  EXPECT_EQ(&holders.FreeSlot(), &slot);
}

/// A container that registers another one while it is flushed.
class Spreading : public RingContainer {
 public:
  Spreading(cls_Holders<>& holders, RingContainer& other) : m_Holders(holders), m_Other(other) {}
  void Flush() const override {
    RingContainer::Flush();
    if (m_Flushes == 1) m_Holders.Hold(&m_Other);
  }

 private:
  cls_Holders<>& m_Holders;
  RingContainer& m_Other;
};

TEST(Holders, AFlushMayRegisterContainers) {
  cls_Holders<> holders;
  RingContainer other;
  Spreading spreading(holders, other);
  holders.Hold(&spreading);
  holders.Flush();
  EXPECT_EQ(holders.Count(), 2);
  EXPECT_EQ(other.m_Flushes, 1);
}

} // namespace
