#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "tests/support/Seeds.h"
#include "tools/kvlstore/plot/kvs_Curve.h"
#include "tools/kvlstore/plot/kvs_Drawing.h"

namespace kvs_curve_test {
namespace {

constexpr double Nan = std::numeric_limits<double>::quiet_NaN();

template <class Y> kvs_Curve CurveOf(std::int64_t count, Y y) {
  kvs_Curve curve(count);
  for (std::int64_t i = 0; i < count; ++i) curve.Add(static_cast<double>(i), y(i));
  curve.Finish();
  return curve;
}
int CountOf(std::string const& text, std::string const& part) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(KvsCurve, KeepsTheExtremesOfMillionsOfPoints) {
  std::int64_t const count = TestsAllSeeds() ? 3'000'000 : 150'000;
  for (std::int64_t const peak : {std::int64_t{0}, std::int64_t{1}, count / 2 + 7, count - 2, count - 1}) {
    kvs_Curve const curve = CurveOf(count, [&](std::int64_t i) {
      return i == peak ? 1e6 : i == (peak + 500) % count ? -1e6 : std::sin(static_cast<double>(i));
    });
    EXPECT_LE(curve.Points().size(), 4000U);
    EXPECT_EQ(curve.Added(), count);
    auto const has = [&](std::int64_t x, double y) {
      return std::ranges::any_of(curve.Points(), [&](kvs_Curve::Point const& point) {
        return point.m_X == static_cast<double>(x) && point.m_Y == y;
      });
    };
    EXPECT_TRUE(has(peak, 1e6)) << peak;
    EXPECT_TRUE(has((peak + 500) % count, -1e6)) << peak;
    EXPECT_EQ(curve.Points().front().m_X, 0);
    EXPECT_EQ(curve.Points().back().m_X, count - 1);
    EXPECT_TRUE(std::ranges::is_sorted(curve.Points(), {}, &kvs_Curve::Point::m_X));
  }
}

TEST(KvsCurve, KeepsEachPointOfAFew) {
  for (std::int64_t const count : {1, 2, 3, 5, 1000, 3999}) {
    kvs_Curve const curve = CurveOf(count, [](std::int64_t i) { return static_cast<double>(i * i % 7); });
    ASSERT_EQ(static_cast<std::int64_t>(curve.Points().size()), count);
    EXPECT_TRUE(curve.Points().front().m_IsAfterGap);
    for (std::size_t i = 1; i < curve.Points().size(); ++i) EXPECT_FALSE(curve.Points()[i].m_IsAfterGap);
  }
  EXPECT_TRUE(CurveOf(0, [](std::int64_t) { return 0.0; }).Points().empty());
  EXPECT_TRUE(CurveOf(100, [](std::int64_t) { return Nan; }).Points().empty());
}

TEST(KvsCurve, MoreOrFewerPointsThanSaidAreNoHarm) {
  kvs_Curve few(1'000'000);
  few.Add(1, 2);
  few.Finish();
  EXPECT_EQ(few.Points().size(), 1U);
  kvs_Curve many(1);
  for (int i = 0; i < 100; ++i) many.Add(i, i);
  many.Finish();
  EXPECT_EQ(many.Points().size(), 100U);
}

TEST(KvsCurve, LeavesGapsWhereNumbersAreNotFinite) {
  for (std::int64_t const count : {10, 100'000}) {
    std::int64_t const middle = count / 2;
    kvs_Curve const curve = CurveOf(count, [&](std::int64_t i) {
      return i == middle ? Nan : i == middle + 1 ? -std::numeric_limits<double>::infinity() : 1.0;
    });
    EXPECT_EQ(curve.NotFinite(), 2);
    int gaps = 0;
    for (kvs_Curve::Point const& point : curve.Points()) {
      gaps += point.m_IsAfterGap ? 1 : 0;
      EXPECT_TRUE(!point.m_IsAfterGap || point.m_X == 0 || point.m_X > static_cast<double>(middle + 1));
    }
    EXPECT_EQ(gaps, 2) << count; // the beginning, and after the middle
  }
}

TEST(KvsDrawing, TicksAreRoundAscendingAndBetween) {
  EXPECT_EQ(kvs_Ticks(0, 10, 5), (std::vector<double>{0, 2, 4, 6, 8, 10}));
  EXPECT_EQ(kvs_Ticks(-1, 1, 4), (std::vector<double>{-1, -0.5, 0, 0.5, 1}));
  std::mt19937 random(3);
  std::uniform_real_distribution<double> exponent(-300, 300), part(-1, 1);
  for (int round = 0; round < 5000; ++round) {
    double const size = std::pow(10, exponent(random));
    double low = part(random) * size, high = part(random) * size;
    if (round % 3 == 0) high = std::nextafter(low, std::numeric_limits<double>::infinity());
    if (low > high) std::swap(low, high);
    if (low == high) continue;
    std::vector<double> const ticks = kvs_Ticks(low, high, 6);
    EXPECT_LE(ticks.size(), 14U);
    for (std::size_t i = 0; i < ticks.size(); ++i) {
      ASSERT_TRUE(ticks[i] >= low && ticks[i] <= high) << low << " " << high << " " << ticks[i];
      ASSERT_TRUE(i == 0 || ticks[i - 1] < ticks[i]) << low << " " << high;
    }
  }
}

TEST(KvsDrawing, AnyFiniteNumbersGiveADrawing) {
  constexpr double Max = std::numeric_limits<double>::max();
  constexpr double Tiny = std::numeric_limits<double>::denorm_min();
  for (auto const& [low, high] :
       std::initializer_list<std::pair<double, double>>{{0, 0},
                                                        {5, 5},
                                                        {-Max, Max},
                                                        {Max, Max},
                                                        {-Max, -Max},
                                                        {0, Tiny},
                                                        {Tiny, Tiny},
                                                        {-Tiny, Tiny},
                                                        {1, std::nextafter(1.0, 2.0)},
                                                        {1e16, 1e16 + 2},
                                                        {-0.0, 0.0}}) {
    kvs_Curve curve(2);
    curve.Add(low, high);
    curve.Add(high, low);
    curve.Finish();
    for (std::string const& drawing :
         {kvs_DrawSvg(curve, {"x", "y"}, 0, 0), kvs_DrawText(curve, {"x", "y"}, 0, 0),
          kvs_DrawSvg(curve, {"x", "y"}, 10, 3), kvs_DrawText(curve, {"x", "y"}, 10, 3)}) {
      EXPECT_EQ(CountOf(drawing, "nan"), 0) << low << " " << high << drawing;
      EXPECT_EQ(CountOf(drawing, "inf"), 0) << low << " " << high << drawing;
    }
  }
}

TEST(KvsDrawing, ASinglePointIsADot) {
  kvs_Curve const curve = CurveOf(5, [](std::int64_t i) { return i % 2 == 0 ? 1.0 : Nan; });
  ASSERT_EQ(curve.Points().size(), 3U);
  EXPECT_EQ(CountOf(kvs_DrawSvg(curve, {"x", "y"}, 0, 0), "h0"), 3); // a line of no length, with round ends
  std::string const text = kvs_DrawText(curve, {"x", "y"}, 0, 0);
  EXPECT_EQ(CountOf(text, "2 values not finite"), 1) << text;
}

TEST(KvsDrawing, NamesDoNotGetOutOfTheirPlaces) {
  kvs_Curve const curve = CurveOf(3, [](std::int64_t i) { return static_cast<double>(i); });
  kvs_PlotLabels const labels{"</text><script>&\"", "\x1b[31m\n\u202E"};
  std::string const svg = kvs_DrawSvg(curve, labels, 0, 0);
  EXPECT_EQ(CountOf(svg, "<script"), 0);
  EXPECT_EQ(CountOf(svg, "\x1b"), 0);
  EXPECT_EQ(CountOf(svg, "&lt;/text&gt;&lt;script&gt;&amp;&quot;"), 2); // the title and the axis
  EXPECT_EQ(CountOf(kvs_DrawText(curve, labels, 0, 0), "\x1b"), 0);
}

TEST(KvsDrawing, HasTheSizeThatIsAskedFor) {
  kvs_Curve const curve = CurveOf(100, [](std::int64_t i) { return std::sin(static_cast<double>(i) / 9); });
  EXPECT_EQ(CountOf(kvs_DrawText(curve, {"x", "y"}, 40, 7), "\n"), 1 + 7 + 2);
  EXPECT_EQ(CountOf(kvs_DrawSvg(curve, {"x", "y"}, 300, 200), "width=\"300\" height=\"200\""), 1);
}

} // namespace
} // namespace kvs_curve_test
