// The back end of docs/back-end.md: its program, content of every kind, agents, failed saves, and what a read
// of something absent gives.

#include <gtest/gtest.h>

#include <string>

#include "persist/adapters/cls_TypeAdapter.h"
#include "tests/contract/ContractContent.h"
#include "tests/support/InitialisedModule.h"

#include <blocks/docs/back-end/what-is-stored-1>

#include <blocks/docs/back-end/the-storage-and-the-save-1>

#include <blocks/docs/back-end/builders-and-cursors-1>

#include <blocks/docs/back-end/agents-1>

#include <blocks/docs/back-end/the-writing-memento-1>

#include <blocks/docs/back-end/the-reading-memento-1>

#include <blocks/docs/back-end/saving-and-loading-1>

#include <blocks/docs/back-end/using-it-1>

namespace {

class BackEnd : public ::testing::Test {
 protected:
  using Written = Scripted::WriteFields;

  void Save(Written write, std::string const& name = "root") {
    Scripted object(std::move(write));
    object.m_Uid = m_Uid;
    m_Storage.Save(name, object);
  }
  void Load(Scripted::ReadFields read, std::string const& name = "root") {
    Scripted::s_Read = std::move(read);
    EXPECT_EQ(m_Storage.Load<Scripted>(name)->m_Uid.Entry(), m_Uid.Entry());
    Scripted::s_Read = nullptr;
  }
  /// The text of what an act raises.
  template <class Act> static std::string RaisedBy(Act act) {
    try {
      act();
    } catch (nex_Exception& exception) {
      return exception.AsString().Chars();
    }
    return "nothing was raised";
  }

  InitialisedModule m_Module;
  MemoryStorage m_Storage{ContractClasses()};
  cls_Uid m_Uid;
};

/// An object of an int.
void WriteElement(cls_MementoWrite* memento, int number) {
  cls_Received<cls_MementoWrite>(memento)->Write(FieldFor<int>(), number);
}
int ElementOf(cls_MementoRead* memento) {
  return cls_Received<cls_MementoRead>(memento)->Read(FieldFor<int>(), -1);
}

} // namespace

TEST_F(BackEnd, ProgramOfThePageLoadsWhatItHasSaved) {
  cls_ClassRegistrar classes;
  classes.AddClassMD(new cls_TypeAdapter<Truss>("Truss"_cow, 1, 1));
#include <blocks/docs/back-end/using-it-2>
  EXPECT_EQ(loaded->m_Name, "bridge"_cow);
  EXPECT_EQ(loaded->m_Areas.ConstGet(0), 120.5);
  EXPECT_EQ(loaded->m_Forces.Size(), 5000);
  EXPECT_EQ(loaded->m_Forces.ConstGet(2500), 1250);
  EXPECT_EQ(loaded->m_Forces.ConstGet(4999), -1);
  storage.Save("truss", truss); // the array is tied to its list already
  std::unique_ptr<Truss> const again = storage.Load<Truss>("truss");
  EXPECT_EQ(again->m_Forces.ConstGet(4999), -1);
  for (Truss const* const each : {&truss, &*loaded, &*again}) each->m_Forces.Release();
}

TEST_F(BackEnd, ContentOfEveryKindComesBack) {
  for (int const seed : {1, 2}) { // the second save replaces the first
    Save([&](cls_WriteVisitor const& visitor) { WriteContent(visitor, seed); });
    Load([&](cls_ReadVisitor const& visitor) { ExpectContent(visitor, seed); });
  }
}

TEST_F(BackEnd, PartsOfAnObjectDoNotSeeEachOther) {
  Save([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    WriteElement(memento.MakeBaseWriteObj(0x700099, cls_Uid()), 2);
    memento.Write(FieldFor<int>(), 1);
  });
  Load([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 1);
    cls_ReadVisitor const base(visitor);
    EXPECT_EQ(base.Memento()->ClassId(), 0x700099U);
    EXPECT_EQ(base.Read(FieldFor<int>(), -1), 2);
    EXPECT_EQ(cls_ReadVisitor(base).Memento()->ClassId(), 1U);
  });
}

TEST_F(BackEnd, WhatIsNotThereIsEmpty) {
  Save([](cls_WriteVisitor const& visitor) {
    visitor.Write(FieldFor<int>(), 3);
    visitor.Memento()->WriteReference(FieldOf("Reference"), cls_Uid());
  });
  Load([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(FieldFor<double>(), 1.5), 1.5);
    EXPECT_EQ(visitor.DataIsPresent(FieldOf("Reference")), 0);
    for (cls_FieldHandle const& field : {FieldOf("Absent"), FieldOf("Reference")}) {
      cls_ReadVisitor const object(visitor, field);
      cls_MementoRead& memento = *object.Memento();
      EXPECT_EQ(memento.ClassId(), 1U);
      EXPECT_EQ(memento.ClassVersion(), -1);
      int tag = 0;
      EXPECT_EQ(cls_Received<cls_ReadListPrim<int>>(memento.MakeReadListPrim(&tag))->RowWidth(), 1);
      EXPECT_EQ(cls_Received<cls_ReadMapInt2Obj>(memento.MakeReadMapInt2Obj())->More(), 0);
      cls_Received<cls_AgentBlob> const blob(memento.MakeAgentBlob());
      EXPECT_EQ(blob->Size(), 0);
      EXPECT_TRUE(blob->ReadOnly());
      EXPECT_EQ(RaisedBy([&] { blob->Truncate(0); }), "A blob that is not stored cannot be written.");
    }
    EXPECT_NE(RaisedBy([&] { static_cast<void>(visitor.Read(FieldFor<int>(), 1.5)); }).find("m_Int"),
              std::string::npos);
  });
}

