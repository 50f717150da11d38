#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "persist/identity/cls_Static.h"
#include "persist/identity/cls_Uid.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TracedHistory.h"

namespace {

using Catalogue = thr_ThreadSingletonBase<cls_UidCatalog>;

/// Makes, copies and frees identities with and without history. Returns how many checks failed.
int Churn(int seed) {
  int wrong = 0;
  int alive = 0;
  std::vector<cls_Uid> uids;
  for (int i = 0; i < 20000; ++i) {
    uids.emplace_back();
    if (i % 7 == seed % 7) {
      ++alive;
      (new TracedHistory(uids.back(), i))->AtEnd([&alive] { --alive; });
    }
    if (i % 3 == 0) uids[static_cast<std::size_t>(i) / 2 % uids.size()].NewUid();
    if (i % 5 == 0) uids.push_back(uids[static_cast<std::size_t>(i) % uids.size()]);
    if (uids.size() > 5000) uids.resize(1000);
  }
  for (cls_Uid const& uid : uids)
    if (uid.Entry()->m_RefCount < 1 || uid.Entry()->m_RefCount > 10000) ++wrong;
  uids.clear();
  return alive == 0 ? wrong : wrong + 1;
}

TEST(cls_UidThreads, EightThreadsMakeAndFreeIdentitiesAtOnce) {
  std::vector<int> wrong(8, -1);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < wrong.size(); ++t)
    threads.emplace_back([t, &wrong] { wrong[t] = Churn(static_cast<int>(t)); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(8, 0));
}

TEST(cls_UidThreads, ThreadsStartAndEndWhileOthersWork) {
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&wrong] {
      for (int i = 0; i < 50; ++i)
        std::thread([&wrong] {
          std::vector<cls_Uid> const uids(100);
          if (uids.front().Entry()->m_RefCount != 1) ++wrong;
          if (thr_ThreadSingleton<cls_Static>::Instance().ConstUid().Entry() == uids.front().Entry()) ++wrong;
        }).join();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(cls_UidThreads, IdentitiesOfConcurrentThreadsDiffer) {
  std::vector<std::vector<cls_UidCatalogEntry*>> entries(8);
  std::barrier together(8);
  std::vector<std::thread> threads;
  for (auto& own : entries)
    threads.emplace_back([&own, &together] {
      std::vector<cls_Uid> const uids(100);
      for (cls_Uid const& uid : uids) own.push_back(uid.Entry());
      together.arrive_and_wait();
    });
  for (std::thread& thread : threads) thread.join();
  std::set<cls_UidCatalogEntry*> all;
  for (auto const& own : entries) all.insert(own.begin(), own.end());
  EXPECT_EQ(all.size(), 800U);
}

TEST(cls_UidThreads, ThreadEndDestroysTheCatalogue) {
  cls_Uid const mine;
  int const users = Catalogue::UserCount();
  std::thread([users] {
    cls_Uid const uid;
    EXPECT_EQ(Catalogue::UserCount(), users + 1);
  }).join();
  EXPECT_EQ(Catalogue::UserCount(), users);
}

struct HoldsIdentity {
  HoldsIdentity() = default;
  ~HoldsIdentity() { m_Released = m_Uid.Entry()->m_RefCount == 1; }
  cls_Uid m_Uid;
  bool& m_Released = s_Released;
  static inline bool s_Released = false;
};

TEST(cls_UidThreads, ThreadLocalObjectsMayHoldIdentities) {
  cls_Uid const mine;
  int const users = Catalogue::UserCount();
  HoldsIdentity::s_Released = false;
  std::thread([] {
    thread_local HoldsIdentity holder;
    EXPECT_EQ(holder.m_Uid.Entry()->m_RefCount, 1U);
  }).join();
  EXPECT_TRUE(HoldsIdentity::s_Released);
  EXPECT_EQ(Catalogue::UserCount(), users);
}

struct MakesIdentities {
  ~MakesIdentities() {
    std::vector<cls_Uid> const uids(3000);
    s_Made = uids.size();
  }
  void Touch() const {}
  static inline std::size_t s_Made = 0;
};

TEST(cls_UidThreads, ThreadLocalDestructorsMayMakeTheFirstIdentities) {
  cls_Uid const mine;
  int const users = Catalogue::UserCount();
  MakesIdentities::s_Made = 0;
  std::thread([] {
    thread_local MakesIdentities const maker;
    maker.Touch();
  }).join();
  EXPECT_EQ(MakesIdentities::s_Made, 3000U);
  EXPECT_EQ(Catalogue::UserCount(), users);
}

void RunToItsEnd(void* (*function)(void*), bool cancel) {
  static std::atomic<bool> ready;
  ready = false;
  cls_Uid const mine;
  int const users = Catalogue::UserCount();
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, nullptr, function, &ready), 0);
  if (cancel) {
    while (!ready) std::this_thread::yield();
    ASSERT_EQ(pthread_cancel(thread), 0);
  }
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(Catalogue::UserCount(), users);
}

