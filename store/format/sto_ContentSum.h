#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "store/format/sto_Codec.h"

/// What an item of a sum is. A number that has reached a file never changes its meaning.
enum class sto_ContentKind : std::uint8_t {
  Record = 1,    ///< key: object id and number of the shape, eight bytes each
  Block = 2,     ///< key: block key
  Root = 3,      ///< key: the root's name
  Catalogue = 4, ///< key: the name of the table; the content has the row's key
};

/// A hash of a set of items, each with a kind, a key and a content. Adding or removing an item takes one pass
/// over its content, however many items there are. Order does not matter. Different sets have different sums,
/// except with a probability of about 2^-128. Allocates nothing but texts.
///
/// The sum is that of the items' terms modulo 2^128. In Python, with python3-xxhash:
///
///     seed = xxh3_64_intdigest(key, seed=kind)  # key: as key.to_bytes(8, "little"), or the bytes of a text
///     term = xxh3_128_intdigest(content, seed=seed)
///     total = sum(terms) % 2**128
///
/// Why equal contents under different keys or kinds do not get mixed up: XXH3 maps eight bytes one to one to
/// 64 bits, so numeric keys of one kind have different seeds. Two seeds of different kinds, or of texts, are
/// equal with a probability of 2^-64. A store with 2^24 items has fewer than 2^47 pairs, and so any such pair
/// at all with a probability below 2^-17. Even then, what goes unnoticed is only that exactly these two
/// exchange their contents. A key of eight letters is hashed as the number is, so a kind has either numeric
/// keys or texts.
///
/// Like the checksums, this protects against accidents, not against forgery: contents that are chosen on
/// purpose can give any sum. Thread rule: a plain value.
class sto_ContentSum {
 public:
  /// Bytes of the stored form.
  static constexpr std::size_t StoredBytes = 16;

  /// The sum of no items.
  constexpr sto_ContentSum() noexcept = default;

  /// The sum of one item.
  [[nodiscard]] static sto_ContentSum Of(sto_ContentKind kind, std::uint64_t key,
                                         sto_ByteView content) noexcept;
  [[nodiscard]] static sto_ContentSum Of(sto_ContentKind kind, sto_ByteView key,
                                         sto_ByteView content) noexcept;

  /// Adds an item. Adding it twice is not the same as adding it once.
  void Add(sto_ContentKind kind, std::uint64_t key, sto_ByteView content) noexcept {
    *this += Of(kind, key, content);
  }
  void Add(sto_ContentKind kind, sto_ByteView key, sto_ByteView content) noexcept {
    *this += Of(kind, key, content);
  }

  /// Takes an item out again. The sum cannot know whether it was there.
  void Remove(sto_ContentKind kind, std::uint64_t key, sto_ByteView content) noexcept {
    *this -= Of(kind, key, content);
  }
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
