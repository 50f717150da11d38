#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

/// The result of a child process that did not run to its end.
inline constexpr int StoreChildFailed = 99;

/// Starts a process that runs `work` and exits with its result, or with StoreChildFailed on an exception.
inline pid_t StartStoreChild(std::function<int()> const& work) {
  pid_t const child = fork();
  if (child != 0) return child;
  int code = StoreChildFailed;
  try {
    code = work();
  } catch (...) {
  }
  _exit(code);
}

/// Waits for its end. Returns its exit code, or minus the signal that ended it.
inline int WaitForStoreChild(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

inline int RunStoreChild(std::function<int()> const& work) {
  return WaitForStoreChild(StartStoreChild(work));
}
