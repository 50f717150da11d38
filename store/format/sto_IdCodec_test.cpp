#include "store/format/sto_IdCodec.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "store/format/sto_Format.h"

namespace {

constexpr std::int64_t ListId = 1000;
using Ids = std::vector<std::int64_t>;

sto_Bytes IdBytes(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

sto_Bytes Encoded(Ids const& ids) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  sto_IdEncoder encoder(ListId);
  for (std::int64_t const id : ids) encoder.Put(writer, id);
  return bytes;
}

bool IsDecoded(sto_Bytes const& bytes, int count, Ids& ids, bool isFixed = false) {
  return sto_DecodeIds(bytes, count, ListId, isFixed, ids);
}

TEST(StoreIdCodec, IdIsItsDistanceFromTheOneBefore) {
  Ids const ids{1001, 1002, 0, 999, 1001, 1000};
  EXPECT_EQ(Encoded(ids), IdBytes({3, 3, 0, 6, 5, 2}));
  Ids decoded{7};
  ASSERT_TRUE(IsDecoded(Encoded(ids), 6, decoded));
  EXPECT_EQ(decoded, ids);
}

TEST(StoreIdCodec, EachBlockBeginsAtTheListsOwnId) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  sto_IdEncoder encoder(ListId);
  encoder.Put(writer, 5000);
  encoder.Restart();
  bytes.clear();
  encoder.Put(writer, 1001);
  EXPECT_EQ(bytes, IdBytes({3}));
}

TEST(StoreIdCodec, FarthestIdsComeBack) {
  Ids const ids{1, sto_Format::MaxObjectId, 0, 1, sto_Format::MaxObjectId};
  Ids decoded;
  ASSERT_TRUE(IsDecoded(Encoded(ids), 5, decoded));
  EXPECT_EQ(decoded, ids);
}

TEST(StoreIdCodec, OlderFormatHasEightBytesAnId) {
  Ids decoded;
  ASSERT_TRUE(IsDecoded(IdBytes({5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), 2, decoded, true));
  EXPECT_EQ(decoded, (Ids{5, 0}));
  EXPECT_FALSE(IsDecoded(IdBytes({5, 0, 0, 0, 0, 0, 0, 0}), 2, decoded, true));
  EXPECT_FALSE(IsDecoded(IdBytes({5, 0, 0, 0, 0, 0, 0}), 1, decoded, true));
}

TEST(StoreIdCodec, BytesThatAreNotSoManyIdsAreRefused) {
  sto_Bytes const bytes = Encoded({1001, 5000, 0});
  Ids decoded;
  EXPECT_TRUE(IsDecoded(bytes, 3, decoded));
  EXPECT_FALSE(IsDecoded(bytes, 2, decoded));
  EXPECT_FALSE(IsDecoded(bytes, 4, decoded));
  EXPECT_FALSE(IsDecoded(IdBytes({0x80}), 1, decoded)); // an id that does not end
  EXPECT_TRUE(IsDecoded({}, 0, decoded));
  EXPECT_TRUE(decoded.empty());
}

} // namespace
