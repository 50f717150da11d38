#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "bench/oo7/oo7_Systems.h"

/// The time and the tally of one operation.
struct oo7_Run {
  double m_Seconds = 0;
  oo7_Tally m_Tally;
};

/// What one system has done with one operation.
struct oo7_Result {
  oo7_Run m_Cold;          // in a new process, the file not in the system's cache; from opening to the commit
  int m_ColdKilobytes = 0; // the peak memory of that process
  std::vector<oo7_Run> m_Hot; // in one open session

  /// The mean of the runs without the first and the last one, if there are so many.
  [[nodiscard]] double HotSeconds() const;
};

/// What one system has done with a database.
struct oo7_Measured {
  oo7_NamedSystem const* m_System = nullptr;
  double m_BuildSeconds = 0; // from rows to a durable file
  long long m_FileBytes = 0;
  std::map<std::string, oo7_Result, std::less<>> m_Results; // by operation
};

/// What is measured.
struct oo7_Plan {
  std::vector<oo7_NamedSystem const*> m_Systems;
  std::string m_Operations; // names with commas; empty: all. Those that take turns with one of them run, too
  std::string m_Folder;     // for the files, which are removed in the end
  /// How often each operation runs in one session. Odd: with the cold run, an update that undoes itself has then run
  /// an even number of times.
  int m_HotRuns = 5;
};

/// Builds a database with each system and runs the operations. For each operation the systems take turns, so that what
/// else the machine does at a time meets all of them.
[[nodiscard]] std::vector<oo7_Measured> oo7_Measure(oo7_Plan const& plan, oo7_Rows const& rows);

/// The option of a new process that runs one operation; system, operation, database and file follow.
inline constexpr char oo7_OnceOption[] = "--once";

/// What that process does. It reports on standard output.
void oo7_RunOnce(std::vector<std::string> const& arguments);

/// The names of all operations, in the order in which they run. Those of one group take turns.
[[nodiscard]] std::vector<std::vector<std::string_view>> const& oo7_OperationGroups();
