#include <fstream>
#include <sstream>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/contract/Coverage.h"
#include "tests/slots/BackEndSlots.h"

// The suite itself: no slot is without test. That the slots are right is for their own tests.

namespace {

TEST(ContractSlots, EverySlotIsCovered) {
  for (BackEndInterface const& interface : BackEndInterfaces())
    for (Slot const& slot : interface.m_Slots)
      EXPECT_FALSE(ContractCoverage::Instance().TestsOf({interface.m_Class, slot.m_Number}).empty())
          << interface.m_Class << " " << slot.m_Number << " " << slot.m_Operation;
}

TEST(ContractSlots, WhatIsCoveredIsASlot) {
  std::set<ContractCoverage::Slot> slots;
  for (BackEndInterface const& interface : BackEndInterfaces())
    for (Slot const& slot : interface.m_Slots) slots.insert({interface.m_Class, slot.m_Number});
  for (ContractCoverage::Slot const& slot : ContractCoverage::Instance().Slots())
    EXPECT_TRUE(slots.contains(slot)) << slot.first << " " << slot.second;
}

TEST(ContractSlots, EveryTestOfABackEndStatesWhatItCovers) {
  std::set<std::string> const stating = ContractCoverage::Instance().Tests();
  testing::UnitTest const& program = *testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    testing::TestSuite const& suite = *program.GetTestSuite(i);
    std::string const name = suite.name();
    if (!name.starts_with("BackEnds/")) continue;
    for (int j = 0; j < suite.total_test_count(); ++j) {
      std::string const test = suite.GetTestInfo(j)->name();
      EXPECT_TRUE(stating.contains(name.substr(std::string_view("BackEnds/").size()) + "." +
                                   test.substr(0, test.find('/'))))
          << name << test;
    }
  }
}

TEST(ContractSlots, TheDocumentOfTheSlotsIsUpToDate) {
  std::ifstream file(KVL_DOCS_DIR "/slot-coverage.md");
  std::stringstream text;
  text << file.rdbuf();
  EXPECT_TRUE(text.str() == ContractCoverageText())
      << "write it anew: contract_test --print-slots > docs/slot-coverage.md";
}

} // namespace
