#include "store/sqlite/sto_SqliteConnection.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/sqlite/sto_SqliteErrors.h"

namespace {

/// What a row has besides a value: some numbers.
constexpr int MaxRowBytes = static_cast<int>(sto_Format::MaxValueBytes) + 65536;

/// The fewest bytes that a row of our tables takes in the file.
constexpr std::int64_t MinRowBytes = 8;

bool IsWantOfMemory(int code) noexcept {
  return (code & 0xFF) == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM;
}

/// SQLite reports a full disk only for writes. The system reports it also when a file is created or grows.
bool IsWantOfRoom(sqlite3* handle, int code) noexcept {
  int const primary = code & 0xFF;
  if (primary == SQLITE_FULL) return true;
  if (handle == nullptr || (primary != SQLITE_IOERR && primary != SQLITE_CANTOPEN)) return false;
  // SQLite keeps the system's error number of some operations only, so errno is used. It was cleared before
  // the operation.
  int const error = errno;
  int const kept = sqlite3_system_errno(handle);
  return error == ENOSPC || error == EDQUOT || (error == 0 && (kept == ENOSPC || kept == EDQUOT));
}

bool IsPlain(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' || c == '.' ||
         c == '_' || c == '-';
}

/// The file's name as a URI: SQLite takes some properties only there. The result names a file, whatever its
/// name looks like (":memory:", "file:...").
std::string UriOf(std::string const& path, bool isImmutable) {
  constexpr char Digits[] = "0123456789ABCDEF";
  std::string uri = path.starts_with('/') ? "file://" : "file:./";
  for (char const c : path) {
    if (IsPlain(c)) {
      uri += c;
    } else {
      auto const byte = static_cast<unsigned char>(c);
      uri += {'%', Digits[byte / 16], Digits[byte % 16]};
    }
  }
  // A medium that loses power in the middle of a write may damage the bytes beside it. By default SQLite
  // assumes that this does not happen.
  uri += "?psow=0";
  if (isImmutable) uri += "&immutable=1";
  return uri;
}

int CountCall(void* connection) {
  return static_cast<sto_SqliteConnection*>(connection)->CountStepsInCall() ? 0 : 1;
}

} // namespace

sto_SqliteConnection::sto_SqliteConnection(std::string const& path, Opening const& opening)
    : m_Path(opening.m_NameInMessages.empty() ? path : opening.m_NameInMessages),
      m_IsUnfinished(opening.m_IsUnfinished), m_Entry(m_Handle) {
  sto_SqliteForks::GiveUpInherited();
  int const flags = opening.m_Flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_URI;
  try {
    if (int const code =
            sqlite3_open_v2(UriOf(path, opening.m_IsImmutable).c_str(), &m_Handle, flags, nullptr))
      Raise(code);
    Harden(opening.m_BusyMilliseconds);
  } catch (...) {
    sqlite3_close_v2(std::exchange(m_Handle, nullptr));
    throw;
  }
}

sto_SqliteConnection::~sto_SqliteConnection() {
  m_PageCount.reset();
  sqlite3_close_v2(std::exchange(m_Handle, nullptr));
}

