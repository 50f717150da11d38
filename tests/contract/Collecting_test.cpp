#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/contract/ContractContent.h"

// Removing roots, and collecting the objects that are no longer reachable.

namespace {

class ContractCollecting : public ContractTest {
 protected:
  /// Collects twice; the second time nothing is left to collect. Then starts the next step.
  void ExpectCollected(std::int64_t count) {
    std::int64_t const before = Store().ObjectCount();
    EXPECT_EQ(Store().CollectGarbage(), count);
    EXPECT_EQ(Store().ObjectCount(), before - count);
    Step();
    EXPECT_EQ(Store().CollectGarbage(), 0);
    EXPECT_EQ(Store().ObjectCount(), before - count);
  }
  /// Saves an object for each entry of EveryLed, under its number.
  void SaveEveryLed();
  void ExpectNumber(int number, std::string_view root) {
    Read([=](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), number); }, root);
  }
};
CONTRACT_FIXTURE(ContractCollecting);

constexpr unsigned int ElementId = Scripted::TypeId();

/// One kind of thing that an object can hold, and its number of objects.
struct Led {
  char const* m_Name;
  std::int64_t m_Objects;
  std::function<void(cls_WriteVisitor const&)> m_Write;
};

template <class T> std::function<void(cls_WriteVisitor const&)> ListOf(int count) {
  return [count](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<T>(visitor, ListKind, [count](cls_MementoWrite& memento) {
      T const tag{};
      auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < count; ++i) builder->Append(SampleOf<T>(i));
    });
  };
}

template <class T> void WriteMaps(cls_WriteVisitor const& visitor) {
  T const tag{};
  WriteCollectionOf<T>(visitor, MapIntKind, [&](cls_MementoWrite& memento) {
    auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
    for (int i = 0; i < 500; ++i) builder->Insert(i, SampleOf<T>(i));
  });
  WriteCollectionOf<T>(visitor, MapStringKind, [&](cls_MementoWrite& memento) {
    auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
    for (int i = 0; i < 500; ++i) builder->Insert(cow_String(std::to_string(i)), SampleOf<T>(i));
  });
}

std::vector<Led> EveryLed() {
  std::vector<Led> led{
      {"fields", 0, [](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 1); }},
      {"object", 1,
       [](cls_WriteVisitor const& visitor) {
         WriteNumber(visitor.Memento()->MakeFieldWriteObj(FieldOf("Object"), ElementId, cls_Uid(), nullptr),
                     3);
       }},
      {"blob", 1,
       [](cls_WriteVisitor const& visitor) {
         cls_BlobWriter const writer(visitor, FieldOf("Blob"), cls_Uid());
         std::vector<char> const bytes(100'000, 'b');
         writer.Agent().Write(0, 100'000, bytes.data());
       }},
      {"int table", 1,
       [](cls_WriteVisitor const& visitor) {
         std::unique_ptr<cls_WriteIntTableInt> const table(
             visitor.Memento()->MakeFieldWriteIntTableInt(FieldOf(IntTableKind.m_Name), cls_Uid()));
         for (int i = 0; i < 500; ++i) table->Insert(i, -i);
       }},
      {"list of objects", 1 + 3000,
       [](cls_WriteVisitor const& visitor) {
         auto const list =
             Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
         for (int i = 0; i < 3000; ++i) WriteNumber(list->MakeWriteObj(ElementId, cls_Uid()), i);
       }},
      {"map from int to objects", 1 + 50,
       [](cls_WriteVisitor const& visitor) {
         auto const map =
             Receive(visitor.Memento()->MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()));
         for (int i = 0; i < 50; ++i) WriteNumber(map->MakeWriteObj(-i, ElementId, cls_Uid()), i);
       }},
      {"map from string to objects", 1 + 50,
       [](cls_WriteVisitor const& visitor) {
         auto const map = Receive(
             visitor.Memento()->MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()));
         for (int i = 0; i < 50; ++i)
           WriteNumber(map->MakeWriteObj(cow_String(std::to_string(i)), ElementId, cls_Uid()), i);
       }},
      {"everything", ContentObjects, [](cls_WriteVisitor const& visitor) { WriteContent(visitor, 4); }}};
  ForListTypes([&]<class T>(std::type_identity<T>) {
    for (int const count : {0, 5, 7000}) led.push_back({ContractTypeName<T>, 1, ListOf<T>(count)});
  });
  ForMapTypes([&]<class T>(std::type_identity<T>) { led.push_back({ContractTypeName<T>, 2, WriteMaps<T>}); });
  return led;
}

