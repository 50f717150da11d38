#include "store/format/sto_ListExtra.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "store/format/sto_RecordBuilder.h"

namespace {

using Extents = std::vector<std::int64_t>;

constexpr std::int64_t Id = 5;

/// A record with a list of 24 bytes, with what its header may have.
class OneList {
 public:
  OneList(Extents const& extents, std::int64_t unitId) {
    sto_ListHeader header;
    header.m_ElementType = sto_Format::ElementInt8;
    header.m_Width = 4;
    header.m_Count = 24;
    {
      sto_Bytes encoded; // the builder keeps a copy
      EXPECT_TRUE(header.m_Extra.SetExtents(extents, header.m_Count, encoded));
      header.m_Extra.SetUnit(unitId);
      m_Builder.AddPart(9, 1, Id);
      m_Builder.SetList(header, sto_Bytes(24));
    }
    m_Values = m_Builder.Values();
    m_Shape = m_Builder.Shape();
    EXPECT_TRUE(m_Builder.HasShape(m_Shape));
  }
  [[nodiscard]] bool Decode(sto_Record& record) const { return Decode(record, m_Values); }
  [[nodiscard]] bool Decode(sto_Record& record, sto_Bytes values) const {
    std::string problem;
    record.Stored() = {1, 0, true, std::move(values)};
    return record.Decode(Id, &m_Shape, problem);
  }

  sto_RecordBuilder m_Builder;
  sto_Bytes m_Values;
  sto_Shape m_Shape;
};

bool IsTaken(std::initializer_list<std::uint64_t> varints, std::uint64_t flags, std::int64_t count) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  for (std::uint64_t const varint : varints) writer.Varint(varint);
  sto_ByteReader reader(bytes);
  sto_ListExtra extra;
  return extra.Take(reader, flags, count) && !reader.Failed() && reader.Remaining() == 0;
}

TEST(StoreListExtra, ListWithoutItHasNoByteMore) {
  OneList const plain({}, 0);
  EXPECT_EQ(plain.m_Shape.m_Content.m_Kind, sto_Format::ContentInlineList);
  EXPECT_EQ(plain.m_Values.size(), 2U + 24U);
  sto_Record record;
  ASSERT_TRUE(plain.Decode(record));
  EXPECT_TRUE(record.List()->m_Extra.IsEmpty());
}

TEST(StoreListExtra, ExtentsAndUnitComeBack) {
  OneList const both({2, 3, 4}, 300);
  EXPECT_EQ(both.m_Shape.m_Content,
            (sto_ShapeContent{sto_Format::ContentListWithMore, 0, sto_Format::ElementInt8}));
  sto_Record record;
  ASSERT_TRUE(both.Decode(record));
  ASSERT_TRUE(record.List());
  EXPECT_EQ(record.List()->m_Width, 4);
  EXPECT_EQ(record.List()->m_Count, 24);
  EXPECT_EQ(record.List()->m_Inline.size(), 24U);
  EXPECT_FALSE(record.List()->m_InBlocks);
  EXPECT_EQ(record.List()->m_Extra.Extents(), (Extents{2, 3, 4}));
  EXPECT_EQ(record.List()->m_Extra.UnitId(), 300);
  EXPECT_TRUE(both.m_Builder.HasContentOf(record));
  EXPECT_FALSE(OneList({2, 3, 4}, 301).m_Builder.HasContentOf(record));
  EXPECT_FALSE(OneList({4, 3, 2}, 300).m_Builder.HasContentOf(record));
  EXPECT_FALSE(OneList({}, 0).m_Builder.HasContentOf(record));
}

TEST(StoreListExtra, EitherComesBackAlone) {
  sto_Record record;
  ASSERT_TRUE(OneList({24}, 0).Decode(record));
  EXPECT_EQ(record.List()->m_Extra.Extents(), Extents{24});
  EXPECT_EQ(record.List()->m_Extra.UnitId(), 0);
  ASSERT_TRUE(OneList({}, 1).Decode(record));
  EXPECT_EQ(record.List()->m_Extra.Rank(), 0);
  EXPECT_EQ(record.List()->m_Extra.UnitId(), 1);
}

TEST(StoreListExtra, ListInBlocksHasItToo) {
  sto_ListHeader header;
  header.m_ElementType = sto_Format::ElementDouble;
  header.m_Count = 6000;
  header.m_InBlocks = true;
  sto_Bytes encoded;
  ASSERT_TRUE(header.m_Extra.SetExtents(Extents{60, 100}, header.m_Count, encoded));
  header.m_Extra.SetUnit(7);
  sto_RecordBuilder builder;
  builder.AddPart(9, 1, Id);
  builder.SetList(header, {});
  sto_Shape const shape = builder.Shape();
  EXPECT_EQ(shape.m_Content,
            (sto_ShapeContent{sto_Format::ContentBlocksWithMore, 0, sto_Format::ElementDouble}));
  sto_Record record;
  std::string problem;
  record.Stored() = {1, 0, true, builder.Values()};
  ASSERT_TRUE(record.Decode(Id, &shape, problem)) << problem;
  EXPECT_TRUE(record.List()->m_InBlocks);
  EXPECT_EQ(record.List()->m_Extra.Extents(), (Extents{60, 100}));
  EXPECT_EQ(record.List()->m_Extra.UnitId(), 7);
  EXPECT_TRUE(builder.HasContentOf(record));
  record.Stored().m_Bytes.push_back(std::byte{0});
  EXPECT_FALSE(record.Decode(Id, &shape, problem));
}

