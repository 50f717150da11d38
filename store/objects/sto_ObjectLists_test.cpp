#include "store/sto_ReadCow.h"
#include "tests/support/store/StoreCollections.h"
#include "tests/support/store/StoreFaultVfs.h"

namespace {

/// Lists and maps of objects.
class StoreObjectLists : public StoreCollectionTest {
 protected:
  /// A store with a list of `count` nodes in m_Objects, with values from 0.
  sto_Store MakeList(int count, std::string_view name = "test.kvs") {
    sto_Store store = Create(name);
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      auto const memento = WriteIn(visitor, "m_Objects", ListClass);
      auto const list = Own(memento->MakeWriteListObj());
      for (int i = 0; i < count; ++i) {
        EXPECT_EQ(list->Count(), i);
        AppendNode(*list, Node(i));
      }
    });
    return store;
  }
  static void WithList(sto_Store& store, std::function<void(cls_ReadListObj&)> const& act) {
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      act(*Own(ReadIn(visitor, "m_Objects")->MakeReadListObj()));
    }));
  }
};

TEST_F(StoreObjectLists, ComesBackInAnotherSession) {
  for (int const count : {0, 1, 512, 513, 2048, 2049, 5000}) {
    SCOPED_TRACE(count);
    std::string const name = std::to_string(count);
    MakeList(count, name);
    EXPECT_EQ(Query("SELECT count(*) FROM stored_block", name) == 0, count <= 2048); // a byte an element
    sto_Store store = Open(sto_Mode::ReadOnly, name);
    WithList(store, [&](cls_ReadListObj& list) {
      ASSERT_EQ(list.Count(), count);
      for (int i = 0; i < count; ++i) {
        ASSERT_EQ(list.More(), 1);
        ASSERT_EQ(list.Position(), i);
        ASSERT_EQ(NodeValue(list.Next()), i);
      }
      EXPECT_EQ(list.More(), 0);
      EXPECT_EQ(list.Position(), count);
    });
  }
}

TEST_F(StoreObjectLists, ElementsFarFromEachOtherAreInBlocksEarlier) {
  sto_Store store = Create();
  Node const first(0);
  store.Save("first", first);
  for (int i = 0; i < 100; ++i) store.Save("more " + std::to_string(i), Node(i));
  Node const last(1);
  for (int const count : {2047, 2048}) { // two bytes an element, from one end to the other
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
      for (int i = 0; i < count; ++i) AppendNode(*list, i % 2 == 0 ? first : last);
      if (count == 2048) AppendNode(*list, Node(7));
    });
    EXPECT_EQ(Query("SELECT count(*) FROM stored_block") == 0, count == 2047);
    WithList(store, [&](cls_ReadListObj& list) {
      for (int i = 0; i < count; ++i) ASSERT_EQ(NodeValue(list.Next()), i % 2);
    });
  }
}

TEST_F(StoreObjectLists, ElementsAreReadAtAnyIndexAndSkipped) {
  sto_Store store = MakeList(5000);
  WithList(store, [](cls_ReadListObj& list) {
    for (int const index : {4999, 0, 2048, 2047, 4999}) EXPECT_EQ(NodeValue(list.At(index)), index);
    EXPECT_EQ(list.Position(), 0);
    list.Skip(2050);
    EXPECT_EQ(NodeValue(list.Next()), 2050);
    list.Skip(-3);
    EXPECT_EQ(list.Position(), 2051);
    list.Skip(100'000);
    EXPECT_EQ(list.Position(), 5000);
    EXPECT_EQ(list.More(), 0);
  });
}

TEST_F(StoreObjectLists, ElementsBeyondTheEndAreRefused) {
  sto_Store store = MakeList(2);
  WithList(store, [](cls_ReadListObj& list) {
    for (int const index : {-1, 2, 1'000'000})
      EXPECT_TRUE(
          Contains(MessageOf(sto_ErrorKind::Misuse, [&] { list.At(index); }),
                   "Reading element " + std::to_string(index) + " of the list of object 2, which has 2."));
    list.Skip(2);
    MessageOf(sto_ErrorKind::Misuse, [&] { list.Next(); });
    EXPECT_EQ(list.Position(), 2);
  });
}

TEST_F(StoreObjectLists, OneObjectAsSeveralElementsIsStoredOnce) {
  sto_Store store = Create();
  Node const node(7);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    auto const memento = WriteIn(visitor, "m_Objects", ListClass);
    auto const list = Own(memento->MakeWriteListObj());
    AppendNode(*list, node);
    EXPECT_EQ(list->MakeWriteObj(Node::TypeId(), node.m_Uid), nullptr);
    EXPECT_EQ(list->MakeWriteObjWithPtr(Node::TypeId(), node.m_Uid, &node), nullptr);
    EXPECT_EQ(list->Count(), 3);
  });
  EXPECT_EQ(store.ObjectCount(), 3);
  WithList(store, [&](cls_ReadListObj& list) {
    ASSERT_EQ(list.Count(), 3);
    while (list.More() != 0) {
      auto const element = Own(list.Next());
      EXPECT_EQ(element->GetUid().Entry(), node.m_Uid.Entry());
      EXPECT_EQ(element->ClassId(), Node::TypeId());
    }
  });
}

