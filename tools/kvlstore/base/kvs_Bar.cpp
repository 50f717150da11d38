#include "tools/kvlstore/base/kvs_Bar.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

#include "tools/kvlstore/base/kvs_Interrupt.h"
#include "tools/kvlstore/base/kvs_Text.h"

kvs_Bar::kvs_Bar(std::string label) : m_Label(std::move(label)), m_IsTerminal(isatty(STDERR_FILENO) == 1) {}

kvs_Bar::~kvs_Bar() {
  if (m_IsShown) std::fputs("\r\x1b[K", stderr);
}

sto_Progress kvs_Bar::Progress() {
  return [this](sto_ProgressStep const& step) {
    Show(step);
    return !kvs_IsInterrupted();
  };
}

void kvs_Bar::Show(sto_ProgressStep const& step) {
  if (!m_IsTerminal) return;
  Clock::time_point const now = Clock::now();
  if (now < m_Next) return;
  m_Next = now + std::chrono::milliseconds(100);
  m_IsShown = true;
  std::string const text = kvs_BarText(m_Label, step, std::chrono::duration<double>(now - m_Start).count());
  std::fprintf(stderr, "\r\x1b[K%s", text.c_str());
}

std::string kvs_BarText(std::string const& label, sto_ProgressStep const& step, double seconds) {
  double const rate = seconds > 0 ? static_cast<double>(step.m_Done) / seconds : 0;
  std::string const each = kvs_Count(static_cast<std::int64_t>(std::min(rate, 1e18))) + "/s";
  if (!step.m_IsTotalKnown || step.m_Total <= 0)
    return fmt::format("{}  {}  {}", label, kvs_Count(step.m_Done), each);
  double const share =
      std::clamp(static_cast<double>(step.m_Done) / static_cast<double>(step.m_Total), 0.0, 1.0);
  constexpr int Width = 20;
  auto const filled = static_cast<std::size_t>(share * Width);
  std::string line =
      fmt::format("{}  [{:<{}}]  {:.0f} %  {}", label, std::string(filled, '#'), Width, share * 100, each);
  if (rate > 0) line += fmt::format("  {:.0f} s left", seconds * (1 - share) / std::max(share, 1e-9));
  return line;
}
