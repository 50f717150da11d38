#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "store/arrays/sto_Array.h"
#include "store/refs/sto_Find.h"
#include "store/refs/sto_List.h"
#include "store/refs/sto_Map.h"
#include "tests/support/store/OpenStoreTest.h"

namespace delete_test {
namespace {

class Case;

/// A load with all kinds of members that take room of their own.
class Load : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Load, kvl::Polymorphic, 0x7B0041, "Load", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number), kvl::Indexed{});
    field(KVL_F(m_Factors));
    field(KVL_F(m_Picture));
    field(KVL_F(m_ByName));
    field(KVL_F(m_Cases));
    field(KVL_F(m_History));
    field(KVL_F(m_Next));
  }
  explicit Load(int number = 0) : m_Number(number) {}

  int m_Number = 0;
  std::vector<double> m_Factors;
  std::vector<unsigned char> m_Picture;
  std::map<std::string, int> m_ByName;
  sto_List<Case> m_Cases;
  sto_Array<double> m_History;
  sto_Ref<Load> m_Next;
};

class Case {
 public:
  KVL_PERSISTED(Case, 0x7B0042, "Case", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Loads));
    field(KVL_F(m_Main));
    field(KVL_F(m_Owned));
    field(KVL_F(m_Weak));
  }
  Case() = default;
  std::string m_Name;
  sto_List<Load> m_Loads;
  sto_Ref<Load> m_Main;
  std::shared_ptr<Load> m_Owned;
  std::weak_ptr<Load> m_Weak;
};

class Delete : public OpenStoreTest {
 protected:
  Delete()
      : OpenStoreTest([](cls_ClassRegistrar& registrar) {
          Load::Declare(registrar);
          Case::Declare(registrar);
        }) {}
  /// Root "case" with loads 0 to count - 1, the first of which is the main one.
  void SaveCase(int count) {
    Case all;
    for (int i = 0; i < count; ++i) all.m_Loads.push_back(sto_Ref<Load>(std::make_shared<Load>(i)));
    if (count > 0) all.m_Main = all.m_Loads[0];
    m_Store->Save("case", all);
    Reopen();
  }
  /// A load that fills blocks of its own.
  static std::shared_ptr<Load> LargeLoad() {
    auto load = std::make_shared<Load>(1);
    load->m_Factors.assign(10'000, 2.5);
    load->m_Picture.assign(100'000, 7);
    for (int i = 0; i < 2000; ++i) load->m_ByName["a rather long name " + std::to_string(i)] = i;
    load->m_History.Append(std::vector<double>(5000, 1.5));
    return load;
  }
  static double ElementAt(sto_Array<double> const& array, long long at) {
    double element = 0;
    array.Read(at, std::span(&element, 1));
    return element;
  }
  sto_Ref<Case> Root() { return m_Store->Ref<Case>("case"); }
  void DeleteMain() {
    sto_Transaction transaction(*m_Store);
    Root()->m_Main.Delete();
    transaction.Commit();
  }
  void ExpectSound() {
    sto_CheckReport const report = m_Store->Check(sto_CheckDepth::Full);
    EXPECT_TRUE(report.IsSound()) << (report.m_Findings.empty() ? "" : report.m_Findings.front().m_Text);
  }
  int Blocks() { return static_cast<int>(m_Store->Check(sto_CheckDepth::Full).m_Counts.m_Blocks); }
};

TEST_F(Delete, TakesAnObjectOutOfTheStore) {
  SaveCase(3);
  DeleteMain();
  ExpectError(sto_ErrorKind::NotFound, "Object", [&] { static_cast<void>(Root()->m_Main->m_Number); });
  EXPECT_EQ(Root()->m_Loads[1]->m_Number, 1);
  Reopen();
  ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { static_cast<void>(Root()->m_Main->m_Number); });
  ExpectError(sto_ErrorKind::NotFound, "was deleted",
              [&] { static_cast<void>(Root()->m_Loads[0]->m_Number); });
  EXPECT_EQ(Root()->m_Loads[1]->m_Number, 1);
  ExpectSound();
}

TEST_F(Delete, WorksAtOnceForSearches) {
  SaveCase(3);
  sto_Transaction transaction(*m_Store);
  Root()->m_Main.Delete();
  std::set<int> numbers;
  m_Store->ForEach<Load>([&](sto_Ref<Load> const& load) { numbers.insert(load->m_Number); });
  EXPECT_EQ(numbers, (std::set<int>{1, 2}));
  EXPECT_FALSE(m_Store->FindOne<Load>(&Load::m_Number, 0));
  EXPECT_TRUE(m_Store->FindOne<Load>(&Load::m_Number, 1));
  transaction.Commit();
  EXPECT_FALSE(m_Store->FindOne<Load>(&Load::m_Number, 0));
  ExpectSound();
}

TEST_F(Delete, IsUndoneByARollback) {
  SaveCase(3);
  {
    sto_Transaction const transaction(*m_Store);
    Root()->m_Main.Edit().m_Number = 9;
    Root()->m_Main.Delete();
    ExpectError(sto_ErrorKind::NotFound, "deleted", [&] { static_cast<void>(Root()->m_Main->m_Number); });
  }
  EXPECT_EQ(Root()->m_Main->m_Number, 0);
  EXPECT_TRUE(m_Store->FindOne<Load>(&Load::m_Number, 0));
  ExpectSound();
}

TEST_F(Delete, OfAnEditedObjectDropsTheChange) {
  SaveCase(2);
  {
    sto_Transaction transaction(*m_Store);
    Root()->m_Main.Edit().m_Number = 9;
    Root()->m_Main.Delete();
    transaction.Commit();
  }
  EXPECT_FALSE(m_Store->FindOne<Load>(&Load::m_Number, 9));
  Reopen();
  ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { static_cast<void>(*Root()->m_Main); });
  ExpectSound();
}

