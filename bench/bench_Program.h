#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "module/nex_initialize.h"

/// Ends the program with a message on standard error unless something works.
inline void bench_Require(bool works, char const* what) {
  if (works) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::exit(1);
}

/// The main function of a benchmark that uses the library: starts it, calls `run` with the arguments, and ends it. What
/// `run` raises ends the program with a message.
inline int bench_RunProgram(int argc, char** argv, void (*run)(std::vector<std::string> const& arguments)) {
  int modules = 0;
  nex_initialize(modules);
  try {
    run({argv + 1, argv + argc});
  } catch (std::exception const& failure) {
    bench_Require(false, failure.what());
  }
  nex_finalize(modules);
  return 0;
}
