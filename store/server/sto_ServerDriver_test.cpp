#include "store/server/sto_ServerDriver.h"

#include <functional>
#include <limits>
#include <random>

#include "store/session/sto_Session.h"
#include "tests/support/server/MemoryServer.h"
#include "tests/support/store/StoreTest.h"

namespace ServerDriver {

/// A connection that the test can break.
class BreakingLink final : public MemoryLink {
 public:
  enum class When { Never, BeforeCommit, AfterCommit, AfterCommitAndLater };

  BreakingLink(std::shared_ptr<MemoryServer> server, When const& when)
      : MemoryLink(std::move(server), "server"), m_When(when) {}

  sto_ServerOutcome Commit(sto_ServerSave const& save) override {
    if (m_When == When::BeforeCommit) Break();
    sto_ServerOutcome outcome = MemoryLink::Commit(save);
    if (m_When != When::Never) Break();
    return outcome;
  }
  std::int64_t GiveUp(sto_ServerDraft const& draft) override {
    if (m_When == When::AfterCommitAndLater) Break();
    return MemoryLink::GiveUp(draft);
  }

 private:
  [[noreturn]] static void Break() { sto_Raise(sto_ErrorKind::Unavailable, "server: The connection broke."); }
  When const& m_When;
};

class ServerDriverTest : public StoreTest {
 protected:
  using When = BreakingLink::When;

  std::unique_ptr<sto_ServerDriver> Connect() {
    return std::make_unique<sto_ServerDriver>(std::make_unique<BreakingLink>(m_Server, m_When), false,
                                              sto_Options());
  }
  sto_Store Store() {
    return sto_Store(std::make_unique<sto_Session>("server", Connect(), TestClasses(), sto_Options()));
  }
  static sto_Bytes Bytes(int value) {
    sto_Bytes bytes;
    sto_ByteWriter(bytes).Number(value);
    return bytes;
  }
  static void Write(sto_Driver& driver, std::int64_t id, int value) {
    driver.WriteObject(id, 1, Bytes(value));
  }
  static int Read(sto_Driver& driver, std::int64_t id) {
    sto_StoredRecord record;
    if (!driver.ReadObject(id, record)) return -1;
    return sto_ByteReader(record.m_Bytes).Number<int>();
  }
  /// Objects 1 to `count` with the value 0.
  void Make(sto_Driver& driver, int count) {
    driver.Begin({.m_ForWriting = true});
    ASSERT_EQ(driver.TakeIds(count).m_First, 1);
    for (int id = 1; id <= count; ++id) Write(driver, id, 0);
    driver.SetIdsUsed(count + 1);
    driver.Commit();
  }
  static sto_Conflicts ConflictsOf(sto_Driver& driver) {
    try {
      driver.Commit();
    } catch (sto_Exception const& failure) {
      EXPECT_EQ(failure.Kind(), sto_ErrorKind::Conflict);
      return failure.Conflicts();
    }
    ADD_FAILURE() << "no conflict";
    return {};
  }

