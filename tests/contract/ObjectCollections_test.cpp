#include <array>
#include <limits>

#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/ContractTest.h"

// Lists and maps of objects, through builders and cursors.

namespace {

CONTRACT_SUITE(ContractObjectCollections);

// --- Lists.

void FillList(cls_WriteListObj* list, int count) {
  auto const builder = Receive(list);
  ExpectNotKept(*builder);
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(builder->Count(), i);
    WriteNumber(builder->MakeWriteObj(ElementId, cls_Uid()), i * 10);
  }
  EXPECT_EQ(builder->Count(), count);
}

void ExpectList(cls_ReadListObj* list, int count) {
  auto const cursor = Receive(list);
  ExpectNotKept(*cursor);
  ASSERT_EQ(cursor->Count(), count);
  for (int i = 0; i < count; ++i) {
    ASSERT_NE(cursor->More(), 0);
    ASSERT_EQ(cursor->Position(), i);
    ASSERT_EQ(NumberOf(cursor->Next()), i * 10);
  }
  EXPECT_EQ(cursor->More(), 0);
  EXPECT_EQ(cursor->Count(), count);
}

TEST_P(ContractObjectCollections, ListsComeBackInOrder) {
  COVERS(cls_MementoWrite, 33);
  COVERS(cls_MementoRead, 37);
  COVERS(cls_WriteListObj, 0, 1, 2, 4);
  COVERS(cls_ReadListObj, 0, 1, 2, 3, 4, 6);
  for (int const count : {0, 1, 3, 2500}) {
    Write([=](cls_WriteVisitor const& visitor) {
      WriteCollectionOf(visitor, ListObjKind,
                        [=](cls_MementoWrite& memento) { FillList(memento.MakeWriteListObj(), count); });
    });
    Read([=](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
      ExpectList(child.Memento()->MakeReadListObj(), count);
    });
  }
}

TEST_P(ContractObjectCollections, AListOfAFieldComesBackInOneStep) {
  COVERS(cls_MementoWrite, 35);
  COVERS(cls_MementoRead, 39);
  Write([](cls_WriteVisitor const& visitor) {
    FillList(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()), 20);
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_NE(visitor.DataIsPresent(FieldOf(ListObjKind.m_Name)), 0);
    ExpectList(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)), 20);
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
    ExpectList(child.Memento()->MakeReadListObj(), 20);
  });
}

TEST_P(ContractObjectCollections, AListCursorSkipsAndLooksAnywhere) {
  COVERS(cls_ReadListObj, 3, 4, 5, 6, 7);
  Write([](cls_WriteVisitor const& visitor) {
    FillList(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()), 10);
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    cursor->Skip(3);
    EXPECT_EQ(cursor->Position(), 3);
    EXPECT_EQ(NumberOf(cursor->At(9)), 90);
    EXPECT_EQ(NumberOf(cursor->At(0)), 0);
    EXPECT_EQ(cursor->Position(), 3);
    EXPECT_EQ(NumberOf(cursor->Next()), 30);
    cursor->Skip(0);
    EXPECT_EQ(NumberOf(cursor->Next()), 40);
    cursor->Skip(100);
    EXPECT_EQ(cursor->More(), 0);
    EXPECT_EQ(NumberOf(cursor->At(5)), 50);
  });
}

TEST_P(ContractObjectCollections, AListElementIsWrittenWithItsObjectOrByAVisitor) {
  COVERS(cls_WriteListObj, 2, 3);
  COVERS(cls_WriteRequestListObj, 0, 1, 2);
  COVERS(cls_ReadListObj, 6);
  Write([](cls_WriteVisitor const& visitor) {
    auto const builder =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    int const object = 0;
    WriteNumber(builder->MakeWriteObjWithPtr(ElementId, cls_Uid(), &object), 0);
    cls_WriteRequestListObj const request(builder.get());
    cls_WriteVisitor const element(request, &object);
    ASSERT_EQ(element.StartWrite(ElementId, cls_Uid()), 1);
    element.Write(FieldFor<int>(), 10);
    WriteNumber(request.MakeWriteObj(ElementId, cls_Uid()), 20);
    EXPECT_EQ(builder->Count(), 3);
  });
  Read([](cls_ReadVisitor const& visitor) {
    ExpectList(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)), 3);
  });
}

TEST_P(ContractObjectCollections, AListElementThatIsWrittenWithItsObjectHasItsIdentity) {
  COVERS(cls_WriteListObj, 3);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    auto const builder = Receive(memento.MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    cls_Uid const uid;
    int const object = 0;
    WriteNumber(builder->MakeWriteObjWithPtr(ElementId, uid, &object), 4);
    EXPECT_EQ(builder->MakeWriteObjWithPtr(ElementId, uid, &object), nullptr) << "it is written already";
    EXPECT_EQ(memento.MakeFieldWriteObj(FieldOf("Object"), ElementId, uid, &object), nullptr);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const object = ObjectIn(visitor, FieldOf("Object"));
    EXPECT_EQ(object.Read(FieldFor<int>(), -1), 4);
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    ASSERT_EQ(cursor->Count(), 2);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Receive(cursor->At(i))->GetUid().Entry(), object.GetUid().Entry());
  });
}

