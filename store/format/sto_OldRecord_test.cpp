#include "store/format/sto_OldRecord.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>

#include "store/format/sto_Checksum.h"
#include "store/format/sto_Record.h"

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

/// Decodes the record of an object as a store of an older format has it.
bool Decode(sto_Record& record, std::int64_t id, unsigned int classId, sto_Bytes bytes,
            std::string& problem) {
  record.Stored() = {sto_StoredRecord::SelfDescribed, classId, true, std::move(bytes)};
  return record.Decode(id, nullptr, problem);
}

bool IsRefused(sto_Bytes bytes, unsigned int classId = 9) {
  sto_Record record;
  std::string problem;
  bool const isDecoded = Decode(record, 5, classId, std::move(bytes), problem);
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
Write TaggedField(std::uint8_t tag, Write value) {
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

TEST(StoreOldRecord, SmallestRecordIsTaken) {
  EXPECT_FALSE(IsRefused(Sealed(Content([](sto_ByteWriter& writer) { writer.U8(0); }))));
}

TEST(StoreOldRecord, RecordOfAnotherClassOrIdIsRefused) {
  sto_Bytes const bytes = Sealed(Content([](sto_ByteWriter& writer) { writer.U8(0); }));
  EXPECT_TRUE(IsRefused(bytes, 10));
  sto_Record record;
  std::string problem;
  EXPECT_FALSE(Decode(record, 6, 9, bytes, problem));
}

TEST(StoreOldRecord, EveryRecordShorterThanAChecksumIsRefused) {
  for (std::size_t size = 0; size < 8; ++size) EXPECT_TRUE(IsRefused(sto_Bytes(size)));
}

TEST(StoreOldRecord, SealedEmptyContentIsRefused) {
  EXPECT_TRUE(IsRefused(Sealed([](sto_ByteWriter&) {})));
}

TEST(StoreOldRecord, UnknownFormsTagsAndContentsAreRefused) {
  EXPECT_TRUE(IsRefused(Sealed([](sto_ByteWriter& writer) { writer.U8(2); })));
  for (int tag : {0, 17, 18, 127, 255})
    EXPECT_TRUE(IsRefused(Sealed(TaggedField(static_cast<std::uint8_t>(tag), [](sto_ByteWriter&) {}))))
        << tag;
  for (int content : {3, 4, 255})
    EXPECT_TRUE(IsRefused(Sealed(
        Content([content](sto_ByteWriter& writer) { writer.U8(static_cast<std::uint8_t>(content)); }))))
        << content;
}

TEST(StoreOldRecord, BytesAfterTheEndAreRefused) {
  EXPECT_TRUE(IsRefused(Sealed(Content([](sto_ByteWriter& writer) {
    writer.U8(0);
    writer.U8(0);
  }))));
}

TEST(StoreOldRecord, AbsurdCountsOfPartsAreRefused) {
  for (std::uint64_t const count : {std::uint64_t{0}, std::uint64_t{2}, std::uint64_t{1} << 32, Huge})
    EXPECT_TRUE(IsRefused(Sealed([count](sto_ByteWriter& writer) {
      writer.U8(1);
      writer.Varint(count);
      for (int const byte : {9, 2, 5, 0, 0}) writer.U8(static_cast<std::uint8_t>(byte));
    }))) << count;
}

TEST(StoreOldRecord, AbsurdCountsOfFieldsAreRefused) {
  for (std::uint64_t const count : {std::uint64_t{1}, std::uint64_t{1} << 31, std::uint64_t{1} << 62, Huge})
    EXPECT_TRUE(IsRefused(Sealed(Part([count](sto_ByteWriter& writer) {
      writer.Varint(count);
      writer.U8(0);
    }))))
        << count;
}

TEST(StoreOldRecord, AbsurdLengthsOfTextsAndBytesAreRefused) {
  for (std::uint8_t const tag : {sto_Format::Text, sto_Format::Bytes})
    for (std::uint64_t const length :
         {std::uint64_t{2}, std::uint64_t{1} << 31, std::uint64_t{1} << 63, Huge})
      EXPECT_TRUE(
          IsRefused(Sealed(TaggedField(tag, [length](sto_ByteWriter& writer) { writer.Varint(length); }))))
          << length;
}

TEST(StoreOldRecord, VarintsThatDoNotEndAreRefused) {
  for (int const count : {1, 9, 10, 11, 40})
    EXPECT_TRUE(IsRefused(Sealed([count](sto_ByteWriter& writer) {
      writer.U8(1);
      for (int i = 0; i < count; ++i) writer.U8(0xFF);
    }))) << count;
}

TEST(StoreOldRecord, ClassesVersionsAndIdsOutOfRangeAreRefused) {
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

TEST(StoreOldRecord, IdsInFieldsThatNoObjectCanHaveAreRefused) {
  for (std::uint8_t const tag : {sto_Format::Reference, sto_Format::Object})
    for (std::int64_t const id : {std::int64_t{1}, sto_Format::MaxObjectId, std::int64_t{0}, std::int64_t{-1},
                                  sto_Format::MaxObjectId + 1}) {
      bool const isGood = id > 0 && id <= sto_Format::MaxObjectId;
      EXPECT_EQ(IsRefused(Sealed(TaggedField(tag,
                                             [=](sto_ByteWriter& writer) {
                                               writer.Number(id);
                                               if (tag == sto_Format::Object) writer.U8(0);
                                             }))),
                !isGood)
          << id;
    }
}

TEST(StoreOldRecord, GreatestIdIsThatOfAllPartsAndFields) {
  sto_Record record;
  std::string problem;
  ASSERT_TRUE(Decode(record, 5, 9,
                     Sealed(TaggedField(sto_Format::Reference,
                                        [](sto_ByteWriter& writer) { writer.Number(std::int64_t{77}); })),
                     problem));
  EXPECT_EQ(record.GreatestId(), 77);
}

TEST(StoreOldRecord, HostileListsAreRefused) {
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

TEST(StoreOldRecord, HostileListsOfObjectsAreRefused) {
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
  ASSERT_TRUE(Decode(record, 5, 9, list(1, 3, {0, 70, 8}), problem));
  EXPECT_EQ(record.GreatestId(), 70);
}

TEST(StoreOldRecord, HostileMapsAreRefused) {
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
  ASSERT_TRUE(Decode(record, 5, 9, map(1, sto_Format::ElementObject, 2, {1, 99, 1, 3}), problem));
  EXPECT_EQ(record.GreatestId(), 99);
}

TEST(StoreOldRecord, HostileIntTablesAreRefused) {
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

TEST(StoreOldRecord, RandomBytesWithARightChecksumNeverCrash) {
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
    if (!Decode(record, 5, 9, std::move(bytes), problem)) continue;
    ++taken;
    for (sto_Part const& part : record.Parts()) ASSERT_LE(part.m_Fields.size(), 20U) << "seed " << seed;
  }
  EXPECT_GT(taken, 100);
}

/// The converted record of object 5.
struct Converted {
  explicit Converted(sto_Bytes bytes) {
    std::string problem;
    EXPECT_TRUE(sto_ConvertOldRecord(5, {sto_StoredRecord::SelfDescribed, 9, true, std::move(bytes)}, m_Shape,
                                     m_Values, problem))
        << problem;
  }
  sto_Shape m_Shape;
  sto_Bytes m_Values;
};

sto_Bytes Bytes(std::initializer_list<int> values) {
  sto_Bytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

/// A field by its number, with the bytes of its value.
void Put(sto_ByteWriter& writer, int number, int tag, std::initializer_list<int> value) {
  writer.Varint(0);
  writer.ZigZag(number);
  writer.U8(static_cast<std::uint8_t>(tag));
  for (int const byte : value) writer.U8(static_cast<std::uint8_t>(byte));
}

TEST(StoreOldRecord, EachTypeOfFieldBecomesItsValue) {
  Converted const converted(Sealed(Part([](sto_ByteWriter& writer) {
    writer.Varint(8);
    Put(writer, 0, sto_Format::NoText, {});
    Put(writer, 1, sto_Format::Text, {0});
    Put(writer, 2, sto_Format::Text, {1, 'a'});
    Put(writer, 3, sto_Format::Bytes, {2, 8, 9});
    Put(writer, 4, sto_Format::Int16, {1, 2});
    Put(writer, 5, sto_Format::Reference, {3, 0, 0, 0, 0, 0, 0, 0});
    Put(writer, 6, sto_Format::Object, {5, 0, 0, 0, 0, 0, 0, 0, 54});
    Put(writer, -7, sto_Format::Bool, {1});
    writer.U8(0);
  })));
  sto_Shape shape;
  shape.m_PartsFollow = true;
  shape.m_Parts = {{9, 1, 8}};
  shape.m_Fields = {{{0, 0}, sto_Format::Text},       {{0, 1}, sto_Format::Text},
                    {{0, 2}, sto_Format::Text},       {{0, 3}, sto_Format::Bytes},
                    {{0, 4}, sto_Format::Int16},      {{0, 5}, sto_Format::Reference},
                    {{0, 6}, sto_Format::Object, 54}, {{0, -7}, sto_Format::Bool}};
  EXPECT_EQ(converted.m_Shape, shape);
  EXPECT_EQ(converted.m_Values, Bytes({0,       // no text
                                       1,       // empty text
                                       2, 'a',  // "a"
                                       2, 8, 9, // two bytes
                                       1, 2,    // 513
                                       3,       // object 5 - 2
                                       0,       // object 5 itself
                                       1}));    // true
}

TEST(StoreOldRecord, IdsOfPartsThatDoNotFollowAreKept) {
  for (int const second : {6, 4, 70}) {
    SCOPED_TRACE(second);
    sto_Record record;
    std::string problem;
    ASSERT_TRUE(Decode(record, 5, 9, Sealed([second](sto_ByteWriter& writer) {
                         writer.U8(1);
                         writer.Varint(2);
                         for (int const byte : {9, 2, 5, 0, 8, 2, second, 0, 0})
                           writer.U8(static_cast<std::uint8_t>(byte));
                       }),
                       problem))
        << problem;
    ASSERT_EQ(record.Parts().size(), 2U);
    EXPECT_EQ(record.Parts()[0].m_Id, 5);
    EXPECT_EQ(record.Parts()[1].m_Id, second);
  }
}

TEST(StoreOldRecord, KeyThatIsThereTwiceIsRefused) {
  EXPECT_TRUE(IsRefused(Sealed(Part([](sto_ByteWriter& writer) {
    writer.Varint(2);
    Put(writer, 4, sto_Format::Bool, {1});
    Put(writer, 4, sto_Format::Bool, {0});
    writer.U8(0);
  }))));
}

TEST(StoreOldRecord, ListsMapsAndTablesKeepTheirContent) {
  auto const convert = [](std::initializer_list<int> content) {
    return Converted(Sealed(Content([&](sto_ByteWriter& writer) {
      for (int const byte : content) writer.U8(static_cast<std::uint8_t>(byte));
    })));
  };
  Converted const list = convert({1, 6, 2, 2, 3, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(list.m_Shape.m_Content, (sto_ShapeContent{sto_Format::ContentInlineList, 0, 6}));
  EXPECT_EQ(list.m_Values, Bytes({2, 2, 3, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
  Converted const blocks = convert({2, 4, 6, 0x88, 0x27});
  EXPECT_EQ(blocks.m_Shape.m_Content, (sto_ShapeContent{sto_Format::ContentBlockList, 0, 4}));
  EXPECT_EQ(blocks.m_Values, Bytes({6, 0x88, 0x27}));
  Converted const map = convert({3, 1, 2, 1, 3, 2, 'v'});
  EXPECT_EQ(map.m_Shape.m_Content, (sto_ShapeContent{sto_Format::ContentMap, 1, 2}));
  EXPECT_EQ(map.m_Values, Bytes({1, 3, 2, 'v'}));
  Converted const table = convert({4, 1, 3, 4});
  EXPECT_EQ(table.m_Shape.m_Content, (sto_ShapeContent{sto_Format::ContentIntTable, 0, 0}));
  EXPECT_EQ(table.m_Values, Bytes({1, 3, 4}));
}

TEST(StoreOldRecord, IdsOfAListBecomeDistancesAndThoseInBlocksStayAsTheyAre) {
  auto const convert = [](int kind, int count, std::vector<std::int64_t> const& ids) {
    return Converted(Sealed(Content([&](sto_ByteWriter& writer) {
      for (int const byte : {kind, 7, 2, count}) writer.U8(static_cast<std::uint8_t>(byte));
      for (std::int64_t const id : ids) writer.Number(id);
    })));
  };
  Converted const list = convert(1, 4, {6, 0, 7, 3});
  EXPECT_EQ(list.m_Shape.m_Content, (sto_ShapeContent{sto_Format::ContentInlineList, 0, 7}));
  EXPECT_EQ(list.m_Values, Bytes({2, 4, 3, 0, 3, 8}));
  Converted const blocks = convert(2, 100, {});
  EXPECT_EQ(blocks.m_Shape.m_Content, (sto_ShapeContent{sto_Format::ContentFixedIds, 0, 7}));
  EXPECT_EQ(blocks.m_Values, Bytes({2, 100}));
}

} // namespace
