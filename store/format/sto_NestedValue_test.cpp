#include "store/format/sto_NestedValue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/format/sto_RecordIds.h"

namespace {

using Type = sto_NestedType;

constexpr std::int64_t Id = 500;

Type Double() {
  return Type::Value(sto_Format::Double);
}
Type Text() {
  return Type::Value(sto_Format::Text);
}
Type Object() {
  return Type::Value(sto_Format::Object);
}

/// A record with one nested field, built and decoded again.
class OneField {
 public:
  OneField(Type type, sto_Bytes value) : m_Type(std::move(type)) {
    m_Builder.AddPart(9, 1, Id);
    m_Builder.AddNested(0, {3, -1}, m_Type, value);
    m_Shape = m_Builder.Shape();
    EXPECT_TRUE(m_Builder.HasShape(m_Shape));
    m_Record.Stored() = {1, 0, true, m_Builder.Values()};
    EXPECT_EQ(m_Builder.Values(), value); // nothing but the value
    std::string problem;
    EXPECT_TRUE(m_Record.Decode(Id, &m_Shape, problem)) << problem;
  }
  [[nodiscard]] sto_Field const& Field() const { return m_Record.Parts()[0].m_Fields[0]; }
  [[nodiscard]] sto_NestedValue Value() const { return {*Field().m_Type, Field().m_Payload, Id}; }
  [[nodiscard]] sto_Record const& Record() const { return m_Record; }

 private:
  Type m_Type;
  sto_RecordBuilder m_Builder;
  sto_Shape m_Shape;
  sto_Record m_Record;
};

template <class Write> sto_Bytes Written(Write write) {
  sto_Bytes bytes;
  sto_NestedWriter writer(bytes, Id);
  write(writer);
  return bytes;
}

bool IsValue(Type const& type, sto_Bytes const& bytes) {
  return sto_IsNestedValue(type, bytes, Id);
}

/// A shape with parts (a sequence of structs), a variant, an optional object, an array and a map.
Type Everything() {
  Type const hole = Type::Struct({{{1, -1}, Double()}, {{2, -1}, Text()}, {{4, -1}, Double()}});
  return Type::Struct({{{1, -1}, Type::Sequence(hole)},
                       {{2, -1}, Type::Variant({Type::Tuple({}), Text(), Type::Value(sto_Format::Int16)})},
                       {{3, -1}, Type::Optional(Object())},
                       {{4, -1}, Type::Array(3, Type::Value(sto_Format::UInt8))},
                       {{5, -1}, Type::Map(Text(), Type::Value(sto_Format::Reference))}});
}

sto_Bytes EverythingBytes() {
  return Written([](sto_NestedWriter& writer) {
    writer.Count(2);
    writer.Number(1.5);
    writer.Text("M8");
    writer.Number(2.5);
    writer.Number(3.5);
    writer.Text(std::nullopt);
    writer.Number(4.5);
    writer.Alternative(2);
    writer.Number(std::int16_t{-7});
    writer.Presence(true);
    writer.ObjectId(Id + 3);
    for (int i = 1; i <= 3; ++i) writer.Number(static_cast<std::uint8_t>(i));
    writer.Count(2);
    writer.Text("a");
    writer.ObjectId(Id);
    writer.Text("b");
    writer.ObjectId(7);
  });
}

std::vector<sto_NestedValue> ItemsOf(sto_NestedValue const& value) {
  std::vector<sto_NestedValue> items;
  for (sto_NestedItems i = value.Items(); i.Next();) items.push_back(i.Value());
  return items;
}

TEST(StoreNestedValue, StructsInASequenceComeBack) {
  OneField const field(Everything(), EverythingBytes());
  std::optional<sto_NestedValue> const holes = field.Value().Member({1, -1});
  ASSERT_TRUE(holes);
  EXPECT_EQ(holes->Kind(), sto_Format::NestedSequence);
  EXPECT_EQ(holes->Count(), 2U);
  std::vector<sto_NestedValue> const items = ItemsOf(*holes);
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].Member({2, -1})->Text(), "M8");
  EXPECT_EQ(items[0].Member({4, -1})->Number<double>(), 2.5);
  EXPECT_EQ(items[1].Member({1, -1})->Number<double>(), 3.5);
  EXPECT_EQ(items[1].Member({2, -1})->Text(), std::nullopt);
  EXPECT_EQ(items[1].Member({4, -1})->Number<double>(), 4.5);
  EXPECT_FALSE(items[1].Member({9, -1}));
  EXPECT_FALSE(field.Value().Member({9, -1}));
}

