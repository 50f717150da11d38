#include "store/format/sto_ChunkDirectory.h"

#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <random>

#include "tests/support/Seeds.h"

namespace {

sto_Chunk Chunk(sto_ChunkNumbers& numbers, std::size_t keyBytes, int count = 3) {
  sto_Chunk chunk;
  chunk.m_Number = numbers.Take();
  chunk.m_Count = count;
  chunk.m_Checksum = 0x1122334455667788U + static_cast<std::uint64_t>(chunk.m_Number);
  chunk.m_FirstKey.assign(keyBytes, std::byte{7});
  return chunk;
}

sto_MapHeader Header(sto_ChunkDirectory const& directory, sto_ByteView bytes) {
  sto_MapHeader map;
  map.m_KeyType = sto_Format::KeyInt;
  map.m_ElementType = sto_Format::ElementInt;
  map.m_InChunks = true;
  for (sto_Chunk const& chunk : directory.m_Chunks) map.m_Count += chunk.m_Count;
  map.m_Entries = bytes;
  return map;
}

void ExpectSame(std::vector<sto_Chunk> const& a, std::vector<sto_Chunk> const& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_EQ(a[i].m_Number, b[i].m_Number);
    EXPECT_EQ(a[i].m_Count, b[i].m_Count);
    EXPECT_EQ(a[i].m_Checksum, b[i].m_Checksum);
    EXPECT_EQ(a[i].m_FirstKey, b[i].m_FirstKey);
    EXPECT_EQ(a[i].m_Page, b[i].m_Page);
  }
}

/// The blocks of a map's directory, in memory.
struct Pages {
  std::map<int, sto_Bytes> m_Blocks;
  int m_Writes = 0;

  sto_Bytes Encode(sto_ChunkDirectory& directory, sto_ChunkNumbers& numbers) {
    sto_Bytes bytes = directory.Encode(numbers, [this](int number, sto_Bytes& content) {
      m_Blocks[number] = content;
      ++m_Writes;
    });
    return bytes;
  }
  void ExpectReadBack(sto_ChunkDirectory const& directory, sto_ByteView bytes) {
    sto_MapHeader const map = Header(directory, bytes);
    std::optional<sto_ChunkDirectory> read = sto_DecodeDirectory(map);
    ASSERT_TRUE(read);
    for (sto_Chunk const& page : read->m_Pages) {
      ASSERT_EQ(page.m_Checksum, sto_ChunkChecksum(m_Blocks.at(page.m_Number)));
      ASSERT_TRUE(read->AddPage(page, m_Blocks.at(page.m_Number)));
    }
    sto_ChunkNumbers numbers;
    EXPECT_TRUE(read->IsWhole(map, numbers));
    ExpectSame(read->m_Chunks, directory.m_Chunks);
    ExpectSame(read->m_Pages, directory.m_Pages);
  }
};

TEST(StoreChunkDirectory, ShortOneIsInTheRecord) {
  sto_ChunkNumbers numbers;
  sto_ChunkDirectory directory;
  for (int i = 0; i < 3; ++i) directory.m_Chunks.push_back(Chunk(numbers, 2));
  Pages pages;
  sto_Bytes const bytes = pages.Encode(directory, numbers);
  EXPECT_EQ(pages.m_Writes, 0);
  EXPECT_EQ(bytes.size(), 2U + 3 * (1 + 1 + 8 + 1 + 2));
  pages.ExpectReadBack(directory, bytes);
}

TEST(StoreChunkDirectory, BytesAreAsDocumented) {
  sto_ChunkNumbers numbers;
  sto_ChunkDirectory directory;
  directory.m_Chunks.push_back(Chunk(numbers, 1, 300));
  Pages pages;
  sto_Bytes const bytes = pages.Encode(directory, numbers);
  std::uint8_t const expected[] = {1,    1,                                               // depth, one chunk
                                   0,    0xAC, 2,                                         // number, entries
                                   0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 1, 7}; // checksum, key
  EXPECT_TRUE(std::ranges::equal(bytes, std::as_bytes(std::span(expected))));
}

TEST(StoreChunkDirectory, LongOneIsInPagesAndAChangeWritesOneOfThem) {
  sto_ChunkNumbers numbers;
  sto_ChunkDirectory directory;
  for (int i = 0; i < 2000; ++i) directory.m_Chunks.push_back(Chunk(numbers, 9));
  Pages pages;
  pages.ExpectReadBack(directory, pages.Encode(directory, numbers));
  EXPECT_GT(pages.m_Writes, 5);
  for (auto const& [number, content] : pages.m_Blocks)
    EXPECT_LE(content.size(), 2 * sto_Format::DirectoryBytes);
  pages.m_Writes = 0;
  static_cast<void>(pages.Encode(directory, numbers));
  EXPECT_EQ(pages.m_Writes, 0) << "nothing has changed";
  directory.m_Chunks[1000].m_Checksum = 1;
  pages.ExpectReadBack(directory, pages.Encode(directory, numbers));
  EXPECT_EQ(pages.m_Writes, 1);
}

