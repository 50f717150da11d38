#include <set>

#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractGraph.h"

// Objects reached several times, cycles, and the brackets around shared pointers.

namespace {

class ContractShared : public ContractTest {
 protected:
  /// The node that a root holds, built with all that it leads to.
  std::shared_ptr<GraphNode> NodeOf(LoadedGraph& graph, std::string_view root = "root") {
    std::shared_ptr<GraphNode> node;
    Read([&](cls_ReadVisitor const& visitor) { node = graph.Node(visitor, FieldOf("Object")); }, root);
    if (node == nullptr) throw std::runtime_error("the root holds no node");
    return node;
  }
};
CONTRACT_FIXTURE(ContractShared);

using Nodes = std::vector<std::shared_ptr<GraphNode>>;

/// A complete binary tree of `count` nodes; each also refers back to its parent.
Nodes MakeTree(int count) {
  Nodes nodes;
  for (int i = 0; i < count; ++i) nodes.push_back(std::make_shared<GraphNode>(i));
  for (std::size_t i = 1; i < nodes.size(); ++i) {
    GraphNode& above = *nodes[(i - 1) / 2];
    (i % 2 == 1 ? above.m_Left : above.m_Right) = nodes[i];
    nodes[i]->m_Back = nodes[(i - 1) / 2];
  }
  return nodes;
}

TEST_P(ContractShared, TenThousandObjectsThatPointBackAreWrittenOnceAndLoadAsOneObjectEach) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 3, 5, 7);
  constexpr int Count = 10'000;
  Nodes const tree = MakeTree(Count);
  Write(HoldingNode(tree.front()));
  ExpectObjects(1 + Count);
  LoadedGraph graph;
  std::shared_ptr<GraphNode> const root = NodeOf(graph);
  std::vector<GraphNode*> level{root.get()};
  std::set<GraphNode*> seen;
  for (std::size_t i = 0; i < level.size(); ++i) {
    GraphNode* const node = level[i];
    ASSERT_EQ(node->m_Value, static_cast<int>(i));
    ASSERT_TRUE(seen.insert(node).second);
    for (auto const& child : {node->m_Left, node->m_Right}) {
      if (!child) continue;
      ASSERT_EQ(child->m_Back.lock().get(), node);
      level.push_back(child.get());
    }
  }
  EXPECT_EQ(level.size(), static_cast<std::size_t>(Count));
}

TEST_P(ContractShared, TenThousandFieldsThatHoldOneObjectHoldTheSame) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 3, 7);
  constexpr int Count = 10'000;
  auto const shared = std::make_shared<GraphNode>(-5);
  auto const nodes = MakeTree(Count);
  for (auto const& node : nodes) node->m_Back = shared;
  nodes.front()->m_Back.reset();
  auto const top = std::make_shared<GraphNode>(7);
  top->m_Left = shared; // loaded first, and held
  top->m_Right = nodes.front();
  Write(HoldingNode(top));
  ReopenIfPossible();
  ExpectObjects(1 + Count + 2);
  LoadedGraph graph;
  std::shared_ptr<GraphNode> const loaded = NodeOf(graph);
  GraphNode const* const held = loaded->m_Left.get();
  ASSERT_NE(held, nullptr);
  EXPECT_EQ(held->m_Value, -5);
  int count = 0;
  ASSERT_NE(loaded->m_Right, nullptr);
  std::vector<GraphNode const*> open{loaded->m_Right->m_Left.get(), loaded->m_Right->m_Right.get()};
  while (!open.empty()) {
    GraphNode const* const node = open.back();
    open.pop_back();
    if (node == nullptr) continue;
    ASSERT_EQ(node->m_Back.lock().get(), held);
    ASSERT_LT(++count, Count);
    open.push_back(node->m_Left.get());
    open.push_back(node->m_Right.get());
  }
  EXPECT_EQ(count, Count - 1);
}

TEST_P(ContractShared, AnObjectThatHoldsItselfComesBackHoldingItself) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 3, 7);
  {
    auto const node = std::make_shared<GraphNode>(5);
    node->m_Back = node;
    Write(HoldingNode(node));
  }
  ExpectObjects(2);
  LoadedGraph graph;
  std::shared_ptr<GraphNode> const node = NodeOf(graph);
  EXPECT_EQ(node->m_Back.lock().get(), node.get());
  EXPECT_EQ(node->m_Value, 5);
}

