#include "persist/pointers/cls_LaterReads.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

/// Pointers that are filled with the number of the filling.
class LaterReads : public testing::Test {
 protected:
  ~LaterReads() override { s_OnFill = nullptr; }

  static void Fill(cls_LaterReads::Read const& read) {
    int const number = ++s_Fillings;
    if (s_OnFill) s_OnFill(number);
    if (read.m_Target != nullptr) *static_cast<int*>(read.m_Target) = number;
  }
  static cls_LaterReads::Read To(int& target, void const* owner = nullptr) {
    return {{}, &target, &Fill, owner};
  }
  void SetUp() override { s_Fillings = 0; }

  static inline int s_Fillings = 0;
  static inline std::function<void(int)> s_OnFill;
  cls_LaterReads m_Reads;
};

TEST_F(LaterReads, AreFilledInTheirOrderThoseAddedMeanwhileNext) {
  int a = 0, b = 0, c = 0;
  EXPECT_FALSE(m_Reads.IsOn());
  auto const mark = m_Reads.Begin();
  EXPECT_TRUE(m_Reads.IsOn());
  m_Reads.Add(To(a));
  m_Reads.Add(To(b));
  s_OnFill = [&](int number) {
    if (number == 1) m_Reads.Add(To(c));
  };
  m_Reads.Finish(mark);
  EXPECT_EQ((std::vector{a, c, b}), (std::vector{1, 2, 3}));
  m_Reads.Finish(mark);
  EXPECT_EQ(s_Fillings, 3) << "each once";
  m_Reads.End(mark);
  EXPECT_FALSE(m_Reads.IsOn());
}

