#include "bench/bench_FreshProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "bench/bench_Program.h"

std::string bench_OutputOfFreshProcess(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "fresh process");
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  int ends[2] = {};
  bench_Require(::pipe(ends) == 0, "pipe");
  pid_t const child = ::fork();
  bench_Require(child >= 0, "fork");
  if (child == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    ::execv("/proc/self/exe", pointers.data());
    ::_exit(1);
  }
  ::close(ends[1]);
  std::string output;
  char buffer[256];
  for (ssize_t length = 0; (length = ::read(ends[0], buffer, sizeof buffer)) > 0;)
    output.append(buffer, static_cast<std::size_t>(length));
  ::close(ends[0]);
  int status = 1;
  bench_Require(::waitpid(child, &status, 0) == child && status == 0, "an operation in a fresh process");
  return output;
}

int bench_PeakKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmHWM:")) return std::atoi(line.c_str() + 6);
  return 0;
}
