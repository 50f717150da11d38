#include <filesystem>
#include <set>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

namespace fs = std::filesystem;

/// Creating a store while others create it too, or where a previous creation was not finished.
class StoreCreation : public StoreTest, public testing::WithParamInterface<bool> {
 protected:
  [[nodiscard]] static sto_Options Options() {
    sto_Options options;
    options.m_ReadersBesideWriter = GetParam();
    return options;
  }
  [[nodiscard]] sto_Store Make() const {
    return sto_Store::Open(Path(), sto_Mode::Create, TestClasses(), Options());
  }
  [[nodiscard]] sto_ErrorKind KindOfFailure() const {
    try {
      static_cast<void>(Make());
    } catch (sto_Exception const& exception) {
      return exception.Kind();
    }
    return sto_ErrorKind{};
  }
  [[nodiscard]] std::set<std::string> Names() const {
    std::set<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(Folder()))
      names.insert(entry.path().filename().string());
    return names;
  }
  void ExpectWholeAndEmpty() const {
    sto_Store store = Open();
    EXPECT_TRUE(store.Roots().empty());
    store.Save("node", Node(1));
    EXPECT_EQ(store.Load<Node>("node")->m_Value, 1);
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }
};

TEST_P(StoreCreation, OnlyOneOfManyProgramsThatCreateAStoreSucceedsAndItsSaveStays) {
  constexpr int Racers = 6;
  constexpr int Conflict = 1;
  for (int round = 0; round < 40; round += SweepStride) {
    SCOPED_TRACE(round);
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    std::vector<pid_t> children;
    for (int racer = 0; racer < Racers; ++racer)
      children.push_back(StartStoreChild([&] {
        close(start[1]);
        char byte = 0;
        static_cast<void>(read(start[0], &byte, 1)); // returns for all at once
        try {
          Make().Save("racer", Node(racer));
          return 10 + racer;
        } catch (sto_Exception const& exception) {
          if (exception.Kind() == sto_ErrorKind::Conflict) return Conflict;
          ADD_FAILURE() << exception.AsString().View(); // otherwise the failure would not be visible
          return 2;
        }
      }));
    close(start[0]);
    close(start[1]);
    int winner = -1;
    int conflicts = 0;
    for (pid_t const child : children) {
      int const result = WaitForStoreChild(child);
      if (result >= 10 && result < 10 + Racers) {
        EXPECT_EQ(winner, -1) << "two processes created it";
        winner = result - 10;
      } else {
        EXPECT_EQ(result, Conflict);
        ++conflicts;
      }
    }
    ASSERT_EQ(conflicts, Racers - 1);
    ASSERT_EQ(Open().Load<Node>("racer")->m_Value, winner);
    fs::remove(Path());
    ASSERT_TRUE(fs::is_empty(Folder()));
  }
}

TEST_P(StoreCreation, KilledAtAnyOperationIsTakenOverByTheNextOrIsComplete) {
  int taken = 0;
  int complete = 0;
  for (int step = 1;; step += SweepStride) {
    SCOPED_TRACE("step " + std::to_string(step));
    for (fs::directory_entry const& entry : fs::directory_iterator(Folder())) fs::remove(entry);
    int const result = RunStoreChild([&] {
      StoreFaultVfs const vfs(true);
      StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
      static_cast<void>(Make());
      return 0;
    });
    ASSERT_TRUE(result == 0 || result == -SIGKILL) << result;
    if (KindOfFailure() == sto_ErrorKind::Conflict)
      ++complete; // not distinguishable from a finished store
    else
      ++taken;
    ExpectWholeAndEmpty();
    EXPECT_EQ(Names(), std::set<std::string>{"test.kvs"});
    if (result == 0) break;
  }
  EXPECT_GT(taken, 10 / SweepStride);
  EXPECT_GE(complete, 1);
}

TEST_P(StoreCreation, HeaderWithoutTablesIsTakenOver) {
  for (char const* const sql : {"PRAGMA journal_mode = WAL", "PRAGMA application_id = 1263946835",
                                "PRAGMA application_id = 1263946835; PRAGMA user_version = 4;"
                                "PRAGMA journal_mode = WAL",
                                "PRAGMA page_size = 1024; PRAGMA application_id = 1263946835"}) {
    SCOPED_TRACE(sql);
    SqlFile(Path()).Run(sql);
    ASSERT_GT(fs::file_size(Path()), 0U);
    ASSERT_EQ(KindOfFailure(), sto_ErrorKind{});
    ExpectWholeAndEmpty();
    EXPECT_EQ(Query("PRAGMA page_size"), 16384);
    EXPECT_EQ(SqlFile(Path()).Text("PRAGMA journal_mode"), GetParam() ? "wal" : "delete");
    fs::remove(Path());
  }
}

