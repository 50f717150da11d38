#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <unordered_map>
#include <vector>

#include "persist/identity/cls_Uid.h"
#include "tests/support/OnThread.h"
#include "tests/support/Seeds.h"
#include "tests/support/TracedHistory.h"

// Millions of random steps on one thread's identities, mirrored in a model that knows every record's count,
// the number of its history entries, and the order in which free records are reused.
namespace {

/// History entry that counts itself in the model's record.
class CountedHistory : public cls_HistoryEntry {
 public:
  CountedHistory(cls_Uid const& uid, int* alive) : m_Alive(alive) {
    Link(&uid.Entry()->m_History);
    ++*m_Alive;
  }
  ~CountedHistory() override {
    UnLink();
    --*m_Alive;
  }

 private:
  int* m_Alive;
};

class PoolModel {
 public:
  explicit PoolModel(unsigned int seed) : m_Random(seed) {}

  /// One random step; `growth` steps in a hundred make an identity. Returns false when the pool and the model
  /// differ.
  bool Step(unsigned int growth) {
    if (m_Uids.empty() || Below(100) < growth) return Make();
    std::size_t const a = Pick();
    std::size_t const b = Pick();
    switch (Below(8)) {
    case 0:
      m_Uids.push_back(m_Uids[a]);
      m_Records.push_back(m_Records[a]);
      ++m_Counts[m_Records[a]];
      return Agrees(a);
    case 1: {
      cls_UidCatalogEntry* const old = m_Records[a];
      m_Uids[a] = m_Uids[b];
      if (a != b) {
        ++m_Counts[m_Records[b]];
        m_Records[a] = m_Records[b];
        Release(old);
      }
      return Agrees(a) && Agrees(b);
    }
    case 2: {
      m_Uids[a].NewUid();
      // The last reference is released before the new record is taken.
      Release(m_Records[a]);
      m_Records[a] = Expect(m_Uids[a]);
      return Agrees(a);
    }
    case 3:
      m_Histories += 1;
      new CountedHistory(m_Uids[a], &m_AliveHistories);
      ++m_HistoryOf[m_Records[a]];
      return Agrees(a);
    default:
      return Remove(a);
    }
  }

  bool RemoveAll() {
    while (!m_Uids.empty())
      if (!Remove(Pick())) return false;
    return m_AliveHistories == 0;
  }

  [[nodiscard]] std::size_t Size() const { return m_Uids.size(); }
  [[nodiscard]] int Blocks() const { return m_Blocks; }
  [[nodiscard]] long Histories() const { return m_Histories; }

 private:
  std::size_t Below(std::size_t limit) { return m_Random() % limit; }
  std::size_t Pick() { return Below(m_Uids.size()); }

  bool Make() {
    m_Uids.emplace_back();
    m_Records.push_back(Expect(m_Uids.back()));
    return Agrees(m_Uids.size() - 1);
  }

  bool Remove(std::size_t index) {
    cls_UidCatalogEntry* const record = m_Records[index];
    m_Uids[index] = m_Uids.back();
    m_Records[index] = m_Records.back();
    m_Uids.pop_back();
    m_Records.pop_back();
    Release(record);
    return index >= m_Uids.size() || Agrees(index);
  }

  /// The record that a fresh identity must get.
  cls_UidCatalogEntry* Expect(cls_Uid const& uid) {
    if (m_Free.empty()) {
      ++m_Blocks;
      for (int i = cls_UidCatalogBlock::EntryCount - 1; i >= 0; --i) m_Free.push_back(uid.Entry() + i);
    }
    cls_UidCatalogEntry* const record = m_Free.back();
    m_Free.pop_back();
    m_Counts[record] = 1;
    return record;
  }

  void Release(cls_UidCatalogEntry* record) {
    if (--m_Counts[record] != 0) return;
    m_Counts.erase(record);
    if (auto const found = m_HistoryOf.find(record); found != m_HistoryOf.end()) {
      m_ExpectedGone += found->second;
      m_HistoryOf.erase(found);
    }
    m_Free.push_back(record);
  }

  [[nodiscard]] bool Agrees(std::size_t index) {
    cls_UidCatalogEntry const* const entry = m_Uids[index].Entry();
    return entry == m_Records[index] && entry->m_RefCount == m_Counts[m_Records[index]] &&
           cls_UidCatalog::Instance().BlockCount() == m_Blocks &&
           m_AliveHistories == m_Histories - m_ExpectedGone;
  }

  std::mt19937 m_Random;
  std::vector<cls_Uid> m_Uids;
  std::vector<cls_UidCatalogEntry*> m_Records; // of the identity at the same index
  std::unordered_map<cls_UidCatalogEntry*, unsigned int> m_Counts;
  std::unordered_map<cls_UidCatalogEntry*, long> m_HistoryOf;
  std::vector<cls_UidCatalogEntry*> m_Free; // the next to be handed out last
  int m_Blocks = 0;
  int m_AliveHistories = 0;
  long m_Histories = 0;
  long m_ExpectedGone = 0;
};

class cls_UidModel : public testing::TestWithParam<unsigned int> {};

TEST_P(cls_UidModel, PoolFollowsTheModelWhileItGrowsAndShrinks) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  OnThread([] {
    int const Steps = 600'000 / SweepStride;
    PoolModel model(GetParam());
    for (int step = 0; step < Steps; ++step) ASSERT_TRUE(model.Step(55)) << "growing, step " << step;
    EXPECT_GT(model.Blocks(), 20);
    EXPECT_GT(model.Histories(), 10'000 / SweepStride);
    std::size_t const most = model.Size();
    for (int step = 0; step < Steps * 3 / 2; ++step)
      ASSERT_TRUE(model.Step(10)) << "shrinking, step " << step;
    EXPECT_LT(model.Size(), most / 4);
    for (int step = 0; step < Steps; ++step) ASSERT_TRUE(model.Step(45)) << "growing again, step " << step;
    EXPECT_TRUE(model.RemoveAll());
  });
}

INSTANTIATE_TEST_SUITE_P(Seeds, cls_UidModel, testing::ValuesIn(Seeds({1U, 4711U})));

} // namespace
