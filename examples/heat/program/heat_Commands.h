#pragma once

#include "examples/shared/exa_Program.h"

#include <string>
#include <vector>

struct heat_TransientPlan;

// The program was called with something that cannot be: a file that is not there, or one that is there
// already.
using heat_CallError = exa_CallError;

// What the program does. Each prints its result to standard output and throws on failure: heat_CallError,
// heat_InputError, heat_ProblemError, heat_ModelError, heat_PlotError, nex_Exception.
namespace heat_Commands {

// Reads a mesh, solves the default case on it and saves everything to a new store. Says what of the mesh file
// is left out. Files that exist stay as they are, and after a failure there is no new one.
void Analyse(std::string const& meshPath, std::string const& storePath);

// Opens a store, rebuilds the analysis, verifies the stored temperatures against a new computation, prints a
// table, and draws the temperatures to plotPath unless that is empty. heat_CallError for a run over time.
void Report(std::string const& storePath, std::string const& plotPath);

// The commands about transient runs. With showMemory each also prints the peak of the memory that the process
// had, and the size of the history.

// Reads a mesh and runs the default case on it, from the temperature of the air on, in a new store. Says what
// of the mesh file is left out, and prints a line for each checkpoint: what is durable from then on, whatever
// becomes of the process. A file that exists stays as it is, and after a failure before the first step there
// is no new one.
void Transient(std::string const& meshPath, std::string const& storePath, heat_TransientPlan const& plan,
               bool showMemory);

// Takes a run from its last checkpoint to its end; stepCount is a new end, counted from the start, or 0.
// heat_CallError when the run is there already.
void Resume(std::string const& storePath, int stepCount, bool showMemory);

// Compares two histories bit by bit, tells the result and the first difference. Whether they are equal.
bool Compare(std::string const& firstPath, std::string const& secondPath, bool showMemory);

// Prints how far a run is and the temperature over time at some nodes, given by their tags in the mesh file;
// none: the hottest of the last step, the coldest, and the one nearest to their mean. Draws them to plotPath
// unless that is empty.
void History(std::string const& storePath, std::vector<int> const& nodeTags, std::string const& plotPath,
             bool showMemory);

} // namespace heat_Commands