TEST_F(StoreObjectLists, ChangedCopyAsAnotherElementIsAConflict) {
  sto_Store store = Create();
  Node const node(7);
  Node equal = node;
  Node changed = node;
  changed.m_Value = 8;
  auto const save = [&](Node const& copy) {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      auto const memento = WriteIn(visitor, "m_Objects", ListClass);
      auto const list = Own(memento->MakeWriteListObj());
      AppendNode(*list, node);
      AppendNode(*list, copy);
    });
  };
  std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { save(changed); });
  EXPECT_TRUE(Contains(message, "(Node)") && Contains(message, "an element of object 2")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
  save(equal);
  EXPECT_EQ(store.ObjectCount(), 3);
}

TEST_F(StoreObjectLists, ElementsLeadBackToTheirHolder) {
  sto_Store store = Create();
  Scripted object;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    EXPECT_EQ(list->MakeWriteObj(Scripted::TypeId(), object.m_Uid), nullptr);
  };
  store.Save("root", object);
  WithList(store, [&](cls_ReadListObj& list) {
    EXPECT_EQ(Own(list.At(0))->GetUid().Entry(), object.m_Uid.Entry());
  });
}

TEST_F(StoreObjectLists, ElementsAreSharedWithinOneLoad) {
  sto_Store store = Create();
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    Node const node(1);
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    AppendNode(*list, node);
    AppendNode(*list, node);
  });
  WithList(store, [](cls_ReadListObj& list) {
    std::shared_ptr<Node> const first = sto_ConstructShared<Node>(cls_ReadVisitor(list.Next()));
    EXPECT_EQ(sto_ConstructShared<Node>(cls_ReadVisitor(list.Next())), first);
  });
}

TEST_F(StoreObjectLists, ElementsAreCollectionsThemselves) {
  sto_Store store = Create();
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    auto const outer = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < 3; ++i) {
      auto const memento = Own(outer->MakeWriteObj(MapClass, cls_Uid()));
      auto const inner = Own(memento->MakeWriteMapInt2Obj());
      for (int k = 0; k < i; ++k) InsertNode(*inner, k, Node(10 * i + k));
    }
  });
  WithList(store, [](cls_ReadListObj& outer) {
    for (int i = 0; i < 3; ++i) {
      auto const inner = Own(Own(outer.Next())->MakeReadMapInt2Obj());
      ASSERT_EQ(inner->Count(), i);
      for (int k = 0; k < i; ++k) {
        inner->Next();
        int key = -1;
        EXPECT_EQ(NodeValue(inner->Fetch(key)), 10 * i + k);
        EXPECT_EQ(key, k);
      }
    }
  });
}

