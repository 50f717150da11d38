#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_AgentProxy.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractContent.h"
#include "tests/contract/ContractExtremes.h"
#include "tests/contract/ContractGraph.h"

// Branches copied from one storage to another by proxies of their objects.

namespace {

using Proxy = ContractSession::Proxy;

class ContractCopies : public ContractTest {
 protected:
  void SetUp() override { CONTRACT_NEEDS(m_MakesProxies); }
  /// Saves an object that holds a copy of a proxy's object.
  static void CopyTo(ContractSession& target, Proxy const& proxy, cls_FieldHandle const& field,
                     std::string_view root = "copy") {
    Save(target, Scripted([&](cls_WriteVisitor const& visitor) {
           EXPECT_TRUE(visitor.Memento()->CopyBranch(proxy.Ptr(), field));
           EXPECT_NE(visitor.FieldIsPresent(field), 0);
         }),
         root);
  }
  /// Calls `read` on the copy.
  static void ReadCopy(ContractSession& target, cls_FieldHandle const& field,
                       Scripted::ReadFields const& read, std::string_view root = "copy") {
    Load(
        target, [&](cls_ReadVisitor const& visitor) { read(ObjectIn(visitor, field)); }, root);
  }
  /// The proxy of the object in a field of the root.
  Proxy ProxyOf(cls_FieldHandle const& field) {
    return Take(
        [&](cls_ReadVisitor const& visitor) { return Session().MakeProxy(ObjectIn(visitor, field)); });
  }
};
CONTRACT_FIXTURE(ContractCopies);

cls_FieldHandle const& Here() {
  static cls_FieldHandle const field = FieldOf("Object");
  return field;
}

TEST_P(ContractCopies, ContentOfEveryKindIsCopied) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_AgentProxy, 0, 1);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 3); });
  auto const expectCopy = [](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 3); };
  auto target = OtherStorage();
  // A back end that numbers objects and names gives the copies other numbers.
  Save(*target, Scripted([](cls_WriteVisitor const& visitor) { visitor.Write(FieldOf("Absent"), 1); }));
  CopyTo(*target, Session().MakeProxy("root"), Here());
  ExpectObjects(*target, 1 + 1 + (1 + ContentObjects));
  ReadCopy(*target, Here(), expectCopy);
  if (Can().m_Reopens) {
    target.reset();
    target = OtherStorage("other", ContractMode::ReadWrite);
    ReadCopy(*target, Here(), expectCopy);
  }
  if (Can().m_CollectsGarbage) {
    target->RemoveRoot("root");
    EXPECT_EQ(target->CollectGarbage(), 1) << "all of the copy is held";
    ReadCopy(*target, Here(), expectCopy);
  }
  ExpectObjects(1 + ContentObjects);
  Read(expectCopy);
}

TEST_P(ContractCopies, ScalarsAreCopiedBitByBit) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_MementoRead, 6, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18);
  auto const forValues = [](std::size_t i, auto act) {
    ForScalarTypes([&]<class T>(std::type_identity<T>) {
      std::deque<T> const values = Extremes<T>();
      if (i < values.size()) act(values[i]);
    });
  };
  InTransaction(Session(), [&] {
    for (std::size_t i = 0; i < MostExtremes; ++i)
      Save(Session(), Scripted([&](cls_WriteVisitor const& visitor) {
             forValues(i, [&]<class T>(T const& value) { visitor.Memento()->Write(FieldFor<T>(), value); });
           }),
           std::to_string(i));
  });
  Step();
  auto const target = OtherStorage();
  InTransaction(*target, [&] {
    for (std::size_t i = 0; i < MostExtremes; ++i)
      CopyTo(*target, Session().MakeProxy(std::to_string(i)), Here(), std::to_string(i));
  });
  for (std::size_t i = 0; i < MostExtremes; ++i)
    ReadCopy(
        *target, Here(),
        [&](cls_ReadVisitor const& visitor) {
          forValues(i, [&]<class T>(T const& value) {
            EXPECT_TRUE(IsSameValue(visitor.Memento()->Read(FieldFor<T>(), SampleOf<T>(77)), value))
                << ContractTypeName<T> << " " << i;
          });
        },
        std::to_string(i));
}

