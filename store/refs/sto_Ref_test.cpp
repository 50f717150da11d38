#include "store/refs/sto_Ref.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "describe/dsc_Described.h"
#include "tests/support/store/OpenStoreTest.h"

namespace ref_test {
namespace {

class Assembly;

/// Counts the objects that have it.
struct Counted {
  Counted() { ++s_Alive; }
  Counted(Counted const&) { ++s_Alive; }
  Counted& operator=(Counted const&) = default;
  ~Counted() { --s_Alive; }
  static int s_Alive;
};
int Counted::s_Alive = 0;

class Part : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Part, kvl::Polymorphic, 0x7B0001, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Assembly));
    field(KVL_F(m_Next));
    field(KVL_F(m_Counted), kvl::Transient{});
  }
  explicit Part(int number = 0) : m_Number(number) {}

  Counted m_Counted;
  int m_Number = 0;
  sto_Ref<Assembly> m_Assembly;
  sto_Ref<Part> m_Next;
};

class Bolt : public Part {
 public:
  KVL_PERSISTED(Bolt, Part, 0x7B0002, "Bolt", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length)); }
  explicit Bolt(int number = 0, double length = 0) : Part(number), m_Length(length) {}
  double m_Length = 0;
};

class Assembly {
 public:
  KVL_PERSISTED(Assembly, 0x7B0003, "Assembly", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_First));
    field(KVL_F(m_Shared));
    field(KVL_F(m_Sizes));
  }
  Assembly() = default;
  std::string m_Name;
  sto_Ref<Part> m_First;
  std::shared_ptr<Part> m_Shared;
  std::vector<int> m_Sizes;
};

class Refs : public OpenStoreTest {
 protected:
  Refs()
      : OpenStoreTest([](cls_ClassRegistrar& registrar) {
          Bolt::Declare(registrar);
          Assembly::Declare(registrar);
        }) {}
  /// Root "part", which is also a part of root "assembly".
  void SaveSharedPart() {
    auto const part = std::make_shared<Part>(2);
    Assembly assembly;
    assembly.m_First = sto_Ref<Part>(part);
    assembly.m_Shared = part;
    m_Store->Save("assembly", assembly);
    m_Store->Save("part", *part);
    Reopen();
  }
  /// A ring of parts behind root "first".
  void SaveRing(int count) {
    auto const first = std::make_shared<Part>(0);
    std::shared_ptr<Part> last = first;
    for (int i = 1; i < count; ++i) {
      auto const next = std::make_shared<Part>(i);
      last->m_Next = sto_Ref<Part>(next);
      last = next;
    }
    last->m_Next = sto_Ref<Part>(first);
    m_Store->Save("first", *first);
    last->m_Next = nullptr; // a ring in memory would never end
  }
};

TEST_F(Refs, LoadTheirObjectWhenItIsAskedFor) {
  SaveRing(3);
  Reopen();
  EXPECT_EQ(Counted::s_Alive, 0);
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  EXPECT_FALSE(first.IsLoaded());
  EXPECT_EQ(Counted::s_Alive, 0);
  EXPECT_EQ(first->m_Number, 0);
  EXPECT_EQ(Counted::s_Alive, 1);
  EXPECT_FALSE(first->m_Next.IsLoaded());
  EXPECT_EQ(first->m_Next->m_Number, 1);
  EXPECT_EQ(Counted::s_Alive, 2);
}

TEST_F(Refs, OfOneObjectAreEqualAndLeadToOneObject) {
  SaveRing(3);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const third = first->m_Next->m_Next;
  EXPECT_EQ(third->m_Next, first);
  EXPECT_NE(third, first);
  EXPECT_EQ(&*third->m_Next, &*first);
  EXPECT_EQ(m_Store->Ref<Part>("first"), first);
  EXPECT_EQ((std::unordered_set<sto_Ref<Part>>{first, third, third->m_Next}.size()), 2U);
}

TEST_F(Refs, AreOnePointerWide) {
  static_assert(sizeof(sto_Ref<Part>) == sizeof(void*));
}

