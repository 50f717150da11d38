#include "module/cls_PlatformCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
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

} // namespace