TEST_P(ContractCopies, SharedObjectsAndCyclesStayWhatTheyAre) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_MementoRead, 3, 7);
  {
    auto const root = std::make_shared<GraphNode>(1);
    root->m_Left = root->m_Right = std::make_shared<GraphNode>(2);
    root->m_Left->m_Back = root;
    root->m_Left->m_Right = std::make_shared<GraphNode>(3);
    root->m_Left->m_Right->m_Back = root->m_Left->m_Right;
    Write(HoldingNode(root));
  }
  auto const target = OtherStorage();
  CopyTo(*target, ProxyOf(Here()), Here());
  ExpectObjects(*target, 1 + 3);
  ReadCopy(*target, Here(), [](cls_ReadVisitor const& visitor) {
    LoadedGraph graph;
    auto const copy = graph.Node(visitor);
    EXPECT_EQ(copy->m_Value, 1);
    ASSERT_NE(copy->m_Left, nullptr);
    EXPECT_EQ(copy->m_Left, copy->m_Right);
    EXPECT_EQ(copy->m_Left->m_Back.lock(), copy);
    ASSERT_NE(copy->m_Left->m_Right, nullptr);
    EXPECT_EQ(copy->m_Left->m_Right->m_Back.lock(), copy->m_Left->m_Right);
  });
}

TEST_P(ContractCopies, BasePartsAreCopied) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_MementoRead, 8, 22, 23);
  {
    Top top;
    top.m_BottomValue = 1;
    top.m_MiddleValue = "two"_cow;
    top.m_TopValue = 3.5;
    Write(Holding(top));
  }
  auto const target = OtherStorage();
  CopyTo(*target, ProxyOf(Here()), Here());
  ReadCopy(*target, Here(), [](cls_ReadVisitor const& visitor) {
    Top const top(visitor);
    EXPECT_EQ(top.m_BottomValue, 1);
    EXPECT_EQ(top.m_MiddleValue, "two"_cow);
    EXPECT_EQ(top.m_TopValue, 3.5);
    EXPECT_EQ(visitor.Memento()->ClassId(), Top::TypeId());
    EXPECT_EQ(Receive(visitor.Memento()->Clone())->ClassVersion(), 7);
  });
}

