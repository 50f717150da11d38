#include "collections/cls_PTrieHeap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <vector>

#include <unistd.h>

#include "collections/cls_PTrie.h"
#include "tests/support/HeapCount.h"
#include "tests/support/OnThread.h"

namespace {

using Trie = cls_PTrie<int, int, 1>;
using PoolBase = thr_ThreadSingletonBase<cls_PTrieHeap>;

constexpr int SlotsInChunk = 32;

cls_PTrieHeap& Pool() {
  return thr_ThreadSingleton<cls_PTrieHeap>::Instance();
}

/// The next `count` slots of the calling thread, requested with this size.
std::vector<std::byte*> GetSlots(int count, std::size_t sizeBytes) {
  std::vector<std::byte*> slots;
  slots.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) slots.push_back(static_cast<std::byte*>(Pool().GetNode(sizeBytes)));
  return slots;
}

/// Expects adjacent slots, each `sizeBytes` below the previous one.
void ExpectDescending(std::vector<std::byte*> const& slots, std::size_t sizeBytes) {
  for (std::size_t i = 1; i < slots.size(); ++i) EXPECT_EQ(slots[i] + sizeBytes, slots[i - 1]) << i;
}

/// How many allocations `function` makes on a thread of its own that has an empty pool.
template <class Function> long long AllocationsOnThread(Function function) {
  long long count = 0;
  OnThread([&] {
    Pool();
    long long const before = HeapCount();
    function();
    count = HeapCount() - before;
  });
  return count;
}

/// A per-thread service that, when it is destroyed, records whether the pool still exists.
template <int Level> class Neighbour : public thr_ThreadSingleton<Neighbour<Level>> {
 public:
  static constexpr int DestructLevel = Level;
  static inline bool s_SawPool = false;

 private:
  friend class thr_ThreadSingleton<Neighbour>;
  friend class thr_ThreadSingletonBase<Neighbour>;
  Neighbour() { this->SetDestructLevel(); }
  ~Neighbour() { s_SawPool = PoolBase::Instance() != nullptr; }
};

/// Keeps a trie until the thread ends.
class TrieOwner : public thr_ThreadSingleton<TrieOwner> {
 public:
  static constexpr int DestructLevel = 6;
  static inline unsigned int s_Cleared = 0;
  Trie m_Trie;

 private:
  friend class thr_ThreadSingleton<TrieOwner>;
  friend class thr_ThreadSingletonBase<TrieOwner>;
  TrieOwner() { SetDestructLevel(); }
  ~TrieOwner() {
    s_Cleared = m_Trie.Count();
    m_Trie.Clear();
  }
};

/// How much address space the process has.
long long AddressSpaceBytes() {
  long long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * sysconf(_SC_PAGESIZE);
}

} // namespace

TEST(cls_PTrieHeap, HandsOutTheSlotsOfAChunkFromTheHighestAddressDown) {
  OnThread([] { ExpectDescending(GetSlots(SlotsInChunk, 32), 32); });
}

TEST(cls_PTrieHeap, SlotsAreWhollyUsable) {
  OnThread([] {
    std::vector<std::byte*> const slots = GetSlots(3 * SlotsInChunk, 40);
    for (std::size_t i = 0; i < slots.size(); ++i) std::memset(slots[i], static_cast<int>(i), 40);
    for (std::size_t i = 0; i < slots.size(); ++i)
      EXPECT_EQ(std::count(slots[i], slots[i] + 40, static_cast<std::byte>(i)), 40);
  });
}

TEST(cls_PTrieHeap, AllocatesOneChunkForThirtyTwoSlots) {
  auto const allocations = [](int slots) {
    return AllocationsOnThread([slots] {
      for (int i = 0; i < slots; ++i) static_cast<void>(Pool().GetNode(32));
    });
  };
  EXPECT_EQ(allocations(0), 0);
  EXPECT_EQ(allocations(1), 1);
  EXPECT_EQ(allocations(32), 1);
  EXPECT_EQ(allocations(33), 2);
  EXPECT_EQ(allocations(64), 2);
  EXPECT_EQ(allocations(65), 3);
}

