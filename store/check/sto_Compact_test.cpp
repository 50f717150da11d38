#include <filesystem>

#include "tests/support/store/StoreChild.h"
#include "tests/support/store/StoreEverything.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreRows.h"

namespace {

/// Compacting stores with moved blocks and free pages.
class StoreCompact : public StoreFileTest {
 protected:
  StoreFaultVfs const m_Vfs{true}; // nothing waits for the disk

  void SetUp() override { Make(false); }
  void Make(bool hasLog) const {
    std::filesystem::remove(Path());
    sto_Options options;
    options.m_PageBytes = 1024;
    options.m_ReadersBesideWriter = hasLog;
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, StoreEverything::Classes(), options);
    store.Save("gone", Picture(200'000));
    StoreEverything::Save(store);
    store.RemoveRoot("gone");
    store.CollectGarbage();
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) const {
    return sto_Store::Open(Path(), mode, StoreEverything::Classes());
  }
  [[nodiscard]] std::int64_t Number(std::string const& sql) const { return SqlFile(Path()).Integer(sql); }
  [[nodiscard]] std::vector<std::string> Rows(std::string const& sql) const {
    return SqlFile(Path()).Texts(sql);
  }

  /// All rows but those of moved blocks, which are shown as the blocks that they are.
  [[nodiscard]] std::vector<std::string> Content() const {
    return Rows(
        "SELECT key || ' ' || hex(data) FROM (SELECT key, data FROM stored_block UNION ALL SELECT key, "
        "moved_block.data FROM block_place JOIN moved_block USING(place) ORDER BY 1) UNION ALL "
        "SELECT key || ' ' || hex(data) FROM pack UNION ALL SELECT id || ' ' || hex(record) FROM object "
        "UNION ALL SELECT name || ' ' || object_id || ' ' || class_id || ' ' || checksum FROM root UNION ALL "
        "SELECT id || ' ' || text || ' ' || checksum FROM name UNION ALL "
        "SELECT id || ' ' || hex(data) || ' ' || checksum FROM shape UNION ALL "
        "SELECT class_id || ' ' || version || ' ' || checksum FROM class UNION ALL "
        "SELECT no || ' ' || at || ' ' || hex(sum) || ' ' || checksum FROM save UNION ALL "
        "SELECT key || ' ' || hex(value) FROM meta");
  }
  void ExpectCompact() const {
    EXPECT_EQ(Number("SELECT count(*) FROM moved_block"), 0);
    EXPECT_EQ(Number("SELECT count(*) FROM block_place"), 0);
    EXPECT_EQ(Number("PRAGMA freelist_count"), 0);
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }
};

TEST_F(StoreCompact, GivesRoomBackAndKeepsAllRows) {
  EXPECT_GT(Number("SELECT count(*) FROM moved_block"), 0);
  std::vector<std::string> const before = Content();
  auto const size = std::filesystem::file_size(Path());
  {
    sto_Store store = Open();
    store.Compact();
    StoreEverything::Expect(store);
    EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
    EXPECT_EQ(store.Stat().m_FreeBytes, 0);
  }
  EXPECT_EQ(Content(), before);
  EXPECT_LT(std::filesystem::file_size(Path()), size - 190'000);
  EXPECT_EQ(Number("PRAGMA page_size"), 1024);
  ExpectCompact();
}

TEST_F(StoreCompact, SecondTimeChangesNothing) {
  Open().Compact();
  StoreBytes const once = FileBytes(Path());
  Open().Compact();
  EXPECT_EQ(FileBytes(Path()).size(), once.size());
}

TEST_F(StoreCompact, WorksWithAWriteAheadLog) {
  Make(true);
  {
    sto_Store store = Open();
    for (int i = 0; i < 5; ++i) store.Save("more", Picture(100'000));
    store.RemoveRoot("more");
    store.CollectGarbage();
    store.Compact();
    EXPECT_LT(std::filesystem::file_size(Path()), 200'000U);
    EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
    store.RemoveRoot("more");
    StoreEverything::Expect(store);
  }
  EXPECT_EQ(SqlFile(Path()).Text("PRAGMA journal_mode"), "wal");
  ExpectCompact();
}

TEST_F(StoreCompact, StoreIsWrittenToAsBefore) {
  sto_Store store = Open();
  std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk 3");
  store.Compact();
  bulk->m_Array.Get(2) = 99;
  store.Save("bulk 3", *bulk);
  store.Save("new", Node(5));
  {
    sto_Transaction transaction(store); // moves blocks again
    for (int i = 0; i < 40; ++i) {
      std::unique_ptr<Bulk> const each = store.Load<Bulk>("bulk " + std::to_string(i));
      each->m_Array.Get(1) = 7;
      store.Save("bulk " + std::to_string(i), *each);
    }
    transaction.Commit();
  }
  EXPECT_GT(Number("SELECT count(*) FROM moved_block"), 0);
  EXPECT_EQ(store.Load<Bulk>("bulk 3")->m_Array.ConstGet(2), 99);
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
  store.Compact();
  EXPECT_EQ(store.Load<Bulk>("bulk 3")->m_Array.ConstGet(1), 7);
}

TEST_F(StoreCompact, WritesUnwrittenChangesOfArraysFirst) {
  sto_Store store = Open();
  std::unique_ptr<Bulk> const bulk = store.Load<Bulk>("bulk 3");
  bulk->m_Array.Get(2) = 99;
  store.Compact();
  EXPECT_EQ(Open(sto_Mode::ReadOnly).Load<Bulk>("bulk 3")->m_Array.ConstGet(2), 99);
}

TEST_F(StoreCompact, BlocksThatAreTooLongToShareARowKeepTheirOwn) {
  sto_Store store = Open();
  cow_String const text(std::string(40, 'x'));
  SaveFields(
      store,
      [&](cls_WriteVisitor const& visitor) {
        auto const list = WriteIn(visitor, "m_List", ListClass);
        auto const texts = Own(list->MakeWriteListPrim(static_cast<cow_String const*>(nullptr), 1));
        for (int i = 0; i < 5000; ++i) texts->Append(text);
      },
      "texts");
  std::vector<std::string> const before = Content();
  store.Compact();
  EXPECT_EQ(Number("SELECT count(*) FROM moved_block"), 2); // the two whole blocks of texts
  EXPECT_EQ(Content(), before);
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
}

TEST_F(StoreCompact, IsRefusedInATransaction) {
  sto_Store store = Open();
  {
    sto_ReadTransaction const reading(store);
    MessageOf(sto_ErrorKind::Misuse, [&] { store.Compact(); });
  }
  sto_Transaction transaction(store);
  MessageOf(sto_ErrorKind::Misuse, [&] { store.Compact(); });
  transaction.Rollback();
  sto_Store reader = Open(sto_Mode::ReadOnly);
  MessageOf(sto_ErrorKind::ReadOnly, [&] { reader.Compact(); });
}

TEST_F(StoreCompact, IsBusyWhileAnotherSessionWritesOrReads) {
  sto_Options options;
  options.m_BusyMilliseconds = 0;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, StoreEverything::Classes(), options);
  sto_Store other = Open();
  std::vector<std::string> const before = Content();
  {
    sto_Transaction transaction(other);
    MessageOf(sto_ErrorKind::Busy, [&] { store.Compact(); });
    transaction.Rollback();
  }
  {
    sto_ReadTransaction const reading(other);
    static_cast<void>(other.ObjectCount());
    MessageOf(sto_ErrorKind::Busy, [&] { store.Compact(); });
  }
  EXPECT_EQ(Content(), before);
  store.Compact();
  StoreEverything::Expect(other);
  EXPECT_EQ(Content(), before);
}

TEST_F(StoreCompact, DamagedStoreIsNotChanged) {
  SqlFile(Path()).Run("DELETE FROM root WHERE name = 'nodes'");
  StoreBytes const before = FileBytes(Path());
  {
    sto_Store store = Open();
    EXPECT_TRUE(Contains(MessageOf(sto_ErrorKind::Damaged, [&] { store.Compact(); }), "sum over the store"));
    store.Save("new", Node(5)); // it is as usable as before
  }
  EXPECT_GT(Number("SELECT count(*) FROM moved_block"), 0);
  EXPECT_EQ(FileBytes(Path()).size(), before.size());
  {
    SqlFile file(Path());
    file.Run(
        "UPDATE stored_block SET data = zeroblob(length(data)) WHERE key = (SELECT max(key) FROM stored_block)");
  }
  sto_Store store = Open();
  MessageOf(sto_ErrorKind::Damaged, [&] { store.Compact(); });
}

/// A failure at any file operation leaves a whole store with the same content.
TEST_F(StoreCompact, FailureAtAnyFileOperationKeepsTheContent) {
  std::vector<std::string> const content = Content();
  std::filesystem::copy_file(Path(), Path("whole"));
  for (StoreFaultVfs::Fault const fault : {StoreFaultVfs::Fault::Full, StoreFaultVfs::Fault::IoError}) {
    int struck = 0;
    for (std::int64_t step = 1;; step += 1 + step / 12) {
      std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
      bool isDone = true;
      {
        sto_Store store = Open();
        StoreFaultVfs::StrikeAt(step, fault);
        try {
          store.Compact();
        } catch (sto_Exception const& failure) {
          isDone = false;
          sto_ErrorKind const kind = failure.Kind();
          EXPECT_TRUE(kind == sto_ErrorKind::Full || kind == sto_ErrorKind::Unavailable)
              << failure.AsString().View();
        }
        bool const hasStruck = StoreFaultVfs::HasStruck();
        StoreFaultVfs::Disarm();
        if (!hasStruck) break;
        ++struck;
        EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound()) << step;
        if (!isDone) store.Compact(); // once more
      }
      ASSERT_EQ(Content(), content) << step;
      ExpectCompact();
    }
    EXPECT_GT(struck, 20);
  }
}

TEST_F(StoreCompact, KillAtAnyFileOperationKeepsTheContent) {
  for (bool const hasLog : {false, true}) {
    SCOPED_TRACE(hasLog ? "log" : "journal");
    Make(hasLog);
    std::vector<std::string> const content = Content();
    std::filesystem::copy_file(Path(), Path("whole"), std::filesystem::copy_options::overwrite_existing);
    int killed = 0;
    for (std::int64_t step = 1;; step += 1 + step / 5) {
      for (char const* const end : {"", "-journal", "-wal", "-shm"}) std::filesystem::remove(Path() + end);
      std::filesystem::copy_file(Path("whole"), Path());
      int const code = RunStoreChild([&] {
        sto_Store store = Open();
        StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
        store.Compact();
        bool const hasStruck = StoreFaultVfs::HasStruck();
        StoreFaultVfs::Disarm();
        return hasStruck ? 1 : 0;
      });
      EXPECT_TRUE(Open().Check(sto_CheckDepth::Full).IsSound()) << step;
      ASSERT_EQ(Content(), content) << step;
      if (code == 0) break;
      ++killed;
    }
    EXPECT_GT(killed, 10);
  }
}

} // namespace
