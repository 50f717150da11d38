#include "store/refs/sto_List.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <random>
#include <ranges>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "tests/support/store/OpenStoreTest.h"

namespace list_test {
namespace {

class Item {
 public:
  KVL_PERSISTED(Item, 0x7B0101, "Item", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Number)); }
  explicit Item(int number = 0) : m_Number(number) {}
  int m_Number = 0;
};

class Box {
 public:
  KVL_PERSISTED(Box, 0x7B0102, "Box", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Items));
  }
  Box() = default;
  std::string m_Name;
  sto_List<Item> m_Items;
};

sto_Ref<Item> NewItem(int number) {
  return sto_Ref<Item>(std::make_shared<Item>(number));
}

std::vector<int> NumbersOf(sto_List<Item> const& list) {
  std::vector<int> numbers;
  numbers.reserve(list.size());
  for (sto_Ref<Item> const& each : list) numbers.push_back(each ? each->m_Number : -1);
  return numbers;
}

class Lists : public OpenStoreTest {
 protected:
  Lists() : OpenStoreTest([](cls_ClassRegistrar& registrar) { Box::Declare(registrar); }) {}
  /// A box with the items 0, 1 and so on.
  void SaveBox(int count) {
    Box box;
    for (int i = 0; i < count; ++i) box.m_Items.push_back(NewItem(i));
    m_Store->Save("box", box);
  }
  [[nodiscard]] sto_Ref<Box> Opened() { return m_Store->Ref<Box>("box"); }
  template <class Change> void ChangeItems(Change change) {
    sto_Transaction transaction(*m_Store);
    change(Opened().Edit().m_Items);
    transaction.Commit();
  }
};

TEST_F(Lists, AreReadWhenTheyAreAskedFor) {
  SaveBox(3);
  Reopen();
  sto_Ref<Box> const box = Opened();
  EXPECT_EQ(box->m_Name, "");
  EXPECT_FALSE(box->m_Items.IsRead());
  EXPECT_EQ(box->m_Items.size(), 3U);
  EXPECT_FALSE(box->m_Items[1].IsLoaded());
  EXPECT_EQ(box->m_Items[1]->m_Number, 1);
  EXPECT_FALSE(box->m_Items[0].IsLoaded());
  EXPECT_EQ(NumbersOf(box->m_Items), (std::vector{0, 1, 2}));
}

TEST_F(Lists, OfManyElementsSayTheirSizeWithoutReadingThem) {
  SaveBox(5000);
  Reopen();
  sto_Ref<Box> const box = Opened();
  EXPECT_EQ(box->m_Items.size(), 5000U);
  EXPECT_FALSE(box->m_Items.IsRead());
  EXPECT_EQ(box->m_Items.back()->m_Number, 4999);
  EXPECT_TRUE(box->m_Items.IsRead());
}

TEST_F(Lists, LoseAllElementsOfAnObjectAtOnce) {
  SaveBox(3);
  Reopen();
  ChangeItems([](sto_List<Item>& items) {
    for (int i = 0; i < 3; ++i) items.insert(2, items[1]);
    EXPECT_EQ(items.remove_all(items[1]), 4U);
    EXPECT_EQ(items.remove_all(sto_MakeRef<Item>(7)), 0U);
    EXPECT_EQ(items.remove_all(nullptr), 0U);
    items.push_back(nullptr);
    EXPECT_EQ(items.remove_all(nullptr), 1U);
  });
  Reopen();
  EXPECT_EQ(NumbersOf(Opened()->m_Items), (std::vector{0, 2}));
}

TEST_F(Lists, ChangeAsContainersDo) {
  SaveBox(5);
  Reopen();
  ChangeItems([](sto_List<Item>& items) {
    items.erase(1);
    items.insert(0, NewItem(10));
    items.push_back(nullptr);
    items.set(2, items[0]);
    EXPECT_EQ(NumbersOf(items), (std::vector{10, 0, 10, 3, 4, -1}));
  });
  EXPECT_EQ(NumbersOf(Opened()->m_Items), (std::vector{10, 0, 10, 3, 4, -1}));
  Reopen();
  EXPECT_EQ(NumbersOf(Opened()->m_Items), (std::vector{10, 0, 10, 3, 4, -1}));
  EXPECT_EQ(Opened()->m_Items[0], Opened()->m_Items[2]);
  ChangeItems([](sto_List<Item>& items) {
    items.erase(items.find(items[3]));
    EXPECT_TRUE(items.remove(items[0]));
    EXPECT_FALSE(items.remove(NewItem(0)));
    items.pop_back();
  });
  Reopen();
  EXPECT_EQ(NumbersOf(Opened()->m_Items), (std::vector{0, 10, 4}));
  ChangeItems([](sto_List<Item>& items) { items.clear(); });
  Reopen();
  EXPECT_TRUE(Opened()->m_Items.empty());
}

