#include "persist/backend/cls_PC.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

/// A container that counts its calls, and exposes the protected operations.
class Container : public cls_PC {
 public:
  void Flush() const override { ++m_Flushes; }
  void Detach() override { ++m_Detaches; }
  using cls_PC::Reset;
  using cls_PC::Unlink;

  mutable int m_Flushes = 0;
  int m_Detaches = 0;
};

using Ring = std::vector<cls_PC const*>;

/// The ring from a node on, following the next links. Stops where the ring should have closed.
Ring RingOf(cls_PC const& start) {
  constexpr std::size_t TooMany = 100;
  Ring ring{&start};
  for (cls_PC const* node = start.Next(); node != &start && ring.size() < TooMany; node = node->Next())
    ring.push_back(node);
  return ring;
}

/// The node before this one. Only insertion reveals it: a new node goes right between the two.
cls_PC const* PreviousOf(cls_PC& node) {
  cls_PC const* previous = nullptr;
  Container probe;
  node.Link(&probe);
  for (cls_PC const* at : RingOf(probe))
    if (at->Next() == &probe) previous = at;
  return previous;
}

/// Expects a ring of exactly these nodes, in this order in both directions.
void ExpectRing(std::vector<cls_PC*> const& nodes) {
  EXPECT_EQ(RingOf(*nodes.front()), Ring(nodes.begin(), nodes.end()));
  for (std::size_t i = 0; i < nodes.size(); ++i)
    EXPECT_EQ(PreviousOf(*nodes[i]), nodes[(i + nodes.size() - 1) % nodes.size()]) << i;
}

class PC : public ::testing::Test {
 protected:
  Container m_A;
  Container m_B;
  Container m_C;
  Container m_D;
};

using PCDeathTest = PC;

} // namespace

TEST_F(PC, IsCalledThroughTheBase) {
  cls_PC& base = m_A;
  base.Flush();
  base.Detach();
  base.Detach();
  EXPECT_EQ(m_A.m_Flushes, 1);
  EXPECT_EQ(m_A.m_Detaches, 2);
}

TEST_F(PC, IsDestroyedThroughTheBase) {
  m_A.Link(&m_B);
  cls_PC* const base = new Container;
  m_A.Link(base);
  delete base;
  ExpectRing({&m_A, &m_B});
}

TEST_F(PC, IsNotCopied) {
  static_assert(!std::is_copy_constructible_v<cls_PC> && !std::is_copy_assignable_v<cls_PC>);
}

TEST_F(PC, NewNodeIsLinkedToItself) {
  EXPECT_EQ(m_A.Next(), &m_A);
  ExpectRing({&m_A});
}

TEST_F(PC, LinkInsertsTheOtherBeforeTheCalledNode) {
  m_A.Link(&m_B);
  ExpectRing({&m_A, &m_B});
  m_B.Link(&m_C);
  ExpectRing({&m_A, &m_C, &m_B});
}

TEST_F(PC, LinkToOneNodeAppendsAtTheTailOfItsRing) {
  m_A.Link(&m_B);
  m_A.Link(&m_C);
  m_A.Link(&m_D);
  ExpectRing({&m_A, &m_B, &m_C, &m_D});
}

TEST_F(PC, LinkMovesANodeOutOfAnotherRing) {
  m_A.Link(&m_B);
  m_C.Link(&m_D);
  m_A.Link(&m_D);
  ExpectRing({&m_A, &m_B, &m_D});
  ExpectRing({&m_C});
}

TEST_F(PC, LinkMovesANodeOutOfALongerRing) {
  Container node;
  m_A.Link(&m_B);
  m_A.Link(&node);
  m_A.Link(&m_C);
  m_D.Link(&node);
  ExpectRing({&m_A, &m_B, &m_C});
  ExpectRing({&m_D, &node});
}

TEST_F(PC, LinkMovesTheHeadOfAnotherRingAndNotTheRest) {
  m_A.Link(&m_B);
  m_A.Link(&m_C);
  m_D.Link(&m_A);
  ExpectRing({&m_D, &m_A});
  ExpectRing({&m_B, &m_C});
}

