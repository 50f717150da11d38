#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <numeric>
#include <vector>

#include "describe/dsc_Described.h"
#include "store/arrays/sto_Array.h"
#include "tests/support/store/StoreInspected.h"

namespace inspected_content_test {
namespace {

class Node {
 public:
  KVL_PERSISTED(Node, 0x7B0065, "Node", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Number)); }
  explicit Node(int number = 0) : m_Number(number) {}
  int m_Number = 0;
};

class Lists {
 public:
  KVL_PERSISTED(Lists, 0x7B0066, "Lists", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Doubles));
    field(KVL_F(m_Floats));
    field(KVL_F(m_Bytes));
    field(KVL_F(m_UBytes));
    field(KVL_F(m_Shorts));
    field(KVL_F(m_UShorts));
    field(KVL_F(m_Ints));
    field(KVL_F(m_UInts));
    field(KVL_F(m_Longs));
    field(KVL_F(m_ULongs));
    field(KVL_F(m_Complexes));
    field(KVL_F(m_ComplexFloats));
    field(KVL_F(m_Bools));
    field(KVL_F(m_Texts));
    field(KVL_F(m_Nodes));
    field(KVL_F(m_Blob));
    field(KVL_F(m_ByName));
    field(KVL_F(m_ByNumber));
    field(KVL_F(m_NodeByName));
    field(KVL_F(m_Table), kvl::Unit("K"));
  }
  Lists() = default;
  explicit Lists(int count) : m_Table(sto_Array<double>::OfRows({2, 2})) {
    for (int i = 0; i < count; ++i) {
      m_Doubles.push_back(i + 0.5);
      m_Floats.push_back(static_cast<float>(i) / 4);
      m_Bytes.push_back(static_cast<signed char>(i));
      m_UBytes.push_back(static_cast<unsigned char>(i));
      m_Shorts.push_back(static_cast<short>(-i));
      m_UShorts.push_back(static_cast<unsigned short>(65535 - i));
      m_Ints.push_back(-i);
      m_UInts.push_back(0xFFFFFFFF - static_cast<unsigned int>(i));
      m_Longs.push_back(-(1LL << 60) + i);
      m_ULongs.push_back(~0ULL - static_cast<unsigned int>(i));
      m_Complexes.emplace_back(i, -i);
      m_ComplexFloats.emplace_back(-0.5F, static_cast<float>(i));
      m_Bools.push_back(i % 3 == 0);
      m_Texts.push_back(i % 5 == 0 ? cow_String()
                                   : cow_String(std::string(static_cast<unsigned>(i % 7), '\xC3')));
      m_Nodes.push_back(i % 50 == 1 ? std::make_shared<Node>(i) : nullptr);
      m_ByName["key " + std::to_string(i)] = i / 2.0;
      m_ByNumber[count / 2 - i] = std::to_string(i);
    }
    m_Blob.resize(static_cast<std::size_t>(count) * 20);
    std::iota(m_Blob.begin(), m_Blob.end(), static_cast<unsigned char>(3));
    m_NodeByName["node"] = std::make_shared<Node>(99);
    std::vector<double> values(static_cast<std::size_t>(count) * 4);
    std::iota(values.begin(), values.end(), 1.0);
    m_Table.Append(values);
  }

  std::vector<double> m_Doubles;
  std::vector<float> m_Floats;
  std::vector<signed char> m_Bytes;
  std::deque<unsigned char> m_UBytes;
  std::vector<short> m_Shorts;
  std::vector<unsigned short> m_UShorts;
  std::vector<int> m_Ints;
  std::vector<unsigned int> m_UInts;
  std::vector<long long> m_Longs;
  std::vector<unsigned long long> m_ULongs;
  std::vector<std::complex<double>> m_Complexes;
  std::vector<std::complex<float>> m_ComplexFloats;
  std::vector<bool> m_Bools;
  std::vector<cow_String> m_Texts;
  std::vector<std::shared_ptr<Node>> m_Nodes;
  std::vector<unsigned char> m_Blob;
  std::map<std::string, double> m_ByName;
  std::map<int, std::string> m_ByNumber;
  std::map<std::string, std::shared_ptr<Node>> m_NodeByName;
  sto_Array<double> m_Table = sto_Array<double>::OfRows({2, 2});
};

/// With short content, which is in records, and with long content, which is in blocks, compressed or not.
struct Way {
  int m_Count;
  bool m_Compress;
};

