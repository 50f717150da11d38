#include "store/format/sto_BlockLayout.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

constexpr int MaxInt = std::numeric_limits<int>::max();

/// Small blocks, so that every case can be counted by hand.
using Threes = sto_BlockLayout<int, 3>;

/// The blocks of so many items, as putting one item after the other fills them.
std::vector<int> Filled(int count) {
  std::vector<int> blocks;
  for (int item = 0; item < count; ++item) {
    if (blocks.empty() || blocks.back() == 3) blocks.push_back(0);
    ++blocks.back();
  }
  return blocks;
}

TEST(StoreBlockLayout, BlocksAreFilledOneAfterTheOther) {
  for (int count = 0; count < 20; ++count) {
    SCOPED_TRACE(count);
    std::vector<int> const filled = Filled(count);
    Threes const layout(count);
    ASSERT_EQ(layout.BlockCount(), static_cast<int>(filled.size()));
    for (int block = 0; block < layout.BlockCount(); ++block)
      EXPECT_EQ(layout.CountIn(block), filled[static_cast<std::size_t>(block)]);
    EXPECT_EQ(layout.CountIn(layout.BlockCount()), 0);
    EXPECT_EQ(layout.CountIn(layout.BlockCount() + 5), 0);
  }
}

TEST(StoreBlockLayout, ItemIsInItsBlockAtItsOffset) {
  int block = 0;
  int offset = 0;
  for (int item = 0; item < 20; ++item) {
    EXPECT_EQ(Threes::BlockOf(item), block);
    EXPECT_EQ(Threes::OffsetOf(item), offset);
    EXPECT_EQ(Threes::FirstOf(block) + offset, item);
    if (++offset < 3) continue;
    offset = 0;
    ++block;
  }
}

TEST(StoreBlockLayout, PiecesOfARunFollowEachOther) {
  for (int first = 0; first < 7; ++first)
    for (int count = 1; count < 12; ++count) {
      SCOPED_TRACE(std::to_string(first) + " " + std::to_string(count));
      for (int done = 0; done < count;) {
        Threes::Piece const piece = Threes::FirstPiece(first + done, count - done);
        EXPECT_EQ(Threes::FirstOf(piece.m_Block) + piece.m_Offset, first + done);
        ASSERT_GT(piece.m_Count, 0);
        EXPECT_LE(piece.m_Offset + piece.m_Count, 3);
        done += piece.m_Count;
        EXPECT_LE(done, count);
        // Only the end of the run, or of the block, ends a piece.
        EXPECT_TRUE(done == count || piece.m_Offset + piece.m_Count == 3);
      }
    }
}

TEST(StoreBlockLayout, RunWithoutItemsHasAnEmptyPiece) {
  EXPECT_EQ(Threes::FirstPiece(4, 0).m_Count, 0);
  EXPECT_EQ(Threes::FirstPiece(4, 0).m_Block, 1);
}

TEST(StoreBlockLayout, LongestListOverflowsNothing) {
  sto_ListLayout const layout(MaxInt);
  int const last = layout.BlockCount() - 1;
  EXPECT_EQ(last, (1 << sto_Format::BlockIndexBits) - 1);
  EXPECT_EQ(sto_ListLayout::BlockOf(MaxInt - 1), last);
  EXPECT_EQ(layout.CountIn(last), sto_Format::BlockElementCount - 1);
  EXPECT_EQ(layout.CountIn(last + 1), 0);
  EXPECT_EQ(layout.CountIn(MaxInt), 0);
  EXPECT_EQ(sto_ListLayout::FirstOf(last), MaxInt - sto_Format::BlockElementCount + 1);
}

TEST(StoreBlockLayout, GreatestBlobFillsEveryBlock) {
  std::int64_t const greatest = sto_BlobLayout::MaxCount;
  EXPECT_EQ(greatest, 17'179'869'184);
  sto_BlobLayout const layout(greatest);
  EXPECT_EQ(layout.BlockCount(), 1 << sto_Format::BlockIndexBits);
  EXPECT_EQ(layout.CountIn(layout.BlockCount() - 1), sto_Format::BlobBlockBytes);
  EXPECT_EQ(sto_BlobLayout::BlockOf(greatest - 1), layout.BlockCount() - 1);
  EXPECT_EQ(sto_BlobLayout(greatest - 1).CountIn(layout.BlockCount() - 1), sto_Format::BlobBlockBytes - 1);
}

TEST(StoreBlockLayout, BlocksOfListsAndBlobsHaveTheSizesOfTheStoredForm) {
  EXPECT_EQ(sto_ListLayout::BlockSize, 2048);
  EXPECT_EQ(sto_BlobLayout::BlockSize, 16384);
  EXPECT_EQ(sto_ListLayout(2048).BlockCount(), 1);
  EXPECT_EQ(sto_ListLayout(2049).BlockCount(), 2);
  EXPECT_EQ(sto_ListLayout(2049).CountIn(1), 1);
}

} // namespace
