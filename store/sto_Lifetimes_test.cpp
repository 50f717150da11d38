#include <thread>

#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreTest.h"

// Misused lifetimes and threads of stores, registrars and transactions.

namespace {

class StoreLifetimes : public StoreTest {};
using StoreLifetimesDeathTest = StoreLifetimes;

TEST_F(StoreLifetimes, StoreThatWasMovedFromIsMisuse) {
  sto_Store store = Create();
  sto_Store const moved = std::move(store);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("node", Node(1)); }); // NOLINT: intentional
  EXPECT_TRUE(Contains(message, "moved from")) << message;
  MessageOf(sto_ErrorKind::Misuse, [&] { sto_Transaction const transaction(store); }); // NOLINT
  MessageOf(sto_ErrorKind::Misuse, [&] { sto_LoadScope const scope(store); });         // NOLINT
}

TEST_F(StoreLifetimes, StoreOfAnotherThreadIsMisuse) {
  sto_Store store = Create();
  store.Save("node", Node(1));
  std::thread([&] {
    std::string const message =
        MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.HasRoot("node")); });
    EXPECT_TRUE(Contains(message, "thread")) << message;
    MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("other", Node(2)); });
    MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Node>("node")); });
  }).join();
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"node"});
}

TEST_F(StoreLifetimes, TransactionOfAnotherThreadIsMisuse) {
  sto_Store store = Create();
  sto_Transaction transaction(store);
  std::thread([&] { MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("node", Node(1)); }); }).join();
  store.Save("node", Node(2));
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 2);
}

TEST_F(StoreLifetimes, TransactionThatOutlivesItsStoreSaysSo) {
  auto store = std::make_unique<sto_Store>(Create());
  sto_Transaction transaction(*store);
  store->Save("node", Node(1));
  store.reset();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { transaction.Commit(); });
  EXPECT_TRUE(Contains(message, "closed before its transaction")) << message;
  transaction.Rollback();
  EXPECT_TRUE(Open().Roots().empty());
}

TEST_F(StoreLifetimes, ReadTransactionMayOutliveItsStore) {
  auto store = std::make_unique<sto_Store>(Create());
  sto_ReadTransaction const transaction(*store);
  store.reset();
}

#ifndef NDEBUG
TEST_F(StoreLifetimesDeathTest, RegistrarThatDiesBeforeItsStoreIsAnAssertion) {
  EXPECT_DEATH(
      {
        auto classes = std::make_unique<cls_ClassRegistrar>();
        DeclareNode(*classes);
        sto_Store const store = sto_Store::Open(Path("death.kvs"), sto_Mode::Create, *classes);
        classes.reset();
      },
      "opened with this registrar is still open");
}

TEST_F(StoreLifetimesDeathTest, StoreThatIsClosedByAnotherThreadIsAnAssertion) {
  EXPECT_DEATH(
      {
        auto store = std::make_unique<sto_Store>(Create("death.kvs"));
        std::thread([&] { store.reset(); }).join();
      },
      "closed by the thread that opened it");
}

TEST_F(StoreLifetimesDeathTest, ForgottenStartWriteIsAnAssertionWithASentence) {
  struct Careless {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      visitor.Write(cls_FieldHandle(0, "m_Value"_cow), 1);
    }
  };
  // The statement runs in a child, which opens a store of its own.
  EXPECT_DEATH(Create().Save("node", Careless()), "DBWrite must call StartWrite first");
}

TEST_F(StoreLifetimesDeathTest, MemberOfAnObjectThatForgotStartWriteIsAnAssertionToo) {
  struct Careless {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      m_Node.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(0, "m_Left"_cow), nullptr, &m_Node));
    }
    Node m_Node;
  };
  // The statement runs in a child, which opens a store of its own.
  EXPECT_DEATH(Create().Save("node", Careless()), "DBWrite must call StartWrite first");
}
#else
TEST_F(StoreLifetimes, RegistrarThatDiesBeforeItsStoreIsMisuse) {
  auto classes = std::make_unique<cls_ClassRegistrar>();
  DeclareNode(*classes);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, *classes);
  classes.reset();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("node", Node(1)); });
  EXPECT_TRUE(Contains(message, "registrar")) << message;
}
#endif

class StoreFork : public StoreArrayTest {
 protected:
  static constexpr int Many = 400'000; // elements; more than stays in memory in a transaction
};

TEST_F(StoreFork, ChildThatEndsLeavesTheTransactionOfItsParent) {
  Make(5000);
  {
    auto store = std::make_unique<sto_Store>(Open());
    auto const array = store->Load<DoubleHolder>("array");
    auto transaction = std::make_unique<sto_Transaction>(*store);
    DoubleHolder holder;
    Fill(holder.m_Array, Many);
    store->Save("many", holder);
    array->m_Array.Get(0) = 7;
    EXPECT_EQ(RunStoreChild([&] { // ends as a program does that unwinds its stack
                array->m_Array.~cls_ArrayPrim();
                transaction.reset();
                store.reset();
                return 0;
              }),
              0);
    transaction->Commit();
  }
  EXPECT_EQ(Stored("test.kvs", "many"), Numbers(Many));
  std::vector<double> numbers = Numbers(5000);
  numbers[0] = 7;
  EXPECT_EQ(Stored(), numbers);
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_F(StoreFork, UsingAStoreOfTheParentIsMisuse) {
  Make(5000);
  sto_Store store = Open();
  auto const array = store.Load<DoubleHolder>("array");
  EXPECT_EQ(RunStoreChild([&] {
              std::string const message =
                  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.HasRoot("array")); });
              EXPECT_TRUE(Contains(message, "forked")) << message;
              MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("node", Node(1)); });
              MessageOf(sto_ErrorKind::Misuse, [&] { sto_Transaction const transaction(store); });
              MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(array->m_Array.ConstGet(4000)); });
              MessageOf(sto_ErrorKind::Misuse, [&] { store.Compact(); });
              sto_Store own = Open(sto_Mode::ReadOnly);
              EXPECT_EQ(own.Roots(), std::vector<std::string>{"array"});
              return HasFailure() ? 1 : 0;
            }),
            0);
  store.Save("node", Node(2));
  EXPECT_EQ(Elements(array->m_Array), Numbers(5000));
  EXPECT_EQ(store.Roots(), (std::vector<std::string>{"array", "node"}));
}

