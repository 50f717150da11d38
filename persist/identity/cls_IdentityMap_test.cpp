#include "persist/identity/cls_IdentityMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreNewFault.h"

namespace {

/// An identity with ties of so many other maps that a map which looks for it makes an index.
class CrowdedIdentity {
 public:
  CrowdedIdentity() {
    for (int i = 0; i < 20; ++i) m_Maps.emplace_back().Add(m_Uid, 5 + i);
  }
  void ExpectTies() {
    std::int64_t id = 5;
    for (cls_IdentityMap& map : m_Maps) EXPECT_EQ(map.Find(m_Uid)->Id(), id++);
  }

  std::list<cls_IdentityMap> m_Maps;
  cls_Uid m_Uid;
};

TEST(IdentityMap, TiesOfAnIdentityInManyMapsAreFound) {
  CrowdedIdentity crowded;
  crowded.ExpectTies();
  cls_IdentityMap map;
  cls_Uid const before;
  map.Add(before, 1);
  EXPECT_EQ(map.Find(crowded.m_Uid), nullptr); // makes the index
  cls_Uid const after;
  map.Add(after, 2);
  map.Add(crowded.m_Uid, 3);
  EXPECT_EQ(map.Find(before)->Id(), 1);
  EXPECT_EQ(map.Find(after)->Id(), 2);
  EXPECT_EQ(map.Find(crowded.m_Uid)->Id(), 3);
  map.DropFrom(2);
  EXPECT_EQ(map.Find(before)->Id(), 1);
  EXPECT_EQ(map.Find(after), nullptr);
  EXPECT_EQ(map.Find(crowded.m_Uid), nullptr);
  crowded.m_Maps.pop_front();
  crowded.m_Maps.pop_back();
  cls_Uid const uid = std::exchange(crowded.m_Uid, cls_Uid());
  EXPECT_EQ(crowded.m_Maps.front().Find(uid)->Id(), 6);
}

TEST(IdentityMap, UntiedIdentityIsNotFound) {
  cls_IdentityMap map;
  EXPECT_EQ(map.Find(cls_Uid()), nullptr);
  EXPECT_EQ(map.Count(), 0U);
}

TEST(IdentityMap, TiedIdentityIsFoundInItsMapOnly) {
  cls_IdentityMap one;
  cls_IdentityMap two;
  cls_Uid const uid;
  cls_IdentityMap::Tie const& tie = one.Add(uid, 7);
  EXPECT_EQ(tie.Id(), 7);
  EXPECT_EQ(one.Find(uid), &tie);
  EXPECT_EQ(two.Find(uid), nullptr);
  two.Add(uid, 9);
  EXPECT_EQ(one.Find(uid)->Id(), 7);
  EXPECT_EQ(two.Find(uid)->Id(), 9);
}

TEST(IdentityMap, IdOfTiesAnIdentityOnceToTheNextId) {
  cls_IdentityMap map;
  std::int64_t nextId = 5;
  cls_Uid const one;
  cls_Uid const two;
  EXPECT_EQ(map.IdOf(one, nextId), 5);
  EXPECT_EQ(map.IdOf(two, nextId), 6);
  EXPECT_EQ(map.IdOf(one, nextId), 5);
  EXPECT_EQ(nextId, 7);
  EXPECT_EQ(map.Find(two)->Id(), 6);
}

TEST(IdentityMap, TieKeepsNoIdentityAlive) {
  cls_IdentityMap map;
  cls_Uid const uid;
  map.Add(uid, 1);
  EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
}

TEST(IdentityMap, TieDiesWithItsIdentity) {
  cls_IdentityMap one;
  cls_IdentityMap two;
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

TEST(IdentityMap, IdentityOfAnIdIsTheSameWhileItLives) {
  cls_IdentityMap map;
  {
    cls_Uid const first = map.IdentityOf(5);
    EXPECT_EQ(map.IdentityOf(5).Entry(), first.Entry());
    EXPECT_NE(map.IdentityOf(6).Entry(), first.Entry());
    EXPECT_EQ(map.Count(), 1U); // identity 6 is dead again
  }
  EXPECT_EQ(map.Count(), 0U);
  cls_Uid const other;
  EXPECT_NE(map.IdentityOf(5).Entry(), other.Entry());
}

TEST(IdentityMap, DropUntiesTheIdsFromOneOn) {
  cls_IdentityMap map;
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

TEST(IdentityMap, DropOfARangeKeepsTheIdsBehindIt) {
  cls_IdentityMap map;
  std::vector<cls_Uid> const uids(12'000); // of three segments
  for (std::size_t i = 0; i < uids.size(); ++i) map.Add(uids[i], static_cast<std::int64_t>(i));
  map.DropFrom(60, 60);
  EXPECT_EQ(map.Count(), uids.size());
  map.DropFrom(60, 70); // in one page
  map.DropFrom(100, 8000);
  for (std::size_t i = 0; i < uids.size(); ++i)
    EXPECT_EQ(map.Find(uids[i]) == nullptr, (i >= 60 && i < 70) || (i >= 100 && i < 8000)) << i;
}

TEST(IdentityMap, MapThatGoesFirstLeavesCleanIdentities) {
  cls_Uid const uid;
  {
    cls_IdentityMap map;
    map.Add(uid, 3);
    cls_Uid const other;
    map.Add(other, 4);
  }
  EXPECT_EQ(uid.Entry()->m_History.Next(), &uid.Entry()->m_History);
}

TEST(IdentityMap, OtherMembersOfTheRingArePassedOver) {
  struct Foreign : cls_HistoryEntry {
    explicit Foreign(cls_Uid const& uid) { Link(&uid.Entry()->m_History); }
    ~Foreign() override { UnLink(); }
  };
  cls_IdentityMap map;
  cls_Uid const uid;
  Foreign const before(uid);
  cls_IdentityMap::Tie const& tie = map.Add(uid, 2);
  Foreign const after(uid);
  EXPECT_EQ(map.Find(uid), &tie);
}

/// A map of identities, and its expected content.
class IdentityModel {
 public:
  /// `isIndexed`: from the beginning, the map has an index of its ties.
  explicit IdentityModel(std::uint64_t seed, bool isIndexed = false) : m_Random(seed) {
    if (isIndexed) {
      EXPECT_EQ(m_Map.Find(m_Crowded.m_Uid), nullptr);
    }
  }

  /// One operation on ids chosen by `draw`. Keeps the identities that no one else holds.
  template <class Draw> void Step(Draw draw) {
    switch (Below(16)) {
    case 0:
    case 1:
    case 2:
    case 3:
      Add(draw(m_Random));
      break;
    case 4:
    case 5:
      AskFor(draw(m_Random), Below(2) == 0);
      break;
    case 6:
    case 7:
    case 8:
    case 9:
      if (!m_Live.empty()) Release(Any());
      break;
    case 10:
      if (Below(40) == 0) DropFrom(Below(3) == 0 ? 0 : draw(m_Random));
      break;
    case 11:
      if (++m_Save % 3 == 0) EndTransaction();
      break;
    default:
      for (int i = 0; i < 4 && !m_Live.empty(); ++i) NoteVisit(Any());
    }
    EXPECT_EQ(m_Map.Count(), m_Live.size());
  }

  void ExpectAll() {
    for (auto& [id, live] : m_Live) {
      cls_IdentityMap::Tie const* const tie = m_Map.Find(live.m_Uid);
      ASSERT_NE(tie, nullptr) << id;
      ASSERT_EQ(tie->Id(), id);
      ASSERT_EQ(m_Map.IdentityOf(id).Entry(), live.m_Uid.Entry()) << id;
    }
    for (cls_Uid const& uid : m_Untied) ASSERT_EQ(m_Map.Find(uid), nullptr);
  }

 private:
  struct Live {
    cls_Uid m_Uid;
    std::int64_t m_Visited = 0; // number of the last save in the transaction that reached it
  };
  using Lives = std::map<std::int64_t, Live>;

  std::size_t Below(std::size_t count) { return m_Random() % count; }
  Lives::iterator Any() {
    return std::next(m_Live.begin(),
                     static_cast<std::ptrdiff_t>(Below(std::min<std::size_t>(m_Live.size(), 100))));
  }

  void Add(std::int64_t id) {
    if (m_Live.contains(id)) return;
    cls_Uid uid;
    if (!m_Untied.empty() && Below(2) == 0) {
      uid = m_Untied.back();
      m_Untied.pop_back();
    }
    ASSERT_EQ(m_Map.Find(uid), nullptr);
    ASSERT_EQ(m_Map.Add(uid, id).Id(), id);
    m_Live.emplace(id, Live{uid});
  }
  void AskFor(std::int64_t id, bool isKept) {
    auto const known = m_Live.find(id);
    cls_Uid const uid = m_Map.IdentityOf(id);
    if (known != m_Live.end()) {
      EXPECT_EQ(uid.Entry(), known->second.m_Uid.Entry());
    } else {
      EXPECT_EQ(uid.Entry()->m_RefCount, 1U); // a new one
      if (isKept) m_Live.emplace(id, Live{uid});
    }
  }
  void Release(Lives::iterator live) { m_Live.erase(live); }
  void DropFrom(std::int64_t firstId) {
    m_Map.DropFrom(firstId);
    for (auto live = m_Live.lower_bound(firstId); live != m_Live.end(); live = m_Live.erase(live))
      if (Below(2) == 0) m_Untied.push_back(live->second.m_Uid);
  }
  void NoteVisit(Lives::iterator live) {
    cls_IdentityMap::Tie* const tie = m_Map.Find(live->second.m_Uid);
    ASSERT_NE(tie, nullptr);
    EXPECT_EQ(tie->Visit().m_Save, live->second.m_Visited) << live->first;
    tie->Visit().m_Save = live->second.m_Visited = m_Save;
  }
  void EndTransaction() {
    m_Map.ForgetVisits();
    for (auto& [id, live] : m_Live) live.m_Visited = 0;
  }

  std::mt19937_64 m_Random;
  CrowdedIdentity m_Crowded;
  cls_IdentityMap m_Map;
  Lives m_Live;
  std::vector<cls_Uid> m_Untied; // alive, but untied
  std::int64_t m_Save = 1;
};

TEST(IdentityMap, DenseIdsMatchTheModel) {
  for (unsigned int const seed : {1U, 2U}) {
    IdentityModel model(seed, seed % 2 == 0);
    for (int step = 0; step < 8000; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
      model.Step([](auto& random) { return static_cast<std::int64_t>(1 + random() % 300); });
      if (step % 200 == 0) model.ExpectAll();
      ASSERT_FALSE(testing::Test::HasFailure());
    }
  }
}

TEST(IdentityMap, SparseIdsMatchTheModel) {
  for (unsigned int const seed : Seeds({11U, 12U, 13U})) {
    IdentityModel model(seed);
    for (int step = 0; step < 8000; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
      // Ids around the limits of pages and segments, up to the greatest object id.
      model.Step([](auto& random) {
        constexpr std::int64_t MaxId = (std::int64_t{1} << 43) - 1;
        std::int64_t const bases[] = {31,       31 * 128,  31 * 128 * 2,    31 * 128 * 7 - 31, 1'000'000,
                                      31 << 20, MaxId / 2, MaxId / 31 * 31, MaxId - 3};
        auto const near = static_cast<std::int64_t>(random() % 7) - 3;
        return std::min(MaxId, bases[random() % std::size(bases)] + near);
      });
      if (step % 200 == 0) model.ExpectAll();
      ASSERT_FALSE(testing::Test::HasFailure());
    }
  }
}

TEST(IdentityMap, TieThatIsAddedAnewWasNotVisited) {
  cls_IdentityMap map;
  cls_Uid const neighbour;
  map.Add(neighbour, 1).Visit().m_Save = 5; // keeps the page in use
  {
    cls_Uid const uid;
    map.Add(uid, 2).Visit().m_Save = 5;
    EXPECT_EQ(map.Find(uid)->Visit().m_Save, 5);
  }
  cls_Uid const next;
  EXPECT_EQ(map.Add(next, 2).Visit().m_Save, 0);
  EXPECT_EQ(map.Find(neighbour)->Visit().m_Save, 5);
}

TEST(IdentityMap, PageThatIsUsedAgainForgetsItsVisits) {
  cls_IdentityMap map;
  for (std::int64_t id = 0; id < 31 * 200; id += 31) { // all in one pool page, freed each time
    cls_Uid const uid;
    cls_Visit& visit = map.Add(uid, id).Visit();
    EXPECT_EQ(visit.m_Save, 0) << id;
    visit.m_Save = 1;
  }
  EXPECT_EQ(map.Count(), 0U);
}

TEST(IdentityMap, EndOfTheTransactionForgetsTheVisits) {
  cls_IdentityMap map;
  std::vector<cls_Uid> const uids(200);
  std::int64_t id = 1;
  for (cls_Uid const& uid : uids) map.Add(uid, id += 10).Visit() = {&uid, 7, 3, true};
  map.ForgetVisits();
  for (cls_Uid const& uid : uids) {
    cls_Visit const& visit = map.Find(uid)->Visit();
    EXPECT_EQ(visit.m_Address, nullptr);
    EXPECT_EQ(visit.m_Holder, 0);
    EXPECT_EQ(visit.m_Save, 0);
    EXPECT_FALSE(visit.m_IsWritten);
  }
}

TEST(IdentityMap, RootIsKnownUntilItsTieGoes) {
  cls_IdentityMap map;
  map.NoteRoot(2); // an unused id
  cls_Uid const neighbour;
  EXPECT_FALSE(map.Add(neighbour, 1).IsRoot());
  {
    cls_Uid const uid;
    EXPECT_FALSE(map.Add(uid, 2).IsRoot());
    map.NoteRoot(2);
    EXPECT_TRUE(map.Find(uid)->IsRoot());
    EXPECT_FALSE(map.Find(neighbour)->IsRoot());
  }
  cls_Uid const next;
  EXPECT_FALSE(map.Add(next, 2).IsRoot());
}

TEST(IdentityMap, FailedAllocationLeavesTheTiesWhole) {
  CrowdedIdentity const crowded;
  cls_IdentityMap map;
  std::vector<cls_Uid> const uids(400);
  for (std::size_t i = 0; i < uids.size(); ++i) {
    if (i == 200) // from now on, there is an index, unless there is no memory for it
      for (int const failing : {1, 2, 0}) {
        StoreNewFault::FailAt(failing);
        EXPECT_EQ(map.Find(crowded.m_Uid), nullptr);
        StoreNewFault::FailAt(0);
      }
    // Each id in a separate page, and sometimes in a separate segment.
    auto const id = static_cast<std::int64_t>(i) * 31 * (i % 3 == 0 ? 128 : 1) + 1'000'000'000 * (i % 3);
    for (long long step = 1;; ++step) {
      StoreNewFault::FailAt(step);
      bool isAdded = false;
      try {
        map.Add(uids[i], id);
        isAdded = true;
      } catch (std::bad_alloc const&) {
      }
      StoreNewFault::FailAt(0);
      ASSERT_EQ(map.Count(), i + (isAdded ? 1 : 0));
      ASSERT_EQ(map.Find(uids[i]) != nullptr, isAdded);
      if (isAdded) break;
    }
    ASSERT_EQ(map.Find(uids[i])->Id(), id);
    ASSERT_EQ(map.IdentityOf(id).Entry(), uids[i].Entry());
  }
  map.DropFrom(1'000'000'000);
  for (std::size_t i = 0; i < uids.size(); ++i) ASSERT_EQ(map.Find(uids[i]) != nullptr, i % 3 == 0) << i;
}

} // namespace
