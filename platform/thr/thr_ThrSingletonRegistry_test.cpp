#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "tests/support/ThreadRegistry.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// The services that were finalised, in order, on any thread.
class Log {
 public:
  static void Add(int number) {
    std::lock_guard const lock(s_Mutex);
    s_Numbers.push_back(number);
  }
  static std::vector<int> Take() {
    std::lock_guard const lock(s_Mutex);
    return std::exchange(s_Numbers, {});
  }

 private:
  static inline std::mutex s_Mutex;
  static inline std::vector<int> s_Numbers;
};

/// A per-thread service that is destroyed at level `Level`; each test uses its own `Group`.
template <int Group, int Level> struct LoggedService {
  static void Use() {
    Registry().Register(&Finalize);
    Registry().SetDestructLevel(&Finalize, Level);
    t_Alive = true;
  }
  static bool Finalize() {
    if (!t_Alive) return false;
    t_Alive = false;
    Log::Add(Level);
    if (t_AtFinalize != nullptr) t_AtFinalize();
    return true;
  }
  static inline thread_local bool t_Alive = false;
  static inline thread_local void (*t_AtFinalize)() = nullptr;
};

using A2 = LoggedService<1, 2>;
using A3 = LoggedService<1, 3>;
using A4 = LoggedService<1, 4>;
using A5 = LoggedService<1, 5>;

void UseAll() {
  A4::Use();
  A2::Use();
  A5::Use();
  A3::Use();
}
std::vector<int> const FromHighestToLowest{5, 4, 3, 2};

void RunThread(void* (*function)(void*), void* argument = nullptr) {
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, nullptr, function, argument), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
}

class thr_ThrSingletonRegistryTest : public testing::Test {
 protected:
  void SetUp() override { Log::Take(); }
};

TEST_F(thr_ThrSingletonRegistryTest, IsTheSameForAllThreads) {
  thr_ThrSingletonRegistry* there = nullptr;
  std::thread([&] { there = &Registry(); }).join();
  EXPECT_EQ(there, &Registry());
}

TEST_F(thr_ThrSingletonRegistryTest, UnknownFinaliserHasLevelMinusOne) {
  using Unknown = LoggedService<10, 1>;
  EXPECT_EQ(Registry().DestructLevel(&Unknown::Finalize), -1);
  Registry().SetDestructLevel(&Unknown::Finalize, 3);
  EXPECT_EQ(Registry().DestructLevel(&Unknown::Finalize), -1);
}

TEST_F(thr_ThrSingletonRegistryTest, NewFinaliserStartsAtLevelZero) {
  using Fresh = LoggedService<11, 1>;
  Registry().Register(&Fresh::Finalize);
  EXPECT_EQ(Registry().DestructLevel(&Fresh::Finalize), 0);
  Registry().SetDestructLevel(&Fresh::Finalize, 7);
  EXPECT_EQ(Registry().DestructLevel(&Fresh::Finalize), 7);
}

TEST_F(thr_ThrSingletonRegistryTest, RegisteringAgainKeepsTheLevelAndRunsOnce) {
  using Twice = LoggedService<12, 6>;
  Twice::Use();
  Registry().Register(&Twice::Finalize);
  std::thread([] { Registry().Register(&Twice::Finalize); }).join();
  EXPECT_EQ(Registry().DestructLevel(&Twice::Finalize), 6);
  Registry().FinalizeThread();
  EXPECT_EQ(Log::Take(), std::vector<int>{6});
}

TEST_F(thr_ThrSingletonRegistryTest, FinalizeThreadRunsFromTheHighestLevelToTheLowest) {
  UseAll();
  Registry().FinalizeThread();
  EXPECT_EQ(Log::Take(), FromHighestToLowest);
  Registry().FinalizeThread();
  EXPECT_EQ(Log::Take(), std::vector<int>{});
}

TEST_F(thr_ThrSingletonRegistryTest, FinalisesOnlyTheCallingThread) {
  UseAll();
  std::thread([] { Registry().FinalizeThread(); }).join();
  EXPECT_EQ(Log::Take(), std::vector<int>{});
  Registry().FinalizeThread();
  EXPECT_EQ(Log::Take(), FromHighestToLowest);
}

TEST_F(thr_ThrSingletonRegistryTest, DestroysInstancesThatAFinaliserMakes) {
  UseAll();
  A2::t_AtFinalize = [] {
    A2::t_AtFinalize = nullptr;
    A5::Use();
    A3::Use();
  };
  Registry().FinalizeThread();
  EXPECT_EQ(Log::Take(), (std::vector<int>{5, 4, 3, 2, 5, 3}));
}