/// A child that opens the store itself does not rely on locks that only its parent has. Each step of the parent comes
/// after one of the child.
class StoreForkOpens : public StoreFork, public testing::WithParamInterface<bool> {
 protected:
  StoreForkOpens() {
    m_Options.m_ReadersBesideWriter = GetParam();
    m_Options.m_BusyMilliseconds = 0;
    EXPECT_EQ(pipe(m_ToParent), 0);
    EXPECT_EQ(pipe(m_ToChild), 0);
    m_Parent = std::make_unique<sto_Store>(OpenIt(sto_Mode::Create));
    m_Parent->Save("first", Node(1));
  }
  ~StoreForkOpens() override {
    for (int const end : {m_ToParent[0], m_ToParent[1], m_ToChild[0], m_ToChild[1]}) close(end);
  }
  sto_Store OpenIt(sto_Mode mode = sto_Mode::ReadWrite) const { return Open(mode, "test.kvs", m_Options); }
  static void Tell(int const (&ends)[2]) { EXPECT_EQ(write(ends[1], "x", 1), 1); }
  static void Await(int const (&ends)[2]) {
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
  }

  sto_Options m_Options;
  int m_ToParent[2]{};
  int m_ToChild[2]{};
  std::unique_ptr<sto_Store> m_Parent;
};

TEST_P(StoreForkOpens, SeesOneStateInATransaction) {
  auto reading = std::make_unique<sto_ReadTransaction>(*m_Parent);
  EXPECT_TRUE(m_Parent->HasRoot("first"));
  pid_t const child = StartStoreChild([&] {
    sto_Store own = OpenIt();
    sto_ReadTransaction const transaction(own);
    EXPECT_EQ(own.Roots().size(), 1U);
    Tell(m_ToParent);
    Await(m_ToChild);
    EXPECT_EQ(own.Roots().size(), 1U);
    return HasFailure() ? 1 : 0;
  });
  Await(m_ToParent);
  reading.reset();
  if (GetParam())
    m_Parent->Save("second", Node(2));
  else
    MessageOf(sto_ErrorKind::Busy, [&] { m_Parent->Save("second", Node(2)); });
  Tell(m_ToChild);
  EXPECT_EQ(WaitForStoreChild(child), 0);
}

TEST_P(StoreForkOpens, SavesSurviveAParentThatCloses) {
  auto reading = std::make_unique<sto_ReadTransaction>(*m_Parent);
  EXPECT_TRUE(m_Parent->HasRoot("first"));
  pid_t const child = StartStoreChild([&] {
    sto_Store own = OpenIt();
    EXPECT_TRUE(own.HasRoot("first"));
    Tell(m_ToParent);
    Await(m_ToChild);
    own.Save("of the child", Node(2));
    own.Close();
    return HasFailure() ? 1 : 0;
  });
  Await(m_ToParent);
  reading.reset();
  m_Parent->Close(); // takes a log away if nobody else has it
  Tell(m_ToChild);
  EXPECT_EQ(WaitForStoreChild(child), 0);
  EXPECT_EQ(OpenIt().Roots(), (std::vector<std::string>{"first", "of the child"}));
}

TEST_P(StoreForkOpens, WritesOnceTheTransactionOfTheParentIsOver) {
  auto writing = std::make_unique<sto_Transaction>(*m_Parent);
  m_Parent->Save("second", Node(2));
  pid_t const child = StartStoreChild([&] {
    sto_Store own = OpenIt();
    MessageOf(sto_ErrorKind::Busy, [&] { own.Save("third", Node(3)); });
    Tell(m_ToParent);
    Await(m_ToChild);
    own.Save("third", Node(3));
    // The same once more, from the child's own connection.
    sto_ReadTransaction const transaction(own);
    EXPECT_EQ(own.Roots().size(), 3U);
    EXPECT_EQ(RunStoreChild([&] { return OpenIt().Roots().size() == 3 ? 0 : 1; }), 0);
    return HasFailure() ? 1 : 0;
  });
  Await(m_ToParent);
  writing->Commit();
  Tell(m_ToChild);
  EXPECT_EQ(WaitForStoreChild(child), 0);
  EXPECT_EQ(m_Parent->Roots(), (std::vector<std::string>{"first", "second", "third"}));
  EXPECT_TRUE(m_Parent->Check(sto_CheckDepth::Full).IsSound());
}

INSTANTIATE_TEST_SUITE_P(Journals, StoreForkOpens, testing::Bool(),
                         [](auto const& each) { return std::string(each.param ? "Log" : "Rollback"); });

} // namespace
