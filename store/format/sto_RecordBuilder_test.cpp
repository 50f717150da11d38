#include "store/format/sto_RecordBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "store/base/sto_Exception.h"

namespace {

/// Writes an int field.
void Put(sto_RecordBuilder& builder, std::size_t part, sto_FieldKey const& key, std::int32_t value) {
  sto_ValueWriter(builder.StartField(part, key, sto_Format::Int32)).Number(value);
}

/// Decodes what a builder has built, as object 5.
bool Decode(sto_Record& record, sto_RecordBuilder& builder, std::string& problem) {
  record.Stored() = {sto_Format::OwnShape, 0, true, builder.ValuesWithShape()};
  if (!record.Decode(5, nullptr, problem)) return false;
  // The same with the shape beside it.
  sto_Shape const shape = builder.Shape();
  EXPECT_TRUE(builder.HasShape(shape));
  record.Stored() = {1, 0, true, builder.Values()};
  static sto_Shape kept; // outlives the record
  kept = shape;
  return record.Decode(5, &kept, problem);
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
  builder.AddText(base, {2, -1}, std::nullopt);
  builder.AddText(own, {0, -7}, std::nullopt);
  EXPECT_TRUE(builder.HasField(own, {0, -7}));
  EXPECT_FALSE(builder.HasField(own, {2, -1}));
  EXPECT_TRUE(builder.HasField(base, {2, 99})); // a name counts whatever the number
  sto_Record record;
  std::string problem = "none";
  ASSERT_TRUE(Decode(record, builder, problem));
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
  builder.AddText(0, {2, -1}, std::nullopt); // of another length
  Put(builder, 0, {1, -1}, 11);
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, builder, problem)) << problem;
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
  builder.SetList({sto_Format::ElementInt, 1, 1, false, false, {}}, sto_Bytes(4));
  builder.Reset();
  builder.AddPart(9, 1, 5);
  Put(builder, 0, {2, -1}, 8);
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, builder, problem)) << problem;
  ASSERT_EQ(record.Parts().size(), 1U);
  EXPECT_EQ(IntsOf(record.Parts()[0]), std::vector<std::int32_t>{8});
  EXPECT_FALSE(record.List().has_value());
}

TEST(StoreRecordBuilder, LaterContentReplacesAnEarlierOne) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  builder.SetList({sto_Format::ElementInt, 1, 1, false, false, {}}, sto_Bytes(4));
  sto_MapHeader map;
  map.m_IsTable = true;
  map.m_KeyType = sto_Format::KeyInt;
  map.m_ElementType = sto_Format::ElementInt;
  map.m_Count = 1;
  builder.SetMap(map, sto_Bytes(2));
  EXPECT_FALSE(builder.HasList());
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, builder, problem)) << problem;
  EXPECT_FALSE(record.List().has_value());
  ASSERT_TRUE(record.Map().has_value());
  EXPECT_TRUE(builder.HasContentOf(record));
  builder.SetMap(map, {std::byte{0}, std::byte{2}});
  EXPECT_FALSE(builder.HasContentOf(record));
}

TEST(StoreRecordBuilder, CollectionCodeIsSetInItsFieldOnly) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  for (int key = 1; key <= 2; ++key) builder.AddObject(0, {key, -1}, sto_Format::Object, 6);
  EXPECT_TRUE(builder.SetCollectionCode(0, {1, -1}, 54));
  EXPECT_FALSE(builder.SetCollectionCode(0, {3, -1}, 54));
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, builder, problem)) << problem;
  EXPECT_EQ(record.Parts()[0].m_Fields[0].m_Code, 54);
  EXPECT_EQ(record.Parts()[0].m_Fields[1].m_Code, 0);
}

TEST(StoreRecordBuilder, ValuesAreThoseOfTheShape) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  builder.AddPart(8, 2, 6);
  builder.AddObject(0, {1, -1}, sto_Format::Reference, 5); // the object itself
  builder.AddText(1, {2, -1}, sto_AsBytes("M8"));
  builder.AddBytes(0, {3, -1}, sto_Bytes(2, std::byte{7}));
  sto_Bytes const values = builder.Values();
  auto const bytes = [](std::initializer_list<int> numbers) {
    sto_Bytes made;
    for (int const number : numbers) made.push_back(static_cast<std::byte>(number));
    return made;
  };
  EXPECT_EQ(values, bytes({0, 2, 7, 7, 3, 'M', '8'})); // part by part
  sto_Bytes shape;
  builder.Shape().Encode(shape);
  EXPECT_EQ(shape, bytes({1, 2, 9, 2, 2, 1, 14, 3, 16, 8, 4, 1, 2, 2, 0}));
  shape.insert(shape.end(), values.begin(), values.end());
  EXPECT_EQ(builder.ValuesWithShape(), shape);
}

