#include "module/cls_PlatformContract.h"

#include <gtest/gtest.h>

namespace {

TEST(PlatformContract, StartsAndStopsEveryLibraryUnderOneCounter) {
  int count = 0;
  mem_initialize(count);
  typ_initialize(count);
  thr_initialize(count);
  omni_initialize(count);
  atr_initialize(count);
  cow_initialize(count);
  EXPECT_EQ(count, 6);
  cow_finalize(count);
  atr_finalize(count);
  omni_finalize(count);
  thr_finalize(count);
  typ_finalize(count);
  mem_finalize(count);
  EXPECT_EQ(count, 0);
}

} // namespace