TEST_P(ContractShared, ARingOfObjectsComesBackAsARing) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 3, 7);
  constexpr int Count = 300;
  {
    Nodes ring;
    for (int i = 0; i < Count; ++i) ring.push_back(std::make_shared<GraphNode>(i));
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) ring[i]->m_Right = ring[i + 1];
    ring.back()->m_Back = ring.front();
    Write(HoldingNode(ring.front()));
  }
  ExpectObjects(1 + Count);
  LoadedGraph graph;
  std::shared_ptr<GraphNode> const first = NodeOf(graph);
  GraphNode const* node = first.get();
  for (int i = 1; i < Count; ++i) {
    node = node->m_Right.get();
    ASSERT_NE(node, nullptr) << i;
  }
  EXPECT_EQ(node->m_Value, Count - 1);
  EXPECT_EQ(node->m_Back.lock().get(), first.get());
}

TEST_P(ContractShared, ACycleOfMementosIsReadAsOftenAsItIsFollowed) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 3, 7);
  {
    Scripted object;
    object.m_Write = [&](cls_WriteVisitor const& visitor) {
      visitor.Write(FieldFor<int>(), 1);
      cls_WriteVisitor const child(visitor, FieldOf("Object"), nullptr, nullptr);
      ASSERT_EQ(child.StartWrite(Scripted::TypeId(), cls_Uid()), 1);
      child.Write(FieldFor<int>(), 2);
      cls_WriteVisitor const back(child, FieldOf("Object"), nullptr, nullptr);
      EXPECT_EQ(back.StartWrite(Scripted::TypeId(), object.m_Uid), 0);
    };
    Save(Session(), object);
  }
  Step();
  Read([](cls_ReadVisitor const& visitor) {
    auto memento = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Object")));
    for (int i = 0; i < 50; ++i) {
      EXPECT_EQ(memento->Read(FieldFor<int>(), -1), i % 2 == 0 ? 2 : 1);
      EXPECT_EQ(memento->GetUid().Entry() == visitor.Memento()->GetUid().Entry(), i % 2 == 1);
      memento = Receive(memento->MakeFieldReadObj(FieldOf("Object")));
    }
  });
}

TEST_P(ContractShared, TwoRootsShareAnObject) {
  COVERS(cls_MementoRead, 3, 7);
  auto const shared = std::make_shared<GraphNode>(3);
  InTransaction(Session(), [&] {
    int value = 1;
    for (char const* const name : {"first", "second"}) {
      auto const node = std::make_shared<GraphNode>(value++);
      node->m_Left = shared;
      Save(Session(), Scripted(HoldingNode(node)), name);
    }
  });
  Step();
  ExpectObjects(2 + 3);
  LoadedGraph one;
  LoadedGraph two;
  std::shared_ptr<GraphNode> const first = NodeOf(one, "first");
  std::shared_ptr<GraphNode> const second = NodeOf(two, "second");
  ASSERT_NE(first->m_Left, nullptr);
  ASSERT_NE(second->m_Left, nullptr);
  EXPECT_EQ(first->m_Left->m_Value, 3);
  EXPECT_EQ(first->m_Left->m_Uid.Entry(), second->m_Left->m_Uid.Entry());
}

TEST_P(ContractShared, ABracketAroundASharedObjectChangesNothingOfIt) {
  COVERS(cls_MementoWrite, 56, 57);
  Write([](cls_WriteVisitor const& visitor) {
    cls_Uid const shared;
    for (char const* const name : {"Object", "Second"}) {
      cls_WriteVisitor child(visitor, FieldOf(name), nullptr, nullptr);
      child.SetSharedPtrOutput(true);
      bool const isFirst = name == std::string_view("Object");
      ASSERT_EQ(child.StartWrite(Scripted::TypeId(), shared), isFirst ? 1 : 0);
      if (isFirst) child.Write(FieldFor<int>(), 8);
    }
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const first = ObjectIn(visitor, FieldOf("Object"));
    cls_ReadVisitor const second = ObjectIn(visitor, FieldOf("Second"));
    EXPECT_EQ(first.Read(FieldFor<int>(), -1), 8);
    EXPECT_EQ(second.Read(FieldFor<int>(), -1), 8);
    EXPECT_EQ(first.GetUid().Entry(), second.GetUid().Entry());
  });
}

