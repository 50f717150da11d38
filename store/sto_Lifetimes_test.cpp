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

} // namespace
