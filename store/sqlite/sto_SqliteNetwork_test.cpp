#include "store/sqlite/sto_FileSystem.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/store/StoreFile.h"

namespace {

/// Stores on a file system that claims to be a network one.
class StoreNetwork : public StoreFileTest, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    Write("first");
    m_Before = sto_SetFileSystemQuery([](std::string const&) { return std::string("NFS"); });
  }
  void TearDown() override { sto_SetFileSystemQuery(m_Before); }
  [[nodiscard]] static sto_Options Options() {
    sto_Options options;
    options.m_ReadersBesideWriter = GetParam();
    return options;
  }
  /// As a program on the machine where the file system is local.
  void Write(std::string_view root) const {
    bool const isNew = !std::filesystem::exists(Path());
    sto_FileSystemQuery const query = sto_SetFileSystemQuery(nullptr);
    std::unique_ptr<sto_Driver> const driver =
        isNew ? sto_SqliteDriver::Create(Path(), Options()) : sto_SqliteDriver::Open(Path(), false);
    driver->Begin({.m_ForWriting = true});
    driver->SetRoot(root, 1, 5);
    driver->Commit();
    sto_SetFileSystemQuery(query);
  }
  static std::size_t CountRoots(sto_Driver& driver) {
    driver.Begin({});
    std::size_t const count = driver.Roots().size();
    driver.Commit();
    return count;
  }

  sto_FileSystemQuery m_Before = nullptr;
};

TEST_P(StoreNetwork, WritingIsRefusedAndSaysWhy) {
  StoreBytes const before = FileBytes(Path());
  for (std::function<void()> const& act :
       {std::function<void()>([&] { sto_SqliteDriver::Open(Path(), false); }),
        {[&] { sto_SqliteDriver::Create(Path("new"), Options()); }}}) {
    std::string const message = MessageOf(sto_ErrorKind::Unavailable, act);
    EXPECT_TRUE(Contains(message, "NFS") && Contains(message, "network")) << message;
  }
  EXPECT_FALSE(std::filesystem::exists(Path("new")));
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_P(StoreNetwork, CleanStoreIsReadAndNothingIsMadeBesideIt) {
  std::unique_ptr<sto_Driver> const driver = sto_SqliteDriver::Open(Path(), true);
  EXPECT_EQ(CountRoots(*driver), 1U);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Folder()), {}), 1);
}

TEST_P(StoreNetwork, StoreWithALogOrAJournalBesideItIsRefused) {
  for (char const* const suffix : {"-wal", "-journal"}) {
    WriteFile(Path() + suffix, "something");
    std::string const message =
        MessageOf(sto_ErrorKind::Unavailable, [&] { sto_SqliteDriver::Open(Path(), true); });
    EXPECT_TRUE(Contains(message, "log or a journal")) << message;
    std::filesystem::remove(Path() + suffix);
  }
  EXPECT_EQ(CountRoots(*sto_SqliteDriver::Open(Path(), true)), 1U);
}

TEST_P(StoreNetwork, StoreThatIsWrittenMeanwhileIsNotReadOn) {
  std::unique_ptr<sto_Driver> const driver = sto_SqliteDriver::Open(Path(), true);
  EXPECT_EQ(CountRoots(*driver), 1U);
  driver->Begin({});
  Write("second");
  MessageOf(sto_ErrorKind::Unavailable, [&] { driver->Commit(); }); // what was read may mix two states
  driver->Rollback();
  for (int i = 0; i < 2; ++i) {
    std::string const message = MessageOf(sto_ErrorKind::Unavailable, [&] { driver->Begin({}); });
    EXPECT_TRUE(Contains(message, "open it again")) << message;
  }
  EXPECT_EQ(CountRoots(*sto_SqliteDriver::Open(Path(), true)), 2U);
}

TEST_P(StoreNetwork, StoreIsCopiedToALocalDiskAndNotBack) {
  std::unique_ptr<sto_Driver> const driver = sto_SqliteDriver::Open(Path(), true);
  driver->Begin({});
  std::string const message =
      MessageOf(sto_ErrorKind::Unavailable, [&] { driver->CopyTo(Path("copy"), nullptr); });
  EXPECT_TRUE(Contains(message, "network file system (NFS)") && Contains(message, Path("copy"))) << message;
  sto_SetFileSystemQuery(nullptr);
  driver->CopyTo(Path("copy"), nullptr);
  Write("second");
  MessageOf(sto_ErrorKind::Unavailable,
            [&] { driver->CopyTo(Path("other"), nullptr); }); // may mix two states
  driver->Rollback();
  EXPECT_FALSE(std::filesystem::exists(Path("other")));
  EXPECT_EQ(CountRoots(*sto_SqliteDriver::Open(Path("copy"), false)), 1U);
}

INSTANTIATE_TEST_SUITE_P(Journals, StoreNetwork, testing::Bool(),
                         [](auto const& hasLog) { return hasLog.param ? "Log" : "Rollback"; });

TEST(StoreFileSystem, NetworkFileSystemsAreRecognisedByTheirNumbersAndTypes) {
  EXPECT_EQ(sto_NetworkFileSystemOf(0x6969, ""), "NFS");
  EXPECT_EQ(sto_NetworkFileSystemOf(0xFE534D42, ""), "SMB2");
  EXPECT_EQ(sto_NetworkFileSystemOf(0xFF534D42, ""), "CIFS");
  EXPECT_EQ(sto_NetworkFileSystemOf(0x517B, ""), "SMB");
  EXPECT_EQ(sto_NetworkFileSystemOf(0x5346414F, ""), "AFS");
  EXPECT_EQ(sto_NetworkFileSystemOf(0x65735546, "fuse.sshfs"), "sshfs");
  EXPECT_EQ(sto_NetworkFileSystemOf(0x65735546, "fuse.ntfs-3g"), "");
  EXPECT_EQ(sto_NetworkFileSystemOf(0xEF53, "ext4"), "");
  EXPECT_EQ(sto_NetworkFileSystemOf(0xEF53, "fuse.sshfs"), "");
}

TEST(StoreFileSystem, TypeOfAMountIsFoundByItsDevice) {
  std::string const mounts = "25 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                             "90 25 0:55 / /home/a\\040b rw shared:9 master:2 - fuse.sshfs host:/ rw\n"
                             "91 25 0:5 / /mnt rw - tmpfs tmpfs rw\n";
  EXPECT_EQ(sto_MountTypeOf(mounts, 0, 55), "fuse.sshfs");
  EXPECT_EQ(sto_MountTypeOf(mounts, 8, 1), "ext4");
  EXPECT_EQ(sto_MountTypeOf(mounts, 0, 5), "tmpfs");
  EXPECT_EQ(sto_MountTypeOf(mounts, 5, 5), "");
}

TEST(StoreFileSystem, TestsRunOnALocalOne) {
  EXPECT_EQ(sto_NetworkFileSystem((std::filesystem::temp_directory_path() / "x").string()), "");
  EXPECT_EQ(sto_NetworkFileSystem("x"), "");
}

} // namespace