class InspectedContent : public InspectedStoreTest, public testing::WithParamInterface<Way> {
 protected:
  InspectedContent() : InspectedStoreTest(Lists::Declare) {}

  void SetUp() override {
    m_Store.reset();
    std::filesystem::remove(Path());
    sto_Options options;
    options.m_Compress = GetParam().m_Compress;
    m_Store.emplace(sto_Store::Open(Path(), sto_Mode::Create, m_Registrar, options));
    m_Store->Save("lists", m_Saved);
    m_Lists = Look().Root("lists");
  }
  sto_InspectedList List(std::string_view field) { return m_Inspection->List(IdIn(m_Lists, field)); }
  sto_InspectedMap Map(std::string_view field) { return m_Inspection->Map(IdIn(m_Lists, field)); }

  /// Pairs of first and count: all, over the borders of blocks, single ones, none.
  std::vector<std::pair<int, int>> Slices() const {
    int const count = GetParam().m_Count;
    std::vector<std::pair<int, int>> slices{{0, count}, {0, 1}, {count - 1, 1}, {count, 0}, {0, 0}, {3, 5}};
    if (count > 4200) slices.insert(slices.end(), {{2047, 2}, {2048, 2048}, {2000, 2200}, {4095, 1}});
    return slices;
  }
  /// Expects each slice of a list to have what `saved` has.
  template <class T, class Saved, class Convert>
  void ExpectSlices(std::string_view field, Saved const& saved, Convert convert) {
    SCOPED_TRACE(field);
    sto_InspectedList list = List(field);
    ASSERT_EQ(list.Count(), GetParam().m_Count);
    std::vector<T> expected;
    for (auto const& element : saved) expected.push_back(convert(element));
    for (auto const& [first, count] : Slices()) {
      sto_InspectedElements const read = list.Read(first, count);
      ASSERT_TRUE(std::holds_alternative<std::vector<T>>(read));
      EXPECT_TRUE(std::get<std::vector<T>>(read) ==
                  std::vector<T>(expected.begin() + first, expected.begin() + first + count))
          << first << ", " << count;
    }
  }
  template <class T, class Saved> void ExpectNumbers(std::string_view field, Saved const& saved) {
    ExpectSlices<T>(field, saved, [](auto number) { return static_cast<T>(number); });
    sto_InspectedList list = List(field);
    for (auto const& [first, count] : Slices()) {
      std::vector<T> read(static_cast<std::size_t>(count));
      list.ReadInto(first, std::span<T>(read));
      EXPECT_TRUE(read == std::get<std::vector<T>>(list.Read(first, count)));
    }
  }

  Lists m_Saved{GetParam().m_Count};
  sto_InspectedObject m_Lists;
};

TEST_P(InspectedContent, HasSlicesOfNumbers) {
  ExpectNumbers<double>("m_Doubles", m_Saved.m_Doubles);
  ExpectNumbers<float>("m_Floats", m_Saved.m_Floats);
  ExpectNumbers<std::int8_t>("m_Bytes", m_Saved.m_Bytes);
  ExpectNumbers<std::uint8_t>("m_UBytes", m_Saved.m_UBytes);
  ExpectNumbers<std::int16_t>("m_Shorts", m_Saved.m_Shorts);
  ExpectNumbers<std::uint16_t>("m_UShorts", m_Saved.m_UShorts);
  ExpectNumbers<std::int32_t>("m_Ints", m_Saved.m_Ints);
  ExpectNumbers<std::uint32_t>("m_UInts", m_Saved.m_UInts);
  ExpectNumbers<std::int64_t>("m_Longs", m_Saved.m_Longs);
  ExpectNumbers<std::uint64_t>("m_ULongs", m_Saved.m_ULongs);
  ExpectNumbers<std::complex<double>>("m_Complexes", m_Saved.m_Complexes);
  ExpectNumbers<std::complex<float>>("m_ComplexFloats", m_Saved.m_ComplexFloats);
}

TEST_P(InspectedContent, HasSlicesOfBoolsAndTexts) {
  ExpectSlices<bool>("m_Bools", m_Saved.m_Bools, [](bool value) { return value; });
  ExpectSlices<sto_InspectedText>("m_Texts", m_Saved.m_Texts, [](cow_String const& text) {
    return text.HasText() ? sto_InspectedText(text.View()) : sto_InspectedText();
  });
}

