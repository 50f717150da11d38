#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/format/sto_Codec.h"

/// What an item of a sum is. A number that has reached a file never changes its meaning.
enum class sto_ContentKind : std::uint8_t {
  Record = 1,    ///< by hash: that of its values, seeded with the object id; number: that of its shape
  Block = 2,     ///< by hash: that of its content, seeded with the block's key; number: that key
  Root = 3,      ///< by content; key: the root's name
  Catalogue = 4, ///< by content, which has the row's key; key: the name of the table
};

/// A hash of a set of items. Adding or removing an item costs the same however many items there are. Order does
/// not matter. Allocates nothing but texts.
///
/// The sum is that of the items' terms modulo 2^128. Records and blocks, of which there are many, enter it by the
/// 64-bit hash of which their checksum is made too, so that their bytes are hashed once. The others enter it by
/// their content. In Python, with python3-xxhash:
///
///     term = xxh3_128_intdigest(number.to_bytes(8, "little") + hash.to_bytes(8, "little"), seed=kind)
///     term = xxh3_128_intdigest(content, seed=xxh3_64_intdigest(key, seed=kind))
///     total = sum(terms) % 2**128
///
/// An item that was changed or lost by accident is not noticed with a probability of 2^-64. The hash of a record
/// or block is seeded with its id or key, so equal contents under two keys have different terms, too.
///
/// Like the checksums, this protects against accidents, not against forgery: contents that are chosen on
/// purpose can give any sum. Thread rule: a plain value.
class sto_ContentSum {
 public:
  /// Bytes of the stored form.
  static constexpr std::size_t StoredBytes = 16;

  /// The sum of no items.
  constexpr sto_ContentSum() noexcept = default;

  /// The sum of one item, by hash or by content.
  [[nodiscard]] static sto_ContentSum OfHash(sto_ContentKind kind, std::uint64_t number,
                                             std::uint64_t hash) noexcept;
  [[nodiscard]] static sto_ContentSum Of(sto_ContentKind kind, sto_ByteView key,
                                         sto_ByteView content) noexcept;

  /// Adds an item. Adding it twice is not the same as adding it once.
  void Add(sto_ContentKind kind, sto_ByteView key, sto_ByteView content) noexcept {
    *this += Of(kind, key, content);
  }

  /// Takes an item out again. The sum cannot know whether it was there.
  void Remove(sto_ContentKind kind, sto_ByteView key, sto_ByteView content) noexcept {
    *this -= Of(kind, key, content);
  }

  /// Adds, or takes out, all items of another sum.
  constexpr sto_ContentSum& operator+=(sto_ContentSum other) noexcept {
    m_Low += other.m_Low;
    m_High += other.m_High + (m_Low < other.m_Low ? 1 : 0);
    return *this;
  }
  constexpr sto_ContentSum& operator-=(sto_ContentSum other) noexcept {
    m_High -= other.m_High + (m_Low < other.m_Low ? 1 : 0);
    m_Low -= other.m_Low;
    return *this;
  }

  [[nodiscard]] constexpr bool operator==(sto_ContentSum const&) const noexcept = default;

  /// The stored form: 16 bytes, little-endian. Reading less than that fails the reader.
  void Write(sto_ByteWriter& writer) const {
    writer.Number(m_Low);
    writer.Number(m_High);
  }
  [[nodiscard]] static sto_ContentSum Read(sto_ByteReader& reader) noexcept {
    std::uint64_t const low = reader.Number<std::uint64_t>();
    return {low, reader.Number<std::uint64_t>()};
  }

  /// The number as 32 hexadecimal digits, lower case.
  [[nodiscard]] std::string Hex() const;

 private:
  constexpr sto_ContentSum(std::uint64_t low, std::uint64_t high) noexcept : m_Low(low), m_High(high) {}

  std::uint64_t m_Low = 0;
  std::uint64_t m_High = 0;
};
