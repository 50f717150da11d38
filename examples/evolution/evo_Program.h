#pragma once

#include "store/sto_Store.h"

// The program around one version of class Beam; all versions of the program have these commands:
//
//     evolution_vN write STORE      makes a new store with a beam
//     evolution_vN read STORE       prints the beam in a store
//     evolution_vN upgrade STORE    reads the beam and saves it again, as this program writes beams
//
// Exit status: 0 done; 1 refused or failed, also when standard output cannot be written; 2 called wrongly,
// also when `write` is to make a store that exists, or the others to read one that does not. The reason is on
// the standard error stream.
class evo_Program {
 public:
  // The program's main function. `Beam` is a persisted class that can declare itself and its base class,
  // make an example of itself, and print itself.
  template <class Beam> static int Main(int argc, char** argv) {
    return Run(argc, argv,
               {.m_Declare = &Beam::Declare,
                .m_Write = [](sto_Store& store) { store.Save(Root, *Beam::Example()); },
                .m_Read = [](sto_Store& store) { store.Load<Beam>(Root)->Print(); },
                .m_Upgrade = [](sto_Store& store) { store.Save(Root, *store.Load<Beam>(Root)); }});
  }

 private:
  static constexpr char const* Root = "beam";

  // What a program does with its classes.
  struct Actions {
    void (*m_Declare)(cls_ClassRegistrar& registrar);
    void (*m_Write)(sto_Store& store);
    void (*m_Read)(sto_Store& store);
    void (*m_Upgrade)(sto_Store& store);
  };

  static int Run(int argc, char** argv, Actions const& actions);
};
