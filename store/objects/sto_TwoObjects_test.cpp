#include <vector>

#include "persist/identity/cls_OwnUid.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

// A copy of an object keeps its identity, so in the store both would be one object. Copies that differ are
// refused.

namespace {

class StoreTwoObjects : public StoreTest {
 protected:
  static std::shared_ptr<Node> CopyOf(Node const& node, int value) {
    auto copy = std::make_shared<Node>(node);
    copy->m_Value = value;
    return copy;
  }
  std::string ConflictOf(sto_Store& store, std::string_view root, Node const& node) {
    return MessageOf(sto_ErrorKind::Conflict, [&] { store.Save(root, node); });
  }
};

// --- In one save

TEST_F(StoreTwoObjects, ChangedCopyInOneSaveIsAConflictThatNamesBothHolders) {
  sto_Store store = Create();
  Node frame(1);
  frame.m_Left = std::make_shared<Node>(2);
  frame.m_Left->m_Left = std::make_shared<Node>(3);
  frame.m_Right = std::make_shared<Node>(4);
  frame.m_Right->m_Right = CopyOf(*frame.m_Left->m_Left, 5);
  std::string const message = ConflictOf(store, "frame", frame);
  EXPECT_TRUE(Contains(message, "identity of object 3 (Node)") &&
              Contains(message, "attribute m_Left of object 2 (Node)") &&
              Contains(message, "attribute m_Right of object 4 (Node)") && Contains(message, "cls_OwnUid"))
      << message;
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreTwoObjects, ChangedCopyInAnotherAttributeOfOneObjectIsAConflict) {
  sto_Store store = Create();
  Node frame(1);
  frame.m_Left = std::make_shared<Node>(2);
  frame.m_Right = CopyOf(*frame.m_Left, 3);
  std::string const message = ConflictOf(store, "frame", frame);
  EXPECT_TRUE(Contains(message, "attribute m_Right of object 1 (Node)")) << message;
}

TEST_F(StoreTwoObjects, EqualCopyIsTheSameObject) {
  sto_Store store = Create();
  Node frame(1);
  frame.m_Left = std::make_shared<Node>(2);
  frame.m_Left->m_Left = std::make_shared<Node>(3);
  frame.m_Right = CopyOf(*frame.m_Left, 2);
  store.Save("frame", frame);
  EXPECT_EQ(store.ObjectCount(), 3);
  std::unique_ptr<Node> const loaded = store.Load<Node>("frame");
  EXPECT_EQ(loaded->m_Left, loaded->m_Right);
}

TEST_F(StoreTwoObjects, CopyThatHoldsAChangedCopyIsAConflict) {
  sto_Store store = Create();
  Node frame(1);
  frame.m_Left = std::make_shared<Node>(2);
  frame.m_Left->m_Left = std::make_shared<Node>(3);
  frame.m_Right = CopyOf(*frame.m_Left, 2);
  frame.m_Right->m_Left = CopyOf(*frame.m_Left->m_Left, 33);
  std::string const message = ConflictOf(store, "frame", frame);
  EXPECT_TRUE(Contains(message, "identity of object 3 (Node)")) << message;
}

TEST_F(StoreTwoObjects, ThirdCopyIsComparedToo) {
  sto_Store store = Create();
  Node frame(1);
  frame.m_Left = std::make_shared<Node>(2);
  frame.m_Right = CopyOf(*frame.m_Left, 2);
  frame.m_Right->m_Left = nullptr;
  std::shared_ptr<Node> const holder = std::make_shared<Node>(9);
  frame.m_Left->m_Right = nullptr;
  Node top(0);
  top.m_Left = std::make_shared<Node>(frame);
  top.m_Right = holder;
  holder->m_Left = CopyOf(*frame.m_Left, 7);
  std::string const message = ConflictOf(store, "top", top);
  EXPECT_TRUE(Contains(message, "Node")) << message;
}

/// Counts how often it is written.
struct Counting {
  static constexpr unsigned int TypeId() noexcept { return Node::TypeId(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    ++s_Written;
    visitor.Write(cls_FieldHandle("m_Value"_cow), 1);
    for (auto const& [field, next] : {std::pair{"m_Left"_cow, m_Left}, std::pair{"m_Right"_cow, m_Right}})
      if (next != nullptr) next->DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(field), nullptr, next));
  }
  Counting const* m_Left = nullptr;
  Counting const* m_Right = nullptr;
  cls_Uid m_Uid;
  static inline int s_Written = 0;
};