TEST_P(ContractObjectCollections, AnObjectThatIsWrittenAlreadyIsSharedByTheElements) {
  COVERS(cls_MementoRead, 3);
  COVERS(cls_WriteListObj, 2, 4);
  COVERS(cls_ReadListObj, 2, 7);
  Write([](cls_WriteVisitor const& visitor) {
    cls_Uid const shared;
    WriteNumber(visitor.Memento()->MakeFieldWriteObj(FieldOf("Object"), ElementId, shared, nullptr), 5);
    auto const builder =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(builder->MakeWriteObj(ElementId, shared), nullptr);
    EXPECT_EQ(builder->Count(), 3);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const object = ObjectIn(visitor, FieldOf("Object"));
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    ASSERT_EQ(cursor->Count(), 3);
    for (int i = 0; i < 3; ++i) {
      auto const element = Receive(cursor->At(i));
      EXPECT_EQ(element->GetUid().Entry(), object.GetUid().Entry());
      EXPECT_EQ(element->Read(FieldFor<int>(), -1), 5);
    }
  });
}

TEST_P(ContractObjectCollections, ElementsHoldCollectionsThemselves) {
  COVERS(cls_MementoWrite, 35);
  COVERS(cls_MementoRead, 39);
  COVERS(cls_WriteListObj, 2);
  COVERS(cls_ReadListObj, 6);
  Write([](cls_WriteVisitor const& visitor) {
    auto const outer =
        Receive(visitor.Memento()->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    for (int i = 0; i < 4; ++i) {
      auto const element = Receive(outer->MakeWriteObj(ElementId, cls_Uid()));
      FillList(element->MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()), i);
    }
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const outer = Receive(visitor.Memento()->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    for (int i = 0; i < 4; ++i) {
      auto const element = Receive(outer->Next());
      ExpectList(element->MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)), i);
    }
  });
}

// --- Maps.

int IntKeyAt(int i) {
  constexpr std::array Extremes{7, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 0};
  return i < 5 ? Extremes[static_cast<std::size_t>(i)] : 100'000 - i * 3;
}
cow_String StringKeyAt(int i) {
  constexpr std::array<std::string_view, 5> First{"", "z", std::string_view("a\0b", 3), "a\n", "\xC3\xA4"};
  return i < 5 ? cow_String(First[static_cast<std::size_t>(i)])
               : cow_String("key " + std::to_string(9999 - i));
}

template <class Builder, class KeyAt> void FillMap(Builder* map, int count, KeyAt keyAt) {
  auto const builder = Receive(map);
  ExpectNotKept(*builder);
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(builder->Count(), i);
    WriteNumber(builder->MakeWriteObj(keyAt(i), ElementId, cls_Uid()), i * 10);
  }
  EXPECT_EQ(builder->Count(), count);
}

template <class Cursor, class KeyAt> void ExpectMap(Cursor* map, int count, KeyAt keyAt) {
  auto const cursor = Receive(map);
  ExpectNotKept(*cursor);
  ASSERT_EQ(cursor->Count(), count);
  for (int i = 0; i < count; ++i) {
    ASSERT_NE(cursor->More(), 0) << i;
    cursor->Next();
    auto key = keyAt(count + 1);
    ASSERT_EQ(NumberOf(cursor->Fetch(key)), i * 10);
    ASSERT_TRUE(key == keyAt(i)) << i;
  }
  EXPECT_EQ(cursor->More(), 0);
  EXPECT_EQ(cursor->Count(), count);
}

TEST_P(ContractObjectCollections, MapsFromIntComeBackInOrder) {
  COVERS(cls_MementoWrite, 20);
  COVERS(cls_MementoRead, 24);
  COVERS(cls_WriteMapInt2Obj, 0, 1, 2, 4);
  COVERS(cls_ReadMapInt2Obj, 0, 1, 2, 3, 4, 5);
  for (int const count : {0, 1, 5, 2500}) {
    Write([=](cls_WriteVisitor const& visitor) {
      WriteCollectionOf(visitor, MapIntObjKind, [=](cls_MementoWrite& memento) {
        FillMap(memento.MakeWriteMapInt2Obj(), count, IntKeyAt);
      });
    });
    Read([=](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(MapIntObjKind.m_Name));
      ExpectMap(child.Memento()->MakeReadMapInt2Obj(), count, IntKeyAt);
    });
  }
}

