#pragma once

#include <string>

#include "bench/objects_Contender.h"

// A load in a process that has done nothing before: its code, its heap and its classes are cold. The file is
// in the system's cache.

/// Runs this program again to load a file with the contender of that name; returns the seconds of the load
/// alone. Ends the program if other objects than the expected ones were loaded.
double objects_LoadInFreshProcess(std::string const& contender, std::string const& path,
                                  objects_Tally const& expected);

/// What the new process does. It reports on standard output, which nothing else may use.
void objects_ReportLoad(objects_Contender& contender, std::string const& path);

/// The option that the new process gets; the contender's name and the file follow.
inline constexpr char objects_LoadOption[] = "--load";
