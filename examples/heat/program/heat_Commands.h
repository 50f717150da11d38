#pragma once

#include "examples/shared/exa_Program.h"

#include <string>
#include <vector>

struct heat_TransientPlan;

// The program was called with an invalid argument: a file that does not exist, or one that already does.
using heat_CallError = exa_CallError;

// The program's commands. Each prints its result to standard output and throws on failure: heat_CallError,
// heat_InputError, heat_ProblemError, heat_ModelError, heat_PlotError, nex_Exception.
namespace heat_Commands {

// Reads a mesh, solves the default case on it and saves everything to a new store. Prints what of the mesh
// file is left out. Existing files are left unchanged, and a failure leaves no new one.
void Analyse(std::string const& meshPath, std::string const& storePath);

// Opens a store, rebuilds the analysis, verifies the stored temperatures against a new computation, prints a
// table, and draws the temperatures to plotPath unless that is empty. Throws heat_CallError for a transient
// run.
void Report(std::string const& storePath, std::string const& plotPath);

// Checks a store of either kind, deletes in it what no root leads to, and copies it to a new file. Existing files are
// left unchanged, and a failure leaves no copy. Throws heat_ModelError for a damaged store, which is not copied.
void Backup(std::string const& storePath, std::string const& copyPath);

// The commands for transient runs. With showMemory each also prints the peak memory of the process and the
// size of the history.

// Reads a mesh and runs the default case on it, starting at the temperature of the air, in a new store.
// Prints what of the mesh file is left out, and a line per checkpoint: everything up to it is durable from
// then on, even if the process is killed. An existing file is left unchanged, and a failure before the first
// step leaves no new one.
void Transient(std::string const& meshPath, std::string const& storePath, heat_TransientPlan const& plan,
               bool showMemory);

// Continues a run from its last checkpoint to its end; stepCount is a new end, counted from the start, or 0.
// Throws heat_CallError if the run is already past that step.
void Resume(std::string const& storePath, int stepCount, bool showMemory);

// Compares two histories bit by bit; prints the result and the first difference. Returns whether they are
// equal.
bool Compare(std::string const& firstPath, std::string const& secondPath, bool showMemory);

// Prints the progress of a run and the temperature over time at some nodes, given by their tags in the mesh
// file. Without tags: the hottest node of the last step, the coldest, and the one closest to the mean of
// these. Draws them to plotPath unless that is empty.
void History(std::string const& storePath, std::vector<int> const& nodeTags, std::string const& plotPath,
             bool showMemory);

} // namespace heat_Commands
