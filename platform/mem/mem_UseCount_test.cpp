#include "platform/mem/mem_UseCount.h"

#include <gtest/gtest.h>

#include "platform/atr/atr_initialize.h"
#include "platform/cow/cow_initialize.h"
#include "platform/mem/mem_initialize.h"
#include "platform/omni/omni_initialize.h"
#include "platform/thr/thr_initialize.h"
#include "platform/typ/typ_initialize.h"

namespace {

TEST(mem_UseCount, StartsOnlyWithTheFirstEnter) {
  mem_UseCount uses;
  int callers = 0;
  EXPECT_TRUE(uses.Enter(callers));
  EXPECT_EQ(callers, 1);
  EXPECT_FALSE(uses.Enter(callers));
  EXPECT_FALSE(uses.Enter(callers));
  EXPECT_EQ(callers, 1);
}

TEST(mem_UseCount, StopsOnlyWithTheLastLeave) {
  mem_UseCount uses;
  int callers = 5;
  uses.Enter(callers);
  uses.Enter(callers);
  EXPECT_FALSE(uses.Leave(callers));
  EXPECT_EQ(callers, 6);
  EXPECT_TRUE(uses.Leave(callers));
  EXPECT_EQ(callers, 5);
}

TEST(mem_UseCount, LeaveWithoutEnterDoesNothing) {
  mem_UseCount uses;
  int callers = 3;
  EXPECT_FALSE(uses.Leave(callers));
  EXPECT_EQ(callers, 3);
  EXPECT_TRUE(uses.Enter(callers));
  EXPECT_EQ(callers, 4);
}

TEST(mem_UseCount, IsActiveFromTheFirstEnterToTheLastLeave) {
  mem_UseCount uses;
  int callers = 0;
  EXPECT_FALSE(uses.IsActive());
  uses.Enter(callers);
  uses.Enter(callers);
  uses.Leave(callers);
  EXPECT_TRUE(uses.IsActive());
  uses.Leave(callers);
  EXPECT_FALSE(uses.IsActive());
}

TEST(mem_UseCount, ChangesTheCountersOfTheCallersThatStartAndStopIt) {
  mem_UseCount uses;
  int first = 0;
  int second = 0;
  uses.Enter(first);
  uses.Enter(second);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 0);
  uses.Leave(first);
  EXPECT_EQ(first, 1);
  uses.Leave(second);
  EXPECT_EQ(second, -1);
}

struct Module {
  char const* m_Name;
  void (*m_Initialize)(int&);
  void (*m_Finalize)(int&);
};

void PrintTo(Module const& module, std::ostream* stream) {
  *stream << module.m_Name;
}

class PlatformModule : public testing::TestWithParam<Module> {};

TEST_P(PlatformModule, RaisesTheCallersCounterOnlyWithTheFirstStart) {
  int callers = 0;
  GetParam().m_Initialize(callers);
  EXPECT_EQ(callers, 1);
  GetParam().m_Initialize(callers);
  EXPECT_EQ(callers, 1);
  GetParam().m_Finalize(callers);
  EXPECT_EQ(callers, 1);
  GetParam().m_Finalize(callers);
  EXPECT_EQ(callers, 0);
}

TEST_P(PlatformModule, StopWithoutStartDoesNothing) {
  int callers = 7;
  GetParam().m_Finalize(callers);
  EXPECT_EQ(callers, 7);
}

TEST_P(PlatformModule, StartsAgainAfterEachStop) {
  int callers = 0;
  for (int cycle = 0; cycle < 100; ++cycle) {
    GetParam().m_Initialize(callers);
    ASSERT_EQ(callers, 1);
    GetParam().m_Finalize(callers);
    ASSERT_EQ(callers, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(All, PlatformModule,
                         testing::Values(Module{"mem", &mem_initialize, &mem_finalize},
                                         Module{"typ", &typ_initialize, &typ_finalize},
                                         Module{"thr", &thr_initialize, &thr_finalize},
                                         Module{"omni", &omni_initialize, &omni_finalize},
                                         Module{"atr", &atr_initialize, &atr_finalize},
                                         Module{"cow", &cow_initialize, &cow_finalize}),
                         [](auto const& module) { return std::string(module.param.m_Name); });

} // namespace
