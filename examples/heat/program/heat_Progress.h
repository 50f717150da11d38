#pragma once

#include "examples/heat/mesh/heat_ProgressCall.h"

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

// A progress line on a terminal: "reading bracket.msh  [#####     ]  52 %".
//
// The line is redrawn in place at most ten times a second. Steps shorter than a fifth of a second show
// nothing, and nothing is ever written to a pipe or a file. The destructor erases the line, also after an
// exception, so that whatever is printed next starts on a clean line.
class heat_Progress {
 public:
  // Writes to standard error, but only if that is a terminal.
  explicit heat_Progress(std::string label);

  // Writes to the stream, which must outlive the object, if interactive is true. The line first appears after
  // the time `wait`.
  heat_Progress(std::string label, std::ostream& out, bool interactive, std::chrono::milliseconds wait);

  heat_Progress(heat_Progress const&) = delete;
  heat_Progress& operator=(heat_Progress const&) = delete;
  ~heat_Progress();

  // Shows the share, clamped to the range 0 to 1; NaN counts as 0.
  void Update(double share);

  // Shows how many things are done of a number that is not known.
  void UpdateCount(std::int64_t done);

  // Erases the line. Later calls of Update show it again.
  void Finish();

  // A function to pass to a long step; it calls Update. The object must outlive it.
  heat_ProgressCall Call();

 private:
  // Whether it is time to show `what`, and it is not shown already.
  bool IsDue(std::int64_t what);
  void Draw(std::string const& line);

  std::string m_Label;
  std::ostream& m_Out;
  bool m_Interactive;
  std::size_t m_Shown = 0;  // width of the line on the screen
  std::int64_t m_Last = -1; // the percentage or the count on the screen
  std::chrono::steady_clock::time_point m_Next;
};
