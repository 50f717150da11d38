#include <fstream>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/contract/Coverage.h"
#include "tests/contract/SlotNames.h"

// The suite itself: the names of the slots are right, and none is without test.

namespace {

TEST(ContractSlots, NamesStandWhereTheCompilerPutsTheOperations) {
  std::map<std::string, int> counts;
  for (ContractSlot const& slot : ContractSlots()) {
    EXPECT_EQ(slot.m_Slot, slot.m_Compiled) << slot.m_Class << "::" << slot.m_Operation;
    EXPECT_EQ(slot.m_Slot, counts[slot.m_Class]++) << slot.m_Class << ": not in ascending order";
  }
  for (ContractSlot const& slot : ContractSlots())
    EXPECT_EQ(ExportedSlots(*slot.m_Type), counts[slot.m_Class]) << slot.m_Class;
}

TEST(ContractSlots, EverySlotIsCovered) {
  for (ContractSlot const& slot : ContractSlots())
    EXPECT_FALSE(ContractCoverage::Instance().TestsOf({slot.m_Class, slot.m_Slot}).empty())
        << slot.m_Class << " " << slot.m_Slot << " " << slot.m_Operation;
}

TEST(ContractSlots, WhatIsCoveredIsASlot) {
  std::set<ContractCoverage::Slot> slots;
  for (ContractSlot const& slot : ContractSlots()) slots.insert({slot.m_Class, slot.m_Slot});
  for (ContractCoverage::Slot const& slot : ContractCoverage::Instance().Slots())
    EXPECT_TRUE(slots.contains(slot)) << slot.first << " " << slot.second;
}

TEST(ContractSlots, EveryTestOfAStoreStatesWhatItCovers) {
  std::set<std::string> const stating = ContractCoverage::Instance().Tests();
  testing::UnitTest const& program = *testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    testing::TestSuite const& suite = *program.GetTestSuite(i);
    std::string const name = suite.name();
    if (!name.starts_with("Stores/")) continue;
    for (int j = 0; j < suite.total_test_count(); ++j) {
      std::string const test = suite.GetTestInfo(j)->name();
      EXPECT_TRUE(stating.contains(name.substr(7) + "." + test.substr(0, test.find('/')))) << name << test;
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
