#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>

// How a long step tells how far it is: called now and then with a share from 0 to 1. May be empty.
using heat_ProgressCall = std::function<void(double)>;

// A progress line that a person watches: "reading bracket.msh  [#####     ]  52 %".
//
// The line is redrawn in place at most ten times a second, and nothing appears for steps shorter than a
// fifth of a second. In a pipe or a file nothing is ever written. The line is erased when the object ends,
// also when an exception ends it, so whatever is printed next starts on a clean line.
class heat_Progress {
 public:
  // Writes to standard error, and only if that is a terminal.
  explicit heat_Progress(std::string label);

  // Writes to the stream, which must outlive the object, if interactive is true. wait is the time before the
  // line first appears.
  heat_Progress(std::string label, std::ostream& out, bool interactive, std::chrono::milliseconds wait);

  heat_Progress(heat_Progress const&) = delete;
  heat_Progress& operator=(heat_Progress const&) = delete;
  ~heat_Progress();

  // Shows the share, taken into the range 0 to 1; a value that is not a number counts as 0.
  void Update(double share);

  // Erases the line. Later calls of Update show it again.
  void Finish();

  // A call for a long step that passes on to Update. The object must outlive it.
  heat_ProgressCall Call();

 private:
  std::string m_Label;
  std::ostream& m_Out;
  bool m_Interactive;
  std::size_t m_Shown = 0; // width of the line on the screen
  int m_Percent = -1;
  std::chrono::steady_clock::time_point m_Next;
};
