#include <new>
#include <optional>
#include <stdexcept>

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

class StoreTransaction : public StoreTest {};

TEST_F(StoreTransaction, CommitKeepsEverythingAtOnce) {
  sto_Store store = Create();
  {
    sto_Transaction transaction(store);
    store.Save("one", Node(1));
    store.Save("two", Node(2));
    EXPECT_EQ(store.Load<Node>("one")->m_Value, 1); // visible within the transaction
    transaction.Commit();
  }
  EXPECT_EQ(Open().Roots(), (std::vector<std::string>{"one", "two"}));
}

TEST_F(StoreTransaction, NothingIsOnTheMediumBeforeCommit) {
  sto_Store store = Create();
  sto_Transaction transaction(store);
  store.Save("one", Node(1));
  EXPECT_EQ(Query("SELECT count(*) FROM pack"), 0);
  transaction.Commit();
  EXPECT_EQ(Query("SELECT count(*) FROM pack"), 1);
}

TEST_F(StoreTransaction, RollbackUndoesEverything) {
  sto_Store store = Create();
  Node node(1);
  store.Save("kept", node);
  {
    sto_Transaction transaction(store);
    node.m_Value = 2;
    store.Save("kept", node);
    store.Save("new", Node(3));
    EXPECT_TRUE(store.RemoveRoot("kept"));
    transaction.Rollback();
  }
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"kept"});
  EXPECT_EQ(store.Load<Node>("kept")->m_Value, 1);
  EXPECT_EQ(store.ObjectCount(), 1);
  EXPECT_EQ(Query("SELECT next_object_id FROM save ORDER BY no DESC LIMIT 1"), 2);
}

TEST_F(StoreTransaction, DestructorRollsBack) {
  sto_Store store = Create();
  {
    sto_Transaction const transaction(store);
    store.Save("one", Node(1));
  }
  EXPECT_EQ(store.ObjectCount(), 0);
  EXPECT_TRUE(store.Roots().empty());
}

TEST_F(StoreTransaction, ClosingTheStoreRollsBack) {
  {
    auto store = std::make_optional<sto_Store>(Create());
    sto_Transaction const transaction(*store); // outlives it
    store->Save("one", Node(1));
    store.reset();
  }
  EXPECT_EQ(Open().ObjectCount(), 0);
}

TEST_F(StoreTransaction, IdentityFirstSavedInARolledBackTransactionIsSavedAnew) {
  sto_Store store = Create();
  Node const node(1);
  {
    sto_Transaction const transaction(store);
    store.Save("one", node);
  }
  store.Save("one", node);
  EXPECT_EQ(store.ObjectCount(), 1);
  EXPECT_EQ(store.Load<Node>("one")->m_Uid.Entry(), node.m_Uid.Entry());
}

TEST_F(StoreTransaction, NamesAndClassesOfARolledBackTransactionAreWrittenAgain) {
  sto_Store store = Create();
  {
    sto_Transaction const transaction(store);
    store.Save("top", Top());
    store.Save("node", Node(1));
  }
  store.Save("node", Node(2));
  store.Save("top", Top());
  sto_Store again = Open();
  EXPECT_EQ(again.Load<Node>("node")->m_Value, 2);
  EXPECT_EQ(again.Load<Top>("top")->m_MiddleValue.View(), "");
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_F(StoreTransaction, CommitAfterTheEndIsRefused) {
  sto_Store store = Create();
  sto_Transaction transaction(store);
  transaction.Commit();
  MessageOf(sto_ErrorKind::Misuse, [&] { transaction.Commit(); });
  transaction.Rollback(); // nothing to roll back
  sto_Transaction next(store);
  next.Rollback();
  next.Rollback();
  MessageOf(sto_ErrorKind::Misuse, [&] { next.Commit(); });
}

TEST_F(StoreTransaction, SecondTransactionOnAStoreIsRefusedAndTheFirstGoesOn) {
  sto_Store store = Create();
  sto_Transaction transaction(store);
  store.Save("one", Node(1));
  MessageOf(sto_ErrorKind::Misuse, [&] { sto_Transaction const second(store); });
  transaction.Commit();
  EXPECT_TRUE(store.HasRoot("one"));
}

TEST_F(StoreTransaction, FailedSaveLeavesWhatTheTransactionHadSavedBefore) {
  sto_Store store = Create();
  Node const before(1);
  Node const reached(2);
  {
    sto_Transaction transaction(store);
    store.Save("before", before);
    EXPECT_THROW(SaveFields(store,
                            [&](cls_WriteVisitor const& visitor) {
                              reached.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Held"_cow),
                                                               nullptr, &reached));
                              throw std::runtime_error("halfway");
                            }),
                 std::runtime_error);
    EXPECT_EQ(store.ObjectCount(), 1);
    store.Save("after", reached);
    transaction.Commit();
  }
  EXPECT_EQ(store.ObjectCount(), 2);
  EXPECT_EQ(Open().Roots(), (std::vector<std::string>{"after", "before"}));
  EXPECT_EQ(Open().Load<Node>("after")->m_Value, 2);
}

