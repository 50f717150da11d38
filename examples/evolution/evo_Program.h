#pragma once

#include "examples/shared/exa_Program.h"
#include "metadata/cls_ClassRegistrar.h"
#include "module/nex_initialize.h"
#include "store/sto_Store.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The program around one version of class Beam. All versions of the program have these commands:
//
//     evolution_vN write STORE      makes a new store with a beam
//     evolution_vN read STORE       prints the beam in a store
//     evolution_vN upgrade STORE    reads the beam and saves it in this program's version; brings a store of an
//                                   older format to the present one
//
// Exit status: 0 success; 1 refused or failed, or standard output cannot be written; 2 wrong call, also if
// `write` names a store that exists or the others name one that does not. Errors go to standard error.

// Prints a field of an object, in the same form in all programs.
inline void evo_Print(char const* label, std::string const& text) {
  std::printf("%-10s %s\n", label, text.c_str());
}
inline void evo_Print(char const* label, double value, char const* unit) {
  std::printf("%-10s %g %s\n", label, value, unit);
}
inline void evo_Print(char const* label, std::vector<double> const& values, char const* unit) {
  std::printf("%-10s", label);
  for (double const value : values) std::printf(" %g", value);
  std::printf(" %s\n", unit);
}

// Carries out a command. `Beam` is a persisted class with a static Example, the beam of `write`, and Print.
template <class Beam> void evo_Do(std::string_view command, std::string const& path) {
  constexpr char const* Root = "beam";
  cls_ClassRegistrar registrar;
  Beam::Declare(registrar);
  if (command == "write") {
    sto_Store::Open(path, sto_Mode::Create, registrar).Save(Root, Beam::Example());
    return;
  }
  { // before an upgrade, too: the beam of a later version is refused while the file is only read
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, registrar);
    std::unique_ptr<Beam> const beam = store.Load<Beam>(Root);
    if (command == "read") return beam->Print();
  }
  sto_Options options;
  options.m_Upgrade = true;
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, registrar, options);
  store.Save(Root, *store.Load<Beam>(Root));
}

// The program's main function.
template <class Beam> int evo_Main(int argc, char** argv) {
  std::string const program = std::filesystem::path(argv[0]).filename().string();
  std::string_view const command = argc == 3 ? argv[1] : "";
  if (command != "write" && command != "read" && command != "upgrade")
    return exa_Complain(program, "usage: write|read|upgrade STORE", exa_Status::CalledWrongly);
  int modules = 0;
  nex_initialize(modules);
  int const status = exa_Run(program, [&] { evo_Do<Beam>(command, argv[2]); });
  nex_finalize(modules);
  return status;
}
