#include "tests/support/store/StoreFile.h"

#include <sqlite3.h>
#include <unistd.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <bit>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "store/base/sto_Exception.h"
#include "tests/support/store/StoreBlocks.h"
#include "tests/support/store/StoreNumbers.h"
#include "tests/support/store/StoreRows.h"

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
    AddRowChecksum(m_Handle);
    AddStoredBlocks(m_Handle);
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

namespace {

StoreBytes WithoutChecksum(std::int64_t owner, StoreBytes const& bytes, std::size_t checksumBytes) {
  if (bytes.size() < checksumBytes) throw std::runtime_error("bytes without a checksum");
  StoreBytes const content(bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(checksumBytes));
  if (WithChecksum(owner, content, checksumBytes) != bytes) throw std::runtime_error("a wrong checksum");
  return content;
}

} // namespace

StoreBytes WithChecksum(std::int64_t owner, StoreBytes bytes, std::size_t checksumBytes) {
  std::uint64_t const hash =
      XXH3_64bits_withSeed(bytes.data(), bytes.size(), static_cast<std::uint64_t>(owner));
  for (std::size_t i = 0; i < checksumBytes; ++i) bytes.push_back(static_cast<std::byte>(hash >> (8 * i)));
  return bytes;
}

void SqlFile::Unpack() {
  bool const hasShapes = HasShapes();
  for (std::string const& key : Keys()) {
    StoreBytes const pack = Blob("SELECT data FROM pack WHERE key = " + key);
    hasShapes ? UnpackShaped(std::stoll(key), pack) : UnpackOld(std::stoll(key), pack);
  }
  Run("DELETE FROM pack");
}

void SqlFile::UnpackOld(std::int64_t key, StoreBytes const& pack) {
  struct Entry {
    std::int64_t m_Id, m_ClassId, m_Size;
  };
  StoreNumbers numbers(pack);
  std::uint64_t const present = numbers.Fixed(8);
  std::vector<Entry> entries;
  for (int place = 0; place < 64; ++place) {
    if ((present >> place & 1) == 0) continue;
    std::int64_t const classId = numbers.Varint();
    entries.push_back({key * 64 + place, classId, numbers.Varint()});
  }
  for (Entry const& entry : entries)
    Run("INSERT INTO object VALUES(" + std::to_string(entry.m_Id) + ", " + std::to_string(entry.m_ClassId) +
            ", ?)",
        numbers.Raw(static_cast<std::size_t>(entry.m_Size)));
  if (numbers.Left() != 0) throw std::runtime_error("a pack has bytes that belong to no record");
}

void SqlFile::UnpackShaped(std::int64_t key, StoreBytes const& pack) {
  StoreNumbers numbers(pack);
  std::uint64_t const present = numbers.Fixed(4);
  std::int64_t const save = numbers.Varint();
  std::vector<std::int64_t> shapes(static_cast<std::size_t>(numbers.Varint()));
  for (std::int64_t& shape : shapes) shape = numbers.Varint();
  auto const count = static_cast<std::size_t>(std::popcount(present));
  StoreBytes indexes(count);
  if (shapes.size() > 1) indexes = numbers.Raw(count);
  std::vector<std::size_t> ends{0};
  for (std::size_t i = 0; i < count; ++i) ends.push_back(static_cast<std::size_t>(numbers.Fixed(2)));
  StoreBytes const header = numbers.Before();
  StoreBytes sealed = header;
  StorePut(sealed, numbers.Raw(4));
  static_cast<void>(WithoutChecksum(key, sealed, 4));
  std::size_t index = 0;
  for (int place = 0; place < 32; ++place) {
    if ((present >> place & 1) == 0) continue;
    std::int64_t const id = key * 32 + place;
    if (Integer("SELECT count(*) FROM object WHERE id = " + std::to_string(id)) != 0)
      throw std::runtime_error("object " + std::to_string(id) + " is there twice");
    StoreBytes const values = WithoutChecksum(id, numbers.Raw(ends[index + 1] - ends[index]), 4);
    PutRow(id, {save, shapes.at(std::to_integer<std::size_t>(indexes[index])), values});
    ++index;
  }
  if (numbers.Left() != 0) throw std::runtime_error("a pack has bytes that belong to no record");
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

StoreRow SqlFile::Row(std::int64_t id) {
  StoreBytes const content =
      WithoutChecksum(id, Blob("SELECT record FROM object WHERE id = " + std::to_string(id)), 8);
  StoreNumbers numbers(content);
  StoreRow row;
  row.m_Save = numbers.Varint();
  row.m_Shape = numbers.Varint();
  row.m_Values = numbers.Rest();
  return row;
}

void SqlFile::PutRow(std::int64_t id, StoreRow const& row) {
  StoreBytes bytes;
  StorePutVarint(bytes, row.m_Save);
  StorePutVarint(bytes, row.m_Shape);
  StorePut(bytes, row.m_Values);
  Run("REPLACE INTO object VALUES(" + std::to_string(id) + ", ?)", WithChecksum(id, bytes));
}

StoreBytes SqlFile::Shape(std::int64_t number) {
  return Blob("SELECT data FROM shape WHERE id = " + std::to_string(number));
}

void SqlFile::PutShape(std::int64_t number, StoreBytes const& shape) {
  std::string const id = std::to_string(number);
  Run("REPLACE INTO shape VALUES(" + id + ", ?1, row_checksum('shape', " + id + ", ?1))", shape);
}

std::vector<std::string> SqlFile::Objects() {
  // In a transaction that is undone: records in packs get rows for a moment.
  bool const hasPacks = Integer("SELECT count(*) FROM sqlite_schema WHERE name = 'pack'") != 0;
  Run("BEGIN");
  if (hasPacks) Unpack();
  std::vector<std::string> objects;
  if (!HasShapes()) {
    objects = Texts("SELECT id || ' ' || class_id FROM object ORDER BY id");
  } else {
    for (std::string const& id : Texts("SELECT CAST(id AS TEXT) FROM object ORDER BY id")) {
      StoreRow const row = Row(std::stoll(id));
      StoreBytes const shape = row.m_Shape == 0 ? row.m_Values : Shape(row.m_Shape);
      StoreNumbers numbers(shape);
      static_cast<void>(numbers.Fixed(1)); // flags
      static_cast<void>(numbers.Varint()); // the number of parts
      objects.push_back(id + ' ' + std::to_string(numbers.Varint()));
    }
  }
  Run("ROLLBACK");
  return objects;
}

int SqlFile::CountOf(unsigned int classId) {
  std::string const end = ' ' + std::to_string(classId);
  return static_cast<int>(
      std::ranges::count_if(Objects(), [&](std::string const& object) { return object.ends_with(end); }));
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

std::string MessageOf(sto_ErrorKind kind, HeldFunction<> const& act) {
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
