#include "tests/contract/Coverage.h"

#include <cstdlib>
#include <memory>

#include <cxxabi.h>

#include "tests/slots/BackEndSlots.h"

namespace {

/// "Suite.Name" from "(anonymous namespace)::Suite_Name_Test".
std::string TestName(std::type_info const& testClass) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> const plain(
      abi::__cxa_demangle(testClass.name(), nullptr, nullptr, &status), std::free);
  std::string name = plain ? plain.get() : testClass.name();
  name.erase(0, name.rfind(':') + 1);
  constexpr std::string_view End = "_Test";
  if (name.ends_with(End)) name.erase(name.size() - End.size());
  if (auto const split = name.find('_'); split != std::string::npos) name[split] = '.';
  return name;
}

} // namespace

ContractCoverage& ContractCoverage::Instance() {
  static ContractCoverage coverage;
  return coverage;
}

void ContractCoverage::Add(std::type_info const& testClass, std::string const& className,
                           std::vector<int> const& slots) {
  std::string const test = TestName(testClass);
  for (int const slot : slots) m_Rows.insert({{className, slot}, test});
}

std::set<std::string> ContractCoverage::TestsOf(Slot const& slot) const {
  std::set<std::string> tests;
  for (auto const& [covered, test] : m_Rows)
    if (covered == slot) tests.insert(test);
  return tests;
}

std::set<ContractCoverage::Slot> ContractCoverage::Slots() const {
  std::set<Slot> slots;
  for (auto const& row : m_Rows) slots.insert(row.first);
  return slots;
}

std::set<std::string> ContractCoverage::Tests() const {
  std::set<std::string> tests;
  for (auto const& row : m_Rows) tests.insert(row.second);
  return tests;
}

std::string ContractCoverageText() {
  std::string text =
      "# Slots and their contract tests\n"
      "\n"
      "Every virtual operation that a back end implements or calls, and how many tests of `contract_test` state that they\n"
      "cover it; `contract_test --print-covering` names them. Each test runs in every setting of the suite\n"
      "(`tests/contract/StoreContract.cpp`), those of ContractHuge in the ones that take huge cases. A family of templates\n"
      "is one class here. Written by `contract_test --print-slots`; a test compares it with the program.\n";
  for (BackEndInterface const& interface : BackEndInterfaces()) {
    text += "\n## " + interface.m_Class + "\n\n| slot | operation | tests |\n|---|---|---|\n";
    for (Slot const& slot : interface.m_Slots)
      text +=
          "| " + std::to_string(slot.m_Number) + " | `" + slot.m_Operation + "` | " +
          std::to_string(ContractCoverage::Instance().TestsOf({interface.m_Class, slot.m_Number}).size()) +
          " |\n";
  }
  return text;
}

std::string ContractCoveringText() {
  std::string text;
  for (BackEndInterface const& interface : BackEndInterfaces())
    for (Slot const& slot : interface.m_Slots) {
      text += interface.m_Class + " " + std::to_string(slot.m_Number) + " " + slot.m_Operation + "\n";
      for (std::string const& test : ContractCoverage::Instance().TestsOf({interface.m_Class, slot.m_Number}))
        text += "  " + test + "\n";
    }
  return text;
}