TEST_P(InspectedContent, HasSlicesOfObjects) {
  sto_InspectedList list = List("m_Nodes");
  EXPECT_EQ(list.TypeName(), "objects");
  for (auto const& [first, count] : Slices()) {
    auto const ids = std::get<std::vector<sto_InspectedId>>(list.Read(first, count));
    ASSERT_EQ(ids.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      Node const* const node = m_Saved.m_Nodes[static_cast<std::size_t>(first + i)].get();
      std::int64_t const id = ids[static_cast<std::size_t>(i)].m_Id;
      ASSERT_EQ(id == 0, node == nullptr);
      if (node == nullptr) continue;
      ASSERT_EQ(Value<std::int64_t>(m_Inspection->Object(id), "m_Number"), node->m_Number);
    }
  }
}

TEST_P(InspectedContent, SaysWhatFieldsHold) {
  EXPECT_EQ(KindOf(m_Lists, "m_Doubles"), "list of double");
  EXPECT_EQ(KindOf(m_Lists, "m_Nodes"), "list of objects");
  EXPECT_EQ(KindOf(m_Lists, "m_Blob"), "blob");
  EXPECT_EQ(KindOf(m_Lists, "m_ByName"), "map from string to double");
  EXPECT_EQ(KindOf(m_Lists, "m_NodeByName"), "map from string to objects");
  sto_InspectedObject const list = m_Inspection->Object(IdIn(m_Lists, "m_Doubles"));
  EXPECT_EQ(list.m_Content, sto_InspectedContent::List);
  EXPECT_EQ(list.m_Kind, "list of double");
  EXPECT_EQ(list.m_Count, GetParam().m_Count);
  EXPECT_EQ(m_Inspection->Object(IdIn(m_Lists, "m_ByName")).m_Content, sto_InspectedContent::Map);
  EXPECT_EQ(m_Inspection->Object(IdIn(m_Lists, "m_Blob")).m_Count, GetParam().m_Count * 20);
}

TEST_P(InspectedContent, RefusesSlicesOutOfRangeAndOtherTypes) {
  sto_InspectedList list = List("m_Doubles");
  int const count = GetParam().m_Count;
  std::vector<std::pair<std::int64_t, std::int64_t>> const wrong{
      {-1, 1}, {0, -1}, {0, count + 1}, {count, 1}, {count + 1, 0}, {1, std::int64_t{1} << 62}};
  for (auto const& slice : wrong)
    ExpectError(sto_ErrorKind::Misuse, "elements",
                [&] { static_cast<void>(list.Read(slice.first, slice.second)); });
  std::vector<int> ints(2);
  ExpectError(sto_ErrorKind::Misuse, "its elements are double",
              [&] { list.ReadInto(0, std::span<std::int32_t>(ints)); });
  std::int64_t const map = IdIn(m_Lists, "m_ByName");
  ExpectError(sto_ErrorKind::Misuse, "no list", [&] { static_cast<void>(m_Inspection->List(map)); });
  ExpectError(sto_ErrorKind::Misuse, "no blob", [&] { static_cast<void>(m_Inspection->Blob(map)); });
  ExpectError(sto_ErrorKind::Misuse, "no map", [&] { static_cast<void>(m_Inspection->Map(m_Lists.m_Id)); });
  m_Inspection.reset();
  ExpectError(sto_ErrorKind::Misuse, "over", [&] { static_cast<void>(list.Read(0, 1)); });
}

TEST_P(InspectedContent, HasArraysWithTheirRows) {
  EXPECT_EQ(FieldOf(m_Lists, "m_Table").m_Unit, "K");
  sto_InspectedList table = List("m_Table");
  EXPECT_EQ(table.Count(), GetParam().m_Count * 4);
  EXPECT_EQ(table.Row(), (std::vector<std::int64_t>{2, 2}));
  EXPECT_EQ(std::get<std::vector<double>>(table.Read(4, 2)), (std::vector<double>{5, 6}));
  EXPECT_TRUE(List("m_Doubles").Row().empty());
}

TEST_P(InspectedContent, GoesOverMapsFromTexts) {
  sto_InspectedMap map = Map("m_ByName");
  EXPECT_EQ(map.Count(), GetParam().m_Count);
  EXPECT_EQ(map.ValueType(), sto_InspectedType::Double);
  ExpectError(sto_ErrorKind::Misuse, "at no entry", [&] { static_cast<void>(map.Key()); });
  for (auto const& [key, value] : m_Saved.m_ByName) {
    ASSERT_TRUE(map.Next());
    ASSERT_EQ(std::get<sto_InspectedText>(map.Key()), key);
    ASSERT_EQ(std::get<double>(map.Value()), value);
  }
  EXPECT_FALSE(map.Next());
  EXPECT_FALSE(map.Next());
  ExpectError(sto_ErrorKind::Misuse, "at no entry", [&] { static_cast<void>(map.Value()); });
}

