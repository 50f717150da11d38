#include "platform/cow/cow_Map.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/cow/cow_ConstMapIterator.h"
#include "platform/cow/cow_String.h"
#include "tests/support/CountedValue.h"
#include "tests/support/Seeds.h"

namespace {

using Map = cow_Map<cow_String, CountedValue>;
using MapIterator = cow_ConstMapIterator<cow_String, CountedValue>;
using Entries = std::vector<std::pair<std::string, int>>;

Entries RestOf(MapIterator& iterator) {
  Entries entries;
  for (; !iterator.IsDone(); iterator.Next())
    entries.emplace_back(iterator.Key().View(), iterator.Value().m_Value);
  return entries;
}
Entries All(Map const& map) {
  MapIterator iterator(map);
  return RestOf(iterator);
}

class cow_MapTest : public testing::Test {
 protected:
  void SetUp() override { CountedValue::ResetCounts(); }
  void TearDown() override {
    CountedValue::ResetCounts();
    EXPECT_EQ(CountedValue::s_Alive, 0);
  }

  /// "a" to "c" with 1 to 3; no copies counted yet.
  static Map Three() {
    Map map;
    EXPECT_TRUE(map.Insert("b"_cow, CountedValue(2)));
    EXPECT_TRUE(map.Insert("c"_cow, CountedValue(3)));
    EXPECT_TRUE(map.Insert("a"_cow, CountedValue(1)));
    CountedValue::ResetCounts();
    return map;
  }
  Entries const m_Three{{"a", 1}, {"b", 2}, {"c", 3}};
};

TEST_F(cow_MapTest, EmptyMapFindsNothing) {
  Map map;
  EXPECT_EQ(map.Count(), 0);
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_EQ(map.ConstFind("a"_cow), nullptr);
  EXPECT_EQ(map.Find("a"_cow), nullptr);
  EXPECT_FALSE(map.IsMember("a"_cow));
  EXPECT_FALSE(map.Remove("a"_cow));
  EXPECT_TRUE(MapIterator(map).IsDone());
}

TEST_F(cow_MapTest, IsOnePointerWideAndSharesWithoutFailing) {
  static_assert(sizeof(Map) == sizeof(void*));
  static_assert(std::is_nothrow_default_constructible_v<Map> && std::is_nothrow_copy_constructible_v<Map>);
  static_assert(std::is_nothrow_copy_assignable_v<Map> && std::is_nothrow_move_constructible_v<Map>);
}

TEST_F(cow_MapTest, InsertedEntryIsFoundUnderItsKey) {
  Map map;
  EXPECT_TRUE(map.Insert("a"_cow, CountedValue(1)));
  Map::Node const* const node = map.ConstFind("a"_cow);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->first, "a"_cow);
  EXPECT_EQ(node->second.m_Value, 1);
  EXPECT_EQ(&map.ConstGet("a"_cow), &node->second);
  EXPECT_TRUE(map.IsMember("a"_cow));
  EXPECT_FALSE(map.IsMember("b"_cow));
  EXPECT_EQ(map.Count(), 1);
  EXPECT_FALSE(map.IsEmpty());
}

TEST_F(cow_MapTest, InsertReplacesTheValueOfAnExistingKey) {
  Map map = Three();
  EXPECT_FALSE(map.Insert("b"_cow, CountedValue(20)));
  EXPECT_EQ(All(map), (Entries{{"a", 1}, {"b", 20}, {"c", 3}}));
  EXPECT_EQ(map.Count(), 3);
  EXPECT_EQ(CountedValue::s_Alive, 3);
  EXPECT_EQ(CountedValue::s_Copies, 1); // the new value
}

TEST_F(cow_MapTest, InsertThatReplacesKeepsTheKeyObject) {
  Map map;
  cow_String const key("a long key that is not a literal");
  map.Insert(key, CountedValue(1));
  map.Insert(cow_String(key.View()), CountedValue(2));
  EXPECT_TRUE(map.ConstFind(key)->first.SharesBufferWith(key));
}

TEST_F(cow_MapTest, IterationAscendsByTheBytesOfTheKeys) {
  Map map;
  for (char const* const key : {"b", "\xC3\xA4", "B", "a10", "a2", ""})
    map.Insert(cow_String(key), CountedValue(0));
  EXPECT_EQ(All(map), (Entries{{"", 0}, {"B", 0}, {"a10", 0}, {"a2", 0}, {"b", 0}, {"\xC3\xA4", 0}}));
}

TEST_F(cow_MapTest, NoTextAndEmptyTextAreOneKey) {
  Map map;
  EXPECT_TRUE(map.Insert(cow_String(), CountedValue(1)));
  EXPECT_FALSE(map.Insert(""_cow, CountedValue(2)));
  EXPECT_EQ(map.ConstGet(cow_String()).m_Value, 2);
  EXPECT_EQ(map.Count(), 1);
}

