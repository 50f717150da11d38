#include "store/format/sto_MapWalk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

#include "store/format/sto_MapCodec.h"

namespace {

using Write = std::function<void(sto_ByteWriter&)>;

sto_Bytes Encoded(Write const& write) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  write(writer);
  return bytes;
}

sto_MapHeader Header(sto_CollectionShape const& shape, int count, sto_ByteView entries) {
  sto_MapHeader header;
  header.m_IsTable = shape.m_IsTable;
  header.m_KeyType = shape.m_KeyType;
  header.m_ElementType = shape.m_ElementType;
  header.m_Count = count;
  header.m_Entries = entries;
  return header;
}

/// Whether a walk over `count` entries of `bytes` passes all of them.
bool IsWhole(sto_CollectionShape const& shape, int count, sto_ByteView bytes) {
  sto_MapWalk walk(Header(shape, count, bytes));
  while (walk.Next()) continue;
  return walk.IsComplete();
}

/// What each entry of a map is comes out of the walk as the codec wrote it, whatever comes before.
template <class K, class T> void ComesBack(std::vector<std::pair<K, T>> const& entries) {
  sto_Bytes bytes;
  std::vector<std::pair<sto_Bytes, sto_Bytes>> parts;
  for (std::pair<K, T> const& entry : entries) {
    parts.emplace_back(
        Encoded([&](sto_ByteWriter& writer) { sto_KeyCodec<K>::Encode(writer, entry.first); }),
        Encoded([&](sto_ByteWriter& writer) { sto_ElementCodec<T>::Encode(writer, entry.second); }));
    bytes.insert(bytes.end(), parts.back().first.begin(), parts.back().first.end());
    bytes.insert(bytes.end(), parts.back().second.begin(), parts.back().second.end());
  }
  int const count = static_cast<int>(entries.size());
  sto_MapWalk walk(Header(sto_MapShape<K, T>(), count, bytes));
  for (auto const& [key, value] : parts) {
    ASSERT_TRUE(walk.Next());
    EXPECT_TRUE(std::ranges::equal(walk.Key(), key));
    EXPECT_TRUE(std::ranges::equal(walk.Value(), value));
  }
  EXPECT_FALSE(walk.Next());
  EXPECT_TRUE(walk.IsComplete());
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(IsWhole(sto_MapShape<K, T>(), count, sto_ByteView(bytes).first(size))) << size;
  bytes.push_back(std::byte{0});
  EXPECT_FALSE(IsWhole(sto_MapShape<K, T>(), count, bytes)) << "a byte too many";
}

TEST(StoreMapWalk, EntriesOfEachTypeComeBack) {
  ComesBack<int, double>({{0, 1.5}, {-1, -2.5}, {std::numeric_limits<int>::min(), 0.0}});
  ComesBack<int, float>({{std::numeric_limits<int>::max(), 1.5F}, {300, 2.5F}});
  ComesBack<int, int>({{1, -7}});
  ComesBack<cow_String, unsigned int>({{cow_String("beam"), 7U}, {cow_String(), 8U}, {cow_String(""), 9U}});
  ComesBack<int, cow_String>({{5, cow_String()}, {6, cow_String("")}, {7, cow_String("long text")}});
  ComesBack<cow_String, cow_String>({{cow_String("key"), cow_String("value")}});
  ComesBack<cow_String, bool>({{cow_String("key"), true}});
  ComesBack<int, signed char>({{1, -7}});
  ComesBack<int, cls_Complex<float>>({{1, {1.5F, 2.5F}}});
}

TEST(StoreMapWalk, KeysOf64BitsComeBackAtTheirLimits) {
  using Signed = std::numeric_limits<long long>;
  using Unsigned = std::numeric_limits<unsigned long long>;
  ComesBack<long long, short>({{Signed::min(), 1}, {-1, 2}, {0, 3}, {Signed::max(), 4}});
  ComesBack<unsigned long long, cls_Complex<double>>({{0, {1, 2}}, {Unsigned::max(), {3, 4}}});
  ComesBack<std::int64_t, std::uint64_t>({{300, Unsigned::max()}});
}

TEST(StoreMapWalk, MapWithoutEntriesIsComplete) {
  sto_MapWalk walk(Header(sto_MapShape<int, double>(), 0, {}));
  EXPECT_FALSE(walk.Next());
  EXPECT_TRUE(walk.IsComplete());
}

TEST(StoreMapWalk, ObjectsAreGivenByTheirIds) {
  sto_Bytes const bytes = Encoded([](sto_ByteWriter& writer) {
    sto_KeyCodec<cow_String>::Encode(writer, cow_String("a"));
    writer.Varint(300);
    sto_KeyCodec<cow_String>::Encode(writer, cow_String());
    writer.Varint(1);
  });
  sto_MapWalk walk(Header(sto_MapShape<cow_String, sto_ObjectId>(), 2, bytes));
  ASSERT_TRUE(walk.Next());
  EXPECT_EQ(walk.ObjectId(), 300U);
  EXPECT_EQ(walk.Key().size(), 2U);
  ASSERT_TRUE(walk.Next());
  EXPECT_EQ(walk.ObjectId(), 1U);
  EXPECT_EQ(walk.Key().size(), 1U);
  EXPECT_TRUE(walk.IsComplete());
}

TEST(StoreMapWalk, PairsOfAnIntTableAreTwoInts) {
  sto_Bytes const bytes = Encoded([](sto_ByteWriter& writer) {
    writer.ZigZag(-3);
    writer.ZigZag(1000);
  });
  EXPECT_TRUE(IsWhole(sto_IntTableShape(), 1, bytes));
  EXPECT_FALSE(IsWhole(sto_MapShape<int, int>(), 1, bytes)); // whose values take four bytes
}

TEST(StoreMapWalk, NumberThatIsNoIntEndsTheWalk) {
  constexpr std::int64_t TooMuch = std::int64_t{std::numeric_limits<int>::max()} + 1;
  sto_Bytes const key = Encoded([](sto_ByteWriter& writer) {
    writer.ZigZag(TooMuch);
    writer.Number(1.5);
  });
  EXPECT_FALSE(IsWhole(sto_MapShape<int, double>(), 1, key));
  sto_Bytes const value = Encoded([](sto_ByteWriter& writer) {
    writer.ZigZag(1);
    writer.ZigZag(-TooMuch - 1);
  });
  EXPECT_FALSE(IsWhole(sto_IntTableShape(), 1, value));
}

TEST(StoreMapWalk, TextThatIsLongerThanTheMapEndsTheWalk) {
  sto_Bytes const bytes = Encoded([](sto_ByteWriter& writer) {
    writer.Varint(std::numeric_limits<std::uint64_t>::max());
    writer.Number(1.5);
  });
  EXPECT_FALSE(IsWhole(sto_MapShape<cow_String, double>(), 1, bytes));
}

} // namespace