TEST(StoreListExtra, BytesAreThoseOfTheFormat) {
  OneList const both({2, 3, 4}, 300);
  constexpr int Expected[] = {8, 24, 0x60, 3, 2, 3, 4, 0xAC, 2};
  for (std::size_t i = 0; i < std::size(Expected); ++i)
    EXPECT_EQ(std::to_integer<int>(both.m_Values[i]), Expected[i]) << i;
  EXPECT_EQ(both.m_Values.size(), std::size(Expected) + 24);
}

TEST(StoreListExtra, EveryShorterHeaderAndUnknownFlagIsRefused) {
  OneList const both({2, 3, 4}, 300);
  sto_Record record;
  for (std::size_t size = 0; size < 9; ++size)
    EXPECT_FALSE(both.Decode(
        record, sto_Bytes(both.m_Values.begin(), both.m_Values.begin() + static_cast<std::ptrdiff_t>(size))))
        << size;
  for (int const flags : {0, 1, 0x10, 0x61, 0x70}) {
    sto_Bytes values = both.m_Values;
    values[2] = static_cast<std::byte>(flags);
    EXPECT_FALSE(both.Decode(record, values)) << flags;
  }
}

TEST(StoreListExtra, ExtentsAreThoseOfTheCount) {
  EXPECT_TRUE(IsTaken({2, 3, 4}, sto_ListExtra::HasExtents, 12));
  EXPECT_FALSE(IsTaken({2, 3, 4}, sto_ListExtra::HasExtents, 13));
  EXPECT_TRUE(IsTaken({2, 0, 4}, sto_ListExtra::HasExtents, 0));
  EXPECT_FALSE(IsTaken({2, 0, 4}, sto_ListExtra::HasExtents, 4));
  EXPECT_FALSE(IsTaken({0}, sto_ListExtra::HasExtents, 0)); // no rank
  EXPECT_TRUE(IsTaken({7}, sto_ListExtra::HasUnit, 3));
  EXPECT_FALSE(IsTaken({0}, sto_ListExtra::HasUnit, 3)); // no name
  EXPECT_FALSE(IsTaken({std::uint64_t{1} << 63}, sto_ListExtra::HasUnit, 3));
}

TEST(StoreListExtra, HostileExtentsAreRefused) {
  constexpr std::uint64_t Half = std::uint64_t{1} << 32; // whose square is 0 in 64 bits
  EXPECT_FALSE(IsTaken({2, Half, Half}, sto_ListExtra::HasExtents, 0));
  constexpr std::uint64_t Most = std::numeric_limits<int>::max();
  EXPECT_FALSE(IsTaken({4, Most, Most, Most, 2}, sto_ListExtra::HasExtents, 2));
  EXPECT_TRUE(IsTaken({3, Most, Most, 0}, sto_ListExtra::HasExtents, 0));
  EXPECT_TRUE(IsTaken({2, Most, 1}, sto_ListExtra::HasExtents, static_cast<std::int64_t>(Most)));
  EXPECT_FALSE(IsTaken({std::numeric_limits<std::uint64_t>::max(), 1}, sto_ListExtra::HasExtents, 1));
  EXPECT_FALSE(IsTaken({33, 1}, sto_ListExtra::HasExtents, 1));
}

TEST(StoreListExtra, RowHasElementsAndFitsIntoAList) {
  constexpr std::int64_t Most = std::numeric_limits<int>::max();
  sto_Bytes bytes;
  auto const rowOf = [&bytes](Extents const& extents, std::int64_t count) {
    sto_ListExtra extra;
    EXPECT_TRUE(extra.SetExtents(extents, count, bytes));
    return extra.Row();
  };
  EXPECT_EQ(rowOf({4, 2, 3}, 24), (Extents{2, 3}));
  EXPECT_EQ(rowOf({0, 2, 3}, 0), (Extents{2, 3}));
  EXPECT_EQ(rowOf({5}, 5), Extents());
  EXPECT_EQ(rowOf({5, 0}, 0), Extents());
  EXPECT_EQ(rowOf({0, Most}, 0), Extents{Most});
  EXPECT_EQ(rowOf({0, Most, 2}, 0), Extents());
  EXPECT_EQ(rowOf({0, Most, Most, Most, 0}, 0), Extents());
  EXPECT_EQ(sto_ListExtra().Row(), Extents());
}

TEST(StoreListExtra, ImpossibleExtentsAreNotSet) {
  sto_ListExtra extra;
  sto_Bytes bytes;
  EXPECT_TRUE(extra.SetExtents(Extents{2, 2}, 4, bytes));
  EXPECT_FALSE(extra.SetExtents(Extents{2, 2}, 5, bytes));
  EXPECT_FALSE(extra.SetExtents(Extents{-1, -4}, 4, bytes));
  EXPECT_FALSE(extra.SetExtents(Extents(33, 1), 1, bytes));
  EXPECT_EQ(extra.Extents(), (Extents{2, 2}));
  EXPECT_TRUE(extra.SetExtents(Extents(32, 1), 1, bytes));
  EXPECT_TRUE(extra.SetExtents({}, 5, bytes));
  EXPECT_TRUE(extra.IsEmpty());
}

} // namespace
