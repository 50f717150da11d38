#include "store/sto_Proxy.h"

#include <numeric>

#include "persist/backend/cls_AgentBlob.h"
#include "tests/support/store/StoreCollections.h"
#include "tests/support/store/StoreRows.h"

namespace {

using Proxy = cow_CountedHld<cls_AgentProxy>;

/// Copies of stored objects between two stores.
class StoreProxy : public StoreCollectionTest {
 protected:
  /// Copies the source's root into m_Object of a new root in the target.
  static void CopyTo(sto_Store& target, Proxy const& proxy, std::string const& field = "m_Object") {
    SaveFields(target, [&](cls_WriteVisitor const& visitor) {
      EXPECT_TRUE(visitor.Memento()->CopyBranch(proxy.Ptr(), Field(field)));
    });
  }
  /// Calls `read` on the copy.
  static void WithCopy(sto_Store& target, Scripted::ReadFields const& read,
                       std::string const& field = "m_Object") {
    static_cast<void>(LoadFields(
        target, [&](cls_ReadVisitor const& visitor) { read(cls_ReadVisitor(visitor, Field(field))); }));
  }
};

TEST_F(StoreProxy, GraphIsCopiedWithItsCyclesAndSharedObjects) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  auto const root = std::make_shared<Node>(1);
  root->m_Left = root->m_Right = std::make_shared<Node>(2);
  root->m_Left->m_Back = root;
  source.Save("graph", *root);
  SaveFields(
      target, [](cls_WriteVisitor const&) {}, "before"); // so that ids and names differ
  CopyTo(target, sto_MakeProxy(source, "graph"));
  EXPECT_EQ(target.ObjectCount(), 4);
  WithCopy(target, [&](cls_ReadVisitor const& visitor) {
    auto const copy = sto_ConstructShared<Node>(visitor);
    EXPECT_EQ(copy->m_Value, 1);
    ASSERT_NE(copy->m_Left, nullptr);
    EXPECT_EQ(copy->m_Left->m_Value, 2);
    EXPECT_EQ(copy->m_Left, copy->m_Right);
    EXPECT_EQ(copy->m_Left->m_Back.lock(), copy);
    EXPECT_NE(copy->m_Uid.Entry(), root->m_Uid.Entry());
  });
  EXPECT_EQ(source.ObjectCount(), 2);
}

TEST_F(StoreProxy, EveryKindOfValueIsCopied) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  SaveFields(
      target, [](cls_WriteVisitor const& visitor) { visitor.Write(Field("m_Text"), "x"_cow); }, "before");
  SaveFields(source, [](cls_WriteVisitor const& visitor) {
    visitor.Write(Field("m_Text"), "text"_cow);
    visitor.Memento()->WriteBytes(Field("m_Bytes"), "\1\0\2", 3);
    auto const ints = WriteIn(visitor, "m_Ints", ListClass);
    auto const inlineList = Own(ints->MakeWriteListPrim(static_cast<int const*>(nullptr), 4));
    for (int i = 0; i < 8; ++i) inlineList->Append(i);
    auto const table = WriteIn(visitor, "m_Table", ListClass);
    auto const longList = Own(table->MakeWriteListPrim(static_cast<double const*>(nullptr), 100));
    for (int i = 0; i < 10'000; ++i) longList->Append(i / 4.0);
    auto const any = WriteIn(visitor, "m_Any", MapClass);
    auto const map = Own(any->MakeWriteMapInt2Prim(static_cast<cow_String const*>(nullptr)));
    map->Insert(3, "three"_cow);
    map->Insert(-3, cow_String());
    auto const second = WriteIn(visitor, "m_Second", MapClass);
    Own(second->MakeWriteIntTableInt())->Insert(5, 6);
  });
  CopyTo(target, sto_MakeProxy(source, "root"));
  WithCopy(target, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(Field("m_Text"), ""_cow), "text"_cow);
    char bytes[3] = {};
    EXPECT_EQ(visitor.Memento()->ReadBytes(Field("m_Bytes"), bytes, 3), 3);
    EXPECT_EQ(std::string_view(bytes, 3), std::string_view("\1\0\2", 3));
    auto const ints = Own(ReadIn(visitor, "m_Ints")->MakeReadListPrim(static_cast<int*>(nullptr)));
    EXPECT_EQ(ints->RowWidth(), 4);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(ints->Next(), i);
    auto const table = Own(ReadIn(visitor, "m_Table")->MakeReadListPrim(static_cast<double*>(nullptr)));
    ASSERT_EQ(table->Count(), 10'000);
    for (int i = 0; i < 10'000; ++i) ASSERT_EQ(table->Next(), i / 4.0);
    auto const map = Own(ReadIn(visitor, "m_Any")->MakeReadMapInt2Prim(static_cast<cow_String*>(nullptr)));
    EXPECT_EQ(map->Next(), "three"_cow);
    EXPECT_FALSE(map->Next().HasText());
    auto const pairs = Own(visitor.Memento()->MakeFieldReadIntTableInt(Field("m_Second")));
    EXPECT_EQ(pairs->Next(), 6);
  });
}

