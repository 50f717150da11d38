#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <random>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

namespace fs = std::filesystem;

/// Processes killed in the middle of their work on a store, and what the next process finds.
class StoreKill : public StoreTest {
 protected:
  /// Runs `work` in a child process; returns whether it was killed. Any other end except success is a test
  /// failure.
  static bool IsKilled(std::function<void()> const& work) {
    pid_t const child = fork();
    if (child == 0) {
      int code = 0;
      try {
        work();
      } catch (...) {
        code = 3;
      }
      _exit(code);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return true;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child failed by itself: " << status;
    return false;
  }

  static cls_xp1DArrayListDouble Numbers(int count, double factor) {
    cls_xp1DArrayListDouble list(count);
    for (int i = 0; i < count; ++i) list.Append(i * factor);
    return list;
  }

  static void ExpectNumbers(sto_Store& store, char const* root, int count, double factor) {
    std::unique_ptr<cls_xp1DArrayListDouble> const list = store.Load<cls_xp1DArrayListDouble>(root);
    ASSERT_EQ(list->Count(), count);
    for (int i = 0; i < count; ++i) ASSERT_EQ(list->ConstGet(i), i * factor) << i;
  }
};

TEST_F(StoreKill, CommittedSaveSurvivesAKillWithinTheNextTransaction) {
  EXPECT_TRUE(IsKilled([&] {
    sto_Store store = Create();
    store.Save("first", Numbers(5000, 1.5));
    sto_Transaction const transaction(store);
    store.Save("second", Node(2));
    store.Save("first", Node(3));
    raise(SIGKILL);
  }));
  EXPECT_EQ(IntegrityOf(Path()), "ok");
  sto_Store store = Open();
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"first"});
  EXPECT_EQ(store.ObjectCount(), 1);
  ExpectNumbers(store, "first", 5000, 1.5);
  store.Save("second", Node(4));
  EXPECT_EQ(store.Load<Node>("second")->m_Value, 4);
}

TEST_F(StoreKill, KillWithinASaveThatHasSpilledOntoTheFileUndoesIt) {
  { Create().Save("first", Node(1)); }
  StoreBytes const before = FileBytes(Path());
  EXPECT_TRUE(IsKilled([&] {
    sto_Store store = Open();
    sto_Transaction const transaction(store);
    store.Save("large", Numbers(1'000'000, 0.5)); // exceeds SQLite's cache
    raise(SIGKILL);
  }));
  EXPECT_FALSE(FileBytes(Path()) == before) << "nothing was spilled, so this proves nothing";
  sto_Store store = Open();
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"first"});
  EXPECT_EQ(store.Load<Node>("first")->m_Value, 1);
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 0);
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_F(StoreKill, ReadOnlySessionFindsTheCommittedStateAfterAKill) {
  { Create().Save("first", Node(1)); }
  EXPECT_TRUE(IsKilled([&] {
    sto_Store store = Open();
    sto_Transaction const transaction(store);
    store.Save("large", Numbers(1'000'000, 0.5));
    raise(SIGKILL);
  }));
  // Only a session that may write can roll back the interrupted transaction.
  std::string const message = MessageOf(sto_ErrorKind::ReadOnly, [&] { Open(sto_Mode::ReadOnly); });
  EXPECT_TRUE(Contains(message, Path())) << message;
  { Open(); }
  EXPECT_EQ(Open(sto_Mode::ReadOnly).Load<Node>("first")->m_Value, 1);
}

