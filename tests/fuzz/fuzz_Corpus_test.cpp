#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_Forms.h"

namespace {

/// The inputs that scripts/fuzz.sh has collected: one a line, in hexadecimal.
std::vector<std::vector<std::uint8_t>> Corpus() {
  std::vector<std::vector<std::uint8_t>> inputs;
  std::ifstream file(KVL_FUZZ_DIR "/corpus.txt");
  for (std::string line; std::getline(file, line);) {
    std::vector<std::uint8_t> input;
    for (std::size_t i = 0; i + 1 < line.size(); i += 2)
      input.push_back(static_cast<std::uint8_t>(std::stoi(line.substr(i, 2), nullptr, 16)));
    inputs.push_back(std::move(input));
  }
  return inputs;
}

TEST(StoreFuzzCorpus, EveryInputIsRefusedOrSurvivesBeingBuiltAgain) {
  std::vector<std::vector<std::uint8_t>> const corpus = Corpus();
  ASSERT_GT(corpus.size(), 100U);
  for (std::vector<std::uint8_t> const& input : corpus) fuzz_Try(input);
}

TEST(StoreFuzzCorpus, SoDoInputsWithAFewOtherBytes) {
  std::mt19937 random(7);
  for (std::vector<std::uint8_t> input : Corpus())
    for (int change = 0; change < 20 && input.size() > 1; ++change) {
      input[1 + random() % (input.size() - 1)] = static_cast<std::uint8_t>(random());
      fuzz_Try(input);
    }
}

} // namespace
