#include "store/format/sto_Compression.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "store/format/sto_Format.h"
#include "store/format/sto_Shuffle.h"
#include "tests/support/store/StoreNewFault.h"

namespace {

constexpr std::byte Guard{0xA5};
constexpr std::size_t GuardBytes = 64;
constexpr std::array Codecs{sto_Compression::None, sto_Compression::Lz4, sto_Compression::ShuffledLz4};
constexpr std::array<std::size_t, 9> Counts{0, 1, 2, 63, 64, 65, 1000, 2047, sto_Format::BlockElementCount};

sto_Bytes ContentOf(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

sto_Bytes Noise(std::size_t size, unsigned seed) {
  std::mt19937 random(seed);
  sto_Bytes bytes(size);
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
  return bytes;
}

/// Encodes `count` numbers as the elements of an array.
template <class Function> sto_Bytes Numbers(std::size_t count, Function function) {
  sto_Bytes bytes;
  for (std::size_t i = 0; i < count; ++i) sto_ByteWriter(bytes).Number(function(i));
  return bytes;
}

sto_Bytes SmoothDoubles(std::size_t count) {
  return Numbers(count, [](std::size_t i) { return 300 + 20 * std::sin(static_cast<double>(i) * 0.001); });
}

/// Elements of any width, by kind: 0 zeros, 1 a slope, 2 few values, 3 noise.
sto_Bytes Elements(std::size_t count, std::size_t width, int kind) {
  if (kind == 3) return Noise(count * width, static_cast<unsigned>(count));
  sto_Bytes bytes(count * width);
  std::mt19937 random(static_cast<unsigned>(width));
  for (std::size_t i = 0; i < count && kind != 0; ++i) {
    std::size_t const value = kind == 1 ? 3 * i : random() % 5;
    for (std::size_t byte = 0; byte < std::min(width, sizeof value); ++byte)
      bytes[i * width + byte] = static_cast<std::byte>(value >> (8 * byte));
  }
  return bytes;
}

struct Restored {
  bool m_Done;
  sto_Bytes m_Content;
};

/// Decompresses from an allocation of the exact size, so that a memory checker sees reads outside. Writes
/// outside of the content fail the test in any build.
Restored Restore(sto_Compressor& compressor, sto_Compression codec, sto_ByteView stored, std::size_t width,
                 std::size_t size) {
  auto const exact = std::make_unique<std::byte[]>(stored.size());
  std::ranges::copy(stored, exact.get());
  sto_Bytes guarded(size + 2 * GuardBytes, Guard);
  std::span<std::byte> const content = std::span(guarded).subspan(GuardBytes, size);
  bool const isDone = compressor.Decompress(codec, sto_ByteView(exact.get(), stored.size()), width, content);
  auto const isGuard = [](std::byte byte) { return byte == Guard; };
  EXPECT_TRUE(std::ranges::all_of(std::span(guarded).first(GuardBytes), isGuard));
  EXPECT_TRUE(std::ranges::all_of(std::span(guarded).last(GuardBytes), isGuard));
  return {isDone, {content.begin(), content.end()}};
}

void ExpectRestored(sto_Compressor& compressor, sto_Compression codec, sto_ByteView stored, std::size_t width,
                    sto_Bytes const& content) {
  auto const [isDone, restored] = Restore(compressor, codec, stored, width, content.size());
  EXPECT_TRUE(isDone);
  EXPECT_EQ(restored, content);
}

struct Stored {
  sto_Compression m_Codec;
  sto_Bytes m_Bytes;
};

Stored Compressed(sto_ByteView content, std::size_t width) {
  Stored stored{};
  stored.m_Codec = sto_Compressor().Compress(content, width, stored.m_Bytes);
  return stored;
}

template <class Check> void ForEachContent(Check check) {
  for (std::size_t width = 1; width <= 16; ++width)
    for (std::size_t const count : Counts)
      for (int kind = 0; kind < 4; ++kind) {
        SCOPED_TRACE(std::to_string(width) + " bytes, " + std::to_string(count) + " elements, kind " +
                     std::to_string(kind));
        check(Elements(count, width, kind), width);
        if (testing::Test::HasFailure()) return;
      }
}

TEST(StoreCompression, NumbersOfTheCodecsAreFixed) {
  EXPECT_EQ(static_cast<int>(sto_Compression::None), 0);
  EXPECT_EQ(static_cast<int>(sto_Compression::Lz4), 1);
  EXPECT_EQ(static_cast<int>(sto_Compression::ShuffledLz4), 2);
}

TEST(StoreCompression, ChosenCodecRestoresTheContent) {
  sto_Compressor compressor;
  sto_Bytes bytes;
  ForEachContent([&](sto_Bytes const& content, std::size_t width) {
    bytes.clear();
    sto_Compression const codec = compressor.Compress(content, width, bytes);
    ExpectRestored(compressor, codec, bytes, width, content);
  });
}

TEST(StoreCompression, EveryCodecRestoresTheContent) {
  sto_Compressor compressor;
  sto_Bytes bytes;
  ForEachContent([&](sto_Bytes const& content, std::size_t width) {
    for (sto_Compression const codec : Codecs) {
      SCOPED_TRACE(static_cast<int>(codec));
      bytes.clear();
      ASSERT_TRUE(compressor.CompressAs(codec, content, width, bytes));
      ExpectRestored(compressor, codec, bytes, width, content);
    }
  });
}

TEST(StoreCompression, TheSmallerFormIsChosenIfItSavesASixteenth) {
  ForEachContent([](sto_Bytes const& content, std::size_t width) {
    sto_Compressor compressor;
    sto_Bytes plain, shuffled;
    ASSERT_TRUE(compressor.CompressAs(sto_Compression::Lz4, content, width, plain));
    ASSERT_TRUE(compressor.CompressAs(sto_Compression::ShuffledLz4, content, width, shuffled));
    auto const [codec, bytes] = Compressed(content, width);
    // LZ4 stops a few bytes before the room that it has is full.
    std::size_t const slack = 16;
    std::size_t const smaller = std::min(plain.size(), shuffled.size());
    if (codec == sto_Compression::None) {
      EXPECT_EQ(bytes, content);
      EXPECT_TRUE(content.size() < 64 || smaller + slack > content.size() - content.size() / 16);
      return;
    }
    EXPECT_GE(content.size(), 64U);
    EXPECT_LE(16 * bytes.size(), 15 * content.size());
    EXPECT_EQ(bytes, codec == sto_Compression::Lz4 ? plain : shuffled);
    EXPECT_LE(bytes.size(), smaller + slack);
  });
}

TEST(StoreCompression, CodecFitsTheKindOfContent) {
  auto const codec = [](sto_Bytes const& content, std::size_t width) {
    return Compressed(content, width).m_Codec;
  };
  // Numbers that change slowly have equal high bytes.
  EXPECT_EQ(codec(SmoothDoubles(2048), 8), sto_Compression::ShuffledLz4);
  EXPECT_EQ(codec(Numbers(2048, [](std::size_t i) { return static_cast<int>(i); }), 4),
            sto_Compression::ShuffledLz4);
  // Few different values repeat as a whole, as does text.
  std::mt19937 random(1);
  std::array<double, 7> values{};
  for (double& value : values) value = std::ldexp(static_cast<double>(random()), -33);
  EXPECT_EQ(codec(Numbers(2048, [&](std::size_t) { return values[random() % 7]; }), 8), sto_Compression::Lz4);
  std::string text;
  while (text.size() < 16384) text += "wall " + std::to_string(random() % 100) + ' ';
  sto_ByteView const letters = std::as_bytes(std::span(text));
  EXPECT_EQ(codec({letters.begin(), letters.end()}, 1), sto_Compression::Lz4);
  EXPECT_EQ(codec(sto_Bytes(16384), 8), sto_Compression::Lz4);
  EXPECT_EQ(codec(Noise(16384, 1), 8), sto_Compression::None);
  // The high bytes of random numbers are alike, so even these save something.
  EXPECT_EQ(codec(Numbers(2048, [&](std::size_t) { return 1 + std::ldexp(double(random()), -32); }), 8),
            sto_Compression::ShuffledLz4);
}

TEST(StoreCompression, FirstQuarterOfALongBlockDecidesAboutTheSecondAttempt) {
  // A slope, zeros, and then seven numbers in random order, which plain LZ4 compresses much better.
  auto const mixed = [](std::size_t count) {
    std::mt19937 random(8);
    return Numbers(count, [&](std::size_t i) -> std::uint64_t {
      if (i <= count / 4) return i * 0x0007'0005'0003'0001;
      return i < count * 2 / 5 ? 0 : (random() % 7 + 1) * 0x9E37'79B9'7F4A'7C15;
    });
  };
  for (std::size_t const count : {511, 512, 2048}) {
    sto_Bytes const content = mixed(count);
    sto_Compressor compressor;
    sto_Bytes plain, shuffled, bytes;
    ASSERT_TRUE(compressor.CompressAs(sto_Compression::Lz4, content, 8, plain));
    ASSERT_TRUE(compressor.CompressAs(sto_Compression::ShuffledLz4, content, 8, shuffled));
    EXPECT_LT(plain.size(), shuffled.size());
    sto_Compression const codec = compressor.Compress(content, 8, bytes);
    EXPECT_EQ(codec, count == 511 ? sto_Compression::Lz4 : sto_Compression::ShuffledLz4) << count;
    ExpectRestored(compressor, codec, bytes, 8, content);
  }
}

TEST(StoreCompression, ShortContentIsNotCompressed) {
  EXPECT_EQ(Compressed(sto_Bytes(63), 1).m_Codec, sto_Compression::None);
  EXPECT_EQ(Compressed(sto_Bytes(63), 1).m_Bytes, sto_Bytes(63));
  EXPECT_EQ(Compressed(sto_Bytes(64), 1).m_Codec, sto_Compression::Lz4);
  EXPECT_EQ(Compressed(sto_Bytes(56), 8).m_Codec, sto_Compression::None);
}

TEST(StoreCompression, BytesAreAppended) {
  sto_Compressor compressor;
  for (sto_Bytes const& content : {sto_Bytes(10), sto_Bytes(5000), Noise(5000, 2)}) {
    sto_Bytes bytes = ContentOf({1, 2, 3});
    sto_Compression const codec = compressor.Compress(content, 4, bytes);
    EXPECT_TRUE(std::ranges::equal(std::span(bytes).first(3), ContentOf({1, 2, 3})));
    ExpectRestored(compressor, codec, std::span(bytes).subspan(3), 4, content);
  }
}

TEST(StoreCompression, WhatWasCompressedBeforeDoesNotMatter) {
  sto_Compressor used;
  ForEachContent([&](sto_Bytes const& content, std::size_t width) {
    sto_Bytes bytes;
    auto const [codec, expected] = Compressed(content, width);
    EXPECT_EQ(used.Compress(content, width, bytes), codec);
    EXPECT_EQ(bytes, expected);
  });
}

TEST(StoreCompression, StoredBytesOfOtherWritersAreRead) {
  sto_Compressor compressor;
  // By hand: one literal 'a', a match at distance 1 of 4 + 15 + 43 bytes, the literals "12345".
  sto_Bytes const stored = ContentOf({0x1F, 'a', 1, 0, 43, 0x50, '1', '2', '3', '4', '5'});
  std::string const text = std::string(63, 'a') + "12345";
  sto_ByteView const letters = std::as_bytes(std::span(text));
  sto_Bytes const content(letters.begin(), letters.end());
  ExpectRestored(compressor, sto_Compression::Lz4, stored, 8, content);
  sto_Bytes unshuffled(content.size());
  sto_UnshufflePlain(content, 4, unshuffled.data());
  EXPECT_NE(unshuffled, content);
  ExpectRestored(compressor, sto_Compression::ShuffledLz4, stored, 4, unshuffled);
}

TEST(StoreCompression, AnotherSizeThanTheContentsIsAFailure) {
  sto_Compressor compressor;
  for (sto_Compression const codec : Codecs)
    for (sto_Bytes const& content : {SmoothDoubles(100), sto_Bytes(800), Noise(800, 3)}) {
      sto_Bytes bytes;
      ASSERT_TRUE(compressor.CompressAs(codec, content, 8, bytes));
      for (std::size_t const size : {0, 1, 792, 799, 801, 808, 20000})
        EXPECT_FALSE(Restore(compressor, codec, bytes, 8, size).m_Done)
            << static_cast<int>(codec) << ' ' << size;
      EXPECT_TRUE(Restore(compressor, codec, bytes, 8, 800).m_Done);
    }
}

TEST(StoreCompression, UnknownCodecIsAFailure) {
  sto_Compressor compressor;
  sto_Bytes const content(100);
  for (int number = 3; number < 256; ++number) {
    auto const codec = static_cast<sto_Compression>(number);
    EXPECT_FALSE(Restore(compressor, codec, content, 4, content.size()).m_Done);
    sto_Bytes bytes = ContentOf({7});
    EXPECT_FALSE(compressor.CompressAs(codec, content, 4, bytes));
    EXPECT_EQ(bytes, ContentOf({7}));
  }
}

TEST(StoreCompression, NoStoredBytesAreContentOnlyIfThereIsNone) {
  sto_Compressor compressor;
  for (sto_Compression const codec : Codecs) {
    EXPECT_FALSE(Restore(compressor, codec, {}, 8, 64).m_Done);
    EXPECT_EQ(Restore(compressor, codec, {}, 8, 0).m_Done, codec == sto_Compression::None);
    EXPECT_FALSE(Restore(compressor, codec, ContentOf({1}), 8, 0).m_Done);
  }
}

/// Contents whose compressed form has long and short matches and literals.
std::vector<sto_Bytes> Samples() {
  std::vector<sto_Bytes> samples{SmoothDoubles(60), sto_Bytes(600)};
  for (int kind = 1; kind < 4; ++kind) samples.push_back(Elements(60, 8, kind));
  return samples;
}

TEST(StoreCompression, TruncatedBytesAreAFailure) {
  sto_Compressor compressor;
  for (sto_Compression const codec : Codecs)
    for (sto_Bytes const& content : Samples()) {
      sto_Bytes bytes;
      ASSERT_TRUE(compressor.CompressAs(codec, content, 8, bytes));
      for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(Restore(compressor, codec, std::span(bytes).first(size), 8, content.size()).m_Done)
            << size;
    }
}

TEST(StoreCompression, ExtendedBytesAreAFailure) {
  sto_Compressor compressor;
  for (sto_Compression const codec : Codecs)
    for (sto_Bytes const& content : Samples())
      for (sto_Bytes const& more :
           {ContentOf({0}), ContentOf({0x10, 'x'}), ContentOf({0xFF, 0xFF, 0xFF}), Noise(100, 4)}) {
        sto_Bytes bytes;
        ASSERT_TRUE(compressor.CompressAs(codec, content, 8, bytes));
        bytes.insert(bytes.end(), more.begin(), more.end());
        EXPECT_FALSE(Restore(compressor, codec, bytes, 8, content.size()).m_Done);
      }
}

TEST(StoreCompression, ChangedBitsReadAndWriteNothingOutside) {
  sto_Compressor compressor;
  int failures = 0;
  for (sto_Compression const codec : Codecs)
    for (sto_Bytes const& content : Samples()) {
      sto_Bytes bytes;
      ASSERT_TRUE(compressor.CompressAs(codec, content, 8, bytes));
      for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        bytes[bit / 8] ^= std::byte{1} << (bit % 8);
        if (!Restore(compressor, codec, bytes, 8, content.size()).m_Done) ++failures;
        bytes[bit / 8] ^= std::byte{1} << (bit % 8);
      }
    }
  EXPECT_GT(failures, 100); // many changes are seen without a checksum, but not all
}

TEST(StoreCompression, RandomBytesReadAndWriteNothingOutside) {
  sto_Compressor compressor;
  std::mt19937 random(5);
  for (unsigned round = 0; round < 5000; ++round) {
    sto_Bytes bytes = Noise(random() % 200, round);
    if (!bytes.empty() && round % 2 == 0) bytes[0] |= std::byte{0xF0}; // many literals
    for (sto_Compression const codec : {sto_Compression::Lz4, sto_Compression::ShuffledLz4})
      static_cast<void>(Restore(compressor, codec, bytes, 1 + random() % 16, random() % 2000));
  }
}

TEST(StoreCompression, LaterBlocksNeedNoAllocation) {
  sto_Compressor compressor;
  sto_Bytes bytes;
  std::array const contents{SmoothDoubles(2048), sto_Bytes(16384), Noise(16384, 6)};
  sto_Bytes restored(16384);
  for (int pass = 0; pass < 2; ++pass) {
    long long const before = StoreNewFault::AskedBytes();
    for (sto_Bytes const& content : contents) {
      bytes.clear();
      sto_Compression const codec = compressor.Compress(content, 8, bytes);
      EXPECT_TRUE(compressor.Decompress(codec, bytes, 8, restored));
    }
    EXPECT_EQ(StoreNewFault::AskedBytes() == before, pass == 1);
  }
}

TEST(StoreCompression, FailedAllocationLeavesTheBytesUnchanged) {
  for (sto_Bytes const& content : {sto_Bytes(10), SmoothDoubles(100), Noise(800, 7)}) {
    int failures = 0;
    for (int step = 1;; ++step) {
      sto_Compressor compressor;
      sto_Bytes bytes = ContentOf({1, 2, 3});
      StoreNewFault::FailAt(step);
      try {
        static_cast<void>(compressor.Compress(content, 8, bytes));
        StoreNewFault::FailAt(0);
        break;
      } catch (std::bad_alloc const&) {
        ++failures;
      }
      EXPECT_EQ(bytes, ContentOf({1, 2, 3}));
      sto_Compression const codec =
          compressor.Compress(content, 8, bytes); // the compressor can be used again
      ExpectRestored(compressor, codec, std::span(bytes).subspan(3), 8, content);
    }
    EXPECT_GT(failures, 0);
  }
}

TEST(StoreCompression, MemoryForTheContentHasABound) {
  sto_Compressor compressor;
  for (std::size_t const size : {64, 1000, 16384, 1'000'000}) {
    sto_Bytes bytes;
    EXPECT_EQ(compressor.Compress(sto_Bytes(size), 1, bytes), sto_Compression::Lz4); // nothing is shorter
    EXPECT_LE(size, sto_Compressor::MaxContentBytes(sto_Compression::Lz4, bytes.size()));
  }
  EXPECT_EQ(sto_Compressor::MaxContentBytes(sto_Compression::None, 10), 10U);
  EXPECT_EQ(sto_Compressor::MaxContentBytes(sto_Compression::ShuffledLz4, 10), 2550U);
}

} // namespace