TEST_F(StoreTwoObjects, SharedGraphIsVisitedOnce) {
  sto_Store store = Create();
  std::vector<Counting> levels(60); // each level holds the next one twice: 2^60 paths
  for (std::size_t i = 0; i + 1 < levels.size(); ++i) levels[i].m_Left = levels[i].m_Right = &levels[i + 1];
  Counting::s_Written = 0;
  store.Save("top", levels[0]);
  EXPECT_EQ(Counting::s_Written, 60);
}

TEST_F(StoreTwoObjects, GraphOfTwoCopiesEachIsVisitedTwice) {
  sto_Store store = Create();
  std::vector<Counting> levels(60);
  std::vector<Counting> copies = levels; // each level holds the next one and its copy
  for (std::size_t i = 0; i + 1 < levels.size(); ++i) {
    levels[i].m_Left = copies[i].m_Left = &levels[i + 1];
    levels[i].m_Right = copies[i].m_Right = &copies[i + 1];
  }
  Counting::s_Written = 0;
  store.Save("top", levels[0]);
  EXPECT_LE(Counting::s_Written, 120);
  EXPECT_EQ(store.ObjectCount(), 60);
}

TEST_F(StoreTwoObjects, CycleThroughCopiesEnds) {
  sto_Store store = Create();
  Counting one;
  Counting two;
  Counting copyOfOne = one;
  Counting copyOfTwo = two;
  one.m_Left = &two;
  two.m_Left = &copyOfOne;
  copyOfOne.m_Left = &copyOfTwo;
  copyOfTwo.m_Left = &one;
  store.Save("one", one);
  EXPECT_EQ(store.ObjectCount(), 2);
}

// --- Saves of one transaction

TEST_F(StoreTwoObjects, ChangedCopyUnderAnotherRootOfOneTransactionIsAConflict) {
  sto_Store store = Create();
  Node const a(1);
  sto_Transaction transaction(store);
  store.Save("a", a);
  std::string const message = ConflictOf(store, "b", *CopyOf(a, 2));
  EXPECT_TRUE(Contains(message, "root b") && Contains(message, "root a")) << message;
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("a")->m_Value, 1);
  EXPECT_FALSE(store.HasRoot("b"));
}

TEST_F(StoreTwoObjects, ConflictIsRaisedAgainWhenTheSaveIsTriedAgain) {
  sto_Store store = Create();
  Node inner(1);
  Node a(5);
  a.m_Left = std::make_shared<Node>(inner);
  Node b(6);
  b.m_Left = CopyOf(inner, 2);
  sto_Transaction transaction(store);
  store.Save("a", a);
  for (int i = 0; i < 3; ++i) {
    std::string const message = ConflictOf(store, "b", b);
    EXPECT_TRUE(Contains(message, "attribute m_Left") && Contains(message, "root a")) << message;
  }
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("a")->m_Left->m_Value, 1);
}

TEST_F(StoreTwoObjects, EqualCopyUnderAnotherRootIsTheSameObject) {
  sto_Store store = Create();
  Node const a(1);
  sto_Transaction transaction(store);
  store.Save("a", a);
  store.Save("b", *CopyOf(a, 1));
  transaction.Commit();
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreTwoObjects, SavingARootAgainReplacesIt) {
  sto_Store store = Create();
  Node const a(1);
  sto_Transaction transaction(store);
  store.Save("a", a);
  store.Save("a", *CopyOf(a, 2));
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("a")->m_Value, 2);
}

