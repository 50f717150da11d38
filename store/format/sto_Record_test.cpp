#include "store/format/sto_Record.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>

#include "store/format/sto_Checksum.h"

namespace {

using Write = std::function<void(sto_ByteWriter&)>;

constexpr std::uint64_t Huge = std::numeric_limits<std::uint64_t>::max();

/// A sealed record with the content that `write` writes, as object 5.
sto_Bytes Sealed(Write const& write) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  write(writer);
  sto_Seal(5, bytes);
  return bytes;
}

bool IsRefused(sto_Bytes bytes, unsigned int classId = 9) {
  sto_Record record;
  std::string problem;
  bool const isDecoded = record.Decode(5, classId, std::move(bytes), problem);
  EXPECT_EQ(isDecoded, problem.empty());
  return !isDecoded;
}

/// Form, one part of class 9 version 1 id 5, then what `fields` writes (its count first).
Write Part(Write fields) {
  return [fields](sto_ByteWriter& writer) {
    writer.U8(1);
    writer.Varint(1);
    writer.Varint(9);
    writer.ZigZag(1);
    writer.Varint(5);
    fields(writer);
  };
}

/// A part with one field of the given tag; `value` writes what follows the tag. No list.
Write Field(std::uint8_t tag, Write value) {
  return Part([tag, value](sto_ByteWriter& writer) {
    writer.Varint(1);
    writer.Varint(3);
    writer.U8(tag);
    value(writer);
    writer.U8(0);
  });
}

/// No fields, and list content written by `content`.
Write Content(Write content) {
  return Part([content](sto_ByteWriter& writer) {
    writer.Varint(0);
    content(writer);
  });
}

TEST(StoreRecord, SmallestRecordIsTaken) {
  EXPECT_FALSE(IsRefused(Sealed(Content([](sto_ByteWriter& writer) { writer.U8(0); }))));
}

TEST(StoreRecord, RecordOfAnotherClassOrIdIsRefused) {
  sto_Bytes const bytes = Sealed(Content([](sto_ByteWriter& writer) { writer.U8(0); }));
  EXPECT_TRUE(IsRefused(bytes, 10));
  sto_Record record;
  std::string problem;
  EXPECT_FALSE(record.Decode(6, 9, bytes, problem));
}

TEST(StoreRecord, EveryRecordShorterThanAChecksumIsRefused) {
  for (std::size_t size = 0; size < 8; ++size) EXPECT_TRUE(IsRefused(sto_Bytes(size)));
}

TEST(StoreRecord, SealedEmptyContentIsRefused) {
  EXPECT_TRUE(IsRefused(Sealed([](sto_ByteWriter&) {})));
}

TEST(StoreRecord, UnknownFormsTagsAndContentsAreRefused) {
  EXPECT_TRUE(IsRefused(Sealed([](sto_ByteWriter& writer) { writer.U8(2); })));
  for (int tag : {0, 17, 18, 127, 255})
    EXPECT_TRUE(IsRefused(Sealed(Field(static_cast<std::uint8_t>(tag), [](sto_ByteWriter&) {})))) << tag;
  for (int content : {3, 4, 255})
    EXPECT_TRUE(IsRefused(Sealed(
        Content([content](sto_ByteWriter& writer) { writer.U8(static_cast<std::uint8_t>(content)); }))))
        << content;
}

TEST(StoreRecord, BytesAfterTheEndAreRefused) {
  EXPECT_TRUE(IsRefused(Sealed(Content([](sto_ByteWriter& writer) {
    writer.U8(0);
    writer.U8(0);
  }))));
}

TEST(StoreRecord, AbsurdCountsOfPartsAreRefused) {
  for (std::uint64_t const count : {std::uint64_t{0}, std::uint64_t{2}, std::uint64_t{1} << 32, Huge})
    EXPECT_TRUE(IsRefused(Sealed([count](sto_ByteWriter& writer) {
      writer.U8(1);
      writer.Varint(count);
      for (int const byte : {9, 2, 5, 0, 0}) writer.U8(static_cast<std::uint8_t>(byte));
    }))) << count;
}

TEST(StoreRecord, AbsurdCountsOfFieldsAreRefused) {
  for (std::uint64_t const count : {std::uint64_t{1}, std::uint64_t{1} << 31, std::uint64_t{1} << 62, Huge})
    EXPECT_TRUE(IsRefused(Sealed(Part([count](sto_ByteWriter& writer) {
      writer.Varint(count);
      writer.U8(0);
    }))))
        << count;
}

