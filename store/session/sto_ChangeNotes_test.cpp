#include "store/session/sto_ChangeNotes.h"

#include <gtest/gtest.h>

#include <set>

namespace {

TEST(ChangeNotes, VersionsGoBackWithTheirWork) {
  sto_ChangeNotes notes;
  EXPECT_EQ(notes.Version(1), 0);
  std::int64_t const first = notes.NewVersion();
  notes.SetVersion(1, first);
  notes.EndTransaction();
  std::int64_t const second = notes.NewVersion();
  notes.SetVersion(1, second);
  notes.SetMark();
  notes.SetVersion(1, notes.NewVersion());
  notes.SetVersion(2, notes.NewVersion());
  notes.UndoSave(1);
  EXPECT_EQ(notes.Version(1), second);
  EXPECT_EQ(notes.Version(2), 0);
  notes.SetVersion(2, notes.NewVersion());
  notes.UndoTransaction(1);
  notes.EndTransaction();
  EXPECT_EQ(notes.Version(1), first);
  EXPECT_EQ(notes.Version(2), 0);
}

TEST(ChangeNotes, ChangesOfOtherSessionsGiveVersionsThatNobodyHasSeen) {
  sto_ChangeNotes notes;
  std::set<std::int64_t> seen{0};
  auto const expectNew = [&](std::int64_t id) { EXPECT_TRUE(seen.insert(notes.Version(id)).second) << id; };
  notes.SetVersion(1, notes.NewVersion());
  expectNew(1);
  notes.SetVersion(1, notes.NewVersion());
  expectNew(1);
  notes.UndoTransaction(1);
  notes.EndTransaction();
  notes.NoteForeign(1);
  expectNew(1);
  EXPECT_EQ(notes.Version(2), 0);
  notes.NoteForeignUnknown();
  expectNew(1);
  EXPECT_EQ(notes.Version(2), notes.Version(1));
  notes.SetVersion(2, notes.NewVersion());
  expectNew(2);
  notes.UndoTransaction(1);
  EXPECT_EQ(notes.Version(2), notes.Version(1));
  notes.NoteForeign(2);
  notes.ForgetVersions([](std::int64_t id) { return id == 2; });
  expectNew(2);
}

TEST(ChangeNotes, FirstNoteOfATransactionStays) {
  sto_ChangeNotes notes;
  EXPECT_EQ(notes.FindAtBegin(1), nullptr);
  notes.NoteAtBegin(1, 10, 3);
  notes.NoteAtBegin(1, 20, 4);
  sto_ChangeNotes::ListAtBegin const* const list = notes.FindAtBegin(1);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->m_Count, 10);
  EXPECT_EQ(list->m_Change, 3);
  EXPECT_FALSE(list->m_IsMade);
  notes.EndTransaction();
  EXPECT_EQ(notes.FindAtBegin(1), nullptr);
}

TEST(ChangeNotes, UndoneSaveForgetsWhatItMadeAndNothingElse) {
  sto_ChangeNotes notes;
  notes.NoteMade(1, 7);
  notes.NoteMade(2, 8);
  notes.NoteAtBegin(3, 5, 1);
  notes.UndoSave(8);
  ASSERT_NE(notes.FindAtBegin(1), nullptr);
  EXPECT_TRUE(notes.FindAtBegin(1)->m_IsMade);
  EXPECT_EQ(notes.FindAtBegin(2), nullptr);
  EXPECT_NE(notes.FindAtBegin(3), nullptr);
}

TEST(ChangeNotes, OnlyTheLatestOwnChangeOfABlobIsOwn) {
  sto_ChangeNotes notes;
  EXPECT_FALSE(notes.IsOwnBlobChange(1, 2));
  notes.NoteBlobChange(1, 2, 1, 0);
  notes.NoteBlobChange(1, 3, 1, 0);
  EXPECT_FALSE(notes.IsOwnBlobChange(1, 2));
  EXPECT_TRUE(notes.IsOwnBlobChange(1, 3));
  notes.EndTransaction(); // another session may have to be told apart much later
  EXPECT_TRUE(notes.IsOwnBlobChange(1, 3));
}

TEST(ChangeNotes, ChangesOfBlobsInUndoneWorkAreForgotten) {
  sto_ChangeNotes notes;
  notes.NoteBlobChange(1, 2, 5, 1);
  notes.NoteBlobChange(2, 2, 5, 2);
  notes.NoteBlobChange(3, 2, 6, 3);
  notes.UndoSave(2);
  EXPECT_TRUE(notes.IsOwnBlobChange(1, 2));
  EXPECT_FALSE(notes.IsOwnBlobChange(2, 2));
  notes.UndoTransaction(5);
  EXPECT_FALSE(notes.IsOwnBlobChange(1, 2));
  EXPECT_TRUE(notes.IsOwnBlobChange(3, 2));
}

TEST(ChangeNotes, UndoneWorkLeavesTheChangeBeforeIt) {
  sto_ChangeNotes notes;
  notes.NoteBlobChange(1, 2, 5, 1);
  notes.NoteBlobChange(1, 3, 6, 1);
  notes.NoteBlobChange(1, 4, 6, 2);
  notes.NoteBlobChange(1, 5, 6, 2);
  notes.UndoSave(2);
  EXPECT_TRUE(notes.IsOwnBlobChange(1, 3));
  notes.NoteBlobChange(1, 4, 6, 3);
  notes.UndoTransaction(6);
  EXPECT_TRUE(notes.IsOwnBlobChange(1, 2));
  EXPECT_FALSE(notes.IsOwnBlobChange(1, 4));
}

} // namespace
