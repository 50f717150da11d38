#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/sto_ErrorKind.h"

struct sqlite3;

using StoreBytes = std::vector<std::byte>;

/// Test fixture with its own folder, which is deleted after the test.
class StoreFileTest : public testing::Test {
 protected:
  StoreFileTest();
  ~StoreFileTest() override;

  /// The path of a file in the folder.
  [[nodiscard]] std::string Path(std::string_view name = "test.kvs") const;
  [[nodiscard]] std::filesystem::path const& Folder() const { return m_Folder; }

 private:
  std::filesystem::path m_Folder;
};

/// A file opened directly with SQLite, bypassing the module: to check what it wrote, and to damage it. Every
/// failure throws std::runtime_error.
class SqlFile {
 public:
  explicit SqlFile(std::string const& path);
  ~SqlFile();
  SqlFile(SqlFile const&) = delete;
  SqlFile& operator=(SqlFile const&) = delete;

  void Run(std::string const& sql);
  /// The first column of the first row.
  [[nodiscard]] std::int64_t Integer(std::string const& sql);
  [[nodiscard]] std::string Text(std::string const& sql);
  [[nodiscard]] StoreBytes Blob(std::string const& sql);
  /// The first column of all rows.
  [[nodiscard]] std::vector<std::string> Texts(std::string const& sql);
  /// Runs a statement whose only parameter is a byte string.
  void Run(std::string const& sql, StoreBytes const& bytes);

  /// Gives each record in a pack its own row in table object, where SQL can reach it.
  void Unpack();

 private:
  using OnRow = std::function<void(struct sqlite3_stmt* row)>;
  void ForEach(std::string const& sql, StoreBytes const* bytes, OnRow const& onRow);

  sqlite3* m_Handle = nullptr;
};

/// "ok" when SQLite finds nothing wrong with the file.
std::string IntegrityOf(std::string const& path);

StoreBytes FileBytes(std::string const& path);
void WriteFile(std::string const& path, std::string_view text);

/// Expects `act` to raise sto_Exception of the given kind; returns its message. Anything else fails the test.
std::string MessageOf(sto_ErrorKind kind, std::function<void()> const& act);

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}
