#include "examples/evolution/evo_Print.h"

#include <cstdio>

void evo_Print::Text(char const* label, cow_String const& text) {
  std::printf("%-10s %s\n", label, text.CharsOrEmpty());
}

void evo_Print::Number(char const* label, double value, char const* unit) {
  std::printf("%-10s %g %s\n", label, value, unit);
}

void evo_Print::List(char const* label, cow_1DArrayList<double> const& values, char const* unit) {
  std::printf("%-10s", label);
  for (int i = 0; i < values.Count(); ++i) std::printf(" %g", values.ConstGet(i));
  std::printf(" %s\n", unit);
}