TEST_F(StoreProxy, CollectionsOfObjectsAreCopiedWithTheirElements) {
  static constexpr int Count = 3000; // stored in blocks
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  SaveFields(source, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < Count; ++i) AppendNode(*list, Node(i));
    auto const byInt = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
    for (int i = 0; i < 5; ++i) InsertNode(*byInt, -i, Node(10 * i));
    auto const byString = Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid()));
    InsertNode(*byString, "node"_cow, Node(7));
    InsertNode(*byString, cow_String(), Node(8));
  });
  CopyTo(target, sto_MakeProxy(source, "root"));
  EXPECT_EQ(target.ObjectCount(), 1 + source.ObjectCount());
  WithCopy(target, [](cls_ReadVisitor const& visitor) {
    auto const list = Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")));
    ASSERT_EQ(list->Count(), Count);
    for (int i = 0; i < Count; ++i) ASSERT_EQ(NodeValue(list->Next()), i);
    auto const byInt = Own(visitor.Memento()->MakeFieldReadMapInt2Obj(Field("m_ByInt")));
    ASSERT_TRUE(byInt->Find(-4));
    int key = 0;
    EXPECT_EQ(NodeValue(byInt->Fetch(key)), 40);
    auto const byString = Own(visitor.Memento()->MakeFieldReadMapString2Obj(Field("m_ByString")));
    cow_String text;
    byString->Next();
    EXPECT_EQ(NodeValue(byString->Fetch(text)), 7);
    EXPECT_EQ(text, "node"_cow);
    byString->Next();
    EXPECT_EQ(NodeValue(byString->Fetch(text)), 8);
    EXPECT_FALSE(text.HasText());
  });
}

TEST_F(StoreProxy, BlobIsCopied) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  std::vector<char> bytes(50'000);
  std::iota(bytes.begin(), bytes.end(), '\0');
  SaveFields(source, [&](cls_WriteVisitor const& visitor) {
    std::unique_ptr<cls_AgentBlob> const blob(WriteIn(visitor, "m_Blob", 0x230005)->MakeAgentBlob());
    blob->Write(0, static_cast<long long>(bytes.size()), bytes.data());
  });
  CopyTo(target, sto_MakeProxy(source, "root"));
  WithCopy(target, [&](cls_ReadVisitor const& visitor) {
    std::unique_ptr<cls_AgentBlob> const blob(ReadIn(visitor, "m_Blob")->MakeAgentBlob());
    std::vector<char> copy(bytes.size());
    EXPECT_EQ(blob->Size(), static_cast<long long>(bytes.size()));
    blob->Read(0, static_cast<long long>(copy.size()), copy.data());
    EXPECT_EQ(copy, bytes);
  });
}

