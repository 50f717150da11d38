#pragma once

#include "persist/identity/cls_HistoryEntry.h"
#include "persist/identity/thr_ThreadSingleton.h"
#include "platform/kvl_Export.h"

/// Record of one identity: its reference count and the anchor of its history ring.
/// While the record is free, the count's storage holds the link to the next free record.
struct cls_UidCatalogEntry {
  cls_UidCatalogEntry() noexcept : m_NextFree(nullptr) {}

  union {
    unsigned int m_RefCount;
    cls_UidCatalogEntry* m_NextFree;
  };
  cls_HistoryEntry m_History;
};

/// 2048 records, allocated at once; the blocks of a thread form a chain from the newest to the oldest.
struct cls_UidCatalogBlock {
  static constexpr int EntryCount = 2048;

  cls_UidCatalogBlock* m_Previous;
  cls_UidCatalogEntry m_Entries[EntryCount];
};

/// The calling thread's pool of identity records.
///
/// Purpose: every persisted object and value wrapper makes, copies and destroys identities, so these steps
/// must cost a few instructions. Records come from blocks of 2048 and are reused through a free list.
/// Do not use it directly: cls_Uid is the interface.
/// Cost: taking a record is a pop, recycling it a push; the heap is touched once in 2048 records.
///
/// Invariants:
/// 1. Every record of every block is either live (count at least 1) or on the free list.
/// 2. The free list is last in, first out; a new block joins it in address order.
/// 3. A live record's history ring is consistent; a recycled record's ring is empty.
/// 4. No block returns to the heap while the catalogue lives.
///
/// Thread rule: one catalogue per thread, no lock. A record returns to the catalogue of the thread that
/// releases it, so identities must not cross threads. The catalogue is destroyed at destruct level 2, at the
/// thread's end or the library's; identities still held then dangle.
class KVL_EXPORT cls_UidCatalog : public thr_ThreadSingleton<cls_UidCatalog> {
 public:
  static constexpr int DestructLevel = 2;

  /// A record with count 1 and an empty history ring. Throws std::bad_alloc when a new block is needed and
  /// there is no memory; the catalogue is then unchanged.
  static cls_UidCatalogEntry* Take() {
    cls_UidCatalog* const catalog = t_Current;
    if (catalog == nullptr || catalog->m_FreeHead == nullptr) [[unlikely]]
      return TakeFromNewBlock();
    return catalog->Pop();
  }

  /// Drops one reference; the last one destroys the history entries and frees the record. Returns the count
  /// after the decrement. REQUIRES: a reference was taken for it.
  static unsigned int Drop(cls_UidCatalogEntry* entry) noexcept {
    unsigned int const count = --entry->m_RefCount;
    if (count == 0) Recycle(entry);
    return count;
  }

  /// How many blocks the catalogue has allocated. For diagnostics.
  [[nodiscard]] int BlockCount() const noexcept;

 private:
  friend class thr_ThreadSingleton<cls_UidCatalog>;
  friend class thr_ThreadSingletonBase<cls_UidCatalog>;

  cls_UidCatalog();
  ~cls_UidCatalog();

  cls_UidCatalogEntry* Pop() noexcept {
    cls_UidCatalogEntry* const entry = m_FreeHead;
    m_FreeHead = entry->m_NextFree;
    entry->m_RefCount = 1;
    entry->m_History.Reset();
    return entry;
  }

  void Push(cls_UidCatalogEntry* entry) noexcept {
    entry->m_NextFree = m_FreeHead;
    m_FreeHead = entry;
  }

  static void Recycle(cls_UidCatalogEntry* entry) noexcept {
    cls_UidCatalog* const catalog = t_Current;
    if (catalog == nullptr || entry->m_History.Next() != &entry->m_History) [[unlikely]]
      RecycleWithHistory(entry);
    else
      catalog->Push(entry);
  }

  static cls_UidCatalogEntry* TakeFromNewBlock();
  static void RecycleWithHistory(cls_UidCatalogEntry* entry) noexcept;
  void AddBlock();

  /// The thread's catalogue, beside the singleton's slot: the inline paths reach it in one instruction.
  static constinit thread_local cls_UidCatalog* t_Current KVL_TLS_INITIAL_EXEC;

  cls_UidCatalogBlock* m_Newest = nullptr;   // changed by AddBlock
  cls_UidCatalogEntry* m_FreeHead = nullptr; // changed by Pop, Push and AddBlock
};

extern template class thr_ThreadSingletonBase<cls_UidCatalog>;
extern template class thr_ThreadSingleton<cls_UidCatalog>;
