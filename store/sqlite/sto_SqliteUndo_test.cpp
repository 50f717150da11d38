#include <sqlite3.h>

#include <new>

#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockCodec.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sqlite/sto_SqliteTransaction.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreFile.h"
#include "tests/support/store/StoreNewFault.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreSqliteMemoryFault.h"

namespace {

/// How the driver rolls back, also when memory has run out, and the state after a failed commit.
class StoreUndo : public StoreFileTest {
 protected:
  static constexpr int Blocks = 100;

  void SetUp() override { Make({}); }
  void TearDown() override { StoreSqliteMemoryFault::Disarm(); }

  void Make(sto_Options const& options) {
    m_Driver = sto_SqliteDriver::Create(Path(), options);
    m_Driver->Begin({.m_ForWriting = true});
    for (int key = 1; key <= Blocks; ++key) m_Driver->WriteBlock(key, Content(key));
    m_Driver->SetRoot("root", 1, 5);
    m_Driver->Commit();
  }
  static sto_Bytes Content(int value) {
    sto_Bytes content(2991, static_cast<std::byte>(value));
    sto_BlockCodec::Seal(1, content);
    return content;
  }
  /// Overwrites the blocks from `first` to `last`.
  void Overwrite(int first, int last, int value) {
    for (int key = first; key <= last; ++key) m_Driver->OverwriteBlock(key, Content(value));
  }
  void ExpectBlocks(int first, int last, int value) {
    for (int key = first; key <= last; ++key) {
      sto_Bytes data;
      ASSERT_TRUE(m_Driver->ReadBlock(key, data));
      ASSERT_TRUE(data == Content(value)) << key;
    }
  }
  void ExpectGoesOn() {
    m_Driver->Begin({.m_ForWriting = true});
    ExpectBlocks(1, 1, 1);
    m_Driver->SetRoot("more", 2, 5);
    m_Driver->Commit();
    m_Driver->Begin({.m_ForWriting = true});
    EXPECT_TRUE(m_Driver->RemoveRoot("more"));
    m_Driver->Commit();
  }

