#include <filesystem>
#include <regex>

#include "tests/support/store/StoreArrays.h"
#include "tests/support/store/StoreTest.h"

namespace info_test {
namespace {

namespace fs = std::filesystem;

class StoreInfo : public StoreTest {};

TEST_F(StoreInfo, SaysWhatANewStoreIs) {
  sto_Store store = Create();
  sto_StoreInfo const info = store.Info();
  EXPECT_EQ(info.m_Format, 4);
  EXPECT_TRUE(std::regex_match(
      info.m_Uuid, std::regex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")))
      << info.m_Uuid;
  EXPECT_TRUE(std::regex_match(info.m_Sum, std::regex("[0-9a-f]{32}"))) << info.m_Sum;
  EXPECT_EQ(info.m_PageBytes, 16384);
  EXPECT_FALSE(info.m_ReadersBesideWriter);
  EXPECT_FALSE(info.m_HasIndexes);
  EXPECT_EQ(info.m_SizeBytes, static_cast<std::int64_t>(fs::file_size(Path())));
  EXPECT_EQ(info.m_EndOfIds, 1);
  ASSERT_TRUE(info.m_NewestSave);
  EXPECT_EQ(info.m_NewestSave->m_Number, 1);
}

TEST_F(StoreInfo, HasTheUuidAndThePageSizeThatTheFileHas) {
  sto_Options options;
  options.m_PageBytes = 4096;
  options.m_ReadersBesideWriter = true;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, TestClasses(), options);
  sto_StoreInfo const info = store.Info();
  EXPECT_EQ(info.m_PageBytes, 4096);
  EXPECT_TRUE(info.m_ReadersBesideWriter);
  store.Close();
  std::string plain = info.m_Uuid;
  std::erase(plain, '-');
  EXPECT_EQ(plain, SqlFile(Path()).Text("SELECT lower(hex(value)) FROM meta WHERE key = 'uuid'"));
}

TEST_F(StoreInfo, SumIsThatOfTheContent) {
  sto_Store first = Create("first.kvs");
  sto_Store second = Create("second.kvs");
  EXPECT_EQ(first.Info().m_Sum, second.Info().m_Sum);
  first.Save("node", Node(3));
  sto_StoreInfo const changed = first.Info();
  EXPECT_NE(changed.m_Sum, second.Info().m_Sum);
  EXPECT_EQ(changed.m_NewestSave->m_Number, 2);
  EXPECT_EQ(changed.m_EndOfIds, 2);
  second.Save("node", Node(3));
  EXPECT_EQ(changed.m_Sum, second.Info().m_Sum);
  EXPECT_NE(changed.m_Uuid, second.Info().m_Uuid);
  first.CopyTo(Path("copy.kvs"));
  sto_StoreInfo const copy = Open(sto_Mode::ReadOnly, "copy.kvs").Info();
  EXPECT_EQ(copy.m_Sum, changed.m_Sum);
  EXPECT_EQ(copy.m_Uuid, changed.m_Uuid);
}

TEST_F(StoreInfo, WhatIsNotCommittedDoesNotCount) {
  sto_Store store = Create();
  sto_StoreInfo const before = store.Info();
  {
    sto_Transaction transaction(store);
    store.Save("node", Node(3));
    EXPECT_EQ(store.Info().m_Sum, before.m_Sum);
    EXPECT_EQ(store.Info().m_NewestSave->m_Number, before.m_NewestSave->m_Number);
  }
  EXPECT_EQ(store.Info().m_Sum, before.m_Sum);
}

TEST_F(StoreInfo, StoreOfAnOlderFormatHasNeitherIdentityNorSum) {
  fs::copy_file(KVL_GOLDEN_DIR "/format-3.kvs", Path());
  sto_StoreInfo const info = Open(sto_Mode::ReadOnly).Info();
  EXPECT_EQ(info.m_Format, 3);
  EXPECT_EQ(info.m_Uuid, "");
  EXPECT_EQ(info.m_Sum, "");
  EXPECT_FALSE(info.m_NewestSave);
  EXPECT_GT(info.m_EndOfIds, 1);
}

} // namespace
} // namespace info_test
