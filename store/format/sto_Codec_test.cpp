#include "store/format/sto_Codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

/// A plain decoder to compare the reader with: one byte after the other, as the format is documented.
class ModelReader {
 public:
  explicit ModelReader(sto_ByteView bytes) : m_Bytes(bytes.begin(), bytes.end()) {}

  [[nodiscard]] bool Failed() const noexcept { return m_Failed; }
  [[nodiscard]] std::size_t Remaining() const noexcept { return m_Bytes.size() - m_Next; }

  std::uint64_t Number(std::size_t size) {
    if (Remaining() < size) return Fail();
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value |= std::uint64_t{At(m_Next + i)} << (8 * i);
    m_Next += size;
    return value;
  }

  std::uint64_t Varint() {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < 10 && i < Remaining(); ++i) {
      std::uint64_t const byte = At(m_Next + i);
      if (i == 9 && byte > 1) return Fail(); // more than 64 bits
      value += (byte % 128) << (7 * i);
      if (byte >= 128) continue;
      m_Next += i + 1;
      return value;
    }
    return Fail();
  }

  std::int64_t ZigZag() {
    std::uint64_t const value = Varint();
    return value % 2 == 0 ? static_cast<std::int64_t>(value / 2) : -static_cast<std::int64_t>(value / 2) - 1;
  }

  sto_Bytes Raw(std::uint64_t size) {
    if (size > Remaining()) {
      Fail();
      return {};
    }
    auto const first = m_Bytes.begin() + static_cast<std::ptrdiff_t>(m_Next);
    m_Next += static_cast<std::size_t>(size);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
  }

 private:
  [[nodiscard]] std::uint8_t At(std::size_t index) const {
    return std::to_integer<std::uint8_t>(m_Bytes[index]);
  }
  std::uint64_t Fail() {
    m_Failed = true;
    m_Next = m_Bytes.size();
    return 0;
  }

  sto_Bytes m_Bytes;
  std::size_t m_Next = 0;
  bool m_Failed = false;
};

