#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <limits>

#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreStream.h"

namespace {

namespace fs = std::filesystem;

/// Options for creating a store, and the resulting store.
class StoreOptions : public StoreTest {
 protected:
  sto_Store CreateWith(sto_Options const& options) const {
    return sto_Store::Open(Path(), sto_Mode::Create, TestClasses(), options);
  }
  static sto_Options PageBytes(int bytes) {
    sto_Options options;
    options.m_PageBytes = bytes;
    return options;
  }
  static sto_Options Log() {
    sto_Options options;
    options.m_ReadersBesideWriter = true;
    return options;
  }
};

TEST_F(StoreOptions, EachPowerOfTwoFrom512To65536IsAPageSize) {
  for (int bytes = 512; bytes <= 65536; bytes *= 2) {
    for (bool const hasLog : {false, true}) {
      SCOPED_TRACE(std::to_string(bytes) + (hasLog ? " with a log" : ""));
      fs::remove(Path());
      sto_Options options = PageBytes(bytes);
      options.m_ReadersBesideWriter = hasLog;
      {
        sto_Store store = CreateWith(options);
        sto_Transaction transaction(store);
        for (int i = 0; i < 200; ++i) store.Save(std::to_string(i), Node(i));
        cls_xp1DArrayListInt list;
        for (int i = 0; i < 9000; ++i) list.Append(i);
        store.Save("list", list);
        transaction.Commit();
        EXPECT_EQ(store.SizeBytes() % bytes, 0);
      }
      EXPECT_EQ(Query("PRAGMA page_size"), bytes);
      sto_Store store = Open();
      EXPECT_EQ(store.Load<Node>("199")->m_Value, 199);
      EXPECT_EQ(store.Load<cls_xp1DArrayListInt>("list")->ConstGet(8999), 8999);
      store.Save("more", Node(7));
      EXPECT_EQ(store.ObjectCount(), 202);
      EXPECT_EQ(IntegrityOf(Path()), "ok");
    }
  }
}

TEST_F(StoreOptions, StoreThatIsMadeWithoutOptionsHasPagesOf16KibibytesAndNoLog) {
  { Create().Save("node", Node(1)); }
  EXPECT_EQ(Query("PRAGMA page_size"), 16384);
  EXPECT_EQ(SqlFile(Path()).Text("PRAGMA journal_mode"), "delete");
}

TEST_F(StoreOptions, OtherPageSizesAreRefusedAndNoFileIsMade) {
  for (int const bytes : {0, -1, -512, 1, 2, 256, 511, 513, 1000, 1536, 16383, 65535, 65537, 131072,
                          std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    std::string const message =
        MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(CreateWith(PageBytes(bytes))); });
    EXPECT_TRUE(Contains(message, std::to_string(bytes)) && Contains(message, Path())) << message;
    EXPECT_FALSE(fs::exists(Path())) << bytes;
  }
  WriteFile(Path(), "");
  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(CreateWith(PageBytes(1000))); });
  EXPECT_EQ(fs::file_size(Path()), 0U); // existed before
}

TEST_F(StoreOptions, MatterToNewStoresOnly) {
  { CreateWith(PageBytes(4096)).Save("node", Node(1)); }
  for (sto_Options const& options : {PageBytes(1000), PageBytes(65536), Log()})
    for (sto_Mode const mode : {sto_Mode::ReadOnly, sto_Mode::ReadWrite}) {
      sto_Store store = sto_Store::Open(Path(), mode, TestClasses(), options);
      EXPECT_EQ(store.Load<Node>("node")->m_Value, 1);
    }
  EXPECT_EQ(Query("PRAGMA page_size"), 4096);
  EXPECT_EQ(SqlFile(Path()).Text("PRAGMA journal_mode"), "delete");
}

TEST_F(StoreOptions, LogThatTheSystemCannotKeepIsRefusedAndNoFileIsLeft) {
  StoreFaultVfs const vfs; // its files have no shared memory, which a log needs
  std::string const message =
      MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(CreateWith(Log())); });
  EXPECT_TRUE(Contains(message, Path()) && Contains(message, "log")) << message;
  EXPECT_TRUE(fs::is_empty(Folder()));
  EXPECT_TRUE(Create().Roots().empty());
}

/// A store with a write-ahead log and a list of many blocks.
class StoreLog : public StoreStreamTest {
 protected:
  static constexpr int Count = Blocks * BlockSize;