TEST_F(StoreTwoObjects, ObjectThatChangesBetweenTwoSavesIsOneObject) {
  sto_Store store = Create();
  auto const shared = std::make_shared<Node>(1);
  Node a(5);
  a.m_Left = shared;
  Node b(6);
  b.m_Left = shared;
  sto_Transaction transaction(store);
  store.Save("a", a);
  shared->m_Value = 2;
  store.Save("b", b);
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("a")->m_Left->m_Value, 2);
}

TEST_F(StoreTwoObjects, SaveThatWasUndoneIsNotComparedWith) {
  sto_Store store = Create();
  Node const a(1);
  sto_Transaction transaction(store);
  MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      a.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Node"_cow), nullptr, &a));
      visitor.Write(cls_FieldHandle("m_NotDeclared"_cow), 1);
    });
  });
  store.Save("b", *CopyOf(a, 2));
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("b")->m_Value, 2);
}

// --- A second root name

TEST_F(StoreTwoObjects, ChangedCopyUnderAnotherRootIsAConflictAlsoInTransactionsOfTheirOwn) {
  sto_Store store = Create();
  Node const a(1);
  store.Save("a", a);
  std::string const message = ConflictOf(store, "b", *CopyOf(a, 2));
  EXPECT_TRUE(Contains(message, "root b") && Contains(message, "root a") && Contains(message, "cls_OwnUid"))
      << message;
  EXPECT_EQ(store.Load<Node>("a")->m_Value, 1);
  EXPECT_FALSE(store.HasRoot("b"));
}

TEST_F(StoreTwoObjects, OneObjectSavedStepByStepUnderNewNamesIsAConflict) {
  sto_Store store = Create();
  Node state(0);
  store.Save("step-0", state);
  state.m_Value = 1;
  std::string const message = ConflictOf(store, "step-1", state);
  EXPECT_TRUE(Contains(message, "root step-1") && Contains(message, "root step-0")) << message;
  EXPECT_EQ(store.Load<Node>("step-0")->m_Value, 0);
}

TEST_F(StoreTwoObjects, HeldObjectsCountAsContentOfARoot) {
  sto_Store store = Create();
  Node state(0);
  state.m_Left = std::make_shared<Node>(1);
  store.Save("step-0", state);
  state.m_Left->m_Value = 2;
  ConflictOf(store, "step-1", state);
  EXPECT_EQ(store.Load<Node>("step-0")->m_Left->m_Value, 1);
}

/// Holds numbers.
struct Numbers {
  static constexpr unsigned int TypeId() noexcept { return Middle::TypeId(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_Bottom.DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
    m_List.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_List"_cow), nullptr, &m_List));
  }
  Bottom m_Bottom;
  cls_xp1DArrayListInt m_List;
  cls_Uid m_Uid;
};

TEST_F(StoreTwoObjects, ListCountsAsContentOfARoot) {
  for (int const count : {3, 300, 5000}) {
    sto_Store store = Create("list-" + std::to_string(count));
    Numbers state;
    for (int i = 0; i < count; ++i) state.m_List.Append(i);
    store.Save("step-0", state);
    store.Save("same", state);
    state.m_List.Get(count - 1) = -1;
    MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("step-1", state); });
    store.Save("step-0", state); // changes both: they are one object with two names
  }
}

TEST_F(StoreTwoObjects, CopiesOfAListThatDifferUnderTwoRootsOfOneTransactionAreAConflict) {
  for (int const count : {3, 5000}) {
    sto_Store store = Create("list-" + std::to_string(count));
    Numbers a;
    for (int i = 0; i < count; ++i) a.m_List.Append(i);
    Numbers same; // other objects with copies of the list
    Numbers b;
    same.m_List = b.m_List = a.m_List;
    sto_Transaction transaction(store);
    store.Save("a", a);
    store.Save("same", same);
    b.m_List.Append(-1);
    std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("b", b); });
    EXPECT_TRUE(Contains(message, "m_List")) << message;
    transaction.Commit();
  }
}

