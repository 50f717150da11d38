#include "store/sqlite/sto_SqliteHeader.h"

#include <sqlite3.h>

#include <algorithm>
#include <map>
#include <optional>
#include <span>
#include <string_view>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteColumns.h"
#include "store/sqlite/sto_SqliteConnection.h"

namespace {

constexpr char UuidKey[] = "uuid";
constexpr char ReadingKey[] = "features_to_read";
constexpr char WritingKey[] = "features_to_write";
constexpr char ChecksumKey[] = "checksum";

/// A random number, marked as such (RFC 9562, version 4).
std::array<std::byte, 16> NewUuid() {
  std::array<std::byte, 16> uuid;
  sqlite3_randomness(static_cast<int>(uuid.size()), uuid.data());
  uuid[6] = (uuid[6] & std::byte{0x0F}) | std::byte{0x40};
  uuid[8] = (uuid[8] & std::byte{0x3F}) | std::byte{0x80};
  return uuid;
}

/// The rows of table meta.
struct HeaderRows {
  std::map<std::string, std::string> m_Values; // as bytes
  std::optional<std::int64_t> m_StoredChecksum;
  std::int64_t m_Checksum = 0; // what it should be
};

HeaderRows ReadHeaderRows(sto_SqliteConnection& connection) {
  HeaderRows rows;
  sto_RowChecksum checksum({}, "meta");
  sto_SqliteStatement statement(connection, "SELECT key, value FROM meta ORDER BY key");
  for (sto_SqliteStatement::Use use(statement); use.Step();) {
    std::string const key = use.Text(0);
    if (key == ChecksumKey) {
      if (use.TypeOf(1) == sto_SqliteType::Integer) rows.m_StoredChecksum = use.Integer(1);
      continue;
    }
    sto_AddColumn(checksum, use, 0);
    sto_AddColumn(checksum, use, 1);
    rows.m_Values[key] = sto_AsText(use.Bytes(1));
  }
  rows.m_Checksum = checksum.Value();
  return rows;
}

bool Has(std::string_view names, std::string_view name) {
  return (' ' + std::string(names) + ' ').find(' ' + std::string(name) + ' ') != std::string::npos;
}

/// The names in a list that are not in another one; empty if there are none.
std::string Unknown(std::string_view names, std::string_view known, char const* separator = ", ") {
  std::string unknown;
  while (!names.empty()) {
    std::string_view const name = names.substr(0, names.find(' '));
    names.remove_prefix(std::min(names.size(), name.size() + 1));
    if (!name.empty() && !Has(known, name)) unknown.append(unknown.empty() ? "" : separator).append(name);
  }
  return unknown;
}

void SetChecksum(sto_SqliteConnection& connection) {
  std::int64_t const checksum = ReadHeaderRows(connection).m_Checksum;
  sto_SqliteStatement set(connection, "REPLACE INTO meta(key, value) VALUES(?, ?)");
  sto_SqliteStatement::Use(set).Bind(1, std::string_view(ChecksumKey)).Bind(2, checksum).Step();
}

} // namespace

std::string sto_SqliteHeader::UuidText() const {
  static constexpr char Digits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < m_Uuid.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += Digits[std::to_integer<unsigned>(m_Uuid[i]) >> 4];
    text += Digits[std::to_integer<unsigned>(m_Uuid[i]) & 15];
  }
  return text;
}

void sto_MakeSqliteHeader(sto_SqliteConnection& connection) {
  std::array<std::byte, 16> const uuid = NewUuid();
  sto_SqliteStatement insert(connection, "INSERT INTO meta(key, value) VALUES(?, ?)");
  auto const text = [&](char const* key, std::string_view value) {
    sto_SqliteStatement::Use(insert).Bind(1, std::string_view(key)).Bind(2, value).Step();
  };
  text(ReadingKey, {});
  text(WritingKey, {});
  sto_SqliteStatement::Use(insert).Bind(1, std::string_view(UuidKey)).Bind(2, sto_ByteView(uuid)).Step();
  SetChecksum(connection);
}

void sto_SetSqliteFeature(sto_SqliteConnection& connection, char const* feature, bool isUsed) {
  std::string features = Unknown(ReadHeaderRows(connection).m_Values[WritingKey], feature, " ");
  if (isUsed) features.append(features.empty() ? "" : " ").append(feature);
  sto_SqliteStatement set(connection, "REPLACE INTO meta(key, value) VALUES(?, ?)");
  sto_SqliteStatement::Use(set)
      .Bind(1, std::string_view(WritingKey))
      .Bind(2, std::string_view(features))
      .Step();
  SetChecksum(connection);
}

sto_SqliteHeader sto_ReadSqliteHeader(sto_SqliteConnection& connection) {
  HeaderRows rows = ReadHeaderRows(connection);
  sto_SqliteHeader header;
  std::string const& uuid = rows.m_Values[UuidKey];
  if (rows.m_StoredChecksum != rows.m_Checksum || uuid.size() != header.m_Uuid.size())
    sto_Raise(sto_ErrorKind::Damaged,
              connection.Path() + ": The store's header is damaged: table meta does not fit its checksum.");
  std::ranges::copy(sto_AsBytes(uuid), header.m_Uuid.begin());
  if (std::string const unknown = Unknown(rows.m_Values[ReadingKey], sto_Format::FeaturesToRead);
      !unknown.empty())
    sto_Raise(sto_ErrorKind::NewerFormat,
              connection.Path() + ": The store uses features that this program does not know: " + unknown +
                  ". Use the program that wrote it, or a newer one.");
  std::string const& toWrite = rows.m_Values[WritingKey];
  header.m_UnknownToWrite = Unknown(toWrite, sto_Format::FeaturesToWrite);
  header.m_HasIndexes = Has(toWrite, sto_Format::IndexesFeature);
  return header;
}

void sto_CheckSqliteWriting(sto_SqliteConnection const& connection, sto_SqliteHeader const& header) {
  if (!header.m_UnknownToWrite.empty())
    sto_Raise(sto_ErrorKind::ReadOnly,
              connection.Path() +
                  ": The store can be read, but not written: it uses features that this "
                  "program does not know: " +
                  header.m_UnknownToWrite + ". Use the program that wrote it, or a newer one.");
}