TEST_F(Refs, KeepTheirObjectUntilItIsReleased) {
  m_Store->Save("alone", Part(7));
  Part const& alone = *m_Store->Ref<Part>("alone"); // the reference is gone
  EXPECT_EQ(alone.m_Number, 7);
  EXPECT_EQ(Counted::s_Alive, 1);
  EXPECT_EQ(&*m_Store->Ref<Part>("alone"), &alone);
  m_Store->ReleaseObjects();
  EXPECT_EQ(Counted::s_Alive, 0);
}

TEST_F(Refs, EndALongChainWithoutNesting) {
  int const count = 200'000;
  {
    sto_Ref<Part> first;
    for (int i = 0; i < count; ++i) {
      auto const part = std::make_shared<Part>(i);
      part->m_Next = first;
      first = sto_Ref<Part>(part);
    }
    m_Store->Save("chain", *first);
    EXPECT_EQ(Counted::s_Alive, count);
  }
  Reopen();
  EXPECT_EQ(Counted::s_Alive, 0);
  {
    sto_ReadTransaction const transaction(*m_Store);
    sto_Ref<Part> const first = m_Store->Ref<Part>("chain");
    int walked = 0;
    for (sto_Ref<Part> each = first; each; each = sto_Ref<Part>(each->m_Next)) ++walked;
    EXPECT_EQ(walked, count);
    EXPECT_EQ(Counted::s_Alive, count);
    m_Store->ReleaseObjects();
    EXPECT_EQ(Counted::s_Alive, 0);
  }
  sto_Ref<Part> last;
  for (int i = 0; i < count; ++i) { // without a store
    auto const part = std::make_shared<Part>(i);
    part->m_Next = last;
    last = sto_Ref<Part>(part);
  }
  last = nullptr;
  EXPECT_EQ(Counted::s_Alive, 0);
}

TEST_F(Refs, OfARingEndWithTheStore) {
  SaveRing(10);
  Reopen();
  std::optional<sto_Ref<Part>> first = m_Store->Ref<Part>("first");
  for (sto_Ref<Part> each = (*first)->m_Next; each != *first; each = sto_Ref<Part>(each->m_Next)) {
  }
  EXPECT_EQ(Counted::s_Alive, 10);
  sto_Ref<Part> const second = (*first)->m_Next;
  first.reset();
  EXPECT_EQ(Counted::s_Alive, 10);
  m_Store.reset();
  EXPECT_EQ(Counted::s_Alive, 0);
  ExpectError(sto_ErrorKind::Unavailable, Path() + ": Object", [&] { (void)*second; });
  ExpectError(sto_ErrorKind::Unavailable, "its store was closed", [&] { (void)second.Get(); });
  ExpectError(sto_ErrorKind::Unavailable, "its store was closed", [&] { (void)second.Edit(); });
}

TEST_F(Refs, ToReleasedObjectsLoadThemAgain) {
  SaveRing(10);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  for (sto_Ref<Part> each = first->m_Next; each != first; each = sto_Ref<Part>(each->m_Next)) {
  }
  std::shared_ptr<Part const> const kept = first->m_Next.Get();
  m_Store->ReleaseObjects();
  EXPECT_EQ(Counted::s_Alive, 1);
  EXPECT_FALSE(first.IsLoaded());
  EXPECT_EQ(first->m_Next.Get(), kept);
  first.Release();
  EXPECT_FALSE(first.IsLoaded());
}

TEST_F(Refs, ChangeTheirObjectInATransaction) {
  SaveRing(3);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Number = 100;
    first->m_Next.Edit().m_Number = 101;
    transaction.Commit();
  }
  EXPECT_EQ(first->m_Number, 100);
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Number, 100);
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Next->m_Number, 101);
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Next->m_Next->m_Number, 2);
}

TEST_F(Refs, RefuseChangesThatWouldBeLost) {
  SaveRing(2);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  ExpectError(sto_ErrorKind::Misuse, "outside of a sto_Transaction", [&] { (void)first.Edit(); });
  {
    sto_ReadTransaction const transaction(*m_Store);
    ExpectError(sto_ErrorKind::Misuse, "in a transaction that only reads", [&] { (void)first.Edit(); });
  }
  Reopen(sto_Mode::ReadOnly);
  ExpectError(sto_ErrorKind::Misuse, "outside of a sto_Transaction",
              [&] { (void)m_Store->Ref<Part>("first").Edit(); });
}