  std::unique_ptr<sto_Driver> m_Driver;
};

TEST_F(StoreUndo, RollbackNeedsNoMemory) {
  for (bool const spills : {false, true}) {
    m_Driver->Begin({.m_ForWriting = true});
    Overwrite(1, Blocks, 7);
    if (spills)
      for (int key = 1000; key < 3000; ++key) m_Driver->WriteBlock(key, Content(8));
    StoreSqliteMemoryFault::FailFrom(1);
    StoreNewFault::FailAt(1);
    m_Driver->Rollback();
    EXPECT_FALSE(StoreNewFault::HasFailed());
    StoreNewFault::FailAt(0);
    EXPECT_FALSE(m_Driver->IsInTransaction());
    StoreSqliteMemoryFault::Disarm();
    ExpectGoesOn();
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }
}

TEST_F(StoreUndo, RollbackThatFailsIsRepeatedAndKeepsEverythingElseBack) {
  sto_SqliteConnection connection(Path(), {SQLITE_OPEN_READWRITE, 0, false});
  sto_SqliteTransaction transaction(connection);
  transaction.Begin(true);
  connection.Execute("DELETE FROM root");
  // Now SQLite must prepare its statements again, including the one that rolls back.
  sqlite3_set_authorizer(
      connection.Handle(),
      [](void*, int, char const*, char const*, char const*, char const*) { return SQLITE_OK; }, nullptr);
  StoreSqliteMemoryFault::FailFrom(1);
  transaction.Rollback();
  ASSERT_TRUE(StoreSqliteMemoryFault::HasFailed());
  EXPECT_FALSE(transaction.IsOpen());
  for (int i = 0; i < 3; ++i) {
    for (std::function<void()> const& operation : {std::function<void()>([&] { transaction.CheckUndone(); }),
                                                   {[&] { transaction.CheckOpen(); }},
                                                   {[&] { transaction.Begin(true); }},
                                                   {[&] { transaction.Commit(); }}}) {
      std::string const message = MessageOf(sto_ErrorKind::Unavailable, operation);
      EXPECT_TRUE(Contains(message, "could not be undone")) << message;
    }
  }
  StoreSqliteMemoryFault::Disarm();
  transaction.Begin(true);
  EXPECT_EQ(connection.QueryInteger("SELECT count(*) FROM root"), 1);
  transaction.Commit();
}

TEST_F(StoreUndo, ReturnToTheMarkAllocatesNothingAndBringsBackWhatWasMoved) {
  m_Driver->Begin({.m_ForWriting = true});
  Overwrite(1, 80, 7); // moves most of them
  m_Driver->SetMark();
  Overwrite(1, Blocks, 8);
  m_Driver->DeleteBlocks(40, 60);
  for (int key = 61; key <= 75; ++key) m_Driver->WriteBlock(key, Content(9));
  StoreNewFault::FailAt(1);
  m_Driver->RollbackToMark();
  EXPECT_FALSE(StoreNewFault::HasFailed());
  StoreNewFault::FailAt(0);
  ExpectBlocks(1, 80, 7);
  for (int key = 81; key <= Blocks; ++key) ExpectBlocks(key, key, key);
  m_Driver->Commit();
  m_Driver->Begin({});
  ExpectBlocks(1, 80, 7);
  m_Driver->Rollback();
  SqlFile file(Path());
  EXPECT_EQ(file.Integer("SELECT count(*) FROM moved_block"),
            file.Integer("SELECT count(*) FROM block_place"));
}

TEST_F(StoreUndo, FailureOfEachAllocationOfSQLiteLeavesADriverThatGoesOn) {
  for (long long step = 1;; ++step) {
    SCOPED_TRACE(step);
    StoreSqliteMemoryFault::FailAt(step);
    try {
      m_Driver->Begin({.m_ForWriting = true});
      m_Driver->WriteObject(5, 1, Content(3));
      m_Driver->SetMark();
      Overwrite(1, 50, 9);
      m_Driver->RollbackToMark();
      m_Driver->SetRoot("other", 5, 5);
    } catch (std::bad_alloc const&) {
    } catch (sto_Exception const& exception) {
      EXPECT_EQ(exception.Kind(), sto_ErrorKind::Unavailable) << exception.AsString().View();
    }
    m_Driver->Rollback();
    bool const hasFailed = StoreSqliteMemoryFault::HasFailed();
    StoreSqliteMemoryFault::Disarm();
    ExpectGoesOn();
    if (HasFatalFailure() || !hasFailed) break;
  }
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_F(StoreUndo, DriverThatHasUpgradedItsStoreCanUndo) {
  m_Driver.reset();
  MakeStoreOfOldFormat(Path(), 2);
  sto_Options options;
  options.m_Upgrade = true;
  m_Driver = sto_SqliteDriver::Open(Path(), false, options);
  for (int i = 0; i < 3; ++i) {
    m_Driver->Begin({.m_ForWriting = true});
    m_Driver->SetRoot("other", 5, 5);
    StoreSqliteMemoryFault::FailFrom(1);
    m_Driver->Rollback();
    StoreSqliteMemoryFault::Disarm();
    EXPECT_FALSE(m_Driver->IsInTransaction());
  }
  ExpectGoesOn();
}

TEST_F(StoreUndo, CommitThatIsBusyCanBeTriedAgain) {
  m_Driver.reset();
  sto_Options options;
  options.m_BusyMilliseconds = 10;
  m_Driver = sto_SqliteDriver::Open(Path(), false, options);
  std::unique_ptr<sto_Driver> const reader = sto_SqliteDriver::Open(Path(), true);
  reader->Begin({});
  m_Driver->Begin({.m_ForWriting = true});
  Overwrite(1, 50, 9);
  for (int i = 0; i < 3; ++i) {
    MessageOf(sto_ErrorKind::Busy, [&] { m_Driver->Commit(); });
    EXPECT_TRUE(m_Driver->IsInTransaction());
  }
  reader->Rollback();
  m_Driver->Commit();
  reader->Begin({});
  m_Driver->Begin({});
  ExpectBlocks(1, 50, 9);
}

/// What SQLite leaves after a commit that failed for any reason but Busy.
TEST_F(StoreUndo, CommitThatFailsOtherwiseIsUndoneOrDoneAndASecondOneRaises) {
  m_Driver.reset();
  using Fault = StoreFaultVfs::Fault;
  for (bool const hasLog : {false, true})
    for (Fault const fault : {Fault::IoError, Fault::Full, Fault::NoSpace, Fault::LateIoError}) {
      int failures = 0;
      for (int step = 1;; ++step) {
        SCOPED_TRACE(std::string(hasLog ? "log " : "rollback ") + std::to_string(static_cast<int>(fault)) +
                     " step " + std::to_string(step));
        std::filesystem::remove(Path());
        StoreFaultVfs const vfs(true);
        sto_Options options;
        options.m_ReadersBesideWriter = hasLog;
        Make(options);
        m_Driver->Begin({.m_ForWriting = true});
        Overwrite(1, 50, 9);
        StoreFaultVfs::StrikeAt(step, fault);
        bool hasFailed = false;
        try {
          m_Driver->Commit();
        } catch (sto_Exception const& exception) {
          hasFailed = true;
          bool const isFull = exception.Kind() == sto_ErrorKind::Full;
          EXPECT_EQ(isFull, fault == Fault::Full || fault == Fault::NoSpace) << exception.AsString().View();
          EXPECT_FALSE(m_Driver->IsInTransaction());
          MessageOf(sto_ErrorKind::Unavailable, [&] { m_Driver->Commit(); });
          m_Driver->Rollback();
        }
        bool const struck = StoreFaultVfs::HasStruck();
        StoreFaultVfs::Disarm();
        failures += hasFailed ? 1 : 0;
        // All or nothing: if the error came after the last write, the new state may be there.
        m_Driver->Begin({});
        sto_Bytes data;
        ASSERT_TRUE(m_Driver->ReadBlock(1, data));
        bool const isThere = data == Content(9);
        if (!hasFailed || fault != Fault::LateIoError) {
          EXPECT_EQ(isThere, !hasFailed);
        }
        if (isThere)
          ExpectBlocks(1, 50, 9);
        else
          for (int key = 1; key <= 50; ++key) ExpectBlocks(key, key, key);
        m_Driver->Rollback();
        m_Driver.reset();
        if (!struck) break;
      }
      EXPECT_GT(failures, 0);
    }
}

} // namespace
