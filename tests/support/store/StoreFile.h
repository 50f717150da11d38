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
#include "tests/support/HeldFunction.h"

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

/// An object's record as it is in a row of table object.
struct StoreRow {
  std::int64_t m_Save = 0;
  std::int64_t m_Shape = 0;
  StoreBytes m_Values;
};

/// The bytes with their checksum of eight or four bytes. Computed without the store's code.
StoreBytes WithChecksum(std::int64_t owner, StoreBytes bytes, std::size_t checksumBytes = 8);

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

  /// Gives each record in a pack its own row in table object, where SQL can reach it. Stores of format 3, too.
  void Unpack();
  /// The id and the class of each object, in the order of the ids: "1 6553602". Of a store of any format.
  [[nodiscard]] std::vector<std::string> Objects();
  /// How many of the objects are of a class.
  [[nodiscard]] int CountOf(unsigned int classId);
  /// The record in an object's row, without its checksum. REQUIRES: format 4; Unpack.
  [[nodiscard]] StoreRow Row(std::int64_t id);
  /// Makes a row for a record, with the right checksum, replacing one that is there.
  void PutRow(std::int64_t id, StoreRow const& row);
  /// A shape.
  [[nodiscard]] StoreBytes Shape(std::int64_t number);
  /// Adds a shape, with the right checksum, replacing one that is there.
  void PutShape(std::int64_t number, StoreBytes const& shape);

 private:
  using OnRow = std::function<void(struct sqlite3_stmt* row)>;
  void ForEach(std::string const& sql, StoreBytes const* bytes, OnRow const& onRow);
  [[nodiscard]] bool HasShapes() { return Integer("PRAGMA user_version") > 3; }
  [[nodiscard]] std::vector<std::string> Keys() { return Texts("SELECT key FROM pack ORDER BY key"); }
  void UnpackOld(std::int64_t key, StoreBytes const& pack);
  void UnpackShaped(std::int64_t key, StoreBytes const& pack);

  sqlite3* m_Handle = nullptr;
};

/// "ok" when SQLite finds nothing wrong with the file.
std::string IntegrityOf(std::string const& path);

StoreBytes FileBytes(std::string const& path);
void WriteFile(std::string const& path, std::string_view text);

/// Expects `act` to raise sto_Exception of the given kind; returns its message. Anything else fails the test.
std::string MessageOf(sto_ErrorKind kind, HeldFunction<> const& act);

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}