TEST_F(StoreProxy, ReferencedObjectIsCopiedToo) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  Node const stored(5);
  Node const unstored(6);
  source.Save("stored", stored);
  SaveFields(source, [&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(Field("m_Reference"), stored.m_Uid);
  });
  CopyTo(target, sto_MakeProxy(source, "root"));
  WithCopy(target, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.DataIsPresent(Field("m_Reference")), 1);
    EXPECT_EQ(ReadIn(visitor, "m_Reference")->Read(Field("m_Value"), -1), 5);
  });
  SaveFields(source, [&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(Field("m_Reference"), unstored.m_Uid);
  });
  CopyTo(target, sto_MakeProxy(source, "root"));
  WithCopy(target, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.FieldIsPresent(Field("m_Reference")), 1);
    EXPECT_EQ(visitor.DataIsPresent(Field("m_Reference")), 0);
  });
}

TEST_F(StoreProxy, CollectionIsCopiedIntoACollectionField) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  SaveFields(source, [](cls_WriteVisitor const& visitor) {
    AppendNode(*Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())), Node(4));
  });
  Proxy proxy;
  static_cast<void>(LoadFields(source, [&](cls_ReadVisitor const& visitor) {
    proxy = sto_MakeProxy(cls_ReadVisitor(visitor, Field("m_Objects")));
  }));
  CopyTo(target, proxy, "m_Objects");
  static_cast<void>(LoadFields(target, [&](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(NodeValue(Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")))->At(0)), 4);
  }));
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { CopyTo(target, proxy, "m_Object"); });
  EXPECT_TRUE(Contains(message, "m_Object of class Scripted version 1 is declared as ATTR_OBJECT, "
                                "COLLECTION_NONE, but a list is written: declare it with the collection type "
                                "of that list"))
      << message;
}

TEST_F(StoreProxy, BranchIsCopiedWithinOneStore) {
  sto_Store store = Create();
  Node const node(3);
  store.Save("node", node);
  CopyTo(store, sto_MakeProxy(store, "node"));
  EXPECT_EQ(store.ObjectCount(), 3);
  WithCopy(store, [&](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(Field("m_Value"), -1), 3);
    EXPECT_NE(visitor.GetUid().Entry(), node.m_Uid.Entry());
  });
}

TEST_F(StoreProxy, EachCopyIsANewObject) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  source.Save("node", Node(3));
  Proxy const proxy = sto_MakeProxy(source, "node");
  CopyTo(target, proxy);
  CopyTo(target, proxy);
  EXPECT_EQ(target.ObjectCount(), 4);
}

TEST_F(StoreProxy, CopyHasTheStateAtTheTimeOfCopying) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  Node node(3);
  source.Save("node", node);
  Proxy const proxy = sto_MakeProxy(source, "node");
  node.m_Value = 4;
  sto_Transaction const transaction(source); // uncommitted, but visible
  source.Save("node", node);
  CopyTo(target, proxy);
  WithCopy(target, [](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(Field("m_Value"), -1), 4); });
}

TEST_F(StoreProxy, ClassThatTheTargetDoesNotKnowIsRefused) {
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
      .AddAttribute(Field("m_Object"), ATTR_OBJECT, 1, COLLECTION_NONE);
  sto_Store source = Create("source");
  sto_Store target = sto_Store::Open(Path("target"), sto_Mode::Create, classes);
  source.Save("node", Node(3));
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { CopyTo(target, sto_MakeProxy(source, "node")); });
  EXPECT_TRUE(Contains(message, "An object of class Node of") &&
              Contains(message, "is not declared in the registrar"))
      << message;
  EXPECT_EQ(target.ObjectCount(), 0);
}

TEST_F(StoreProxy, FailureThatIsSwallowedStillUndoesTheSave) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  source.Save("node", Node(3));
  SqlFile file(Path("source"));
  file.Unpack();
  file.Run("UPDATE object SET record = x'00'");
  sto_Store damaged = Open(sto_Mode::ReadOnly, "source");
  Proxy proxy;
  {
    sto_Store whole = Create("whole");
    whole.Save("node", Node(3));
    proxy = sto_MakeProxy(whole, "node");
  }
  MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(target, [&](cls_WriteVisitor const& visitor) {
      std::string const message = MessageOf(
          sto_ErrorKind::Unavailable, [&] { visitor.Memento()->CopyBranch(proxy.Ptr(), Field("m_Object")); });
      EXPECT_TRUE(Contains(message, "Object 1 cannot be copied any more: its store was closed.")) << message;
    });
  });
  EXPECT_EQ(target.ObjectCount(), 0);
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(sto_MakeProxy(damaged, "node")); });
}