TEST_F(BackEnd, AFailedSaveLeavesWhatWasThere) {
  Save([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 1); });
  EXPECT_EQ(RaisedBy([&] {
              Save([](cls_WriteVisitor const& visitor) {
                WriteContent(visitor, 2);
                Raise("no more room");
              });
            }),
            "no more room");
  Load([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 1); });
}

TEST_F(BackEnd, AMismatchedCollectionIsRefusedByItsName) {
  Save([](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, ListKind, [](cls_MementoWrite& memento) {
      int const tag = 0;
      cls_Received<cls_WriteListPrim<int>>(memento.MakeWriteListPrim(&tag, 1))->Append(1);
    });
  });
  Load([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    memento.CheckCollectionType(COLLECTION_LIST_INT, "m_ListInt"_cow);
    EXPECT_EQ(RaisedBy([&] { memento.CheckCollectionType(COLLECTION_LIST_BOOL, "m_ListInt"_cow); }),
              "Attribute m_ListInt is stored as collection type 54 and cannot be read as 51.");
    cls_ReadVisitor const list(visitor, FieldFor<int>("List"));
    double tag = 0;
    EXPECT_NE(RaisedBy([&] { list.Memento()->MakeReadListPrim(&tag); }).find("no collection"),
              std::string::npos);
  });
}

TEST_F(BackEnd, ObjectAgentsWriteReadAndRemove) {
  Save([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    cls_Received<cls_MementoWrite> const object(
        memento.MakeFieldWriteObj(FieldOf(ListObjKind.m_Name), ListObjKind.m_ClassId, cls_Uid(), nullptr));
    AgentHolder<cls_AgentListObj> const list(object->MakeAgentListObj(4));
    for (int i = 0; i < 3; ++i) WriteElement(list->MakeWriteObj(i, Scripted::TypeId(), cls_Uid()), i);
    cls_Received<cls_MementoWrite> const other(memento.MakeFieldWriteObj(
        FieldOf(MapIntObjKind.m_Name), MapIntObjKind.m_ClassId, cls_Uid(), nullptr));
    int const tag = 0;
    AgentHolder<cls_AgentMapKey2Obj<int>> const map(other->MakeAgentMapKey2Obj(&tag, 1));
    for (int const key : {30, 10, 20})
      WriteElement(map->MakeWriteObj(key, Scripted::TypeId(), cls_Uid()), key);
  });
  Load([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const object(visitor, FieldOf(ListObjKind.m_Name));
    AgentHolder<cls_AgentListObj> const list(object.Memento()->MakeAgentListObj());
    EXPECT_EQ(list->SizeHint(), 4);
    list->Remove(1);
    EXPECT_EQ(list->Count(), 2);
    EXPECT_EQ(ElementOf(list->MakeReadObj(1)), 2);
    EXPECT_EQ(ElementOf(list->MakeReadObj(2)), -1);
    cls_ReadVisitor const other(visitor, FieldOf(MapIntObjKind.m_Name));
    int key = 0;
    AgentHolder<cls_AgentMapKey2Obj<int>> const map(other.Memento()->MakeAgentMapKey2Obj(&key));
    ASSERT_TRUE(map->FirstKey(key));
    EXPECT_EQ(key, 10);
    ASSERT_TRUE(map->NextKey(key));
    EXPECT_EQ(key, 20);
    EXPECT_TRUE(map->Remove(20));
    ASSERT_TRUE(map->LastKey(key));
    EXPECT_EQ(key, 30);
    ASSERT_TRUE(map->PreviousKey(key));
    EXPECT_EQ(key, 10);
    EXPECT_FALSE(map->PreviousKey(key));
    EXPECT_EQ(key, 10);
    EXPECT_EQ(ElementOf(map->MakeReadObj(30)), 30);
    EXPECT_EQ(ElementOf(map->MakeReadObj(20)), -1);
  });
}

TEST_F(BackEnd, AStorageThatEndsDetachesItsArrays) {
  cls_ClassRegistrar classes;
  Truss truss;
  truss.m_Forces.Append(7);
  {
    MemoryStorage storage(classes);
    storage.Save("truss", truss);
    EXPECT_TRUE(truss.m_Forces.IsAssociated());
  }
  EXPECT_FALSE(truss.m_Forces.IsAssociated());
  EXPECT_EQ(truss.m_Forces.ConstGet(0), 7);
  truss.m_Forces.DropBlocks();
}

TEST_F(BackEnd, AnArrayThatWasAssignedToIsForgottenBeforeItIsDestroyed) {
  cls_ClassRegistrar classes;
  Truss kept;
  kept.m_Forces.Append(7);
  MemoryStorage storage(classes);
  storage.Save("truss", kept);
  {
    cls_ArrayPrimDouble const copy(kept.m_Forces);
    cls_ArrayPrimDouble assigned(kept.m_Forces);
    EXPECT_EQ(storage.Holders()->Count(), 3);
    cls_HolderSlot const* slot = nullptr;
    storage.Holders()->ForEach([&](cls_PC const& holder, cls_HolderSlot const& each) {
      if (&holder == &assigned) slot = &each;
    });
    ASSERT_NE(slot, nullptr);
    assigned = cls_ArrayPrimDouble();
    EXPECT_TRUE(slot->IsFree()); // it does not point at the array any more
    EXPECT_EQ(storage.Holders()->Count(), 2);
  }
  EXPECT_EQ(storage.Holders()->Count(), 1);
  std::unique_ptr<Truss> const loaded = storage.Load<Truss>("truss"); // flushes what is registered
  EXPECT_EQ(loaded->m_Forces.ConstGet(0), 7);
  for (Truss const* const each : {&kept, &*loaded}) each->m_Forces.Release();
}
