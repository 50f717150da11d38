#pragma once

#include <string>

// What the program does. Each prints to standard output, and throws sto_Exception where the store fails.
namespace fail_Commands {

// Makes a new store, runs all analyses and saves each, with its failure, under the root "analysis/<name>". An
// analysis that fails is a result like any other. A file that exists stays as it is.
void Run(std::string const& storePath);

// Opens a store read-only and lists its analyses, with the developer report of each failure.
void List(std::string const& storePath);

} // namespace fail_Commands
