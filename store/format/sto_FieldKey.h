#pragma once

#include <cstdint>

#include "store/format/sto_Codec.h"

/// The key of a field: the number of its name in the store's dictionary or, if that is 0, its field number.
struct sto_FieldKey {
  std::int64_t m_NameId = 0;
  int m_FieldId = -1;

  friend bool operator==(sto_FieldKey const& a, sto_FieldKey const& b) noexcept {
    return a.m_NameId == b.m_NameId && (a.m_NameId != 0 || a.m_FieldId == b.m_FieldId);
  }
};

/// Writes a key, and reads one; false if it is none.
void sto_EncodeKey(sto_ByteWriter& writer, sto_FieldKey const& key);
[[nodiscard]] bool sto_DecodeKey(sto_ByteReader& reader, sto_FieldKey& key) noexcept;
