#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/cow/cow_1DArray.h"
#include "platform/cow/cow_1DArrayList.h"
#include "platform/cow/cow_List.h"
#include "platform/cow/cow_String.h"
#include "tests/support/Seeds.h"

// Random steps on a few containers that share their storage in many ways, each with a std::vector that shares
// nothing.
namespace {

constexpr std::size_t Slots = 6;

class CowModel : public testing::TestWithParam<unsigned int> {
 protected:
  unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(m_Random() % limit); }

  std::mt19937 m_Random{GetParam()};
};

TEST_P(CowModel, ArrayMatchesAVector) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  std::vector<cow_1DArray<int>> arrays(Slots);
  std::vector<std::vector<int>> model(Slots);
  for (int step = 0; step < 20000; ++step) {
    std::size_t const a = Below(Slots);
    std::size_t const b = Below(Slots);
    switch (Below(7)) {
    case 0: {
      int const length = static_cast<int>(Below(40));
      arrays[a].Grow(length);
      if (static_cast<std::size_t>(length) > model[a].size())
        model[a].resize(static_cast<std::size_t>(length));
      break;
    }
    case 1:
      arrays[a] = arrays[b];
      model[a] = model[b];
      break;
    case 2:
      arrays[a].Swap(arrays[b]);
      std::swap(model[a], model[b]);
      break;
    case 3:
      if (Below(4) != 0) break;
      arrays[a].Clear();
      model[a].clear();
      break;
    default:
      if (model[a].empty()) break;
      int const index = static_cast<int>(Below(static_cast<unsigned int>(model[a].size())));
      arrays[a].Get(index) = step;
      model[a][static_cast<std::size_t>(index)] = step;
      break;
    }
    for (std::size_t i = 0; i < Slots; ++i)
      ASSERT_EQ(std::vector<int>(arrays[i].ConstData(), arrays[i].ConstData() + arrays[i].Length()), model[i])
          << "step " << step;
  }
}

TEST_P(CowModel, ArrayListMatchesAVector) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  std::vector<cow_1DArrayList<cow_String>> lists(Slots);
  std::vector<std::vector<cow_String>> model(Slots);
  for (int step = 0; step < 20000; ++step) {
    std::size_t const a = Below(Slots);
    std::size_t const b = Below(Slots);
    cow_String const text(std::to_string(step));
    switch (Below(9)) {
    case 0:
      lists[a] = lists[b];
      model[a] = model[b];
      break;
    case 1: {
      std::size_t const count = Below(50);
      lists[a].Truncate(static_cast<int>(count));
      if (count < model[a].size()) model[a].resize(count);
      break;
    }
    case 2:
      lists[a].GrowStorage(static_cast<int>(Below(60)));
      break;
    case 3:
      if (Below(6) != 0) break;
      lists[a].Clear();
      model[a].clear();
      break;
    case 4:
      if (model[b].empty()) break;
      lists[a].Append(lists[b].ConstGet(0));
      model[a].push_back(cow_String(model[b].front()));
      break;
    case 5: {
      if (model[a].empty()) break;
      auto const index = Below(static_cast<unsigned int>(model[a].size()));
      lists[a].Get(static_cast<int>(index)) = text;
      model[a][index] = text;
      break;
    }
    default:
      lists[a].Append(text);
      model[a].push_back(text);
      break;
    }
    for (std::size_t i = 0; i < Slots; ++i) {
      ASSERT_EQ(lists[i].Count(), static_cast<int>(model[i].size())) << "step " << step;
      for (std::size_t k = 0; k < model[i].size(); ++k)
        ASSERT_EQ(lists[i].ConstGet(static_cast<int>(k)), model[i][k]) << "step " << step;
    }
  }
}

TEST_P(CowModel, ListAndItsIteratorsMatchVectors) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  struct Walk {
    cow_1DArrayIter<int> m_Walk;
    std::vector<int> m_Expected;
  };
  cow_List<int> list;
  std::vector<int> model;
  std::vector<Walk> walks;
  for (int step = 0; step < 5000; ++step) {
    switch (Below(12)) {
    case 0:
      if (Below(5) != 0) break;
      list.Clear();
      model.clear();
      break;
    case 1:
      if (walks.size() < 20) walks.push_back({list.Iterator(), model});
      break;
    case 2: {
      if (walks.empty()) break;
      Walk& walk = walks[Below(static_cast<unsigned int>(walks.size()))];
      std::vector<int> seen;
      for (walk.m_Walk.First(); !walk.m_Walk.AtEnd(); walk.m_Walk.Next())
        seen.push_back(walk.m_Walk.ConstGet());
      ASSERT_EQ(seen, walk.m_Expected) << "step " << step;
      walk = walks.back();
      walks.pop_back();
      break;
    }
    case 3: {
      cow_List<int> copy(list);
      copy.Append(-1);
      ASSERT_EQ(list.Count(), static_cast<int>(model.size())) << "step " << step;
      break;
    }
    default:
      list.Append(step);
      model.push_back(step);
      break;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CowModel, testing::ValuesIn(Seeds({1U, 77U, 20250131U})));

} // namespace
