#include "store/format/sto_ContentSum.h"

#include "store/format/sto_XxHash.h"

sto_ContentSum sto_ContentSum::OfHash(sto_ContentKind kind, std::uint64_t number,
                                      std::uint64_t hash) noexcept {
  std::uint64_t const bits[] = {sto_ToLittleEndian(number), sto_ToLittleEndian(hash)};
  XXH128_hash_t const term = XXH3_128bits_withSeed(bits, sizeof bits, static_cast<std::uint64_t>(kind));
  return {term.low64, term.high64};
}

sto_ContentSum sto_ContentSum::Of(sto_ContentKind kind, sto_ByteView key, sto_ByteView content) noexcept {
  std::uint64_t const seed = XXH3_64bits_withSeed(key.data(), key.size(), static_cast<std::uint64_t>(kind));
  XXH128_hash_t const term = XXH3_128bits_withSeed(content.data(), content.size(), seed);
  return {term.low64, term.high64};
}

std::string sto_ContentSum::Hex() const {
  constexpr char Digits[] = "0123456789abcdef";
  std::string text;
  for (std::uint64_t const half : {m_High, m_Low})
    for (int shift = 60; shift >= 0; shift -= 4) text += Digits[half >> shift & 0xF];
  return text;
}
