#pragma once

#include "examples/failures/fail_Element.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// A node of a plane truss: its number, position, supports, and reference load.
struct fail_Node {
  int number = 0;
  double x = 0; // [m]
  double y = 0;
  bool isFixedX = false;
  bool isFixedY = false;
  double loadX = 0; // [N]; a load step multiplies it by its load factor
  double loadY = 0;
};

// A plane truss as a user describes it. It is not validated here; the solver does that.
struct fail_Truss {
  std::vector<fail_Node> nodes;
  std::vector<std::shared_ptr<fail_Element const>> elements;
};

// How an analysis is run.
struct fail_Control {
  std::vector<double> loadFactors; // one for each load step
  std::string loadTablePath;       // file to read the load factors from instead; empty: none
  double tolerance = 1e-9;         // largest out-of-balance force, relative to the load
  int iterationsPerStep = 25;      // if exceeded, the step has not converged
  int iterationBudget = 1000;      // for all steps together
  std::size_t memoryLimitBytes = std::size_t{16} << 20; // for the stiffness matrix
};

// An analysis: a name, and all its input.
struct fail_Analysis {
  std::string name;
  fail_Truss truss;
  fail_Control control;
};