TEST_P(ContractShared, BracketsNest) {
  COVERS(cls_MementoWrite, 56, 57);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    memento.StartSharedPtrOutput();
    auto const child =
        Receive(memento.MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), cls_Uid(), nullptr));
    child->StartSharedPtrOutput();
    child->Write(FieldFor<int>(), 4);
    child->EndSharedPtrOutput();
    memento.Write(FieldFor<int>(), 5);
    memento.EndSharedPtrOutput();
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 5);
    EXPECT_EQ(NumberOf(visitor.Memento()->MakeFieldReadObj(FieldOf("Object"))), 4);
  });
}

TEST_P(ContractShared, TenThousandObjectsAreSharedByAListAndTwoMaps) {
  COVERS(cls_WriteListObj, 2);
  COVERS(cls_WriteMapInt2Obj, 2);
  COVERS(cls_WriteMapString2Obj, 2);
  COVERS(cls_ReadListObj, 6);
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  constexpr int Count = 10'000;
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    auto const list = Receive(memento.MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    auto const ints = Receive(memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()));
    auto const strings =
        Receive(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()));
    std::vector<cls_Uid> const uids(Count);
    unsigned int const id = Scripted::TypeId();
    for (int i = 0; i < Count; ++i) WriteNumber(list->MakeWriteObj(id, uids[static_cast<std::size_t>(i)]), i);
    for (int i = 0; i < Count; ++i) {
      cls_Uid const& uid = uids[static_cast<std::size_t>(Count - 1 - i)];
      ASSERT_EQ(ints->MakeWriteObj(i, id, uid), nullptr);
      ASSERT_EQ(strings->MakeWriteObj(cow_String(std::to_string(i)), id, uid), nullptr);
    }
  });
  ExpectObjects(1 + 3 + Count);
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    auto const list = Receive(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    auto const ints = Receive(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    auto const strings = Receive(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
    for (int i = 0; i < Count; ++i) {
      int number = 0;
      cow_String text;
      ints->Next();
      strings->Next();
      auto const inList = Receive(list->At(Count - 1 - i));
      auto const byInt = Receive(ints->Fetch(number));
      auto const byString = Receive(strings->Fetch(text));
      ASSERT_EQ(byInt->Read(FieldFor<int>(), -1), Count - 1 - i);
      cls_Uid const uid = inList->GetUid();
      ASSERT_EQ(byInt->GetUid().Entry(), uid.Entry());
      ASSERT_EQ(byString->GetUid().Entry(), uid.Entry());
    }
  });
}

TEST_P(ContractShared, BracketsAroundElementsChangeNothingOfThem) {
  COVERS(cls_MementoWrite, 56, 57);
  COVERS(cls_WriteRequestListObj, 2);
  Write([](cls_WriteVisitor const& visitor) {
    auto const list =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    cls_Uid const shared;
    for (int i = 0; i < 3; ++i) {
      cls_WriteRequestListObj const request(list.get());
      cls_WriteVisitor element(request, &shared);
      element.SetSharedPtrOutput(true);
      ASSERT_EQ(element.StartWrite(Scripted::TypeId(), shared), i == 0 ? 1 : 0);
      if (i == 0) element.Write(FieldFor<int>(), 6);
    }
  });
  ExpectObjects(3);
  Read([](cls_ReadVisitor const& visitor) {
    auto const list = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    ASSERT_EQ(list->Count(), 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(NumberOf(list->At(i)), 6);
  });
}

TEST_P(ContractShared, ABracketThatAFailureLeavesOpenDisturbsNoLaterSave) {
  COVERS(cls_MementoWrite, 56, 57);
  EXPECT_THROW(Write([](cls_WriteVisitor const& visitor) {
                 visitor.Memento()->StartSharedPtrOutput();
                 throw std::runtime_error("within the bracket");
               }),
               std::runtime_error);
  ExpectObjects(0);
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 5); });
  Read([](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 5); });
}

} // namespace
