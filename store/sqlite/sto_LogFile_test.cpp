#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreStream.h"

namespace {

namespace fs = std::filesystem;

/// The files beside the file of a store, and what the file alone holds.
class StoreLogFile : public StoreStreamTest {
 protected:
  static constexpr int Count = Blocks * BlockSize;

  void SetUp() override {
    sto_Options options;
    options.m_ReadersBesideWriter = true;
    Make(Count, options);
  }
  /// The list in a copy of the store file alone.
  std::vector<int> ReadCopy() const {
    fs::copy_file(Path(), Path("copy"), fs::copy_options::overwrite_existing);
    return sto_Store::Open(Path("copy"), sto_Mode::ReadOnly, Classes()).Load<Stream>("stream")->ReadAll(5000);
  }
  [[nodiscard]] bool IsAlone() const {
    return !fs::exists(Path() + "-wal") && !fs::exists(Path() + "-shm") && !fs::exists(Path() + "-journal");
  }
  static void SaveList(sto_Store& store, std::string_view root) { store.Save(root, Listed()); }
  void Overwrite(int value) const { Open().Load<Stream>("stream")->Write(0, std::vector<int>(Count, value)); }
};

TEST_F(StoreLogFile, LastWriterFoldsTheLogBesideIdleReaders) {
  sto_Store reader = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(reader.Roots().size(), 2U);
  Overwrite(-1);
  EXPECT_TRUE(ReadCopy() == std::vector<int>(Count, -1));
}

TEST_F(StoreLogFile, ReaderThatClosesLastLeavesNoLogAndAFileThatIsWhole) {
  {
    sto_Store reader = Open(sto_Mode::ReadOnly);
    sto_Store second = Open(sto_Mode::ReadOnly);
    {
      sto_ReadTransaction const reading(reader);
      EXPECT_EQ(reader.Roots().size(), 2U);
      Overwrite(-1);
      Overwrite(-2); // the old state, which is being read, stays in the file
      EXPECT_FALSE(ReadCopy() == std::vector<int>(Count, -2));
    }
    EXPECT_TRUE(reader.Load<Stream>("stream")->ReadAll(5000) == std::vector<int>(Count, -2));
  }
  EXPECT_TRUE(IsAlone());
  EXPECT_TRUE(ReadCopy() == std::vector<int>(Count, -2));
}

TEST_F(StoreLogFile, NextReaderThatClosesFoldsWhatAKilledWriterLeft) {
  ASSERT_EQ(RunStoreChild([&] {
              sto_Store store = Open();
              store.Load<Stream>("stream")->Write(0, std::vector<int>(Count, -3));
              raise(SIGKILL);
              return 0;
            }),
            -SIGKILL);
  EXPECT_FALSE(IsAlone());
  { EXPECT_EQ(Open(sto_Mode::ReadOnly).Roots().size(), 2U); }
  EXPECT_TRUE(IsAlone());
  EXPECT_TRUE(ReadCopy() == std::vector<int>(Count, -3));
}

TEST_F(StoreLogFile, CleanStoreInAReadOnlyFolderIsReadUntilItIsWritten) {
  fs::permissions(Folder(), fs::perms(0555));
  int toChild[2];
  int toParent[2];
  ASSERT_TRUE(pipe(toChild) == 0 && pipe(toParent) == 0);
  pid_t const child = StartStoreChild([&] {
    constexpr unsigned int Nobody = 65534;
    if (geteuid() == 0 && (setgid(Nobody) != 0 || setuid(Nobody) != 0)) return 1;
    sto_Store store = Open(sto_Mode::ReadOnly);
    if (store.Load<Stream>("stream")->ReadAll(5000).size() != Count) return 2;
    if (!IsAlone()) return 3;
    char byte = 0;
    if (write(toParent[1], &byte, 1) != 1 || read(toChild[0], &byte, 1) != 1) return 4;
    for (int i = 0; i < 2; ++i) {
      std::string const message =
          MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(store.Roots()); });
      if (!Contains(message, "open it again")) return 5;
    }
    return 0;
  });
  close(toParent[1]);
  char byte = 0;
  EXPECT_EQ(read(toParent[0], &byte, 1), 1) << "the reader did not open the store";
  fs::permissions(Folder(), fs::perms(0755));
  sto_Store writer = Open();
  writer.Save("new", Stream()); // written to the log; the file is unchanged
  EXPECT_EQ(write(toChild[1], &byte, 1), 1);
  EXPECT_EQ(WaitForStoreChild(child), 0);
  for (int const end : {toChild[0], toChild[1], toParent[0]}) close(end);
}

