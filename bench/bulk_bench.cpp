/// Measures bulk arrays: in memory beside the standard library's containers, and on a store beside a plain
/// file and HDF5.
///
///     bulk_bench [FOLDER]             1.5 GB of files go to FOLDER (default: the temporary folder)
///     bulk_bench --smoke              everything once, small; the figures mean nothing
///
/// The program runs itself with these options to measure another process:
///
///     --saving COUNT FILE             peak memory while an array is saved
///     --memory COUNT FILE             peak memory while an array is written and scanned
///     --serve FILE                    a reader beside a writer
///
/// Ratios compare times of the same run: medians of interleaved repetitions. Below 1, the store is faster
/// than the peer.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bulk_Peers.h"
#include "collections/cls_ArrayPrim.h"
#include "module/nex_initialize.h"
#include "store/sto_Store.h"

namespace {

using Clock = std::chrono::steady_clock;

bool s_IsSmoke = false;

double SecondsOf(std::function<void()> const& work) {
  Clock::time_point const start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

template <class T> void Use(T const& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

/// Measures ours and a peer in turn.
void Compare(char const* name, char const* peer, double count, std::function<void()> const& ours,
             std::function<void()> const& theirs, char const* reach) {
  std::vector<double> mine, other, ratios;
  for (int i = 0; i < (s_IsSmoke ? 1 : 7); ++i) {
    mine.push_back(SecondsOf(ours));
    other.push_back(SecondsOf(theirs));
    ratios.push_back(mine.back() / other.back());
  }
  std::printf("  %-34s %8.2f ns   %-22s %8.2f ns   %5.2f  %s\n", name, Median(mine) / count * 1e9, peer,
              Median(other) / count * 1e9, Median(ratios), reach);
}

// ---- In memory

/// Sums a container passed by reference, as programs pass theirs.
template <class Container> [[gnu::noinline]] double SumInOrder(Container const& container, int count) {
  double sum = 0;
  for (int i = 0; i < count; ++i)
    if constexpr (requires { container.ConstGet(i); })
      sum += container.ConstGet(i);
    else
      sum += container[static_cast<std::size_t>(i)];
  return sum;
}

void MeasureMemory() {
  int const count = s_IsSmoke ? 10'000 : 10'000'000;
  int const blocks = count / BlockCount + 1;
  std::printf("In memory, %d doubles (ns per element):\n", count);
  cls_ArrayPrimDouble array;
  std::deque<double> deque;
  std::map<int, std::unique_ptr<double[]>> map;
  std::vector<double> vector(static_cast<std::size_t>(count));
  Compare(
      "Append", "std::deque", count,
      [&] {
        array.DropBlocks();
        for (int i = 0; i < count; ++i) array.Append(i);
      },
      [&] {
        std::deque<double>().swap(deque);
        for (int i = 0; i < count; ++i) deque.push_back(i);
      },
      "(at most 1.15)");
  std::iota(vector.begin(), vector.end(), 0.0);
  for (int block = 0; block < blocks; ++block)
    map.emplace(block * BlockCount, std::make_unique<double[]>(BlockCount));
  Compare(
      "ConstGet in order", "std::deque", count, [&] { Use(SumInOrder(array, count)); },
      [&] { Use(SumInOrder(deque, count)); }, "(at most 1.15)");
  Compare(
      "ConstGetRun in order", "std::vector", count,
      [&] {
        double sum = 0;
        for (int i = 0; i < count;) {
          auto const [values, length] = array.ConstGetRun(i);
          for (int k = 0; k < length; ++k) sum += values[k];
          i += length;
        }
        Use(sum);
      },
      [&] {
        double sum = 0;
        for (double const value : vector) sum += value;
        Use(sum);
      },
      "");
  std::mt19937 random(1);
  std::vector<int> indexes(s_IsSmoke ? 1000 : 1'000'000);
  for (int& index : indexes) index = static_cast<int>(random() % static_cast<unsigned int>(count));
  Compare(
      "ConstGet at random", "std::map by block", static_cast<double>(indexes.size()),
      [&] {
        double sum = 0;
        for (int const index : indexes) sum += array.ConstGet(index);
        Use(sum);
      },
      [&] {
        double sum = 0;
        for (int const index : indexes)
          sum += map.find(index & ~(BlockCount - 1))->second[index % BlockCount];
        Use(sum);
      },
      "(at most 2.0)");
  cls_PTrie<int, cls_ArrayPrimBuffer<double>, 1> trie;
  for (int block = 0; block < blocks; ++block)
    trie.Insert(block * BlockCount, cls_ArrayPrimBuffer<double>::Make());
  Compare(
      "walk over the blocks", "std::map", blocks,
      [&] {
        cls_PTrieIter<int, cls_ArrayPrimBuffer<double>, 1> iter(trie);
        for (iter.First(); iter.IsDone() == 0; iter.Next()) Use(iter.CurrentKey());
      },
      [&] {
        for (auto const& [key, block] : map) Use(key);
      },
      "(below 1)");
  trie.Clear();
  array.DropBlocks();
}

// ---- On a store

cls_FieldHandle HistoryField() {
  return {0, "m_History"_cow};
}

struct Result {
  static constexpr unsigned int TypeId() noexcept { return 0x670001; }
  Result() = default;
  explicit Result(cls_ReadVisitor const& visitor)
      : m_History(cls_ReadVisitor(visitor, HistoryField())), m_Uid(visitor.GetUid()) {}
  ~Result() { m_History.Release(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_History.DBWrite(cls_WriteVisitor(visitor, HistoryField(), nullptr, &m_History));
  }
  cls_ArrayPrimDouble m_History;
  cls_Uid m_Uid;
};

void DeclareResult(cls_ClassRegistrar& registrar) {
  registrar.CreateClassMD("Result"_cow, Result::TypeId(), 1, nullptr, 1)
      .AddAttribute(HistoryField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
}

/// Writes the elements block by block, in the same pieces as the peers.
void WriteBlocks(Result& result, int count) {
  std::vector<double> block(BlockCount);
  for (int first = 0; first < count; first += BlockCount) {
    int const length = std::min(BlockCount, count - first);
    for (int i = 0; i < length; ++i) block[static_cast<std::size_t>(i)] = (first + i) * 0.5;
    result.m_History.AppendBlock(block.data(), length);
  }
}

void WriteOneByOne(Result& result, int count) {
  for (int i = 0; i < count; ++i) result.m_History.Append(i * 0.5);
}

void WriteStore(std::string const& path, cls_ClassRegistrar const& registrar, int count,
                void (*write)(Result&, int)) {
  std::filesystem::remove(path);
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar);
  Result result;
  sto_Transaction transaction(store);
  store.Save("result", result);
  write(result, count);
  transaction.Commit();
}

double ScanStore(std::string const& path, cls_ClassRegistrar const& registrar) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, registrar);
  sto_ReadTransaction const transaction(store);
  auto const result = store.Load<Result>("result");
  double sum = 0;
  int const count = result->m_History.Size();
  for (int i = 0; i < count;) {
    auto const [values, length] = result->m_History.ConstGetRun(i);
    sum += std::accumulate(values, values + length, 0.0);
    i += length;
  }
  return sum;
}

// ---- Writing beside readers

volatile sig_atomic_t s_Stop = 0;

/// Another process that reads the first array of a store over and over until it is stopped. It writes the
/// number of its scans to `path`.reads.
int Serve(std::string const& path, cls_ClassRegistrar const& registrar) {
  signal(SIGTERM, [](int) { s_Stop = 1; });
  long scans = 0;
  while (s_Stop == 0) {
    Use(ScanStore(path, registrar));
    ++scans;
  }
  std::ofstream(path + ".reads") << scans;
  return 0;
}

class Reader {
 public:
  Reader(char const* self, std::string path) : m_Path(std::move(path)), m_Process(::fork()) {
    Check(m_Process >= 0, "fork");
    if (m_Process != 0) return;
    ::execl(self, self, "--serve", m_Path.c_str(), static_cast<char*>(nullptr));
    ::_exit(1);
  }
  Reader(Reader const&) = delete;
  Reader& operator=(Reader const&) = delete;
  ~Reader() {
    if (m_Process > 0) ::kill(m_Process, SIGTERM);
  }
  /// Stops the process; returns how many times it has read the array.
  long End() {
    ::kill(m_Process, SIGTERM);
    int status = 0;
    Check(::waitpid(std::exchange(m_Process, 0), &status, 0) > 0 && status == 0, "reader");
    long scans = 0;
    std::ifstream(m_Path + ".reads") >> scans;
    return scans;
  }

 private:
  std::string m_Path;
  pid_t m_Process;
};

/// A store with a write-ahead log has an array of 2 million elements. A second process reads it while this
/// one writes `blocks` more blocks in one transaction.
void MeasureServing(char const* self, std::string const& folder, cls_ClassRegistrar const& registrar,
                    int blocks) {
  std::string const path = folder + "/served.kvs";
  PlainFile plain(folder + "/served.plain");
  std::vector<double> ours, ratios;
  long scans = 0;
  for (int i = 0; i < (s_IsSmoke ? 1 : 3); ++i) {
    double const floor = SecondsOf([&] { plain.Write(blocks); });
    std::filesystem::remove(path);
    sto_Options options;
    options.m_ReadersBesideWriter = true;
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar, options);
    Result first, second;
    {
      sto_Transaction transaction(store);
      store.Save("result", first);
      WriteBlocks(first, s_IsSmoke ? BlockCount : 2'000'000);
      transaction.Commit();
    }
    Reader reader(self, path);
    ::usleep(200'000); // give the reader time to start
    ours.push_back(SecondsOf([&] {
      sto_Transaction transaction(store);
      store.Save("second", second);
      WriteBlocks(second, blocks * BlockCount);
      transaction.Commit();
    }));
    ratios.push_back(ours.back() / floor);
    scans += reader.End();
  }
  std::printf("  %-16s %17.3f %7.2f %8s   (beside a reader that scanned 16 MB %ld times)\n", "write, served",
              Median(ours), Median(ratios), "4.5", scans);
  std::filesystem::remove(path);
}

struct Work {
  char const* m_Name;
  std::function<void(int repetition)> m_Plain, m_Ours, m_Hdf5; // m_Hdf5 may be empty
  char const* m_Reach;
};

long long WrittenBytes() {
  std::ifstream io("/proc/self/io");
  std::string key;
  for (long long value = 0; io >> key >> value;)
    if (key == "wchar:") return value;
  return 0;
}

void MeasureOneChange(std::string const& path, cls_ClassRegistrar const& registrar) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, registrar);
  auto const result = store.Load<Result>("result");
  sto_Transaction transaction(store);
  result->m_History.Get(result->m_History.Size() / 2) = -1;
  long long const before = WrittenBytes();
  double const seconds = SecondsOf([&] { transaction.Commit(); });
  std::printf(
      "\nOne changed element: commit writes %lld bytes (block, list record, and the journal's copies of "
      "both), %.2f ms\n",
      WrittenBytes() - before, seconds * 1e3);
}

