#include "store/format/sto_Record.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "store/format/sto_Checksum.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_RecordBuilder.h"

namespace {

using Write = std::function<void(sto_ByteWriter&)>;

constexpr std::uint64_t HugeNumber = std::numeric_limits<std::uint64_t>::max();

sto_Bytes Written(Write const& write) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  write(writer);
  return bytes;
}

/// A shape of class 9 version 1 with one part.
sto_Shape ShapeOf(std::vector<sto_ShapeField> fields, sto_ShapeContent const& content = {}) {
  sto_Shape shape;
  shape.m_PartsFollow = true;
  shape.m_Parts = {{9, 1, fields.size()}};
  shape.m_Fields = std::move(fields);
  shape.m_Content = content;
  return shape;
}

/// Decodes values as those of object 5.
bool Decode(sto_Record& record, sto_Shape const& shape, sto_Bytes values, std::string& problem) {
  record.Stored() = {1, 0, true, std::move(values)};
  return record.Decode(5, &shape, problem);
}

bool IsRefused(sto_Shape const& shape, sto_Bytes values) {
  sto_Record record;
  std::string problem;
  bool const isDecoded = Decode(record, shape, std::move(values), problem);
  EXPECT_EQ(isDecoded, problem.empty());
  EXPECT_EQ(record.ClassId(), 9U);
  return !isDecoded;
}

/// Values of an object with one field of a tag.
bool IsFieldRefused(std::uint8_t tag, Write const& write) {
  return IsRefused(ShapeOf({{{3, -1}, tag}}), Written(write));
}

TEST(StoreRecord, SmallestRecordHasNoBytes) {
  EXPECT_FALSE(IsRefused(ShapeOf({}), {}));
}

TEST(StoreRecord, BytesAfterTheEndAreRefused) {
  EXPECT_TRUE(IsRefused(ShapeOf({}), sto_Bytes(1)));
  EXPECT_TRUE(IsRefused(ShapeOf({{{3, -1}, sto_Format::Bool}}), sto_Bytes(2)));
}

TEST(StoreRecord, EveryValueIsTakenInItsLengthOnly) {
  std::pair<std::uint8_t, std::size_t> const sizes[] = {
      {sto_Format::Bool, 1},         {sto_Format::Int8, 1},          {sto_Format::Int16, 2},
      {sto_Format::UInt16, 2},       {sto_Format::Int32, 4},         {sto_Format::UInt32, 4},
      {sto_Format::Int64, 8},        {sto_Format::UInt64, 8},        {sto_Format::Float, 4},
      {sto_Format::Double, 8},       {sto_Format::Enum, 4},          {sto_Format::UInt8, 1},
      {sto_Format::ComplexFloat, 8}, {sto_Format::ComplexDouble, 16}};
  for (auto const& [tag, size] : sizes) {
    sto_Shape const shape = ShapeOf({{{3, -1}, tag}});
    for (std::size_t bytes = 0; bytes <= 17; ++bytes)
      EXPECT_EQ(IsRefused(shape, sto_Bytes(bytes)), bytes != size) << int{tag} << ' ' << bytes;
  }
}

TEST(StoreRecord, RecordThatDoesNotFitItsChecksumIsRefused) {
  sto_Shape const shape = ShapeOf({});
  sto_Record record;
  std::string problem;
  record.Stored() = {1, 0, false, {}};
  EXPECT_FALSE(record.Decode(5, &shape, problem));
  EXPECT_EQ(problem, "its checksum does not fit");
  EXPECT_EQ(record.ClassId(), 9U); // for the message
}

TEST(StoreRecord, RecordWithoutAShapeIsRefused) {
  sto_Record record;
  std::string problem;
  record.Stored() = {1, 0, true, {}};
  EXPECT_FALSE(record.Decode(5, nullptr, problem));
  EXPECT_FALSE(problem.empty());
}

