#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "tests/support/store/StoreFile.h"

// Reading and writing stored bytes by hand, independently of the store's code.

/// Reads the numbers of stored bytes. Throws at their end.
class StoreNumbers {
 public:
  /// REQUIRES: the bytes live as long as this object.
  explicit StoreNumbers(StoreBytes const& bytes) : m_Bytes(bytes) {}

  std::uint64_t Fixed(std::size_t sizeBytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeBytes; ++i)
      value |= std::to_integer<std::uint64_t>(m_Bytes.at(m_At++)) << (8 * i);
    return value;
  }
  int U8() { return static_cast<int>(Fixed(1)); }
  std::int64_t Varint() {
    std::uint64_t value = 0;
    for (int shift = 0;; shift += 7) {
      std::uint64_t const byte = Fixed(1);
      value |= (byte & 0x7F) << shift;
      if (byte < 0x80) return static_cast<std::int64_t>(value);
    }
  }
  std::int64_t ZigZag() {
    auto const value = static_cast<std::uint64_t>(Varint());
    return static_cast<std::int64_t>(value >> 1) ^ -static_cast<std::int64_t>(value & 1);
  }
  StoreBytes Raw(std::size_t sizeBytes) {
    if (sizeBytes > Left()) throw std::runtime_error("a record goes beyond the end of its bytes");
    m_At += sizeBytes;
    return {At(m_At - sizeBytes), At(m_At)};
  }
  StoreBytes Rest() { return Raw(Left()); }
  [[nodiscard]] std::size_t Left() const { return m_Bytes.size() - m_At; }
  [[nodiscard]] StoreBytes Before() const { return {m_Bytes.begin(), At(m_At)}; }

 private:
  [[nodiscard]] StoreBytes::const_iterator At(std::size_t index) const {
    return m_Bytes.begin() + static_cast<std::ptrdiff_t>(index);
  }
  StoreBytes const& m_Bytes;
  std::size_t m_At = 0;
};

inline void StorePutFixed(StoreBytes& bytes, std::uint64_t value, std::size_t sizeBytes) {
  for (std::size_t i = 0; i < sizeBytes; ++i) bytes.push_back(static_cast<std::byte>(value >> (8 * i)));
}
inline void StorePutVarint(StoreBytes& bytes, std::int64_t number) {
  auto value = static_cast<std::uint64_t>(number);
  for (; value >= 0x80; value >>= 7) bytes.push_back(static_cast<std::byte>(value | 0x80));
  bytes.push_back(static_cast<std::byte>(value));
}
inline void StorePutZigZag(StoreBytes& bytes, std::int64_t number) {
  StorePutVarint(bytes, static_cast<std::int64_t>((static_cast<std::uint64_t>(number) << 1) ^
                                                  static_cast<std::uint64_t>(number >> 63)));
}
inline void StorePut(StoreBytes& bytes, StoreBytes const& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}
