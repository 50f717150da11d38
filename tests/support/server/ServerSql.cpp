#include "tests/support/server/ServerSql.h"

#include <libpq-fe.h>

#include <chrono>
#include <stdexcept>
#include <thread>

void ServerSql::Finish::operator()(pg_conn* connection) const noexcept {
  PQfinish(connection);
}

ServerSql::ServerSql(std::string const& uri) : m_Connection(PQconnectdb(uri.c_str())) {
  if (PQstatus(m_Connection.get()) != CONNECTION_OK)
    throw std::runtime_error(PQerrorMessage(m_Connection.get()));
  Run("SET client_min_messages = warning");
}

std::string ServerSql::Text(std::string const& sql) {
  std::unique_ptr<PGresult, void (*)(PGresult*)> const result(PQexec(m_Connection.get(), sql.c_str()),
                                                              PQclear);
  ExecStatusType const status = PQresultStatus(result.get());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK)
    throw std::runtime_error(sql + ": " + PQerrorMessage(m_Connection.get()));
  return PQntuples(result.get()) == 0 ? "" : PQgetvalue(result.get(), 0, 0);
}

void ServerSql::Run(std::string const& sql) {
  static_cast<void>(Text(sql));
}

std::int64_t ServerSql::Number(std::string const& sql) {
  std::string const text = Text(sql);
  return text.empty() ? 0 : std::stoll(text);
}

std::int64_t ServerSql::Await(std::string const& sql) {
  using namespace std::chrono_literals;
  for (auto const end = std::chrono::steady_clock::now() + 10s; std::chrono::steady_clock::now() < end;
       std::this_thread::sleep_for(2ms))
    if (std::int64_t const answer = Number(sql); answer != 0) return answer;
  throw std::runtime_error("still nothing: " + sql);
}
