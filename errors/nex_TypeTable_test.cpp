#include "errors/nex_TypeTable.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "errors/nex_TextException.h"
#include "metadata/cls_ClassRegistrar.h"
#include "platform/typ/typ_ArchCompTable.h"

namespace {

class TypeTable : public ::testing::Test {
 protected:
  void SetUp() override { nex_TypeTable::InsertEntries(); }
  void TearDown() override {
    typ_ArchCompTable::Clear();
    cls_ClassRegistrar::SetConstGetCheck(nullptr);
    cls_ClassRegistrar::SetGetClassMetadataCheck(nullptr);
    cls_ClassRegistrar::SetGetClassIDCheck(nullptr);
  }

  /// The report of the text exception that a look-up throws.
  template <class LookUp> static std::string Raised(LookUp lookUp) {
    try {
      (void)lookUp();
    } catch (nex_TextException const& thrown) {
      return std::string(thrown.DeveloperReport().View());
    }
    return "nothing raised";
  }

  std::string ConstGet(unsigned int classId) const {
    return Raised([&] { return m_Registrar.ConstGet(classId).Version(); });
  }
  std::string GetClassMetadata(unsigned int classId, int version) const {
    return Raised([&] { return m_Registrar.GetClassMetadata(classId, version).Version(); });
  }
  std::string GetClassID(cow_String const& name) const {
    return Raised([&] { return m_Registrar.GetClassID(name); });
  }

  cls_ClassRegistrar m_Registrar;
};

std::string const NothingRaised = "nothing raised";

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

TEST_F(TypeTable, OrdinalZeroAndTheOnePastTheEndHaveNoName) {
  EXPECT_EQ(typ_ArchCompTable::GetName(0x1F0000), "0x001F0000");
  EXPECT_EQ(typ_ArchCompTable::GetName(0x1F000A), "0x001F000A");
}

TEST_F(TypeTable, EverySubclassIsDirectlyBelowTheRoot) {
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
}

TEST_F(TypeTable, RegisteringAgainChangesNothing) {
  nex_TypeTable::InsertEntries();
  EXPECT_EQ(typ_ArchCompTable::GetName(0x1F0009), "nex_OutOfMemoryException");
  EXPECT_TRUE(typ_ArchCompTable::IsParent(0x1F0009, 0x1F0001));
  EXPECT_EQ(GetClassID("mesh_Node"_cow),
            "Exception: cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name "
            "mesh_Node. in file nex_TypeTable at line 74");
}

TEST_F(TypeTable, AbsentClassIsReportedByItsName) {
  EXPECT_EQ(ConstGet(0x1F0002),
            "Exception: cls_ClassRegistrar::ConstGet failed: Class nex_TextException is not declared in "
            "metadata. in file nex_TypeTable at line 46");
}

TEST_F(TypeTable, ClassOutsideTheTypeTableIsReportedByItsNumber) {
  EXPECT_EQ(ConstGet(0x7B0001), "Exception: cls_ClassRegistrar::ConstGet failed: Class 0x007B0001 is not "
                                "declared in metadata. in file nex_TypeTable at line 46");
  EXPECT_EQ(GetClassMetadata(0x7B0001, 2),
            "Exception: cls_ClassRegistrar::GetClassMetadata failed: Class 0x007B0001/Version 2 is not "
            "declared in metadata. in file nex_TypeTable at line 60");
}

TEST_F(TypeTable, AbsentVersionIsReportedWithTheVersion) {
  m_Registrar.CreateClassMD("nex_OutOfMemoryException"_cow, 0x1F0009, 871, nullptr, 0x1F0001);
  EXPECT_EQ(GetClassMetadata(0x1F0009, 870),
            "Exception: cls_ClassRegistrar::GetClassMetadata failed: Class nex_OutOfMemoryException/Version "
            "870 is not declared in metadata. in file nex_TypeTable at line 60");
  EXPECT_EQ(GetClassMetadata(0x1F0009, -1),
            "Exception: cls_ClassRegistrar::GetClassMetadata failed: Class nex_OutOfMemoryException/Version "
            "-1 is not declared in metadata. in file nex_TypeTable at line 60");
}

TEST_F(TypeTable, VersionOfAnAbsentClassIsReportedAsAnAbsentVersion) {
  EXPECT_EQ(GetClassMetadata(0x1F0002, 800),
            "Exception: cls_ClassRegistrar::GetClassMetadata failed: Class nex_TextException/Version 800 is "
            "not declared in metadata. in file nex_TypeTable at line 60");
}

TEST_F(TypeTable, AbsentNameIsReported) {
  EXPECT_EQ(GetClassID("mesh_Node"_cow),
            "Exception: cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name "
            "mesh_Node. in file nex_TypeTable at line 74");
}

TEST_F(TypeTable, AbsentNameKeepsPerCentSigns) {
  EXPECT_EQ(GetClassID("50%s%d"_cow),
            "Exception: cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name "
            "50%s%d. in file nex_TypeTable at line 74");
}

TEST_F(TypeTable, ChecksAcceptARegisteredClass) {
  cls_ClassMetadata const& metadata =
      m_Registrar.CreateClassMD("mesh_Node"_cow, 0x7B0001, 3, nullptr, cls_ClassMetadata::RootClassId);
  EXPECT_EQ(ConstGet(0x7B0001), NothingRaised);
  EXPECT_EQ(GetClassMetadata(0x7B0001, 3), NothingRaised);
  EXPECT_EQ(GetClassID("mesh_Node"_cow), NothingRaised);
  EXPECT_EQ(&m_Registrar.ConstGet(0x7B0001), &metadata);
  EXPECT_EQ(&m_Registrar.GetClassMetadata(0x7B0001, 3), &metadata);
  EXPECT_EQ(m_Registrar.GetClassID("mesh_Node"_cow), 0x7B0001U);
}

TEST_F(TypeTable, ChecksUseTheRegistrarThatIsAsked) {
  cls_ClassRegistrar other;
  other.CreateClassMD("nex_TextException"_cow, 0x1F0002, 800, nullptr, 0x1F0001);
  EXPECT_NE(ConstGet(0x1F0002), NothingRaised);
  EXPECT_NE(GetClassMetadata(0x1F0002, 800), NothingRaised);
  EXPECT_NE(GetClassID("nex_TextException"_cow), NothingRaised);
}

TEST_F(TypeTable, ChecksThrowATextExceptionWithTheTablesPlace) {
  try {
    (void)m_Registrar.ConstGet(0x1F0002);
    FAIL() << NothingRaised;
  } catch (nex_TextException const& thrown) {
    EXPECT_EQ(thrown.DynTypeId(), nex_TextException::TypeId());
    EXPECT_EQ(thrown.UserReport(),
              "cls_ClassRegistrar::ConstGet failed: Class nex_TextException is not declared in metadata.");
    EXPECT_EQ(thrown.FromFile(), "nex_TypeTable");
    EXPECT_EQ(thrown.FromLine(), 46);
  }
}

TEST_F(TypeTable, ChecksRemainAfterTheTypeTableIsEmptied) {
  typ_ArchCompTable::Clear();
  EXPECT_EQ(ConstGet(0x1F0002), "Exception: cls_ClassRegistrar::ConstGet failed: Class 0x001F0002 is not "
                                "declared in metadata. in file nex_TypeTable at line 46");
}
