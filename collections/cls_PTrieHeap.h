#pragma once

#include <cstdint>

#include "persist/identity/thr_ThreadSingleton.h"
#include "platform/kvl_Export.h"

/// The calling thread's pool of trie branches. Reached through
/// thr_ThreadSingleton<cls_PTrieHeap>::Instance().
///
/// Slots come in chunks of 32 and are reused last in, first out. Chunks are freed only with the pool, so a
/// trie must not outlive the thread that built it. All requests must be of one size: the request that makes a
/// chunk sets the size of its slots, and later requests are not checked. A slot may be freed in another
/// thread than the one that got it; it then belongs to that thread's pool.
class KVL_EXPORT cls_PTrieHeap : public thr_ThreadSingleton<cls_PTrieHeap> {
 public:
  static constexpr int DestructLevel = 5;
  static constexpr int SlotsInChunk = 32;

  /// A slot of `sizeBytes`; the size is used only when a chunk is made. Throws std::bad_alloc.
  [[nodiscard]] void* GetNode(std::uint64_t sizeBytes) {
    if (m_Chunks == nullptr || m_Free == nullptr) [[unlikely]]
      AddChunk(sizeBytes);
    Link* const slot = m_Free;
    m_Free = slot->m_Next;
    return slot;
  }

  /// Takes a slot back. REQUIRES: it came from GetNode, of any thread (not checked).
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

  Link* m_Chunks = nullptr; // all chunks, newest first; changed by AddChunk
  Link* m_Free = nullptr;   // the free slots, last freed first
};

extern template class thr_ThreadSingletonBase<cls_PTrieHeap>;
extern template class thr_ThreadSingleton<cls_PTrieHeap>;
