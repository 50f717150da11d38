#include "store/format/sto_NestedType.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>

#include "store/base/sto_Exception.h"
#include "tests/support/Seeds.h"

namespace {

using Type = sto_NestedType;

sto_Bytes TypeBytes(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

sto_Bytes Encoded(Type const& type) {
  sto_Bytes bytes;
  type.Encode(bytes);
  return bytes;
}

bool IsTaken(sto_Bytes const& bytes) {
  Type type;
  sto_ByteReader reader(bytes);
  return type.Decode(reader) && reader.Remaining() == 0;
}

Type Double() {
  return Type::Value(sto_Format::Double);
}
Type Text() {
  return Type::Value(sto_Format::Text);
}

/// A point with two numbers, and a label between them.
Type Point() {
  return Type::Struct({{{1, -1}, Double()}, {{2, -1}, Text()}, {{0, 7}, Double()}});
}

/// Every kind of node once.
Type Everything() {
  return Type::Struct(
      {{{1, -1}, Type::Sequence(Point())},
       {{2, -1}, Type::Variant({Type::Tuple({}), Text(), Point()})},
       {{3, -1}, Type::Optional(Type::Value(sto_Format::Object, 54))},
       {{4, -1}, Type::Array(3, Type::Value(sto_Format::UInt8))},
       {{5, -1}, Type::Map(Text(), Type::Tuple({Double(), Type::Value(sto_Format::Reference)}))}});
}

sto_ErrorKind KindOf(std::function<void()> const& work) {
  try {
    work();
  } catch (sto_Exception const& exception) {
    return exception.Kind();
  }
  return {};
}

TEST(StoreNestedType, BytesAreThoseOfTheFormat) {
  EXPECT_EQ(Encoded(Type::Sequence(Point())), TypeBytes({36, 32, 3, 1, 12, 2, 2, 0, 14, 12}));
  EXPECT_EQ(Encoded(Type::Variant({Type::Tuple({}), Double()})), TypeBytes({34, 2, 33, 0, 12}));
  EXPECT_EQ(Encoded(Type::Optional(Type::Value(sto_Format::Object, 54))), TypeBytes({35, 15, 54}));
  EXPECT_EQ(Encoded(Type::Array(300, Double())), TypeBytes({37, 0xAC, 2, 12}));
  EXPECT_EQ(Encoded(Type::Map(Text(), Double())), TypeBytes({38, 2, 12}));
}

TEST(StoreNestedType, EncodedTypeDecodesToTheSame) {
  sto_Bytes bytes = Encoded(Everything());
  bytes.push_back(std::byte{77}); // bytes may continue
  Type decoded;
  sto_ByteReader reader(bytes);
  ASSERT_TRUE(decoded.Decode(reader));
  EXPECT_EQ(reader.U8(), 77);
  EXPECT_EQ(decoded, Everything());
  EXPECT_NE(decoded, Type::Sequence(Everything()));
  // What follows from the encoded type is worked out alike.
  Type const built = Everything();
  for (std::size_t i = 0; i < built.Nodes().size(); ++i) {
    EXPECT_EQ(decoded.Nodes()[i].m_MinBytes, built.Nodes()[i].m_MinBytes) << i;
    EXPECT_EQ(decoded.Nodes()[i].m_IsFixed, built.Nodes()[i].m_IsFixed) << i;
    EXPECT_EQ(decoded.Nodes()[i].m_HoldsIds, built.Nodes()[i].m_HoldsIds) << i;
    EXPECT_EQ(decoded.Nodes()[i].m_End, built.Nodes()[i].m_End) << i;
  }
}

TEST(StoreNestedType, SizesFollowFromTheTree) {
  EXPECT_EQ(Point().Root().m_MinBytes, 17U);
  EXPECT_FALSE(Point().Root().m_IsFixed);
  Type const fixed = Type::Array(10, Type::Tuple({Double(), Type::Value(sto_Format::ComplexDouble)}));
  EXPECT_EQ(fixed.Root().m_MinBytes, 240U);
  EXPECT_TRUE(fixed.Root().m_IsFixed);
  EXPECT_EQ(Type::Variant({Double(), Type::Value(sto_Format::Int16)}).Root().m_MinBytes, 3U);
  EXPECT_EQ(Type::Sequence(fixed).Root().m_MinBytes, 1U);
  EXPECT_FALSE(fixed.Root().m_HoldsIds);
  EXPECT_TRUE(Everything().Root().m_HoldsIds);
}

TEST(StoreNestedType, TypesDifferInEachThingThatIsEncoded) {
  EXPECT_NE(Type::Struct({{{1, -1}, Double()}}), Type::Struct({{{2, -1}, Double()}}));
  EXPECT_NE(Type::Array(3, Double()), Type::Array(4, Double()));
  EXPECT_NE(Type::Optional(Type::Value(sto_Format::Object, 54)),
            Type::Optional(Type::Value(sto_Format::Object, 55)));
  EXPECT_NE(Type::Sequence(Double()), Type::Optional(Double()));
}

TEST(StoreNestedType, KeysAreReplacedEverywhere) {
  Type const mapped = Everything().WithKeys([](sto_FieldKey const& key) {
    return sto_FieldKey{key.m_NameId + 100, key.m_FieldId};
  });
  EXPECT_EQ(mapped.Nodes()[1].m_Key, (sto_FieldKey{101, -1}));
  EXPECT_EQ(mapped.Nodes()[5].m_Key, (sto_FieldKey{0, 7})); // a number is no name
  EXPECT_NE(mapped, Everything());
}

TEST(StoreNestedType, EveryShorterLengthIsRefused) {
  sto_Bytes const bytes = Encoded(Everything());
  ASSERT_TRUE(IsTaken(bytes));
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(IsTaken(sto_Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size))))
        << size;
}

