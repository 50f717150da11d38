#include <optional>

#include "tests/support/store/StoreTest.h"

namespace {

class StoreIdentity : public StoreTest {
 protected:
  static std::int64_t RootId(SqlFile& file, std::string const& root) {
    return file.Integer("SELECT object_id FROM root WHERE name = '" + root + "'");
  }
};

TEST_F(StoreIdentity, SavedObjectIsLoadedUnderItsOwnIdentity) {
  sto_Store store = Create();
  Node const node(1);
  store.Save("node", node);
  EXPECT_EQ(store.Load<Node>("node")->m_Uid.Entry(), node.m_Uid.Entry());
}

TEST_F(StoreIdentity, LoadedObjectReplacesItselfWhenSaved) {
  Create().Save("node", Node(1));
  sto_Store store = Open();
  std::unique_ptr<Node> const node = store.Load<Node>("node");
  node->m_Value = 2;
  store.Save("node", *node);
  store.Save("other name", *node);
  EXPECT_EQ(store.ObjectCount(), 1);
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 2);
}

TEST_F(StoreIdentity, IdentityLivesOnInAnyCopyOfIt) {
  Create().Save("node", Node(1));
  sto_Store store = Open();
  cls_Uid const kept = store.Load<Node>("node")->m_Uid;
  EXPECT_EQ(store.Load<Node>("node")->m_Uid.Entry(), kept.Entry());
}

TEST_F(StoreIdentity, NewIdentityOnTheEntryOfADeadOneIsANewObject) {
  sto_Store store = Create();
  auto first = std::make_optional<Node>(1);
  store.Save("first", *first);
  cls_UidCatalogEntry* const entry = first->m_Uid.Entry();
  first.reset();
  Node const second(2);
  ASSERT_EQ(second.m_Uid.Entry(), entry) << "the entry must be the recycled one, or this proves nothing";
  store.Save("second", second);
  EXPECT_EQ(store.ObjectCount(), 2);
  EXPECT_EQ(store.Load<Node>("first")->m_Value, 1);
  EXPECT_EQ(store.Load<Node>("second")->m_Value, 2);
  SqlFile file(Path());
  EXPECT_NE(RootId(file, "first"), RootId(file, "second"));
}

TEST_F(StoreIdentity, NewIdentityOnTheEntryOfADeadOneIsANewObjectWithinOneTransaction) {
  sto_Store store = Create();
  {
    sto_Transaction transaction(store);
    auto first = std::make_optional<Node>(1);
    store.Save("first", *first);
    cls_UidCatalogEntry* const entry = first->m_Uid.Entry();
    first.reset();
    Node const second(2);
    ASSERT_EQ(second.m_Uid.Entry(), entry);
    store.Save("second", second);
    transaction.Commit();
  }
  EXPECT_EQ(store.Load<Node>("first")->m_Value, 1);
  EXPECT_EQ(store.Load<Node>("second")->m_Value, 2);
}

TEST_F(StoreIdentity, NewIdentityOnTheEntryOfADeadOneIsANewObjectWithinOneSave) {
  sto_Store store = Create();
  cls_FieldHandle const one("m_One"_cow);
  cls_FieldHandle const two("m_Two"_cow);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    auto first = std::make_optional<Node>(1);
    first->DBWrite(cls_WriteVisitor(visitor, one, nullptr, &*first));
    cls_UidCatalogEntry* const entry = first->m_Uid.Entry();
    first.reset();
    Node const second(2);
    ASSERT_EQ(second.m_Uid.Entry(), entry);
    second.DBWrite(cls_WriteVisitor(visitor, two, nullptr, &second));
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(Node(cls_ReadVisitor(visitor, one)).m_Value, 1);
    EXPECT_EQ(Node(cls_ReadVisitor(visitor, two)).m_Value, 2);
  }));
}

TEST_F(StoreIdentity, NewIdentityOnTheEntryOfADeadOneIsANewObjectAfterRollback) {
  sto_Store store = Create();
  Node const kept(0);
  store.Save("kept", kept);
  auto first = std::make_optional<Node>(1);
  {
    sto_Transaction transaction(store);
    store.Save("first", *first);
  }
  cls_UidCatalogEntry* const entry = first->m_Uid.Entry();
  first.reset();
  Node const second(2);
  ASSERT_EQ(second.m_Uid.Entry(), entry);
  store.Save("second", second);
  EXPECT_EQ(store.ObjectCount(), 2);
  EXPECT_EQ(store.Load<Node>("second")->m_Value, 2);
  EXPECT_EQ(store.Load<Node>("kept")->m_Value, 0);
}