TEST_F(StoreProxy, ClassVersionThatIsDescribedDifferentlyIsRefused) {
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
      .AddAttribute(Field("m_Object"), ATTR_OBJECT, 1, COLLECTION_NONE);
  classes.CreateClassMD("Node"_cow, Node::TypeId(), 1, nullptr, 1)
      .AddAttribute(Field("m_Value"), ATTR_DOUBLE, 1, COLLECTION_NONE);
  sto_Store source = Create("source");
  sto_Store target = sto_Store::Open(Path("target"), sto_Mode::Create, classes);
  source.Save("node", Node(3));
  std::string const message =
      MessageOf(sto_ErrorKind::Conflict, [&] { CopyTo(target, sto_MakeProxy(source, "node")); });
  EXPECT_TRUE(Contains(message, "Class Node version 1 is described differently in")) << message;
  EXPECT_EQ(target.ObjectCount(), 0);
}

TEST_F(StoreProxy, OlderVersionIsCopiedWithItsDescription) {
  cls_ClassRegistrar classes;
  DeclareCollections(classes);
  DeclareNode(classes, 2);
  sto_Store source = Create("source");
  source.Save("node", Node(3));
  {
    sto_Store target = sto_Store::Open(Path("target"), sto_Mode::Create, classes);
    CopyTo(target, sto_MakeProxy(source, "node"));
    WithCopy(target, [](cls_ReadVisitor const& visitor) {
      EXPECT_EQ(visitor.Memento()->ClassVersion(), 1);
      EXPECT_EQ(visitor.Read(Field("m_Value"), -1), 3);
    });
  }
  std::string const classId = std::to_string(Node::TypeId());
  EXPECT_EQ(Query("SELECT group_concat(version) FROM class WHERE class_id = " + classId, "target"), 1);
  EXPECT_EQ(Query("SELECT count(*) FROM attribute WHERE class_id = " + classId, "target"), 4);
}

TEST_F(StoreProxy, MissingElementOfACollectionIsReportedAndNothingIsCopied) {
  for (std::string const kind : {"list", "map", "texts"}) {
    sto_Store source = Create(kind);
    SaveFields(source, [&](cls_WriteVisitor const& visitor) {
      cls_MementoWrite& memento = *visitor.Memento();
      if (kind == "list")
        AppendNode(*Own(memento.MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())), Node(1));
      else if (kind == "map")
        InsertNode(*Own(memento.MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid())), 4, Node(2));
      else
        InsertNode(*Own(memento.MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid())), "k"_cow,
                   Node(3));
    });
    SqlFile file(Path(kind));
    file.Unpack();
    file.Run("DELETE FROM object WHERE id = (SELECT max(id) FROM object)"); // the element
    sto_Store target = Create("to " + kind);
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { CopyTo(target, sto_MakeProxy(source, "root")); });
    EXPECT_TRUE(Contains(message, "is missing")) << message;
    EXPECT_EQ(target.ObjectCount(), 0);
  }
}