TEST_F(Delete, LetsTheContentBeCollected) {
  SaveCase(1);
  int const before = Blocks();
  {
    sto_Transaction transaction(*m_Store);
    Root().Edit().m_Main = sto_Ref<Load>(LargeLoad());
    transaction.Commit();
  }
  EXPECT_GT(Blocks(), before + 10);
  {
    sto_Transaction const transaction(*m_Store);
    static_cast<void>(ElementAt(Root()->m_Main->m_History, 0));
    Root()->m_Main.Delete();
    ExpectError(sto_ErrorKind::NotFound, "deleted", [&] { static_cast<void>(Root()->m_Main->m_Factors); });
  }
  EXPECT_EQ(Root()->m_Main->m_Factors.size(), 10'000U);
  EXPECT_EQ(ElementAt(Root()->m_Main->m_History, 4999), 1.5);
  DeleteMain();
  ExpectSound();
  m_Store->CollectGarbage();
  EXPECT_EQ(Blocks(), before);
  ExpectSound();
}

TEST_F(Delete, LeavesWhatTheProgramHasOpen) {
  SaveCase(1);
  {
    sto_Transaction transaction(*m_Store);
    Root().Edit().m_Main = sto_Ref<Load>(LargeLoad());
    transaction.Commit();
  }
  Reopen();
  std::shared_ptr<Load const> const kept = Root()->m_Main.Get();
  DeleteMain();
  EXPECT_EQ(ElementAt(kept->m_History, 4999), 1.5);
  ExpectSound();
}

TEST_F(Delete, LeavesAnArrayOfTheObjectThatWasAppendedToSound) {
  SaveCase(1);
  {
    sto_Transaction transaction(*m_Store);
    Root().Edit().m_Main = sto_Ref<Load>(LargeLoad());
    transaction.Commit();
  }
  sto_Transaction transaction(*m_Store);
  sto_Ref<Load> const load = Root()->m_Main;
  load.Edit().m_History.Append(std::vector<double>(3000, 2.0));
  load.Delete();
  transaction.Commit();
  ExpectSound();
}

TEST_F(Delete, OfANewObjectCanBeUndone) {
  auto const load = LargeLoad();
  sto_Ref<Load> const reference(load);
  SaveCase(1);
  {
    sto_Transaction const transaction(*m_Store);
    Root().Edit().m_Main = reference;
    static_cast<void>(m_Store->FindOne<Load>(&Load::m_Number, 1)); // saves it
    reference.Delete();
    ExpectError(sto_ErrorKind::NotFound, "deleted", [&] { static_cast<void>(reference->m_Number); });
  }
  EXPECT_EQ(reference->m_Number, 1); // in memory again
  sto_Transaction transaction(*m_Store);
  Root().Edit().m_Main = reference;
  transaction.Commit();
  EXPECT_EQ(ElementAt(Root()->m_Main->m_History, 4999), 1.5);
  ExpectSound();
}

TEST_F(Delete, OfANewObjectCanBeCommitted) {
  sto_Ref<Load> const reference(LargeLoad());
  SaveCase(1);
  {
    sto_Transaction transaction(*m_Store);
    Root().Edit().m_Main = reference;
    static_cast<void>(m_Store->FindOne<Load>(&Load::m_Number, 1)); // saves it
    reference.Delete();
    Root().Edit().m_Main = nullptr;
    transaction.Commit();
  }
  ExpectError(sto_ErrorKind::NotFound, "deleted", [&] { static_cast<void>(reference->m_Number); });
  ExpectSound();
}

TEST_F(Delete, IsNoticedByASaveOfWhatStillRefersToIt) {
  SaveCase(3);
  sto_Transaction transaction(*m_Store);
  sto_Ref<Case> const root = Root();
  root->m_Main.Delete();
  root.Edit().m_Name = "changed";
  ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { transaction.Commit(); });
  root.Edit().m_Main = nullptr;
  root.Edit().m_Loads.erase(0);
  transaction.Commit();
  EXPECT_EQ(Root()->m_Loads.size(), 2U);
}

