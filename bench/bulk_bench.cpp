/// Measures bulk arrays: in memory beside the standard library's containers, and on a store beside a plain
/// file and HDF5.
///
///     bulk_bench [FOLDER]             1.5 GB of files go to FOLDER (default: the temporary folder)
///     bulk_bench --smoke              everything once, small; the figures mean nothing
///     bulk_bench --figures ...        what bench/figures.py prints, for scripts
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
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bench_Figures.h"
#include "bench/bench_SaveAgain.h"
#include "bench/bulk_Arrays.h"
#include "bench/bulk_DataSets.h"
#include "bench/bulk_History.h"
#include "bench/bulk_Memory.h"
#include "bench/bulk_Peers.h"
#include "bench/bulk_Tools.h"
#include "module/nex_initialize.h"

namespace {

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
  for (int i = 0; i < Repetitions(3); ++i) {
    double const floor = SecondsOf([&] { plain.Write(blocks); });
    std::filesystem::remove(path);
    sto_Options options;
    options.m_ReadersBesideWriter = true;
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar, options);
    Result<double> first, second;
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
  std::printf("  %-23s %19.3f %7.2f   (beside a reader that scanned 16 MB %ld times)\n", "write, served",
              Median(ours), Median(ratios), scans);
  std::filesystem::remove(path);
}

long long BytesWritten() {
  std::ifstream io("/proc/self/io");
  std::string key;
  for (long long value = 0; io >> key >> value;)
    if (key == "wchar:") return value;
  return 0;
}

void MeasureOneChange(std::string const& path, cls_ClassRegistrar const& registrar) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, registrar);
  auto const result = store.Load<Result<double>>("result");
  sto_Transaction transaction(store);
  result->m_History.Get(result->m_History.Size() / 2) = -1;
  long long const before = BytesWritten();
  double const seconds = SecondsOf([&] { transaction.Commit(); });
  long long const written = BytesWritten() - before;
  std::printf(
      "\nOne changed element: commit writes %lld bytes (block, list record, and the journal's copies of "
      "both), %.2f ms\n",
      written, seconds * 1e3);
  bench_Figures::Print("bulk.change.bytes", static_cast<double>(written), "bytes");
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
  Result<double> result;
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
  WriteStore(path, registrar, count, WriteOneByOne<double>);
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

// ---- Beside a plain file and HDF5

/// The size of a store's file, as a multiple of the data in it.
double FileRatio(std::string const& path, double dataBytes) {
  return static_cast<double>(std::filesystem::file_size(path)) / dataBytes;
}

struct Work {
  char const* m_Name;
  char const* m_Figure;                                        // null: not measured for figures
  std::function<void(int repetition)> m_Plain, m_Ours, m_Hdf5; // m_Hdf5 may be empty
};

/// What was measured of some work, in seconds, in the order in which it was measured.
struct Row {
  std::vector<double> m_Plain, m_Ours, m_Hdf5;

  void Print(char const* name, char const* figure) const {
    auto const ratio = [&](std::vector<double> const& times) {
      std::vector<double> ratios;
      for (std::size_t i = 0; i < times.size(); ++i) ratios.push_back(times[i] / m_Plain[i]);
      return Median(ratios);
    };
    std::printf("  %-23s %9.3f %9.3f %7.2f", name, Median(m_Plain), Median(m_Ours), ratio(m_Ours));
    if (!m_Hdf5.empty()) std::printf(" %9.3f %7.2f", Median(m_Hdf5), ratio(m_Hdf5));
    std::printf("\n");
    if (figure != nullptr) bench_Figures::Print(figure, ratio(m_Ours), "ratio");
  }
};

/// Every other repetition begins with ours, so that neither side always finds what the other left behind.
void MeasureWork(Work const& work) {
  if (bench_Figures::IsEnabled() && work.m_Figure == nullptr) return;
  Row row;
  for (int i = 0; i < Repetitions(7); ++i) {
    auto const plain = [&] { row.m_Plain.push_back(SecondsOf([&] { work.m_Plain(i); })); };
    if (i % 2 == 0) plain();
    row.m_Ours.push_back(SecondsOf([&] { work.m_Ours(i); }));
    if (i % 2 != 0) plain();
    if (work.m_Hdf5 && !bench_Figures::IsEnabled()) row.m_Hdf5.push_back(SecondsOf([&] { work.m_Hdf5(i); }));
  }
  row.Print(work.m_Name, work.m_Figure);
}

/// The files of the measurement: `count` doubles in a store, a plain file and HDF5.
struct Files {
  Files(std::string folder, int blocks)
      : m_Blocks(blocks), m_Folder(std::move(folder)), m_Store(m_Folder + "/bulk.kvs"),
        m_Plain(m_Folder + "/bulk.plain"), m_Hdf5(m_Folder + "/bulk.h5") {}
  ~Files() {
    std::error_code ignored;
    for (char const* const name : {"/bulk.kvs", "/bulk.plain", "/bulk.h5"})
      std::filesystem::remove(m_Folder + name, ignored);
  }
  Files(Files const&) = delete;
  Files& operator=(Files const&) = delete;

