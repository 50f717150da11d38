/// Measures many small objects in a store, beside bare SQLite, HDF5 and serialization libraries.
///
///     objects_bench [COUNT [FOLDER]]    COUNT objects (default: a million); files go to FOLDER (default: the
///                                       system's temporary folder)
///     objects_bench --smoke             everything once, small; the figures mean nothing
///     objects_bench --figures ...       what bench/figures.py prints, for scripts
///     objects_bench --only save|load|roots [COUNT [FOLDER]]
///                                       the store alone, several times, for a profiler
///
/// An object has a base part (a string, an int) and a message of 20 to 40 characters. In each step of a round
/// all contenders take turns; ratios are medians over what was measured together. Saving is timed from the first object until everything is durable; loading from
/// opening the file until the last object is built. Outside the measured time, what was loaded is compared
/// with what was saved. The program runs itself with `--load` to load in a fresh process.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "bench/bench_Figures.h"
#include "bench/bench_SaveAgain.h"
#include "bench/objects_ArchiveContenders.h"
#include "bench/objects_FreshProcess.h"
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

constexpr std::size_t FewObjects =
    50'000; // for HDF5 with a data set each: a hundred times slower than a table

double TimeOf(std::function<void()> const& work) {
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values.empty() ? 0 : values[values.size() / 2];
}

/// Seconds an object, in the order in which they were measured.
struct Times {
  std::vector<double> m_Save, m_Close, m_Load, m_Fresh, m_Shuffled, m_Release;
};

using Make = std::function<std::unique_ptr<objects_Contender>(std::vector<objects_Sample> const&)>;

template <class Contender>
std::unique_ptr<objects_Contender> MakeA(std::vector<objects_Sample> const& samples) {
  return std::make_unique<Contender>(samples);
}

/// A contender: its name, how it is made, and what is measured of it.
struct Kind {
  char const* m_Name;
  Make m_Make;
  bool m_IsFresh = false;   // its load is also measured in a fresh process
  bool m_HasFigure = false; // it is measured for figures, too
  bool m_IsSlow = false;    // it gets fewer objects
};

constexpr char Store[] = "store";
constexpr char Packed[] = "SQLite, packed row";
constexpr char RowAField[] = "SQLite, row per field";
constexpr char Boost[] = "Boost, polymorphic pointers";
constexpr char Cereal[] = "cereal, polymorphic pointers";
constexpr char Roots[] = "store, one root each";
constexpr char ByName[] = "SQLite, packed row by name";

std::vector<Kind> Kinds() {
  return {{Store, MakeA<objects_StoreContender>, true, true},
          {Packed, MakeA<objects_PackedContender>},
          {RowAField, MakeA<objects_RowAFieldContender>},
          {Boost, objects_MakeBoostPointers, true, true},
          {"Boost, values", objects_MakeBoostValues},
          {Cereal, objects_MakeCerealPointers, true, true},
          {"cereal, values", objects_MakeCerealValues},
          {Roots, MakeA<objects_RootsContender>, false, true},
          {ByName, MakeA<objects_PackedByNameContender>, false, true},
          {"HDF5, table", objects_MakeHdf5Table},
          {"HDF5, table, variable text", objects_MakeHdf5VariableTable},
          {"HDF5, data set each (few)", objects_MakeHdf5DataSets, false, false, true}};
}

struct Entry {
  Kind m_Kind;
  std::unique_ptr<objects_Contender> m_Contender;
  std::string m_Path;
  std::vector<int> m_Order; // for loading shuffled
  objects_Tally m_Expected;
  Times m_Times = {};
  std::uintmax_t m_Bytes = 0;

  [[nodiscard]] double Count() const { return static_cast<double>(m_Order.size()); }
  [[nodiscard]] double BytesEach() const { return static_cast<double>(m_Bytes) / Count(); }
  [[nodiscard]] double SecondsEach(std::function<void()> const& work) const { return TimeOf(work) / Count(); }
};

objects_Tally TallyOf(std::vector<objects_Sample> const& samples) {
  objects_Tally tally;
  for (objects_Sample const& sample : samples) tally.Add(sample.m_Name, sample.m_Number, sample.m_Message);
  return tally;
}

// ---- The steps of a round

void MeasureSave(Entry& entry) {
  entry.m_Contender->Prepare(entry.m_Path);
  entry.m_Times.m_Save.push_back(entry.SecondsEach([&] { entry.m_Contender->Save(); }));
  entry.m_Times.m_Close.push_back(entry.SecondsEach([&] { entry.m_Contender->Close(); }));
  entry.m_Bytes = std::filesystem::file_size(entry.m_Path);
}

/// Checks and destroys what was loaded; returns the seconds an object that destroying took.
double EndLoad(Entry& entry) {
  objects_Require(entry.m_Contender->Loaded() == entry.m_Expected,
                  std::string(entry.m_Kind.m_Name) + ": other objects were loaded");
  double const seconds = entry.SecondsEach([&] { entry.m_Contender->Release(); });
  entry.m_Contender->Close();
  return seconds;
}

