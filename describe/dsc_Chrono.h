#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ratio>
#include <type_traits>

#include "describe/dsc_Described.h"

// Members of type std::chrono::duration and std::chrono::time_point, also in lists and maps. Include this header beside
// dsc_Described.h. Stored is the number of periods: an integer of 64 bits, or float or double as it is. The attribute's
// unit is the period, if the field says no kvl::Unit: "ns", "us", "ms", "s", "min", "h", and "[n/d]s" for others. It is
// not converted: a member that gets another period needs a new version of its class, and kvl::As.
//
// A time_point is the time since its clock's epoch, so the epoch must be the same in each program that reads it: that of
// std::chrono::system_clock is. Those of std::chrono::steady_clock do not compile; store a duration, or the time of
// another clock. Errors: nex_TextException for a stored number that the member has no room for.

/// The name of a period as a unit, null-terminated.
template <class Period> [[nodiscard]] consteval auto dsc_PeriodName() {
  struct {
    char m_Chars[48] = {};
    std::size_t m_Count = 0;
    constexpr void Add(char const* text) {
      for (; *text != 0; ++text) m_Chars[m_Count++] = *text;
    }
    constexpr void Add(std::intmax_t number) {
      if (number >= 10) Add(number / 10);
      m_Chars[m_Count++] = static_cast<char>('0' + number % 10);
    }
  } name;
  using Reduced = typename Period::type;
  if constexpr (std::is_same_v<Reduced, std::nano>) {
    name.Add("ns");
  } else if constexpr (std::is_same_v<Reduced, std::micro>) {
    name.Add("us");
  } else if constexpr (std::is_same_v<Reduced, std::milli>) {
    name.Add("ms");
  } else if constexpr (std::is_same_v<Reduced, std::ratio<1>>) {
    name.Add("s");
  } else if constexpr (std::is_same_v<Reduced, std::ratio<60>>) {
    name.Add("min");
  } else if constexpr (std::is_same_v<Reduced, std::ratio<3600>>) {
    name.Add("h");
  } else {
    name.Add("[");
    name.Add(Reduced::num);
    name.Add("/");
    name.Add(Reduced::den);
    name.Add("]s");
  }
  return name;
}
template <class Period> inline constexpr auto dsc_NameOfPeriod = dsc_PeriodName<Period>();

/// What the numbers of a duration are stored as; void if they cannot be.
template <class Rep> struct dsc_WideCount { using Type = void; };
template <dsc_IsInteger Rep> struct dsc_WideCount<Rep> {
  using Type = typename dsc_SizedInteger<8, std::is_signed_v<Rep>>::Type;
};
template <> struct dsc_WideCount<float> { using Type = float; };
template <> struct dsc_WideCount<double> { using Type = double; };

template <class Rep, class Period> struct dsc_Like<std::chrono::duration<Rep, Period>> {
  using Type = typename dsc_WideCount<Rep>::Type;
  using Value = Rep;
  static constexpr char const* Unit = dsc_NameOfPeriod<Period>.m_Chars;

  static auto To(std::chrono::duration<Rep, Period> const& value) { return static_cast<Type>(value.count()); }
  static auto From(Rep const& count) { return std::chrono::duration<Rep, Period>(count); }
};

template <class Clock, class Duration> struct dsc_Like<std::chrono::time_point<Clock, Duration>> {
  static_assert(
      !std::is_same_v<Clock, std::chrono::steady_clock>,
      "a time of std::chrono::steady_clock means nothing to another run of the program: store one of "
      "std::chrono::system_clock, or a duration");
  using Like = dsc_Like<Duration>;
  using Type = typename Like::Type;
  using Value = typename Like::Value;
  static constexpr char const* Unit = Like::Unit;

  static auto To(std::chrono::time_point<Clock, Duration> const& value) {
    return Like::To(value.time_since_epoch());
  }
  static auto From(Value const& count) { return std::chrono::time_point<Clock, Duration>(Like::From(count)); }
};
