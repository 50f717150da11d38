#include <stdexcept>

#include "persist/backend/cls_ReadListPrim.h"
#include "store/format/sto_Format.h"
#include "tests/support/store/StoreTest.h"

namespace {

class StoreGraph : public StoreTest {};

std::shared_ptr<Node> Make(int value) {
  return std::make_shared<Node>(value);
}

/// A chain of `length` nodes, each held by the previous one, with values 1, 2, 3 ...
std::shared_ptr<Node> Chain(int length) {
  std::shared_ptr<Node> first;
  for (int value = length; value > 0; --value) {
    std::shared_ptr<Node> node = Make(value);
    node->m_Left = std::move(first);
    first = std::move(node);
  }
  return first;
}

TEST_F(StoreGraph, ObjectsInFieldsComeBackWithTheirHolder) {
  Node root(1);
  root.m_Left = Make(2);
  root.m_Left->m_Right = Make(3);
  Create().Save("root", root);
  sto_Store store = Open();
  EXPECT_EQ(store.ObjectCount(), 3);
  std::unique_ptr<Node> const loaded = store.Load<Node>("root");
  EXPECT_EQ(loaded->m_Value, 1);
  EXPECT_EQ(loaded->m_Left->m_Value, 2);
  EXPECT_EQ(loaded->m_Left->m_Right->m_Value, 3);
  EXPECT_EQ(loaded->m_Right, nullptr);
}

TEST_F(StoreGraph, AbsentObjectFieldReadsAsAnEmptyObjectAndNeverAsNoMemento) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    cls_FieldHandle const absent("m_Absent"_cow);
    EXPECT_EQ(sto_ReadShared<Node>(visitor, absent), nullptr);
    cls_ReadVisitor const child(visitor, absent);
    ASSERT_NE(child.Memento(), nullptr);
    EXPECT_EQ(child.Memento()->ClassId(), 1U);
    EXPECT_EQ(child.Memento()->ClassVersion(), -1);
    EXPECT_EQ(child.FieldIsPresent(cls_FieldHandle("m_Value"_cow)), 0);
    cls_Uid const own = child.GetUid();
    EXPECT_EQ(own.Entry(), child.GetUid().Entry());
    EXPECT_NE(own.Entry(), visitor.GetUid().Entry());
    EXPECT_EQ(Node(child).m_Value, -1);
    double tag = 0;
    std::unique_ptr<cls_ReadListPrim<double>> const list(child.Memento()->MakeReadListPrim(&tag));
    EXPECT_EQ(list->Count(), 0);
    EXPECT_EQ(list->More(), 0);
    cls_ReadVisitor const grandchild(child, absent);
    ASSERT_NE(grandchild.Memento(), nullptr);
    cls_ReadVisitor const base(child);
    ASSERT_NE(base.Memento(), nullptr);
    EXPECT_EQ(base.FieldIsPresent(cls_FieldHandle("m_Value"_cow)), 0);
  }));
}

TEST_F(StoreGraph, SharedObjectIsWrittenOnceAndComesBackShared) {
  Node root(1);
  root.m_Left = root.m_Right = Make(2);
  root.m_Back = root.m_Left;
  sto_Store store = Create();
  store.Save("root", root);
  EXPECT_EQ(store.ObjectCount(), 2);
  std::unique_ptr<Node> const loaded = store.Load<Node>("root");
  EXPECT_EQ(loaded->m_Left, loaded->m_Right);
  EXPECT_EQ(loaded->m_Back.lock(), loaded->m_Left);
  EXPECT_EQ(loaded->m_Left.use_count(), 2);
}

TEST_F(StoreGraph, DiamondComesBackAsADiamond) {
  Node root(1);
  root.m_Left = Make(2);
  root.m_Right = Make(3);
  root.m_Left->m_Left = root.m_Right->m_Right = Make(4);
  sto_Store store = Create();
  store.Save("root", root);
  EXPECT_EQ(store.ObjectCount(), 4);
  std::unique_ptr<Node> const loaded = store.Load<Node>("root");
  EXPECT_EQ(loaded->m_Left->m_Left, loaded->m_Right->m_Right);
  EXPECT_EQ(loaded->m_Left->m_Left->m_Value, 4);
}

TEST_F(StoreGraph, CycleComesBackAsACycle) {
  auto const first = Make(1);
  first->m_Left = Make(2);
  first->m_Left->m_Left = Make(3);
  first->m_Left->m_Left->m_Back = first;
  sto_Store store = Create();
  store.Save("root", *first);
  EXPECT_EQ(store.ObjectCount(), 3);
  std::shared_ptr<Node> const loaded = store.LoadShared<Node>("root");
  EXPECT_EQ(loaded->m_Left->m_Left->m_Back.lock(), loaded);
  EXPECT_EQ(loaded.use_count(), 1);
}

