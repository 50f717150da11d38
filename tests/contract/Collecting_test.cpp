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
#include "tests/contract/ContractGraph.h"

// Removing roots, and collecting the objects that are no longer reachable.

namespace {

class ContractCollecting : public ContractTest {
 protected:
  void SetUp() override { CONTRACT_NEEDS(m_CollectsGarbage); }
  /// Collects twice; the second time nothing is left to collect. Then starts the next step.
  void ExpectCollected(std::int64_t count) {
    std::int64_t const before = Session().ObjectCount();
    EXPECT_EQ(Session().CollectGarbage(), count);
    ExpectObjects(before - count);
    Step();
    EXPECT_EQ(Session().CollectGarbage(), 0);
    ExpectObjects(before - count);
  }
  /// Saves an object for each entry of EveryLed, under its number.
  void SaveEveryLed();
  void ExpectNumber(int number, std::string_view root) {
    Read([=](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), number); }, root);
  }
};
CONTRACT_FIXTURE(ContractCollecting);

/// One kind of thing that an object can hold, and its number of objects.
struct Led {
  char const* m_Name;
  std::int64_t m_Objects;
  Scripted::WriteFields m_Write;
};

template <class T> Scripted::WriteFields ListOf(int count) {
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
  InTransaction(Session(), [this] {
    int number = 0;
    for (Led const& led : EveryLed()) Save(Session(), Scripted(led.m_Write), std::to_string(number++));
  });
}

TEST_P(ContractCollecting, ReachableObjectsStay) {
  COVERS(cls_MementoWrite, 3, 18, 20, 21, 33, 34, 35, 36, 37, 38, 53);
  COVERS(cls_MementoRead, 7, 20, 37, 38, 39, 40, 41, 42, 57);
  EXPECT_EQ(Session().CollectGarbage(), 0);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 1); });
  ExpectObjects(1 + ContentObjects);
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
  ExpectObjects(count);
  ExpectCollected(0);
  InTransaction(Session(), [&] {
    int number = 0;
    for (Led const& led : EveryLed()) {
      SCOPED_TRACE(led.m_Name);
      EXPECT_TRUE(Session().RemoveRoot(std::to_string(number++)));
      ExpectObjects(count, "removing is not collecting");
      EXPECT_EQ(Session().CollectGarbage(), 1 + led.m_Objects);
      count -= 1 + led.m_Objects;
    }
  });
  ReopenIfPossible();
  ExpectObjects(1 + ContentObjects);
  EXPECT_EQ(Session().Roots(), std::vector<std::string>{"kept"});
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 2); }, "kept");
  EXPECT_TRUE(Session().RemoveRoot("kept"));
  ExpectCollected(1 + ContentObjects);
  ExpectObjects(0);
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
  InTransaction(Session(), [this] {
    int number = 0;
    for (Led const& led : EveryLed()) {
      SCOPED_TRACE(led.m_Name);
      std::string const root = std::to_string(number++);
      Scripted object([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); });
      Read([&](cls_ReadVisitor const& visitor) { object.m_Uid = visitor.GetUid(); }, root);
      Save(Session(), object, root);
      EXPECT_EQ(Session().CollectGarbage(), led.m_Objects);
    }
  });
  Step();
  ExpectCollected(0);
  ExpectObjects(static_cast<std::int64_t>(EveryLed().size()));
  ExpectNumber(4, "3");
}

TEST_P(ContractCollecting, BasePartsAndWhatTheyHoldAreKeptOrCollectedWithTheirObject) {
  COVERS(cls_MementoWrite, 3, 5);
  COVERS(cls_MementoRead, 7, 8);
  struct HoldsNode : Middle {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(Middle::TypeId(), m_MiddleUid)) return;
      Bottom::DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
      GraphNode::WriteIn(visitor, FieldOf("Node"), &m_Node);
    }
    GraphNode m_Node{77};
  };
  struct Derived : Top {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (visitor.StartWrite(Top::TypeId(), m_TopUid))
        m_Base.DBWrite(cls_WriteVisitor(visitor, Middle::TypeId()));
    }
    HoldsNode m_Base;
  };
  Write(Holding(Derived()), "kept");
  Write(Holding(Derived()), "removed");
  Session().RemoveRoot("removed");
  Step();
  ExpectCollected(3);
  Read(
      [](cls_ReadVisitor const& visitor) {
        cls_ReadVisitor const middle = BaseOf(ObjectIn(visitor, FieldOf("Object")));
        EXPECT_EQ(GraphNode::ValueOf(ObjectIn(middle, FieldOf("Node"))), 77);
      },
      "kept");
}