TEST_F(cow_MapTest, GetChangesTheValueInPlace) {
  Map map = Three();
  CountedValue const* const value = &map.ConstGet("b"_cow);
  map.Get("b"_cow).m_Value = 20;
  EXPECT_EQ(value->m_Value, 20);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_MapTest, GetAndConstGetOfAMissingKeyThrowAndChangeNothing) {
  Map const map = Three();
  Map copy(map);
  EXPECT_THROW((void)copy.Get("z"_cow), std::out_of_range);
  EXPECT_THROW((void)copy.ConstGet("z"_cow), std::out_of_range);
  EXPECT_TRUE(copy.SharesStorageWith(map));
  EXPECT_THROW((void)Map().Get("z"_cow), std::out_of_range);
  EXPECT_THROW((void)Map().ConstGet("z"_cow), std::out_of_range);
}

TEST_F(cow_MapTest, RemoveRemovesOneEntry) {
  Map map = Three();
  EXPECT_TRUE(map.Remove("b"_cow));
  EXPECT_FALSE(map.Remove("b"_cow));
  EXPECT_EQ(All(map), (Entries{{"a", 1}, {"c", 3}}));
  EXPECT_EQ(CountedValue::s_Alive, 2);
}

TEST_F(cow_MapTest, RemoveAcceptsTheKeyOfItsOwnEntry) {
  Map map = Three();
  EXPECT_TRUE(map.Remove(map.ConstFind("b"_cow)->first));
  EXPECT_EQ(All(map), (Entries{{"a", 1}, {"c", 3}}));
  Map const copy(map);
  EXPECT_TRUE(map.Remove(map.ConstFind("a"_cow)->first));
  EXPECT_EQ(All(map), (Entries{{"c", 3}}));
  EXPECT_EQ(All(copy), (Entries{{"a", 1}, {"c", 3}}));
}

TEST_F(cow_MapTest, InsertAcceptsKeyAndValueFromItsOwnEntries) {
  for (bool const shared : {false, true}) {
    Map map = Three();
    Map const copy = shared ? map : Map();
    map.Insert("d"_cow, map.ConstGet("a"_cow));
    map.Insert(map.ConstFind("b"_cow)->first, map.ConstGet("c"_cow));
    map.Insert("c"_cow, map.ConstGet("c"_cow));
    EXPECT_EQ(All(map), (Entries{{"a", 1}, {"b", 3}, {"c", 3}, {"d", 1}}));
    EXPECT_EQ(All(copy), shared ? m_Three : Entries());
  }
}

TEST_F(cow_MapTest, ClearEmptiesOnlyThisMap) {
  Map map = Three();
  Map const copy(map);
  map.Clear();
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_TRUE(map.Insert("z"_cow, CountedValue(26)));
  EXPECT_EQ(All(copy), m_Three);
}

TEST_F(cow_MapTest, CopyingAndReadingCopiesNoEntry) {
  Map const map = Three();
  Map const copy(map);
  Map third;
  third = copy;
  EXPECT_TRUE(third.SharesStorageWith(map));
  EXPECT_EQ(third.ConstFind("a"_cow), map.ConstFind("a"_cow));
  EXPECT_EQ(&third.ConstGet("b"_cow), &map.ConstGet("b"_cow));
  EXPECT_EQ(All(third), m_Three);
  EXPECT_EQ(third.Count(), 3);
  EXPECT_TRUE(third.SharesStorageWith(map));
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_MapTest, ReadingThroughANonConstSharingMapKeepsItShared) {
  Map const map = Three();
  Map copy(map);
  EXPECT_EQ(copy.ConstGet("a"_cow).m_Value, 1);
  EXPECT_TRUE(copy.IsMember("a"_cow));
  EXPECT_FALSE(copy.IsEmpty());
  EXPECT_TRUE(copy.SharesStorageWith(map));
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_MapTest, WritingASoleOwnerCopiesNoEntry) {
  Map map = Three();
  Map::Node const* const node = map.ConstFind("a"_cow);
  map.Find("a"_cow)->m_Value = 10;
  EXPECT_TRUE(map.Remove("c"_cow));
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_TRUE(map.Insert("d"_cow, CountedValue(4)));
  EXPECT_EQ(CountedValue::s_Copies, 1); // the value of the new entry
  EXPECT_EQ(map.ConstFind("a"_cow), node);
  EXPECT_EQ(node->second.m_Value, 10);
}

