// evolution_v2: version 2 of the program; see README.md in this folder.

#include "examples/evolution/evo_BeamV2.h"
#include "examples/evolution/evo_Program.h"

int main(int argc, char** argv) {
  return evo_Program::Main<evo_BeamV2>(argc, argv);
}
