#include <gtest/gtest.h>

#include <iostream>
#include <string_view>

#include "tests/contract/ContractRunner.h"
#include "tests/contract/Coverage.h"

// Either what covers each slot, in numbers or by name, or all the tests. For a debugger: --in-one-process.
int main(int argc, char** argv) {
  if (argc == 2 && argv[1] == std::string_view("--print-slots")) {
    std::cout << ContractCoverageText();
    return 0;
  }
  if (argc == 2 && argv[1] == std::string_view("--print-covering")) {
    std::cout << ContractCoveringText();
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  bool const isAlone = argc == 2 && argv[1] == std::string_view("--in-one-process");
  return isAlone || GTEST_FLAG_GET(list_tests) ? RUN_ALL_TESTS() : RunContractIsolated();
}
