#include "errors/nex_TypeTable.h"

#include <gtest/gtest.h>

#include <array>

#include "errors/nex_TextException.h"
#include "platform/typ/typ_ArchCompTable.h"

namespace {

class TypeTable : public ::testing::Test {
 protected:
  void SetUp() override { nex_TypeTable::InsertEntries(); }
  void TearDown() override { typ_ArchCompTable::Clear(); }

  /// The report of the text exception that a check raises.
  template <class Check, class... Args> static std::string Raised(Check check, Args const&... args) {
    try {
      check(args...);
    } catch (nex_TextException const& thrown) {
      return std::string(thrown.DeveloperReport().View());
    }
    return "nothing raised";
  }
};

constexpr std::array<char const*, 10> Names = {nullptr,
                                               "nex_Exception",
                                               "nex_TextException",
                                               "nex_CommandException",
                                               "nex_AssertException",
                                               "nex_BadCastException",
                                               "nex_ExitException",
                                               "nex_InvalidObjException",
                                               "nex_SystemErrorException",
                                               "nex_OutOfMemoryException"};

} // namespace

TEST_F(TypeTable, NamesTheNineClassesByOrdinal) {
  for (unsigned int ordinal = 1; ordinal < Names.size(); ++ordinal)
    EXPECT_EQ(typ_ArchCompTable::GetName(0x1F0000 + ordinal), Names[ordinal]);
}

TEST_F(TypeTable, OrdinalZeroAndTheOneBeyondHaveNoName) {
  EXPECT_EQ(typ_ArchCompTable::GetName(0x1F0000), "0x001F0000");
  EXPECT_EQ(typ_ArchCompTable::GetName(0x1F000A), "0x001F000A");
}

TEST_F(TypeTable, EverySubclassStandsRightBelowTheRoot) {
  for (unsigned int type = 0x1F0002; type <= 0x1F0009; ++type) {
    EXPECT_TRUE(typ_ArchCompTable::IsParent(type, 0x1F0001));
    for (unsigned int other = 0x1F0002; other <= 0x1F0009; ++other)
      EXPECT_FALSE(typ_ArchCompTable::IsParent(type, other));
  }
}

TEST_F(TypeTable, RootAndOrdinalZeroHaveNoParent) {
  for (unsigned int other = 0; other <= 0x1F000A; other += (other == 2 ? 0x1EFFFE : 1)) {
    EXPECT_FALSE(typ_ArchCompTable::IsParent(0x1F0001, other)) << other;
    EXPECT_FALSE(typ_ArchCompTable::IsParent(0x1F0000, other)) << other;
  }
}

TEST_F(TypeTable, IsComponent31) {
  EXPECT_EQ(nex_TypeTable::Component, 31U);
  EXPECT_EQ(nex_TypeTable::RegistrarMask, 2U);
}

TEST_F(TypeTable, DeclaresNineClassesInAFixedOrder) {
  struct Expected {
    char const* m_Name;
    unsigned int m_ClassId;
    int m_Version;
    unsigned int m_BaseClassId;
  };
  constexpr Expected expected[] = {
      {"nex_AssertException", 0x1F0004, 800, 0x1F0001},
      {"nex_BadCastException", 0x1F0005, 800, 0x1F0001},
      {"nex_CommandException", 0x1F0003, 800, 0x1F0001},
      {"nex_Exception", 0x1F0001, 800, 1},
      {"nex_ExitException", 0x1F0006, 800, 0x1F0001},
      {"nex_OutOfMemoryException", 0x1F0009, 871, 0x1F0001},
      {"nex_InvalidObjException", 0x1F0007, 800, 0x1F0001},
      {"nex_SystemErrorException", 0x1F0008, 800, 0x1F0001},
      {"nex_TextException", 0x1F0002, 800, 0x1F0001},
  };
  auto const declarations = nex_TypeTable::Declarations();
  ASSERT_EQ(declarations.size(), std::size(expected));
  for (std::size_t i = 0; i < declarations.size(); ++i) {
    EXPECT_STREQ(declarations[i].m_Name, expected[i].m_Name);
    EXPECT_EQ(declarations[i].m_ClassId, expected[i].m_ClassId);
    EXPECT_EQ(declarations[i].m_Version, expected[i].m_Version);
    EXPECT_EQ(declarations[i].m_BaseClassId, expected[i].m_BaseClassId);
  }
}

TEST_F(TypeTable, AbsentClassIsReportedByItsName) {
  EXPECT_EQ(Raised(nex_TypeTable::Checks().m_ClassAbsent, 0x1F0002U),
            "Exception: cls_ClassRegistrar::ConstGet failed: Class nex_TextException is not declared in "
            "metadata. in file nex_TypeTable at line 46");
}

TEST_F(TypeTable, AbsentVersionIsReportedWithTheVersion) {
  EXPECT_EQ(Raised(nex_TypeTable::Checks().m_VersionAbsent, 0x1F0009U, 870),
            "Exception: cls_ClassRegistrar::GetClassMetadata failed: Class nex_OutOfMemoryException/Version "
            "870 is not declared in metadata. in file nex_TypeTable at line 60");
  EXPECT_EQ(Raised(nex_TypeTable::Checks().m_VersionAbsent, 0x1F0009U, -1),
            "Exception: cls_ClassRegistrar::GetClassMetadata failed: Class nex_OutOfMemoryException/Version "
            "-1 is not declared in metadata. in file nex_TypeTable at line 60");
}

TEST_F(TypeTable, AbsentNameIsReported) {
  EXPECT_EQ(Raised(nex_TypeTable::Checks().m_NameAbsent, cow_String("mesh_Node")),
            "Exception: cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name "
            "mesh_Node. in file nex_TypeTable at line 74");
}

TEST_F(TypeTable, AbsentNameTakesPerCentSignsAsTheyStand) {
  EXPECT_EQ(Raised(nex_TypeTable::Checks().m_NameAbsent, cow_String("50%s%d")),
            "Exception: cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name "
            "50%s%d. in file nex_TypeTable at line 74");
}

TEST_F(TypeTable, UnknownClassIsReportedByTheTypeTablesName) {
  std::string const name(typ_ArchCompTable::GetName(0x7B0001).View());
  EXPECT_EQ(Raised(nex_TypeTable::Checks().m_ClassAbsent, 0x7B0001U),
            "Exception: cls_ClassRegistrar::ConstGet failed: Class " + name +
                " is not declared in metadata. in file nex_TypeTable at line 46");
}