TEST(StoreNestedValue, VariantOptionalArrayAndMapComeBack) {
  OneField const field(Everything(), EverythingBytes());
  sto_NestedValue const variant = *field.Value().Member({2, -1});
  EXPECT_EQ(variant.Alternative(), 2U);
  EXPECT_EQ(variant.Count(), 1U);
  EXPECT_EQ(ItemsOf(variant)[0].Kind(), sto_Format::Int16);
  EXPECT_EQ(ItemsOf(variant)[0].Number<std::int16_t>(), -7);
  sto_NestedValue const optional = *field.Value().Member({3, -1});
  ASSERT_EQ(optional.Count(), 1U);
  EXPECT_EQ(ItemsOf(optional)[0].ObjectId(), Id + 3);
  sto_NestedValue const array = *field.Value().Member({4, -1});
  EXPECT_EQ(array.Count(), 3U);
  EXPECT_EQ(array.Elements().size(), 3U);
  EXPECT_EQ(ItemsOf(array)[2].Number<std::uint8_t>(), 3);
  std::vector<sto_NestedValue> const map = ItemsOf(*field.Value().Member({5, -1}));
  ASSERT_EQ(map.size(), 4U);
  EXPECT_EQ(map[2].Text(), "b");
  EXPECT_EQ(map[1].ObjectId(), Id);
  EXPECT_EQ(map[3].ObjectId(), 7);
}

TEST(StoreNestedValue, EmptyOnesComeBack) {
  sto_Bytes const bytes = Written([](sto_NestedWriter& writer) {
    writer.Count(0);
    writer.Alternative(0);
    writer.Presence(false);
    for (int i = 0; i < 3; ++i) writer.Number(std::uint8_t{0});
    writer.Count(0);
  });
  EXPECT_EQ(bytes.size(), 7U);
  OneField const field(Everything(), bytes);
  EXPECT_EQ(field.Value().Count(), 5U);
  EXPECT_EQ(field.Value().Member({1, -1})->Count(), 0U);
  EXPECT_EQ(ItemsOf(*field.Value().Member({2, -1}))[0].Count(), 0U);
  EXPECT_TRUE(ItemsOf(*field.Value().Member({3, -1})).empty());
  EXPECT_TRUE(ItemsOf(*field.Value().Member({5, -1})).empty());
  EXPECT_EQ(field.Record().GreatestId(), Id);
}

TEST(StoreNestedValue, NumbersOfVectorsOfVectorsAreOneRunOfBytes) {
  OneField const field(Type::Sequence(Type::Sequence(Double())), Written([](sto_NestedWriter& writer) {
                         writer.Count(2);
                         writer.Count(3);
                         double const numbers[] = {1.0, 2.0, 3.0};
                         writer.Elements(std::as_bytes(std::span(numbers)));
                         writer.Count(1);
                         writer.Number(4.0);
                       }));
  std::vector<sto_NestedValue> const rows = ItemsOf(field.Value());
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].Elements().size(), 24U);
  EXPECT_EQ(rows[0].Count(), 3U);
  sto_ByteReader second(rows[1].Elements());
  EXPECT_EQ(second.Number<double>(), 4.0);
  EXPECT_EQ(second.Remaining(), 0U);
}