TEST_F(Refs, ShowTheStoredStateAfterARollback) {
  SaveRing(3);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  std::shared_ptr<Part const> const before = first.Get();
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Number = 100;
    EXPECT_EQ(m_Store->LoadShared<Part>("first")->m_Number,
              100); // what is changed is seen in the transaction
    EXPECT_EQ(first->m_Next->m_Number, 1);
  }
  EXPECT_EQ(first->m_Number, 0);
  EXPECT_EQ(before->m_Number, 100);
  EXPECT_NE(first.Get(), before);
  EXPECT_EQ(m_Store->LoadShared<Part>("first")->m_Number, 0);
  ExpectError(sto_ErrorKind::Conflict, "is in memory twice", [&] { m_Store->Save("first", *before); });
}

TEST_F(Refs, ToNewObjectsAreStoredWithTheirHolder) {
  SaveRing(1);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const made(std::make_shared<Bolt>(5, 2.5));
  EXPECT_EQ(made.Id(), 0);
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Next = made;
    made.Edit().m_Number = 6;
    transaction.Commit();
  }
  EXPECT_NE(made.Id(), 0);
  EXPECT_TRUE(made.IsLoaded());
  Reopen();
  sto_Ref<Part> const next = m_Store->Ref<Part>("first")->m_Next;
  EXPECT_EQ(next->m_Number, 6);
  ASSERT_TRUE(next.As<Bolt>());
  EXPECT_EQ(next.As<Bolt>()->m_Length, 2.5);
  EXPECT_FALSE(m_Store->Ref<Part>("first").As<Bolt>());
}

TEST_F(Refs, ToNewObjectsAreInMemoryAgainAfterARollback) {
  SaveRing(1);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const made(std::make_shared<Part>(5));
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Next = made;
    EXPECT_EQ(m_Store->ObjectCount(), 2);
    EXPECT_NE(made.Id(), 0);
  }
  EXPECT_EQ(made.Id(), 0);
  EXPECT_EQ(made->m_Number, 5);
  EXPECT_EQ(first->m_Next, first);
  m_Store->Save("other", Part(8)); // gets the id that was given back
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Next = made;
    transaction.Commit();
  }
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Next->m_Number, 5);
  EXPECT_EQ(m_Store->Ref<Part>("other")->m_Number, 8);
}

TEST_F(Refs, ToNewObjectsDoNotLetGoOfThemBeforeTheCommit) {
  SaveRing(1);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const made(std::make_shared<Part>(5));
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Next = made;
    EXPECT_EQ(m_Store->ObjectCount(), 2);
    m_Store->ReleaseObjects();
    made.Release();
    EXPECT_TRUE(made.IsLoaded());
  }
  EXPECT_EQ(made->m_Number, 5);
  sto_Transaction transaction(*m_Store);
  first.Edit().m_Next = made;
  transaction.Commit();
  m_Store->ReleaseObjects();
  EXPECT_FALSE(made.IsLoaded());
  EXPECT_EQ(made->m_Number, 5);
}

TEST_F(Refs, ThatWereReadInUndoneWorkSaySo) {
  sto_Ref<Part> made;
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Save("made", Part(3));
    made = m_Store->Ref<Part>("made");
    EXPECT_EQ(made->m_Number, 3);
  }
  m_Store->Save("other", Part(4)); // under the same id
  ExpectError(sto_ErrorKind::Unavailable, "work that was undone", [&] { (void)*made; });
  auto const holder = std::make_shared<Part>(1);
  holder->m_Next = made;
  ExpectError(sto_ErrorKind::Unavailable, "work that was undone", [&] { m_Store->Save("holder", *holder); });
  EXPECT_FALSE(m_Store->HasRoot("holder"));
}

TEST_F(Refs, StayChangedAfterASaveThatFails) {
  SaveRing(2);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const made(std::make_shared<Part>(9));
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Number = 50;
    Part broken(1);
    broken.m_Assembly = sto_Ref<Assembly>(std::make_shared<Assembly>());
    broken.m_Assembly.Edit().m_First = made;
    sto_Store other = sto_Store::Open(Path("other.kvs"), sto_Mode::Create, m_Registrar);
    other.Save("p", Part(2));
    broken.m_Next = other.Ref<Part>("p");
    ExpectError(sto_ErrorKind::Misuse, "cannot be saved in another store",
                [&] { m_Store->Save("broken", broken); });
    EXPECT_EQ(made.Id(), 0);
    first.Edit().m_Next = made;
    transaction.Commit();
  }
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Number, 50);
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Next->m_Number, 9);
}

