#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include "store/format/sto_Codec.h"

/// The values of a record that is being built. As sto_Bytes, but room for a value is not filled with zeros
/// first: every value of every object that is saved passes through here. Internal to the module. Thread rule:
/// one thread.
class sto_ValueBytes {
 public:
  [[nodiscard]] std::byte* data() noexcept { return m_Data.get(); }
  [[nodiscard]] std::byte const* data() const noexcept { return m_Data.get(); }
  [[nodiscard]] std::size_t size() const noexcept { return m_Size; }
  void clear() noexcept { m_Size = 0; }

  /// Room for at least `size` bytes at the end. Take says how many of them were used. Throws std::bad_alloc.
  [[nodiscard]] std::byte* Room(std::size_t size) {
    if (m_Capacity - m_Size < size) Grow(size);
    return m_Data.get() + m_Size;
  }
  /// REQUIRES: Room has given that much.
  void Take(std::size_t size) noexcept { m_Size += size; }

  /// Removes the bytes from `first` up to `last`.
  void Erase(std::size_t first, std::size_t last) noexcept {
    if (m_Size != last) std::memmove(m_Data.get() + first, m_Data.get() + last, m_Size - last);
    m_Size -= last - first;
  }

 private:
  void Grow(std::size_t size);

  std::unique_ptr<std::byte[]> m_Data;
  std::size_t m_Size = 0;
  std::size_t m_Capacity = 0;
};

/// Appends encoded values, in the encoding of sto_ByteWriter.
class sto_ValueWriter {
 public:
  static constexpr std::size_t MaxVarintBytes = 10;

  explicit sto_ValueWriter(sto_ValueBytes& bytes) noexcept : m_Bytes(bytes) {}

  void U8(std::uint8_t value) {
    *m_Bytes.Room(1) = std::byte{value};
    m_Bytes.Take(1);
  }
  void Varint(std::uint64_t value) { m_Bytes.Take(Put(m_Bytes.Room(MaxVarintBytes), value)); }
  void ZigZag(std::int64_t value) { Varint(sto_ToZigZag(value)); }

  template <class T>
  requires std::is_arithmetic_v<T>
  void Number(T value) {
    auto const bits = sto_ToLittleEndian(value);
    std::memcpy(m_Bytes.Room(sizeof bits), &bits, sizeof bits);
    m_Bytes.Take(sizeof bits);
  }

  void Raw(void const* data, std::size_t size) {
    if (size == 0) return;
    std::memcpy(m_Bytes.Room(size), data, size);
    m_Bytes.Take(size);
  }
  /// A varint and bytes.
  void Sized(std::uint64_t varint, sto_ByteView bytes) {
    std::byte* const room = m_Bytes.Room(MaxVarintBytes + bytes.size());
    std::size_t const length = Put(room, varint);
    if (!bytes.empty()) std::memcpy(room + length, bytes.data(), bytes.size());
    m_Bytes.Take(length + bytes.size());
  }

 private:
  static std::size_t Put(std::byte* room, std::uint64_t value) noexcept {
    std::byte* end = room;
    for (; value >= 0x80; value >>= 7) *end++ = static_cast<std::byte>(value | 0x80);
    *end++ = static_cast<std::byte>(value);
    return static_cast<std::size_t>(end - room);
  }

  sto_ValueBytes& m_Bytes;
};
