#pragma once

#include "errors/nex_Exception.h"
#include "examples/failures/fail_Cases.h"
#include "examples/failures/fail_Library.h"
#include "examples/failures/fail_Solver.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

// For tests: starts the library with the example's types, and makes an empty folder.
class fail_Fixture : public testing::Test {
 protected:
  fail_Fixture() {
    std::string folder = (std::filesystem::temp_directory_path() / "failures-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("cannot make " + folder);
    m_Folder = folder;
  }
  ~fail_Fixture() override { std::filesystem::remove_all(m_Folder); }

  std::string Path(std::string const& name) const { return (m_Folder / name).string(); }

  std::string Write(std::string const& name, std::string const& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }

  // One of the program's analyses; its load table would be in the test's folder.
  fail_Analysis Analysis(std::string const& name) const {
    for (fail_Analysis const& analysis : fail_Cases::All(m_Folder.string()))
      if (analysis.name == name) return analysis;
    throw std::runtime_error("no such analysis: " + name);
  }

  // What a call throws; null for nothing.
  template <class Call> static std::unique_ptr<nex_Exception> FailureOf(Call call) {
    try {
      call();
    } catch (nex_Exception const& thrown) {
      return std::unique_ptr<nex_Exception>(thrown.Copy());
    }
    return nullptr;
  }

  // The failure as exactly this class. Throws std::runtime_error if nothing or another class was thrown.
  template <class Exception> static Exception const& As(std::unique_ptr<nex_Exception> const& failure) {
    if (failure == nullptr) throw std::runtime_error("nothing was thrown");
    EXPECT_EQ(failure->DynTypeId(), Exception::TypeId()) << failure->DeveloperReport().View();
    return dynamic_cast<Exception const&>(*failure);
  }

 private:
  fail_Library m_Library;
  std::filesystem::path m_Folder;
};