TEST(StoreRecord, AbsurdLengthsOfTextsAndBytesAreRefused) {
  for (std::uint8_t const tag : {sto_Format::Text, sto_Format::Bytes})
    for (std::uint64_t const length :
         {std::uint64_t{2}, std::uint64_t{1} << 31, std::uint64_t{1} << 63, Huge})
      EXPECT_TRUE(IsRefused(Sealed(Field(tag, [length](sto_ByteWriter& writer) { writer.Varint(length); }))))
          << length;
}

TEST(StoreRecord, VarintsThatDoNotEndAreRefused) {
  for (int const count : {1, 9, 10, 11, 40})
    EXPECT_TRUE(IsRefused(Sealed([count](sto_ByteWriter& writer) {
      writer.U8(1);
      for (int i = 0; i < count; ++i) writer.U8(0xFF);
    }))) << count;
}

TEST(StoreRecord, ClassesVersionsAndIdsOutOfRangeAreRefused) {
  auto const part = [](std::uint64_t classId, std::int64_t version, std::uint64_t id) {
    return Sealed([=](sto_ByteWriter& writer) {
      writer.U8(1);
      writer.Varint(2);
      for (int const byte : {9, 2, 5, 0}) writer.U8(static_cast<std::uint8_t>(byte));
      writer.Varint(classId);
      writer.ZigZag(version);
      writer.Varint(id);
      writer.Varint(0);
      writer.U8(0);
    });
  };
  constexpr auto MaxId = static_cast<std::uint64_t>(sto_Format::MaxObjectId);
  EXPECT_FALSE(IsRefused(part(0xFFFFFFFF, std::numeric_limits<int>::min(), MaxId)));
  EXPECT_FALSE(IsRefused(part(1, std::numeric_limits<int>::max(), 1)));
  EXPECT_TRUE(IsRefused(part(0x100000000, 1, 1)));
  EXPECT_TRUE(IsRefused(part(Huge, 1, 1)));
  EXPECT_TRUE(IsRefused(part(1, std::int64_t{std::numeric_limits<int>::max()} + 1, 1)));
  EXPECT_TRUE(IsRefused(part(1, std::int64_t{std::numeric_limits<int>::min()} - 1, 1)));
  EXPECT_TRUE(IsRefused(part(1, std::numeric_limits<std::int64_t>::min(), 1)));
  EXPECT_TRUE(IsRefused(part(1, 1, 0)));
  EXPECT_TRUE(IsRefused(part(1, 1, MaxId + 1)));
  EXPECT_TRUE(IsRefused(part(1, 1, Huge)));
}

TEST(StoreRecord, IdsInFieldsThatNoObjectCanHaveAreRefused) {
  for (std::uint8_t const tag : {sto_Format::Reference, sto_Format::Object})
    for (std::int64_t const id : {std::int64_t{1}, sto_Format::MaxObjectId, std::int64_t{0}, std::int64_t{-1},
                                  sto_Format::MaxObjectId + 1}) {
      bool const isGood = id > 0 && id <= sto_Format::MaxObjectId;
      EXPECT_EQ(IsRefused(Sealed(Field(tag,
                                       [=](sto_ByteWriter& writer) {
                                         writer.Number(id);
                                         if (tag == sto_Format::Object) writer.U8(0);
                                       }))),
                !isGood)
          << id;
    }
}

TEST(StoreRecord, GreatestIdIsThatOfAllPartsAndFields) {
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(record.Decode(
      5, 9,
      Sealed(Field(sto_Format::Reference, [](sto_ByteWriter& writer) { writer.Number(std::int64_t{77}); })),
      problem));
  EXPECT_EQ(record.GreatestId(), 77);
}

TEST(StoreRecord, HostileListsAreRefused) {
  auto const list = [](int content, int type, std::int64_t width, std::uint64_t count, int bytes) {
    return Sealed(Content([=](sto_ByteWriter& writer) {
      writer.U8(static_cast<std::uint8_t>(content));
      writer.U8(static_cast<std::uint8_t>(type));
      writer.ZigZag(width);
      writer.Varint(count);
      for (int i = 0; i < bytes; ++i) writer.U8(0);
    }));
  };
  EXPECT_FALSE(IsRefused(list(1, sto_Format::ElementInt, 1, 2, 8)));
  EXPECT_FALSE(IsRefused(list(2, sto_Format::ElementInt, 1, 5000, 0)));
  EXPECT_TRUE(IsRefused(list(1, 0, 1, 0, 0)));
  EXPECT_TRUE(IsRefused(list(1, 8, 1, 0, 0)));
  EXPECT_TRUE(IsRefused(list(1, sto_Format::ElementInt, 1, 2049, 4 * 2049)));
  EXPECT_TRUE(IsRefused(list(2, sto_Format::ElementInt, 1, std::uint64_t{1} << 31, 0)));
  EXPECT_TRUE(IsRefused(list(2, sto_Format::ElementInt, 1, Huge, 0)));
  EXPECT_TRUE(IsRefused(list(2, sto_Format::ElementInt, std::int64_t{1} << 31, 1, 0)));
  EXPECT_TRUE(IsRefused(list(2, sto_Format::ElementInt, 1, 5000, 1))); // bytes instead of blocks
}

