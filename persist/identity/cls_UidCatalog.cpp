#include "persist/identity/cls_UidCatalog.h"

#include <memory>
#include <new>

#include "platform/mem/mem_Memory.h"

template class thr_ThreadSingletonBase<cls_UidCatalog>;
template class thr_ThreadSingleton<cls_UidCatalog>;

constinit thread_local cls_UidCatalog* cls_UidCatalog::t_Current = nullptr;

cls_UidCatalog::cls_UidCatalog() {
  t_Current = this;
  SetDestructLevel();
}

cls_UidCatalog::~cls_UidCatalog() {
  t_Current = nullptr;
  // Free the oldest block first. The chain is reversed in place: recursion would need one stack frame per
  // block.
  cls_UidCatalogBlock* oldest = nullptr;
  while (m_Newest != nullptr) {
    cls_UidCatalogBlock* const block = m_Newest;
    m_Newest = block->m_Previous;
    block->m_Previous = oldest;
    oldest = block;
  }
  while (oldest != nullptr) {
    cls_UidCatalogBlock* const block = oldest;
    oldest = block->m_Previous;
    std::destroy_at(block);
    mem_Free(block);
  }
}

int cls_UidCatalog::BlockCount() const noexcept {
  int count = 0;
  for (cls_UidCatalogBlock const* block = m_Newest; block != nullptr; block = block->m_Previous) ++count;
  return count;
}

void cls_UidCatalog::AddBlock() {
  void* const memory = mem_Malloc(sizeof(cls_UidCatalogBlock));
  auto* const block = new (memory) cls_UidCatalogBlock{m_Newest, {}};
  for (int i = 0; i + 1 < cls_UidCatalogBlock::EntryCount; ++i)
    block->m_Entries[i].m_NextFree = &block->m_Entries[i + 1];
  m_Newest = block;
  m_FreeHead = &block->m_Entries[0];
}

cls_UidCatalogEntry* cls_UidCatalog::TakeFromNewBlock() {
  cls_UidCatalog& catalog = Instance();
  if (catalog.m_FreeHead == nullptr) catalog.AddBlock();
  return catalog.Pop();
}

void cls_UidCatalog::RecycleWithHistory(cls_UidCatalogEntry* entry) noexcept {
  // This ends because every history entry unlinks itself in its destructor (cls_HistoryEntry, invariant 2).
  while (entry->m_History.Next() != &entry->m_History) delete entry->m_History.Next();
  Instance().Push(entry);
}
