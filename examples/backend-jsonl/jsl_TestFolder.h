#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

// A test with its own folder, which is deleted after the test.
class jsl_TestFolder : public testing::Test {
 protected:
  jsl_TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "jsonl-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
    m_Folder = name;
  }
  ~jsl_TestFolder() override { std::filesystem::remove_all(m_Folder); }

  std::filesystem::path const& Folder() const { return m_Folder; }
  std::string Path(char const* name = "test.jsonl") const { return (m_Folder / name).string(); }
  // Of a file that is not there.
  std::string NewPath() {
    std::filesystem::remove(Path());
    return Path();
  }

 private:
  std::filesystem::path m_Folder;
};