TEST_F(StoreLogFile, ReaderUnderARelativeNameFoldsTheLogWhereverTheProgramWorksNow) {
  EXPECT_EQ(RunStoreChild([&] {
              fs::create_directory_symlink(Folder(), Path("link"));
              fs::current_path(Path("link"));
              {
                sto_Store reader = sto_Store::Open("test.kvs", sto_Mode::ReadOnly, Classes());
                Overwrite(-1);
                fs::current_path("/");
                if (reader.Load<Stream>("stream")->ReadAll(5000) != std::vector<int>(Count, -1)) return 1;
              }
              return IsAlone() ? 0 : 2;
            }),
            0);
}

TEST_F(StoreLogFile, StoreWithALogIsNotReadWithoutIt) {
  ASSERT_EQ(RunStoreChild([&] {
              sto_Store store = Open();
              store.Save("new", Stream());
              raise(SIGKILL);
              return 0;
            }),
            -SIGKILL);
  StoreFaultVfs const vfs; // its files have no shared memory, so the log cannot be read
  MessageOf(sto_ErrorKind::Unavailable, [&] { Open(sto_Mode::ReadOnly); });
}

TEST_F(StoreLogFile, CleanStoreIsReadWhereProcessesCannotShareMemory) {
  StoreFaultVfs const vfs;
  EXPECT_EQ(Open(sto_Mode::ReadOnly).Roots().size(), 2U);
  EXPECT_TRUE(IsAlone());
}

TEST_F(StoreLogFile, JournalAvoidsTheSectorThatATornWriteMaySpoil) {
  fs::remove(Path());
  Make(Count);
  ASSERT_EQ(RunStoreChild([&] {
              sto_Store store = Open();
              sto_Transaction const transaction(store);
              std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
              stream->Write(0, std::vector<int>(Count, -1));
              stream->Write(Count, std::vector<int>(2'000'000, 1)); // exceeds SQLite's cache
              raise(SIGKILL);
              return 0;
            }),
            -SIGKILL);
  StoreBytes const journal = FileBytes(Path() + "-journal");
  ASSERT_GT(journal.size(), 28U);
  int sector = 0;
  for (std::size_t i = 20; i < 24; ++i) sector = sector * 256 + std::to_integer<int>(journal[i]);
  EXPECT_EQ(sector, 4096);
  { Open().Save("new", Stream()); }
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

TEST_F(StoreLogFile, CommitInTheLogFillsTheSectorThatItEndsIn) {
  sto_Store store = Open();
  std::uintmax_t before = 0;
  for (int i = 0; i < 5; ++i) {
    store.Save("new " + std::to_string(i), Stream());
    StoreBytes const log = FileBytes(Path() + "-wal");
    // Each frame is a page with 24 bytes before it; the last frame of the commit is written once more, so
    // that the next commit begins in another sector than the one in which this commit ended.
    constexpr std::size_t Frame = 16384 + 24;
    ASSERT_EQ((log.size() - 32) % Frame, 0U);
    ASSERT_GE(log.size(), before + 2 * Frame);
    auto const last = log.end() - static_cast<std::ptrdiff_t>(Frame);
    EXPECT_TRUE(std::equal(last, last + 4, last - static_cast<std::ptrdiff_t>(Frame))) << "a different page";
    EXPECT_TRUE(std::equal(last + 24, log.end(), last - static_cast<std::ptrdiff_t>(Frame) + 24));
    before = log.size();
  }
}

TEST_F(StoreLogFile, CopiesThatSQLiteMakesOfAnOpenStoreHoldWhatIsCommitted) {
  sto_Store store = Open();
  std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
  stream->Write(0, std::vector<int>(Count, -1)); // written to the log
  sto_Transaction const transaction(store);
  stream->Write(0, std::vector<int>(Count, -2));
  SqlFile(Path()).Run("VACUUM INTO '" + Path("copy") + "'");
  for (sto_Mode const mode : {sto_Mode::ReadOnly, sto_Mode::ReadWrite}) {
    sto_Store copy = sto_Store::Open(Path("copy"), mode, Classes());
    EXPECT_TRUE(copy.Load<Stream>("stream")->ReadAll(5000) == std::vector<int>(Count, -1));
  }
  EXPECT_EQ(SqlFile(Path("copy")).Text("PRAGMA journal_mode"), "delete");
}

/// How long an operation waits for other sessions.
TEST_F(StoreLogFile, StoreWhoseFileWasReplacedOrRemovedIsNotWritten) {
  fs::copy_file(Path(), Path("backup"));
  sto_Store store = Open();
  sto_Transaction transaction(store);
  SaveList(store, "before");
  fs::rename(Path("backup"), Path()); // a restored backup
  EXPECT_TRUE(
      Contains(MessageOf(sto_ErrorKind::ReadOnly, [&] { transaction.Commit(); }), "moved or removed"));
  transaction.Rollback();
  MessageOf(sto_ErrorKind::ReadOnly, [&] { SaveList(store, "after"); });
  fs::remove(Path());
  MessageOf(sto_ErrorKind::ReadOnly, [&] { SaveList(store, "last"); });
  EXPECT_EQ(store.Roots().size(), 2U);
}

class StoreBusyTime : public StoreTest {
 protected:
  static sto_Options Waiting(int milliseconds) {
    sto_Options options;
    options.m_BusyMilliseconds = milliseconds;
    return options;
  }
  /// How long a save by a session with these options waits while another one writes.
  std::chrono::milliseconds TimeToBusy(sto_Store& store) const {
    sto_Store other = Open();
    sto_Transaction const transaction(other);
    auto const start = std::chrono::steady_clock::now();
    MessageOf(sto_ErrorKind::Busy, [&] { store.Save("busy", Node(1)); });
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  }
};

TEST_F(StoreBusyTime, IsThatOfTheOptionsInEachMode) {
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, TestClasses(), Waiting(0));
    EXPECT_LT(TimeToBusy(store).count(), 1000);
  }
  sto_Store none = sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), Waiting(0));
  EXPECT_LT(TimeToBusy(none).count(), 1000);
  sto_Store some = sto_Store::Open(Path(), sto_Mode::ReadWrite, TestClasses(), Waiting(1200));
  EXPECT_GE(TimeToBusy(some).count(), 1000);
  EXPECT_LT(TimeToBusy(some).count(), 4000);
}