TEST(StoreRecord, HostileListsOfObjectsAreRefused) {
  auto const list = [](int content, std::uint64_t count, std::vector<std::uint64_t> const& ids,
                       int bytesBehind = 0) {
    return Sealed(Content([=](sto_ByteWriter& writer) {
      writer.U8(static_cast<std::uint8_t>(content));
      writer.U8(sto_Format::ElementObject);
      writer.ZigZag(1);
      writer.Varint(count);
      for (std::uint64_t const id : ids) writer.Number(id);
      for (int i = 0; i < bytesBehind; ++i) writer.U8(0);
    }));
  };
  EXPECT_FALSE(IsRefused(list(1, 0, {})));
  EXPECT_FALSE(IsRefused(list(1, 2, {0, 7})));
  EXPECT_FALSE(IsRefused(list(2, 5000, {})));
  EXPECT_TRUE(IsRefused(list(1, 2, {7})));
  EXPECT_TRUE(IsRefused(list(1, 1, {7, 7})));
  EXPECT_TRUE(IsRefused(list(1, 1, {7}, 1)));
  EXPECT_TRUE(IsRefused(list(1, 1, {std::uint64_t{1} << 43}))); // above all object ids
  EXPECT_TRUE(IsRefused(list(1, 1, {Huge})));
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(record.Decode(5, 9, list(1, 3, {0, 70, 8}), problem));
  EXPECT_EQ(record.GreatestId(), 70);
}

TEST(StoreRecord, HostileMapsAreRefused) {
  auto const map = [](int keyType, int elementType, std::uint64_t count, std::vector<int> const& bytes) {
    return Sealed(Content([=](sto_ByteWriter& writer) {
      writer.U8(sto_Format::ContentMap);
      writer.U8(static_cast<std::uint8_t>(keyType));
      writer.U8(static_cast<std::uint8_t>(elementType));
      writer.Varint(count);
      for (int const byte : bytes) writer.U8(static_cast<std::uint8_t>(byte));
    }));
  };
  EXPECT_FALSE(IsRefused(map(1, sto_Format::ElementInt, 0, {})));
  EXPECT_FALSE(IsRefused(map(1, sto_Format::ElementInt, 1, {5, 1, 2, 3, 4})));
  EXPECT_FALSE(IsRefused(map(2, sto_Format::ElementString, 2, {0, 0, 2, 'a', 1})));
  EXPECT_TRUE(IsRefused(map(0, sto_Format::ElementInt, 0, {})));
  EXPECT_TRUE(IsRefused(map(3, sto_Format::ElementInt, 0, {})));
  for (int const type : {0, 1, 8, 255}) EXPECT_TRUE(IsRefused(map(1, type, 0, {}))) << type;
  for (std::uint64_t const count : {std::uint64_t{2}, std::uint64_t{1} << 31, std::uint64_t{1} << 62, Huge})
    EXPECT_TRUE(IsRefused(map(1, sto_Format::ElementInt, count, {5, 1, 2, 3, 4}))) << count;
  EXPECT_TRUE(IsRefused(map(1, sto_Format::ElementInt, 1, {5, 1, 2, 3})));
  EXPECT_TRUE(IsRefused(map(1, sto_Format::ElementInt, 1, {5, 1, 2, 3, 4, 5})));
  EXPECT_TRUE(IsRefused(map(1, sto_Format::ElementInt, 0, {5})));
  EXPECT_TRUE(IsRefused(
      map(1, sto_Format::ElementInt, 1, {0xFF, 0xFF, 0xFF, 0xFF, 0x1F, 1, 2, 3, 4}))); // 2^31 and above
  EXPECT_TRUE(IsRefused(map(2, sto_Format::ElementInt, 1, {6, 'a', 1, 2, 3, 4}))); // a text beyond the end
  EXPECT_TRUE(IsRefused(
      map(2, sto_Format::ElementString, 1, {1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1})));
  EXPECT_TRUE(IsRefused(map(1, sto_Format::ElementObject, 1, {1, 0}))); // entries without elements
  EXPECT_TRUE(
      IsRefused(map(1, sto_Format::ElementObject, 1, {1, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 1})));
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(record.Decode(5, 9, map(1, sto_Format::ElementObject, 2, {1, 99, 1, 3}), problem));
  EXPECT_EQ(record.GreatestId(), 99);
}

