#include "store/format/sto_Shape.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

sto_Bytes ShapeBytes(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

bool IsTaken(sto_Bytes const& bytes) {
  sto_Shape shape;
  sto_ByteReader reader(bytes);
  return shape.Decode(reader) && reader.Remaining() == 0;
}

/// A bolt: a double and a list in a field, and a base part with a text.
sto_Bytes Bolt() {
  return ShapeBytes({
      0x01,                   // the ids of the parts follow
      0x02,                   // two parts
      0x82, 0x80, 0x90, 0x03, // class ID 0x640002
      0x06,                   // version 3
      0x02,                   // two fields
      0x02, 0x0C,             // name 2, double
      0x00, 0x0D, 0x0F, 0x36, // number -7, object, collection code 54
      0x81, 0x80, 0x90, 0x03, // class ID 0x640001
      0x01,                   // version -1
      0x01,                   // one field
      0x01, 0x02,             // name 1, text
      0x03, 0x02, 0x06,       // a map from string to int
  });
}

TEST(StoreShape, BytesAreThoseOfTheFormat) {
  sto_Bytes const bytes = Bolt();
  sto_Shape shape;
  sto_ByteReader reader(bytes);
  ASSERT_TRUE(shape.Decode(reader));
  EXPECT_EQ(reader.Remaining(), 0U);
  EXPECT_TRUE(shape.m_PartsFollow);
  EXPECT_EQ(shape.m_Parts, (std::vector<sto_ShapePart>{{0x640002, 3, 2}, {0x640001, -1, 1}}));
  EXPECT_EQ(shape.m_Fields, (std::vector<sto_ShapeField>{{{2, -1}, sto_Format::Double, 0},
                                                         {{0, -7}, sto_Format::Object, 54},
                                                         {{1, -1}, sto_Format::Text, 0}}));
  EXPECT_EQ(shape.m_Content, (sto_ShapeContent{sto_Format::ContentMap, 2, 6}));
  sto_Bytes again;
  shape.Encode(again);
  EXPECT_EQ(again, bytes);
}

TEST(StoreShape, ReusedShapeHasNothingOfTheOneBefore) {
  sto_Bytes const bytes = Bolt();
  sto_Bytes const small = ShapeBytes({0, 1, 9, 2, 0, 0});
  sto_Shape shape;
  sto_ByteReader first(bytes);
  ASSERT_TRUE(shape.Decode(first));
  sto_ByteReader second(small);
  ASSERT_TRUE(shape.Decode(second));
  EXPECT_FALSE(shape.m_PartsFollow);
  EXPECT_EQ(shape.m_Parts, (std::vector<sto_ShapePart>{{9, 1, 0}}));
  EXPECT_TRUE(shape.m_Fields.empty());
  EXPECT_EQ(shape.m_Content, sto_ShapeContent());
}

TEST(StoreShape, BytesMayContinueAfterIt) {
  sto_Bytes bytes = Bolt();
  bytes.push_back(std::byte{77});
  sto_Shape shape;
  sto_ByteReader reader(bytes);
  ASSERT_TRUE(shape.Decode(reader));
  EXPECT_EQ(reader.U8(), 77);
}

TEST(StoreShape, EveryContentComesBack) {
  for (std::initializer_list<int> const content :
       std::initializer_list<std::initializer_list<int>>{{0},
                                                         {1, 1},
                                                         {1, 7},
                                                         {1, 15},
                                                         {2, 4},
                                                         {2, 13},
                                                         {3, 1, 2},
                                                         {3, 2, 7},
                                                         {3, 3, 12},
                                                         {3, 4, 1},
                                                         {4},
                                                         {5, 7},
                                                         {6, 4},
                                                         {7, 9},
                                                         {8, 1, 2},
                                                         {8, 2, 7},
                                                         {9}}) {
    sto_Bytes bytes = ShapeBytes({1, 1, 9, 2, 0});
    sto_Bytes const rest = ShapeBytes(content);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    sto_Shape shape;
    sto_ByteReader reader(bytes);
    ASSERT_TRUE(shape.Decode(reader)) << *content.begin();
    sto_Bytes again;
    shape.Encode(again);
    EXPECT_EQ(again, bytes);
  }
}

TEST(StoreShape, EveryShorterLengthIsRefused) {
  sto_Bytes const bytes = Bolt();
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(IsTaken(sto_Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size))))
        << size;
}

TEST(StoreShape, UnknownFlagsTagsAndContentsAreRefused) {
  for (int const flags : {2, 3, 0x80, 0xFF})
    EXPECT_FALSE(IsTaken(ShapeBytes({flags, 1, 9, 2, 0, 0}))) << flags;
  for (int const tag : {0, 1, 21, 22, 127, 255})
    EXPECT_FALSE(IsTaken(ShapeBytes({1, 1, 9, 2, 1, 3, tag, 0}))) << tag;
  for (int const kind : {10, 11, 127, 255})
    EXPECT_FALSE(IsTaken(ShapeBytes({1, 1, 9, 2, 0, kind, 1, 2}))) << kind;
  for (int const type : {0, 16, 255})
    for (int const kind : {1, 2, 5, 6, 7})
      EXPECT_FALSE(IsTaken(ShapeBytes({1, 1, 9, 2, 0, kind, type}))) << type;
  for (int const kind : {3, 8}) {
    for (int const key : {0, 5, 255}) EXPECT_FALSE(IsTaken(ShapeBytes({1, 1, 9, 2, 0, kind, key, 2}))) << key;
    for (int const type : {0, 16, 255})
      EXPECT_FALSE(IsTaken(ShapeBytes({1, 1, 9, 2, 0, kind, 1, type}))) << type;
  }
}

