#include "store/postgres/sto_PostgresConnection.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Checksum.h"

namespace {

// The numbers of PostgreSQL's types, which never change.
enum Type : std::uint32_t {
  BoolType = 16,
  BytesType = 17,
  IntegerType = 20,
  TextType = 25,
  BytesArray = 1001,
  TextArray = 1009,
  IntegerArray = 1016,
};

/// PostgreSQL sends numbers with the greatest byte first.
template <class Number> void AppendNumber(sto_Bytes& bytes, Number number) {
  for (int shift = 8 * static_cast<int>(sizeof number) - 8; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::byte>((number >> shift) & 0xFF));
}
std::uint64_t NumberOf(sto_ByteView bytes) noexcept {
  std::uint64_t number = 0;
  for (std::byte const byte : bytes) number = number << 8 | std::to_integer<std::uint64_t>(byte);
  return number;
}

/// What a code of PostgreSQL (SQLSTATE) means to a program.
sto_ErrorKind KindOf(std::string_view state) {
  if (state.empty() || state.starts_with("08") || state.starts_with("57P") || state == "53300")
    return sto_ErrorKind::Unavailable;
  if (state == "40001" || state == "40P01" || state == "23505") return sto_ErrorKind::Conflict;
  if (state == "53100" || state == "53200" || state == "54000") return sto_ErrorKind::Full;
  if (state == "25006") return sto_ErrorKind::ReadOnly;
  if (state == "3D000" || state == "42P01" || state == "3F000") return sto_ErrorKind::NotFound;
  if (state == "55P03" || state == "57014" || state == "25P03") return sto_ErrorKind::Busy;
  if (state == "42703" || state == "42883") return sto_ErrorKind::Damaged;
  if (state == "KVL05") return sto_ErrorKind::NotFound;
  if (state.starts_with("22")) return sto_ErrorKind::Misuse;
  return sto_ErrorKind::Unavailable; // also for login and rights
}

/// The code in a detailed message, such as "FATAL:  28P01: password authentication failed".
std::string CodeIn(std::string_view message) {
  constexpr std::size_t Length = 5;
  for (std::size_t at = message.find(":  "); at != std::string_view::npos; at = message.find(":  ", at + 1)) {
    std::string_view const code = message.substr(at + 3, Length);
    auto const isPart = [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z'); };
    if (code.size() == Length && std::ranges::all_of(code, isPart) &&
        message.substr(at + 3 + Length, 1) == ":")
      return std::string(code);
  }
  return "";
}

/// A message without its end of line.
std::string Trimmed(char const* message) {
  std::string text = message == nullptr ? "" : message;
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  std::ranges::replace(text, '\n', ' ');
  std::erase(text, '\t');
  return text;
}

} // namespace

sto_PostgresParameters& sto_PostgresParameters::Add(sto_Bytes bytes, std::uint32_t type) {
  Value& value = m_Values.emplace_back();
  value.m_Bytes = std::move(bytes);
  value.m_Type = type;
  return *this;
}
sto_PostgresParameters& sto_PostgresParameters::Integer(std::int64_t number) {
  sto_Bytes bytes;
  AppendNumber(bytes, static_cast<std::uint64_t>(number));
  return Add(std::move(bytes), IntegerType);
}
sto_PostgresParameters& sto_PostgresParameters::Boolean(bool value) {
  return Add({std::byte{value}}, BoolType);
}
sto_PostgresParameters& sto_PostgresParameters::Text(std::string_view text) {
  Add({}, TextType).m_Values.back().m_View = sto_AsBytes(text);
  return *this;
}
sto_PostgresParameters& sto_PostgresParameters::Bytes(sto_ByteView bytes) {
  Add({}, BytesType).m_Values.back().m_View = bytes;
  return *this;
}
sto_PostgresParameters& sto_PostgresParameters::Null() {
  Add({}, BytesType).m_Values.back().m_IsNull = true;
  return *this;
}
void sto_PostgresParameters::BeginArray(sto_Bytes& bytes, std::uint32_t type, std::size_t count,
                                        bool hasNulls) {
  for (std::uint32_t const number :
       {count == 0 ? 0U : 1U, hasNulls ? 1U : 0U, type, static_cast<std::uint32_t>(count), 1U}) {
    AppendNumber(bytes, number);
    if (count == 0 && bytes.size() == 12) return; // no dimensions
  }
}
sto_PostgresParameters& sto_PostgresParameters::Integers(std::span<std::int64_t const> values) {
  sto_Bytes bytes;
  bytes.reserve(20 + 12 * values.size());
  BeginArray(bytes, IntegerType, values.size(), false);
  for (std::int64_t const value : values) {
    AppendNumber(bytes, std::uint32_t{8});
    AppendNumber(bytes, static_cast<std::uint64_t>(value));
  }
  return Add(std::move(bytes), IntegerArray);
}
sto_PostgresParameters&
sto_PostgresParameters::ManyBytes(std::span<std::optional<sto_ByteView> const> values) {
  sto_Bytes bytes;
  std::size_t size = 20;
  for (auto const& value : values) size += 4 + (value ? value->size() : 0);
  bytes.reserve(size);
  BeginArray(bytes, BytesType, values.size(), true);
  for (auto const& value : values) {
    AppendNumber(bytes, value ? static_cast<std::uint32_t>(value->size()) : 0xFFFFFFFFU);
    if (value) bytes.insert(bytes.end(), value->begin(), value->end());
  }
  return Add(std::move(bytes), BytesArray);
}
sto_PostgresParameters& sto_PostgresParameters::Texts(std::span<std::string const> values) {
  sto_Bytes bytes;
  BeginArray(bytes, TextType, values.size(), false);
  for (std::string const& value : values) {
    AppendNumber(bytes, static_cast<std::uint32_t>(value.size()));
    sto_ByteView const view = sto_AsBytes(value);
    bytes.insert(bytes.end(), view.begin(), view.end());
  }
  return Add(std::move(bytes), TextArray);
}

// --- rows

void sto_PostgresRows::Clear::operator()(pg_result* result) const noexcept {
  PQclear(result);
}
int sto_PostgresRows::Count() const noexcept {
  return PQntuples(m_Result.get());
}
bool sto_PostgresRows::IsNull(int row, int column) const noexcept {
  return PQgetisnull(m_Result.get(), row, column) != 0;
}
sto_ByteView sto_PostgresRows::Bytes(int row, int column) const noexcept {
  return {reinterpret_cast<std::byte const*>(PQgetvalue(m_Result.get(), row, column)),
          static_cast<std::size_t>(PQgetlength(m_Result.get(), row, column))};
}
std::int64_t sto_PostgresRows::Integer(int row, int column) const noexcept {
  sto_ByteView const bytes = Bytes(row, column);
  std::uint64_t const number = NumberOf(bytes);
  if (bytes.size() == 2) return static_cast<std::int16_t>(number);
  if (bytes.size() == 4) return static_cast<std::int32_t>(number);
  return static_cast<std::int64_t>(number);
}
std::int64_t sto_PostgresRows::Number(int row, int column) const {
  return std::stoll(Text(row, column));
}
bool sto_PostgresRows::Boolean(int row, int column) const noexcept {
  return NumberOf(Bytes(row, column)) != 0;
}
std::string sto_PostgresRows::Text(int row, int column) const {
  return std::string(sto_AsText(Bytes(row, column)));
}
std::vector<std::int64_t> sto_PostgresRows::Integers(int row, int column) const {
  std::vector<std::int64_t> numbers;
  sto_ByteView bytes = Bytes(row, column);
  constexpr std::size_t Header = 20, Element = 12;
  for (bytes = bytes.subspan(std::min(Header, bytes.size())); bytes.size() >= Element;
       bytes = bytes.subspan(Element))
    numbers.push_back(static_cast<std::int64_t>(NumberOf(bytes.subspan(4, 8))));
  return numbers;
}

// --- the connection

void sto_PostgresConnection::Finish::operator()(pg_conn* connection) const noexcept {
  PQfinish(connection);
}

/// What libpq takes for a statement's parameters. Views of them.
struct sto_PostgresConnection::Arguments {
  explicit Arguments(sto_PostgresParameters const& parameters) {
    for (sto_PostgresParameters::Value const& value : parameters.m_Values) {
      sto_ByteView const bytes = value.m_View.value_or(value.m_Bytes);
      static constexpr char Nothing[] = "";
      m_Types.push_back(value.m_Type);
      m_Values.push_back(value.m_IsNull  ? nullptr
                         : bytes.empty() ? Nothing
                                         : reinterpret_cast<char const*>(bytes.data()));
      m_Lengths.push_back(static_cast<int>(bytes.size()));
      m_Formats.push_back(Binary);
    }
  }
  [[nodiscard]] int Count() const noexcept { return static_cast<int>(m_Types.size()); }