TEST(StoreRecord, RecordMayBeginWithItsShape) {
  sto_Shape const shape = ShapeOf({{{0, 4}, sto_Format::Int16}});
  sto_Bytes bytes;
  shape.Encode(bytes);
  sto_ByteWriter(bytes).Number(std::int16_t{-2});
  sto_Record record;
  std::string problem;
  record.Stored() = {sto_Format::OwnShape, 0, true, bytes};
  ASSERT_TRUE(record.Decode(5, nullptr, problem)) << problem;
  EXPECT_EQ(record.ClassId(), 9U);
  ASSERT_EQ(record.Parts().size(), 1U);
  EXPECT_EQ(sto_ByteReader(record.Parts()[0].m_Fields[0].m_Payload).Number<std::int16_t>(), -2);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    record.Stored() = {sto_Format::OwnShape, 0, true,
                       sto_Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size))};
    EXPECT_FALSE(record.Decode(5, nullptr, problem)) << size;
  }
}

TEST(StoreRecord, TextsAndBytesComeBackWithoutTheirLengths) {
  sto_Shape const shape = ShapeOf({{{1, -1}, sto_Format::Text},
                                   {{2, -1}, sto_Format::Text},
                                   {{3, -1}, sto_Format::Text},
                                   {{4, -1}, sto_Format::Bytes}});
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, shape, Written([](sto_ByteWriter& writer) {
                       for (int const byte : {0, 1, 3, int{'a'}, int{'b'}, 1, 7})
                         writer.U8(static_cast<std::uint8_t>(byte));
                     }),
                     problem))
      << problem;
  std::span<sto_Field const> const fields = record.Parts()[0].m_Fields;
  EXPECT_EQ(fields[0].m_Tag, sto_Format::NoText);
  EXPECT_EQ(fields[1].m_Tag, sto_Format::Text);
  EXPECT_TRUE(fields[1].m_Payload.empty());
  EXPECT_EQ(sto_AsText(fields[2].m_Payload), "ab");
  EXPECT_EQ(fields[3].m_Payload.size(), 1U);
}

TEST(StoreRecord, AbsurdLengthsOfTextsAndBytesAreRefused) {
  for (std::uint8_t const tag : {sto_Format::Text, sto_Format::Bytes})
    for (std::uint64_t const length :
         {std::uint64_t{2}, std::uint64_t{1} << 31, std::uint64_t{1} << 63, HugeNumber - 1, HugeNumber})
      EXPECT_TRUE(IsFieldRefused(tag, [length](sto_ByteWriter& writer) { writer.Varint(length); })) << length;
}

TEST(StoreRecord, VarintsThatDoNotEndAreRefused) {
  for (std::uint8_t const tag :
       {sto_Format::Text, sto_Format::Bytes, sto_Format::Reference, sto_Format::Object})
    for (std::size_t const count : {1U, 9U, 10U, 11U, 40U})
      EXPECT_TRUE(IsRefused(ShapeOf({{{3, -1}, tag}}), sto_Bytes(count, std::byte{0xFF}))) << count;
}

TEST(StoreRecord, IdsInFieldsAreDistancesFromTheObject) {
  constexpr std::int64_t Max = sto_Format::MaxObjectId;
  using Limits = std::numeric_limits<std::int64_t>;
  for (std::uint8_t const tag : {sto_Format::Reference, sto_Format::Object})
    for (std::int64_t const id : {std::int64_t{1}, std::int64_t{4}, std::int64_t{5}, std::int64_t{6}, Max,
                                  std::int64_t{0}, std::int64_t{-1}, Max + 1, Limits::min(), Limits::max()}) {
      SCOPED_TRACE(id);
      sto_Shape const shape = ShapeOf({{{3, -1}, tag, 54}});
      sto_Record record;
      std::string problem;
      bool const isTaken =
          Decode(record, shape, Written([&](sto_ByteWriter& writer) { writer.ZigZag(sto_Distance(5, id)); }),
                 problem);
      ASSERT_EQ(isTaken, id > 0 && id <= Max);
      if (!isTaken) continue;
      EXPECT_EQ(record.Parts()[0].m_Fields[0].m_ObjectId, id);
      EXPECT_EQ(record.GreatestId(), std::max(id, std::int64_t{5}));
    }
}

