#include <algorithm>
#include <chrono>

#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreTest.h"

namespace {

using Names = std::vector<std::string>;

/// The names of roots that begin with a prefix.
class StoreRoots : public StoreTest {
 protected:
  static void SaveAll(sto_Store& store, Names const& names) {
    sto_Transaction transaction(store);
    for (std::string const& name : names) store.Save(name, Node(1));
    transaction.Commit();
  }
};

TEST_F(StoreRoots, PrefixChoosesNamesInAscendingOrder) {
  sto_Store store = Create();
  SaveAll(store, {"result/2", "result/10", "result", "results", "resul", "mesh", "result0", "Result/1"});
  EXPECT_EQ(store.Roots("result/"), (Names{"result/10", "result/2"}));
  EXPECT_EQ(store.Roots("result"), (Names{"result", "result/10", "result/2", "result0", "results"}));
  EXPECT_EQ(store.Roots("resul"), (Names{"resul", "result", "result/10", "result/2", "result0", "results"}));
  EXPECT_EQ(store.Roots("mesh"), Names{"mesh"}) << "a name begins with itself";
  EXPECT_EQ(store.Roots("meshes"), Names{});
  EXPECT_EQ(store.Roots("z"), Names{});
  EXPECT_EQ(store.Roots("A"), Names{});
  EXPECT_EQ(store.Roots(""), store.Roots());
  EXPECT_EQ(store.Roots().size(), 8U);
}

TEST_F(StoreRoots, PrefixIsComparedByteByByte) {
  sto_Store store = Create();
  Names const names = {"",
                       std::string("a\0b", 3),
                       std::string("a\0", 2),
                       "a",
                       "a\xFF",
                       "a\xFF\xFF",
                       "a\xFF\xFFz",
                       "b",
                       "\xFF",
                       "\xFF\xFF",
                       "\xC3\xA4",
                       "\xC3\xB6",
                       "a%",
                       "a_",
                       "A"};
  SaveAll(store, names);
  for (std::string const& prefix :
       {std::string(), std::string("a"), std::string("a\0", 2), std::string("\0", 1), std::string("a\xFF"),
        std::string("a\xFF\xFF"), std::string("\xFF"), std::string("\xFF\xFF\xFF"), std::string("\xC3"),
        std::string("a%"), std::string("b")}) {
    Names expected;
    for (std::string const& name : names)
      if (name.starts_with(prefix)) expected.push_back(name);
    std::ranges::sort(expected);
    EXPECT_EQ(store.Roots(prefix), expected) << testing::PrintToString(prefix);
  }
}

TEST_F(StoreRoots, PrefixSeesWhatTheOpenTransactionHasChanged) {
  sto_Store store = Create();
  SaveAll(store, {"a/1", "a/3", "a/5", "b"});
  sto_Transaction transaction(store);
  store.Save("a/4", Node(4));
  store.Save("a", Node(5));
  store.RemoveRoot("a/3");
  store.RenameRoot("b", "a/2");
  store.RenameRoot("a/5", "c");
  EXPECT_EQ(store.Roots("a/"), (Names{"a/1", "a/2", "a/4"}));
  EXPECT_EQ(store.Roots("b"), Names{});
  transaction.Rollback();
  EXPECT_EQ(store.Roots("a/"), (Names{"a/1", "a/3", "a/5"}));
}

TEST_F(StoreRoots, NoOtherNamesAreRead) {
  {
    sto_Store store = Create();
    Names names;
    for (int i = 100; i < 400; ++i) names.push_back("a/" + std::to_string(i));
    SaveAll(store, names);
  }
  SqlFile(Path()).Run("UPDATE root SET object_id = 7 WHERE name IN ('a/150', 'a/350')");
  sto_Store store = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(store.Roots("a/2").size(), 100U);
  EXPECT_TRUE(
      Contains(MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Roots("a/3")); }), "a/350"));
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Roots()); });
  // The neighbours show that the search has not gone astray.
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Roots("a/151")); });
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Roots("a/349")); });
}

