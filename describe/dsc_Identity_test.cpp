#include "describe/dsc_Identity.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/support/HeapCount.h"

namespace {

TEST(dsc_Identity, IsTakenOnce) {
  dsc_Identity const identity;
  cls_UidCatalogEntry* const entry = identity.Own().Entry();
  EXPECT_EQ(identity.Own().Entry(), entry);
  EXPECT_EQ(entry->m_RefCount, 1U);
}

TEST(dsc_Identity, OwnStaysTheSameWhenThereAreCollections) {
  dsc_Identity const identity;
  cls_UidCatalogEntry* const entry = identity.Own().Entry();
  cls_UidCatalogEntry* const second = identity.OfCollection(1, 3).Entry();
  EXPECT_EQ(identity.Own().Entry(), entry);
  EXPECT_EQ(identity.OfCollection(1, 3).Entry(), second);
  EXPECT_NE(identity.OfCollection(0, 3).Entry(), second);
  EXPECT_NE(identity.OfCollection(2, 3).Entry(), entry);
}

TEST(dsc_Identity, CopyHasItsOwn) {
  dsc_Identity const identity;
  cls_Uid const own = identity.Own();
  cls_Uid const list = identity.OfCollection(0, 1);
  dsc_Identity const copy(identity);
  EXPECT_NE(copy.Own().Entry(), own.Entry());
  EXPECT_NE(copy.OfCollection(0, 1).Entry(), list.Entry());
}

TEST(dsc_Identity, AssignedCopyKeepsThatOfTheTarget) {
  dsc_Identity target;
  cls_Uid const own = target.Own();
  dsc_Identity const source;
  static_cast<void>(source.OfCollection(0, 2));
  target = source;
  EXPECT_EQ(target.Own().Entry(), own.Entry());
}

TEST(dsc_Identity, MoveTakesAllAlong) {
  dsc_Identity source;
  cls_Uid const own = source.Own();
  cls_Uid const list = source.OfCollection(0, 1);
  dsc_Identity target(std::move(source));
  EXPECT_EQ(target.Own().Entry(), own.Entry());
  EXPECT_EQ(target.OfCollection(0, 1).Entry(), list.Entry());
  dsc_Identity assigned;
  static_cast<void>(assigned.OfCollection(0, 1));
  assigned = std::move(target);
  EXPECT_EQ(assigned.OfCollection(0, 1).Entry(), list.Entry());
  dsc_Identity& self = assigned;
  assigned = std::move(self);
  EXPECT_EQ(assigned.Own().Entry(), own.Entry());
  static_assert(std::is_nothrow_move_constructible_v<dsc_Identity>);
  static_assert(std::is_nothrow_move_assignable_v<dsc_Identity>);
}

TEST(dsc_Identity, TakesThoseOfAStoredObject) {
  cls_Uid const own;
  cls_Uid const list;
  {
    dsc_Identity identity;
    identity.TakeOwn(own, 0);
    EXPECT_EQ(identity.Own().Entry(), own.Entry());
    identity.TakeCollection(1, 2, list);
    EXPECT_EQ(identity.Own().Entry(), own.Entry());
    EXPECT_EQ(identity.OfCollection(1, 2).Entry(), list.Entry());
    EXPECT_EQ(own.Entry()->m_RefCount, 2U);
  }
  EXPECT_EQ(own.Entry()->m_RefCount, 1U);
  EXPECT_EQ(list.Entry()->m_RefCount, 1U);
}

TEST(dsc_Identity, TakesThoseOfAStoredObjectWithCollections) {
  cls_Uid const own;
  cls_Uid const list;
  dsc_Identity identity;
  identity.TakeOwn(own, 2);
  identity.TakeCollection(1, 2, list);
  EXPECT_EQ(identity.Own().Entry(), own.Entry());
  EXPECT_EQ(identity.OfCollection(1, 2).Entry(), list.Entry());
  EXPECT_NE(identity.OfCollection(0, 2).Entry(), list.Entry());
  identity.TakeCollection(0, 2, list); // replaces the one that was just made
  EXPECT_EQ(identity.OfCollection(0, 2).Entry(), list.Entry());
  dsc_Identity const asked;
  EXPECT_EQ(asked.Own(3).Entry(), asked.Own().Entry());
  EXPECT_NE(asked.Own().Entry(), asked.OfCollection(0, 3).Entry());
}

TEST(dsc_Identity, ManyCollections) {
  for (int const count : {1, 7, 14, 15, 16, 40}) {
    dsc_Identity const identity;
    std::vector<cls_UidCatalogEntry*> entries;
    for (int i = 0; i < count; ++i) entries.push_back(identity.OfCollection(i, count).Entry());
    for (int i = 0; i < count; ++i)
      EXPECT_EQ(identity.OfCollection(i, count).Entry(), entries[static_cast<std::size_t>(i)]);
  }
}

TEST(dsc_Identity, BlocksAreUsedAgain) {
  { // the first ones make the pool
    std::vector<dsc_Identity> warm(300);
    for (dsc_Identity const& identity : warm) static_cast<void>(identity.OfCollection(0, 2));
  }
  std::vector<dsc_Identity> identities(300);
  long long const before = HeapCount();
  for (dsc_Identity const& identity : identities) static_cast<void>(identity.OfCollection(0, 2));
  EXPECT_EQ(HeapCount(), before);
}

} // namespace