TEST_F(StoreTransaction, FailedSaveLeavesTheOldObjectAndItsBlocks) {
  sto_Store store = Create();
  bool fails = false;
  int last = 1;
  Scripted const object([&](cls_WriteVisitor const& visitor) {
    {
      int const tag = 0;
      std::unique_ptr<cls_WriteListPrim<int>> const list(visitor.Memento()->MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < 6000; ++i) list->Append(last);
    }
    if (fails) throw std::runtime_error("after the list");
  });
  store.Save("root", object);
  StoreBytes const before = SqlFile(Path()).Blob("SELECT data FROM stored_block ORDER BY key DESC");
  fails = true;
  last = 2;
  EXPECT_THROW(store.Save("root", object), std::runtime_error);
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 3);
  EXPECT_EQ(SqlFile(Path()).Blob("SELECT data FROM stored_block ORDER BY key DESC"), before);
}

TEST_F(StoreTransaction, ExceptionWithinNestedObjectsAndListsUndoesTheSave) {
  sto_Store store = Create();
  for (int depth = 1; depth < 6; ++depth) {
    Scripted::WriteFields write = [](cls_WriteVisitor const& visitor) {
      int const tag = 0;
      std::unique_ptr<cls_WriteListPrim<int>> const list(visitor.Memento()->MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < 3000; ++i) list->Append(i);
      throw 17;
    };
    for (int i = 0; i < depth; ++i)
      write = [write](cls_WriteVisitor const& visitor) {
        Scripted const child(write);
        child.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Child"_cow), nullptr, &child));
      };
    EXPECT_THROW(SaveFields(store, write), int);
    EXPECT_EQ(store.ObjectCount(), 0);
    EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 0);
  }
  store.Save("root", Node(1));
  EXPECT_EQ(store.Load<Node>("root")->m_Value, 1);
}

TEST_F(StoreTransaction, FailureOfAnObjectThatItsHolderSwallowsStillUndoesTheSave) {
  sto_Store store = Create();
  Scripted const bad([](cls_WriteVisitor const&) { throw std::runtime_error("bad"); });
  Node const good(1);
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      try {
        bad.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Bad"_cow), nullptr, &bad));
      } catch (std::runtime_error const&) {
      }
      good.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Good"_cow), nullptr, &good));
    });
  });
  EXPECT_TRUE(Contains(message, "not passed on")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
  store.Save("good", good);
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreTransaction, UndeclaredClassIsRefusedAndNothingIsStored) {
  struct Unknown {
    static constexpr unsigned int TypeId() noexcept { return 0x70ABCD; }
    void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(TypeId(), m_Uid); }
    cls_Uid m_Uid;
  };
  sto_Store store = Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("root", Unknown()); });
  EXPECT_TRUE(Contains(message, "Class 0x70ABCD is not declared") && Contains(message, Path())) << message;
  MessageOf(sto_ErrorKind::Misuse, [&] { // even if its holder swallows the failure
    SaveFields(store, [](cls_WriteVisitor const& visitor) {
      try {
        Unknown().DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Unknown"_cow), nullptr, nullptr));
      } catch (nex_Exception const&) {
      }
    });
  });
  EXPECT_EQ(store.ObjectCount(), 0);
  EXPECT_TRUE(store.Roots().empty());
}

