#include "persist/identity/cls_Visits.h"

#include <algorithm>

void cls_Visits::Take(Block*& owner) {
  std::size_t const chunk = m_Count / BlocksInChunk;
  if (chunk == m_Chunks.size()) m_Chunks.push_back(std::make_unique<Chunk>());
  Block& block = (*m_Chunks[chunk])[m_Count % BlocksInChunk];
  block.m_Visits.fill({});
  block.m_Owner = &owner;
  owner = &block;
  ++m_Count;
}

void cls_Visits::Reset() noexcept {
  constexpr std::size_t SpareChunks = 2;
  for (std::size_t i = 0; i < m_Count; ++i) {
    Block& block = (*m_Chunks[i / BlocksInChunk])[i % BlocksInChunk];
    if (block.m_Owner != nullptr) *block.m_Owner = nullptr;
    block.m_Owner = nullptr;
  }
  m_Count = 0;
  if (m_Chunks.size() > SpareChunks) m_Chunks.resize(SpareChunks);
}
