#include <map>
#include <random>

#include "persist/backend/cls_AgentListPrim.h"
#include "tests/support/store/StoreObjectAgents.h"

namespace {

using List = ObjectList;
using IntMap = ObjectIntMap;
using StringMap = ObjectStringMap;
using Ints = std::vector<int>;

class StoreObjectAgents : public StoreObjectAgentsTest {};

TEST_F(StoreObjectAgents, ListIsFilledWhileItsHolderIsSaved) {
  {
    sto_Store store = Create();
    SaveFields(store, [](cls_WriteVisitor const& visitor) {
      List list(WriteIn(visitor, "m_Objects", ListClass)->MakeAgentListObj(3));
      EXPECT_EQ(list->SizeHint(), 3);
      for (int i = 0; i < 5; ++i) Put(list, i, 10 * i);
      EXPECT_EQ(list->Count(), 5);
    });
  }
  EXPECT_EQ(StoredList(), (Ints{0, 10, 20, 30, 40}));
  sto_Store store = Open();
  EXPECT_EQ((*OpenList(store))->SizeHint(), 3);
}

TEST_F(StoreObjectAgents, ListOfABuilderIsOpenedAndReadBackByACursor) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < 3; ++i) AppendNode(*list, Node(i));
  });
  {
    auto const list = OpenList(store);
    EXPECT_EQ((*list)->SizeHint(), 3);
    Put(*list, 1, 77);
  }
  Ints values;
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    while (list->More() != 0) values.push_back(NodeValue(list->Next()));
  }));
  EXPECT_EQ(values, (Ints{0, 77, 2}));
}

TEST_F(StoreObjectAgents, ElementsAreWrittenOutsideOfASaveWithinATransaction) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  auto const map = OpenMap(store);
  {
    sto_Transaction transaction(store);
    Put(*list, 0, 1);
    Put(*list, 1, 2);
    Put(*map, 5, 3);
    EXPECT_EQ(ValuesOf(*list), (Ints{1, 2}));
    transaction.Commit();
  }
  EXPECT_EQ(list->m_Flushes, 1);
  EXPECT_EQ(StoredList(), (Ints{1, 2}));
  EXPECT_EQ(StoredMap(), (std::map<int, int>{{5, 3}}));
}

TEST_F(StoreObjectAgents, OperationsWithoutTransactionAreOneEach) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  auto const map = OpenMap(store);
  Put(*list, 0, 1);
  EXPECT_EQ(StoredList(), (Ints{1}));
  Put(*list, 1, 2);
  EXPECT_EQ(StoredList(), (Ints{1, 2}));
  (*list)->Remove(0);
  EXPECT_EQ(StoredList(), (Ints{2}));
  Put(*map, 9, 3);
  EXPECT_EQ(StoredMap().size(), 1U);
  EXPECT_TRUE((*map)->Remove(9));
  EXPECT_FALSE((*map)->Remove(9));
  EXPECT_TRUE(StoredMap().empty());
}

TEST_F(StoreObjectAgents, NewElementsOfALongerListAreEmptyObjects) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  (*list)->SetCount(3);
  Put(*list, 1, 5);
  EXPECT_EQ(StoredList(), (Ints{-1, 5, -1}));
  auto const element = Own((*list)->MakeReadObj(0));
  EXPECT_EQ(element->ClassId(), 1U);
  EXPECT_EQ(element->FieldIsPresent(Field("m_Value")), 0);
  EXPECT_EQ(Own((*list)->MakeReadObj(77))->ClassId(), 1U);
  EXPECT_EQ(Own((*list)->MakeReadObj(-1))->ClassId(), 1U);
}

TEST_F(StoreObjectAgents, PlacesOutOfRangeAreRefused) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  Put(*list, 0, 1);
  for (int const index : {-1, 2, 1'000'000'000}) {
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { Put(*list, index, 1); });
    EXPECT_TRUE(
        Contains(message, "The list of object 2 has 1 elements; there is no place " + std::to_string(index)))
        << message;
  }
  MessageOf(sto_ErrorKind::Misuse, [&] { (*list)->Remove(1); });
  MessageOf(sto_ErrorKind::Misuse, [&] { (*list)->SetCount(-1); });
  EXPECT_EQ(StoredList(), (Ints{1}));
  Put(*list, 1, 2);
  EXPECT_EQ(StoredList(), (Ints{1, 2}));
}