TEST_F(Refs, AndSharedPointersLeadToOneObject) {
  SaveSharedPart();
  {
    sto_Ref<Assembly> const loaded = m_Store->Ref<Assembly>("assembly"); // with the shared pointer's object
    EXPECT_EQ(loaded->m_Shared.get(), loaded->m_First.Get().get());
  }
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("part"); // before it
  EXPECT_EQ(first->m_Number, 2);
  EXPECT_EQ(m_Store->Ref<Assembly>("assembly")->m_Shared.get(), &*first);
}

/// The class Part as it is with a pointer.
class OldPart {
 public:
  KVL_PERSISTED(OldPart, 0x7B0004, "Changing", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Next));
  }
  OldPart() = default;
  int m_Number = 0;
  std::shared_ptr<OldPart> m_Next;
};
class NewPart {
 public:
  KVL_PERSISTED(NewPart, 0x7B0004, "Changing", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Next));
  }
  NewPart() = default;
  int m_Number = 0;
  sto_Ref<NewPart> m_Next;
};

TEST_F(Refs, AreInterchangeableWithSharedPointersInTheStore) {
  cls_ClassRegistrar oldClasses;
  OldPart::Declare(oldClasses);
  cls_ClassRegistrar newClasses;
  NewPart::Declare(newClasses);
  std::string const path = Path("changing.kvs");
  {
    OldPart part;
    part.m_Next = std::make_shared<OldPart>();
    part.m_Next->m_Number = 2;
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, oldClasses);
    store.Save("part", part);
  }
  {
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, newClasses);
    sto_Ref<NewPart> const part = store.Ref<NewPart>("part");
    EXPECT_EQ(part->m_Next->m_Number, 2);
    sto_Transaction transaction(store);
    part->m_Next.Edit().m_Next = sto_Ref<NewPart>(std::make_shared<NewPart>());
    part->m_Next->m_Next.Edit().m_Number = 3;
    transaction.Commit();
    EXPECT_EQ(store.ObjectCount(), 3);
  }
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, oldClasses);
  EXPECT_EQ(store.Load<OldPart>("part")->m_Next->m_Next->m_Number, 3);
}

TEST_F(Refs, OfAnotherClassAreRefused) {
  m_Store->Save("assembly", Assembly());
  sto_Ref<Part> const wrong = m_Store->Ref<Part>("assembly");
  ExpectError(sto_ErrorKind::WrongClass, "is of class", [&] { (void)*wrong; });
  EXPECT_EQ(m_Store->Ref<Assembly>("assembly")->m_Name, "");
  ExpectError(sto_ErrorKind::WrongClass, "is of class", [&] { (void)*wrong; });
  ExpectError(sto_ErrorKind::Misuse, "refers to no object", [] { (void)*sto_Ref<Part>(); });
  EXPECT_EQ(sto_Ref<Part>().Get(), nullptr);
  ExpectError(sto_ErrorKind::NotFound, "There is no root nothing",
              [&] { (void)m_Store->Ref<Part>("nothing"); });
}

TEST_F(Refs, ToCollectedObjectsSaySo) {
  SaveRing(3);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const second = first->m_Next;
  sto_Ref<Part> const third = second->m_Next;
  second.Release();
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Next = nullptr;
    EXPECT_EQ(m_Store->CollectGarbage(), 2);
    transaction.Commit();
  }
  ExpectError(sto_ErrorKind::NotFound, "was collected", [&] { (void)*second; });
  {
    sto_Transaction transaction(*m_Store);
    first.Edit().m_Next = second;
    ExpectError(sto_ErrorKind::NotFound, "was collected", [&] { transaction.Commit(); });
  }
  EXPECT_FALSE(first->m_Next);
  EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
}

TEST_F(Refs, ToCollectedObjectsInMemoryStoreThemAgain) {
  SaveRing(2);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const second = first->m_Next;
  EXPECT_EQ(second->m_Number, 1);
  sto_Transaction transaction(*m_Store);
  first.Edit().m_Next = nullptr;
  EXPECT_EQ(m_Store->CollectGarbage(), 1);
  first.Edit().m_Next = second;
  transaction.Commit();
  EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Next->m_Number, 1);
}

