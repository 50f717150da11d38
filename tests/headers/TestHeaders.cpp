#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <unistd.h>

// Part of every test program. Programs are run whole, so a test that ends the process with status 0, or a filter that
// leaves no test, must not look like success.

namespace {

/// Whether this process is a copy that a death test started: it is meant to end within a test.
bool IsDeathTestChild() {
  std::ifstream file("/proc/self/cmdline");
  std::string const line(std::istreambuf_iterator<char>(file), {});
  return line.find("internal_run_death_test") != std::string::npos;
}

class WholeRun : public testing::EmptyTestEventListener {
 public:
  WholeRun() : m_IsChild(IsDeathTestChild()) { std::atexit(&AtExit); }

  void OnTestProgramStart(testing::UnitTest const& program) override {
    if (program.test_to_run_count() == 0) {
      std::fputs("No test fits the filter.\n", stderr);
      std::_Exit(1);
    }
    s_RunningIn = m_IsChild ? 0 : getpid();
  }
  void OnTestProgramEnd(testing::UnitTest const&) override { s_RunningIn = 0; }

 private:
  static void AtExit() {
    if (s_RunningIn != getpid()) return; // a forked child may end as it likes
    std::fputs("The program ended in the middle of its tests.\n", stderr);
    std::_Exit(1);
  }

  static inline pid_t s_RunningIn = 0;
  bool m_IsChild;
};

[[maybe_unused]] bool const isRegistered = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new WholeRun); // owned by the list
  return true;
}();

} // namespace
