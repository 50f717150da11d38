#include "collections/cls_PTrieHeap.h"

#include <cstddef>
#include <new>

#include "collections/cls_PTrie.h"

template class thr_ThreadSingletonBase<cls_PTrieHeap>;
template class thr_ThreadSingleton<cls_PTrieHeap>;

template class cls_PTrieNode<int, cls_Uid, 1>;
template class cls_PTrieInternalNode<int, cls_Uid, 1>;
template class cls_PTrieLeafNode<int, cls_Uid, 1>;
template class cls_PTrie<int, cls_Uid, 1>;
template class cls_PTrieIter<int, cls_Uid, 1>;

cls_PTrieHeap::~cls_PTrieHeap() {
  while (m_Chunks != nullptr) {
    Link* const chunk = m_Chunks;
    m_Chunks = chunk->m_Next;
    ::operator delete(chunk);
  }
}

void cls_PTrieHeap::AddChunk(std::uint64_t sizeBytes) {
  auto* const memory = static_cast<std::byte*>(::operator new(sizeof(Link) + SlotsInChunk * sizeBytes));
  m_Chunks = new (memory) Link{m_Chunks};
  // In address order, so that the highest slot is handed out first.
  for (int i = 0; i < SlotsInChunk; ++i)
    FreeNode(memory + sizeof(Link) + static_cast<std::uint64_t>(i) * sizeBytes);
}
