#include "store/sqlite/sto_SqliteCopy.h"

#include <sqlite3.h>

#include <filesystem>
#include <iterator>

#include "tests/support/store/StoreFile.h"

namespace {

namespace fs = std::filesystem;

/// A copy that is made but does not have its name yet.
class SqliteCopy : public StoreFileTest {
 protected:
  SqliteCopy() : m_Source(Path("source"), {SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0, false}) {
    m_Source.Execute("CREATE TABLE t(x); INSERT INTO t VALUES(7); BEGIN");
    static_cast<void>(m_Source.QueryInteger("SELECT x FROM t"));
  }
  [[nodiscard]] int FileCount() const {
    return static_cast<int>(std::distance(fs::directory_iterator(Folder()), fs::directory_iterator()));
  }

  sto_SqliteConnection m_Source;
};

TEST_F(SqliteCopy, GetsItsNameWhenPublished) {
  sto_SqliteCopy copy(m_Source, Path("copy"));
  EXPECT_FALSE(fs::exists(Path("copy")));
  EXPECT_EQ(FileCount(), 2);
  copy.Publish();
  EXPECT_EQ(FileCount(), 2);
  EXPECT_EQ(SqlFile(Path("copy")).Integer("SELECT x FROM t"), 7);
}

TEST_F(SqliteCopy, IsDeletedUnlessPublished) {
  { sto_SqliteCopy const copy(m_Source, Path("copy")); }
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(SqliteCopy, FileThatTakesTheNameMeanwhileStays) {
  {
    sto_SqliteCopy copy(m_Source, Path("copy"));
    WriteFile(Path("copy"), "text");
    std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { copy.Publish(); });
    EXPECT_TRUE(Contains(message, Path("copy") + ": The file exists already")) << message;
  }
  EXPECT_EQ(FileCount(), 2);
  EXPECT_EQ(fs::file_size(Path("copy")), 4U);
}

TEST_F(SqliteCopy, JournalOrLogOfADeletedStoreIsRefusedAndKept) {
  for (char const* const suffix : {"-journal", "-wal"}) {
    std::string const left = Path("copy") + suffix;
    WriteFile(left, "text");
    std::string message =
        MessageOf(sto_ErrorKind::Conflict, [&] { sto_SqliteCopy const copy(m_Source, Path("copy")); });
    EXPECT_TRUE(Contains(message, left + ": A store that is gone has left this file")) << message;
    fs::remove(left);
    {
      sto_SqliteCopy copy(m_Source, Path("copy"));
      WriteFile(left, "text");
      message = MessageOf(sto_ErrorKind::Conflict, [&] { copy.Publish(); });
      EXPECT_TRUE(Contains(message, left)) << message;
    }
    EXPECT_EQ(FileCount(), 2);
    EXPECT_EQ(fs::file_size(left), 4U);
    fs::remove(left);
  }
}

TEST_F(SqliteCopy, FolderDeletedMeanwhileIsUnavailable) {
  fs::create_directory(Path("folder"));
  sto_SqliteCopy copy(m_Source, Path("folder/copy"));
  fs::remove_all(Path("folder"));
  std::string const message = MessageOf(sto_ErrorKind::Unavailable, [&] { copy.Publish(); });
  EXPECT_TRUE(Contains(message, "could not be given its name")) << message;
}

TEST_F(SqliteCopy, HasTheStateThatTheTransactionSees) {
  sto_SqliteConnection other(Path("source"), {SQLITE_OPEN_READWRITE, 0, false});
  m_Source.Execute("COMMIT; PRAGMA journal_mode = WAL; BEGIN");
  static_cast<void>(m_Source.QueryInteger("SELECT x FROM t"));
  other.Execute("UPDATE t SET x = 8");
  sto_SqliteCopy copy(m_Source, Path("copy"));
  copy.Publish();
  EXPECT_EQ(SqlFile(Path("copy")).Integer("SELECT x FROM t"), 7);
}

} // namespace
