#include <array>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/visitors/cls_BlobReader.h"
#include "tests/contract/ContractTest.h"

// Absent data: fields read as their defaults, objects as empty ones, never as null pointers.

namespace {

CONTRACT_SUITE(ContractAbsent);

/// Expectations for every object without fields and collections.
void ExpectNothingIn(cls_MementoRead& memento) {
  ForScalarTypes([&]<class T>(std::type_identity<T>) {
    EXPECT_EQ(memento.FieldIsPresent(FieldFor<T>()), 0);
    EXPECT_EQ(memento.DataIsPresent(FieldFor<T>()), 0);
    EXPECT_TRUE(IsSameValue(memento.Read(FieldFor<T>(), SampleOf<T>(5)), SampleOf<T>(5)));
  });
  static_cast<void>(memento.ReadEnum(FieldOf("Enum"))); // the result is up to the back end
  std::array<char, 4> bytes{'a', 'b', 'c', 'd'};
  EXPECT_EQ(memento.ReadBytes(FieldOf("Bytes"), bytes.data(), 4), -1);
  EXPECT_EQ(std::string(bytes.data(), 4), "abcd");
}

void ExpectEmptyObject(cls_MementoRead& memento) {
  EXPECT_EQ(memento.ClassId(), 1U);
  EXPECT_EQ(memento.ClassVersion(), -1);
  ExpectNothingIn(memento);
}

TEST_P(ContractAbsent, FieldsTakeTheirDefaults) {
  COVERS(cls_MementoRead, 4, 5, 6, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) { ExpectNothingIn(*visitor.Memento()); });
}

TEST_P(ContractAbsent, AReferenceOfAnAbsentFieldIsFreshEachTime) {
  COVERS(cls_MementoRead, 20);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    cls_Uid const first = visitor.Memento()->ReadReference(FieldOf("Reference"));
    cls_Uid const second = visitor.Memento()->ReadReference(FieldOf("Reference"));
    EXPECT_NE(first.Entry(), second.Entry());
    EXPECT_NE(first.Entry(), visitor.Memento()->GetUid().Entry());
  });
}

TEST_P(ContractAbsent, AnAbsentObjectIsAnEmptyOne) {
  COVERS(cls_MementoRead, 3, 7, 22, 23);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    auto const child = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Object")));
    ExpectEmptyObject(*child);
    EXPECT_NE(child->GetUid().Entry(), visitor.Memento()->GetUid().Entry());
    EXPECT_EQ(child->GetUid().Entry(), child->GetUid().Entry());
    EXPECT_EQ(child->DbId(), visitor.Memento()->DbId());
  });
}

TEST_P(ContractAbsent, AnEmptyObjectHoldsEmptyObjectsAndPartsToAnyDepth) {
  COVERS(cls_MementoRead, 7, 8);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    auto memento = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Object")));
    for (int depth = 0; depth < 10; ++depth) {
      memento = Receive(depth % 2 == 0 ? memento->MakeFieldReadObj(FieldOf("Object")) : memento->Clone());
      ExpectEmptyObject(*memento);
    }
  });
}

TEST_P(ContractAbsent, ABasePartThatWasNotWrittenIsAnEmptyObject) {
  COVERS(cls_MementoRead, 8);
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 3); });
  Read([](cls_ReadVisitor const& visitor) {
    auto const part = Receive(visitor.Memento()->Clone());
    ExpectEmptyObject(*part);
  });
}

TEST_P(ContractAbsent, AListOfAnAbsentObjectIsEmpty) {
  COVERS(cls_MementoRead, 26, 27, 28, 29, 30, 31);
  COVERS(cls_ReadListPrim, 2, 3, 4, 5);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      auto const cursor = ListCursor<T>(*child.Memento());
      EXPECT_EQ(cursor->Count(), 0);
      EXPECT_EQ(cursor->More(), 0);
      T value{};
      EXPECT_EQ(cursor->NextRun(1, &value), 0);
    });
  });
}