TEST(StoreRecord, IdsOfPartsFollowOrAreDistances) {
  sto_Shape shape;
  shape.m_PartsFollow = true;
  shape.m_Parts = {{9, 1, 0}, {8, 1, 0}, {7, 1, 0}};
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, shape, {}, problem));
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(record.Parts()[i].m_Id, 5 + static_cast<std::int64_t>(i));
  EXPECT_EQ(record.GreatestId(), 7);
  shape.m_PartsFollow = false;
  auto const ids = [](std::int64_t second, std::int64_t third) {
    return Written([&](sto_ByteWriter& writer) {
      writer.ZigZag(sto_Distance(6, second));
      writer.ZigZag(sto_Distance(7, third));
    });
  };
  ASSERT_TRUE(Decode(record, shape, ids(1, 90), problem));
  EXPECT_EQ(record.Parts()[1].m_Id, 1);
  EXPECT_EQ(record.Parts()[2].m_Id, 90);
  EXPECT_EQ(record.GreatestId(), 90);
  EXPECT_TRUE(IsRefused(shape, {}));
  for (std::int64_t const bad : {std::int64_t{0}, std::int64_t{-4}, sto_Format::MaxObjectId + 1}) {
    EXPECT_TRUE(IsRefused(shape, ids(bad, 1))) << bad;
    EXPECT_TRUE(IsRefused(shape, ids(1, bad))) << bad;
  }
}

TEST(StoreRecord, HostileListsAreRefused) {
  auto const isRefused = [](int content, int type, std::int64_t width, std::uint64_t count, int bytes) {
    sto_ShapeContent const described{static_cast<std::uint8_t>(content), 0, static_cast<std::uint8_t>(type)};
    return IsRefused(ShapeOf({}, described), Written([=](sto_ByteWriter& writer) {
                       writer.ZigZag(width);
                       writer.Varint(count);
                       for (int i = 0; i < bytes; ++i) writer.U8(0);
                     }));
  };
  EXPECT_FALSE(isRefused(1, sto_Format::ElementInt, 1, 2, 8));
  EXPECT_FALSE(isRefused(2, sto_Format::ElementInt, 1, 5000, 0));
  EXPECT_TRUE(isRefused(1, sto_Format::ElementInt, 1, 2049, 4 * 2049));
  EXPECT_TRUE(isRefused(2, sto_Format::ElementInt, 1, std::uint64_t{1} << 31, 0));
  EXPECT_TRUE(isRefused(2, sto_Format::ElementInt, 1, HugeNumber, 0));
  EXPECT_TRUE(isRefused(2, sto_Format::ElementInt, std::int64_t{1} << 31, 1, 0));
  EXPECT_TRUE(isRefused(2, sto_Format::ElementInt, 1, 5000, 1)); // bytes instead of blocks
}

TEST(StoreRecord, HostileListsOfObjectsAreRefused) {
  auto const list = [](std::uint64_t count, std::vector<std::int64_t> const& ids, int bytesBehind = 0) {
    return Written([=](sto_ByteWriter& writer) {
      writer.ZigZag(1);
      writer.Varint(count);
      sto_IdEncoder encoder(5);
      for (std::int64_t const id : ids) encoder.Put(writer, id);
      for (int i = 0; i < bytesBehind; ++i) writer.U8(0);
    });
  };
  sto_Shape const inRecord = ShapeOf({}, {sto_Format::ContentInlineList, 0, sto_Format::ElementObject});
  EXPECT_FALSE(IsRefused(inRecord, list(0, {})));
  EXPECT_FALSE(IsRefused(inRecord, list(2, {0, 7})));
  EXPECT_TRUE(IsRefused(inRecord, list(2, {7})));
  EXPECT_TRUE(IsRefused(inRecord, list(1, {7, 7})));
  EXPECT_TRUE(IsRefused(inRecord, list(1, {7}, 1)));
  for (std::int64_t const id :
       {std::int64_t{1} << 43, std::int64_t{-1}, std::numeric_limits<std::int64_t>::max(),
        std::numeric_limits<std::int64_t>::min()})
    EXPECT_TRUE(IsRefused(inRecord, list(1, {id}))) << id;
  for (std::uint8_t const kind : {sto_Format::ContentBlockList, sto_Format::ContentFixedIds}) {
    sto_Shape const inBlocks = ShapeOf({}, {kind, 0, sto_Format::ElementObject});
    EXPECT_FALSE(IsRefused(inBlocks, list(5000, {})));
    EXPECT_TRUE(IsRefused(inBlocks, list(1, {7})));
  }
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, inRecord, list(3, {0, 70, 8}), problem));
  EXPECT_EQ(record.GreatestId(), 70);
}

