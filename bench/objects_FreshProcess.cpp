#include "bench/objects_FreshProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <utility>

namespace {

/// The output of this program, run with arguments.
std::string OutputOf(std::string option, std::string first, std::string second) {
  int ends[2] = {};
  objects_Require(::pipe(ends) == 0, "pipe");
  pid_t const child = ::fork();
  objects_Require(child >= 0, "fork");
  if (child == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    std::string program = "objects_bench";
    char* const arguments[] = {program.data(), option.data(), first.data(), second.data(), nullptr};
    ::execv("/proc/self/exe", arguments);
    ::_exit(1);
  }
  ::close(ends[1]);
  std::string output;
  char buffer[256];
  for (ssize_t length = 0; (length = ::read(ends[0], buffer, sizeof buffer)) > 0;)
    output.append(buffer, static_cast<std::size_t>(length));
  ::close(ends[0]);
  int status = 1;
  objects_Require(::waitpid(child, &status, 0) == child && status == 0, "loading in a fresh process");
  return output;
}

} // namespace

double objects_LoadInFreshProcess(std::string const& contender, std::string const& path,
                                  objects_Tally const& expected) {
  std::string const output = OutputOf(objects_LoadOption, contender, path);
  double seconds = 0;
  long long count = 0;
  unsigned long long sum = 0;
  objects_Require(std::sscanf(output.c_str(), "%lf %lld %llu", &seconds, &count, &sum) == 3 &&
                      count == expected.m_Count && sum == expected.m_Sum,
                  contender + ": other objects were loaded in a fresh process");
  return seconds;
}

void objects_ReportLoad(objects_Contender& contender, std::string const& path) {
  auto const start = std::chrono::steady_clock::now();
  contender.Load(path);
  double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  objects_Tally const loaded = contender.Loaded();
  std::printf("%.9f %lld %llu\n", seconds, static_cast<long long>(loaded.m_Count),
              static_cast<unsigned long long>(loaded.m_Sum));
  contender.Release();
  contender.Close();
}