TEST_P(ContractAbsent, AMapOfAnAbsentObjectIsEmpty) {
  COVERS(cls_MementoRead, 32, 33, 34, 35, 36, 43, 44, 45, 46, 47);
  COVERS(cls_ReadMapInt2Prim, 2, 3);
  COVERS(cls_ReadMapString2Prim, 2, 3);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    ForMapTypes([&]<class T>(std::type_identity<T>) {
      T tag{};
      cls_ReadVisitor const ints = ObjectIn(visitor, FieldFor<T>(MapIntKind.m_Name));
      auto const byInt = Receive(ints.Memento()->MakeReadMapInt2Prim(&tag));
      EXPECT_EQ(byInt->Count(), 0);
      EXPECT_EQ(byInt->More(), 0);
      cls_ReadVisitor const strings = ObjectIn(visitor, FieldFor<T>(MapStringKind.m_Name));
      auto const byString = Receive(strings.Memento()->MakeReadMapString2Prim(&tag));
      EXPECT_EQ(byString->Count(), 0);
      EXPECT_EQ(byString->More(), 0);
    });
  });
}

template <class Cursor> void ExpectNoEntry(Cursor* made) {
  auto const cursor = Receive(made);
  EXPECT_EQ(cursor->Count(), 0);
  EXPECT_EQ(cursor->More(), 0);
}

TEST_P(ContractAbsent, CollectionsOfObjectsOfAnAbsentFieldAreEmpty) {
  COVERS(cls_MementoRead, 24, 25, 37, 38, 39, 40, 41, 42);
  COVERS(cls_ReadListObj, 2, 3, 4);
  COVERS(cls_ReadMapInt2Obj, 2, 4, 6);
  COVERS(cls_ReadMapString2Obj, 2, 4);
  COVERS(cls_ReadIntTableInt, 1, 2);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    ExpectNoEntry(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    ExpectNoEntry(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    ExpectNoEntry(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
    ExpectNoEntry(memento.MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)));
    EXPECT_FALSE(Receive(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)))->Find(0));
    EXPECT_EQ(Receive(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)))->Position(), 0);
    auto const child = Receive(memento.MakeFieldReadObj(FieldOf("Object")));
    ExpectNoEntry(child->MakeReadListObj());
    ExpectNoEntry(child->MakeReadMapInt2Obj());
    ExpectNoEntry(child->MakeReadMapString2Obj());
    ExpectNoEntry(child->MakeReadIntTableInt());
  });
}

TEST_P(ContractAbsent, AnAbsentBlobIsAnEmptyOne) {
  COVERS(cls_MementoRead, 7, 57);
  COVERS(cls_AgentBlob, 1, 2);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    cls_Uid uid;
    cls_BlobReader const reader(visitor, FieldOf("Blob"), uid);
    EXPECT_EQ(reader.Agent().Size(), 0);
    char byte = 'x';
    EXPECT_EQ(reader.Agent().Read(0, 1, &byte), 0);
    EXPECT_EQ(byte, 'x');
  });
}

TEST_P(ContractAbsent, AgentsOfAbsentListsAreEmpty) {
  COVERS(cls_MementoRead, 51, 52, 53, 54, 55, 56);
  COVERS(cls_AgentListPrim, 1, 6);
  Write([](cls_WriteVisitor const&) {});
  ForListTypes([&]<class T>(std::type_identity<T>) {
    auto const agent = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      T tag{};
      return std::make_unique<AgentHolder<cls_AgentListPrim<T>>>(child.Memento()->MakeAgentListPrim(&tag));
    });
    T value{};
    EXPECT_EQ((*agent)->Count(), 0) << ContractTypeName<T>;
    EXPECT_EQ((*agent)->ReadRun(0, 1, &value), 0) << ContractTypeName<T>;
  });
}

