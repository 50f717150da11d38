#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/ProgramRun.h"

/// Runs the heat program as a user would: each call is a separate process, in a folder deleted after the
/// test.
class HeatProgramTest : public testing::Test {
 protected:
  HeatProgramTest() {
    std::string folder = (std::filesystem::temp_directory_path() / "heat-program-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    m_Folder = folder;
  }
  ~HeatProgramTest() override { std::filesystem::remove_all(m_Folder); }

  std::filesystem::path Path(std::string const& name) const { return m_Folder / name; }
  static std::string Data(std::string const& name) { return std::string(HEAT_DATA_DIR) + "/" + name; }

  Outcome Run(std::string const& arguments) const {
    return RunToItsEnd(std::string(HEAT_PROGRAM) + " " + arguments, m_Folder);
  }

  /// Likewise, but writing to standard output fails.
  Outcome RunWithoutOutput(std::string const& arguments) const {
    return RunWithFullOutput(std::string(HEAT_PROGRAM) + " " + arguments, m_Folder);
  }

  Outcome Analyse(std::string const& mesh, std::string const& store) const {
    return Run("analyse " + mesh + " --store " + Path(store).string());
  }

  /// Expects one line from this program, containing this text, and nothing on standard output.
  static void ExpectOneLine(Outcome const& outcome, int status, std::string const& text) {
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.err.substr(0, 6), "heat: ");
    EXPECT_NE(outcome.err.find(text), std::string::npos) << outcome.err;
  }

 private:
  std::filesystem::path m_Folder;
};
