// Measures storage layouts in SQLite: the figures behind the choice in docs/store-format.md.
//
// Blocks of 16 KiB under a packed integer key, and small objects as one packed row or as one row per field,
// for several page sizes and journal modes. Figures of blocks are multiples of a plain file with one fsync,
// measured in the same run. Usage: layout_bench [--smoke]

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t BlockBytes = 16384 + 8;
int s_Blocks = 4096;
int s_Objects = 200'000;
int s_Repetitions = 5;

struct Layout {
  int m_PageBytes;
  char const* m_Journal;
};

class Database {
 public:
  Database(std::string const& path, Layout const& layout) {
    Check(sqlite3_open(path.c_str(), &m_Handle));
    Run("PRAGMA page_size = " + std::to_string(layout.m_PageBytes));
    Run(std::string("PRAGMA journal_mode = ") + layout.m_Journal + "; PRAGMA mmap_size = 1099511627776");
    Run(std::strcmp(layout.m_Journal, "DELETE") == 0 ? "PRAGMA synchronous = EXTRA"
                                                     : "PRAGMA synchronous = FULL");
  }
  ~Database() { sqlite3_close(m_Handle); }
  Database(Database const&) = delete;
  Database& operator=(Database const&) = delete;

  void Run(std::string const& sql) { Check(sqlite3_exec(m_Handle, sql.c_str(), nullptr, nullptr, nullptr)); }
  sqlite3_stmt* Prepare(char const* sql) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(m_Handle, sql, -1, &statement, nullptr));
    return statement;
  }
  void Check(int code) {
    if (code == SQLITE_OK) return;
    std::fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(m_Handle));
    std::exit(1);
  }

 private:
  sqlite3* m_Handle = nullptr;
};