TEST_P(ContractAbsent, AgentsOfAbsentObjectCollectionsAreEmpty) {
  COVERS(cls_MementoRead, 48, 49, 50);
  COVERS(cls_AgentListObj, 1, 6);
  COVERS(cls_AgentMapKey2Obj, 1, 6, 14, 15);
  Write([](cls_WriteVisitor const&) {});
  auto const list = Take([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
    return std::make_unique<AgentHolder<cls_AgentListObj>>(child.Memento()->MakeAgentListObj());
  });
  EXPECT_EQ((*list)->Count(), 0);
  EXPECT_EQ(NumberOf((*list)->MakeReadObj(0)), -1);
  auto const map = Take([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(MapIntObjKind.m_Name));
    int tag = 0;
    return std::make_unique<AgentHolder<cls_AgentMapKey2Obj<int>>>(
        child.Memento()->MakeAgentMapKey2Obj(&tag));
  });
  int key = 5;
  EXPECT_EQ((*map)->Count(), 0);
  EXPECT_FALSE((*map)->Contains(5));
  EXPECT_FALSE((*map)->FirstKey(key));
  EXPECT_EQ(NumberOf((*map)->MakeReadObj(5)), -1);
}

TEST_P(ContractAbsent, AVisitorOnAnAbsentObjectReadsDefaults) {
  COVERS(cls_MementoRead, 7, 9, 13);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf("Object"));
    EXPECT_EQ(child.Read(FieldFor<int>(), 17), 17);
    EXPECT_STREQ(child.Read(FieldOf("TrString"), atr_String("default")).Chars(), "default");
    EXPECT_EQ(visitor.DataIsPresent(FieldOf("Object")), 0);
    EXPECT_EQ(child.DataIsPresent(FieldOf("Second")), 0);
  });
}

TEST_P(ContractAbsent, AFieldThatTheNextSaveDoesNotWriteIsGone) {
  COVERS(cls_MementoRead, 4, 5, 7, 13);
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Write(FieldFor<int>(), 3);
    WriteNumber(
        visitor.Memento()->MakeFieldWriteObj(FieldOf("Object"), Scripted::TypeId(), cls_Uid(), nullptr), 2);
  });
  Rewrite([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    ExpectNothingIn(*visitor.Memento());
    EXPECT_EQ(visitor.DataIsPresent(FieldOf("Object")), 0);
    EXPECT_EQ(NumberOf(visitor.Memento()->MakeFieldReadObj(FieldOf("Object"))), -1);
  });
}

TEST_P(ContractAbsent, AnUnknownRootIsNotFound) {
  COVERS(cls_MementoRead, 0);
  ExpectNoRoot("nothing");
  Write([](cls_WriteVisitor const&) {});
  ExpectNoRoot("nothing");
}

TEST_P(ContractAbsent, AbsentObjectsNestDeeperThanStoredOnesCan) {
  COVERS(cls_MementoRead, 7);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    auto memento = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Object")));
    for (int depth = 0; depth < 3000; ++depth)
      memento = Receive(memento->MakeFieldReadObj(FieldOf("Object")));
    ExpectEmptyObject(*memento);
  });
}

/// Expectations for the collections of every absent object.
void ExpectNoCollections(cls_MementoRead& memento) {
  ForListTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    auto const list = ListCursor<T>(memento);
    EXPECT_EQ(list->Count(), 0);
    EXPECT_EQ(list->More(), 0);
    EXPECT_EQ(list->RowWidth(), 1);
    T tag{};
    AgentHolder<cls_AgentListPrim<T>> const agent(memento.MakeAgentListPrim(&tag));
    EXPECT_EQ(agent->Count(), 0);
    EXPECT_FALSE(agent->Changed());
    EXPECT_TRUE(agent->ReadOnly());
    T const value{};
    MessageOf(ContractError::ReadOnly, [&] { agent->WriteRun(0, 1, &value); });
    EXPECT_EQ(agent->Count(), 0);
  });
  ForMapTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    T tag{};
    ExpectNoEntry(memento.MakeReadMapInt2Prim(&tag));
    ExpectNoEntry(memento.MakeReadMapString2Prim(&tag));
  });
  ExpectNoEntry(memento.MakeReadListObj());
  ExpectNoEntry(memento.MakeReadMapInt2Obj());
  ExpectNoEntry(memento.MakeReadMapString2Obj());
  ExpectNoEntry(memento.MakeReadIntTableInt());
  ExpectNoEntry(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
  ExpectNoEntry(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
  ExpectNoEntry(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
  ExpectNoEntry(memento.MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)));
  memento.CheckCollectionType(COLLECTION_LIST_INT, FieldFor<int>("List").Name());
}

