#include "platform/cow/cow_2DArray.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <random>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/cow/cow_String.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/CountedValue.h"
#include "tests/support/Seeds.h"

namespace {

using Table = cow_2DArray<CountedValue>;

/// Element (r, c) is 10 r + c.
Table NumberedTable(int rows, int columns) {
  Table table(rows, columns);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < columns; ++c) table.Get(r, c).m_Value = 10 * r + c;
  return table;
}

void ExpectNumbered(Table const& table, int rows, int columns) {
  ASSERT_EQ(table.Rows(), rows);
  ASSERT_EQ(table.Cols(), columns);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < columns; ++c) ASSERT_EQ(table.ConstGet(r, c).m_Value, 10 * r + c);
}

class cow_2DArrayTest : public testing::Test {
 protected:
  void SetUp() override { CountedValue::ResetCounts(); }
  void TearDown() override {
    CountedValue::ResetCounts();
    EXPECT_EQ(CountedValue::s_Alive, 0);
  }
};

TEST_F(cow_2DArrayTest, DefaultTableHasABlockWithoutElements) {
  cow_2DArray<int> const table;
  EXPECT_EQ(table.Rows(), 0);
  EXPECT_EQ(table.Cols(), 0);
  cow_2DArray<int> const other;
  EXPECT_FALSE(table.SharesStorageWith(other));
}

TEST_F(cow_2DArrayTest, TableWithoutRowsKeepsItsColumnsAndTheOtherWayRound) {
  cow_2DArray<int> const noRows(0, 5);
  EXPECT_EQ(noRows.Rows(), 0);
  EXPECT_EQ(noRows.Cols(), 5);
  cow_2DArray<int> const noColumns(7, 0);
  EXPECT_EQ(noColumns.Rows(), 7);
  EXPECT_EQ(noColumns.Cols(), 0);
}

TEST_F(cow_2DArrayTest, NewElementsAreValueInitialised) {
  cow_2DArray<double> const numbers(20, 30);
  cow_2DArray<cow_String> const texts(2, 3);
  for (int r = 0; r < 20; ++r)
    for (int c = 0; c < 30; ++c) ASSERT_EQ(numbers.ConstGet(r, c), 0.0);
  EXPECT_FALSE(texts.ConstGet(1, 2).HasText());
}

TEST_F(cow_2DArrayTest, ElementsAreContiguousRowAfterRow) {
  struct alignas(16) Wide {
    double m_Values[2] = {1, 2};
  };
  Table const table = NumberedTable(3, 4);
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 4; ++c) ASSERT_EQ(&table.ConstGet(r, c), table.ConstData() + (r * 4 + c));
  cow_2DArray<Wide> const wide(2, 2);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide.ConstData()) % 16, 0U);
  EXPECT_EQ(wide.ConstGet(1, 1).m_Values[1], 2);
  cow_2DArray<char> const chars(3, 3);
  EXPECT_EQ(&chars.ConstGet(2, 2), chars.ConstData() + 8);
}

TEST_F(cow_2DArrayTest, ShapeAndElementsAreOneAllocationBesideTheShareCount) {
  AllocationProbe const probe;
  cow_2DArray<double> const table(100, 50);
  EXPECT_EQ(probe.Count(), 2);
  EXPECT_EQ(probe.Bytes(), sizeof(cow_Counter) + 2 * sizeof(int) + 5000 * sizeof(double));
}

TEST_F(cow_2DArrayTest, RefusesANegativeShape) {
  EXPECT_THROW(cow_2DArray<int>(-1, 2), std::length_error);
  EXPECT_THROW(cow_2DArray<int>(2, -1), std::length_error);
  EXPECT_THROW(cow_2DArray<int>(-1, -1), std::length_error);
  EXPECT_THROW(cow_2DArray<int>(0, std::numeric_limits<int>::min()), std::length_error);
}

