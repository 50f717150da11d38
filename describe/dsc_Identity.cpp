#include "describe/dsc_Identity.h"

#include <memory>
#include <utility>

void dsc_Identity::MakeBlock(int collections) const {
  std::size_t const count = 1 + static_cast<std::size_t>(collections);
  cls_Uid own = Word() == 0 ? cls_Uid() : Single();
  auto* const block = static_cast<std::size_t*>(dsc_IdentityPool::Take(1 + count));
  auto* const uids = reinterpret_cast<cls_Uid*>(block + 1);
  std::size_t made = 0;
  try {
    for (; made + 1 < count; ++made) new (uids + 1 + made) cls_Uid();
  } catch (...) {
    std::destroy_n(uids + 1, made);
    dsc_IdentityPool::GiveBack(block, 1 + count);
    throw;
  }
  new (block) std::size_t(count);
  new (uids) cls_Uid(own);
  if (Word() != 0) Single().~cls_Uid();
  std::uintptr_t const word = reinterpret_cast<std::uintptr_t>(block) + BlockBit;
  std::memcpy(&m_Word, &word, sizeof(word));
}

void dsc_Identity::DropBlock() noexcept {
  std::size_t* const block = Block();
  std::size_t const count = *block;
  std::destroy_n(reinterpret_cast<cls_Uid*>(block + 1), count);
  dsc_IdentityPool::GiveBack(block, 1 + count);
}
