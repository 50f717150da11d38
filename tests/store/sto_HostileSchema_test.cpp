#include <fstream>

#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"

namespace {

namespace fs = std::filesystem;

/// Files that claim to be stores, but contain more than a store or something else.
class StoreHostileSchema : public StoreTest {
 protected:
  void SetUp() override { Create().Save("node", Node(1)); }
  /// Both modes refuse the store and name what does not belong in it.
  void ExpectRefused(std::string const& name) const {
    for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly}) {
      std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(Open(mode)); });
      EXPECT_TRUE(Contains(message, Path()) && Contains(message, name)) << message;
    }
  }
  void Run(std::string const& sql) const { SqlFile(Path()).Run(sql); }
};

TEST_F(StoreHostileSchema, ForeignTriggersViewsTablesAndIndexesAreRefusedByName) {
  StoreBytes const whole = FileBytes(Path());
  for (char const* const sql :
       {"CREATE TRIGGER alien AFTER INSERT ON object BEGIN DELETE FROM root; END",
        "CREATE TRIGGER alien BEFORE DELETE ON root BEGIN SELECT RAISE(IGNORE); END",
        "CREATE VIEW alien AS SELECT 1", "CREATE TABLE alien(x)", "CREATE INDEX alien ON object(record)",
        "CREATE UNIQUE INDEX alien ON root(object_id)", "CREATE VIRTUAL TABLE alien USING fts5(x)"}) {
    SCOPED_TRACE(sql);
    Run(sql);
    ExpectRefused("alien");
    WriteFile(Path(), {reinterpret_cast<char const*>(whole.data()), whole.size()});
  }
  EXPECT_EQ(Open().Load<Node>("node")->m_Value, 1);
}

TEST_F(StoreHostileSchema, AlteredTableIsRefusedByName) {
  StoreBytes const whole = FileBytes(Path());
  for (char const* const sql :
       {"ALTER TABLE object ADD COLUMN more", "ALTER TABLE object RENAME COLUMN record TO other",
        "DROP TABLE object; CREATE TABLE object(id INTEGER PRIMARY KEY, "
        "record BLOB NOT NULL CHECK(length(record) > 0))",
        "DROP TABLE object; CREATE VIEW object AS SELECT 1 AS id, x'00' AS record",
        "DROP TABLE object; CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, "
        "record BLOB NOT NULL)",
        "DROP TABLE object", "ALTER TABLE object RENAME TO other_object"}) {
    SCOPED_TRACE(sql);
    Run(sql);
    ExpectRefused("object");
    WriteFile(Path(), {reinterpret_cast<char const*>(whole.data()), whole.size()});
  }
}

TEST_F(StoreHostileSchema, FormatVersionThatDoesNotMatchTheTablesIsRefused) {
  Run("PRAGMA user_version = 3");
  ExpectRefused("class");
  Run("PRAGMA user_version = 4; DROP TABLE block_place");
  ExpectRefused("block_place");
}

TEST_F(StoreHostileSchema, OlderFormatVersionThatDoesNotMatchTheTablesIsRefused) {
  MakeStoreOfOldFormat(Path(), 3);
  EXPECT_EQ(Open(sto_Mode::ReadOnly).Load<Node>("node")->m_Value, 1);
  for (int const version : {1, 2, 4}) {
    SCOPED_TRACE(version);
    Run("PRAGMA user_version = " + std::to_string(version));
    ExpectRefused(version == 4 ? "attribute" : "");
  }
  Run("PRAGMA user_version = 3; CREATE TABLE shape(id INTEGER PRIMARY KEY, data BLOB NOT NULL)");
  ExpectRefused("shape");
}

TEST_F(StoreHostileSchema, TablesThatAnUpgradeUsesForAWhileAreRefused) {
  MakeStoreOfOldFormat(Path(), 3);
  Run("CREATE TABLE old_object(x)");
  StoreBytes const before = FileBytes(Path());
  sto_Options options;
  options.m_Upgrade = true;
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] {
    static_cast<void>(sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), options));
  });
  EXPECT_TRUE(Contains(message, "old_object")) << message;
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreHostileSchema, StatisticsOfSQLiteAreAccepted) {
  Run("ANALYZE");
  EXPECT_EQ(Query("SELECT count(*) FROM sqlite_schema WHERE name = 'sqlite_stat1'"), 1);
  sto_Store store = Open();
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 1);
  store.Save("more", Node(2));
}

TEST_F(StoreHostileSchema, TriggerAddedToATableLaterDoesNotRun) {
  sto_Store store = Open();
  Run("CREATE TRIGGER alien AFTER INSERT ON pack BEGIN DELETE FROM root; END");
  store.Save("more", Node(2));
  EXPECT_EQ(store.Roots(), (std::vector<std::string>{"more", "node"}));
}

TEST_F(StoreHostileSchema, SessionsGoOnWhenAnotherOneUpgradesTheStore) {
  fs::copy_file(fs::path(KVL_GOLDEN_DIR) / "format-1.kvs", Path(), fs::copy_options::overwrite_existing);
  fs::permissions(Path(), fs::perms::owner_write, fs::perm_options::add);
  sto_Store before = Open(sto_Mode::ReadOnly);
  std::vector<std::string> roots = before.Roots();
  {
    sto_Options options;
    options.m_Upgrade = true;
    sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), options).Save("zzz", Node(3));
  }
  roots.push_back("zzz");
  EXPECT_EQ(Query("PRAGMA user_version"), 4);
  EXPECT_EQ(before.Roots(), roots);
  Open().Save("zzzz", Node(4));
  EXPECT_EQ(before.Load<Node>("zzzz")->m_Value, 4);
}

