#include "persist/identity/cls_Static.h"

#include <gtest/gtest.h>

#include <barrier>
#include <new>
#include <set>
#include <thread>
#include <vector>

#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/OnThread.h"
#include "tests/support/ThreadRegistry.h"
#include "tests/support/TracedHistory.h"

namespace {

cls_Static& Constants() {
  return thr_ThreadSingleton<cls_Static>::Instance();
}

TEST(cls_Static, IntegerHolderIsCountedOnceAndHoldsNoInteger) {
  OnThread([] {
    cow_COW<int, cow_Direct<int>> const* const holder = Constants().ConstIntCOW();
    ASSERT_NE(holder, nullptr);
    EXPECT_TRUE(holder->IsNull());
    EXPECT_EQ(holder->UseCount(), 1);
    EXPECT_EQ(Constants().ConstIntCOW(), holder);
  });
}

TEST(cls_Static, ConstUidIsTheSameAtEveryCall) {
  OnThread([] {
    cls_Uid const& uid = Constants().ConstUid();
    EXPECT_EQ(&Constants().ConstUid(), &uid);
    EXPECT_EQ(Constants().ConstUid().Entry(), uid.Entry());
    EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
    EXPECT_NE(cls_Uid().Entry(), uid.Entry());
  });
}

TEST(cls_Static, ConstantsDifferBetweenThreads) {
  std::vector<cls_UidCatalogEntry*> entries(4);
  std::vector<void const*> holders(4);
  std::barrier together(4);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < entries.size(); ++t)
    threads.emplace_back([&, t] {
      entries[t] = Constants().ConstUid().Entry();
      holders[t] = Constants().ConstIntCOW();
      together.arrive_and_wait();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set(entries.begin(), entries.end()).size(), 4U);
  EXPECT_EQ(std::set(holders.begin(), holders.end()).size(), 4U);
}

TEST(cls_Static, IsMadeAtFirstUse) {
  OnThread([] {
    EXPECT_EQ(thr_ThreadSingletonBase<cls_Static>::Instance(), nullptr);
    cls_Static& constants = Constants();
    EXPECT_EQ(thr_ThreadSingletonBase<cls_Static>::Instance(), &constants);
    EXPECT_EQ(&Constants(), &constants);
  });
}

TEST(cls_Static, DestructLevelIsFour) {
  Constants();
  EXPECT_EQ(cls_Static::DestructLevel, 4);
  EXPECT_EQ(Registry().DestructLevel(&thr_ThreadSingletonBase<cls_Static>::Finalize), 4);
}

TEST(cls_Static, IsDestroyedBeforeTheIdentityCatalogue) {
  bool catalogueLived = false;
  OnThread([&] {
    (new TracedHistory(Constants().ConstUid(), 0))->AtEnd([&] {
      catalogueLived = thr_ThreadSingletonBase<cls_UidCatalog>::Instance() != nullptr;
    });
  });
  EXPECT_TRUE(catalogueLived);
}

TEST(cls_Static, FinaliserReleasesTheConstantIdentity) {
  OnThread([] {
    cls_UidCatalogEntry* const entry = Constants().ConstUid().Entry();
    EXPECT_TRUE(thr_ThreadSingletonBase<cls_Static>::Finalize());
    EXPECT_EQ(cls_Uid().Entry(), entry);
    EXPECT_FALSE(thr_ThreadSingletonBase<cls_Static>::Finalize());
  });
}

TEST(cls_Static, CopyOfTheConstantIdentityOutlivesTheConstants) {
  OnThread([] {
    cls_Uid const copy(Constants().ConstUid());
    thr_ThreadSingletonBase<cls_Static>::Finalize();
    EXPECT_EQ(copy.Entry()->m_RefCount, 1U);
    EXPECT_NE(Constants().ConstUid().Entry(), copy.Entry());
  });
}

TEST(cls_Static, FailedAllocationLeavesNoHalfMadeConstants) {
  int failures = 0;
  for (int step = 1;; ++step) {
    bool failed = false;
    OnThread([&] {
      int const users = thr_ThreadSingletonBase<cls_Static>::UserCount();
      AllocationProbe probe;
      probe.FailAt(step);
      try {
        Constants();
      } catch (std::bad_alloc const&) {
        failed = true;
        EXPECT_EQ(thr_ThreadSingletonBase<cls_Static>::Instance(), nullptr);
        EXPECT_EQ(thr_ThreadSingletonBase<cls_Static>::UserCount(), users);
        EXPECT_TRUE(Constants().ConstIntCOW()->IsNull());
      }
    });
    if (!failed) break;
    ++failures;
  }
  EXPECT_EQ(failures, 2); // the block of identities and the holder's count
}

} // namespace