void MeasurePeak(char const* self, std::string const& path) {
  std::printf("\nPeak memory of a process that writes and scans an array:\n");
  std::fflush(stdout);
  for (int const count : {10'000'000, 100'000'000}) {
    std::string const command =
        std::string(self) + " --memory " + std::to_string(s_IsSmoke ? count / 1000 : count) + " " + path;
    Check(std::system(command.c_str()) == 0, "child");
  }
  std::string const saving =
      std::string(self) + " --saving " + std::to_string(s_IsSmoke ? 10'000 : 10'000'000) + " " + path;
  Check(std::system(saving.c_str()) == 0, "child");
}

/// The peak resident memory of this process so far, in kB.
int PeakKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmHWM:")) return std::atoi(line.c_str() + 6);
  return 0;
}

/// Saves an array that is in memory. Its blocks stay in memory until the transaction ends, but none is held
/// twice.
void PrintPeakOfSaving(int count, std::string const& path, cls_ClassRegistrar const& registrar) {
  int const atStart = PeakKilobytes();
  Result result;
  for (int i = 0; i < count; ++i) result.m_History.Append(i);
  int const before = PeakKilobytes();
  sto_Store::Open(path, sto_Mode::Create, registrar).Save("result", result);
  std::printf("  %9d elements (%6.1f MB) in memory: %.1f MB; peak while they are saved %.1f MB, %.3f of it\n",
              count, count * 8e-6, (before - atStart) / 1024.0, (PeakKilobytes() - atStart) / 1024.0,
              static_cast<double>(PeakKilobytes() - atStart) / std::max(1, before - atStart));
  std::filesystem::remove(path);
}

