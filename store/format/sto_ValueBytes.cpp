#include "store/format/sto_ValueBytes.h"

#include <algorithm>
#include <utility>

void sto_ValueBytes::Grow(std::size_t size) {
  constexpr std::size_t MinCapacity = 64;
  std::size_t const capacity = std::max({MinCapacity, 2 * m_Capacity, m_Size + size});
  std::unique_ptr<std::byte[]> grown(new std::byte[capacity]);
  if (m_Size > 0) std::memcpy(grown.get(), m_Data.get(), m_Size);
  m_Data = std::move(grown);
  m_Capacity = capacity;
}
