// What programs rely on with stores on a server.
#include "store/postgres/sto_PostgresConnection.h"
#include "store/postgres/sto_PostgresPlace.h"
#include "tests/server/ServerTest.h"
#include "tests/support/Seeds.h"

namespace ServerStores {

class ServerStoresTest : public ServerTest {
 protected:
  /// Runs statements in the database, behind the library's back.
  static void Sql(std::string const& statements) {
    sto_PostgresConnection connection(std::getenv("KVL_POSTGRES"), "test", 0);
    static_cast<void>(connection.ExecuteAll(statements));
  }
  [[nodiscard]] std::string IdOf(std::string const& name) const {
    return "(SELECT store_id FROM kvl.store WHERE name = '" + sto_PostgresPlace::Of(Place(name)).m_Store +
           "')";
  }
};

template <class Act> sto_Exception FailureOf(Act const& act) {
  try {
    act();
  } catch (sto_Exception const& failure) {
    return failure;
  }
  ADD_FAILURE() << "nothing was raised";
  return sto_Exception(sto_ErrorKind::Misuse, atr_String(""));
}

TEST_F(ServerStoresTest, WhatOneSessionSavesAnotherOneReads) {
  sto_Store a = Make("shared"), b = Reopen("shared");
  a.Save("one", Node(1));
  EXPECT_EQ(b.Load<Node>("one")->m_Value, 1);
  b.Save("two", Node(2));
  EXPECT_EQ(a.Load<Node>("two")->m_Value, 2);
  EXPECT_EQ(a.Info().m_Sum, b.Info().m_Sum);
}

TEST_F(ServerStoresTest, ChangesOfOneRootAreInConflictAndOfTwoAreNot) {
  sto_Store a = Make("shared"), b = Reopen("shared");
  a.Save("one", Node(1));
  a.Save("two", Node(2));
  {
    sto_Transaction first(a), second(b);
    a.Save("one", Node(10));
    b.Save("two", Node(20));
    first.Commit();
    second.Commit();
  }
  EXPECT_EQ(b.Load<Node>("one")->m_Value, 10);
  EXPECT_EQ(a.Load<Node>("two")->m_Value, 20);
  sto_Transaction first(a), second(b);
  a.Save("one", Node(11));
  b.Save("one", Node(12));
  first.Commit();
  sto_Exception const failure = FailureOf([&] { second.Commit(); });
  EXPECT_EQ(failure.Kind(), sto_ErrorKind::Conflict);
  EXPECT_EQ(failure.Conflicts().m_Roots, std::vector<std::string>{"one"});
}

TEST_F(ServerStoresTest, ATransactionSeesTheStateAtItsBeginning) {
  sto_Store a = Make("shared"), b = Reopen("shared");
  a.Save("one", Node(1));
  sto_ReadTransaction const reading(b);
  EXPECT_EQ(b.Load<Node>("one")->m_Value, 1);
  for (int i = 2; i < 20; ++i) a.Save("one", Node(i));
  EXPECT_EQ(b.Load<Node>("one")->m_Value, 1);
}

TEST_F(ServerStoresTest, AReadGoesOnAfterItsConnectionWasEnded) {
  sto_Store store = Make("broken");
  store.Save("one", Node(1));
  Sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE application_name = 'kvlpersist' "
      "AND pid <> pg_backend_pid()");
  EXPECT_EQ(store.Load<Node>("one")->m_Value, 1);
}

/// A standby that is promoted may lack the last saves. Nobody must go on as if they had never been.
TEST_F(ServerStoresTest, AServerThatHasLostASaveIsNotTakenForTheOneThatHadIt) {
  sto_Store store = Make("lost");
  store.Save("one", Node(1));
  store.Save("one", Node(2));
  Sql("DELETE FROM kvl.save WHERE store_id = " + IdOf("lost") +
      " AND save_no = 3; UPDATE kvl.head SET save_no = 2 WHERE "
      "store_id = " +
      IdOf("lost"));
  for (int i = 0; i < 2; ++i) {
    sto_Exception failure = FailureOf([&] { static_cast<void>(store.Load<Node>("one")); });
    EXPECT_EQ(failure.Kind(), sto_ErrorKind::Unavailable);
    EXPECT_NE(std::string(failure.what()).find("newest save is 2, and this session has seen save 3"),
              std::string::npos)
        << failure.what();
  }
}

TEST_F(ServerStoresTest, AnotherSaveUnderTheSameNumberIsNoticed) {
  sto_Store store = Make("lost");
  store.Save("one", Node(1));
  Sql("UPDATE kvl.save SET token = 'other' WHERE save_no = 2 AND store_id = " + IdOf("lost"));
  EXPECT_EQ(FailureOf([&] { store.Save("one", Node(2)); }).Kind(), sto_ErrorKind::Unavailable);
}

