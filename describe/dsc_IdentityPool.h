#pragma once

#include <cstddef>

#include "persist/identity/thr_ThreadSingleton.h"
#include "platform/kvl_Export.h"

/// Memory for the few identities that one object has, of the calling thread. Blocks of up to MaxPooled words are
/// reused, the latest first, and come from the heap in chunks; larger ones are the heap's. Used by dsc_Identity.
/// Thread rule: one pool a thread; a block goes back on the thread that took it. The pool is destroyed at
/// destruct level 1, after the identities' own; blocks that are still in use then dangle, as identities do.
class KVL_EXPORT dsc_IdentityPool : public thr_ThreadSingleton<dsc_IdentityPool> {
 public:
  static constexpr int DestructLevel = 1;

  /// Memory for `words` pointers, with unspecified content. Throws std::bad_alloc; then nothing has changed.
  [[nodiscard]] static void* Take(std::size_t words);
  /// REQUIRES: `block` is from Take with the same number of words, and nothing in it lives.
  static void GiveBack(void* block, std::size_t words) noexcept;

 private:
  friend class thr_ThreadSingleton<dsc_IdentityPool>;
  friend class thr_ThreadSingletonBase<dsc_IdentityPool>;

  static constexpr std::size_t MaxPooled = 16;
  static constexpr std::size_t ChunkBlocks = 128;

  struct Free {
    Free* m_Next;
  };

  dsc_IdentityPool();
  ~dsc_IdentityPool();

  void AddChunk(std::size_t words);

  Free* m_Free[MaxPooled + 1] = {}; // by the number of words
  Free* m_Chunks = nullptr;         // each begins with the link to the chunk before
};

extern template class thr_ThreadSingletonBase<dsc_IdentityPool>;
extern template class thr_ThreadSingleton<dsc_IdentityPool>;
