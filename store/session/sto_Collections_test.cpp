#include "store/session/sto_Collections.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace {

/// A collection that only counts what it is asked for.
class FakeCollection final : public sto_OpenCollection {
 public:
  explicit FakeCollection(std::int64_t id) : sto_OpenCollection(id) {}

  void Change() { m_IsPending = true; }
  void Lose(cls_Uid const& uid) {
    m_IsLost = true;
    m_Uid = uid;
  }

  std::string What() const override { return "fake"; }
  std::string const& Where() const noexcept override { return m_Where; }
  bool WasUnder(cls_UidCatalogEntry const* entry) const noexcept override {
    return IsLost() && m_Uid.Entry() == entry;
  }
  void RaiseLost() const override { throw std::runtime_error("lost"); }
  bool IsHeldBy(void const*) const noexcept override { return false; }
  void Synchronise() override {}
  void FlushHolders() override { m_HasUnwritten = false; }
  bool HasUnwrittenHolders() const noexcept override { return m_HasUnwritten; }
  bool CopyInto(sto_ListTarget&, void const*) override { return false; }
  void KeepForRollback() override {}
  void WriteForMark() override {}
  void ForgetBegin() noexcept override {}
  void ForgetMark() noexcept override {}
  void CheckWhole() const override {}
  void NoteIdentity(bool) noexcept override {}
  void UndoSave() noexcept override {}
  void UndoTransaction(sto_Keeping) noexcept override {}
  void CloseSession() noexcept override {}

  int m_WrittenRecords = 0;
  bool m_HasUnwritten = false;

 protected:
  void WritePendingRecord() override {
    ++m_WrittenRecords;
    m_IsPending = false;
  }

 private:
  std::string m_Where;
  cls_Uid m_Uid;
};

class Collections : public testing::Test {
 protected:
  /// Adds so many, with ids from 1 on. The one that was added last is walked over first.
  void Add(int count) {
    for (int i = 0; i < count; ++i) {
      m_Fakes.push_back(std::make_unique<FakeCollection>(static_cast<std::int64_t>(m_Fakes.size()) + 1));
      m_Collections.Add(*m_Fakes.back());
    }
  }
  FakeCollection& At(std::int64_t id) { return *m_Fakes[static_cast<std::size_t>(id - 1)]; }
  /// Removes one for good: a walk that still leads to it fails under a memory checker.
  void Delete(std::int64_t id) {
    m_Collections.Remove(At(id));
    m_Fakes[static_cast<std::size_t>(id - 1)].reset();
  }
  std::vector<std::int64_t> Walked() {
    std::vector<std::int64_t> ids;
    m_Collections.ForEach([&](sto_OpenCollection& each) { ids.push_back(each.Id()); });
    return ids;
  }

  std::vector<std::unique_ptr<FakeCollection>> m_Fakes;
  sto_Collections m_Collections;
};

using Ids = std::vector<std::int64_t>;

TEST_F(Collections, CollectionIsFoundByItsIdUntilItIsRemoved) {
  EXPECT_EQ(m_Collections.Find(1), nullptr);
  Add(3);
  EXPECT_EQ(m_Collections.Find(2), &At(2));
  Delete(2);
  EXPECT_EQ(m_Collections.Find(2), nullptr);
  EXPECT_EQ(m_Collections.Find(3), &At(3));
  EXPECT_EQ(Walked(), (Ids{3, 1}));
}

TEST_F(Collections, CollectionWithoutIdIsWalkedOverAndNotFound) {
  FakeCollection unstored(0);
  m_Collections.Add(unstored);
  EXPECT_EQ(m_Collections.Find(0), nullptr);
  EXPECT_EQ(Walked(), Ids{0});
  m_Collections.Remove(unstored);
  EXPECT_EQ(Walked(), Ids());
}

TEST_F(Collections, ForgottenIdIsFreeForAnotherCollection) {
  Add(1);
  m_Collections.ForgetId(At(1));
  EXPECT_EQ(m_Collections.Find(1), nullptr);
  FakeCollection next(1);
  m_Collections.Add(next);
  EXPECT_EQ(m_Collections.Find(1), &next);
  m_Collections.Remove(At(1)); // the id is not its any more
  EXPECT_EQ(m_Collections.Find(1), &next);
  m_Collections.Remove(next);
}

