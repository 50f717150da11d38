#include "examples/heat/program/heat_Progress.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

constexpr std::chrono::milliseconds atOnce{0};

// What a terminal line shows after the text was written.
std::string Screen(std::string const& text) {
  std::string line;
  std::size_t column = 0;
  for (auto const c : text) {
    if (c == '\r') {
      column = 0;
      continue;
    }
    if (column == line.size()) line += ' ';
    line[column++] = c;
  }
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

} // namespace

TEST(heat_Progress, IsQuietWithoutATerminal) {
  std::ostringstream out;
  {
    heat_Progress progress("solving", out, false, atOnce);
    progress.Update(0.5);
    progress.Finish();
  }
  EXPECT_EQ(out.str(), "");
}

TEST(heat_Progress, ShowsTheShareAndErasesTheLine) {
  std::ostringstream out;
  {
    heat_Progress progress("solving", out, true, atOnce);
    progress.Call()(0.5);
    EXPECT_EQ(Screen(out.str()), "solving  [############            ]  50 %");
  }
  EXPECT_EQ(Screen(out.str()), "");
  EXPECT_EQ(out.str().back(), '\r');
  EXPECT_EQ(out.str().find('\n'), std::string::npos);
}

TEST(heat_Progress, ErasesTheLineWhenAStepThrows) {
  std::ostringstream out;
  EXPECT_THROW(
      {
        heat_Progress progress("solving", out, true, atOnce);
        progress.Update(0.9);
        throw std::runtime_error("stop");
      },
      std::runtime_error);
  EXPECT_NE(out.str().find("90 %"), std::string::npos);
  EXPECT_EQ(Screen(out.str()), "");
}

TEST(heat_Progress, ShortStepsShowNothing) {
  std::ostringstream out;
  {
    heat_Progress progress("solving", out, true, std::chrono::hours{1});
    for (int i = 0; i <= 100; ++i) progress.Update(i / 100.0);
  }
  EXPECT_EQ(out.str(), "");
}

TEST(heat_Progress, TakesAnyNumber) {
  for (auto const& [share, text] : {std::pair{-1.0, "  0 %"}, {7.0, "100 %"}, {std::nan(""), "  0 %"}}) {
    std::ostringstream out;
    heat_Progress progress("x", out, true, atOnce);
    progress.Update(share);
    EXPECT_NE(out.str().find(text), std::string::npos) << share;
  }
}

TEST(heat_Progress, CountsWhereTheWholeIsNotKnown) {
  std::ostringstream out;
  {
    heat_Progress progress("saving", out, true, atOnce);
    progress.UpdateCount(12000);
    EXPECT_EQ(Screen(out.str()), "saving  12000");
  }
  EXPECT_EQ(Screen(out.str()), "");
}

TEST(heat_Progress, RedrawsSeldom) {
  std::ostringstream out;
  heat_Progress progress("x", out, true, atOnce);
  progress.Update(0.0);
  auto const once = out.str().size();
  progress.Update(0.001);
  EXPECT_EQ(out.str().size(), once);
}
