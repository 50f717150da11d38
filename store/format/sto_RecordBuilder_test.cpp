#include "store/format/sto_RecordBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "store/base/sto_Exception.h"

namespace {

/// Writes an int field.
void Put(sto_RecordBuilder& builder, std::size_t part, sto_FieldKey const& key, std::int32_t value) {
  sto_ByteWriter writer(builder.StartField(part, key));
  writer.U8(sto_Format::Int32);
  writer.Number(value);
}

std::vector<std::int32_t> IntsOf(sto_Part const& part) {
  std::vector<std::int32_t> ints;
  for (sto_Field const& field : part.m_Fields)
    ints.push_back(sto_ByteReader(field.m_Payload).Number<std::int32_t>());
  return ints;
}

TEST(StoreRecordBuilder, BuiltRecordComesBackAsItWas) {
  sto_RecordBuilder builder;
  std::size_t const own = builder.AddPart(9, -4, 5);
  std::size_t const base = builder.AddPart(8, 3, 6);
  sto_ByteWriter(builder.StartField(base, {2, -1})).U8(sto_Format::NoText);
  sto_ByteWriter(builder.StartField(own, {0, -7})).U8(sto_Format::NoText);
  EXPECT_TRUE(builder.HasField(own, {0, -7}));
  EXPECT_FALSE(builder.HasField(own, {2, -1}));
  EXPECT_TRUE(builder.HasField(base, {2, 99})); // a name counts whatever the number
  sto_Record record;
  std::string problem = "none";
  ASSERT_TRUE(record.Decode(5, 9, builder.Finish(5), problem));
  EXPECT_TRUE(problem.empty());
  ASSERT_EQ(record.Parts().size(), 2U);
  EXPECT_EQ(record.Parts()[0].m_Version, -4);
  EXPECT_EQ(record.Parts()[0].m_Fields[0].m_Key.m_FieldId, -7);
  EXPECT_EQ(record.Parts()[1].m_Id, 6);
  EXPECT_FALSE(record.List().has_value());
  EXPECT_EQ(record.GreatestId(), 6);
}

TEST(StoreRecordBuilder, LaterValueReplacesAnEarlierOneOfItsKey) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  for (int key = 1; key <= 3; ++key) Put(builder, 0, {key, -1}, 10 * key);
  sto_ByteWriter(builder.StartField(0, {2, -1})).U8(sto_Format::NoText); // of another length
  Put(builder, 0, {1, -1}, 11);
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(record.Decode(5, 9, builder.Finish(5), problem)) << problem;
  std::span<sto_Field const> const fields = record.Parts()[0].m_Fields;
  ASSERT_EQ(fields.size(), 3U);
  EXPECT_EQ(fields[0].m_Key.m_NameId, 3);
  EXPECT_EQ(fields[1].m_Key.m_NameId, 2);
  EXPECT_EQ(fields[1].m_Tag, sto_Format::NoText);
  EXPECT_EQ(fields[2].m_Key.m_NameId, 1);
}

TEST(StoreRecordBuilder, ResetBuilderHasNothingOfTheObjectBefore) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  builder.AddPart(8, 1, 6);
  Put(builder, 0, {1, -1}, 7);
  builder.SetList({sto_Format::ElementInt, 1, 1, false, {}}, sto_Bytes(4));
  builder.Reset();
  builder.AddPart(9, 1, 5);
  Put(builder, 0, {2, -1}, 8);
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(record.Decode(5, 9, builder.Finish(5), problem)) << problem;
  ASSERT_EQ(record.Parts().size(), 1U);
  EXPECT_EQ(IntsOf(record.Parts()[0]), std::vector<std::int32_t>{8});
  EXPECT_FALSE(record.List().has_value());
}

TEST(StoreRecordBuilder, LaterContentReplacesAnEarlierOne) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  builder.SetList({sto_Format::ElementInt, 1, 1, false, {}}, sto_Bytes(4));
  sto_MapHeader map;
  map.m_IsTable = true;
  map.m_KeyType = sto_Format::KeyInt;
  map.m_ElementType = sto_Format::ElementInt;
  map.m_Count = 1;
  builder.SetMap(map, sto_Bytes(2));
  EXPECT_FALSE(builder.HasList());
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(record.Decode(5, 9, builder.Finish(5), problem)) << problem;
  EXPECT_FALSE(record.List().has_value());
  ASSERT_TRUE(record.Map().has_value());
  EXPECT_TRUE(builder.HasContentOf(record));
  builder.SetMap(map, {std::byte{0}, std::byte{2}});
  EXPECT_FALSE(builder.HasContentOf(record));
}

TEST(StoreRecordBuilder, CollectionCodeIsSetInItsFieldOnly) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  for (int key = 1; key <= 2; ++key) {
    sto_ByteWriter writer(builder.StartField(0, {key, -1}));
    writer.U8(sto_Format::Object);
    writer.Number(std::int64_t{6});
    writer.U8(0);
  }
  EXPECT_TRUE(builder.SetCollectionCode(0, {1, -1}, 54));
  EXPECT_FALSE(builder.SetCollectionCode(0, {3, -1}, 54));
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(record.Decode(5, 9, builder.Finish(5), problem)) << problem;
  EXPECT_EQ(record.Parts()[0].m_Fields[0].m_Payload.back(), std::byte{54});
  EXPECT_EQ(record.Parts()[0].m_Fields[1].m_Payload.back(), std::byte{0});
}

TEST(StoreRecordBuilder, TooManyPartsAreFullAndNameTheObject) {
  sto_RecordBuilder builder;
  for (std::size_t i = 0; i < sto_Format::MaxParts; ++i) builder.AddPart(9, 1, 5);
  try {
    builder.AddPart(9, 1, 5);
    FAIL() << "a part too many was taken";
  } catch (sto_Exception const& raised) {
    EXPECT_EQ(raised.Kind(), sto_ErrorKind::Full);
    EXPECT_NE(std::string(raised.what()).find("Object 5 "), std::string::npos) << raised.what();
  }
}

} // namespace
