#include "module/nex_initialize.h"

#include <gtest/gtest.h>

#include <new>

#include "errors/nex_OutOfMemoryException.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/cls_initialize.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/store/StoreNewFault.h"

// Starts for which there is not enough memory. Otherwise a later start finds half a library, in silence: it
// only counts.

namespace {

constexpr int AllModules = 8;
constexpr int AllClasses = 11;

/// Whether a start ran out of memory.
bool Fails(void (*start)(int&), int& count) {
  try {
    start(count);
  } catch (std::bad_alloc const&) {
    return true;
  }
  return false;
}

/// How many classes of the library are declared.
int DeclaredClasses() {
  cls_MetadataRegistrar* const registrar = omi_Singleton<cls_MetadataRegistrar>::InstanceIfAny();
  return registrar == nullptr ? 0 : registrar->Registrar2().GetMDList().Length();
}

/// Expects that nothing is started, and that a start starts everything.
void ExpectStartsWhole(int count) {
  EXPECT_EQ(count, 0);
  EXPECT_EQ(DeclaredClasses(), 0);
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(), nullptr);
  nex_initialize(count);
  EXPECT_EQ(count, AllModules);
  EXPECT_EQ(DeclaredClasses(), AllClasses);
  EXPECT_NE(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(), nullptr);
  nex_finalize(count);
  EXPECT_EQ(count, 0);
}

} // namespace

TEST(InitializeMemory, AStartWithoutMemoryStartsNothingAndTheNextOneEverything) {
  long long failures = 0;
  for (bool fails = true; fails; failures += fails ? 1 : 0) {
    SCOPED_TRACE(failures + 1);
    int count = 0;
    StoreNewFault::FailAt(failures + 1);
    fails = Fails(&nex_initialize, count);
    StoreNewFault::FailAt(0);
    if (!fails) nex_finalize(count);
    ExpectStartsWhole(count);
    if (HasFailure()) return;
  }
  EXPECT_GT(failures, 100);
}

TEST(InitializeMemory, AStartWithoutMemoryForTextsStartsNothingAndTheNextOneEverything) {
  long long failures = 0;
  for (bool fails = true; fails; failures += fails ? 1 : 0) {
    SCOPED_TRACE(failures + 1);
    int count = 0;
    {
      AllocationProbe probe;
      probe.FailAt(failures + 1);
      fails = Fails(&nex_initialize, count);
    }
    if (!fails) nex_finalize(count);
    ExpectStartsWhole(count);
    if (HasFailure()) return;
  }
  EXPECT_GT(failures, 0);
}

TEST(InitializeMemory, AStartOfThePersistenceModuleAloneIsUndoneToo) {
  long long failures = 0;
  for (bool fails = true; fails; failures += fails ? 1 : 0) {
    int count = 0;
    StoreNewFault::FailAt(failures + 1);
    fails = Fails(&cls_initialize, count);
    StoreNewFault::FailAt(0);
    if (!fails) cls_finalize(count);
    ASSERT_EQ(count, 0);
    ASSERT_EQ(DeclaredClasses(), 0) << failures;
    cls_initialize(count);
    ASSERT_EQ(DeclaredClasses(), 2) << failures;
    cls_finalize(count);
  }
  EXPECT_GT(failures, 10);
}

TEST(InitializeMemory, AFailedStartLeavesTheModulesOfOthersRunning) {
  int others = 0;
  cls_initialize(others);
  int count = 0;
  for (long long step = 1;; ++step) {
    StoreNewFault::FailAt(step);
    bool const fails = Fails(&nex_initialize, count);
    StoreNewFault::FailAt(0);
    if (!fails) break;
    ASSERT_EQ(count, 0);
    ASSERT_GE(DeclaredClasses(), 2);
  }
  nex_finalize(count);
  EXPECT_EQ(count, 0);
  EXPECT_GE(DeclaredClasses(), 2);
  cls_finalize(others);
  EXPECT_EQ(others, 0);
  EXPECT_EQ(DeclaredClasses(), 0);
}
