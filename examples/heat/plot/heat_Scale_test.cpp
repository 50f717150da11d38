#include "examples/heat/plot/heat_ColourMap.h"
#include "examples/heat/plot/heat_Scale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

// The lightness L* of CIELAB, from 0 to 100.
double Lightness(heat_Colour const& colour) {
  auto const linear = [](double x) { return x <= 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4); };
  double const y = 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) + 0.0722 * linear(colour.blue);
  return y > 0.008856 ? 116 * std::cbrt(y) - 16 : 903.3 * y;
}

bool IsRound(double value) {
  double const digit = value / std::pow(10.0, std::floor(std::log10(value) + 1e-9));
  return std::abs(digit - 1) < 1e-9 || std::abs(digit - 2) < 1e-9 || std::abs(digit - 5) < 1e-9;
}

} // namespace

TEST(heat_Scale, TicksAreRoundAndWithinTheRange) {
  auto const ticks = heat_TicksFor(-75, 75, 9);
  EXPECT_EQ(ticks.values, (std::vector<double>{-60, -40, -20, 0, 20, 40, 60}));
  EXPECT_EQ(ticks.decimals, 0);
  auto const small = heat_TicksFor(0, 1, 6);
  ASSERT_EQ(small.values.size(), 6u);
  EXPECT_NEAR(small.values[1], 0.2, 1e-15);
  EXPECT_EQ(small.decimals, 1);
  for (int power = -6; power < 9; ++power) {
    double const size = 3.7 * std::pow(10.0, power);
    for (int most = 2; most < 12; ++most) {
      auto const any = heat_TicksFor(0.3 * size, 1.7 * size, most);
      ASSERT_LE(any.values.size(), static_cast<std::size_t>(most));
      ASSERT_GE(any.values.size(), 1u);
      ASSERT_GE(any.values.front(), 0.3 * size * (1 - 1e-6));
      ASSERT_LE(any.values.back(), 1.7 * size * (1 + 1e-6));
      ASSERT_TRUE(any.values.size() < 2 || IsRound(any.values[1] - any.values[0])) << size;
    }
  }
}

TEST(heat_Scale, BandsCoverTheRangeWithRoundSteps) {
  for (double low : {-273.0, -1e-3, 0.0, 42.7, 1e5}) {
    for (double extent : {0.5, 1.0, 77.3, 4e4}) {
      auto const bands = heat_BandsFor(low, low + extent, 32);
      EXPECT_TRUE(IsRound(bands.step)) << bands.step;
      EXPECT_GE(bands.count, 32);
      EXPECT_LE(bands.count, 90);
      EXPECT_LE(bands.low, low + 1e-6 * extent);
      EXPECT_GT(bands.Level(1), low - 1e-6 * extent);
      EXPECT_GE(bands.High(), low + extent - 1e-6 * extent);
      EXPECT_LT(bands.Level(bands.count - 1), low + extent + 1e-6 * extent);
    }
  }
}

TEST(heat_Scale, ARangeWithoutExtentIsWidened) {
  for (double value : {-40.0, 0.0, 23.5, 1e20}) {
    auto const bands = heat_BandsFor(value, value + 1e-12 * std::abs(value), 32);
    EXPECT_LT(bands.low, value);
    EXPECT_GT(bands.High(), value);
    EXPECT_LE(bands.count, 90);
  }
}

TEST(heat_Scale, NumbersAreForPeople) {
  EXPECT_EQ(heat_NumberText(12.345, 1), "12.3");
  EXPECT_EQ(heat_NumberText(-40, 0), "\u221240");
  EXPECT_EQ(heat_NumberText(-0.01, 1), "0.0");
  EXPECT_EQ(heat_NumberText(0.25, 2), "0.25");
  EXPECT_EQ(heat_NumberText(2e-8, 9), "2e-08");
  EXPECT_EQ(heat_NumberText(1e20, 0), "1e+20");
}

TEST(heat_ColourMap, GetsLighterInEqualSteps) {
  constexpr int steps = 20;
  double before = Lightness(heat_ColourOf(0));
  double const all = Lightness(heat_ColourOf(1)) - before;
  EXPECT_LT(before, 12);
  EXPECT_GT(before + all, 90);
  for (int i = 1; i <= steps; ++i) {
    double const now = Lightness(heat_ColourOf(static_cast<double>(i) / steps));
    EXPECT_GT(now - before, 0.5 * all / steps) << i;
    EXPECT_LT(now - before, 1.8 * all / steps) << i;
    before = now;
  }
}

TEST(heat_ColourMap, GoesFromVioletToYellow) {
  auto const cold = heat_ColourOf(0);
  EXPECT_GT(cold.blue, cold.red);
  EXPECT_GT(cold.blue, cold.green);
  auto const warm = heat_ColourOf(0.6);
  EXPECT_GT(warm.red, warm.green);
  EXPECT_GT(warm.red, warm.blue);
  auto const hot = heat_ColourOf(1);
  EXPECT_GT(hot.red, 0.9);
  EXPECT_GT(hot.green, 0.9);
  EXPECT_LT(hot.blue, 0.8);
}

TEST(heat_ColourMap, TakesAnyShareAndWritesHexadecimal) {
  EXPECT_EQ(heat_Hex(heat_ColourOf(-5)), heat_Hex(heat_ColourOf(0)));
  EXPECT_EQ(heat_Hex(heat_ColourOf(5)), heat_Hex(heat_ColourOf(1)));
  EXPECT_EQ(heat_Hex(heat_ColourOf(std::numeric_limits<double>::quiet_NaN())), heat_Hex(heat_ColourOf(0)));
  EXPECT_EQ(heat_Hex({1, 0.5, 0}), "#ff8000");
  EXPECT_EQ(heat_Hex(heat_Shaded({1, 0.5, 0}, 0)), "#000000");
}