TEST_F(StoreIdentity, LoadedIdentityThatDiedIsNeverTakenForTheNextOneOnItsEntry) {
  Create().Save("first", Node(1));
  sto_Store store = Open();
  std::unique_ptr<Node> first = store.Load<Node>("first");
  cls_UidCatalogEntry* const entry = first->m_Uid.Entry();
  first.reset();
  Node const second(2);
  ASSERT_EQ(second.m_Uid.Entry(), entry);
  store.Save("second", second);
  EXPECT_EQ(store.Load<Node>("first")->m_Value, 1);
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreIdentity, RenewedIdentityIsANewObject) {
  sto_Store store = Create();
  Node node(1);
  store.Save("first", node);
  cls_UidCatalogEntry* const entry = node.m_Uid.Entry();
  node.m_Uid.NewUid();
  ASSERT_EQ(node.m_Uid.Entry(), entry);
  node.m_Value = 2;
  store.Save("second", node);
  EXPECT_EQ(store.Load<Node>("first")->m_Value, 1);
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreIdentity, EachStoreHasItsOwnBondWithAnIdentity) {
  sto_Store one = Create("one.kvs");
  sto_Store two = Create("two.kvs");
  Node const filler(0);
  two.Save("filler", filler); // so that the ids differ
  Node node(1);
  one.Save("node", node);
  two.Save("node", node);
  node.m_Value = 2;
  one.Save("node", node);
  EXPECT_EQ(one.Load<Node>("node")->m_Value, 2);
  EXPECT_EQ(two.Load<Node>("node")->m_Value, 1);
  EXPECT_EQ(one.Load<Node>("node")->m_Uid.Entry(), node.m_Uid.Entry());
  EXPECT_EQ(two.Load<Node>("node")->m_Uid.Entry(), node.m_Uid.Entry());
  EXPECT_EQ(one.ObjectCount(), 1);
  EXPECT_EQ(two.ObjectCount(), 2);
}

TEST_F(StoreIdentity, DeadIdentityLeavesEveryOpenStore) {
  sto_Store one = Create("one.kvs");
  sto_Store two = Create("two.kvs");
  auto first = std::make_optional<Node>(1);
  one.Save("first", *first);
  two.Save("first", *first);
  cls_UidCatalogEntry* const entry = first->m_Uid.Entry();
  first.reset();
  Node const second(2);
  ASSERT_EQ(second.m_Uid.Entry(), entry);
  for (sto_Store* const store : {&two, &one}) {
    store->Save("second", second);
    EXPECT_EQ(store->ObjectCount(), 2);
    EXPECT_EQ(store->Load<Node>("first")->m_Value, 1);
    EXPECT_EQ(store->Load<Node>("second")->m_Value, 2);
  }
}

TEST_F(StoreIdentity, RollbackInOneStoreLeavesTheBondWithAnother) {
  sto_Store one = Create("one.kvs");
  sto_Store two = Create("two.kvs");
  Node const node(1);
  {
    sto_Transaction transaction(one);
    one.Save("node", node);
    two.Save("node", node);
  }
  two.Save("node", node);
  EXPECT_EQ(two.ObjectCount(), 1);
  EXPECT_EQ(one.ObjectCount(), 0);
}

TEST_F(StoreIdentity, ClosedStoreLeavesTheIdentityToTheOthers) {
  Node node(1);
  sto_Store two = Create("two.kvs");
  {
    sto_Store one = Create("one.kvs");
    one.Save("node", node);
    two.Save("node", node);
  }
  node.m_Value = 2;
  two.Save("node", node);
  EXPECT_EQ(two.ObjectCount(), 1);
  sto_Store one = Open(sto_Mode::ReadWrite, "one.kvs");
  one.Save("again", node); // the new session does not have the old one's bond
  EXPECT_EQ(one.ObjectCount(), 2);
}

TEST_F(StoreIdentity, SecondSessionOnTheSameFileHasItsOwnBonds) {
  sto_Store one = Create();
  sto_Store two = Open();
  Node const node(1);
  one.Save("node", node);
  std::unique_ptr<Node> const seen = two.Load<Node>("node");
  EXPECT_NE(seen->m_Uid.Entry(), node.m_Uid.Entry());
  seen->m_Value = 2;
  two.Save("node", *seen);
  EXPECT_EQ(one.ObjectCount(), 1);
  std::unique_ptr<Node> const again = one.Load<Node>("node");
  EXPECT_EQ(again->m_Value, 2);
  EXPECT_EQ(again->m_Uid.Entry(), node.m_Uid.Entry());
}

TEST_F(StoreIdentity, ManyIdentitiesThatComeAndGoNeverMix) {
  sto_Store store = Create();
  sto_Transaction transaction(store);
  for (int i = 0; i < 500; ++i) store.Save("root" + std::to_string(i), Node(i)); // reuses the same entry
  transaction.Commit();
  EXPECT_EQ(store.ObjectCount(), 500);
  for (int i = 0; i < 500; ++i) EXPECT_EQ(store.Load<Node>("root" + std::to_string(i))->m_Value, i);
}

TEST_F(StoreIdentity, BondsOutliveAMoveOfTheStore) {
  sto_Store first = Create();
  Node node(1);
  first.Save("node", node);
  sto_Store second = std::move(first);
  node.m_Value = 2;
  second.Save("node", node);
  EXPECT_EQ(second.ObjectCount(), 1);
  sto_Store third = Create("other.kvs");
  third = std::move(second);
  EXPECT_EQ(third.Load<Node>("node")->m_Uid.Entry(), node.m_Uid.Entry());
  EXPECT_EQ(third.Location(), Path());
}

} // namespace
