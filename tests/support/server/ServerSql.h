#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct pg_conn;

/// A connection to a PostgreSQL server that bypasses the library: to see what the server has, and to spoil it. Every
/// failure throws std::runtime_error. Thread rule: one thread.
class ServerSql {
 public:
  explicit ServerSql(std::string const& uri);

  void Run(std::string const& sql);
  /// The first column of the first row; empty if there are no rows.
  [[nodiscard]] std::string Text(std::string const& sql);
  /// The same as a number; 0 if there are no rows.
  [[nodiscard]] std::int64_t Number(std::string const& sql);
  /// Asks until the answer is not 0, for at most ten seconds. Returns the answer.
  std::int64_t Await(std::string const& sql);

 private:
  struct Finish {
    void operator()(pg_conn* connection) const noexcept;
  };
  std::unique_ptr<pg_conn, Finish> m_Connection;
};
