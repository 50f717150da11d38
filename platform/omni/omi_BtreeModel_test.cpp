#include <gtest/gtest.h>

#include <map>
#include <random>

#include "platform/omni/omi_Btree.h"
#include "platform/omni/omi_BtreeIterator.h"
#include "tests/support/Seeds.h"

// Millions of random steps on a tree, mirrored in a std::map: phases in which the tree grows alternate with
// phases in which it shrinks to nearly nothing.
namespace {

/// A key in reverse order, as in an index that lists the newest first.
struct Release {
  int m_Major;
  int m_Minor;
  friend bool operator==(Release const&, Release const&) = default;
};

int Compare(Release const& a, Release const& b) noexcept {
  if (a.m_Major != b.m_Major) return a.m_Major < b.m_Major ? -1 : 1;
  return (a.m_Minor > b.m_Minor) - (a.m_Minor < b.m_Minor);
}

} // namespace

template <> struct omi_KeyOrder<Release> {
  static int Direction(Release const& key, Release const& nodeKey) noexcept { return Compare(nodeKey, key); }
};

namespace {

struct NewestFirst {
  bool operator()(Release const& a, Release const& b) const { return Compare(b, a) < 0; }
};
struct BySignedDifference {
  bool operator()(unsigned int a, unsigned int b) const { return static_cast<int>(a - b) < 0; }
};

template <class K, class Less> class TreeModel {
 public:
  explicit TreeModel(unsigned int seed) : m_Random(seed) {}

  /// `makeKey` makes the key of a number below `keys`.
  template <class MakeKey> void Run(unsigned int keys, MakeKey makeKey) {
    for (m_Step = 0; m_Step < Steps && !testing::Test::HasFatalFailure(); ++m_Step) {
      bool const grows = m_Step / PhaseSteps % 2 == 0;
      K const key = makeKey(Below(keys));
      unsigned int const choice = Below(10);
      if (choice < 2)
        LookUp(key);
      else if ((choice < 8) == grows)
        Insert(key);
      else
        Remove(key);
      if (m_Step % CheckSteps == 0) CheckAll();
    }
    CheckAll();
  }

 private:
  static inline int const Steps = 2'000'000 / SweepStride;
  static constexpr int PhaseSteps = 100'000;
  static constexpr int CheckSteps = 5'000;

  unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(m_Random() % limit); }

  void LookUp(K const& key) {
    auto const* const node = m_Tree.ConstFind(key);
    auto const expected = m_Model.find(key);
    ASSERT_EQ(node != nullptr, expected != m_Model.end()) << "step " << m_Step;
    if (node == nullptr) return;
    ASSERT_EQ(node->Key(), key) << "step " << m_Step;
    ASSERT_EQ(node->Value(), expected->second) << "step " << m_Step;
  }

  void Insert(K const& key) {
    bool const added = m_Model.emplace(key, m_Step).second;
    ASSERT_EQ(m_Tree.Insert(key, m_Step), added) << "step " << m_Step;
    ASSERT_EQ(m_Tree.Count(), m_Model.size()) << "step " << m_Step;
  }

  void Remove(K const& key) {
    bool const removed = m_Model.erase(key) > 0;
    ASSERT_EQ(m_Tree.Remove(key), removed) << "step " << m_Step;
    ASSERT_EQ(m_Tree.Count(), m_Model.size()) << "step " << m_Step;
  }

  void CheckAll() {
    ASSERT_TRUE(m_Tree.Verify()) << "step " << m_Step;
    auto expected = m_Model.begin();
    for (omi_BtreeIterator<K, int> i(m_Tree); !i.IsDone(); i.Next(), ++expected) {
      ASSERT_NE(expected, m_Model.end()) << "step " << m_Step;
      ASSERT_EQ(i.Key(), expected->first) << "step " << m_Step;
      ASSERT_EQ(i.Value(), expected->second) << "step " << m_Step;
    }
    ASSERT_EQ(expected, m_Model.end()) << "step " << m_Step;
  }

  std::mt19937 m_Random;
  int m_Step = 0;
  omi_Btree<K, int> m_Tree;
  std::map<K, int, Less> m_Model;
};

class omi_BtreeModel : public testing::TestWithParam<unsigned int> {};

TEST_P(omi_BtreeModel, UnsignedKeysMatchAMap) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  TreeModel<unsigned int, BySignedDifference> model(GetParam());
  model.Run(8000, [](unsigned int number) { return 0x64000000U + number; });
}

TEST_P(omi_BtreeModel, UnsignedKeysOnBothSidesOfZeroMatchAMap) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  TreeModel<unsigned int, BySignedDifference> model(GetParam());
  model.Run(50, [](unsigned int number) { return number * 40'000'000U - 1'000'000'000U; });
}

TEST_P(omi_BtreeModel, KeysInReversedOrderMatchAMap) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  TreeModel<Release, NewestFirst> model(GetParam());
  model.Run(8000, [](unsigned int number) {
    return Release{static_cast<int>(number / 8) - 500, static_cast<int>(number % 8) - 4};
  });
}

INSTANTIATE_TEST_SUITE_P(Seeds, omi_BtreeModel, testing::ValuesIn(Seeds({1U, 20260101U})));

} // namespace
