#include "bench/objects_Samples.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>

std::vector<objects_Sample> objects_MakeSamples(int count) {
  std::mt19937 random(11);
  std::vector<objects_Sample> samples;
  samples.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    std::string message(20 + random() % 21, ' ');
    for (char& letter : message) letter = static_cast<char>('a' + random() % 26);
    samples.push_back({"part-" + std::to_string(random() % 1'000'000), static_cast<int>(random()), message});
  }
  return samples;
}

std::vector<int> objects_ShuffledOrder(int count) {
  std::vector<int> order(static_cast<std::size_t>(count));
  std::iota(order.begin(), order.end(), 0);
  std::ranges::shuffle(order, std::mt19937(12));
  return order;
}

void objects_Tally::Add(std::string_view name, int number, std::string_view message) noexcept {
  std::uint64_t one = std::hash<std::string_view>()(name);
  one = one * 31 + static_cast<unsigned int>(number);
  one = one * 31 + std::hash<std::string_view>()(message);
  ++m_Count;
  m_Sum += one;
}
