#pragma once

#include <cstdint>
#include <new>

#include "persist/identity/thr_ThreadSingleton.h"
#include "platform/kvl_Export.h"

/// The calling thread's pool of trie branches. Reached through
/// thr_ThreadSingleton<cls_PTrieHeap>::Instance().
///
/// Slots come in chunks of 32 and go round last-in, first-out; chunks are released with the pool only, so a
/// trie must not outlive the thread that built it. All requests must be of one size: the pool takes its
/// slots' size from whichever request makes a chunk and never checks. A slot may be freed in another thread
/// than the one that got it, and then belongs to that thread's pool.
class KVL_EXPORT cls_PTrieHeap : public thr_ThreadSingleton<cls_PTrieHeap> {
 public:
  static constexpr int DestructLevel = 5;
  static constexpr int SlotsInChunk = 32;

  /// A slot of `sizeBytes`, which is only looked at when a chunk is made. Throws std::bad_alloc.
  [[nodiscard]] void* GetNode(std::uint64_t sizeBytes) {
    if (m_Chunks == nullptr || m_Free == nullptr) [[unlikely]]
      AddChunk(sizeBytes);
    Link* const slot = m_Free;
    m_Free = slot->m_Next;
    return slot;
  }

  /// Takes a slot back. No check of any kind.
  void FreeNode(void* node) noexcept { m_Free = new (node) Link{m_Free}; }

 private:
  friend class thr_ThreadSingleton<cls_PTrieHeap>;
  friend class thr_ThreadSingletonBase<cls_PTrieHeap>;

  struct Link {
    Link* m_Next;
  };

  cls_PTrieHeap() { SetDestructLevel(); }
  ~cls_PTrieHeap();
  void AddChunk(std::uint64_t sizeBytes);

  Link* m_Chunks = nullptr;
  Link* m_Free = nullptr;
};

extern template class thr_ThreadSingletonBase<cls_PTrieHeap>;
extern template class thr_ThreadSingleton<cls_PTrieHeap>;
