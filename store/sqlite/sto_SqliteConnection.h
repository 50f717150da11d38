#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "store/sto_Codec.h"
#include "store/sto_Place.h"

struct sqlite3;
struct sqlite3_stmt;

/// One open SQLite database file. Every failure raises sto_Exception with the file's name, SQLite's own
/// message and the kind that fits SQLite's result code. Thread rule: one thread.
class sto_SqliteConnection {
 public:
  /// Opens the file `path` with SQLite's open flags. What other sessions lock is waited for some seconds.
  sto_SqliteConnection(std::string path, int flags);
  sto_SqliteConnection(sto_SqliteConnection const&) = delete;
  sto_SqliteConnection& operator=(sto_SqliteConnection const&) = delete;
  ~sto_SqliteConnection();

  [[nodiscard]] std::string const& Path() const noexcept { return m_Path; }
  [[nodiscard]] sqlite3* Handle() const noexcept { return m_Handle; }

  /// Runs SQL without results.
  void Execute(char const* sql);
  /// Runs SQL whose first result is an integer.
  [[nodiscard]] std::int64_t QueryInteger(char const* sql);

  /// Raises the failure that a result code stands for.
  [[noreturn]] void Raise(int code, sto_Place place = sto_Place::Current()) const;

 private:
  std::string m_Path;
  sqlite3* m_Handle = nullptr;
};

/// One prepared statement, run again and again. Bind, then step; Reset (or the destructor of a Use) ends a
/// run.
class sto_SqliteStatement {
 public:
  sto_SqliteStatement(sto_SqliteConnection& connection, char const* sql);
  sto_SqliteStatement(sto_SqliteStatement const&) = delete;
  sto_SqliteStatement& operator=(sto_SqliteStatement const&) = delete;
  ~sto_SqliteStatement();

  /// One run of the statement. Bound bytes and texts must stay until the run ends.
  class Use {
   public:
    explicit Use(sto_SqliteStatement& statement) noexcept : m_Statement(statement) {}
    Use(Use const&) = delete;
    Use& operator=(Use const&) = delete;
    ~Use();

    Use& Bind(int parameter, std::int64_t value);
    Use& Bind(int parameter, std::string_view text);
    Use& Bind(int parameter, sto_ByteView bytes);

    /// Moves to the next row; false at the end.
    bool Step();

    [[nodiscard]] std::int64_t Integer(int column) const noexcept;
    [[nodiscard]] std::string Text(int column) const;
    /// Valid until the next step.
    [[nodiscard]] sto_ByteView Bytes(int column) const;

   private:
    sto_SqliteStatement& m_Statement;
  };

 private:
  void Check(int code) const;

  sto_SqliteConnection& m_Connection;
  sqlite3_stmt* m_Handle = nullptr;
};
