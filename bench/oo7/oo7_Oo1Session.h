#pragma once

#include <string>
#include <vector>

/// What is measured of the parts database.
struct oo7_Oo1Plan {
  int m_Parts = 0;
  std::string m_Only; // a system; empty: all
  std::string m_Folder;
  int m_Repetitions = 10; // of each operation, each with other parts
};

/// Builds the parts database with each system, runs the operations, and prints a table. Ends the program if two systems
/// have not met the same parts.
void oo7_Oo1Measure(oo7_Oo1Plan const& plan);

/// The option of a new process that repeats one operation; system, operation, number of parts, file and repetitions follow.
inline constexpr char oo7_Oo1RepeatOption[] = "--repeat";

/// What that process does. It reports on standard output.
void oo7_Oo1Repeat(std::vector<std::string> const& arguments);
