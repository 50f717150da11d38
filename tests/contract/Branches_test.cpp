#include "persist/backend/cls_AgentProxy.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractTest.h"

// Branches copied by proxies, and the check of declared collections.

namespace {

CONTRACT_SUITE(ContractBranches);

/// A proxy for an object with a number and a child.
struct BranchProxy : cls_AgentProxy {
  bool Transfer(cls_StorageTypeId const& storage, cls_MementoWrite* writer,
                cls_FieldHandle const& field) override {
    m_StorageId = storage.Id();
    auto const object = Receive(writer->MakeFieldWriteObj(field, Scripted::TypeId(), cls_Uid(), nullptr));
    object->Write(FieldFor<int>(), 5);
    WriteNumber(object->MakeFieldWriteObj(FieldOf("Second"), Scripted::TypeId(), cls_Uid(), nullptr), 6);
    return true;
  }
  int m_StorageId = 0;
};

TEST_P(ContractBranches, AProxyThatCannotTransferCopiesNothing) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_AgentProxy, 0, 1);
  Write([](cls_WriteVisitor const& visitor) {
    cow_CountedHld<cls_AgentProxy> const proxy(new cls_AgentProxy());
    EXPECT_FALSE(proxy.Ptr()->Transfer(cls_StorageTypeId(1), visitor.Memento(), FieldOf("Object")));
    EXPECT_FALSE(visitor.Memento()->CopyBranch(proxy.Ptr(), FieldOf("Object")));
    EXPECT_EQ(visitor.FieldIsPresent(FieldOf("Object")), 0);
    visitor.Write(FieldFor<int>(), 1);
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.DataIsPresent(FieldOf("Object")), 0);
    EXPECT_EQ(visitor.Read(FieldFor<int>(), -1), 1);
  });
  ExpectObjects(1);
}

TEST_P(ContractBranches, AProxyThatTransfersItselfPutsItsBranchIntoTheField) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_AgentProxy, 1);
  CONTRACT_NEEDS(m_AsksProxies);
  Write([&](cls_WriteVisitor const& visitor) {
    BranchProxy proxy;
    EXPECT_TRUE(visitor.Memento()->CopyBranch(&proxy, FieldOf("Object")));
    EXPECT_NE(proxy.m_StorageId, 0);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const object = ObjectIn(visitor, FieldOf("Object"));
    EXPECT_EQ(object.Read(FieldFor<int>(), -1), 5);
    EXPECT_EQ(ObjectIn(object, FieldOf("Second")).Read(FieldFor<int>(), -1), 6);
  });
  ExpectObjects(3);
}

TEST_P(ContractBranches, WhatAFailingTransferRaisesReachesTheCallerOfTheSave) {
  COVERS(cls_MementoWrite, 55);
  CONTRACT_NEEDS(m_AsksProxies);
  struct FailingProxy : cls_AgentProxy {
    bool Transfer(cls_StorageTypeId const&, cls_MementoWrite*, cls_FieldHandle const&) override {
      throw std::runtime_error("broken proxy");
    }
  };
  EXPECT_THROW(Write([](cls_WriteVisitor const& visitor) {
                 FailingProxy proxy;
                 static_cast<void>(visitor.Memento()->CopyBranch(&proxy, FieldOf("Object")));
               }),
               std::runtime_error);
  ExpectObjects(0);
  ExpectNoRoot();
}

using Build = void (*)(cls_MementoWrite& collection);

template <class T> void BuildList(cls_MementoWrite& collection) {
  T const tag{};
  Receive(collection.MakeWriteListPrim(&tag, 1))->Append(T());
}
template <class T> void BuildMap(cls_MementoWrite& collection) {
  T const tag{};
  Receive(collection.MakeWriteMapString2Prim(&tag))->Insert("key"_cow, T());
}
void BuildListObj(cls_MementoWrite& collection) {
  WriteNumber(Receive(collection.MakeWriteListObj())->MakeWriteObj(Scripted::TypeId(), cls_Uid()), 1);
}
void BuildMapInt(cls_MementoWrite& collection) {
  WriteNumber(Receive(collection.MakeWriteMapInt2Obj())->MakeWriteObj(1, Scripted::TypeId(), cls_Uid()), 1);
}
void BuildMapString(cls_MementoWrite& collection) {
  WriteNumber(
      Receive(collection.MakeWriteMapString2Obj())->MakeWriteObj("key"_cow, Scripted::TypeId(), cls_Uid()),
      1);
}

struct Declared {
  ContractKind const& m_Kind;
  char const* m_Name;
  int m_Code;
  Build m_Build;
};

