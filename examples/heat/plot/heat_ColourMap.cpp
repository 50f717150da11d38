#include "examples/heat/plot/heat_ColourMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace {

constexpr std::size_t tableSize = 65;
constexpr double degree = 3.14159265358979323846 / 180;

// The range of the map: lightness, hue in degrees, maximum chroma.
constexpr double darkest = 0.20, lightest = 0.96;
constexpr double firstHue = 285, lastHue = 465;
constexpr double mostChroma = 0.19;

// From linear light to the values that sRGB stores.
double Stored(double linear) {
  return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

// From OKLab to linear sRGB; components outside 0 to 1 cannot be displayed.
heat_Colour Linear(double lightness, double a, double b) {
  auto const cube = [](double x) { return x * x * x; };
  double const l = cube(lightness + 0.3963377774 * a + 0.2158037573 * b);
  double const m = cube(lightness - 0.1055613458 * a - 0.0638541728 * b);
  double const s = cube(lightness - 0.0894841775 * a - 1.2914855480 * b);
  return {4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
          -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
          -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s};
}

bool CanBeShown(heat_Colour const& linear) {
  auto const inside = [](double x) { return x >= 0 && x <= 1; };
  return inside(linear.red) && inside(linear.green) && inside(linear.blue);
}

heat_Colour Computed(double share) {
  double const lightness = darkest + (lightest - darkest) * share;
  double const hue = (firstHue + (lastHue - firstHue) * share) * degree;
  double low = 0;
  double high = mostChroma;
  for (int step = 0; step < 40; ++step) {
    double const chroma = (low + high) / 2;
    bool const fits = CanBeShown(Linear(lightness, chroma * std::cos(hue), chroma * std::sin(hue)));
    (fits ? low : high) = chroma;
  }
  auto const linear = Linear(lightness, low * std::cos(hue), low * std::sin(hue));
  return {Stored(linear.red), Stored(linear.green), Stored(linear.blue)};
}

std::array<heat_Colour, tableSize> const& Table() {
  static auto const table = [] {
    std::array<heat_Colour, tableSize> colours{};
    for (std::size_t i = 0; i < tableSize; ++i)
      colours[i] = Computed(static_cast<double>(i) / (tableSize - 1));
    return colours;
  }();
  return table;
}

} // namespace

heat_Colour heat_ColourOf(double share) {
  double const place = (share > 0 ? std::min(share, 1.0) : 0.0) * (tableSize - 1);
  auto const first = std::min(static_cast<std::size_t>(place), tableSize - 2);
  auto const& a = Table()[first];
  auto const& b = Table()[first + 1];
  double const rest = place - static_cast<double>(first);
  return {a.red + rest * (b.red - a.red), a.green + rest * (b.green - a.green),
          a.blue + rest * (b.blue - a.blue)};
}

heat_Colour heat_Shaded(heat_Colour const& colour, double factor) {
  return {colour.red * factor, colour.green * factor, colour.blue * factor};
}

std::string heat_Hex(heat_Colour const& colour) {
  constexpr char const* digits = "0123456789abcdef";
  std::string text = "#";
  for (auto const part : {colour.red, colour.green, colour.blue}) {
    auto const value = static_cast<std::size_t>(std::lround(255 * std::clamp(part, 0.0, 1.0)));
    text += digits[value / 16];
    text += digits[value % 16];
  }
  return text;
}
