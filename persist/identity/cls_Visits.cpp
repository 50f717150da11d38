#include "persist/identity/cls_Visits.h"

#include <algorithm>

void cls_Visits::Take(Block*& owner) {
  std::size_t const chunk = m_Count / BlocksInChunk;
  if (chunk == m_Chunks.size()) m_Chunks.push_back(std::make_unique<Chunk>());
  Block& block = (*m_Chunks[chunk])[m_Count % BlocksInChunk];
  if (m_Count < m_UsedCount)
    block.m_Visits.fill({}); // a new one is empty
  else
    m_UsedCount = m_Count + 1;
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
  m_UsedCount = std::min(m_UsedCount, m_Chunks.size() * BlocksInChunk);
}