TEST_F(StoreObjectLists, IntKeyedMapComesBackAndFindsKeys) {
  sto_Store store = Create();
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
    int value = 0;
    for (int const key : {5, -1, 5, 1'000'000}) InsertNode(*map, key, Node(value++));
    EXPECT_EQ(map->Count(), 4);
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldReadMapInt2Obj(Field("m_ByInt")));
    ASSERT_EQ(map->Count(), 4);
    int key = 0;
    MessageOf(sto_ErrorKind::Misuse, [&] { map->Fetch(key); });
    std::vector<int> keys;
    for (int value = 0; map->More() != 0; ++value) {
      map->Next();
      EXPECT_EQ(NodeValue(map->Fetch(key)), value);
      keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<int>{5, -1, 5, 1'000'000}));
    MessageOf(sto_ErrorKind::Misuse, [&] { map->Next(); });
    EXPECT_FALSE(map->Find(6));
    EXPECT_EQ(NodeValue(map->Fetch(key)), 3); // the cursor has not moved
    ASSERT_TRUE(map->Find(5));
    EXPECT_EQ(NodeValue(map->Fetch(key)), 0); // the first of two
    map->Next();
    EXPECT_EQ(NodeValue(map->Fetch(key)), 1);
    EXPECT_EQ(key, -1);
  }));
}

TEST_F(StoreObjectLists, StringKeyedMapComesBack) {
  sto_Store store = Create();
  cow_String const keys[] = {"left"_cow, cow_String(), ""_cow, "left"_cow};
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    auto const memento = WriteIn(visitor, "m_ByString", MapClass);
    auto const map = Own(memento->MakeWriteMapString2Obj());
    for (int i = 0; i < 4; ++i) InsertNode(*map, keys[i], Node(i));
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const map = Own(ReadIn(visitor, "m_ByString")->MakeReadMapString2Obj());
    ASSERT_EQ(map->Count(), 4);
    for (int i = 0; i < 4; ++i) {
      map->Next();
      cow_String key = "before"_cow;
      EXPECT_EQ(NodeValue(map->Fetch(key)), i);
      EXPECT_EQ(key, keys[i]);
      EXPECT_EQ(key.HasText(), keys[i].HasText());
    }
    EXPECT_EQ(map->More(), 0);
  }));
}

TEST_F(StoreObjectLists, HundredThousandElementsComeBack) {
  constexpr int Count = 100'000;
  {
    sto_Store store = Create();
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
      for (int i = 0; i < Count; ++i) InsertNode(*map, i * 3, Node(i));
    });
  }
  sto_Store store = Open();
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldReadMapInt2Obj(Field("m_ByInt")));
    ASSERT_EQ(map->Count(), Count);
    int key = 0;
    for (int i = Count - 1; i > 0; i -= 977) {
      ASSERT_TRUE(map->Find(i * 3));
      ASSERT_EQ(NodeValue(map->Fetch(key)), i);
    }
  }));
}

TEST_F(StoreObjectLists, CollectionsOfAbsentFieldsAreEmpty) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    auto const list = Own(memento.MakeFieldReadListObj(Field("m_Objects")));
    EXPECT_EQ(list->Count() + list->More() + list->Position(), 0);
    auto const byInt = Own(memento.MakeFieldReadMapInt2Obj(Field("m_ByInt")));
    EXPECT_EQ(byInt->Count() + byInt->More(), 0);
    EXPECT_FALSE(byInt->Find(0));
    auto const byString = Own(memento.MakeFieldReadMapString2Obj(Field("m_ByString")));
    EXPECT_EQ(byString->Count() + byString->More(), 0);
  }));
}

TEST_F(StoreObjectLists, CollectionInAFieldIsTheSameInOneStepAndInTwo) {
  Node const node(1);
  cls_Uid const uids[3];
  std::string records[2];
  for (int const way : {0, 1}) {
    std::string const name = "way " + std::to_string(way);
    sto_Store store = Create(name);
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      cls_MementoWrite& memento = *visitor.Memento();
      auto const list = Own(way == 0 ? WriteIn(visitor, "m_Objects", ListClass, uids[0])->MakeWriteListObj()
                                     : memento.MakeFieldWriteListObj(Field("m_Objects"), uids[0]));
      AppendNode(*list, node);
      auto const byInt = Own(way == 0 ? WriteIn(visitor, "m_ByInt", MapClass, uids[1])->MakeWriteMapInt2Obj()
                                      : memento.MakeFieldWriteMapInt2Obj(Field("m_ByInt"), uids[1]));
      InsertNode(*byInt, 1, node);
      auto const byString =
          Own(way == 0 ? WriteIn(visitor, "m_ByString", MapClass, uids[2])->MakeWriteMapString2Obj()
                       : memento.MakeFieldWriteMapString2Obj(Field("m_ByString"), uids[2]));
      InsertNode(*byString, "one"_cow, node);
    });
    EXPECT_EQ(store.ObjectCount(), 5);
    SqlFile file(Path(name));
    file.Unpack();
    for (std::string const& record :
         file.Texts("SELECT hex(record) FROM object UNION ALL SELECT hex(data) FROM shape"))
      records[way] += record + "\n";
    EXPECT_EQ(std::ranges::count(records[way], '\n'), 5 + 5); // objects and shapes
  }
  EXPECT_EQ(records[0], records[1]);
}