TEST_F(Refs, RefuseToOverwriteWhatAnotherSessionChanged) {
  SaveRing(2);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  sto_Ref<Part> const second = first->m_Next;
  EXPECT_EQ(second->m_Number, 1);
  {
    sto_Store other = OtherSession();
    sto_Transaction transaction(other);
    other.Ref<Part>("first").Edit().m_Number = 77;
    transaction.Commit();
  }
  {
    sto_Transaction transaction(*m_Store);
    second.Edit().m_Number = 12; // another one is not concerned
    ExpectError(sto_ErrorKind::Conflict, "changed by another session", [&] { (void)first.Edit(); });
    transaction.Commit();
  }
  m_Store->ReleaseObjects();
  EXPECT_EQ(first->m_Number, 77);
  sto_Transaction transaction(*m_Store);
  first.Edit().m_Number = 78;
  transaction.Commit();
}

TEST_F(Refs, RefuseToOverwriteAListThatAnotherSessionChanged) {
  Assembly assembly;
  assembly.m_Sizes = {1, 2};
  m_Store->Save("assembly", assembly);
  Reopen();
  sto_Ref<Assembly> const mine = m_Store->Ref<Assembly>("assembly");
  EXPECT_EQ(mine->m_Sizes.size(), 2U);
  {
    sto_Store other = OtherSession();
    sto_Transaction transaction(other);
    other.Ref<Assembly>("assembly").Edit().m_Sizes.push_back(3); // changes the record of the list only
    transaction.Commit();
  }
  sto_Transaction transaction(*m_Store);
  ExpectError(sto_ErrorKind::Conflict, "changed by another session", [&] { (void)mine.Edit(); });
}

TEST_F(Refs, MadeFromAStoredObjectLeadToWhatIsStored) {
  sto_Ref<Part> const part(std::make_shared<Part>(5));
  m_Store->Save("part", *part);
  ExpectError(sto_ErrorKind::Misuse, "outside of a sto_Transaction", [&] { part.Edit().m_Number = 6; });
  {
    sto_Transaction transaction(*m_Store);
    part.Edit().m_Number = 7;
    transaction.Commit();
  }
  EXPECT_EQ(m_Store->Ref<Part>("part"), part);
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("part")->m_Number, 7);
}

TEST_F(Refs, RefuseThatTheirObjectBecomesAnotherOne) {
  SaveRing(1);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  {
    sto_Transaction transaction(*m_Store);
    first.Edit() = Part(9);
    ExpectError(sto_ErrorKind::Misuse, "assigned a temporary or moved object", [&] { transaction.Commit(); });
  }
  sto_Transaction transaction(*m_Store);
  Part const named(10);
  first.Edit() = named;
  transaction.Commit();
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Number, 10);
}

TEST_F(Refs, ToNewObjectsCanBeChangedUntilTheCommit) {
  SaveRing(1);
  Reopen();
  sto_Transaction transaction(*m_Store);
  sto_Ref<Part> const made(std::make_shared<Part>(5));
  Part& part = made.Edit();
  m_Store->Ref<Part>("first").Edit().m_Next = made;
  EXPECT_EQ(m_Store->ObjectCount(), 2); // it is stored
  part.m_Number = 8;
  transaction.Commit();
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Next->m_Number, 8);
}

TEST_F(Refs, ARollbackUndoesPartsOfOtherObjectsToo) {
  SaveSharedPart();
  sto_Ref<Assembly> const holder = m_Store->Ref<Assembly>("assembly");
  EXPECT_EQ(holder->m_Shared->m_Number, 2);
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Ref<Part>("part").Edit().m_Number = 50;
    EXPECT_EQ(holder->m_Shared->m_Number, 50);
  }
  EXPECT_EQ(holder->m_Shared->m_Number, 2);
  m_Store->RemoveRoot("nothing");
  EXPECT_EQ(holder->m_Shared.get(), &*m_Store->Ref<Part>("part"));
  { // an unrelated one
    sto_Transaction transaction(*m_Store);
    m_Store->Save("other", Part(3));
  }
  EXPECT_EQ(holder->m_Shared.get(), &*m_Store->Ref<Part>("part"));
}