TEST(StoreNestedValue, BytesAreThoseOfTheFormat) {
  sto_Bytes const bytes = Written([](sto_NestedWriter& writer) {
    writer.Count(1);
    writer.Text("M8");
    writer.Presence(true);
    writer.ObjectId(Id - 1);
    writer.Bytes({});
    writer.Bool(true);
  });
  constexpr int Expected[] = {1, 3, 'M', '8', 1, 1, 0, 1};
  ASSERT_EQ(bytes.size(), std::size(Expected));
  for (std::size_t i = 0; i < bytes.size(); ++i) EXPECT_EQ(std::to_integer<int>(bytes[i]), Expected[i]) << i;
}

TEST(StoreNestedValue, PointsOfTheDocumentHaveItsBytes) {
  Type const points = Type::Sequence(Type::Struct({{{5, -1}, Double()}, {{6, -1}, Type::Optional(Text())}}));
  sto_Bytes bytes;
  points.Encode(bytes);
  sto_NestedWriter writer(bytes, Id);
  writer.Count(2);
  writer.Number(1.0);
  writer.Presence(true);
  writer.Text("A");
  writer.Number(2.0);
  writer.Presence(false);
  constexpr int Expected[] = {0x24, 0x20, 2, 5, 0x0C, 6, 0x23, 2, 2, 0, 0, 0, 0,    0, 0,
                              0xF0, 0x3F, 1, 2, 0x41, 0, 0,    0, 0, 0, 0, 0, 0x40, 0};
  ASSERT_EQ(bytes.size(), std::size(Expected));
  for (std::size_t i = 0; i < bytes.size(); ++i) EXPECT_EQ(std::to_integer<int>(bytes[i]), Expected[i]) << i;
}

TEST(StoreNestedValue, RecordKnowsTheGreatestIdInIt) {
  OneField const field(Type::Sequence(Object()), Written([](sto_NestedWriter& writer) {
                         writer.Count(2);
                         writer.ObjectId(9000);
                         writer.ObjectId(3);
                       }));
  EXPECT_EQ(field.Record().GreatestId(), 9000);
}

TEST(StoreNestedValue, EveryIdOfARecordIsNamedOnce) {
  OneField const field(Everything(), EverythingBytes());
  std::vector<std::pair<int, std::int64_t>> ids;
  sto_ForEachId(field.Record(), [&](int tag, std::int64_t id) { ids.emplace_back(tag, id); });
  EXPECT_EQ(ids, (std::vector<std::pair<int, std::int64_t>>{
                     {sto_Format::Object, Id + 3}, {sto_Format::Reference, Id}, {sto_Format::Reference, 7}}));
}

TEST(StoreNestedValue, IdsAreReplacedAndTheRestStays) {
  OneField const field(Everything(), EverythingBytes());
  std::int64_t const copy = 4;
  sto_Bytes const mapped = sto_MapNestedIds(field.Field(), Id, copy, [](std::uint8_t tag, std::int64_t id) {
    return tag == sto_Format::Object ? id + 1'000'000 : id;
  });
  ASSERT_TRUE(sto_IsNestedValue(Everything(), mapped, copy));
  sto_NestedValue const value(*field.Field().m_Type, mapped, copy);
  EXPECT_EQ(ItemsOf(*value.Member({3, -1}))[0].ObjectId(), Id + 1'000'003);
  EXPECT_EQ(ItemsOf(*value.Member({5, -1}))[3].ObjectId(), 7);
  EXPECT_EQ(ItemsOf(*value.Member({5, -1}))[2].Text(), "b");
  EXPECT_EQ(ItemsOf(*value.Member({1, -1}))[0].Member({2, -1})->Text(), "M8");
}

TEST(StoreNestedValue, EveryShorterAndLongerLengthIsRefused) {
  sto_Bytes const bytes = EverythingBytes();
  ASSERT_TRUE(IsValue(Everything(), bytes));
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(
        IsValue(Everything(), sto_Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size))))
        << size;
  sto_Bytes longer = bytes;
  longer.push_back(std::byte{0});
  EXPECT_FALSE(IsValue(Everything(), longer));
}

