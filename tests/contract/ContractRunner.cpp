#include "tests/contract/ContractRunner.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string NameOf(testing::TestInfo const& test) {
  return std::string(test.test_suite_name()) + "." + test.name();
}

/// Sends lines to the parent: "P test" for each test that will run, "S test" when one starts, "K reason" when
/// it is skipped, "E test" or "F test" when it has passed or failed.
class Reporter : public testing::EmptyTestEventListener {
 public:
  explicit Reporter(int pipe) : m_Pipe(pipe) {}

  void OnTestIterationStart(testing::UnitTest const& program, int) override {
    for (int i = 0; i < program.total_test_suite_count(); ++i) {
      testing::TestSuite const& suite = *program.GetTestSuite(i);
      for (int j = 0; j < suite.total_test_count(); ++j)
        if (suite.GetTestInfo(j)->should_run()) Send("P " + NameOf(*suite.GetTestInfo(j)));
    }
  }
  void OnTestStart(testing::TestInfo const& test) override { Send("S " + NameOf(test)); }
  void OnTestPartResult(testing::TestPartResult const& result) override {
    if (!result.skipped()) return;
    std::string reason = result.message();
    reason.erase(std::remove(reason.begin(), reason.end(), '\n'), reason.end());
    Send("K " + reason);
  }
  void OnTestEnd(testing::TestInfo const& test) override {
    Send((test.result()->Failed() ? "F " : "E ") + NameOf(test));
  }

 private:
  void Send(std::string line) const {
    line += '\n';
    for (std::size_t sent = 0; sent < line.size();) {
      ssize_t const count = write(m_Pipe, line.data() + sent, line.size() - sent);
      if (count <= 0) std::_Exit(3); // the parent is gone
      sent += static_cast<std::size_t>(count);
    }
  }

  int m_Pipe;
};

/// What the children have reported.
class Progress {
 public:
  void Take(std::string const& line) {
    std::string const name = line.substr(std::min<std::size_t>(2, line.size()));
    switch (line.empty() ? ' ' : line.front()) {
    case 'P':
      if (m_IsPlanning) m_Plan.push_back(name);
      break;
    case 'S':
      m_IsPlanning = false;
      m_Running = name;
      std::erase(m_Plan, name);
      break;
    case 'K':
      ++m_Skipped[name];
      break;
    case 'F':
      m_Failed.push_back(name);
      [[fallthrough]];
    default:
      m_Running.clear();
      ++m_Run;
    }
  }
  /// The child has ended where it should not.
  void Died(std::string const& how) {
    std::string const where = m_Running.empty() ? "outside of a test" : m_Running;
    m_Failed.push_back(where + ": " + how);
    std::cout << "[   DIED   ] " << m_Failed.back() << std::endl;
    m_HasStopped = m_Running.empty();
    if (!m_HasStopped) ++m_Run;
    m_Running.clear();
  }
  [[nodiscard]] bool HasMore() const { return !m_HasStopped && !m_Plan.empty(); }
  [[nodiscard]] bool IsFirst() const { return m_IsPlanning; }
  [[nodiscard]] bool IsWithinTest() const { return !m_Running.empty(); }
  /// The tests that have not started, as a filter.
  [[nodiscard]] std::string Filter() const {
    std::string filter;
    for (std::string const& name : m_Plan) filter += (filter.empty() ? "" : ":") + name;
    return filter;
  }
  [[nodiscard]] bool Print() const {
    int skipped = 0;
    for (auto const& [reason, count] : m_Skipped) skipped += count;
    std::cout << "contract: " << m_Run << " tests run, " << m_Failed.size() << " failed, " << skipped
              << " skipped\n";
    for (auto const& [reason, count] : m_Skipped)
      std::cout << "contract: skipped " << count << ": " << reason << "\n";
    for (std::string const& name : m_Failed) std::cout << "contract: FAILED " << name << "\n";
    std::cout << std::flush;
    return m_Failed.empty();
  }

 private:
  std::vector<std::string> m_Plan; ///< in their order
  std::string m_Running;
  std::map<std::string, int> m_Skipped; ///< by reason
  std::vector<std::string> m_Failed;
  int m_Run = 0;
  bool m_IsPlanning = true;
  bool m_HasStopped = false;
};

[[noreturn]] void RunChild(int pipe, Progress const& progress) {
  if (!progress.IsFirst()) {
    for (char const* const name : {"GTEST_TOTAL_SHARDS", "GTEST_SHARD_INDEX"})
      unsetenv(name); // NOLINT: one thread; the first child has chosen
    GTEST_FLAG_SET(filter, progress.Filter());
  }
  testing::UnitTest::GetInstance()->listeners().Append(new Reporter(pipe)); // the framework deletes it
  std::exit(RUN_ALL_TESTS());                                               // NOLINT: one thread
}

/// Reads what the child sends until it ends. False if a test took too long.
bool Follow(int pipe, Progress& progress, std::chrono::seconds most) {
  std::string text;
  Clock::time_point last = Clock::now();
  for (;;) {
    auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(last + most - Clock::now());
    if (progress.IsWithinTest() && left.count() <= 0) return false;
    pollfd waiting{pipe, POLLIN, 0};
    int const ready = poll(&waiting, 1, static_cast<int>(std::max<long long>(left.count(), 1000)));
    if (ready < 0 && errno != EINTR) throw std::runtime_error("poll");
    if (ready <= 0) continue;
    char buffer[4096];
    ssize_t const count = read(pipe, buffer, sizeof buffer);
    if (count <= 0) return true;
    text.append(buffer, static_cast<std::size_t>(count));
    last = Clock::now();
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
      progress.Take(text.substr(0, end));
      text.erase(0, end + 1);
    }
  }
}

/// The status of a child that has run all its tests; -1 if it died.
int RunOne(Progress& progress, std::chrono::seconds most) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("pipe");
  std::cout << std::flush;
  std::fflush(nullptr);
  pid_t const child = fork();
  if (child < 0) throw std::runtime_error("fork");
  if (child == 0) {
    close(ends[0]);
    RunChild(ends[1], progress);
  }
  close(ends[1]);
  bool const isInTime = Follow(ends[0], progress, most);
  close(ends[0]);
  if (!isInTime) kill(child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!isInTime)
    progress.Died("did not end within " + std::to_string(most.count()) + " seconds");
  else if (WIFSIGNALED(status))
    progress.Died(std::string("ended the program: ") + strsignal(WTERMSIG(status))); // NOLINT: one thread
  else if (progress.IsWithinTest())
    progress.Died("ended the program with status " + std::to_string(WEXITSTATUS(status)));
  else
    return WEXITSTATUS(status);
  return -1;
}

} // namespace

int RunContractIsolated() {
  char const* const given = std::getenv("KVL_CONTRACT_SECONDS"); // NOLINT: one thread
  std::chrono::seconds const most(given == nullptr ? 900 : std::max(1, std::atoi(given)));
  Progress progress;
  int status = RunOne(progress, most);
  while (status < 0 && progress.HasMore()) status = RunOne(progress, most);
  bool const isWhole = progress.Print();
  if (progress.IsFirst()) std::cout << "contract: no test fits the filter" << std::endl;
  return isWhole && !progress.IsFirst() && status == 0 ? 0 : 1;
}