TEST_F(StoreTransaction, ObjectThatWritesNothingIsRefused) {
  struct Silent {
    void DBWrite(cls_WriteVisitor const&) const {}
  };
  sto_Store store = Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("silent", Silent()); });
  EXPECT_TRUE(Contains(message, "silent")) << message;
  EXPECT_FALSE(store.HasRoot("silent"));
}

TEST_F(StoreTransaction, SaveWithinASaveIsRefusedAndTheOuterOneUndone) {
  sto_Store store = Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const&) { store.Save("inner", Node(1)); });
  });
  EXPECT_TRUE(Contains(message, "going on already")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) { // refused and swallowed: the save is whole
    MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("inner", Node(1)); });
    visitor.Write(cls_FieldHandle("m_Value"_cow), 5);
  });
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreTransaction, SaveIntoAnotherStoreWithinASaveIsFine) {
  sto_Store one = Create("one");
  sto_Store two = Create("two");
  Node const node(4);
  SaveFields(one, [&](cls_WriteVisitor const& visitor) {
    two.Save("node", node);
    node.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Node"_cow), nullptr, &node));
  });
  EXPECT_EQ(one.ObjectCount(), 2);
  EXPECT_EQ(two.Load<Node>("node")->m_Value, 4);
}

TEST_F(StoreTransaction, CommitInTheMiddleOfASaveIsRefused) {
  sto_Store store = Create();
  sto_Transaction transaction(store);
  MessageOf(sto_ErrorKind::Misuse,
            [&] { SaveFields(store, [&](cls_WriteVisitor const&) { transaction.Commit(); }); });
  EXPECT_EQ(Query("SELECT count(*) FROM pack"), 0);
  store.Save("node", Node(1));
  transaction.Commit();
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreTransaction, RollbackInTheMiddleOfASaveLeavesNothingOfIt) {
  sto_Store store = Create();
  sto_Transaction transaction(store);
  Node const node(1);
  MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      transaction.Rollback();
      node.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Node"_cow), nullptr, &node));
    });
  });
  MessageOf(sto_ErrorKind::Misuse, [&] {
    sto_Transaction second(store);
    SaveFields(store, [&](cls_WriteVisitor const&) { second.Rollback(); });
  });
  EXPECT_EQ(store.ObjectCount(), 0);
  EXPECT_TRUE(store.Roots().empty());
  store.Save("node", node);
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreTransaction, LoadWithinASaveSeesTheStore) {
  sto_Store store = Create();
  store.Save("node", Node(9));
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle("m_Value"_cow), store.Load<Node>("node")->m_Value);
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Value"_cow), 0), 9);
  }));
}

TEST_F(StoreTransaction, WritingOperationsWithinALoadAreRefused) {
  sto_Store store = Create();
  store.Save("node", Node(1));
  SaveFields(store, [](cls_WriteVisitor const&) {});
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const&) {
    MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("other", Node(2)); });
    MessageOf(sto_ErrorKind::Misuse, [&] { store.RemoveRoot("node"); });
    MessageOf(sto_ErrorKind::Misuse, [&] { sto_Transaction const transaction(store); });
  }));
  EXPECT_EQ(store.Roots(), (std::vector<std::string>{"node", "root"}));
}

