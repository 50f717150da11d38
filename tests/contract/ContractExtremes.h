#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <type_traits>

#include "platform/cow/cow_String.h"

/// The extreme values of a type. A deque, because bools in a vector cannot be referred to.
template <class T> std::deque<T> Extremes() {
  std::deque<T> values;
  if constexpr (std::is_same_v<T, bool>) {
    values = {false, true};
  } else if constexpr (std::is_same_v<T, float>) {
    for (std::uint32_t const bits :
         {0x00000000U, 0x80000000U,              // 0, -0
          0x00000001U, 0x80000001U, 0x007FFFFFU, // smallest and largest subnormals
          0x00800000U, 0x7F7FFFFFU, 0xFF7FFFFFU, // least normal, greatest, and its negative
          0x7F800000U, 0xFF800000U,              // infinities
          0x7FC00000U, 0xFFC12345U, 0x7FFFFFFFU, // quiet nans with payloads
          0x7F812345U, 0xFF800001U})             // signalling nans with payloads
      values.push_back(std::bit_cast<float>(bits));
  } else if constexpr (std::is_same_v<T, double>) {
    for (std::uint64_t const bits :
         {0x0000000000000000ULL, 0x8000000000000000ULL, 0x0000000000000001ULL, 0x8000000000000001ULL,
          0x000FFFFFFFFFFFFFULL, 0x0010000000000000ULL, 0x7FEFFFFFFFFFFFFFULL, 0xFFEFFFFFFFFFFFFFULL,
          0x7FF0000000000000ULL, 0xFFF0000000000000ULL, 0x7FF8000000000000ULL, 0xFFF8123456789ABCULL,
          0x7FFFFFFFFFFFFFFFULL, 0x7FF0123456789ABCULL, 0xFFF0000000000001ULL})
      values.push_back(std::bit_cast<double>(bits));
  } else if constexpr (std::is_same_v<T, cow_String>) {
    values = {cow_String(),
              ""_cow,
              cow_String(std::string(1, '\0')),
              cow_String(std::string("\0\0a\0", 4)),
              "\n"_cow,
              "a\r\nb\n"_cow,
              "\x01\x7F"_cow,
              "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\xA7"_cow, // two, three and four bytes a character
              "\xEF\xBB\xBF"_cow,                         // a byte order mark
              "\xFF\xFE\x80"_cow,                         // not UTF-8
              "100% %s %d"_cow,
              "'; DROP TABLE object; --"_cow,
              cow_String(std::string(100'000, 'x'))};
  } else {
    using Limits = std::numeric_limits<T>;
    values = {Limits::min(),
              static_cast<T>(Limits::min() + 1),
              static_cast<T>(-1),
              T(0),
              T(1),
              static_cast<T>(Limits::max() - 1),
              Limits::max(),
              static_cast<T>(Limits::max() / 2 + 1)};
  }
  return values;
}

/// An upper bound of the number of extremes of any type.
inline constexpr std::size_t MostExtremes = 15;