TEST(StoreNestedValue, HostileCountsAreRefusedAtOnce) {
  constexpr std::uint64_t Most = std::numeric_limits<std::uint64_t>::max();
  for (std::uint64_t const count : {std::uint64_t{3}, std::uint64_t{1} << 31, Most / 8 + 1, Most}) {
    sto_Bytes bytes;
    sto_ByteWriter(bytes).Varint(count);
    bytes.resize(bytes.size() + 2);
    EXPECT_FALSE(IsValue(Type::Sequence(Double()), bytes)) << count;
    EXPECT_FALSE(IsValue(Type::Sequence(Text()), bytes)) << count;
    EXPECT_FALSE(IsValue(Type::Map(Text(), Double()), bytes)) << count;
    EXPECT_FALSE(IsValue(Type::Optional(Text()), bytes)) << count;
    EXPECT_FALSE(IsValue(Type::Variant({Text(), Text()}), bytes)) << count;
  }
  sto_Bytes nothing; // elements without bytes need none, but their number has a limit
  sto_ByteWriter(nothing).Varint(std::numeric_limits<int>::max());
  EXPECT_TRUE(IsValue(Type::Sequence(Type::Tuple({})), nothing));
  nothing.clear();
  sto_ByteWriter(nothing).Varint(std::uint64_t{1} << 31);
  EXPECT_FALSE(IsValue(Type::Sequence(Type::Tuple({})), nothing));
}

TEST(StoreNestedValue, ValuesWithoutBytesArePassedAtOnce) {
  for (Type type :
       {Type::Tuple({}), Type::Array(0, Double()), Type::Array(0, Text()), Type::Array(0, Object())}) {
    for (int level = 0; level < 7; ++level) type = Type::Array(1'000'000, Type::Tuple({type, type}));
    EXPECT_TRUE(IsValue(type, {})); // 10^42 of them
    EXPECT_FALSE(IsValue(type, sto_Bytes(1)));
    EXPECT_EQ(OneField(type, {}).Value().Count(), 1'000'000U);
  }
}

TEST(StoreNestedValue, ImpossibleIdsAndFlagsAreRefused) {
  Type const objects = Type::Sequence(Object());
  for (std::int64_t const id : {std::int64_t{0}, std::int64_t{-5}, sto_Format::MaxObjectId + 1})
    EXPECT_FALSE(IsValue(objects, Written([&](sto_NestedWriter& writer) {
                           writer.Count(1);
                           writer.ObjectId(id);
                         })))
        << id;
  EXPECT_FALSE(IsValue(Type::Optional(Text()), Written([](sto_NestedWriter& writer) {
                         writer.Number(std::uint8_t{2});
                         writer.Text("a");
                       })));
}

TEST(StoreNestedValue, FixedMembersBesideEachOtherArePassedTogether) {
  Type::Types many(300, Type::Tuple({}));
  many.push_back(Double());
  many.push_back(Text());
  many.push_back(Type::Value(sto_Format::Int8));
  Type const type = Type::Sequence(Type::Tuple(many));
  EXPECT_EQ(type.Nodes()[2].m_RunBytes, 8U);
  EXPECT_EQ(type.Nodes()[2].m_RunEnd, 303U);
  OneField const field(type, Written([](sto_NestedWriter& writer) {
                         writer.Count(2);
                         for (int i = 0; i < 2; ++i) {
                           writer.Number(i + 0.5);
                           writer.Text("x");
                           writer.Number(static_cast<std::int8_t>(i));
                         }
                       }));
  std::vector<sto_NestedValue> const members = ItemsOf(ItemsOf(field.Value())[1]);
  ASSERT_EQ(members.size(), 303U);
  EXPECT_EQ(members[300].Number<double>(), 1.5);
  EXPECT_EQ(members[302].Number<std::int8_t>(), 1);
}

