#pragma once

#include <cstdlib>
#include <initializer_list>
#include <vector>

/// Whether the long forms of tests run: the environment variable KVL_ALL_SEEDS is set, as scripts/test.sh --all does.
inline bool TestsAllSeeds() {
  return std::getenv("KVL_ALL_SEEDS") != nullptr;
}

/// How many steps a long sweep over all steps goes at once. Where a sanitizer watches memory, which makes each step
/// ten times as long, every fifth step is taken: memory is used alike in all of them. Other builds take every one.
#if defined(__SANITIZE_ADDRESS__)
inline int const SweepStride = TestsAllSeeds() ? 1 : 5;
#else
inline int const SweepStride = 1;
#endif

/// The stride of a long sweep whose every step opens stores, which takes longest where a sanitizer watches memory. It is
/// odd, so that a sweep over bits changes each bit of a byte.
inline int const StoreSweepStride = SweepStride == 1 ? 1 : 11;

/// The seeds of a long model test: the first one, or all of them in the long form. Use:
/// INSTANTIATE_TEST_SUITE_P(Seeds, Model, testing::ValuesIn(Seeds({1U, 2U})));
template <class Seed> std::vector<Seed> Seeds(std::initializer_list<Seed> all) {
  return {all.begin(), TestsAllSeeds() ? all.end() : all.begin() + 1};
}