TEST_F(StoreProxy, AttributesOfAStoreThatDoesNotDescribeThemMustFitTheTargetsDescription) {
  sto_Store source = Create("source");
  source.Save("node", Node(3));
  {
    SqlFile file(Path("source"));
    RunSealed(file, "DELETE FROM attribute"); // as in a store of format 1
  }
  {
    sto_Store target = Create("target");
    target.Save("node", Node(4)); // describes the class
    CopyTo(target, sto_MakeProxy(source, "node"));
    WithCopy(target,
             [](cls_ReadVisitor const& visitor) { EXPECT_EQ(visitor.Read(Field("m_Value"), -1), 3); });
  }
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
      .AddAttribute(Field("m_Object"), ATTR_OBJECT, 1, COLLECTION_NONE);
  classes.CreateClassMD("Node"_cow, Node::TypeId(), 1, nullptr, 1)
      .AddAttribute(Field("m_Other"), ATTR_INT, 1, COLLECTION_NONE);
  sto_Store target = sto_Store::Open(Path("other"), sto_Mode::Create, classes);
  std::string const message =
      MessageOf(sto_ErrorKind::Conflict, [&] { CopyTo(target, sto_MakeProxy(source, "node")); });
  EXPECT_TRUE(Contains(message, "m_Value") && Contains(message, "Node version 1")) << message;
  EXPECT_EQ(target.ObjectCount(), 0);
}

TEST_F(StoreProxy, NewerVersionThanTheTargetKnowsIsRefused) {
  cls_ClassRegistrar classes;
  DeclareCollections(classes);
  DeclareNode(classes, 2);
  sto_Store source = sto_Store::Open(Path("source"), sto_Mode::Create, classes);
  sto_Store target = Create("target");
  source.Save("node", Node(3));
  std::string const message =
      MessageOf(sto_ErrorKind::NewerFormat, [&] { CopyTo(target, sto_MakeProxy(source, "node")); });
  EXPECT_TRUE(Contains(message, "Node version 2") && Contains(message, "knows version 1")) << message;
}

TEST_F(StoreProxy, ProxyOfAnotherModuleIsNotCopied) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  source.Save("node", Node(3));
  Proxy const proxy = sto_MakeProxy(source, "node");
  cls_AgentProxy foreign;
  SaveFields(target, [&](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    EXPECT_FALSE(memento.CopyBranch(nullptr, Field("m_Object")));
    EXPECT_FALSE(memento.CopyBranch(&foreign, Field("m_Object")));
    cls_StorageTypeId const other(sto_StorageType().Id() + 1);
    EXPECT_FALSE(proxy.Ptr()->Transfer(other, &memento, Field("m_Object")));
    EXPECT_FALSE(proxy.Ptr()->Transfer(sto_StorageType(), nullptr, Field("m_Object")));
    EXPECT_EQ(memento.FieldIsPresent(Field("m_Object")), 0);
    memento.StartSharedPtrOutput();
    memento.EndSharedPtrOutput();
  });
  EXPECT_EQ(target.ObjectCount(), 1);
}

TEST_F(StoreProxy, StorageTypeTakesNoNumberOfTheProgram) {
  EXPECT_LT(sto_StorageType().Id(), 0);
  // In a child process, so that other tests allocate the same numbers.
  EXPECT_EXIT(std::_Exit(cls_StorageTypeId::AllocateId()), testing::ExitedWithCode(1), "");
}

TEST_F(StoreProxy, ProxyOfAnAbsentObjectIsNull) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(sto_MakeProxy(store, "nowhere")); });
  EXPECT_EQ(sto_MakeProxy(cls_ReadVisitor(nullptr)).Ptr(), nullptr);
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(sto_MakeProxy(cls_ReadVisitor(visitor, Field("m_Object"))).Ptr(), nullptr);
    EXPECT_NE(sto_MakeProxy(visitor).Ptr(), nullptr);
  }));
}

TEST_F(StoreProxy, ProxyOfAnObjectWhoseSaveIsUndoneIsRefused) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  Proxy proxy;
  {
    sto_Transaction transaction(source);
    source.Save("undone", Node(1));
    proxy = sto_MakeProxy(source, "undone");
  }
  source.Save("other", Node(2)); // reuses the id
  std::string const message = MessageOf(sto_ErrorKind::Unavailable, [&] { CopyTo(target, proxy); });
  EXPECT_TRUE(Contains(message, "Object 1 cannot be copied any more: it was made in work that was undone"))
      << message;
  EXPECT_EQ(target.ObjectCount(), 0);
  CopyTo(target, sto_MakeProxy(source, "other"));
  EXPECT_EQ(target.ObjectCount(), 2);
}

} // namespace
