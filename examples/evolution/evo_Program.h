#pragma once

#include "store/sto_Store.h"

// The program around one version of class Beam. All versions of the program have these commands:
//
//     evolution_vN write STORE      makes a new store with a beam
//     evolution_vN read STORE       prints the beam in a store
//     evolution_vN upgrade STORE    reads the beam and saves it in this program's version; brings a store of an
//                                   older format to the present one
//
// Exit status: 0 success; 1 refused or failed, or standard output cannot be written; 2 wrong call, also if
// `write` names a store that exists or the others name one that does not. Errors go to standard error.
class evo_Program {
 public:
  // The program's main function. `Beam` is a persisted class that can declare itself and its base class, make
  // an example, and print itself.
  template <class Beam> static int Main(int argc, char** argv) {
    return Run(argc, argv,
               {.m_Declare = &Beam::Declare,
                .m_Write = [](sto_Store& store) { store.Save(Root, *Beam::Example()); },
                .m_Read = [](sto_Store& store) { store.Load<Beam>(Root)->Print(); },
                .m_Check = [](sto_Store& store) { static_cast<void>(store.Load<Beam>(Root)); },
                .m_Upgrade = [](sto_Store& store) { store.Save(Root, *store.Load<Beam>(Root)); }});
  }

 private:
  static constexpr char const* Root = "beam";

  // The class-dependent operations of a program.
  struct Actions {
    void (*m_Declare)(cls_ClassRegistrar& registrar);
    void (*m_Write)(sto_Store& store);
    void (*m_Read)(sto_Store& store);
    void (*m_Check)(sto_Store& store);
    void (*m_Upgrade)(sto_Store& store);
  };

  static int Run(int argc, char** argv, Actions const& actions);
};