TEST_F(StoreKill, KillAtEachOperationOnTheFileLeavesTheOldStateOrTheNew) {
  Node first(1);
  {
    sto_Store store = Create("base");
    store.Save("node", first);
    store.Save("list", Numbers(5000, 1.0));
  }
  int olds = 0;
  int news = 0;
  for (int step = 1;; step += SweepStride) {
    SCOPED_TRACE("step " + std::to_string(step));
    fs::remove(Path() + "-journal");
    fs::copy_file(Path("base"), Path(), fs::copy_options::overwrite_existing);
    bool const killed = IsKilled([&] {
      StoreFaultVfs const vfs;
      sto_Store store = Open();
      StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
      sto_Transaction transaction(store);
      std::unique_ptr<Node> const node = store.Load<Node>("node");
      node->m_Value = 2;
      node->m_Left = std::make_shared<Node>(3);
      store.Save("node", *node);
      store.Save("list", Numbers(300'000, -2.0)); // spills before the commit
      store.Save("other", Node(4));
      transaction.Commit();
    });
    sto_Store store = Open();
    if (store.HasRoot("other")) {
      ++news;
      ASSERT_EQ(store.Load<Node>("node")->m_Left->m_Value, 3);
      ExpectNumbers(store, "list", 300'000, -2.0);
      ASSERT_EQ(store.ObjectCount(), 5);
    } else {
      ++olds;
      ASSERT_EQ(store.Load<Node>("node")->m_Value, 1);
      ExpectNumbers(store, "list", 5000, 1.0);
      ASSERT_EQ(store.ObjectCount(), 2);
      ASSERT_EQ(Query("SELECT count(*) FROM stored_block"), 3);
    }
    ASSERT_EQ(IntegrityOf(Path()), "ok");
    if (!killed) break;
  }
  EXPECT_GT(olds, 50 / SweepStride);
  EXPECT_GE(news, 1);
}

TEST_F(StoreKill, KillsAtRandomMomentsOfManySavesKeepWhatWasCommitted) {
  unsigned int const seed = 20240611;
  std::mt19937 random(seed);
  { Create().Save("count", Node(0)); }
  int saved = 0;
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
    int const step = static_cast<int>(random() % 120) + 1;
    IsKilled([&] {
      StoreFaultVfs const vfs;
      sto_Store store = Open();
      StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
      std::unique_ptr<Node> const count = store.Load<Node>("count");
      for (int i = 0; i < 8; ++i) {
        sto_Transaction transaction(store);
        ++count->m_Value;
        store.Save("count", *count);
        store.Save("root " + std::to_string(count->m_Value), Node(count->m_Value));
        transaction.Commit();
      }
    });
    sto_Store store = Open();
    int const now = store.Load<Node>("count")->m_Value;
    ASSERT_GE(now, saved);
    ASSERT_LE(now, saved + 8);
    saved = now;
    ASSERT_EQ(store.ObjectCount(), saved + 1);
    for (int i = 1; i <= saved; ++i) ASSERT_EQ(store.Load<Node>("root " + std::to_string(i))->m_Value, i);
    ASSERT_EQ(IntegrityOf(Path()), "ok");
  }
  EXPECT_GT(saved, 0);
}

/// File system errors in a session that continues.
class StoreIoFault : public StoreTest, public testing::WithParamInterface<StoreFaultVfs::Fault> {
 protected:
  [[nodiscard]] static sto_ErrorKind Kind() {
    return GetParam() == StoreFaultVfs::Fault::Full ? sto_ErrorKind::Full : sto_ErrorKind::Unavailable;
  }
};

TEST_P(StoreIoFault, FailureAtEachOperationOnTheFileLeavesTheTransactionAllOrNothing) {
  StoreFaultVfs const vfs;
  { Create("base").Save("base", Node(1)); }
  cls_xp1DArrayListDouble large(300'000);
  for (int i = 0; i < 300'000; ++i) large.Append(i);
  for (int step = 1;; step += SweepStride) {
    SCOPED_TRACE("step " + std::to_string(step));
    fs::copy_file(Path("base"), Path(), fs::copy_options::overwrite_existing);
    sto_Store store = Open();
    Node const small(2);
    Node const last(3);
    std::vector<std::string> inTransaction{"base"};
    bool isCommitted = false;
    auto const save = [&](std::string const& root, auto const& object) {
      try {
        store.Save(root, object);
        inTransaction.push_back(root);
      } catch (sto_Exception const& exception) {
        EXPECT_TRUE(exception.Kind() == Kind() || exception.Kind() == sto_ErrorKind::Unavailable)
            << exception.AsString().View();
      }
    };
    StoreFaultVfs::StrikeAt(step, GetParam());
    try {
      sto_Transaction transaction(store);
      save("1 small", small);
      save("2 large", large);
      save("3 last", last);
      transaction.Commit();
      isCommitted = true;
    } catch (sto_Exception const&) {
    }
    bool const struck = StoreFaultVfs::HasStruck();
    StoreFaultVfs::Disarm();
    if (!isCommitted) inTransaction = {"base"};
    std::sort(inTransaction.begin(), inTransaction.end());
    ASSERT_EQ(Open().Roots(), inTransaction);
    // The session and its identities remain usable.
    store.Save("1 small", small);
    store.Save("2 large", large);
    store.Save("3 last", last);
    ASSERT_EQ(store.ObjectCount(), 4);
    ASSERT_EQ(Query("SELECT count(*) FROM stored_block"), 147);
    ASSERT_EQ(store.Load<Node>("3 last")->m_Value, 3);
    ASSERT_EQ(store.Load<cls_xp1DArrayListDouble>("2 large")->ConstGet(299'999), 299'999);
    ASSERT_EQ(IntegrityOf(Path()), "ok");
    if (!struck) break;
  }
}

TEST_P(StoreIoFault, FailureOfASaveOfItsOwnLeavesTheStoreAsItWas) {
  StoreFaultVfs const vfs;
  sto_Store store = Create();
  Node node(0);
  store.Save("node", node);
  int failures = 0;
  for (int step = 1;; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    int const before = store.Load<Node>("node")->m_Value;
    node.m_Value = step;
    node.m_Left = std::make_shared<Node>(-step);
    bool hasFailed = false;
    StoreFaultVfs::StrikeAt(step, GetParam());
    try {
      store.Save("node", node);
    } catch (sto_Exception const&) {
      hasFailed = true;
      ++failures;
    }
    bool const struck = StoreFaultVfs::HasStruck();
    StoreFaultVfs::Disarm();
    std::unique_ptr<Node> const now = store.Load<Node>("node");
    ASSERT_EQ(now->m_Value, hasFailed ? before : step);
    ASSERT_EQ(now->m_Left == nullptr ? 0 : now->m_Left->m_Value, hasFailed ? -before : -step);
    ASSERT_EQ(now->m_Uid.Entry(), node.m_Uid.Entry());
    if (!struck) break;
  }
  EXPECT_GT(failures, 3);
  EXPECT_EQ(store.ObjectCount(), 2); // node and its last left one; the others were not committed
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_P(StoreIoFault, FailureAtEachOperationOfCreateLeavesNoHalfStore) {
  StoreFaultVfs const vfs;
  for (int step = 1;; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    fs::remove(Path());
    StoreFaultVfs::StrikeAt(step, GetParam());
    bool isCreated = false;
    try {
      Create();
      isCreated = true;
    } catch (sto_Exception const&) {
    }
    bool const struck = StoreFaultVfs::HasStruck();
    StoreFaultVfs::Disarm();
    EXPECT_EQ(fs::exists(Path()), isCreated);
    EXPECT_FALSE(fs::exists(Path() + "-journal"));
    if (!struck) break;
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, StoreIoFault,
                         testing::Values(StoreFaultVfs::Fault::IoError, StoreFaultVfs::Fault::Full),
                         [](auto const& fault) {
                           return fault.param == StoreFaultVfs::Fault::Full ? "Full" : "IoError";
                         });

} // namespace
