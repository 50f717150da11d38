#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include "collections/cls_PTrie.h"
#include "tests/support/CountedValue.h"
#include "tests/support/OnThread.h"
#include "tests/support/Seeds.h"

// Millions of random steps on tries, mirrored in an ordered map from the keys' unsigned images.
namespace {

/// A trie and its model over a fixed set of keys, so that most keys are used often.
template <class K> class TrieModel {
 public:
  using Trie = cls_PTrie<K, CountedValue, sizeof(K) / sizeof(unsigned int)>;
  using Image = std::make_unsigned_t<K>;

  TrieModel(unsigned int seed, std::vector<K> keys)
      : m_Random(seed), m_Keys(std::move(keys)), m_AliveBefore(CountedValue::s_Alive) {}
  ~TrieModel() { m_Trie.Clear(); }
  TrieModel(TrieModel const&) = delete;
  TrieModel& operator=(TrieModel const&) = delete;

  /// One random step: `growth` steps in a hundred insert, the rest are half removals, half look-ups. Returns
  /// false when trie and model differ.
  bool Step(unsigned int growth) {
    K const key = m_Keys[m_Random() % m_Keys.size()];
    if (m_Random() % 100 < growth) return Insert(key);
    return m_Random() % 2 == 0 ? Remove(key) : Agrees(key);
  }

  /// Whether both have the same keys with the same values in the same order, and no other value is alive.
  [[nodiscard]] bool AgreesAsAWhole() const {
    if (!m_Trie.Verify() || CountedValue::s_Alive - m_AliveBefore != static_cast<int>(m_Model.size()))
      return false;
    cls_PTrieIter<K, CountedValue, sizeof(K) / sizeof(unsigned int)> iter(m_Trie);
    iter.First();
    for (auto const& [image, value] : m_Model) {
      if (iter.IsDone() != 0 || static_cast<Image>(iter.CurrentKey()) != image ||
          iter.CurrentValue().m_Value != value)
        return false;
      iter.Next();
    }
    return iter.IsDone() != 0;
  }

  /// Looks up every key on its own, including the absent ones.
  [[nodiscard]] bool AgreesForEveryKey() const {
    for (K const key : m_Keys)
      if (!Agrees(key)) return false;
    return true;
  }

  void Clear() {
    m_Trie.Clear();
    m_Model.clear();
  }

  [[nodiscard]] std::size_t Size() const { return m_Model.size(); }

 private:
  bool Insert(K key) {
    int const value = static_cast<int>(m_Random() >> 1U);
    CountedValue const& stored = m_Trie.Insert(key, CountedValue(value));
    m_Model[static_cast<Image>(key)] = value;
    return stored.m_Value == value && m_Trie.Count() == m_Model.size() &&
           (value % 4 != 0 || m_Trie.ConstGetPtr(key) == &stored);
  }

  bool Remove(K key) {
    m_Trie.Remove(key);
    m_Model.erase(static_cast<Image>(key));
    return m_Trie.Count() == m_Model.size() && !m_Trie.IsLastFound(key);
  }

  [[nodiscard]] bool Agrees(K key) const {
    auto const found = m_Model.find(static_cast<Image>(key));
    if (found == m_Model.end()) return m_Trie.Contains(key) == 0 && m_Trie.ConstGetPtr(key) == nullptr;
    return m_Trie.ConstGet(key).m_Value == found->second && m_Trie.Contains(key) == 1;
  }

  std::mt19937 m_Random;
  std::vector<K> m_Keys;
  int m_AliveBefore;
  Trie m_Trie;
  std::map<Image, int> m_Model;
};

template <class K> void ExpectModelHolds(unsigned int seed, std::vector<K> keys) {
  constexpr int Steps = 400000;
  constexpr int BetweenChecks = 10000;
  std::size_t const total = keys.size();
  TrieModel<K> model(seed, std::move(keys));
  auto const run = [&](char const* phase, unsigned int growth) {
    for (int step = 0; step < Steps; ++step) {
      ASSERT_TRUE(model.Step(growth)) << phase << ", step " << step;
      ASSERT_TRUE(step % BetweenChecks != 0 || model.AgreesAsAWhole()) << phase << ", step " << step;
    }
    EXPECT_TRUE(model.AgreesAsAWhole()) << phase;
    EXPECT_TRUE(model.AgreesForEveryKey()) << phase;
  };
  run("growing", 70);
  EXPECT_GT(model.Size(), total * 3 / 4);
  run("shrinking", 1);
  EXPECT_LT(model.Size(), total / 10);
  run("growing again", 40);
  EXPECT_GT(model.Size(), total / 3);
  model.Clear();
  EXPECT_TRUE(model.AgreesAsAWhole());
  EXPECT_TRUE(model.AgreesForEveryKey());
  run("after Clear", 55);
}

class PTrieModel : public testing::TestWithParam<unsigned int> {
 protected:
  /// Runs on a thread with its own pool.
  template <class K> void ExpectHolds(std::vector<K> const& keys) {
    OnThread([&] {
      SCOPED_TRACE(testing::Message() << "seed " << GetParam());
      ExpectModelHolds(GetParam(), keys);
    });
  }

  /// Keys, each of a random length in bits, so that they differ in high and low bits alike.
  template <class K> std::vector<K> SpreadKeys(int count) {
    std::mt19937_64 random(GetParam());
    constexpr unsigned int Bits = 8 * sizeof(K);
    std::vector<K> keys;
    for (int i = 0; i < count; ++i) {
      auto const image = static_cast<std::make_unsigned_t<K>>(random());
      auto const shifted = static_cast<std::make_unsigned_t<K>>(image >> random() % Bits);
      keys.push_back(static_cast<K>(random() % 2 == 0 ? shifted : ~shifted));
    }
    return keys;
  }
};

TEST_P(PTrieModel, AgreesForKeysOfBothSigns) {
  std::vector<int> keys = SpreadKeys<int>(700);
  for (int key = -150; key < 150; ++key) keys.push_back(key);
  for (int i = 0; i < 50; ++i) {
    keys.push_back(INT_MIN + i);
    keys.push_back(INT_MAX - i);
  }
  std::map<unsigned int, int> distinct;
  for (int const key : keys) distinct[static_cast<unsigned int>(key)] = key;
  keys.clear();
  for (auto const& [image, key] : distinct) keys.push_back(key);
  ExpectHolds(keys);
}

TEST_P(PTrieModel, AgreesForTheFirstIndexesOfBlocks) {
  std::vector<int> keys;
  for (int block = 0; block < 1500; ++block) keys.push_back(block * 2048);
  for (int block = 0; block < 20; ++block) keys.push_back((INT_MAX & ~2047) - block * 2048);
  ExpectHolds(keys);
}

TEST_P(PTrieModel, AgreesForKeysOfTwoWords) {
  std::vector<long long> keys{LLONG_MIN, LLONG_MAX};
  std::map<unsigned long long, long long> distinct{{0, 0}};
  for (long long const key : SpreadKeys<long long>(1000))
    distinct[static_cast<unsigned long long>(key)] = key;
  distinct.erase(static_cast<unsigned long long>(LLONG_MIN));
  distinct.erase(static_cast<unsigned long long>(LLONG_MAX));
  for (auto const& [image, key] : distinct) keys.push_back(key);
  ExpectHolds(keys);
}

INSTANTIATE_TEST_SUITE_P(Seeds, PTrieModel, testing::ValuesIn(Seeds({1U, 4711U})));

} // namespace
