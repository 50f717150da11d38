#include "platform/thr/thr_GlobalLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/thr/thr_GlobalSingleton.h"

namespace {

TEST(thr_GlobalLock, IsTheSameForAllThreads) {
  thr_GlobalLock* const here = &omi_Singleton<thr_GlobalLock>::Instance();
  thr_GlobalLock* there = nullptr;
  std::thread([&] { there = &omi_Singleton<thr_GlobalLock>::Instance(); }).join();
  EXPECT_EQ(here, there);
}

TEST(thr_GlobalLock, ExcludesOtherThreads) {
  long plain = 0; // protected only by the lock
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 5000; ++i) {
        thr_GlobalLock::Guard const guard;
        ++plain;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(plain, 40000);
}

TEST(thr_GlobalLock, GuardReleasesInItsDestructor) {
  { thr_GlobalLock::Guard const guard; }
  std::thread([] { thr_GlobalLock::Guard const guard; }).join();
  omi_Singleton<thr_GlobalLock>::Instance().Lock();
  omi_Singleton<thr_GlobalLock>::Instance().Unlock();
}

struct Counted {
  Counted() { ++s_Made; }
  static inline std::atomic<int> s_Made = 0;
};

TEST(thr_GlobalSingleton, RacingThreadsMakeItOnce) {
  std::vector<Counted*> seen(8);
  std::vector<std::thread> threads;
  for (Counted*& own : seen)
    threads.emplace_back([&own] { own = &thr_GlobalSingleton<Counted>::Instance(); });
  for (std::thread& thread : threads) thread.join();
  for (Counted const* own : seen) EXPECT_EQ(own, seen.front());
  EXPECT_EQ(Counted::s_Made, 1);
}

} // namespace
