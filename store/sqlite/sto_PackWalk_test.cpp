#include <numeric>
#include <random>

#include "store/format/sto_Format.h"
#include "tests/support/store/StorePages.h"

namespace {

// Reading goes from a pack to the next one without looking for it. What is found must not depend on that.

class StorePackWalk : public StorePacks {
 protected:
  static constexpr std::size_t Count = 100 * sto_Format::IdsInPack;

  /// Makes packs of which two neighbours and some objects of another are gone.
  void SetUp() override {
    StorePacks::SetUp();
    for (std::size_t i = 0; i < Count; ++i) m_Pages.emplace_back(1 + i % 37);
    SaveAll(m_Pages);
    sto_Transaction transaction(*m_Store);
    for (std::size_t i = 0; i < Count; ++i)
      if (IsGone(i)) m_Store->RemoveRoot(NameOf(i));
    m_Store->CollectGarbage();
    transaction.Commit();
    ASSERT_EQ(Packs(), 99); // 3200 objects from id 1 on are in packs 0 to 100
    Reopen(sto_Mode::ReadOnly);
  }
  static bool IsGone(std::size_t index) {
    auto const id = static_cast<std::int64_t>(index) + 1;
    std::int64_t const pack = id / sto_Format::IdsInPack;
    return pack == 3 || pack == 4 || (pack == 7 && id % 3 == 0);
  }
  void Expect(std::vector<std::size_t> const& order) {
    sto_ReadTransaction const reading(*m_Store);
    for (std::size_t const i : order) {
      if (IsGone(i)) continue;
      ASSERT_EQ(TextUnder(NameOf(i)), m_Pages[i].m_Text) << i;
    }
  }
  static std::vector<std::size_t> Ascending() {
    std::vector<std::size_t> order(Count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    return order;
  }

  std::vector<Page> m_Pages;
};

TEST_F(StorePackWalk, ObjectsAreFoundInEveryOrder) {
  std::vector<std::size_t> order = Ascending();
  Expect(order);
  std::ranges::reverse(order);
  Expect(order);
  for (unsigned int seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    order = Ascending();
    std::mt19937 random(seed);
    // Runs of neighbours, in any order: some walks begin in the middle, and some are left.
    for (std::size_t run = 0; run < 12; ++run)
      std::rotate(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(random() % Count), order.end());
    for (std::size_t swap = 0; swap < 6; ++swap) std::swap(order[random() % Count], order[random() % Count]);
    std::rotate(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(random() % (Count / 2)),
                order.begin() + Count / 2);
    Expect(order);
  }
}

TEST_F(StorePackWalk, EndsWithItsTransaction) {
  for (bool const isCut : {false, true}) {
    std::vector<std::size_t> order = Ascending();
    if (isCut) order.resize(Count / 2); // the walk could go on
    Expect(order);
    sto_Options options;
    options.m_BusyMilliseconds = 0;
    sto_Store writer = sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), options);
    m_Pages[0].m_Text += 'x';
    writer.Save(NameOf(0), m_Pages[0]); // not Busy
    Expect(order);                      // and the next walk sees it
  }
}

} // namespace