struct Counted {
  static constexpr unsigned int TypeId() noexcept { return Node::TypeId(); }
  Counted() { ++s_Live; }
  Counted(Counted const&) = delete;
  ~Counted() { --s_Live; }
  explicit Counted(cls_ReadVisitor const& visitor)
      : m_Left(sto_ReadShared<Counted>(visitor, cls_FieldHandle("m_Left"_cow))),
        m_Back(sto_ReadShared<Counted>(visitor, cls_FieldHandle("m_Back"_cow))), m_Uid(visitor.GetUid()) {
    if (--s_FailsAt == 0) throw std::runtime_error("reading");
    ++s_Live;
  }
  std::shared_ptr<Counted> m_Left;
  std::weak_ptr<Counted> m_Back;
  cls_Uid m_Uid;
  static inline int s_Live = 0;
  static inline int s_FailsAt = 0;
};

TEST_F(StoreTransaction, LoadGoesOnInNoOtherStateThanThatInWhichItBegan) {
  sto_Store store = Create();
  cls_FieldHandle const field("m_Node"_cow);
  Node const node(1);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    node.DBWrite(cls_WriteVisitor(visitor, field, nullptr, &node));
  });
  for (bool const commits : {false, true}) {
    sto_Transaction transaction(store);
    store.Save("other", Node(2));
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
      static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
        commits ? transaction.Commit() : transaction.Rollback();
        static_cast<void>(sto_ReadShared<Node>(visitor, field)); // another session may have changed it by now
      }));
    });
    EXPECT_TRUE(Contains(message, "is over")) << message;
    EXPECT_EQ(store.HasRoot("other"), commits);
  }
}

TEST_F(StoreTransaction, CursorGoesOnInNoOtherStateThanThatInWhichItBegan) {
  sto_Store store = Create();
  cls_FieldHandle const field("m_List"_cow);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    cls_xp1DArrayListInt list;
    for (int i = 0; i < 5000; ++i) list.Append(i);
    list.DBWrite(cls_WriteVisitor(visitor, field, nullptr, &list));
  });
  std::optional<sto_Transaction> transaction(store);
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::unique_ptr<cls_MementoRead> const list(visitor.Memento()->MakeFieldReadObj(field));
    std::unique_ptr<cls_ReadListPrim<int>> const cursor(list->MakeReadListPrim(static_cast<int*>(nullptr)));
    EXPECT_EQ(cursor->Next(), 0);
    transaction.reset();
    MessageOf(sto_ErrorKind::Misuse, [&] {
      while (cursor->More() != 0) static_cast<void>(cursor->Next());
    });
  }));
}

TEST_F(StoreTransaction, ExceptionOfAReadingConstructorLeaksNothingAndTheStoreGoesOn) {
  auto const root = std::make_shared<Node>(1);
  root->m_Left = std::make_shared<Node>(2);
  root->m_Left->m_Left = std::make_shared<Node>(3);
  root->m_Left->m_Left->m_Back = root;
  Create().Save("root", *root);
  sto_Store store = Open();
  for (int at = 1; at <= 3; ++at) {
    Counted::s_FailsAt = at;
    EXPECT_THROW(static_cast<void>(store.LoadShared<Counted>("root")), std::runtime_error);
    EXPECT_EQ(Counted::s_Live, 0);
  }
  Counted::s_FailsAt = 0;
  std::shared_ptr<Counted> const loaded = store.LoadShared<Counted>("root");
  EXPECT_EQ(Counted::s_Live, 3);
  EXPECT_EQ(loaded->m_Left->m_Left->m_Back.lock(), loaded);
  store.Save("more", Node(4));
  EXPECT_EQ(store.ObjectCount(), 4);
}

TEST_F(StoreTransaction, SaveDuringStackUnwindingIsWhole) {
  sto_Store store = Create();
  struct SavesAtItsEnd {
    sto_Store& m_Store;
    ~SavesAtItsEnd() { m_Store.Save("last words", Node(7)); }
  };
  try {
    SavesAtItsEnd const saver{store};
    throw std::runtime_error("passing through");
  } catch (std::runtime_error const&) {
  }
  EXPECT_EQ(store.Load<Node>("last words")->m_Value, 7);
}

} // namespace