TEST(StoreShape, AbsurdCountsAreRefused) {
  for (std::uint64_t const count : {std::uint64_t{2}, std::uint64_t{1001}, std::uint64_t{1} << 32,
                                    std::numeric_limits<std::uint64_t>::max()}) {
    sto_Bytes parts = ShapeBytes({1});
    sto_ByteWriter(parts).Varint(count);
    for (int const byte : {9, 2, 0, 0}) parts.push_back(static_cast<std::byte>(byte));
    EXPECT_FALSE(IsTaken(parts)) << count;
    sto_Bytes fields = ShapeBytes({1, 1, 9, 2});
    sto_ByteWriter(fields).Varint(count);
    for (int const byte : {3, 3, 0}) fields.push_back(static_cast<std::byte>(byte));
    EXPECT_FALSE(IsTaken(fields)) << count;
  }
  EXPECT_FALSE(IsTaken(ShapeBytes({1, 0, 0}))); // no part
}

TEST(StoreShape, NumbersOutOfRangeAreRefused) {
  auto const shape = [](std::uint64_t classId, std::int64_t version, std::uint64_t nameId,
                        std::int64_t number) {
    sto_Bytes bytes = ShapeBytes({1, 1});
    sto_ByteWriter writer(bytes);
    writer.Varint(classId);
    writer.ZigZag(version);
    writer.Varint(1);
    writer.Varint(nameId);
    if (nameId == 0) writer.ZigZag(number);
    writer.U8(sto_Format::Bool);
    writer.U8(0);
    return bytes;
  };
  constexpr std::int64_t Least = std::numeric_limits<int>::min();
  constexpr std::int64_t Most = std::numeric_limits<int>::max();
  EXPECT_TRUE(IsTaken(shape(0xFFFFFFFF, Least, 0, Least)));
  EXPECT_TRUE(IsTaken(shape(0, Most, 0, Most)));
  EXPECT_TRUE(IsTaken(shape(0, 0, std::uint64_t{1} << 62, 0)));
  EXPECT_FALSE(IsTaken(shape(0x100000000, 1, 1, 0)));
  EXPECT_FALSE(IsTaken(shape(1, Most + 1, 1, 0)));
  EXPECT_FALSE(IsTaken(shape(1, Least - 1, 1, 0)));
  EXPECT_FALSE(IsTaken(shape(1, 1, 0, Most + 1)));
  EXPECT_FALSE(IsTaken(shape(1, 1, 0, Least - 1)));
  EXPECT_FALSE(IsTaken(shape(1, 1, std::uint64_t{1} << 63, 0)));
}

TEST(StoreShape, KeysAreEqualByNameOrElseByNumber) {
  EXPECT_EQ((sto_FieldKey{3, 1}), (sto_FieldKey{3, 2})); // a name counts whatever the number
  EXPECT_NE((sto_FieldKey{3, 1}), (sto_FieldKey{4, 1}));
  EXPECT_EQ((sto_FieldKey{0, 1}), (sto_FieldKey{0, 1}));
  EXPECT_NE((sto_FieldKey{0, 1}), (sto_FieldKey{0, 2}));
  EXPECT_NE((sto_FieldKey{0, 1}), (sto_FieldKey{1, 1}));
}

TEST(StoreShape, RandomBytesAreAShapeOrRefused) {
  std::mt19937 random(815);
  int taken = 0;
  for (int round = 0; round < 200'000; ++round) {
    sto_Bytes bytes = round % 2 == 0 ? Bolt() : ShapeBytes({1, 1, 9, 2});
    if (round % 2 == 0)
      bytes[random() % bytes.size()] = static_cast<std::byte>(random());
    else
      for (unsigned int left = random() % 20; left > 0; --left)
        bytes.push_back(static_cast<std::byte>(random() % 18));
    sto_Shape shape;
    sto_ByteReader reader(bytes);
    if (!shape.Decode(reader)) continue;
    ++taken;
    // The fields are those of the parts, and a decoded shape can be encoded.
    std::size_t fields = 0;
    for (sto_ShapePart const& part : shape.m_Parts) fields += part.m_FieldCount;
    ASSERT_EQ(fields, shape.m_Fields.size());
    sto_Bytes again;
    shape.Encode(again);
    sto_Shape same;
    sto_ByteReader second(again);
    ASSERT_TRUE(same.Decode(second));
    ASSERT_EQ(same, shape);
  }
  EXPECT_GT(taken, 1000);
}

} // namespace