int PrintPeak(int count, std::string const& path, cls_ClassRegistrar const& registrar) {
  auto const peak = PeakKilobytes;
  int const before = peak();
  WriteStore(path, registrar, count, WriteOneByOne);
  int const written = peak();
  // Pages of the mapped file belong to the system's cache, not to the program; RssAnon leaves them out.
  ScanStore(path, registrar);
  std::ifstream status("/proc/self/status");
  std::string anonymous;
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("RssAnon:")) anonymous = line.substr(8);
  std::printf("  %9d elements (%6.1f MB): peak %.1f MB after writing (%.1f MB at start); own memory after "
              "scanning%s\n",
              count, count * 8e-6, written / 1024.0, before / 1024.0, anonymous.c_str());
  std::filesystem::remove(path);
  return 0;
}

double FileRatio(std::string const& path, int count) {
  return static_cast<double>(std::filesystem::file_size(path)) / (static_cast<double>(count) * 8);
}

void MeasureStore(char const* self, std::string const& folder, cls_ClassRegistrar const& registrar) {
  int const blocks = s_IsSmoke ? 50 : 50'000'000 / BlockCount;
  int const count = blocks * BlockCount;
  std::string const path = folder + "/bulk.kvs";
  PlainFile plain(folder + "/bulk.plain");
  Hdf5File hdf5(folder + "/bulk.h5");
  std::mt19937 random(2);
  std::vector<int> all(static_cast<std::size_t>(blocks));
  std::iota(all.begin(), all.end(), 0);
  std::vector<int> picks(s_IsSmoke ? 100 : 100'000);
  for (int& pick : picks) pick = static_cast<int>(random() % static_cast<unsigned int>(blocks));
  std::vector<int> shuffled(all);
  std::ranges::shuffle(shuffled, random);
  shuffled.resize(s_IsSmoke ? 10 : 10'000);

  Work const works[] = {
      {"write by element", [&](int) { plain.Write(blocks); },
       [&](int) { WriteStore(path, registrar, count, WriteOneByOne); }, nullptr, ""},
      {"write", [&](int) { plain.Write(blocks); },
       [&](int) { WriteStore(path, registrar, count, WriteBlocks); }, [&](int) { hdf5.Write(blocks); },
       "1.6"},
      {"scan", [&](int) { Use(plain.Scan(blocks)); }, [&](int) { Use(ScanStore(path, registrar)); },
       [&](int) { Use(hdf5.Read(all, true)); }, "1.5"},
      {"random blocks", [&](int) { Use(plain.Read(picks, false)); },
       [&](int) {
         sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, registrar);
         sto_ReadTransaction const transaction(store);
         auto const result = store.Load<Result>("result");
         double sum = 0;
         for (int const pick : picks) sum += result->m_History.ConstGet(pick * BlockCount + 7);
         Use(sum);
       },
       [&](int) { Use(hdf5.Read(picks, false)); }, "1.5"},
      {"overwrite all", [&](int repetition) { plain.Overwrite(shuffled, repetition); },
       [&](int repetition) {
         sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, registrar);
         auto const result = store.Load<Result>("result");
         sto_Transaction transaction(store);
         for (int const pick : shuffled)
           for (int i = 0; i < BlockCount; ++i)
             result->m_History.Get(pick * BlockCount + i) = -repetition - i;
         transaction.Commit();
       },
       nullptr, "4"},
      {"overwrite one", [&](int repetition) { plain.Overwrite(shuffled, repetition); },
       [&](int repetition) {
         sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, registrar);
         auto const result = store.Load<Result>("result");
         sto_Transaction transaction(store);
         for (std::size_t i = 0; i < shuffled.size(); ++i)
           result->m_History.Get(shuffled[i] * BlockCount + static_cast<int>(i * 37 % BlockCount)) =
               -repetition - 1;
         transaction.Commit();
       },
       nullptr, "4"},
  };
  std::printf("\nOn a store, %d doubles (%.0f MB), as multiples of a plain file with one fsync:\n", count,
              count * 8e-6);
  std::printf("  %-16s %9s %9s %7s %8s %9s %7s\n", "", "plain s", "store s", "ratio", "at most", "HDF5 s",
              "ratio");
  double written = 0;
  for (Work const& work : works) {
    if (std::string_view(work.m_Name) == "overwrite all") written = FileRatio(path, count);
    std::vector<double> floor, ours, peer, ratios, peerRatios;
    for (int i = 0; i < (s_IsSmoke ? 1 : 5); ++i) {
      floor.push_back(SecondsOf([&] { work.m_Plain(i); }));
      ours.push_back(SecondsOf([&] { work.m_Ours(i); }));
      ratios.push_back(ours.back() / floor.back());
      if (!work.m_Hdf5) continue;
      peer.push_back(SecondsOf([&] { work.m_Hdf5(i); }));
      peerRatios.push_back(peer.back() / floor.back());
    }
    std::printf("  %-16s %9.3f %9.3f %7.2f %8s", work.m_Name, Median(floor), Median(ours), Median(ratios),
                work.m_Reach);
    if (work.m_Hdf5) std::printf(" %9.3f %7.2f", Median(peer), Median(peerRatios));
    std::printf("\n");
  }
  MeasureServing(self, folder, registrar, blocks);
  std::printf("  %-16s %25.2f %8s   (%.2f after the overwriting: room for the next)\n", "file / data",
              written, "1.15", FileRatio(path, count));
  MeasureOneChange(path, registrar);
  for (char const* const name : {"/bulk.kvs", "/bulk.plain", "/bulk.h5"})
    std::filesystem::remove(folder + name);
}

} // namespace