TEST_P(ContractCollecting, ASharedObjectStaysWhileARootReachesIt) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 3, 7);
  {
    auto const shared = std::make_shared<GraphNode>(7);
    shared->m_Left = std::make_shared<GraphNode>(8);
    InTransaction(Session(), [&] {
      for (char const* const root : {"a", "b", "c"}) {
        auto const holder = std::make_shared<GraphNode>(1);
        holder->m_Left = holder->m_Right = shared;
        Save(Session(), Scripted(HoldingNode(holder)), root);
      }
    });
  }
  ExpectObjects(3 + 5);
  for (char const* const root : {"b", "a"}) {
    Session().RemoveRoot(root);
    ExpectCollected(2);
    Read(
        [](cls_ReadVisitor const& visitor) {
          std::shared_ptr<GraphNode> const holder = LoadedGraph().Node(visitor, FieldOf("Object"));
          ASSERT_NE(holder, nullptr);
          EXPECT_EQ(holder->m_Left, holder->m_Right);
          ASSERT_NE(holder->m_Left, nullptr);
          ASSERT_NE(holder->m_Left->m_Left, nullptr);
          EXPECT_EQ(holder->m_Left->m_Left->m_Value, 8);
        },
        "c");
  }
  Session().RemoveRoot("c");
  ExpectCollected(4);
}

TEST_P(ContractCollecting, CyclesAreCollected) {
  COVERS(cls_MementoWrite, 3, 35);
  COVERS(cls_MementoRead, 7, 39);
  {
    auto const one = std::make_shared<GraphNode>(1);
    one->m_Left = std::make_shared<GraphNode>(2);
    one->m_Left->m_Back = one;
    one->m_Right = std::make_shared<GraphNode>(3);
    one->m_Right->m_Back = one->m_Right;
    Save(Session(), Scripted(HoldingNode(one)), "one");
    Save(Session(), Scripted(HoldingNode(one->m_Left)), "two");
  }
  // A list with an element that holds the list.
  Scripted object;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    auto const list =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    EXPECT_EQ(list->MakeWriteObj(ElementId, object.m_Uid), nullptr);
  };
  Save(Session(), object, "ring");
  Step();
  Session().RemoveRoot("one");
  ExpectCollected(1);
  Read(
      [](cls_ReadVisitor const& visitor) {
        EXPECT_EQ(GraphNode::ValueOf(ObjectIn(visitor, FieldOf("Object"))), 2);
      },
      "two");
  Session().RemoveRoot("two");
  ExpectCollected(1 + 3);
  Read(
      [](cls_ReadVisitor const& visitor) {
        auto const list = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
        EXPECT_EQ(Receive(list->Next())->GetUid().Entry(), visitor.GetUid().Entry());
      },
      "ring");
  Session().RemoveRoot("ring");
  ExpectCollected(2);
}

TEST_P(ContractCollecting, AReferenceKeepsWhatItNames) {
  COVERS(cls_MementoWrite, 18);
  COVERS(cls_MementoRead, 5, 7, 20);
  {
    auto const node = std::make_shared<GraphNode>(1);
    node->m_Left = std::make_shared<GraphNode>(2);
    Save(Session(), Scripted(HoldingNode(node)), "node");
    Save(Session(), Scripted([&](cls_WriteVisitor const& visitor) {
           visitor.Memento()->WriteReference(FieldOf("Reference"), node->m_Uid);
         }),
         "reference");
    Session().RemoveRoot("node");
  }
  Step();
  ExpectCollected(1);
  Read(
      [](cls_ReadVisitor const& visitor) {
        EXPECT_NE(visitor.DataIsPresent(FieldOf("Reference")), 0);
        cls_ReadVisitor const node = ObjectIn(visitor, FieldOf("Reference"));
        EXPECT_EQ(GraphNode::ValueOf(ObjectIn(node, FieldOf("Left"))), 2);
      },
      "reference");
  Session().RemoveRoot("reference");
  ExpectCollected(3);
}

