#include "store/refs/sto_Map.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "tests/support/store/OpenStoreTest.h"

namespace map_test {
namespace {

class Item {
 public:
  KVL_PERSISTED(Item, 0x7B0301, "Item", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Number)); }
  explicit Item(int number = 0) : m_Number(number) {}
  int m_Number = 0;
};

class Table {
 public:
  KVL_PERSISTED(Table, 0x7B0302, "Table", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_ById));
    field(KVL_F(m_ByName));
  }
  Table() = default;
  sto_Map<int, Item> m_ById;
  sto_Map<std::string, Item> m_ByName;
};

/// The same class as a program with pointers has it.
class OldTable {
 public:
  KVL_PERSISTED(OldTable, 0x7B0302, "Table", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_ById));
    field(KVL_F(m_ByName));
  }
  OldTable() = default;
  std::map<int, std::shared_ptr<Item>> m_ById;
  std::map<std::string, std::shared_ptr<Item>> m_ByName;
};

sto_Ref<Item> NewItem(int number) {
  return sto_Ref<Item>(std::make_shared<Item>(number));
}

template <class K> std::map<K, int> ContentOf(sto_Map<K, Item> const& map) {
  std::map<K, int> content;
  for (auto const& [key, item] : map) content.emplace(key, item->m_Number);
  return content;
}

class Maps : public OpenStoreTest {
 protected:
  Maps() : OpenStoreTest([](cls_ClassRegistrar& registrar) { Table::Declare(registrar); }) {}
  /// Entries 0, 2, 4 and so on.
  void SaveTable(int count) {
    Table table;
    for (int i = 0; i < count; ++i) {
      table.m_ById.insert_or_assign(2 * i, NewItem(i));
      table.m_ByName.insert_or_assign("name " + std::to_string(i), table.m_ById.at(2 * i));
    }
    m_Store->Save("table", table);
  }
  [[nodiscard]] sto_Ref<Table> Opened() { return m_Store->Ref<Table>("table"); }
  template <class Change> void ChangeTable(Change change) {
    sto_Transaction transaction(*m_Store);
    change(Opened().Edit());
    transaction.Commit();
  }
};

TEST_F(Maps, AreReadWhenTheyAreAskedFor) {
  SaveTable(3);
  Reopen();
  sto_Ref<Table> const table = Opened();
  EXPECT_EQ(table->m_ById.size(), 3U);
  EXPECT_FALSE(table->m_ById.IsRead());
  EXPECT_TRUE(table->m_ById.contains(4));
  EXPECT_FALSE(table->m_ById.contains(3));
  EXPECT_TRUE(table->m_ById.IsRead());
  EXPECT_FALSE(table->m_ByName.IsRead());
  EXPECT_FALSE(table->m_ById.at(2).IsLoaded());
  EXPECT_EQ(table->m_ById.at(2)->m_Number, 1);
  EXPECT_EQ(table->m_ById.at(2), table->m_ByName.at("name 1"));
  EXPECT_EQ(ContentOf(table->m_ByName),
            (std::map<std::string, int>{{"name 0", 0}, {"name 1", 1}, {"name 2", 2}}));
  EXPECT_EQ((*table->m_ById.lower_bound(1)).first, 2);
  EXPECT_EQ(table->m_ById.lower_bound(5), table->m_ById.end());
}

TEST_F(Maps, ChangeAsContainersDo) {
  SaveTable(3);
  Reopen();
  ChangeTable([](Table& table) {
    EXPECT_TRUE(table.m_ById.insert_or_assign(-7, NewItem(70)));
    EXPECT_FALSE(table.m_ById.insert_or_assign(2, NewItem(20)));
    EXPECT_EQ(table.m_ById.erase(0), 1U);
    EXPECT_EQ(table.m_ById.erase(1), 0U);
    EXPECT_EQ((*table.m_ById.erase(table.m_ById.find(-7))).first, 2);
    table.m_ById.insert_or_assign(9, table.m_ById.at(4));
    table.m_ByName.clear();
  });
  Reopen();
  EXPECT_EQ(ContentOf(Opened()->m_ById), (std::map<int, int>{{2, 20}, {4, 2}, {9, 2}}));
  EXPECT_TRUE(Opened()->m_ByName.empty());
  EXPECT_EQ(m_Store->CollectGarbage(), 2); // the items 0 and 1
}