TEST_F(StoreObjectLists, ElementOfAnUndeclaredClassIsRefused) {
  sto_Store store = Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
      static_cast<void>(list->MakeWriteObj(0x777777, cls_Uid()));
    });
  });
  EXPECT_TRUE(Contains(message, "is not declared in the registrar")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreObjectLists, AttributeThatIsDeclaredForSomethingElseIsRefused) {
  struct Case {
    char const* m_Field;
    bool m_List, m_ByInt, m_ByString; // which collections it accepts
  };
  int number = 0;
  for (Case const& item : {Case{"m_Objects", true, true, true}, Case{"m_Keyed", false, true, true},
                           Case{"m_ByInt", false, true, false}, Case{"m_ByString", false, false, true},
                           Case{"m_List", true, false, false}, Case{"m_Ints", false, false, false},
                           Case{"m_Table", false, false, false}, Case{"m_Floats", false, false, false},
                           Case{"m_Any", true, true, true}, Case{"m_Doubles", false, false, false},
                           Case{"m_Object", false, false, false}}) {
    SCOPED_TRACE(item.m_Field);
    auto const expect = [&](bool isTaken, auto make) {
      sto_Store store = Create(std::to_string(++number));
      auto const save = [&] {
        SaveFields(store, [&](cls_WriteVisitor const& visitor) { Own(make(*visitor.Memento())); });
      };
      if (isTaken) return save();
      std::string const message = MessageOf(sto_ErrorKind::Misuse, save);
      EXPECT_TRUE(Contains(message, std::string("Attribute ") + item.m_Field + " of class Scripted"))
          << message;
      EXPECT_EQ(store.ObjectCount(), 0);
    };
    cls_FieldHandle const field = Field(item.m_Field);
    expect(item.m_List,
           [&](cls_MementoWrite& memento) { return memento.MakeFieldWriteListObj(field, cls_Uid()); });
    expect(item.m_ByInt,
           [&](cls_MementoWrite& memento) { return memento.MakeFieldWriteMapInt2Obj(field, cls_Uid()); });
    expect(item.m_ByString,
           [&](cls_MementoWrite& memento) { return memento.MakeFieldWriteMapString2Obj(field, cls_Uid()); });
  }
}

TEST_F(StoreObjectLists, CollectionTypeIsCheckedAndStored) {
  sto_Store store = Create();
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid()));
    visitor.Memento()->CheckCollectionType(COLLECTION_MAP_STRING_OBJ, "m_ByString"_cow);
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    visitor.Memento()->CheckCollectionType(COLLECTION_MAP_STRING_OBJ, "m_ByString"_cow);
    MessageOf(sto_ErrorKind::WrongClass,
              [&] { visitor.Memento()->CheckCollectionType(COLLECTION_MAP_INT_OBJ, "m_ByString"_cow); });
  }));
}

TEST_F(StoreObjectLists, ListOfPrimitivesIsNoListOfObjects) {
  sto_Store store = Create();
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    auto const memento = WriteIn(visitor, "m_List", ListClass);
    Own(memento->MakeWriteListPrim(static_cast<int const*>(nullptr), 1))->Append(3);
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::string const message = MessageOf(sto_ErrorKind::WrongClass,
                                          [&] { visitor.Memento()->MakeFieldReadListObj(Field("m_List")); });
    EXPECT_TRUE(Contains(message, "is stored as a list of int and cannot be read as a list of objects."))
        << message;
  }));
}

