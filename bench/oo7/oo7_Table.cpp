#include "bench/oo7/oo7_Table.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "bench/bench_Figures.h"
#include "bench/bench_Program.h"

namespace {

constexpr double Milli = 1e3;
constexpr double Mega = 1e6;
constexpr std::array LoadingOnly = {"T6", "T8", "T9", "Q5",
                                    "Q6"}; // little more than to open, if that loads all

/// The most that a system that reads what it needs may take of the time of SQLite, cold and hot; 0: nothing is aimed at.
struct Reach {
  std::string_view m_Operation;
  double m_Cold;
  double m_Hot;
};
constexpr Reach Reaches[] = {{"T1", 0.5, 0},       {"T2a", 1.0, 1.0}, {"T2b", 1.0, 1.0}, {"T2c", 1.0, 1.0},
                             {"T3a", 1.0, 1.0},    {"T3b", 1.0, 1.0}, {"T3c", 1.0, 1.0}, {"T5do", 1.0, 1.0},
                             {"T5undo", 1.0, 1.0}, {"T6", 0.5, 0},    {"Q1", 1.0, 0},    {"Q2", 0, 0.5},
                             {"Q3", 0, 0.5},       {"Q4", 0, 0.5},    {"Q5", 0, 0.5},    {"Q7", 1.0, 0},
                             {"Q8", 0, 0.5},       {"SM1", 1.5, 1.5}, {"SM2", 1.5, 1.5}};

std::FILE* Out() {
  return bench_Figures::IsEnabled() ? stderr : stdout;
}

oo7_Result const& ResultOf(oo7_Measured const& measured, std::string_view operation) {
  return measured.m_Results.find(operation)->second;
}

double ColdOf(oo7_Measured const& measured, std::string_view operation) {
  return ResultOf(measured, operation).m_Cold.m_Seconds;
}

bool Has(std::vector<oo7_Measured> const& all, std::string_view operation) {
  return all.front().m_Results.contains(operation);
}

oo7_Measured const* Named(std::vector<oo7_Measured> const& all, std::string_view name) {
  for (oo7_Measured const& measured : all)
    if (measured.m_System->m_Name == name) return &measured;
  return nullptr;
}

/// A row without its end.
void PrintCells(char const* name, std::vector<oo7_Measured> const& all, auto const& print) {
  std::fprintf(Out(), "%-12s", name);
  for (oo7_Measured const& measured : all) print(measured);
}

void PrintRow(char const* name, std::vector<oo7_Measured> const& all, auto const& print) {
  PrintCells(name, all, print);
  std::fprintf(Out(), "\n");
}

/// The two systems that read what an operation needs: their times side by side.
bool HasBothReaders(std::vector<oo7_Measured> const& all) {
  return Named(all, "lazy") && Named(all, "sqlite");
}

void PrintReach(double reach) {
  if (reach > 0)
    std::fprintf(Out(), " %6.1f", reach);
  else
    std::fprintf(Out(), " %6s", "-");
}

void PrintReadersRatio(std::string_view operation, std::vector<oo7_Measured> const& all) {
  if (!HasBothReaders(all)) return;
  oo7_Result const& lazy = ResultOf(*Named(all, "lazy"), operation);
  oo7_Result const& sqlite = ResultOf(*Named(all, "sqlite"), operation);
  double const cold = lazy.m_Cold.m_Seconds / sqlite.m_Cold.m_Seconds;
  double const hot = lazy.HotSeconds() / sqlite.HotSeconds();
  std::fprintf(Out(), " %10.2f %10.2f", cold, hot);
  auto const reach = std::ranges::find(Reaches, operation, &Reach::m_Operation);
  if (reach != std::end(Reaches)) {
    PrintReach(reach->m_Cold);
    PrintReach(reach->m_Hot);
  }
  std::string const figure = "oo7.lazy." + std::string(operation);
  bench_Figures::Print(figure + ".cold", cold, "times");
  bench_Figures::Print(figure + ".hot", hot, "times");
}

void PrintOperation(std::string_view operation, std::vector<oo7_Measured> const& all) {
  PrintCells(std::string(operation).c_str(), all, [&](oo7_Measured const& measured) {
    oo7_Result const& result = ResultOf(measured, operation);
    if (measured.m_System->m_HasFile)
      std::fprintf(Out(), " %10.2f", result.m_Cold.m_Seconds * Milli);
    else
      std::fprintf(Out(), " %10s", "-");
    std::fprintf(Out(), " %10.3f", result.HotSeconds() * Milli);
  });
  PrintReadersRatio(operation, all);
  std::fprintf(Out(), "\n");
}

/// The cost of updates of objects that are in memory: CU less a cold and a hot T1.
void PrintNetOfUpdates(std::vector<oo7_Measured> const& all) {
  PrintRow("CU, updates", all, [](oo7_Measured const& measured) {
    oo7_Result const& walk = ResultOf(measured, "T1");
    double const net = ResultOf(measured, "CU").m_Cold.m_Seconds - walk.m_Cold.m_Seconds - walk.HotSeconds();
    if (measured.m_System->m_HasFile)
      std::fprintf(Out(), " %10.2f %10s", net * Milli, "");
    else
      std::fprintf(Out(), " %10s %10s", "-", "");
  });
}

/// A figure of the systems that keep the whole graph; `reach`: the most that the ratio should be.
struct WholeFigure {
  char const* m_What;
  char const* m_Name;
  double m_Reach;
};

void PrintRatio(WholeFigure const& figure, double store, double boost, char const* unit) {
  std::fprintf(Out(), "%-36s %10.2f %10.2f %-3s %6.2f", figure.m_What, store, boost, unit, store / boost);
  PrintReach(figure.m_Reach);
  std::fprintf(Out(), "\n");
  bench_Figures::Print(figure.m_Name, store / boost, "times");
}

/// Whether the operations ran that the ratios are from.
bool HasRatios(std::vector<oo7_Measured> const& all) {
  return Has(all, "T1") && Has(all, "T2a") &&
         std::ranges::all_of(LoadingOnly, [&all](char const* operation) { return Has(all, operation); });
}

/// The median cold time of operations that only load.
double OpenSeconds(oo7_Measured const& measured) {
  std::array<double, LoadingOnly.size()> times = {};
  std::ranges::transform(LoadingOnly, times.begin(),
                         [&](char const* operation) { return ColdOf(measured, operation); });
  std::ranges::sort(times);
  return times[times.size() / 2];
}

/// Of the systems whose objects are all in memory while a session is open.
void PrintRatios(oo7_Measured const& store, oo7_Measured const& boost) {
  std::fprintf(Out(), "\n%-36s %10s %10s     %6s %6s\n", "whole graph", "store", "boost", "ratio", "reach");
  auto const hot = [](oo7_Measured const& measured, char const* operation) {
    return ResultOf(measured, operation).HotSeconds() * Milli;
  };
  PrintRatio({"open (median cold T6 T8 T9 Q5 Q6)", "oo7.open", 1.3}, OpenSeconds(store) * Milli,
             OpenSeconds(boost) * Milli, "ms");
  PrintRatio({"one update with its save (hot T2a)", "oo7.update", 1.5}, hot(store, "T2a"), hot(boost, "T2a"),
             "ms");
  PrintRatio({"walk (hot T1)", "oo7.walk", 1.5}, hot(store, "T1"), hot(boost, "T1"), "ms");
  PrintRatio({"file", "oo7.file", 1.2}, static_cast<double>(store.m_FileBytes) / Mega,
             static_cast<double>(boost.m_FileBytes) / Mega, "MB");
  PrintRatio({"peak memory (cold T1)", "oo7.peak", 1.3}, ResultOf(store, "T1").m_ColdKilobytes / Milli,
             ResultOf(boost, "T1").m_ColdKilobytes / Milli, "MB");
}

void PrintHead(std::vector<oo7_Measured> const& all) {
  PrintCells("", all, [](oo7_Measured const& measured) {
    std::fprintf(Out(), " %21s", std::string(measured.m_System->m_Name).c_str());
  });
  if (HasBothReaders(all)) std::fprintf(Out(), " %21s %13s", "lazy / sqlite", "reach");
  std::fprintf(Out(), "\n");
  PrintCells("", all, [](oo7_Measured const&) { std::fprintf(Out(), " %10s %10s", "cold", "hot"); });
  if (HasBothReaders(all)) std::fprintf(Out(), " %10s %10s %6s %6s", "cold", "hot", "cold", "hot");
  std::fprintf(Out(), "\n");
}

} // namespace

