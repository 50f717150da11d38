#include "store/postgres/sto_PostgresConnection.h"

#include <libpq-fe.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "store/base/sto_Exception.h"

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
  if (state == "40001" || state == "40P01") return sto_ErrorKind::Conflict;
  if (state == "53100" || state == "53200" || state == "54000") return sto_ErrorKind::Full;
  if (state == "25006") return sto_ErrorKind::ReadOnly;
  if (state.starts_with("28") || state == "42501") return sto_ErrorKind::Unavailable; // login and rights
  if (state == "3D000" || state == "42P01" || state == "3F000") return sto_ErrorKind::NotFound;
  if (state == "55P03" || state == "57014") return sto_ErrorKind::Busy;
  return sto_ErrorKind::Unavailable;
}

/// A message without its end of line.
std::string Trimmed(char const* message) {
  std::string text = message == nullptr ? "" : message;
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  std::ranges::replace(text, '\n', ' ');
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

sto_PostgresConnection::sto_PostgresConnection(std::string uri, std::string name)
    : m_Uri(std::move(uri)), m_Name(std::move(name)) {}

void sto_PostgresConnection::Connect() {
  if (m_Connection != nullptr && PQstatus(m_Connection.get()) == CONNECTION_OK) return;
  m_Connection.reset(PQconnectdb(m_Uri.c_str()));
  if (m_Connection == nullptr) throw std::bad_alloc();
  if (PQstatus(m_Connection.get()) != CONNECTION_OK) RaiseFailure(nullptr);
  PQsetNoticeProcessor(
      m_Connection.get(), [](void*, char const*) {}, nullptr);
}

sto_PostgresRows sto_PostgresConnection::Execute(char const* sql, sto_PostgresParameters const& parameters) {
  Connect();
  std::vector<Oid> types;
  std::vector<char const*> values;
  std::vector<int> lengths, formats;
  for (sto_PostgresParameters::Value const& value : parameters.m_Values) {
    sto_ByteView const bytes = value.m_View.value_or(value.m_Bytes);
    static constexpr char Nothing[] = "";
    types.push_back(value.m_Type);
    values.push_back(value.m_IsNull  ? nullptr
                     : bytes.empty() ? Nothing
                                     : reinterpret_cast<char const*>(bytes.data()));
    lengths.push_back(static_cast<int>(bytes.size()));
    formats.push_back(1);
  }
  sto_PostgresRows rows(PQexecParams(m_Connection.get(), sql, static_cast<int>(types.size()), types.data(),
                                     values.data(), lengths.data(), formats.data(), 1));
  ExecStatusType const status = PQresultStatus(rows.Result());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) RaiseFailure(rows.Result());
  return rows;
}

void sto_PostgresConnection::ExecuteAll(char const* sql) {
  Connect();
  sto_PostgresRows const rows(PQexec(m_Connection.get(), sql));
  ExecStatusType const status = PQresultStatus(rows.Result());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) RaiseFailure(rows.Result());
}

bool sto_PostgresConnection::IsInTransaction() const noexcept {
  return m_Connection != nullptr && PQtransactionStatus(m_Connection.get()) != PQTRANS_IDLE &&
         PQstatus(m_Connection.get()) == CONNECTION_OK;
}

void sto_PostgresConnection::Rollback() noexcept {
  if (IsInTransaction()) PQclear(PQexec(m_Connection.get(), "ROLLBACK"));
  if (IsInTransaction()) m_Connection.reset(); // it did not answer
}

void sto_PostgresConnection::RaiseFailure(pg_result* result) {
  char const* const state = result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_SQLSTATE);
  char const* const primary =
      result == nullptr ? nullptr : PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  bool const isBroken = PQstatus(m_Connection.get()) != CONNECTION_OK;
  sto_ErrorKind const kind = isBroken ? sto_ErrorKind::Unavailable : KindOf(state == nullptr ? "" : state);
  std::string const message =
      m_Name + ": PostgreSQL: " + Trimmed(primary != nullptr ? primary : PQerrorMessage(m_Connection.get()));
  if (isBroken)
    m_Connection.reset();
  else
    Rollback();
  sto_Raise(kind, message);
}