TEST_P(ContractCopies, CollectionsThatAgentsWroteAreCopied) {
  COVERS(cls_MementoWrite, 44, 45, 46, 47, 48, 49, 50, 51, 52, 55);
  COVERS(cls_AgentListPrim, 5);
  COVERS(cls_AgentListObj, 7);
  COVERS(cls_AgentMapKey2Obj, 11);
  static constexpr int Count = 5000;
  Write([&](cls_WriteVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      WriteCollectionOf<T>(visitor, ListKind, [&](cls_MementoWrite& memento) {
        T const tag{};
        auto agent = std::make_unique<AgentHolder<cls_AgentListPrim<T>>>(memento.MakeAgentListPrim(&tag, 1));
        auto const values = std::make_unique<T[]>(Count);
        for (int i = 0; i < Count; ++i) values[static_cast<std::size_t>(i)] = SampleOf<T>(i);
        (*agent)->WriteRun(0, Count, values.get());
        m_Kept.push_back(std::move(agent));
      });
    });
    WriteCollectionOf(visitor, ListObjKind, [&](cls_MementoWrite& memento) {
      auto agent = std::make_unique<AgentHolder<cls_AgentListObj>>(memento.MakeAgentListObj(1));
      (*agent)->SetCount(4); // two of them empty
      for (int const i : {0, 2}) WriteNumber((*agent)->MakeWriteObj(i, Scripted::TypeId(), cls_Uid()), i);
      m_Kept.push_back(std::move(agent));
    });
    auto const writeMap = [&]<class K>(K const& key, ContractKind const& kind) {
      WriteCollectionOf(visitor, kind, [&](cls_MementoWrite& memento) {
        auto agent =
            std::make_unique<AgentHolder<cls_AgentMapKey2Obj<K>>>(memento.MakeAgentMapKey2Obj(&key, 1));
        WriteNumber((*agent)->MakeWriteObj(key, Scripted::TypeId(), cls_Uid()), 8);
        m_Kept.push_back(std::move(agent));
      });
    };
    writeMap(-5, MapIntObjKind);
    writeMap("key"_cow, MapStringObjKind);
  });
  auto const target = OtherStorage();
  CopyTo(*target, Session().MakeProxy("root"), Here());
  if (Can().m_CountsObjects) ExpectObjects(*target, 1 + Session().ObjectCount());
  ReadCopy(*target, Here(), [](cls_ReadVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      T tag{};
      auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
      ASSERT_EQ(cursor->Count(), Count);
      for (int i = 0; i < Count; ++i) ASSERT_TRUE(IsSameValue(cursor->Next(), SampleOf<T>(i))) << i;
    });
    cls_MementoRead& memento = *visitor.Memento();
    auto const list = Receive(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    ASSERT_EQ(list->Count(), 4);
    for (int const number : {0, -1, 2, -1}) EXPECT_EQ(NumberOf(list->Next()), number);
    auto const ints = Receive(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    auto const strings = Receive(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
    int number = 0;
    cow_String text;
    ints->Next();
    strings->Next();
    EXPECT_EQ(NumberOf(ints->Fetch(number)), 8);
    EXPECT_EQ(NumberOf(strings->Fetch(text)), 8);
    EXPECT_EQ(number, -5);
    EXPECT_EQ(text, "key"_cow);
  });
}

TEST_P(ContractCopies, ACollectionIsCopiedIntoAFieldOfItsKind) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_MementoRead, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 43, 44, 45, 46, 47);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 4); });
  std::vector<std::string> names{"SecondListInt", "TableDouble", "IntTable", "Blob"};
  ForListTypes([&]<class T>(std::type_identity<T>) {
    names.push_back(std::string(ListKind.m_Name) + ContractTypeName<T>);
  });
  ForMapTypes([&]<class T>(std::type_identity<T>) {
    for (ContractKind const& kind : {MapIntKind, MapStringKind})
      names.push_back(std::string(kind.m_Name) + ContractTypeName<T>);
  });
  auto const target = OtherStorage();
  {
    std::vector<Proxy> proxies;
    for (std::string const& name : names) {
      proxies.push_back(ProxyOf(FieldOf(name)));
      ASSERT_NE(proxies.back().Ptr(), nullptr) << name;
    }
    // The test writes these objects itself; collections without objects and the blob are copied.
    Save(*target, Scripted([&](cls_WriteVisitor const& visitor) {
      WriteContent(visitor, 4);
      for (std::size_t i = 0; i < names.size(); ++i)
        EXPECT_TRUE(visitor.Memento()->CopyBranch(proxies[i].Ptr(), FieldOf(names[i]))) << names[i];
    }));
  }
  auto const count = static_cast<std::int64_t>(names.size());
  ExpectObjects(*target, 1 + ContentObjects + count);
  if (Can().m_CollectsGarbage) {
    EXPECT_EQ(target->CollectGarbage(), count) << "what was in the fields before";
  }
  Load(*target, [](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 4); });
  if (!Can().m_ChecksDeclarations) return;
  for (std::string const& name : names) {
    Proxy const proxy = ProxyOf(FieldOf(name));
    if (name == "Blob") continue; // accepted in a field declared as a single value
    MessageOf(ContractError::Misuse, [&] { CopyTo(*target, proxy, FieldOf("Second"), "refused"); });
  }
  ExpectNoRoot(*target, "refused");
}

