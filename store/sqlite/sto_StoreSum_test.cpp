#include <filesystem>
#include <map>

#include <random>

#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StorePages.h"
#include "tests/support/store/StoreRows.h"

namespace {

void ExpectSum(std::string const& path) {
  SqlFile file(path);
  ASSERT_EQ(SumInLog(file), SumOverRows(file));
}

/// The sum over a store in its log of saves.
class StoreSum : public StorePacks {
 protected:
  int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }
  std::string AnyName() { return "root " + std::to_string(Below(12)); }
  std::size_t AnyLength() {
    static constexpr std::size_t Lengths[] = {0, 10, 500, 985, 1000, 1100, 3000};
    return Lengths[Below(std::size(Lengths))];
  }
  void SavePage() {
    std::string const name = AnyName();
    if (Below(2) == 0) {
      Page const page(AnyLength());
      m_Store->Save(name, page);
    } else if (m_Store->HasRoot(name)) {
      std::unique_ptr<Page> const page = m_Store->Load<Page>(name);
      page->m_Text = std::string(AnyLength(), static_cast<char>('a' + Below(26)));
      m_Store->Save(name, *page);
    }
  }
  void SaveThatFails() {
    std::vector<Page> const pages{Page(AnyLength()), Page(AnyLength())};
    std::vector<std::unique_ptr<Page>> stored;
    FailingBook book;
    for (Page const& page : pages) book.m_Pages.push_back(&page);
    for (int i = 0; i < 3; ++i)
      if (std::string const name = AnyName(); m_Store->HasRoot(name)) {
        stored.push_back(m_Store->Load<Page>(name));
        stored.back()->m_Text += "!";
        book.m_Pages.push_back(stored.back().get());
      }
    EXPECT_THROW(m_Store->Save(AnyName(), book), std::exception);
  }
  void Step() {
    switch (Below(8)) {
    case 0:
      return SaveThatFails();
    case 1:
      m_Store->RemoveRoot(AnyName());
      return;
    case 2:
      if (std::string const to = AnyName(); !m_Store->HasRoot(to)) m_Store->RenameRoot(AnyName(), to);
      return;
    case 3:
      if (Below(3) == 0) m_Store->CollectGarbage();
      return;
    default:
      SavePage();
    }
  }

  std::minstd_rand m_Random;
};

TEST_F(StoreSum, IsThatOfAllRowsAfterAnyHistory) {
  for (unsigned int const seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    m_Random.seed(seed);
    for (int round = 0; round < 60; ++round) {
      {
        sto_Transaction transaction(*m_Store);
        for (int left = Below(8); left >= 0; --left) Step();
        if (Below(4) != 0) transaction.Commit();
      }
      Step();
      if (Below(10) == 0) Reopen();
      ASSERT_NO_FATAL_FAILURE(ExpectSum(Path())) << round;
    }
  }
}

TEST_F(StoreSum, NoticesOldMissingDoubledAndExchangedRows) {
  m_Store->Save("short", Page(Short));
  m_Store->Save("long", Page(Long));
  m_Store->Save("other", Page(Long + 1));
  std::filesystem::copy_file(Path(), Path("before"));
  std::unique_ptr<Page> const page = m_Store->Load<Page>("long");
  page->m_Text = "q" + page->m_Text;
  m_Store->Save("long", *page);
  m_Store->Save("short", Page(Short + 1));
  m_Store.reset();
  ASSERT_NO_FATAL_FAILURE(ExpectSum(Path()));
  std::filesystem::copy_file(Path(), Path("whole"));
  for (char const* const change :
       {"REPLACE INTO object SELECT * FROM before.object", "REPLACE INTO pack SELECT * FROM before.pack",
        "REPLACE INTO root SELECT * FROM before.root", "DELETE FROM object WHERE id = 2", "DELETE FROM pack",
        "DELETE FROM root WHERE name = 'other'", "DELETE FROM name", "DELETE FROM shape", "DELETE FROM class",
        "INSERT INTO root SELECT 'more', object_id, class_id, 0 FROM root WHERE name = 'long'"}) {
    std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
    SqlFile file(Path());
    file.Run("ATTACH '" + Path("before") + "' AS before");
    file.Run(change);
    file.Run("DETACH before");
    EXPECT_NE(SumInLog(file), SumOverRows(file)) << change;
  }
}

TEST_F(StoreSum, IsTheSameInACopyAndAfterAnUpgrade) {
  for (std::size_t i = 0; i < 40; ++i) m_Store->Save(NameOf(i), Page(i * 60));
  m_Store->CopyTo(Path("copy"));
  SqlFile file(Path()), copy(Path("copy"));
  EXPECT_EQ(SumInLog(copy), SumInLog(file));
  m_Store.reset();
  MakeStoreOfOldFormat(Path("copy"), 3);
  sto_Options options;
  options.m_Upgrade = true;
  static_cast<void>(sto_Store::Open(Path("copy"), sto_Mode::ReadWrite, TestClasses(), options));
  ExpectSum(Path("copy"));
}

using StoreSumOfArrays = StoreArrayTest;

TEST_F(StoreSumOfArrays, FollowsBlocksThatAreWrittenOverwrittenMovedAndDeleted) {
  constexpr int Elements = 50 * 2048 + 5;
  Make(Elements);
  ASSERT_NO_FATAL_FAILURE(ExpectSum(Path()));
  sto_Store store = Open();
  std::unique_ptr<DoubleHolder> holder = store.Load<DoubleHolder>("array");
  auto const change = [&](int step, double value) {
    for (int i = 0; i < holder->m_Array.Size(); i += step) holder->m_Array.Get(i) = value;
    store.Save("array", *holder);
  };
  for (int const step : {20000, 2048, 2048, 3 * 2048}) { // a few in place, then many, which are moved
    sto_Transaction transaction(store);
    change(step, step / 3.0);
    transaction.Commit();
    ASSERT_NO_FATAL_FAILURE(ExpectSum(Path())) << step;
  }
  EXPECT_GT(SqlFile(Path()).Integer("SELECT count(*) FROM moved_block"), 5);
  {
    sto_Transaction transaction(store);
    change(2048, 0.125);
    SaveThatFails(store);
    change(4096, 0.25);
    transaction.Rollback();
  }
  ASSERT_NO_FATAL_FAILURE(ExpectSum(Path()));
  {
    sto_Transaction transaction(store);
    change(2048, 0.5);
    SaveThatFails(store);
    change(4096, 0.75);
    transaction.Commit();
  }
  ASSERT_NO_FATAL_FAILURE(ExpectSum(Path()));
  Fill(holder->m_Array, Elements + 5000); // longer
  store.Save("array", *holder);
  ASSERT_NO_FATAL_FAILURE(ExpectSum(Path()));
  store.RemoveRoot("array");
  holder.reset();
  store.CollectGarbage();
  ASSERT_NO_FATAL_FAILURE(ExpectSum(Path()));
}

TEST_F(StoreSumOfArrays, CoversTheBlocksAfterAnUpgrade) {
  Make(10000);
  for (int const format : {1, 2, 3}) {
    std::filesystem::copy_file(Path(), Path("old"), std::filesystem::copy_options::overwrite_existing);
    MakeStoreOfOldFormat(Path("old"), format);
    sto_Options options;
    options.m_Upgrade = true;
    static_cast<void>(Open(sto_Mode::ReadWrite, "old", options));
    ASSERT_NO_FATAL_FAILURE(ExpectSum(Path("old"))) << format;
  }
}

} // namespace