TEST(StoreNestedType, UnknownNodesAndLeavesAsRootAreRefused) {
  for (int const kind : {0, 1, 17, 20, 21, 31, 39, 127, 255})
    EXPECT_FALSE(IsTaken(TypeBytes({36, kind, 12, 12}))) << kind;
  for (int const leaf : {2, 12, 14, 16, 19}) {
    EXPECT_FALSE(IsTaken(TypeBytes({leaf}))) << leaf;
    EXPECT_TRUE(IsTaken(TypeBytes({36, leaf}))) << leaf;
  }
  EXPECT_TRUE(IsTaken(TypeBytes({36, 17})));
  EXPECT_FALSE(IsTaken(TypeBytes({36, 1}))); // "no text" is a value, not a type
}

TEST(StoreNestedType, MembersTwiceAndWrongAlternativesAreRefused) {
  EXPECT_FALSE(IsTaken(TypeBytes({32, 2, 1, 12, 1, 12})));
  EXPECT_FALSE(IsTaken(TypeBytes({32, 2, 0, 2, 12, 0, 2, 12})));
  EXPECT_TRUE(IsTaken(TypeBytes({32, 2, 0, 2, 12, 0, 4, 12})));
  EXPECT_FALSE(IsTaken(TypeBytes({34, 0})));
  sto_Bytes variant = TypeBytes({34, 0x80, 1}); // 128
  variant.insert(variant.end(), 128, std::byte{12});
  EXPECT_TRUE(IsTaken(variant));
  variant[1] = std::byte{0x81};
  variant.push_back(std::byte{12});
  EXPECT_FALSE(IsTaken(variant));
  EXPECT_EQ(KindOf([] {
              static_cast<void>(Type::Struct({{{1, -1}, Double()}, {{1, 3}, Double()}}));
            }),
            sto_ErrorKind::Misuse);
  EXPECT_EQ(KindOf([] { static_cast<void>(Type::Variant({})); }), sto_ErrorKind::Misuse);
}