template <class K> void ExpectNoMap(cls_MementoRead& memento) {
  K key{};
  AgentHolder<cls_AgentMapKey2Obj<K>> const agent(memento.MakeAgentMapKey2Obj(&key));
  EXPECT_EQ(agent->Count(), 0);
  EXPECT_FALSE(agent->Contains(key));
  EXPECT_FALSE(agent->FirstKey(key));
  EXPECT_FALSE(agent->NextKey(key));
  EXPECT_FALSE(agent->LastKey(key));
  EXPECT_FALSE(agent->PreviousKey(key));
  EXPECT_FALSE(agent->Changed());
  EXPECT_TRUE(agent->ReadOnly());
  ExpectEmptyObject(*Receive(agent->MakeReadObj(key)));
  MessageOf(ContractError::ReadOnly,
            [&] { Receive(agent->MakeWriteObj(key, Scripted::TypeId(), cls_Uid())).reset(); });
  MessageOf(ContractError::ReadOnly, [&] { agent->Clear(); });
  MessageOf(ContractError::ReadOnly, [&] { agent->Remove(key); });
  EXPECT_EQ(agent->Count(), 0);
}

/// Expectations for its agents of objects and bytes.
void ExpectNoAgents(cls_MementoRead& memento) {
  AgentHolder<cls_AgentListObj> const list(memento.MakeAgentListObj());
  EXPECT_EQ(list->Count(), 0);
  EXPECT_FALSE(list->Changed());
  EXPECT_TRUE(list->ReadOnly());
  ExpectEmptyObject(*Receive(list->MakeReadObj(0)));
  MessageOf(ContractError::ReadOnly, [&] { list->SetCount(1); });
  MessageOf(ContractError::ReadOnly,
            [&] { Receive(list->MakeWriteObj(0, Scripted::TypeId(), cls_Uid())).reset(); });
  MessageOf(ContractError::ReadOnly, [&] { list->Remove(0); });
  ExpectNoMap<int>(memento);
  ExpectNoMap<cow_String>(memento);
  auto const blob = Receive(memento.MakeAgentBlob());
  char byte = 'x';
  EXPECT_EQ(blob->Size(), 0);
  EXPECT_EQ(blob->Read(0, 1, &byte), 0);
  EXPECT_FALSE(blob->Changed());
  EXPECT_TRUE(blob->ReadOnly());
  MessageOf(ContractError::ReadOnly, [&] { blob->Write(0, 1, &byte); });
  MessageOf(ContractError::ReadOnly, [&] { blob->Truncate(0); });
}

void ExpectNothingAtAll(cls_MementoRead& memento) {
  ExpectEmptyObject(memento);
  ExpectNoCollections(memento);
  ExpectNoAgents(memento);
  cls_Uid const uid = memento.GetUid();
  EXPECT_NE(memento.ReadReference(FieldOf("Reference")).Entry(), uid.Entry());
  EXPECT_FALSE(memento.DbId().IsEmpty());
}

#define COVERS_EVERY_OPERATION_ON_AN_ABSENT_OBJECT()                                                         \
  COVERS(cls_MementoRead, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23);   \
  COVERS(cls_MementoRead, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42);       \
  COVERS(cls_MementoRead, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58)

TEST_P(ContractAbsent, AbsentObjectFindsNothing) {
  COVERS_EVERY_OPERATION_ON_AN_ABSENT_OBJECT();
  COVERS(cls_AgentListPrim, 1, 3, 5, 10);
  COVERS(cls_AgentListObj, 1, 3, 5, 6, 7, 12, 14);
  COVERS(cls_AgentMapKey2Obj, 1, 3, 5, 6, 10, 11, 14, 15, 16, 17, 18, 19);
  COVERS(cls_AgentBlob, 1, 2, 3, 4, 5, 10);
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Write(FieldFor<int>(), 3);
    WriteCollectionOf(visitor, ListObjKind,
                      [](cls_MementoWrite& memento) { Receive(memento.MakeWriteListObj()).reset(); });
  });
  Read([](cls_ReadVisitor const& visitor) {
    ExpectNothingAtAll(*Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Object"))));
    auto const child = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Second")));
    ExpectNothingAtAll(*Receive(child->MakeFieldReadObj(FieldOf("Object"))));
  });
  ExpectObjects(2);
}