/// As on a standby, or where an administrator has said so.
TEST_F(ServerStoresTest, AServerThatMayOnlyBeReadIsRead) {
  Make("read").Save("one", Node(1));
  std::string location = Place("read");
  location.insert(location.find('#'), "&options=-c%20default_transaction_read_only%3Don");
  sto_Store store = sto_Store::Open(location, sto_Mode::ReadWrite, TestClasses());
  EXPECT_EQ(store.Load<Node>("one")->m_Value, 1);
  EXPECT_EQ(FailureOf([&] { store.Save("one", Node(2)); }).Kind(), sto_ErrorKind::ReadOnly);
  EXPECT_EQ(store.Load<Node>("one")->m_Value, 1);
}

TEST_F(ServerStoresTest, NewerTablesAreNotRead) {
  Make("test").Save("one", Node(1));
  Sql("UPDATE kvl.format SET version = 99");
  sto_Exception failure = FailureOf([&] { static_cast<void>(Reopen("test")); });
  Sql("UPDATE kvl.format SET version = 1");
  EXPECT_EQ(failure.Kind(), sto_ErrorKind::NewerFormat);
  EXPECT_EQ(Reopen("test").Load<Node>("one")->m_Value, 1);
}

TEST_F(ServerStoresTest, ARemovedStoreIsGoneAndItsNameIsFree) {
  sto_Store store = Make("old");
  store.Save("one", Node(1));
  Make("kept").Save("two", Node(2));
  sto_RemoveFromServer(Place("old"));
  EXPECT_EQ(FailureOf([&] { static_cast<void>(Reopen("old")); }).Kind(), sto_ErrorKind::NotFound);
  EXPECT_EQ(FailureOf([&] { static_cast<void>(store.Load<Node>("one")); }).Kind(), sto_ErrorKind::NotFound);
  EXPECT_EQ(FailureOf([&] { store.Save("one", Node(3)); }).Kind(), sto_ErrorKind::NotFound);
  EXPECT_TRUE(Make("old").Roots().empty());
  EXPECT_EQ(Reopen("kept").Load<Node>("two")->m_Value, 2);
}

TEST_F(ServerStoresTest, ATextWithAZeroAndBytesThatAreNoTextIsANote) {
  using namespace std::string_literals;
  std::string const note = "a\0b\xff'; DROP SCHEMA kvl; --"s;
  sto_Store store = Make("notes");
  {
    sto_Transaction transaction(store);
    store.Save("one", Node(1));
    transaction.SetNote(note);
    transaction.Commit();
  }
  EXPECT_EQ(store.Saves().back().m_Note, note);
}

/// The same script leaves the same content in a file and on a server, and copies of both have it, too.
TEST_F(ServerStoresTest, AFileAndAServerHaveTheSameSumAfterTheSameScript) {
  unsigned const last = TestsAllSeeds() ? 500 : 20;
  for (unsigned seed = 1; seed <= last; ++seed) {
    std::string const name = "script" + std::to_string(seed);
    sto_Store file = Create(name + ".kvs"), server = Make(name);
    std::mt19937 random(seed);
    for (int step = 0; step < 25; ++step) {
      std::string const root = "root " + std::to_string(random() % 5);
      auto const what = random() % 8;
      int const value = static_cast<int>(random() % 100);
      for (sto_Store* const store : {&file, &server}) {
        if (what == 0) {
          static_cast<void>(store->RemoveRoot(root));
        } else if (what == 1) {
          static_cast<void>(store->CollectGarbage());
        } else {
          sto_Transaction transaction(*store);
          store->Save(root, Node(value));
          store->Save(root + " too", Node(value + 1));
          if (what != 2) transaction.Commit();
        }
      }
      if (random() % 8 != 0) continue;
      ASSERT_EQ(file.Info().m_Sum, server.Info().m_Sum) << "seed " << seed << ", step " << step;
      file = Open(sto_Mode::ReadWrite, name + ".kvs");
      server = Reopen(name);
    }
    std::string const sum = file.Info().m_Sum;
    ASSERT_EQ(server.Info().m_Sum, sum) << "seed " << seed;
    file.CopyTo(Place(name + " copied"));
    server.CopyTo(Path(name + " copied.kvs"));
    EXPECT_EQ(Reopen(name + " copied").Info().m_Sum, sum);
    EXPECT_EQ(Open(sto_Mode::ReadOnly, name + " copied.kvs").Info().m_Sum, sum);
    EXPECT_TRUE(server.Check(sto_CheckDepth::Full).IsSound()) << "seed " << seed;
  }
}

} // namespace ServerStores
