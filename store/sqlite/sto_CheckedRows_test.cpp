#include <filesystem>

#include "store/sto_Proxy.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"

namespace {

/// The checksums of the rows in the tables class, name, shape and root.
class StoreCheckedRows : public StoreTest {
 protected:
  static constexpr int PageBytes = 1024;
  static std::vector<std::string> Names() { return {"alpha", "beta", "delta", "gamma", "omega"}; }

  /// A store with a root for each name, in pages so small that a copy is quick.
  void SetUp() override {
    sto_Options options;
    options.m_PageBytes = PageBytes;
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, TestClasses(), options);
    std::vector<std::string> const names = Names();
    for (std::size_t i = 0; i < names.size(); ++i) store.Save(names[i], Node(static_cast<int>(i)));
  }
  static std::vector<std::string> Rows(SqlFile& file) {
    return file.Texts("SELECT name || class_id || checksum FROM class UNION ALL "
                      "SELECT id || text || checksum FROM name UNION ALL "
                      "SELECT id || hex(data) || checksum FROM shape UNION ALL "
                      "SELECT name || object_id || ' ' || class_id || ' ' || checksum FROM root");
  }
  static void ExpectSealed(std::string const& path) {
    SqlFile file(path);
    std::vector<std::string> const rows = Rows(file);
    EXPECT_GT(rows.size(), 3U);
    SealRows(file); // computes the checksums without the module
    EXPECT_EQ(Rows(file), rows);
  }
  [[nodiscard]] std::vector<std::string> ClassesOfRoots(std::string_view file = "test.kvs") const {
    return SqlFile(Path(file)).Texts("SELECT DISTINCT printf('0x%X', class_id) FROM root");
  }
  /// Where the cells of a table's only page are in the file.
  [[nodiscard]] std::pair<std::size_t, std::size_t> Cells(std::string const& table) const {
    auto const page =
        static_cast<std::size_t>(Query("SELECT rootpage FROM sqlite_schema WHERE name = '" + table + "'"));
    std::size_t const start = (page - 1) * PageBytes;
    StoreBytes const bytes = FileBytes(Path());
    auto const type = std::to_integer<int>(bytes.at(start));
    if (type != 10 && type != 13) throw std::runtime_error("table " + table + " has more than one page");
    std::size_t const first = std::to_integer<std::size_t>(bytes.at(start + 5)) * 256 +
                              std::to_integer<std::size_t>(bytes.at(start + 6));
    return {start + first, start + PageBytes};
  }
  /// Each root is there with its content, or damage is reported. Returns whether any was.
  bool ExpectWholeOrDamaged() const {
    bool isDamaged = false;
    auto const step = [&](auto const& act) {
      try {
        act();
      } catch (sto_Exception const& exception) {
        EXPECT_EQ(exception.Kind(), sto_ErrorKind::Damaged) << exception.AsString().View();
        isDamaged = true;
      }
    };
    std::vector<std::string> const names = Names();
    step([&] {
      sto_Store store = Open(sto_Mode::ReadOnly);
      for (std::size_t i = 0; i < names.size(); ++i) {
        step([&] { EXPECT_TRUE(store.HasRoot(names[i])); });
        step([&] { EXPECT_EQ(store.Load<Node>(names[i])->m_Value, static_cast<int>(i)); });
      }
      step([&] { EXPECT_EQ(store.Roots(), names); });
    });
    return isDamaged;
  }
};

TEST_F(StoreCheckedRows, ChecksumsAreAsDescribed) {
  ExpectSealed(Path());
}

TEST_F(StoreCheckedRows, EveryBitOfEachRowInTheFileIsNoticedOrHarmless) {
  StoreBytes const whole = FileBytes(Path());
  for (char const* const table : {"root", "class", "attribute", "name", "shape"}) {
    auto const [first, last] = Cells(table);
    int damaged = 0;
    for (std::size_t bit = 8 * first; bit < 8 * last; ++bit) {
      StoreBytes bytes = whole;
      bytes[bit / 8] ^= std::byte{1} << bit % 8;
      WriteFile(Path(), std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
      SCOPED_TRACE(std::string(table) + ", bit " + std::to_string(bit - 8 * first));
      damaged += ExpectWholeOrDamaged() ? 1 : 0;
      if (HasFailure()) return;
    }
    EXPECT_GT(damaged, static_cast<int>(7 * (last - first))) << table;
  }
}

TEST_F(StoreCheckedRows, RowFromAnotherStoreIsNoticed) {
  {
    sto_Store other = Create("other");
    for (std::string const& name : Names()) other.Save(name, Node(7));
  }
  for (char const* const table : {"root", "class", "name", "shape"}) {
    std::filesystem::copy_file(Path(), Path("mixed"), std::filesystem::copy_options::overwrite_existing);
    SqlFile(Path("mixed"))
        .Run("ATTACH '" + Path("other") + "' AS other; REPLACE INTO main." + table + " SELECT * FROM other." +
             table);
    sto_Store mixed = Open(sto_Mode::ReadOnly, "mixed");
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(mixed.Load<Node>("beta")); });
    EXPECT_TRUE(Contains(message, table) && Contains(message, "mixed: ")) << message;
  }
}