TEST(cls_PTrieHeap, ThirtyThirdBranchOfAThreadMakesASecondChunk) {
  auto const allocations = [](int keys) {
    return AllocationsOnThread([keys] {
      Trie trie;
      for (int key = 0; key < keys; ++key) trie.Insert(key, key);
      trie.Clear();
    });
  };
  EXPECT_EQ(allocations(1), 1); // a leaf, no branch
  EXPECT_EQ(allocations(2), 2 + 1);
  EXPECT_EQ(allocations(33), 33 + 1);
  EXPECT_EQ(allocations(34), 34 + 2);
}

TEST(cls_PTrieHeap, RebuildingATrieAllocatesNoBranch) {
  EXPECT_EQ(AllocationsOnThread([] {
              Trie trie;
              for (int round = 0; round < 10; ++round) {
                for (int key = 0; key < 33; ++key) trie.Insert(key * 2048, key);
                trie.Clear();
              }
            }),
            10 * 33 + 1);
}

TEST(cls_PTrieHeap, ReusesTheSlotFreedLastFirst) {
  OnThread([] {
    std::vector<std::byte*> const slots = GetSlots(5, 32);
    for (std::size_t const i : {1U, 3U, 0U}) Pool().FreeNode(slots[i]);
    EXPECT_EQ(GetSlots(3, 32), (std::vector{slots[0], slots[3], slots[1]}));
    EXPECT_EQ(GetSlots(1, 32)[0] + 32, slots[4]); // then the rest of the chunk
  });
}

TEST(cls_PTrieHeap, FreedBranchesAreReusedLastFreedFirst) {
  OnThread([] {
    Trie trie;
    std::vector<std::byte*> const slots = GetSlots(3, sizeof(Trie::Branch));
    for (std::size_t const i : {2U, 1U, 0U}) Pool().FreeNode(slots[i]);
    for (int const key : {1, 2, 4, 8}) trie.Insert(key, key); // each branch goes above the root
    trie.Remove(4);
    trie.Remove(1); // the root's child loses one side
    EXPECT_EQ(GetSlots(2, sizeof(Trie::Branch)), (std::vector{slots[0], slots[1]}));
    trie.Remove(8);
    EXPECT_EQ(GetSlots(1, sizeof(Trie::Branch)), (std::vector{slots[2]}));
    trie.Clear();
  });
}

TEST(cls_PTrieHeap, UsesUpFreeSlotsBeforeMakingAChunk) {
  EXPECT_EQ(AllocationsOnThread([] {
              void* first[SlotsInChunk];
              for (void*& slot : first) slot = Pool().GetNode(32);
              for (void* const slot : first) Pool().FreeNode(slot);
              for (void*& slot : first) slot = Pool().GetNode(32);
            }),
            1);
}

TEST(cls_PTrieHeap, RequestThatMakesAChunkSetsTheSizeOfItsSlots) {
  OnThread([] {
    std::vector<std::byte*> slots = GetSlots(1, 64);
    for (std::byte* const slot : GetSlots(SlotsInChunk - 1, 8)) slots.push_back(slot);
    ExpectDescending(slots, 64);
    slots = GetSlots(1, 16);
    for (std::byte* const slot : GetSlots(SlotsInChunk - 1, 4096)) slots.push_back(slot);
    ExpectDescending(slots, 16);
  });
}

TEST(cls_PTrieHeap, EachThreadHasItsOwn) {
  OnThread([] {
    EXPECT_EQ(PoolBase::Instance(), nullptr);
    cls_PTrieHeap* const own = &Pool();
    EXPECT_EQ(&Pool(), own);
    EXPECT_EQ(PoolBase::Instance(), own);
    std::byte* const slot = GetSlots(1, 32)[0];
    OnThread([own, slot] {
      EXPECT_EQ(PoolBase::Instance(), nullptr);
      EXPECT_NE(&Pool(), own);
      for (std::byte* const other : GetSlots(SlotsInChunk, 32)) EXPECT_NE(other, slot);
    });
    EXPECT_EQ(GetSlots(1, 32)[0] + 32, slot);
  });
}

TEST(cls_PTrieHeap, IsMadeByTheThreadsFirstBranch) {
  OnThread([] {
    Trie trie;
    trie.Insert(1, 1);
    EXPECT_EQ(trie.Contains(1), 1);
    EXPECT_EQ(PoolBase::Instance(), nullptr);
    trie.Insert(2, 2);
    EXPECT_NE(PoolBase::Instance(), nullptr);
    trie.Clear();
  });
}

