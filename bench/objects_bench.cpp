/// Measures many small objects in a store, beside bare SQLite, HDF5 and serialization libraries.
///
///     objects_bench [COUNT [FOLDER]]    COUNT objects (default: a million); files go to FOLDER (default: the
///                                       system's temporary folder)
///     objects_bench --smoke             everything once, small; the figures mean nothing
///     objects_bench --only save|load|roots [COUNT [FOLDER]]
///                                       the store alone, several times, for a profiler
///
/// An object has a base part (a string, an int) and a message of 20 to 40 characters. Within a round, all
/// contenders take turns. Saving is timed from the first object until everything is durable; loading from
/// opening the file until the last object is built. Outside the measured time, what was loaded is compared
/// with what was saved.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "bench/objects_ArchiveContenders.h"
#include "bench/objects_Hdf5Contenders.h"
#include "bench/objects_RootTouch.h"
#include "bench/objects_SqliteContenders.h"
#include "bench/objects_StoreContenders.h"
#include "module/nex_initialize.h"

void objects_Require(bool works, std::string const& what) {
  if (works) return;
  std::fprintf(stderr, "objects_bench: failed: %s\n", what.c_str());
  std::exit(1);
}

namespace {

constexpr std::size_t FewObjects = 50'000; // for a contender that is far slower than all others

double SecondsOf(std::function<void()> const& work) {
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values.empty() ? 0 : values[values.size() / 2];
}

/// Seconds an object, one value per round.
struct Times {
  std::vector<double> m_Save, m_Close, m_Load, m_Shuffled, m_Release;
};

struct Entry {
  char const* m_Name;
  std::unique_ptr<objects_Contender> m_Contender;
  std::string m_Path;
  std::vector<int> m_Order; // for loading shuffled
  objects_Tally m_Expected;
  Times m_Times = {};
  std::uintmax_t m_Bytes = 0;

  [[nodiscard]] double Count() const { return static_cast<double>(m_Order.size()); }
};

objects_Tally TallyOf(std::vector<objects_Sample> const& samples) {
  objects_Tally tally;
  for (objects_Sample const& sample : samples) tally.Add(sample.m_Name, sample.m_Number, sample.m_Message);
  return tally;
}

void MeasureRound(Entry& entry) {
  objects_Contender& contender = *entry.m_Contender;
  Times& times = entry.m_Times;
  auto const each = [&](std::function<void()> const& work) { return SecondsOf(work) / entry.Count(); };
  auto const end = [&] {
    objects_Require(contender.Loaded() == entry.m_Expected,
                    std::string(entry.m_Name) + ": other objects were loaded");
    double const seconds = each([&] { contender.Release(); });
    contender.Close();
    return seconds;
  };
  contender.Prepare(entry.m_Path);
  times.m_Save.push_back(each([&] { contender.Save(); }));
  times.m_Close.push_back(each([&] { contender.Close(); }));
  entry.m_Bytes = std::filesystem::file_size(entry.m_Path);
  times.m_Load.push_back(each([&] { contender.Load(entry.m_Path); }));
  times.m_Release.push_back(end());
  bool isPossible = false;
  double const shuffled = each([&] { isPossible = contender.LoadShuffled(entry.m_Path, entry.m_Order); });
  if (!isPossible) return;
  times.m_Shuffled.push_back(shuffled);
  end();
}

/// The median over the rounds of the ratio of rates; above 1, `ours` is faster.
double RateRatio(std::vector<double> const& ours, std::vector<double> const& theirs) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i)
    ratios.push_back(theirs[i] / ours[i]);
  return Median(ratios);
}

void PrintEntries(std::vector<Entry> const& entries) {
  Times const& store = entries.front().m_Times;
  std::printf("  %-27s %8s %8s %8s %8s %8s %7s   %6s %6s\n", "", "save", "load", "shuffled", "destroy",
              "close", "bytes/", "store:", "store:");
  std::printf("  %-27s %8s %8s %8s %8s %8s %7s   %6s %6s\n", "", "k/s", "k/s", "k/s", "ns each", "ns each",
              "object", "save x", "load x");
  for (Entry const& entry : entries) {
    Times const& times = entry.m_Times;
    auto const rate = [&](std::vector<double> const& seconds) { return 1e-3 / Median(seconds); };
    auto const cost = [&](std::vector<double> const& seconds) { return Median(seconds) * 1e9; };
    std::printf("  %-27s %8.0f %8.0f ", entry.m_Name, rate(times.m_Save), rate(times.m_Load));
    if (times.m_Shuffled.empty())
      std::printf("%8s", "-");
    else
      std::printf("%8.0f", rate(times.m_Shuffled));
    std::printf(" %8.0f %8.0f %7.1f   %6.2f %6.2f\n", cost(times.m_Release), cost(times.m_Close),
                static_cast<double>(entry.m_Bytes) / entry.Count(), RateRatio(store.m_Save, times.m_Save),
                RateRatio(store.m_Load, times.m_Load));
  }
}

void PrintTarget(char const* what, double ratio, double atLeast) {
  std::printf("  %-58s %6.2f   (at least %.1f)%s\n", what, ratio, atLeast, ratio < atLeast ? "  missed" : "");
}

