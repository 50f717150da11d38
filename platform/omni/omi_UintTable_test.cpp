#include "platform/omni/omi_UintTable.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/omni/omi_UintTableIterator.h"
#include "tests/support/CountedValue.h"
#include "tests/support/Seeds.h"

namespace {

using IntTable = omi_UintTable<int const*>;
using TableWalk = omi_UintTableIterator<int const*>;
using Keys = std::vector<unsigned int>;

constexpr unsigned int BlockSize = omi_BlockedArray<int const*>::BlockSize;
int const s_Numbers[8] = {0, 1, 2, 3, 4, 5, 6, 7};

Keys KeysOf(TableWalk& walk) {
  Keys keys;
  for (walk.First(); !walk.IsDone(); walk.Next()) keys.push_back(walk.CurrentKey());
  return keys;
}
Keys KeysOf(IntTable const& table) {
  TableWalk walk(table);
  return KeysOf(walk);
}

/// Greatest number first, null values last, equal ones by key.
int ByNumberDescending(void const* a, void const* b) {
  auto const& x = *static_cast<TableWalk::Entry const*>(a);
  auto const& y = *static_cast<TableWalk::Entry const*>(b);
  int const numberOfX = x.m_Value == nullptr ? -1 : *x.m_Value;
  int const numberOfY = y.m_Value == nullptr ? -1 : *y.m_Value;
  if (numberOfX != numberOfY) return numberOfX > numberOfY ? -1 : 1;
  return (x.m_Key > y.m_Key) - (x.m_Key < y.m_Key);
}

int ByKeyDescending(void const* a, void const* b) {
  unsigned int const x = static_cast<TableWalk::Entry const*>(a)->m_Key;
  unsigned int const y = static_cast<TableWalk::Entry const*>(b)->m_Key;
  return (x < y) - (x > y);
}

TEST(omi_UintTableTest, EmptyTableHasNoMember) {
  IntTable table;
  EXPECT_EQ(table.Count(), 0U);
  EXPECT_EQ(table.ConstFind(0), nullptr);
  EXPECT_EQ(table.Find(0xFFFFFFFFU), nullptr);
  EXPECT_FALSE(table.IsMember(7));
  EXPECT_FALSE(table.Remove(7));
}

TEST(omi_UintTableTest, InsertedValueIsFoundOnlyUnderItsKey) {
  IntTable table;
  EXPECT_TRUE(table.Insert(5, &s_Numbers[5]));
  ASSERT_NE(table.ConstFind(5), nullptr);
  EXPECT_EQ(*table.ConstFind(5), &s_Numbers[5]);
  EXPECT_EQ(table.Count(), 1U);
  for (unsigned int const key : {4U, 6U, 5U + BlockSize, 0xFFFFFFFFU}) {
    EXPECT_EQ(table.ConstFind(key), nullptr) << key;
    EXPECT_FALSE(table.IsMember(key)) << key;
  }
}

TEST(omi_UintTableTest, InsertKeepsAnExistingEntry) {
  IntTable table;
  EXPECT_TRUE(table.Insert(5, &s_Numbers[1]));
  EXPECT_FALSE(table.Insert(5, &s_Numbers[2]));
  EXPECT_EQ(*table.ConstFind(5), &s_Numbers[1]);
  EXPECT_EQ(table.Count(), 1U);
}

TEST(omi_UintTableTest, NullPointerIsAValue) {
  IntTable table;
  EXPECT_TRUE(table.Insert(5, nullptr));
  EXPECT_TRUE(table.IsMember(5));
  ASSERT_NE(table.ConstFind(5), nullptr);
  EXPECT_EQ(*table.ConstFind(5), nullptr);
  EXPECT_FALSE(table.Insert(5, &s_Numbers[1]));
  EXPECT_EQ(KeysOf(table), Keys{5});
  EXPECT_TRUE(table.Remove(5));
  EXPECT_FALSE(table.IsMember(5));
}

TEST(omi_UintTableTest, FoundValueCanBeWritten) {
  IntTable table;
  table.Insert(5, &s_Numbers[1]);
  *table.Find(5) = &s_Numbers[2];
  EXPECT_EQ(*table.ConstFind(5), &s_Numbers[2]);
}

TEST(omi_UintTableTest, EntriesDoNotMoveWhileOthersAreAddedAndRemoved) {
  IntTable table;
  table.Insert(0x64000001U, &s_Numbers[1]);
  int const* const* const value = table.ConstFind(0x64000001U);
  for (unsigned int key = 0; key < 20 * BlockSize; key += BlockSize / 2) table.Insert(key, &s_Numbers[2]);
  for (unsigned int key = 0; key < 20 * BlockSize; key += BlockSize / 2) table.Remove(key);
  EXPECT_EQ(table.ConstFind(0x64000001U), value);
  EXPECT_EQ(*value, &s_Numbers[1]);
}

TEST(omi_UintTableTest, RemoveRemovesOneEntry) {
  IntTable table;
  table.Insert(5, &s_Numbers[1]);
  table.Insert(6, &s_Numbers[2]);
  EXPECT_TRUE(table.Remove(5));
  EXPECT_FALSE(table.Remove(5));
  EXPECT_EQ(table.Count(), 1U);
  EXPECT_EQ(table.ConstFind(5), nullptr);
  EXPECT_EQ(*table.ConstFind(6), &s_Numbers[2]);
}

TEST(omi_UintTableTest, ScatteredKeysCostOnlyTheirOwnBlocks) {
  IntTable table;
  Keys const keys{0, 1, BlockSize - 1, BlockSize, 0x64000001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};
  for (unsigned int const key : keys) EXPECT_TRUE(table.Insert(key, &s_Numbers[key % 8]));
  EXPECT_EQ(table.Blocks().BlockCount(), 6U);
  EXPECT_EQ(table.Count(), keys.size());
  for (unsigned int const key : keys) EXPECT_EQ(*table.ConstFind(key), &s_Numbers[key % 8]) << key;
}

TEST(omi_UintTableTest, BlockIsRemovedWithItsLastMember) {
  IntTable table;
  table.Insert(5, &s_Numbers[1]);
  table.Insert(6, &s_Numbers[1]);
  table.Insert(5 + BlockSize, nullptr);
  EXPECT_EQ(table.Blocks().BlockCount(), 2U);
  table.Remove(5 + BlockSize);
  EXPECT_EQ(table.Blocks().BlockCount(), 1U);
  table.Remove(5);
  EXPECT_EQ(table.Blocks().BlockCount(), 1U);
  table.Remove(6);
  EXPECT_EQ(table.Blocks().BlockCount(), 0U);
}

TEST(omi_UintTableTest, CopyAndOriginalChangeIndependently) {
  IntTable table;
  table.Insert(5, &s_Numbers[1]);
  table.Insert(0xFFFFFFFFU, nullptr);
  IntTable copy(table);
  *table.Find(5) = &s_Numbers[2];
  table.Remove(0xFFFFFFFFU);
  copy.Insert(7, &s_Numbers[3]);
  EXPECT_EQ(KeysOf(table), Keys{5});
  EXPECT_EQ(KeysOf(copy), (Keys{5, 7, 0xFFFFFFFFU}));
  EXPECT_EQ(*copy.ConstFind(5), &s_Numbers[1]);
  EXPECT_EQ(table.Count(), 1U);
  EXPECT_EQ(copy.Count(), 3U);
}

TEST(omi_UintTableTest, AssignmentReplacesTheEntries) {
  IntTable table;
  table.Insert(5, &s_Numbers[1]);
  IntTable other;
  other.Insert(0x64000001U, &s_Numbers[2]);
  other.Insert(9, &s_Numbers[2]);
  other = table;
  table.Remove(5);
  EXPECT_EQ(KeysOf(other), Keys{5});
  EXPECT_EQ(other.Count(), 1U);
  IntTable const& same = other;
  other = same;
  EXPECT_EQ(KeysOf(other), Keys{5});
}

TEST(omi_UintTableTest, MovingTakesTheEntriesAndLeavesAnEmptyTable) {
  omi_UintTable<std::shared_ptr<int>> table;
  table.Insert(5, std::make_shared<int>(1));
  omi_UintTable<std::shared_ptr<int>> moved(std::move(table));
  omi_UintTable<std::shared_ptr<int>> assigned;
  assigned.Insert(6, nullptr);
  assigned = std::move(moved);
  EXPECT_EQ(assigned.Count(), 1U);
  ASSERT_TRUE(assigned.IsMember(5));
  EXPECT_EQ(assigned.ConstFind(5)->use_count(), 1);
  EXPECT_FALSE(assigned.IsMember(6));
}

TEST(omi_UintTableTest, RemovalReleasesTheValue) {
  omi_UintTable<std::shared_ptr<int>> table;
  auto const value = std::make_shared<int>(1);
  table.Insert(5, value);
  table.Insert(6, value);
  EXPECT_EQ(value.use_count(), 3);
  table.Remove(5); // its block stays, because 6 is in it
  EXPECT_EQ(value.use_count(), 2);
  table.Remove(6);
  EXPECT_EQ(value.use_count(), 1);
}

TEST(omi_UintTableTest, InsertThatFailsAddsNoMember) {
  CountedValue::ResetCounts();
  omi_UintTable<CountedValue> table;
  table.Insert(5, CountedValue(50));
  for (unsigned int const key : {6U, 5 + BlockSize}) {
    CountedValue::s_FailAtCopy = CountedValue::s_Copies + 1;
    EXPECT_THROW(table.Insert(key, CountedValue(60)), std::runtime_error);
    EXPECT_EQ(table.Count(), 1U);
    EXPECT_FALSE(table.IsMember(key));
    EXPECT_EQ(table.ConstFind(key), nullptr);
    EXPECT_TRUE(table.Insert(key, CountedValue(70)));
    EXPECT_TRUE(table.Remove(key));
  }
  CountedValue::ResetCounts();
}

TEST(omi_UintTableIteratorTest, EmptyTableIsDoneAtOnce) {
  IntTable const table;
  TableWalk plain(table);
  EXPECT_TRUE(plain.IsDone());
  plain.First();
  EXPECT_TRUE(plain.IsDone());
  TableWalk sorted(table, &ByKeyDescending);
  EXPECT_TRUE(sorted.IsDone());
  sorted.First();
  EXPECT_TRUE(sorted.IsDone());
}

TEST(omi_UintTableIteratorTest, TableThatBecameEmptyIsDoneAtOnce) {
  IntTable table;
  table.Insert(5, &s_Numbers[1]);
  table.Remove(5);
  EXPECT_TRUE(TableWalk(table).IsDone());
  EXPECT_TRUE(TableWalk(table, &ByKeyDescending).IsDone());
}

TEST(omi_UintTableIteratorTest, WalksBlockByBlockUpwards) {
  IntTable table;
  Keys const keys{0, 1, BlockSize - 1, BlockSize, 0x64000001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};
  for (auto key = keys.rbegin(); key != keys.rend(); ++key) table.Insert(*key, &s_Numbers[*key % 8]);
  EXPECT_EQ(KeysOf(table), keys);
  for (TableWalk i(table); !i.IsDone(); i.Next()) EXPECT_EQ(i.CurrentValue(), &s_Numbers[i.CurrentKey() % 8]);
}

TEST(omi_UintTableIteratorTest, NextBlockMovesToTheFirstEntryOfTheNextBlock) {
  IntTable table;
  for (unsigned int const key :
       {3U, 4U, 9U, 5 * BlockSize + 7, 5 * BlockSize + 8, 6 * BlockSize, 0xFFFFFFFFU})
    table.Insert(key, nullptr);
  TableWalk walk(table);
  walk.Next();
  EXPECT_EQ(walk.CurrentKey(), 4U);
  Keys keys;
  for (walk.NextBlock(); !walk.IsDone(); walk.NextBlock()) keys.push_back(walk.CurrentKey());
  EXPECT_EQ(keys, (Keys{5 * BlockSize + 7, 6 * BlockSize, 0xFFFFFFFFU}));
}

TEST(omi_UintTableIteratorTest, NextBlockOfTheLastBlockIsDone) {
  IntTable table;
  table.Insert(3, nullptr);
  table.Insert(4, nullptr);
  TableWalk walk(table);
  walk.NextBlock();
  EXPECT_TRUE(walk.IsDone());
  walk.First();
  EXPECT_EQ(walk.CurrentKey(), 3U);
}

TEST(omi_UintTableIteratorTest, NextBlockFromTheLastEntryOfABlockSkipsNoBlock) {
  IntTable table;
  table.Insert(BlockSize - 1, nullptr);
  table.Insert(BlockSize, nullptr);
  table.Insert(2 * BlockSize, nullptr);
  TableWalk walk(table);
  walk.NextBlock();
  EXPECT_EQ(walk.CurrentKey(), BlockSize);
}

TEST(omi_UintTableIteratorTest, ComparisonDeterminesTheOrder) {
  IntTable table;
  table.Insert(1, &s_Numbers[3]);
  table.Insert(2, nullptr);
  table.Insert(0xFFFFFFFFU, &s_Numbers[7]);
  table.Insert(0x64000001U, &s_Numbers[3]);
  table.Insert(BlockSize, &s_Numbers[5]);
  TableWalk walk(table, &ByNumberDescending);
  EXPECT_EQ(KeysOf(walk), (Keys{0xFFFFFFFFU, BlockSize, 1, 0x64000001U, 2}));
  walk.First();
  EXPECT_EQ(walk.CurrentValue(), &s_Numbers[7]);
}

TEST(omi_UintTableIteratorTest, ComparisonCanReverseTheStorageOrder) {
  IntTable table;
  Keys expected;
  for (unsigned int key = 0; key < 3 * BlockSize; key += 3) {
    table.Insert(key, nullptr);
    expected.insert(expected.begin(), key);
  }
  TableWalk walk(table, &ByKeyDescending);
  EXPECT_EQ(KeysOf(walk), expected);
}

TEST(omi_UintTableIteratorTest, NextBlockEndsASortedWalk) {
  IntTable table;
  table.Insert(1, nullptr);
  table.Insert(1 + BlockSize, nullptr);
  TableWalk walk(table, &ByKeyDescending);
  EXPECT_FALSE(walk.IsDone());
  walk.NextBlock();
  EXPECT_TRUE(walk.IsDone());
  walk.First();
  EXPECT_EQ(walk.CurrentKey(), 1 + BlockSize);
}

TEST(omi_UintTableIteratorTest, FirstSortsAgain) {
  IntTable table;
  table.Insert(1, nullptr);
  TableWalk walk(table, &ByKeyDescending);
  walk.Next();
  EXPECT_TRUE(walk.IsDone());
  table.Insert(9, nullptr);
  EXPECT_EQ(KeysOf(walk), (Keys{9, 1}));
}

std::string Repeat(std::string const& text, unsigned int count) {
  std::string repeated;
  for (unsigned int i = 0; i < count; ++i) repeated += text;
  return repeated;
}

template <class Array> std::string DumpOf(Array const& array) {
  testing::internal::CaptureStdout();
  array.Dump();
  return testing::internal::GetCapturedStdout();
}

using Bytes = std::array<unsigned char, 8>;
std::string const ZeroLine = Repeat("0000000000000000|", 7) + "0000000000000000\n";

TEST(omi_BlockedArrayTest, DumpOfAnEmptyArrayWritesNothing) {
  EXPECT_EQ(DumpOf(omi_BlockedArray<Bytes>()), "");
}

TEST(omi_BlockedArrayTest, DumpWritesEightEntriesALineAndABlankLineAfterEachBlock) {
  omi_BlockedArray<Bytes> array;
  array.Get(0) = Bytes{0x00, 0x01, 0x0A, 0x10, 0x7F, 0x23, 0x45, 0x67};
  array.Get(7) = Bytes{0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11};
  array.Get(9) = Bytes{0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22, 0x22};
  array.Get(3 * 256 + 255) = Bytes{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(DumpOf(array), "Block indices= 0 - 255\n"
                           "00010a107f234567|" +
                               Repeat("0000000000000000|", 6) +
                               "1111111111111111\n"
                               "0000000000000000|2222222222222222|" +
                               Repeat("0000000000000000|", 5) + "0000000000000000\n" + Repeat(ZeroLine, 30) +
                               "\n"
                               "Block indices= 768 - 1023\n" +
                               Repeat(ZeroLine, 31) + Repeat("0000000000000000|", 7) +
                               "0102030405060708\n"
                               "\n");
}

TEST(omi_BlockedArrayTest, DumpExtendsTheSignOfEachByte) {
  omi_BlockedArray<Bytes> array;
  array.Get(1) = Bytes{0x80, 0x7F, 0xFF, 0xA5, 0x00, 0x00, 0x00, 0xC0};
  std::string const entry = "ffffff80"
                            "7f"
                            "ffffffff"
                            "ffffffa5"
                            "00"
                            "00"
                            "00"
                            "ffffffc0";
  EXPECT_EQ(DumpOf(array), "Block indices= 0 - 255\n0000000000000000|" + entry + "|" +
                               Repeat("0000000000000000|", 5) + "0000000000000000\n" + Repeat(ZeroLine, 31) +
                               "\n");
}

TEST(omi_BlockedArrayTest, DumpWritesIndicesAsSignedNumbersInBlockOrder) {
  omi_BlockedArray<Bytes> array;
  (void)array.Get(0xFFFFFFFFU);
  (void)array.Get(0x80000000U);
  (void)array.Get(0x64000001U);
  std::string const zeros = Repeat(ZeroLine, 32) + "\n";
  EXPECT_EQ(DumpOf(array), "Block indices= 1677721600 - 1677721855\n" + zeros +
                               "Block indices= -2147483648 - -2147483393\n" + zeros +
                               "Block indices= -256 - -1\n" + zeros);
}

TEST(omi_BlockedArrayTest, DumpOfATableWritesItsPointers) {
  IntTable table;
  table.Insert(256, &s_Numbers[3]);
  Bytes bytes;
  int const* const pointer = &s_Numbers[3];
  std::memcpy(bytes.data(), &pointer, sizeof pointer);
  omi_BlockedArray<Bytes> expected;
  expected.Get(256) = bytes;
  EXPECT_EQ(DumpOf(table.Blocks()), DumpOf(expected));
}

TEST(omi_BlockedArrayTest, NewBlockIsZero) {
  omi_BlockedArray<int> array;
  EXPECT_EQ(array.ConstFind(300), nullptr);
  array.Get(300) = 1;
  for (unsigned int index = 256; index < 512; ++index)
    EXPECT_EQ(*array.ConstFind(index), index == 300 ? 1 : 0) << index;
  EXPECT_EQ(array.ConstFind(255), nullptr);
  EXPECT_EQ(array.ConstFind(512), nullptr);
}

TEST(omi_BlockedArrayTest, RemovingABlockRemovesItsEntries) {
  omi_BlockedArray<int> array;
  array.Get(300) = 1;
  array.Get(600) = 2;
  array.RemoveBlock(256);
  array.RemoveBlock(0); // does not exist
  EXPECT_EQ(array.BlockCount(), 1U);
  EXPECT_EQ(array.ConstFind(300), nullptr);
  EXPECT_EQ(*array.Find(600), 2);
  EXPECT_EQ(array.Get(300), 0);
}

TEST(omi_BlockedArrayTest, CopyHasItsOwnEntries) {
  omi_BlockedArray<int> array;
  array.Get(300) = 1;
  omi_BlockedArray<int> copy(array);
  array.Get(300) = 2;
  EXPECT_EQ(copy.Get(300), 1);
}

class omi_UintTableModel : public testing::TestWithParam<unsigned int> {};

// A table mirrored in a std::map: growing and shrinking phases, keys close together at both ends of the range
// and in the middle, and copies taken now and then and compared later.
TEST_P(omi_UintTableModel, TableMatchesAMap) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  std::mt19937 random(GetParam());
  auto const below = [&random](unsigned int limit) { return static_cast<unsigned int>(random() % limit); };
  unsigned int const starts[] = {0, 0x64000000U, 0x7FFFFF00U, 0xFFFFFFFFU - 1999};
  omi_UintTable<int> table;
  std::map<unsigned int, int> model;
  omi_UintTable<int> copy;
  std::map<unsigned int, int> modelOfCopy;
  auto const compare = [](omi_UintTable<int> const& seen, std::map<unsigned int, int> const& expected) {
    std::map<unsigned int, int> entries;
    for (omi_UintTableIterator<int> i(seen); !i.IsDone(); i.Next())
      entries.emplace_hint(entries.end(), i.CurrentKey(), i.CurrentValue());
    return seen.Count() == expected.size() && entries == expected;
  };
  for (int step = 0; step < 1'000'000 / SweepStride; ++step) {
    bool const grows = step / 50'000 % 2 == 0;
    unsigned int const key = starts[below(4)] + below(2000);
    unsigned int const choice = below(10);
    if (choice < 2) {
      int const* const value = table.ConstFind(key);
      auto const expected = model.find(key);
      ASSERT_EQ(value != nullptr, expected != model.end()) << "step " << step;
      if (value != nullptr) {
        ASSERT_EQ(*value, expected->second) << "step " << step;
      }
    } else if ((choice < 8) == grows) {
      ASSERT_EQ(table.Insert(key, step), model.emplace(key, step).second) << "step " << step;
    } else {
      ASSERT_EQ(table.Remove(key), model.erase(key) > 0) << "step " << step;
    }
    if (step % 5'000 != 0) continue;
    ASSERT_TRUE(compare(table, model)) << "step " << step;
    ASSERT_TRUE(compare(copy, modelOfCopy)) << "step " << step;
    copy = table;
    modelOfCopy = model;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, omi_UintTableModel, testing::ValuesIn(Seeds({1U, 20260101U})));

} // namespace