TEST(cls_UidThreads, PthreadExitDestroysTheCatalogue) {
  RunToItsEnd(
      [](void*) -> void* {
        thr_ThreadSingleton<cls_Static>::Instance();
        cls_Uid const uid;
        pthread_exit(nullptr);
      },
      false);
}

TEST(cls_UidThreads, CancellationDestroysTheCatalogue) {
  RunToItsEnd(
      [](void* ready) -> void* {
        thr_ThreadSingleton<cls_Static>::Instance();
        cls_Uid const uid;
        *static_cast<std::atomic<bool>*>(ready) = true;
        for (;;) pause();
      },
      true);
}

/// Prints, when the thread's constant identity is destroyed, whether the catalogue still exists.
void WatchConstants(char const* thread) {
  cls_Uid const& uid = thr_ThreadSingleton<cls_Static>::Instance().ConstUid();
  (new TracedHistory(uid, 0))->AtEnd([thread] {
    Say(thread);
    Say(Catalogue::Instance() == nullptr ? ": too late\n" : ": constants before catalogue\n");
  });
}

cls_Uid const* s_Global = nullptr;

ChildScenario const s_ExitFromMain("identities: exit from main", [] {
  static cls_Uid const global; // destroyed with the other static objects
  s_Global = &global;
  WatchConstants("main");
  cls_Uid const local;
  std::exit(0);
});

ChildScenario const s_ExitFromThread("identities: exit from another thread", [] {
  static cls_Uid const global;
  s_Global = &global;
  WatchConstants("main");
  std::thread([] {
    thread_local HoldsIdentity holder;
    EXPECT_EQ(holder.m_Uid.Entry()->m_RefCount, 1U);
    WatchConstants("other");
    std::exit(0);
  }).join();
});

ChildScenario const s_MainLeaves("identities: main thread leaves first", [] {
  WatchConstants("main");
  std::thread([] {
    while (Catalogue::UserCount() != 0) std::this_thread::yield();
    std::thread([] { WatchConstants("other"); }).join();
    std::_Exit(0); // under some tools a process that lost its main thread does not end by itself
  }).detach();
  pthread_exit(nullptr);
});

void ExpectEnd(char const* scenario, char const* output) {
  ChildResult const result = RunChild(scenario);
  EXPECT_EQ(result.m_ExitCode, 0);
  EXPECT_EQ(result.m_Signal, 0);
  EXPECT_EQ(result.m_Output, output);
}

TEST(cls_UidProcessEnd, ExitFromMainDestroysConstantsThenCatalogue) {
  ExpectEnd("identities: exit from main", "main: constants before catalogue\n");
}

TEST(cls_UidProcessEnd, ExitFromAnotherThreadDestroysOnlyThatThreads) {
  ExpectEnd("identities: exit from another thread", "other: constants before catalogue\n");
}

TEST(cls_UidProcessEnd, MainThreadThatExitsFirstDestroysItsOwn) {
  ExpectEnd("identities: main thread leaves first",
            "main: constants before catalogue\nother: constants before catalogue\n");
}

} // namespace