std::vector<Entry> MakeEntries(std::vector<objects_Sample> const& samples, std::string const& folder) {
  std::vector<Entry> entries;
  auto const add = [&](char const* name, std::unique_ptr<objects_Contender> contender,
                       std::vector<objects_Sample> const& of) {
    std::string const path = folder + "/objects" + std::to_string(entries.size());
    entries.push_back(
        {name, std::move(contender), path, objects_ShuffledOrder(static_cast<int>(of.size())), TallyOf(of)});
  };
  // HDF5 takes a hundred times as long for a data set as for a row.
  std::vector<objects_Sample> const few(
      samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(std::min(samples.size(), FewObjects)));
  add("store", std::make_unique<objects_StoreContender>(samples), samples);
  add("SQLite, packed row", std::make_unique<objects_PackedContender>(samples), samples);
  add("SQLite, row per field", std::make_unique<objects_RowAFieldContender>(samples), samples);
  add("Boost, polymorphic pointers", objects_MakeBoostPointers(samples), samples);
  add("Boost, values", objects_MakeBoostValues(samples), samples);
  add("cereal, polymorphic pointers", objects_MakeCerealPointers(samples), samples);
  add("cereal, values", objects_MakeCerealValues(samples), samples);
  add("store, one root each", std::make_unique<objects_RootsContender>(samples), samples);
  add("SQLite, packed row by name", std::make_unique<objects_PackedByNameContender>(samples), samples);
  add("HDF5, table", objects_MakeHdf5Table(samples), samples);
  add("HDF5, table, variable text", objects_MakeHdf5VariableTable(samples), samples);
  add("HDF5, data set each (few)", objects_MakeHdf5DataSets(few), few);
  return entries;
}

void Measure(int count, int rounds, std::string const& folder) {
  {
    std::vector<objects_Sample> const samples = objects_MakeSamples(count);
    std::vector<Entry> entries = MakeEntries(samples, folder);
    for (int round = 0; round < rounds; ++round)
      for (Entry& entry : entries) MeasureRound(entry);

    std::printf("%d small objects in one transaction, medians of %d rounds (thousand objects per second):\n",
                count, rounds);
    PrintEntries(entries);
    std::printf("  (few: %.0f objects)\n", entries.back().Count());
    Times const& store = entries[0].m_Times;
    std::printf("\nRates of the store, as multiples of its peers':\n");
    PrintTarget("save / packed row", RateRatio(store.m_Save, entries[1].m_Times.m_Save), 0.8);
    PrintTarget("save / row per field", RateRatio(store.m_Save, entries[2].m_Times.m_Save), 3);
    PrintTarget("save / Boost, polymorphic pointers", RateRatio(store.m_Save, entries[3].m_Times.m_Save), 1);
    PrintTarget("load in order / Boost, polymorphic pointers",
                RateRatio(store.m_Load, entries[3].m_Times.m_Load), 1);
    Times const& roots = entries[7].m_Times;
    Times const& byName = entries[8].m_Times;
    std::printf("  %-58s %6.2f\n", "one root each: save / packed row by name",
                RateRatio(roots.m_Save, byName.m_Save));
    std::printf("  %-58s %6.2f\n", "one root each: load shuffled / packed row by name",
                RateRatio(roots.m_Shuffled, byName.m_Shuffled));
    for (Entry const& entry : entries) std::filesystem::remove(entry.m_Path);
  }
  objects_PrintRootTouch(folder + "/roots", count);
}

/// The store's own work, with as little as possible around it.
void Repeat(std::string_view what, int count, std::string const& folder) {
  std::vector<objects_Sample> const samples = objects_MakeSamples(count);
  std::vector<int> const order = objects_ShuffledOrder(count);
  std::unique_ptr<objects_Contender> contender;
  if (what == "roots")
    contender = std::make_unique<objects_RootsContender>(samples);
  else
    contender = std::make_unique<objects_StoreContender>(samples);
  std::string const path = folder + "/objects";
  for (int i = 0; i < 5; ++i) {
    if (what == "save" || i == 0) {
      contender->Prepare(path);
      std::printf("save %.3f s\n", SecondsOf([&] { contender->Save(); }));
      contender->Close();
    }
    if (what == "save") continue;
    std::printf("load %.3f s\n", SecondsOf([&] {
                  if (!contender->LoadShuffled(path, order)) contender->Load(path);
                }));
    contender->Release();
    contender->Close();
  }
}

} // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  std::string only;
  if (arguments.size() > 1 && arguments[0] == "--only") {
    only = arguments[1];
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  bool const isSmoke = !arguments.empty() && arguments[0] == "--smoke";
  int const count = isSmoke ? 1000 : arguments.empty() ? 1'000'000 : std::atoi(arguments[0].c_str());
  objects_Require(count > 0, "a number of objects");
  std::string folder = arguments.size() > 1 ? arguments[1] : std::filesystem::temp_directory_path().string();
  folder += "/kvl-objects-XXXXXX";
  objects_Require(mkdtemp(folder.data()) != nullptr, "making a folder " + folder);
  int modules = 0;
  nex_initialize(modules);
  if (only.empty())
    Measure(count, isSmoke ? 1 : 5, folder);
  else
    Repeat(only, count, folder);
  nex_finalize(modules);
  std::filesystem::remove_all(folder);
  return 0;
}
