#pragma once

#include <string>
#include <vector>

// A load table: a text file with one load factor per line, one for each load step. Lines that start with '#'
// are comments; empty lines are skipped.
namespace fail_LoadTable {

// Reads a table. Throws nex_SystemErrorException, with the system's error numbers, for a file that cannot be
// opened or read; nex_TextException for a line that is not a number, or a table without load steps.
std::vector<double> Read(std::string const& path);

} // namespace fail_LoadTable