TEST_F(Delete, OfEachObjectWhileGoingOverAll) {
  SaveCase(100);
  sto_Transaction transaction(*m_Store);
  m_Store->ForEach<Load>([](sto_Ref<Load> const& load) {
    if (load->m_Number % 3 != 0) load.Delete();
  });
  transaction.Commit();
  int count = 0;
  m_Store->ForEach<Load>([&count](sto_Ref<Load> const&) { ++count; });
  EXPECT_EQ(count, 34);
  ExpectSound();
}

TEST_F(Delete, LeavesReferencesThatACheckNotes) {
  SaveCase(2);
  DeleteMain();
  sto_CheckReport const report = m_Store->Check(sto_CheckDepth::Full);
  EXPECT_TRUE(report.IsSound());
  ASSERT_EQ(report.m_Notes.size(), 2U);
  EXPECT_TRUE(Contains(report.m_Notes[0].m_Text, "in attribute m_Main, which was deleted"))
      << report.m_Notes[0].m_Text;
  EXPECT_TRUE(Contains(report.m_Notes[1].m_Text, "among its elements, which was deleted"))
      << report.m_Notes[1].m_Text;
}

TEST_F(Delete, IsFoundByOtherSessions) {
  SaveCase(2);
  sto_Store other = OtherSession();
  sto_Ref<Load> const there = other.Ref<Case>("case")->m_Main;
  EXPECT_EQ(there->m_Number, 0);
  DeleteMain();
  {
    sto_Transaction const transaction(other);
    ExpectError(sto_ErrorKind::Conflict, "another session", [&] { there.Edit().m_Number = 3; });
    ExpectError(sto_ErrorKind::Conflict, "another session", [&] { there.Delete(); });
  }
  other.ReleaseObjects();
  ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { static_cast<void>(there->m_Number); });
  sto_Transaction const transaction(other);
  ExpectError(sto_ErrorKind::NotFound, "not in the store", [&] { there.Delete(); });
}

