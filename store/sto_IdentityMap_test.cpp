#include "store/sto_IdentityMap.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

TEST(StoreIdentityMap, UntiedIdentityIsNotFound) {
  sto_IdentityMap const map;
  EXPECT_EQ(map.Find(cls_Uid()), nullptr);
  EXPECT_EQ(map.Count(), 0U);
}

TEST(StoreIdentityMap, TiedIdentityIsFoundInItsMapOnly) {
  sto_IdentityMap one;
  sto_IdentityMap two;
  cls_Uid const uid;
  sto_IdentityMap::Tie const& tie = one.Add(uid, 7);
  EXPECT_EQ(tie.Id(), 7);
  EXPECT_EQ(one.Find(uid), &tie);
  EXPECT_EQ(two.Find(uid), nullptr);
  two.Add(uid, 9);
  EXPECT_EQ(one.Find(uid)->Id(), 7);
  EXPECT_EQ(two.Find(uid)->Id(), 9);
}

TEST(StoreIdentityMap, TieKeepsNoIdentityAlive) {
  sto_IdentityMap map;
  cls_Uid const uid;
  map.Add(uid, 1);
  EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
}

TEST(StoreIdentityMap, TieDiesWithItsIdentity) {
  sto_IdentityMap one;
  sto_IdentityMap two;
  auto uid = std::make_optional<cls_Uid>();
  one.Add(*uid, 1);
  two.Add(*uid, 1);
  cls_UidCatalogEntry* const entry = uid->Entry();
  uid.reset();
  EXPECT_EQ(one.Count(), 0U);
  EXPECT_EQ(two.Count(), 0U);
  cls_Uid const next;
  ASSERT_EQ(next.Entry(), entry);
  EXPECT_EQ(one.Find(next), nullptr);
}

TEST(StoreIdentityMap, IdentityOfAnIdIsTheSameWhileItLives) {
  sto_IdentityMap map;
  {
    cls_Uid const first = map.IdentityOf(5);
    EXPECT_EQ(map.IdentityOf(5).Entry(), first.Entry());
    EXPECT_NE(map.IdentityOf(6).Entry(), first.Entry());
    EXPECT_EQ(map.Count(), 1U); // 6 is dead again
  }
  EXPECT_EQ(map.Count(), 0U);
  cls_Uid const other;
  EXPECT_NE(map.IdentityOf(5).Entry(), other.Entry());
}

TEST(StoreIdentityMap, DropUntiesTheIdsFromOneOn) {
  sto_IdentityMap map;
  std::vector<cls_Uid> const uids(100);
  for (std::size_t i = 0; i < uids.size(); ++i) map.Add(uids[i], static_cast<std::int64_t>(i));
  map.DropFrom(60);
  EXPECT_EQ(map.Count(), 60U);
  for (std::size_t i = 0; i < uids.size(); ++i) EXPECT_EQ(map.Find(uids[i]) != nullptr, i < 60) << i;
  map.DropFrom(60);
  EXPECT_EQ(map.Count(), 60U);
  map.Add(uids[99], 60);
  EXPECT_EQ(map.IdentityOf(60).Entry(), uids[99].Entry());
}

TEST(StoreIdentityMap, MapThatGoesFirstLeavesCleanIdentities) {
  cls_Uid const uid;
  {
    sto_IdentityMap map;
    map.Add(uid, 3);
    cls_Uid const other;
    map.Add(other, 4);
  }
  EXPECT_EQ(uid.Entry()->m_History.Next(), &uid.Entry()->m_History);
}

TEST(StoreIdentityMap, OtherMembersOfTheRingArePassedOver) {
  struct Foreign : cls_HistoryEntry {
    explicit Foreign(cls_Uid const& uid) { Link(&uid.Entry()->m_History); }
    ~Foreign() override { UnLink(); }
  };
  sto_IdentityMap map;
  cls_Uid const uid;
  Foreign const before(uid);
  sto_IdentityMap::Tie const& tie = map.Add(uid, 2);
  Foreign const after(uid);
  EXPECT_EQ(map.Find(uid), &tie);
}

} // namespace