  void SetUp() override {
    sto_Options options;
    options.m_ReadersBesideWriter = true;
    Make(Count, options);
  }
  /// Opens a session for writing that soon stops waiting for others.
  [[nodiscard]] sto_Store OpenImpatient() const {
    sto_Options options;
    options.m_BusyMilliseconds = 100;
    return sto_Store::Open(Path(), sto_Mode::ReadWrite, Classes(), options);
  }
  static std::vector<int> Counted() {
    std::vector<int> values;
    for (int i = 0; i < Count; ++i) values.push_back(i);
    return values;
  }
  static std::vector<int> Filled(int value) { return std::vector<int>(Count, value); }
  static void ExpectList(sto_Store& store, std::vector<int> const& expected) {
    EXPECT_TRUE(store.Load<Stream>("stream")->ReadAll(5000) == expected);
  }
  /// Runs `work` in a child process, which `work` must kill.
  static void KilledWithin(std::function<void()> const& work) {
    pid_t const child = fork();
    if (child == 0) {
      try {
        work();
      } catch (...) {
      }
      _exit(3);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
  }
};

TEST_F(StoreLog, ReaderSeesTheOldStateBesideAWriterAndTheNewOneAfterIt) {
  sto_Store writer = Open();
  std::unique_ptr<Stream> const stream = writer.Load<Stream>("stream");
  for (sto_Mode const mode : {sto_Mode::ReadOnly, sto_Mode::ReadWrite}) {
    std::vector<int> const before = stream->ReadAll(Count);
    std::size_t const roots = writer.Roots().size();
    sto_Store reader = Open(mode);
    int const value = static_cast<int>(roots) * -100;
    sto_Transaction transaction(writer);
    stream->Write(0, Filled(value));
    stream->Write(Count, std::vector<int>(2'000'000, 1)); // exceeds SQLite's cache
    stream->Write(0, Filled(value - 1));
    writer.Save("new " + std::to_string(roots), Stream());
    ExpectList(reader, before);
    EXPECT_EQ(reader.Roots().size(), roots);
    sto_Store second = Open(mode); // so does a new session
    ExpectList(second, before);
    EXPECT_EQ(writer.Roots().size(), roots + 1);
    transaction.Commit();
    std::vector<int> const after = stream->ReadAll(Count);
    EXPECT_EQ(after.front(), value - 1);
    ExpectList(reader, after);
    ExpectList(second, after);
    EXPECT_EQ(reader.Roots().size(), roots + 1);
  }
  ExpectTables();
}

TEST_F(StoreLog, WriterDoesNotWaitForAReader) {
  sto_Store reader = Open(sto_Mode::ReadOnly);
  sto_Store writer = Open();
  std::unique_ptr<Stream> const theirs = reader.Load<Stream>("stream");
  std::unique_ptr<Stream> const stream = writer.Load<Stream>("stream");
  {
    sto_ReadTransaction const reading(reader);
    EXPECT_TRUE(theirs->ReadAll(5000) == Counted());
    auto const start = std::chrono::steady_clock::now();
    for (int i = 1; i <= 5; ++i) {
      sto_Transaction transaction(writer);
      stream->Write(0, Filled(-i));
      writer.Save("new", Stream());
      transaction.Commit();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4)); // the timeout is five
    EXPECT_TRUE(theirs->ReadAll(5000) == Counted());
    EXPECT_FALSE(reader.HasRoot("new"));
  }
  EXPECT_TRUE(reader.HasRoot("new"));
  EXPECT_TRUE(reader.Load<Stream>("stream")->ReadAll(5000) == Filled(-5));
}

TEST_F(StoreLog, SecondWriterIsBusyAndGoesOnWhenTheFirstIsDone) {
  sto_Store one = Open();
  sto_Store two = OpenImpatient();
  {
    sto_Transaction transaction(one);
    one.Save("one", Stream());
    MessageOf(sto_ErrorKind::Busy, [&] { two.Save("two", Stream()); });
    transaction.Commit();
  }
  two.Save("two", Stream());
  EXPECT_EQ(one.Roots().size(), 4U);
  EXPECT_EQ(two.Roots().size(), 4U);
}

TEST_F(StoreLog, WithoutItAReaderKeepsTheWriterFromCommitting) {
  fs::remove(Path());
  Make(Count);
  sto_Store writer = OpenImpatient();
  sto_Store reader = Open(sto_Mode::ReadOnly);
  sto_Transaction transaction(writer);
  writer.Save("new", Stream());
  EXPECT_FALSE(reader.HasRoot("new")); // the transaction has not reached the file
  {
    sto_ReadTransaction const reading(reader);
    MessageOf(sto_ErrorKind::Busy, [&] { transaction.Commit(); });
  }
  transaction.Commit();
  EXPECT_TRUE(reader.HasRoot("new"));
  EXPECT_FALSE(fs::exists(Path() + "-wal"));
}

