#pragma once

#include <string>

// The program's commands. They print to standard output and throw sto_Exception if the store fails.
namespace fail_Commands {

// Makes a new store, runs all analyses and saves each, with its failure, under the root "analysis/<name>". A
// failed analysis is a result like any other. An existing file is left unchanged.
void Run(std::string const& storePath);

// Opens a store read-only and lists its analyses, with the developer report of each failure.
void List(std::string const& storePath);

} // namespace fail_Commands
