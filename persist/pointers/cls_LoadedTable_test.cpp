#include "persist/pointers/cls_LoadedTable.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

/// Knows how many of its kind are alive.
class Counted {
 public:
  explicit Counted(int value) : m_Value(value) { ++s_Alive; }
  Counted(Counted&& other) noexcept : m_Value(other.m_Value) { ++s_Alive; }
  Counted& operator=(Counted&&) = delete;
  ~Counted() { --s_Alive; }
  int m_Value;
  static inline int s_Alive = 0;
};

using Table = cls_LoadedTable<Counted>;

/// -1 if there is none.
int ValueOf(Table const& table, std::int64_t id) {
  Counted const* const found = table.Find(id);
  return found == nullptr ? -1 : found->m_Value;
}

/// A table, and what it should say.
class Model {
 public:
  void Add(std::int64_t id, int value) {
    m_Table.Add(id, Counted(value));
    m_Added.push_back(id);
    m_Entries[id] = {value, m_Added.size() - 1};
  }
  void RemoveFrom(std::size_t position) {
    m_Table.RemoveFrom(position);
    std::erase_if(m_Entries, [&](auto const& entry) { return entry.second.m_Position >= position; });
    if (position < m_Added.size()) m_Added.resize(position);
  }
  void Check(std::int64_t id) const {
    auto const found = m_Entries.find(id);
    bool const isThere = found != m_Entries.end();
    ASSERT_EQ(ValueOf(m_Table, id), isThere ? found->second.m_Value : -1) << id;
    ASSERT_EQ(m_Table.PositionOf(id), isThere ? found->second.m_Position : Table::None) << id;
  }
  void CheckAll() {
    for (auto const& entry : m_Entries) Check(entry.first);
    ASSERT_EQ(m_Table.Count(), m_Added.size());
    std::vector<std::int64_t> ids;
    m_Table.ForEach([&ids](std::int64_t id, Counted const&) { ids.push_back(id); });
    ASSERT_EQ(ids, m_Added);
    ASSERT_EQ(Counted::s_Alive, static_cast<int>(m_Added.size()));
  }
  [[nodiscard]] std::size_t Count() const { return m_Added.size(); }

 private:
  struct Entry {
    int m_Value;
    std::size_t m_Position;
  };
  Table m_Table;
  std::unordered_map<std::int64_t, Entry> m_Entries;
  std::vector<std::int64_t> m_Added;
};

} // namespace

TEST(LoadedTable, AnswersAsAMapDoes) {
  {
    constexpr unsigned int Seed = 20261123;
    std::mt19937_64 random(Seed);
    Model model;
    // Consecutive numbers, far ones, and any: also negative ones.
    auto const draw = [&]() -> std::int64_t {
      switch (random() % 4) {
      case 0:
        return static_cast<std::int64_t>(random());
      case 1:
        return (std::int64_t{1} << 40) + static_cast<std::int64_t>(random() % 500);
      default:
        return static_cast<std::int64_t>(random() % 3000) - 500;
      }
    };
    for (int step = 0; step < 20'000; ++step) {
      SCOPED_TRACE(step);
      std::int64_t const id = draw();
      if (random() % 4 != 0) model.Add(id, step);
      if (random() % 500 == 0) model.RemoveFrom(model.Count() - random() % (model.Count() + 1));
      model.Check(id);
      model.Check(draw());
      if (step % 2000 == 0) model.CheckAll();
      if (testing::Test::HasFatalFailure()) return;
    }
    model.CheckAll();
  }
  EXPECT_EQ(Counted::s_Alive, 0);
}

TEST(LoadedTable, TakesEveryNumber) {
  using Limits = std::numeric_limits<std::int64_t>;
  std::int64_t const ids[] = {Limits::min(),     Limits::min() + 1, -65, -64, -1, 0, 63, 64,
                              Limits::max() - 1, Limits::max()};
  Table table;
  for (int i = 0; std::int64_t const id : ids) table.Add(id, Counted(i++));
  for (int i = 0; std::int64_t const id : ids) EXPECT_EQ(ValueOf(table, id), i++) << id;
  EXPECT_EQ(ValueOf(table, 1), -1);
  EXPECT_EQ(ValueOf(table, 1000), -1);
  table.Clear();
  EXPECT_EQ(table.Count(), 0U);
  for (std::int64_t const id : ids) EXPECT_EQ(ValueOf(table, id), -1) << id;
  table.Add(5, Counted(7));
  EXPECT_EQ(ValueOf(table, 5), 7);
}

TEST(LoadedTable, EntriesStayWhereTheyAre) {
  Table table;
  Counted const* const first = &table.Add(1, Counted(1));
  for (int i = 2; i < 5000; ++i) table.Add(i, Counted(i));
  EXPECT_EQ(table.Find(1), first);
  table.RemoveFrom(1);
  EXPECT_EQ(table.Find(1), first);
  EXPECT_EQ(first->m_Value, 1);
}

TEST(LoadedTable, EntryBehindANewOneIsNotFoundAgain) {
  Table table;
  table.Add(3, Counted(1));
  table.Add(3, Counted(2));
  EXPECT_EQ(ValueOf(table, 3), 2);
  table.RemoveFrom(1);
  EXPECT_EQ(ValueOf(table, 3), -1);
  EXPECT_EQ(table.Count(), 1U);
}
