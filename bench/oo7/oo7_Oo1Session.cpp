#include "bench/oo7/oo7_Oo1Session.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "bench/bench_Figures.h"
#include "bench/bench_FreshProcess.h"
#include "bench/oo7/oo7_DurableFile.h"
#include "bench/oo7/oo7_Oo1System.h"

namespace {

using Oo1Clock = std::chrono::steady_clock;

struct Oo1Named {
  std::string_view m_Name;
  std::unique_ptr<oo7_Oo1System> (*m_Make)();
  bool m_HasFile = true;
};
constexpr std::array Oo1Systems = {
    Oo1Named{"memory", oo7_Oo1MakeMemory, false},
    Oo1Named{"sqlite", oo7_Oo1MakeSqlite},
    Oo1Named{"store", oo7_Oo1MakeStore},
    Oo1Named{"boost", oo7_Oo1MakeBoost},
};

/// An operation, and what each repetition counts; 0 if that depends on the parts.
struct Oo1Expected {
  std::string_view m_Operation;
  long long m_Count = 0;
};
constexpr std::array Oo1Operations = {
    Oo1Expected{"lookup", oo7_Oo1Lookups},
    Oo1Expected{"traversal", 3280}, // 1 + 3 + 9 ... + 3^7
    Oo1Expected{"reverse"},
    Oo1Expected{"insert", oo7_Oo1Inserts},
};

struct Oo1Result {
  double m_Cold = 0; // seconds of the first repetition, with the opening
  double m_Warm = 0; // of the last one
  oo7_Tally m_Tally; // of all
};

struct Oo1Column {
  Oo1Named const* m_System = nullptr;
  std::string m_Path;
  double m_BuildSeconds = 0;
  long long m_FileBytes = 0;
};

double Oo1SecondsSince(Oo1Clock::time_point start) {
  return std::chrono::duration<double>(Oo1Clock::now() - start).count();
}

std::FILE* Oo1Out() {
  return bench_Figures::IsEnabled() ? stderr : stdout;
}

Oo1Column Build(Oo1Named const& system, std::vector<oo7_Oo1Part> const& rows, std::string const& folder) {
  Oo1Column column = {&system, folder + "/oo7_bench.oo1." + std::string(system.m_Name)};
  std::filesystem::remove(column.m_Path);
  auto const start = Oo1Clock::now();
  system.m_Make()->Build(rows, column.m_Path);
  column.m_BuildSeconds = Oo1SecondsSince(start);
  if (system.m_HasFile)
    column.m_FileBytes = static_cast<long long>(std::filesystem::file_size(column.m_Path));
  return column;
}

Oo1Result Measure(Oo1Column const& column, std::string_view operation, oo7_Oo1Plan const& plan) {
  if (column.m_System->m_HasFile) oo7_DurableFile::Evict(column.m_Path);
  std::string const output = bench_OutputOfFreshProcess(
      {oo7_Oo1RepeatOption, std::string(column.m_System->m_Name), std::string(operation),
       std::to_string(plan.m_Parts), column.m_Path, std::to_string(plan.m_Repetitions)});
  Oo1Result result;
  oo7_Tally& tally = result.m_Tally;
  bench_Require(std::sscanf(output.c_str(), "%lf %lf %lld %lld %lld", &result.m_Cold, &result.m_Warm,
                            &tally.m_Count, &tally.m_Sum, &tally.m_State) == 5,
                "the report of a fresh process");
  return result;
}

void PrintOperation(Oo1Expected const& operation, std::vector<Oo1Column> const& columns,
                    oo7_Oo1Plan const& plan) {
  std::fprintf(Oo1Out(), "%-12s", std::string(operation.m_Operation).c_str());
  oo7_Tally tally;
  for (Oo1Column const& column : columns) {
    Oo1Result const result = Measure(column, operation.m_Operation, plan);
    if (&column == &columns.front()) tally = result.m_Tally;
    bench_Require(result.m_Tally == tally, "two systems have not met the same parts");
    bench_Require(operation.m_Count == 0 || tally.m_Count == plan.m_Repetitions * operation.m_Count,
                  "a count is wrong");
    if (column.m_System->m_HasFile)
      std::fprintf(Oo1Out(), " %10.2f", result.m_Cold * 1e3);
    else
      std::fprintf(Oo1Out(), " %10s", "-");
    std::fprintf(Oo1Out(), " %10.3f", result.m_Warm * 1e3);
  }
  std::fprintf(Oo1Out(), "\n");
}

void PrintHead(oo7_Oo1Plan const& plan, std::vector<Oo1Column> const& columns) {
  std::fprintf(
      Oo1Out(),
      "\nOO1 with %d parts: times in ms. cold: the first of %d repetitions, with the opening, in a new\n"
      "process, the file not in the system's cache. warm: the last one. Each has other parts.\n\n%-12s",
      plan.m_Parts, plan.m_Repetitions, "");
  for (Oo1Column const& column : columns)
    std::fprintf(Oo1Out(), " %21s", std::string(column.m_System->m_Name).c_str());
  std::fprintf(Oo1Out(), "\n%-12s", "");
  for (std::size_t i = 0; i < columns.size(); ++i) std::fprintf(Oo1Out(), " %10s %10s", "cold", "warm");
  std::fprintf(Oo1Out(), "\n");
}

void PrintFoot(std::vector<Oo1Column> const& columns) {
  std::fprintf(Oo1Out(), "%-12s", "build, ms");
  for (Oo1Column const& column : columns) std::fprintf(Oo1Out(), " %21.1f", column.m_BuildSeconds * 1e3);
  std::fprintf(Oo1Out(), "\n%-12s", "file, MB");
  for (Oo1Column const& column : columns)
    std::fprintf(Oo1Out(), " %21.2f", static_cast<double>(column.m_FileBytes) / 1e6);
  std::fprintf(Oo1Out(), "\n");
}

} // namespace

