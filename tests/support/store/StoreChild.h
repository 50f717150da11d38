#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

/// What a process of the tests' own making came to, when it did not fail by itself.
inline constexpr int StoreChildFailed = 99;

/// Starts a process that does `work` and ends with its result; StoreChildFailed when it raises.
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

/// Waits for its end: its result, or minus the signal that ended it.
inline int WaitForStoreChild(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

inline int RunStoreChild(std::function<int()> const& work) {
  return WaitForStoreChild(StartStoreChild(work));
}