TEST_F(StoreBusyTime, NegativeOneIsRefusedInEachMode) {
  for (sto_Mode const mode : {sto_Mode::Create, sto_Mode::ReadWrite, sto_Mode::ReadOnly}) {
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
      static_cast<void>(sto_Store::Open(Path(), mode, TestClasses(), Waiting(-1)));
    });
    EXPECT_TRUE(Contains(message, Path()) && Contains(message, "-1")) << message;
    EXPECT_TRUE(mode != sto_Mode::Create || !fs::exists(Path()));
    if (mode == sto_Mode::Create) Create();
  }
}

TEST_F(StoreBusyTime, LocationWithANulCharacterIsMisuseAndNothingIsMade) {
  std::string const location = Path() + std::string("\0.kvs", 5);
  for (sto_Mode const mode : {sto_Mode::Create, sto_Mode::ReadWrite, sto_Mode::ReadOnly}) {
    std::string const message = MessageOf(
        sto_ErrorKind::Misuse, [&] { static_cast<void>(sto_Store::Open(location, mode, TestClasses())); });
    EXPECT_TRUE(Contains(message, Path()) && Contains(message, "NUL")) << message;
    EXPECT_TRUE(fs::is_empty(Folder()));
  }
}

TEST_F(StoreBusyTime, NamesOfFilesBesideAStoreAreRefusedForNewStores) {
  sto_Store store = Create();
  for (std::string const& location : {Path() + "-journal", Path() + "-wal", Path() + "-shm"}) {
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.CopyTo(location); });
    EXPECT_TRUE(Contains(message, location)) << message;
    MessageOf(sto_ErrorKind::Misuse,
              [&] { static_cast<void>(sto_Store::Open(location, sto_Mode::Create, TestClasses())); });
    EXPECT_FALSE(fs::exists(location));
  }
}

} // namespace