TEST_F(StoreLog, StoreKeepsItWhenItIsOpenedAgain) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(fs::exists(Path() + "-wal")); // while no session is open
    EXPECT_FALSE(fs::exists(Path() + "-shm"));
    EXPECT_EQ(SqlFile(Path()).Text("PRAGMA journal_mode"), "wal");
    sto_Store store = Open();
    store.Save("new", Stream());
    EXPECT_TRUE(fs::exists(Path() + "-wal"));
    EXPECT_FALSE(fs::exists(Path() + "-journal"));
  }
}

TEST_F(StoreLog, BlocksAreOverwrittenInPlace) {
  sto_Store store = Open();
  std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
  std::int64_t size = 0;
  for (int i = 1; i <= 5; ++i) {
    sto_Transaction transaction(store);
    stream->Write(0, Filled(-i));
    transaction.Commit();
    EXPECT_EQ(Moved(), 0);
    if (i == 1) size = store.SizeBytes();
    EXPECT_EQ(store.SizeBytes(), size);
  }
  ExpectList(store, Filled(-5));
  ExpectTables();
}

TEST_F(StoreLog, MovedBlocksOfAStoreThatGotItLaterAreReadAndOverwritten) {
  fs::remove(Path());
  Make(Count);
  auto const overwrite = [&](int value) {
    sto_Store store = Open();
    std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
    stream->Write(0, Filled(value));
    ExpectList(store, Filled(value));
  };
  overwrite(-1);
  EXPECT_EQ(Moved(), Blocks - 32);
  EXPECT_EQ(SqlFile(Path()).Text("PRAGMA journal_mode = WAL"), "wal");
  std::vector<std::string> const places =
      SqlFile(Path()).Texts("SELECT key || ' ' || place FROM block_place");
  overwrite(-2);
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT key || ' ' || place FROM block_place"), places);
  ExpectTables();
}

TEST_F(StoreLog, ReadOnlySessionOpensTheStoreAndChangesNothing) {
  StoreBytes const before = FileBytes(Path());
  {
    sto_Store reader = Open(sto_Mode::ReadOnly);
    ExpectList(reader, Counted());
    MessageOf(sto_ErrorKind::ReadOnly, [&] { reader.Save("new", Stream()); });
    sto_Store second = Open(sto_Mode::ReadOnly);
    ExpectList(second, Counted());
  }
  EXPECT_TRUE(FileBytes(Path()) == before);
  ExpectTables();
}

TEST_F(StoreLog, KilledWriterLeavesWhatItCommittedAndNothingElse) {
  KilledWithin([&] {
    sto_Store store = Open();
    std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
    {
      sto_Transaction transaction(store);
      stream->Write(0, Filled(-1));
      store.Save("committed", Stream());
      transaction.Commit();
    }
    sto_Transaction const transaction(store);
    stream->Write(0, Filled(-2));
    stream->Write(Count, std::vector<int>(2'000'000, 1)); // reaches the log before any commit
    store.Save("uncommitted", Stream());
    raise(SIGKILL);
  });
  EXPECT_TRUE(fs::exists(Path() + "-wal"));
  for (sto_Mode const mode : {sto_Mode::ReadOnly, sto_Mode::ReadWrite, sto_Mode::ReadOnly}) {
    sto_Store store = Open(mode);
    EXPECT_EQ(store.Roots(), (std::vector<std::string>{"committed", "other", "stream"}));
    ExpectList(store, Filled(-1));
  }
  ExpectTables();
  { Open().Save("more", Stream()); }
  EXPECT_TRUE(Open(sto_Mode::ReadOnly).HasRoot("more"));
}

TEST_F(StoreLog, WritersThatAreKilledAgainAndAgainLoseNothingThatWasCommitted) {
  for (int round = 1; round <= 10; ++round) {
    SCOPED_TRACE(round);
    KilledWithin([&] {
      sto_Store store = Open();
      std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
      stream->Write(0, Filled(-round)); // an implicit transaction
      store.Save("round " + std::to_string(round), Stream());
      sto_Transaction const transaction(store);
      stream->Write(0, Filled(round));
      raise(SIGKILL);
    });
    sto_Store store = Open(round % 2 == 0 ? sto_Mode::ReadOnly : sto_Mode::ReadWrite);
    ExpectList(store, Filled(-round));
    EXPECT_EQ(store.Roots().size(), static_cast<std::size_t>(2 + round));
  }
  ExpectTables();
}

} // namespace
