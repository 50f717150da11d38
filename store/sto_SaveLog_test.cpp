#include <chrono>
#include <filesystem>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"

namespace {

using Ids = std::vector<std::int64_t>;
using Names = std::vector<std::string>;

/// The log of saves.
class StoreSaveLog : public StoreTest {
 protected:
  static std::int64_t Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  }
  [[nodiscard]] sto_Store OpenAs(std::string const& program, sto_Mode mode = sto_Mode::ReadWrite) const {
    sto_Options options;
    options.m_Program = program;
    return sto_Store::Open(Path(), mode, TestClasses(), options);
  }
  static sto_SaveEntry Last(sto_Store& store) { return store.Saves().back(); }
};

TEST_F(StoreSaveLog, BeginsWithTheCreation) {
  std::int64_t const before = Now();
  sto_Store store = OpenAs("builder 1.0", sto_Mode::Create);
  std::vector<sto_SaveEntry> const saves = store.Saves();
  ASSERT_EQ(saves.size(), 1U);
  EXPECT_EQ(saves[0].m_Number, 1);
  EXPECT_GE(saves[0].m_Milliseconds, before);
  EXPECT_LE(saves[0].m_Milliseconds, Now());
  EXPECT_EQ(saves[0].m_Program, "builder 1.0");
  EXPECT_EQ(saves[0].m_Note, "");
  EXPECT_EQ(saves[0].m_NextObjectId, 1);
  EXPECT_TRUE(saves[0].m_Objects.empty() && saves[0].m_Lists.empty() && saves[0].m_Roots.empty());
}

TEST_F(StoreSaveLog, HasAnEntryForEachTransactionThatChangesSomething) {
  Create();
  Node const node(1);
  {
    sto_Store store = OpenAs("solver 4.2");
    store.Save("node", node); // object 1
    EXPECT_EQ(Last(store).m_Roots, Names{"node"});
    EXPECT_EQ(Last(store).m_Objects, Ids{});
    EXPECT_EQ(Last(store).m_NextObjectId, 2);
  }
  sto_Store store = OpenAs("viewer 2");
  std::unique_ptr<Node> const loaded = store.Load<Node>("node");
  loaded->m_Value = 2;
  store.Save("node", *loaded);
  EXPECT_EQ(Last(store).m_Objects, Ids{1});
  EXPECT_EQ(Last(store).m_Roots, Names{});
  store.RenameRoot("node", "renamed");
  EXPECT_EQ(Last(store).m_Roots, (Names{"node", "renamed"}));
  EXPECT_EQ(Last(store).m_Objects, Ids{});
  store.RemoveRoot("renamed");
  EXPECT_EQ(Last(store).m_Roots, Names{"renamed"});
  EXPECT_EQ(store.CollectGarbage(), 1);
  EXPECT_EQ(Last(store).m_Objects, Ids{1});
  std::vector<sto_SaveEntry> const saves = store.Saves(2);
  ASSERT_EQ(saves.size(), 5U);
  for (std::size_t i = 0; i < saves.size(); ++i) {
    EXPECT_EQ(saves[i].m_Number, static_cast<std::int64_t>(i) + 2);
    EXPECT_EQ(saves[i].m_Program, i == 0 ? "solver 4.2" : "viewer 2");
    EXPECT_EQ(saves[i].m_NextObjectId, 2);
  }
  EXPECT_TRUE(store.Saves(7).empty());
}

TEST_F(StoreSaveLog, TransactionThatChangesNothingAddsNoneAndLeavesTheFileAsItIs) {
  sto_Store store = Create();
  Node const node(1);
  store.Save("node", node);
  StoreBytes const before = FileBytes(Path());
  store.Save("node", node);
  {
    sto_Transaction transaction(store);
    transaction.SetNote("nothing");
    store.Save("node", node);
    transaction.Commit();
  }
  EXPECT_FALSE(store.RemoveRoot("other"));
  EXPECT_EQ(store.CollectGarbage(), 0);
  {
    sto_Transaction transaction(store);
    store.Save("undone", Node(2));
  }
  EXPECT_EQ(store.Saves().size(), 2U);
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreSaveLog, HasTheNoteOfATransaction) {
  sto_Store store = Create();
  {
    sto_Transaction transaction(store);
    transaction.SetNote("first");
    store.Save("node", Node(1));
    transaction.SetNote("load case B, \xC3\xA9tape 12");
    transaction.Commit();
    MessageOf(sto_ErrorKind::Misuse, [&] { transaction.SetNote("late"); });
  }
  EXPECT_EQ(Last(store).m_Note, "load case B, \xC3\xA9tape 12");
  store.Save("node", Node(2)); // the next transaction has none
  EXPECT_EQ(Last(store).m_Note, "");
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT note FROM save ORDER BY no"),
            (Names{"", "load case B, \xC3\xA9tape 12", ""}));
}

using StoreSaveLogOfArrays = StoreArrayTest;

TEST_F(StoreSaveLogOfArrays, HasTheListsWhoseBlocksChanged) {
  Make(5000);
  std::string const list = SqlFile(Path()).Text("SELECT CAST(min(key) >> 20 AS TEXT) FROM stored_block");
  sto_Store store = Open();
  EXPECT_EQ(store.Saves().back().m_Lists, Ids{}); // it is new
  std::unique_ptr<DoubleHolder> const holder = store.Load<DoubleHolder>("array");
  for (double const value : {-1.0, -2.0}) {
    holder->m_Array.Get(3000) = value;
    store.Save("array", *holder);
    EXPECT_EQ(store.Saves().back().m_Lists, Ids{std::stoll(list)});
  }
  store.RemoveRoot("array");
  EXPECT_EQ(store.Saves().back().m_Lists, Ids{});
}

