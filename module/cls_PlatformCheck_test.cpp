#include "module/cls_PlatformCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace {

/// A stamp with an array, a string, and its member.
class cls_PlatformCheckTest : public testing::Test {
 protected:
  static constexpr int Array = 0;
  static constexpr int String = 1;
  static constexpr int Member = 2;

  static kvl_Layout Stamp(std::vector<kvl_LayoutEntry> const& entries) {
    return {kvl_ContractVersion, static_cast<int>(entries.size()), entries.data()};
  }
  [[nodiscard]] std::string Fault() const {
    return cls_PlatformCheck::Fault("cow", Stamp(m_Compiled), Stamp(m_Loaded));
  }

  std::vector<kvl_LayoutEntry> const m_Compiled{
      {"Array", 8, 8, 0}, {"String", 16, 8, 0}, {"String::m_Length", 4, 4, 8}};
  std::vector<kvl_LayoutEntry> m_Loaded = m_Compiled;
};

TEST_F(cls_PlatformCheckTest, SameLayoutFits) {
  EXPECT_EQ(Fault(), "");
}

TEST_F(cls_PlatformCheckTest, AnotherSizeIsAFaultThatNamesLibraryClassAndBothSizes) {
  m_Loaded[String].m_Size = 24;
  EXPECT_EQ(Fault(), "in KVLcow, String has 24 bytes, but KVLpersist was compiled with 16 bytes.");
}

TEST_F(cls_PlatformCheckTest, AnotherAlignmentIsAFault) {
  m_Loaded[Array].m_Alignment = 1;
  EXPECT_EQ(Fault(), "in KVLcow, Array is aligned to 1 byte, but KVLpersist was compiled with 8 bytes.");
}

TEST_F(cls_PlatformCheckTest, AnotherPlaceOfAMemberIsAFault) {
  m_Loaded[Member].m_Offset = 12;
  EXPECT_EQ(Fault(),
            "in KVLcow, String::m_Length begins after 12 bytes, but KVLpersist was compiled with 8 bytes.");
}

TEST_F(cls_PlatformCheckTest, MissingEntryIsAFault) {
  m_Loaded.erase(m_Loaded.begin());
  EXPECT_EQ(Fault(), "in KVLcow, Array is not listed.");
}

TEST_F(cls_PlatformCheckTest, OrderOfEntriesAndFurtherOnesDoNotMatter) {
  m_Loaded.push_back({"List", 16, 8, 0});
  std::reverse(m_Loaded.begin(), m_Loaded.end());
  EXPECT_EQ(Fault(), "");
}

TEST_F(cls_PlatformCheckTest, OfAnotherVersionOnlyTheVersionIsRead) {
  kvl_Layout const loaded{kvl_ContractVersion + 1, 1000, nullptr};
  EXPECT_EQ(cls_PlatformCheck::Fault("thr", Stamp(m_Compiled), loaded),
            "KVLthr follows version 2 of the platform's contract, but KVLpersist version 1.");
}

TEST_F(cls_PlatformCheckTest, LoadedLibrariesFit) {
  EXPECT_EQ(cls_PlatformCheck::FirstFault(), "");
}

/// Whether a stamp lists a class.
bool Lists(kvl_Layout const& stamp, std::string const& name) {
  return std::any_of(stamp.m_Entries, stamp.m_Entries + stamp.m_Count,
                     [&name](kvl_LayoutEntry const& entry) { return entry.m_Name == name; });
}

TEST_F(cls_PlatformCheckTest, StampsListWhatCrossesTheLibraries) {
  for (char const* name :
       {"cow_String", "cow_StringBuffer", "cow_Counter", "cow_CountedHld<int>",
        "cow_COW<int, cow_Direct<int>>", "cow_1DArray<double>", "cow_1DArray<double>::Buffer",
        "cow_1DArrayList<double>", "cow_List<double>", "cow_2DArray<double>", "cow_Map<cow_String, double>",
        "cow_Btree<cow_String, double>", "cow_SystemErrorCode"})
    EXPECT_TRUE(Lists(cow_Layout(), name)) << name;
  for (char const* name : {"omi_Btree<unsigned int, double>", "omi_Btree<unsigned int, double>::Node",
                           "omi_UintTable<double>", "omi_BlockedArray<double>"})
    EXPECT_TRUE(Lists(omni_Layout(), name)) << name;
  for (char const* name : {"atr_StringBase", "atr_String", "atr_translate"})
    EXPECT_TRUE(Lists(atr_Layout(), name)) << name;
  EXPECT_TRUE(Lists(thr_Layout(), "thr_GlobalLock"));
  EXPECT_TRUE(Lists(typ_Layout(), "typ_ArchCompEntry"));
}

} // namespace
