#include "platform/thr/thr_ThreadSlot.h"

#include <gtest/gtest.h>

#include <set>
#include <system_error>
#include <thread>
#include <vector>

namespace {

TEST(thr_ThreadSlot, IsNullInEveryThreadAtFirst) {
  int const slot = thr_TlsAlloc();
  EXPECT_EQ(thr_TlsGetValue(slot), nullptr);
  std::thread([&] { EXPECT_EQ(thr_TlsGetValue(slot), nullptr); }).join();
  thr_TlsFree(slot);
}

TEST(thr_ThreadSlot, EachThreadHasItsOwnValue) {
  int const slot = thr_TlsAlloc();
  int mine = 0;
  int others = 0;
  thr_TlsSetValue(slot, &mine);
  std::thread([&] {
    EXPECT_EQ(thr_TlsGetValue(slot), nullptr);
    thr_TlsSetValue(slot, &others);
    EXPECT_EQ(thr_TlsGetValue(slot), &others);
  }).join();
  EXPECT_EQ(thr_TlsGetValue(slot), &mine);
  thr_TlsSetValue(slot, nullptr);
  EXPECT_EQ(thr_TlsGetValue(slot), nullptr);
  thr_TlsFree(slot);
}

TEST(thr_ThreadSlot, DifferentSlotsHoldDifferentValues) {
  int const first = thr_TlsAlloc();
  int const second = thr_TlsAlloc();
  EXPECT_NE(first, second);
  int value = 0;
  thr_TlsSetValue(first, &value);
  EXPECT_EQ(thr_TlsGetValue(second), nullptr);
  EXPECT_EQ(thr_TlsGetValue(first), &value);
  thr_TlsFree(first);
  thr_TlsFree(second);
}

TEST(thr_ThreadSlot, MinusOneHasNoValue) {
  EXPECT_EQ(thr_TlsGetValue(-1), nullptr);
}

TEST(thr_ThreadSlot, FreedSlotHasNoValue) {
  int const slot = thr_TlsAlloc();
  int value = 0;
  thr_TlsSetValue(slot, &value);
  thr_TlsFree(slot);
  EXPECT_EQ(thr_TlsGetValue(slot), nullptr);
}

TEST(thr_ThreadSlot, ReusedIndexHasNoValueOfItsFormerOwner) {
  int const slot = thr_TlsAlloc();
  int value = 0;
  thr_TlsSetValue(slot, &value);
  thr_TlsFree(slot);
  int const again = thr_TlsAlloc();
  EXPECT_EQ(again, slot);
  EXPECT_EQ(thr_TlsGetValue(again), nullptr);
  thr_TlsFree(again);
}

TEST(thr_ThreadSlot, ThrowsIfThereAreNoMoreSlots) {
  std::set<int> slots;
  EXPECT_THROW(
      {
        for (int i = 0; i < 100000; ++i) slots.insert(thr_TlsAlloc());
      },
      std::system_error);
  EXPECT_GE(slots.size(), 16U);
  for (int const slot : slots) EXPECT_GE(slot, 0);
  for (int const slot : slots) thr_TlsFree(slot);
  int const slot = thr_TlsAlloc();
  EXPECT_TRUE(slots.contains(slot));
  thr_TlsFree(slot);
}

TEST(thr_ThreadSlot, ConcurrentReservationsGetDifferentSlots) {
  std::vector<std::vector<int>> slots(8);
  std::vector<std::thread> threads;
  for (auto& own : slots)
    threads.emplace_back([&own] {
      for (int i = 0; i < 8; ++i) own.push_back(thr_TlsAlloc());
    });
  for (std::thread& thread : threads) thread.join();
  std::set<int> all;
  for (auto const& own : slots) all.insert(own.begin(), own.end());
  EXPECT_EQ(all.size(), 64U);
  for (int const slot : all) thr_TlsFree(slot);
}

} // namespace