TEST_P(ContractCopies, ABranchIsCopiedIntoTheElementOfACollection) {
  COVERS(cls_MementoWrite, 35, 55);
  COVERS(cls_WriteListObj, 2);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 2); });
  auto const target = OtherStorage();
  Proxy const proxy = Session().MakeProxy("root");
  Save(*target, Scripted([&](cls_WriteVisitor const& visitor) {
    auto const list =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    for (int i = 0; i < 2; ++i) {
      auto const element = Receive(list->MakeWriteObj(Scripted::TypeId(), cls_Uid()));
      EXPECT_TRUE(element->CopyBranch(proxy.Ptr(), Here()));
      element->Write(FieldFor<int>(), i);
    }
  }));
  ExpectObjects(*target, 1 + 1 + 2 + 2 * (1 + ContentObjects), "each copy is a new object");
  Load(*target, [](cls_ReadVisitor const& visitor) {
    auto const list = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    for (int i = 0; i < 2; ++i) {
      cls_ReadVisitor const element(Receive(list->Next()).release());
      EXPECT_EQ(element.Read(FieldFor<int>(), -1), i);
      ExpectContent(ObjectIn(element, Here()), 2);
    }
  });
}

TEST_P(ContractCopies, AnObjectIsCopiedWithinItsStorage) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_MementoRead, 3);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 1); });
  CopyTo(Session(), Session().MakeProxy("root"), Here());
  Step();
  ExpectObjects(1 + 2 * (1 + ContentObjects));
  cls_Uid original;
  Read([&](cls_ReadVisitor const& visitor) { original = visitor.GetUid(); });
  ReadCopy(Session(), Here(), [&](cls_ReadVisitor const& visitor) {
    EXPECT_NE(visitor.GetUid().Entry(), original.Entry());
    ExpectContent(visitor, 1);
  });
}

TEST_P(ContractCopies, ACopyOfASaveThatFailsLeavesNothing) {
  COVERS(cls_MementoWrite, 55);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 1); });
  auto const target = OtherStorage();
  Proxy const proxy = Session().MakeProxy("root");
  Scripted const object([&](cls_WriteVisitor const& visitor) {
    EXPECT_TRUE(visitor.Memento()->CopyBranch(proxy.Ptr(), Here()));
    throw std::runtime_error("after the copy");
  });
  EXPECT_THROW(Save(*target, object), std::runtime_error);
  ExpectObjects(*target, 0);
  ExpectNoRoot(*target, "root");
  if (!Can().m_HasTransactions) return;
  target->Begin();
  CopyTo(*target, proxy, Here());
  ExpectObjects(*target, 2 + ContentObjects);
  target->Rollback();
  ExpectObjects(*target, 0);
  ExpectNoRoot(*target, "copy");
}

TEST_P(ContractCopies, AProxyOfAnEndedSessionIsRefused) {
  COVERS(cls_MementoWrite, 55);
  CONTRACT_NEEDS(m_Reopens);
  COVERS(cls_AgentProxy, 0, 1);
  Write([](cls_WriteVisitor const&) {});
  auto const target = OtherStorage();
  Proxy const proxy = Session().MakeProxy("root");
  Reopen();
  MessageOf(ContractError::Unavailable, [&] { CopyTo(*target, proxy, Here()); });
  ExpectObjects(*target, 0);
  CopyTo(*target, Session().MakeProxy("root"), Here());
  ExpectObjects(*target, 2);
}

TEST_P(ContractCopies, AnAbsentObjectHasNoProxyAndNoneIsNotCopied) {
  COVERS(cls_MementoRead, 7);
  COVERS(cls_MementoWrite, 55);
  Write([](cls_WriteVisitor const& visitor) {
    EXPECT_FALSE(visitor.Memento()->CopyBranch(nullptr, Here()));
    EXPECT_EQ(visitor.FieldIsPresent(Here()), 0);
  });
  EXPECT_EQ(ProxyOf(Here()).Ptr(), nullptr);
  ExpectObjects(1);
}

} // namespace