void ContractCollecting::SaveEveryLed() {
  sto_Transaction transaction(Store());
  int number = 0;
  for (Led const& led : EveryLed()) SaveFields(Store(), led.m_Write, std::to_string(number++));
  transaction.Commit();
}

TEST_P(ContractCollecting, ReachableObjectsStay) {
  COVERS(cls_MementoWrite, 3, 18, 20, 21, 33, 34, 35, 36, 37, 38, 53);
  COVERS(cls_MementoRead, 7, 20, 37, 38, 39, 40, 41, 42, 57);
  EXPECT_EQ(Store().CollectGarbage(), 0);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 1); });
  EXPECT_EQ(Store().ObjectCount(), 1 + ContentObjects);
  ExpectCollected(0);
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 1); });
}

TEST_P(ContractCollecting, UnreachableObjectsAreCollectedAndTheRestStaysAsItIs) {
  COVERS(cls_MementoWrite, 3, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 35, 36, 37, 38, 39, 40, 41, 42, 43,
         53);
  COVERS(cls_MementoRead, 7, 26, 27, 28, 29, 30, 31);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 2); }, "kept");
  SaveEveryLed();
  Step();
  std::int64_t count = 1 + ContentObjects;
  for (Led const& led : EveryLed()) count += 1 + led.m_Objects;
  EXPECT_EQ(Store().ObjectCount(), count);
  ExpectCollected(0);
  {
    sto_Transaction transaction(Store());
    int number = 0;
    for (Led const& led : EveryLed()) {
      SCOPED_TRACE(led.m_Name);
      EXPECT_TRUE(Store().RemoveRoot(std::to_string(number++)));
      EXPECT_EQ(Store().ObjectCount(), count) << "removing is not collecting";
      EXPECT_EQ(Store().CollectGarbage(), 1 + led.m_Objects);
      count -= 1 + led.m_Objects;
    }
    transaction.Commit();
  }
  Reopen();
  EXPECT_EQ(Store().ObjectCount(), 1 + ContentObjects);
  EXPECT_EQ(Store().Roots(), std::vector<std::string>{"kept"});
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 2); }, "kept");
  EXPECT_TRUE(Store().RemoveRoot("kept"));
  ExpectCollected(1 + ContentObjects);
  EXPECT_EQ(Store().ObjectCount(), 0);
}

TEST_P(ContractCollecting, ARootThatIsReplacedLosesItsObject) {
  COVERS(cls_MementoWrite, 11);
  COVERS(cls_MementoRead, 13);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 3); });
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); });
  ExpectCollected(1 + ContentObjects);
  ExpectNumber(4, "root");
}

TEST_P(ContractCollecting, AnObjectThatIsSavedAgainLosesWhatItNoLongerHolds) {
  COVERS(cls_MementoWrite, 3, 35, 36, 37, 38, 53);
  COVERS(cls_MementoRead, 7);
  SaveEveryLed();
  Step();
  {
    sto_Transaction transaction(Store());
    int number = 0;
    for (Led const& led : EveryLed()) {
      SCOPED_TRACE(led.m_Name);
      std::string const root = std::to_string(number++);
      std::unique_ptr<Scripted> const object = LoadFields(
          Store(), [](cls_ReadVisitor const&) {}, root);
      object->m_Write = [](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); };
      Store().Save(root, *object);
      EXPECT_EQ(Store().CollectGarbage(), led.m_Objects);
    }
    transaction.Commit();
  }
  Step();
  ExpectCollected(0);
  EXPECT_EQ(Store().ObjectCount(), static_cast<std::int64_t>(EveryLed().size()));
  ExpectNumber(4, "3");
}