  static constexpr int Binary = 1;
  std::vector<Oid> m_Types;
  std::vector<char const*> m_Values;
  std::vector<int> m_Lengths, m_Formats;
};

sto_PostgresConnection::sto_PostgresConnection(std::string uri, std::string name, int answerMilliseconds)
    : m_Uri(std::move(uri)), m_Name(std::move(name)), m_AnswerMilliseconds(answerMilliseconds) {}

void sto_PostgresConnection::Connect() {
  if (m_Connection != nullptr && PQstatus(m_Connection.get()) == CONNECTION_OK) return;
  Disconnect();
  // A location's own settings come after these, and replace them.
  std::string const seconds = std::to_string(std::max(2, m_AnswerMilliseconds / 1000));
  char const* const keys[] = {"connect_timeout", "client_encoding", "application_name", "dbname", nullptr};
  char const* const values[] = {m_AnswerMilliseconds == 0 ? "0" : seconds.c_str(), "UTF8", "kvlpersist",
                                m_Uri.c_str(), nullptr};
  auto const begin = std::chrono::steady_clock::now();
  m_Connection.reset(PQconnectdbParams(keys, values, 1));
  if (m_Connection == nullptr) throw std::bad_alloc();
  if (PQstatus(m_Connection.get()) != CONNECTION_OK)
    RaiseNoLogin(std::chrono::steady_clock::now() - begin < std::chrono::seconds(1));
  PQsetNoticeProcessor(
      m_Connection.get(), [](void*, char const*) {}, nullptr);
  PQsetnonblocking(m_Connection.get(), 1);
}

// libpq tells the code of a failed login only in its most detailed messages, which can be asked for once the attempt
// has begun: so it is made once more.
std::string sto_PostgresConnection::StateOfLogin() const {
  char const* const keys[] = {"dbname", "connect_timeout", nullptr};
  char const* const values[] = {m_Uri.c_str(), "5", nullptr};
  std::unique_ptr<pg_conn, Finish> const attempt(PQconnectStartParams(keys, values, 1));
  if (attempt == nullptr || PQstatus(attempt.get()) == CONNECTION_BAD) return "";
  PQsetErrorVerbosity(attempt.get(), PQERRORS_VERBOSE);
  constexpr int Patience = 5000;
  PostgresPollingStatusType status = PGRES_POLLING_WRITING;
  while (status == PGRES_POLLING_WRITING || status == PGRES_POLLING_READING) {
    short const events = status == PGRES_POLLING_WRITING ? POLLOUT : POLLIN;
    pollfd ready{PQsocket(attempt.get()), events, 0};
    if (int const count = poll(&ready, 1, Patience); count == 0 || (count < 0 && errno != EINTR)) return "";
    status = PQconnectPoll(attempt.get());
  }
  return CodeIn(PQerrorMessage(attempt.get()));
}

void sto_PostgresConnection::RaiseNoLogin(bool answers) {
  std::string const message = Trimmed(PQerrorMessage(m_Connection.get()));
  Disconnect();
  std::string const state = answers ? StateOfLogin() : std::string();
  std::string advice;
  if (state.starts_with("28"))
    advice = " Check the user, its password (PGPASSWORD, or a password file) and what the server allows it.";
  else if (state == "3D000")
    advice = " Make the database first.";
  else if (message.find("certificate") != std::string::npos)
    advice = " Check the host's name in the location, and the file with the roots to trust (sslrootcert).";
  else if (state.empty())
    advice = " Check the host and the port, and whether the server runs.";
  sto_Raise(state.empty() ? sto_ErrorKind::Unavailable : KindOf(state),
            m_Name + ": PostgreSQL: " + message + (message.ends_with('?') ? "" : ".") + advice);
}

void sto_PostgresConnection::Disconnect() noexcept {
  m_Connection.reset();
  m_Prepared.clear();
  m_Queued = 0;
}

void sto_PostgresConnection::Wait(bool forAnswer) {
  pg_conn* const connection = m_Connection.get();
  while (true) {
    int const unsent = PQflush(connection);
    if (unsent < 0) RaiseFailure(nullptr);
    if (unsent == 0 && (!forAnswer || PQisBusy(connection) == 0)) return;
    // It reads while it sends: otherwise both sides could wait for the other with full buffers.
    pollfd ready{PQsocket(connection), static_cast<short>(POLLIN | (unsent == 1 ? POLLOUT : 0)), 0};
    int const count = poll(&ready, 1, m_AnswerMilliseconds == 0 ? -1 : m_AnswerMilliseconds);
    if (count < 0 && errno == EINTR) continue;
    if (count == 0) {
      Disconnect();
      sto_Raise(sto_ErrorKind::Unavailable, m_Name + ": The server has not answered for " +
                                                std::to_string(m_AnswerMilliseconds) + " ms.");
    }
    if ((ready.revents & ~POLLOUT) != 0 && PQconsumeInput(connection) == 0) RaiseFailure(nullptr);
  }
}

pg_result* sto_PostgresConnection::NextAnswer() {
  Wait(true);
  return PQgetResult(m_Connection.get());
}

namespace {
bool HasFailed(pg_result* result) noexcept {
  ExecStatusType const status = PQresultStatus(result);
  return status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK && status != PGRES_PIPELINE_SYNC;
}
std::string_view StateOf(pg_result* result) noexcept {
  char const* const state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  return state == nullptr ? "" : state;
}
} // namespace

sto_PostgresRows sto_PostgresConnection::Answers() {
  sto_PostgresRows last(nullptr);
  bool hasFailed = false;
  while (pg_result* const answer = NextAnswer()) {
    sto_PostgresRows rows(answer);
    if (hasFailed) continue;
    hasFailed = HasFailed(answer);
    bool const hasRows = PQresultStatus(answer) == PGRES_TUPLES_OK;
    if (hasFailed || hasRows || last.Result() == nullptr) last = std::move(rows);
  }
  return last;
}

void sto_PostgresConnection::RaiseUnsent() {
  RaiseFailure(nullptr);
}

sto_PostgresRows sto_PostgresConnection::Execute(char const* sql, sto_PostgresParameters const& parameters) {
  Connect();
  if (m_Queued > 0) Await();
  Arguments const with(parameters);
  if (PQsendQueryParams(m_Connection.get(), sql, with.Count(), with.m_Types.data(), with.m_Values.data(),
                        with.m_Lengths.data(), with.m_Formats.data(), Arguments::Binary) == 0)
    RaiseUnsent();
  sto_PostgresRows rows = Answers();
  if (HasFailed(rows.Result())) RaiseFailure(rows.Result());
  return rows;
}

std::optional<sto_PostgresRows>
sto_PostgresConnection::ExecuteAll(std::string const& sql, std::string_view expected, std::string* detail) {
  Connect();
  if (m_Queued > 0) Await();
  if (PQsendQuery(m_Connection.get(), sql.c_str()) == 0) RaiseUnsent();
  sto_PostgresRows rows = Answers();
  if (!HasFailed(rows.Result())) return rows;
  if (expected.empty() || StateOf(rows.Result()) != expected) RaiseFailure(rows.Result());
  char const* const said = PQresultErrorField(rows.Result(), PG_DIAG_MESSAGE_DETAIL);
  *detail = said == nullptr ? "" : said;
  return std::nullopt;
}

// --- statements that are prepared

namespace {
/// A name that belongs to one text only: a pooler may bring other clients' statements along.
std::string NameOfStatement(std::string const& sql) {
  return "kvl_" + std::to_string(sto_Checksum(0, sto_AsBytes(sql)));
}
/// The server does not know a statement that was prepared, or knows it already: there is a pooler in between.
bool IsPoolers(std::string_view state) noexcept {
  return state == "26000" || state == "42P05";
}
} // namespace

sto_PostgresRows sto_PostgresConnection::Prepared(std::string const& sql,
                                                  sto_PostgresParameters const& parameters) {
  Connect();
  if (!m_CanPrepare) return Execute(sql.c_str(), parameters);
  Arguments const with(parameters);
  std::string const name = NameOfStatement(sql);
  // A new statement is prepared in the same round trip.
  bool const isNew = !m_Prepared.contains(sql);
  if (isNew) {
    PQenterPipelineMode(m_Connection.get());
    if (PQsendPrepare(m_Connection.get(), name.c_str(), sql.c_str(), with.Count(), with.m_Types.data()) == 0)
      RaiseUnsent();
  }
  if (PQsendQueryPrepared(m_Connection.get(), name.c_str(), with.Count(), with.m_Values.data(),
                          with.m_Lengths.data(), with.m_Formats.data(), Arguments::Binary) == 0)
    RaiseUnsent();
  sto_PostgresRows rows(nullptr);
  if (isNew) {
    if (PQpipelineSync(m_Connection.get()) == 0) RaiseUnsent();
    rows = Answers(); // of the preparation
    if (HasFailed(rows.Result()))
      static_cast<void>(Answers());
    else
      rows = Answers();
    EndPipeline();
    if (!HasFailed(rows.Result())) m_Prepared.insert(sql);
  } else {
    rows = Answers();
  }
  if (!HasFailed(rows.Result())) return rows;
  if (!IsPoolers(StateOf(rows.Result()))) RaiseFailure(rows.Result());
  m_CanPrepare = false;
  return Execute(sql.c_str(), parameters);
}

void sto_PostgresConnection::EndPipeline() {
  sto_PostgresRows const sync(NextAnswer());
  if (PQexitPipelineMode(m_Connection.get()) == 0) RaiseUnsent();
}

sto_PostgresRows sto_PostgresConnection::Read(std::string const& sql,
                                              sto_PostgresParameters const& parameters) {
  bool const wasConnected = m_Connection != nullptr;
  try {
    return Prepared(sql, parameters);
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::Unavailable || !wasConnected || m_Connection != nullptr) throw;
  }
  return Prepared(sql, parameters);
}

