#pragma once

#include "store/format/sto_CollectionShape.h"
#include "store/format/sto_ElementCodec.h"

/// How the keys of a map are stored: a signed integer as a zigzag, an unsigned one as a varint, a string as an
/// element of a list.
template <class K> struct sto_KeyCodec;

template <> struct sto_KeyCodec<int> {
  static constexpr sto_Format::KeyType KeyType = sto_Format::KeyInt;

  static void Encode(sto_ByteWriter& writer, int const& key) { writer.ZigZag(key); }
  static int Decode(sto_ByteReader& reader) { return static_cast<int>(reader.ZigZag()); }
};

template <std::signed_integral K>
requires(sizeof(K) == 8) struct sto_KeyCodec<K> {
  static constexpr sto_Format::KeyType KeyType = sto_Format::KeyInt64;

  static void Encode(sto_ByteWriter& writer, K const& key) { writer.ZigZag(key); }
  static K Decode(sto_ByteReader& reader) { return static_cast<K>(reader.ZigZag()); }
};

template <std::unsigned_integral K>
requires(sizeof(K) == 8) struct sto_KeyCodec<K> {
  static constexpr sto_Format::KeyType KeyType = sto_Format::KeyUInt64;

  static void Encode(sto_ByteWriter& writer, K const& key) { writer.Varint(key); }
  static K Decode(sto_ByteReader& reader) { return static_cast<K>(reader.Varint()); }
};

template <> struct sto_KeyCodec<cow_String> : sto_ElementCodec<cow_String> {
  static constexpr sto_Format::KeyType KeyType = sto_Format::KeyString;
};

/// The shape of a map from K to values of T.
template <class K, class T> [[nodiscard]] constexpr sto_CollectionShape sto_MapShape() noexcept {
  return {sto_ElementCodec<T>::ElementType, sto_KeyCodec<K>::KeyType};
}

/// The shape of an int table.
[[nodiscard]] constexpr sto_CollectionShape sto_IntTableShape() noexcept {
  return {sto_Format::ElementInt, sto_Format::KeyInt, true};
}
