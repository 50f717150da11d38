#include <algorithm>
#include <map>

#include "tests/support/store/StoreEverythingTest.h"
#include "tests/support/store/StoreOldFormat.h"

namespace {

/// What takes room in a store, compared with its rows.
class StoreStat : public StoreEverythingTest {
 protected:
  void SetUp() override { PutStore(sto_Options().m_PageBytes); }
  /// How many objects each class has, read from the file.
  [[nodiscard]] std::map<unsigned int, std::int64_t> Model() const {
    std::filesystem::copy_file(Path(), Path("copy"), std::filesystem::copy_options::overwrite_existing);
    std::map<unsigned int, std::int64_t> counts;
    for (std::string const& object : SqlFile(Path("copy")).Objects())
      ++counts[static_cast<unsigned int>(std::stoul(object.substr(object.find(' '))))];
    return counts;
  }
  static sto_ArrayStat const& Array(sto_Stat const& stat, std::string const& name) {
    auto const found = std::ranges::find(stat.m_Arrays, name, &sto_ArrayStat::m_Name);
    if (found == stat.m_Arrays.end()) throw std::runtime_error("no array " + name);
    return *found;
  }
};

TEST_F(StoreStat, CountsObjectsByClass) {
  sto_Stat const stat = Open().Stat();
  std::map<unsigned int, std::int64_t> counts;
  std::int64_t bytes = 0;
  for (sto_ClassStat const& each : stat.m_Classes) {
    counts[each.m_ClassId] += each.m_Objects;
    bytes += each.m_RecordBytes;
    EXPECT_FALSE(each.m_Name.empty());
  }
  EXPECT_EQ(counts, Model());
  EXPECT_GT(bytes, Number("SELECT sum(length(record)) FROM object"));
  EXPECT_LT(bytes, Number("SELECT (SELECT sum(length(record)) FROM object) + sum(length(data)) FROM pack"));
  auto const types = std::ranges::find(stat.m_Classes, "EveryType", &sto_ClassStat::m_Name);
  ASSERT_NE(types, stat.m_Classes.end());
  EXPECT_EQ(types->m_Version, 2);
  EXPECT_EQ(types->m_Objects, 2);
}

TEST_F(StoreStat, ListsArraysAndBlobsTheLargestFirst) {
  sto_Stat const stat = Open().Stat();
  EXPECT_EQ(stat.m_BlobCount, 1);
  EXPECT_EQ(stat.m_ArrayCount, static_cast<std::int64_t>(stat.m_Arrays.size()) - 1);
  EXPECT_TRUE(std::ranges::is_sorted(stat.m_Arrays, std::greater<>(), &sto_ArrayStat::m_StoredBytes));
  EXPECT_EQ(stat.m_ArrayBytes + stat.m_BlobBytes,
            Number("SELECT (SELECT sum(length(data)) FROM block) + sum(length(data)) FROM moved_block"));
  std::int64_t rows = 0;
  for (sto_ArrayStat const& array : stat.m_Arrays) rows += array.m_Rows;
  EXPECT_EQ(rows, Number("SELECT (SELECT count(*) FROM block) + count(*) FROM moved_block"));
  sto_ArrayStat const& blob = Array(stat, "picture.m_Blob");
  EXPECT_EQ(blob.m_ElementType, "bytes");
  EXPECT_EQ(blob.m_Count, 40'000);
  EXPECT_EQ(blob.m_ContentBytes, 40'000);
  EXPECT_GE(blob.m_StoredBytes, 1);
  sto_ArrayStat const& table = Array(stat, "collections.m_Table");
  EXPECT_EQ(table.m_ElementType, "double");
  EXPECT_EQ(table.m_Count, 3000);
  EXPECT_EQ(table.m_ContentBytes, 24'000);
  sto_ArrayStat const& bulk = Array(stat, "bulk 7.m_Ints");
  EXPECT_EQ(bulk.m_Count, 10);
  EXPECT_EQ(bulk.m_ContentBytes, 40);
}

TEST_F(StoreStat, ReadsTheContentOfArraysOfTexts) {
  {
    sto_Store store = Open(sto_Mode::ReadWrite);
    SaveFields(
        store,
        [](cls_WriteVisitor const& visitor) {
          auto const list = WriteIn(visitor, "m_List", ListClass);
          auto const texts = Own(list->MakeWriteListPrim(static_cast<cow_String const*>(nullptr), 1));
          for (int i = 0; i < 3000; ++i) texts->Append("abc"_cow);
        },
        "texts");
  }
  sto_Stat const stat = Open().Stat();
  EXPECT_EQ(Array(stat, "texts.m_List").m_ContentBytes, 3000 * 4);
  EXPECT_EQ(Array(stat, "texts.m_List").m_ElementType, "string");
}

TEST_F(StoreStat, LimitKeepsTheLargest) {
  sto_Stat const all = Open().Stat();
  sto_Stat const some = Open().Stat(3);
  ASSERT_EQ(some.m_Arrays.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(some.m_Arrays[i].m_ObjectId, all.m_Arrays[i].m_ObjectId);
  EXPECT_EQ(some.m_ArrayCount, all.m_ArrayCount);
  EXPECT_EQ(some.m_ArrayBytes, all.m_ArrayBytes);
  EXPECT_TRUE(Open().Stat(0).m_Arrays.empty());
}

TEST_F(StoreStat, KnowsTheFileTheLogAndTheRest) {
  sto_Stat const stat = Open().Stat();
  EXPECT_EQ(stat.m_Roots, Number("SELECT count(*) FROM root"));
  EXPECT_EQ(stat.m_Saves, Number("SELECT count(*) FROM save"));
  EXPECT_GT(stat.m_LogBytes, 32 * stat.m_Saves);
  EXPECT_GT(stat.m_CatalogueBytes, Number("SELECT sum(length(data)) FROM shape"));
  EXPECT_EQ(stat.m_FileBytes, Open().SizeBytes());
  EXPECT_EQ(stat.m_FreeBytes, Number("PRAGMA freelist_count") * Number("PRAGMA page_size"));
  EXPECT_EQ(stat.LiveBytes() + stat.m_FreeBytes, stat.m_FileBytes);
}

TEST_F(StoreStat, ShowsWhatTheOpenTransactionHasWritten) {
  sto_Store store = Open(sto_Mode::ReadWrite);
  sto_Transaction transaction(store);
  store.Save("more", Picture(50'000));
  EXPECT_EQ(Array(store.Stat(), "more.m_Blob").m_Count, 50'000);
  transaction.Rollback();
  EXPECT_EQ(store.Stat().m_BlobCount, 1);
}

TEST_F(StoreStat, WorksInOldFormats) {
  sto_Stat const now = Open().Stat();
  for (int const format : {1, 3}) {
    std::filesystem::copy_file(Path(), Path("old"), std::filesystem::copy_options::overwrite_existing);
    MakeStoreOfOldFormat(Path("old"), format);
    sto_Stat const stat = Open(sto_Mode::ReadOnly, "old").Stat();
    ASSERT_EQ(stat.m_Classes.size(), now.m_Classes.size());
    for (std::size_t i = 0; i < stat.m_Classes.size(); ++i)
      EXPECT_EQ(stat.m_Classes[i].m_Objects, now.m_Classes[i].m_Objects);
    EXPECT_EQ(stat.m_ArrayCount, now.m_ArrayCount);
    EXPECT_EQ(stat.m_Saves, 0);
  }
}

TEST_F(StoreStat, RaisesDamage) {
  SqlFile(Path()).Run("UPDATE pack SET data = x'00' WHERE key = 1");
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(Open().Stat()); });
}

} // namespace
