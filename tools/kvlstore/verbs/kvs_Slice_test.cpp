#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace kvs_slice_test {
namespace {

/// "first+count" of a slice of so many rows.
std::string Of(std::string const& slice, std::int64_t count) {
  kvs_Slice::Range const range = kvs_Slice::Parse(slice).Of(count);
  return std::to_string(range.m_First) + "+" + std::to_string(range.m_Count);
}

TEST(KvsSlice, CountsFromBothEnds) {
  EXPECT_EQ(Of(":", 5), "0+5");
  EXPECT_EQ(Of("1:3", 5), "1+2");
  EXPECT_EQ(Of(":2", 5), "0+2");
  EXPECT_EQ(Of("-2:", 5), "3+2");
  EXPECT_EQ(Of(":-2", 5), "0+3");
  EXPECT_EQ(Of("-3:-1", 5), "2+2");
  EXPECT_EQ(Of("3", 5), "3+1");
  EXPECT_EQ(Of("-1", 5), "4+1");
  EXPECT_EQ(Of("-2", 5), "3+1");
}

TEST(KvsSlice, LeavesOutWhatIsBeyond) {
  EXPECT_EQ(Of("3:99", 5), "3+2");
  EXPECT_EQ(Of("9:", 5), "5+0");
  EXPECT_EQ(Of("3:1", 5), "3+0");
  EXPECT_EQ(Of("-99:", 5), "0+5");
  EXPECT_EQ(Of(":", 0), "0+0");
  EXPECT_EQ(Of("-1", 0), "0+0");
  std::string const most = std::to_string(std::numeric_limits<std::int64_t>::max());
  std::string const least = std::to_string(std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Of(most, 5), "5+0");
  EXPECT_EQ(Of(least + ":" + most, 5), "0+5");
  EXPECT_EQ(kvs_Slice::Parse(least + ":").Of(std::numeric_limits<std::int64_t>::max()).m_First, 0);
}

TEST(KvsSlice, RefusesWhatIsNone) {
  for (char const* const text :
       {"", "a", "1:2:3", "1:b", " 1", "+1", "1-3", "9223372036854775808", "0x1:", "1.5"})
    EXPECT_THROW(static_cast<void>(kvs_Slice::Parse(text)), kvs_Error) << text;
}

} // namespace
} // namespace kvs_slice_test
