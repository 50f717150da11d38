#include "store/sqlite/sto_SqliteConnection.h"

#include <sqlite3.h>

#include <new>
#include <utility>

#include "store/sto_Exception.h"

namespace {

constexpr int BusyTimeoutMilliseconds = 5000;

sto_ErrorKind KindOf(int extendedCode) {
  switch (extendedCode & 0xFF) {
  case SQLITE_BUSY:
  case SQLITE_LOCKED:
    return sto_ErrorKind::Busy;
  case SQLITE_READONLY:
    return sto_ErrorKind::ReadOnly;
  case SQLITE_FULL:
  case SQLITE_TOOBIG:
    return sto_ErrorKind::Full;
  case SQLITE_CORRUPT:
    return sto_ErrorKind::Damaged;
  case SQLITE_NOTADB:
    return sto_ErrorKind::NotFound;
  case SQLITE_CONSTRAINT:
    return sto_ErrorKind::Conflict;
  case SQLITE_MISUSE:
    return sto_ErrorKind::Misuse;
  case SQLITE_NOMEM:
    throw std::bad_alloc();
  default:
    return sto_ErrorKind::Unavailable;
  }
}

} // namespace

sto_SqliteConnection::sto_SqliteConnection(std::string path, int flags) : m_Path(std::move(path)) {
  // Some names are no files to SQLite ("", ":memory:", "file:..."); with a folder before them they are.
  std::string const file = m_Path.starts_with('/') ? m_Path : "./" + m_Path;
  int const code =
      sqlite3_open_v2(file.c_str(), &m_Handle, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  if (code == SQLITE_OK) {
    sqlite3_busy_timeout(m_Handle, BusyTimeoutMilliseconds);
    return;
  }
  try {
    Raise(code);
  } catch (...) {
    sqlite3_close_v2(m_Handle);
    throw;
  }
}

sto_SqliteConnection::~sto_SqliteConnection() {
  sqlite3_close_v2(m_Handle);
}

void sto_SqliteConnection::Execute(char const* sql) {
  if (int const code = sqlite3_exec(m_Handle, sql, nullptr, nullptr, nullptr)) Raise(code);
}

std::int64_t sto_SqliteConnection::QueryInteger(char const* sql) {
  sto_SqliteStatement statement(*this, sql);
  sto_SqliteStatement::Use use(statement);
  return use.Step() ? use.Integer(0) : 0;
}

void sto_SqliteConnection::Raise(int code, sto_Place place) const {
  sto_ErrorKind const kind = KindOf(code);
  if ((code & 0xFF) == SQLITE_NOTADB) sto_Raise(kind, m_Path + ": This is not a store.", place);
  std::string const text = m_Handle == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(m_Handle);
  sto_Raise(kind, m_Path + ": SQLite: " + text + " (code " + std::to_string(code) + ").", place);
}

sto_SqliteStatement::sto_SqliteStatement(sto_SqliteConnection& connection, char const* sql)
    : m_Connection(connection) {
  Check(sqlite3_prepare_v3(connection.Handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &m_Handle, nullptr));
}

sto_SqliteStatement::~sto_SqliteStatement() {
  sqlite3_finalize(m_Handle);
}

void sto_SqliteStatement::Check(int code) const {
  if (code != SQLITE_OK) m_Connection.Raise(code);
}

sto_SqliteStatement::Use::~Use() {
  sqlite3_reset(m_Statement.m_Handle); // its result repeats the step's failure, which was raised there
  sqlite3_clear_bindings(m_Statement.m_Handle);
}

sto_SqliteStatement::Use& sto_SqliteStatement::Use::Bind(int parameter, std::int64_t value) {
  m_Statement.Check(sqlite3_bind_int64(m_Statement.m_Handle, parameter, value));
  return *this;
}

sto_SqliteStatement::Use& sto_SqliteStatement::Use::Bind(int parameter, std::string_view text) {
  char const* const chars = text.data() == nullptr ? "" : text.data();
  m_Statement.Check(
      sqlite3_bind_text64(m_Statement.m_Handle, parameter, chars, text.size(), SQLITE_STATIC, SQLITE_UTF8));
  return *this;
}

sto_SqliteStatement::Use& sto_SqliteStatement::Use::Bind(int parameter, sto_ByteView bytes) {
  m_Statement.Check(
      sqlite3_bind_blob64(m_Statement.m_Handle, parameter, bytes.data(), bytes.size(), SQLITE_STATIC));
  return *this;
}

bool sto_SqliteStatement::Use::Step() {
  int const code = sqlite3_step(m_Statement.m_Handle);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) m_Statement.m_Connection.Raise(code);
  return false;
}

std::int64_t sto_SqliteStatement::Use::Integer(int column) const noexcept {
  return sqlite3_column_int64(m_Statement.m_Handle, column);
}

std::string sto_SqliteStatement::Use::Text(int column) const {
  return std::string(sto_AsText(Bytes(column)));
}

sto_ByteView sto_SqliteStatement::Use::Bytes(int column) const {
  void const* const bytes = sqlite3_column_blob(m_Statement.m_Handle, column);
  auto const size = static_cast<std::size_t>(sqlite3_column_bytes(m_Statement.m_Handle, column));
  if (bytes == nullptr && size > 0) throw std::bad_alloc();
  return {static_cast<std::byte const*>(bytes), size};
}