TEST_P(ContractObjectCollections, MapsFromStringComeBackInOrder) {
  COVERS(cls_MementoWrite, 21);
  COVERS(cls_MementoRead, 25);
  COVERS(cls_WriteMapString2Obj, 0, 1, 2, 4);
  COVERS(cls_ReadMapString2Obj, 0, 1, 2, 3, 4, 5);
  for (int const count : {0, 1, 5, 2500}) {
    Write([=](cls_WriteVisitor const& visitor) {
      WriteCollectionOf(visitor, MapStringObjKind, [=](cls_MementoWrite& memento) {
        FillMap(memento.MakeWriteMapString2Obj(), count, StringKeyAt);
      });
    });
    Read([=](cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf(MapStringObjKind.m_Name));
      ExpectMap(child.Memento()->MakeReadMapString2Obj(), count, StringKeyAt);
    });
  }
}

TEST_P(ContractObjectCollections, MapsOfAFieldComeBackInOneStep) {
  COVERS(cls_MementoWrite, 36, 37);
  COVERS(cls_MementoRead, 40, 41);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    FillMap(memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()), 20, IntKeyAt);
    FillMap(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()), 30,
            StringKeyAt);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    ExpectMap(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)), 20, IntKeyAt);
    ExpectMap(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)), 30, StringKeyAt);
  });
}

TEST_P(ContractObjectCollections, AnIntMapFindsTheEntryOfAKey) {
  COVERS(cls_ReadMapInt2Obj, 2, 3, 5, 6);
  Write([](cls_WriteVisitor const& visitor) {
    FillMap(visitor.Memento()->MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()), 50,
            IntKeyAt);
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    int key = 0;
    ASSERT_TRUE(cursor->Find(IntKeyAt(30)));
    EXPECT_EQ(NumberOf(cursor->Fetch(key)), 300);
    EXPECT_EQ(key, IntKeyAt(30));
    EXPECT_FALSE(cursor->Find(12345));
    EXPECT_EQ(NumberOf(cursor->Fetch(key)), 300);
    ASSERT_TRUE(cursor->Find(IntKeyAt(2)));
    EXPECT_EQ(NumberOf(cursor->Fetch(key)), 20);
    EXPECT_EQ(key, std::numeric_limits<int>::min());
    cursor->Next();
    EXPECT_EQ(NumberOf(cursor->Fetch(key)), 30);
    ASSERT_TRUE(cursor->Find(IntKeyAt(49)));
    EXPECT_EQ(cursor->More(), 0);
  });
}

TEST_P(ContractObjectCollections, FetchingTwiceReadsTheSameEntry) {
  COVERS(cls_ReadMapInt2Obj, 5);
  COVERS(cls_ReadMapString2Obj, 5);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    FillMap(memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()), 2, IntKeyAt);
    FillMap(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()), 2, StringKeyAt);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    auto const ints = Receive(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    auto const strings = Receive(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
    for (int i = 0; i < 2; ++i) {
      ints->Next();
      strings->Next();
      for (int again = 0; again < 2; ++again) {
        int number = 0;
        cow_String text;
        EXPECT_EQ(NumberOf(ints->Fetch(number)), i * 10);
        EXPECT_EQ(NumberOf(strings->Fetch(text)), i * 10);
        EXPECT_EQ(number, IntKeyAt(i));
        EXPECT_EQ(text, StringKeyAt(i));
      }
    }
  });
}

TEST_P(ContractObjectCollections, AMapElementIsWrittenWithItsObjectOrByAVisitor) {
  COVERS(cls_WriteMapInt2Obj, 3);
  COVERS(cls_WriteMapString2Obj, 3);
  COVERS(cls_WriteRequestMapInt2Obj, 0, 1, 2);
  COVERS(cls_WriteRequestMapString2Obj, 0, 1, 2);
  auto const fill = []<class Request>(std::type_identity<Request>, auto* map, auto keyAt) {
    auto const builder = Receive(map);
    int const object = 0;
    WriteNumber(builder->MakeWriteObjWithPtr(keyAt(0), ElementId, cls_Uid(), &object), 0);
    auto const key1 = keyAt(1);
    auto const key2 = keyAt(2);
    {
      Request const request(builder.get(), key1);
      cls_WriteVisitor const element(request, &object);
      ASSERT_EQ(element.StartWrite(ElementId, cls_Uid()), 1);
      element.Write(FieldFor<int>(), 10);
    }
    WriteNumber(Request(builder.get(), key2).MakeWriteObj(ElementId, cls_Uid()), 20);
    EXPECT_EQ(builder->Count(), 3);
  };
  Write([&](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    fill(std::type_identity<cls_WriteRequestMapInt2Obj>(),
         memento.MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()), IntKeyAt);
    fill(std::type_identity<cls_WriteRequestMapString2Obj>(),
         memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()), StringKeyAt);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    ExpectMap(memento.MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)), 3, IntKeyAt);
    ExpectMap(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)), 3, StringKeyAt);
  });
}

} // namespace
