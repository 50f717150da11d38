// evolution_v3: version 3 of the program; see README.md in this folder.

#include "examples/evolution/evo_BeamV3.h"
#include "examples/evolution/evo_Program.h"

int main(int argc, char** argv) {
  return evo_Program::Main<evo_BeamV3>(argc, argv);
}