TEST_F(StoreObjectAgents, ListMatchesAVectorThroughAllSizes) {
  std::mt19937 random(4711);
  std::vector<int> model;
  { sto_Store const store = MakeEmpty(); }
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    sto_Store store = Open();
    auto const list = OpenList(store);
    sto_Transaction transaction(store);
    int const size = static_cast<int>(model.size());
    auto const any = [&](int end) { return static_cast<int>(random() % static_cast<unsigned int>(end)); };
    switch (round % 4) {
    case 0: {
      int const count = any(6000);
      (*list)->SetCount(count);
      model.resize(static_cast<std::size_t>(count), -1);
      break;
    }
    case 1:
      for (int i = 0; i < 20; ++i) {
        int const index = any(size + 1);
        Put(*list, index, round * 100 + i);
        if (index == static_cast<int>(model.size())) model.push_back(0);
        model[static_cast<std::size_t>(index)] = round * 100 + i;
      }
      break;
    case 2:
      for (int i = 0; i < 20 && !model.empty(); ++i) {
        int const index = any(static_cast<int>(model.size()));
        (*list)->Remove(index);
        model.erase(model.begin() + index);
      }
      break;
    default:
      (*list)->SetCount(std::min(size, 100));
      model.resize(static_cast<std::size_t>(std::min(size, 100)));
      for (int i = 0; i < 3; ++i) {
        Put(*list, static_cast<int>(model.size()), i);
        model.push_back(i);
      }
    }
    transaction.Commit();
    ASSERT_EQ(StoredList(), model);
    bool const isInline = model.size() <= 2048; // two bytes an element at most
    ASSERT_EQ(Query("SELECT count(*) FROM stored_block"),
              isInline ? 0 : (static_cast<std::int64_t>(model.size()) + 2047) / 2048);
  }
}

TEST_F(StoreObjectAgents, MapIsWalkedInTheOrderOfItsKeys) {
  sto_Store store = MakeEmpty();
  auto const map = OpenMap(store);
  int key = 42;
  EXPECT_FALSE((*map)->FirstKey(key));
  EXPECT_FALSE((*map)->LastKey(key));
  EXPECT_FALSE((*map)->NextKey(key));
  EXPECT_FALSE((*map)->PreviousKey(key));
  EXPECT_EQ(key, 42);
  for (int const k : {7, -3, 0, 7}) Put(*map, k, k * 2);
  EXPECT_EQ(ValuesOf(*map), (std::map<int, int>{{-3, -6}, {0, 0}, {7, 14}}));
  Ints keys;
  for (bool isThere = (*map)->LastKey(key); isThere; isThere = (*map)->PreviousKey(key)) keys.push_back(key);
  EXPECT_EQ(keys, (Ints{7, 0, -3}));
  key = 3; // between two keys
  EXPECT_TRUE((*map)->NextKey(key));
  EXPECT_EQ(key, 7);
  key = 3;
  EXPECT_TRUE((*map)->PreviousKey(key));
  EXPECT_EQ(key, 0);
  EXPECT_TRUE((*map)->Contains(-3));
  EXPECT_FALSE((*map)->Contains(1));
  EXPECT_EQ(Own((*map)->MakeReadObj(1))->ClassId(), 1U);
  (*map)->Clear();
  EXPECT_EQ((*map)->Count(), 0);
  EXPECT_TRUE(StoredMap().empty());
}

TEST_F(StoreObjectAgents, TextKeysAscendByTheirBytes) {
  { // in a separate session
    sto_Store store = MakeEmpty();
    auto const map = OpenTexts(store);
    for (char const* const key : {"b", "", "a10", "a9", "\xC3\xA4"}) Put(*map, cow_String(key), 1);
  }
  sto_Store store = Open();
  auto const map = OpenTexts(store);
  std::vector<std::string> keys;
  cow_String key;
  for (bool isThere = (*map)->FirstKey(key); isThere; isThere = (*map)->NextKey(key))
    keys.emplace_back(key.View());
  EXPECT_EQ(keys, (std::vector<std::string>{"", "a10", "a9", "b", "\xC3\xA4"}));
  EXPECT_TRUE((*map)->Contains(cow_String())); // no text is the empty key
}

