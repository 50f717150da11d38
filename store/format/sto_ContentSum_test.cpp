#include "store/format/sto_ContentSum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "store/format/sto_Checksum.h"

namespace {

using enum sto_ContentKind;

sto_ByteView View(std::string_view text) {
  return std::as_bytes(std::span(text));
}

sto_Bytes BytesOf(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

sto_Bytes Pattern(std::size_t size) {
  sto_Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::byte>(7 * i + size);
  return bytes;
}

/// An item with a numeric key, by the hash of its content.
sto_ContentSum Numbered(sto_ContentKind kind, std::uint64_t key, sto_ByteView content) {
  return sto_ContentSum::OfHash(kind, key, sto_Checksum(key, content));
}
std::string HexOf(sto_ContentKind kind, std::uint64_t key, sto_ByteView content) {
  return Numbered(kind, key, content).Hex();
}
std::string HexOf(std::string_view root, sto_ByteView content) {
  return sto_ContentSum::Of(Root, View(root), content).Hex();
}

sto_ContentSum FromBytes(sto_Bytes const& bytes) {
  sto_ByteReader reader(bytes);
  sto_ContentSum const sum = sto_ContentSum::Read(reader);
  EXPECT_FALSE(reader.Failed());
  EXPECT_EQ(reader.Remaining(), 0U);
  return sum;
}

sto_Bytes ToBytes(sto_ContentSum const& sum) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  sum.Write(writer);
  return bytes;
}

/// The sum with this value.
sto_ContentSum Value(std::uint64_t high, std::uint64_t low) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  writer.Number(low);
  writer.Number(high);
  return FromBytes(bytes);
}

struct Item {
  sto_ContentKind m_Kind;
  std::uint64_t m_Key;
  sto_Bytes m_Content;

  void AddTo(sto_ContentSum& sum) const { sum += Numbered(m_Kind, m_Key, m_Content); }
  void RemoveFrom(sto_ContentSum& sum) const { sum -= Numbered(m_Kind, m_Key, m_Content); }
};

std::vector<Item> Items() {
  std::vector<Item> items;
  for (std::uint64_t key = 0; key < 100; ++key)
    items.push_back({key % 3 == 0 ? Block : Record, key, Pattern(key % 10 * key)});
  return items;
}

sto_ContentSum SumOf(std::vector<Item> const& items) {
  sto_ContentSum sum;
  for (Item const& item : items) item.AddTo(sum);
  return sum;
}

TEST(StoreContentSum, NumbersOfTheKindsAreFixed) {
  EXPECT_EQ(static_cast<int>(Record), 1);
  EXPECT_EQ(static_cast<int>(Block), 2);
  EXPECT_EQ(static_cast<int>(Root), 3);
  EXPECT_EQ(static_cast<int>(Catalogue), 4);
}

// The values are those of the formula in the header, by python3-xxhash.
TEST(StoreContentSum, TermsOfNumberedItemsAreThoseOfTheFormula) {
  EXPECT_EQ(HexOf(Record, 1, {}), "dd08ece84990eaf348ab287d7159d5bb");
  EXPECT_EQ(HexOf(Record, 1, View("a")), "21b9e39318f63fdcd3d98c2878353580");
  EXPECT_EQ(HexOf(Record, 2, View("a")), "4c6b1ac0011eba18910cb5f73073a8da");
  EXPECT_EQ(HexOf(Block, 1, View("a")), "f16a4f16985b943cc3a1c475dffde60b");
  EXPECT_EQ(HexOf(Block, (7 << 20) + 3, Pattern(16384)), "e8cb56077b9d7cea24732b6f0869a27b");
  EXPECT_EQ(HexOf(Catalogue, std::numeric_limits<std::uint64_t>::max(), Pattern(5)),
            "cb2f39e409dab75e77cb033b4058cd4d");
  // The hash has a way of its own for each range of sizes.
  EXPECT_EQ(HexOf(Record, 42, Pattern(17)), "f6227c31cb86f20995d4560d2011f9b6");
  EXPECT_EQ(HexOf(Record, 42, Pattern(130)), "3f64e99fea5c4dcbbeb1b7c181063268");
  EXPECT_EQ(HexOf(Record, 42, Pattern(241)), "6216099afc55128b8a780412c48a2a26");
}

