// evolution_v1: version 1 of the program; see README.md in this folder.

#include "examples/evolution/evo_BeamV1.h"
#include "examples/evolution/evo_Program.h"

int main(int argc, char** argv) {
  return evo_Program::Main<evo_BeamV1>(argc, argv);
}