TEST_F(Delete, LeavesPointersNoticed) {
  {
    Case all;
    all.m_Owned = std::make_shared<Load>(4);
    all.m_Weak = all.m_Owned;
    m_Store->Save("case", all);
  }
  Reopen();
  {
    sto_Transaction transaction(*m_Store);
    m_Store->FindOne<Load>(&Load::m_Number, 4).Delete();
    transaction.Commit();
  }
  ExpectError(sto_ErrorKind::NotFound, "was deleted",
              [&] { static_cast<void>(m_Store->Load<Case>("case")); });
  ExpectSound();
}

TEST_F(Delete, MakesWeakPointersNull) {
  auto const load = std::make_shared<Load>(4);
  {
    Case all;
    all.m_Weak = load;
    m_Store->Save("load", *load);
    m_Store->Save("case", all);
  }
  Reopen();
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Ref<Load>("load").Delete();
    transaction.Commit();
  }
  EXPECT_TRUE(m_Store->Load<Case>("case")->m_Weak.expired());
  ExpectError(sto_ErrorKind::NotFound, "was deleted",
              [&] { static_cast<void>(m_Store->Load<Load>("load")); });
}

TEST_F(Delete, IsUndoneByAHolderThatStoresTheObjectAgain) {
  Case all;
  all.m_Owned = LargeLoad();
  m_Store->Save("case", all);
  {
    sto_Transaction transaction(*m_Store);
    m_Store->FindOne<Load>(&Load::m_Number, 1).Delete();
    transaction.Commit();
  }
  EXPECT_FALSE(m_Store->FindOne<Load>(&Load::m_Number, 1));
  m_Store->Save("case", all);
  Reopen();
  EXPECT_TRUE(m_Store->FindOne<Load>(&Load::m_Number, 1));
  std::unique_ptr<Case> const loaded = m_Store->Load<Case>("case");
  EXPECT_EQ(loaded->m_Owned->m_Factors.size(), 10'000U);
  EXPECT_EQ(ElementAt(loaded->m_Owned->m_History, 4999), 1.5);
  ExpectSound();
}

TEST_F(Delete, LeavesNothingToCollectOnceNobodyRefers) {
  SaveCase(3);
  {
    sto_Transaction transaction(*m_Store);
    sto_Ref<Case> const root = Root();
    root->m_Main.Delete();
    transaction.Commit();
  }
  std::int64_t const before = m_Store->ObjectCount();
  m_Store->CollectGarbage(); // a reference is left
  ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { static_cast<void>(*Root()->m_Main); });
  {
    sto_Transaction transaction(*m_Store);
    Root().Edit().m_Main = nullptr;
    Root().Edit().m_Loads.erase(0);
    transaction.Commit();
  }
  m_Store->CollectGarbage();
  EXPECT_LT(m_Store->ObjectCount(), before);
  EXPECT_EQ(Root()->m_Loads.size(), 2U);
  ExpectSound();
}

TEST_F(Delete, OutlivesACopyOfTheRoot) {
  SaveCase(2);
  DeleteMain();
  m_Store->CopyTo(Path() + ".copy");
  sto_Store copy = sto_Store::Open(Path() + ".copy", sto_Mode::ReadOnly, m_Registrar);
  ExpectError(sto_ErrorKind::NotFound, "was deleted",
              [&] { static_cast<void>(*copy.Ref<Case>("case")->m_Main); });
  EXPECT_EQ(copy.Ref<Case>("case")->m_Loads[1]->m_Number, 1);
}

