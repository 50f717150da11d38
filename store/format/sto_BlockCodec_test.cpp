#include "store/format/sto_BlockCodec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "store/format/sto_Checksum.h"

namespace {

constexpr std::int64_t Key = (std::int64_t{7} << 20) + 3;

sto_Bytes BytesOf(std::vector<double> const& values) {
  sto_ByteView const bytes = std::as_bytes(std::span(values));
  return {bytes.begin(), bytes.end()};
}

sto_Bytes Smooth() {
  std::vector<double> values(2048);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = 293.0 + std::floor(static_cast<double>(i) / 16);
  return BytesOf(values);
}

sto_Bytes Noise(std::size_t size) {
  std::mt19937 random(1);
  sto_Bytes bytes(size);
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
  return bytes;
}

sto_Bytes Sealed(sto_Bytes content, bool isCompressed) {
  sto_BlockCodec codec;
  if (isCompressed)
    codec.SealCompressed(Key, content, 8);
  else
    sto_BlockCodec::Seal(Key, content);
  return content;
}

void ExpectContent(sto_Bytes const& stored, sto_Bytes const& content) {
  sto_BlockCodec codec;
  sto_Bytes room;
  ASSERT_TRUE(sto_BlockCodec::IsSound(Key, stored));
  std::optional<sto_ByteView> const opened = codec.Open(stored, room);
  ASSERT_TRUE(opened.has_value());
  EXPECT_TRUE(std::ranges::equal(*opened, content));
  sto_Bytes into(content.size());
  EXPECT_TRUE(codec.OpenInto(stored, into));
  EXPECT_TRUE(into == content);
  sto_Bytes other(content.size() + 1);
  EXPECT_FALSE(codec.OpenInto(stored, other));
  EXPECT_EQ(sto_BlockCodec::ContentBytes(stored), content.size());
}

TEST(StoreBlockCodec, UncompressedBlockIsItsContentACodecAndAChecksum) {
  sto_Bytes block{std::byte{1}, std::byte{2}, std::byte{3}};
  sto_BlockCodec::Seal(Key, block);
  unsigned char const expected[] = {1, 2, 3, 0, 0xB3, 0x4B, 0xFB, 0x2A, 0xBA, 0xD9, 0x8E, 0x90};
  EXPECT_TRUE(std::ranges::equal(block, std::as_bytes(std::span(expected))))
      << ::testing::PrintToString(block);
}

TEST(StoreBlockCodec, ContentComesBack) {
  for (bool const isCompressed : {false, true})
    for (sto_Bytes const& content : {Smooth(), Noise(16384), Noise(1), sto_Bytes(), sto_Bytes(300)}) {
      SCOPED_TRACE(content.size());
      ExpectContent(Sealed(content, isCompressed), content);
    }
}

TEST(StoreBlockCodec, CompressesWhereThatPays) {
  EXPECT_LT(Sealed(Smooth(), true).size(), Smooth().size() / 3);
  EXPECT_EQ(Sealed(Noise(16384), true).size(), 16384 + sto_BlockCodec::EndBytes);
  EXPECT_EQ(Sealed(Smooth(), false).size(), 16384 + sto_BlockCodec::EndBytes);
}

TEST(StoreBlockCodec, ContentHashDoesNotDependOnTheCodec) {
  for (sto_Bytes const& content : {Smooth(), Noise(16384), sto_Bytes(300)}) {
    sto_Bytes const plain = Sealed(content, false);
    sto_Bytes const packed = Sealed(content, true);
    std::uint64_t const hash = sto_BlockCodec::ContentHash(packed);
    EXPECT_EQ(hash, sto_BlockCodec::ContentHash(plain));
    EXPECT_EQ(hash, sto_Checksum(Key, content));
    std::size_t const end = std::min(packed.size(), sto_BlockCodec::MaxEndBytes);
    EXPECT_EQ(hash, sto_BlockCodec::ContentHash(sto_ByteView(packed).last(end)));
    EXPECT_TRUE(sto_BlockCodec::IsContent(Key, packed, content));
    EXPECT_FALSE(sto_BlockCodec::IsContent(Key, packed, sto_Bytes(content.size(), std::byte{1})));
  }
  EXPECT_EQ(sto_BlockCodec::ContentHash(sto_Bytes(8)), 0U);
  EXPECT_EQ(sto_BlockCodec::ContentHash(sto_Bytes(20, std::byte{1})), 0U); // too short for a compressed one
}

TEST(StoreBlockCodec, EndSomewhereElseIsCheckedToo) {
  sto_Bytes const content = Noise(100);
  sto_Bytes const stored = Sealed(content, false);
  sto_ByteView const end = sto_ByteView(stored).last(sto_BlockCodec::EndBytes);
  EXPECT_TRUE(sto_BlockCodec::IsPlain(end));
  EXPECT_TRUE(sto_BlockCodec::IsSound(Key, content, end));
  EXPECT_FALSE(sto_BlockCodec::IsSound(Key + 1, content, end));
  EXPECT_FALSE(sto_BlockCodec::IsPlain(sto_ByteView(Sealed(Smooth(), true)).last(sto_BlockCodec::EndBytes)));
}

TEST(StoreBlockCodec, EveryFlippedBitAndEachOtherKeyIsNoticed) {
  for (sto_Bytes const& stored : {Sealed(Noise(40), false), Sealed(sto_Bytes(300), true)}) {
    for (std::size_t bit = 0; bit < 8 * stored.size(); ++bit) {
      sto_Bytes damaged = stored;
      damaged[bit / 8] ^= static_cast<std::byte>(1 << bit % 8);
      EXPECT_FALSE(sto_BlockCodec::IsSound(Key, damaged)) << bit;
    }
    for (std::int64_t const key : {Key - 1, Key + 1, std::int64_t{0}})
      EXPECT_FALSE(sto_BlockCodec::IsSound(key, stored));
    for (std::size_t size = 0; size < stored.size(); ++size)
      EXPECT_FALSE(sto_BlockCodec::IsSound(Key, sto_ByteView(stored).first(size)));
  }
}

TEST(StoreBlockCodec, HostileEndsAreRefused) {
  sto_BlockCodec codec;
  sto_Bytes room;
  for (int codecByte = 1; codecByte < 256; ++codecByte)
    for (std::uint32_t const size : {0U, 1U, 64U, 100'000U, 0xFFFFFFFFU}) {
      sto_Bytes stored = Noise(20);
      sto_ByteWriter writer(stored);
      writer.Number(std::uint64_t{0});
      writer.Number(size);
      writer.U8(static_cast<std::uint8_t>(codecByte));
      writer.Number(std::uint64_t{0});
      static_cast<void>(codec.Open(stored, room)); // refused or not, it must not go astray
      EXPECT_LE(room.size(), 20U * 255);
    }
  EXPECT_FALSE(codec.Open(sto_ByteView(Noise(8)), room).has_value());
}

} // namespace