TEST_F(LaterReads, AreFilledHoweverManyThereAre) {
  std::vector<int> targets(20'000);
  auto const mark = m_Reads.Begin();
  for (std::size_t i = 0; i < 10'000; ++i) m_Reads.Add(To(targets[i]));
  s_OnFill = [&](int number) {
    if (number % 2 == 1) m_Reads.Add(To(targets[static_cast<std::size_t>(10'000 + number / 2)]));
  };
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  for (int i = 0; i < 10'000; ++i) {
    ASSERT_EQ(targets[static_cast<std::size_t>(i)], 2 * i + 1);
    ASSERT_EQ(targets[static_cast<std::size_t>(10'000 + i)], 2 * i + 2);
  }
}

TEST_F(LaterReads, NestedLoadFillsItsOwnOnly) {
  int outer = 0, inner = 0;
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(outer));
  auto const nested = m_Reads.Begin();
  m_Reads.Add(To(inner));
  m_Reads.Finish(nested);
  m_Reads.End(nested);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(outer, 0);
  EXPECT_TRUE(m_Reads.IsOn());
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(outer, 2);
}

TEST_F(LaterReads, FailedLoadForgetsWhatIsLeft) {
  int a = 0, b = 0;
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(a));
  m_Reads.Add(To(b));
  s_OnFill = [](int) { throw std::runtime_error("no"); };
  EXPECT_THROW(m_Reads.Finish(mark), std::runtime_error);
  m_Reads.End(mark);
  s_OnFill = nullptr;
  auto const next = m_Reads.Begin();
  m_Reads.Finish(next);
  m_Reads.End(next);
  EXPECT_EQ(s_Fillings, 1);
  EXPECT_EQ(b, 0);
}

TEST_F(LaterReads, ReferencesAreFilledLast) {
  int reference = 0, a = 0, b = 0, meanwhile = 0;
  auto const mark = m_Reads.Begin();
  EXPECT_TRUE(m_Reads.AddReference(To(reference)));
  EXPECT_TRUE(m_Reads.IsWaiting());
  m_Reads.Add(To(a));
  s_OnFill = [&](int number) {
    if (number == 1) {
      EXPECT_TRUE(m_Reads.AddReference(To(meanwhile)));
      m_Reads.Add(To(b));
    }
  };
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ((std::vector{a, b, reference, meanwhile}), (std::vector{1, 2, 3, 4}));
  EXPECT_FALSE(m_Reads.IsWaiting());
}

TEST_F(LaterReads, OnlySoManyReferencesWait) {
  std::vector<int> targets(cls_LaterReads::MaxReferences + 1);
  auto const mark = m_Reads.Begin();
  for (std::size_t i = 0; i + 1 < targets.size(); ++i) ASSERT_TRUE(m_Reads.AddReference(To(targets[i])));
  EXPECT_FALSE(m_Reads.AddReference(To(targets.back())));
  m_Reads.Finish(mark);
  EXPECT_TRUE(m_Reads.AddReference(To(targets.back())));
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  for (int i = 0; int const target : targets) ASSERT_EQ(target, ++i);
}

TEST_F(LaterReads, NestedLoadFillsItsReferencesOnly) {
  int outer = 0, inner = 0;
  auto const mark = m_Reads.Begin();
  EXPECT_TRUE(m_Reads.AddReference(To(outer)));
  auto const nested = m_Reads.Begin();
  EXPECT_TRUE(m_Reads.AddReference(To(inner)));
  m_Reads.Finish(nested);
  m_Reads.End(nested);
  EXPECT_EQ((std::vector{outer, inner}), (std::vector{0, 1}));
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(outer, 2);
}

TEST_F(LaterReads, CallsAreMadeOnceAndWhenAllPointersAreFilled) {
  struct Object {
    int m_Pointer = 0;
    int m_Seen = 0;
    int m_Calls = 0;
  } object;
  auto const call = [](void* called, int argument) {
    auto& it = *static_cast<Object*>(called);
    it.m_Seen = it.m_Pointer + argument;
    ++it.m_Calls;
  };
  auto const mark = m_Reads.Begin();
  m_Reads.AddCall({&object, 100, call});
  m_Reads.Add(To(object.m_Pointer));
  m_Reads.Finish(mark);
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(object.m_Seen, 101);
  EXPECT_EQ(object.m_Calls, 1);
}

TEST_F(LaterReads, NothingIsLeftForLaterMeanwhile) {
  auto const mark = m_Reads.Begin();
  {
    cls_LaterReads::AtOnce const atOnce(&m_Reads);
    cls_LaterReads::AtOnce const nested(&m_Reads);
    cls_LaterReads::AtOnce const none(nullptr);
    EXPECT_FALSE(m_Reads.IsOn());
  }
  EXPECT_TRUE(m_Reads.IsOn());
  m_Reads.End(mark);
}

// --- Owners

struct Owned {
  int m_Inside = 0;
  int m_Owner = 0;
};

TEST_F(LaterReads, PointersMoveAlongWithTheirOwner) {
  Owned from, to;
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(from.m_Inside, &from.m_Owner));
  m_Reads.AddCall({&from, 7, [](void* object, int number) { static_cast<Owned*>(object)->m_Owner = number; },
                   &from.m_Owner});
  cls_LaterReads::OwnerMoved(&from.m_Owner, &to.m_Owner);
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(from.m_Inside, 0);
  EXPECT_EQ(to.m_Inside, 1);
  EXPECT_EQ(from.m_Owner, 0);
  EXPECT_EQ(to.m_Owner, 7);
}

TEST_F(LaterReads, PointersOfACopyAreFilledToo) {
  Owned from, to;
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(from.m_Inside, &from.m_Owner));
  m_Reads.AddCall({&from, 7, [](void* object, int number) { static_cast<Owned*>(object)->m_Owner = number; },
                   &from.m_Owner});
  cls_LaterReads::OwnerCopied(&from.m_Owner, &to.m_Owner);
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ((std::vector{from.m_Inside, to.m_Inside}), (std::vector{1, 2}));
  EXPECT_EQ((std::vector{from.m_Owner, to.m_Owner}), (std::vector{7, 7}));
}

TEST_F(LaterReads, CopyThatIsMadeWhileItsPointerIsFilledGetsItToo) {
  Owned from, to;
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(from.m_Inside, &from.m_Owner));
  s_OnFill = [&](int number) {
    if (number == 1) cls_LaterReads::OwnerCopied(&from.m_Owner, &to.m_Owner);
  };
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ((std::vector{from.m_Inside, to.m_Inside}), (std::vector{1, 2}));
}

TEST_F(LaterReads, CopyOfAFilledPointerIsLeftAlone) {
  Owned from, to;
  int last = 0;
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(from.m_Inside, &from.m_Owner));
  m_Reads.Add(To(last));
  s_OnFill = [&](int number) {
    if (number == 2) cls_LaterReads::OwnerCopied(&from.m_Owner, &to.m_Owner); // with the pointer that it has
  };
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(s_Fillings, 2);
  EXPECT_EQ(to.m_Inside, 0);
}

TEST_F(LaterReads, CopyThatACallMakesIsNotCalled) {
  static Owned s_Copy;
  s_Copy = {};
  Owned from;
  auto const mark = m_Reads.Begin();
  m_Reads.AddCall({&from, 1,
                   [](void* object, int number) {
                     auto& called = *static_cast<Owned*>(object);
                     called.m_Inside += number;
                     cls_LaterReads::OwnerCopied(&called.m_Owner, &s_Copy.m_Owner);
                   },
                   &from.m_Owner});
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(from.m_Inside, 1);
  EXPECT_EQ(s_Copy.m_Inside, 0);
}

TEST_F(LaterReads, ReferencesFollowTheirOwnerToo) {
  Owned from, to, copy;
  auto gone = std::make_unique<Owned>();
  auto const mark = m_Reads.Begin();
  EXPECT_TRUE(m_Reads.AddReference(To(from.m_Inside, &from.m_Owner)));
  EXPECT_TRUE(m_Reads.AddReference(To(gone->m_Inside, &gone->m_Owner)));
  cls_LaterReads::OwnerMoved(&from.m_Owner, &to.m_Owner);
  cls_LaterReads::OwnerCopied(&to.m_Owner, &copy.m_Owner);
  cls_LaterReads::OwnerGone(&gone->m_Owner);
  gone.reset();
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ((std::vector{from.m_Inside, to.m_Inside, copy.m_Inside}), (std::vector{0, 1, 2}));
}

TEST_F(LaterReads, WhatAnEndedOwnerWaitedForIsForgotten) {
  auto gone = std::make_unique<Owned>();
  Owned stays;
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(gone->m_Inside, &gone->m_Owner));
  m_Reads.AddCall({gone.get(), 7, [](void*, int) { FAIL() << "the object is gone"; }, &gone->m_Owner});
  m_Reads.Add(To(stays.m_Inside, &stays.m_Owner));
  cls_LaterReads::OwnerGone(&gone->m_Owner);
  gone.reset();
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(stays.m_Inside, 1);
}

TEST_F(LaterReads, OwnerMayMoveOrEndWhileItsPointerIsFilled) {
  Owned first, moved;
  auto gone = std::make_unique<Owned>();
  auto const mark = m_Reads.Begin();
  m_Reads.Add(To(first.m_Inside, &first.m_Owner));
  m_Reads.Add(To(gone->m_Inside, &gone->m_Owner));
  s_OnFill = [&](int number) {
    if (number == 1) return cls_LaterReads::OwnerMoved(&first.m_Owner, &moved.m_Owner);
    cls_LaterReads::OwnerGone(&gone->m_Owner);
    gone.reset();
  };
  m_Reads.Finish(mark);
  m_Reads.End(mark);
  EXPECT_EQ(first.m_Inside, 0);
  EXPECT_EQ(moved.m_Inside, 1);
  EXPECT_EQ(s_Fillings, 2);
}

} // namespace
