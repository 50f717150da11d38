#include "tests/support/store/StoreFile.h"

#include <sqlite3.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "store/base/sto_Exception.h"

StoreFileTest::StoreFileTest() {
  std::string name = (std::filesystem::temp_directory_path() / "kvl-store-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
  m_Folder = name;
}

StoreFileTest::~StoreFileTest() {
  std::error_code ignored;
  std::filesystem::remove_all(m_Folder, ignored);
}

std::string StoreFileTest::Path(std::string_view name) const {
  return (m_Folder / name).string();
}

SqlFile::SqlFile(std::string const& path) {
  if (sqlite3_open_v2(path.c_str(), &m_Handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) ==
      SQLITE_OK) {
    // A test that changes a file need not wait for the disk. It may be a damaged file, where this fails.
    sqlite3_exec(m_Handle, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    return;
  }
  std::string const text = sqlite3_errmsg(m_Handle);
  sqlite3_close(m_Handle);
  throw std::runtime_error(text);
}

SqlFile::~SqlFile() {
  sqlite3_close(m_Handle);
}

void SqlFile::ForEach(std::string const& sql, StoreBytes const* bytes, OnRow const& onRow) {
  char const* rest = sql.c_str();
  while (*rest != '\0') {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_Handle, rest, -1, &statement, &rest) != SQLITE_OK)
      throw std::runtime_error(sql + ": " + sqlite3_errmsg(m_Handle));
    if (statement == nullptr) continue;
    if (bytes != nullptr)
      sqlite3_bind_blob64(statement, 1, bytes->empty() ? "" : static_cast<void const*>(bytes->data()),
                          bytes->size(), SQLITE_STATIC);
    int code = SQLITE_OK;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) onRow(statement);
    sqlite3_finalize(statement);
    if (code != SQLITE_DONE) throw std::runtime_error(sql + ": " + sqlite3_errmsg(m_Handle));
  }
}

void SqlFile::Run(std::string const& sql) {
  ForEach(sql, nullptr, [](sqlite3_stmt*) {});
}

void SqlFile::Unpack() {
  for (std::string const& key : Texts("SELECT key FROM pack")) {
    StoreBytes const pack = Blob("SELECT data FROM pack WHERE key = " + key);
    std::size_t at = 8;
    auto const varint = [&] {
      std::uint64_t value = 0;
      for (int shift = 0;; shift += 7) {
        auto const byte = std::to_integer<std::uint64_t>(pack.at(at++));
        value |= (byte & 0x7F) << shift;
        if (byte < 0x80) return value;
      }
    };
    struct Entry {
      std::int64_t m_Id;
      std::uint64_t m_ClassId, m_Size;
    };
    std::vector<Entry> entries;
    for (int place = 0; place < 64; ++place) {
      if ((std::to_integer<int>(pack.at(static_cast<std::size_t>(place / 8))) >> place % 8 & 1) == 0)
        continue;
      std::uint64_t const classId = varint();
      entries.push_back({std::stoll(key) * 64 + place, classId, varint()});
    }
    for (Entry const& entry : entries) {
      auto const first = pack.begin() + static_cast<std::ptrdiff_t>(at);
      at += entry.m_Size;
      Run("INSERT INTO object VALUES(" + std::to_string(entry.m_Id) + ", " + std::to_string(entry.m_ClassId) +
              ", ?)",
          StoreBytes(first, first + static_cast<std::ptrdiff_t>(entry.m_Size)));
    }
    if (at != pack.size()) throw std::runtime_error("a pack has bytes that belong to no record");
  }
  Run("DELETE FROM pack");
}

void SqlFile::Run(std::string const& sql, StoreBytes const& bytes) {
  ForEach(sql, &bytes, [](sqlite3_stmt*) {});
}

std::int64_t SqlFile::Integer(std::string const& sql) {
  std::vector<std::int64_t> found;
  ForEach(sql, nullptr, [&](sqlite3_stmt* row) { found.push_back(sqlite3_column_int64(row, 0)); });
  return found.empty() ? throw std::runtime_error(sql + ": no row") : found.front();
}

std::string SqlFile::Text(std::string const& sql) {
  std::vector<std::string> const found = Texts(sql);
  return found.empty() ? throw std::runtime_error(sql + ": no row") : found.front();
}

std::vector<std::string> SqlFile::Texts(std::string const& sql) {
  std::vector<std::string> found;
  ForEach(sql, nullptr, [&](sqlite3_stmt* row) {
    auto const* const bytes = static_cast<char const*>(sqlite3_column_blob(row, 0));
    found.emplace_back(bytes == nullptr ? "" : bytes, static_cast<std::size_t>(sqlite3_column_bytes(row, 0)));
  });
  return found;
}

StoreBytes SqlFile::Blob(std::string const& sql) {
  std::string const bytes = Text(sql);
  auto const* const first = reinterpret_cast<std::byte const*>(bytes.data());
  return {first, first + bytes.size()};
}

std::string IntegrityOf(std::string const& path) {
  return SqlFile(path).Text("PRAGMA integrity_check");
}

StoreBytes FileBytes(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::string const text{std::istreambuf_iterator<char>(file), {}};
  auto const* const first = reinterpret_cast<std::byte const*>(text.data());
  return {first, first + text.size()};
}

void WriteFile(std::string const& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string MessageOf(sto_ErrorKind kind, std::function<void()> const& act) {
  try {
    act();
  } catch (sto_Exception const& exception) {
    std::string const text(exception.AsString().View());
    EXPECT_EQ(static_cast<int>(exception.Kind()), static_cast<int>(kind)) << text;
    return text;
  } catch (std::exception const& exception) {
    ADD_FAILURE() << "raised " << exception.what();
    return {};
  }
  ADD_FAILURE() << "raised nothing";
  return {};
}