void MeasureLoad(Entry& entry) {
  entry.m_Times.m_Load.push_back(entry.SecondsEach([&] { entry.m_Contender->Load(entry.m_Path); }));
  entry.m_Times.m_Release.push_back(EndLoad(entry));
}

void MeasureFreshLoad(Entry& entry) {
  if (!entry.m_Kind.m_IsFresh) return;
  entry.m_Times.m_Fresh.push_back(
      objects_LoadInFreshProcess(entry.m_Kind.m_Name, entry.m_Path, entry.m_Expected) / entry.Count());
}

void MeasureShuffledLoad(Entry& entry) {
  bool isPossible = false;
  double const seconds =
      entry.SecondsEach([&] { isPossible = entry.m_Contender->LoadShuffled(entry.m_Path, entry.m_Order); });
  if (!isPossible) return;
  entry.m_Times.m_Shuffled.push_back(seconds);
  EndLoad(entry);
}

/// In each step the contenders take turns, so that what is compared is measured within seconds. Every other
/// round goes backwards: no contender always follows the same one.
void MeasureRound(std::vector<Entry>& entries, bool isBackwards) {
  constexpr int LoadCount = 3; // loads are short
  auto const each = [&](void (*step)(Entry&)) {
    for (std::size_t i = 0; i < entries.size(); ++i) step(entries[isBackwards ? entries.size() - 1 - i : i]);
  };
  each(MeasureSave);
  for (int i = 0; i < LoadCount; ++i) each(MeasureLoad);
  for (int i = 0; i < LoadCount; ++i) each(MeasureFreshLoad);
  each(MeasureShuffledLoad);
}

// ---- Results

/// The median of the ratios of rates that were measured together; above 1, `ours` is faster.
double RateRatio(std::vector<double> const& ours, std::vector<double> const& theirs) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i)
    ratios.push_back(theirs[i] / ours[i]);
  return Median(ratios);
}

void PrintEntries(std::vector<Entry> const& entries) {
  Times const& store = entries.front().m_Times;
  std::printf("  %-28s %8s %8s %8s %8s %8s %7s   %6s %6s\n", "", "save", "load", "shuffled", "destroy",
              "close", "bytes/", "store:", "store:");
  std::printf("  %-28s %8s %8s %8s %8s %8s %7s   %6s %6s\n", "", "k/s", "k/s", "k/s", "ns each", "ns each",
              "object", "save x", "load x");
  for (Entry const& entry : entries) {
    Times const& times = entry.m_Times;
    auto const rate = [&](std::vector<double> const& seconds) { return 1e-3 / Median(seconds); };
    auto const cost = [&](std::vector<double> const& seconds) { return Median(seconds) * 1e9; };
    std::printf("  %-28s %8.0f %8.0f ", entry.m_Kind.m_Name, rate(times.m_Save), rate(times.m_Load));
    if (times.m_Shuffled.empty())
      std::printf("%8s", "-");
    else
      std::printf("%8.0f", rate(times.m_Shuffled));
    std::printf(" %8.0f %8.0f %7.1f   %6.2f %6.2f\n", cost(times.m_Release), cost(times.m_Close),
                entry.BytesEach(), RateRatio(store.m_Save, times.m_Save),
                RateRatio(store.m_Load, times.m_Load));
    if (entry.m_Kind.m_IsSlow) std::printf("  (few: %.0f objects)\n", entry.Count());
  }
}

/// Prints a line of the list of ratios, and the figure if it has a name.
void PrintRatio(char const* what, double ratio, char const* figure = nullptr) {
  std::printf("  %-58s %6.2f\n", what, ratio);
  if (figure != nullptr) bench_Figures::Print(figure, ratio, "ratio");
}

Entry const* Find(std::vector<Entry> const& entries, std::string_view name) {
  for (Entry const& entry : entries)
    if (entry.m_Kind.m_Name == name) return &entry;
  return nullptr;
}

