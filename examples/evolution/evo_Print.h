#pragma once

#include "platform/cow/cow_1DArrayList.h"
#include "platform/cow/cow_String.h"

// Prints an object's fields to standard output, one per line, in the same form in all programs.
class evo_Print {
 public:
  static void Text(char const* label, cow_String const& text);
  static void Number(char const* label, double value, char const* unit);
  static void List(char const* label, cow_1DArrayList<double> const& values, char const* unit);
};
