#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

/// A bare SQLite file, set up as the store's files are. Ends the program when something fails.
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

/// A prepared statement. What is bound must live until Reset.
class objects_SqliteStatement {
 public:
  objects_SqliteStatement(objects_SqliteFile& file, char const* sql);
  ~objects_SqliteStatement();
  objects_SqliteStatement(objects_SqliteStatement const&) = delete;
  objects_SqliteStatement& operator=(objects_SqliteStatement const&) = delete;

  void Bind(int parameter, std::int64_t value);
  void BindText(int parameter, std::string_view text);
  void BindBytes(int parameter, std::string_view bytes);
  /// Whether there is another row.
  bool Step();
  void Reset();
  /// Step and Reset, for a statement without rows.
  void Run();

  [[nodiscard]] std::int64_t Integer(int column);
  [[nodiscard]] std::string_view Bytes(int column);

 private:
  objects_SqliteFile& m_File;
  sqlite3_stmt* m_Handle = nullptr;
};
