#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
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
  /// A number in text form.
  [[nodiscard]] std::int64_t Number(int row, int column) const;
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
/// Errors: Unavailable if the server cannot be reached, the connection breaks, the server stops, or does not answer
/// for longer than it may; Conflict if the server has undone the transaction in favour of another; Full; ReadOnly;
/// Busy if a lock, or a statement, took longer than it may; NotFound for a database, tables or a store that are not
/// there; Damaged for tables that are not as they should be; Misuse
/// for text that PostgreSQL cannot store; Unavailable for anything else that the server refuses. Messages never have a
/// password. Thread rule: one thread.
class sto_PostgresConnection {
 public:
  /// `uri`: as libpq takes it. `name`: the store's name in messages. `answerMilliseconds`: how long the server may keep
  /// silent while it is asked something; 0: for ever.
  sto_PostgresConnection(std::string uri, std::string name, int answerMilliseconds);

  [[nodiscard]] std::string const& Name() const noexcept { return m_Name; }
  /// One statement, which is not repeated.
  sto_PostgresRows Execute(char const* sql, sto_PostgresParameters const& parameters = {});
  /// One statement that changes nothing. Prepared, where the way to the server allows it. If the connection has broken
  /// since it was last used, it is asked again on a new one. REQUIRES: no transaction on the server.
  sto_PostgresRows Read(std::string const& sql, sto_PostgresParameters const& parameters);
  /// Sends a statement without waiting for its answer.
  void Queue(char const* sql, sto_PostgresParameters const& parameters = {});
  /// Waits for the answers of what was queued, and raises the first failure.
  void Await();
  /// Several statements without parameters, which reach the server as one message: all of them, or none. Returns the
  /// last rows. If the server refuses one with the code `expected`, returns nothing, and what the server says in
  /// `detail`.
  std::optional<sto_PostgresRows> ExecuteAll(std::string const& sql, std::string_view expected = {},
                                             std::string* detail = nullptr);
  [[nodiscard]] bool IsConnected() const noexcept { return m_Connection != nullptr; }
  [[nodiscard]] bool IsInTransaction() const noexcept;
  /// Ends the transaction on the server, if there is one and the connection still holds. Raises nothing.
  void Rollback() noexcept;

 private:
  struct Finish {
    void operator()(pg_conn* connection) const noexcept;
  };
  struct Arguments;
  void Connect();
  void Disconnect() noexcept;
  /// Waits until what was sent has left, and, if `forAnswer`, until an answer is there. Raises Unavailable.
  void Wait(bool forAnswer);
  /// The next answer; null: there are no more of this statement.
  pg_result* NextAnswer();
  /// All answers of a statement: the last rows, or the first failure.
  sto_PostgresRows Answers();
  void EndPipeline();
  sto_PostgresRows Prepared(std::string const& sql, sto_PostgresParameters const& parameters);
  [[noreturn]] void RaiseUnsent();
  /// What the server answers to a login that has failed; empty if it does not answer.
  [[nodiscard]] std::string StateOfLogin() const;
  /// `answers`: the server has refused at once, and can be asked for the code.
  [[noreturn]] void RaiseNoLogin(bool answers);
  [[noreturn]] void RaiseFailure(pg_result* result);

  std::string m_Uri, m_Name;
  int m_AnswerMilliseconds;
  std::unique_ptr<pg_conn, Finish> m_Connection;
  std::set<std::string> m_Prepared; // by their texts
  bool m_CanPrepare = true;         // no pooler in between has refused it
  int m_Queued = 0;                 // statements whose answers were not read
};