  [[nodiscard]] int Count() const { return m_Blocks * BlockCount; }
  [[nodiscard]] double DataBytes() const { return 8.0 * Count(); }
  /// The numbers of all blocks, in order.
  [[nodiscard]] std::vector<int> All() const {
    std::vector<int> all(static_cast<std::size_t>(m_Blocks));
    std::iota(all.begin(), all.end(), 0);
    return all;
  }
  [[nodiscard]] std::vector<int> Shuffled(unsigned int seed) const {
    std::vector<int> all = All();
    std::ranges::shuffle(all, std::mt19937(seed));
    return all;
  }

  int m_Blocks;
  std::string m_Folder;
  std::string m_Store;
  PlainFile m_Plain;
  Hdf5File m_Hdf5;
};

/// A store that is open for reading.
struct Reading {
  Reading(std::string const& path, cls_ClassRegistrar const& registrar)
      : m_Store(sto_Store::Open(path, sto_Mode::ReadOnly, registrar)), m_Transaction(m_Store),
        m_Result(m_Store.Load<Result<double>>("result")) {}

  [[nodiscard]] double Read(std::vector<int> const& blocks) const {
    double sum = 0;
    for (int const block : blocks) sum += m_Result->m_History.ConstGet(block * BlockCount + 7);
    return sum;
  }

  sto_Store m_Store;
  sto_ReadTransaction m_Transaction;
  std::unique_ptr<Result<double>> m_Result; // goes first
};

/// Reads one element of every block at random: when the session touches each block for the first time,
/// opening included, and again in the same session in another order. The plain file and HDF5 read whole blocks.
void MeasureRandom(Files& files, cls_ClassRegistrar const& registrar) {
  Row first, again;
  std::vector<int> const order = files.Shuffled(2);
  std::vector<int> const otherOrder = files.Shuffled(3);
  for (int i = 0; i < Repetitions(9); ++i) {
    std::optional<Reading> reading;
    first.m_Plain.push_back(SecondsOf([&] { Use(files.m_Plain.Read(order, false)); }));
    first.m_Ours.push_back(SecondsOf([&] { Use(reading.emplace(files.m_Store, registrar).Read(order)); }));
    again.m_Plain.push_back(SecondsOf([&] { Use(files.m_Plain.Read(otherOrder, false)); }));
    again.m_Ours.push_back(SecondsOf([&] { Use(reading->Read(otherOrder)); }));
    if (bench_Figures::IsEnabled()) continue;
    first.m_Hdf5.push_back(SecondsOf([&] { Use(files.m_Hdf5.Read(order, false)); }));
  }
  first.Print("random, first touch", "bulk.random.first");
  again.Print("random, verified before", "bulk.random.again");
}

/// Changes elements of the given blocks in one transaction.
template <class Change>
void Overwrite(std::string const& path, cls_ClassRegistrar const& registrar, std::vector<int> const& blocks,
               Change change) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, registrar);
  auto const result = store.Load<Result<double>>("result");
  sto_Transaction transaction(store);
  for (int const block : blocks) change(result->m_History, block);
  transaction.Commit();
}

void MeasureWriting(Files& files, cls_ClassRegistrar const& registrar) {
  auto const plain = [&](int) { files.m_Plain.Write(files.m_Blocks); };
  auto const ours = [&](void (*write)(Result<double>&, int)) {
    return [&files, &registrar, write](int) { WriteStore(files.m_Store, registrar, files.Count(), write); };
  };
  MeasureWork({"write by element", nullptr, plain, ours(WriteOneByOne<double>), nullptr});
  MeasureWork({"write", "bulk.write", plain, ours(WriteBlocks<double>),
               [&](int) { files.m_Hdf5.Write(files.m_Blocks); }});
}

void MeasureScan(Files& files, cls_ClassRegistrar const& registrar) {
  MeasureWork({"scan", "bulk.scan", [&](int) { Use(files.m_Plain.Scan(files.m_Blocks)); },
               [&](int) { Use(ScanStore(files.m_Store, registrar)); },
               [&](int) { Use(files.m_Hdf5.Read(files.All(), true)); }});
}

/// Overwrites scattered blocks, 40 % of them.
void MeasureOverwriting(Files& files, cls_ClassRegistrar const& registrar) {
  std::vector<int> blocks = files.Shuffled(4);
  blocks.resize(blocks.size() * 2 / 5);
  auto const plain = [&](int repetition) { files.m_Plain.Overwrite(blocks, repetition); };
  MeasureWork({"overwrite all", "bulk.overwrite", plain,
               [&](int repetition) {
                 Overwrite(files.m_Store, registrar, blocks, [&](auto& history, int block) {
                   for (int i = 0; i < BlockCount; ++i) history.Get(block * BlockCount + i) = -repetition - i;
                 });
               },
               nullptr});
  MeasureWork({"overwrite one", nullptr, plain,
               [&](int repetition) {
                 Overwrite(files.m_Store, registrar, blocks, [&](auto& history, int block) {
                   history.Get(block * BlockCount + block * 37 % BlockCount) = -repetition - 1;
                 });
               },
               nullptr});
}

