#pragma once

#include <string>

/// The result of a child process.
struct ChildResult {
  int m_ExitCode;       ///< -1 if a signal ended it
  int m_Signal;         ///< 0 if it exited
  std::string m_Output; ///< what it wrote to standard output and standard error
};

/// A scenario that runs in a separate process, called directly from main without the test framework, so that
/// it may end the process in any way.
///
///     ChildScenario const s_Exits("exits", [] { std::exit(0); });
///     EXPECT_EQ(RunChild("exits").m_ExitCode, 0);
class ChildScenario {
 public:
  using Function = void (*)();

  /// Registers the scenario under a name that is unique in the program. `name` must stay valid.
  ChildScenario(char const* name, Function function);

 private:
  friend int RunScenario(char const* name);

  char const* m_Name;
  Function m_Function;
  ChildScenario const* m_Previous;
};

/// Runs a scenario in a child process and waits for it.
ChildResult RunChild(std::string const& name);

/// Runs a scenario in this process; returns the exit code for main, 99 for an unknown name.
int RunScenario(char const* name);

/// Writes text to standard error unbuffered, so that an abrupt end loses nothing.
void Say(char const* text);