TEST(cls_PTrieHeap, DestructLevelIsFive) {
  OnThread([] { Pool(); });
  EXPECT_EQ(cls_PTrieHeap::DestructLevel, 5);
  EXPECT_EQ(thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().DestructLevel(&PoolBase::Finalize), 5);
}

TEST(cls_PTrieHeap, IsDestroyedWithItsThread) {
  int const before = PoolBase::UserCount();
  OnThread([before] {
    Pool();
    EXPECT_EQ(PoolBase::UserCount(), before + 1);
  });
  EXPECT_EQ(PoolBase::UserCount(), before);
}

TEST(cls_PTrieHeap, IsDestroyedAfterHigherLevelsAndBeforeLowerOnes) {
  Neighbour<6>::s_SawPool = false;
  Neighbour<4>::s_SawPool = true;
  OnThread([] {
    Neighbour<6>::Instance();
    Pool();
    Neighbour<4>::Instance();
  });
  EXPECT_TRUE(Neighbour<6>::s_SawPool);
  EXPECT_FALSE(Neighbour<4>::s_SawPool);
}

TEST(cls_PTrieHeap, ServesServicesThatAreDestroyedBeforeIt) {
  OnThread([] {
    Trie& trie = TrieOwner::Instance().m_Trie;
    for (int key = 0; key < 100; ++key) trie.Insert(key, key);
  });
  EXPECT_EQ(TrieOwner::s_Cleared, 100U);
}

TEST(cls_PTrieHeap, FreesItsChunksWhenTheThreadEnds) {
  constexpr std::size_t SlotBytes = 1U << 20U; // chunks of 32 MiB, of which hardly a page is touched
  constexpr int Threads = 40;
  auto const use = [] { OnThread([] { static_cast<void>(GetSlots(2 * SlotsInChunk, SlotBytes)); }); };
  use(); // so that one-time costs of the first thread are not measured
  long long const before = AddressSpaceBytes();
  for (int i = 0; i < Threads; ++i) use();
  EXPECT_LT(AddressSpaceBytes() - before, static_cast<long long>(Threads) * SlotsInChunk * SlotBytes);
}

TEST(cls_PTrieHeap, BranchesDeletedInAnotherThreadGoToThatThreadsPool) {
  std::vector<std::byte*> const slots = GetSlots(3, sizeof(Trie::Branch));
  for (std::size_t const i : {2U, 1U, 0U}) Pool().FreeNode(slots[i]);
  Trie trie;
  for (int const key : {1, 2, 4}) trie.Insert(key, key); // the root last
  OnThread([&] {
    Pool().FreeNode(Pool().GetNode(sizeof(Trie::Branch))); // a chunk of this thread's own
    trie.Clear();                                          // the root last
    EXPECT_EQ(GetSlots(2, sizeof(Trie::Branch)), (std::vector{slots[1], slots[0]}));
    for (std::size_t const i : {1U, 0U}) Pool().FreeNode(slots[i]);
    Trie own; // in the other thread's slots
    for (int const key : {1, 2, 4}) own.Insert(key, key);
    EXPECT_TRUE(own.Verify());
    own.Clear();
    EXPECT_EQ(GetSlots(2, sizeof(Trie::Branch)), (std::vector{slots[1], slots[0]}));
  });
  EXPECT_EQ(GetSlots(1, sizeof(Trie::Branch))[0], slots[2]); // nothing came back to this thread's pool
  for (std::byte* const slot : slots) Pool().FreeNode(slot);
}

TEST(cls_PTrieHeap, ThreadWithoutChunkMakesOneBeforeItReusesAForeignSlot) {
  std::byte* const foreign = GetSlots(1, 32)[0];
  OnThread([foreign] {
    Pool().FreeNode(foreign);
    std::vector<std::byte*> const slots = GetSlots(SlotsInChunk, 32);
    ExpectDescending(slots, 32);
    EXPECT_EQ(std::count(slots.begin(), slots.end(), foreign), 0);
    EXPECT_EQ(GetSlots(1, 32)[0], foreign);
  });
  Pool().FreeNode(foreign);
}
