#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/support/store/StoreGarbage.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreStream.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

/// Which objects are kept and which are collected.
class StoreCollector : public StoreGarbageTest {
 protected:
  /// One of everything that can hold another object.
  static void SaveAll(sto_Store& store, std::string_view root) {
    Node const named(50);
    sto_Transaction transaction(store);
    store.Save("named", named);
    SaveFields(
        store,
        [&](cls_WriteVisitor const& visitor) {
          Node const held(1);
          held.DBWrite(cls_WriteVisitor(visitor, Field("m_Object"), nullptr, &held));
          visitor.Memento()->WriteReference(Field("m_Reference"), named.m_Uid);
          {
            auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
            for (int i = 0; i < 3000; ++i) AppendNode(*list, Node(100 + i));
          }
          {
            auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
            for (int i = 0; i < 10; ++i) InsertNode(*map, -i, Node(10 + i));
          }
          auto const map =
              Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid()));
          InsertNode(*map, "key"_cow, Node(20));
          InsertNode(*map, ""_cow, Node(21));
          InsertNode(*map, cow_String(), Node(22));
        },
        root);
    store.RemoveRoot("named");
    transaction.Commit();
  }
  static constexpr int AllCount = 1 + 1 + 1 + (1 + 3000) + (1 + 10) + (1 + 3);

  static void ExpectAll(sto_Store& store, std::string_view root) {
    static_cast<void>(LoadFields(
        store,
        [&](cls_ReadVisitor const& visitor) {
          cls_MementoRead& memento = *visitor.Memento();
          EXPECT_EQ(NodeValue(memento.MakeFieldReadObj(Field("m_Object"))), 1);
          EXPECT_EQ(NodeValue(memento.MakeFieldReadObj(Field("m_Reference"))), 50);
          auto const list = Own(memento.MakeFieldReadListObj(Field("m_Objects")));
          ASSERT_EQ(list->Count(), 3000);
          for (int i = 0; i < 3000; ++i) ASSERT_EQ(NodeValue(list->Next()), 100 + i);
          auto const byInt = Own(memento.MakeFieldReadMapInt2Obj(Field("m_ByInt")));
          int number = 0;
          for (int i = 0; i < 10; ++i) {
            byInt->Next();
            EXPECT_EQ(NodeValue(byInt->Fetch(number)), 10 + i);
          }
          auto const byString = Own(memento.MakeFieldReadMapString2Obj(Field("m_ByString")));
          cow_String text;
          for (int const value : {20, 21, 22}) {
            byString->Next();
            EXPECT_EQ(NodeValue(byString->Fetch(text)), value);
          }
        },
        root));
  }
};

TEST_F(StoreCollector, EmptyStoreHasNothingToCollect) {
  sto_Store store = Create();
  ExpectAllCollected(store, 0);
}

TEST_F(StoreCollector, EverythingReachableFromARootStays) {
  sto_Store store = Create();
  SaveAll(store, "root");
  ExpectCollected(store, 0);
  EXPECT_EQ(store.ObjectCount(), AllCount);
  ExpectAll(store, "root");
}

TEST_F(StoreCollector, EverythingReachableOnlyFromARemovedRootIsCollected) {
  sto_Store store = Create();
  SaveAll(store, "kept");
  SaveAll(store, "removed");
  store.RemoveRoot("removed");
  ExpectCollected(store, AllCount);
  ExpectAll(store, "kept");
  store.RemoveRoot("kept");
  ExpectAllCollected(store, AllCount);
}

TEST_F(StoreCollector, ChainIsCollectedWithItsRoot) {
  sto_Store store = Create();
  store.Save("chain", *Node::Chain(900));
  ExpectCollected(store, 0);
  store.RemoveRoot("chain");
  ExpectAllCollected(store, 900);
}

TEST_F(StoreCollector, ChainOfAnyLengthIsFollowed) {
  constexpr int Length = 20'000;
  sto_Store store = Create();
  {
    sto_Transaction transaction(store);
    cls_Uid last;
    for (int i = 0; i < Length; ++i) {
      Scripted const object([&](cls_WriteVisitor const& visitor) {
        if (i > 0) visitor.Memento()->WriteReference(Field("m_Reference"), last);
      });
      store.Save("last", object);
      last = object.m_Uid;
    }
    transaction.Commit();
  }
  EXPECT_EQ(store.Roots().size(), 1U);
  ExpectCollected(store, 0);
  store.RemoveRoot("last");
  ExpectAllCollected(store, Length);
}

