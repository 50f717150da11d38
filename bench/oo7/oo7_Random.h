#pragma once

#include <random>

/// The random numbers of the benchmark: the same ones for every system, and in every run.
class oo7_Random {
 public:
  /// One of 0 to `end` - 1.
  int operator()(int end) { return static_cast<int>(m_Engine() % static_cast<unsigned int>(end)); }

 private:
  std::mt19937 m_Engine{1};
};
