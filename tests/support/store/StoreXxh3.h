#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

/// XXH3 (64 bits, seeded) of 1 to 128 bytes, implemented from the published description of the hash, so that
/// expected bytes do not come from the code under test. Throws for other lengths.
inline std::uint64_t StoreXxh3(std::vector<std::byte> const& bytes, std::uint64_t seed) {
  static constexpr std::uint64_t Secret[] = {
      0xBE4BA423396CFEB8, 0x1CAD21F72C81017C, 0xDB979083E96DD4DE, 0x1F67B3B7A4A44072,
      0x78E5C0CC4EE679CB, 0x2172FFCC7DD05A82, 0x8E2443F7744608B8, 0x4C263A81E69035E0,
      0xCB00C391BB52283C, 0xA32E531B8B65D088, 0x4EF90DA297486471, 0xD8ACDEA946EF1938,
      0x3F349CE33F76FAA8, 0x1D4F0BC7C7BBDCF9, 0x3159B4CD4BE0518A, 0x647378D9C97E9FC8,
  };
  std::size_t const size = bytes.size();
  if (size < 1 || size > 128) throw std::length_error("StoreXxh3");
  auto const number = [&](std::size_t offset, std::size_t sizeBytes) {
    std::uint64_t value = 0;
    for (std::size_t i = sizeBytes; i-- > 0;)
      value = value << 8 | std::to_integer<std::uint64_t>(bytes[offset + i]);
    return value;
  };
  auto const word = [&](std::size_t offset) { return number(offset, 8); };
  auto const high = [](std::uint64_t a, std::uint64_t b) { // the high half of the 128-bit product
    std::uint64_t const aLow = a & 0xFFFFFFFF, aHigh = a >> 32, bLow = b & 0xFFFFFFFF, bHigh = b >> 32;
    std::uint64_t const middle = aHigh * bLow + (aLow * bLow >> 32);
    return aHigh * bHigh + (middle >> 32) + ((aLow * bHigh + (middle & 0xFFFFFFFF)) >> 32);
  };
  auto const mix = [&](std::size_t offset, std::size_t secret) {
    std::uint64_t const a = word(offset) ^ (Secret[secret] + seed);
    std::uint64_t const b = word(offset + 8) ^ (Secret[secret + 1] - seed);
    return a * b ^ high(a, b);
  };
  auto const finish = [](std::uint64_t hash) {
    hash = (hash ^ hash >> 37) * 0x165667919E3779F9;
    return hash ^ hash >> 32;
  };
  if (size <= 3) {
    std::uint64_t const combined =
        number(0, 1) << 16 | number(size / 2, 1) << 24 | number(size - 1, 1) | size << 8;
    std::uint64_t hash = combined ^ (((Secret[0] ^ Secret[0] >> 32) & 0xFFFFFFFF) + seed);
    hash = (hash ^ hash >> 33) * 0xC2B2AE3D27D4EB4F;
    hash = (hash ^ hash >> 29) * 0x165667B19E3779F9;
    return hash ^ hash >> 32;
  }
  auto const reversed = [](std::uint64_t value, std::size_t sizeBytes) {
    std::uint64_t result = 0;
    for (; sizeBytes > 0; --sizeBytes, value >>= 8) result = result << 8 | (value & 0xFF);
    return result;
  };
  if (size <= 8) {
    std::uint64_t const mixed = seed ^ reversed(seed & 0xFFFFFFFF, 4) << 32;
    std::uint64_t hash = (number(size - 4, 4) + (number(0, 4) << 32)) ^ ((Secret[1] ^ Secret[2]) - mixed);
    auto const rotated = [&](int by) { return hash << by | hash >> (64 - by); };
    hash ^= rotated(49) ^ rotated(24);
    hash *= 0x9FB21C651E98DF25;
    hash ^= (hash >> 35) + size;
    hash *= 0x9FB21C651E98DF25;
    return hash ^ hash >> 28;
  }
  if (size <= 16) {
    std::uint64_t const low = word(0) ^ ((Secret[3] ^ Secret[4]) + seed);
    std::uint64_t const upper = word(size - 8) ^ ((Secret[5] ^ Secret[6]) - seed);
    return finish(size + reversed(low, 8) + upper + (low * upper ^ high(low, upper)));
  }
  std::uint64_t hash = size * 0x9E3779B185EBCA87;
  for (std::size_t i = 0; i < 4 && (i == 0 || size > 32 * i); ++i)
    hash += mix(16 * i, 4 * i) + mix(size - 16 * (i + 1), 4 * i + 2);
  return finish(hash);
}
