#include "persist/identity/cls_Uid.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <type_traits>
#include <vector>

#include "tests/support/TracedHistory.h"

namespace {

unsigned int Count(cls_Uid const& uid) {
  return uid.Entry()->m_RefCount;
}

TEST(cls_Uid, IsOnePointerWide) {
  EXPECT_EQ(sizeof(cls_Uid), sizeof(void*));
}

TEST(cls_Uid, DefaultsNeverShareAnEntry) {
  std::vector<cls_Uid> const uids(5000); // each default-constructed in place
  std::set<cls_UidCatalogEntry*> entries;
  for (cls_Uid const& uid : uids) {
    ASSERT_NE(uid.Entry(), nullptr);
    ASSERT_EQ(Count(uid), 1U);
    entries.insert(uid.Entry());
  }
  EXPECT_EQ(entries.size(), uids.size());
}

TEST(cls_Uid, CopyRefersToTheSameEntry) {
  cls_Uid const uid;
  cls_Uid const copy(uid);
  EXPECT_EQ(copy.Entry(), uid.Entry());
  EXPECT_EQ(Count(uid), 2U);
}

TEST(cls_Uid, CopyKeepsTheEntryAlive) {
  auto uid = std::make_unique<cls_Uid>();
  cls_UidCatalogEntry* const entry = uid->Entry();
  cls_Uid const copy(*uid);
  uid.reset();
  EXPECT_EQ(Count(copy), 1U);
  EXPECT_NE(cls_Uid().Entry(), entry);
}

TEST(cls_Uid, EntryConstructorTakesAReferenceOfItsOwn) {
  cls_Uid const uid;
  {
    cls_Uid const adopted(uid.Entry());
    EXPECT_EQ(adopted.Entry(), uid.Entry());
    EXPECT_EQ(Count(uid), 2U);
  }
  EXPECT_EQ(Count(uid), 1U);
}

TEST(cls_Uid, EntryConstructorIsExplicit) {
  EXPECT_FALSE((std::is_convertible_v<cls_UidCatalogEntry*, cls_Uid>));
  EXPECT_TRUE((std::is_constructible_v<cls_Uid, cls_UidCatalogEntry*>));
}

TEST(cls_Uid, AssignmentReleasesTheOldEntryAndTakesTheNew) {
  cls_Uid a;
  cls_Uid const keepsOld(a);
  cls_Uid const b;
  EXPECT_EQ(&(a = b), &a);
  EXPECT_EQ(a.Entry(), b.Entry());
  EXPECT_EQ(Count(b), 2U);
  EXPECT_EQ(Count(keepsOld), 1U);
}

TEST(cls_Uid, AssignmentOfTheLastReferenceFreesTheOldEntry) {
  cls_Uid a;
  cls_Uid const b;
  cls_UidCatalogEntry* const old = a.Entry();
  a = b;
  EXPECT_EQ(cls_Uid().Entry(), old);
}

TEST(cls_Uid, AssigningAnotherObjectOfTheSameIdentityKeepsTheCount) {
  cls_Uid a;
  cls_Uid const b(a);
  a = b;
  EXPECT_EQ(a.Entry(), b.Entry());
  EXPECT_EQ(Count(a), 2U);
}

TEST(cls_Uid, SelfAssignmentKeepsTheCount) {
  std::vector<int> ended;
  {
    cls_Uid uid;
    new TracedHistory(uid, 1, &ended);
    cls_UidCatalogEntry* const entry = uid.Entry();
    cls_Uid const& alias = uid;
    EXPECT_EQ(&(uid = alias), &uid);
    EXPECT_EQ(uid.Entry(), entry);
    EXPECT_EQ(Count(uid), 1U);
    EXPECT_TRUE(ended.empty());
  }
  EXPECT_EQ(ended, std::vector<int>{1});
}

TEST(cls_Uid, SourceOwnedByTheOldEntrysHistorySurvivesTheAssignment) {
  cls_Uid a;
  auto* const owned = new cls_Uid;
  cls_UidCatalogEntry* const entry = owned->Entry();
  (new TracedHistory(a, 1))->AtEnd([owned] { delete owned; });
  a = *owned;
  EXPECT_EQ(a.Entry(), entry);
  EXPECT_EQ(Count(a), 1U);
}

TEST(cls_Uid, AllocateUidIsAFreshIdentity) {
  cls_Uid const a = cls_Uid::AllocateUid();
  cls_Uid const b = cls_Uid::AllocateUid();
  EXPECT_NE(a.Entry(), b.Entry());
  EXPECT_EQ(Count(a), 1U);
  EXPECT_EQ(Count(b), 1U);
}

TEST(cls_Uid, NewUidOnTheLastReferenceRecyclesBeforeItTakes) {
  cls_Uid uid;
  cls_UidCatalogEntry* const old = uid.Entry();
  uid.NewUid();
  EXPECT_EQ(uid.Entry(), old);
  EXPECT_EQ(Count(uid), 1U);
}

TEST(cls_Uid, NewUidOnTheLastReferenceEndsTheHistory) {
  std::vector<int> ended;
  cls_Uid uid;
  new TracedHistory(uid, 1, &ended);
  uid.NewUid();
  EXPECT_EQ(ended, std::vector<int>{1});
  EXPECT_EQ(uid.Entry()->m_History.Next(), &uid.Entry()->m_History);
}

TEST(cls_Uid, NewUidKeepsTheIdentityOfOtherHolders) {
  std::vector<int> ended;
  cls_Uid uid;
  cls_Uid const other(uid);
  new TracedHistory(uid, 1, &ended);
  cls_UidCatalogEntry* const old = uid.Entry();
  uid.NewUid();
  EXPECT_NE(uid.Entry(), old);
  EXPECT_EQ(other.Entry(), old);
  EXPECT_EQ(Count(uid), 1U);
  EXPECT_EQ(Count(other), 1U);
  EXPECT_TRUE(ended.empty());
}

TEST(cls_Uid, LastReleaseEndsEveryHistoryEntryFromTheAnchorOn) {
  std::vector<int> ended;
  auto uid = std::make_unique<cls_Uid>();
  cls_Uid const other; // a neighbour with its own history
  new TracedHistory(other, 99, &ended);
  for (int i = 1; i <= 5; ++i) new TracedHistory(*uid, i, &ended);
  {
    cls_Uid const copy(*uid);
    (void)copy;
  }
  EXPECT_TRUE(ended.empty());
  uid.reset();
  EXPECT_EQ(ended, (std::vector<int>{5, 4, 3, 2, 1}));
}

TEST(cls_Uid, EntryUnlinkedBeforeTheReleaseIsNotDestroyed) {
  std::vector<int> ended;
  auto uid = std::make_unique<cls_Uid>();
  TracedHistory kept(*uid, 1, &ended);
  new TracedHistory(*uid, 2, &ended);
  kept.UnLink();
  uid.reset();
  EXPECT_EQ(ended, std::vector<int>{2});
}

TEST(cls_Uid, HistoryDestructorMayUnlinkAndDestroyAnotherEntry) {
  std::vector<int> ended;
  auto uid = std::make_unique<cls_Uid>();
  auto* const victim = new TracedHistory(*uid, 1, &ended);
  new TracedHistory(*uid, 2, &ended);
  (new TracedHistory(*uid, 3, &ended))->AtEnd([victim] { delete victim; });
  uid.reset();
  EXPECT_EQ(ended, (std::vector<int>{3, 1, 2}));
}

TEST(cls_Uid, HistoryDestructorMayLinkAnotherEntry) {
  std::vector<int> ended;
  auto uid = std::make_unique<cls_Uid>();
  cls_HistoryEntry* const anchor = &uid->Entry()->m_History;
  (new TracedHistory(*uid, 1, &ended))->AtEnd([&] { (new TracedHistory(2, &ended))->Link(anchor); });
  uid.reset();
  EXPECT_EQ(ended, (std::vector<int>{1, 2}));
}

TEST(cls_Uid, HistoryDestructorMayMakeAndReleaseIdentities) {
  std::vector<int> ended;
  auto uid = std::make_unique<cls_Uid>();
  cls_UidCatalogEntry* const dying = uid->Entry();
  for (int i = 0; i < 3; ++i)
    (new TracedHistory(*uid, i, &ended))->AtEnd([dying] {
      std::vector<cls_Uid> const made(3000); // needs a new block, too
      for (cls_Uid const& own : made) ASSERT_NE(own.Entry(), dying);
    });
  uid.reset();
  EXPECT_EQ(ended.size(), 3U);
  EXPECT_EQ(cls_Uid().Entry(), dying); // it was pushed on the free list last
}

TEST(cls_Uid, HistoryEntriesMayHoldIdentitiesThatHoldHistories) {
  std::vector<int> ended;
  auto first = std::make_unique<cls_Uid>();
  cls_Uid holder(*first);
  for (int i = 0; i < 1000; ++i) {
    auto const next = std::make_shared<cls_Uid>();
    (new TracedHistory(holder, i, &ended))->AtEnd([next] { (void)next; });
    holder = *next;
  }
  cls_UidCatalogEntry* const last = holder.Entry();
  holder = *first;
  first.reset();
  EXPECT_TRUE(ended.empty());
  holder.NewUid();
  ASSERT_EQ(ended.size(), 1000U);
  EXPECT_EQ(ended.front(), 0);
  EXPECT_EQ(ended.back(), 999);
  EXPECT_NE(holder.Entry(), last);
}

} // namespace
