#include <random>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreRecover.h"

namespace recover_damage_test {
namespace {

/// Every kind of damage at one place: what is recovered is right, and what is not is in the report.
class StoreRecoverDamage : public StoreRecoverTest {
 protected:
  void SetUp() override {
    MakeEverything();
    m_Whole = FileBytes(Path());
    m_Before.emplace(Path());
  }
  [[nodiscard]] std::size_t Pages() const { return m_Whole.size() / PageBytes; }
  /// Of a sweep that takes every place only in the long form.
  static std::size_t Stride(std::size_t stride) { return TestsAllSeeds() ? 1 : stride; }

  sto_RecoverReport Try(StoreBytes const& damaged, std::string const& what) {
    SCOPED_TRACE(what);
    Write(damaged);
    sto_RecoverReport report = ExpectRecovery(*m_Before);
    m_Lost += report.IsComplete() ? 0 : 1;
    ++m_Tries;
    return report;
  }

  StoreBytes m_Whole;
  std::optional<StoreSnapshot> m_Before;
  int m_Tries = 0, m_Lost = 0;
};

TEST_F(StoreRecoverDamage, PageOfZeros) {
  for (std::size_t page = 0; page < Pages(); page += Stride(3)) {
    StoreBytes damaged = m_Whole;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(page * PageBytes), PageBytes, std::byte{0});
    Try(damaged, "page " + std::to_string(page + 1));
  }
  EXPECT_GT(m_Lost, 5);
}

TEST_F(StoreRecoverDamage, PageOfGarbage) {
  std::mt19937 random(7);
  for (std::size_t page = 1; page < Pages(); page += Stride(5)) {
    StoreBytes damaged = m_Whole;
    for (std::size_t i = page * PageBytes; i < (page + 1) * PageBytes; ++i)
      damaged[i] = static_cast<std::byte>(random());
    Try(damaged, "page " + std::to_string(page + 1));
  }
  EXPECT_GT(m_Lost, 3);
}

TEST_F(StoreRecoverDamage, PageOfAnotherPlace) {
  for (std::size_t page = 2; page < Pages(); page += Stride(7)) {
    StoreBytes damaged = m_Whole;
    std::copy_n(m_Whole.begin() + static_cast<std::ptrdiff_t>((Pages() - page) * PageBytes), PageBytes,
                damaged.begin() + static_cast<std::ptrdiff_t>(page * PageBytes));
    Try(damaged, "page " + std::to_string(page + 1));
  }
}

TEST_F(StoreRecoverDamage, FileThatIsCut) {
  for (std::size_t page = 20; page < Pages(); page += Stride(9))
    for (std::size_t const rest : {0, PageBytes / 2}) {
      StoreBytes damaged = m_Whole;
      damaged.resize(page * PageBytes + rest);
      Try(damaged, std::to_string(damaged.size()) + " bytes");
    }
  EXPECT_EQ(m_Lost, m_Tries);
}

TEST_F(StoreRecoverDamage, FlippedBit) {
  for (std::size_t bit = 3; bit < 8 * m_Whole.size(); bit += TestsAllSeeds() ? 401 : 15013) {
    StoreBytes damaged = m_Whole;
    damaged[bit / 8] ^= std::byte{1} << bit % 8;
    Try(damaged, "bit " + std::to_string(bit));
  }
  EXPECT_GT(m_Lost, 5);
}

/// The header of the file, and the first bytes of each page, say where everything is.
TEST_F(StoreRecoverDamage, FlippedBitInAHeader) {
  for (std::size_t bit = 0; bit < 8 * 108; bit += TestsAllSeeds() ? 1 : 61) {
    StoreBytes damaged = m_Whole;
    damaged[bit / 8] ^= std::byte{1} << bit % 8;
    Try(damaged, "bit " + std::to_string(bit));
  }
  for (std::size_t page = 2; page < Pages(); page += Stride(9)) {
    StoreBytes damaged = m_Whole;
    damaged[page * PageBytes + page % 8] ^= std::byte{4};
    Try(damaged, "header of page " + std::to_string(page + 1));
  }
}

/// Damage at many places.
class StoreRecoverModel : public StoreRecoverDamage, public testing::WithParamInterface<unsigned> {};

TEST_P(StoreRecoverModel, ManyPlaces) {
  std::mt19937 random(GetParam());
  for (int round = 0; round < 12; ++round) {
    StoreBytes damaged = m_Whole;
    int const places = 1 + static_cast<int>(random() % 20);
    for (int place = 0; place < places; ++place) {
      std::size_t const at = random() % damaged.size();
      std::size_t const bytes = random() % 4 == 0 ? random() % (3 * PageBytes) : 1 + random() % 8;
      for (std::size_t i = at; i < std::min(at + bytes, damaged.size()); ++i)
        damaged[i] = static_cast<std::byte>(random());
    }
    try {
      Try(damaged, "seed " + std::to_string(GetParam()) + " round " + std::to_string(round));
    } catch (sto_Exception const& failure) { // nothing of a store is left, or what is left makes no sense
      sto_ErrorKind const kind = failure.Kind();
      EXPECT_TRUE(kind == sto_ErrorKind::NotFound || kind == sto_ErrorKind::Damaged) << failure.what();
      EXPECT_FALSE(std::filesystem::exists(Recovered()));
      ExpectNothingElse();
    }
  }
  EXPECT_GT(m_Tries, 6);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreRecoverModel,
                         testing::ValuesIn(Seeds({1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U})));

} // namespace
} // namespace recover_damage_test