TEST_F(StoreObjectLists, ListOfObjectsIsNoListOfPrimitives) {
  sto_Store store = MakeList(1);
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::string const message = MessageOf(sto_ErrorKind::WrongClass, [&] {
      ReadIn(visitor, "m_Objects")->MakeReadListPrim(static_cast<int*>(nullptr));
    });
    EXPECT_TRUE(Contains(message, "is stored as a list of objects and cannot be read as one of int."))
        << message;
  }));
}

/// Writes nested lists of the given depth.
void WriteNested(cls_WriteListObj& list, int depth) {
  if (depth == 0) return;
  auto const memento = Own(list.MakeWriteObj(ListClass, cls_Uid()));
  WriteNested(*Own(memento->MakeWriteListObj()), depth - 1);
}

TEST_F(StoreObjectLists, ElementsNestAsDeepAsFields) {
  sto_Store store = Create();
  auto const save = [&](int depth) {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      WriteNested(*Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())), depth);
    });
  };
  save(998); // below the root and its list
  std::string const message = MessageOf(sto_ErrorKind::Full, [&] { save(999); });
  EXPECT_TRUE(Contains(message, "more than 1000 deep")) << message;
  int depth = 0;
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    for (; list->Count() > 0; ++depth) list = Own(Own(list->At(0))->MakeReadListObj());
  }));
  EXPECT_EQ(depth, 998);
}

TEST_F(StoreObjectLists, MissingElementIsDamage) {
  sto_Store store = MakeList(2);
  SqlFile file(Path());
  file.Unpack();
  file.Run("DELETE FROM object WHERE id = 4");
  WithList(store, [](cls_ReadListObj& list) {
    EXPECT_EQ(NodeValue(list.Next()), 0);
    std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { list.Next(); });
    EXPECT_TRUE(Contains(message, "Object 4, an element of the list of object 2, is missing.")) << message;
    EXPECT_EQ(list.Position(), 1);
  });
}

TEST_F(StoreObjectLists, MissingBlockIsDamage) {
  sto_Store store = MakeList(5000);
  SqlFile(Path()).Run("DELETE FROM stored_block WHERE key = (2 << 20) + 1");
  WithList(store, [](cls_ReadListObj& list) {
    EXPECT_EQ(NodeValue(list.At(2047)), 2047);
    MessageOf(sto_ErrorKind::Damaged, [&] { list.At(2048); });
    EXPECT_EQ(NodeValue(list.At(4096)), 4096);
  });
  SqlFile(Path()).Run("DELETE FROM stored_block WHERE key = (2 << 20) + 2");
  sto_Store other = Open();
  static_cast<void>(LoadFields(other, [&](cls_ReadVisitor const& visitor) {
    MessageOf(sto_ErrorKind::Damaged, [&] { visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")); });
  }));
}

// --- Sharing

TEST_F(StoreObjectLists, TwoHoldersOfASharedPointerHoldOneObject) {
  sto_Store store = Create();
  auto const shared = std::make_shared<Node>(5);
  Node root;
  root.m_Left = shared;
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    for (char const* const name : {"m_Object", "m_Objects"}) {
      if (std::string(name) == "m_Object") {
        cls_WriteVisitor child(visitor, Field(name), nullptr, shared.get());
        child.SetSharedPtrOutput(true);
        shared->DBWrite(child);
      } else {
        auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field(name), cls_Uid()));
        cls_WriteRequestListObj const request(list.get());
        cls_WriteVisitor child(request, shared.get());
        child.SetSharedPtrOutput(true);
        shared->DBWrite(child);
      }
    }
  });
  EXPECT_EQ(store.ObjectCount(), 3);
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::shared_ptr<Node> const first = sto_ReadShared<Node>(visitor, Field("m_Object"));
    auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    EXPECT_EQ(sto_ConstructShared<Node>(cls_ReadVisitor(list->Next())), first);
    EXPECT_EQ(first->m_Value, 5);
  }));
}