int main(int argc, char** argv) {
  std::vector<std::string_view> const arguments(argv + 1, argv + argc);
  int modules = 0;
  nex_initialize(modules);
  int status = 0;
  {
    cls_ClassRegistrar registrar;
    DeclareResult(registrar);
    if (arguments.size() == 3 && arguments[0] == "--saving") {
      PrintPeakOfSaving(std::atoi(argv[2]), argv[3], registrar);
    } else if (arguments.size() == 3 && arguments[0] == "--memory") {
      status = PrintPeak(std::atoi(argv[2]), argv[3], registrar);
    } else if (arguments.size() == 2 && arguments[0] == "--serve") {
      status = Serve(argv[2], registrar);
    } else {
      s_IsSmoke = !arguments.empty() && arguments[0] == "--smoke";
      std::string folder = std::filesystem::temp_directory_path().string();
      if (!s_IsSmoke && !arguments.empty()) folder = arguments[0];
      folder += "/kvl-bulk-XXXXXX";
      Check(mkdtemp(folder.data()) != nullptr, "folder");
      MeasureMemory();
      MeasureStore(argv[0], folder, registrar);
      MeasurePeak(argv[0], folder + "/peak.kvs");
      std::filesystem::remove_all(folder);
    }
  }
  nex_finalize(modules);
  return status;
}
