#pragma once

#include <string>

/// Prints what loading one object by root name costs in a new session, by the number of roots in the store:
/// rows, SQLite's steps, pages, and time.
void objects_PrintRootTouch(std::string const& path, int greatestCount);