void PrintRatios(std::vector<Entry> const& entries) {
  std::printf("\nRates of the store, as multiples of its peers':\n");
  Entry const& storeEntry = *Find(entries, Store);
  Entry const& rootsEntry = *Find(entries, Roots);
  Times const& store = storeEntry.m_Times;
  Times const& roots = rootsEntry.m_Times;
  Times const& boost = Find(entries, Boost)->m_Times;
  Times const& cereal = Find(entries, Cereal)->m_Times;
  Times const& byName = Find(entries, ByName)->m_Times;
  if (Entry const* const packed = Find(entries, Packed))
    PrintRatio("save / packed row", RateRatio(store.m_Save, packed->m_Times.m_Save));
  if (Entry const* const rows = Find(entries, RowAField))
    PrintRatio("save / row per field", RateRatio(store.m_Save, rows->m_Times.m_Save));
  PrintRatio("save / Boost, polymorphic pointers", RateRatio(store.m_Save, boost.m_Save),
             "objects.save.boost");
  PrintRatio("save / cereal, polymorphic pointers", RateRatio(store.m_Save, cereal.m_Save),
             "objects.save.cereal");
  PrintRatio("load in order / Boost, polymorphic pointers", RateRatio(store.m_Load, boost.m_Load),
             "objects.load.boost");
  PrintRatio("load in order / cereal, polymorphic pointers", RateRatio(store.m_Load, cereal.m_Load),
             "objects.load.cereal");
  PrintRatio("the same in a fresh process: / Boost", RateRatio(store.m_Fresh, boost.m_Fresh),
             "objects.fresh_load.boost");
  PrintRatio("the same in a fresh process: / cereal", RateRatio(store.m_Fresh, cereal.m_Fresh),
             "objects.fresh_load.cereal");
  PrintRatio("one root each: save / packed row by name", RateRatio(roots.m_Save, byName.m_Save),
             "objects.roots.save");
  PrintRatio("one root each: load shuffled / packed row by name",
             RateRatio(roots.m_Shuffled, byName.m_Shuffled), "objects.roots.shuffled");
  bench_Figures::Print("objects.list.bytes", storeEntry.BytesEach(), "bytes");
  bench_Figures::Print("objects.roots.bytes", rootsEntry.BytesEach(), "bytes");
}

/// Saves a list of objects and saves it again unchanged.
void MeasureAgain(bench_SaveAgain& again, objects_Contender& list, std::string const& path) {
  list.Prepare(path);
  again.Measure(path, [&] { list.Save(); });
  list.Close();
  std::filesystem::remove(path);
}

// ---- All of it

std::vector<Entry> MakeEntries(std::vector<objects_Sample> const& samples, std::string const& folder) {
  std::vector<objects_Sample> const few(
      samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(std::min(samples.size(), FewObjects)));
  std::vector<Entry> entries;
  for (Kind const& kind : Kinds()) {
    if (bench_Figures::IsEnabled() && !kind.m_HasFigure) continue;
    std::vector<objects_Sample> const& of = kind.m_IsSlow ? few : samples;
    std::string const path = folder + "/objects" + std::to_string(entries.size());
    entries.push_back(
        {kind, kind.m_Make(of), path, objects_ShuffledOrder(static_cast<int>(of.size())), TallyOf(of)});
  }
  return entries;
}

void Measure(int count, int rounds, std::string const& folder) {
  {
    std::vector<Entry> entries = MakeEntries(objects_MakeSamples(count), folder);
    bench_SaveAgain again;
    for (int round = 0; round < rounds; ++round) {
      MeasureRound(entries, round % 2 != 0);
      MeasureAgain(again, *entries.front().m_Contender, folder + "/again");
    }
    std::printf("%d small objects in one transaction, medians of %d rounds (thousand objects per second):\n",
                count, rounds);
    PrintEntries(entries);
    PrintRatios(entries);
    again.Print("time: unchanged list saved again / its first save", "objects.again");
    for (Entry const& entry : entries) std::filesystem::remove(entry.m_Path);
  }
  if (!bench_Figures::IsEnabled()) objects_PrintRootTouch(folder + "/roots", count);
}

/// Loads a file with the contender of that name, in a process that does nothing else.
void LoadFresh(std::string const& name, std::string const& path) {
  for (Kind const& kind : Kinds())
    if (kind.m_Name == name) return objects_ReportLoad(*kind.m_Make({}), path);
  objects_Require(false, "no contender " + name);
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
      std::printf("save %.3f s\n", TimeOf([&] { contender->Save(); }));
      contender->Close();
    }
    if (what == "save") continue;
    std::printf("load %.3f s\n", TimeOf([&] {
                  if (!contender->LoadShuffled(path, order)) contender->Load(path);
                }));
    contender->Release();
    contender->Close();
  }
}

} // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  int modules = 0;
  nex_initialize(modules);
  if (arguments.size() == 3 && arguments[0] == objects_LoadOption) {
    LoadFresh(arguments[1], arguments[2]);
    nex_finalize(modules);
    return 0;
  }
  std::string only;
  if (arguments.size() > 1 && arguments[0] == "--only") {
    only = arguments[1];
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  if (std::erase(arguments, "--figures") != 0) bench_Figures::Enable();
  bool const isSmoke = !arguments.empty() && arguments[0] == "--smoke";
  int const count = isSmoke ? 1000 : arguments.empty() ? 1'000'000 : std::atoi(arguments[0].c_str());
  objects_Require(count > 0, "a number of objects");
  std::string folder = arguments.size() > 1 ? arguments[1] : std::filesystem::temp_directory_path().string();
  folder += "/kvl-objects-XXXXXX";
  objects_Require(mkdtemp(folder.data()) != nullptr, "making a folder " + folder);
  if (only.empty())
    Measure(count, isSmoke ? 1 : 5, folder);
  else
    Repeat(only, count, folder);
  nex_finalize(modules);
  std::filesystem::remove_all(folder);
  return 0;
}