TEST_F(cow_2DArrayTest, RefusesAShapeWhoseSizeOverflows) {
  constexpr int Max = std::numeric_limits<int>::max();
  AllocationProbe const probe;
  EXPECT_THROW(cow_2DArray<double>(Max, Max), std::bad_alloc);
  EXPECT_EQ(probe.Count(), 0); // refused before memory is requested
}

TEST_F(cow_2DArrayTest, CopiesShareTheElementsWithoutCopying) {
  Table const table = NumberedTable(3, 4);
  AllocationProbe const probe;
  Table const copy(table);
  Table assigned;
  assigned = copy;
  EXPECT_TRUE(assigned.SharesStorageWith(table));
  EXPECT_EQ(assigned.ConstData(), table.ConstData());
  EXPECT_EQ(CountedValue::s_Copies, 0);
  EXPECT_EQ(probe.Count(), 2); // block and count of the table that was assigned to
}

TEST_F(cow_2DArrayTest, CopyingNeverFails) {
  static_assert(std::is_nothrow_copy_constructible_v<Table> && std::is_nothrow_copy_assignable_v<Table>);
  static_assert(std::is_nothrow_move_constructible_v<Table> && std::is_nothrow_move_assignable_v<Table>);
}

TEST_F(cow_2DArrayTest, ReadingASharingTableCopiesNothing) {
  Table const table = NumberedTable(3, 4);
  Table copy(table);
  ExpectNumbered(copy, 3, 4);
  EXPECT_TRUE(copy.SharesStorageWith(table));
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_2DArrayTest, FirstWriteOfASharingTableCopiesEachElementOnce) {
  Table const table = NumberedTable(3, 4);
  Table copy(table);
  copy.Get(1, 2).m_Value = -1;
  EXPECT_EQ(CountedValue::s_Copies, 12);
  copy.Get(2, 3).m_Value = -2;
  EXPECT_EQ(CountedValue::s_Copies, 12);
  EXPECT_FALSE(copy.SharesStorageWith(table));
  ExpectNumbered(table, 3, 4);
  EXPECT_EQ(copy.ConstGet(1, 2).m_Value, -1);
  EXPECT_EQ(copy.ConstGet(2, 2).m_Value, 22);
  EXPECT_EQ(copy.Rows(), 3);
  EXPECT_EQ(copy.Cols(), 4);
}

TEST_F(cow_2DArrayTest, WriteOfASoleOwnerCopiesNothing) {
  Table table = NumberedTable(3, 4);
  { Table const copy(table); }
  CountedValue const* const data = table.ConstData();
  table.Get(0, 0).m_Value = 7;
  EXPECT_EQ(table.ConstData(), data);
  EXPECT_EQ(data->m_Value, 7);
  EXPECT_EQ(CountedValue::s_Copies, 0);
}

TEST_F(cow_2DArrayTest, LastShareDestroysTheElements) {
  auto* const table = new Table(NumberedTable(3, 4));
  {
    Table const copy(*table);
    delete table;
    EXPECT_EQ(CountedValue::s_Alive, 12);
    ExpectNumbered(copy, 3, 4);
  }
  EXPECT_EQ(CountedValue::s_Alive, 0);
}

TEST_F(cow_2DArrayTest, AssignmentReplacesShapeAndElements) {
  Table table(5, 5);
  table = NumberedTable(3, 4);
  ExpectNumbered(table, 3, 4);
  EXPECT_EQ(CountedValue::s_Alive, 12);
}

TEST_F(cow_2DArrayTest, AssignmentToItselfKeepsTheElements) {
  Table table = NumberedTable(3, 4);
  Table const& same = table;
  table = same;
  ExpectNumbered(table, 3, 4);
}

TEST_F(cow_2DArrayTest, MovingKeepsTheSource) {
  Table table = NumberedTable(3, 4);
  Table const moved(std::move(table));
  ExpectNumbered(table, 3, 4); // NOLINT(bugprone-use-after-move): what moving leaves is what is tested
  EXPECT_TRUE(moved.SharesStorageWith(table));
}

