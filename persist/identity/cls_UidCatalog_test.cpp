#include "persist/identity/cls_UidCatalog.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <new>
#include <vector>

#include "persist/identity/cls_Uid.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/HeapCount.h"
#include "tests/support/OnThread.h"
#include "tests/support/TracedHistory.h"

namespace {

constexpr int BlockSize = 2048;

int BlockCount() {
  return cls_UidCatalog::Instance().BlockCount();
}

/// `count` identities, in the order in which they were made.
std::deque<cls_Uid> Make(int count) {
  std::deque<cls_Uid> uids;
  for (int i = 0; i < count; ++i) uids.emplace_back();
  return uids;
}

TEST(cls_UidCatalog, BlockHoldsExactly2048RecordsInline) {
  EXPECT_EQ(cls_UidCatalogBlock::EntryCount, 2048);
  EXPECT_EQ(sizeof(cls_UidCatalogBlock), sizeof(void*) + 2048 * sizeof(cls_UidCatalogEntry));
}

TEST(cls_UidCatalog, CountAndFreeLinkShareTheirStorage) {
  cls_UidCatalogEntry entry;
  EXPECT_EQ(static_cast<void*>(&entry.m_RefCount), static_cast<void*>(&entry.m_NextFree));
  EXPECT_EQ(sizeof entry.m_RefCount, 4U);
  EXPECT_EQ(sizeof entry, sizeof(void*) + sizeof(cls_HistoryEntry));
}

TEST(cls_UidCatalog, FirstBlockLasts2048Identities) {
  OnThread([] {
    auto uids = Make(BlockSize);
    EXPECT_EQ(BlockCount(), 1);
    uids.emplace_back();
    EXPECT_EQ(BlockCount(), 2);
    for (int i = 1; i < BlockSize; ++i) uids.emplace_back();
    EXPECT_EQ(BlockCount(), 2);
    uids.emplace_back();
    EXPECT_EQ(BlockCount(), 3);
  });
}

TEST(cls_UidCatalog, NewBlockIsHandedOutInAddressOrder) {
  OnThread([] {
    auto const uids = Make(2 * BlockSize);
    for (int block = 0; block < 2; ++block) {
      cls_UidCatalogEntry* const first = uids[static_cast<std::size_t>(block * BlockSize)].Entry();
      for (int i = 0; i < BlockSize; ++i)
        ASSERT_EQ(uids[static_cast<std::size_t>(block * BlockSize + i)].Entry(), first + i);
    }
  });
}

TEST(cls_UidCatalog, ReusesTheLastFreedEntryFirst) {
  OnThread([] {
    auto uids = Make(10);
    std::vector<cls_UidCatalogEntry*> freed;
    for (int const index : {3, 7, 1}) {
      freed.push_back(uids[static_cast<std::size_t>(index)].Entry());
      uids[static_cast<std::size_t>(index)] = uids[0];
    }
    cls_UidCatalogEntry* const untouched = uids[9].Entry() + 1;
    std::deque<cls_Uid> const again = Make(4);
    EXPECT_EQ(again[0].Entry(), freed[2]);
    EXPECT_EQ(again[1].Entry(), freed[1]);
    EXPECT_EQ(again[2].Entry(), freed[0]);
    EXPECT_EQ(again[3].Entry(), untouched);
  });
}

TEST(cls_UidCatalog, FreedEntriesAreReusedBeforeABlockIsAdded) {
  OnThread([] {
    auto uids = Make(3 * BlockSize);
    EXPECT_EQ(BlockCount(), 3);
    uids.clear();
    EXPECT_EQ(BlockCount(), 3);
    uids = Make(3 * BlockSize);
    EXPECT_EQ(BlockCount(), 3);
  });
}

TEST(cls_UidCatalog, HandsOutRecordsWithCountOneAndAnEmptyRing) {
  OnThread([] {
    for (int round = 0; round < 2; ++round) {
      auto const uids = Make(100);
      for (cls_Uid const& uid : uids) {
        ASSERT_EQ(uid.Entry()->m_RefCount, 1U);
        ASSERT_EQ(uid.Entry()->m_History.Next(), &uid.Entry()->m_History);
      }
    }
  });
}

TEST(cls_UidCatalog, EmptiesTheRingOfARecordThatItHandsOut) {
  struct Stray : cls_HistoryEntry {
    using cls_HistoryEntry::Link;
  };
  Stray stray; // outlives the record's use; like the base, it never unlinks itself
  cls_UidCatalogEntry* const entry = cls_Uid().Entry();
  stray.Link(&entry->m_History); // as a module might do too late, on a free record
  cls_Uid const uid;
  ASSERT_EQ(uid.Entry(), entry);
  EXPECT_EQ(entry->m_History.Next(), &entry->m_History);
}

TEST(cls_UidCatalog, DropReturnsTheCountAfterTheDecrement) {
  cls_UidCatalogEntry* const entry = cls_UidCatalog::Take();
  {
    cls_Uid const uid(entry);
    cls_Uid const copy(uid);
    ++entry->m_RefCount;
    EXPECT_EQ(cls_UidCatalog::Drop(entry), 3U);
  }
  EXPECT_EQ(cls_UidCatalog::Drop(entry), 0U);
  EXPECT_EQ(cls_Uid().Entry(), entry);
}

TEST(cls_UidCatalog, TouchesTheHeapOnlyForBlocks) {
  OnThread([] {
    cls_Uid const first;
    auto storage = std::make_unique<std::byte[]>(sizeof(cls_Uid) * 3 * BlockSize);
    auto* const uids = reinterpret_cast<cls_Uid*>(storage.get());
    AllocationProbe const probe;
    long long const heapBefore = HeapCount();
    for (int i = 0; i < BlockSize - 1; ++i) new (uids + i) cls_Uid;
    EXPECT_EQ(probe.Count(), 0);
    new (uids + BlockSize - 1) cls_Uid;
    EXPECT_EQ(probe.Count(), 1);
    EXPECT_EQ(probe.Bytes(), sizeof(cls_UidCatalogBlock));
    for (int i = BlockSize; i < 3 * BlockSize; ++i) new (uids + i) cls_Uid;
    EXPECT_EQ(probe.Count(), 3);
    for (int round = 0; round < 10; ++round)
      for (int i = 0; i < 3 * BlockSize; ++i) {
        cls_Uid const copy(uids[i]);
        uids[i].NewUid();
        uids[i] = copy;
        uids[i] = cls_Uid::AllocateUid();
      }
    for (int i = 0; i < 3 * BlockSize; ++i) uids[i].~cls_Uid();
    EXPECT_EQ(probe.Count(), 3);
    EXPECT_EQ(HeapCount(), heapBefore);
  });
}

TEST(cls_UidCatalog, BlocksStayWhileTheCatalogueLives) {
  OnThread([] {
    std::vector<cls_UidCatalogEntry*> entries;
    {
      auto const uids = Make(2 * BlockSize);
      for (cls_Uid const& uid : uids) entries.push_back(uid.Entry());
    }
    for (cls_UidCatalogEntry* entry : entries)
      ASSERT_EQ(entry->m_History.Next(), &entry->m_History); // still readable
    EXPECT_EQ(BlockCount(), 2);
  });
}

TEST(cls_UidCatalog, EachThreadHasItsOwn) {
  cls_UidCatalog* const here = &cls_UidCatalog::Instance();
  EXPECT_EQ(&cls_UidCatalog::Instance(), here);
  OnThread([here] {
    EXPECT_EQ(thr_ThreadSingletonBase<cls_UidCatalog>::Instance(), nullptr);
    cls_Uid const uid;
    EXPECT_NE(thr_ThreadSingletonBase<cls_UidCatalog>::Instance(), nullptr);
    EXPECT_NE(thr_ThreadSingletonBase<cls_UidCatalog>::Instance(), here);
  });
}

TEST(cls_UidCatalog, CatalogueWithoutIdentityHasNoBlock) {
  OnThread([] { EXPECT_EQ(BlockCount(), 0); });
}

TEST(cls_UidCatalog, FailedFirstBlockLeavesAnEmptyUsableCatalogue) {
  OnThread([] {
    cls_UidCatalog::Instance();
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW(cls_Uid(), std::bad_alloc);
    EXPECT_EQ(BlockCount(), 0);
    cls_Uid const uid;
    EXPECT_EQ(BlockCount(), 1);
    EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
  });
}

TEST(cls_UidCatalog, FailedLaterBlockLeavesAllIdentitiesUsable) {
  OnThread([] {
    auto uids = Make(BlockSize);
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW(cls_Uid(), std::bad_alloc);
    EXPECT_EQ(BlockCount(), 1);
    for (cls_Uid const& uid : uids) ASSERT_EQ(uid.Entry()->m_RefCount, 1U);
    cls_UidCatalogEntry* const last = uids.back().Entry();
    uids.pop_back();
    {
      cls_Uid const reused; // a freed record needs no block
      EXPECT_EQ(reused.Entry(), last);
      EXPECT_EQ(probe.Count(), 1);
      cls_Uid const fresh;
      EXPECT_EQ(BlockCount(), 2);
    }
  });
}

TEST(cls_UidCatalog, FailedNewUidChangesNothing) {
  OnThread([] {
    auto uids = Make(BlockSize);
    cls_Uid const other(uids[5]);
    cls_UidCatalogEntry* const entry = other.Entry();
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW(uids[5].NewUid(), std::bad_alloc);
    EXPECT_EQ(uids[5].Entry(), entry);
    EXPECT_EQ(entry->m_RefCount, 2U);
    uids[6].NewUid(); // the last reference needs no memory
    EXPECT_EQ(probe.Count(), 1);
  });
}

TEST(cls_UidCatalog, FinaliserDestroysTheThreadsCatalogueOnce) {
  OnThread([] {
    EXPECT_FALSE(thr_ThreadSingletonBase<cls_UidCatalog>::Finalize());
    { auto const uids = Make(3 * BlockSize); }
    EXPECT_TRUE(thr_ThreadSingletonBase<cls_UidCatalog>::Finalize());
    EXPECT_EQ(thr_ThreadSingletonBase<cls_UidCatalog>::Instance(), nullptr);
    EXPECT_FALSE(thr_ThreadSingletonBase<cls_UidCatalog>::Finalize());
  });
}

TEST(cls_UidCatalog, StartsAgainAfterItsFinaliser) {
  OnThread([] {
    { auto const uids = Make(2 * BlockSize); }
    thr_ThreadSingletonBase<cls_UidCatalog>::Finalize();
    cls_Uid const uid;
    EXPECT_EQ(BlockCount(), 1);
    EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
  });
}

TEST(cls_UidCatalog, ManyBlocksAreFreedWhenTheThreadEnds) {
  OnThread([] {
    { auto const uids = Make(400 * BlockSize); }
    EXPECT_EQ(BlockCount(), 400);
  });
}

TEST(cls_UidCatalog, DestructLevelIsTwo) {
  cls_Uid const uid;
  EXPECT_EQ(cls_UidCatalog::DestructLevel, 2);
  EXPECT_EQ(thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().DestructLevel(
                &thr_ThreadSingletonBase<cls_UidCatalog>::Finalize),
            2);
}

TEST(cls_UidCatalog, HistoryDestructorMayAddABlock) {
  // A record whose history makes identities while the free list is empty adds a block during its release.
  OnThread([] {
    auto uids = Make(BlockSize);
    std::vector<cls_Uid> made;
    (new TracedHistory(uids.back(), 1))->AtEnd([&made] { made.resize(1); });
    cls_UidCatalogEntry* const last = uids.back().Entry();
    uids.pop_back();
    EXPECT_EQ(BlockCount(), 2);
    ASSERT_EQ(made.size(), 1U);
    EXPECT_NE(made.front().Entry(), last);
    EXPECT_EQ(cls_Uid().Entry(), last);
  });
}

} // namespace
