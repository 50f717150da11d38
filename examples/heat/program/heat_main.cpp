// heat: heat conduction on triangles, steady and transient, with the whole analysis in a store.
//
// Exit status: 0 success; 1 two histories differ, a problem with the contents of a file or with the system,
// or standard output cannot be written; 2 wrong call: bad options, a file that is missing, already exists, or
// is not a store or a regular file, or a run that is finished.

#include "examples/heat/model/heat_TransientModel.h"
#include "examples/heat/program/heat_Commands.h"
#include "examples/shared/exa_Program.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/nex_initialize.h"

#include <CLI/CLI.hpp>

#include <limits>
#include <string>
#include <vector>

namespace {

template <class Command> int Run(Command command) {
  return exa_Run("heat", command);
}

// Starts the library for as long as the program needs it, and declares the program's classes.
class Library {
 public:
  Library() {
    nex_initialize(m_Count);
    auto& registrar = omi_Singleton<cls_MetadataRegistrar>::Instance();
    registrar.initClassMetadata(&heat_TransientModel::Declare, 1);
  }
  ~Library() { nex_finalize(m_Count); }
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;

 private:
  int m_Count = 0;
};

} // namespace

int main(int argc, char** argv) {
  CLI::App app("Heat conduction on triangles, steady and transient, with the whole analysis in a store.");
  app.require_subcommand(1);
  app.footer("Exit status: 0 done; 1 failed, or two histories differ; 2 wrong call, also if --store names "
             "a file that exists.");
  std::string mesh, store, plot, other;
  heat_TransientPlan plan{0, 0, 100};
  std::vector<int> nodes;
  bool memory = false;
  CLI::Range const steps(1, std::numeric_limits<int>::max(), "steps");
  auto const addMemory = [&](CLI::App* command) {
    command->add_flag("--memory", memory, "print the peak memory and the size of the history");
  };

  CLI::App* const analyse =
      app.add_subcommand("analyse", "solve the default case on a mesh and save everything");
  analyse->add_option("mesh", mesh, "mesh file, Gmsh MSH 4.1 ASCII")->required();
  analyse
      ->add_option("--store", store,
                   "store to make, a file or postgresql://host/database#name; must not exist")
      ->required();

  CLI::App* const report =
      app.add_subcommand("report", "reopen a store, verify the solution and print a table");
  report->add_option("store", store, "store to read")->required();
  report->add_option("--plot", plot, "draw the temperatures to this SVG file");

  CLI::App* const transient =
      app.add_subcommand("transient", "run the default case over time, with checkpoints");
  transient->add_option("mesh", mesh, "mesh file, Gmsh MSH 4.1 ASCII")->required();
  transient
      ->add_option("--store", store,
                   "store to make, a file or postgresql://host/database#name; must not exist")
      ->required();
  transient->add_option("--steps", plan.stepCount, "number of time steps")->required()->check(steps);
  transient->add_option("--dt", plan.timeStep, "length of a time step in seconds")
      ->required()
      ->check(CLI::PositiveNumber);
  transient->add_option("--checkpoint", plan.interval, "steps from one checkpoint to the next (100)")
      ->check(steps);
  addMemory(transient);

  CLI::App* const resume = app.add_subcommand("resume", "continue a run from its last checkpoint");
  resume->add_option("store", store, "store of the run")->required();
  resume->add_option("--steps", plan.stepCount, "new end: total number of time steps")->check(steps);
  addMemory(resume);

  CLI::App* const compare = app.add_subcommand("compare", "compare the histories of two runs bit by bit");
  compare->add_option("store", store, "store of a run")->required();
  compare->add_option("other", other, "store of another run")->required();
  addMemory(compare);

  CLI::App* const history = app.add_subcommand("history", "show the temperature over time at some nodes");
  history->add_option("store", store, "store of a run")->required();
  history->add_option("--nodes", nodes, "tags of nodes, such as 3,14,15 (the hottest, a middle, the coldest)")
      ->delimiter(',');
  history->add_option("--plot", plot, "draw the temperatures to this SVG file");
  addMemory(history);

  CLI::App* const backup =
      app.add_subcommand("backup", "check a store, delete in it what nothing uses, compact it, and copy it");
  backup->add_option("store", store, "store to copy")->required();
  backup->add_option("copy", other, "file to make; must not exist")->required();

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (app.exit(error) != 0) return static_cast<int>(exa_Status::CalledWrongly);
    return Run([] {}); // help was asked for
  }
  Library const library;
  if (analyse->parsed()) return Run([&] { heat_Commands::Analyse(mesh, store); });
  if (backup->parsed()) return Run([&] { heat_Commands::Backup(store, other); });
  if (report->parsed()) return Run([&] { heat_Commands::Report(store, plot); });
  if (transient->parsed()) return Run([&] { heat_Commands::Transient(mesh, store, plan, memory); });
  if (resume->parsed()) return Run([&] { heat_Commands::Resume(store, plan.stepCount, memory); });
  if (history->parsed()) return Run([&] { heat_Commands::History(store, nodes, plot, memory); });
  bool isEqual = false;
  int const status = Run([&] { isEqual = heat_Commands::Compare(store, other, memory); });
  return status == 0 && !isEqual ? static_cast<int>(exa_Status::Failed) : status;
}