TEST_F(cow_MapTest, FirstWriteOfASharingMapCopiesEachEntryOnce) {
  Map const map = Three();
  Map copy(map);
  copy.Get("a"_cow).m_Value = 10;
  EXPECT_EQ(CountedValue::s_Copies, 3);
  copy.Get("b"_cow).m_Value = 20;
  EXPECT_EQ(CountedValue::s_Copies, 3);
  EXPECT_FALSE(copy.SharesStorageWith(map));
  EXPECT_EQ(All(map), m_Three);
  EXPECT_EQ(All(copy), (Entries{{"a", 10}, {"b", 20}, {"c", 3}}));
}

TEST_F(cow_MapTest, InsertionIntoASharingMapKeepsTheOthers) {
  Map const map = Three();
  Map added(map);
  Map replaced(map);
  EXPECT_TRUE(added.Insert("d"_cow, CountedValue(4)));
  EXPECT_FALSE(replaced.Insert("a"_cow, CountedValue(10)));
  EXPECT_EQ(All(map), m_Three);
  EXPECT_EQ(All(added), (Entries{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}}));
  EXPECT_EQ(All(replaced), (Entries{{"a", 10}, {"b", 2}, {"c", 3}}));
}

TEST_F(cow_MapTest, RemovalFromASharingMapKeepsTheOthers) {
  Map const map = Three();
  Map copy(map);
  EXPECT_TRUE(copy.Remove("a"_cow));
  EXPECT_EQ(All(map), m_Three);
  EXPECT_EQ(All(copy), (Entries{{"b", 2}, {"c", 3}}));
}

TEST_F(cow_MapTest, OperationsThatChangeNothingKeepMapsShared) {
  Map const map = Three();
  Map copy(map);
  EXPECT_FALSE(copy.Remove("z"_cow));
  EXPECT_EQ(copy.Find("z"_cow), nullptr);
  EXPECT_TRUE(copy.SharesStorageWith(map));
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_MapTest, WriteAfterTheOthersAreGoneCopiesNothing) {
  Map map = Three();
  { Map const copy(map); }
  map.Get("a"_cow).m_Value = 10;
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_MapTest, LastMapReleasesTheEntries) {
  Map map = Three();
  auto* const copy = new Map(map);
  map.Clear();
  EXPECT_EQ(CountedValue::s_Alive, 3);
  delete copy;
  EXPECT_EQ(CountedValue::s_Alive, 0);
}

TEST_F(cow_MapTest, AssignmentToItselfKeepsTheEntries) {
  Map map = Three();
  Map& same = map;
  map = same;
  EXPECT_EQ(All(map), m_Three);
  map = std::move(same);
  EXPECT_EQ(All(map), m_Three);
}

TEST_F(cow_MapTest, MovingTakesTheEntriesWithoutACopy) {
  Map map = Three();
  Map moved(std::move(map));
  Map assigned;
  assigned.Insert("z"_cow, CountedValue(26));
  CountedValue::ResetCounts();
  assigned = std::move(moved);
  EXPECT_EQ(All(assigned), m_Three);
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_EQ(CountedValue::s_Alive, 3);
}

TEST_F(cow_MapTest, SwapExchangesTheEntries) {
  Map map = Three();
  Map other;
  other.Swap(map);
  EXPECT_EQ(map.Count(), 0);
  EXPECT_EQ(All(other), m_Three);
}

TEST_F(cow_MapTest, KeepsItsShareWhenTheCopyFails) {
  Map const map = Three();
  Map copy(map);
  for (int step = 1; step <= 3; ++step) {
    CountedValue::ResetCounts();
    CountedValue::s_FailAtCopy = step;
    EXPECT_THROW(copy.Remove("a"_cow), std::runtime_error);
    EXPECT_TRUE(copy.SharesStorageWith(map));
    EXPECT_EQ(CountedValue::s_Alive, 3);
  }
  CountedValue::ResetCounts();
  EXPECT_TRUE(copy.Remove("a"_cow));
  EXPECT_EQ(map.Count(), 3);
}

TEST_F(cow_MapTest, InsertThatFailsAtAnyCopyKeepsTheEntriesOfEveryMap) {
  for (char const* const key : {"b", "d"}) // replacing, adding
    for (bool const shared : {false, true}) {
      int failures = 0;
      for (int step = 1;; ++step) {
        Map map = Three();
        Map const copy = shared ? map : Map();
        CountedValue const value(9);
        CountedValue::s_FailAtCopy = step;
        bool failed = false;
        try {
          map.Insert(cow_String(key), value);
        } catch (std::runtime_error const&) {
          failed = true;
        }
        CountedValue::ResetCounts();
        EXPECT_EQ(All(copy), shared ? m_Three : Entries()) << key << " at copy " << step;
        if (!failed) break;
        ++failures;
        EXPECT_EQ(All(map), m_Three) << key << " at copy " << step;
      }
      EXPECT_EQ(failures, shared ? 4 : 1) << key;
    }
}