TEST(StoreRecord, HostileIntTablesAreRefused) {
  auto const table = [](std::uint64_t count, std::vector<std::int64_t> const& numbers) {
    return Sealed(Content([=](sto_ByteWriter& writer) {
      writer.U8(sto_Format::ContentIntTable);
      writer.Varint(count);
      for (std::int64_t const number : numbers) writer.ZigZag(number);
    }));
  };
  EXPECT_FALSE(IsRefused(table(0, {})));
  EXPECT_FALSE(
      IsRefused(table(2, {1, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})));
  EXPECT_TRUE(IsRefused(table(1, {1})));
  EXPECT_TRUE(IsRefused(table(1, {1, 2, 3})));
  EXPECT_TRUE(IsRefused(table(1, {1, std::int64_t{1} << 31})));
  EXPECT_TRUE(IsRefused(table(1, {-(std::int64_t{1} << 31) - 1, 1})));
  EXPECT_TRUE(IsRefused(table(Huge, {1, 2})));
}

TEST(StoreRecord, RandomBytesWithARightChecksumNeverCrash) {
  unsigned int const seed = 4711;
  std::mt19937 random(seed);
  int taken = 0;
  for (int round = 0; round < 200'000; ++round) {
    // A valid beginning, so that the rest is reached, and then random bytes.
    sto_Bytes bytes = Sealed([&](sto_ByteWriter& writer) {
      Part([](sto_ByteWriter&) {})(writer);
      for (unsigned int left = random() % 40; left > 0; --left)
        writer.U8(static_cast<std::uint8_t>(random() % 3 == 0 ? random() : random() % 18));
    });
    sto_Record record;
    std::string problem;
    if (!record.Decode(5, 9, std::move(bytes), problem)) continue;
    ++taken;
    for (sto_Part const& part : record.Parts()) ASSERT_LE(part.m_Fields.size(), 20U) << "seed " << seed;
  }
  EXPECT_GT(taken, 100);
}

TEST(StoreCodec, VarintsComeBack) {
  for (int shift = 0; shift < 64; ++shift)
    for (std::uint64_t const value :
         {(std::uint64_t{1} << shift) - 1, std::uint64_t{1} << shift, Huge >> shift}) {
      sto_Bytes bytes;
      sto_ByteWriter(bytes).Varint(value);
      sto_ByteReader reader(bytes);
      EXPECT_EQ(reader.Varint(), value);
      EXPECT_FALSE(reader.Failed());
      EXPECT_EQ(reader.Remaining(), 0U);
    }
}

TEST(StoreCodec, SignedVarintsComeBack) {
  using Limits = std::numeric_limits<std::int64_t>;
  for (std::int64_t const value : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1}, std::int64_t{-64},
                                   std::int64_t{63}, Limits::min(), Limits::min() + 1, Limits::max()}) {
    sto_Bytes bytes;
    sto_ByteWriter(bytes).ZigZag(value);
    EXPECT_EQ(sto_ByteReader(bytes).ZigZag(), value);
  }
}

TEST(StoreCodec, VarintBeyond64BitsFails) {
  sto_Bytes bytes(9, std::byte{0xFF});
  bytes.push_back(std::byte{0x01});
  EXPECT_EQ(sto_ByteReader(bytes).Varint(), Huge);
  bytes.back() = std::byte{0x02};
  sto_ByteReader reader(bytes);
  EXPECT_EQ(reader.Varint(), 0U);
  EXPECT_TRUE(reader.Failed());
}

TEST(StoreCodec, FailedReaderYieldsNothingMore) {
  sto_Bytes const bytes(6, std::byte{1});
  sto_ByteReader reader(bytes);
  EXPECT_EQ(reader.Number<double>(), 0.0);
  EXPECT_TRUE(reader.Failed());
  EXPECT_EQ(reader.U8(), 0);
  EXPECT_EQ(reader.Number<int>(), 0);
  EXPECT_EQ(reader.Remaining(), 0U);
}

TEST(StoreCodec, SealIsBoundToItsOwner) {
  sto_Bytes bytes(3, std::byte{7});
  sto_Seal(11, bytes);
  sto_ByteView view(bytes);
  EXPECT_FALSE(sto_Unseal(12, view));
  EXPECT_EQ(view.size(), 11U);
  EXPECT_TRUE(sto_Unseal(11, view));
  EXPECT_EQ(view.size(), 3U);
}

} // namespace
