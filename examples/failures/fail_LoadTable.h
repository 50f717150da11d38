#pragma once

#include <string>
#include <vector>

// A load table: a text file with the load factor of one load step on each line. A line that starts with '#'
// is a comment; empty lines do not count.
namespace fail_LoadTable {

// Reads a table. nex_SystemErrorException, with the system's error numbers, for a file that cannot be opened
// or read; nex_TextException for a line that is no number, and for a table without load steps.
std::vector<double> Read(std::string const& path);

} // namespace fail_LoadTable