TEST_F(StoreObjectLists, TwoHoldersOfACopyOnWritePayloadHoldOnePayload) {
  using Cow = cow_COW<Node, cow_Direct<Node>>;
  sto_Store store = Create();
  Cow const first(new Node(5));
  Cow const second(first);
  auto const seenAsInt = [](Cow const& cow) {
    return reinterpret_cast<cow_COW<int, cow_Direct<int>> const*>(&cow);
  };
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    first.ConstGet().DBWrite(
        cls_WriteVisitor(visitor, Field("m_Object"), seenAsInt(first), first.ConstPtr()));
    second.ConstGet().DBWrite(
        cls_WriteVisitor(visitor, Field("m_Other"), seenAsInt(second), second.ConstPtr()));
  });
  EXPECT_EQ(store.ObjectCount(), 2);
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    Cow one = sto_ReadCow<Node, cow_Direct<Node>>(visitor, Field("m_Object"));
    Cow const two = sto_ReadCow<Node, cow_Direct<Node>>(visitor, Field("m_Other"));
    ASSERT_FALSE(one.IsNull());
    EXPECT_EQ(one.ConstPtr(), two.ConstPtr());
    EXPECT_EQ(one.ConstGet().m_Value, 5);
    one.Get().m_Value = 6;
    EXPECT_EQ(two.ConstGet().m_Value, 5);
    EXPECT_TRUE((sto_ReadCow<Node, cow_Direct<Node>>(visitor, Field("m_Text")).IsNull()));
  }));
}

TEST_F(StoreObjectLists, PayloadsWithIdentitiesOfTheirOwnStayApart) {
  sto_Store store = Create();
  cow_COW<int, cow_Direct<int>> const cow(new int(1));
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    for (char const* const name : {"m_Object", "m_Other"}) {
      auto const memento =
          Own(visitor.Memento()->MakeFieldWriteObjCow(Field(name), Node::TypeId(), cls_Uid(), &cow));
      ASSERT_NE(memento, nullptr);
    }
  });
  EXPECT_EQ(store.ObjectCount(), 3);
}

TEST_F(StoreObjectLists, UnchangedCollectionsThatAreSavedAgainWriteNothing) {
  std::vector<Node> const nodes(3000);
  std::vector<int> ints(5000, 7);
  cls_Uid const uids[3];
  Scripted const root([&](cls_WriteVisitor const& visitor) {
    auto const list = Own(WriteIn(visitor, "m_Objects", ListClass, uids[0])->MakeWriteListObj());
    for (Node const& node : nodes) AppendNode(*list, node);
    auto const numbers = Own(WriteIn(visitor, "m_Ints", ListClass, uids[1])
                                 ->MakeWriteListPrim(static_cast<int const*>(nullptr), 1));
    for (int const value : ints) numbers->Append(value);
    auto const map = Own(WriteIn(visitor, "m_ByInt", MapClass, uids[2])->MakeWriteMapInt2Obj());
    for (int i = 0; i < 10; ++i) InsertNode(*map, i, nodes[static_cast<std::size_t>(i)]);
  });
  StoreFaultVfs const vfs;
  sto_Store store = Create();
  store.Save("root", root);
  for (int i = 0; i < 2; ++i) {
    StoreBytes const before = FileBytes(Path());
    StoreFaultVfs::StrikeAt(1, StoreFaultVfs::Fault::IoError); // the first that is written, or synchronised
    store.Save("root", root);
    EXPECT_FALSE(StoreFaultVfs::HasStruck());
    StoreFaultVfs::Disarm();
    EXPECT_TRUE(FileBytes(Path()) == before);
    ints[3000] = 8 + i; // in the middle block
    store.Save("root", root);
    sto_Store other = Open(sto_Mode::ReadOnly);
    static_cast<void>(LoadFields(other, [&](cls_ReadVisitor const& visitor) {
      auto const list = Own(ReadIn(visitor, "m_Ints")->MakeReadListPrim(static_cast<int*>(nullptr)));
      std::vector<int> read(ints.size());
      EXPECT_EQ(list->NextRun(static_cast<int>(read.size()), read.data()), static_cast<int>(read.size()));
      EXPECT_EQ(read, ints);
    }));
  }
}

} // namespace