TEST_F(Collections, WalkSurvivesTheRemovalOfThePresentAndOfTheNextCollection) {
  Add(5);
  Ids walked;
  m_Collections.ForEach([&](sto_OpenCollection& each) {
    walked.push_back(each.Id());
    if (each.Id() == 4) {
      Delete(3);
      Delete(4);
      Delete(5); // which has been walked over
    }
  });
  EXPECT_EQ(walked, (Ids{5, 4, 2, 1}));
  EXPECT_EQ(Walked(), (Ids{2, 1}));
}

TEST_F(Collections, OuterWalkSurvivesWhatAnInnerWalkRemoves) {
  Add(4);
  Ids walked;
  m_Collections.ForEach([&](sto_OpenCollection& each) {
    walked.push_back(each.Id());
    if (each.Id() != 4) return;
    m_Collections.ForEach([&](sto_OpenCollection& inner) {
      if (inner.Id() == 3 || inner.Id() == 2) Delete(inner.Id());
    });
  });
  EXPECT_EQ(walked, (Ids{4, 1}));
}

TEST_F(Collections, WalkThatRaisesIsOver) {
  Add(3);
  auto const raise = [](sto_OpenCollection&) { throw std::runtime_error("step"); };
  EXPECT_THROW(m_Collections.ForEach(raise), std::runtime_error);
  Delete(2);
  EXPECT_EQ(Walked(), (Ids{3, 1}));
}

TEST_F(Collections, LostCollectionIsFoundByItsIdentity) {
  Add(2);
  cls_Uid const uid;
  EXPECT_EQ(m_Collections.FindLost(uid.Entry()), nullptr);
  At(1).Lose(uid);
  EXPECT_EQ(m_Collections.FindLost(uid.Entry()), &At(1));
  EXPECT_EQ(m_Collections.FindLost(cls_Uid().Entry()), nullptr);
}

TEST_F(Collections, RecordsAreWrittenOnceForEachChange) {
  Add(2);
  At(1).Change();
  m_Collections.NoteTouched(At(1));
  m_Collections.WriteRecords();
  m_Collections.WriteRecords();
  EXPECT_EQ(At(1).m_WrittenRecords, 1);
  EXPECT_EQ(At(2).m_WrittenRecords, 0);
}

TEST_F(Collections, OnlyTouchedOnesAreVisitedUntilTheTransactionEnds) {
  Add(4);
  for (int const id : {3, 1, 3}) m_Collections.NoteTouched(At(id));
  FakeCollection neverAdded(9);
  m_Collections.NoteTouched(neverAdded);
  Ids visited;
  m_Collections.ForEachTouched([&](sto_OpenCollection& each) {
    visited.push_back(each.Id());
    if (each.Id() == 3) m_Collections.NoteTouched(At(4)); // visited, too
    if (each.Id() == 1) Delete(1);
  });
  EXPECT_EQ(visited, (Ids{3, 1, 9, 4}));
  m_Collections.Untouch(neverAdded);
  Delete(4);
  visited.clear();
  m_Collections.ForEachTouched([&](sto_OpenCollection& each) { visited.push_back(each.Id()); });
  EXPECT_EQ(visited, (Ids{3}));
  m_Collections.ForgetTouched();
  m_Collections.ForEachTouched([&](sto_OpenCollection&) { ADD_FAILURE(); });
  m_Collections.NoteTouched(At(3));
  m_Collections.ForEachTouched([&](sto_OpenCollection& each) { visited.push_back(each.Id()); });
  EXPECT_EQ(visited, (Ids{3, 3}));
}

TEST_F(Collections, StoredIdsLeaveOutLostCollectionsAndWriteRecords) {
  Add(3);
  At(1).Change();
  At(2).Change();
  At(2).Lose(cls_Uid());
  EXPECT_EQ(m_Collections.StoredIds(), (Ids{3, 1}));
  EXPECT_EQ(At(1).m_WrittenRecords, 1);
  EXPECT_EQ(At(2).m_WrittenRecords, 0);
}

TEST_F(Collections, FlushLeavesNothingUnwritten) {
  Add(3);
  EXPECT_FALSE(m_Collections.HasUnwrittenHolders());
  At(2).m_HasUnwritten = true;
  EXPECT_TRUE(m_Collections.HasUnwrittenHolders());
  m_Collections.FlushHolders();
  EXPECT_FALSE(m_Collections.HasUnwrittenHolders());
}

} // namespace
