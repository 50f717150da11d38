#pragma once

#include <stdexcept>
#include <string>

// The program was called with something that cannot be: a file that is not there, or one that is there
// already.
class heat_CallError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What the program does. Each prints its result to standard output and throws on failure: heat_CallError,
// heat_InputError, heat_ProblemError, heat_ModelError, heat_PlotError, nex_Exception.
namespace heat_Commands {

// Reads a mesh, solves the default case on it and saves everything to a new store. Files that exist stay as
// they are, and after a failure there is no new one.
void Analyse(std::string const& meshPath, std::string const& storePath);

// Opens a store, rebuilds the analysis, verifies the stored temperatures against a new computation, prints a
// table, and draws the temperatures to plotPath unless that is empty.
void Report(std::string const& storePath, std::string const& plotPath);

} // namespace heat_Commands