TEST_F(StoreGraph, ObjectThatHoldsItselfComesBack) {
  auto const node = Make(1);
  node->m_Back = node;
  sto_Store store = Create();
  store.Save("root", *node);
  EXPECT_EQ(store.ObjectCount(), 1);
  std::shared_ptr<Node> const loaded = store.LoadShared<Node>("root");
  EXPECT_EQ(loaded->m_Back.lock(), loaded);
}

TEST_F(StoreGraph, CycleBelowTheRootNeedsNoSharedLoad) {
  Node root(1);
  root.m_Left = Make(2);
  root.m_Left->m_Left = Make(3);
  root.m_Left->m_Left->m_Back = root.m_Left;
  sto_Store store = Create();
  store.Save("root", root);
  std::unique_ptr<Node> const loaded = store.Load<Node>("root");
  EXPECT_EQ(loaded->m_Left->m_Left->m_Back.lock(), loaded->m_Left);
}

TEST_F(StoreGraph, CycleThroughTheRootRefusesLoadAndSaysWhatToDo) {
  auto const root = Make(1);
  root->m_Left = Make(2);
  root->m_Left->m_Back = root;
  sto_Store store = Create();
  store.Save("root", *root);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Node>("root")); });
  EXPECT_TRUE(Contains(message, Path()) && Contains(message, "load it shared")) << message;
  EXPECT_EQ(store.LoadShared<Node>("root")->m_Left->m_Value, 2);
}

TEST_F(StoreGraph, OneObjectAsTwoTypesIsRefused) {
  Node root(1);
  root.m_Left = root.m_Right = Make(2);
  sto_Store store = Create();
  store.Save("root", root);
  struct Other {
    explicit Other(cls_ReadVisitor const&) {}
  };
  struct TwoTypes {
    explicit TwoTypes(cls_ReadVisitor const& visitor)
        : m_Left(sto_ReadShared<Node>(visitor, cls_FieldHandle("m_Left"_cow))),
          m_Right(sto_ReadShared<Other>(visitor, cls_FieldHandle("m_Right"_cow))) {}
    std::shared_ptr<Node> m_Left;
    std::shared_ptr<Other> m_Right;
  };
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<TwoTypes>("root")); });
  EXPECT_TRUE(Contains(message, "two different types")) << message;
}

TEST_F(StoreGraph, OneObjectAsTwoTypesIsRefusedWhicheverComesFirst) {
  Node root(1);
  root.m_Left = root.m_Right = Make(2);
  sto_Store store = Create();
  store.Save("root", root);
  struct Other { // does not declare its class ID
    explicit Other(cls_ReadVisitor const&) {}
  };
  struct Namesake { // another C++ class with the same class ID
    static constexpr unsigned int TypeId() noexcept { return Node::TypeId(); }
    explicit Namesake(cls_ReadVisitor const&) {}
  };
  auto const expectRefused = [&](auto readLeft) {
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
      struct Reader {
        explicit Reader(cls_ReadVisitor const& visitor) {
          decltype(readLeft)()(visitor);
          static_cast<void>(sto_ReadShared<Node>(visitor, cls_FieldHandle("m_Right"_cow)));
        }
      };
      static_cast<void>(store.Load<Reader>("root"));
    });
    EXPECT_TRUE(Contains(message, "two different types")) << message;
  };
  expectRefused([](cls_ReadVisitor const& visitor) {
    static_cast<void>(sto_ReadShared<Other>(visitor, cls_FieldHandle("m_Left"_cow)));
  });
  expectRefused([](cls_ReadVisitor const& visitor) {
    static_cast<void>(sto_ReadShared<Namesake>(visitor, cls_FieldHandle("m_Left"_cow)));
  });
}

TEST_F(StoreGraph, SharedObjectOfAnotherClassIsRefused) {
  sto_Store store = Create();
  Node const node;
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    node.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Left"_cow), nullptr, &node));
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    MessageOf(sto_ErrorKind::WrongClass,
              [&] { static_cast<void>(sto_ReadShared<Top>(visitor, cls_FieldHandle("m_Left"_cow))); });
  }));
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.LoadShared<Top>("root")); });
}

TEST_F(StoreGraph, TwoLoadsMakeTwoObjectsOfOneIdentity) {
  Node root(1);
  root.m_Left = Make(2);
  Create().Save("root", root);
  sto_Store store = Open();
  std::unique_ptr<Node> const first = store.Load<Node>("root");
  std::unique_ptr<Node> const second = store.Load<Node>("root");
  EXPECT_NE(first->m_Left, second->m_Left);
  EXPECT_EQ(first->m_Uid.Entry(), second->m_Uid.Entry());
  EXPECT_EQ(first->m_Left->m_Uid.Entry(), second->m_Left->m_Uid.Entry());
}