TEST_F(PC, LinkIntoItsOwnRingMovesTheNodeToTheTail) {
  m_A.Link(&m_B);
  m_A.Link(&m_C);
  m_A.Link(&m_D);
  m_A.Link(&m_B);
  ExpectRing({&m_A, &m_C, &m_D, &m_B});
  m_A.Link(&m_B); // is the tail
  ExpectRing({&m_A, &m_C, &m_D, &m_B});
}

TEST_F(PC, LinkInARingOfTwoKeepsTheRing) {
  m_A.Link(&m_B);
  m_A.Link(&m_B);
  ExpectRing({&m_A, &m_B});
  m_B.Link(&m_A);
  ExpectRing({&m_A, &m_B});
}

TEST_F(PC, LinkOfTheNodeItselfTakesItOutOfItsRing) {
  m_A.Link(&m_A);
  ExpectRing({&m_A});
  m_A.Link(&m_B);
  m_A.Link(&m_C);
  m_B.Link(&m_B);
  ExpectRing({&m_A, &m_C});
  ExpectRing({&m_B});
}

TEST_F(PC, LinkCallsNeitherFlushNorDetach) {
  m_A.Link(&m_B);
  m_C.Link(&m_B);
  for (Container const* node : {&m_A, &m_B, &m_C}) {
    EXPECT_EQ(node->m_Flushes, 0);
    EXPECT_EQ(node->m_Detaches, 0);
  }
}

TEST_F(PC, UnlinkJoinsTheNeighbours) {
  m_A.Link(&m_B);
  m_A.Link(&m_C);
  m_B.Unlink();
  ExpectRing({&m_A, &m_C});
  ExpectRing({&m_B});
}

TEST_F(PC, UnlinkOfALoneNodeDoesNothing) {
  m_A.Unlink();
  m_A.Unlink();
  ExpectRing({&m_A});
}

TEST_F(PC, UnlinkedNodeCanBeLinkedAgain) {
  m_A.Link(&m_B);
  m_B.Unlink();
  m_A.Link(&m_C);
  m_A.Link(&m_B);
  ExpectRing({&m_A, &m_C, &m_B});
}

TEST_F(PC, ResetDoesNotTouchTheNeighbours) {
  m_A.Link(&m_B);
  m_A.Link(&m_C);
  m_B.Reset();
  EXPECT_EQ(m_B.Next(), &m_B);
  EXPECT_EQ(m_A.Next(), &m_B); // as before
  EXPECT_EQ(m_C.Next(), &m_A);
  ExpectRing({&m_B});
  m_A.Reset(); // so that no node is left linked to a destroyed one
  m_C.Reset();
}

TEST_F(PC, DestructionLeavesTheFormerNeighboursLinkedToEachOther) {
  m_A.Link(&m_B);
  auto node = std::make_unique<Container>();
  m_A.Link(node.get());
  m_A.Link(&m_C);
  ExpectRing({&m_A, &m_B, node.get(), &m_C});
  node.reset();
  ExpectRing({&m_A, &m_B, &m_C});
}

TEST_F(PC, DestructionInARingOfTwoLeavesALoneNode) {
  auto node = std::make_unique<Container>();
  node->Link(&m_A);
  node.reset();
  ExpectRing({&m_A});
}

TEST_F(PC, DestructionOfTheHeadLeavesTheRest) {
  auto head = std::make_unique<Container>();
  head->Link(&m_A);
  head->Link(&m_B);
  head->Link(&m_C);
  head.reset();
  ExpectRing({&m_A, &m_B, &m_C});
}

TEST_F(PCDeathTest, FlushNotOverriddenPrintsAnErrorAndAborts) {
  cls_PC const base;
  EXPECT_EXIT(base.Flush(), ::testing::KilledBySignal(SIGABRT),
              "^Can't flush non-specialized cls_PC object\\.\n$");
}

TEST_F(PCDeathTest, DetachNotOverriddenPrintsAnErrorAndAborts) {
  cls_PC base;
  EXPECT_EXIT(base.Detach(), ::testing::KilledBySignal(SIGABRT),
              "^Can't detach non-specialized cls_PC object\\.\n$");
}
