/// Measures a design database: OO7, the benchmark of object databases for engineering; or, with --oo1, the database of
/// parts of its forerunner OO1, with 20,000 or 200,000 parts.
///
///     oo7_bench [--database NAME] [--only SYSTEM] [--operations T1,T2a] [--folder DIR]
///     oo7_bench --oo1 small|large [--only SYSTEM] [--folder DIR]
///     oo7_bench --smoke         once, tiny, and the counts of small3 in memory
///     oo7_bench --figures ...   one figure to a line
///
/// Databases: small3 (the default), small6, small9, medium3, medium6, medium9: atomic parts a composite part, and
/// connections out of each. Systems (default: all):
/// - memory: plain objects with plain pointers. The floor; nothing is stored.
/// - sqlite: tables by hand with indexes and prepared statements, and objects that stay once they are read.
/// - lazy: described classes in a store that refer to each other by sto_Ref and sto_List; indexes of the store.
/// - store: described classes in a store, the whole graph under one root.
/// - boost: Boost.Serialization, the whole graph in a binary archive.
///
/// All have the same database, and meet the same objects in each run; the program ends with a message if they do not.
/// All are equally durable: SQLite has the settings of a store (a rollback journal, synchronous EXTRA), and an archive
/// is written beside the old one, synchronised and renamed. A system with the whole graph in memory loads it when it
/// opens, and saves it in each update.
///
/// A cold run is that of a new process, its file not in the system's cache; the time begins with the opening. Files go to
/// DIR (default: the system's temporary folder), which should be on a disk.

#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_Figures.h"
#include "bench/bench_Program.h"
#include "bench/oo7/oo7_Checks.h"
#include "bench/oo7/oo7_Generator.h"
#include "bench/oo7/oo7_Oo1Rows.h"
#include "bench/oo7/oo7_Oo1Session.h"
#include "bench/oo7/oo7_Session.h"
#include "bench/oo7/oo7_Table.h"

namespace {

constexpr int SmokeParts = 200; // of OO1
constexpr int SmokeRepetitions = 2;
constexpr char SmokeOperations[] = // T2b, T2c and T3b are the same code as others
    "T1,T2a,T3a,T3c,T4,T5do,T6,T7,T8,T9,CU,Q1,Q2,Q3,Q4,Q5,Q6,Q7,Q8,SM1";

struct Choice {
  std::string m_Database = "small3";
  int m_Oo1Parts = 0; // 0: OO7
  std::string m_Only;
  std::string m_Operations;
  std::string m_Folder = std::filesystem::temp_directory_path().string();
  bool m_IsSmoke = false;
};

int Oo1Parts(std::string const& size) {
  bench_Require(size == "small" || size == "large", "a size of OO1 is small or large");
  return size == "small" ? oo7_Oo1SmallParts : oo7_Oo1LargeParts;
}

Choice Read(std::vector<std::string> const& arguments) {
  Choice choice;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string const& option = arguments[i];
    auto const value = [&] {
      bench_Require(i + 1 < arguments.size(), "an option has no value");
      return arguments[++i];
    };
    if (option == "--smoke")
      choice.m_IsSmoke = true;
    else if (option == "--figures")
      bench_Figures::Enable();
    else if (option == "--database")
      choice.m_Database = value();
    else if (option == "--oo1")
      choice.m_Oo1Parts = Oo1Parts(value());
    else if (option == "--only")
      choice.m_Only = value();
    else if (option == "--operations")
      choice.m_Operations = value();
    else if (option == "--folder")
      choice.m_Folder = value();
    else
      bench_Require(false, "unknown option");
  }
  if (choice.m_IsSmoke) {
    choice.m_Database = "tiny";
    choice.m_Operations = SmokeOperations;
  }
  return choice;
}

void Run(Choice const& choice) {
  oo7_Rows const rows = oo7_DrawDatabase(oo7_Parameters::Named(choice.m_Database));
  oo7_Plan plan = {{}, choice.m_Operations, choice.m_Folder};
  if (choice.m_IsSmoke) plan.m_HotRuns = 1;
  if (!choice.m_Only.empty())
    plan.m_Systems.push_back(&oo7_SystemNamed(choice.m_Only));
  else
    for (oo7_NamedSystem const& system : oo7_Systems) plan.m_Systems.push_back(&system);
  std::vector<oo7_Measured> const all = oo7_Measure(plan, rows);
  for (oo7_Measured const& measured : all) {
    oo7_RequireCounts(measured, rows.m_Parameters);
    oo7_RequireEqual(all.front(), measured);
  }
  oo7_PrintTable(all, rows.m_Parameters);
}

/// The operations have the counts that the definition of the benchmark says.
void CheckCounts(std::string const& folder) {
  oo7_Rows const rows = oo7_DrawDatabase(oo7_Parameters::Named("small3"));
  oo7_Plan const plan = {{&oo7_SystemNamed("memory")}, "", folder};
  oo7_RequireCounts(oo7_Measure(plan, rows).front(), rows.m_Parameters);
}

void Main(std::vector<std::string> const& arguments) {
  if (!arguments.empty() && arguments[0] == oo7_OnceOption) return oo7_RunOnce(arguments);
  if (!arguments.empty() && arguments[0] == oo7_Oo1RepeatOption) return oo7_Oo1Repeat(arguments);
  Choice const choice = Read(arguments);
  if (!choice.m_Only.empty())
    static_cast<void>(oo7_SystemNamed(choice.m_Only)); // ends the program if there is none
  if (choice.m_Oo1Parts != 0) return oo7_Oo1Measure({choice.m_Oo1Parts, choice.m_Only, choice.m_Folder});
  if (choice.m_IsSmoke) CheckCounts(choice.m_Folder);
  Run(choice);
  if (choice.m_IsSmoke) oo7_Oo1Measure({SmokeParts, choice.m_Only, choice.m_Folder, SmokeRepetitions});
}

} // namespace

int main(int argc, char** argv) {
  return bench_RunProgram(argc, argv, &Main);
}