TEST_F(StoreObjectAgents, OfStoredDuplicatesTheFirstCounts) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
    for (int const key : {4, 2, 4}) InsertNode(*map, key, Node(map->Count()));
  });
  auto const map = OpenMap(store);
  EXPECT_EQ(ValuesOf(*map), (std::map<int, int>{{2, 1}, {4, 0}}));
}

TEST_F(StoreObjectAgents, RollbackBringsBackWhatWasCommitted) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  auto const map = OpenMap(store);
  Put(*list, 0, 1);
  Put(*map, 1, 1);
  {
    sto_Transaction transaction(store);
    Put(*list, 0, 2);
    Put(*list, 1, 3);
    (*map)->Clear();
    EXPECT_EQ((*list)->Count(), 2);
  }
  EXPECT_EQ(ValuesOf(*list), (Ints{1}));
  EXPECT_EQ(ValuesOf(*map), (std::map<int, int>{{1, 1}}));
  EXPECT_FALSE((*list)->Changed()); // rolling back is not another session's change
  Put(*list, 1, 4);
  EXPECT_EQ(StoredList(), (Ints{1, 4}));
}

TEST_F(StoreObjectAgents, UndoneSaveKeepsWhatTheTransactionHadBefore) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  sto_Transaction transaction(store);
  Put(*list, 0, 1);
  (*list)->SetCount(2);
  EXPECT_THROW(SaveFields(
                   store,
                   [&](cls_WriteVisitor const&) {
                     Put(*list, 1, 5);
                     (*list)->Remove(0);
                     throw std::runtime_error("the class itself fails");
                   },
                   "other"),
               std::runtime_error);
  EXPECT_EQ(ValuesOf(*list), (Ints{1, -1}));
  transaction.Commit();
  EXPECT_EQ(StoredList(), (Ints{1, -1}));
}

TEST_F(StoreObjectAgents, ElementThatFailsToWriteItselfIsUndone) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  Put(*list, 0, 1);
  for (bool const inTransaction : {false, true}) {
    auto const transaction = inTransaction ? std::make_unique<sto_Transaction>(store) : nullptr;
    EXPECT_THROW(
        {
          Scripted const element(
              [](cls_WriteVisitor const&) { throw std::runtime_error("the class itself fails"); });
          cls_AgentRequestListObj const request(&**list, 1);
          element.DBWrite(cls_WriteVisitor(request, &element));
        },
        std::runtime_error);
    EXPECT_EQ(ValuesOf(*list), (Ints{1}));
    if (transaction) transaction->Commit();
  }
  EXPECT_EQ(StoredList(), (Ints{1}));
}

TEST_F(StoreObjectAgents, FailureThatWasSwallowedIsRaisedNext) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  Scripted const element([](cls_WriteVisitor const& visitor) {
    MessageOf(sto_ErrorKind::Misuse, [&] { visitor.Write(Field("m_Undeclared"), 1); }); // swallowed
  });
  cls_AgentRequestListObj const request(&**list, 0);
  element.DBWrite(cls_WriteVisitor(request, &element));
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { (*list)->Count(); });
  EXPECT_TRUE(Contains(message, "An object could not be saved")) << message;
  EXPECT_EQ((*list)->Count(), 0);
  Put(*list, 0, 1);
  EXPECT_EQ(StoredList(), (Ints{1}));
}

TEST_F(StoreObjectAgents, ElementsMayBeWrittenWhileAnotherIs) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  Scripted const element([&](cls_WriteVisitor const& visitor) {
    visitor.Write(Field("m_Text"), "outer"_cow);
    Put(*list, 1, 7);
  });
  cls_AgentRequestListObj const request(&**list, 0);
  element.DBWrite(cls_WriteVisitor(request, &element));
  EXPECT_EQ(StoredList(), (Ints{-1, 7}));
  EXPECT_EQ(Own((*list)->MakeReadObj(0))->Read(Field("m_Text"), ""_cow), "outer"_cow);
}

