#include "bench/objects_RootTouch.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>

#include "bench/objects_StoreContenders.h"

namespace {

/// What the session's connection has done so far.
struct Touched {
  int m_Rows = 0;
  int m_Steps = 0;    // of SQLite's virtual machine
  int m_FullScan = 0; // rows visited in full table scans
  int m_Pages = 0;    // pages read into the cache
};

sqlite3* s_Connection = nullptr; // of the only session
Touched s_Touched;

int NoteEvent(unsigned int event, void*, void* statement, void*) {
  auto* const handle = static_cast<sqlite3_stmt*>(statement);
  if (event == SQLITE_TRACE_ROW) {
    ++s_Touched.m_Rows;
  } else {
    s_Touched.m_Steps += sqlite3_stmt_status(handle, SQLITE_STMTSTATUS_VM_STEP, 1);
    s_Touched.m_FullScan += sqlite3_stmt_status(handle, SQLITE_STMTSTATUS_FULLSCAN_STEP, 1);
  }
  return 0;
}

int Watch(sqlite3* connection, char const**, sqlite3_api_routines const*) {
  s_Connection = connection;
  s_Touched = {};
  return sqlite3_trace_v2(connection, SQLITE_TRACE_ROW | SQLITE_TRACE_PROFILE, NoteEvent, nullptr);
}

Touched TouchedSoFar() {
  Touched touched = s_Touched;
  int greatest = 0;
  sqlite3_db_status(s_Connection, SQLITE_DBSTATUS_CACHE_MISS, &touched.m_Pages, &greatest, 0);
  return touched;
}

/// While it lives, new connections are watched and use a page cache that counts. Only the measured session
/// has a connection.
class Watching {
 public:
  Watching() {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_MMAP_SIZE, sqlite3_int64{0}, sqlite3_int64{0});
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(Watch));
  }
  ~Watching() {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_MMAP_SIZE, sqlite3_int64{-1}, sqlite3_int64{-1});
    sqlite3_initialize();
  }
  Watching(Watching const&) = delete;
  Watching& operator=(Watching const&) = delete;
};

constexpr int LoadCount = 31;

void MakeRoots(std::string const& path, int count) {
  std::filesystem::remove(path);
  objects_RootsContender contender(objects_MakeSamples(count));
  contender.Prepare(path);
  contender.Save();
}

void LoadOne(sto_Store& store, std::string const& name) {
  objects_Tally tally;
  store.Load<objects_Part>(name)->AddTo(tally);
  objects_Require(tally.m_Count == 1, "loading " + name);
}

/// The most that any one load touched, with and without opening the session.
void PrintTouched(std::string const& path, std::vector<std::string> const& names) {
  Touched all, load;
  auto const raise = [](Touched& most, Touched const& touched, Touched const& before) {
    most.m_Rows = std::max(most.m_Rows, touched.m_Rows - before.m_Rows);
    most.m_Steps = std::max(most.m_Steps, touched.m_Steps - before.m_Steps);
    most.m_FullScan = std::max(most.m_FullScan, touched.m_FullScan - before.m_FullScan);
    most.m_Pages = std::max(most.m_Pages, touched.m_Pages - before.m_Pages);
  };
  Watching const watching;
  for (std::string const& name : names) {
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, objects_StoreClasses());
    Touched const opened = TouchedSoFar();
    LoadOne(store, name);
    raise(all, TouchedSoFar(), {});
    raise(load, TouchedSoFar(), opened);
  }
  std::printf(" %6d %6d %9d %6d   %6d %6d %9d %6d", load.m_Rows, load.m_Steps, load.m_FullScan, load.m_Pages,
              all.m_Rows, all.m_Steps, all.m_FullScan, all.m_Pages);
}

double MedianTime(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

void PrintTimes(std::string const& path, std::vector<std::string> const& names) {
  using Clock = std::chrono::steady_clock;
  std::vector<double> loads, all;
  for (std::string const& name : names) {
    Clock::time_point const start = Clock::now();
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, objects_StoreClasses());
    Clock::time_point const opened = Clock::now();
    LoadOne(store, name);
    Clock::time_point const end = Clock::now();
    loads.push_back(std::chrono::duration<double, std::micro>(end - opened).count());
    all.push_back(std::chrono::duration<double, std::micro>(end - start).count());
  }
  std::printf("   %8.1f %8.1f\n", MedianTime(loads), MedianTime(all));
}

} // namespace

void objects_PrintRootTouch(std::string const& path, int greatestCount) {
  std::printf("\nOne object by root name in a new session (most of %d loads; times are medians):\n",
              LoadCount);
  std::printf("  %9s  %30s   %30s   %17s\n", "", "the load alone", "with opening the session", "us");
  std::printf("  %9s  %6s %6s %9s %6s   %6s %6s %9s %6s   %8s %8s\n", "roots", "rows", "steps", "full scan",
              "pages", "rows", "steps", "full scan", "pages", "load", "with open");
  std::mt19937 random(13);
  for (int count = greatestCount / 1000 > 0 ? greatestCount / 1000 : 1; count <= greatestCount; count *= 10) {
    MakeRoots(path, count);
    std::vector<std::string> names;
    for (int i = 0; i < LoadCount; ++i)
      names.push_back(objects_RootName(static_cast<int>(random() % static_cast<unsigned int>(count))));
    std::printf("  %9d ", count);
    PrintTouched(path, names);
    PrintTimes(path, names);
  }
  std::filesystem::remove(path);
}
