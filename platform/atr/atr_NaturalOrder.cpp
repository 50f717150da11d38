#include "platform/atr/atr_NaturalOrder.h"

#include <cstddef>
#include <cstring>

namespace {

bool s_IsNatural = false;

bool IsDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

char const* SkipZeros(char const* digits) noexcept {
  while (*digits == '0') ++digits;
  return digits;
}

std::size_t CountDigits(char const* text) noexcept {
  std::size_t count = 0;
  while (IsDigit(text[count])) ++count;
  return count;
}

/// Compares the numbers that both texts begin with and moves past them.
int CompareNumbers(char const*& a, char const*& b) noexcept {
  a = SkipZeros(a);
  b = SkipZeros(b);
  std::size_t const digitsOfA = CountDigits(a);
  std::size_t const digitsOfB = CountDigits(b);
  if (digitsOfA != digitsOfB) return digitsOfA < digitsOfB ? -1 : 1;
  int const order = std::strncmp(a, b, digitsOfA);
  a += digitsOfA;
  b += digitsOfA;
  return order;
}

} // namespace

bool atr_getNaturalOrder() noexcept {
  return s_IsNatural;
}

void atr_setNaturalOrder(bool natural) noexcept {
  s_IsNatural = natural;
}

int strnatcmp(char const* a, char const* b) noexcept {
  char const* const wholeA = a;
  char const* const wholeB = b;
  while (*a != '\0' && *b != '\0') {
    if (IsDigit(*a) && IsDigit(*b)) {
      if (int const order = CompareNumbers(a, b)) return order;
      continue;
    }
    if (*a != *b) break;
    ++a;
    ++b;
  }
  int const order = static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
  return order != 0 ? order : std::strcmp(wholeA, wholeB);
}