TEST(StoreRecord, HostileDirectoriesOfMapsAreRefused) {
  sto_Shape const shape =
      ShapeOf({}, {sto_Format::ContentMapInChunks, sto_Format::KeyInt, sto_Format::ElementInt});
  auto const directory = [](std::uint64_t count, int depth, std::uint64_t listed, std::uint64_t number,
                            std::uint64_t entries, std::uint64_t keyBytes, int bytesBehind = 0) {
    return Written([=](sto_ByteWriter& writer) {
      writer.Varint(count);
      writer.U8(static_cast<std::uint8_t>(depth));
      writer.Varint(listed);
      writer.Varint(number);
      writer.Varint(entries);
      writer.Number(std::uint64_t{77});
      writer.Varint(keyBytes);
      for (int i = 0; i < 1 + bytesBehind; ++i) writer.U8(4);
    });
  };
  constexpr std::uint64_t MaxNumber = (1 << 20) - 1;
  EXPECT_FALSE(IsRefused(shape, directory(9, 1, 1, MaxNumber, 9, 1)));
  EXPECT_FALSE(IsRefused(shape, directory(9, 2, 1, 0, 9, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 0, 1, 0, 9, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 3, 1, 0, 9, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, 2, 0, 9, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, HugeNumber, 0, 9, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, 1, MaxNumber + 1, 9, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, 1, HugeNumber, 9, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, 1, 0, 8, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(0, 1, 1, 0, 0, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(HugeNumber, 1, 1, 0, HugeNumber, 1)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, 1, 0, 9, 0)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, 1, 0, 9, HugeNumber)));
  EXPECT_TRUE(IsRefused(shape, directory(9, 1, 1, 0, 9, 1, 1)));
}

TEST(StoreRecord, HostileMapsAreRefused) {
  auto const map = [](std::uint64_t count, std::vector<int> const& bytes) {
    return Written([=](sto_ByteWriter& writer) {
      writer.Varint(count);
      for (int const byte : bytes) writer.U8(static_cast<std::uint8_t>(byte));
    });
  };
  auto const isRefused = [&](int keyType, int elementType, std::uint64_t count,
                             std::vector<int> const& bytes) {
    return IsRefused(ShapeOf({}, {sto_Format::ContentMap, static_cast<std::uint8_t>(keyType),
                                  static_cast<std::uint8_t>(elementType)}),
                     map(count, bytes));
  };
  EXPECT_FALSE(isRefused(1, sto_Format::ElementInt, 0, {}));
  EXPECT_FALSE(isRefused(1, sto_Format::ElementInt, 1, {5, 1, 2, 3, 4}));
  EXPECT_FALSE(isRefused(2, sto_Format::ElementString, 2, {0, 0, 2, 'a', 1}));
  for (std::uint64_t const count :
       {std::uint64_t{2}, std::uint64_t{1} << 31, std::uint64_t{1} << 62, HugeNumber})
    EXPECT_TRUE(isRefused(1, sto_Format::ElementInt, count, {5, 1, 2, 3, 4})) << count;
  EXPECT_TRUE(isRefused(1, sto_Format::ElementInt, 1, {5, 1, 2, 3}));
  EXPECT_TRUE(isRefused(1, sto_Format::ElementInt, 1, {5, 1, 2, 3, 4, 5}));
  EXPECT_TRUE(isRefused(1, sto_Format::ElementInt, 0, {5}));
  EXPECT_TRUE(
      isRefused(1, sto_Format::ElementInt, 1, {0xFF, 0xFF, 0xFF, 0xFF, 0x1F, 1, 2, 3, 4})); // 2^31 and above
  EXPECT_TRUE(isRefused(2, sto_Format::ElementInt, 1, {6, 'a', 1, 2, 3, 4})); // a text beyond the end
  EXPECT_TRUE(isRefused(2, sto_Format::ElementString, 1,
                        {1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1}));
  EXPECT_TRUE(isRefused(1, sto_Format::ElementObject, 1, {1, 0})); // entries without elements
  EXPECT_TRUE(isRefused(1, sto_Format::ElementObject, 1, {1, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 1}));
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, ShapeOf({}, {sto_Format::ContentMap, 1, sto_Format::ElementObject}),
                     map(2, {1, 99, 1, 3}), problem));
  EXPECT_EQ(record.GreatestId(), 99);
}