TEST_F(cow_2DArrayTest, WriteThatFailsAtAnyCopyKeepsTheShare) {
  Table const table = NumberedTable(2, 3);
  Table copy(table);
  for (int step = 1; step <= 6; ++step) {
    CountedValue::ResetCounts();
    CountedValue::s_FailAtCopy = step;
    EXPECT_THROW((void)copy.Get(0, 0), std::runtime_error);
    EXPECT_TRUE(copy.SharesStorageWith(table));
    EXPECT_EQ(CountedValue::s_Alive, 6);
  }
  CountedValue::ResetCounts();
  ExpectNumbered(table, 2, 3);
  copy.Get(0, 0).m_Value = 9;
  EXPECT_FALSE(copy.SharesStorageWith(table));
}

TEST_F(cow_2DArrayTest, MissingMemoryKeepsTheShare) {
  Table const table = NumberedTable(2, 3);
  Table copy(table);
  for (int step : {1, 2}) { // the block, its count
    AllocationProbe probe;
    probe.FailAt(step);
    EXPECT_THROW((void)copy.Get(0, 0), std::bad_alloc);
    EXPECT_TRUE(copy.SharesStorageWith(table));
    EXPECT_EQ(CountedValue::s_Alive, 6);
  }
  ExpectNumbered(table, 2, 3);
}

TEST_F(cow_2DArrayTest, MissingMemoryMakesNoTable) {
  for (int step : {1, 2}) {
    AllocationProbe probe;
    probe.FailAt(step);
    EXPECT_THROW(Table(2, 3), std::bad_alloc);
  }
  EXPECT_EQ(CountedValue::s_Alive, 0);
}

class cow_2DArrayModel : public testing::TestWithParam<unsigned int> {};

// Random steps on tables that share their elements in many ways, each with a vector that shares nothing.
TEST_P(cow_2DArrayModel, TablesMatchVectors) {
  SCOPED_TRACE(testing::Message() << "seed " << GetParam());
  struct Model {
    int m_Rows = 0;
    int m_Columns = 0;
    std::vector<int> m_Elements;
  };
  std::mt19937 random(GetParam());
  auto const below = [&random](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  constexpr int Slots = 6;
  std::vector<cow_2DArray<int>> tables(Slots);
  std::vector<Model> models(Slots);
  for (int step = 0; step < 50'000; ++step) {
    auto const a = static_cast<std::size_t>(below(Slots));
    auto const b = static_cast<std::size_t>(below(Slots));
    int const choice = below(20);
    if (choice == 0) {
      int const rows = below(7);
      int const columns = below(7);
      tables[a] = cow_2DArray<int>(rows, columns);
      models[a] = {rows, columns, std::vector<int>(static_cast<std::size_t>(rows * columns))};
    } else if (choice < 4) {
      tables[a] = tables[b];
      models[a] = models[b];
    } else if (!models[a].m_Elements.empty()) {
      int const row = below(models[a].m_Rows);
      int const column = below(models[a].m_Columns);
      tables[a].Get(row, column) = step;
      models[a].m_Elements[static_cast<std::size_t>(row * models[a].m_Columns + column)] = step;
    }
    for (std::size_t i = 0; i < Slots; ++i) {
      ASSERT_EQ(tables[i].Rows(), models[i].m_Rows) << "step " << step;
      ASSERT_EQ(tables[i].Cols(), models[i].m_Columns) << "step " << step;
      ASSERT_EQ(std::vector<int>(tables[i].ConstData(), tables[i].ConstData() + models[i].m_Elements.size()),
                models[i].m_Elements)
          << "step " << step;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, cow_2DArrayModel, testing::ValuesIn(Seeds({1U, 77U, 20260101U})));

} // namespace
