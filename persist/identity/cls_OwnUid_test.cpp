#include "persist/identity/cls_OwnUid.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

struct Part {
  int m_Value = 0;
  cls_OwnUid m_Uid;
};

cls_UidCatalogEntry* EntryOf(Part const& part) {
  return part.m_Uid.Uid().Entry();
}

TEST(OwnUid, CopyHasAFreshIdentity) {
  Part const part{1, {}};
  Part const copy = part;
  EXPECT_EQ(copy.m_Value, 1);
  EXPECT_NE(EntryOf(copy), EntryOf(part));
}

TEST(OwnUid, AssignedObjectKeepsItsIdentity) {
  Part const source{1, {}};
  Part target{2, {}};
  cls_UidCatalogEntry* const before = EntryOf(target);
  target = source;
  EXPECT_EQ(target.m_Value, 1);
  EXPECT_EQ(EntryOf(target), before);
}

TEST(OwnUid, MovedObjectKeepsItsIdentity) {
  Part source{1, {}};
  cls_UidCatalogEntry* const entry = EntryOf(source);
  Part const moved = std::move(source);
  EXPECT_EQ(EntryOf(moved), entry);
  EXPECT_NE(EntryOf(source), entry); // NOLINT: what was moved from is a new object
}

TEST(OwnUid, MoveAssignmentMovesTheIdentity) {
  Part source{1, {}};
  Part target{2, {}};
  cls_UidCatalogEntry* const entry = EntryOf(source);
  target = std::move(source);
  EXPECT_EQ(EntryOf(target), entry);
  EXPECT_NE(EntryOf(source), entry); // NOLINT
}

TEST(OwnUid, AssigningAnObjectToItselfChangesNothing) {
  Part part{1, {}};
  cls_UidCatalogEntry* const entry = EntryOf(part);
  Part& same = part;
  part = same;
  EXPECT_EQ(EntryOf(part), entry);
  part = std::move(same);
  EXPECT_EQ(EntryOf(part), entry);
}

TEST(OwnUid, VectorThatGrowsAndShrinksKeepsIdentities) {
  std::vector<Part> parts;
  std::vector<cls_UidCatalogEntry*> entries;
  for (int i = 0; i < 100; ++i) {
    parts.push_back({i, {}});
    entries.push_back(EntryOf(parts.back()));
  }
  parts.erase(parts.begin() + 10, parts.begin() + 20);
  entries.erase(entries.begin() + 10, entries.begin() + 20);
  for (std::size_t i = 0; i < parts.size(); ++i) EXPECT_EQ(EntryOf(parts[i]), entries[i]) << i;
}

TEST(OwnUid, TakesTheIdentityOfAStoredObject) {
  cls_Uid const stored;
  cls_OwnUid const own(stored);
  EXPECT_EQ(own.Uid().Entry(), stored.Entry());
  cls_Uid const& asUid = own;
  EXPECT_EQ(asUid.Entry(), stored.Entry());
}

TEST(OwnUid, TakesTheIdentityOfAStoredObjectByAssignment) {
  cls_Uid const stored;
  cls_OwnUid own;
  own = stored;
  EXPECT_EQ(own.Uid().Entry(), stored.Entry());
}

TEST(OwnUid, NewUidIsFresh) {
  cls_OwnUid own;
  cls_Uid const before = own;
  own.NewUid();
  EXPECT_NE(own.Uid().Entry(), before.Entry());
}

TEST(OwnUid, MovesWithoutThrowing) {
  static_assert(std::is_nothrow_move_constructible_v<cls_OwnUid>);
  static_assert(std::is_nothrow_move_assignable_v<cls_OwnUid>);
}

} // namespace
