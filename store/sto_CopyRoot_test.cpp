#include <filesystem>
#include <numeric>

#include "persist/backend/cls_AgentBlob.h"
#include "store/sto_Proxy.h"
#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreCollections.h"
#include "tests/support/store/StoreFaultVfs.h"

namespace {

/// Copies of roots between stores.
class StoreRootCopies : public StoreCollectionTest {
 protected:
  static std::vector<std::string> Names(std::initializer_list<std::string> names) { return names; }

  /// An object with every kind of content, and a cycle, under one root.
  static void SaveEverything(sto_Store& store) {
    std::vector<char> bytes(50'000);
    std::iota(bytes.begin(), bytes.end(), '\0');
    SaveFields(
        store,
        [&](cls_WriteVisitor const& visitor) {
          cls_MementoWrite& memento = *visitor.Memento();
          visitor.Write(Field("m_Text"), "text"_cow);
          auto const table = WriteIn(visitor, "m_Table", ListClass);
          auto const list = Own(table->MakeWriteListPrim(static_cast<double const*>(nullptr), 100));
          for (int i = 0; i < 10'000; ++i) list->Append(i / 4.0);
          auto const any = WriteIn(visitor, "m_Any", MapClass);
          Own(any->MakeWriteMapInt2Prim(static_cast<cow_String const*>(nullptr)))->Insert(3, "three"_cow);
          AppendNode(*Own(memento.MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())), Node(5));
          InsertNode(*Own(memento.MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid())), "node"_cow,
                     Node(7));
          std::unique_ptr<cls_AgentBlob> const blob(WriteIn(visitor, "m_Blob", 0x230005)->MakeAgentBlob());
          blob->Write(0, static_cast<long long>(bytes.size()), bytes.data());
          auto const graph = std::make_shared<Node>(1);
          graph->m_Left = graph->m_Right = std::make_shared<Node>(2);
          graph->m_Left->m_Back = graph;
          graph->DBWrite(cls_WriteVisitor(visitor, Field("m_Object"), nullptr, graph.get()));
        },
        "all");
  }
  static void ExpectEverything(sto_Store& store, std::string_view root) {
    static_cast<void>(LoadFields(
        store,
        [](cls_ReadVisitor const& visitor) {
          EXPECT_EQ(visitor.Read(Field("m_Text"), ""_cow), "text"_cow);
          auto const list = Own(ReadIn(visitor, "m_Table")->MakeReadListPrim(static_cast<double*>(nullptr)));
          ASSERT_EQ(list->Count(), 10'000);
          EXPECT_EQ(list->RowWidth(), 100);
          for (int i = 0; i < 10'000; ++i) ASSERT_EQ(list->Next(), i / 4.0);
          auto const any =
              Own(ReadIn(visitor, "m_Any")->MakeReadMapInt2Prim(static_cast<cow_String*>(nullptr)));
          EXPECT_EQ(any->Next(), "three"_cow);
          EXPECT_EQ(NodeValue(Own(visitor.Memento()->MakeFieldReadListObj(Field("m_Objects")))->At(0)), 5);
          auto const map = Own(visitor.Memento()->MakeFieldReadMapString2Obj(Field("m_ByString")));
          cow_String key;
          map->Next();
          EXPECT_EQ(NodeValue(map->Fetch(key)), 7);
          EXPECT_EQ(key, "node"_cow);
          std::unique_ptr<cls_AgentBlob> const blob(ReadIn(visitor, "m_Blob")->MakeAgentBlob());
          ASSERT_EQ(blob->Size(), 50'000);
          char byte = 0;
          blob->Read(40'001, 1, &byte);
          EXPECT_EQ(byte, static_cast<char>(40'001));
          auto const graph = sto_ReadShared<Node>(visitor, Field("m_Object"));
          ASSERT_NE(graph, nullptr);
          EXPECT_EQ(graph->m_Left, graph->m_Right);
          EXPECT_EQ(graph->m_Left->m_Back.lock(), graph);
        },
        root));
  }
};

TEST_F(StoreRootCopies, RootIsCopiedWithAllThatItLeadsTo) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  target.Save("before", Node(1)); // so that ids differ
  SaveEverything(source);
  std::int64_t const count = source.ObjectCount();
  sto_CopyRoot(source, "all", target, "copy");
  ExpectEverything(target, "copy");
  EXPECT_EQ(target.ObjectCount(), 1 + count);
  EXPECT_EQ(target.CountGarbage(), 0);
  ExpectEverything(source, "all");
  EXPECT_EQ(source.ObjectCount(), count);
  sto_Store again = Open(sto_Mode::ReadOnly, "target");
  EXPECT_EQ(again.Roots(), Names({"before", "copy"}));
  ExpectEverything(again, "copy");
}

TEST_F(StoreRootCopies, RootIsCopiedWithinOneStore) {
  sto_Store store = Create();
  SaveEverything(store);
  std::int64_t const count = store.ObjectCount();
  sto_CopyRoot(store, "all", store, "copy");
  EXPECT_EQ(store.ObjectCount(), 2 * count);
  store.RemoveRoot("all");
  EXPECT_EQ(store.CollectGarbage(), count);
  ExpectEverything(store, "copy");
}

TEST_F(StoreRootCopies, CopyIsAnotherObjectThanTheOneInMemory) {
  sto_Store store = Create();
  Node node(3);
  store.Save("node", node);
  sto_CopyRoot(store, "node", store, "copy");
  node.m_Value = 4;
  store.Save("node", node);
  EXPECT_EQ(store.Load<Node>("copy")->m_Value, 3);
  EXPECT_NE(store.Load<Node>("copy")->m_Uid.Entry(), node.m_Uid.Entry());
}

TEST_F(StoreRootCopies, SessionsOfOneFileCopyBetweenEachOther) {
  sto_Store store = Create();
  store.Save("node", Node(3));
  sto_Store other = Open();
  sto_CopyRoot(store, "node", other, "copy");
  EXPECT_EQ(store.Load<Node>("copy")->m_Value, 3);
}

TEST_F(StoreRootCopies, NameThatIsTakenIsAConflictAndNothingIsCopied) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  source.Save("node", Node(3));
  target.Save("taken", Node(4));
  std::string const message =
      MessageOf(sto_ErrorKind::Conflict, [&] { sto_CopyRoot(source, "node", target, "taken"); });
  EXPECT_EQ(message, Path("target") + ": Root node of " + Path("source") +
                         " cannot be copied to root taken: there is a root of that name. Remove or rename it "
                         "first.");
  EXPECT_EQ(target.Load<Node>("taken")->m_Value, 4);
  EXPECT_EQ(target.ObjectCount(), 1);
  MessageOf(sto_ErrorKind::Conflict, [&] { sto_CopyRoot(source, "node", source, "node"); });
  target.RemoveRoot("taken");
  sto_CopyRoot(source, "node", target, "taken");
  EXPECT_EQ(target.Load<Node>("taken")->m_Value, 3);
}

TEST_F(StoreRootCopies, RootThatIsNotThereIsNamedWithItsStore) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  std::string const message =
      MessageOf(sto_ErrorKind::NotFound, [&] { sto_CopyRoot(source, "nowhere", target, "copy"); });
  EXPECT_EQ(message, Path("source") + ": There is no root nowhere.");
  EXPECT_TRUE(target.Roots().empty());
  EXPECT_EQ(Query("SELECT next_object_id FROM save ORDER BY no DESC LIMIT 1", "target"), 1);
}

TEST_F(StoreRootCopies, RootWithoutItsObjectIsDamaged) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  source.Save("node", Node(3));
  SqlFile file(Path("source"));
  file.Unpack();
  file.Run("DELETE FROM object");
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { sto_CopyRoot(source, "node", target, "copy"); });
  EXPECT_TRUE(Contains(message, "Object 1, which is root node, is missing.")) << message;
  EXPECT_EQ(target.ObjectCount(), 0);
}

TEST_F(StoreRootCopies, CopyBelongsToTheTargetsTransaction) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  SaveEverything(source);
  {
    sto_Transaction const transaction(target);
    target.Save("other", Node(1));
    sto_CopyRoot(source, "all", target, "copy");
    ExpectEverything(target, "copy");
  }
  EXPECT_TRUE(target.Roots().empty());
  EXPECT_EQ(target.ObjectCount(), 0);
  sto_Transaction transaction(target);
  target.Save("other", Node(1));
  MessageOf(sto_ErrorKind::NotFound, [&] { sto_CopyRoot(source, "nowhere", target, "copy"); });
  sto_CopyRoot(source, "all", target, "copy"); // the transaction continues
  transaction.Commit();
  EXPECT_EQ(target.Roots(), Names({"copy", "other"}));
  ExpectEverything(target, "copy");
}

TEST_F(StoreRootCopies, SourcesOpenTransactionIsReadAsItIs) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  {
    sto_Transaction const transaction(source);
    source.Save("node", Node(3));
    sto_CopyRoot(source, "node", target, "copy");
  }
  EXPECT_TRUE(source.Roots().empty());
  EXPECT_EQ(target.Load<Node>("copy")->m_Value, 3);
  source.Save("node", Node(4));
  sto_ReadTransaction const transaction(source);
  sto_CopyRoot(source, "node", target, "second");
  EXPECT_EQ(target.Load<Node>("second")->m_Value, 4);
}