TEST(StoreChunkDirectory, FreedNumberIsUsedAgain) {
  sto_ChunkNumbers numbers;
  for (int i = 0; i < 5; ++i) EXPECT_EQ(numbers.Take(), i);
  numbers.Free(3);
  numbers.Free(1);
  EXPECT_FALSE(numbers.Has(1));
  EXPECT_EQ(numbers.Take(), 1);
  EXPECT_EQ(numbers.Take(), 3);
  EXPECT_EQ(numbers.Take(), 5);
  EXPECT_FALSE(numbers.Use(2));
  EXPECT_EQ(numbers.Used(), (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

class ChunkDirectoryModel : public testing::TestWithParam<unsigned int> {};

TEST_P(ChunkDirectoryModel, GrowsAndShrinksAndKeepsItsPagesInTheirLimits) {
  std::mt19937 random(GetParam());
  auto const below = [&](std::size_t limit) { return random() % limit; };
  sto_ChunkNumbers numbers;
  sto_ChunkDirectory directory;
  Pages pages;
  for (int step = 0; step < 200; ++step) {
    SCOPED_TRACE(step);
    bool const grows = step / 50 % 2 == 0;
    for (std::size_t i = below(60); i > 0; --i) {
      std::size_t const at = below(directory.m_Chunks.size() + 1);
      auto const place = directory.m_Chunks.begin() + static_cast<std::ptrdiff_t>(at);
      if (grows || directory.m_Chunks.empty()) {
        sto_Chunk chunk = Chunk(numbers, 1 + below(200));
        if (at > 0) chunk.m_Page = directory.m_Chunks[at - 1].m_Page;
        directory.m_Chunks.insert(place, chunk);
      } else if (at < directory.m_Chunks.size()) {
        numbers.Free(place->m_Number);
        directory.m_Chunks.erase(place);
      }
    }
    sto_Bytes const bytes = pages.Encode(directory, numbers);
    pages.ExpectReadBack(directory, bytes);
    for (sto_Chunk const& page : directory.m_Pages)
      EXPECT_LE(pages.m_Blocks[page.m_Number].size(), 2 * sto_Format::DirectoryBytes + 10);
    EXPECT_EQ(numbers.Used().size(), directory.m_Chunks.size() + directory.m_Pages.size());
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ChunkDirectoryModel, testing::ValuesIn(Seeds<unsigned int>({1, 2, 3})));

TEST(StoreChunkDirectory, BytesThatAreNoDirectoryAreRefused) {
  sto_ChunkNumbers numbers;
  sto_ChunkDirectory directory;
  for (int i = 0; i < 3; ++i) directory.m_Chunks.push_back(Chunk(numbers, 2));
  Pages pages;
  sto_Bytes const bytes = pages.Encode(directory, numbers);
  sto_MapHeader map = Header(directory, bytes);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    map.m_Entries = sto_ByteView(bytes).first(size);
    EXPECT_FALSE(sto_DecodeDirectory(map)) << size;
  }
  map.m_Entries = bytes;
  ++map.m_Count;
  EXPECT_FALSE(sto_DecodeDirectory(map)) << "another number of entries";
  sto_Bytes other = bytes;
  other[0] = std::byte{3};
  --map.m_Count;
  map.m_Entries = other;
  EXPECT_FALSE(sto_DecodeDirectory(map)) << "another depth";
  other = bytes;
  other.push_back(std::byte{0});
  map.m_Entries = other;
  EXPECT_FALSE(sto_DecodeDirectory(map)) << "a byte too many";
}

TEST(StoreChunkDirectory, DirectoryThatContradictsItselfIsRefused) {
  auto const isWhole = [](auto change) {
    sto_ChunkNumbers numbers;
    sto_ChunkDirectory directory;
    for (int i = 0; i < 3; ++i) directory.m_Chunks.push_back(Chunk(numbers, 2));
    sto_MapHeader const map = Header(directory, {});
    change(directory);
    sto_ChunkNumbers found;
    return directory.IsWhole(map, found);
  };
  EXPECT_TRUE(isWhole([](sto_ChunkDirectory&) {}));
  EXPECT_FALSE(isWhole([](sto_ChunkDirectory& directory) { directory.m_Chunks[2].m_Number = 0; }));
  EXPECT_FALSE(isWhole([](sto_ChunkDirectory& directory) { directory.m_Chunks[2].m_Count = 4; }));
  EXPECT_FALSE(isWhole([](sto_ChunkDirectory& directory) { directory.m_Chunks[2].m_FirstKey.clear(); }));
  EXPECT_FALSE(isWhole([](sto_ChunkDirectory& directory) { directory.m_Chunks[0].m_FirstKey.clear(); }));
}

TEST(StoreChunkDirectory, RowIsCutIntoRunsOfAboutTheTarget) {
  auto const cut = [](std::vector<std::size_t> const& sizes) { return sto_CutRow(sizes, 100); };
  EXPECT_EQ(cut(std::vector<std::size_t>(20, 10)).size(), 1U) << "twice the target is one run";
  std::vector<sto_Run> const two = cut(std::vector<std::size_t>(21, 10));
  ASSERT_EQ(two.size(), 2U);
  EXPECT_EQ(two[0].m_Count, 11U);
  EXPECT_EQ(two[1].m_First, 11U);
  EXPECT_EQ(two[1].m_Count, 10U);
  std::vector<sto_Run> const huge = cut({10, 10'000, 10, 10});
  ASSERT_EQ(huge.size(), 2U);
  EXPECT_EQ(huge[0].m_Count, 2U);
  EXPECT_EQ(huge[1].m_Count, 2U);
  for (std::size_t count = 1; count < 500; ++count) {
    std::vector<std::size_t> const sizes(count, 7);
    std::size_t next = 0;
    for (sto_Run const& run : cut(sizes)) {
      EXPECT_EQ(run.m_First, next);
      EXPECT_LE(run.m_Count * 7, 207U);
      if (count > 29) { // 203 bytes
        EXPECT_GE(run.m_Count * 7, 91U);
      }
      next += run.m_Count;
    }
    EXPECT_EQ(next, count);
  }
}

} // namespace