TEST_P(StoreCreation, FilesOfOthersAreLeftByteForByte) {
  for (char const* const sql :
       {"CREATE TABLE t(x)", "PRAGMA application_id = 5", "PRAGMA user_version = 7",
        "PRAGMA journal_mode = WAL; CREATE TABLE t(x)", "CREATE TABLE t(x); DROP TABLE t"}) {
    SCOPED_TRACE(sql);
    SqlFile(Path()).Run(sql);
    StoreBytes const before = FileBytes(Path());
    EXPECT_EQ(KindOfFailure(), sto_ErrorKind::Conflict);
    EXPECT_TRUE(FileBytes(Path()) == before);
    EXPECT_EQ(Names(), std::set<std::string>{"test.kvs"});
    fs::remove(Path());
  }
  for (std::string const& text : {std::string("x"), std::string(100, '\0'), std::string(70'000, 'y'),
                                  std::string("SQLite format 3\0", 16)}) {
    WriteFile(Path(), text);
    StoreBytes const before = FileBytes(Path());
    EXPECT_EQ(KindOfFailure(), sto_ErrorKind::Conflict);
    EXPECT_TRUE(FileBytes(Path()) == before);
    EXPECT_EQ(Names(), std::set<std::string>{"test.kvs"});
    fs::remove(Path());
  }
}

TEST_P(StoreCreation, LogOfAnotherFileIsLeftByteForByte) {
  ASSERT_EQ(RunStoreChild([&] {
              SqlFile file(Path());
              file.Run("PRAGMA journal_mode = WAL; CREATE TABLE t(x); INSERT INTO t VALUES(7)");
              raise(SIGKILL);
              return 0;
            }),
            -SIGKILL);
  StoreBytes const before = FileBytes(Path());
  StoreBytes const log = FileBytes(Path() + "-wal");
  ASSERT_GT(log.size(), 0U);
  EXPECT_EQ(KindOfFailure(), sto_ErrorKind::Conflict);
  EXPECT_TRUE(FileBytes(Path()) == before);
  EXPECT_TRUE(FileBytes(Path() + "-wal") == log);
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT x FROM t"), 7);
}

TEST_P(StoreCreation, StoreWithAHotJournalIsRecoveredAndKept) {
  { Make().Save("node", Node(1)); }
  ASSERT_EQ(RunStoreChild([&] {
              sto_Store store = Open();
              sto_Transaction const transaction(store);
              cls_xp1DArrayListDouble large(1'000'000);
              for (int i = 0; i < 1'000'000; ++i) large.Append(i);
              store.Save("large", large); // reaches the file before the commit
              raise(SIGKILL);
              return 0;
            }),
            -SIGKILL);
  EXPECT_EQ(KindOfFailure(), sto_ErrorKind::Conflict);
  EXPECT_FALSE(fs::exists(Path() + "-journal"));
  sto_Store store = Open();
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"node"});
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 1);
}

TEST_P(StoreCreation, StoreInUseIsAConflict) {
  sto_Store store = Make();
  EXPECT_EQ(KindOfFailure(), sto_ErrorKind::Conflict);
  sto_Transaction transaction(store);
  store.Save("node", Node(1));
  EXPECT_EQ(KindOfFailure(), sto_ErrorKind::Conflict);
  transaction.Commit();
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 1);
  EXPECT_EQ(Open().Load<Node>("node")->m_Value, 1);
}

TEST_P(StoreCreation, FailureAtEachOperationLeavesNothing) {
  StoreFaultVfs const vfs(true);
  for (StoreFaultVfs::Fault const fault : {StoreFaultVfs::Fault::IoError, StoreFaultVfs::Fault::Full}) {
    for (int step = 1;; step += SweepStride) {
      SCOPED_TRACE("step " + std::to_string(step));
      StoreFaultVfs::StrikeAt(step, fault);
      bool isCreated = false;
      try {
        static_cast<void>(Make());
        isCreated = true;
      } catch (sto_Exception const&) {
      }
      bool const struck = StoreFaultVfs::HasStruck();
      StoreFaultVfs::Disarm();
      EXPECT_EQ(fs::exists(Path()), isCreated);
      if (isCreated) ExpectWholeAndEmpty();
      fs::remove(Path());
      EXPECT_TRUE(fs::is_empty(Folder())) << *Names().begin();
      if (!struck) break;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Journals, StoreCreation, testing::Bool(),
                         [](auto const& hasLog) { return hasLog.param ? "Log" : "Rollback"; });

} // namespace
