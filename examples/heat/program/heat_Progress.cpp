#include "examples/heat/program/heat_Progress.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::chrono::milliseconds firstWait{200};
constexpr std::chrono::milliseconds redraw{100};
constexpr int progressWidth = 24;

std::string Line(std::string const& label, int percent) {
  auto const filled = static_cast<std::size_t>(percent * progressWidth / 100);
  std::string bar(filled, '#');
  bar.resize(progressWidth, ' ');
  auto number = std::to_string(percent);
  number.insert(0, 3 - number.size(), ' ');
  return label + "  [" + bar + "] " + number + " %";
}

} // namespace

heat_Progress::heat_Progress(std::string label)
    : heat_Progress(std::move(label), std::cerr, isatty(STDERR_FILENO) == 1, firstWait) {}

heat_Progress::heat_Progress(std::string label, std::ostream& out, bool interactive,
                             std::chrono::milliseconds wait)
    : m_Label(std::move(label)), m_Out(out), m_Interactive(interactive),
      m_Next(std::chrono::steady_clock::now() + wait) {}

heat_Progress::~heat_Progress() {
  try {
    Finish();
  } catch (std::exception const&) {
    // A stream that throws on errors is treated like a terminal that went away.
    m_Interactive = false;
  }
}

void heat_Progress::Update(double share) {
  auto const percent = std::isnan(share) ? 0 : static_cast<int>(100.0 * std::clamp(share, 0.0, 1.0));
  if (IsDue(percent)) Draw(Line(m_Label, percent));
}

void heat_Progress::UpdateCount(std::int64_t done) {
  if (IsDue(done)) Draw(m_Label + "  " + std::to_string(done));
}

bool heat_Progress::IsDue(std::int64_t what) {
  if (!m_Interactive || what == m_Last) return false;
  auto const now = std::chrono::steady_clock::now();
  if (now < m_Next) return false;
  m_Last = what;
  m_Next = now + redraw;
  return true;
}

void heat_Progress::Draw(std::string const& line) {
  m_Out << '\r' << line << std::string(m_Shown > line.size() ? m_Shown - line.size() : 0, ' ') << std::flush;
  m_Shown = std::max(m_Shown, line.size());
}

void heat_Progress::Finish() {
  if (m_Shown == 0) return;
  m_Out << '\r' << std::string(m_Shown, ' ') << '\r' << std::flush;
  m_Shown = 0;
  m_Last = -1;
}

heat_ProgressCall heat_Progress::Call() {
  return [this](double share) { Update(share); };
}