sto_Bytes Of(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

sto_Bytes Encoded(std::uint64_t value) {
  sto_Bytes bytes;
  sto_ByteWriter(bytes).Varint(value);
  return bytes;
}

/// Bytes at a chosen distance from a multiple of eight; memory checkers notice a read beyond their end.
class Placed {
 public:
  Placed(sto_ByteView bytes, std::size_t offset) : m_Offset(offset), m_Memory(offset + bytes.size()) {
    std::ranges::copy(bytes, m_Memory.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  [[nodiscard]] sto_ByteView View() const { return sto_ByteView(m_Memory).subspan(m_Offset); }

 private:
  std::size_t m_Offset;
  sto_Bytes m_Memory;
};

/// Compares one varint with the model, at every distance from a multiple of eight.
void ExpectVarintAsModel(sto_ByteView bytes) {
  for (std::size_t offset = 0; offset < 8; ++offset) {
    Placed const placed(bytes, offset);
    sto_ByteReader reader(placed.View());
    ModelReader model(placed.View());
    std::uint64_t const expected = model.Varint();
    ASSERT_EQ(reader.Varint(), expected) << "at " << offset;
    ASSERT_EQ(reader.Failed(), model.Failed()) << "at " << offset;
    ASSERT_EQ(reader.Remaining(), model.Remaining()) << "at " << offset;
  }
}

TEST(StoreCodec, VarintTakesSevenBitsAByteTheLowestFirst) {
  EXPECT_EQ(Encoded(0), Of({0}));
  EXPECT_EQ(Encoded(127), Of({127}));
  EXPECT_EQ(Encoded(128), Of({0x80, 1}));
  EXPECT_EQ(Encoded(300), Of({0xAC, 2}));
  EXPECT_EQ(Encoded(std::numeric_limits<std::uint64_t>::max()),
            Of({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1}));
}

TEST(StoreCodec, VarintOfEachLengthComesBackWhateverFollows) {
  std::mt19937_64 random(20240717);
  for (std::size_t length = 1; length <= 10; ++length) {
    std::uint64_t const least = length == 1 ? 0 : std::uint64_t{1} << (7 * (length - 1));
    std::uint64_t const greatest =
        length == 10 ? std::numeric_limits<std::uint64_t>::max() : (std::uint64_t{1} << (7 * length)) - 1;
    for (std::size_t behind = 0; behind <= 17; ++behind)
      for (int step = 0; step < 60; ++step) {
        std::uint64_t const span = greatest - least;
        std::uint64_t const value =
            step == 0   ? least
            : step == 1 ? greatest
                        : least + (span == ~std::uint64_t{0} ? random() : random() % (span + 1));
        sto_Bytes bytes = Encoded(value);
        ASSERT_EQ(bytes.size(), length);
        for (std::size_t i = 0; i < behind; ++i) bytes.push_back(static_cast<std::byte>(random()));
        SCOPED_TRACE(std::to_string(value) + " before " + std::to_string(behind));
        sto_ByteReader reader(bytes);
        ASSERT_EQ(reader.Varint(), value);
        ASSERT_EQ(reader.Remaining(), behind);
        ASSERT_FALSE(reader.Failed());
        ASSERT_NO_FATAL_FAILURE(ExpectVarintAsModel(bytes));
      }
  }
}

TEST(StoreCodec, EachBitOfAVarintHasItsPlace) {
  for (std::size_t length = 1; length <= 10; ++length)
    for (std::size_t index = 0; index < length; ++index)
      for (int bit = 0; bit < 7; ++bit)
        for (std::size_t behind : {0, 1, 8, 16}) {
          sto_Bytes bytes(length, std::byte{0x80});
          bytes.back() = std::byte{0};
          bytes[index] |= static_cast<std::byte>(1 << bit);
          bytes.resize(length + behind, std::byte{0xFF});
          SCOPED_TRACE("bit " + std::to_string(bit) + " of byte " + std::to_string(index) + " of " +
                       std::to_string(length));
          sto_ByteReader reader(bytes);
          std::uint64_t const value = reader.Varint();
          bool const fits = index < 9 || bit == 0;
          ASSERT_EQ(reader.Failed(), !fits);
          ASSERT_EQ(value, fits ? std::uint64_t{1} << (7 * index + static_cast<std::size_t>(bit)) : 0);
          ASSERT_NO_FATAL_FAILURE(ExpectVarintAsModel(bytes));
        }
}

TEST(StoreCodec, VarintWithNeedlessBytesIsTheSameNumber) {
  for (std::size_t length = 1; length <= 10; ++length) {
    sto_Bytes bytes(length, std::byte{0x80});
    bytes.front() |= std::byte{5};
    if (length > 1) bytes.back() = std::byte{0};
    if (length == 1) bytes.front() = std::byte{5};
    for (std::size_t behind = 0; behind <= 9; ++behind) {
      sto_Bytes longer = bytes;
      longer.resize(length + behind, std::byte{0x7F});
      sto_ByteReader reader(longer);
      ASSERT_EQ(reader.Varint(), 5U) << length << " bytes before " << behind;
      ASSERT_EQ(reader.Remaining(), behind);
      ASSERT_FALSE(reader.Failed());
    }
  }
}

TEST(StoreCodec, VarintBeyondTenBytesOr64BitsFails) {
  for (int const last : {2, 3, 0x7F, 0x80, 0x81, 0xFF})
    for (std::size_t behind : {0, 1, 6, 7, 8, 20}) {
      sto_Bytes bytes(9, std::byte{0xFF});
      bytes.push_back(static_cast<std::byte>(last));
      bytes.resize(10 + behind, std::byte{1});
      sto_ByteReader reader(bytes);
      EXPECT_EQ(reader.Varint(), 0U) << last << " before " << behind;
      EXPECT_TRUE(reader.Failed());
      EXPECT_EQ(reader.Remaining(), 0U);
      ASSERT_NO_FATAL_FAILURE(ExpectVarintAsModel(bytes));
    }
}

/// Not inlined: if GCC 12 at -O3 knew the size of the block, it would warn of a read behind it that the reader
/// does not do.
[[gnu::noinline]] sto_Bytes Endless(std::size_t length) {
  return sto_Bytes(length, std::byte{0xFF});
}

TEST(StoreCodec, VarintThatIsCutOffFailsAndIsZero) {
  for (std::size_t length = 0; length <= 9; ++length) {
    sto_Bytes const bytes = Endless(length);
    sto_ByteReader reader(bytes);
    EXPECT_EQ(reader.Varint(), 0U) << length;
    EXPECT_TRUE(reader.Failed()) << length;
    sto_ByteReader zigzag(bytes);
    EXPECT_EQ(zigzag.ZigZag(), 0) << length;
    EXPECT_TRUE(zigzag.Failed()) << length;
    ASSERT_NO_FATAL_FAILURE(ExpectVarintAsModel(bytes));
  }
}

TEST(StoreCodec, VarintsOfRandomBytesMatchTheModel) {
  std::mt19937_64 random(77);
  for (int step = 0; step < 20'000; ++step) {
    sto_Bytes bytes(random() % 20);
    // Top bits are set often enough for all lengths to occur.
    for (std::byte& byte : bytes)
      byte = static_cast<std::byte>((random() & 0x7F) | (random() % 8 == 0 ? 0 : 0x80));
    SCOPED_TRACE(step);
    ASSERT_NO_FATAL_FAILURE(ExpectVarintAsModel(bytes));
  }
}

TEST(StoreCodec, ZigZagComesBackAtItsExtremes) {
  for (std::int64_t const value :
       {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1}, std::int64_t{-64}, std::int64_t{63},
        std::int64_t{64}, std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::max()}) {
    sto_Bytes bytes;
    sto_ByteWriter(bytes).ZigZag(value);
    sto_ByteReader reader(bytes);
    EXPECT_EQ(reader.ZigZag(), value);
    EXPECT_EQ(reader.Remaining(), 0U);
    EXPECT_FALSE(reader.Failed());
  }
}

/// One operation of a reader, applied to both readers.
void ExpectSameStep(sto_ByteReader& reader, ModelReader& model, unsigned int operation, std::uint64_t size) {
  switch (operation) {
  case 0:
    ASSERT_EQ(reader.U8(), model.Number(1));
    break;
  case 1:
    ASSERT_EQ(reader.Number<std::uint16_t>(), model.Number(2));
    break;
  case 2:
    ASSERT_EQ(reader.Number<std::int32_t>(), static_cast<std::int32_t>(model.Number(4)));
    break;
  case 3:
    ASSERT_EQ(reader.Number<std::uint64_t>(), model.Number(8));
    break;
  case 4:
    ASSERT_EQ(std::bit_cast<std::uint64_t>(reader.Number<double>()), model.Number(8));
    break;
  case 5:
    ASSERT_EQ(reader.ZigZag(), model.ZigZag());
    break;
  case 6:
    ASSERT_TRUE(std::ranges::equal(reader.Raw(size), model.Raw(size)));
    break;
  default:
    ASSERT_EQ(reader.Varint(), model.Varint());
  }
  ASSERT_EQ(reader.Failed(), model.Failed());
  ASSERT_EQ(reader.Remaining(), model.Remaining());
}

TEST(StoreCodec, AnySequenceOfReadsMatchesTheModel) {
  std::mt19937_64 random(4711);
  for (int round = 0; round < 4000; ++round) {
    sto_Bytes bytes(random() % 64);
    for (std::byte& byte : bytes)
      byte = static_cast<std::byte>((random() & 0x7F) | (random() % 3 == 0 ? 0x80 : 0));
    Placed const placed(bytes, random() % 8);
    sto_ByteReader reader(placed.View());
    ModelReader model(placed.View());
    int const steps = static_cast<int>(bytes.size()) + 4;
    for (int step = 0; step < steps; ++step) {
      SCOPED_TRACE("round " + std::to_string(round) + ", step " + std::to_string(step));
      std::uint64_t const size = random() % 50 == 0 ? random() : random() % 6;
      ASSERT_NO_FATAL_FAILURE(ExpectSameStep(reader, model, static_cast<unsigned int>(random() % 9), size));
    }
  }
}

using Failing = void (*)(sto_ByteReader& reader);

/// After a failure nothing more is read, even if bytes were left.
void ExpectStaysFailed(sto_ByteView bytes, Failing fail) {
  sto_ByteReader reader(bytes);
  ASSERT_FALSE(reader.Failed());
  fail(reader);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(reader.Failed());
    EXPECT_EQ(reader.Remaining(), 0U);
    EXPECT_EQ(reader.U8(), 0U);
    EXPECT_EQ(reader.Varint(), 0U);
    EXPECT_EQ(reader.ZigZag(), 0);
    EXPECT_EQ(reader.Number<std::uint16_t>(), 0U);
    EXPECT_EQ(reader.Number<std::int64_t>(), 0);
    EXPECT_EQ(reader.Number<double>(), 0.0);
    EXPECT_TRUE(reader.Raw(0).empty());
    EXPECT_TRUE(reader.Raw(1).empty());
  }
  EXPECT_TRUE(reader.Failed());
}

TEST(StoreCodec, ReaderThatFailedOnceYieldsZerosFromThenOn) {
  sto_Bytes const few(7, std::byte{0x55});
  ExpectStaysFailed(few, [](sto_ByteReader& reader) { EXPECT_EQ(reader.Number<std::uint64_t>(), 0U); });
  ExpectStaysFailed(few, [](sto_ByteReader& reader) { EXPECT_EQ(reader.Number<double>(), 0.0); });
  ExpectStaysFailed(few, [](sto_ByteReader& reader) { EXPECT_TRUE(reader.Raw(8).empty()); });
  ExpectStaysFailed(few, [](sto_ByteReader& reader) {
    EXPECT_TRUE(reader.Raw(std::numeric_limits<std::uint64_t>::max()).empty());
  });
  ExpectStaysFailed({}, [](sto_ByteReader& reader) { EXPECT_EQ(reader.U8(), 0U); });
  sto_Bytes const open(40, std::byte{0xFF});
  ExpectStaysFailed(open, [](sto_ByteReader& reader) { EXPECT_EQ(reader.Varint(), 0U); });
  ExpectStaysFailed(sto_ByteView(open).first(5),
                    [](sto_ByteReader& reader) { EXPECT_EQ(reader.Varint(), 0U); });
  ExpectStaysFailed(sto_ByteView(open).first(9),
                    [](sto_ByteReader& reader) { EXPECT_EQ(reader.ZigZag(), 0); });
}

TEST(StoreCodec, ReadingNoBytesFromNothingSucceeds) {
  sto_ByteReader reader({});
  EXPECT_TRUE(reader.Raw(0).empty());
  EXPECT_FALSE(reader.Failed());
  EXPECT_EQ(reader.Remaining(), 0U);
}

} // namespace