TEST_F(cow_MapTest, IteratorSeesTheOldContent) {
  Map map = Three();
  MapIterator iterator(map);
  iterator.Next();
  map.Get("b"_cow).m_Value = 20;
  map.Insert("d"_cow, CountedValue(4));
  map.Remove("c"_cow);
  EXPECT_EQ(RestOf(iterator), (Entries{{"b", 2}, {"c", 3}}));
  iterator.First();
  EXPECT_EQ(RestOf(iterator), m_Three);
  EXPECT_EQ(All(map), (Entries{{"a", 1}, {"b", 20}, {"d", 4}}));
}

TEST_F(cow_MapTest, IteratorOutlivesItsMap) {
  auto* const map = new Map(Three());
  MapIterator iterator(*map);
  delete map;
  EXPECT_EQ(RestOf(iterator), m_Three);
}

TEST_F(cow_MapTest, CopyOfAnIteratorMovesOnItsOwn) {
  Map const map = Three();
  MapIterator iterator(map);
  iterator.Next();
  MapIterator copy(iterator);
  iterator.Next();
  EXPECT_EQ(RestOf(copy), (Entries{{"b", 2}, {"c", 3}}));
  EXPECT_EQ(RestOf(iterator), (Entries{{"c", 3}}));
}

TEST_F(cow_MapTest, DestroyedIteratorLeavesASoleOwner) {
  Map map = Three();
  EXPECT_EQ(All(map).size(), 3U);
  map.Get("a"_cow).m_Value = 10;
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

class cow_MapModel : public testing::TestWithParam<unsigned int> {};

// Random steps on maps that share their entries in many ways, each with a std::map that shares nothing, and
// on iterators, which keep the entries of the moment when they were made.
TEST_P(cow_MapModel, MapsAndIteratorsMatchStandardMaps) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  using Numbers = cow_Map<int, int>;
  using Walk = cow_ConstMapIterator<int, int>;
  using Model = std::map<int, int>;
  std::mt19937 random(GetParam());
  auto const below = [&random](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
  auto const same = [](Walk i, Model const& expected) {
    Model seen;
    for (i.First(); !i.IsDone(); i.Next()) seen.emplace_hint(seen.end(), i.Key(), i.Value());
    return seen == expected;
  };
  std::vector<Numbers> maps(6);
  std::vector<Model> models(6);
  std::vector<std::pair<Walk, Model>> walks;
  for (int step = 0; step < 300'000; ++step) {
    bool const grows = step / 20'000 % 2 == 0;
    std::size_t const a = below(maps.size());
    std::size_t const b = below(maps.size());
    int const key = static_cast<int>(below(300)) - 150;
    std::size_t const choice = below(1000);
    if (choice < 20) {
      maps[a] = maps[b];
      models[a] = models[b];
    } else if (choice < 22) {
      maps[a].Clear();
      models[a].clear();
    } else if (choice < 30) {
      maps[a].Swap(maps[b]);
      std::swap(models[a], models[b]);
    } else if (choice < 40) {
      if (walks.size() == 10) walks.erase(walks.begin());
      walks.emplace_back(Walk(maps[a]), models[a]);
    } else if (choice < 240) {
      auto const* const node = maps[a].ConstFind(key);
      auto const expected = models[a].find(key);
      ASSERT_EQ(node != nullptr, expected != models[a].end()) << "step " << step;
      if (node != nullptr) {
        ASSERT_EQ(*node, *expected) << "step " << step;
      }
    } else if (choice < 340) {
      int* const value = maps[a].Find(key);
      ASSERT_EQ(value != nullptr, models[a].count(key) == 1) << "step " << step;
      if (value != nullptr) *value = models[a][key] = step;
    } else if ((choice < 800) == grows) {
      ASSERT_EQ(maps[a].Insert(key, step), models[a].insert_or_assign(key, step).second) << "step " << step;
    } else {
      ASSERT_EQ(maps[a].Remove(key), models[a].erase(key) > 0) << "step " << step;
    }
    ASSERT_EQ(maps[a].Count(), static_cast<int>(models[a].size())) << "step " << step;
    if (step % 500 != 0) continue;
    for (std::size_t i = 0; i < maps.size(); ++i)
      ASSERT_TRUE(same(Walk(maps[i]), models[i])) << "step " << step;
    for (auto const& [walk, expected] : walks) ASSERT_TRUE(same(walk, expected)) << "step " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, cow_MapModel, testing::ValuesIn(Seeds({1U, 20260101U})));

} // namespace
