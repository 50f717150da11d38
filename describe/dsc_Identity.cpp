#include "describe/dsc_Identity.h"

#include <algorithm>

void dsc_Identity::MakeBlock(int collections) const {
  std::size_t const count = 1 + static_cast<std::size_t>(collections);
  auto* const block = static_cast<std::uintptr_t*>(dsc_IdentityPool::Take(1 + count));
  block[0] = count;
  block[1] = Word(); // the identity itself moves
  std::fill_n(block + 2, collections, std::uintptr_t{0});
  std::uintptr_t const word = reinterpret_cast<std::uintptr_t>(block) + BlockBit;
  std::memcpy(&m_Word, &word, sizeof(word));
}

void dsc_Identity::DropBlock() noexcept {
  std::uintptr_t* const block = Block();
  std::size_t const count = block[0];
  for (std::size_t i = 1; i <= count; ++i)
    if (WordAt(block + i) != 0) At(block + i).~cls_Uid();
  dsc_IdentityPool::GiveBack(block, 1 + count);
}