TEST_F(StoreRoots, PrefixWorksInOldFormats) {
  for (int const format : {1, 2, 3}) {
    std::string const name = std::to_string(format) + ".kvs";
    {
      sto_Store store = Create(name);
      SaveAll(store, {"a/1", "a/2", "b"});
    }
    MakeStoreOfOldFormat(Path(name), format);
    sto_Store store = Open(sto_Mode::ReadOnly, name);
    EXPECT_EQ(store.Roots("a/"), (Names{"a/1", "a/2"}));
  }
}

/// Descriptions of roots.
class StoreRootDescription : public StoreTest {
 protected:
  static sto_RootDescription Of(sto_Store& store, std::string_view root) {
    std::optional<sto_RootDescription> const description = store.DescribeRoot(root);
    EXPECT_TRUE(description) << root;
    return description.value_or(sto_RootDescription());
  }
  /// Expects the newest save to be the one that changed a root.
  static void ExpectNewest(sto_Store& store, std::string_view root) {
    sto_SaveEntry const newest = store.Saves().back();
    sto_RootDescription const description = Of(store, root);
    EXPECT_EQ(description.m_Save, newest.m_Number);
    EXPECT_EQ(description.m_Milliseconds, newest.m_Milliseconds);
  }
};

TEST_F(StoreRootDescription, IsEmptyWithoutARoot) {
  sto_Store store = Create();
  EXPECT_FALSE(store.DescribeRoot("none"));
  store.Save("node", Node(1));
  EXPECT_FALSE(store.DescribeRoot("nod"));
  store.RemoveRoot("node");
  EXPECT_FALSE(store.DescribeRoot("node"));
}

TEST_F(StoreRootDescription, NamesTheClassTheVersionAndTheObject) {
  sto_Store store = Create();
  store.Save("node", Node(1));
  store.Save("levels", Top());
  sto_RootDescription const node = Of(store, "node");
  EXPECT_EQ(node.m_ClassId, Node::TypeId());
  EXPECT_EQ(node.m_ClassName, "Node");
  EXPECT_EQ(node.m_ObjectId, 1);
  sto_RootDescription const top = Of(store, "levels");
  EXPECT_EQ(top.m_ClassId, Top::TypeId());
  EXPECT_EQ(top.m_ClassName, "Top");
  EXPECT_EQ(top.m_Version, store.Describe(Top::TypeId()).back().m_Version);
  EXPECT_EQ(top.m_ObjectId, 2) << "base-class parts come after it";
}

TEST_F(StoreRootDescription, BytesAreThoseOfTheObjectAlone) {
  sto_Store store = Create();
  store.Save("alone", Node(1));
  store.Save("chain", *Node::Chain(50));
  std::int64_t const alone = Of(store, "alone").m_Bytes;
  EXPECT_GT(alone, 0);
  EXPECT_LE(Of(store, "chain").m_Bytes, alone + 10) << "one field holds another object";
  Top top;
  store.Save("text", top);
  std::int64_t const before = Of(store, "text").m_Bytes;
  top.m_MiddleValue = cow_String(std::string(5000, 'x'));
  store.Save("text", top);
  EXPECT_GE(Of(store, "text").m_Bytes, before + 5000);
  EXPECT_LE(Of(store, "text").m_Bytes, before + 5010);
}

TEST_F(StoreRootDescription, SaveIsTheLastThatChangedTheRoot) {
  sto_Store store = Create();
  Node node(1);
  node.m_Left = std::make_shared<Node>(2);
  store.Save("node", node);
  ExpectNewest(store, "node");
  store.Save("other", Node(3));
  EXPECT_EQ(Of(store, "node").m_Save, store.Saves().back().m_Number - 1) << "another root";
  node.m_Value = 4;
  store.Save("node", node);
  ExpectNewest(store, "node");
  std::int64_t const saved = store.Saves().back().m_Number;
  node.m_Left->m_Value = 5;
  store.Save("node", node);
  EXPECT_EQ(store.Saves().back().m_Number, saved + 1);
  EXPECT_EQ(Of(store, "node").m_Save, saved) << "an object that it holds has changed, not the root";
  store.RenameRoot("node", "renamed");
  ExpectNewest(store, "renamed");
  store.Save("renamed", Node(6));
  ExpectNewest(store, "renamed");
  store.Save("unrelated", Node(7));
  store.Save("second name", node);
  ExpectNewest(store, "second name");
}

