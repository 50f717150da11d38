#pragma once

#include "examples/truss/trs_Bridge.h"

// The program, as all its versions have it; they differ in their class of bars.
//
//     make STORE BAYS | solve STORE | run STORE CASE SECONDS | print STORE | plot STORE SVG | weigh STORE |
//     rename STORE JOINT NAME
//
// Returns the exit status.
int trs_Main(int argc, char** argv, trs_MakeBar makeBar, void (*declareBar)(cls_ClassRegistrar&));