TEST_F(StoreGraph, LoadWithinAReadingConstructorSharesTheObjectsOfTheLoad) {
  sto_Store store = Create();
  Node const node(5);
  store.Save("node", node);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    node.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Left"_cow), nullptr, &node));
  });
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::shared_ptr<Node> const held = sto_ReadShared<Node>(visitor, cls_FieldHandle("m_Left"_cow));
    EXPECT_EQ(store.LoadShared<Node>("node"), held);
    EXPECT_NE(store.Load<Node>("node").get(), held.get()); // loaded for one owner: a separate object
    EXPECT_EQ(sto_ReadShared<Node>(visitor, cls_FieldHandle("m_Left"_cow)), held);
  }));
}

TEST_F(StoreGraph, NestingUpToTheLimitComesBack) {
  std::shared_ptr<Node> const chain = Chain(sto_Format::MaxNesting);
  sto_Store store = Create();
  store.Save("root", *chain);
  EXPECT_EQ(store.ObjectCount(), sto_Format::MaxNesting);
  std::unique_ptr<Node> const loaded = store.Load<Node>("root");
  int length = 1;
  for (Node const* node = loaded.get(); node->m_Left != nullptr; node = node->m_Left.get()) {
    EXPECT_EQ(node->m_Value, length);
    ++length;
  }
  EXPECT_EQ(length, sto_Format::MaxNesting);
}

TEST_F(StoreGraph, NestingBeyondTheLimitIsRefusedOnSaveAndNothingIsStored) {
  sto_Store store = Create();
  std::string const message =
      MessageOf(sto_ErrorKind::Full, [&] { store.Save("root", *Chain(sto_Format::MaxNesting + 1)); });
  EXPECT_TRUE(Contains(message, "1000 deep") && Contains(message, "Node")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
  EXPECT_FALSE(store.HasRoot("root"));
}

TEST_F(StoreGraph, NestingBeyondTheLimitIsRefusedOnLoad) {
  // Two chains, stored in two saves, form one chain of twice the length.
  sto_Store store = Create();
  std::shared_ptr<Node> const upper = Chain(sto_Format::MaxNesting);
  std::shared_ptr<Node> const lower = Chain(2);
  {
    sto_Transaction transaction(store);
    store.Save("upper", *upper);
    store.Save("lower", *lower);
    Node* last = upper.get();
    while (last->m_Left != nullptr) last = last->m_Left.get();
    last->m_Left = lower;
    store.Save("last", *last);
    transaction.Commit();
  }
  std::string const message =
      MessageOf(sto_ErrorKind::Full, [&] { static_cast<void>(store.Load<Node>("upper")); });
  EXPECT_TRUE(Contains(message, "1000 deep")) << message;
  EXPECT_EQ(store.Load<Node>("lower")->m_Left->m_Value, 2);
}

TEST_F(StoreGraph, CycleThatIsNotReadSharedEndsAtTheLimit) {
  auto const root = Make(1);
  root->m_Back = root;
  sto_Store store = Create();
  store.Save("root", *root);
  struct Owner {
    explicit Owner(cls_ReadVisitor const& visitor) {
      cls_FieldHandle const field("m_Back"_cow);
      if (visitor.DataIsPresent(field)) m_Held = std::make_unique<Owner>(cls_ReadVisitor(visitor, field));
    }
    std::unique_ptr<Owner> m_Held;
  };
  MessageOf(sto_ErrorKind::Full, [&] { static_cast<void>(store.Load<Owner>("root")); });
  EXPECT_EQ(store.LoadShared<Node>("root")->m_Value, 1);
}

TEST_F(StoreGraph, ObjectWhoseSiblingFailedInItsConstructorIsNotHandedOutAgain) {
  // Left is built within the failing object and refers back to it; after the failure it is not usable.
  auto const root = Make(0);
  auto const fails = Make(13);
  root->m_Left = fails;
  fails->m_Left = Make(2);
  fails->m_Left->m_Back = fails;
  root->m_Right = fails->m_Left;
  sto_Store store = Create();
  store.Save("root", *root);
  struct Fussy {
    explicit Fussy(cls_ReadVisitor const& visitor)
        : m_Left(sto_ReadShared<Fussy>(visitor, cls_FieldHandle("m_Left"_cow))),
          m_Back(sto_ReadShared<Fussy>(visitor, cls_FieldHandle("m_Back"_cow))),
          m_Value(visitor.Read(cls_FieldHandle("m_Value"_cow), 0)) {
      if (m_Value == 13) throw std::runtime_error("thirteen");
    }
    std::shared_ptr<Fussy> m_Left;
    std::weak_ptr<Fussy> m_Back;
    int m_Value;
  };
  struct Tolerant {
    explicit Tolerant(cls_ReadVisitor const& visitor) {
      EXPECT_THROW(Read(visitor, "m_Left"_cow), std::runtime_error);
      EXPECT_THROW(Read(visitor, "m_Right"_cow), std::runtime_error);
    }
    static void Read(cls_ReadVisitor const& visitor, cow_String name) {
      static_cast<void>(sto_ReadShared<Fussy>(visitor, cls_FieldHandle(name)));
    }
  };
  EXPECT_NE(store.Load<Tolerant>("root"), nullptr);
}

} // namespace