/// The file of a store with nothing but an array, as a multiple of its elements.
template <class T> double FileRatioOf(std::string const& folder, cls_ClassRegistrar const& registrar) {
  int const count = s_IsSmoke ? 100'000 : 10'000'000;
  std::string const path = folder + "/elements.kvs";
  WriteStore(path, registrar, count, WriteBlocks<T>);
  double const ratio = FileRatio(path, static_cast<double>(count) * sizeof(T));
  std::filesystem::remove(path);
  return ratio;
}

void PrintFileRatios(std::string const& folder, cls_ClassRegistrar const& registrar, double written,
                     double overwritten) {
  double const ints = FileRatioOf<int>(folder, registrar);
  double const floats = FileRatioOf<float>(folder, registrar);
  std::printf(
      "\nFile / data: doubles %.2f, ints %.2f, floats %.2f; doubles after 40 %% were overwritten %.2f "
      "(room for the next)\n",
      written, ints, floats, overwritten);
  bench_Figures::Print("bulk.file.doubles", written, "ratio");
  bench_Figures::Print("bulk.file.ints", ints, "ratio");
  bench_Figures::Print("bulk.file.floats", floats, "ratio");
  bench_Figures::Print("bulk.file.overwritten", overwritten, "ratio");
}

/// A list of doubles that is always saved whole, and saved again unchanged.
void MeasureListAgain(std::string const& folder, cls_ClassRegistrar const& registrar) {
  std::string const path = folder + "/list.kvs";
  int const count = s_IsSmoke ? 10'000 : 10'000'000;
  ListResult result;
  for (int i = 0; i < count; ++i) result.m_List.Append(i * 0.5);
  bench_SaveAgain again;
  for (int i = 0; i < Repetitions(5); ++i) {
    std::filesystem::remove(path);
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar);
    again.Measure(path, [&] { store.Save("result", result); });
  }
  std::filesystem::remove(path);
  std::printf("\nA list of %d doubles that is saved whole:\n", count);
  again.Print("time: unchanged list saved again / its first save", "bulk.again");
}

void MeasureStore(char const* self, std::string const& folder, cls_ClassRegistrar const& registrar) {
  Files files(folder, s_IsSmoke ? 50 : 50'000'000 / BlockCount);
  std::printf("\nOn a store, %d doubles (%.0f MB), as multiples of a plain file with one fsync:\n",
              files.Count(), files.DataBytes() * 1e-6);
  std::printf("  %-23s %9s %9s %7s %9s %7s\n", "", "plain s", "store s", "ratio", "HDF5 s", "ratio");
  MeasureWriting(files, registrar);
  MeasureScan(files, registrar);
  MeasureRandom(files, registrar);
  double const written = FileRatio(files.m_Store, files.DataBytes());
  MeasureOverwriting(files, registrar);
  double const overwritten = FileRatio(files.m_Store, files.DataBytes());
  if (!bench_Figures::IsEnabled()) MeasureServing(self, folder, registrar, files.m_Blocks);
  PrintFileRatios(folder, registrar, written, overwritten);
  MeasureOneChange(files.m_Store, registrar);
  MeasureListAgain(folder, registrar);
}

} // namespace

int main(int argc, char** argv) {
  std::vector<std::string_view> arguments(argv + 1, argv + argc);
  int modules = 0;
  nex_initialize(modules);
  int status = 0;
  {
    cls_ClassRegistrar registrar;
    Result<double>::Declare(registrar);
    Result<int>::Declare(registrar);
    Result<float>::Declare(registrar);
    ListResult::Declare(registrar);
    if (arguments.size() == 3 && arguments[0] == "--saving") {
      PrintPeakOfSaving(std::atoi(argv[2]), argv[3], registrar);
    } else if (arguments.size() == 3 && arguments[0] == "--memory") {
      status = PrintPeak(std::atoi(argv[2]), argv[3], registrar);
    } else if (arguments.size() == 2 && arguments[0] == "--serve") {
      status = Serve(argv[2], registrar);
    } else {
      if (std::erase(arguments, "--figures") != 0) bench_Figures::Enable();
      s_IsSmoke = !arguments.empty() && arguments[0] == "--smoke";
      std::string folder = std::filesystem::temp_directory_path().string();
      if (!s_IsSmoke && !arguments.empty()) folder = arguments[0];
      folder += "/kvl-bulk-XXXXXX";
      Check(mkdtemp(folder.data()) != nullptr, "folder");
      if (!bench_Figures::IsEnabled()) bulk_MeasureMemory();
      MeasureStore(argv[0], folder, registrar);
      bulk_MeasureDataSets(folder);
      bulk_MeasureHistory(folder, registrar);
      if (!bench_Figures::IsEnabled()) MeasurePeak(argv[0], folder + "/peak.kvs");
      std::filesystem::remove_all(folder);
    }
  }
  nex_finalize(modules);
  return status;
}