TEST_P(ContractCollecting, BasePartsAndWhatTheyHoldAreKeptOrCollectedWithTheirObject) {
  COVERS(cls_MementoWrite, 3, 5);
  COVERS(cls_MementoRead, 7, 8);
  struct HoldsNode : Middle {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(Middle::TypeId(), m_MiddleUid)) return;
      Bottom::DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
      m_Node.DBWrite(cls_WriteVisitor(visitor, FieldOf("Node"), nullptr, &m_Node));
    }
    Node m_Node{77};
  };
  struct Derived : Top {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (visitor.StartWrite(Top::TypeId(), m_TopUid))
        m_Base.DBWrite(cls_WriteVisitor(visitor, Middle::TypeId()));
    }
    HoldsNode m_Base;
  };
  Store().Save("kept", Derived());
  Store().Save("removed", Derived());
  Store().RemoveRoot("removed");
  Step();
  ExpectCollected(2);
  struct Reads {
    explicit Reads(cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const middle(visitor);
      EXPECT_EQ(Node(cls_ReadVisitor(middle, FieldOf("Node"))).m_Value, 77);
    }
  };
  static_cast<void>(Store().Load<Reads>("kept"));
}

TEST_P(ContractCollecting, ASharedObjectStaysWhileARootReachesIt) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 3, 7);
  {
    auto const shared = std::make_shared<Node>(7);
    shared->m_Left = std::make_shared<Node>(8);
    sto_Transaction transaction(Store());
    for (char const* const root : {"a", "b", "c"}) {
      Node holder(1);
      holder.m_Left = holder.m_Right = shared;
      Store().Save(root, holder);
    }
    transaction.Commit();
  }
  EXPECT_EQ(Store().ObjectCount(), 5);
  for (char const* const root : {"b", "a"}) {
    Store().RemoveRoot(root);
    ExpectCollected(1);
    std::unique_ptr<Node> const holder = Store().Load<Node>("c");
    EXPECT_EQ(holder->m_Left, holder->m_Right);
    EXPECT_EQ(holder->m_Left->m_Left->m_Value, 8);
  }
  Store().RemoveRoot("c");
  ExpectCollected(3);
}

TEST_P(ContractCollecting, CyclesAreCollected) {
  COVERS(cls_MementoWrite, 3, 35);
  COVERS(cls_MementoRead, 7, 39);
  {
    auto const one = std::make_shared<Node>(1);
    one->m_Left = std::make_shared<Node>(2);
    one->m_Left->m_Back = one;
    one->m_Right = std::make_shared<Node>(3);
    one->m_Right->m_Back = one->m_Right;
    Store().Save("one", *one);
    Store().Save("two", *one->m_Left);
  }
  // A list with an element that holds the list.
  Scripted object;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    auto const list =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    EXPECT_EQ(list->MakeWriteObj(ElementId, object.m_Uid), nullptr);
  };
  Store().Save("ring", object);
  Step();
  Store().RemoveRoot("one");
  ExpectCollected(0);
  EXPECT_EQ(Store().LoadShared<Node>("two")->m_Value, 2);
  Store().RemoveRoot("two");
  ExpectCollected(3);
  Read(
      [](cls_ReadVisitor const& visitor) {
        auto const list = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
        EXPECT_EQ(Receive(list->Next())->GetUid().Entry(), visitor.GetUid().Entry());
      },
      "ring");
  Store().RemoveRoot("ring");
  ExpectCollected(2);
}