TEST(StoreNestedType, DepthHasALimit) {
  Type type = Double();
  for (int depth = 2; depth <= sto_Format::MaxNestedDepth; ++depth) type = Type::Sequence(type);
  sto_Bytes bytes = Encoded(type);
  EXPECT_TRUE(IsTaken(bytes));
  bytes.insert(bytes.begin(), std::byte{36});
  EXPECT_FALSE(IsTaken(bytes));
  EXPECT_EQ(KindOf([&] { static_cast<void>(Type::Sequence(type)); }), sto_ErrorKind::Misuse);
  EXPECT_FALSE(IsTaken(sto_Bytes(1'000'000, std::byte{36})));
}

TEST(StoreNestedType, NodesHaveALimit) {
  Type::Types const most(sto_Format::MaxNestedNodes - 1, Double());
  Type const type = Type::Tuple(most);
  EXPECT_EQ(type.Nodes().size(), sto_Format::MaxNestedNodes);
  EXPECT_TRUE(IsTaken(Encoded(type)));
  EXPECT_EQ(KindOf([&] { static_cast<void>(Type::Sequence(type)); }), sto_ErrorKind::Misuse);
  sto_Bytes bytes = Encoded(type);
  bytes.insert(bytes.begin(), std::byte{36});
  EXPECT_FALSE(IsTaken(bytes));
}

TEST(StoreNestedType, AbsurdCountsAreRefused) {
  for (std::uint64_t const count : {std::uint64_t{5}, std::uint64_t{1} << 31, std::uint64_t{1} << 62,
                                    std::numeric_limits<std::uint64_t>::max()}) {
    for (int const kind : {32, 33, 34}) {
      sto_Bytes bytes = TypeBytes({kind});
      sto_ByteWriter(bytes).Varint(count);
      bytes.insert(bytes.end(), 4, std::byte{1});
      EXPECT_FALSE(IsTaken(bytes)) << kind << ' ' << count;
    }
  }
  auto const array = [](std::uint64_t outer, std::uint64_t inner, int leaf) {
    sto_Bytes bytes = TypeBytes({37});
    sto_ByteWriter writer(bytes);
    writer.Varint(outer);
    writer.U8(37);
    writer.Varint(inner);
    writer.U8(static_cast<std::uint8_t>(leaf));
    if (leaf == 33) writer.U8(0);
    return bytes;
  };
  constexpr std::uint64_t Most = std::numeric_limits<int>::max();
  EXPECT_TRUE(IsTaken(array(1000, 1000, 12)));
  EXPECT_FALSE(IsTaken(array(30'000, 30'001, 3))); // more than a record can have
  EXPECT_FALSE(IsTaken(array(Most, Most, 12)));
  EXPECT_TRUE(IsTaken(array(Most, Most, 33))); // of tuples without members: no bytes
  EXPECT_FALSE(IsTaken(array(Most + 1, 1, 33)));
}

TEST(StoreNestedType, RandomBytesAreATypeOrRefused) {
  std::mt19937 random(4711);
  int taken = 0;
  for (int round = 0; round < 200'000; round += SweepStride) {
    sto_Bytes bytes = Encoded(Everything());
    if (round % 2 == 0) {
      bytes[random() % bytes.size()] = static_cast<std::byte>(random() % 64);
    } else {
      bytes.clear();
      for (unsigned int left = random() % 20; left > 0; --left)
        bytes.push_back(static_cast<std::byte>(random() % 3 == 0 ? 32 + random() % 8 : random() % 20));
    }
    Type type;
    sto_ByteReader reader(bytes);
    if (!type.Decode(reader)) continue;
    ++taken;
    sto_Bytes const again = Encoded(type);
    Type same;
    sto_ByteReader second(again);
    ASSERT_TRUE(same.Decode(second));
    ASSERT_EQ(same, type);
  }
  EXPECT_GT(taken, 10'000 / SweepStride);
}

} // namespace
