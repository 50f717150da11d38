#include "store/sto_LoadScope.h"

#include "store/sto_Proxy.h"
#include "tests/support/store/StoreTest.h"

namespace {

class StoreLoadScope : public StoreTest {
 protected:
  /// Two roots that hold the same object.
  void SaveTwoRoots() {
    sto_Store store = Create();
    auto const shared = std::make_shared<Node>(7);
    Node one(1);
    one.m_Left = shared;
    Node two(2);
    two.m_Right = shared;
    store.Save("one", one);
    store.Save("two", two);
    store.Save("shared", *shared);
  }
};

TEST_F(StoreLoadScope, RootsThatShareAnObjectShareItInMemory) {
  SaveTwoRoots();
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::shared_ptr<Node> const one = store.LoadShared<Node>("one");
  std::shared_ptr<Node> const two = store.LoadShared<Node>("two");
  EXPECT_EQ(one->m_Left, two->m_Right);
  EXPECT_EQ(store.LoadShared<Node>("shared"), one->m_Left);
  EXPECT_EQ(store.LoadShared<Node>("one"), one);
}

TEST_F(StoreLoadScope, ChangeThroughOneRootIsThereThroughTheOther) {
  SaveTwoRoots();
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::shared_ptr<Node> const one = store.LoadShared<Node>("one");
  std::shared_ptr<Node> const two = store.LoadShared<Node>("two");
  one->m_Left->m_Value = 70;
  store.Save("one", *one);
  store.Save("two", *two);
  EXPECT_EQ(Open().Load<Node>("two")->m_Right->m_Value, 70);
}

TEST_F(StoreLoadScope, WithoutScopeEachLoadBuildsAnew) {
  SaveTwoRoots();
  sto_Store store = Open();
  std::shared_ptr<Node> const one = store.LoadShared<Node>("one");
  { sto_LoadScope const scope(store); }
  EXPECT_NE(store.LoadShared<Node>("one"), one);
}

TEST_F(StoreLoadScope, KeepsItsObjectsAlive) {
  SaveTwoRoots();
  sto_Store store = Open();
  std::weak_ptr<Node> shared;
  {
    sto_LoadScope const scope(store);
    shared = store.LoadShared<Node>("one")->m_Left;
    EXPECT_FALSE(shared.expired());
    EXPECT_EQ(store.LoadShared<Node>("two")->m_Right, shared.lock());
  }
  EXPECT_TRUE(shared.expired());
}

TEST_F(StoreLoadScope, KeepsItsObjectsAliveAfterTheStoreIsClosed) {
  SaveTwoRoots();
  auto store = std::make_unique<sto_Store>(Open());
  sto_LoadScope const scope(*store);
  std::weak_ptr<Node> const one = store->LoadShared<Node>("one");
  store.reset();
  ASSERT_FALSE(one.expired());
  EXPECT_EQ(one.lock()->m_Left->m_Value, 7);
}

TEST_F(StoreLoadScope, LoadForOneOwnerOfWhatTheScopeHasIsRefused) {
  SaveTwoRoots();
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::shared_ptr<Node> const one = store.LoadShared<Node>("one");
  for (char const* const root : {"one", "shared"}) {
    std::string const message =
        MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Node>(root)); });
    EXPECT_TRUE(Contains(message, "load scope already") && Contains(message, "LoadShared")) << message;
  }
  EXPECT_EQ(store.LoadShared<Node>("one"), one);
}

TEST_F(StoreLoadScope, SecondObjectOfWhatHasOneOwnerIsRefusedWhileThatLives) {
  SaveTwoRoots();
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::unique_ptr<Node> one = store.Load<Node>("one");
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.LoadShared<Node>("one")); });
  EXPECT_TRUE(Contains(message, "for one owner") && Contains(message, "LoadShared")) << message;
  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Node>("one")); });
  std::shared_ptr<Node> const left = one->m_Left;
  EXPECT_EQ(store.LoadShared<Node>("two")->m_Right, left); // its shared object is in the scope
  one.reset();
  EXPECT_EQ(store.LoadShared<Node>("one")->m_Left, left);
}

TEST_F(StoreLoadScope, LoadThatFailsLeavesNothingInTheScope) {
  SaveTwoRoots();
  struct Failing {
    explicit Failing(cls_ReadVisitor const& visitor)
        : m_Left(sto_ReadShared<Node>(visitor, cls_FieldHandle("m_Left"_cow))) {
      throw std::runtime_error("the reading constructor fails");
    }
    std::shared_ptr<Node> m_Left;
  };
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::shared_ptr<Node> const two = store.LoadShared<Node>("two");
  EXPECT_THROW(static_cast<void>(store.Load<Failing>("one")), std::runtime_error);
  EXPECT_EQ(store.LoadShared<Node>("two"), two);
  EXPECT_EQ(store.LoadShared<Node>("one")->m_Left, two->m_Right);
}

TEST_F(StoreLoadScope, ScopesNest) {
  SaveTwoRoots();
  sto_Store store = Open();
  sto_LoadScope const outer(store);
  std::shared_ptr<Node> one;
  {
    sto_LoadScope const inner(store);
    one = store.LoadShared<Node>("one");
  }
  EXPECT_EQ(store.LoadShared<Node>("one"), one);
}

TEST_F(StoreLoadScope, ObjectOfUndoneWorkLeavesTheScope) {
  sto_Store store = Create();
  sto_LoadScope const scope(store);
  std::shared_ptr<Node> undone;
  {
    sto_Transaction const transaction(store);
    store.Save("undone", Node(1));
    undone = store.LoadShared<Node>("undone");
  }
  store.Save("next", Node(2)); // reuses the id of the undone object
  std::shared_ptr<Node> const next = store.LoadShared<Node>("next");
  EXPECT_NE(next, undone);
  EXPECT_EQ(next->m_Value, 2);
  EXPECT_EQ(undone->m_Value, 1);
}

TEST_F(StoreLoadScope, CollectingAndSavingGoOnInAScope) {
  SaveTwoRoots();
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::shared_ptr<Node> const one = store.LoadShared<Node>("one");
  one->m_Left.reset();
  store.Save("one", *one);
  store.RemoveRoot("two");
  store.RemoveRoot("shared");
  EXPECT_EQ(store.CollectGarbage(), 2);
}

TEST_F(StoreLoadScope, ProxyOfWhatTheScopeHasIsMade) {
  SaveTwoRoots();
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::shared_ptr<Node> const one = store.LoadShared<Node>("one");
  EXPECT_NE(sto_MakeProxy(store, "one").Ptr(), nullptr);
}

TEST_F(StoreLoadScope, TwoStoresHaveTwoScopes) {
  SaveTwoRoots();
  sto_Store one = Open();
  sto_Store two = Open();
  sto_LoadScope const scopeOfOne(one);
  std::shared_ptr<Node> const node = two.LoadShared<Node>("one");
  EXPECT_NE(two.LoadShared<Node>("one"), node);
  EXPECT_EQ(one.LoadShared<Node>("one"), one.LoadShared<Node>("one"));
}

} // namespace