TEST_P(ContractAbsent, UnwrittenBasePartFindsNothing) {
  COVERS_EVERY_OPERATION_ON_AN_ABSENT_OBJECT();
  // The object has fields, and a list of its own.
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Write(FieldFor<int>(), 3);
    int const tag = 0;
    Receive(visitor.Memento()->MakeWriteListPrim(&tag, 1))->Append(5);
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const part = Receive(visitor.Memento()->Clone());
    ExpectNothingAtAll(*part);
    ExpectNothingAtAll(*Receive(part->Clone()));
    EXPECT_EQ(ListCursor<int>(*visitor.Memento())->Count(), 1);
  });
}

TEST_P(ContractAbsent, DanglingReferenceFindsNothing) {
  COVERS_EVERY_OPERATION_ON_AN_ABSENT_OBJECT();
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(FieldOf("Reference"), cls_Uid());
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_NE(visitor.FieldIsPresent(FieldOf("Reference")), 0);
    EXPECT_EQ(visitor.DataIsPresent(FieldOf("Reference")), 0);
    ExpectNothingAtAll(*Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Reference"))));
  });
}

TEST_P(ContractAbsent, MissingElementFindsNothing) {
  COVERS_EVERY_OPERATION_ON_AN_ABSENT_OBJECT();
  COVERS(cls_AgentListObj, 6);
  COVERS(cls_AgentMapKey2Obj, 6);
  COVERS(cls_ReadListObj, 6, 7);
  Write([](cls_WriteVisitor const& visitor) {
    WriteCollectionOf(visitor, ListObjKind, [](cls_MementoWrite& memento) {
      AgentHolder<cls_AgentListObj> const agent(memento.MakeAgentListObj(1));
      agent->SetCount(2);
    });
    WriteCollectionOf(visitor, MapIntObjKind, [](cls_MementoWrite& memento) {
      int const tag = 0;
      AgentHolder<cls_AgentMapKey2Obj<int>> const agent(memento.MakeAgentMapKey2Obj(&tag, 1));
      WriteNumber(agent->MakeWriteObj(4, Scripted::TypeId(), cls_Uid()), 4);
    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    ASSERT_EQ(cursor->Count(), 2);
    ExpectNothingAtAll(*Receive(cursor->At(1)));
    ExpectNothingAtAll(*Receive(cursor->Next()));
    cls_ReadVisitor const list = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
    AgentHolder<cls_AgentListObj> const agent(list.Memento()->MakeAgentListObj());
    for (int const index : {0, 1, 2, -1}) ExpectNothingAtAll(*Receive(agent->MakeReadObj(index)));
    cls_ReadVisitor const map = ObjectIn(visitor, FieldOf(MapIntObjKind.m_Name));
    int tag = 0;
    AgentHolder<cls_AgentMapKey2Obj<int>> const entries(map.Memento()->MakeAgentMapKey2Obj(&tag));
    ExpectNothingAtAll(*Receive(entries->MakeReadObj(5)));
  });
}

TEST_P(ContractAbsent, AgentsOfAbsentListsRefuseWritesAfterTheLoad) {
  COVERS(cls_MementoRead, 51, 52, 53, 54, 55, 56);
  COVERS(cls_AgentListPrim, 1, 5, 6, 10);
  Write([](cls_WriteVisitor const&) {});
  ForListTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    auto const agent = Take([](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      T tag{};
      return std::make_unique<AgentHolder<cls_AgentListPrim<T>>>(child.Memento()->MakeAgentListPrim(&tag));
    });
    auto const values = std::make_unique<T[]>(3000);
    MessageOf(ContractError::ReadOnly, [&] { (*agent)->WriteRun(0, 3000, values.get()); });
    EXPECT_EQ((*agent)->Count(), 0);
    EXPECT_EQ((*agent)->ReadRun(0, 1, values.get()), 0);
  });
  Step();
  ExpectObjects(1);
  Read([](cls_ReadVisitor const& visitor) { ExpectNothingIn(*visitor.Memento()); });
}

} // namespace
