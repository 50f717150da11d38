#include "module/cls_PlatformContract.h"

#include <gtest/gtest.h>

namespace {

TEST(PlatformContract, StartsAndStopsEveryLibraryUnderOneCounter) {
  EXPECT_STREQ(cls_StartAndStopPlatform(), "");
}

} // namespace
