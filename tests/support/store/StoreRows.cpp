#define XXH_INLINE_ALL
#include "tests/support/store/StoreRows.h"

#include <sqlite3.h>
#include <xxhash.h>

#include <cstring>
#include <stdexcept>

namespace {

void AddNumber(std::string& row, std::uint64_t number) {
  for (int byte = 0; byte < 8; ++byte) row += static_cast<char>(number >> (8 * byte) & 0xFF);
}

void AddSized(std::string& row, char type, sqlite3_value* value) {
  auto const* const bytes = static_cast<char const*>(sqlite3_value_blob(value));
  auto const size = static_cast<std::size_t>(sqlite3_value_bytes(value));
  row += type;
  std::size_t rest = size;
  for (; rest >= 0x80; rest >>= 7) row += static_cast<char>((rest & 0x7F) | 0x80);
  row += static_cast<char>(rest);
  if (size != 0) row.append(bytes, size);
}

void AddValue(std::string& row, sqlite3_value* value) {
  switch (sqlite3_value_type(value)) {
  case SQLITE_INTEGER:
    row += '\1';
    return AddNumber(row, static_cast<std::uint64_t>(sqlite3_value_int64(value)));
  case SQLITE_TEXT:
    return AddSized(row, '\2', value);
  case SQLITE_BLOB:
    return AddSized(row, '\3', value);
  default:
    row += '\0';
  }
}

/// The first column of a query with one row; empty if it has none.
std::string First(sqlite3* connection, char const* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr) != SQLITE_OK)
    throw std::runtime_error(sqlite3_errmsg(connection));
  std::string bytes;
  if (sqlite3_step(statement) == SQLITE_ROW)
    bytes.assign(static_cast<char const*>(sqlite3_column_blob(statement, 0)),
                 static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
  sqlite3_finalize(statement);
  return bytes;
}

std::string Encoded(sqlite3_value** values, int count) {
  std::string row;
  for (int i = 0; i < count; ++i) AddValue(row, values[i]);
  return row;
}

void SetChecksum(sqlite3_context* context, sqlite3_value* tableName, std::string const& row) {
  std::string const table(reinterpret_cast<char const*>(sqlite3_value_text(tableName)));
  std::string seed;
  if (table != "meta")
    seed = First(sqlite3_context_db_handle(context), "SELECT value FROM meta WHERE key = 'uuid'");
  seed += table;
  XXH64_hash_t const number =
      XXH3_64bits_withSeed(row.data(), row.size(), XXH3_64bits_withSeed(seed.data(), seed.size(), 0));
  sqlite3_result_int64(context, static_cast<sqlite3_int64>(number));
}

/// row_checksum(table, value, ...)
void RowChecksum(sqlite3_context* context, int count, sqlite3_value** values) {
  SetChecksum(context, values[0], Encoded(values + 1, count - 1));
}

/// row_bytes(value, ...): the encoded values in hexadecimal, for rows of any length
void RowBytes(sqlite3_context* context, int count, sqlite3_value** values) {
  std::string hex;
  for (char const c : Encoded(values, count)) {
    hex += "0123456789ABCDEF"[static_cast<unsigned char>(c) >> 4];
    hex += "0123456789ABCDEF"[static_cast<unsigned char>(c) & 0xF];
  }
  sqlite3_result_text(context, hex.data(), static_cast<int>(hex.size()), SQLITE_TRANSIENT);
}

/// bytes_checksum(table, bytes): the checksum of such a row
void BytesChecksum(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
  std::string const hex(reinterpret_cast<char const*>(sqlite3_value_text(values[1])));
  std::string row;
  for (std::size_t at = 0; at < hex.size(); at += 2)
    row += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
  SetChecksum(context, values[0], row);
}

} // namespace

void AddRowChecksum(sqlite3* connection) {
  auto const add = [&](char const* name, int count,
                       void (*function)(sqlite3_context*, int, sqlite3_value**)) {
    if (sqlite3_create_function(connection, name, count, SQLITE_UTF8, nullptr, function, nullptr, nullptr) !=
        SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(connection));
  };
  add("row_checksum", -1, RowChecksum);
  add("row_bytes", -1, RowBytes);
  add("bytes_checksum", 2, BytesChecksum);
}

void SealHeader(SqlFile& file) {
  std::string values = "'meta'";
  for (std::string const& value : file.Texts("SELECT quote(key) || ', ' || quote(value) FROM meta "
                                             "WHERE key <> 'checksum' ORDER BY key"))
    values += ", " + value;
  file.Run("UPDATE meta SET value = row_checksum(" + values + ") WHERE key = 'checksum'");
}

void SealRows(SqlFile& file) {
  file.Run(
      "UPDATE name SET checksum = row_checksum('name', id, text);"
      "UPDATE shape SET checksum = row_checksum('shape', id, data);"
      "UPDATE enumerator SET checksum = "
      "row_checksum('enumerator', class_id, version, attribute, name, value);"
      "UPDATE note SET checksum = row_checksum('note', class_id, version, attribute, name, text);"
      "UPDATE save SET checksum = "
      "row_checksum('save', no, at, program, note, next_object_id, changed, sum);"
      "UPDATE root SET checksum = row_checksum('root', name, object_id, class_id);"
      "UPDATE class SET checksum = bytes_checksum('class', "
      "row_bytes(class_id, version, name, base_class_id) || coalesce((SELECT group_concat(bytes, '') FROM "
      "(SELECT row_bytes(name, field_id, type, type_arg, collection_type, unit, default_value) AS bytes FROM attribute "
      "WHERE class_id = class.class_id AND version = class.version ORDER BY name)), ''))");
}

