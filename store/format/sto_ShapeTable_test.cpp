#include "store/format/sto_ShapeTable.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

/// Builds an object of a class with `fields` bool fields.
void Build(sto_RecordBuilder& builder, unsigned int classId, int fields, int version = 1) {
  builder.Reset();
  builder.AddPart(classId, version, 5);
  for (int i = 0; i < fields; ++i) sto_ValueWriter(builder.StartField(0, {0, i}, sto_Format::Bool)).U8(1);
}

/// What a table says when it is asked to add the shape of such an object.
sto_NumberedShape* Add(sto_ShapeTable& table, unsigned int classId, int fields, sto_Bytes& stored,
                       int version = 1) {
  sto_RecordBuilder builder;
  Build(builder, classId, fields, version);
  EXPECT_EQ(table.Find(builder), nullptr);
  return table.Add(builder, stored);
}

sto_NumberedShape* Find(sto_ShapeTable& table, unsigned int classId, int fields, int version = 1) {
  sto_RecordBuilder builder;
  Build(builder, classId, fields, version);
  return table.Find(builder);
}

TEST(StoreShapeTable, NumbersAreGivenFromOne) {
  sto_ShapeTable table;
  EXPECT_EQ(table.Find(0), nullptr);
  EXPECT_EQ(table.Find(1), nullptr);
  sto_Bytes stored;
  sto_NumberedShape* const first = Add(table, 9, 0, stored);
  sto_NumberedShape* const second = Add(table, 9, 1, stored);
  EXPECT_EQ(first->m_Number, 1);
  EXPECT_EQ(second->m_Number, 2);
  EXPECT_EQ(table.Find(1), first);
  EXPECT_EQ(table.Find(2), second);
  EXPECT_EQ(table.Find(0), nullptr);
  EXPECT_EQ(Find(table, 9, 0), first);
  EXPECT_EQ(Find(table, 9, 1), second);
  EXPECT_EQ(Find(table, 9, 2), nullptr);
  for (std::int64_t const number :
       {std::int64_t{-1}, std::int64_t{3}, std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::max()})
    EXPECT_EQ(table.Find(number), nullptr) << number;
}

TEST(StoreShapeTable, WhatIsStoredIsTakenByAnotherTable) {
  sto_ShapeTable written;
  sto_ShapeTable read;
  std::vector<sto_Bytes> rows(20);
  for (int i = 0; i < 20; ++i) ASSERT_NE(Add(written, 9, i, rows[static_cast<std::size_t>(i)]), nullptr);
  for (int i = 19; i >= 0; --i) // in any order
    ASSERT_TRUE(read.Take(i + 1, rows[static_cast<std::size_t>(i)])) << i;
  for (int i = 0; i < 20; ++i) {
    sto_NumberedShape* const found = Find(read, 9, i);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->m_Number, i + 1);
    EXPECT_EQ(found->m_Shape, written.Find(i + 1)->m_Shape);
    EXPECT_FALSE(found->m_IsChecked);
  }
  sto_Bytes more;
  EXPECT_EQ(Add(read, 9, 20, more)->m_Number, 21);
}

TEST(StoreShapeTable, StoredBytesAreTheEncodedShape) {
  sto_ShapeTable table;
  sto_Bytes stored(3, std::byte{1}); // is replaced
  ASSERT_NE(Add(table, 9, 1, stored), nullptr);
  sto_Bytes expected;
  for (int const byte : {1, 1, 9, 2, 1, 0, 0, 3, 0}) expected.push_back(static_cast<std::byte>(byte));
  EXPECT_EQ(stored, expected);
}

TEST(StoreShapeTable, EveryLengthButTheRightOneIsRefused) {
  sto_ShapeTable written;
  sto_Bytes stored;
  ASSERT_NE(Add(written, 9, 3, stored), nullptr);
  sto_ShapeTable table;
  for (std::size_t size = 0; size < stored.size(); ++size)
    ASSERT_FALSE(table.Take(1, sto_ByteView(stored).first(size))) << size;
  sto_Bytes longer = stored;
  longer.push_back(std::byte{0});
  EXPECT_FALSE(table.Take(1, longer));
  EXPECT_EQ(table.Find(1), nullptr);
  EXPECT_TRUE(table.Take(1, stored));
}

TEST(StoreShapeTable, NumbersThatNoShapeHasAreRefused) {
  sto_Bytes shape;
  for (int const byte : {1, 1, 9, 2, 0, 0}) shape.push_back(static_cast<std::byte>(byte));
  sto_ShapeTable table;
  for (std::int64_t const number :
       {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1} << 40, std::numeric_limits<std::int64_t>::max(),
        std::numeric_limits<std::int64_t>::min()})
    EXPECT_FALSE(table.Take(number, shape)) << number;
  EXPECT_TRUE(table.Take(1, shape)); // nothing else was wrong with it
}

TEST(StoreShapeTable, NumberOrShapeThatIsThereTwiceIsRefused) {
  sto_ShapeTable written;
  sto_Bytes first;
  sto_Bytes second;
  ASSERT_NE(Add(written, 9, 1, first), nullptr);
  ASSERT_NE(Add(written, 9, 2, second), nullptr);
  sto_ShapeTable table;
  ASSERT_TRUE(table.Take(1, first));
  EXPECT_FALSE(table.Take(1, first));
  EXPECT_FALSE(table.Take(2, first)); // the same shape under another number
  EXPECT_TRUE(table.Take(2, second));
}

TEST(StoreShapeTable, EachVersionOfAClassHasItsOwnLimit) {
  sto_ShapeTable table;
  sto_Bytes stored;
  for (int i = 0; i < sto_Format::MaxShapesOfClass; ++i) ASSERT_NE(Add(table, 9, i, stored), nullptr) << i;
  EXPECT_EQ(Add(table, 9, 64, stored), nullptr);
  EXPECT_EQ(Add(table, 9, 65, stored), nullptr);
  EXPECT_EQ(Find(table, 9, 63)->m_Number, 64);
  EXPECT_EQ(Add(table, 9, 64, stored, 2)->m_Number, 65); // another version
  EXPECT_EQ(Add(table, 8, 64, stored)->m_Number, 66);    // another class
}

TEST(StoreShapeTable, LimitCountsTheShapesThatWereTaken) {
  sto_ShapeTable written;
  sto_ShapeTable read;
  sto_Bytes stored;
  for (int i = 0; i < sto_Format::MaxShapesOfClass; ++i) {
    ASSERT_NE(Add(written, 9, i, stored), nullptr);
    ASSERT_TRUE(read.Take(i + 1, stored));
  }
  EXPECT_EQ(Add(read, 9, 64, stored), nullptr);
}

TEST(StoreShapeTable, ClearedTableStartsAgain) {
  sto_ShapeTable table;
  sto_Bytes stored;
  for (int i = 0; i < sto_Format::MaxShapesOfClass; ++i) ASSERT_NE(Add(table, 9, i, stored), nullptr);
  table.Clear();
  EXPECT_EQ(table.Find(1), nullptr);
  EXPECT_EQ(Find(table, 9, 3), nullptr);
  EXPECT_EQ(Add(table, 9, 64, stored)->m_Number, 1);
}

} // namespace