/// Declared collections, each with a code that is accepted for it.
std::vector<Declared> AcceptedLists() {
  return {{ListKind, "TableDouble", COLLECTION_TABLE_DOUBLE, BuildList<double>},
          {ListKind, "ListBool", COLLECTION_LIST_BOOL, BuildList<bool>},
          {ListKind, "ListUInt", COLLECTION_LIST_UINT, BuildList<unsigned int>}};
}
std::vector<Declared> AcceptedMapsAndObjects() {
  return {{ListObjKind, "ListObj", ListObjKind.m_Generic, BuildListObj},
          {MapStringKind, "MapStringUInt", COLLECTION_MAP_STRING_UINT, BuildMap<unsigned int>},
          {MapStringKind, "MapStringFloat", COLLECTION_MAP_STRING_FLOAT, BuildMap<float>},
          {MapIntObjKind, "MapIntObj", COLLECTION_MAP_INT_OBJ, BuildMapInt},
          {MapIntObjKind, "MapIntObj", 100, BuildMapInt},
          {MapIntObjKind, "MapIntObj", 106, BuildMapInt},
          {MapStringObjKind, "MapStringObj", COLLECTION_MAP_STRING_OBJ, BuildMapString},
          {MapStringObjKind, "MapStringObj", COLLECTION_OBJ, BuildMapString},
          {MapStringObjKind, "MapStringObj", 90, BuildMapString},
          {MapStringObjKind, "MapStringObj", 96, BuildMapString}};
}

void WriteDeclared(cls_WriteVisitor const& visitor, Declared const& item) {
  cls_WriteVisitor const child(visitor, FieldOf(item.m_Name), nullptr, nullptr);
  ASSERT_EQ(child.StartWrite(item.m_Kind.m_ClassId, cls_Uid()), 1);
  child.CheckCollectionType(static_cast<cls_CollectionType>(item.m_Code));
  item.m_Build(*child.Memento());
}

TEST_P(ContractBranches, AListOfTheDeclaredTypeIsAccepted) {
  COVERS(cls_MementoWrite, 54);
  for (Declared const& item : AcceptedLists())
    Write([&](cls_WriteVisitor const& visitor) { WriteDeclared(visitor, item); });
}

TEST_P(ContractBranches, AcceptedMapsAndObjectCollectionsAreWritten) {
  COVERS(cls_MementoWrite, 54);
  for (Declared const& item : AcceptedMapsAndObjects())
    Write([&](cls_WriteVisitor const& visitor) { WriteDeclared(visitor, item); });
}

TEST_P(ContractBranches, TheCheckComparesWithTheDeclarationBeforeAnythingIsWritten) {
  COVERS(cls_MementoWrite, 54);
  Write([&](cls_WriteVisitor const& visitor) {
    for (Declared const& item : AcceptedLists())
      visitor.Memento()->CheckCollectionType(static_cast<cls_CollectionType>(item.m_Code),
                                             FieldOf(item.m_Name).Name());
  });
}

TEST_P(ContractBranches, AStoredCollectionIsAcceptedAsItsOwnType) {
  COVERS(cls_MementoRead, 58);
  Write([](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, ListKind, [](cls_MementoWrite& memento) {
      int const tag = 0;
      Receive(memento.MakeWriteListPrim(&tag, 1))->Append(1);
    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    visitor.Memento()->CheckCollectionType(COLLECTION_LIST_INT, FieldFor<int>("List").Name());
  });
}

TEST_P(ContractBranches, AMismatchOnWritingFailsTheSaveAndNamesTheAttribute) {
  COVERS(cls_MementoWrite, 54);
  CONTRACT_NEEDS(m_ChecksDeclarations);
  struct Mismatch {
    Declared m_Item;
    char const* m_Named; // the code as in source code
  };
  std::vector<Mismatch> const mismatches{
      {{ListKind, "ListInt", COLLECTION_LIST_DOUBLE, BuildList<int>}, "COLLECTION_LIST_DOUBLE"},
      {{ListKind, "ListInt", COLLECTION_LIST, BuildList<int>}, "COLLECTION_LIST "},
      {{ListKind, "ListInt", COLLECTION_NONE, BuildList<int>}, "COLLECTION_NONE"},
      {{ListKind, "TableDouble", COLLECTION_LIST_DOUBLE, BuildList<double>}, "COLLECTION_LIST_DOUBLE"},
      {{MapIntObjKind, "MapIntObj", COLLECTION_MAP_STRING_OBJ, BuildMapInt}, "COLLECTION_MAP_STRING_OBJ"},
      {{MapIntObjKind, "MapIntObj", 90, BuildMapInt}, "COLLECTION_KIND_90"},
      {{MapIntObjKind, "MapIntObj", 91, BuildMapInt}, "91"},
      {{MapStringObjKind, "MapStringObj", 100, BuildMapString}, "COLLECTION_KIND_100"}};
  for (Mismatch const& mismatch : mismatches) {
    std::string const message = MessageOf(ContractError::Misuse, [&] {
      Write([&](cls_WriteVisitor const& visitor) { WriteDeclared(visitor, mismatch.m_Item); });
    });
    EXPECT_TRUE(Contains(message, FieldOf(mismatch.m_Item.m_Name).Name().Chars())) << message;
    EXPECT_TRUE(Contains(message, mismatch.m_Named)) << message;
  }
  ExpectNoRoot();
  ExpectObjects(0);
}

TEST_P(ContractBranches, AMismatchOnReadingIsWrongClass) {
  COVERS(cls_MementoRead, 58);
  Write([](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, ListKind, [](cls_MementoWrite& memento) {
      int const tag = 0;
      Receive(memento.MakeWriteListPrim(&tag, 1))->Append(1);
    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    std::string const message = MessageOf(ContractError::WrongClass, [&] {
      visitor.Memento()->CheckCollectionType(COLLECTION_LIST_DOUBLE, FieldFor<int>("List").Name());
    });
    EXPECT_TRUE(Contains(message, "m_ListInt")) << message;
  });
}

} // namespace