TEST_F(StoreObjectAgents, ElementIsReadWithAllItHolds) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  Node root(1);
  root.m_Left = root.m_Right = std::make_shared<Node>(2);
  {
    cls_AgentRequestListObj const request(&**list, 0);
    root.DBWrite(cls_WriteVisitor(request, &root));
  }
  cls_ReadVisitor const visitor((*list)->MakeReadObj(0));
  auto const node = sto_ConstructShared<Node>(visitor);
  EXPECT_EQ(node->m_Left->m_Value, 2);
  EXPECT_EQ(node->m_Left, node->m_Right); // one load
  EXPECT_EQ(node->m_Uid.Entry(), root.m_Uid.Entry());
}

TEST_F(StoreObjectAgents, LoadOfAnElementEndsWithItsMemento) {
  sto_Store store = MakeEmpty();
  auto const list = OpenList(store);
  Put(*list, 0, 1);
  {
    auto const first = Own((*list)->MakeReadObj(0));
    auto const second = Own((*list)->MakeReadObj(0));
    MessageOf(sto_ErrorKind::Misuse, [&] { sto_Transaction const transaction(store); });
    MessageOf(sto_ErrorKind::Misuse, [&] { Put(*list, 1, 1); });
  }
  sto_Transaction const transaction(store);
}

TEST_F(StoreObjectAgents, OtherSessionsSeeCommitsAndReportTheChange) {
  sto_Store mine = MakeEmpty();
  sto_Store theirs = Open();
  auto const my = OpenList(mine);
  auto const their = OpenList(theirs);
  EXPECT_FALSE((*their)->Changed());
  Put(*my, 0, 1);
  EXPECT_FALSE((*my)->Changed());
  EXPECT_TRUE((*their)->Changed());
  EXPECT_FALSE((*their)->Changed());
  EXPECT_EQ(ValuesOf(*their), (Ints{1}));
  Put(*their, 1, 2);
  EXPECT_EQ((*my)->Count(), 2);
  Put(*my, 2, 3);
  EXPECT_EQ(ValuesOf(*their), (Ints{1, 2, 3}));
}

TEST_F(StoreObjectAgents, ReadOnlyStoreRefusesToWrite) {
  { sto_Store const store = MakeEmpty(); }
  sto_Store store = Open(sto_Mode::ReadOnly);
  auto const list = OpenList(store);
  auto const map = OpenMap(store);
  EXPECT_TRUE((*list)->ReadOnly());
  EXPECT_TRUE((*map)->ReadOnly());
  MessageOf(sto_ErrorKind::ReadOnly, [&] { Put(*list, 0, 1); });
  MessageOf(sto_ErrorKind::ReadOnly, [&] { (*list)->SetCount(1); });
  MessageOf(sto_ErrorKind::ReadOnly, [&] { (*map)->Clear(); });
}

TEST_F(StoreObjectAgents, WritingInATransactionThatOnlyReadsIsRefused) {
  sto_Store store = MakeEmpty();
  EXPECT_FALSE((*OpenList(store))->ReadOnly());
  auto const list = OpenList(store);
  auto const map = OpenMap(store);
  sto_ReadTransaction const transaction(store);
  MessageOf(sto_ErrorKind::Misuse, [&] { Put(*list, 0, 1); });
  MessageOf(sto_ErrorKind::Misuse, [&] { (*list)->SetCount(1); });
  MessageOf(sto_ErrorKind::Misuse, [&] { (*map)->Remove(1); });
  EXPECT_EQ((*list)->Count(), 0);
}

TEST_F(StoreObjectAgents, AbsentCollectionIsEmptyAndReadOnly) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  auto const list = OpenList(store);
  auto const map = OpenMap(store);
  EXPECT_EQ((*list)->Count() + (*map)->Count(), 0);
  EXPECT_TRUE((*list)->ReadOnly() && (*map)->ReadOnly());
  std::string const message = MessageOf(sto_ErrorKind::ReadOnly, [&] { Put(*list, 0, 1); });
  EXPECT_TRUE(Contains(message, "is not stored and cannot be written")) << message;
  EXPECT_EQ(Own((*map)->MakeReadObj(1))->ClassId(), 1U);
}