void oo7_Oo1Measure(oo7_Oo1Plan const& plan) {
  std::vector<oo7_Oo1Part> const rows = oo7_Oo1DrawDatabase(plan.m_Parts);
  std::vector<Oo1Column> columns;
  columns.reserve(Oo1Systems.size());
  for (Oo1Named const& system : Oo1Systems)
    if (plan.m_Only.empty() || plan.m_Only == system.m_Name)
      columns.push_back(Build(system, rows, plan.m_Folder));
  PrintHead(plan, columns);
  for (Oo1Expected const& operation : Oo1Operations) PrintOperation(operation, columns, plan);
  PrintFoot(columns);
  for (Oo1Column const& column : columns) std::filesystem::remove(column.m_Path);
}

void oo7_Oo1Repeat(std::vector<std::string> const& arguments) {
  bench_Require(arguments.size() == 6,
                "system, operation, number of parts, file and repetitions are expected");
  for (Oo1Named const& named : Oo1Systems) {
    if (named.m_Name != arguments[1]) continue;
    std::unique_ptr<oo7_Oo1System> const system = named.m_Make();
    if (!named.m_HasFile) system->Build(oo7_Oo1DrawDatabase(std::stoi(arguments[3])), arguments[4]);
    oo7_Random random;
    oo7_Tally tally;
    int const repetitions = std::stoi(arguments[5]);
    double first = 0;
    double last = 0;
    auto start = Oo1Clock::now();
    system->Open(arguments[4]);
    for (int i = 0; i < repetitions; ++i) {
      tally.Add(system->Run(arguments[2], random));
      last = Oo1SecondsSince(start);
      if (i == 0) first = last;
      start = Oo1Clock::now();
    }
    std::printf("%.9f %.9f %lld %lld %lld\n", first, last, tally.m_Count, tally.m_Sum, tally.m_State);
    system->Close();
    return;
  }
  bench_Require(false, "there is no system of that name");
}
