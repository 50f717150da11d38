#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

/// A bare SQLite file with the same settings as the store's files. Ends the program if something fails.
class objects_SqliteFile {
 public:
  explicit objects_SqliteFile(std::string const& path);
  ~objects_SqliteFile();
  objects_SqliteFile(objects_SqliteFile const&) = delete;
  objects_SqliteFile& operator=(objects_SqliteFile const&) = delete;

  void Run(char const* sql);
  void Require(bool works) const;

 private:
  friend class objects_SqliteStatement;
  sqlite3* m_Handle = nullptr;
};

/// A prepared statement. Bound values must live until Reset.
class objects_SqliteStatement {
 public:
  objects_SqliteStatement(objects_SqliteFile& file, char const* sql);
  ~objects_SqliteStatement();
  objects_SqliteStatement(objects_SqliteStatement const&) = delete;
  objects_SqliteStatement& operator=(objects_SqliteStatement const&) = delete;

  void Bind(int parameter, std::int64_t value);
  void BindText(int parameter, std::string_view text);
  void BindBytes(int parameter, std::string_view bytes);
  /// Moves to the next row; false after the last one.
  bool Step();
  void Reset();
  /// Step and Reset, for a statement that returns no rows.
  void Run();

  [[nodiscard]] std::int64_t Integer(int column);
  [[nodiscard]] std::string_view Bytes(int column);

 private:
  objects_SqliteFile& m_File;
  sqlite3_stmt* m_Handle = nullptr;
};