TEST_F(StoreTwoObjects, RenamedRootOfTheTransactionIsComparedUnderItsNewName) {
  sto_Store store = Create();
  Node inner(1);
  Node a(5);
  a.m_Left = std::make_shared<Node>(inner);
  Node b(6);
  b.m_Left = CopyOf(inner, 2);
  sto_Transaction transaction(store);
  store.Save("a", a);
  store.RenameRoot("a", "c");
  std::string const message = ConflictOf(store, "a", b);
  EXPECT_TRUE(Contains(message, "root c")) << message;
  store.Save("c", b); // under the same name
  store.RemoveRoot("c");
  b.m_Left = CopyOf(inner, 3);
  store.Save("d", b); // no other root has the old content
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("d")->m_Left->m_Value, 3);
}

TEST_F(StoreTwoObjects, RootWithoutNameIsComparedLikeOthers) {
  sto_Store store = Create();
  Node inner(1);
  Node a(5);
  a.m_Left = std::make_shared<Node>(inner);
  Node b(6);
  b.m_Left = CopyOf(inner, 2);
  sto_Transaction transaction(store);
  store.Save("", a);
  ConflictOf(store, "b", b);
}

TEST_F(StoreTwoObjects, ChangedLoadedRootIsAConflictUnderAnotherName) {
  Create().Save("a", Node(1));
  sto_Store store = Open();
  std::unique_ptr<Node> const node = store.Load<Node>("a");
  node->m_Value = 2;
  std::string const message = ConflictOf(store, "b", *node);
  EXPECT_TRUE(Contains(message, "root a")) << message;
  node->m_Value = 1;
  store.Save("b", *node); // as a second name
  node->m_Value = 3;
  store.Save("a", *node);
  EXPECT_EQ(store.Load<Node>("b")->m_Value, 3);
}

TEST_F(StoreTwoObjects, RemovedRootDoesNotCountAsAnotherName) {
  sto_Store store = Create();
  Node node(1);
  store.Save("a", node);
  store.RemoveRoot("a");
  node.m_Value = 2;
  store.Save("b", node);
  EXPECT_EQ(store.Load<Node>("b")->m_Value, 2);
}

TEST_F(StoreTwoObjects, HeldObjectMayBecomeARootWithNewContent) {
  sto_Store store = Create();
  Node frame(1);
  frame.m_Left = std::make_shared<Node>(2);
  store.Save("frame", frame);
  frame.m_Left->m_Value = 3;
  store.Save("part", *frame.m_Left);
  EXPECT_EQ(store.Load<Node>("frame")->m_Left->m_Value, 3);
}

// --- Different identities

struct Owner {
  static constexpr unsigned int TypeId() noexcept { return Node::TypeId(); }
  explicit Owner(int value) : m_Value(value) {}
  explicit Owner(cls_ReadVisitor const& visitor)
      : m_Value(visitor.Read(cls_FieldHandle("m_Value"_cow), 0)), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(cls_FieldHandle("m_Value"_cow), m_Value);
  }
  int m_Value;
  cls_OwnUid m_Uid;
};

TEST_F(StoreTwoObjects, CopyWithAnIdentityOfItsOwnIsAnotherObject) {
  sto_Store store = Create();
  Owner const a(1);
  Owner b = a;
  b.m_Value = 2;
  store.Save("a", a);
  store.Save("b", b);
  EXPECT_EQ(store.Load<Owner>("a")->m_Value, 1);
  EXPECT_EQ(store.Load<Owner>("b")->m_Value, 2);
  EXPECT_EQ(store.ObjectCount(), 2);
}

TEST_F(StoreTwoObjects, LoadedObjectWithAnIdentityOfItsOwnReplacesWhatWasStored) {
  sto_Store store = Create();
  store.Save("a", Owner(1));
  std::unique_ptr<Owner> const loaded = store.Load<Owner>("a");
  loaded->m_Value = 5;
  store.Save("a", *loaded);
  EXPECT_EQ(store.ObjectCount(), 1);
  EXPECT_EQ(store.Load<Owner>("a")->m_Value, 5);
}

} // namespace
