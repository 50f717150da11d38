#pragma once

#include <cstdlib>
#include <initializer_list>
#include <vector>

/// The seeds of a long model test: the first one, or all of them when the environment variable KVL_ALL_SEEDS is set,
/// as scripts/test.sh --all does. Use: INSTANTIATE_TEST_SUITE_P(Seeds, Model, testing::ValuesIn(Seeds({1U, 2U})));
template <class Seed> std::vector<Seed> Seeds(std::initializer_list<Seed> all) {
  bool const isAll = std::getenv("KVL_ALL_SEEDS") != nullptr;
  return {all.begin(), isAll ? all.end() : all.begin() + 1};
}
