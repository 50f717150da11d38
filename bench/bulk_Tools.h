#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

// What all files of bulk_bench use.

inline bool s_IsSmoke = false;

/// Ends the program if a step failed.
inline void Check(bool works, char const* what) {
  if (works) return;
  std::perror(what);
  std::exit(1);
}

inline double SecondsOf(std::function<void()> const& work) {
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

/// How often something is measured.
inline int Repetitions(int count) {
  return s_IsSmoke ? 1 : count;
}

/// Keeps the compiler from dropping the work behind a value.
template <class T> void Use(T const& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}