TEST_F(Lists, FindElementsWithoutLoadingThem) {
  SaveBox(100);
  Reopen();
  sto_Ref<Item> const item = Opened()->m_Items[70];
  sto_Ref<Box> const box = Opened();
  EXPECT_EQ(box->m_Items.find(item) - box->m_Items.begin(), 70);
  EXPECT_EQ(box->m_Items.find(item, 71), box->m_Items.end());
  EXPECT_FALSE(box->m_Items.contains(NewItem(1)));
  EXPECT_FALSE(box->m_Items.contains(nullptr));
  EXPECT_FALSE(item.IsLoaded());
}

TEST_F(Lists, AreNotWrittenAgainWithTheirObject) {
  SaveBox(5000);
  Reopen();
  sto_Ref<Box> const box = Opened();
  {
    sto_Transaction transaction(*m_Store);
    box.Edit().m_Name = "renamed";
    transaction.Commit();
  }
  EXPECT_FALSE(box->m_Items.IsRead());
  Reopen();
  EXPECT_EQ(Opened()->m_Name, "renamed");
  EXPECT_EQ(Opened()->m_Items.size(), 5000U);
  EXPECT_EQ(m_Store->CollectGarbage(), 0);
}

TEST_F(Lists, WriteOnlyTheBlocksThatChange) {
  SaveBox(100'000);
  Reopen();
  std::int64_t const before = m_Store->SizeBytes();
  ChangeItems([](sto_List<Item>& items) { items.push_back(NewItem(7)); });
  auto const changed = m_Store->Saves().back();
  EXPECT_EQ(Opened()->m_Items.size(), 100'001U);
  EXPECT_LT(m_Store->SizeBytes() - before, 200'000);
  EXPECT_EQ(m_Store->CollectGarbage(), 0);
}

TEST_F(Lists, KeepTheirPlaceWhenTheyChange) {
  SaveBox(3);
  std::int64_t const objects = m_Store->ObjectCount();
  Reopen();
  for (int i = 0; i < 3; ++i)
    ChangeItems([](sto_List<Item>& items) {
      items.push_back(items[0]);
      items.erase(0);
    });
  EXPECT_EQ(m_Store->ObjectCount(), objects);
}

TEST_F(Lists, AreAsTheyWereAfterARollback) {
  SaveBox(3);
  Reopen();
  sto_Ref<Box> const box = Opened();
  sto_Ref<Item> const made = NewItem(9);
  {
    sto_Transaction transaction(*m_Store);
    box.Edit().m_Items.push_back(made);
    EXPECT_EQ(m_Store->ObjectCount(), 6);
    EXPECT_EQ(box->m_Items.size(), 4U);
  }
  EXPECT_EQ(NumbersOf(box->m_Items), (std::vector{0, 1, 2}));
  EXPECT_EQ(made.Id(), 0);
  ChangeItems([&](sto_List<Item>& items) { items.push_back(made); });
  EXPECT_EQ(NumbersOf(box->m_Items), (std::vector{0, 1, 2, 9}));
}

TEST_F(Lists, OfObjectsThatTheProgramOwnsStayWholeAfterARollback) {
  Box box;
  for (int i = 0; i < 3; ++i) box.m_Items.push_back(NewItem(i));
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Save("box", box);
    std::unique_ptr<Box> const loaded = m_Store->Load<Box>("box");
    EXPECT_TRUE(loaded->m_Items.IsRead()); // a rollback takes its place away
    transaction.Rollback();
    m_Store->Save("other", Box());
    m_Store->Save("loaded", *loaded);
  }
  EXPECT_EQ(NumbersOf(m_Store->Ref<Box>("loaded")->m_Items), (std::vector{0, 1, 2}));
  EXPECT_TRUE(m_Store->Ref<Box>("other")->m_Items.empty());
  m_Store->ReleaseObjects(); // the loaded copy has the identity of this box
  m_Store->RemoveRoot("loaded");
  m_Store->Save("box", box);
  Reopen();
  EXPECT_EQ(NumbersOf(Opened()->m_Items), (std::vector{0, 1, 2}));
}

TEST_F(Lists, RefuseWhatIsNotThere) {
  SaveBox(2);
  Reopen();
  sto_Ref<Box> const box = Opened();
  ExpectError(sto_ErrorKind::Misuse, "has 2 elements; there is no place 2", [&] { (void)box->m_Items[2]; });
  ExpectError(sto_ErrorKind::Misuse, "has 0 elements", [] { (void)sto_List<Item>().front(); });
  Box mine;
  ExpectError(sto_ErrorKind::Misuse, "there is no place", [&] { mine.m_Items.pop_back(); });
  ExpectError(sto_ErrorKind::Misuse, "there is no place 5", [&] { mine.m_Items.insert(5, nullptr); });
  std::unique_ptr<Box> const loaded = m_Store->Load<Box>("box");
  m_Store.reset();
  ExpectError(sto_ErrorKind::Unavailable, "its store was closed", [&] { (void)loaded->m_Items.size(); });
}

TEST_F(Lists, CannotBeSavedInAnotherStore) {
  SaveBox(2);
  Reopen();
  std::unique_ptr<Box> const box = m_Store->Load<Box>("box");
  sto_Store other = sto_Store::Open(Path("other.kvs"), sto_Mode::Create, m_Registrar);
  ExpectError(sto_ErrorKind::Misuse, "cannot be saved in another store", [&] { other.Save("box", *box); });
  EXPECT_EQ(other.ObjectCount(), 0);
}

TEST_F(Lists, ThatWereCollectedAreNotHeldAgain) {
  SaveBox(2);
  Reopen();
  std::unique_ptr<Box> const unread = m_Store->Load<Box>("box");
  std::unique_ptr<Box> const read = m_Store->Load<Box>("box");
  EXPECT_EQ(read->m_Items[0]->m_Number, 0);
  m_Store->RemoveRoot("box");
  m_Store->CollectGarbage();
  ExpectError(sto_ErrorKind::NotFound, "was collected", [&] { m_Store->Save("box", *unread); });
  ExpectError(sto_ErrorKind::NotFound, "was collected",
              [&] { m_Store->Save("box", *read); }); // its second item
  EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
}

TEST_F(Lists, CopyTheirElements) {
  SaveBox(3);
  Reopen();
  Box copy;
  copy.m_Items = Opened()->m_Items;
  EXPECT_EQ(copy.m_Items[1], Opened()->m_Items[1]);
  m_Store->Save("copy", copy);
  EXPECT_EQ(m_Store->ObjectCount(), 7); // two boxes, two lists, three items
  ChangeItems([](sto_List<Item>& items) { items.clear(); });
  EXPECT_EQ(m_Store->Ref<Box>("copy")->m_Items.size(), 3U);
}

TEST_F(Lists, OfAnotherSessionAreNotOverwritten) {
  SaveBox(3);
  Reopen();
  sto_Ref<Box> const box = Opened();
  EXPECT_EQ(box->m_Items.size(), 3U);
  {
    sto_Store other = OtherSession();
    sto_Transaction transaction(other);
    other.Ref<Box>("box").Edit().m_Items.push_back(NewItem(5));
    transaction.Commit();
  }
  {
    sto_Transaction transaction(*m_Store);
    ExpectError(sto_ErrorKind::Conflict, "changed by another session", [&] { (void)box.Edit(); });
  }
  m_Store->ReleaseObjects();
  EXPECT_EQ(NumbersOf(box->m_Items), (std::vector{0, 1, 2, 5}));
}

TEST_F(Lists, ThatAreMovedToAnotherObjectAreItsOwn) {
  SaveBox(3);
  m_Store->Save("target", Box());
  Reopen();
  std::unique_ptr<Box> const box = m_Store->Load<Box>("box");
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Ref<Box>("target").Edit().m_Items = std::move(box->m_Items);
    transaction.Commit();
  }
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Ref<Box>("target").Edit().m_Items.push_back(NewItem(9));
    transaction.Commit();
  }
  Reopen();
  EXPECT_EQ(NumbersOf(m_Store->Ref<Box>("target")->m_Items), (std::vector{0, 1, 2, 9}));
  EXPECT_EQ(NumbersOf(Opened()->m_Items), (std::vector{0, 1, 2}));
}

