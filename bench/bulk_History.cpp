#include "bench/bulk_History.h"

#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "bench/bench_Figures.h"
#include "bench/bulk_Arrays.h"
#include "bench/bulk_Plate.h"
#include "bench/bulk_Tools.h"

namespace {

constexpr int StepsBetweenCheckpoints = 500; // each ends a transaction

/// A way to store the history. Ratios compare with the first.
struct Way {
  std::string m_Name;
  sto_Options m_Options;
};

/// A further way needs only a line here; its ratios then appear by themselves.
std::vector<Way> Ways() {
  sto_Options compressing;
  compressing.m_Compress = true;
  return {{"uncompressed", {}}, {"compressed", compressing}};
}

struct Measured {
  std::vector<double> m_Write, m_DiskScan, m_CachedScan; // seconds
  double m_Megabytes = 0;
  double m_ReadMegabytes = 0; // from the disk, in the last scan that had to
};

void Write(std::string const& path, cls_ClassRegistrar const& registrar, sto_Options const& options,
           std::vector<double> const& history, int nodes) {
  std::filesystem::remove(path);
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar, options);
  Result<double> result;
  auto const piece = static_cast<std::size_t>(nodes) * StepsBetweenCheckpoints;
  for (std::size_t first = 0; first < history.size(); first += piece) {
    sto_Transaction transaction(store);
    store.Save("result", result);
    for (std::size_t i = first; i < std::min(history.size(), first + piece); ++i)
      result.m_History.Append(history[i]);
    transaction.Commit();
  }
}

/// Removes the file's pages from the system's cache.
void DropFromCache(std::string const& path) {
  int const file = ::open(path.c_str(), O_RDONLY);
  Check(file >= 0 && ::fsync(file) == 0, "synchronising the history");
  Check(::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) == 0, "dropping the history");
  ::close(file);
}

/// What this process has read from disks so far.
double ReadMegabytes() {
  std::ifstream io("/proc/self/io");
  std::string key;
  for (double value = 0; io >> key >> value;)
    if (key == "read_bytes:") return value * 1e-6;
  return 0;
}

void MeasureOnce(std::string const& path, cls_ClassRegistrar const& registrar, Way const& way,
                 std::vector<double> const& history, int nodes, Measured& measured) {
  measured.m_Write.push_back(SecondsOf([&] { Write(path, registrar, way.m_Options, history, nodes); }));
  measured.m_Megabytes = static_cast<double>(std::filesystem::file_size(path)) * 1e-6;
  DropFromCache(path);
  double const expected = std::accumulate(history.begin(), history.end(), 0.0);
  double const before = ReadMegabytes();
  double sum = 0;
  measured.m_DiskScan.push_back(SecondsOf([&] { sum = ScanStore(path, registrar); }));
  measured.m_ReadMegabytes = ReadMegabytes() - before;
  measured.m_CachedScan.push_back(SecondsOf([&] { Use(ScanStore(path, registrar)); }));
  // The scan adds block by block, which rounds differently.
  Check(std::abs(sum - expected) <= std::abs(expected) * 1e-9, "the history");
}

double MedianRatio(std::vector<double> const& ours, std::vector<double> const& theirs) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / theirs[i]);
  return Median(ratios);
}

void PrintRatios(std::string const& name, Measured const& way, Measured const& first) {
  double const size = way.m_Megabytes / first.m_Megabytes;
  double const write = MedianRatio(way.m_Write, first.m_Write);
  double const disk = MedianRatio(way.m_DiskScan, first.m_DiskScan);
  double const cached = MedianRatio(way.m_CachedScan, first.m_CachedScan);
  std::printf("  %-16s %9.2f %9.2f %9.2f %9.2f   (multiples of the first)\n", "", size, write, disk, cached);
  bench_Figures::Print("history." + name + ".size", size, "ratio");
  bench_Figures::Print("history." + name + ".write", write, "ratio");
  bench_Figures::Print("history." + name + ".disk_scan", disk, "ratio");
  bench_Figures::Print("history." + name + ".cached_scan", cached, "ratio");
}

} // namespace

void bulk_MeasureHistory(std::string const& folder, cls_ClassRegistrar const& registrar) {
  // As large as the transient run of scripts/demo.sh, and about as hard to compress.
  bulk_Plate const plate(s_IsSmoke ? 16 : 32, s_IsSmoke ? 10 : 25);
  std::vector<double> const history = plate.History(s_IsSmoke ? 100 : 8000);
  std::vector<Way> const ways = Ways();
  std::vector<Measured> measured(ways.size());
  for (int i = 0; i < Repetitions(9); ++i)
    for (std::size_t k = 0; k < ways.size(); ++k)
      MeasureOnce(folder + "/history.kvs", registrar, ways[k], history, plate.NodeCount(), measured[k]);
  std::filesystem::remove(folder + "/history.kvs");

  std::printf("\nA history of heat conduction, %d nodes, %zu steps, a transaction for every %d:\n",
              plate.NodeCount(), history.size() / static_cast<std::size_t>(plate.NodeCount()) - 1,
              StepsBetweenCheckpoints);
  std::printf("  %-16s %9s %9s %9s %9s\n", "", "MB", "write s", "disk s", "cached s");
  for (std::size_t k = 0; k < ways.size(); ++k) {
    std::printf("  %-16s %9.2f %9.3f %9.3f %9.3f   (%.1f MB came from the disk)\n", ways[k].m_Name.c_str(),
                measured[k].m_Megabytes, Median(measured[k].m_Write), Median(measured[k].m_DiskScan),
                Median(measured[k].m_CachedScan), measured[k].m_ReadMegabytes);
    if (k > 0) PrintRatios(ways[k].m_Name, measured[k], measured[0]);
  }
  bench_Figures::Print("history.size", measured[0].m_Megabytes, "MB");
  bench_Figures::Print("history.write", Median(measured[0].m_Write), "s");
  bench_Figures::Print("history.disk_scan", Median(measured[0].m_DiskScan), "s");
  bench_Figures::Print("history.cached_scan", Median(measured[0].m_CachedScan), "s");
}
