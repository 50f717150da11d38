// The back end in memory: a class with an array, content of every kind, agents, failed saves, and reads of what is
// absent.

#include <gtest/gtest.h>

#include <string>

#include "collections/cls_ArrayPrim.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "tests/contract/ContractContent.h"
#include "tests/contract/memory/MemorySave.h"
#include "tests/support/InitialisedModule.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

class Truss {
 public:
  Truss() = default;
  explicit Truss(cls_ReadVisitor const& visitor)
      : m_Name(visitor.Read(cls_FieldHandle(0, "m_Name"_cow), cow_String())),
        m_Areas(cls_ReadVisitor(visitor, cls_FieldHandle(1, "m_Areas"_cow)), nullptr),
        m_Forces(cls_ReadVisitor(visitor, cls_FieldHandle(2, "m_Forces"_cow))), m_Uid(visitor.GetUid()) {}

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Name"_cow), m_Name);
    m_Areas.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(1, "m_Areas"_cow), nullptr, &m_Areas));
    m_Forces.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(2, "m_Forces"_cow), nullptr, &m_Forces));
  }
  static constexpr unsigned int TypeId() noexcept { return 0x400031; }

  cow_String m_Name;
  cls_xp1DArrayListDouble m_Areas; // square millimetres
  cls_ArrayPrimDouble m_Forces;    // newtons, tied to its stored list once it is saved

 private:
  cls_Uid m_Uid;
};

class MemoryStorageTest : public ::testing::Test {
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

TEST_F(MemoryStorageTest, ALoadFindsWhatWasSaved) {
  cls_ClassRegistrar classes;
  classes.AddClassMD(new cls_TypeAdapter<Truss>("Truss"_cow, 1, 1));
  MemoryStorage storage(classes);
  Truss truss;
  truss.m_Name = "bridge"_cow;
  truss.m_Areas.Append(120.5);
  for (int i = 0; i < 5000; ++i) truss.m_Forces.Append(i * 0.5);
  storage.Save("truss", truss);

  truss.m_Forces.Get(4999) = -1; // goes to the stored list
  std::unique_ptr<Truss> const loaded = storage.Load<Truss>("truss");
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

TEST_F(MemoryStorageTest, ContentOfEveryKindComesBack) {
  for (int const seed : {1, 2}) { // the second save replaces the first
    Save([&](cls_WriteVisitor const& visitor) { WriteContent(visitor, seed); });
    Load([&](cls_ReadVisitor const& visitor) { ExpectContent(visitor, seed); });
  }
}

TEST_F(MemoryStorageTest, PartsOfAnObjectDoNotSeeEachOther) {
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

TEST_F(MemoryStorageTest, WhatIsNotThereIsEmpty) {
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

TEST_F(MemoryStorageTest, AFailedSaveLeavesWhatWasThere) {
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

TEST_F(MemoryStorageTest, AMismatchedCollectionIsRefusedByItsName) {
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
    EXPECT_NE(RaisedBy([&] { list.Memento()->MakeReadListPrim(&tag); }).find("not a collection"),
              std::string::npos);
  });
}

TEST_F(MemoryStorageTest, ObjectAgentsWriteReadAndRemove) {
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

TEST_F(MemoryStorageTest, AStorageThatEndsDetachesItsArrays) {
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

TEST_F(MemoryStorageTest, AnArrayThatWasAssignedToIsForgottenBeforeItIsDestroyed) {
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