TEST_F(StoreCheckedRows, RootsThatExchangeTheirNamesAreNoticedByName) {
  SqlFile(Path()).Run(
      "UPDATE root SET name = 'x' WHERE name = 'beta'; UPDATE root SET name = 'beta' WHERE name = "
      "'delta'; UPDATE root SET name = 'delta' WHERE name = 'x'");
  sto_Store store = Open();
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Node>("beta")); });
  EXPECT_TRUE(Contains(message, "test.kvs: Table root") && Contains(message, "root beta")) << message;
  EXPECT_EQ(store.Load<Node>("alpha")->m_Value, 0);
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Roots()); });
  MessageOf(sto_ErrorKind::Damaged, [&] { store.Save("beta", Node(9)); });
  store.Save("alpha", Node(9)); // what does not meet the damage goes on
  EXPECT_EQ(store.Load<Node>("alpha")->m_Value, 9);
}

TEST_F(StoreCheckedRows, RootHasTheClassOfItsObject) {
  std::vector<std::string> const node{"0x700002"};
  EXPECT_EQ(ClassesOfRoots(), node);
  {
    sto_Store store = Open();
    store.RenameRoot("alpha", "zeta");
    store.Save("beta", Bottom());
    EXPECT_EQ(Query("SELECT count(*) FROM root WHERE class_id = 7340034"), 4);
    EXPECT_EQ(Query("SELECT class_id FROM root WHERE name = 'zeta'"), 7340034);
    EXPECT_EQ(Query("SELECT class_id FROM root WHERE name = 'beta'"), std::int64_t{Bottom::TypeId()});
    sto_Store target = Create("target");
    sto_CopyRoot(store, "zeta", target, "copy");
  }
  EXPECT_EQ(ClassesOfRoots("target"), node);
  ExpectSealed(Path());
  ExpectSealed(Path("target"));
}

TEST_F(StoreCheckedRows, UpgradeWritesThem) {
  sto_Options options;
  options.m_Upgrade = true;
  for (int const format : {1, 2, 3}) {
    SCOPED_TRACE(format);
    std::filesystem::copy_file(Path(), Path("old"), std::filesystem::copy_options::overwrite_existing);
    MakeStoreOfOldFormat(Path("old"), format);
    static_cast<void>(sto_Store::Open(Path("old"), sto_Mode::ReadWrite, TestClasses(), options));
    EXPECT_EQ(ClassesOfRoots("old"), (std::vector<std::string>{"0x700002"}));
    ExpectSealed(Path("old"));
    SqlFile old(Path("old"));
    EXPECT_NE(old.Text("SELECT hex(value) FROM meta WHERE key = 'uuid'"),
              SqlFile(Path()).Text("SELECT hex(value) FROM meta WHERE key = 'uuid'"));
    EXPECT_EQ(old.Integer("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'old%'"), 0);
    EXPECT_EQ(Open(sto_Mode::ReadWrite, "old").Load<Node>("gamma")->m_Value, 3);
  }
}

TEST_F(StoreCheckedRows, RootWithoutObjectDoesNotKeepTheStoreFromBeingUpgraded) {
  MakeStoreOfOldFormat(Path(), 3);
  SqlFile(Path()).Run("INSERT INTO root VALUES('lost', 77)");
  sto_Options options;
  options.m_Upgrade = true;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), options);
  EXPECT_EQ(Query("SELECT class_id FROM root WHERE name = 'lost'"), 0);
  ExpectSealed(Path());
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Node>("lost")); });
  store.RemoveRoot("lost");
}

} // namespace