TEST_P(InspectedContent, GoesOverMapsFromNumbersAndToObjects) {
  sto_InspectedMap map = Map("m_ByNumber");
  for (auto const& [key, value] : m_Saved.m_ByNumber) {
    ASSERT_TRUE(map.Next());
    ASSERT_EQ(std::get<std::int64_t>(map.Key()), key);
    ASSERT_EQ(std::get<sto_InspectedText>(map.Value()), value);
  }
  EXPECT_FALSE(map.Next());
  sto_InspectedMap nodes = Map("m_NodeByName");
  ASSERT_TRUE(nodes.Next());
  EXPECT_EQ(std::get<sto_InspectedText>(nodes.Key()), "node");
  sto_InspectedObject const node = m_Inspection->Object(std::get<sto_InspectedId>(nodes.Value()).m_Id);
  EXPECT_EQ(Value<std::int64_t>(node, "m_Number"), 99);
}

TEST_P(InspectedContent, HasRangesOfBlobs) {
  sto_InspectedBlob blob = m_Inspection->Blob(IdIn(m_Lists, "m_Blob"));
  auto const size = static_cast<std::int64_t>(m_Saved.m_Blob.size());
  ASSERT_EQ(blob.Size(), size);
  std::vector<std::pair<std::int64_t, std::int64_t>> ranges{{0, size}, {size, 0}, {size - 1, 1}, {7, 20}};
  if (size > 40'000) ranges.insert(ranges.end(), {{16383, 2}, {16384, 16384}, {16000, 20000}});
  for (auto const& [first, count] : ranges) {
    std::vector<std::byte> bytes(static_cast<std::size_t>(count));
    blob.Read(first, bytes);
    EXPECT_TRUE(std::ranges::equal(
        bytes,
        std::as_bytes(std::span(m_Saved.m_Blob)).subspan(static_cast<std::size_t>(first), bytes.size())));
  }
  std::vector<std::byte> two(2);
  ExpectError(sto_ErrorKind::Misuse, "bytes", [&] { blob.Read(size - 1, two); });
  ExpectError(sto_ErrorKind::Misuse, "bytes", [&] { blob.Read(-1, two); });
}

INSTANTIATE_TEST_SUITE_P(Ways, InspectedContent,
                         testing::Values(Way{60, false}, Way{5000, false}, Way{5000, true},
                                         Way{20'000, false}));

class InspectedArray : public InspectedStoreTest {
 protected:
  InspectedArray() : InspectedStoreTest(Lists::Declare) {}
};

TEST_F(InspectedArray, OfARootHasItsUnitAndRows) {
  auto array = sto_Array<float>::OfRows({3}, "m/s");
  array.Append(std::vector<float>(6000, 1.5F));
  m_Store->Save("array", array);
  sto_InspectedObject const root = Look().Root("array");
  EXPECT_EQ(root.m_Kind, "list of objects"); // of the lists that have its elements
  sto_InspectedList lists = m_Inspection->List(root.m_Id);
  sto_InspectedList list =
      m_Inspection->List(std::get<std::vector<sto_InspectedId>>(lists.Read(0, 1)).front().m_Id);
  EXPECT_EQ(list.TypeName(), "float");
  EXPECT_EQ(list.Unit(), "m/s");
  EXPECT_EQ(list.Row(), (std::vector<std::int64_t>{3}));
  EXPECT_EQ(std::get<std::vector<float>>(list.Read(5999, 1)), (std::vector<float>{1.5F}));
}

TEST_F(InspectedArray, MayBeEmpty) {
  m_Store->Save("lists", Lists());
  sto_InspectedObject const lists = Look().Root("lists");
  sto_InspectedList list = m_Inspection->List(IdIn(lists, "m_Doubles"));
  EXPECT_EQ(list.Count(), 0);
  EXPECT_TRUE(std::get<std::vector<double>>(list.Read(0, 0)).empty());
  EXPECT_FALSE(m_Inspection->Map(IdIn(lists, "m_ByName")).Next());
}

} // namespace
} // namespace inspected_content_test