TEST_F(Refs, RefuseToOverwriteAPartThatAnotherSessionChanged) {
  SaveSharedPart();
  sto_Ref<Assembly> const holder = m_Store->Ref<Assembly>("assembly");
  EXPECT_EQ(holder->m_Name, "");
  sto_Ref<Part> const known = m_Store->Ref<Part>("part");
  {
    sto_Store other = OtherSession();
    sto_Transaction transaction(other);
    other.Ref<Part>("part").Edit().m_Number = 77;
    transaction.Commit();
  }
  sto_Transaction transaction(*m_Store);
  ExpectError(sto_ErrorKind::Conflict, "changed by another session", [&] { (void)holder.Edit(); });
}

TEST_F(Refs, AreNotFollowedInALoadScope) {
  SaveRing(2);
  Reopen();
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  {
    sto_LoadScope const scope(*m_Store);
    ExpectError(sto_ErrorKind::Misuse, "while a sto_LoadScope is open", [&] { (void)*first; });
  }
  EXPECT_EQ(first->m_Number, 0);
}

TEST_F(Refs, ToObjectsThatAreRemovedInTheirTransactionAreNotStoredAgain) {
  SaveRing(2);
  Reopen();
  sto_Transaction transaction(*m_Store);
  sto_Ref<Part> const first = m_Store->Ref<Part>("first");
  first->m_Next.Edit().m_Number = 5;
  first.Edit().m_Number = 6;
  EXPECT_EQ(m_Store->RemoveRootAndContent("first"), 2);
  transaction.Commit();
  EXPECT_EQ(m_Store->ObjectCount(), 0);
}

TEST_F(Refs, DoNotRememberWhatAnUndoneSaveHasWritten) {
  SaveRing(1);
  m_Store->Save("collected", Part(5));
  Reopen();
  sto_Ref<Part> const collected = m_Store->Ref<Part>("collected");
  EXPECT_EQ(collected->m_Number, 5);
  EXPECT_EQ(m_Store->RemoveRootAndContent("collected"), 1);
  sto_Store other = sto_Store::Open(Path("other.kvs"), sto_Mode::Create, m_Registrar);
  other.Save("part", Part(2));
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Ref<Part>("first").Edit().m_Next = collected;
    sto_Ref<Part> const broken(std::make_shared<Part>(3));
    broken.Edit().m_Next = other.Ref<Part>("part");
    sto_Ref<Assembly> const assembly(std::make_shared<Assembly>());
    m_Store->Ref<Part>("first").Edit().m_Assembly = assembly;
    assembly.Edit().m_First = broken;
    ExpectError(sto_ErrorKind::Misuse, "another store", [&] { transaction.Commit(); });
    broken.Edit().m_Next = nullptr;
    transaction.Commit();
  }
  EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
  Reopen();
  EXPECT_EQ(m_Store->Ref<Part>("first")->m_Next->m_Number, 5);
}

TEST_F(Refs, OfDerivedClassesConvert) {
  sto_Ref<Bolt> const bolt(std::make_shared<Bolt>(4, 1.5));
  sto_Ref<Part> const part = bolt;
  EXPECT_EQ(part->m_Number, 4);
  EXPECT_EQ(part.As<Bolt>(), bolt);
  m_Store->Save("bolt", *bolt);
  Reopen();
  sto_Ref<Part> const loaded = m_Store->Ref<Part>("bolt");
  EXPECT_EQ(loaded->m_Number, 4);
  EXPECT_EQ(loaded.As<Bolt>()->m_Length, 1.5);
  EXPECT_EQ(m_Store->Ref<Bolt>("bolt")->m_Length, 1.5);
  sto_Transaction transaction(*m_Store);
  loaded.Edit().m_Number = 40; // saved as a Bolt
  transaction.Commit();
  Reopen();
  EXPECT_EQ(m_Store->Ref<Bolt>("bolt")->m_Number, 40);
  EXPECT_EQ(m_Store->Ref<Bolt>("bolt")->m_Length, 1.5);
}

TEST_F(Refs, MadeTwiceFromOneObjectAreEqual) {
  auto const part = std::make_shared<Part>(1);
  EXPECT_EQ(sto_Ref<Part>(part), sto_Ref<Part>(part));
  EXPECT_NE(sto_Ref<Part>(part), sto_Ref<Part>(std::make_shared<Part>(1)));
}

} // namespace
} // namespace ref_test