TEST_P(ContractCollecting, AReferenceKeepsWhatItNames) {
  COVERS(cls_MementoWrite, 18);
  COVERS(cls_MementoRead, 5, 7, 20);
  {
    Node node(1);
    node.m_Left = std::make_shared<Node>(2);
    Store().Save("node", node);
    SaveFields(
        Store(),
        [&](cls_WriteVisitor const& visitor) {
          visitor.Memento()->WriteReference(FieldOf("Reference"), node.m_Uid);
        },
        "reference");
    Store().RemoveRoot("node");
  }
  Step();
  ExpectCollected(0);
  Read(
      [](cls_ReadVisitor const& visitor) {
        EXPECT_NE(visitor.DataIsPresent(FieldOf("Reference")), 0);
        EXPECT_EQ(Node(cls_ReadVisitor(visitor, FieldOf("Reference"))).m_Left->m_Value, 2);
      },
      "reference");
  Store().RemoveRoot("reference");
  ExpectCollected(3);
}

TEST_P(ContractCollecting, AChainOfAnyLengthIsFollowed) {
  COVERS(cls_MementoWrite, 18);
  COVERS(cls_MementoRead, 20);
  constexpr int Length = 10'000;
  {
    sto_Transaction transaction(Store());
    cls_Uid last;
    for (int i = 0; i < Length; ++i) {
      Scripted const object([&](cls_WriteVisitor const& visitor) {
        if (i > 0) visitor.Memento()->WriteReference(FieldOf("Reference"), last);
      });
      Store().Save("last", object);
      last = object.m_Uid;
    }
    transaction.Commit();
  }
  Step();
  ExpectCollected(0);
  Read([](cls_ReadVisitor const& visitor) { EXPECT_NE(visitor.DataIsPresent(FieldOf("Reference")), 0); },
       "last");
  Store().RemoveRoot("last");
  ExpectCollected(Length);
}

TEST_P(ContractCollecting, EverySecondOfTenThousandObjectsIsCollected) {
  COVERS(cls_MementoWrite, 35);
  COVERS(cls_MementoRead, 39);
  constexpr int Count = 10'000;
  {
    std::vector<cls_Uid> const uids(Count);
    auto const write = [&](int step) {
      return [&uids, step](cls_WriteVisitor const& visitor) {
        auto const list =
            Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
        for (int i = 0; i < Count; i += step)
          WriteNumber(list->MakeWriteObj(ElementId, uids[static_cast<std::size_t>(i)]), i);
      };
    };
    SaveFields(Store(), write(1), "all");
    SaveFields(Store(), write(2), "every second");
    Store().RemoveRoot("all");
  }
  Step();
  ExpectCollected(2 + Count / 2);
  Read(
      [](cls_ReadVisitor const& visitor) {
        auto const list = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
        ASSERT_EQ(list->Count(), Count / 2);
        for (int i = 0; i < Count; i += 2) ASSERT_EQ(NumberOf(list->Next()), i);
      },
      "every second");
}

TEST_P(ContractCollecting, ElementsRemovedByAgentsAreCollected) {
  COVERS(cls_AgentListObj, 5, 7, 14);
  COVERS(cls_AgentMapKey2Obj, 5, 11, 19);
  COVERS(cls_MementoRead, 48, 49, 50);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    auto const list = Receive(memento.MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    auto const ints = Receive(memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()));
    auto const strings =
        Receive(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()));
    for (int i = 0; i < 10; ++i) {
      WriteNumber(list->MakeWriteObj(ElementId, cls_Uid()), i);
      WriteNumber(ints->MakeWriteObj(i, ElementId, cls_Uid()), i);
      WriteNumber(strings->MakeWriteObj(cow_String(std::to_string(i)), ElementId, cls_Uid()), i);
    }
  });
  {
    auto const list = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child(visitor, FieldOf(ListObjKind.m_Name));
      return std::make_unique<AgentHolder<cls_AgentListObj>>(child.Memento()->MakeAgentListObj());
    });
    (*list)->Remove(0);
    (*list)->SetCount(6);
    WriteNumber((*list)->MakeWriteObj(2, ElementId, cls_Uid()), 33);
    (*list)->EndFlush();
    auto const ints = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child(visitor, FieldOf(MapIntObjKind.m_Name));
      int tag = 0;
      return std::make_unique<AgentHolder<cls_AgentMapKey2Obj<int>>>(
          child.Memento()->MakeAgentMapKey2Obj(&tag));
    });
    (*ints)->Remove(4);
    WriteNumber((*ints)->MakeWriteObj(5, ElementId, cls_Uid()), 55);
    (*ints)->EndFlush();
    auto const strings = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child(visitor, FieldOf(MapStringObjKind.m_Name));
      cow_String tag;
      return std::make_unique<AgentHolder<cls_AgentMapKey2Obj<cow_String>>>(
          child.Memento()->MakeAgentMapKey2Obj(&tag));
    });
    (*strings)->Clear();
    (*strings)->EndFlush();
  }
  Step();
  ExpectCollected((1 + 3 + 1) + 2 + 10);
  Read([](cls_ReadVisitor const& visitor) {
    auto const list = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    for (int const number : {1, 2, 33, 4, 5, 6}) EXPECT_EQ(NumberOf(list->Next()), number);
    auto const ints = Receive(visitor.Memento()->MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    EXPECT_EQ(ints->Count(), 9);
    int key = 0;
    ASSERT_TRUE(ints->Find(5));
    EXPECT_EQ(NumberOf(ints->Fetch(key)), 55);
  });
}

