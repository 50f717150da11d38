// The table of loaded objects when memory runs out.

#include <gtest/gtest.h>

#include <new>

#include "persist/pointers/cls_LoadedTable.h"
#include "tests/support/store/StoreNewFault.h"

TEST(LoadedTableMemory, EntryThatCannotBeAddedChangesNothing) {
  int failures = 0;
  for (bool isAdded = false; !isAdded;) {
    cls_LoadedTable<int> table;
    for (int i = 0; i < 512; ++i) table.Add(i, i); // the next entry needs a chunk, and a page
    ASSERT_LT(failures, 10);
    StoreNewFault::FailAt(failures + 1);
    try {
      table.Add(1'000'000, 7);
      StoreNewFault::FailAt(0);
      isAdded = true;
      EXPECT_EQ(*table.Find(1'000'000), 7);
    } catch (std::bad_alloc const&) {
      StoreNewFault::FailAt(0);
      ++failures;
      EXPECT_EQ(table.Count(), 512U);
      EXPECT_EQ(table.Find(1'000'000), nullptr);
      for (int i = 0; i < 512; ++i) ASSERT_EQ(*table.Find(i), i);
      table.Add(1'000'000, 8); // and it can be tried again
      EXPECT_EQ(*table.Find(1'000'000), 8);
    }
  }
  EXPECT_GE(failures, 2);
}