void oo7_PrintTable(std::vector<oo7_Measured> const& all, oo7_Parameters const& parameters) {
  std::fprintf(
      Out(),
      "OO7 %s: times in ms. cold: from opening to the commit, in a new process, the file not in the\n"
      "system's cache. hot: mean of the runs 2 to 4 of 5 in one session. Updates are durable.\n\n",
      parameters.m_Name.c_str());
  bench_Require(!all.front().m_Results.empty(), "there is no operation of that name");
  PrintHead(all);
  for (auto const& group : oo7_OperationGroups())
    for (std::string_view const operation : group) {
      if (!Has(all, operation)) continue;
      PrintOperation(operation, all);
      if (operation == "CU" && Has(all, "T1")) PrintNetOfUpdates(all);
    }
  PrintRow("build, ms", all, [](oo7_Measured const& measured) {
    std::fprintf(Out(), " %21.1f", measured.m_BuildSeconds * Milli);
  });
  PrintRow("file, MB", all, [](oo7_Measured const& measured) {
    std::fprintf(Out(), " %21.2f", static_cast<double>(measured.m_FileBytes) / Mega);
  });
  if (Has(all, "T1"))
    PrintRow("peak, MB", all, [](oo7_Measured const& measured) {
      std::fprintf(Out(), " %21.2f", ResultOf(measured, "T1").m_ColdKilobytes / Milli);
    });
  oo7_Measured const* const store = Named(all, "store");
  oo7_Measured const* const boost = Named(all, "boost");
  if (store && boost && HasRatios(all)) PrintRatios(*store, *boost);
}
