#include "persist/identity/cls_PagePool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>

#include "tests/support/store/StoreNewFault.h"

namespace {

constexpr std::size_t PageBytes = 1024;
using Pool = cls_PagePool<PageBytes>;

std::uintptr_t AddressOf(void const* page) {
  return reinterpret_cast<std::uintptr_t>(page);
}

/// Fails allocations, for one test only.
class PagePool : public testing::Test {
 protected:
  void TearDown() override { StoreNewFault::FailAt(0); }

  /// Takes all pages that the pool can give without allocating; returns them.
  static std::vector<void*> TakeWithoutAllocation(Pool& pool) {
    std::vector<void*> pages;
    pages.reserve(4096);
    StoreNewFault::FailAt(1);
    try {
      while (pages.size() < pages.capacity()) pages.push_back(pool.Take());
    } catch (std::bad_alloc const&) {
    }
    StoreNewFault::FailAt(0);
    return pages;
  }
};

TEST_F(PagePool, EachPageIsAlignedToItsSizeAndGivenOutOnce) {
  Pool pool;
  std::set<void*> pages;
  for (int i = 0; i < 3000; ++i) {
    void* const page = pool.Take();
    ASSERT_EQ(AddressOf(page) % PageBytes, 0U);
    ASSERT_TRUE(pages.insert(page).second);
    std::memset(page, i, PageBytes); // the caller may use all of it
  }
}

TEST_F(PagePool, OtherSizesAreMultiplesOfThemselvesToo) {
  cls_PagePool<sizeof(void*)> small;
  cls_PagePool<65536> large;
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(AddressOf(small.Take()) % sizeof(void*), 0U);
    EXPECT_EQ(AddressOf(large.Take()) % 65536, 0U);
  }
}

TEST_F(PagePool, PageOfAnAddressIsThePageItLiesIn) {
  Pool pool;
  auto* const first = static_cast<std::byte*>(pool.Take());
  auto* const second = static_cast<std::byte*>(pool.Take());
  for (std::size_t const offset : {std::size_t{0}, std::size_t{1}, std::size_t{31}, PageBytes - 1}) {
    EXPECT_EQ(Pool::PageOf(first + offset), first);
    EXPECT_EQ(Pool::PageOf(second + offset), second);
  }
}

TEST_F(PagePool, NeighboursComeOneAfterTheOther) {
  Pool pool;
  void* const first = pool.Take();
  for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(AddressOf(pool.Take()), AddressOf(first) + i * PageBytes);
}

TEST_F(PagePool, PageGivenBackLastIsGivenOutFirst) {
  Pool pool;
  std::vector<void*> pages;
  for (int i = 0; i < 10; ++i) pages.push_back(pool.Take());
  for (std::size_t const i : {3, 7, 0}) pool.GiveBack(pages[i]);
  for (std::size_t const i : {0, 7, 3}) EXPECT_EQ(pool.Take(), pages[i]);
  void* const fresh = pool.Take();
  for (void* const page : pages) EXPECT_NE(fresh, page);
}

TEST_F(PagePool, ChunksDoubleUpToAThousandPages) {
  Pool pool;
  std::vector<std::size_t> chunks;
  for (int i = 0; i < 11; ++i) {
    void* const page = pool.Take(); // allocates a chunk
    chunks.push_back(1 + TakeWithoutAllocation(pool).size());
    ASSERT_NE(page, nullptr);
  }
  EXPECT_EQ(chunks, (std::vector<std::size_t>{4, 8, 16, 32, 64, 128, 256, 512, 1024, 1024, 1024}));
}

TEST_F(PagePool, PagesThatAreGivenBackCostNoMemoryAgain) {
  Pool pool;
  std::vector<void*> pages;
  for (int i = 0; i < 500; ++i) pages.push_back(pool.Take());
  for (void* const page : pages) pool.GiveBack(page);
  StoreNewFault::FailAt(1);
  for (int i = 0; i < 500; ++i) static_cast<void>(pool.Take());
  EXPECT_FALSE(StoreNewFault::HasFailed());
}

TEST_F(PagePool, FailedAllocationLeavesThePoolAsItWas) {
  for (long long const step : {1, 2}) { // the table of chunks, then the chunk
    SCOPED_TRACE(step);
    Pool pool;
    std::vector<void*> pages;
    for (int i = 0; i < 12; ++i) { // two full chunks
      pages.push_back(pool.Take());
      std::memset(pages.back(), i, PageBytes);
    }
    for (int round = 0; round < 3; ++round) {
      StoreNewFault::FailAt(step == 2 && round > 0 ? 1 : step); // later the table has room
      EXPECT_THROW(static_cast<void>(pool.Take()), std::bad_alloc);
      EXPECT_TRUE(StoreNewFault::HasFailed());
      StoreNewFault::FailAt(0);
    }
    pool.GiveBack(pages[5]);
    EXPECT_EQ(pool.Take(), pages[5]);
    std::memset(pages[5], 5, PageBytes);
    std::set<void*> all(pages.begin(), pages.end());
    all.insert(pool.Take());
    for (void* const page : TakeWithoutAllocation(pool)) all.insert(page);
    EXPECT_EQ(all.size(), 12U + 16U); // failures do not change the next chunk's size
    for (std::size_t i = 0; i < pages.size(); ++i)
      for (std::size_t at = 0; at < PageBytes; ++at) ASSERT_EQ(static_cast<unsigned char*>(pages[i])[at], i);
  }
}