TEST(StoreNestedValue, BuilderRefusesValuesOfAnotherType) {
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, Id);
  Type const type = Type::Sequence(Double());
  EXPECT_THROW(builder.AddNested(0, {3, -1}, type, sto_Bytes(2, std::byte{1})), sto_Exception);
  EXPECT_THROW(builder.AddNested(0, {3, -1}, Double(), sto_Bytes(8)), sto_Exception); // a leaf
  EXPECT_THROW(builder.AddNested(0, {3, -1}, Type(), {}), sto_Exception);
  EXPECT_FALSE(builder.HasField(0, {3, -1}));
}

TEST(StoreNestedValue, ShapesDifferInTheTypesOfTheirValues) {
  Type const numbers = Type::Sequence(Double());
  Type const texts = Type::Sequence(Text());
  sto_Bytes const empty(1);
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, Id);
  builder.AddNested(0, {3, -1}, numbers, empty);
  sto_Shape const shape = builder.Shape();
  ASSERT_EQ(shape.m_Types, std::vector<Type>{numbers});
  builder.AddNested(0, {3, -1}, texts, empty); // replaces it
  EXPECT_FALSE(builder.HasShape(shape));
  EXPECT_EQ(builder.Shape().m_Types, std::vector<Type>{texts});
  builder.AddNested(0, {3, -1}, numbers, empty);
  EXPECT_TRUE(builder.HasShape(shape));
  builder.AddText(0, {3, -1}, std::nullopt);
  EXPECT_TRUE(builder.Shape().m_Types.empty());
  builder.Reset();
  builder.AddPart(9, 1, Id);
  builder.AddNested(0, {3, -1}, numbers, empty);
  EXPECT_TRUE(builder.HasShape(shape));
}

TEST(StoreNestedValue, FieldsBesideItStayAsTheyAre) {
  Type const type = Type::Optional(Text());
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, Id);
  builder.AddPart(8, 1, Id + 1);
  builder.AddText(0, {1, -1}, sto_AsBytes("before"));
  builder.AddNested(0, {2, -1}, type, sto_Bytes(1));
  builder.AddObject(0, {3, -1}, sto_Format::Object, 12);
  builder.AddNested(1, {2, -1}, type, Written([](sto_NestedWriter& writer) {
                      writer.Presence(true);
                      writer.Text("in");
                    }));
  sto_Record record;
  std::string problem;
  record.Stored() = {sto_Format::OwnShape, 0, true, builder.ValuesWithShape()};
  ASSERT_TRUE(record.Decode(Id, nullptr, problem)) << problem;
  std::span<sto_Field const> const fields = record.Parts()[0].m_Fields;
  EXPECT_EQ(sto_AsText(fields[0].m_Payload), "before");
  EXPECT_EQ(fields[2].m_ObjectId, 12);
  sto_Field const& inner = record.Parts()[1].m_Fields[0];
  EXPECT_EQ(ItemsOf({*inner.m_Type, inner.m_Payload, Id})[0].Text(), "in");
}

TEST(StoreNestedValue, RandomBytesAreAValueOrRefused) {
  std::mt19937 random(99);
  Type const type = Everything();
  int taken = 0;
  for (int round = 0; round < 100'000; ++round) {
    sto_Bytes bytes = EverythingBytes();
    for (int changes = 0; changes < 2; ++changes)
      bytes[random() % bytes.size()] = static_cast<std::byte>(random());
    if (!sto_IsNestedValue(type, bytes, Id)) continue;
    ++taken;
    // What was checked can be read to its end.
    std::size_t leaves = 0;
    auto const visit = [&](auto const& self, sto_NestedValue const& value) -> void {
      if (value.Kind() < sto_Format::NestedStruct) {
        ++leaves;
        return;
      }
      std::vector<sto_NestedValue> const items = ItemsOf(value);
      ASSERT_EQ(items.size(), value.Count());
      for (sto_NestedValue const& item : items) self(self, item);
    };
    visit(visit, sto_NestedValue(type, bytes, Id));
    ASSERT_GT(leaves, 2U);
  }
  EXPECT_GT(taken, 1000);
}

} // namespace