TEST_F(StoreRootCopies, CopyingWhereNothingCanBeWrittenIsRefused) {
  sto_Store source = Create("source");
  sto_Store target = Create("target");
  source.Save("node", Node(3));
  auto const copy = [&](sto_ErrorKind kind, sto_Store& to) {
    MessageOf(kind, [&] { sto_CopyRoot(source, "node", to, "copy"); });
  };
  sto_Store reader = Open(sto_Mode::ReadOnly, "target");
  copy(sto_ErrorKind::ReadOnly, reader);
  {
    sto_ReadTransaction const transaction(target);
    copy(sto_ErrorKind::Misuse, target);
  }
  SaveFields(target, [&](cls_WriteVisitor const&) { copy(sto_ErrorKind::Misuse, target); });
  static_cast<void>(LoadFields(target, [&](cls_ReadVisitor const&) { copy(sto_ErrorKind::Misuse, target); }));
  EXPECT_EQ(target.Roots(), Names({"root"}));
}

TEST_F(StoreRootCopies, ReadOnlySourceIsCopied) {
  { SaveEverything(*std::make_unique<sto_Store>(Create("source"))); }
  sto_Store source = Open(sto_Mode::ReadOnly, "source");
  sto_Store target = Create("target");
  sto_CopyRoot(source, "all", target, "copy");
  ExpectEverything(target, "copy");
}