TEST_F(Delete, IsNotUndoneThroughAnotherReference) {
  auto const load = std::make_shared<Load>(1);
  sto_Ref<Load> const first(load);
  Case all;
  all.m_Main = first;
  m_Store->Save("case", all);
  {
    sto_Transaction transaction(*m_Store);
    first.Delete();
    transaction.Commit();
  }
  sto_Ref<Load> const second(load);
  ExpectError(sto_ErrorKind::NotFound, "References do not store it again", [&] {
    sto_Transaction const transaction(*m_Store);
    second.Edit().m_Number = 2;
  });
  Case other;
  other.m_Main = second;
  ExpectError(sto_ErrorKind::NotFound, "References do not store it again",
              [&] { m_Store->Save("other", other); });
  other.m_Main = nullptr;
  other.m_Loads.push_back(second);
  ExpectError(sto_ErrorKind::NotFound, "References do not store it again",
              [&] { m_Store->Save("other", other); });
  m_Store->Save("load", *load);
  EXPECT_EQ(first->m_Number, 1);
  ExpectSound();
}

TEST_F(Delete, IsNotUndoneByAnotherSession) {
  SaveCase(2);
  sto_Store other = OtherSession();
  sto_Ref<Load> const there = other.Ref<Case>("case")->m_Main;
  EXPECT_EQ(there->m_Number, 0);
  DeleteMain();
  Case holder;
  holder.m_Main = there;
  ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { other.Save("holder", holder); });
  EXPECT_FALSE(m_Store->FindOne<Load>(&Load::m_Number, 0));
}

TEST_F(Delete, IsNoticedByASaveInASessionThatReadTheReferenceLater) {
  SaveCase(2);
  DeleteMain();
  sto_Store other = OtherSession();
  Case holder;
  holder.m_Main = other.Ref<Case>("case")->m_Main;
  ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { other.Save("holder", holder); });
  sto_Ref<Case> const root = other.Ref<Case>("case");
  {
    sto_Transaction transaction(other);
    root.Edit().m_Name = "changed";
    ExpectError(sto_ErrorKind::NotFound, "was deleted", [&] { transaction.Commit(); });
    root.Edit().m_Main = nullptr;
    transaction.Commit();
  }
  EXPECT_EQ(other.Ref<Case>("case")->m_Name, "changed");
}

TEST_F(Delete, RefusesAnObjectOfAnotherClass) {
  SaveCase(1);
  m_Store->Save("load", Load(8));
  sto_Transaction transaction(*m_Store);
  ExpectError(sto_ErrorKind::WrongClass, "of class Load, not Case",
              [&] { m_Store->Ref<Case>("load").Delete(); });
  transaction.Commit();
  EXPECT_EQ(m_Store->Ref<Load>("load")->m_Number, 8);
}

TEST_F(Delete, OfAPartNamesItsHolder) {
  Case all;
  all.m_Owned = std::make_shared<Load>(4);
  m_Store->Save("case", all);
  all.m_Owned.reset();
  Reopen();
  {
    sto_Transaction transaction(*m_Store);
    m_Store->FindOne<Load>(&Load::m_Number, 4).Delete();
    transaction.Commit();
  }
  ExpectError(sto_ErrorKind::NotFound, "m_Owned of object",
              [&] { static_cast<void>(m_Store->Load<Case>("case")); });
  ExpectError(sto_ErrorKind::NotFound, "m_Owned of object", [&] { static_cast<void>(Root()->m_Name); });
}

TEST_F(Delete, RefusesWhatItCannotDo) {
  SaveCase(2);
  ExpectError(sto_ErrorKind::Misuse, "outside of a sto_Transaction", [&] { Root()->m_Main.Delete(); });
  ExpectError(sto_ErrorKind::Misuse, "refers to no object", [] { sto_Ref<Load>().Delete(); });
  ExpectError(sto_ErrorKind::Misuse, "in no store", [] { sto_Ref<Load>(std::make_shared<Load>()).Delete(); });
  sto_Ref<Load> const main = Root()->m_Main;
  {
    sto_Transaction const transaction(*m_Store);
    main.Delete();
    ExpectError(sto_ErrorKind::NotFound, "not in the store", [&] { main.Delete(); });
  }
  m_Store.reset();
  ExpectError(sto_ErrorKind::Unavailable, "closed", [&] { main.Delete(); });
}

} // namespace
} // namespace delete_test