/// A tree of a table whose inner pages have one page as all their children: a few kilobytes, and endless
/// rows.
class StoreEndlessTree : public StoreTest {
 protected:
  static constexpr std::size_t PageBytes = 512;
  static constexpr int Children = 70; // per inner page
  static constexpr int Levels = 7;    // 70^7 rows

  static void PutNumber(StoreBytes& page, std::size_t at, std::size_t bytes, std::uint64_t value) {
    for (std::size_t i = 0; i < bytes; ++i)
      page[at + i] = static_cast<std::byte>(value >> (8 * (bytes - 1 - i)) & 0xFF);
  }
  static StoreBytes InnerPage(std::uint64_t child) {
    StoreBytes page(PageBytes);
    constexpr std::size_t HeaderBytes = 12;
    constexpr std::size_t CellBytes = 5;
    page[0] = std::byte{5};
    PutNumber(page, 3, 2, Children);
    PutNumber(page, 5, 2, PageBytes - Children * CellBytes);
    PutNumber(page, 8, 4, child);
    for (std::size_t i = 0; i < Children; ++i) {
      std::size_t const cell = PageBytes - (i + 1) * CellBytes;
      PutNumber(page, HeaderBytes + 2 * i, 2, cell);
      PutNumber(page, cell, 4, child);
      page[cell + 4] = std::byte{1}; // the key
    }
    return page;
  }
  /// Makes the table's only page the child of many.
  void MakeEndless(std::string const& table) {
    std::int64_t const root = Query("SELECT rootpage FROM sqlite_schema WHERE name = '" + table + "'");
    StoreBytes file = FileBytes(Path());
    auto const rootAt = static_cast<std::ptrdiff_t>((root - 1) * PageBytes);
    StoreBytes page(file.begin() + rootAt, file.begin() + rootAt + PageBytes);
    ASSERT_EQ(page[0], std::byte{13}); // a leaf
    for (int level = 0; level < Levels; ++level) {
      file.insert(file.end(), page.begin(), page.end());
      page = InnerPage(file.size() / PageBytes);
    }
    std::copy(page.begin(), page.end(), file.begin() + rootAt);
    PutNumber(file, 28, 4, file.size() / PageBytes);
    WriteFile(Path(), {reinterpret_cast<char const*>(file.data()), file.size()});
  }
  void SetUp() override {
    sto_Options options;
    options.m_PageBytes = PageBytes;
    sto_Store::Open(Path(), sto_Mode::Create, TestClasses(), options).Save("node", Node(1));
    SqlFile file(Path());
    file.Run("INSERT INTO object VALUES(70, x'00')");
    SetNextObjectId(file, "100");
  }
  /// The work must end, with a failure that says what is wrong.
  static void ExpectDamaged(std::function<void()> const& work) {
    EXPECT_EQ(RunStoreChild([&] {
                alarm(30); // without a limit it would run for years
                std::string const message = MessageOf(sto_ErrorKind::Damaged, work);
                return Contains(message, "steps") ? 0 : 1;
              }),
              0);
  }
};

TEST_F(StoreEndlessTree, CountingItsRowsEnds) {
  MakeEndless("object");
  ExpectDamaged([&] { static_cast<void>(Open(sto_Mode::ReadOnly).ObjectCount()); });
}

TEST_F(StoreEndlessTree, CollectingItsObjectsEnds) {
  MakeEndless("object");
  ExpectDamaged([&] { static_cast<void>(Open().CollectGarbage()); });
}

TEST_F(StoreEndlessTree, ReadingEndlessPacksEnds) {
  MakeEndless("pack");
  ExpectDamaged([&] { static_cast<void>(Open(sto_Mode::ReadOnly).ObjectCount()); });
}

TEST_F(StoreEndlessTree, ReadingEndlessShapesEnds) {
  MakeEndless("shape");
  ExpectDamaged([&] { static_cast<void>(Open(sto_Mode::ReadOnly).Load<Node>("node")); });
}

TEST_F(StoreEndlessTree, UpgradingAStoreWithEndlessRowsEnds) {
  for (char const* const table : {"object", "pack"}) {
    std::filesystem::copy_file(Path(), Path("whole"), std::filesystem::copy_options::overwrite_existing);
    SqlFile(Path()).Run("DELETE FROM object");
    MakeStoreOfOldFormat(Path(), 3);
    SqlFile(Path()).Run("INSERT INTO object VALUES(70, 5, x'00')");
    MakeEndless(table);
    sto_Options options;
    options.m_Upgrade = true;
    ExpectDamaged(
        [&] { static_cast<void>(sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), options)); });
    std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
  }
}

TEST_F(StoreEndlessTree, ReadingEndlessNamesEnds) {
  SqlFile(Path()).Run(
      "DELETE FROM name; INSERT INTO name VALUES(1, 'm_Value', row_checksum('name', 1, 'm_Value'))");
  MakeEndless("name");
  ExpectDamaged([&] { static_cast<void>(Open(sto_Mode::ReadOnly).Load<Node>("node")); });
}

} // namespace
