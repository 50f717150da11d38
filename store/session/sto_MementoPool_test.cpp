#include "store/session/sto_MementoPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

namespace {

TEST(StoreMementoPool, MemoryThatWasTakenBackIsGivenAgain) {
  sto_MementoPool::Owner const owner;
  sto_MementoPool& pool = owner.Pool();
  void* const first = pool.Give(40);
  void* const second = pool.Give(sto_MementoPool::PieceBytes);
  EXPECT_NE(first, second);
  std::memset(first, 1, sto_MementoPool::PieceBytes); // a piece has room for the largest
  pool.TakeBack(first, 40);
  EXPECT_EQ(pool.Give(sto_MementoPool::PieceBytes), first);
  pool.TakeBack(second, sto_MementoPool::PieceBytes);
  pool.TakeBack(first, sto_MementoPool::PieceBytes);
}

TEST(StoreMementoPool, MementoThatIsTooLargeHasMemoryOfItsOwn) {
  sto_MementoPool::Owner const owner;
  sto_MementoPool& pool = owner.Pool();
  constexpr std::size_t Size = sto_MementoPool::PieceBytes + 1;
  void* const large = pool.Give(Size);
  std::memset(large, 1, Size);
  void* const piece = pool.Give(1);
  pool.TakeBack(piece, 1);
  pool.TakeBack(large, Size);
  EXPECT_EQ(pool.Give(1), piece); // and not the larger one, which was freed
  pool.TakeBack(piece, 1);
}

TEST(StoreMementoPool, LastMementoFreesThePoolOfAnOwnerThatIsGone) {
  auto owner = std::make_optional<sto_MementoPool::Owner>();
  sto_MementoPool& pool = owner->Pool();
  void* const first = pool.Give(8);
  void* const second = pool.Give(8);
  void* const spare = pool.Give(8);
  pool.TakeBack(spare, 8);
  owner.reset();
  std::memset(first, 1, 8);
  pool.TakeBack(first, 8);
  std::memset(second, 1, 8);
  pool.TakeBack(second, 8); // the address build notices what is left, or used after it was freed
}

} // namespace