TEST_F(StoreRootCopies, ClassThatTheTargetDoesNotKnowIsRefused) {
  cls_ClassRegistrar const none;
  sto_Store source = Create("source");
  sto_Store target = sto_Store::Open(Path("target"), sto_Mode::Create, none);
  source.Save("node", Node(3));
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { sto_CopyRoot(source, "node", target, "copy"); });
  EXPECT_TRUE(Contains(message, "An object of class Node of " + Path("source"))) << message;
  EXPECT_EQ(target.ObjectCount(), 0);
  EXPECT_TRUE(target.Roots().empty());
}

TEST_F(StoreRootCopies, FailureAtEachOperationLeavesBothAsTheyWere) {
  { SaveEverything(*std::make_unique<sto_Store>(Create("source"))); }
  StoreFaultVfs const vfs;
  sto_Store source = Open(sto_Mode::ReadWrite, "source");
  sto_Store target = Create("target");
  target.Save("before", Node(1));
  int failures = 0;
  for (int step = 1;; ++step) {
    StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Full);
    bool isCopied = false;
    try {
      sto_CopyRoot(source, "all", target, "copy");
      isCopied = true;
    } catch (sto_Exception const& exception) {
      EXPECT_EQ(exception.Kind(), sto_ErrorKind::Full) << exception.what();
      ++failures;
    }
    StoreFaultVfs::Disarm();
    ExpectEverything(source, "all");
    if (isCopied) break;
    EXPECT_EQ(target.Roots(), Names({"before"}));
    EXPECT_EQ(target.ObjectCount(), 1);
  }
  EXPECT_GT(failures, 5);
  ExpectEverything(target, "copy");
}

/// Likewise, for roots with open bulk arrays.
class StoreArrayRootCopies : public StoreArrayTest {};

TEST_F(StoreArrayRootCopies, WhatTheSourcesArraysHaveNotWrittenIsCopied) {
  Make(10);
  sto_Store source = Open();
  sto_Store target = Create("target");
  auto const holder = source.Load<DoubleHolder>("array");
  Fill(holder->m_Array, 5000);
  sto_CopyRoot(source, "array", target, "copy");
  EXPECT_EQ(Stored("target", "copy"), Numbers(5000));
  EXPECT_EQ(Stored(), Numbers(5000));
  Fill(holder->m_Array, 6000); // still belongs to its store
  EXPECT_EQ(Elements(target.Load<DoubleHolder>("copy")->m_Array), Numbers(5000));
}

TEST_F(StoreArrayRootCopies, ArrayOfTheSourcesTransactionIsCopiedAsItIsInMemory) {
  Make(10);
  sto_Store source = Open();
  sto_Store target = Create("target");
  auto const holder = source.Load<DoubleHolder>("array");
  {
    sto_Transaction transaction(source);
    Fill(holder->m_Array, 5000);
    sto_CopyRoot(source, "array", target, "copy");
    sto_CopyRoot(source, "array", source, "second");
    EXPECT_EQ(Elements(source.Load<DoubleHolder>("second")->m_Array), Numbers(5000));
  }
  EXPECT_EQ(Stored("target", "copy"), Numbers(5000));
  EXPECT_EQ(Stored(), Numbers(10));
  EXPECT_EQ(Elements(holder->m_Array), Numbers(10));
}

TEST_F(StoreArrayRootCopies, ArrayOfAStoreThatOnlyReadsIsCopiedAsItIsStored) {
  Make(10);
  sto_Store source = Open(sto_Mode::ReadOnly);
  sto_Store target = Create("target");
  auto const holder = source.Load<DoubleHolder>("array");
  Fill(holder->m_Array, 20);
  sto_CopyRoot(source, "array", target, "copy");
  EXPECT_EQ(Stored("target", "copy"), Numbers(10));
}

TEST_F(StoreArrayRootCopies, OpenArrayIsCopiedWithinItsStore) {
  Make(10);
  sto_Store store = Open();
  auto const holder = store.Load<DoubleHolder>("array");
  Fill(holder->m_Array, 20);
  sto_CopyRoot(store, "array", store, "copy");
  EXPECT_EQ(Stored("test.kvs", "copy"), Numbers(20));
  Fill(holder->m_Array, 30);
  store.Save("array", *holder);
  EXPECT_EQ(Stored("test.kvs", "copy"), Numbers(20));
  EXPECT_EQ(Stored(), Numbers(30));
}

} // namespace
