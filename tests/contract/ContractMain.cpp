#include <gtest/gtest.h>

#include <iostream>
#include <string_view>

#include "tests/contract/Coverage.h"

// Either the table of slots, or all the tests.
int main(int argc, char** argv) {
  if (argc == 2 && argv[1] == std::string_view("--print-slots")) {
    std::cout << ContractCoverageText();
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
