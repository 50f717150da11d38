#pragma once

#include <chrono>
#include <string>

#include "store/base/sto_Progress.h"

/// A line on the terminal about long work, with its rate and the time left; it appears after half a second and is
/// erased at the end. Nothing is printed unless standard error is a terminal. An interrupt cancels the work.
class kvs_Bar {
 public:
  explicit kvs_Bar(std::string label);
  kvs_Bar(kvs_Bar const&) = delete;
  kvs_Bar& operator=(kvs_Bar const&) = delete;
  ~kvs_Bar();

  /// For the long operations of a store; the bar must outlive it.
  [[nodiscard]] sto_Progress Progress();
  void Show(sto_ProgressStep const& step);

 private:
  using Clock = std::chrono::steady_clock;

  std::string m_Label;
  bool m_IsTerminal;
  bool m_IsShown = false;
  Clock::time_point m_Start = Clock::now();
  Clock::time_point m_Next = m_Start + std::chrono::milliseconds(500);
};

/// The line's text: "copying  [####      ]  41 %  1,200/s  3 s left". `seconds`: since the beginning.
[[nodiscard]] std::string kvs_BarText(std::string const& label, sto_ProgressStep const& step, double seconds);
