#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

/// The result of a program run.
struct Outcome {
  int status;
  std::string out;
  std::string err;
};

inline std::string Contents(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// Runs a shell command with empty standard input; its output goes through files in `folder`.
inline Outcome RunToItsEnd(std::string const& command, std::filesystem::path const& folder) {
  std::filesystem::path const out = folder / "out";
  std::filesystem::path const err = folder / "err";
  int const status =
      std::system((command + " >" + out.string() + " 2>" + err.string() + " </dev/null").c_str());
  EXPECT_TRUE(WIFEXITED(status)) << command;
  return {WEXITSTATUS(status), Contents(out), Contents(err)};
}

/// Likewise, but writing to standard output fails.
inline Outcome RunWithFullOutput(std::string const& command, std::filesystem::path const& folder) {
  return RunToItsEnd("(" + command + " >/dev/full)", folder);
}