TEST_F(StoreCollector, CycleIsKeptByARootAndCollectedWithoutOne) {
  sto_Store store = Create();
  auto const one = std::make_shared<Node>(1);
  one->m_Left = std::make_shared<Node>(2);
  one->m_Left->m_Back = one;
  one->m_Right = std::make_shared<Node>(3);
  one->m_Right->m_Back = one->m_Right;
  store.Save("one", *one);
  store.Save("two", *one->m_Left);
  store.RemoveRoot("one");
  ExpectCollected(store, 0); // the second node holds the first
  EXPECT_EQ(store.LoadShared<Node>("two")->m_Value, 2);
  store.RemoveRoot("two");
  ExpectAllCollected(store, 3);
}

TEST_F(StoreCollector, SharedObjectStaysAsLongAsOneHolderDoes) {
  sto_Store store = Create();
  auto const shared = std::make_shared<Node>(7);
  for (char const* const root : {"a", "b"}) {
    Node holder(1);
    holder.m_Left = holder.m_Right = shared;
    store.Save(root, holder);
  }
  store.RemoveRoot("a");
  ExpectCollected(store, 1);
  EXPECT_EQ(store.Load<Node>("b")->m_Left->m_Value, 7);
  store.RemoveRoot("b");
  ExpectAllCollected(store, 2);
}

TEST_F(StoreCollector, ObjectsOfReplacedRootsFieldsAndCollectionsAreCollected) {
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  store.Save("root", node);
  node.m_Left = std::make_shared<Node>(3);
  store.Save("root", node);
  ExpectCollected(store, 1);
  EXPECT_EQ(store.Load<Node>("root")->m_Left->m_Value, 3);
  store.Save("root", Node(4)); // another object under the same name
  ExpectCollected(store, 2);
  EXPECT_EQ(store.Load<Node>("root")->m_Value, 4);
}

TEST_F(StoreCollector, ReferenceAloneKeepsItsObjectAndAllThatReaches) {
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  store.Save("node", node);
  SaveReference(store, node.m_Uid, "reference");
  store.RemoveRoot("node");
  ExpectCollected(store, 0);
  store.RemoveRoot("reference");
  ExpectAllCollected(store, 3);
}

TEST_F(StoreCollector, ReferenceToAnUnsavedObjectIsNoDamage) {
  sto_Store store = Create();
  Node const never(1);
  SaveReference(store, never.m_Uid, "reference");
  ExpectCollected(store, 0);
  store.Save("late", never); // gets the id that the reference already uses
  store.RemoveRoot("late");
  ExpectCollected(store, 0);
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreCollector, PartsAreCollectedWithTheirObjectAndAReferenceToOneKeepsNothing) {
  sto_Store store = Create();
  Top top;
  top.m_BottomValue = 5;
  store.Save("top", top);
  SaveReference(store, top.m_BottomUid, "reference");
  ExpectCollected(store, 0);
  EXPECT_EQ(store.Load<Top>("top")->m_BottomValue, 5);
  store.RemoveRoot("top");
  ExpectCollected(store, 1);
  store.RemoveRoot("reference");
  ExpectAllCollected(store, 1);
}

TEST_F(StoreCollector, WhatABasePartHoldsStays) {
  sto_Store store = Create();
  struct Holding : Top {
    Holding() = default;
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_TopUid)) return;
      cls_WriteVisitor const middle(visitor, Middle::TypeId());
      if (!middle.StartWrite(Middle::TypeId(), m_MiddleUid)) return;
      m_Node.DBWrite(cls_WriteVisitor(middle, Field("m_Node"), nullptr, &m_Node));
      Bottom::DBWrite(cls_WriteVisitor(middle, Bottom::TypeId()));
    }
    Node m_Node{9};
  };
  store.Save("holding", Holding());
  ExpectCollected(store, 0);
  EXPECT_EQ(store.ObjectCount(), 2);
  store.RemoveRoot("holding");
  ExpectAllCollected(store, 2);
}

