#include "store/format/sto_PackCodec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <span>

#include "tests/support/store/StoreXxh3.h"

namespace {

sto_Bytes PackBytes(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

void Append(sto_Bytes& bytes, sto_Bytes const& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

/// The bytes with a checksum of four bytes, computed independently.
sto_Bytes Checked(sto_Bytes bytes, std::int64_t owner) {
  std::uint64_t const hash = StoreXxh3(bytes, static_cast<std::uint64_t>(owner));
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<std::byte>(hash >> (8 * i) & 0xFF));
  return bytes;
}

/// Records for a pack, in the order in which they are added.
struct Contents {
  sto_PackEntries m_Entries{};
  sto_Bytes m_Records;

  void Add(std::size_t slot, std::uint32_t shape, sto_Bytes const& record) {
    m_Entries[slot] = {static_cast<std::uint32_t>(m_Records.size()),
                       static_cast<std::uint32_t>(record.size()), shape};
    Append(m_Records, record);
  }
  [[nodiscard]] sto_Bytes Encode(std::int64_t key, std::int64_t save = 0) const {
    sto_Bytes data(5, std::byte{9}); // is replaced
    sto_EncodePack(key, save, m_Entries, m_Records, data);
    return data;
  }
};

sto_Bytes RecordOf(sto_DecodedPack const& pack, std::size_t slot) {
  sto_PackEntry const& entry = pack.m_Entries[slot];
  sto_ByteView const record = pack.m_Records.subspan(entry.m_Offset, entry.m_SizeBytes);
  return {record.begin(), record.end()};
}

TEST(StorePackCodec, BytesOfOneShapeAreThoseOfTheFormat) {
  Contents contents;
  sto_Bytes const later = Checked(PackBytes({7, 8}), 5 * 32 + 31);
  sto_Bytes const earlier = Checked(PackBytes({1, 2, 3}), 5 * 32 + 2);
  contents.Add(31, 300, later);
  contents.Add(2, 300, earlier);
  sto_Bytes expected = Checked(PackBytes({0x04, 0, 0, 0x80, // objects 2 and 31
                                          0xC8, 0x01,       // save 200
                                          1,                // one shape
                                          0xAC, 0x02,       // shape 300
                                          7, 0, 13, 0}),    // where the records end
                               5);
  Append(expected, earlier);
  Append(expected, later);
  EXPECT_EQ(contents.Encode(5, 200), expected);
}

TEST(StorePackCodec, BytesOfSeveralShapesAreThoseOfTheFormat) {
  Contents contents;
  sto_Bytes const records[] = {Checked(PackBytes({1}), 0), Checked(PackBytes({2}), 1),
                               Checked(PackBytes({3}), 9)};
  contents.Add(0, 4, records[0]);
  contents.Add(1, 0, records[1]); // begins with its shape
  contents.Add(9, 4, records[2]);
  sto_Bytes expected = Checked(PackBytes({0x03, 0x02, 0, 0,     // objects 0, 1 and 9
                                          0,                    // save 0
                                          2, 4, 0,              // two shapes
                                          0, 1, 0,              // which has which
                                          5, 0, 10, 0, 15, 0}), // where the records end
                               0);
  for (sto_Bytes const& record : records) Append(expected, record);
  EXPECT_EQ(contents.Encode(0), expected);
}

TEST(StorePackCodec, FullPackOfLongRecordsWithAsManyShapesComesBack) {
  Contents contents;
  std::vector<sto_Bytes> records;
  for (std::size_t slot = 0; slot < 32; ++slot) {
    records.emplace_back(sto_Format::MaxPackedBytes, static_cast<std::byte>(slot));
    contents.Add(slot, 0xFFFFFFFF - static_cast<std::uint32_t>(slot), records.back());
  }
  sto_Bytes const data = contents.Encode(1, 1LL << 60);
  sto_DecodedPack pack;
  ASSERT_TRUE(sto_DecodePack(1, data, pack));
  EXPECT_EQ(pack.m_Present, 0xFFFFFFFF);
  EXPECT_EQ(sto_PresentIn(data), 0xFFFFFFFF);
  EXPECT_EQ(pack.m_Save, 1LL << 60);
  for (std::size_t slot = 0; slot < 32; ++slot) {
    EXPECT_EQ(pack.m_Entries[slot].m_Shape, 0xFFFFFFFF - slot);
    EXPECT_EQ(RecordOf(pack, slot), records[slot]);
  }
}

TEST(StorePackCodec, PackThatIsEncodedAgainKeepsTheRecordsAndTheirChecksums) {
  std::mt19937 random(99);
  for (int round = 0; round < 500; ++round) {
    Contents contents;
    std::size_t const count = 1 + random() % 32;
    for (std::size_t i = 0; i < count; ++i) {
      sto_Bytes record(sto_Format::PackedChecksumBytes + random() % 60);
      for (std::byte& byte : record) byte = static_cast<std::byte>(random());
      contents.Add(random() % 32, static_cast<std::uint32_t>(random() % 5), record);
    }
    sto_Bytes const data = contents.Encode(round, round);
    sto_DecodedPack pack;
    ASSERT_TRUE(sto_DecodePack(round, data, pack));
    sto_Bytes again;
    sto_EncodePack(round, round, pack.m_Entries, pack.m_Records, again);
    ASSERT_EQ(again, data);
    for (std::size_t slot = 0; slot < 32; ++slot) {
      sto_PackEntry const& entry = contents.m_Entries[slot];
      ASSERT_EQ(entry.m_SizeBytes, pack.m_Entries[slot].m_SizeBytes);
      ASSERT_EQ(entry.m_SizeBytes != 0, (pack.m_Present >> slot & 1) != 0);
      if (entry.m_SizeBytes == 0) continue;
      ASSERT_EQ(entry.m_Shape, pack.m_Entries[slot].m_Shape);
      ASSERT_TRUE(std::ranges::equal(
          RecordOf(pack, slot), sto_ByteView(contents.m_Records).subspan(entry.m_Offset, entry.m_SizeBytes)));
    }
  }
}

/// A pack of key 3 with three objects, of one shape or of two.
sto_Bytes Sample(bool hasTwoShapes) {
  Contents contents;
  for (std::size_t const slot : {0U, 7U, 30U})
    contents.Add(slot, hasTwoShapes && slot == 7 ? 2 : 1,
                 Checked(sto_Bytes(3 + slot % 5, static_cast<std::byte>(slot)),
                         3 * 32 + static_cast<std::int64_t>(slot)));
  return contents.Encode(3, 40);
}

/// Whether a pack of key 3 is sound: its header, and each of its records.
bool IsSound(sto_ByteView data) {
  sto_DecodedPack pack;
  if (!sto_DecodePack(3, data, pack)) return false;
  for (std::size_t slot = 0; slot < 32; ++slot) {
    sto_PackEntry const& entry = pack.m_Entries[slot];
    if (entry.m_SizeBytes == 0) continue;
    sto_ByteView const record = pack.m_Records.subspan(entry.m_Offset, entry.m_SizeBytes);
    sto_ByteView const values = record.first(record.size() - sto_Format::PackedChecksumBytes);
    if (sto_ByteReader(record.subspan(values.size())).Number<std::uint32_t>() !=
        sto_PackedChecksum(3 * 32 + static_cast<std::int64_t>(slot), values))
      return false;
  }
  return true;
}

TEST(StorePackCodec, EveryFlippedBitIsNoticedByTheHeaderOrByTheRecord) {
  for (bool const hasTwoShapes : {false, true}) {
    sto_Bytes const data = Sample(hasTwoShapes);
    ASSERT_TRUE(IsSound(data));
    for (std::size_t bit = 0; bit < 8 * data.size(); ++bit) {
      sto_Bytes changed = data;
      changed[bit / 8] ^= std::byte{1} << static_cast<int>(bit % 8);
      EXPECT_FALSE(IsSound(changed)) << bit;
    }
  }
}

TEST(StorePackCodec, EveryOtherLengthIsNoticed) {
  sto_Bytes const data = Sample(true);
  sto_DecodedPack pack;
  for (std::size_t size = 0; size < data.size(); ++size)
    EXPECT_FALSE(sto_DecodePack(3, sto_ByteView(data).first(size), pack)) << size;
  sto_Bytes longer = data;
  longer.push_back(std::byte{0});
  EXPECT_FALSE(sto_DecodePack(3, longer, pack));
}

TEST(StorePackCodec, PackUnderAnotherKeyIsNoticed) {
  sto_DecodedPack pack;
  for (std::int64_t const key : {0, 2, 4, 35, -3})
    EXPECT_FALSE(sto_DecodePack(key, Sample(false), pack)) << key;
}

TEST(StorePackCodec, RecordInAnotherSlotIsNoticed) {
  // A sound header that gives the records to other objects.
  sto_Bytes const data = Sample(false);
  sto_DecodedPack pack;
  ASSERT_TRUE(sto_DecodePack(3, data, pack));
  sto_PackEntries moved{};
  for (std::size_t slot = 0; slot < 31; ++slot) moved[slot + 1] = pack.m_Entries[slot];
  sto_Bytes again;
  sto_EncodePack(3, 40, moved, pack.m_Records, again);
  EXPECT_FALSE(IsSound(again));
}

TEST(StorePackCodec, AbsurdHeadersWithRightChecksumsAreRefused) {
  sto_DecodedPack pack;
  auto const isRefused = [&](std::initializer_list<int> header, std::size_t recordBytes) {
    sto_Bytes data = Checked(PackBytes(header), 3);
    data.resize(data.size() + recordBytes);
    return !sto_DecodePack(3, data, pack);
  };
  EXPECT_FALSE(isRefused({1, 0, 0, 0, 0, 1, 1, 4, 0}, 4));
  EXPECT_TRUE(isRefused({0, 0, 0, 0, 0, 1, 1}, 0));             // no object
  EXPECT_TRUE(isRefused({0, 0, 0, 0, 0, 0}, 0));                // nor a shape
  EXPECT_TRUE(isRefused({1, 0, 0, 0, 0, 0, 4, 0}, 4));          // no shape
  EXPECT_TRUE(isRefused({1, 0, 0, 0, 0, 2, 1, 2, 0, 4, 0}, 4)); // more shapes than objects
  EXPECT_TRUE(isRefused({1, 0, 0, 0, 0, 1, 1, 3, 0}, 3));       // no room for a checksum
  EXPECT_TRUE(isRefused({1, 0, 0, 0, 0, 1, 1, 4, 0}, 5));
  EXPECT_TRUE(isRefused({1, 0, 0, 0, 0, 1, 1, 5, 0}, 4));
  EXPECT_TRUE(isRefused({3, 0, 0, 0, 0, 1, 1, 8, 0, 4, 0}, 8));          // ends that do not ascend
  EXPECT_TRUE(isRefused({3, 0, 0, 0, 0, 1, 1, 4, 0, 4, 0}, 4));          // an empty record
  EXPECT_TRUE(isRefused({3, 0, 0, 0, 0, 2, 1, 2, 0, 2, 4, 0, 8, 0}, 8)); // an index without a shape
  EXPECT_TRUE(isRefused({1, 0, 0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0x1F, 4, 0}, 4)); // shape 2^33 - 1
  EXPECT_TRUE(
      isRefused({1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 1, 1, 4, 0}, 4));
}

TEST(StorePackCodec, RandomBytesWithRightChecksumsNeverCrash) {
  std::mt19937 random(4712);
  int taken = 0;
  for (int round = 0; round < 300'000; ++round) {
    sto_Bytes header = Sample(round % 2 == 0);
    header.resize(round % 2 == 0 ? 17 : 13); // without checksum and records
    for (unsigned int left = 1 + random() % 3; left > 0; --left)
      header[random() % header.size()] = static_cast<std::byte>(random() % (round % 3 == 0 ? 256 : 24));
    sto_ByteWriter(header).Number(sto_PackedChecksum(3, header));
    header.resize(header.size() + random() % 40);
    sto_DecodedPack pack;
    if (!sto_DecodePack(3, header, pack)) continue;
    ++taken;
    for (sto_PackEntry const& entry : pack.m_Entries)
      ASSERT_LE(entry.m_Offset + entry.m_SizeBytes, pack.m_Records.size());
  }
  EXPECT_GT(taken, 200);
}

TEST(StorePackCodec, PresentObjectsOfBytesThatAreTooShortAreNone) {
  for (std::size_t size = 0; size < 4; ++size) EXPECT_EQ(sto_PresentIn(sto_Bytes(size, std::byte{0xFF})), 0U);
}

} // namespace
