#include "examples/heat/mesh/heat_TestFiles.h"
#include "examples/heat/plot/heat_OutputFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;

class HeatOutputFile : public testing::Test {
 protected:
  HeatOutputFile() {
    std::string folder = (fs::temp_directory_path() / "heat-output-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    m_Folder = folder;
  }
  ~HeatOutputFile() override { fs::remove_all(m_Folder); }

  std::string Path(std::string const& name) const { return (m_Folder / name).string(); }
  std::string Made(std::string const& name, std::string const& contents) const {
    std::ofstream(Path(name)) << contents;
    return Path(name);
  }
  std::string Linked(std::string const& name, std::string const& target) const {
    fs::create_symlink(target, Path(name));
    return Path(name);
  }
  long EntryCount() const { return std::distance(fs::directory_iterator(m_Folder), {}); }

  // The check and the write both fail; the message names the path, its target, and this reason.
  static void ExpectRefusal(std::string const& path, std::string const& reason) {
    for (bool const writes : {false, true}) {
      try {
        if (writes)
          heat_WriteOutput(path, "new");
        else
          static_cast<void>(heat_OutputTarget(path));
        ADD_FAILURE() << path;
      } catch (heat_OutputError const& error) {
        EXPECT_EQ(error.what(), path + ": cannot be written: " + reason);
      }
    }
  }

 private:
  fs::path m_Folder;
};

} // namespace

TEST_F(HeatOutputFile, MakesAndReplacesAFileAndLeavesNothingBeside) {
  heat_WriteOutput(Path("a"), "first");
  EXPECT_EQ(heat_TextOf(Path("a")), "first");
  heat_WriteOutput(Path("a"), "second");
  EXPECT_EQ(heat_TextOf(Path("a")), "second");
  EXPECT_EQ(heat_OutputTarget(Path("a")), Path("a"));
  EXPECT_EQ(EntryCount(), 1);
}

TEST_F(HeatOutputFile, WritesThroughALinkAndKeepsTheLink) {
  Made("file", "old");
  Linked("near", "file");
  Linked("far", Path("near"));
  heat_WriteOutput(Path("far"), "new");
  EXPECT_EQ(heat_TextOf(Path("file")), "new");
  EXPECT_TRUE(fs::is_symlink(Path("near")));
  EXPECT_TRUE(fs::is_symlink(Path("far")));
  EXPECT_FALSE(fs::is_symlink(Path("file")));
  EXPECT_EQ(heat_OutputTarget(Path("far")), Path("file"));
}

TEST_F(HeatOutputFile, MakesTheFileAtTheTargetOfALink) {
  fs::create_directory(Path("folder"));
  Linked("link", "folder/file");
  heat_WriteOutput(Path("link"), "new");
  EXPECT_TRUE(fs::is_symlink(Path("link")));
  EXPECT_EQ(heat_TextOf(Path("folder/file")), "new");
}

TEST_F(HeatOutputFile, CircularLinksAreRefused) {
  Linked("a", "b");
  Linked("b", "a");
  ExpectRefusal(Path("a"), "Too many levels of symbolic links");
}

TEST_F(HeatOutputFile, DevicesPipesAndDirectoriesAreRefusedAndStay) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  fs::create_directory(Path("folder"));
  ExpectRefusal("/dev/null", "it is a device, not a regular file");
  ExpectRefusal("/dev/full", "it is a device, not a regular file");
  ExpectRefusal(Path("pipe"), "it is a pipe, not a regular file");
  ExpectRefusal(Path("folder"), "it is a directory, not a regular file");
  ExpectRefusal(Linked("link", "/dev/null"), "it leads to /dev/null, a device, not a regular file");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_TRUE(fs::is_fifo(Path("pipe")));
  EXPECT_TRUE(fs::is_empty(Path("folder")));
  EXPECT_TRUE(fs::is_symlink(Path("link")));
  EXPECT_EQ(EntryCount(), 3);
}

TEST_F(HeatOutputFile, MissingFolderIsRefused) {
  ExpectRefusal(Path("no/file"), "No such file or directory");
  ExpectRefusal(Path("folder/"), "No such file or directory");
  ExpectRefusal(Linked("link", "no/file"), "No such file or directory");
  ExpectRefusal(Made("file", "old") + "/file", "Not a directory");
  EXPECT_THROW(static_cast<void>(heat_OutputTarget("")), heat_OutputError);
}

TEST_F(HeatOutputFile, FileKeepsItsPermissions) {
  Made("file", "old");
  fs::permissions(Path("file"), fs::perms(0640));
  heat_WriteOutput(Path("file"), "new");
  EXPECT_EQ(fs::status(Path("file")).permissions(), fs::perms(0640));
}

TEST_F(HeatOutputFile, FileIsUnchangedWhenTheNewOneHasNoRoom) {
  Made("file", "old");
  auto const before = std::signal(SIGXFSZ, SIG_IGN);
  rlimit unlimited{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
  rlimit const small{1000, unlimited.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(heat_WriteOutput(Path("file"), std::string(5000, 'x')), heat_OutputError);
  setrlimit(RLIMIT_FSIZE, &unlimited);
  std::signal(SIGXFSZ, before);
  EXPECT_EQ(heat_TextOf(Path("file")), "old");
  EXPECT_EQ(EntryCount(), 1);
}