TEST(StoreRecord, HostileIntTablesAreRefused) {
  auto const isRefused = [](std::uint64_t count, std::vector<std::int64_t> const& numbers) {
    return IsRefused(ShapeOf({}, {sto_Format::ContentIntTable, 0, 0}), Written([=](sto_ByteWriter& writer) {
                       writer.Varint(count);
                       for (std::int64_t const number : numbers) writer.ZigZag(number);
                     }));
  };
  EXPECT_FALSE(isRefused(0, {}));
  EXPECT_FALSE(isRefused(2, {1, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}));
  EXPECT_TRUE(isRefused(1, {1}));
  EXPECT_TRUE(isRefused(1, {1, 2, 3}));
  EXPECT_TRUE(isRefused(1, {1, std::int64_t{1} << 31}));
  EXPECT_TRUE(isRefused(1, {-(std::int64_t{1} << 31) - 1, 1}));
  EXPECT_TRUE(isRefused(HugeNumber, {1, 2}));
}

TEST(StoreRecord, ReusedRecordHasNothingOfTheOneBefore) {
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, ShapeOf({{{1, -1}, sto_Format::Bool}}, {sto_Format::ContentIntTable, 0, 0}),
                     sto_Bytes(2), problem));
  record.NoteChangedBase();
  record.NoteIdentityTaken();
  ASSERT_TRUE(Decode(record, ShapeOf({}), {}, problem));
  EXPECT_TRUE(record.Parts()[0].m_Fields.empty());
  EXPECT_FALSE(record.Map().has_value());
  EXPECT_FALSE(record.HasChangedBase() || record.IsIdentityTaken());
}

TEST(StoreRecord, RandomBytesWithARightChecksumNeverCrash) {
  unsigned int const seed = 4711;
  std::mt19937 random(seed);
  int taken = 0;
  for (int round = 0; round < 200'000; ++round) {
    // Either the record begins with a shape of random bytes after a valid start, or it has random values.
    bool const hasOwnShape = round % 2 == 0;
    sto_Bytes const bytes = Written([&](sto_ByteWriter& writer) {
      if (hasOwnShape)
        for (int const byte : {1, 1, 9, 2}) writer.U8(static_cast<std::uint8_t>(byte));
      for (unsigned int left = random() % 40; left > 0; --left)
        writer.U8(static_cast<std::uint8_t>(random() % 3 == 0 ? random() : random() % 18));
    });
    std::vector<sto_ShapeField> fields;
    for (unsigned int left = random() % 4; left > 0; --left)
      fields.push_back({{1 + left, -1}, static_cast<std::uint8_t>(2 + random() % 15)});
    sto_ShapeContent const content{static_cast<std::uint8_t>(random() % 6),
                                   static_cast<std::uint8_t>(1 + random() % 2),
                                   static_cast<std::uint8_t>(2 + random() % 6)};
    sto_Shape const shape = ShapeOf(fields, content);
    sto_Record record;
    std::string problem;
    record.Stored() = {hasOwnShape ? sto_Format::OwnShape : 1, 0, true, bytes};
    if (!record.Decode(5, hasOwnShape ? nullptr : &shape, problem)) continue;
    ++taken;
    for (sto_Part const& part : record.Parts()) ASSERT_LE(part.m_Fields.size(), 20U) << "seed " << seed;
  }
  EXPECT_GT(taken, 1000);
}