TEST_F(StoreObjectAgents, CollectionHasOneAgentInASession) {
  sto_Store store = MakeEmpty();
  auto const one = OpenList(store);
  auto const two = OpenList(store);
  EXPECT_EQ(&**one, &**two);
  Put(*one, 0, 1);
  EXPECT_EQ(ValuesOf(*two), (Ints{1}));
}

TEST_F(StoreObjectAgents, AgentOfAnotherKindIsRefused) {
  sto_Store store = MakeEmpty();
  auto const message = [&](std::string const& field, auto make) {
    std::string text;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      text = MessageOf(sto_ErrorKind::WrongClass, [&] { make(*ReadIn(visitor, field)); });
    }));
    return text;
  };
  auto const asMap = [](cls_MementoRead& memento) {
    memento.MakeAgentMapKey2Obj(static_cast<int*>(nullptr));
  };
  auto const asTexts = [](cls_MementoRead& memento) {
    memento.MakeAgentMapKey2Obj(static_cast<cow_String*>(nullptr));
  };
  auto const asInts = [](cls_MementoRead& memento) { memento.MakeAgentListPrim(static_cast<int*>(nullptr)); };
  auto const asList = [](cls_MementoRead& memento) { memento.MakeAgentListObj(); };
  EXPECT_TRUE(Contains(message("m_Objects", asMap), "The map of object 2 is none: the object holds no map."));
  EXPECT_TRUE(
      Contains(message("m_ByInt", asList), "The list of object 3 is none: the object holds no list."));
  EXPECT_TRUE(
      Contains(message("m_ByInt", asTexts), "is stored as a map from int to objects and cannot be opened"));
  EXPECT_TRUE(Contains(message("m_Objects", asInts), "is stored as a list of objects and cannot be opened"));
  auto const list = OpenList(store);
  auto const map = OpenMap(store);
  EXPECT_TRUE(Contains(message("m_Objects", asInts), "is open as a list of objects, not as a list of int."));
  EXPECT_TRUE(Contains(message("m_ByInt", asTexts),
                       "is open as a map from int to objects, not as a map from string to objects."));
}

TEST_F(StoreObjectAgents, OpenCollectionIsNotReplaced) {
  sto_Store store = Create();
  Scripted object;
  cls_Uid const uid;
  std::unique_ptr<List> list;
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    list = std::make_unique<List>(WriteIn(visitor, "m_Objects", ListClass, uid)->MakeAgentListObj(1));
  };
  store.Save("root", object);
  object.m_Write = [&](cls_WriteVisitor const& visitor) {
    Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), uid));
  };
  std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("root", object); });
  EXPECT_TRUE(Contains(message, "is open as a bulk array and cannot be replaced")) << message;
}