TEST_F(PagePool, FirstAllocationMayFailToo) {
  for (long long const step : {1, 2}) {
    Pool pool;
    StoreNewFault::FailAt(step);
    EXPECT_THROW(static_cast<void>(pool.Take()), std::bad_alloc);
    StoreNewFault::FailAt(0);
    void* const first = pool.Take();
    EXPECT_EQ(AddressOf(first) % PageBytes, 0U);
    EXPECT_EQ(TakeWithoutAllocation(pool).size(), 3U);
  }
}

TEST_F(PagePool, ContentOfTakenPagesSurvivesAnyOrderOfTakingAndGivingBack) {
  Pool pool;
  std::mt19937 random(31);
  std::map<unsigned int*, unsigned int> taken; // with the content of the page
  constexpr std::size_t Words = PageBytes / sizeof(unsigned int);
  for (unsigned int step = 0; step < 20'000; ++step) {
    if (taken.empty() || random() % 5 < (step / 4000 % 2 == 0 ? 3U : 2U)) {
      auto* const page = static_cast<unsigned int*>(pool.Take());
      ASSERT_TRUE(taken.emplace(page, step).second) << "a page was given out twice";
      std::fill_n(page, Words, step);
    } else {
      auto const nth = static_cast<std::ptrdiff_t>(random() % std::min<std::size_t>(taken.size(), 50));
      auto const entry = std::next(taken.begin(), nth);
      auto const [page, filling] = *entry;
      ASSERT_EQ(std::count(page, page + Words, filling), static_cast<std::ptrdiff_t>(Words));
      taken.erase(entry);
      pool.GiveBack(page);
    }
  }
  for (auto const& [page, filling] : taken)
    ASSERT_EQ(std::count(page, page + Words, filling), static_cast<std::ptrdiff_t>(Words));
}

TEST_F(PagePool, MemoryOfManyFreePagesIsFreed) {
  Pool pool;
  std::vector<void*> pages;
  for (int i = 0; i < 50'000; ++i) pages.push_back(pool.Take());
  std::size_t const most = pool.PageCount();
  EXPECT_GE(most, pages.size());
  std::vector<void*> kept;
  for (std::size_t i = 0; i < pages.size(); ++i)
    if (i % 10'000 == 0) {
      kept.push_back(pages[i]);
      std::memset(pages[i], static_cast<int>(i / 10'000), PageBytes);
    } else {
      pool.GiveBack(pages[i]);
    }
  EXPECT_LE(pool.PageCount(), 5U * 1024 + 4096); // the chunks of the kept pages, and some free ones
  for (std::size_t i = 0; i < kept.size(); ++i)
    for (std::size_t at = 0; at < PageBytes; ++at) ASSERT_EQ(static_cast<unsigned char*>(kept[i])[at], i);
  std::set<void*> again(kept.begin(), kept.end());
  for (int i = 0; i < 20'000; ++i) ASSERT_TRUE(again.insert(pool.Take()).second);
}

TEST_F(PagePool, FreeingMemoryAllocatesNothing) {
  Pool pool;
  std::vector<void*> pages;
  for (int i = 0; i < 5000; ++i) pages.push_back(pool.Take());
  StoreNewFault::FailAt(1);
  for (void* const page : pages) pool.GiveBack(page);
  EXPECT_FALSE(StoreNewFault::HasFailed());
  StoreNewFault::FailAt(0);
  EXPECT_LT(pool.PageCount(), 4096U);
}

TEST_F(PagePool, ChunksWithAUsedPageStayThroughAnyOrderOfGivingBack) {
  Pool pool;
  std::mt19937 random(5);
  std::vector<unsigned int*> taken;
  for (unsigned int round = 0; round < 20; ++round) {
    while (taken.size() < 8000) {
      taken.push_back(static_cast<unsigned int*>(pool.Take()));
      *taken.back() = static_cast<unsigned int>(AddressOf(taken.back()) / PageBytes);
    }
    std::ranges::shuffle(taken, random);
    for (std::size_t const left = random() % 3000; taken.size() > left; taken.pop_back()) {
      ASSERT_EQ(*taken.back(), static_cast<unsigned int>(AddressOf(taken.back()) / PageBytes));
      pool.GiveBack(taken.back());
    }
  }
}

} // namespace
