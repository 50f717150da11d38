#pragma once

#include <cstdint>
#include <limits>

#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_Record.h"

/// A walk over the entries of a stored map or int table that need not know their types: each key and each
/// value is a view of its encoded bytes.
///
///     sto_MapWalk walk(map);
///     while (walk.Next()) Use(walk.Key(), walk.Value());
///     if (!walk.IsComplete()) // damaged
///
/// The bytes are not trusted. Whoever walks over the map of a decoded record need not ask IsComplete: the
/// decoder did. The map's bytes must outlive the walk. Nothing is allocated. Thread rule: one thread.
class sto_MapWalk {
 public:
  /// REQUIRES: a known key type and a known element type of maps.
  explicit sto_MapWalk(sto_MapHeader const& map) noexcept : m_Map(map), m_Reader(map.m_Entries) {}

  /// Goes to the next entry. False at the end, and at an entry that cannot be read.
  bool Next() noexcept {
    if (m_Passed == m_Map.m_Count) return false;
    std::byte const* const key = m_Reader.Position();
    bool const hasKey = PassKey();
    std::byte const* const value = m_Reader.Position();
    if (!hasKey || !PassValue() || m_Reader.Failed()) return false;
    m_Key = sto_ByteView(key, value);
    m_Value = sto_ByteView(value, m_Reader.Position());
    ++m_Passed;
    return true;
  }

  /// Whether Next has passed all entries that the map says it has, and no bytes are left over.
  [[nodiscard]] bool IsComplete() const noexcept {
    return m_Passed == m_Map.m_Count && m_Reader.Remaining() == 0;
  }

  /// The encoded key and value of the entry. REQUIRES: Next returned true.
  [[nodiscard]] sto_ByteView Key() const noexcept { return m_Key; }
  [[nodiscard]] sto_ByteView Value() const noexcept { return m_Value; }

  /// The id of the entry's object; not checked. REQUIRES: Next returned true, and the map is one of objects.
  [[nodiscard]] std::uint64_t ObjectId() const noexcept { return m_ObjectId; }

 private:
  static bool IsInt(std::int64_t value) noexcept {
    return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
  }

  void PassText() noexcept {
    if (std::uint64_t const length = m_Reader.Varint(); length > 0) m_Reader.Raw(length - 1);
  }

  /// Each returns false for a number that does not fit its type; running out of bytes fails the reader.
  bool PassKey() noexcept {
    switch (m_Map.m_KeyType) {
    case sto_Format::KeyString:
      PassText();
      return true;
    case sto_Format::KeyInt:
      return IsInt(m_Reader.ZigZag());
    default: // 64 bits, signed or unsigned
      m_Reader.Varint();
      return true;
    }
  }
  bool PassValue() noexcept {
    if (m_Map.m_IsTable) return IsInt(m_Reader.ZigZag());
    switch (m_Map.m_ElementType) {
    case sto_Format::ElementString:
      PassText();
      break;
    case sto_Format::ElementObject:
      m_ObjectId = m_Reader.Varint();
      break;
    default:
      m_Reader.Raw(sto_FixedElementBytes(m_Map.m_ElementType));
    }
    return true;
  }

  sto_MapHeader m_Map;
  sto_ByteReader m_Reader;
  int m_Passed = 0;
  sto_ByteView m_Key;
  sto_ByteView m_Value;
  std::uint64_t m_ObjectId = 0;
};