TEST_F(StoreSaveLogOfArrays, ListWhoseBlocksChangeKeepsItsRecord) {
  Make(5000);
  SqlFile file(Path());
  std::string const packs = "SELECT hex(data) FROM pack ORDER BY key";
  std::vector<std::string> const before = file.Texts(packs);
  sto_Store store = Open();
  std::unique_ptr<DoubleHolder> const holder = store.Load<DoubleHolder>("array");
  holder->m_Array.Get(3000) = -1;
  holder->m_Array.Flush();
  EXPECT_EQ(file.Texts(packs), before);
  sto_SaveEntry const last = store.Saves().back();
  EXPECT_EQ(last.m_Objects, Ids{});
  EXPECT_EQ(last.m_Lists.size(), 1U);
}

TEST_F(StoreSaveLog, NumberOfTheSaveIsInPacks) {
  sto_Store store = Create();
  store.Save("node", Node(1));
  store.Save("other", Node(2));
  SqlFile file(Path());
  file.Unpack();
  EXPECT_EQ(file.Row(2).m_Save, 3);
}

TEST_F(StoreSaveLog, ManyChangesAscendWithoutRepetitions) {
  std::vector<Node> nodes;
  sto_Store store = Create();
  for (int i = 0; i < 3000; ++i) nodes.emplace_back(i);
  auto const saveAll = [&](int value, bool reverse) {
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      Node& node = nodes[reverse ? nodes.size() - 1 - i : i];
      node.m_Value = value;
      store.Save("n" + std::to_string(node.m_Value >= 0 ? &node - nodes.data() : 0), node);
    }
  };
  {
    sto_Transaction transaction(store);
    saveAll(1, false);
    transaction.Commit();
  }
  EXPECT_EQ(Last(store).m_Roots.size(), 3000U);
  sto_Transaction transaction(store);
  for (int round = 2; round < 6; ++round) saveAll(round, round % 2 == 0);
  transaction.Commit();
  Ids expected;
  for (std::int64_t id = 1; id <= 3000; ++id) expected.push_back(id);
  EXPECT_EQ(Last(store).m_Objects, expected);
  EXPECT_LT(Query("SELECT length(changed) FROM save ORDER BY no DESC LIMIT 1"), 3010);
}

TEST_F(StoreSaveLog, EveryBitOfAnEntryIsNoticed) {
  {
    sto_Store store = OpenAs("p", sto_Mode::Create);
    store.Save("n", Node(1));
  }
  std::filesystem::copy_file(Path(), Path("whole"));
  auto const expectDamaged = [&](std::string const& set) {
    std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
    SqlFile(Path()).Run("UPDATE save SET " + set + " WHERE no = 2");
    SCOPED_TRACE(set);
    sto_Store store = Open();
    std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Saves()); });
    EXPECT_TRUE(Contains(message, "test.kvs: Table save")) << message;
    MessageOf(sto_ErrorKind::Damaged, [&] { store.Save("n", Node(2)); });
  };
  for (char const* const column : {"no", "at", "next_object_id", "checksum"})
    for (int bit = 0; bit < 63; bit += StoreSweepStride) {
      expectDamaged(std::string(column) + " = " + column + " + CASE WHEN " + column + " & (1 << " +
                    std::to_string(bit) + ") THEN -1 ELSE 1 END * (1 << " + std::to_string(bit) + ")");
    }
  for (char const* const set : {"program = 'q'", "program = NULL", "note = ' '", "note = NULL",
                                "changed = x'000001016F'", "changed = NULL", "changed = x'00'"})
    expectDamaged(set);
}

TEST_F(StoreSaveLog, BeginsAnewWithAnUpgradeAndIsEmptyBefore) {
  {
    sto_Store store = Create();
    store.Save("node", Node(1));
    store.Save("other", Node(2));
  }
  MakeStoreOfOldFormat(Path(), 3);
  EXPECT_TRUE(Open(sto_Mode::ReadOnly).Saves().empty());
  sto_Options options;
  options.m_Upgrade = true;
  options.m_Program = "upgrader";
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), options);
  ASSERT_EQ(store.Saves().size(), 1U);
  EXPECT_EQ(store.Saves()[0].m_Program, "upgrader");
  EXPECT_EQ(store.Saves()[0].m_NextObjectId, 3);
  store.Save("third", Node(3));
  EXPECT_EQ(Last(store).m_Number, 2);
  EXPECT_EQ(Last(store).m_NextObjectId, 4);
}

TEST_F(StoreSaveLog, ShowsTheSavesOfOtherSessions) {
  sto_Store first = OpenAs("first", sto_Mode::Create);
  sto_Store second = OpenAs("second");
  first.Save("a", Node(1));
  second.Save("b", Node(2));
  first.Save("c", Node(3));
  std::vector<sto_SaveEntry> const saves = second.Saves(2);
  ASSERT_EQ(saves.size(), 3U);
  EXPECT_EQ(saves[1].m_Program, "second");
  EXPECT_EQ(saves[2].m_Program, "first");
  EXPECT_EQ(saves[2].m_NextObjectId, 4);
  SqlFile file(Path());
  Names const before = file.Texts("SELECT checksum FROM save");
  SealRows(file); // computes the checksums without the module
  EXPECT_EQ(file.Texts("SELECT checksum FROM save"), before);
}

} // namespace