TEST(StoreCodec, VarintsComeBack) {
  for (int shift = 0; shift < 64; ++shift)
    for (std::uint64_t const value :
         {(std::uint64_t{1} << shift) - 1, std::uint64_t{1} << shift, HugeNumber >> shift}) {
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
  EXPECT_EQ(sto_ByteReader(bytes).Varint(), HugeNumber);
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

/// A shape of one part with these fields.
std::shared_ptr<sto_NumberedShape> ShapeWith(unsigned int classId, std::initializer_list<std::uint8_t> tags) {
  auto const shape = std::make_shared<sto_NumberedShape>(sto_NumberedShape{classId, {}});
  shape->m_Shape.m_PartsFollow = true;
  shape->m_Shape.m_Parts.push_back({classId, 1, tags.size()});
  for (std::uint8_t const tag : tags)
    shape->m_Shape.m_Fields.push_back(
        {{classId + static_cast<int>(shape->m_Shape.m_Fields.size()), -1}, tag, 0});
  return shape;
}

TEST(StoreRecord, KeepsNothingOfTheRecordBeforeThatHadItsShape) {
  auto const text = ShapeWith(100, {sto_Format::Text, sto_Format::Int8});
  auto const number = ShapeWith(200, {sto_Format::Int8});
  auto const bytes = [](std::initializer_list<int> values) {
    sto_Bytes stored;
    for (int const value : values) stored.push_back(static_cast<std::byte>(value));
    return stored;
  };
  sto_Record record;
  std::string problem;
  auto const decode = [&](std::shared_ptr<sto_NumberedShape> const& shape, sto_Bytes stored) {
    record.Stored() = {shape->m_Number, 0, true, std::move(stored)};
    return record.DecodeAs(7, shape, problem);
  };
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(decode(text, bytes({0, 5})));
    EXPECT_EQ(record.Parts()[0].m_Fields[0].m_Tag, sto_Format::NoText);
    ASSERT_TRUE(decode(text, bytes({2, 'a', 6})));
    EXPECT_EQ(record.Parts()[0].m_Fields[0].m_Tag, sto_Format::Text);
    EXPECT_EQ(sto_AsText(record.Parts()[0].m_Fields[0].m_Payload), "a");
    EXPECT_EQ(record.Parts()[0].m_Fields[1].m_Payload[0], std::byte{6});
    EXPECT_EQ(record.Parts()[0].m_Fields[1].m_Key.m_NameId, 101);
    EXPECT_FALSE(decode(text, bytes({3, 'a', 6}))); // one byte is missing
    EXPECT_FALSE(decode(text, bytes({2, 'a', 6, 7})));
    EXPECT_FALSE(decode(text, {}));
    EXPECT_EQ(record.Shape(), text.get());
    ASSERT_TRUE(decode(number, bytes({8})));
    EXPECT_EQ(record.Parts()[0].m_ClassId, 200U);
    ASSERT_EQ(record.Parts()[0].m_Fields.size(), 1U);
    EXPECT_EQ(record.Parts()[0].m_Fields[0].m_Key.m_NameId, 200);
    sto_Bytes own;
    text->m_Shape.Encode(own);
    own.insert(own.end(), {std::byte{0}, std::byte{9}});
    record.Stored() = {sto_Format::OwnShape, 0, true, own};
    ASSERT_TRUE(record.Decode(7, nullptr, problem));
    EXPECT_EQ(record.Parts()[0].m_ClassId, 100U);
    EXPECT_EQ(record.Shape(), nullptr);
  }
}

} // namespace