TEST_F(Maps, WriteOnlyTheChunksThatChange) {
  SaveTable(50'000);
  std::int64_t const size = m_Store->SizeBytes();
  Reopen();
  for (int i = 0; i < 20; ++i)
    ChangeTable([&](Table& table) { table.m_ById.insert_or_assign(5'000 * i + 1, NewItem(-i)); });
  EXPECT_LT(m_Store->SizeBytes() - size, 600'000);
  Reopen();
  EXPECT_EQ(Opened()->m_ById.size(), 50'020U);
  EXPECT_FALSE(Opened()->m_ById.IsRead());
  EXPECT_EQ(Opened()->m_ById.at(5'001)->m_Number, -1);
  EXPECT_EQ(m_Store->CollectGarbage(), 0);
}

TEST_F(Maps, AreInterchangeableWithMapsOfPointers) {
  SaveTable(3);
  m_Store.reset();
  cls_ClassRegistrar classes;
  OldTable::Declare(classes);
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, classes);
    std::unique_ptr<OldTable> const table = store.Load<OldTable>("table");
    EXPECT_EQ(table->m_ById.at(4)->m_Number, 2);
    table->m_ByName["new"] = std::make_shared<Item>(8);
    store.Save("table", *table);
  }
  Reopen();
  EXPECT_EQ(Opened()->m_ByName.at("new")->m_Number, 8);
}

TEST_F(Maps, RefuseWhatIsNotThere) {
  SaveTable(1);
  Reopen();
  ExpectError(sto_ErrorKind::Misuse, "has no key 5", [&] { (void)Opened()->m_ById.at(5); });
  ExpectError(sto_ErrorKind::Misuse, "has no key nobody", [&] { (void)Opened()->m_ByName.at("nobody"); });
  Table table;
  ExpectError(sto_ErrorKind::Misuse, "no null references",
              [&] { table.m_ById.insert_or_assign(1, nullptr); });
  ExpectError(sto_ErrorKind::Misuse, "there is no place", [&] { (void)*table.m_ById.end(); });
  std::unique_ptr<Table> const loaded = m_Store->Load<Table>("table");
  sto_Store other = sto_Store::Open(Path("other.kvs"), sto_Mode::Create, m_Registrar);
  ExpectError(sto_ErrorKind::Misuse, "cannot be saved in another store", [&] { other.Save("t", *loaded); });
  m_Store.reset();
  ExpectError(sto_ErrorKind::Unavailable, "its store was closed", [&] { (void)loaded->m_ByName.size(); });
}

TEST_F(Maps, AreAsTheyWereAfterARollback) {
  SaveTable(2);
  Reopen();
  sto_Ref<Item> const made = NewItem(5);
  {
    sto_Transaction transaction(*m_Store);
    Opened().Edit().m_ById.insert_or_assign(1, made);
    EXPECT_EQ(m_Store->ObjectCount(), 6);
  }
  EXPECT_EQ(ContentOf(Opened()->m_ById), (std::map<int, int>{{0, 0}, {2, 1}}));
  EXPECT_EQ(made->m_Number, 5);
}

/// The same random steps with maps in a store and with standard ones.
class MapModel : public Maps {
 protected:
  void Run(unsigned int seed) {
    m_Engine.seed(seed);
    m_ById.clear();
    m_ByName.clear();
    SaveTable(0);
    for (m_Step = 0; m_Step < 40 && !HasFailure(); ++m_Step) Transaction();
    EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
  }

 private:
  int Random(int end) { return static_cast<int>(m_Engine() % static_cast<unsigned int>(end)); }
  [[nodiscard]] static std::string NameOf(int key) { return "key " + std::to_string(key); }

  void Transaction() {
    auto const ids = m_ById;
    auto const names = m_ByName;
    {
      sto_Transaction transaction(*m_Store);
      for (int i = Random(6); i > 0; --i) Change(Opened().Edit());
      if (Random(4) == 0) Fail();
      if (Random(5) == 0) {
        transaction.Rollback();
        m_ById = ids;
        m_ByName = names;
      } else {
        transaction.Commit();
      }
    }
    Compare();
    if (Random(6) == 0) Reopen();
    if (Random(6) == 0) m_Store->ReleaseObjects();
    if (Random(8) == 0) ChangeElsewhere();
    if (Random(10) == 0) m_Store->CollectGarbage();
  }
  void Change(Table& table) {
    int const count = Random(15) == 0 ? 1500 : 1;
    for (int i = 0; i < count; ++i) {
      int const key = Random(count == 1 ? 50 : 5000);
      if (Random(4) == 0) {
        EXPECT_EQ(table.m_ById.erase(key), m_ById.erase(key));
      } else {
        sto_Ref<Item> const item = NewItem(++m_Next);
        table.m_ById.insert_or_assign(key, item);
        table.m_ByName.insert_or_assign(NameOf(key), item);
        m_ById[key] = m_ByName[NameOf(key)] = m_Next;
      }
    }
    if (Random(20) == 0) {
      table.m_ByName.clear();
      m_ByName.clear();
    }
  }
  /// A save that fails leaves everything as it was.
  void Fail() {
    Table table;
    table.m_ById = Opened()->m_ById;
    table.m_ById.insert_or_assign(-1, NewItem(0));
    {
      sto_Store other = sto_Store::Open(Path("other.kvs"), sto_Mode::Create, m_Registrar);
      other.Save("item", Item(1));
      table.m_ByName.insert_or_assign("foreign", other.Ref<Item>("item"));
      EXPECT_THROW(m_Store->Save("failing", table), sto_Exception);
    }
    std::filesystem::remove(Path("other.kvs"));
  }
  void ChangeElsewhere() {
    {
      sto_Store other = OtherSession();
      EXPECT_EQ(ContentOf(other.Ref<Table>("table")->m_ById), m_ById) << "step " << m_Step;
      sto_Transaction transaction(other);
      other.Ref<Table>("table").Edit().m_ById.insert_or_assign(7, NewItem(++m_Next));
      m_ById[7] = m_Next;
      transaction.Commit();
    }
    m_Store->ReleaseObjects();
  }
  void Compare() {
    ASSERT_EQ(ContentOf(Opened()->m_ById), m_ById) << "step " << m_Step;
    ASSERT_EQ(ContentOf(Opened()->m_ByName), m_ByName) << "step " << m_Step;
  }

  std::mt19937 m_Engine;
  std::map<int, int> m_ById;
  std::map<std::string, int> m_ByName;
  int m_Next = 0;
  int m_Step = 0;
};

TEST_F(MapModel, DoesWhatStandardMapsDo) {
  char const* const seeds = std::getenv("KVL_MAP_SEEDS"); // for long runs
  unsigned int const count = seeds == nullptr ? 2 : static_cast<unsigned int>(std::atoi(seeds));
  for (unsigned int seed = 1; seed <= count && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    StartAgain();
    Run(seed);
  }
}

} // namespace
} // namespace map_test
