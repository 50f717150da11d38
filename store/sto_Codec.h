#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

/// Bytes as they are stored.
using sto_Bytes = std::vector<std::byte>;
using sto_ByteView = std::span<std::byte const>;

/// The bits of a number, least significant byte first.
template <class T>
requires std::is_arithmetic_v<T>
[[nodiscard]] auto sto_ToLittleEndian(T value) noexcept {
  using Bits = std::conditional_t<
      sizeof(T) == 1, std::uint8_t,
      std::conditional_t<sizeof(T) == 2, std::uint16_t,
                         std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;
  auto bits = std::bit_cast<Bits>(value);
  if constexpr (std::endian::native == std::endian::big) {
    Bits swapped = 0;
    for (std::size_t i = 0; i < sizeof bits; ++i)
      swapped = static_cast<Bits>(swapped | ((bits >> (8 * i)) & 0xFF) << (8 * (sizeof bits - 1 - i)));
    bits = swapped;
  }
  return bits;
}

/// Appends encoded values to a byte buffer. Numbers are little-endian; counts and ids are varints: seven bits
/// a byte, the lowest first, the top bit set on all bytes but the last.
class sto_ByteWriter {
 public:
  explicit sto_ByteWriter(sto_Bytes& bytes) noexcept : m_Bytes(bytes) {}

  void U8(std::uint8_t value) { m_Bytes.push_back(std::byte{value}); }

  void Varint(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) U8(static_cast<std::uint8_t>(value | 0x80));
    U8(static_cast<std::uint8_t>(value));
  }

  /// A signed number as a varint: 0, -1, 1, -2 ... as 0, 1, 2, 3 ...
  void ZigZag(std::int64_t value) {
    Varint((static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63));
  }

  template <class T>
  requires std::is_arithmetic_v<T>
  void Number(T value) {
    auto const bits = sto_ToLittleEndian(value);
    Raw(&bits, sizeof bits);
  }

  void Raw(void const* data, std::size_t size) {
    auto const* const first = static_cast<std::byte const*>(data);
    m_Bytes.insert(m_Bytes.end(), first, first + size);
  }

 private:
  sto_Bytes& m_Bytes;
};

/// Takes encoded values from bytes that are not trusted: reading past the end, or a varint that is too long,
/// marks the reader as failed and yields zeros from then on. Callers ask Failed() before they use what they
/// read.
class sto_ByteReader {
 public:
  explicit sto_ByteReader(sto_ByteView bytes) noexcept : m_Rest(bytes) {}

  [[nodiscard]] bool Failed() const noexcept { return m_Failed; }
  [[nodiscard]] std::size_t Remaining() const noexcept { return m_Rest.size(); }

  std::uint8_t U8() noexcept {
    sto_ByteView const one = Raw(1);
    return one.empty() ? std::uint8_t{0} : std::to_integer<std::uint8_t>(one[0]);
  }

  std::uint64_t Varint() noexcept {
    std::uint64_t value = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      std::uint8_t const byte = U8();
      value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
      if (byte < 0x80) {
        if (shift == 63 && byte > 1) break;
        return value;
      }
    }
    m_Failed = true;
    return 0;
  }

  std::int64_t ZigZag() noexcept {
    std::uint64_t const value = Varint();
    return static_cast<std::int64_t>((value >> 1) ^ (~(value & 1) + 1));
  }

  template <class T>
  requires std::is_arithmetic_v<T> T Number()
  noexcept {
    sto_ByteView const raw = Raw(sizeof(T));
    T value{};
    if (raw.empty()) return value;
    std::memcpy(&value, raw.data(), sizeof value);
    return std::bit_cast<T>(sto_ToLittleEndian(value));
  }

  /// The next `size` bytes; none, and failed, when fewer remain.
  sto_ByteView Raw(std::uint64_t size) noexcept {
    if (m_Failed || size > m_Rest.size()) {
      m_Failed = true;
      m_Rest = {};
      return {};
    }
    sto_ByteView const raw = m_Rest.first(static_cast<std::size_t>(size));
    m_Rest = m_Rest.subspan(static_cast<std::size_t>(size));
    return raw;
  }

 private:
  sto_ByteView m_Rest;
  bool m_Failed = false;
};

[[nodiscard]] inline std::string_view sto_AsText(sto_ByteView bytes) noexcept {
  return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}
