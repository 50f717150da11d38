#include "tests/support/ChildProcess.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>

namespace {

ChildScenario const* s_Newest = nullptr;

/// No scenario takes this long, not even under sanitizers.
constexpr int PatienceMilliseconds = 60000;
constexpr char Hanging[] = "(the child was silent for too long)";

/// Reads a pipe until all its writers are closed.
std::string ReadAll(int channel) {
  std::string output;
  std::array<char, 4096> buffer{};
  for (;;) {
    pollfd waiting{channel, POLLIN, 0};
    if (poll(&waiting, 1, PatienceMilliseconds) == 0) return Hanging;
    ssize_t const got = read(channel, buffer.data(), buffer.size());
    if (got <= 0) return output;
    output.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

} // namespace

ChildScenario::ChildScenario(char const* name, Function function)
    : m_Name(name), m_Function(function), m_Previous(s_Newest) {
  s_Newest = this;
}

int RunScenario(char const* name) {
  for (ChildScenario const* scenario = s_Newest; scenario != nullptr; scenario = scenario->m_Previous) {
    if (std::strcmp(scenario->m_Name, name) != 0) continue;
    scenario->m_Function();
    return 0;
  }
  return 99;
}

ChildResult RunChild(std::string const& name) {
  std::array<int, 2> channel{};
  if (pipe(channel.data()) != 0) throw std::runtime_error("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, channel[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, channel[1], STDERR_FILENO);
  posix_spawn_file_actions_addclose(&actions, channel[0]);
  posix_spawn_file_actions_addclose(&actions, channel[1]);
  std::string program = "/proc/self/exe";
  std::string argument = "--child=" + name;
  std::array<char*, 3> arguments{program.data(), argument.data(), nullptr};
  pid_t child = 0;
  int const error = posix_spawn(&child, program.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(channel[1]);
  if (error != 0) {
    close(channel[0]);
    throw std::runtime_error("posix_spawn");
  }
  ChildResult result{-1, 0, {}};
  result.m_Output = ReadAll(channel[0]);
  close(channel[0]);
  if (result.m_Output == Hanging) kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status)) result.m_ExitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.m_Signal = WTERMSIG(status);
  return result;
}

void Say(char const* text) {
  for (std::size_t left = std::strlen(text); left != 0;) {
    ssize_t const written = write(STDERR_FILENO, text, left);
    if (written <= 0) return;
    text += written;
    left -= static_cast<std::size_t>(written);
  }
}
