#pragma once

#include <string>

/// Prints the cost of loading one object by root name in a new session, for stores with different numbers of
/// roots: rows, SQLite's steps, pages, and time.
void objects_PrintRootTouch(std::string const& path, int greatestCount);