  std::shared_ptr<MemoryServer> m_Server = std::make_shared<MemoryServer>();
  When m_When = When::Never;
};

TEST_F(ServerDriverTest, ChangesOfDifferentObjectsOfAPackAreMerged) {
  auto const a = Connect(), b = Connect();
  Make(*a, 3);
  a->Begin({.m_ForWriting = true});
  b->Begin({.m_ForWriting = true});
  Write(*a, 1, 10);
  Write(*b, 2, 20);
  a->Commit();
  b->Commit();
  a->Begin({});
  EXPECT_EQ(Read(*a, 1), 10);
  EXPECT_EQ(Read(*a, 2), 20);
  EXPECT_EQ(Read(*a, 3), 0);
  a->Rollback();
}

TEST_F(ServerDriverTest, ThreeSessionsMergeAPack) {
  auto const a = Connect(), b = Connect(), c = Connect();
  Make(*a, 3);
  for (auto* const driver : {a.get(), b.get(), c.get()}) driver->Begin({.m_ForWriting = true});
  Write(*a, 1, 10);
  Write(*b, 2, 20);
  Write(*c, 3, 30);
  c->Commit();
  b->Commit();
  a->Commit();
  b->Begin({});
  EXPECT_EQ(Read(*b, 1) + Read(*b, 2) + Read(*b, 3), 60);
  b->Rollback();
}

TEST_F(ServerDriverTest, ChangesOfTheSameObjectAreAConflictThatNamesIt) {
  auto const a = Connect(), b = Connect();
  Make(*a, 3);
  a->Begin({.m_ForWriting = true});
  b->Begin({.m_ForWriting = true});
  Write(*a, 2, 10);
  Write(*b, 2, 20);
  Write(*b, 3, 30);
  a->Commit();
  EXPECT_EQ(ConflictsOf(*b), (sto_Conflicts{{2}, {}}));
  EXPECT_EQ(ConflictsOf(*b), (sto_Conflicts{{2}, {}})); // a second Commit says the same
  b->Rollback();
  b->Begin({});
  EXPECT_EQ(Read(*b, 2), 10);
  EXPECT_EQ(Read(*b, 3), 0);
  b->Rollback();
}

TEST_F(ServerDriverTest, ConflictsNameListsAndRoots) {
  auto const a = Connect(), b = Connect();
  Make(*a, 2);
  a->Begin({.m_ForWriting = true});
  b->Begin({.m_ForWriting = true});
  std::int64_t const key = std::int64_t{1} << sto_Format::BlockIndexBits;
  a->WriteBlock(key, Bytes(1));
  a->SetRoot("plate", 1, 7);
  b->WriteBlock(key + 1, Bytes(2)); // another block of the same list
  b->SetRoot("plate", 2, 7);
  b->SetRoot("beam", 2, 7);
  a->Commit();
  EXPECT_EQ(ConflictsOf(*b), (sto_Conflicts{{1}, {"plate"}}));
}

TEST_F(ServerDriverTest, LongRecordsInAPackOfOthersAreNoConflict) {
  auto const a = Connect(), b = Connect();
  Make(*a, 4);
  auto const writeLong = [](sto_Driver& driver, std::int64_t id, char fill) {
    driver.WriteObject(id, 1, sto_Bytes(3000, static_cast<std::byte>(fill)));
  };
  a->Begin({.m_ForWriting = true});
  for (int id = 1; id <= 3; ++id) writeLong(*a, id, 'a');
  a->Commit();
  a->Begin({.m_ForWriting = true});
  b->Begin({.m_ForWriting = true});
  writeLong(*a, 1, 'b');
  Write(*a, 3, 30); // no long one any more
  writeLong(*b, 2, 'c');
  writeLong(*b, 4, 'c');
  a->Commit();
  b->Commit();
  a->Begin({.m_ForWriting = true});
  b->Begin({.m_ForWriting = true});
  sto_StoredRecord record;
  for (auto const& [id, fill] : {std::pair(1, 'b'), std::pair(2, 'c'), std::pair(4, 'c')}) {
    EXPECT_TRUE(a->ReadObject(id, record));
    EXPECT_EQ(record.m_Bytes, sto_Bytes(3000, static_cast<std::byte>(fill))) << id;
  }
  EXPECT_EQ(Read(*a, 3), 30);
  for (auto* const driver : {a.get(), b.get()}) {
    writeLong(*driver, 2, 'd');
    writeLong(*driver, driver == a.get() ? 1 : 4, 'd');
  }
  a->Commit();
  EXPECT_EQ(ConflictsOf(*b).m_Objects, std::vector<std::int64_t>{2});
}

TEST_F(ServerDriverTest, TheSameDescriptionOfAClassIsNoConflict) {
  auto const a = Connect(), b = Connect(), c = Connect();
  Make(*a, 40);
  sto_ClassRow const row{5, 1, "Plate", 0, {{"m_Size", 1, 1, 0, 0}}};
  for (auto* const driver : {a.get(), b.get(), c.get()}) {
    driver->Begin({.m_ForWriting = true});
    driver->WriteClass(row);
    driver->AddName({1, driver == c.get() ? "m_Weight" : "m_Size"});
  }
  Write(*a, 1, 10);
  Write(*b, 2, 20);
  Write(*c, 3, 30);
  a->Commit();
  b->Commit();
  EXPECT_THROW(c->Commit(), sto_Exception);
  c->Rollback();
  b->Begin({});
  EXPECT_EQ(Read(*b, 1) + Read(*b, 2) + Read(*b, 3), 30);
  EXPECT_EQ(b->Classes().size(), 1U);
  ASSERT_EQ(b->Names().size(), 1U);
  EXPECT_EQ(b->Names()[0].m_Text, "m_Size");
  // One that does the same alone leaves the same content.
  std::string const sum = b->Info().m_Sum;
  b->Rollback();
  m_Server = std::make_shared<MemoryServer>();
  auto const alone = Connect();
  Make(*alone, 40);
  alone->Begin({.m_ForWriting = true});
  alone->WriteClass(row);
  alone->AddName({1, "m_Size"});
  Write(*alone, 1, 10);
  Write(*alone, 2, 20);
  alone->Commit();
  alone->Begin({});
  EXPECT_EQ(alone->Info().m_Sum, sum);
  alone->Rollback();
}

TEST_F(ServerDriverTest, WhoLooksAtAllObjectsIsInConflictWithEverySave) {
  auto const a = Connect(), b = Connect();
  Make(*a, 40);
  a->Begin({.m_ForWriting = true});
  b->Begin({.m_ForWriting = true});
  a->DeleteObject(40); // nothing leads to it
  Write(*b, 1, 10);
  b->Commit();
  EXPECT_EQ(ConflictsOf(*a), sto_Conflicts());
  a->Rollback();
  a->Begin({.m_ForWriting = true});
  b->Begin({.m_ForWriting = true});
  a->DeleteObject(40);
  Write(*b, 1, 20); // might lead to it
  a->Commit();
  EXPECT_EQ(ConflictsOf(*b), sto_Conflicts());
}

TEST_F(ServerDriverTest, ATransactionSeesTheStateAtItsBeginning) {
  auto const a = Connect(), b = Connect();
  Make(*a, 2);
  b->Begin({});
  EXPECT_EQ(Read(*b, 1), 0);
  for (int value = 1; value <= 3; ++value) {
    a->Begin({.m_ForWriting = true});
    Write(*a, 1, value);
    Write(*a, 2, value);
    a->SetRoot("plate", 1, 7);
    a->Commit();
  }
  EXPECT_EQ(Read(*b, 2), 0);
  EXPECT_TRUE(b->Roots().empty());
  EXPECT_EQ(b->Saves(1).size(), 2U);
  b->Rollback();
  b->Begin({});
  EXPECT_EQ(Read(*b, 2), 3);
  EXPECT_EQ(b->ChangedSince(2)->m_Objects, (std::vector<std::int64_t>{1, 2}));
  b->Rollback();
}

TEST_F(ServerDriverTest, ACommitWhoseAnswerIsLostIsResolved) {
  auto const a = Connect();
  Make(*a, 1);
  m_When = When::AfterCommit;
  a->Begin({.m_ForWriting = true});
  Write(*a, 1, 10);
  a->Commit(); // it has found out that it is committed
  m_When = When::Never;
  a->Begin({});
  EXPECT_EQ(Read(*a, 1), 10);
  EXPECT_EQ(a->NewestSave(), 3);
  a->Rollback();
}

TEST_F(ServerDriverTest, ACommitThatIsInDoubtCanBeRepeated) {
  auto const a = Connect(), b = Connect();
  Make(*a, 1);
  m_When = When::AfterCommitAndLater;
  a->Begin({.m_ForWriting = true});
  Write(*a, 1, 10);
  EXPECT_EQ(MessageOf(sto_ErrorKind::Unavailable, [&] { a->Commit(); }), "server: The connection broke.");
  EXPECT_EQ(MessageOf(sto_ErrorKind::Unavailable, [&] { a->Commit(); }), "server: The connection broke.");
  m_When = When::Never;
  a->Commit();
  b->Begin({});
  EXPECT_EQ(Read(*b, 1), 10);
  EXPECT_EQ(b->Saves(1).size(), 3U); // it was committed once
  b->Rollback();
}

TEST_F(ServerDriverTest, ACommitThatDidNotReachTheServerIsNotRepeatedByItself) {
  auto const a = Connect(), b = Connect();
  Make(*a, 1);
  m_When = When::BeforeCommit;
  a->Begin({.m_ForWriting = true});
  Write(*a, 1, 10);
  EXPECT_EQ(MessageOf(sto_ErrorKind::Unavailable, [&] { a->Commit(); }), "server: The connection broke.");
  m_When = When::Never;
  b->Begin({});
  EXPECT_EQ(Read(*b, 1), 0);
  b->Rollback();
  EXPECT_TRUE(a->IsInTransaction());
  a->Commit(); // by the program
  b->Begin({});
  EXPECT_EQ(Read(*b, 1), 10);
  b->Rollback();
}

TEST_F(ServerDriverTest, SessionsGiveOutDifferentIdsAndLeaveNoGapsOneAfterTheOther) {
  {
    auto const a = Connect(), b = Connect();
    Make(*a, 2);
    a->Begin({.m_ForWriting = true});
    b->Begin({.m_ForWriting = true});
    sto_IdRange const ofA = a->TakeIds(10), ofB = b->TakeIds(10);
    EXPECT_EQ(ofA.m_First, 3);
    EXPECT_GE(ofB.m_First, ofA.m_End);
    b->Rollback();
    a->Rollback();
  }
  m_Server = std::make_shared<MemoryServer>();
  Make(*Connect(), 2);
  auto const c = Connect();
  c->Begin({.m_ForWriting = true});
  EXPECT_EQ(c->TakeIds(10).m_First, 3);
  c->Rollback();
}

TEST_F(ServerDriverTest, ALongRecordMovesToARowOfItsOwnAndBack) {
  auto const a = Connect();
  Make(*a, 2);
  sto_Bytes const large(5000, std::byte{7});
  sto_StoredRecord record;
  for (bool const isLarge : {true, false, true}) {
    a->Begin({.m_ForWriting = true});
    EXPECT_TRUE(a->WriteObject(1, 3, isLarge ? large : Bytes(5)));
    EXPECT_FALSE(a->WriteObject(1, 3, isLarge ? large : Bytes(5)));
    a->Commit();
    a->Begin({});
    ASSERT_TRUE(a->ReadObject(1, record));
    EXPECT_TRUE(record.m_IsSound);
    EXPECT_EQ(record.m_Bytes, isLarge ? large : Bytes(5));
    EXPECT_EQ(a->ObjectCount(), 2);
    a->Rollback();
  }
  a->Begin({.m_ForWriting = true});
  a->DeleteObject(1);
  a->Commit();
  a->Begin({});
  EXPECT_FALSE(a->HasObject(1));
  EXPECT_EQ(a->ObjectIds(1, 100), (std::vector<std::int64_t>{2}));
  EXPECT_TRUE(m_Server->m_Rows.at({'r', 1}).rbegin()->second == std::nullopt);
  a->Rollback();
}

/// The same script on a file and on a server leaves the same content, under the same ids.
TEST_F(ServerDriverTest, AFileAndAServerHaveTheSameSumAfterTheSameScript) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    m_Server = std::make_shared<MemoryServer>();
    sto_Store file = Create("script" + std::to_string(seed) + ".kvs"), server = Store();
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
      ASSERT_EQ(file.Info().m_Sum, server.Info().m_Sum) << "seed " << seed << ", step " << step;
      if (random() % 4 != 0) continue;
      file = Open(sto_Mode::ReadWrite, "script" + std::to_string(seed) + ".kvs");
      server.Close();
      server = Store();
    }
    EXPECT_TRUE(server.Check(sto_CheckDepth::Full).IsSound()) << "seed " << seed;
    EXPECT_EQ(file.ObjectCount(), server.ObjectCount());
  }
}

} // namespace ServerDriver
