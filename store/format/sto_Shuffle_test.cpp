#include "store/format/sto_Shuffle.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

constexpr std::byte Guard{0xA5};
constexpr std::size_t GuardBytes = 64;

sto_Bytes Noise(std::size_t size, unsigned seed) {
  std::mt19937 random(seed);
  sto_Bytes bytes(size);
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
  return bytes;
}

/// The result of one of the functions, which must not write outside of it.
template <class Function> sto_Bytes ResultOf(Function function, sto_ByteView bytes, std::size_t width) {
  sto_Bytes guarded(bytes.size() + 2 * GuardBytes, Guard);
  function(bytes, width, guarded.data() + GuardBytes);
  for (std::size_t i = 0; i < GuardBytes; ++i) {
    EXPECT_EQ(guarded[i], Guard) << i;
    EXPECT_EQ(guarded[guarded.size() - 1 - i], Guard) << i;
  }
  auto const first = guarded.begin() + GuardBytes;
  return {first, first + static_cast<std::ptrdiff_t>(bytes.size())};
}

/// The place of a byte after shuffling, as the header describes it.
std::size_t PlaceOf(std::size_t index, std::size_t size, std::size_t width) {
  std::size_t const count = size / width;
  return index < count * width ? index % width * count + index / width : index;
}

std::string Shuffled(std::string const& text, std::size_t width) {
  sto_ByteView const bytes = std::as_bytes(std::span(text));
  return std::string(sto_AsText(ResultOf(sto_Shuffle, bytes, width)));
}

/// All widths, and sizes around whole steps of the fast functions and around whole elements.
template <class Check> void ForEachCase(Check check) {
  for (std::size_t width = 1; width <= 17; ++width)
    for (std::size_t const count : {0, 1, 2, 15, 16, 17, 31, 32, 33, 63, 64, 65, 2047, 2048})
      for (std::size_t const tail : {std::size_t{0}, std::size_t{1}, width - 1}) {
        if (tail >= width) continue;
        SCOPED_TRACE(std::to_string(width) + " bytes, " + std::to_string(count) + " elements, tail " +
                     std::to_string(tail));
        check(Noise(count * width + tail, static_cast<unsigned>(count + tail)), width);
        if (testing::Test::HasFailure()) return;
      }
}

TEST(StoreShuffle, TakesTheFirstBytesThenTheSecondBytesThenTheTail) {
  EXPECT_EQ(Shuffled("", 4), "");
  EXPECT_EQ(Shuffled("abc", 4), "abc");
  EXPECT_EQ(Shuffled("abcdefgh", 1), "abcdefgh");
  EXPECT_EQ(Shuffled("aAbBcC", 2), "abcABC");
  EXPECT_EQ(Shuffled("a1xb2yc3z", 3), "abc123xyz");
  EXPECT_EQ(Shuffled("a1xAb2yBc3zC.,", 4), "abc123xyzABC.,");
}

TEST(StoreShuffle, FastStepsHaveTheDocumentedOrder) {
  // Seventeen elements: one whole step and one element more.
  EXPECT_EQ(Shuffled("aAbBcCdDeEfFgGhHiIjJkKlLmMnNoOpPqQ", 2), "abcdefghijklmnopqABCDEFGHIJKLMNOPQ");
}

TEST(StoreShuffle, EveryByteIsInItsPlace) {
  ForEachCase([](sto_Bytes const& bytes, std::size_t width) {
    sto_Bytes expected(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) expected[PlaceOf(i, bytes.size(), width)] = bytes[i];
    EXPECT_EQ(ResultOf(sto_Shuffle, bytes, width), expected);
    EXPECT_EQ(ResultOf(sto_ShufflePlain, bytes, width), expected);
  });
}

TEST(StoreShuffle, UnshufflingRestoresTheElements) {
  ForEachCase([](sto_Bytes const& bytes, std::size_t width) {
    sto_Bytes planes(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) planes[PlaceOf(i, bytes.size(), width)] = bytes[i];
    EXPECT_EQ(ResultOf(sto_Unshuffle, planes, width), bytes);
    EXPECT_EQ(ResultOf(sto_UnshufflePlain, planes, width), bytes);
  });
}

} // namespace
