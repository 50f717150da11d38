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

/// A signed number as an unsigned one: 0, -1, 1, -2 ... as 0, 1, 2, 3 ..., and back.
[[nodiscard]] constexpr std::uint64_t sto_ToZigZag(std::int64_t value) noexcept {
  return (static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63);
}
[[nodiscard]] constexpr std::int64_t sto_FromZigZag(std::uint64_t value) noexcept {
  return static_cast<std::int64_t>((value >> 1) ^ (~(value & 1) + 1));
}

/// Appends encoded values to a byte buffer. Numbers are little-endian. Counts and ids are varints: seven bits
/// a byte, the lowest first, the top bit set on all bytes but the last.
class sto_ByteWriter {
 public:
  explicit sto_ByteWriter(sto_Bytes& bytes) noexcept : m_Bytes(bytes) {}

  void U8(std::uint8_t value) { m_Bytes.push_back(std::byte{value}); }

  void Varint(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) U8(static_cast<std::uint8_t>(value | 0x80));
    U8(static_cast<std::uint8_t>(value));
  }

  void ZigZag(std::int64_t value) { Varint(sto_ToZigZag(value)); }

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

/// Reads encoded values from bytes that are not trusted. Reading past the end, or a varint that is too long,
/// makes the reader fail; from then on it returns zeros. Callers ask Failed() before they use what they read.
/// The bytes must outlive the reader and the views it returns.
class sto_ByteReader {
 public:
  explicit sto_ByteReader(sto_ByteView bytes) noexcept
      : m_Next(bytes.data()), m_End(bytes.data() + bytes.size()) {}

  [[nodiscard]] bool Failed() const noexcept { return m_Failed; }
  /// Where the next value begins; the end when nothing is left.
  [[nodiscard]] std::byte const* Position() const noexcept { return m_Next; }
  [[nodiscard]] std::size_t Remaining() const noexcept { return static_cast<std::size_t>(m_End - m_Next); }

  std::uint8_t U8() noexcept {
    if (m_Next == m_End) return Fail();
    return std::to_integer<std::uint8_t>(*m_Next++);
  }

  std::uint64_t Varint() noexcept {
    // Nearly all varints are one byte long.
    if (m_Next != m_End && *m_Next < std::byte{0x80}) return std::to_integer<std::uint64_t>(*m_Next++);
    return LongVarint();
  }

  std::int64_t ZigZag() noexcept { return sto_FromZigZag(Varint()); }

  template <class T>
  requires std::is_arithmetic_v<T> T Number()
  noexcept {
    T value{};
    if (Remaining() < sizeof value) return static_cast<T>(Fail());
    std::memcpy(&value, m_Next, sizeof value);
    m_Next += sizeof value;
    return std::bit_cast<T>(sto_ToLittleEndian(value));
  }

  /// The next `size` bytes. When fewer remain, the reader fails and the view is empty.
  sto_ByteView Raw(std::uint64_t size) noexcept {
    if (size > Remaining()) {
      Fail();
      return {};
    }
    sto_ByteView const raw(m_Next, static_cast<std::size_t>(size));
    m_Next += size;
    return raw;
  }

 private:
  std::uint64_t LongVarint() noexcept {
    if constexpr (std::endian::native == std::endian::little)
      if (Remaining() >= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, m_Next, sizeof word);
        // The first byte whose top bit is clear is the last one.
        if (std::uint64_t const ends = ~word & 0x8080808080808080; ends != 0) {
          m_Next += static_cast<std::size_t>(std::countr_zero(ends)) / 8 + 1;
          return JoinSevens(word & (ends ^ (ends - 1)));
        }
      }
    return VarintByBytes();
  }

  /// Joins the lower seven bits of each byte.
  static std::uint64_t JoinSevens(std::uint64_t word) noexcept {
    word &= 0x7F7F7F7F7F7F7F7F;
    word = (word & 0x7F007F007F007F00) >> 1 | (word & 0x007F007F007F007F);
    word = (word & 0x3FFF00003FFF0000) >> 2 | (word & 0x00003FFF00003FFF);
    return (word & 0x0FFFFFFF00000000) >> 4 | (word & 0x000000000FFFFFFF);
  }

  [[gnu::noinline]] std::uint64_t VarintByBytes() noexcept { // rare: at the end of the bytes
    std::uint64_t value = 0;
    for (int shift = 0; shift < 64 && m_Next != m_End; shift += 7) {
      std::uint8_t const byte = U8();
      value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
      if (byte < 0x80) return shift == 63 && byte > 1 ? Fail() : value;
    }
    return Fail();
  }

  /// A reader that has failed has nothing left.
  std::uint8_t Fail() noexcept {
    m_Failed = true;
    m_Next = m_End;
    return 0;
  }

  std::byte const* m_Next;
  std::byte const* m_End;
  bool m_Failed = false;
};

/// How far `id` is from `from`, for a zigzag, and back. Ids of damaged records may be anything, so the numbers
/// wrap around.
[[nodiscard]] inline std::int64_t sto_Distance(std::int64_t from, std::int64_t id) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(id) - static_cast<std::uint64_t>(from));
}
[[nodiscard]] inline std::int64_t sto_FromDistance(std::int64_t from, std::int64_t distance) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(from) + static_cast<std::uint64_t>(distance));
}

[[nodiscard]] inline sto_ByteView sto_AsBytes(std::string_view text) noexcept {
  return {reinterpret_cast<std::byte const*>(text.data()), text.size()};
}
[[nodiscard]] inline std::string_view sto_AsText(sto_ByteView bytes) noexcept {
  return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}