TEST_F(thr_ThrSingletonRegistryTest, FinaliserMayRegisterAnotherType) {
  using Late = LoggedService<13, 1>;
  A2::Use();
  A2::t_AtFinalize = [] {
    A2::t_AtFinalize = nullptr;
    Late::Use();
  };
  Registry().FinalizeThread();
  EXPECT_EQ(Log::Take(), (std::vector<int>{2, 1}));
}

TEST_F(thr_ThrSingletonRegistryTest, RunsWhenAThreadReturns) {
  std::thread([] { UseAll(); }).join();
  EXPECT_EQ(Log::Take(), FromHighestToLowest);
}

TEST_F(thr_ThrSingletonRegistryTest, RunsOnceForEachThreadThatReturns) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) threads.emplace_back(&A2::Use);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Log::Take(), std::vector<int>(8, 2));
}

TEST_F(thr_ThrSingletonRegistryTest, RunsNothingForAThreadThatUsedNothing) {
  std::thread([] {}).join();
  EXPECT_EQ(Log::Take(), std::vector<int>{});
}

TEST_F(thr_ThrSingletonRegistryTest, RunsWhenAThreadCallsExit) {
  RunThread([](void*) -> void* {
    UseAll();
    pthread_exit(nullptr);
  });
  EXPECT_EQ(Log::Take(), FromHighestToLowest);
}

TEST_F(thr_ThrSingletonRegistryTest, RunsWhenAThreadIsCancelled) {
  static std::atomic<bool> ready;
  ready = false;
  pthread_t thread{};
  ASSERT_EQ(pthread_create(
                &thread, nullptr,
                [](void*) -> void* {
                  UseAll();
                  ready = true;
                  for (;;) pause();
                },
                nullptr),
            0);
  while (!ready) std::this_thread::yield();
  ASSERT_EQ(pthread_cancel(thread), 0);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_EQ(Log::Take(), FromHighestToLowest);
}

TEST_F(thr_ThrSingletonRegistryTest, RunsWhenADetachedThreadEnds) {
  static std::atomic<bool> finalised;
  finalised = false;
  std::thread([] {
    A2::Use();
    A2::t_AtFinalize = [] { finalised = true; };
  }).detach();
  while (!finalised) std::this_thread::yield();
  EXPECT_EQ(Log::Take(), std::vector<int>{2});
}

struct UsesAtItsEnd {
  ~UsesAtItsEnd() {
    Log::Add(100);
    if (m_Use != nullptr) m_Use();
  }
  void (*m_Use)() = nullptr;
};

TEST_F(thr_ThrSingletonRegistryTest, RunsAfterTheDestructorsOfThreadLocalObjects) {
  std::thread([] {
    thread_local UsesAtItsEnd before;
    before.m_Use = nullptr;
    UseAll();
    thread_local UsesAtItsEnd after;
    after.m_Use = nullptr;
  }).join();
  EXPECT_EQ(Log::Take(), (std::vector<int>{100, 100, 5, 4, 3, 2}));
}

TEST_F(thr_ThrSingletonRegistryTest, DestroysInstancesThatThreadLocalDestructorsMake) {
  std::thread([] {
    thread_local UsesAtItsEnd maker;
    maker.m_Use = &UseAll;
  }).join();
  EXPECT_EQ(Log::Take(), (std::vector<int>{100, 5, 4, 3, 2}));
}

TEST_F(thr_ThrSingletonRegistryTest, DestroysInstancesThatLaterThreadKeyDestructorsMake) {
  Registry().Register(&A2::Finalize); // the registry's own key exists before the one below
  pthread_key_t key{};
  ASSERT_EQ(pthread_key_create(&key, [](void*) { A3::Use(); }), 0);
  static int token = 0;
  RunThread(
      [](void* argument) -> void* {
        A2::Use();
        pthread_setspecific(*static_cast<pthread_key_t*>(argument), &token);
        return nullptr;
      },
      &key);
  pthread_key_delete(key);
  EXPECT_EQ(Log::Take(), (std::vector<int>{2, 3}));
}

/// A service identified by its number, not by its level.
template <int Number> bool FinalizeNumbered() {
  Log::Add(Number);
  return false;
}

TEST_F(thr_ThrSingletonRegistryTest, OlderFinaliserOfALevelRunsFirst) {
  // Not the process-wide registry: there these finalisers would run in all other tests.
  thr_ThrSingletonRegistry registry;
  registry.Register(&FinalizeNumbered<1>);
  registry.Register(&FinalizeNumbered<2>);
  registry.Register(&FinalizeNumbered<3>);
  registry.Register(&FinalizeNumbered<1>);
  registry.SetDestructLevel(&FinalizeNumbered<1>, 4);
  registry.SetDestructLevel(&FinalizeNumbered<2>, 4);
  registry.SetDestructLevel(&FinalizeNumbered<3>, 5);
  registry.FinalizeThread();
  EXPECT_EQ(Log::Take(), (std::vector<int>{3, 1, 2}));
}

} // namespace
