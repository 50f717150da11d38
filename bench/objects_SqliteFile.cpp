#include "bench/objects_SqliteFile.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

objects_SqliteFile::objects_SqliteFile(std::string const& path) {
  Require(sqlite3_open_v2(path.c_str(), &m_Handle,
                          SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                          nullptr) == SQLITE_OK);
  Run("PRAGMA page_size = 16384; PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA;"
      "PRAGMA mmap_size = 1099511627776; PRAGMA temp_store = MEMORY");
}

objects_SqliteFile::~objects_SqliteFile() {
  sqlite3_close(m_Handle);
}

void objects_SqliteFile::Run(char const* sql) {
  Require(sqlite3_exec(m_Handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK);
}

void objects_SqliteFile::Require(bool works) const {
  if (works) return;
  std::fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(m_Handle));
  std::exit(1);
}

objects_SqliteStatement::objects_SqliteStatement(objects_SqliteFile& file, char const* sql) : m_File(file) {
  m_File.Require(sqlite3_prepare_v3(file.m_Handle, sql, -1, SQLITE_PREPARE_PERSISTENT, &m_Handle, nullptr) ==
                 SQLITE_OK);
}

objects_SqliteStatement::~objects_SqliteStatement() {
  sqlite3_finalize(m_Handle);
}

void objects_SqliteStatement::Bind(int parameter, std::int64_t value) {
  sqlite3_bind_int64(m_Handle, parameter, value);
}

void objects_SqliteStatement::BindText(int parameter, std::string_view text) {
  sqlite3_bind_text64(m_Handle, parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

void objects_SqliteStatement::BindBytes(int parameter, std::string_view bytes) {
  sqlite3_bind_blob64(m_Handle, parameter, bytes.data(), bytes.size(), SQLITE_STATIC);
}

bool objects_SqliteStatement::Step() {
  int const code = sqlite3_step(m_Handle);
  m_File.Require(code == SQLITE_ROW || code == SQLITE_DONE);
  return code == SQLITE_ROW;
}

void objects_SqliteStatement::Reset() {
  sqlite3_reset(m_Handle);
}

void objects_SqliteStatement::Run() {
  Step();
  Reset();
}

std::int64_t objects_SqliteStatement::Integer(int column) {
  return sqlite3_column_int64(m_Handle, column);
}

std::string_view objects_SqliteStatement::Bytes(int column) {
  auto const* const bytes = static_cast<char const*>(sqlite3_column_blob(m_Handle, column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_Handle, column))};
}