TEST(StoreRecordBuilder, EveryDifferenceMakesAnotherShape) {
  auto const build = [](sto_RecordBuilder& builder, int variant) {
    builder.Reset();
    builder.AddPart(variant == 1 ? 10 : 9, variant == 2 ? 2 : 1, 5);
    builder.AddPart(8, 1, variant == 3 ? 7 : 6);
    if (variant == 4) builder.AddPart(7, 1, 7);
    Put(builder, variant == 5 ? 1 : 0, {variant == 6 ? 2 : 1, -1}, variant == 7 ? 99 : 1);
    builder.AddObject(0, {4, -1}, variant == 8 ? sto_Format::Object : sto_Format::Reference, 5,
                      variant == 9 ? 54 : 0);
    if (variant == 10)
      builder.AddText(0, {5, -1}, std::nullopt);
    else
      builder.AddText(0, {5, -1}, sto_AsBytes("x"));
    if (variant == 11) builder.SetList({sto_Format::ElementInt, 1, 0, false, false, {}}, {});
    if (variant == 12) builder.AddText(0, {6, -1}, std::nullopt);
  };
  sto_RecordBuilder first;
  build(first, 0);
  for (int variant = 0; variant <= 12; ++variant) {
    SCOPED_TRACE(variant);
    sto_RecordBuilder other;
    build(other, variant);
    // Values, and whether a string has text, are not part of the shape.
    bool const isSame = variant == 0 || variant == 7 || variant == 10;
    EXPECT_EQ(other.HasShape(first.Shape()), isSame);
    EXPECT_EQ(other.Shape() == first.Shape(), isSame);
  }
}

TEST(StoreRecordBuilder, DecodedFieldsAreAddedAsTheyWere) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  builder.AddText(0, {1, -1}, std::nullopt);
  builder.AddText(0, {2, -1}, sto_AsBytes(""));
  builder.AddText(0, {3, -1}, sto_AsBytes("text"));
  builder.AddBytes(0, {4, -1}, sto_Bytes(3));
  Put(builder, 0, {5, -1}, -9);
  builder.AddObject(0, {6, -1}, sto_Format::Object, 70, 54);
  builder.AddObject(0, {7, -1}, sto_Format::Reference, 2);
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, builder, problem)) << problem;
  sto_RecordBuilder copy;
  copy.AddPart(9, 1, 5);
  for (sto_Field const& field : record.Parts()[0].m_Fields)
    copy.AddDecoded(0, field.m_Key, field, field.m_ObjectId);
  EXPECT_EQ(copy.Shape(), builder.Shape());
  EXPECT_EQ(copy.Values(), builder.Values());
}

TEST(StoreRecordBuilder, ManyFieldsAreFoundAndReplaced) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, 5);
  for (int key = 1; key <= 100; ++key) Put(builder, 0, {key, -1}, key);
  for (int key = 1; key <= 100; key += 3) Put(builder, 0, {key, -1}, -key);
  EXPECT_TRUE(builder.HasField(0, {100, -1}));
  EXPECT_FALSE(builder.HasField(0, {101, -1}));
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, builder, problem)) << problem;
  ASSERT_EQ(record.Parts()[0].m_Fields.size(), 100U);
  for (sto_Field const& field : record.Parts()[0].m_Fields) {
    auto const key = static_cast<std::int32_t>(field.m_Key.m_NameId);
    EXPECT_EQ(sto_ByteReader(field.m_Payload).Number<std::int32_t>(), key % 3 == 1 ? -key : key);
  }
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

/// Writes an object of random parts and fields that often are those of the object before: left out, doubled, in
/// another order, of another type or collection code.
void WriteRandom(sto_RecordBuilder& builder, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::size_t const parts = 1 + random() % 2;
  for (std::size_t part = 0; part < parts; ++part)
    builder.AddPart(9 - static_cast<unsigned int>(part), random() % 8 == 0 ? 2 : 1,
                    5 + static_cast<std::int64_t>(part) * (random() % 8 == 0 ? 3 : 1));
  for (std::size_t part = parts; part-- > 0;)
    for (int field = 0; field < 4; ++field) {
      std::uint32_t const luck = random() % 16;
      sto_FieldKey const key{luck == 0 ? 1 : field + 1, -1};
      if (luck == 1) continue;
      if (field == 3 && luck != 2) {
        builder.AddObject(part, key, sto_Format::Object, 20);
        if (luck != 3) {
          EXPECT_TRUE(builder.SetCollectionCode(part, key, luck == 4 ? 55 : 54));
        }
        if (luck == 5) builder.AddObject(part, key, sto_Format::Object, 21, 54);
      } else if (field == 2) {
        Put(builder, part, key, static_cast<int>(random()));
      } else if (random() % 8 == 0) {
        builder.AddText(part, key, std::nullopt);
      } else {
        builder.AddText(part, key, sto_AsBytes(std::string(random() % 200, 'x')));
      }
      EXPECT_TRUE(builder.HasField(part, key));
      EXPECT_FALSE(builder.HasField(part, {99, -1}));
    }
  if (random() % 8 == 0) builder.SetList({sto_Format::ElementInt, 1, 1, false, false, {}}, sto_Bytes(4));
}

TEST(StoreRecordBuilder, ExpectedShapeChangesNothing) {
  sto_RecordBuilder along;
  std::shared_ptr<sto_NumberedShape const> latest;
  int followed = 0;
  for (std::uint32_t seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE(seed);
    sto_RecordBuilder fresh;
    WriteRandom(fresh, seed / 2); // each twice
    along.Reset();
    along.Expect(latest);
    WriteRandom(along, seed / 2);
    if (latest != nullptr && along.HasExpected(latest.get())) {
      ++followed;
      ASSERT_EQ(fresh.Shape(), latest->m_Shape);
    }
    ASSERT_TRUE(std::ranges::equal(along.View(), fresh.Values()));
    ASSERT_EQ(along.Shape(), fresh.Shape());
    ASSERT_EQ(along.Values(), fresh.Values());
    if (seed % 5 != 0) latest = std::make_shared<sto_NumberedShape>(sto_NumberedShape{1, along.Shape()});
  }
  EXPECT_GT(followed, 500);
}

} // namespace