TEST_F(StoreRootDescription, TimeIsThatOfTheCommit) {
  using namespace std::chrono;
  auto const now = [] { return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count(); };
  sto_Store store = Create();
  std::int64_t const before = now();
  store.Save("node", Node(1));
  std::int64_t const after = now();
  sto_RootDescription const description = Of(store, "node");
  ASSERT_TRUE(description.m_Milliseconds);
  EXPECT_GE(*description.m_Milliseconds, before);
  EXPECT_LE(*description.m_Milliseconds, after);
}

TEST_F(StoreRootDescription, OpenTransactionHasNoSaveYet) {
  sto_Store store = Create();
  Node node(1);
  store.Save("changed", node);
  store.Save("same", Node(2));
  store.Save("renamed", Node(3));
  std::int64_t const newest = store.Saves().back().m_Number;
  {
    sto_Transaction transaction(store);
    node.m_Value = 10;
    store.Save("changed", node);
    store.Save("new", Node(4));
    store.RenameRoot("renamed", "name");
    for (char const* const root : {"changed", "new", "name"}) {
      EXPECT_FALSE(Of(store, root).m_Save) << root;
      EXPECT_FALSE(Of(store, root).m_Milliseconds) << root;
    }
    EXPECT_EQ(Of(store, "same").m_Save, newest - 1);
    EXPECT_EQ(Of(store, "new").m_ClassName, "Node");
    transaction.Commit();
  }
  for (char const* const root : {"changed", "new", "name"}) EXPECT_EQ(Of(store, root).m_Save, newest + 1);
}

TEST_F(StoreRootDescription, OldFormatsHaveNoTime) {
  for (int const format : {1, 2, 3}) {
    std::string const name = std::to_string(format) + ".kvs";
    Create(name).Save("node", Node(1));
    MakeStoreOfOldFormat(Path(name), format);
    {
      sto_Store store = Open(sto_Mode::ReadOnly, name);
      sto_RootDescription const description = Of(store, "node");
      EXPECT_EQ(description.m_ClassId, Node::TypeId());
      EXPECT_EQ(description.m_ClassName, "Node");
      EXPECT_GT(description.m_Bytes, 0);
      EXPECT_FALSE(description.m_Save);
      EXPECT_FALSE(description.m_Milliseconds);
    }
    sto_Options options;
    options.m_Upgrade = true;
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadWrite, TestClasses(), options);
    EXPECT_EQ(Of(store, "node").m_Save, 1) << "the upgrade";
  }
}

TEST_F(StoreRootDescription, ProgramNeedNotKnowTheClass) {
  Create().Save("node", Node(1));
  cls_ClassRegistrar const none;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, none);
  sto_RootDescription const description = Of(store, "node");
  EXPECT_EQ(description.m_ClassId, Node::TypeId());
  EXPECT_EQ(description.m_ClassName, "Node");
}

TEST_F(StoreRootDescription, ReadsNothingThatTheObjectHolds) {
  {
    sto_Store store = Create();
    Node node(1);
    node.m_Left = std::make_shared<Node>(2);
    store.Save("node", node);
  }
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id = 2");
  }
  sto_Store store = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(Of(store, "node").m_ClassName, "Node");
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.LoadShared<Node>("node")); });
}

TEST_F(StoreRootDescription, DamagedRecordIsReported) {
  Create().Save("node", Node(1));
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id = 1");
  }
  sto_Store store = Open(sto_Mode::ReadOnly);
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.DescribeRoot("node")); });
  EXPECT_TRUE(Contains(message, "root node")) << message;
}

/// A root with a bulk array.
class StoreArrayRootDescription : public StoreArrayTest {};

TEST_F(StoreArrayRootDescription, BlocksOfAMemberAreNotCounted) {
  Make(50'000);
  sto_Store store = Open();
  std::optional<sto_RootDescription> const description = store.DescribeRoot("array");
  ASSERT_TRUE(description);
  EXPECT_LT(description->m_Bytes, 100);
  EXPECT_EQ(description->m_ClassName, "ArrayHolder");
}

} // namespace