TEST_F(StoreObjectAgents, AgentOfAnotherClassThanItsCollectionIsRefused) {
  sto_Store store = Create();
  auto const save = [&](std::string const& field, unsigned int classId) {
    return MessageOf(sto_ErrorKind::Misuse, [&] {
      SaveFields(store, [&](cls_WriteVisitor const& visitor) {
        WriteIn(visitor, field, classId)->MakeAgentListObj(1);
      });
    });
  };
  EXPECT_TRUE(
      Contains(save("m_Objects", MapClass), "A list of objects is written into object 2 (cls_InternalMap)"));
  EXPECT_TRUE(Contains(save("m_Ints", ListClass), "but a list of objects is written"));
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreObjectAgents, NewCollectionOfAnUndoneTransactionSaysSo) {
  sto_Store store = Create();
  std::unique_ptr<List> list;
  cls_Uid const uid;
  auto const save = [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      cls_WriteVisitor const field(visitor, cls_FieldHandle("m_Objects"_cow), nullptr, nullptr);
      field.StartWrite(ListClass, uid);
      if (list != nullptr) return;
      list = std::make_unique<List>(field.Memento()->MakeAgentListObj(1));
      Put(*list, 0, 1);
    });
  };
  {
    sto_Transaction const transaction(store);
    save();
  }
  auto const unavailable = [](std::function<void()> const& act) {
    std::string const message = MessageOf(sto_ErrorKind::Unavailable, act);
    EXPECT_TRUE(Contains(message, "The list of object 2 was made in work that was undone")) << message;
  };
  EXPECT_EQ(list->m_Detaches, 0);
  unavailable([&] { (*list)->Count(); });
  unavailable([&] { (*list)->SetCount(2); });
  unavailable([&] { (*list)->Remove(0); });
  unavailable([&] { (*list)->Changed(); });
  unavailable([&] { (*list)->MakeReadObj(0); });
  unavailable([&] { Put(*list, 0, 1); });
  unavailable(save);
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreObjectAgents, ClosingTheStoreFlushesAndDetaches) {
  std::unique_ptr<List> list;
  std::unique_ptr<IntMap> map;
  cls_AgentListObj* bare = nullptr;
  {
    sto_Store store = MakeEmpty();
    list = OpenList(store);
    map = OpenMap(store);
    bare = list->m_Agent;
    bare->AddReference(); // a reference outside of any ring
  }
  EXPECT_EQ(list->m_Flushes, 1);
  EXPECT_EQ(list->m_Detaches, 1);
  EXPECT_EQ(map->m_Detaches, 1);
  auto const unavailable = [](std::function<void()> const& act) {
    std::string const message = MessageOf(sto_ErrorKind::Unavailable, act);
    EXPECT_TRUE(Contains(message, "The list of object 2 cannot be reached any more: its store was closed."))
        << message;
  };
  unavailable([&] { bare->Count(); });
  unavailable([&] { bare->SetCount(2); });
  unavailable([&] { bare->Remove(0); });
  unavailable([&] { bare->Changed(); });
  unavailable([&] { bare->MakeReadObj(0); });
  unavailable([&] { bare->MakeWriteObj(0, Node::TypeId(), cls_Uid()); });
  EXPECT_TRUE(bare->ReadOnly());
  bare->EndFlush();
  bare->DropReference();
  EXPECT_FALSE(bare->StillReferenced());
  delete bare;
}

TEST_F(StoreObjectAgents, AgentThatIsDeletedBeforeTheCommitHasWritten) {
  sto_Store store = MakeEmpty();
  {
    sto_Transaction transaction(store);
    {
      auto const list = OpenList(store);
      (*list)->SetCount(2);
      Put(*list, 0, 1);
    }
    transaction.Commit();
  }
  EXPECT_EQ(StoredList(), (Ints{1, -1}));
}

TEST_F(StoreObjectAgents, DamagedBlockIsReportedWhenTheListIsOpened) {
  {
    sto_Store store = MakeEmpty();
    (*OpenList(store))->SetCount(3000);
  }
  SqlFile(Path()).Run("UPDATE stored_block SET data = x'00' WHERE key = (2 << 20) + 1");
  sto_Store store = Open();
  MessageOf(sto_ErrorKind::Damaged, [&] { OpenList(store); });
}

TEST_F(StoreObjectAgents, AgentOfUndoneWorkThatNoContainerHoldsSaysSo) {
  sto_Store store = Create();
  cls_AgentListPrim<int>* agent = nullptr;
  int const tag = 0;
  auto const save = [&](std::string_view root) {
    SaveFields(
        store,
        [&](cls_WriteVisitor const& visitor) {
          agent = WriteIn(visitor, "m_Ints", ListClass)->MakeAgentListPrim(&tag, 1);
          agent->AddReference();
          agent->WriteRun(0, 1, &tag);
        },
        root);
  };
  {
    sto_Transaction transaction(store);
    save("undone");
  } // rolled back
  auto const undone = Own(agent);
  int read = 0;
  MessageOf(sto_ErrorKind::Unavailable, [&] { undone->Count(); });
  MessageOf(sto_ErrorKind::Unavailable, [&] { undone->ReadRun(0, 1, &read); });
  MessageOf(sto_ErrorKind::Unavailable, [&] { undone->WriteRun(0, 1, &tag); });
  save("stored"); // reuses the ids
  EXPECT_NE(agent, undone.get());
  EXPECT_EQ(agent->Count(), 1);
  MessageOf(sto_ErrorKind::Unavailable, [&] { undone->Count(); });
  delete agent;
}