// --- statements that are queued

void sto_PostgresConnection::Queue(char const* sql, sto_PostgresParameters const& parameters) {
  Connect();
  if (m_Queued == 0 && PQenterPipelineMode(m_Connection.get()) == 0) RaiseUnsent();
  Arguments const with(parameters);
  if (PQsendQueryParams(m_Connection.get(), sql, with.Count(), with.m_Types.data(), with.m_Values.data(),
                        with.m_Lengths.data(), with.m_Formats.data(), Arguments::Binary) == 0)
    RaiseUnsent();
  ++m_Queued;
  Wait(false);
}

void sto_PostgresConnection::Await() {
  if (m_Queued == 0) return;
  if (PQpipelineSync(m_Connection.get()) == 0) RaiseUnsent();
  sto_PostgresRows failure(nullptr);
  for (; m_Queued > 0; --m_Queued) {
    sto_PostgresRows rows = Answers();
    if (failure.Result() == nullptr && HasFailed(rows.Result())) failure = std::move(rows);
  }
  EndPipeline();
  if (failure.Result() != nullptr) RaiseFailure(failure.Result());
}

// --- transactions and failures

bool sto_PostgresConnection::IsInTransaction() const noexcept {
  return m_Queued > 0 ||
         (m_Connection != nullptr && PQtransactionStatus(m_Connection.get()) != PQTRANS_IDLE &&
          PQstatus(m_Connection.get()) == CONNECTION_OK);
}

void sto_PostgresConnection::Rollback() noexcept {
  if (!IsInTransaction()) return;
  try {
    Await();
    static_cast<void>(ExecuteAll("ROLLBACK"));
  } catch (...) { // the connection has broken, which ends the transaction, too; or Await has ended it
  }
  if (IsInTransaction()) Disconnect();
}

void sto_PostgresConnection::RaiseFailure(pg_result* result) {
  char const* const primary =
      result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  bool const isBroken = PQstatus(m_Connection.get()) != CONNECTION_OK;
  std::string_view const state = result == nullptr ? "" : StateOf(result);
  sto_ErrorKind const kind = isBroken && state.empty() ? sto_ErrorKind::Unavailable : KindOf(state);
  std::string message =
      m_Name + ": PostgreSQL: " + Trimmed(primary != nullptr ? primary : PQerrorMessage(m_Connection.get()));
  if (state == "42501" && message.find("GRANT") == std::string::npos)
    message += ". Who owns the database can allow it with GRANT: see docs/scaling.md.";
  if (isBroken || result == nullptr)
    Disconnect();
  else
    Rollback();
  sto_Raise(kind, message);
}