void RunSealed(SqlFile& file, std::string const& sql) {
  file.Run(sql);
  SealRows(file);
}

void PutRoot(SqlFile& file, std::string const& name, std::string const& id) {
  std::string const values = "'" + name + "', " + id + ", 5";
  file.Run("REPLACE INTO root VALUES(" + values + ", row_checksum('root', " + values + "))");
}

std::int64_t NextObjectId(SqlFile& file) {
  return file.Integer("SELECT next_object_id FROM save ORDER BY no DESC LIMIT 1");
}

void SetNextObjectId(SqlFile& file, std::string const& id) {
  RunSealed(file, "UPDATE save SET next_object_id = " + id + " WHERE no = (SELECT max(no) FROM save)");
}

namespace {

class Sum {
 public:
  void Add(std::uint64_t kind, std::string const& key, std::string const& content) {
    AddTerm(content, XXH3_64bits_withSeed(key.data(), key.size(), kind));
  }
  void AddHash(std::uint64_t kind, std::int64_t number, std::uint64_t hash) {
    std::string bytes;
    AddNumber(bytes, static_cast<std::uint64_t>(number));
    AddNumber(bytes, hash);
    AddTerm(bytes, kind);
  }
  [[nodiscard]] std::string Hex() const {
    std::string bytes;
    AddNumber(bytes, m_Low);
    AddNumber(bytes, m_High);
    std::string hex;
    for (char const c : bytes) {
      hex += "0123456789ABCDEF"[static_cast<unsigned char>(c) >> 4];
      hex += "0123456789ABCDEF"[static_cast<unsigned char>(c) & 0xF];
    }
    return hex;
  }

 private:
  void AddTerm(std::string const& content, std::uint64_t seed) {
    XXH128_hash_t const term = XXH3_128bits_withSeed(content.data(), content.size(), seed);
    m_Low += term.low64;
    m_High += term.high64 + (m_Low < term.low64 ? 1 : 0);
  }

  std::uint64_t m_Low = 0, m_High = 0;
};

std::string NumberKey(std::string const& number) {
  std::string key;
  AddNumber(key, static_cast<std::uint64_t>(std::stoll(number)));
  return key;
}

std::string FromHex(std::string const& hex) {
  std::string bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2)
    bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
  return bytes;
}

void AddRecords(SqlFile& file, Sum& sum) {
  for (std::string const& id : file.Texts("SELECT CAST(id AS TEXT) FROM object")) {
    StoreRow const row = file.Row(std::stoll(id));
    sum.AddHash(1, row.m_Shape,
                XXH3_64bits_withSeed(row.m_Values.data(), row.m_Values.size(),
                                     static_cast<std::uint64_t>(std::stoll(id))));
  }
}

void AddBlocks(SqlFile& file, Sum& sum) {
  for (char const* const from : {"stored_block", "block_place JOIN moved_block USING(place)"}) {
    std::string const rest = std::string(" FROM ") + from + " ORDER BY key";
    std::vector<std::string> const keys = file.Texts("SELECT CAST(key AS TEXT)" + rest);
    std::vector<std::string> const blocks = file.Texts("SELECT data" + rest);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      std::string const& block = blocks[i];
      bool const isCompressed = block.at(block.size() - 9) != 0;
      std::uint64_t hash = 0;
      std::memcpy(&hash, block.data() + block.size() - (isCompressed ? 21 : 8), sizeof hash);
      sum.AddHash(2, std::stoll(keys[i]), hash);
    }
  }
}

} // namespace

std::string SumOverRows(SqlFile& file) {
  Sum sum;
  file.Run("BEGIN");
  file.Unpack();
  AddRecords(file, sum);
  file.Run("ROLLBACK");
  AddBlocks(file, sum);
  for (std::string const& name : file.Texts("SELECT name FROM root")) {
    std::string const where = " FROM root WHERE name = '" + name + "'";
    sum.Add(3, name,
            NumberKey(file.Text("SELECT CAST(object_id AS TEXT)" + where)) +
                NumberKey(file.Text("SELECT CAST(class_id AS TEXT)" + where)));
  }
  for (std::string const& row : file.Texts("SELECT row_bytes(id, text) FROM name"))
    sum.Add(4, "name", FromHex(row));
  for (std::string const& row : file.Texts("SELECT row_bytes(id, data) FROM shape"))
    sum.Add(4, "shape", FromHex(row));
  for (std::string const& row :
       file.Texts("SELECT row_bytes(class_id, version, attribute, name, value) FROM enumerator"))
    sum.Add(4, "enumerator", FromHex(row));
  for (std::string const& row :
       file.Texts("SELECT row_bytes(class_id, version, attribute, name, text) FROM note"))
    sum.Add(4, "note", FromHex(row));
  for (
      std::string const& row : file.Texts(
          "SELECT row_bytes(class_id, version, name, base_class_id) || coalesce((SELECT group_concat(bytes, '') FROM "
          "(SELECT row_bytes(name, field_id, type, type_arg, collection_type, unit, default_value) AS bytes FROM attribute "
          "WHERE class_id = class.class_id AND version = class.version ORDER BY name)), '') FROM class"))
    sum.Add(4, "class", FromHex(row));
  return sum.Hex();
}

std::string SumInLog(SqlFile& file) {
  return file.Text("SELECT hex(sum) FROM save ORDER BY no DESC LIMIT 1");
}
