#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/format/sto_Codec.h"

struct pg_conn;
struct pg_result;

/// The parameters of a statement, in PostgreSQL's binary form. Views of bytes and texts must live until it is executed.
class sto_PostgresParameters {
 public:
  sto_PostgresParameters& Integer(std::int64_t value);
  sto_PostgresParameters& Boolean(bool value);
  sto_PostgresParameters& Text(std::string_view text);
  sto_PostgresParameters& Bytes(sto_ByteView bytes);
  sto_PostgresParameters& Null();
  sto_PostgresParameters& Integers(std::span<std::int64_t const> values);
  /// An array of byte strings; an empty element is null.
  sto_PostgresParameters& ManyBytes(std::span<std::optional<sto_ByteView> const> values);
  sto_PostgresParameters& Texts(std::span<std::string const> values);

 private:
  friend class sto_PostgresConnection;
  /// An array's header, for elements of a type.
  static void BeginArray(sto_Bytes& bytes, std::uint32_t type, std::size_t count, bool hasNulls);
  sto_PostgresParameters& Add(sto_Bytes bytes, std::uint32_t type);

  struct Value {
    sto_Bytes m_Bytes;
    std::optional<sto_ByteView> m_View; // instead of m_Bytes
    bool m_IsNull = false;
    std::uint32_t m_Type = 0;
  };
  std::vector<Value> m_Values;
};

/// The rows that a statement returns, in binary form. Thread rule: one thread.
class sto_PostgresRows {
 public:
  explicit sto_PostgresRows(pg_result* result) noexcept : m_Result(result) {}

  [[nodiscard]] pg_result* Result() const noexcept { return m_Result.get(); }
  [[nodiscard]] int Count() const noexcept;
  [[nodiscard]] bool IsNull(int row, int column) const noexcept;
  /// A number of 2, 4 or 8 bytes.
  [[nodiscard]] std::int64_t Integer(int row, int column) const noexcept;
  [[nodiscard]] bool Boolean(int row, int column) const noexcept;
  [[nodiscard]] std::string Text(int row, int column) const;
  /// Valid as long as this object.
  [[nodiscard]] sto_ByteView Bytes(int row, int column) const noexcept;
  [[nodiscard]] std::vector<std::int64_t> Integers(int row, int column) const;

 private:
  struct Clear {
    void operator()(pg_result* result) const noexcept;
  };
  std::unique_ptr<pg_result, Clear> m_Result;
};

/// A connection to a PostgreSQL server. It connects when it is used first, and again after it has broken.
///
/// Errors: Unavailable if the server cannot be reached, the connection breaks or the server stops; Conflict if the
/// server has undone the transaction in favour of another; Full; ReadOnly; Damaged for tables that are not as they
/// should be; Misuse for anything else that the server refuses. Messages never have a password. Thread rule: one thread.
class sto_PostgresConnection {
 public:
  /// `uri`: as libpq takes it. `name`: the store's name in messages.
  sto_PostgresConnection(std::string uri, std::string name);

  [[nodiscard]] std::string const& Name() const noexcept { return m_Name; }
  sto_PostgresRows Execute(char const* sql, sto_PostgresParameters const& parameters = {});
  /// Several statements without parameters.
  void ExecuteAll(char const* sql);
  [[nodiscard]] bool IsInTransaction() const noexcept;
  /// Ends the transaction on the server, if there is one and the connection still holds. Raises nothing.
  void Rollback() noexcept;

 private:
  struct Finish {
    void operator()(pg_conn* connection) const noexcept;
  };
  void Connect();
  [[noreturn]] void RaiseFailure(pg_result* result);

  std::string m_Uri, m_Name;
  std::unique_ptr<pg_conn, Finish> m_Connection;
};
