#include "examples/heat/plot/heat_Scale.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <system_error>

namespace {

// Indexed by a whole number: 0 -> 1, 1 -> 2, 2 -> 5, 3 -> 10, -1 -> 0.5 and so on.
struct RoundStep {
  int index;

  int Power() const { return static_cast<int>(std::floor(index / 3.0)); }
  double Value() const {
    constexpr std::array<double, 3> digits{1, 2, 5};
    auto const digit = digits[static_cast<std::size_t>(index - 3 * Power())];
    return Power() < 0 ? digit / std::pow(10.0, -Power()) : digit * std::pow(10.0, Power());
  }
  int Decimals() const { return std::max(0, -Power()); }
};

// The smallest round step that is, up to rounding, not less than a positive value.
RoundStep NotLess(double value) {
  RoundStep step{3 * static_cast<int>(std::floor(std::log10(value))) - 1};
  while (step.Value() < value * (1 - 1e-9)) ++step.index;
  return step;
}

} // namespace

heat_Ticks heat_TicksFor(double low, double high, int atMost) {
  auto const slack = 1e-9 * (high - low);
  auto step = NotLess((high - low) / (atMost + 1));
  for (;; ++step.index) {
    auto const first = std::ceil((low - slack) / step.Value());
    auto const count = std::floor((high + slack) / step.Value()) - first + 1;
    if (count > atMost) continue;
    heat_Ticks ticks;
    ticks.decimals = step.Decimals();
    for (int i = 0; i < static_cast<int>(count); ++i) ticks.values.push_back((first + i) * step.Value());
    return ticks;
  }
}

heat_Bands heat_BandsFor(double low, double high, int atLeast) {
  auto const size = std::max(std::abs(low), std::abs(high));
  if (!(high - low > 1e-6 * size)) {
    auto const middle = low + (high - low) / 2;
    low = middle - std::max(0.5, 1e-6 * size);
    high = middle + std::max(0.5, 1e-6 * size);
  }
  auto step = NotLess((high - low) / atLeast);
  if (step.Value() * atLeast > (high - low) * (1 + 1e-9)) --step.index;
  heat_Bands bands;
  bands.step = step.Value();
  auto const first = std::floor(low / bands.step + 1e-9);
  auto const last = std::ceil(high / bands.step - 1e-9);
  bands.low = first * bands.step;
  bands.count = std::max(1, static_cast<int>(last - first));
  return bands;
}

std::string heat_NumberText(double value, int decimals) {
  std::array<char, 40> buffer{};
  auto const end = buffer.data() + buffer.size();
  auto const size = std::abs(value);
  auto const [stop, code] = decimals > 6 || size >= 1e9
                                ? std::to_chars(buffer.data(), end, size, std::chars_format::general, 6)
                                : std::to_chars(buffer.data(), end, size, std::chars_format::fixed, decimals);
  if (code != std::errc()) return "?";
  std::string const digits(buffer.data(), stop);
  bool const zero = digits.find_first_not_of("0.") == std::string::npos;
  return value < 0 && !zero ? "\u2212" + digits : digits;
}