TEST_F(StoreCollector, ListsAndBlobsAreCollectedWithTheirBlocks) {
  sto_Store store = Create();
  for (char const* const root : {"a", "b"}) {
    Listed listed;
    for (int i = 0; i < 9000; ++i) listed.m_List.Append(i);
    SaveFields(
        store,
        [&](cls_WriteVisitor const& visitor) {
          listed.m_List.DBWrite(cls_WriteVisitor(visitor, Field("m_Ints"), nullptr, &listed.m_List));
        },
        root);
    store.Save(std::string("picture ") + root, Picture(100'000));
  }
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 2 * (5 + 7));
  store.RemoveRoot("a");
  store.RemoveRoot("picture a");
  ExpectCollected(store, 4);
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 5 + 7);
  EXPECT_EQ(store.Load<Picture>("picture b")->Bytes(), std::string(100'000, 'b'));
  static_cast<void>(LoadFields(
      store,
      [](cls_ReadVisitor const& visitor) {
        cls_xp1DArrayListInt const list(cls_ReadVisitor(visitor, Field("m_Ints")), nullptr);
        ASSERT_EQ(list.Count(), 9000);
        for (int i = 0; i < 9000; ++i) ASSERT_EQ(list.ConstGet(i), i);
      },
      "b"));
  store.RemoveRoot("b");
  store.RemoveRoot("picture b");
  ExpectAllCollected(store, 4);
}

TEST_F(StoreCollector, EverySecondOfTenThousandObjectsIsCollected) {
  constexpr int Count = 10'000;
  sto_Store store = Create();
  {
    sto_Transaction transaction(store);
    // Some records are too long for a pack.
    for (int i = 0; i < Count; ++i)
      SaveFields(
          store,
          [i](cls_WriteVisitor const& visitor) {
            visitor.Write(Field("m_Text"), cow_String(std::string(i % 7 == 0 ? 2000U : 20U, 'x')));
          },
          std::to_string(i));
    for (int i = 1; i < Count; i += 2) store.RemoveRoot(std::to_string(i));
    transaction.Commit();
  }
  ExpectCollected(store, Count / 2);
  sto_ReadTransaction const reading(store);
  for (int i = 0; i < Count; i += 2)
    static_cast<void>(LoadFields(
        store,
        [i](cls_ReadVisitor const& visitor) {
          ASSERT_EQ(visitor.Read(Field("m_Text"), ""_cow).Length(), i % 7 == 0 ? 2000 : 20);
        },
        std::to_string(i)));
}

TEST_F(StoreCollector, TenThousandObjectsAreCollectedAtOnce) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < 10'000; ++i) AppendNode(*list, Node(i));
  });
  ExpectCollected(store, 0);
  store.RemoveRoot("root");
  ExpectAllCollected(store, 10'002);
}

TEST_F(StoreCollector, IdsAreNeverGivenOutAgain) {
  auto const save = [](sto_Store& store) { SaveNodes(store, {1, 2, 3}); };
  std::int64_t next = 0;
  {
    sto_Store store = Create();
    save(store);
    for (char const* const root : {"1", "2", "3"}) store.RemoveRoot(root);
    next = Query("SELECT next_object_id FROM save ORDER BY no DESC LIMIT 1");
    ExpectAllCollected(store, 3);
    EXPECT_EQ(Query("SELECT next_object_id FROM save ORDER BY no DESC LIMIT 1"), next);
  }
  sto_Store store = Open();
  save(store);
  EXPECT_EQ(Query("SELECT min(object_id) FROM root"), next);
}