TEST_P(ContractCollecting, OpenCollectionsStayUntilTheyAreClosed) {
  COVERS(cls_AgentListPrim, 6);
  COVERS(cls_AgentListObj, 6);
  COVERS(cls_AgentBlob, 2);
  auto const write = [](cls_WriteVisitor const& visitor) { WriteContent(visitor, 0); };
  Write(write);
  auto list = Take([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child(visitor, FieldFor<int>("List"));
    int tag = 0;
    return std::make_unique<AgentHolder<cls_AgentListPrim<int>>>(child.Memento()->MakeAgentListPrim(&tag));
  });
  auto objects = Take([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child(visitor, FieldOf(ListObjKind.m_Name));
    return std::make_unique<AgentHolder<cls_AgentListObj>>(child.Memento()->MakeAgentListObj());
  });
  Received<cls_AgentBlob> blob;
  Read([&](cls_ReadVisitor const& visitor) {
    blob = Receive(Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Blob")))->MakeAgentBlob());
  });
  Store().RemoveRoot("root");
  constexpr int Open = 3 + 3; // including the elements
  EXPECT_EQ(Store().CollectGarbage(), 1 + ContentObjects - Open);
  int value = 0;
  EXPECT_EQ((*list)->ReadRun(2400, 1, &value), 1);
  EXPECT_EQ(value, SampleOf<int>(2400));
  EXPECT_EQ(NumberOf((*objects)->MakeReadObj(2)), 2);
  char byte = 0;
  EXPECT_EQ(blob->Read(39'999, 1, &byte), 1);
  list.reset();
  objects.reset();
  EXPECT_EQ(Store().CollectGarbage(), Open - 1);
  blob.reset();
  EXPECT_EQ(Store().CollectGarbage(), 1);
  EXPECT_EQ(Store().ObjectCount(), 0);
}

TEST_P(ContractCollecting, ACollectionThatIsRolledBackRestoresEverything) {
  COVERS(cls_MementoRead, 7, 26, 27, 28, 29, 30, 31, 57);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 5); });
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 6); }, "other");
  for (bool const isExplicit : {false, true}) {
    {
      sto_Transaction transaction(Store());
      EXPECT_TRUE(Store().RemoveRoot("root"));
      EXPECT_EQ(Store().CollectGarbage(), 1 + ContentObjects);
      EXPECT_EQ(Store().ObjectCount(), 1);
      if (isExplicit) transaction.Rollback();
    }
    EXPECT_EQ(Store().ObjectCount(), 2 + ContentObjects);
    Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 5); });
    ExpectCollected(0);
  }
  Reopen();
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 5); });
}

