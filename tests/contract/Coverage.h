#pragma once

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

// What each contract test says it covers: rows of a table that is complete before main begins.

/// A string literal as a template argument.
template <std::size_t Size> struct ContractName {
  consteval ContractName(char const (&chars)[Size]) { std::copy_n(chars, Size, m_Chars); }
  char m_Chars[Size];
};

/// The tests of every slot.
class ContractCoverage {
 public:
  using Slot = std::pair<std::string, int>; ///< class and slot

  static ContractCoverage& Instance();

  /// `testClass` is the class that the framework makes of a test: Suite_Name_Test.
  void Add(std::type_info const& testClass, std::string const& className, std::vector<int> const& slots);

  /// "Suite.Name" of all tests that cover a slot, ascending.
  [[nodiscard]] std::set<std::string> TestsOf(Slot const& slot) const;
  /// Every slot that a test covers.
  [[nodiscard]] std::set<Slot> Slots() const;
  /// Every test that covers a slot.
  [[nodiscard]] std::set<std::string> Tests() const;

 private:
  std::set<std::pair<Slot, std::string>> m_Rows;
};

/// Puts its row into the table when the program starts, whether the test is run or not.
template <class Test, ContractName Class, int... Slots> struct ContractCovers {
  struct Entry {
    Entry() { ContractCoverage::Instance().Add(typeid(Test), Class.m_Chars, {Slots...}); }
  };
  static inline Entry const s_Entry;
};

/// States within a test which slots of a class it covers: COVERS(cls_MementoWrite, 6, 7). Templates are named
/// without arguments.
#define COVERS(Class, ...)                                                                                   \
  static_cast<void>(&ContractCovers<std::remove_reference_t<decltype(*this)>, #Class, __VA_ARGS__>::s_Entry)

/// All slots with how many tests cover each, as docs/slot-coverage.md has it.
std::string ContractCoverageText();
/// All slots, each with the names of the tests that cover it.
std::string ContractCoveringText();
