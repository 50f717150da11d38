#include "describe/dsc_IdentityPool.h"

#include <new>
#include <utility>

template class thr_ThreadSingletonBase<dsc_IdentityPool>;
template class thr_ThreadSingleton<dsc_IdentityPool>;

namespace {

/// The thread's pool, beside the singleton's slot: objects with collections look for it each time they are made.
constinit thread_local dsc_IdentityPool* t_Pool KVL_TLS_INITIAL_EXEC = nullptr;

} // namespace

dsc_IdentityPool::dsc_IdentityPool() {
  t_Pool = this;
  SetDestructLevel();
}

dsc_IdentityPool::~dsc_IdentityPool() {
  t_Pool = nullptr;
  while (m_Chunks != nullptr) ::operator delete(std::exchange(m_Chunks, m_Chunks->m_Next));
}

void* dsc_IdentityPool::Take(std::size_t words) {
  if (words > MaxPooled) return ::operator new(words * sizeof(void*));
  dsc_IdentityPool& pool = t_Pool != nullptr ? *t_Pool : Instance();
  if (pool.m_Free[words] == nullptr) pool.AddChunk(words);
  return std::exchange(pool.m_Free[words], pool.m_Free[words]->m_Next);
}

void dsc_IdentityPool::GiveBack(void* block, std::size_t words) noexcept {
  if (words > MaxPooled) return ::operator delete(block);
  if (t_Pool == nullptr) return; // the pool has ended, and the block with it
  t_Pool->m_Free[words] = new (block) Free{t_Pool->m_Free[words]};
}

void dsc_IdentityPool::AddChunk(std::size_t words) {
  std::size_t const bytes = words * sizeof(void*);
  auto* const memory = static_cast<std::byte*>(::operator new(sizeof(Free) + ChunkBlocks * bytes));
  m_Chunks = new (memory) Free{m_Chunks};
  for (std::size_t i = ChunkBlocks; i > 0; --i)
    m_Free[words] = new (memory + sizeof(Free) + (i - 1) * bytes) Free{m_Free[words]};
}