TEST_F(StoreCollector, ObjectsWithSparseIdsAreCollected) {
  sto_Store store = Create();
  SaveNodes(store, {1});
  {
    SqlFile file(Path());
    SetNextObjectId(file, "8000000000000");
  }
  store.Save("kept", Node(2));
  store.Save("removed", Node(3));
  store.RemoveRoot("1");
  store.RemoveRoot("removed");
  {
    SqlFile file(Path());
    SetNextObjectId(file, "8796093022207");
  }
  store.RemoveRoot("kept");
  store.Save("last", Node(4));
  store.RemoveRoot("last");
  SqlFile(Path()).Run("DELETE FROM pack WHERE key > 1");
  EXPECT_EQ(store.CollectGarbage(), 1);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(StoreCollector, AnotherSessionSeesIt) {
  sto_Store store = Create();
  sto_Store other = Open();
  SaveNodes(store, {1, 2});
  std::unique_ptr<Node> const held = other.Load<Node>("2");
  store.RemoveRoot("2");
  ExpectCollected(store, 1);
  EXPECT_EQ(other.ObjectCount(), 1);
  EXPECT_EQ(other.CollectGarbage(), 0);
  other.Save("again", *held); // its identity is tied to the collected id
  EXPECT_EQ(store.Load<Node>("again")->m_Value, 2);
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreCollector, RolledBackCollectionRestoresEverything) {
  sto_Store store = Create();
  SaveAll(store, "root");
  Listed listed;
  store.Save("picture", Picture(50'000));
  std::int64_t const rows = Rows();
  {
    sto_Transaction transaction(store);
    store.RemoveRoot("root");
    store.RemoveRoot("picture");
    EXPECT_EQ(store.CollectGarbage(), AllCount + 2);
    EXPECT_EQ(store.ObjectCount(), 0);
  }
  EXPECT_EQ(store.ObjectCount(), AllCount + 2);
  EXPECT_EQ(Rows(), rows);
  ExpectAll(store, "root");
  EXPECT_EQ(store.Load<Picture>("picture")->Bytes(), std::string(50'000, 'b'));
  ExpectCollected(store, 0);
}

TEST_F(StoreCollector, CollectionInATransactionSeesWhatItWrote) {
  sto_Store store = Create();
  SaveNodes(store, {1, 2});
  sto_Transaction transaction(store);
  store.Save("3", Node(3));
  store.Save("4", Node(4));
  for (char const* const root : {"2", "4"}) store.RemoveRoot(root);
  EXPECT_EQ(store.CollectGarbage(), 2);
  store.Save("5", Node(5));
  store.RemoveRoot("1");
  EXPECT_EQ(store.CollectGarbage(), 1);
  transaction.Commit();
  EXPECT_EQ(Open().Roots(), (std::vector<std::string>{"3", "5"}));
  EXPECT_EQ(store.Load<Node>("3")->m_Value, 3);
  EXPECT_EQ(store.Load<Node>("5")->m_Value, 5);
}

TEST_F(StoreCollector, KilledCollectionRestoresEverything) {
  {
    sto_Store store = Create();
    SaveAll(store, "root");
    store.Save("picture", Picture(50'000));
  }
  pid_t const child = fork();
  if (child == 0) {
    try {
      sto_Store store = Open();
      sto_Transaction const transaction(store);
      store.RemoveRoot("root");
      store.RemoveRoot("picture");
      if (store.CollectGarbage() == AllCount + 2) raise(SIGKILL);
    } catch (...) {
    }
    _exit(3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status)) << status;
  sto_Store store = Open();
  EXPECT_EQ(store.ObjectCount(), AllCount + 2);
  ExpectAll(store, "root");
  EXPECT_EQ(store.Load<Picture>("picture")->Bytes(), std::string(50'000, 'b'));
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

// --- Objects in memory

TEST_F(StoreCollector, ObjectInMemoryCanBeSavedAgain) {
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  node.m_Left->m_Left = std::make_shared<Node>(3);
  store.Save("node", node);
  std::int64_t const id = Query("SELECT object_id FROM root");
  store.RemoveRoot("node");
  ExpectAllCollected(store, 3);
  store.Save("again", node);
  EXPECT_EQ(Query("SELECT object_id FROM root"), id) << "the identity is still tied to its id";
  ExpectCollected(store, 0);
  EXPECT_EQ(store.Load<Node>("again")->m_Uid.Entry(), node.m_Uid.Entry());
  EXPECT_EQ(Open().Load<Node>("again")->m_Left->m_Left->m_Value, 3);
}

TEST_F(StoreCollector, ObjectInMemoryCanBeSavedAgainInTheSameTransaction) {
  sto_Store store = Create();
  Top top;
  top.m_BottomValue = 5;
  cls_xp1DArrayListInt list;
  for (int i = 0; i < 5000; ++i) list.Append(i);
  store.Save("top", top);
  store.Save("list", list);
  {
    sto_Transaction transaction(store);
    store.RemoveRoot("top");
    store.RemoveRoot("list");
    EXPECT_EQ(store.CollectGarbage(), 2);
    store.Save("top", top);
    store.Save("list", list);
    transaction.Commit();
  }
  ExpectCollected(store, 0);
  sto_Store other = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(other.Load<Top>("top")->m_BottomValue, 5);
  std::unique_ptr<cls_xp1DArrayListInt> const again = other.Load<cls_xp1DArrayListInt>("list");
  ASSERT_EQ(again->Count(), 5000);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(again->ConstGet(i), i);
}

TEST_F(StoreCollector, IdentitiesAreRestoredWhenACollectionIsRolledBack) {
  sto_Store store = Create();
  Node const node(1);
  store.Save("node", node);
  {
    sto_Transaction const transaction(store);
    store.RemoveRoot("node");
    EXPECT_EQ(store.CollectGarbage(), 1);
  }
  EXPECT_EQ(store.Load<Node>("node")->m_Uid.Entry(), node.m_Uid.Entry());
  store.Save("node", node);
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreCollector, ReferenceToACollectedObjectInMemoryIsGoodOnceThatIsSavedAgain) {
  sto_Store store = Create();
  Node const node(1);
  store.Save("node", node);
  store.RemoveRoot("node");
  ExpectAllCollected(store, 1);
  SaveReference(store, node.m_Uid, "reference");
  ExpectCollected(store, 0);
  store.Save("node", node);
  static_cast<void>(LoadFields(
      store,
      [&](cls_ReadVisitor const& visitor) {
        EXPECT_EQ(visitor.Memento()->ReadReference(Field("m_Reference")).Entry(), node.m_Uid.Entry());
        EXPECT_EQ(NodeValue(visitor.Memento()->MakeFieldReadObj(Field("m_Reference"))), 1);
      },
      "reference"));
}

// --- When collecting is refused

TEST_F(StoreCollector, StoreOpenForReadingIsRefused) {
  { Create().Save("node", Node(1)); }
  sto_Store store = Open(sto_Mode::ReadOnly);
  MessageOf(sto_ErrorKind::ReadOnly, [&] { store.CollectGarbage(); });
  sto_ReadTransaction const reading(store);
  MessageOf(sto_ErrorKind::ReadOnly, [&] { store.CollectGarbage(); });
}

TEST_F(StoreCollector, TransactionThatReadsIsRefused) {
  sto_Store store = Create();
  SaveNodes(store, {1, 2});
  store.RemoveRoot("1");
  {
    sto_ReadTransaction const reading(store);
    MessageOf(sto_ErrorKind::Misuse, [&] { store.CollectGarbage(); });
  }
  ExpectCollected(store, 1);
}

TEST_F(StoreCollector, SaveAndLoadInProgressAreRefused) {
  sto_Store store = Create();
  SaveNodes(store, {1, 2});
  store.RemoveRoot("1");
  auto const collect = [&](auto const&) {
    MessageOf(sto_ErrorKind::Misuse, [&] { store.CollectGarbage(); });
  };
  for (bool const isInTransaction : {false, true}) {
    std::unique_ptr<sto_Transaction> const transaction =
        isInTransaction ? std::make_unique<sto_Transaction>(store) : nullptr;
    SaveFields(store, collect);
    static_cast<void>(LoadFields(store, collect));
    if (transaction) transaction->Commit();
  }
  EXPECT_EQ(store.ObjectCount(), 4);
  ExpectCollected(store, 2);
}

TEST_F(StoreCollector, CountingChangesNothingAndWorksInAReadOnlyStore) {
  {
    sto_Store store = Create();
    SaveAll(store, "all");
    SaveAll(store, "gone");
    store.RemoveRoot("gone");
  }
  StoreBytes const before = FileBytes(Path());
  {
    sto_Store store = Open(sto_Mode::ReadOnly);
    EXPECT_EQ(store.CountGarbage(), AllCount);
    sto_ReadTransaction const reading(store);
    EXPECT_EQ(store.CountGarbage(), AllCount);
    ExpectAll(store, "all");
  }
  {
    sto_Store store = Open();
    EXPECT_EQ(store.CountGarbage(), AllCount);
    sto_ReadTransaction const reading(store);
    EXPECT_EQ(store.CountGarbage(), AllCount);
  }
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreCollector, CountingSeesWhatTheOpenTransactionHasDone) {
  sto_Store store = Create();
  SaveNodes(store, {1, 2, 3});
  {
    sto_Transaction transaction(store);
    store.RemoveRoot("1");
    store.Save("2", Node(4));
    EXPECT_EQ(store.CountGarbage(), 2);
    Bulk bulk;
    bulk.Fill(5000);
    store.Save("bulk", bulk);
    bulk.m_Array.Append(5000); // the array's record is not written yet
    EXPECT_EQ(store.CountGarbage(), 2);
    store.RemoveRoot("bulk");
    EXPECT_EQ(store.CountGarbage(), 3); // the array itself is open
  }
  EXPECT_EQ(store.CountGarbage(), 0);
  EXPECT_EQ(store.Load<Node>("2")->m_Value, 2);
}

TEST_F(StoreCollector, CountingWhileSomethingIsSavedOrLoadedIsRefused) {
  sto_Store store = Create();
  SaveNodes(store, {1});
  auto const count = [&] { static_cast<void>(store.CountGarbage()); };
  SaveFields(store, [&](cls_WriteVisitor const&) { MessageOf(sto_ErrorKind::Misuse, count); });
  static_cast<void>(
      LoadFields(store, [&](cls_ReadVisitor const&) { MessageOf(sto_ErrorKind::Misuse, count); }));
  EXPECT_EQ(store.CountGarbage(), 0);
}

} // namespace
