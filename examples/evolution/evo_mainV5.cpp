// evolution_v5: version 5 of the program; see README.md in this folder.

#include "examples/evolution/evo_BeamV5.h"
#include "examples/evolution/evo_Program.h"

int main(int argc, char** argv) {
  return evo_Program::Main<evo_BeamV5>(argc, argv);
}