TEST(StoreContentSum, TermsOfNamedItemsAreThoseOfTheFormula) {
  EXPECT_EQ(HexOf("", {}), "6f77a711346f60754b0f9b9c90ca0cfa");
  EXPECT_EQ(HexOf("plate", Pattern(8)), "babddf44800175f24a992ff6eceda014");
  EXPECT_EQ(HexOf("Tr\xC3\xA4ger 12", View("x")), "07510ecb25f8446961712b2a9743e332");
  EXPECT_EQ(HexOf("a long name of a root, longer than sixteen bytes", Pattern(100)),
            "2cb27ecf3985f6c245f52de94af0b493");
}

TEST(StoreContentSum, SumOfTermsIsThatOfTheFormula) {
  sto_ContentSum sum;
  for (std::uint64_t const key : {1, 2}) sum += Numbered(Record, key, View("a"));
  for (std::size_t const size : {17, 130, 241}) sum += Numbered(Record, 42, Pattern(size));
  sum += Numbered(Record, 1, {});
  sum += Numbered(Block, 1, View("a"));
  sum += Numbered(Block, (7 << 20) + 3, Pattern(16384));
  sum += Numbered(Catalogue, std::numeric_limits<std::uint64_t>::max(), Pattern(5));
  sum.Add(Root, View(""), {});
  sum.Add(Root, View("plate"), Pattern(8));
  sum.Add(Root, View("Tr\xC3\xA4ger 12"), View("x"));
  sum.Add(Root, View("a long name of a root, longer than sixteen bytes"), Pattern(100));
  EXPECT_EQ(sum.Hex(), "e6694d9a47a11162297e94460851a4ff");
  EXPECT_EQ(ToBytes(sum), BytesOf({0xFF, 0xA4, 0x51, 0x08, 0x46, 0x94, 0x7E, 0x29, 0x62, 0x11, 0xA1, 0x47,
                                   0x9A, 0x4D, 0x69, 0xE6}));
}

TEST(StoreContentSum, OrderDoesNotMatter) {
  std::vector<Item> items = Items();
  sto_ContentSum const expected = SumOf(items);
  std::mt19937 random(1);
  for (int round = 0; round < 10; ++round) {
    std::ranges::shuffle(items, random);
    EXPECT_EQ(SumOf(items), expected);
  }
}

TEST(StoreContentSum, RemovingWhatWasAddedLeavesNothing) {
  std::vector<Item> items = Items();
  sto_ContentSum sum = SumOf(items);
  EXPECT_NE(sum, sto_ContentSum());
  std::ranges::shuffle(items, std::mt19937(2));
  for (Item const& item : items) item.RemoveFrom(sum);
  EXPECT_EQ(sum, sto_ContentSum());
  // Also the other way round.
  for (Item const& item : items) item.RemoveFrom(sum);
  for (Item const& item : items) item.AddTo(sum);
  EXPECT_EQ(sum, sto_ContentSum());
  sum.Add(Root, View("plate"), View("x"));
  EXPECT_NE(sum, sto_ContentSum());
  sum.Remove(Root, View("plate"), View("x"));
  EXPECT_EQ(sum, sto_ContentSum());
}

TEST(StoreContentSum, SumFollowsChangesOfTheSet) {
  std::mt19937 random(3);
  std::map<std::uint64_t, sto_Bytes> contents;
  sto_ContentSum sum;
  for (int step = 0; step < 2000; ++step) {
    std::uint64_t const key = random() % 50;
    if (auto const old = contents.find(key); old != contents.end()) {
      sum -= Numbered(Record, key, old->second);
      contents.erase(old);
    }
    if (random() % 3 == 0) continue;
    sto_Bytes const& content = contents[key] = Pattern(random() % 300);
    sum += Numbered(Record, key, content);
  }
  sto_ContentSum expected;
  for (auto const& [key, content] : contents) expected += Numbered(Record, key, content);
  EXPECT_EQ(sum, expected);
}

TEST(StoreContentSum, SumsOfPartsAddUp) {
  std::vector<Item> const items = Items();
  for (std::size_t const size : {0, 1, 50, 100}) {
    auto const middle = items.begin() + static_cast<std::ptrdiff_t>(size);
    sto_ContentSum const first = SumOf({items.begin(), middle});
    sto_ContentSum const second = SumOf({middle, items.end()});
    sto_ContentSum sum = first;
    sum += second;
    EXPECT_EQ(sum, SumOf(items));
    sum -= first;
    EXPECT_EQ(sum, second);
  }
}

TEST(StoreContentSum, AddingTwiceIsNotAddingOnceOrNever) {
  sto_ContentSum once, twice;
  for (sto_ContentSum* const sum : {&once, &twice, &twice}) *sum += Numbered(Record, 1, View("a"));
  EXPECT_NE(twice, once);
  EXPECT_NE(twice, sto_ContentSum());
}

