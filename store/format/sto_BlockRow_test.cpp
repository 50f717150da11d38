#include "store/format/sto_BlockRow.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

sto_Bytes BlockOf(std::size_t size, int value) {
  return sto_Bytes(size, static_cast<std::byte>(value));
}

void ExpectEqual(sto_ByteView view, sto_Bytes const& bytes) {
  EXPECT_TRUE(std::ranges::equal(view, bytes));
}

TEST(StoreBlockRow, KeysOfARowAndTheirSlots) {
  EXPECT_EQ(sto_BlockRow::RowOf(16), 16);
  EXPECT_EQ(sto_BlockRow::RowOf(19), 16);
  EXPECT_EQ(sto_BlockRow::RowOf(24), 24);
  EXPECT_EQ(sto_BlockRow::SlotOf(16), 0);
  EXPECT_EQ(sto_BlockRow::SlotOf(19), 3);
}

TEST(StoreBlockRow, IsStoredAsEndsAndBlocks) {
  sto_BlockRow row;
  row.Put(0, BlockOf(2, 0xAA));
  row.Put(2, BlockOf(1, 0xBB));
  unsigned char const expected[] = {2, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 3, 0, 0, 0, 0xAA, 0xAA, 0xBB};
  EXPECT_TRUE(std::ranges::equal(row.Stored(), std::as_bytes(std::span(expected))));
}

TEST(StoreBlockRow, MatchesAMapThroughManyChanges) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    sto_BlockRow row;
    std::map<int, sto_Bytes> model;
    for (int step = 0; step < 200; ++step) {
      int const slot = static_cast<int>(random() % sto_BlockRow::Blocks);
      model[slot] = BlockOf(random() % 40, static_cast<int>(random() % 256));
      row.Put(slot, model[slot]);
      sto_BlockRow const again(row.Stored());
      for (int each = 0; each < sto_BlockRow::Blocks; ++each) {
        ExpectEqual(row.Find(each), model[each]);
        ExpectEqual(again.Find(each), model[each]);
      }
    }
  }
}

TEST(StoreBlockRow, WithoutBlocksIsEmpty) {
  sto_BlockRow row;
  EXPECT_TRUE(row.IsEmpty());
  row.Put(3, BlockOf(5, 1));
  EXPECT_FALSE(row.IsEmpty());
  row.Put(3, {});
  EXPECT_TRUE(row.IsEmpty());
  row.Put(1, BlockOf(5, 1));
  row.Clear();
  EXPECT_TRUE(row.IsEmpty());
  EXPECT_TRUE(row.Find(1).empty());
}

TEST(StoreBlockRow, ImpossibleEndsHideOnlyTheirOwnBlocks) {
  sto_BlockRow row;
  for (int slot = 0; slot < sto_BlockRow::Blocks; ++slot) row.Put(slot, BlockOf(4, slot + 1));
  sto_ByteView const view = row.Stored();
  sto_Bytes const whole(view.begin(), view.end());
  for (int slot = 0; slot < sto_BlockRow::Blocks; ++slot) {
    sto_Bytes damaged = whole;
    damaged[static_cast<std::size_t>(4 * slot + 3)] = std::byte{0x7F}; // far behind the end of the row
    sto_BlockRow const read(damaged);
    EXPECT_TRUE(read.Find(slot).empty());
    for (int before = 0; before < slot; ++before) ExpectEqual(read.Find(before), BlockOf(4, before + 1));
  }
}

TEST(StoreBlockRow, CutRowHasTheBlocksThatAreWhole) {
  sto_BlockRow row;
  for (int slot = 0; slot < 3; ++slot) row.Put(slot, BlockOf(10, slot));
  sto_ByteView const view = row.Stored();
  for (std::size_t size = 0; size < view.size(); ++size) {
    sto_Bytes const cut(view.begin(), view.begin() + static_cast<std::ptrdiff_t>(size));
    sto_BlockRow const read(cut);
    for (int slot = 0; slot < 3; ++slot) {
      bool const isWhole = size >= sto_BlockRow::DirectoryBytes + 10 * static_cast<std::size_t>(slot + 1);
      EXPECT_EQ(read.Find(slot).size(), isWhole ? 10U : 0U) << size;
    }
  }
}

} // namespace