TEST_P(ContractCollecting, AChainOfAnyLengthIsFollowed) {
  COVERS(cls_MementoWrite, 18);
  COVERS(cls_MementoRead, 20);
  constexpr int Length = 10'000;
  InTransaction(Session(), [this] {
    cls_Uid last;
    for (int i = 0; i < Length; ++i) {
      Scripted const object([&](cls_WriteVisitor const& visitor) {
        if (i > 0) visitor.Memento()->WriteReference(FieldOf("Reference"), last);
      });
      Save(Session(), object, "last");
      last = object.m_Uid;
    }
  });
  Step();
  ExpectCollected(0);
  Read([](cls_ReadVisitor const& visitor) { EXPECT_NE(visitor.DataIsPresent(FieldOf("Reference")), 0); },
       "last");
  Session().RemoveRoot("last");
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
    Save(Session(), Scripted(write(1)), "all");
    Save(Session(), Scripted(write(2)), "every second");
    Session().RemoveRoot("all");
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
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
      return std::make_unique<AgentHolder<cls_AgentListObj>>(child.Memento()->MakeAgentListObj());
    });
    (*list)->Remove(0);
    (*list)->SetCount(6);
    WriteNumber((*list)->MakeWriteObj(2, ElementId, cls_Uid()), 33);
    (*list)->EndFlush();
    auto const ints = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(MapIntObjKind.m_Name));
      int tag = 0;
      return std::make_unique<AgentHolder<cls_AgentMapKey2Obj<int>>>(
          child.Memento()->MakeAgentMapKey2Obj(&tag));
    });
    (*ints)->Remove(4);
    WriteNumber((*ints)->MakeWriteObj(5, ElementId, cls_Uid()), 55);
    (*ints)->EndFlush();
    auto const strings = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(MapStringObjKind.m_Name));
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
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>("List"));
    int tag = 0;
    return std::make_unique<AgentHolder<cls_AgentListPrim<int>>>(child.Memento()->MakeAgentListPrim(&tag));
  });
  auto objects = Take([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
    return std::make_unique<AgentHolder<cls_AgentListObj>>(child.Memento()->MakeAgentListObj());
  });
  Received<cls_AgentBlob> blob;
  Read([&](cls_ReadVisitor const& visitor) {
    blob = Receive(Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Blob")))->MakeAgentBlob());
  });
  Session().RemoveRoot("root");
  constexpr int Open = 3 + 3; // including the elements
  EXPECT_EQ(Session().CollectGarbage(), 1 + ContentObjects - Open);
  int value = 0;
  EXPECT_EQ((*list)->ReadRun(2400, 1, &value), 1);
  EXPECT_EQ(value, SampleOf<int>(2400));
  EXPECT_EQ(NumberOf((*objects)->MakeReadObj(2)), 2);
  char byte = 0;
  EXPECT_EQ(blob->Read(39'999, 1, &byte), 1);
  list.reset();
  objects.reset();
  EXPECT_EQ(Session().CollectGarbage(), Open - 1);
  blob.reset();
  EXPECT_EQ(Session().CollectGarbage(), 1);
  ExpectObjects(0);
}

TEST_P(ContractCollecting, ACollectionThatIsRolledBackRestoresEverything) {
  COVERS(cls_MementoRead, 7, 26, 27, 28, 29, 30, 31, 57);
  CONTRACT_NEEDS(m_HasTransactions);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 5); });
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 6); }, "other");
  Session().Begin();
  EXPECT_TRUE(Session().RemoveRoot("root"));
  EXPECT_EQ(Session().CollectGarbage(), 1 + ContentObjects);
  ExpectObjects(1);
  Session().Rollback();
  ExpectObjects(2 + ContentObjects);
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 5); });
  ExpectCollected(0);
  ReopenIfPossible();
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 5); });
}

