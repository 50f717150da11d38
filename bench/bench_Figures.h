#pragma once

#include <string_view>

/// The results of a benchmark for a script, one to a line: `NAME VALUE UNIT`. bench/figures.py collects them.
class bench_Figures {
 public:
  /// From now on standard output has figures only; what the program prints for people goes to standard error.
  static void Enable();
  [[nodiscard]] static bool IsEnabled();
  /// Prints a figure; does nothing unless enabled. Names and units have no spaces.
  static void Print(std::string_view name, double value, char const* unit);
};