TEST(StoreContentSum, CarriesGoFromTheLowHalfToTheHighOne) {
  constexpr std::uint64_t Max = std::numeric_limits<std::uint64_t>::max();
  sto_ContentSum sum = Value(0, Max);
  sum += Value(0, 1);
  EXPECT_EQ(sum, Value(1, 0));
  sum += Value(Max, 0);
  EXPECT_EQ(sum, sto_ContentSum());
  sum -= Value(0, 1);
  EXPECT_EQ(sum, Value(Max, Max));
  sum += Value(Max, Max);
  EXPECT_EQ(sum, Value(Max, Max - 1));
  sum = Value(5, 3);
  sum -= Value(2, 4);
  EXPECT_EQ(sum, Value(2, Max));
  sto_ContentSum const& same = sum; // so that Clang does not warn
  sum -= same;
  EXPECT_EQ(sum, sto_ContentSum());
  sum = Value(1, Max);
  sum += sum;
  EXPECT_EQ(sum, Value(3, Max - 1));
}

TEST(StoreContentSum, EveryBitOfTheContentMatters) {
  for (std::size_t const size : {1, 3, 8, 16, 40, 200, 300}) {
    sto_Bytes content = Pattern(size);
    std::set<std::string> values{HexOf(Record, 1, content)};
    for (std::size_t bit = 0; bit < 8 * size; ++bit) {
      content[bit / 8] ^= std::byte{1} << (bit % 8);
      values.insert(HexOf(Record, 1, content));
      content[bit / 8] ^= std::byte{1} << (bit % 8);
    }
    EXPECT_EQ(values.size(), 8 * size + 1) << size;
  }
}

TEST(StoreContentSum, EveryBitOfTheKeyMatters) {
  for (sto_Bytes const& content : {sto_Bytes(), Pattern(1), Pattern(300)}) {
    std::set<std::string> values{HexOf(Record, 0, content)};
    for (int bit = 0; bit < 64; ++bit) values.insert(HexOf(Record, std::uint64_t{1} << bit, content));
    EXPECT_EQ(values.size(), 65U);
    std::set<std::string> names;
    for (int letter = 0; letter < 256; ++letter)
      names.insert(HexOf("root" + std::string(1, static_cast<char>(letter)), content));
    EXPECT_EQ(names.size(), 256U);
  }
}

TEST(StoreContentSum, KindMatters) {
  for (sto_Bytes const& content : {sto_Bytes(), Pattern(1), Pattern(300)}) {
    std::set<std::string> values;
    for (int kind = 0; kind < 256; ++kind) {
      values.insert(HexOf(static_cast<sto_ContentKind>(kind), 7, content));
      values.insert(sto_ContentSum::Of(static_cast<sto_ContentKind>(kind), View("plate"), content).Hex());
    }
    EXPECT_EQ(values.size(), 512U);
  }
}

TEST(StoreContentSum, LengthOfZerosMatters) {
  std::set<std::string> values;
  for (std::size_t size = 0; size < 300; ++size) values.insert(HexOf(Block, 1, sto_Bytes(size)));
  EXPECT_EQ(values.size(), 300U);
}

TEST(StoreContentSum, ExchangedContentsAreSeen) {
  sto_ContentSum sum, exchanged;
  sum += Numbered(Record, 1, View("a"));
  sum += Numbered(Record, 2, View("b"));
  exchanged += Numbered(Record, 1, View("b"));
  exchanged += Numbered(Record, 2, View("a"));
  EXPECT_NE(sum, exchanged);
}

TEST(StoreContentSum, StoredFormIsReadBack) {
  sto_ContentSum const sum = SumOf(Items());
  sto_Bytes bytes = ToBytes(sum);
  EXPECT_EQ(bytes.size(), sto_ContentSum::StoredBytes);
  EXPECT_EQ(FromBytes(bytes), sum);
  EXPECT_EQ(ToBytes(sto_ContentSum()), sto_Bytes(16));
  EXPECT_EQ(Value(0x0123456789ABCDEF, 0xFEDCBA9876543210).Hex(), "0123456789abcdeffedcba9876543210");
  EXPECT_EQ(sto_ContentSum().Hex(), std::string(32, '0'));
  bytes.pop_back();
  sto_ByteReader reader(bytes);
  static_cast<void>(sto_ContentSum::Read(reader));
  EXPECT_TRUE(reader.Failed());
}

} // namespace
