#pragma once

#include <cstdint>
#include <string_view>

#include "store/format/sto_Codec.h"

/// The checksum of a row: XXH3 (64 bits) of its columns' values, the key first. It is seeded with the hash of
/// the store's uuid and the table's name. So a row that was moved to another table or store does not fit, nor
/// does one under another key. Protects against accidents, not against forgery.
///
/// Each value begins with its type, and a text or byte string with its length, so that different rows never
/// have the same encoding:
///
///     integer := 1:byte number:8     text := 2:byte size:varint bytes
///     bytes   := 3:byte size:varint bytes     null, and what no valid row has := 0:byte
///
///     checksum.Begin().Integer(key).Text(name).Value()
///
/// Keeps its buffer, so that the next row allocates nothing. Thread rule: a plain value.
class sto_RowChecksum {
 public:
  /// `uuid`: the store's; empty for the store's header, which has it in a row.
  sto_RowChecksum(sto_ByteView uuid, std::string_view table);

  /// Begins the next row.
  sto_RowChecksum& Begin() noexcept {
    m_Row.clear();
    return *this;
  }
  sto_RowChecksum& Integer(std::int64_t value);
  sto_RowChecksum& Text(std::string_view text);
  sto_RowChecksum& Bytes(sto_ByteView bytes);
  /// A value of another type.
  sto_RowChecksum& Other();
  /// The values that were added since Begin, encoded. Valid until the next one is added.
  [[nodiscard]] sto_ByteView Row() const noexcept { return m_Row; }
  /// The checksum of what was added since Begin, as SQLite keeps it.
  [[nodiscard]] std::int64_t Value() const noexcept;

 private:
  std::uint64_t m_Seed;
  sto_Bytes m_Row;
};
