#include "persist/identity/cls_Reach.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

class Reach : public ::testing::Test {
 protected:
  /// Begins the next save, under a root name or (without one) of an element.
  void Begin(std::string_view root = {}) { m_Reach.BeginSave(++m_Save, root.empty() ? nullptr : &root); }
  /// Reaches the object of an identity at an address, and writes it if that is asked for.
  cls_Reach::Meeting Meet(cls_Uid const& uid, void const* address, std::int64_t holder = 0) {
    cls_IdentityMap::Tie const* tie = m_Map.Find(uid);
    bool const isNew = tie == nullptr;
    if (isNew) tie = &m_Map.Add(uid, m_NextId++);
    cls_Reach::Meeting const meeting = m_Reach.Meet(*tie, {address, holder}, isNew);
    if (meeting.m_Visit != nullptr) meeting.m_Visit->m_IsWritten = true;
    return meeting;
  }

  cls_IdentityMap m_Map;
  cls_Reach m_Reach;
  cls_Uid const m_Uid;
  int m_One = 0;
  int m_Other = 0; // two objects, of which the tests use the addresses only
  std::int64_t m_Save = 0;
  std::int64_t m_NextId = 1;
};

} // namespace

TEST_F(Reach, ObjectIsWrittenOncePerSave) {
  for (int save = 0; save < 2; ++save) {
    Begin("root");
    EXPECT_TRUE(Meet(m_Uid, &m_One).m_IsWritten);
    EXPECT_FALSE(Meet(m_Uid, &m_One).m_IsWritten);
    EXPECT_FALSE(Meet(m_Uid, nullptr).m_IsWritten) << "an unknown address is no second one";
  }
}

TEST_F(Reach, SecondAddressIsComparedOnce) {
  Begin("root");
  EXPECT_EQ(Meet(m_Uid, &m_One, 7).m_Comparing, cls_Comparing::Nothing);
  cls_Reach::Meeting const second = Meet(m_Uid, &m_Other);
  EXPECT_TRUE(second.m_IsWritten);
  EXPECT_EQ(second.m_Comparing, cls_Comparing::ThisSave);
  EXPECT_EQ(second.m_Visit, nullptr);
  EXPECT_EQ(second.m_Before.m_Address, &m_One);
  EXPECT_EQ(second.m_Before.m_Holder, 7);
  EXPECT_FALSE(Meet(m_Uid, &m_Other).m_IsWritten);
}

TEST_F(Reach, ObjectThatIsStillBeingWrittenIsNotCompared) {
  Begin("root");
  cls_IdentityMap::Tie const& tie = m_Map.Add(m_Uid, 1);
  EXPECT_TRUE(m_Reach.Meet(tie, {&m_One, 0}, true).m_IsWritten);
  EXPECT_FALSE(m_Reach.Meet(tie, {&m_Other, 0}, true).m_IsWritten);
}

TEST_F(Reach, OtherRootIsComparedAtAnotherAddressOnly) {
  Begin("one");
  Meet(m_Uid, &m_One);
  Begin("two");
  EXPECT_EQ(Meet(m_Uid, &m_One).m_Comparing, cls_Comparing::Nothing);
  Begin("three");
  cls_Reach::Meeting const meeting = Meet(m_Uid, &m_Other);
  EXPECT_EQ(meeting.m_Comparing, cls_Comparing::OtherRoot);
  EXPECT_EQ(m_Reach.RootOf(meeting.m_Before.m_Save), "two");
  Begin("three");
  EXPECT_EQ(Meet(m_Uid, &m_One).m_Comparing, cls_Comparing::Nothing) << "the same root replaces itself";
}

TEST_F(Reach, RootsThatAreRenamedOrRemovedCountAsSuch) {
  Begin("one");
  Meet(m_Uid, &m_One);
  m_Reach.RenameRoot("one", "two");
  Begin("two");
  EXPECT_EQ(Meet(m_Uid, &m_Other).m_Comparing, cls_Comparing::Nothing);
  m_Reach.RemoveRoot("two");
  Begin("three");
  EXPECT_EQ(Meet(m_Uid, &m_One).m_Comparing, cls_Comparing::Nothing);
  Begin(); // an element has no root
  EXPECT_EQ(Meet(m_Uid, &m_Other).m_Comparing, cls_Comparing::Nothing);
  EXPECT_EQ(m_Reach.RootOf(m_Save), "");
}

TEST_F(Reach, UndoneSaveLeavesTheVisitsOfBefore) {
  Begin("one");
  Meet(m_Uid, &m_One);
  Begin("two");
  EXPECT_EQ(Meet(m_Uid, &m_Other).m_Comparing, cls_Comparing::OtherRoot);
  m_Reach.UndoSave();
  EXPECT_EQ(m_Map.Find(m_Uid)->Visit().m_Address, &m_One);
  Begin("two");
  EXPECT_EQ(Meet(m_Uid, &m_Other).m_Comparing, cls_Comparing::OtherRoot);
}

TEST_F(Reach, SecondNameComparesWhatIsStored) {
  Begin("one");
  Meet(m_Uid, &m_One);
  m_Map.ForgetVisits();
  m_Reach.Reset();
  Begin("two");
  m_Reach.CompareAll();
  EXPECT_EQ(Meet(m_Uid, &m_One).m_Comparing, cls_Comparing::SecondName);
  cls_Uid const fresh;
  EXPECT_EQ(Meet(fresh, &m_Other).m_Comparing, cls_Comparing::Nothing) << "it is not stored yet";
  EXPECT_EQ(m_Reach.OtherContent(), 0);
  m_Reach.NoteOtherContent(4);
  m_Reach.NoteOtherContent(5);
  EXPECT_EQ(m_Reach.OtherContent(), 4);
}

TEST_F(Reach, CollectionIsWrittenAtEachPlace) {
  Begin("one");
  cls_IdentityMap::Tie const& tie = m_Map.Add(m_Uid, 1);
  for (int const* const address : {&m_One, &m_One, &m_Other}) {
    cls_Reach::Meeting const meeting = m_Reach.MeetCollection(tie, {address, 0}, true);
    EXPECT_TRUE(meeting.m_IsWritten);
    EXPECT_EQ(meeting.m_Comparing, cls_Comparing::Nothing);
  }
}

TEST_F(Reach, EndOfTheTransactionForgetsTheSaves) {
  Begin("one");
  Meet(m_Uid, &m_One);
  m_Map.ForgetVisits();
  m_Reach.Reset();
  Begin("two");
  EXPECT_EQ(Meet(m_Uid, &m_Other).m_Comparing, cls_Comparing::Nothing);
  EXPECT_EQ(m_Reach.RootOf(1), "");
}
