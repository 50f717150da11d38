// heat: steady heat conduction on triangles, with the whole analysis in a store.
//
// Exit status: 0 done; 1 something is wrong with what a file contains, or with the system; 2 something is
// wrong with how the program was called: bad options, a file that is not there, is there already, or is no
// store.

#include "errors/nex_Exception.h"
#include "examples/heat/heat_AnalysisModel.h"
#include "examples/heat/heat_Commands.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/nex_initialize.h"
#include "store/sto_Exception.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

constexpr int Failed = 1;
constexpr int CalledWrongly = 2;

int Complain(char const* message, int status) {
  std::fprintf(stderr, "heat: %s\n", message);
  return status;
}

bool IsAboutTheCall(sto_ErrorKind kind) {
  return kind == sto_ErrorKind::NotFound || kind == sto_ErrorKind::Conflict;
}

template <class Command> int Run(Command command) {
  try {
    command();
    return 0;
  } catch (sto_Exception const& failure) {
    return Complain(failure.UserReport().CharsOrEmpty(),
                    IsAboutTheCall(failure.Kind()) ? CalledWrongly : Failed);
  } catch (nex_Exception const& failure) {
    return Complain(failure.UserReport().CharsOrEmpty(), Failed);
  } catch (heat_CallError const& failure) {
    return Complain(failure.what(), CalledWrongly);
  } catch (std::exception const& failure) {
    return Complain(failure.what(), Failed);
  }
}

// Brings the library up for as long as the program needs it, and declares the program's classes.
class Library {
 public:
  Library() {
    nex_initialize(m_Count);
    omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(&heat_AnalysisModel::DeclareClasses,
                                                                       1);
  }
  ~Library() { nex_finalize(m_Count); }
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;

 private:
  int m_Count = 0;
};

} // namespace

int main(int argc, char** argv) {
  CLI::App app("Steady heat conduction on triangles, with the whole analysis in a store.");
  app.require_subcommand(1);
  std::string mesh, store, plot;

  CLI::App* const analyse =
      app.add_subcommand("analyse", "solve the default case on a mesh and save everything");
  analyse->add_option("mesh", mesh, "mesh file, Gmsh MSH 4.1 ASCII")->required();
  analyse->add_option("--store", store, "store to make; must not exist")->required();

  CLI::App* const report =
      app.add_subcommand("report", "reopen a store, verify the solution and print a table");
  report->add_option("store", store, "store to read")->required();
  report->add_option("--plot", plot, "draw the temperatures to this SVG file");

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    return app.exit(error) == 0 ? 0 : CalledWrongly;
  }
  Library const library;
  if (analyse->parsed()) return Run([&] { heat_Commands::Analyse(mesh, store); });
  return Run([&] { heat_Commands::Report(store, plot); });
}
