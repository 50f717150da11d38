#include "store/format/sto_IndexKey.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

std::string Hex(std::string const& key) {
  std::string hex;
  for (char const each : key) {
    hex.push_back("0123456789ABCDEF"[static_cast<unsigned char>(each) >> 4]);
    hex.push_back("0123456789ABCDEF"[static_cast<unsigned char>(each) & 15]);
  }
  return hex;
}

// docs/store-format.md has these.
TEST(IndexKey, BytesAreAsDescribed) {
  EXPECT_EQ(Hex(sto_IndexKey::OfInteger(0)), "0180");
  EXPECT_EQ(Hex(sto_IndexKey::OfReal(-0.0)), "0180");
  EXPECT_EQ(Hex(sto_IndexKey::Of(false)), "0180");
  EXPECT_EQ(Hex(sto_IndexKey::Of(true)), "01BFF0");
  EXPECT_EQ(Hex(sto_IndexKey::Of(1.0F)), "01BFF0");
  EXPECT_EQ(Hex(sto_IndexKey::Of(17)), "01C031");
  EXPECT_EQ(Hex(sto_IndexKey::Of(-1)), "01400FFFFFFFFFFFFF");
  EXPECT_EQ(Hex(sto_IndexKey::Of((1LL << 53) + 1)), "01C3400000000000000001");
  EXPECT_EQ(Hex(sto_IndexKey::OfReal(std::numeric_limits<double>::quiet_NaN())), "01FFF8");
  EXPECT_EQ(sto_IndexKey::OfReal(-std::numeric_limits<double>::quiet_NaN()),
            sto_IndexKey::OfReal(std::numeric_limits<double>::signaling_NaN()));
  EXPECT_EQ(Hex(sto_IndexKey::Of("M8")), "024D38");
  EXPECT_EQ(Hex(sto_IndexKey::Of(std::string())), "02");
}

TEST(IndexKey, IntegersOfAllSizesAndRealsHaveOneOrder) {
  std::mt19937_64 random(1);
  struct Number {
    long double m_Value; // which has all integers of 64 bits
    std::string m_Key;
  };
  static_assert(std::numeric_limits<long double>::digits >= 64);
  std::vector<Number> numbers;
  auto const add = [&](auto value) {
    numbers.push_back({static_cast<long double>(value), sto_IndexKey::Of(value)});
  };
  for (int i = 0; i < 300; ++i) {
    std::uint64_t const bits = random() >> random() % 64;
    std::uint64_t const near = (std::uint64_t{1} << random() % 64) + random() % 5 - 2;
    for (std::uint64_t const each : {bits, near}) {
      add(each);
      add(static_cast<std::int64_t>(each));
      add(-static_cast<std::int64_t>(each >> 1));
      add(static_cast<double>(each));
      add(-static_cast<double>(each));
      add(static_cast<std::int16_t>(each));
      add(static_cast<std::uint8_t>(each));
    }
    if (auto const real = std::bit_cast<double>(random()); !std::isnan(real)) add(real);
  }
  for (auto const extreme : {std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::max()}) {
    add(extreme);
    add(-extreme);
  }
  add(std::numeric_limits<std::int64_t>::min());
  add(std::numeric_limits<std::int64_t>::max());
  add(std::numeric_limits<std::uint64_t>::max());
  for (std::size_t i = 0; i < 200'000; ++i) {
    Number const& a = numbers[random() % numbers.size()];
    Number const& b = numbers[random() % numbers.size()];
    ASSERT_EQ(a.m_Value < b.m_Value, a.m_Key < b.m_Key)
        << static_cast<double>(a.m_Value) << ' ' << Hex(a.m_Key) << ' ' << static_cast<double>(b.m_Value)
        << ' ' << Hex(b.m_Key);
    ASSERT_EQ(a.m_Value == b.m_Value, a.m_Key == b.m_Key) << Hex(a.m_Key) << ' ' << Hex(b.m_Key);
  }
}

} // namespace