TEST_P(ContractCollecting, ACollectionInATransactionSeesWhatItWrote) {
  COVERS(cls_MementoWrite, 11);
  COVERS(cls_MementoRead, 13);
  CONTRACT_NEEDS(m_HasTransactions);
  InTransaction(Session(), [this] {
    for (char const* const root : {"a", "b"})
      Save(Session(), Scripted([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 6); }), root);
    Session().RemoveRoot("a");
    EXPECT_EQ(Session().CollectGarbage(), 1 + ContentObjects);
    Save(Session(), Scripted([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 1); }),
         "a");
  });
  ReopenIfPossible();
  ExpectObjects(2 + ContentObjects);
  ExpectNumber(1, "a");
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 6); }, "b");
}

TEST_P(ContractCollecting, AnObjectInMemoryCanBeSavedAgain) {
  COVERS(cls_MementoRead, 3, 7);
  auto const node = std::make_shared<GraphNode>(1);
  node->m_Left = std::make_shared<GraphNode>(2);
  Scripted const object(HoldingNode(node));
  Save(Session(), object, "node");
  Session().RemoveRoot("node");
  EXPECT_EQ(Session().CollectGarbage(), 3);
  Save(Session(), Scripted(HoldingNode(std::make_shared<GraphNode>(3))), "other");
  Save(Session(), object, "node");
  ReopenIfPossible();
  ExpectObjects(2 + 3);
  auto const valueIn = [this](std::string_view root, bool isLeft) {
    return Take(
        [=](cls_ReadVisitor const& visitor) {
          cls_ReadVisitor const held = ObjectIn(visitor, FieldOf("Object"));
          return isLeft ? GraphNode::ValueOf(ObjectIn(held, FieldOf("Left"))) : GraphNode::ValueOf(held);
        },
        root);
  };
  EXPECT_EQ(valueIn("other", false), 3);
  EXPECT_EQ(valueIn("node", true), 2);
}

TEST_P(ContractCollecting, RoomOfCollectedObjectsIsReused) {
  COVERS(cls_MementoWrite, 25, 53);
  CONTRACT_NEEDS(m_ReusesRoom);
  auto const write = [this](int round) {
    Write([=](cls_WriteVisitor const& visitor) {
      WriteContent(visitor, round);
      cls_WriteVisitor const child(visitor, FieldOf("Any"), nullptr, nullptr);
      ASSERT_EQ(child.StartWrite(ElementId, cls_Uid()), 1);
      ListOf<double>(100'000)(child);
    });
  };
  write(0);
  std::int64_t const size = Session().SizeBytes();
  for (int round = 1; round < 4; ++round) {
    Session().RemoveRoot("root");
    EXPECT_EQ(Session().CollectGarbage(), 1 + ContentObjects + 2);
    Step();
    write(round);
    EXPECT_LE(Session().SizeBytes(), size + size / 5) << round;
  }
}

TEST_P(ContractCollecting, AnotherSessionNoLongerFindsCollectedObjects) {
  COVERS(cls_MementoRead, 13);
  CONTRACT_NEEDS(m_SharesChanges);
  for (char const* const root : {"kept", "removed"})
    Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); }, root);
  auto const second = SecondSession();
  EXPECT_EQ(second->ObjectCount(), 2);
  Session().RemoveRoot("removed");
  EXPECT_EQ(Session().CollectGarbage(), 1);
  EXPECT_EQ(second->ObjectCount(), 1);
  ExpectNoRoot(*second, "removed");
  Load(
      *second, [](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 4); },
      "kept");
  EXPECT_EQ(second->CollectGarbage(), 0);
}

TEST_P(ContractCollecting, CollectingIsRefusedWhileSavingAndLoading) {
  COVERS(cls_MementoRead, 13);
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); }, "kept");
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 5); }, "removed");
  Session().RemoveRoot("removed");
  auto const expectRefused = [this] {
    MessageOf(ContractError::Misuse, [this] { static_cast<void>(Session().CollectGarbage()); });
  };
  Write([&](cls_WriteVisitor const&) { expectRefused(); }, "third");
  Read([&](cls_ReadVisitor const&) { expectRefused(); }, "kept");
  if (Can().m_ReadsOnly) {
    Reopen(ContractMode::ReadOnly);
    MessageOf(ContractError::ReadOnly, [this] { static_cast<void>(Session().CollectGarbage()); });
    ExpectObjects(3);
    Reopen();
  }
  ExpectCollected(1);
  ExpectNumber(4, "kept");
}

} // namespace