TEST_F(Lists, ThatAnotherSessionCollectedAreNotHeldAgain) {
  SaveBox(2);
  Reopen();
  std::unique_ptr<Box> const unread = m_Store->Load<Box>("box");
  {
    sto_Store other = OtherSession();
    other.RemoveRoot("box");
    EXPECT_EQ(other.CollectGarbage(), 4);
  }
  ExpectError(sto_ErrorKind::NotFound, "was collected", [&] { m_Store->Save("box", *unread); });
  EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
}

/// The same random steps with a list in a store and with a vector.
class ListModel : public Lists {
 protected:
  void Run(unsigned int seed) {
    m_Engine.seed(seed);
    m_Model.clear();
    m_Next = 1;
    SaveBox(0);
    for (m_Step = 0; m_Step < 40 && !HasFailure(); ++m_Step) Transaction();
    EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
  }

 private:
  int Random(int end) { return static_cast<int>(m_Engine() % static_cast<unsigned int>(end)); }

  void Transaction() {
    std::vector<int> const before = m_Model;
    {
      sto_Transaction transaction(*m_Store);
      int const changes = Random(6);
      for (int i = 0; i < changes; ++i) Change();
      if (Random(4) == 0) Fail();
      if (Random(5) == 0) {
        transaction.Rollback();
        m_Model = before;
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
  void Change() {
    sto_List<Item>& list = Opened().Edit().m_Items;
    int const size = static_cast<int>(m_Model.size());
    int const what = Random(8);
    if (what < 3 || size == 0) {
      int const count = Random(20) == 0 ? 3000 : 1 + Random(3);
      for (int i = 0; i < count; ++i) Add(list, Random(size + 1));
    } else if (what == 3) {
      int const at = Random(size);
      list.erase(static_cast<std::size_t>(at));
      m_Model.erase(m_Model.begin() + at);
    } else if (what == 4) {
      int const from = Random(size);
      list.push_back(list[static_cast<std::size_t>(from)]);
      m_Model.push_back(m_Model[static_cast<std::size_t>(from)]);
    } else if (what == 5 && Random(10) == 0) {
      list.clear();
      m_Model.clear();
    } else if (what == 6) {
      int const at = Random(size);
      list.set(static_cast<std::size_t>(at), nullptr);
      m_Model[static_cast<std::size_t>(at)] = -1;
    } else {
      int const at = Random(size);
      sto_Ref<Item> const item = list[static_cast<std::size_t>(at)];
      if (!item) return;
      std::replace(m_Model.begin(), m_Model.end(), item->m_Number, m_Next);
      item.Edit().m_Number = m_Next++;
    }
  }
  void Add(sto_List<Item>& list, int at) {
    list.insert(static_cast<std::size_t>(at), NewItem(m_Next));
    m_Model.insert(m_Model.begin() + at, m_Next++);
  }
  /// A save that fails leaves everything as it was.
  void Fail() {
    Box box;
    box.m_Items = Opened()->m_Items;
    box.m_Items.push_back(NewItem(0));
    sto_Store other = sto_Store::Open(Path("other.kvs"), sto_Mode::Create, m_Registrar);
    other.Save("item", Item(1));
    box.m_Items.push_back(other.Ref<Item>("item"));
    EXPECT_THROW(m_Store->Save("failing", box), sto_Exception);
    std::filesystem::remove(Path("other.kvs"));
  }
  void ChangeElsewhere() {
    sto_Store other = OtherSession();
    EXPECT_EQ(NumbersOf(other.Ref<Box>("box")->m_Items), m_Model) << "step " << m_Step;
    {
      sto_Transaction transaction(other);
      sto_List<Item>& list = other.Ref<Box>("box").Edit().m_Items;
      list.push_back(NewItem(m_Next));
      m_Model.push_back(m_Next++);
      transaction.Commit();
    }
    other.Close();
    m_Store->ReleaseObjects();
  }
  void Compare() { ASSERT_EQ(NumbersOf(Opened()->m_Items), m_Model) << "step " << m_Step; }

  std::mt19937 m_Engine;
  std::vector<int> m_Model;
  int m_Next = 1;
  int m_Step = 0;
};

TEST_F(ListModel, DoesWhatAVectorDoes) {
  char const* const seeds = std::getenv("KVL_LIST_SEEDS");
  unsigned int const count = seeds == nullptr ? 2 : static_cast<unsigned int>(std::atoi(seeds));
  for (unsigned int seed = 1; seed <= count && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    StartAgain();
    Run(seed);
  }
}

} // namespace
} // namespace list_test