TEST_P(ContractCollecting, ACollectionInATransactionSeesWhatItWrote) {
  COVERS(cls_MementoWrite, 11);
  COVERS(cls_MementoRead, 13);
  {
    sto_Transaction transaction(Store());
    for (char const* const root : {"a", "b"})
      SaveFields(
          Store(), [](cls_WriteVisitor const& visitor) { WriteContent(visitor, 6); }, root);
    Store().RemoveRoot("a");
    EXPECT_EQ(Store().CollectGarbage(), 1 + ContentObjects);
    SaveFields(
        Store(), [](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 1); }, "a");
    transaction.Commit();
  }
  Reopen();
  EXPECT_EQ(Store().ObjectCount(), 2 + ContentObjects);
  ExpectNumber(1, "a");
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 6); }, "b");
}

TEST_P(ContractCollecting, AnObjectInMemoryCanBeSavedAgain) {
  COVERS(cls_MementoRead, 3, 7);
  auto const node = std::make_shared<Node>(1);
  node->m_Left = std::make_shared<Node>(2);
  Store().Save("node", *node);
  Store().RemoveRoot("node");
  EXPECT_EQ(Store().CollectGarbage(), 2);
  Store().Save("other", Node(3));
  Store().Save("node", *node);
  Reopen();
  EXPECT_EQ(Store().ObjectCount(), 3);
  EXPECT_EQ(Store().Load<Node>("other")->m_Value, 3);
  EXPECT_EQ(Store().Load<Node>("node")->m_Left->m_Value, 2);
}

TEST_P(ContractCollecting, RoomOfCollectedObjectsIsReused) {
  COVERS(cls_MementoWrite, 25, 53);
  auto const write = [this](int round) {
    Write([=](cls_WriteVisitor const& visitor) {
      WriteContent(visitor, round);
      cls_WriteVisitor const child(visitor, FieldOf("Any"), nullptr, nullptr);
      ASSERT_EQ(child.StartWrite(ElementId, cls_Uid()), 1);
      ListOf<double>(100'000)(child);
    });
  };
  write(0);
  std::int64_t const size = Store().SizeBytes();
  for (int round = 1; round < 4; ++round) {
    Store().RemoveRoot("root");
    EXPECT_EQ(Store().CollectGarbage(), 1 + ContentObjects + 2);
    Step();
    write(round);
    EXPECT_LE(Store().SizeBytes(), size + size / 5) << round;
  }
}

TEST_P(ContractCollecting, AnotherSessionNoLongerFindsCollectedObjects) {
  COVERS(cls_MementoRead, 13);
  for (char const* const root : {"kept", "removed"})
    Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); }, root);
  sto_Store second = SecondSession();
  EXPECT_EQ(second.ObjectCount(), 2);
  Store().RemoveRoot("removed");
  EXPECT_EQ(Store().CollectGarbage(), 1);
  EXPECT_EQ(second.ObjectCount(), 1);
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(second.Load<Scripted>("removed")); });
  static_cast<void>(LoadFields(
      second, [](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 4); },
      "kept"));
  EXPECT_EQ(second.CollectGarbage(), 0);
}

TEST_P(ContractCollecting, CollectingIsRefusedWhileReadingSavingAndLoading) {
  COVERS(cls_MementoRead, 13);
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); }, "kept");
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 5); }, "removed");
  Store().RemoveRoot("removed");
  auto const expectRefused = [this] {
    MessageOf(sto_ErrorKind::Misuse, [this] { static_cast<void>(Store().CollectGarbage()); });
  };
  {
    sto_ReadTransaction const transaction(Store());
    expectRefused();
  }
  Write([&](cls_WriteVisitor const&) { expectRefused(); }, "third");
  Read([&](cls_ReadVisitor const&) { expectRefused(); }, "kept");
  Reopen(sto_Mode::ReadOnly);
  MessageOf(sto_ErrorKind::ReadOnly, [this] { static_cast<void>(Store().CollectGarbage()); });
  EXPECT_EQ(Store().ObjectCount(), 3);
  Reopen();
  ExpectCollected(1);
  ExpectNumber(4, "kept");
}

} // namespace