template <class Work> double Seconds(Work work) {
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

std::vector<int> Shuffled(int count) {
  std::vector<int> order(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) order[static_cast<std::size_t>(i)] = i;
  std::shuffle(order.begin(), order.end(), std::mt19937(7));
  return order;
}

std::vector<char> Noise(std::size_t size) {
  std::vector<char> bytes(size);
  std::mt19937 random(3);
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

struct Times {
  double m_Write, m_Read, m_RandomRead, m_Bytes;
};

void Need(bool done) {
  if (done) return;
  std::perror("plain file");
  std::exit(1);
}

Times PlainFile(std::string const& path) {
  std::vector<char> block = Noise(BlockBytes);
  std::filesystem::remove(path);
  auto const at = [](int i) { return static_cast<off_t>(i) * static_cast<off_t>(BlockBytes); };
  Times times{};
  times.m_Write = Seconds([&] {
    int const file = open(path.c_str(), O_CREAT | O_WRONLY, 0644);
    for (int i = 0; i < s_Blocks; ++i)
      Need(pwrite(file, block.data(), BlockBytes, at(i)) == ssize_t(BlockBytes));
    Need(fsync(file) == 0 && close(file) == 0);
  });
  int const file = open(path.c_str(), O_RDONLY);
  times.m_Read = Seconds([&] {
    for (int i = 0; i < s_Blocks; ++i)
      Need(pread(file, block.data(), BlockBytes, at(i)) == ssize_t(BlockBytes));
  });
  times.m_RandomRead = Seconds([&] {
    for (int i : Shuffled(s_Blocks))
      Need(pread(file, block.data(), BlockBytes, at(i)) == ssize_t(BlockBytes));
  });
  close(file);
  times.m_Bytes = static_cast<double>(std::filesystem::file_size(path));
  return times;
}

void Remove(std::string const& path) {
  for (char const* suffix : {"", "-journal", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
}

Times Blocks(std::string const& path, Layout const& layout) {
  std::vector<char> block = Noise(BlockBytes);
  Remove(path);
  Times times{};
  Database database(path, layout);
  database.Run("CREATE TABLE block(key INTEGER PRIMARY KEY, data BLOB NOT NULL)");
  times.m_Write = Seconds([&] {
    database.Run("BEGIN IMMEDIATE");
    sqlite3_stmt* const insert = database.Prepare("REPLACE INTO block VALUES(?, ?)");
    for (int i = 0; i < s_Blocks; ++i) {
      sqlite3_bind_int64(insert, 1, (std::int64_t{7} << 20) + i);
      sqlite3_bind_blob(insert, 2, block.data(), static_cast<int>(BlockBytes), SQLITE_STATIC);
      if (sqlite3_step(insert) != SQLITE_DONE) database.Check(SQLITE_ERROR);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    database.Run("COMMIT");
  });
  auto const read = [&](std::vector<int> const& order) {
    return Seconds([&] {
      database.Run("BEGIN");
      sqlite3_stmt* const select = database.Prepare("SELECT data FROM block WHERE key = ?");
      for (int i : order) {
        sqlite3_bind_int64(select, 1, (std::int64_t{7} << 20) + i);
        if (sqlite3_step(select) != SQLITE_ROW) database.Check(SQLITE_ERROR);
        std::memcpy(block.data(), sqlite3_column_blob(select, 0), BlockBytes);
        sqlite3_reset(select);
      }
      sqlite3_finalize(select);
      database.Run("COMMIT");
    });
  };
  std::vector<int> inOrder(static_cast<std::size_t>(s_Blocks));
  for (int i = 0; i < s_Blocks; ++i) inOrder[static_cast<std::size_t>(i)] = i;
  times.m_Read = read(inOrder);
  times.m_RandomRead = read(Shuffled(s_Blocks));
  times.m_Bytes = static_cast<double>(std::filesystem::file_size(path));
  if (std::filesystem::exists(path + "-wal") && times.m_Bytes < static_cast<double>(s_Blocks) * BlockBytes)
    times.m_Bytes = static_cast<double>(std::filesystem::file_size(path + "-wal"));
  return times;
}

/// One small object: a name, a message and a number. `rowsPerObject` is 1 for a packed row, 3 for one row per
/// field.
Times Objects(std::string const& path, Layout const& layout, int rowsPerObject) {
  Remove(path);
  Database database(path, layout);
  database.Run(
      "CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, record BLOB NOT NULL)");
  std::vector<char> const record = Noise(rowsPerObject == 1 ? 80 : 24);
  Times times{};
  times.m_Write = Seconds([&] {
    database.Run("BEGIN IMMEDIATE");
    sqlite3_stmt* const insert = database.Prepare("REPLACE INTO object VALUES(?, 2031618, ?)");
    for (int i = 0; i < s_Objects * rowsPerObject; ++i) {
      sqlite3_bind_int64(insert, 1, i + 1);
      sqlite3_bind_blob(insert, 2, record.data(), static_cast<int>(record.size()), SQLITE_STATIC);
      if (sqlite3_step(insert) != SQLITE_DONE) database.Check(SQLITE_ERROR);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    database.Run("COMMIT");
  });
  times.m_Bytes = static_cast<double>(std::filesystem::file_size(path));
  return times;
}

template <class Measure> Times Medians(Measure measure) {
  std::vector<double> write, read, random;
  Times times{};
  for (int i = 0; i < s_Repetitions; ++i) {
    times = measure();
    write.push_back(times.m_Write);
    read.push_back(times.m_Read);
    random.push_back(times.m_RandomRead);
  }
  return {Median(write), Median(read), Median(random), times.m_Bytes};
}

} // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--smoke") == 0) {
    s_Blocks = 16;
    s_Objects = 100;
    s_Repetitions = 1;
  }
  std::string folder = (std::filesystem::temp_directory_path() / "kvl-layout-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return 1;
  std::string const path = folder + "/layout";

  Layout const layouts[] = {
      {4096, "WAL"}, {16384, "WAL"}, {4096, "DELETE"}, {16384, "DELETE"}, {65536, "DELETE"}};
  Times const plain = Medians([&] { return PlainFile(path); });
  double const data = static_cast<double>(s_Blocks) * BlockBytes;
  std::printf(
      "%d blocks of 16 KiB, as multiples of a plain file with one fsync (%.0f MB/s written, %.0f read)\n",
      s_Blocks, data / plain.m_Write / 1e6, data / plain.m_Read / 1e6);
  std::printf("  page  journal  write  read in order  random read  file/data\n");
  for (Layout const& layout : layouts) {
    Times const times = Medians([&] { return Blocks(path, layout); });
    std::printf("  %5d  %-7s  %5.2f  %13.2f  %11.2f  %9.2f\n", layout.m_PageBytes, layout.m_Journal,
                times.m_Write / plain.m_Write, times.m_Read / plain.m_Read,
                times.m_RandomRead / plain.m_RandomRead, times.m_Bytes / data);
  }
  std::printf("%d objects of three fields, written in one transaction\n", s_Objects);
  std::printf("  page  journal  one packed row each (objects/s, bytes)  one row per field\n");
  for (Layout const& layout : layouts) {
    Times const packed = Medians([&] { return Objects(path, layout, 1); });
    Times const rows = Medians([&] { return Objects(path, layout, 3); });
    std::printf("  %5d  %-7s  %12.0f %6.0f  %28.0f %6.0f\n", layout.m_PageBytes, layout.m_Journal,
                s_Objects / packed.m_Write, packed.m_Bytes / s_Objects, s_Objects / rows.m_Write,
                rows.m_Bytes / s_Objects);
  }
  std::filesystem::remove_all(folder);
  return 0;
}
