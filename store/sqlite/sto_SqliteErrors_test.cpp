#include "store/sqlite/sto_SqliteErrors.h"

#include <sqlite3.h>

#include <filesystem>
#include <string>

#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/store/StoreFile.h"

namespace {

class SqliteErrors : public StoreFileTest {};

TEST_F(SqliteErrors, EveryCodeHasAKindAndSaysWhatToDo) {
  for (int code = SQLITE_ERROR; code <= SQLITE_NOTADB; ++code) {
    SCOPED_TRACE(code);
    for (int const extended : {code, code | (1 << 8), code | (99 << 8)}) {
      sto_SqliteError const error = sto_SqliteErrorOf(extended);
      EXPECT_NE(static_cast<int>(error.m_Kind), 0);
      std::string const advice = error.m_Advice;
      EXPECT_TRUE(advice.size() > 10 && advice.ends_with(".")) << advice;
    }
  }
}

TEST_F(SqliteErrors, KindsAreThoseOfTheModule) {
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_BUSY_RECOVERY).m_Kind, sto_ErrorKind::Busy);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_LOCKED).m_Kind, sto_ErrorKind::Busy);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_READONLY_RECOVERY).m_Kind, sto_ErrorKind::ReadOnly);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_READONLY).m_Kind, sto_ErrorKind::ReadOnly);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_TOOBIG).m_Kind, sto_ErrorKind::Full);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_CORRUPT_SEQUENCE).m_Kind, sto_ErrorKind::Damaged);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_NOTADB).m_Kind, sto_ErrorKind::NotFound);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_CONSTRAINT_UNIQUE).m_Kind, sto_ErrorKind::Conflict);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_IOERR_FSYNC).m_Kind, sto_ErrorKind::Unavailable);
  EXPECT_EQ(sto_SqliteErrorOf(SQLITE_ERROR).m_Kind, sto_ErrorKind::Unavailable);
  EXPECT_EQ(sto_SqliteFull().m_Kind, sto_ErrorKind::Full);
}

TEST_F(SqliteErrors, ExtendedCodeHasItsOwnAdviceWhereItNeedsOne) {
  auto const advice = [](int code) { return std::string(sto_SqliteErrorOf(code).m_Advice); };
  EXPECT_TRUE(Contains(advice(SQLITE_READONLY_ROLLBACK), "open the store once for writing and close it"));
  EXPECT_TRUE(Contains(advice(SQLITE_READONLY_DIRECTORY), "The folder is not writable"));
  EXPECT_TRUE(Contains(advice(SQLITE_READONLY_DBMOVED), "moved or removed"));
  EXPECT_EQ(advice(SQLITE_IOERR_READ), advice(SQLITE_IOERR));
}

TEST_F(SqliteErrors, BusySaysWhoHoldsTheStore) {
  sto_SqliteConnection::Opening const opening{SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0, false};
  sto_SqliteConnection one(Path(), opening);
  sto_SqliteConnection other(Path(), opening);
  one.Execute("CREATE TABLE t(x); INSERT INTO t VALUES(1)");
  one.Execute("BEGIN IMMEDIATE");
  std::string const begin = MessageOf(sto_ErrorKind::Busy, [&] { other.Execute("BEGIN IMMEDIATE"); });
  EXPECT_TRUE(Contains(begin, "(code 5). Another program is writing to the store: try again")) << begin;
  sto_SqliteStatement reading(other, "SELECT x FROM t");
  {
    sto_SqliteStatement::Use use(reading);
    ASSERT_TRUE(use.Step());
    one.Execute("INSERT INTO t VALUES(2)");
    std::string const commit = MessageOf(sto_ErrorKind::Busy, [&] { one.Execute("COMMIT"); });
    EXPECT_TRUE(Contains(commit, "Another program is reading the store and must finish")) << commit;
    EXPECT_TRUE(Contains(commit, "commit again")) << commit;
  }
  one.Execute("COMMIT");
}

TEST_F(SqliteErrors, MessageHasFileTextCodeAndAdvice) {
  sto_SqliteConnection::Opening const opening{SQLITE_OPEN_READWRITE, 0, false};
  std::string const missing =
      MessageOf(sto_ErrorKind::Unavailable, [&] { sto_SqliteConnection(Path("nowhere/x"), opening); });
  EXPECT_EQ(missing, Path("nowhere/x") +
                         ": SQLite: unable to open database file (code 14). Check that the "
                         "folder exists, the permissions of the file and its folder, and how many files "
                         "the program has open.");
  WriteFile(Path("text"), std::string(5000, 'x'));
  sto_SqliteConnection text(Path("text"), opening);
  std::string const noStore =
      MessageOf(sto_ErrorKind::NotFound, [&] { text.Execute("SELECT * FROM sqlite_schema"); });
  for (char const* const other : {"folder", "database"}) { // SQLite itself accepts both
    if (std::string(other) == "folder")
      std::filesystem::create_directory(Path(other));
    else
      SqlFile(Path(other)).Run("CREATE TABLE t(x)");
    std::string const refused =
        MessageOf(sto_ErrorKind::NotFound, [&] { sto_SqliteDriver::Open(Path(other), true); });
    EXPECT_EQ(refused,
              Path(other) + ": This is not a store. Check the name; if it is right, restore a copy.");
  }
  EXPECT_EQ(noStore, Path("text") + ": This is not a store. Check the name; if it is right, restore a copy.");
}

} // namespace
