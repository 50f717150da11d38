#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/ChildProcess.h"

// Runs one scenario of a child process, or all tests.
int main(int argc, char** argv) {
  constexpr char Option[] = "--child=";
  if (argc == 2 && std::strncmp(argv[1], Option, sizeof Option - 1) == 0)
    return RunScenario(argv[1] + sizeof Option - 1);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