void sto_SqliteConnection::Harden(int busyMilliseconds) {
  sqlite3_busy_timeout(m_Handle, busyMilliseconds);
  for (auto const& [option, value] :
       {std::pair{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, std::pair{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
        std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0}, std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1},
        std::pair{SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0}})
    sqlite3_db_config(m_Handle, option, value, nullptr);
  for (auto const& [limit, value] :
       {std::pair{SQLITE_LIMIT_LENGTH, MaxRowBytes}, std::pair{SQLITE_LIMIT_SQL_LENGTH, 10'000},
        std::pair{SQLITE_LIMIT_COLUMN, 64}, std::pair{SQLITE_LIMIT_EXPR_DEPTH, 100},
        std::pair{SQLITE_LIMIT_COMPOUND_SELECT, 20}, std::pair{SQLITE_LIMIT_VDBE_OP, 25'000},
        std::pair{SQLITE_LIMIT_FUNCTION_ARG, 8}, std::pair{SQLITE_LIMIT_ATTACHED, 0},
        std::pair{SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 100}, std::pair{SQLITE_LIMIT_VARIABLE_NUMBER, 64},
        std::pair{SQLITE_LIMIT_TRIGGER_DEPTH, 1}, std::pair{SQLITE_LIMIT_WORKER_THREADS, 0}})
    sqlite3_limit(m_Handle, limit, value);
  CountSteps();
}

void sto_SqliteConnection::CountSteps() noexcept {
  sqlite3_progress_handler(m_Handle, StepsInCall, CountCall, this);
}

std::string sto_SqliteConnection::FullPath() const {
  char const* const name = sqlite3_db_filename(m_Handle, "main");
  return name == nullptr ? m_Path : name;
}

void sto_SqliteConnection::Execute(char const* sql) {
  CountOwnWork();
  errno = 0;
  if (int const code = sqlite3_exec(m_Handle, sql, nullptr, nullptr, nullptr)) Raise(code);
}

std::int64_t sto_SqliteConnection::QueryInteger(char const* sql) {
  sto_SqliteStatement statement(*this, sql);
  sto_SqliteStatement::Use use(statement);
  return use.Step() ? use.Integer(0) : 0;
}

std::string sto_SqliteConnection::QueryText(char const* sql) {
  sto_SqliteStatement statement(*this, sql);
  sto_SqliteStatement::Use use(statement);
  return use.Step() ? use.Text(0) : std::string();
}

sto_SqliteConnection::Header sto_SqliteConnection::ReadHeader() const {
  Header header{};
  sqlite3_file* const file = sto_FileOfSqlite(m_Handle);
  if (file == nullptr) return header;
  int const code = file->pMethods->xRead(file, header.data(), static_cast<int>(header.size()), 0);
  if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) Raise(code, true);
  return header;
}

bool sto_SqliteConnection::HasMoved() const {
  int hasMoved = 0;
  int const code = sqlite3_file_control(m_Handle, "main", SQLITE_FCNTL_HAS_MOVED, &hasMoved);
  return code == SQLITE_OK && hasMoved != 0;
}

void sto_SqliteConnection::RaiseMoved(sto_SourceLine line) const {
  sto_SqliteError const error = sto_SqliteErrorOf(SQLITE_READONLY_DBMOVED);
  sto_Raise(error.m_Kind, m_Path + ": " + error.m_Advice, line);
}

bool sto_SqliteConnection::CanShareMemory() const {
  sqlite3_file const* const file = sto_FileOfSqlite(m_Handle);
  return file != nullptr && file->pMethods->iVersion >= 2 && file->pMethods->xShmMap != nullptr;
}

std::int64_t sto_SqliteConnection::SizeBytes() {
  if (m_PageCount == nullptr) {
    m_PageBytes = QueryInteger("PRAGMA page_size");
    m_PageCount = std::make_unique<sto_SqliteStatement>(*this, "PRAGMA page_count");
  }
  sto_SqliteStatement::Use use(*m_PageCount);
  return use.Step() ? use.Integer(0) * m_PageBytes : 0;
}

std::int64_t sto_SqliteConnection::MaxRows() {
  std::int64_t const changes = sqlite3_total_changes64(m_Handle);
  if (m_RowsAtStart < 0) {
    m_RowsAtStart = SizeBytes() / MinRowBytes;
    m_ChangesAtStart = changes;
  }
  return m_RowsAtStart + (changes - m_ChangesAtStart);
}

void sto_SqliteConnection::Raise(int code, bool isReading, sto_SourceLine line) const {
  if (IsWantOfMemory(code)) throw std::bad_alloc();
  int const primary = code & 0xFF;
  bool const isWriting = m_Handle != nullptr && sqlite3_txn_state(m_Handle, "main") == SQLITE_TXN_WRITE;
  sto_SqliteError error =
      IsWantOfRoom(m_Handle, code) ? sto_SqliteFull() : sto_SqliteErrorOf(code, isWriting);
  if (primary == SQLITE_TOOBIG && isReading)
    error = sto_SqliteErrorOf(SQLITE_CORRUPT); // this module does not write such values
  std::string const file = m_Path + ": ";
  std::string const advice = std::string(" ") + error.m_Advice;
  if (primary == SQLITE_NOTADB) sto_RaiseNoStore(m_Path, line);
  if (primary == SQLITE_INTERRUPT)
    sto_Raise(error.m_Kind,
              file + "The store is damaged: reading it takes more steps than a store of its size can need." +
                  advice,
              line);
  std::string const text = m_Handle == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(m_Handle);
  sto_Raise(error.m_Kind, file + "SQLite: " + text + " (code " + std::to_string(code) + ")." + advice, line);
}

void sto_SqliteStatement::Compile() {
  errno = 0;
  m_Connection.CountOwnWork(); // SQLite may have to read the schema
  Check(sqlite3_prepare_v3(m_Connection.Handle(), m_Sql, -1, SQLITE_PREPARE_PERSISTENT, &m_Handle, nullptr));
}

sto_SqliteStatement::~sto_SqliteStatement() {
  sqlite3_finalize(m_Handle);
}

void sto_SqliteStatement::Check(int code) const {
  if (code != SQLITE_OK) m_Connection.Raise(code);
}

sto_SqliteStatement::Use::~Use() {
  sqlite3_reset(m_Statement.m_Handle); // returns the failure of the last step, which was raised then
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

void sto_SqliteStatement::Use::AllowRows(std::int64_t rows) noexcept {
  constexpr std::int64_t RowsInCall = sto_SqliteConnection::StepsInCall / sto_SqliteConnection::StepsInRow;
  m_Statement.m_CallsLeft += rows / RowsInCall;
}

sto_SqliteStatement::Use& sto_SqliteStatement::Use::AllowAllRows() {
  AllowRows(m_Statement.m_Connection.MaxRows());
  return *this;
}

sto_SqliteStatement::Use& sto_SqliteStatement::Use::AllowRange(std::int64_t first, std::int64_t last) {
  if (last < first) return *this;
  // For so few rows the base allowance is enough, and the file's size need not be queried.
  constexpr std::uint64_t Few = 16384;
  std::uint64_t const rows = static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(first);
  if (rows < Few) return *this;
  AllowRows(static_cast<std::int64_t>(
      std::min(rows, static_cast<std::uint64_t>(m_Statement.m_Connection.MaxRows()))));
  return *this;
}

int sto_SqliteStatement::Use::TryStep() noexcept {
  m_Statement.m_Connection.CountWork(m_Statement.m_CallsLeft);
  errno = 0;
  int const code = sqlite3_step(m_Statement.m_Handle);
  m_Statement.m_Connection.CountOwnWork(); // the statement may be destroyed before the connection's next work
  return code;
}

bool sto_SqliteStatement::Use::Step() {
  int const code = TryStep();
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE)
    m_Statement.m_Connection.Raise(code, sqlite3_stmt_readonly(m_Statement.m_Handle) != 0);
  return false;
}

sto_SqliteType sto_SqliteStatement::Use::TypeOf(int column) const noexcept {
  switch (sqlite3_column_type(m_Statement.m_Handle, column)) {
  case SQLITE_INTEGER:
    return sto_SqliteType::Integer;
  case SQLITE_TEXT:
    return sto_SqliteType::Text;
  case SQLITE_BLOB:
    return sto_SqliteType::Bytes;
  default:
    return sto_SqliteType::Other;
  }
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