TEST_F(StoreObjectAgents, ElementThatIsSavedAgainDoesNotChangeItsCollection) {
  sto_Store store = MakeEmpty();
  auto const map = OpenMap(store);
  Node node(1);
  auto const save = [&] {
    cls_AgentRequestMapKey2Obj<int> const request(&**map, 5);
    node.DBWrite(cls_WriteVisitor(request, &node));
  };
  save();
  sto_Store other = Open(sto_Mode::ReadOnly);
  auto const seen = OpenMap(other);
  EXPECT_EQ(ValuesOf(*seen), (std::map<int, int>{{5, 1}}));
  node.m_Value = 2;
  save();
  EXPECT_FALSE((*seen)->Changed());
  EXPECT_EQ(ValuesOf(*seen), (std::map<int, int>{{5, 2}}));
  Put(*map, 5, 3); // another element
  EXPECT_TRUE((*seen)->Changed());
}

TEST_F(StoreObjectAgents, AgentThatIsLetGoInASaveThatFailsTakesTheTransactionWithIt) {
  sto_Store store = MakeEmpty();
  auto list = OpenList(store);
  Put(*list, 0, 1);
  {
    sto_Transaction transaction(store);
    Put(*list, 1, 2); // not in the store yet, and undone only by the agent
    EXPECT_THROW(SaveFields(
                     store,
                     [&](cls_WriteVisitor const&) {
                       Put(*list, 2, 3);
                       list.reset();
                       throw std::runtime_error("the save fails");
                     },
                     "acting"),
                 std::runtime_error);
    std::string const message =
        MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(store.Roots()); });
    EXPECT_TRUE(Contains(message, "undone")) << message;
    MessageOf(sto_ErrorKind::Unavailable, [&] { transaction.Commit(); });
  }
  EXPECT_EQ(ValuesOf(*OpenList(store)), (Ints{1}));
  EXPECT_EQ(StoredList(), (Ints{1}));
}

TEST_F(StoreObjectAgents, CollectionThatIsNotWrittenYetIsSeenByEverything) {
  sto_Store store = MakeEmpty();
  std::int64_t const before = store.ObjectCount();
  sto_Transaction transaction(store);
  std::unique_ptr<List> made;
  SaveFields(
      store,
      [&](cls_WriteVisitor const& visitor) {
        made = std::make_unique<List>(WriteIn(visitor, "m_Objects", ListClass)->MakeAgentListObj(8));
        Put(*made, 0, 7);
      },
      "made");
  EXPECT_EQ(store.ObjectCount(), before + 3); // its holder, the list, the element
  Put(*made, 1, 8);
  EXPECT_EQ(store.CountGarbage(), 0);
  static_cast<void>(LoadFields(
      store,
      [&](cls_ReadVisitor const& visitor) {
        EXPECT_EQ(visitor.DataIsPresent(Field("m_Objects")), 1);
        List again(ReadIn(visitor, "m_Objects")->MakeAgentListObj());
        EXPECT_EQ(ValuesOf(again), (Ints{7, 8}));
      },
      "made"));
  Put(*made, 2, 9);
  transaction.Commit();
  EXPECT_EQ(ValuesOf(*made), (Ints{7, 8, 9}));
}

TEST_F(StoreObjectAgents, ElementThatOutlivesItsTransactionDoesNotKeepItsState) {
  sto_Store store = MakeEmpty();
  std::unique_ptr<List> const list = OpenList(store);
  for (int i = 0; i < 3; ++i) Put(*list, i, i);
  std::unique_ptr<cls_MementoRead> element;
  {
    sto_Transaction const transaction(store);
    element.reset((*list)->MakeReadObj(0));
  }
  {
    sto_Store other = Open();
    std::unique_ptr<List> const same = OpenList(other);
    Put(*same, 1, 77);
  }
  EXPECT_EQ(NodeValue((*list)->MakeReadObj(1)), 77);
  EXPECT_EQ(NodeValue(element.release()), 0); // what it has read
}

} // namespace
