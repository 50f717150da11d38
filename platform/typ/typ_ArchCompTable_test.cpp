#include "platform/typ/typ_ArchCompTable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/typ/typ_initialize.h"

namespace {

constexpr unsigned int Shapes = 0x123;
constexpr unsigned int Solids = 0x124;
constexpr unsigned int Id(unsigned int component, unsigned int ordinal) {
  return component << 16 | ordinal;
}

constexpr typ_ArchCompEntry ShapeEntries[] = {
    {0, 1, nullptr},
    {4, 1, "shape"},
    {4, Id(Shapes, 1), "curve"},
    {4, Id(Shapes, 2), "arc"},
};
constexpr typ_ArchCompEntry SolidEntries[] = {
    {0, 1, nullptr},
    {4, Id(Shapes, 1), "solid"},
    {4, Id(Solids, 3), "circle a"},
    {4, Id(Solids, 2), "circle b"},
    {4, Id(0x777, 5), "orphan"},
};

class typ_ArchCompTableTest : public testing::Test {
 protected:
  void SetUp() override {
    typ_ArchCompTable::InsertEntry(Shapes, ShapeEntries, std::size(ShapeEntries));
    typ_ArchCompTable::InsertEntry(Solids, SolidEntries, std::size(SolidEntries));
  }
  void TearDown() override { typ_ArchCompTable::Clear(); }
};

TEST_F(typ_ArchCompTableTest, NamesTypesByComponentAndOrdinal) {
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 1)), "shape");
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 3)), "arc");
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Solids, 1)), "solid");
}

TEST_F(typ_ArchCompTableTest, NamesATypeWithoutNameByItsNumber) {
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 0)), "0x01230000");
}

TEST_F(typ_ArchCompTableTest, NamesAnUnknownTypeByItsNumber) {
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 4)), "0x01230004");
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(0x125, 1)), "0x01250001");
  EXPECT_EQ(typ_ArchCompTable::GetName(0), "0x00000000");
  EXPECT_EQ(typ_ArchCompTable::GetName(0xFFFFFFFF), "0xFFFFFFFF");
}

TEST_F(typ_ArchCompTableTest, FindsEveryAncestorOnTheWayUp) {
  EXPECT_TRUE(typ_ArchCompTable::IsParent(Id(Shapes, 3), Id(Shapes, 2)));
  EXPECT_TRUE(typ_ArchCompTable::IsParent(Id(Shapes, 3), Id(Shapes, 1)));
}

TEST_F(typ_ArchCompTableTest, FindsAnAncestorInAnotherComponent) {
  EXPECT_TRUE(typ_ArchCompTable::IsParent(Id(Solids, 1), Id(Shapes, 1)));
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Solids, 1), Id(Shapes, 2)));
}

TEST_F(typ_ArchCompTableTest, TypeIsNotItsOwnParent) {
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Shapes, 2), Id(Shapes, 2)));
}

TEST_F(typ_ArchCompTableTest, DescendantIsNotAParent) {
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Shapes, 1), Id(Shapes, 2)));
}

TEST_F(typ_ArchCompTableTest, NoParentMarkIsNeverAParent) {
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Shapes, 1), typ_ArchCompTable::NoParent));
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Shapes, 3), typ_ArchCompTable::NoParent));
  EXPECT_EQ(typ_ArchCompTable::NoParent, 1U);
}

TEST_F(typ_ArchCompTableTest, UnknownTypeHasNoParent) {
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Shapes, 99), Id(Shapes, 1)));
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(0x999, 1), Id(Shapes, 1)));
}

TEST_F(typ_ArchCompTableTest, ParentThatIsNotInTheTableStillCounts) {
  EXPECT_TRUE(typ_ArchCompTable::IsParent(Id(Solids, 4), Id(0x777, 5)));
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Solids, 4), Id(Shapes, 1)));
}

TEST_F(typ_ArchCompTableTest, EndsOnCircularParents) {
  EXPECT_TRUE(typ_ArchCompTable::IsParent(Id(Solids, 2), Id(Solids, 3)));
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Solids, 2), Id(Shapes, 1)));
}

TEST_F(typ_ArchCompTableTest, LaterInsertReplacesTheComponent) {
  static constexpr typ_ArchCompEntry Replacement[] = {{0, 1, nullptr}, {4, 1, "figure"}};
  typ_ArchCompTable::InsertEntry(Shapes, Replacement, std::size(Replacement));
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 1)), "figure");
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 2)), "0x01230002");
}

TEST_F(typ_ArchCompTableTest, KeepsWhatItWasGivenWhenTheGiverIsGone) {
  {
    std::string name = "plate";
    std::vector<typ_ArchCompEntry> entries{{0, 1, nullptr}, {4, Id(Solids, 1), name.c_str()}};
    typ_ArchCompTable::InsertEntry(0x127, entries.data(), 2);
    name[0] = 'x';
    entries.assign(2, {0, 1, nullptr});
  }
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(0x127, 1)), "plate");
  EXPECT_TRUE(typ_ArchCompTable::IsParent(Id(0x127, 1), Id(Solids, 1)));
}

TEST_F(typ_ArchCompTableTest, ClearForgetsEveryComponent) {
  typ_ArchCompTable::Clear();
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 1)), "0x01230001");
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Solids, 1), Id(Shapes, 1)));
}

TEST_F(typ_ArchCompTableTest, LastStopOfTheModuleForgetsEveryComponent) {
  int callers = 0;
  typ_initialize(callers);
  typ_initialize(callers);
  typ_finalize(callers);
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 1)), "shape");
  typ_finalize(callers);
  EXPECT_EQ(typ_ArchCompTable::GetName(Id(Shapes, 1)), "0x01230001");
}

TEST_F(typ_ArchCompTableTest, FindsTheRootOfADeepHierarchy) {
  constexpr unsigned int Deep = 0x126;
  static std::vector<typ_ArchCompEntry> entries;
  entries.assign(500, {4, 1, "level"});
  for (unsigned int i = 2; i < entries.size(); ++i) entries[i].m_Parent = Id(Deep, i - 1);
  typ_ArchCompTable::InsertEntry(Deep, entries.data(), static_cast<unsigned int>(entries.size()));
  EXPECT_TRUE(typ_ArchCompTable::IsParent(Id(Deep, 499), Id(Deep, 1)));
  EXPECT_FALSE(typ_ArchCompTable::IsParent(Id(Deep, 499), Id(Deep, 0)));
}

} // namespace
