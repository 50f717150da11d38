#include "tests/support/Seeds.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreFlips.h"

namespace {

using StoreCheckFlips = StoreFileTest;

/// A sample; tests/faults has a program that tries all bits.
TEST_F(StoreCheckFlips, EverySampledBitIsFoundOrHarmless) {
  StoreFaultVfs const vfs; // nothing waits for the disk
  StoreFlips flips(Path());
  std::map<StoreFlips::Fate, int> fates;
  for (std::size_t bit = 3; bit < flips.BitCount(); bit += 131 * static_cast<std::size_t>(StoreSweepStride)) {
    std::string text;
    StoreFlips::Fate const fate = flips.Try(bit, text);
    EXPECT_NE(fate, StoreFlips::Fate::Wrong) << text;
    ++fates[fate];
  }
  EXPECT_GT(fates[StoreFlips::Fate::Found], 50 / StoreSweepStride);
  EXPECT_GT(fates[StoreFlips::Fate::Harmless], 5 / StoreSweepStride);
}

} // namespace
