// evolution_v4: version 4 of the program; see README.md in this folder.

#include "examples/evolution/evo_BeamV4.h"
#include "examples/evolution/evo_Program.h"

int main(int argc, char** argv) {
  return evo_Program::Main<evo_BeamV4>(argc, argv);
}
